/** A host and pages without a browser, for the tests of extensions. */

import type {ExtensionRuntime, NativePort, NativeRuntime, PagePort} from "./browser.js";
import {API_VERSION, PUSH_ID} from "./protocol.js";
import type {AppState, CommandName, PageState, Reply, Request} from "./protocol.js";

const ORIGIN = "chrome-extension://test/";

class FakeEvent<Arguments extends unknown[]> {
  readonly #listeners: ((...all: Arguments) => void)[] = [];

  addListener(listener: (...all: Arguments) => void): void {
    this.#listeners.push(listener);
  }

  fire(...all: Arguments): void {
    this.#listeners.forEach((listener) => listener(...all));
  }
}

/** One end of a port. What it posts reaches the other end as a copy, and later, as in browsers. */
class FakePort implements PagePort, NativePort {
  readonly onMessage = new FakeEvent<[unknown]>();
  readonly onDisconnect = new FakeEvent<[FakePort]>();
  readonly name: string;
  readonly sender: {url?: string};
  error: {message?: string} | null = null;
  isOpen = true;
  #other!: FakePort;

  constructor(name: string, sender = {}) {
    this.name = name;
    this.sender = sender;
  }

  static pair(name: string, sender?: {url: string}): [FakePort, FakePort] {
    const [near, far] = [new FakePort(name), new FakePort(name, sender)];
    [near.#other, far.#other] = [far, near];
    return [near, far];
  }

  postMessage(message: object): void {
    if (!this.isOpen) throw new Error("Attempting to use a disconnected port object");
    const text = JSON.stringify(message);
    queueMicrotask(() => {
      if (this.#other.isOpen) this.#other.onMessage.fire(JSON.parse(text));
    });
  }

  /** Only the other end hears of it, with `browserText` as the browser's reason. */
  disconnect(browserText?: string): void {
    if (!this.isOpen) return;
    const other = this.#other;
    queueMicrotask(() => {
      if (!other.isOpen) return;
      other.isOpen = false;
      other.error = browserText === undefined ? null : {message: browserText};
      other.onDisconnect.fire(other);
    });
    this.isOpen = false;
  }
}

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
export class FakeHost {
  /** Give it to `CorvaneClient` as an option. */
  readonly runtime: NativeRuntime = {connectNative: () => this.#connect()};
  /** All requests since the beginning, greetings among them. */
  readonly requests: Request[] = [];
  /** What to answer instead, by command. */
  readonly overrides = new Map<CommandName, Override>();
  /** If set, no host starts, and the browser gives this text for a reason. */
  failure: string | undefined;
  /** The main application; `announce` changes it and pushes the change. */
  appState: AppState = {
    isInstalled: true,
    isRunning: true,
    isProtectionEnabled: true,
    lastCheckTime: now(),
    locale: "en",
  };
  /** The answer to `getCurrentFilteringState`, of any page. */
  pageState: PageState = {
    isFilteringEnabled: true,
    isHttpsFilteringEnabled: true,
    isPageFilteredByUserFilter: false,
    blockedAdsCount: 3,
    totalBlockedCount: 7,
    originalCertIssuer: "Example Authority",
    originalCertStatus: "valid",
  };
  readonly #ports = new Set<FakePort>();
  #replies = 0;

  /** The number of hosts that run: one for each client with a link. */
  get running(): number {
    return this.#ports.size;
  }

  /** Changes the main application, and pushes that to all clients. */
  announce(change: Partial<AppState> = {}): void {
    Object.assign(this.appState, change);
    this.#ports.forEach((port) => port.postMessage(this.#reply(PUSH_ID, {})));
  }

  /** Ends all hosts that run. `browserText` is what the browser says; Firefox says nothing. */
  end(browserText?: string): void {
    this.#ports.forEach((port) => port.disconnect(browserText));
    this.#ports.clear();
  }

  #connect(): NativePort {
    const [browsers, hosts] = FakePort.pair("");
    if (this.failure !== undefined) {
      hosts.disconnect(this.failure);
      return browsers;
    }
    this.#ports.add(hosts);
    hosts.onDisconnect.addListener(() => this.#ports.delete(hosts));
    hosts.onMessage.addListener((message) => this.#receive(hosts, message as Request));
    return browsers;
  }

  #receive(port: FakePort, request: Request): void {
    this.requests.push(request);
    const override = this.overrides.get(request.type as CommandName);
    if (override === "silence") return;
    const isRefused = override?.result === "error"; // then nothing changes
    const usual = isRefused ? {} : this.#usualAnswer(request.type, request.parameters ?? {});
    if (usual) port.postMessage(this.#reply(request.id, {...usual, ...override}));
  }

  /** Nothing for what is no command. */
  #usualAnswer(type: string, values: Values): Partial<Reply> | undefined {
    if (type === "init") return greeting(values.apiVersion);
    if (type === "getCurrentAppState") return {};
    const canStart = type === "getCurrentFilteringState"; // no other command can
    if (canStart && values.forceStartApp) this.appState.isRunning = true;
    if (!ANSWERS.has(type)) return undefined;
    if (!this.appState.isRunning) {
      return {result: "error", data: "Can't connect to main app, timeout reached."};
    }
    return ANSWERS.get(type)?.(this, values);
  }

  #reply(requestId: string, answer: Partial<Reply>): object {
    const appState = {...this.appState, lastCheckTime: now()};
    return {id: String(++this.#replies), requestId, result: "ok", ...answer, appState};
  }
}

/** Of all commands, in one; each is there only where its command has it. */
interface Values {
  apiVersion?: string;
  forceStartApp?: boolean;
  isEnabled?: boolean;
  isHttpsEnabled?: boolean;
}

type Answer = (host: FakeHost, values: Values) => Partial<Reply>;

const PLAIN_COMMANDS =
  "addRule removeRule removeCustomRules openOriginalCert openFilteringLog openSettings updateApp";

const ANSWERS = new Map<string, Answer>([
  ...PLAIN_COMMANDS.split(" ").map((type): [string, Answer] => [type, () => ({})]),
  ["getCurrentFilteringState", ({pageState}) => ({parameters: {...pageState}})],
  ["reportSite", () => ({parameters: {reportUrl: "https://reports.example.org/1"}})],
  ["setProtectionStatus", ({appState}, {isEnabled}) => {
    appState.isProtectionEnabled = isEnabled === true;
    return {};
  }],
  ["setFilteringStatus", ({pageState}, {isEnabled, isHttpsEnabled}) => {
    pageState.isFilteringEnabled = isEnabled === true;
    pageState.isHttpsFilteringEnabled = isHttpsEnabled === true;
    return {};
  }],
]);

function greeting(apiVersion: string | undefined): Partial<Reply> {
  const isValidatedOnHost = apiVersion === API_VERSION;
  const host = {version: "1.0", apiVersion: API_VERSION, isValidatedOnHost, platform: "mac"};
  if (isValidatedOnHost) return {parameters: host};
  return {result: "error", data: "Supported api version mismatch", parameters: host};
}

function now(): string {
  return new Date().toISOString().replace("Z", "+00:00");
}

/**
 * The background script and the pages of one extension, both in this process.
 *
 *     const pages = new FakePages();
 *     shareClient(client, pages.runtime);
 *     const page = new PageClient({runtime: pages.runtime});
 */
export class FakePages {
  readonly runtime: ExtensionRuntime = {
    onConnect: new FakeEvent<[PagePort]>(),
    connect: ({name}) => this.#connect(name),
    getURL: (path) => ORIGIN + path,
  };
  readonly #ports = new Set<FakePort>();

  /** Closes all ports, as if the browser had stopped the background script. */
  stopBackground(): void {
    this.#ports.forEach((port) => {
      port.disconnect();
      port.onDisconnect.fire(port); // so that the client of this process forgets the page
    });
    this.#ports.clear();
  }

  #connect(name: string): PagePort {
    const [pages, backgrounds] = FakePort.pair(name, {url: `${ORIGIN}page.html`});
    this.#ports.add(backgrounds);
    queueMicrotask(() => (this.runtime.onConnect as FakeEvent<[PagePort]>).fire(backgrounds));
    return pages;
  }
}
