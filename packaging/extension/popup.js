// Shows the state of protection, of the page in the current tab and of the link, and switches what
// can be switched. As a page of its own it shows what it is told: popup.html?url=https://…

import {PageClient} from "./client/page.js";
import {TROUBLES, UNKNOWN_TROUBLE} from "./troubles.js";

const $ = (id) => document.getElementById(id);
const controls = ["protection", "http", "https", "log", "settings"].map($);
const client = new PageClient();

let tab; // the current one
let address; // {url, port} of the page, if it is one that can be filtered
let page; // its state, once it is known
let busy = 0; // commands under way
let commandError = ""; // of the last command
let startError; // what went wrong after "Start it", until the application runs
let isStarting = false;
let wasUsable = false; // at the last news

// The command that starts the application asks for a page, too; this one where there is none.
const ANY_PAGE = {url: "http://localhost/", port: 80};

function hear(isPushed) {
  if (isUsable()) startError = undefined;
  render();
  if (isUsable() && (isPushed || !wasUsable)) lookAtPage();
  wasUsable = isUsable();
}

client.onLink(() => hear(false));
client.onAppState((_, isPushed) => hear(isPushed));

const isLive = () => client.link.state === "live";
const isUsable = () => isLive() && client.appState?.isRunning === true;

function addressOf(text) {
  const url = URL.canParse(text ?? "") ? new URL(text) : undefined;
  const ports = {"http:": 80, "https:": 443};
  if (!url || !(url.protocol in ports)) return undefined;
  return {url: url.href, port: Number(url.port) || ports[url.protocol]};
}

/** Asks for the state of the page; what the application answers late is overtaken by what is new. */
async function lookAtPage() {
  if (!address) return;
  const request = {...address, forceStartApp: false};
  page = await client.request("getCurrentFilteringState", request)
    .then((reply) => reply.parameters, (error) => error.reply?.parameters ?? page);
  render();
}

/** One command of the user's; nothing else can be switched until it is done. */
async function command(type, parameters) {
  busy += 1;
  render();
  commandError = await client.request(type, parameters)
    .then(() => "", (error) => `That did not work: ${error.message}`);
  busy -= 1;
  await lookAtPage();
  render();
}

/** Starts the application, whatever page is shown. An error about the page alone is no failure. */
async function startApp() {
  isStarting = true;
  startError = undefined;
  render();
  const request = {...(address ?? ANY_PAGE), forceStartApp: true};
  const error = await client.request("getCurrentFilteringState", request)
    .then(() => undefined, (failure) => failure);
  isStarting = false;
  startError = isUsable() ? undefined : error;
  render();
}

function noteOnProtection() {
  if (!isUsable()) return "";
  return client.appState.isProtectionEnabled ? "Pages are filtered." : "Nothing is filtered.";
}

function troubleNow() {
  const {link, appState} = client;
  if (link.error) {
    const {reason, browserText} = link.error;
    const details = browserText && `The browser says: ${browserText}`;
    return {...UNKNOWN_TROUBLE, ...TROUBLES[reason], details};
  }
  if (!isLive() || !appState || appState.isRunning) return undefined;
  if (!startError) return TROUBLES["not running"];
  return {...TROUBLES["not started"], details: `The helper program says: ${startError.message}`};
}

function renderLink() {
  const {link, appState} = client;
  const trouble = troubleNow();
  $("trouble").hidden = !trouble;
  $("trouble-title").textContent = trouble?.title ?? "";
  $("trouble-text").textContent = trouble?.text ?? "";
  $("trouble-details").textContent = trouble?.details ?? "";
  $("trouble-button").textContent = isLive() ? "Start it" : "Try again";
  $("trouble-button").disabled = isStarting;
  $("version").textContent = isLive() ? `Version ${link.host.version}` : "";
  const words = {connecting: "connecting", live: appState?.isRunning ? "connected" : "not running"};
  $("chip").textContent = (!link.error && words[link.state]) || "not connected";
  $("protection-card").hidden = $("site-card").hidden = Boolean(trouble);
  renderPause();
}

function renderPause() {
  const {link} = client;
  const seconds = Math.max(0, Math.ceil((link.retryAt - Date.now()) / 1000));
  const words = {waiting: `by itself in ${seconds} s`, connecting: "trying …"};
  $("retry").textContent = isStarting ? "starting …" : words[link.state] ?? "";
}

function pageNote() {
  if (address) return "";
  return tab?.url ? "It does not come from the web, and is not filtered."
    : "The browser does not tell which page this is.";
}

function renderPage() {
  $("site").textContent = address ? new URL(address.url).host : "This page";
  $("page-note").textContent = pageNote();
  $("page-note").hidden = Boolean(address);
  $("page").hidden = !address;
  const number = (count) => (isUsable() && count !== undefined ? count.toLocaleString() : "–");
  $("blocked").textContent = number(page?.blockedAdsCount);
  $("total").textContent = number(page?.totalBlockedCount);
  $("http").checked = Boolean(isUsable() && page?.isFilteringEnabled);
  $("https").checked = Boolean(isUsable() && page?.isHttpsFilteringEnabled);
  const issuer = page?.originalCertIssuer;
  $("certificate").textContent =
    isUsable() && issuer ? `Certificate: ${page.originalCertStatus}, by ${issuer}` : "";
  $("rules").hidden = !(isUsable() && page?.isPageFilteredByUserFilter);
}

function render() {
  document.body.dataset.link = client.link.state;
  document.body.dataset.usable = isUsable();
  document.body.toggleAttribute("aria-busy", busy > 0);
  renderLink();
  const isOn = isUsable() && client.appState.isProtectionEnabled;
  $("shield").src = isOn ? "icon.svg" : "icon-off.svg";
  $("protection").checked = isOn;
  $("protection-text").textContent =
    isUsable() ? `Protection is ${isOn ? "on" : "off"}` : "Protection";
  $("protection-note").textContent = noteOnProtection();
  $("command-error").textContent = isUsable() ? commandError : "";
  renderPage();
  controls.forEach((control) => (control.disabled = !isUsable() || busy > 0));
  $("log").hidden = $("settings").hidden = !isUsable();
  // With protection off a page is filtered in no way; there is nothing to switch.
  [$("http"), $("https")].forEach((control) => (control.disabled ||= !isOn));
}

function switchPage() {
  const [isEnabled, isHttpsEnabled] = [$("http").checked, $("https").checked];
  command("setFilteringStatus", {url: address.url, isEnabled, isHttpsEnabled});
}

$("protection").addEventListener("change", ({target}) =>
  command("setProtectionStatus", {isEnabled: target.checked}));
$("http").addEventListener("change", switchPage);
$("https").addEventListener("change", switchPage);
$("log").addEventListener("click", () => command("openFilteringLog"));
$("settings").addEventListener("click", () => command("openSettings"));
$("trouble-button").addEventListener("click", () =>
  isLive() ? startApp() : client.connect());
setInterval(renderPause, 1000);

const given = new URLSearchParams(location.search).get("url");
[tab] = given ? [{url: given}] : await chrome.tabs.query({active: true, currentWindow: true});
address = addressOf(tab?.url);
render();
if (isUsable()) lookAtPage();
