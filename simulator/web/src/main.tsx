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

function start(root: HTMLElement): void {
  const storage = tabStorage();
  const transport = new ServerTransport(
    new URL(".", location.href),
    import.meta.env.VITE_APP_ORIGIN,
  );
  const client = new SimulatorClient(new Store(), transport, storage);
  const simulator = new Simulator(client, storage, browserSurroundings());
  standIn(simulator);
  client.start();
  render(<App simulator={simulator} />, root);
}

const root = document.getElementById("root");
if (root) start(root);
