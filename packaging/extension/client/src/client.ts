import {browserRuntime, systemClock} from "./browser.js";
import type {Clock, NativeRuntime} from "./browser.js";
import {Connection} from "./connection.js";
import {abortable, guarded} from "./link.js";
import type {HostLink, Link, RequestArguments, RequestOptions, StopListening} from "./link.js";
import {HOST_NAME, PUSH_ID} from "./protocol.js";
import type {AppState, CommandName, HostInfo, Reply} from "./protocol.js";
import {CorvaneError} from "./reasons.js";

export * from "./protocol.js";
export {CorvaneError} from "./reasons.js";
export type {Reason} from "./reasons.js";
export type {Clock, NativePort, NativeRuntime} from "./browser.js";
export type {HostLink, Link, RequestOptions, StopListening} from "./link.js";

export interface ClientOptions {
  /** The host's name in its manifests. */
  hostName?: string;
  /** Milliseconds for the answer to the greeting, before the host counts as `mute`. */
  greetingLimit?: number;
  /** Milliseconds before the link is tried again: the first pause; each next one is twice as long. */
  firstPause?: number;
  /** The longest pause, in milliseconds; a link that held for that long makes them start anew. */
  longestPause?: number;
  /** For tests. */
  runtime?: NativeRuntime;
  /** For tests. */
  clock?: Clock;
}

const WAITING_COMMANDS: readonly CommandName[] = [
  "setProtectionStatus",
  "setFilteringStatus",
  "removeCustomRules",
];

/**
 * How long an answer may take, in milliseconds, when the caller does not say.
 *
 * The host waits 3 s for each exchange with the main application, and 300 s for the announcement of
 * a new state or for a start. While it does, later requests wait as well: the limit of an ordinary
 * one can run out behind such a command. Give a `timeLimit` where waiting is better than that.
 */
export function timeLimitOf(type: CommandName, parameters?: object): number {
  const starts = (parameters as {forceStartApp?: boolean} | undefined)?.forceStartApp === true;
  return starts || WAITING_COMMANDS.includes(type) ? 310_000 : 30_000;
}

/**
 * The link of an extension to the native messaging host: keeps it, asks, and hears of changes.
 *
 *     const client = new CorvaneClient();
 *     client.onLink((link) => console.log("link:", link.state));
 *     client.onAppState((state) => console.log("protection:", state.isProtectionEnabled));
 *     client.connect();
 *     const {parameters: page} = await client.request("getCurrentFilteringState",
 *       {url: "https://example.org/", port: 443, forceStartApp: false});
 *
 * Make one for the whole extension, in its background script: each is a process of the host. The
 * extension needs the permission "nativeMessaging", and the host's manifests must name it.
 *
 * An open link keeps a background script alive in both browsers. Without a link, the browser may
 * stop the script during a pause, and the client with it: make a client whenever the script starts.
 * Pages of the extension use it through `shareClient` and `PageClient`.
 */
export class CorvaneClient implements HostLink {
  readonly #options: Required<ClientOptions>;
  readonly #linkListeners = new Set<(link: Link) => void>();
  readonly #stateListeners = new Set<(state: AppState, isPushed: boolean) => void>();
  #link: Link = {state: "closed"};
  #appState: AppState | undefined;
  #connection: Connection | undefined;
  #greeting: Promise<HostInfo> | undefined;
  #pause = 0;
  #liveSince: number | undefined;
  #callOffRetry = (): void => {};

  constructor(options: ClientOptions = {}) {
    this.#options = {
      hostName: HOST_NAME,
      greetingLimit: 10_000,
      firstPause: 1_000,
      longestPause: 60_000,
      runtime: browserRuntime(),
      clock: systemClock,
      ...options,
    };
  }

  /** Where the link stands now. */
  get link(): Link {
    return this.#link;
  }

  /** The newest state of the main application that is known, from a reply or a push. */
  get appState(): AppState | undefined {
    return this.#appState;
  }

  /** Calls `listener` whenever the link changes. */
  onLink(listener: (link: Link) => void): StopListening {
    this.#linkListeners.add(listener);
    return () => this.#linkListeners.delete(listener);
  }

  /**
   * Calls `listener` for each newer state of the main application. A pushed one says that something
   * has changed there, perhaps more than the state tells: rules, or the filtering of a page.
   */
  onAppState(listener: (state: AppState, isPushed: boolean) => void): StopListening {
    this.#stateListeners.add(listener);
    return () => this.#stateListeners.delete(listener);
  }

  /**
   * Starts the host and greets it, at once also during a pause; does nothing if that has happened.
   * Rejects with a `CorvaneError` if this attempt fails. Attempts go on all the same, until
   * `close`: those who only want to listen need not look at the result.
   */
  connect(): Promise<HostInfo> {
    return this.#greeting ?? this.#open();
  }

  /**
   * Sends a request, over a new link if the client is closed, and gives its reply.
   *
   * Rejects with a `CorvaneError` when the reply is an error (`refused`), when it does not come in
   * time, and when the link can't be made or ends before. During a pause it rejects at once with
   * the reason for the pause: requests never start a host more often than the pauses allow. With a
   * signal that is aborted it rejects with the signal's reason. Nothing is sent twice: after the end
   * of a link nobody knows whether the command was carried out.
   */
  async request<Command extends CommandName>(
    type: Command,
    ...[parameters, options]: RequestArguments<Command>
  ): Promise<Reply<Command>> {
    options?.signal?.throwIfAborted();
    return (await this.#ask(type, parameters, options ?? {})) as Reply<Command>;
  }

  /** Ends the link, and with it the host. `connect` and `request` begin a new one. */
  close(): void {
    this.#callOffRetry();
    const connection = this.#connection;
    this.#forget();
    this.#pause = 0;
    this.#setLink({state: "closed"});
    connection?.end(closed());
  }

  async #ask(
    type: CommandName,
    parameters: object | undefined,
    {signal, timeLimit = timeLimitOf(type, parameters)}: RequestOptions,
  ): Promise<Reply> {
    const reason = this.#reasonForPause();
    if (reason) throw reason;
    await abortable(this.connect(), signal);
    signal?.throwIfAborted(); // before it is sent
    const connection = this.#connection;
    if (!connection) throw this.#reasonForPause() ?? closed();
    const before = this.#appState;
    const reply = await connection.ask(type, parameters, timeLimit, signal);
    if (reply.result !== "ok") {
      throw new CorvaneError("refused", reply.data ?? "The host gives no reason.", reply);
    }
    this.#takeReply(reply, before);
    return reply;
  }

  #reasonForPause(): CorvaneError | undefined {
    return this.#link.state === "waiting" ? this.#link.error : undefined;
  }

  #open(): Promise<HostInfo> {
    this.#callOffRetry();
    const {runtime, clock} = this.#options;
    const connection: Connection = new Connection(runtime, clock, {
      pushed: (reply) => this.#takeState(reply),
      ended: (error) => {
        if (connection === this.#connection) this.#waitAfter(error);
      },
    });
    this.#connection = connection;
    let begin!: (greeting: Promise<HostInfo>) => void;
    const greeting = new Promise<HostInfo>((resolve) => (begin = resolve));
    greeting.catch(() => {}); // told by the link as well
    this.#greeting = greeting; // from here on, listeners may connect, ask or close
    const before = this.#link.state === "waiting" ? {error: this.#link.error} : {};
    this.#setLink({state: "connecting", ...before});
    begin(this.#greet(connection));
    return greeting;
  }

  async #greet(connection: Connection): Promise<HostInfo> {
    const {clock, hostName, greetingLimit} = this.#options;
    const before = this.#appState;
    const {host, reply} = await connection.greet(hostName, greetingLimit);
    if (connection !== this.#connection) throw closed();
    this.#liveSince = clock.now();
    this.#setLink({state: "live", host});
    if (connection !== this.#connection) throw closed(); // by a listener
    this.#takeReply(reply, before);
    return host;
  }

  /** Plans the next attempt. */
  #waitAfter(error: CorvaneError): void {
    const {clock, firstPause, longestPause} = this.#options;
    const now = clock.now();
    const hasHeld = this.#liveSince !== undefined && now - this.#liveSince >= longestPause;
    this.#pause = hasHeld || !this.#pause ? firstPause : Math.min(2 * this.#pause, longestPause);
    this.#forget();
    this.#callOffRetry = clock.after(this.#pause, () => void this.connect());
    this.#setLink({state: "waiting", error, retryAt: now + this.#pause});
  }

  #forget(): void {
    this.#connection = this.#greeting = this.#liveSince = undefined;
  }

  #setLink(link: Link): void {
    this.#link = link;
    for (const listener of this.#linkListeners) {
      if (link !== this.#link) return; // a listener has changed it, and all were told of that
      guarded(() => listener(link));
    }
  }

  /**
   * Replies may overtake each other; the times in them tell which state is newer. The state that
   * was known before the request, `before`, is older in any case: the clock may have been set back.
   */
  #takeReply(reply: Reply, before: AppState | undefined): void {
    const known = this.#appState === before ? undefined : this.#appState;
    if (!known || reply.appState.lastCheckTime >= known.lastCheckTime) this.#takeState(reply);
  }

  #takeState({result, requestId, appState}: Reply): void {
    if (result !== "ok") return; // the host does not know
    this.#appState = appState;
    const isPushed = requestId === PUSH_ID;
    for (const listener of this.#stateListeners) guarded(() => listener(appState, isPushed));
  }
}

function closed(): CorvaneError {
  return new CorvaneError("closed", "The link was closed.");
}
