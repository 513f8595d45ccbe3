import {extensionRuntime} from "./browser.js";
import type {ExtensionRuntime, PagePort} from "./browser.js";
import type {CorvaneClient} from "./client.js";
import {guarded} from "./link.js";
import type {RequestOptions} from "./link.js";
import {PORT_NAME, plainError, withError} from "./messages.js";
import type {BackgroundMessage, PageMessage} from "./messages.js";
import type {Reply} from "./protocol.js";

/** One page's requests in flight, by their identifiers. */
type Pending = Map<number, AbortController>;

/** `request` without its types: what comes through a port has none. */
type UntypedRequest = (type: string, values?: object, options?: RequestOptions) => Promise<Reply>;

/**
 * Shares the background script's client with the pages of the extension: its popup, its options,
 * its tabs. Each of them makes a `PageClient`. A page that opens connects a client that is closed;
 * during a pause it waits like requests do, as each attempt starts a process.
 *
 * Call it once, as soon as the background script starts: the browser reports the page that started
 * the script only to listeners which are added at once. Content scripts are refused, as they run
 * in pages of others.
 */
export function shareClient(
  client: CorvaneClient,
  runtime: ExtensionRuntime = extensionRuntime(),
): void {
  const pages = new Set<PagePort>();
  client.onLink(() => pages.forEach((page) => tell(page, linkOf(client))));
  client.onAppState((appState, isPushed) =>
    pages.forEach((page) => tell(page, {appState, isPushed})));
  runtime.onConnect.addListener((page) => {
    if (page.name !== PORT_NAME) return;
    if (!isOwnPage(page, runtime)) {
      page.disconnect();
      return;
    }
    pages.add(page);
    page.onDisconnect.addListener(() => pages.delete(page));
    const pending: Pending = new Map();
    page.onMessage.addListener(async (message) => {
      const answer = await answerTo(client, message as PageMessage, pending);
      if (answer && pages.has(page)) tell(page, answer);
    });
    tell(page, linkOf(client));
    if (client.appState) tell(page, {appState: client.appState, isPushed: false});
    if (client.link.state === "closed") client.connect().catch(() => {}); // the link tells
  });
}

function linkOf(client: CorvaneClient): BackgroundMessage {
  return {link: withError(client.link, plainError)};
}

/** A port that fails keeps no other page from being told. */
function tell(page: PagePort, message: BackgroundMessage): void {
  guarded(() => page.postMessage(message));
}

function isOwnPage(page: PagePort, runtime: ExtensionRuntime): boolean {
  return page.sender?.url?.startsWith(runtime.getURL("")) === true;
}

async function answerTo(
  client: CorvaneClient,
  message: PageMessage,
  pending: Pending,
): Promise<BackgroundMessage | undefined> {
  if ("connect" in message) {
    client.connect().catch(() => {}); // the link tells
    return undefined;
  }
  if ("abort" in message) {
    pending.get(message.abort)?.abort();
    return undefined;
  }
  const {id, type, parameters, timeLimit} = message;
  const abortion = new AbortController();
  pending.set(id, abortion);
  const request = client.request as UntypedRequest;
  try {
    const {signal} = abortion;
    return {id, reply: await request.call(client, type, parameters, {timeLimit, signal})};
  } catch (error) {
    return {id, error: plainError(error)};
  } finally {
    pending.delete(id);
  }
}
