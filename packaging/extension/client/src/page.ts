import {extensionRuntime, systemClock} from "./browser.js";
import type {Clock, ExtensionRuntime, PagePort} from "./browser.js";
import {abortable, guarded} from "./link.js";
import type {HostLink, Link, RequestArguments, StopListening} from "./link.js";
import {PORT_NAME, errorFrom, withError} from "./messages.js";
import type {BackgroundMessage, PageMessage, PageRequest} from "./messages.js";
import type {AppState, CommandName, Reply} from "./protocol.js";
import {CorvaneError} from "./reasons.js";

export * from "./protocol.js";
export {CorvaneError} from "./reasons.js";
export type {Reason} from "./reasons.js";
export type {HostLink, Link, RequestOptions, StopListening} from "./link.js";

/** Milliseconds before a background script that ended without a message is connected to again. */
const PAUSE = 1000;

export interface PageClientOptions {
  /** For tests. */
  runtime?: ExtensionRuntime;
  /** For tests. */
  clock?: Clock;
}

interface Waiting {
  resolve(reply: Reply): void;
  reject(error: CorvaneError): void;
}

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
export class PageClient implements HostLink {
  readonly #runtime: ExtensionRuntime;
  readonly #clock: Clock;
  readonly #linkListeners = new Set<(link: Link) => void>();
  readonly #stateListeners = new Set<(state: AppState, isPushed: boolean) => void>();
  readonly #waiting = new Map<number, Waiting>();
  #port: PagePort | undefined;
  #lastId = 0;
  #link: Link = {state: "connecting"};
  #appState: AppState | undefined;

  constructor({runtime = extensionRuntime(), clock = systemClock}: PageClientOptions = {}) {
    this.#runtime = runtime;
    this.#clock = clock;
    this.#open();
  }

  get link(): Link {
    return this.#link;
  }

  get appState(): AppState | undefined {
    return this.#appState;
  }

  onLink(listener: (link: Link) => void): StopListening {
    this.#linkListeners.add(listener);
    return () => this.#linkListeners.delete(listener);
  }

  onAppState(listener: (state: AppState, isPushed: boolean) => void): StopListening {
    this.#stateListeners.add(listener);
    return () => this.#stateListeners.delete(listener);
  }

  /** Tries the host at once, also during a pause; `onLink` tells what comes of it. */
  connect(): void {
    this.#post({connect: true});
  }

  /**
   * As in `HostLink`. Rejects with `interrupted` if the background script stops meanwhile: nobody
   * knows whether the command was carried out.
   */
  async request<Command extends CommandName>(
    type: Command,
    ...[parameters, options]: RequestArguments<Command>
  ): Promise<Reply<Command>> {
    const {timeLimit, signal} = options ?? {};
    signal?.throwIfAborted();
    const id = ++this.#lastId;
    const asked = this.#ask({id, type, parameters, timeLimit});
    return (await abortable(asked, signal, () => this.#abandon(id))) as Reply<Command>;
  }

  #ask(message: PageRequest): Promise<Reply> {
    return new Promise((resolve, reject) => {
      if (!this.#port) throw interrupted();
      this.#post(message);
      this.#waiting.set(message.id, {resolve, reject});
    });
  }

  #abandon(id: number): void {
    if (this.#waiting.delete(id)) this.#post({abort: id});
  }

  #post(message: PageMessage): void {
    this.#port?.postMessage(message);
  }

  #open(): void {
    let hasSpoken = false;
    const port = this.#runtime.connect({name: PORT_NAME});
    port.onMessage.addListener((message) => {
      hasSpoken = true;
      this.#receive(message as BackgroundMessage);
    });
    port.onDisconnect.addListener(() => {
      void this.#runtime.lastError; // Chromium logs an error that nobody reads
      this.#interrupt();
      if (hasSpoken) this.#open();
      else this.#clock.after(PAUSE, () => this.#open());
    });
    this.#port = port;
  }

  #interrupt(): void {
    this.#port = undefined;
    this.#waiting.forEach(({reject}) => reject(interrupted()));
    this.#waiting.clear();
    this.#setLink({state: "connecting"});
  }

  #receive(message: BackgroundMessage): void {
    if ("link" in message) {
      this.#setLink(withError(message.link, errorFrom));
    } else if ("appState" in message) {
      this.#setAppState(message.appState, message.isPushed);
    } else {
      const waiting = this.#waiting.get(message.id);
      this.#waiting.delete(message.id);
      if ("reply" in message) waiting?.resolve(message.reply);
      else waiting?.reject(errorFrom(message.error));
    }
  }

  #setLink(link: Link): void {
    this.#link = link;
    for (const listener of this.#linkListeners) guarded(() => listener(link));
  }

  #setAppState(state: AppState, isPushed: boolean): void {
    this.#appState = state;
    for (const listener of this.#stateListeners) guarded(() => listener(state, isPushed));
  }
}

function interrupted(): CorvaneError {
  return new CorvaneError("interrupted", "The background script was stopped.");
}
