import type { Clock, ExtensionRuntime } from "./browser.js";
import type { HostLink, Link, RequestArguments, StopListening } from "./link.js";
import type { AppState, CommandName, Reply } from "./protocol.js";
export * from "./protocol.js";
export { CorvaneError } from "./reasons.js";
export type { Reason } from "./reasons.js";
export type { HostLink, Link, RequestOptions, StopListening } from "./link.js";
export interface PageClientOptions {
    /** For tests. */
    runtime?: ExtensionRuntime;
    /** For tests. */
    clock?: Clock;
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
export declare class PageClient implements HostLink {
    #private;
    constructor({ runtime, clock }?: PageClientOptions);
    get link(): Link;
    get appState(): AppState | undefined;
    onLink(listener: (link: Link) => void): StopListening;
    onAppState(listener: (state: AppState, isPushed: boolean) => void): StopListening;
    /** Tries the host at once, also during a pause; `onLink` tells what comes of it. */
    connect(): void;
    /**
     * As in `HostLink`. Rejects with `interrupted` if the background script stops meanwhile: nobody
     * knows whether the command was carried out.
     */
    request<Command extends CommandName>(type: Command, ...[parameters, options]: RequestArguments<Command>): Promise<Reply<Command>>;
}
