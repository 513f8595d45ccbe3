// What to tell people when the extension can't do its work, by the client's reasons.

const MEND = "In a terminal, “corvane-nmctl doctor” says what is wrong.";

export const UNKNOWN_TROUBLE = {title: "The application can't be reached", text: MEND};

export const TROUBLES = {
  "not found": {
    title: "The helper program is not registered",
    text: `The browser finds no helper program that this extension may use. ${MEND}`,
  },
  forbidden: {
    title: "The helper program is not for this extension",
    text: `One is registered, but does not name this extension, or a policy forbids it. ${MEND}`,
  },
  exited: {
    title: "The helper program has ended",
    text: `It could not be started, or has stopped. ${MEND}`,
  },
  mute: {
    title: "The helper program does not answer",
    text: `It was started and said nothing. ${MEND}`,
  },
  "too large": {
    title: "The helper program said too much",
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
  "not started": {
    title: "The application could not be started",
    text: "Is it installed? Nothing is filtered until it runs.",
  },
};
