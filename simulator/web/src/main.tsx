import { render } from "preact";
import { ServerTransport } from "./core/ServerTransport";
import { SimulatorClient } from "./core/SimulatorClient";
import type { TabStorage } from "./core/storage";
import { Store } from "./core/Store";
import { standIn } from "./features/device";
import { App } from "./shell/App";
import { browserSurroundings } from "./shell/surroundings";
import { Simulator } from "./state/Simulator";
import "./styles/index.css";

/** Where the browser grants no storage, nothing outlives a reload. */
function tabStorage(): TabStorage {
  try {
    return sessionStorage;
  } catch {
    return { getItem: () => null, setItem: () => undefined };
  }
}

/** The phone that a driver has made, and which this tab is to show. A reload is the tab's own. */
function sessionInAddress(): string | null {
  const address = new URL(location.href);
  const session = address.searchParams.get("session");
  address.searchParams.delete("session");
  if (session !== null) history.replaceState(null, "", address);
  return session;
}

function start(root: HTMLElement): void {
  const storage = tabStorage();
  const transport = new ServerTransport(
    new URL(".", location.href),
    import.meta.env.VITE_APP_ORIGIN,
  );
  const client = new SimulatorClient(new Store(), transport, storage);
  const simulator = new Simulator(client, storage, browserSurroundings());
  standIn(simulator);
  client.start(sessionInAddress());
  render(<App simulator={simulator} />, root);
}

const root = document.getElementById("root");
if (root) start(root);
