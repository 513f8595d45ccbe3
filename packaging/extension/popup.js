// Shows the state of protection, of the page in the current tab and of the link, and switches what
// can be switched. As a page of its own it shows what it is told: popup.html?url=https://…

import {SharedLink} from "./link.js";
import {TROUBLES, UNKNOWN_TROUBLE} from "./troubles.js";

const $ = (id) => document.getElementById(id);
const controls = ["protection", "http", "https", "log", "settings"].map($);

let link = {state: "connecting"};
let app; // the main application's state, once it is known
let tab; // the current one
let address; // {url, port} of the page, if it is one that can be filtered
let page; // its state, once it is known
let busy = 0; // commands under way

const shared = new SharedLink((news) => {
  const wasUsable = isUsable();
  link = news.link;
  app = news.appState ?? app;
  render();
  if (isUsable() && (news.isPushed || !wasUsable)) lookAtPage();
});

const isLive = () => link.state === "live";
const isUsable = () => isLive() && app?.isRunning === true;

function addressOf(text) {
  const url = URL.canParse(text ?? "") ? new URL(text) : undefined;
  const ports = {"http:": 80, "https:": 443};
  if (!url || !(url.protocol in ports)) return undefined;
  return {url: url.href, port: Number(url.port) || ports[url.protocol]};
}

/** Asks for the state of the page; what the application answers late is overtaken by what is new. */
async function lookAtPage(forceStartApp = false) {
  if (!address) return;
  const {reply} = await shared.ask("getCurrentFilteringState", {...address, forceStartApp});
  page = reply?.parameters ?? page;
  render();
}

/** One command of the user's; nothing else can be switched until it is done. */
async function command(type, parameters) {
  busy += 1;
  render();
  const {error} = await shared.ask(type, parameters);
  busy -= 1;
  await lookAtPage();
  $("protection-note").textContent = error ? `${type}: ${error.message}` : noteOnProtection();
  render();
}

function noteOnProtection() {
  if (!isUsable()) return "";
  return app.isProtectionEnabled ? "Pages are filtered." : "Nothing is filtered.";
}

function troubleNow() {
  if (link.error) {
    return {...UNKNOWN_TROUBLE, ...TROUBLES[link.error.reason], browser: link.error.browserText};
  }
  return isLive() && app && !app.isRunning ? TROUBLES["not running"] : undefined;
}

function renderLink() {
  const trouble = troubleNow();
  $("trouble").hidden = !trouble;
  $("trouble-title").textContent = trouble?.title ?? "";
  $("trouble-text").textContent = trouble?.text ?? "";
  $("trouble-browser").textContent = trouble?.browser ? `The browser says: ${trouble.browser}` : "";
  $("trouble-button").textContent = isLive() ? "Start it" : "Try again";
  $("version").textContent = isLive() ? `Host ${link.host.version}` : "";
  const words = {connecting: "connecting", live: app?.isRunning ? "connected" : "not running"};
  $("chip").textContent = (!link.error && words[link.state]) || "not connected";
  $("protection-card").hidden = $("site-card").hidden = Boolean(trouble);
  renderPause();
}

function renderPause() {
  const seconds = Math.max(0, Math.ceil((link.retryAt - Date.now()) / 1000));
  const whenWaiting = `by itself in ${seconds} s`;
  $("retry").textContent = {waiting: whenWaiting, connecting: "trying …"}[link.state] ?? "";
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
  document.body.dataset.link = link.state;
  document.body.dataset.usable = isUsable();
  document.body.toggleAttribute("aria-busy", busy > 0);
  renderLink();
  const isOn = isUsable() && app.isProtectionEnabled;
  $("protection").checked = isOn;
  $("protection-text").textContent =
    isUsable() ? `Protection is ${isOn ? "on" : "off"}` : "Protection";
  if (!busy) $("protection-note").textContent = noteOnProtection();
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
  isLive() ? lookAtPage(true) : shared.connect());
setInterval(renderPause, 1000);

const given = new URLSearchParams(location.search).get("url");
[tab] = given ? [{url: given}] : await chrome.tabs.query({active: true, currentWindow: true});
address = addressOf(tab?.url);
render();
if (isUsable()) lookAtPage();
