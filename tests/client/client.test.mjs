// The client and its pages, beside ports and a clock of the test's own.

import assert from "node:assert/strict";
import {beforeEach, test} from "node:test";
import {CorvaneClient, PUSH_ID, timeLimitOf} from "../../packaging/extension/client/client.js";
import {PORT_NAME} from "../../packaging/extension/client/messages.js";
import {PageClient} from "../../packaging/extension/client/page.js";
import {shareClient} from "../../packaging/extension/client/share.js";

const HOST = {version: "9.9", apiVersion: "1", isValidatedOnHost: true, platform: "mac"};

class FakeClock {
  #time = 0;
  #alarms = new Set();

  now = () => this.#time;
  pending = () => this.#alarms.size;

  after(milliseconds, action) {
    const alarm = {time: this.#time + milliseconds, action};
    this.#alarms.add(alarm);
    return () => this.#alarms.delete(alarm);
  }

  /** Lets time pass, and then all that follows from it. */
  async pass(milliseconds) {
    this.#time += milliseconds;
    for (const alarm of [...this.#alarms].filter(({time}) => time <= this.#time)) {
      this.#alarms.delete(alarm);
      alarm.action();
    }
    await settle();
  }
}

class FakePort {
  sent = [];
  isOpen = true;
  onMessage = {addListener: (listener) => (this.receive = listener)};
  onDisconnect = {addListener: (listener) => (this.ended = listener)};
  postMessage = (message) => this.sent.push(message);
  disconnect = () => (this.isOpen = false);

  async end(error) {
    this.ended({error});
    await settle();
  }

  /** Answers the newest request, with what is not usual. */
  async answer(unusual = {}) {
    const requestId = this.sent.at(-1).id;
    this.receive({id: "1", requestId, result: "ok", appState: state(1), ...unusual});
    await settle();
  }
}

const settle = () => new Promise((resolve) => setImmediate(resolve));
const state = (second) => ({lastCheckTime: `2026-01-01T00:00:0${second}.000+00:00`});
const newPort = () => ports[ports.push(new FakePort()) - 1];
const hasReason = (reason) => (error) => error.name === "CorvaneError" && error.reason === reason;

let clock, ports, client, link;

beforeEach(() => {
  clock = new FakeClock();
  ports = [];
  const runtime = {connectNative: newPort};
  client = new CorvaneClient({runtime, clock, longestPause: 4000});
  client.onLink((now) => (link = now));
});

async function becomeLive() {
  void client.connect();
  await ports.at(-1).answer({parameters: HOST});
  assert.deepEqual(link, {state: "live", host: HOST});
  return ports.at(-1);
}

test("pauses double up to the longest, and begin anew after a link that held", async () => {
  client.connect().catch(() => {});
  for (const pause of [1000, 2000, 4000, 4000]) {
    await ports.at(-1).end({message: "No such native application x"});
    assert.deepEqual([link.state, link.error.reason, link.retryAt - clock.now()],
                     ["waiting", "not found", pause]);
    await clock.pass(pause - 1);
    await assert.rejects(client.request("openSettings"), hasReason("not found"));
    assert.equal(link.state, "waiting");
    await clock.pass(1);
    assert.deepEqual([link.state, link.error.reason], ["connecting", "not found"]);
  }
  for (const [held, pause] of [[3999, 4000], [4000, 1000]]) {
    const port = await becomeLive();
    await clock.pass(held);
    await port.end(null);
    assert.deepEqual([link.error.reason, link.retryAt - clock.now()], ["exited", pause]);
  }
});

test("each end has its reason", async () => {
  const greeted = {"Native host has exited.": "exited", "": "exited", "Whatever.": "failed",
                   "Error when communicating with the native messaging host.": "too large"};
  const early = {"Specified native messaging host not found.": "not found",
                 "Access to the specified native messaging host is forbidden.": "forbidden",
                 "An unexpected error occurred": "not found",
                 "Access to the native messaging host was disabled by the system administrator.":
                   "forbidden",
                 "Error when communicating with the native messaging host.": "failed"};
  for (const [texts, isGreeted] of [[greeted, true], [early, false]]) {
    for (const [message, reason] of Object.entries(texts)) {
      if (isGreeted) await becomeLive();
      else client.connect().catch(() => {});
      const request = assert.rejects(client.request("openSettings"), hasReason(reason));
      await settle();
      await ports.at(-1).end({message});
      await request;
    }
  }
});

test("a host that says nothing or the wrong version is left", async () => {
  const mute = assert.rejects(client.connect(), hasReason("mute"));
  await clock.pass(10_000);
  await mute;
  const old = assert.rejects(client.connect(), hasReason("version mismatch"));
  await ports[1].answer({result: "error", parameters: {...HOST, isValidatedOnHost: false}});
  await old;
  assert.deepEqual(ports.map((port) => port.isOpen), [false, false]);
});

test("replies find their requests; limits and refusals end none but their own", async () => {
  const port = await becomeLive();
  const rule = {ruleText: "r"};
  const late = assert.rejects(client.request("addRule", rule, {timeLimit: 5}),
                              hasReason("time limit"));
  const refused = assert.rejects(client.request("removeRule", rule), hasReason("refused"));
  await settle();
  const [, first, second] = port.sent;
  await clock.pass(5);
  await late;
  const report = client.request("reportSite", {url: "u", referrer: "", userAgent: ""});
  await settle();
  await port.answer({parameters: {reportUrl: "there"}});
  assert.equal((await report).parameters.reportUrl, "there");
  port.receive({requestId: first.id, result: "ok", appState: state(1)}); // nobody waits any more
  port.receive({requestId: second.id, result: "error", data: "no", appState: state(1)});
  await refused;
  assert.equal(link.state, "live");
  assert.ok(timeLimitOf("setProtectionStatus") > 300_000);
  assert.ok(timeLimitOf("getCurrentFilteringState", {forceStartApp: true}) > 300_000);
  assert.ok(timeLimitOf("addRule") < 60_000);
});

test("the newest state counts, also by a clock that is set back", async () => {
  const told = [];
  client.onAppState(({lastCheckTime}, isPushed) => told.push([lastCheckTime, isPushed]));
  const port = await becomeLive();
  const ask = async (during, appState) => {
    const asked = client.request("getCurrentAppState");
    await settle();
    during();
    await port.answer({appState});
    await asked;
  };
  const push = (second, result = "ok") =>
    port.receive({requestId: PUSH_ID, result, appState: state(second)});
  await ask(() => {
    push(3);
    push(4, "error"); // it does not know
  }, state(2)); // looked at before the push
  push(9);
  push(5);
  await ask(() => {}, state(3));
  await port.end(null);
  void client.connect();
  await ports.at(-1).answer({parameters: HOST, appState: state(2)});
  assert.deepEqual(told, [[1, false], [3, true], [9, true], [5, true], [3, false], [2, false]]
    .map(([second, isPushed]) => [state(second).lastCheckTime, isPushed]));
});

test("close ends the host and all attempts; a request begins anew", async () => {
  const port = await becomeLive();
  const asked = assert.rejects(client.request("updateApp"), hasReason("closed"));
  await settle();
  client.close();
  await asked;
  await clock.pass(1_000_000);
  assert.deepEqual([link.state, port.isOpen, ports.length], ["closed", false, 1]);
  const attempt = assert.rejects(client.connect(), hasReason("exited"));
  await ports[1].end(null);
  await attempt;
  client.close();
  await clock.pass(1_000_000);
  assert.deepEqual([link.state, ports.length], ["closed", 2]);
  void client.request("updateApp").catch(() => {});
  assert.deepEqual([link.state, ports.length], ["connecting", 3]);
});

test("listeners may close, connect and ask at any change", async () => {
  for (const moment of ["connecting", "live"]) {
    const stop = client.onLink(({state}) => state === moment && client.close());
    const told = [];
    const stopTelling = client.onLink(({state}) => told.push(state));
    const attempt = assert.rejects(client.connect(), hasReason("closed"));
    if (moment === "live") await ports.at(-1).answer({parameters: HOST});
    await attempt;
    assert.equal(told.at(-1), "closed");
    assert.equal(client.appState, undefined);
    stop();
    stopTelling();
  }
  assert.deepEqual(ports.map((port) => port.isOpen), [false]); // none for the first
  let asked;
  client.onLink(({state}) => state === "connecting" && (asked = client.request("openSettings")));
  const port = await becomeLive();
  await port.answer();
  assert.equal((await asked).result, "ok");
  assert.equal(ports.length, 2);
});

test("a listener that throws harms nobody else, and is heard of", async (context) => {
  const failures = [];
  context.mock.method(globalThis, "queueMicrotask", (fail) => failures.push(fail));
  const port = await becomeLive();
  client.onLink(() => assert.fail("of the link"));
  client.onAppState(() => assert.fail("of the state"));
  const told = [];
  client.onLink(({state}) => told.push(state));
  client.onAppState(({lastCheckTime}) => told.push(lastCheckTime));
  const answered = client.request("openSettings");
  await settle();
  await port.answer({appState: state(2)});
  await answered;
  const unanswered = assert.rejects(client.request("openSettings"), hasReason("exited"));
  await settle();
  await port.end(null);
  await unanswered;
  assert.deepEqual(told, [state(2).lastCheckTime, "waiting"]);
  assert.throws(failures[0], /of the state/);
  assert.throws(failures[1], /of the link/);
});

test("an extension without the permission is told so, each time", async () => {
  const without = new CorvaneClient({runtime: {}, clock});
  let attempts = 0;
  without.onLink(({state}) => (attempts += state === "connecting"));
  await assert.rejects(without.connect(), hasReason("forbidden"));
  await clock.pass(1000);
  assert.deepEqual([attempts, without.link.error.reason], [2, "forbidden"]);
});

test("an aborted request ends its wait; before the greeting's answer it is not sent", async () => {
  const abortion = new AbortController();
  const {signal} = abortion;
  const greeted = becomeLive();
  const isAborted = (error) => error === signal.reason;
  const early = assert.rejects(client.request("updateApp", undefined, {signal}), isAborted);
  abortion.abort();
  await early;
  await assert.rejects(client.request("updateApp", undefined, {signal}), isAborted);
  const port = await greeted;
  assert.deepEqual(port.sent.map(({type}) => type), ["init"]);
  const later = new AbortController();
  const asked = client.request("updateApp", undefined, {signal: later.signal});
  await settle();
  later.abort(new Error("enough"));
  await assert.rejects(asked, /enough/);
  assert.equal(clock.pending(), 0);
  await port.answer(); // nobody waits any more
  assert.equal(link.state, "live");
});

test("pages survive the end of the background script, and wake it", async () => {
  const page = new PageClient({clock, runtime: {connect: newPort}});
  const heard = [];
  page.onLink(({state}) => heard.push(state));
  ports[0].receive({link: {state: "live", host: HOST}});
  const asked = page.request("openSettings");
  ports[0].ended();
  await assert.rejects(asked, hasReason("interrupted"));
  ports[1].ended(); // it said nothing: no haste
  await assert.rejects(page.request("openSettings"), hasReason("interrupted"));
  assert.equal(ports.length, 2);
  await clock.pass(1000);
  const again = page.request("openSettings");
  const abortion = new AbortController();
  const aborted = page.request("updateApp", undefined, {signal: abortion.signal});
  abortion.abort(new Error("enough"));
  await assert.rejects(aborted, /enough/);
  assert.deepEqual(ports[2].sent.at(-1), {abort: ports[2].sent.at(-2).id});
  ports[2].receive({link: {state: "waiting", retryAt: 1, error: {reason: "mute", message: ""}}});
  ports[2].receive({id: ports[2].sent[0].id, reply: "there"});
  assert.equal(await again, "there");
  assert.ok(hasReason("mute")(page.link.error));
  assert.deepEqual(heard, ["live", "connecting", "connecting", "waiting"]);
});

test("content scripts are refused; pages abort, and end no pause as they open", async (context) => {
  let open;
  shareClient(client, {onConnect: {addListener: (listener) => (open = listener)},
                       getURL: () => "chrome-extension://own/"});
  for (const [url, isOpen] of [["https://example.org/", false], ["chrome-extension://own/p", true]]) {
    const port = Object.assign(newPort(), {name: PORT_NAME, sender: {url}});
    open(port);
    assert.deepEqual([port.isOpen, port.sent.length > 0], [isOpen, isOpen]);
  }
  const [, page, host] = ports;
  page.receive({id: 1, type: "updateApp"});
  page.receive({id: 2, type: "openSettings"});
  page.receive({abort: 1});
  await host.answer({parameters: HOST});
  assert.deepEqual(host.sent.map(({type}) => type), ["init", "openSettings"]);
  await host.end(null);
  context.mock.method(globalThis, "queueMicrotask", () => {});
  page.postMessage = () => assert.fail("of the port");
  open(Object.assign(newPort(), {name: PORT_NAME, sender: {url: "chrome-extension://own/p"}}));
  assert.deepEqual([link.state, ports.at(-1).sent[0].link.state], ["waiting", "waiting"]);
  const told = ports.at(-1).sent;
  void client.connect();
  assert.equal(told.at(-1).link.state, "connecting");
});
