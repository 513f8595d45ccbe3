import type { AppState, CommandName, Commands, HostInfo, Reply } from "./protocol.js";
import type { CorvaneError } from "./reasons.js";
/** The state of the link to the host. */
export type Link = LinkWith<CorvaneError>;
/** The same where errors have another form, as between background script and pages. */
export type LinkWith<Failure> = 
/** `connect` was not called yet, or `close` was. */
{
    readonly state: "closed";
}
/** The host is being started and greeted; `error` is what ended the last attempt, if any. */
 | {
    readonly state: "connecting";
    readonly error?: Failure;
} | {
    readonly state: "live";
    readonly host: HostInfo;
}
/** There is no link, for the reason in `error`; at `retryAt` (by the clock) it is tried again. */
 | {
    readonly state: "waiting";
    readonly error: Failure;
    readonly retryAt: number;
};
export interface RequestOptions {
    /** Milliseconds for the answer, from when the request is sent; default: `timeLimitOf`. */
    timeLimit?: number | undefined;
    /**
     * Ends the wait: the request rejects with the signal's `reason`, as `fetch` does. A request that
     * was sent already may still be carried out.
     */
    signal?: AbortSignal | undefined;
}
/** Removes the listener that it was returned for. */
export type StopListening = () => void;
/** What follows a command's name: its parameters, if it has any, and options. */
export type RequestArguments<Command extends CommandName> = undefined extends Commands[Command]["parameters"] ? [parameters?: undefined, options?: RequestOptions] : [parameters: Commands[Command]["parameters"], options?: RequestOptions];
/** What `CorvaneClient` in the background script and `PageClient` in pages have in common. */
export interface HostLink {
    /** The state of the link now. */
    readonly link: Link;
    /** The newest state of the main application that is known, from a reply or a push. */
    readonly appState: AppState | undefined;
    /** Calls `listener` whenever the link changes. */
    onLink(listener: (link: Link) => void): StopListening;
    /**
     * Calls `listener` for each newer state of the main application. A pushed one says that something
     * has changed there, perhaps more than the state tells: rules, or the filtering of a page.
     */
    onAppState(listener: (state: AppState, isPushed: boolean) => void): StopListening;
    /** Sends a request and gives its reply; rejects with a `CorvaneError`, or the signal's reason. */
    request<Command extends CommandName>(type: Command, ...rest: RequestArguments<Command>): Promise<Reply<Command>>;
}
/**
 * Settles as `promise` does. If `signal` is aborted first, calls `abandon` and rejects with the
 * signal's reason.
 */
export declare function abortable<T>(promise: Promise<T>, signal: AbortSignal | undefined, abandon?: () => void): Promise<T>;
/** Reports what a listener throws as an uncaught error; the other listeners are still called. */
export declare function guarded(listen: () => void): void;
