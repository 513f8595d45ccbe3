/** A host and pages without a browser, for the tests of extensions. */
import { API_VERSION, PUSH_ID } from "./protocol.js";
const ORIGIN = "chrome-extension://test/";
class FakeEvent {
    #listeners = [];
    addListener(listener) {
        this.#listeners.push(listener);
    }
    fire(...all) {
        this.#listeners.forEach((listener) => listener(...all));
    }
}
/** One end of a port. What it posts reaches the other end as a copy, and later, as in browsers. */
class FakePort {
    onMessage = new FakeEvent();
    onDisconnect = new FakeEvent();
    name;
    sender;
    error = null;
    isOpen = true;
    #other;
    constructor(name, sender = {}) {
        this.name = name;
        this.sender = sender;
    }
    static pair(name, sender) {
        const [near, far] = [new FakePort(name), new FakePort(name, sender)];
        [near.#other, far.#other] = [far, near];
        return [near, far];
    }
    postMessage(message) {
        if (!this.isOpen)
            throw new Error("Attempting to use a disconnected port object");
        const text = JSON.stringify(message);
        queueMicrotask(() => {
            if (this.#other.isOpen)
                this.#other.onMessage.fire(JSON.parse(text));
        });
    }
    /** Only the other end hears of it, with `browserText` as the browser's reason. */
    disconnect(browserText) {
        if (!this.isOpen)
            return;
        const other = this.#other;
        queueMicrotask(() => {
            if (!other.isOpen)
                return;
            other.isOpen = false;
            other.error = browserText === undefined ? null : { message: browserText };
            other.onDisconnect.fire(other);
        });
        this.isOpen = false;
    }
}
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
    runtime = { connectNative: () => this.#connect() };
    /** All requests since the beginning, greetings among them. */
    requests = [];
    /** What to answer instead, by command. */
    overrides = new Map();
    /** If set, no host starts, and the browser gives this text for a reason. */
    failure;
    /** The main application; `announce` changes it and pushes the change. */
    appState = {
        isInstalled: true,
        isRunning: true,
        isProtectionEnabled: true,
        lastCheckTime: now(),
        locale: "en",
    };
    /** The answer to `getCurrentFilteringState`, of any page. */
    pageState = {
        isFilteringEnabled: true,
        isHttpsFilteringEnabled: true,
        isPageFilteredByUserFilter: false,
        blockedAdsCount: 3,
        totalBlockedCount: 7,
        originalCertIssuer: "Example Authority",
        originalCertStatus: "valid",
    };
    #ports = new Set();
    #replies = 0;
    /** The number of hosts that run: one for each client with a link. */
    get running() {
        return this.#ports.size;
    }
    /** Changes the main application, and pushes that to all clients. */
    announce(change = {}) {
        Object.assign(this.appState, change);
        this.#ports.forEach((port) => port.postMessage(this.#reply(PUSH_ID, {})));
    }
    /** Ends all hosts that run. `browserText` is what the browser says; Firefox says nothing. */
    end(browserText) {
        this.#ports.forEach((port) => port.disconnect(browserText));
        this.#ports.clear();
    }
    #connect() {
        const [browsers, hosts] = FakePort.pair("");
        if (this.failure !== undefined) {
            hosts.disconnect(this.failure);
            return browsers;
        }
        this.#ports.add(hosts);
        hosts.onDisconnect.addListener(() => this.#ports.delete(hosts));
        hosts.onMessage.addListener((message) => this.#receive(hosts, message));
        return browsers;
    }
    #receive(port, request) {
        this.requests.push(request);
        const override = this.overrides.get(request.type);
        if (override === "silence")
            return;
        const isRefused = override?.result === "error"; // then nothing changes
        const usual = isRefused ? {} : this.#usualAnswer(request.type, request.parameters ?? {});
        if (usual)
            port.postMessage(this.#reply(request.id, { ...usual, ...override }));
    }
    /** Nothing for what is no command. */
    #usualAnswer(type, values) {
        if (type === "init")
            return greeting(values.apiVersion);
        if (type === "getCurrentAppState")
            return {};
        const canStart = type === "getCurrentFilteringState"; // no other command can
        if (canStart && values.forceStartApp)
            this.appState.isRunning = true;
        if (!ANSWERS.has(type))
            return undefined;
        if (!this.appState.isRunning) {
            return { result: "error", data: "Can't connect to main app, timeout reached." };
        }
        return ANSWERS.get(type)?.(this, values);
    }
    #reply(requestId, answer) {
        const appState = { ...this.appState, lastCheckTime: now() };
        return { id: String(++this.#replies), requestId, result: "ok", ...answer, appState };
    }
}
const PLAIN_COMMANDS = "addRule removeRule removeCustomRules openOriginalCert openFilteringLog openSettings updateApp";
const ANSWERS = new Map([
    ...PLAIN_COMMANDS.split(" ").map((type) => [type, () => ({})]),
    ["getCurrentFilteringState", ({ pageState }) => ({ parameters: { ...pageState } })],
    ["reportSite", () => ({ parameters: { reportUrl: "https://reports.example.org/1" } })],
    ["setProtectionStatus", ({ appState }, { isEnabled }) => {
            appState.isProtectionEnabled = isEnabled === true;
            return {};
        }],
    ["setFilteringStatus", ({ pageState }, { isEnabled, isHttpsEnabled }) => {
            pageState.isFilteringEnabled = isEnabled === true;
            pageState.isHttpsFilteringEnabled = isHttpsEnabled === true;
            return {};
        }],
]);
function greeting(apiVersion) {
    const isValidatedOnHost = apiVersion === API_VERSION;
    const host = { version: "1.0", apiVersion: API_VERSION, isValidatedOnHost, platform: "mac" };
    if (isValidatedOnHost)
        return { parameters: host };
    return { result: "error", data: "Supported api version mismatch", parameters: host };
}
function now() {
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
    runtime = {
        onConnect: new FakeEvent(),
        connect: ({ name }) => this.#connect(name),
        getURL: (path) => ORIGIN + path,
    };
    #ports = new Set();
    /** Closes all ports, as if the browser had stopped the background script. */
    stopBackground() {
        this.#ports.forEach((port) => {
            port.disconnect();
            port.onDisconnect.fire(port); // so that the client of this process forgets the page
        });
        this.#ports.clear();
    }
    #connect(name) {
        const [pages, backgrounds] = FakePort.pair(name, { url: `${ORIGIN}page.html` });
        this.#ports.add(backgrounds);
        queueMicrotask(() => this.runtime.onConnect.fire(backgrounds));
        return pages;
    }
}
