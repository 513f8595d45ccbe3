// Keeps the one link to the host, and shares it with the extension's pages.

import {CorvaneClient} from "./client/client.js";
import {shareClient} from "./client/share.js";

const client = new CorvaneClient({hostName: "@HOST_NAME@"});
shareClient(client);
client.connect().catch(() => {}); // it tries again by itself
