// Sends any command, with parameters typed by hand, and shows the replies, newest first.

import {PageClient} from "./client/page.js";

const page = {url: "https://example.org/", port: 443};
const EXAMPLES = {
  init: {apiVersion: "1"},
  getCurrentAppState: undefined,
  getCurrentFilteringState: {...page, forceStartApp: false},
  setProtectionStatus: {isEnabled: true},
  setFilteringStatus: {url: page.url, isEnabled: true, isHttpsEnabled: true},
  addRule: {ruleText: "||banner.example.org^"},
  removeRule: {ruleText: "||banner.example.org^"},
  removeCustomRules: {url: page.url},
  openOriginalCert: {domain: "example.org", port: 443},
  reportSite: {url: page.url, referrer: "", userAgent: navigator.userAgent},
  openFilteringLog: undefined,
  openSettings: undefined,
  updateApp: undefined,
};

const [form, type, parameters, replies, linkState] =
  ["form", "type", "parameters", "replies", "link"].map((id) => document.getElementById(id));

const client = new PageClient();
client.onLink((link) => {
  linkState.textContent = link.error?.reason ?? link.state;
  document.body.dataset.link = link.state;
});

function element(name, className, text) {
  const made = document.createElement(name);
  made.className = className;
  made.textContent = text;
  return made;
}

/** What JSON shows of an error. */
function plain({reason, message, reply, browserText}) {
  return {reason, message, reply, browserText};
}

/** Sends a command, shows what comes of it and gives it: {reply} or {error}. */
async function send(command, values) {
  const begin = performance.now();
  const {reply, error} = await client.request(command, values).then(
    (answer) => ({reply: answer}), (failure) => ({error: plain(failure)}));
  const milliseconds = (performance.now() - begin).toFixed(1);
  const entry = element("article", error ? "card failed" : "card", "");
  entry.append(
    element("h2", "", `${command}: ${error ? error.reason : reply.result}, ${milliseconds} ms`),
    element("pre", "", JSON.stringify(error?.reply ?? error ?? reply, null, 2)));
  replies.prepend(entry);
  return {reply, error, milliseconds};
}

function showExample() {
  const example = EXAMPLES[type.value];
  parameters.value = example ? JSON.stringify(example, null, 2) : "";
  parameters.setCustomValidity("");
}

Object.keys(EXAMPLES).forEach((name) => type.append(new Option(name)));
type.addEventListener("change", showExample);
parameters.addEventListener("input", () => parameters.setCustomValidity(""));
form.addEventListener("submit", (event) => {
  event.preventDefault();
  try {
    const text = parameters.value.trim();
    send(type.value, text ? JSON.parse(text) : undefined);
  } catch (error) {
    parameters.setCustomValidity(error.message);
    parameters.reportValidity();
  }
});
showExample();
globalThis.send = send; // for the console
