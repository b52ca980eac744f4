import { render } from "preact";
import { App } from "./App";
import { type Memory, SimulatorClient } from "./model/SimulatorClient";
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

/** The tab's own memory. Where the browser grants none, nothing outlives a reload. */
function tabMemory(): Memory {
  try {
    return sessionStorage;
  } catch {
    return { getItem: () => null, setItem: () => {} };
  }
}

async function start(root: HTMLElement): Promise<void> {
  const memory = tabMemory();
  const client = new SimulatorClient(new Store(), await transport(), memory);
  client.start();
  render(<App client={client} memory={memory} />, root);
}

const root = document.getElementById("root");
if (root) void start(root);
