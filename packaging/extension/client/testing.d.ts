/** A host and pages without a browser, for the tests of extensions. */
import type { ExtensionRuntime, NativeRuntime } from "./browser.js";
import type { AppState, PageState, Reply, Request } from "./protocol.js";
/** What an override gives in place of the usual reply; "silence" is no reply at all. */
export type Override = Partial<Pick<Reply, "result" | "data" | "parameters">> | "silence";
/**
 * A host beside a main application, both played in this process.
 *
 *     const host = new FakeHost();
 *     const client = new CorvaneClient({runtime: host.runtime});
 *     await client.request("setProtectionStatus", {isEnabled: false});
 *     assert.equal(host.appState.isProtectionEnabled, false);
 *     host.overrides.set("addRule", {result: "error", data: "No."});
 *     host.end("Native host has exited.");
 *
 * It answers well-formed requests as the host does beside a main application with one page and no
 * memory for rules; what parameters are made of it does not check.
 */
export declare class FakeHost {
    #private;
    /** Give it to `CorvaneClient` as an option. */
    readonly runtime: NativeRuntime;
    /** All requests since the beginning, greetings among them. */
    readonly requests: Request[];
    /** What to answer instead, by command. */
    readonly overrides: Map<keyof import("./protocol.js").Commands, Override>;
    /** If set, no host starts, and the browser gives this text for a reason. */
    failure: string | undefined;
    /** The main application; `announce` changes it and pushes the change. */
    appState: AppState;
    /** The answer to `getCurrentFilteringState`, of any page. */
    pageState: PageState;
    /** The number of hosts that run: one for each client with a link. */
    get running(): number;
    /** Changes the main application, and pushes that to all clients. */
    announce(change?: Partial<AppState>): void;
    /** Ends all hosts that run. `browserText` is what the browser says; Firefox says nothing. */
    end(browserText?: string): void;
}
/**
 * The background script and the pages of one extension, both in this process.
 *
 *     const pages = new FakePages();
 *     shareClient(client, pages.runtime);
 *     const page = new PageClient({runtime: pages.runtime});
 */
export declare class FakePages {
    #private;
    readonly runtime: ExtensionRuntime;
    /** Closes all ports, as if the browser had stopped the background script. */
    stopBackground(): void;
}
