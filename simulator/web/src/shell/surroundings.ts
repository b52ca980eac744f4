import { type ReadonlySignal, signal } from "@preact/signals";
import type { Surroundings } from "../state/Simulator";

const mediaSignal = (query: string): ReadonlySignal<boolean> => {
  const list = matchMedia(query);
  const matches = signal(list.matches);
  list.addEventListener("change", () => {
    matches.value = list.matches;
  });
  return matches;
};

/** What the browser knows of its user's wishes, for as long as the page is open. */
export const browserSurroundings = (): Surroundings => ({
  dark: mediaSignal("(prefers-color-scheme: dark)"),
  still: mediaSignal("(prefers-reduced-motion: reduce)"),
});
