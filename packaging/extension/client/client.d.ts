import type { Clock, NativeRuntime } from "./browser.js";
import type { HostLink, Link, RequestArguments, StopListening } from "./link.js";
import type { AppState, CommandName, HostInfo, Reply } from "./protocol.js";
export * from "./protocol.js";
export { CorvaneError } from "./reasons.js";
export type { Reason } from "./reasons.js";
export type { Clock, NativePort, NativeRuntime } from "./browser.js";
export type { HostLink, Link, RequestOptions, StopListening } from "./link.js";
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
/**
 * How long an answer may take, in milliseconds, when the caller does not say.
 *
 * The host waits 3 s for each exchange with the main application, and 300 s for the announcement of
 * a new state or for a start. While it does, later requests wait as well: the limit of an ordinary
 * one can run out behind such a command. Give a `timeLimit` where waiting is better than that.
 */
export declare function timeLimitOf(type: CommandName, parameters?: object): number;
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
export declare class CorvaneClient implements HostLink {
    #private;
    constructor(options?: ClientOptions);
    /** Where the link stands now. */
    get link(): Link;
    /** The newest state of the main application that is known, from a reply or a push. */
    get appState(): AppState | undefined;
    /** Calls `listener` whenever the link changes. */
    onLink(listener: (link: Link) => void): StopListening;
    /**
     * Calls `listener` for each newer state of the main application. A pushed one says that something
     * has changed there, perhaps more than the state tells: rules, or the filtering of a page.
     */
    onAppState(listener: (state: AppState, isPushed: boolean) => void): StopListening;
    /**
     * Starts the host and greets it, at once also during a pause; does nothing if that has happened.
     * Rejects with a `CorvaneError` if this attempt fails. Attempts go on all the same, until
     * `close`: those who only want to listen need not look at the result.
     */
    connect(): Promise<HostInfo>;
    /**
     * Sends a request, over a new link if the client is closed, and gives its reply.
     *
     * Rejects with a `CorvaneError` when the reply is an error (`refused`), when it does not come in
     * time, and when the link can't be made or ends before. During a pause it rejects at once with
     * the reason for the pause: requests never start a host more often than the pauses allow. With a
     * signal that is aborted it rejects with the signal's reason. Nothing is sent twice: after the end
     * of a link nobody knows whether the command was carried out.
     */
    request<Command extends CommandName>(type: Command, ...[parameters, options]: RequestArguments<Command>): Promise<Reply<Command>>;
    /** Ends the link, and with it the host. `connect` and `request` begin a new one. */
    close(): void;
}
