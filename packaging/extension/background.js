// Keeps the one link to the host, shares it with the extension's pages, and shows on the extension's
// button whether pages are filtered.

import {CorvaneClient} from "./client/client.js";
import {shareClient} from "./client/share.js";

const client = new CorvaneClient();
shareClient(client);

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

client.onLink(showOnButton);
client.onAppState(showOnButton);
client.connect().catch(() => {}); // the link tells
