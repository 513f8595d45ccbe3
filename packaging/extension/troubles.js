// What to tell people when the extension can't do its work, by the client's reasons.

const MEND = "In a terminal, “corvane-nmctl doctor” says what is wrong.";

export const UNKNOWN_TROUBLE = {title: "The host can't be reached", text: MEND};

export const TROUBLES = {
  "not found": {
    title: "The host is not registered",
    text: `The browser finds no native messaging host that this extension may use. ${MEND}`,
  },
  forbidden: {
    title: "The host is not for this extension",
    text: `A host is registered, but does not name this extension, or a policy forbids it. ${MEND}`,
  },
  exited: {
    title: "The host has ended",
    text: `It could not be started, or has stopped. ${MEND}`,
  },
  mute: {
    title: "The host does not answer",
    text: `It was started and said nothing. ${MEND}`,
  },
  "too large": {
    title: "The host said too much",
    text: "Its answer was larger than the browser takes, or it ended while it was being asked.",
  },
  "version mismatch": {
    title: "The versions do not match",
    text: "Update the application and this extension.",
  },
  "not running": {
    title: "The application is not running",
    text: "Nothing is filtered until it is started.",
  },
};
