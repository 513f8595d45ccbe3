// A page's side of what background.js shares.

let lastId = 0;

export class SharedLink {
  #port = chrome.runtime.connect();
  #waiting = new Map();

  /** Calls `hear` with {link, appState, isPushed} now and after every change. */
  constructor(hear) {
    this.#port.onMessage.addListener((message) => {
      if (!("id" in message)) {
        hear(message);
        return;
      }
      this.#waiting.get(message.id)(message);
      this.#waiting.delete(message.id);
    });
  }

  /** Gives {reply} or {error}; never rejects. */
  ask(type, parameters) {
    const id = ++lastId;
    this.#port.postMessage({id, type, parameters});
    return new Promise((resolve) => this.#waiting.set(id, resolve));
  }
}
