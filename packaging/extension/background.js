// Owns the connection to the host. A page of the extension sends {type, parameters}; it gets the
// host's reply, or {disconnected: reason} when the host is not there or has gone.

const hostName = "com.corvane.nm";

let port = null;
let lastIdentifier = 0;
const waiting = new Map(); // request identifier -> what to call with the reply

function connect() {
  port = chrome.runtime.connectNative(hostName);
  port.onMessage.addListener((reply) => {
    waiting.get(reply.requestId)?.(reply); // announced changes of state answer no request
    waiting.delete(reply.requestId);
  });
  port.onDisconnect.addListener(() => {
    const disconnected = chrome.runtime.lastError?.message ?? "The host has gone.";
    port = null;
    waiting.forEach((answer) => answer({disconnected}));
    waiting.clear();
  });
}

chrome.runtime.onMessage.addListener((message, sender, answer) => {
  if (!port) connect();
  const id = String(++lastIdentifier);
  waiting.set(id, answer);
  port.postMessage({type: message.type, id, parameters: message.parameters});
  return true; // the answer comes later
});

chrome.action.onClicked.addListener(() => chrome.tabs.create({url: "page.html"}));
