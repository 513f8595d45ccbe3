// Keeps the one link to the host, and shares it with the pages of the extension: each gets
// {link, appState, isPushed} when it opens its port and after every change; each may send
// {id, type, parameters} and gets {id, reply} or {id, error} back, or {connect: true}, which ends a
// pause.

import {CorvaneClient} from "./client/client.js";

const client = new CorvaneClient();
const pages = new Set();

function news(isPushed = false) {
  const {error, ...link} = client.link; // errors don't pass through ports as they are
  return {link: {...link, error: error && plain(error)}, appState: client.appState, isPushed};
}

function plain({reason, message, reply, browserText}) {
  return {reason, message, reply, browserText};
}

function tell(isPushed) {
  pages.forEach((page) => page.postMessage(news(isPushed)));
  showOnButton();
}

/** The button's shield has its tick only while pages are filtered, as far as is known. */
function showOnButton() {
  const {isRunning, isProtectionEnabled} = client.appState ?? {};
  const isLive = client.link.state === "live";
  const isOn = isLive && isRunning && isProtectionEnabled;
  const isOff = isLive && isRunning && !isProtectionEnabled;
  const text = client.link.state === "waiting" ? "!" : isOff ? "off" : "";
  chrome.action.setBadgeText({text});
  chrome.action.setIcon({path: isOn ? "icon.png" : "icon-off.png"});
}

client.onLink(() => tell());
client.onAppState((state, isPushed) => tell(isPushed));

chrome.runtime.onConnect.addListener((page) => {
  pages.add(page);
  page.onDisconnect.addListener(() => pages.delete(page));
  page.onMessage.addListener(async ({id, type, parameters, connect}) => {
    if (connect) {
      client.connect().catch(() => {}); // the link tells
      return;
    }
    const answer = await client.request(type, parameters).then(
      (reply) => ({id, reply}),
      (error) => ({id, error: plain(error)}));
    if (pages.has(page)) page.postMessage(answer);
  });
  page.postMessage(news());
  client.connect().catch(() => {}); // the link tells
});

client.connect().catch(() => {});
