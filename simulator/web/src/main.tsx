import { render } from "preact";
import { App } from "./App";
import { SimulatorClient } from "./model/SimulatorClient";
import type { TabStorage } from "./model/storage";
import { Store } from "./model/Store";
import { ServerTransport } from "./protocol/ServerTransport";
import type { Transport } from "./protocol/Transport";
import "./styles/base.css";
import "./styles/desk.css";
import "./styles/phone.css";
import "./styles/alert.css";
import "./styles/picker.css";
import "./styles/camera.css";
import "./styles/review.css";
import "./styles/library.css";
import "./styles/settings.css";
import "./styles/inspector.css";

async function transport(): Promise<Transport> {
  // While the pages themselves are worked on, a mock device stands in for the server.
  if (import.meta.env.DEV) {
    const { MockTransport } = await import("./mock/MockTransport");
    return new MockTransport();
  }
  return new ServerTransport(new URL(".", location.href));
}

/** Where the browser grants no storage, nothing outlives a reload. */
function tabStorage(): TabStorage {
  try {
    return sessionStorage;
  } catch {
    return { getItem: () => null, setItem: () => {} };
  }
}

async function start(root: HTMLElement): Promise<void> {
  const storage = tabStorage();
  const client = new SimulatorClient(new Store(), await transport(), storage);
  client.start();
  render(<App client={client} storage={storage} />, root);
}

const root = document.getElementById("root");
if (root) void start(root);
