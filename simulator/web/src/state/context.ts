import { createContext } from "preact";
import { useContext } from "preact/hooks";
import type { Simulator } from "./Simulator";

/** Never another one: what changes are its signals. */
export const SimulatorContext = createContext<Simulator | null>(null);

export function useSimulator(): Simulator {
  const simulator = useContext(SimulatorContext);
  if (!simulator) throw new Error("There is no simulator around this component.");
  return simulator;
}
