import { render } from "preact";
import { App } from "./App";
import { SimulatorClient } from "./model/SimulatorClient";
import { Store } from "./model/Store";
import { ServerTransport } from "./protocol/ServerTransport";
import type { Transport } from "./protocol/Transport";
import "./styles/base.css";
import "./styles/desk.css";
import "./styles/phone.css";
import "./styles/inspector.css";

async function transport(): Promise<Transport> {
  // While the pages themselves are worked on, a device of paper stands in for the server.
  if (import.meta.env.DEV) {
    const { MockTransport } = await import("./mock/MockTransport");
    return new MockTransport();
  }
  return new ServerTransport(new URL(".", location.href));
}

async function start(root: HTMLElement): Promise<void> {
  const client = new SimulatorClient(new Store(), await transport(), sessionStorage);
  client.start();
  render(<App client={client} memory={sessionStorage} />, root);
}

const root = document.getElementById("root");
if (root) void start(root);
