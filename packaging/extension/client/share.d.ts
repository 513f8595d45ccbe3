import type { ExtensionRuntime } from "./browser.js";
import type { CorvaneClient } from "./client.js";
/**
 * Shares the background script's client with the pages of the extension: its popup, its options,
 * its tabs. Each of them makes a `PageClient`. A page that opens connects a client that is closed;
 * during a pause it waits like requests do, as each attempt starts a process.
 *
 * Call it once, as soon as the background script starts: the browser reports the page that started
 * the script only to listeners which are added at once. Content scripts are refused, as they run
 * in pages of others.
 */
export declare function shareClient(client: CorvaneClient, runtime?: ExtensionRuntime): void;
