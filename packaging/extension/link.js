// A page's side of what background.js shares.

const PAUSE = 1000; // milliseconds, before a background script that said nothing is tried again
const INTERRUPTED = {reason: "interrupted", message: "The background script was stopped."};

let lastId = 0;

export class SharedLink {
  #hear;
  #port;
  #waiting = new Map();

  /** Calls `hear` with {link, appState, isPushed} now and after every change. */
  constructor(hear) {
    this.#hear = hear;
    this.#open();
  }

  /** Gives {reply} or {error}; never rejects. */
  ask(type, parameters) {
    const id = ++lastId;
    return new Promise((resolve) => {
      this.#waiting.set(id, resolve);
      try {
        this.#port.postMessage({id, type, parameters});
      } catch { // during the pause
        this.#settle(id, {error: INTERRUPTED});
      }
    });
  }

  /** Has the host tried at once, also during a pause. */
  connect() {
    try {
      this.#port.postMessage({connect: true});
    } catch {
      // The background script was stopped; it connects to the host when it starts again.
    }
  }

  /** Connects to the background script, which starts it if the browser had stopped it. */
  #open() {
    let hasSpoken = false;
    this.#port = chrome.runtime.connect();
    this.#port.onMessage.addListener((message) => {
      hasSpoken = true;
      if ("id" in message) this.#settle(message.id, message);
      else this.#hear(message);
    });
    this.#port.onDisconnect.addListener(() => {
      void chrome.runtime.lastError; // looked at, or the browser complains
      [...this.#waiting.keys()].forEach((id) => this.#settle(id, {error: INTERRUPTED}));
      if (hasSpoken) this.#open();
      else setTimeout(() => this.#open(), PAUSE);
    });
  }

  #settle(id, answer) {
    this.#waiting.get(id)(answer);
    this.#waiting.delete(id);
  }
}
