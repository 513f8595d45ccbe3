import { extensionRuntime, systemClock } from "./browser.js";
import { abortable, guarded } from "./link.js";
import { PORT_NAME, errorFrom, withError } from "./messages.js";
import { CorvaneError } from "./reasons.js";
export * from "./protocol.js";
export { CorvaneError } from "./reasons.js";
/** Milliseconds before a background script that ended without a message is connected to again. */
const PAUSE = 1000;
/**
 * A page's side of the client that the background script shares by `shareClient`: the same
 * requests, link and state, without a host of its own.
 *
 *     const client = new PageClient();
 *     client.onAppState((state) => (box.checked = state.isProtectionEnabled));
 *     box.onchange = () => client.request("setProtectionStatus", {isEnabled: box.checked});
 *
 * It keeps a port to the background script, which starts the script if the browser had stopped it.
 * When the script stops, pending requests reject with `interrupted` and a new port is opened.
 */
export class PageClient {
    #runtime;
    #clock;
    #linkListeners = new Set();
    #stateListeners = new Set();
    #waiting = new Map();
    #port;
    #lastId = 0;
    #link = { state: "connecting" };
    #appState;
    constructor({ runtime = extensionRuntime(), clock = systemClock } = {}) {
        this.#runtime = runtime;
        this.#clock = clock;
        this.#open();
    }
    get link() {
        return this.#link;
    }
    get appState() {
        return this.#appState;
    }
    onLink(listener) {
        this.#linkListeners.add(listener);
        return () => this.#linkListeners.delete(listener);
    }
    onAppState(listener) {
        this.#stateListeners.add(listener);
        return () => this.#stateListeners.delete(listener);
    }
    /** Tries the host at once, also during a pause; `onLink` tells what comes of it. */
    connect() {
        this.#post({ connect: true });
    }
    /**
     * As in `HostLink`. Rejects with `interrupted` if the background script stops meanwhile: nobody
     * knows whether the command was carried out.
     */
    async request(type, ...[parameters, options]) {
        const { timeLimit, signal } = options ?? {};
        signal?.throwIfAborted();
        const id = ++this.#lastId;
        const asked = this.#ask({ id, type, parameters, timeLimit });
        return (await abortable(asked, signal, () => this.#abandon(id)));
    }
    #ask(message) {
        return new Promise((resolve, reject) => {
            if (!this.#port)
                throw interrupted();
            this.#post(message);
            this.#waiting.set(message.id, { resolve, reject });
        });
    }
    #abandon(id) {
        if (this.#waiting.delete(id))
            this.#post({ abort: id });
    }
    #post(message) {
        this.#port?.postMessage(message);
    }
    #open() {
        let hasSpoken = false;
        const port = this.#runtime.connect({ name: PORT_NAME });
        port.onMessage.addListener((message) => {
            hasSpoken = true;
            this.#receive(message);
        });
        port.onDisconnect.addListener(() => {
            void this.#runtime.lastError; // Chromium logs an error that nobody reads
            this.#interrupt();
            if (hasSpoken)
                this.#open();
            else
                this.#clock.after(PAUSE, () => this.#open());
        });
        this.#port = port;
    }
    #interrupt() {
        this.#port = undefined;
        this.#waiting.forEach(({ reject }) => reject(interrupted()));
        this.#waiting.clear();
        this.#setLink({ state: "connecting" });
    }
    #receive(message) {
        if ("link" in message) {
            this.#setLink(withError(message.link, errorFrom));
        }
        else if ("appState" in message) {
            this.#setAppState(message.appState, message.isPushed);
        }
        else {
            const waiting = this.#waiting.get(message.id);
            this.#waiting.delete(message.id);
            if ("reply" in message)
                waiting?.resolve(message.reply);
            else
                waiting?.reject(errorFrom(message.error));
        }
    }
    #setLink(link) {
        this.#link = link;
        for (const listener of this.#linkListeners)
            guarded(() => listener(link));
    }
    #setAppState(state, isPushed) {
        this.#appState = state;
        for (const listener of this.#stateListeners)
            guarded(() => listener(state, isPushed));
    }
}
function interrupted() {
    return new CorvaneError("interrupted", "The background script was stopped.");
}
