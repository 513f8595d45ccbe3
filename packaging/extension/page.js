// Shakes hands with the host, asks for the state of the application and shows both replies.

async function show(type, parameters) {
  const begin = performance.now();
  const reply = await chrome.runtime.sendMessage({type, parameters});
  const [name, text] = [document.createElement("dt"), document.createElement("dd")];
  name.textContent = type;
  text.textContent = JSON.stringify(reply);
  text.dataset.milliseconds = performance.now() - begin;
  document.getElementById("replies").append(name, text);
}

async function main() {
  await show("init", {apiVersion: "1"});
  await show("getCurrentAppState");
  document.body.dataset.state = "done";
}

main();
