// Shows protection and the link, and switches protection.

import {PageClient} from "./client/page.js";

const client = new PageClient();
const [box, text] = [document.getElementById("box"), document.getElementById("text")];

client.onAppState((state) => {
  box.disabled = !state.isRunning;
  box.checked = state.isProtectionEnabled;
});
client.onLink((link) => (text.textContent = link.error?.message ?? link.state));
box.addEventListener("change", () =>
  client.request("setProtectionStatus", {isEnabled: box.checked}).catch((error) => {
    box.checked = client.appState.isProtectionEnabled; // as it was
    text.textContent = error.message;
  }));
