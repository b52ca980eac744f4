import { createContext } from "preact";
import { useContext } from "preact/hooks";
import type { Model } from "../model/model";
import type { SimulatorClient } from "../model/SimulatorClient";
import type { Preferences } from "../model/preferences";
import type { Step } from "../protocol/messages";

/** What a replay is about to do, and the media that it does it with. */
export interface Cue {
  step: Step;
  media: string | null;
}

export interface Simulator {
  client: SimulatorClient;
  model: Model;
  preferences: Preferences;
  prefer: (changes: Partial<Preferences>) => void;
  cue: Cue | null;
  setCue: (cue: Cue | null) => void;
  /** Whether a replay plays the user: then nobody else answers for them. */
  replaying: boolean;
  setReplaying: (replaying: boolean) => void;
}

export const SimulatorContext = createContext<Simulator | null>(null);

export function useSimulator(): Simulator {
  const simulator = useContext(SimulatorContext);
  if (!simulator) throw new Error("There is no simulator around this component.");
  return simulator;
}
