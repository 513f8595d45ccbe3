// The package, installed, in plain JavaScript and through what use.ts compiles to.

import assert from "node:assert/strict";
import {test} from "node:test";
import {CorvaneClient, CorvaneError} from "corvane-nm-client";
import {FakeHost} from "corvane-nm-client/testing";
import {client, host, look, page, pages, reasonOf} from "./out/use.js";

const next = (listen) => new Promise((resolve) => {
  const stop = listen((value) => {
    stop();
    resolve(value);
  });
});

test("a page asks, hears and is interrupted through the client of the background script", async () => {
  await client.connect();
  assert.deepEqual(await look(page), host.pageState);
  assert.deepEqual([host.running, page.link.state, page.link.host.version], [1, "live", "1.0"]);
  await page.request("setProtectionStatus", {isEnabled: false});
  assert.equal(page.appState.isProtectionEnabled, false);
  const heard = next((listener) => page.onAppState(listener));
  host.announce({isProtectionEnabled: true});
  assert.equal((await heard).isProtectionEnabled, true);
  host.overrides.set("addRule", {result: "error", data: "No."});
  await assert.rejects(page.request("addRule", {ruleText: "r"}),
                       (error) => error instanceof CorvaneError && error.reply.data === "No.");
  host.overrides.set("updateApp", "silence");
  const asked = reasonOf(page.request("updateApp"));
  await look(page);
  const states = [];
  page.onLink(({state}) => states.push(state));
  pages.stopBackground();
  assert.equal(await asked, "interrupted");
  assert.deepEqual(await look(page), host.pageState);
  assert.deepEqual(states, ["connecting", "live"]);
  host.end("Native host has exited.");
  const link = await next((listener) => page.onLink(listener));
  assert.deepEqual([link.state, link.error.reason], ["waiting", "exited"]);
  assert.equal(await reasonOf(look(page)), "exited");
  page.connect();
  await client.connect();
  assert.deepEqual(await look(page), host.pageState);
  client.close();
});

test("hosts that can't be started, and applications that only one command starts", async () => {
  const absent = new FakeHost();
  absent.failure = "No such native application com.corvane.nm";
  const alone = new CorvaneClient({runtime: absent.runtime});
  assert.equal(await reasonOf(alone.connect()), "not found");
  alone.close();
  host.appState.isRunning = false;
  const forced = {url: "https://example.org/", port: 443, forceStartApp: true};
  assert.equal(await reasonOf(client.request("removeRule", forced)), "refused");
  await client.request("getCurrentFilteringState", forced);
  client.close();
});
