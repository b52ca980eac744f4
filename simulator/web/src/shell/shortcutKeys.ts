import type { Signal } from "@preact/signals";
import { useEffect } from "preact/hooks";
import { focusPhone } from "../features/phone";
import type { Simulator } from "../state/Simulator";
import type { View } from "./ViewSwitch";

const isWriting = (target: EventTarget | null): boolean =>
  target instanceof Element &&
  target.closest("input:not([type=radio], [type=checkbox]), select, textarea, [role=group]") !==
    null;

export type Shortcut = "?" | "t" | "r" | "p" | "d" | "i";
/** What a shortcut does; some have a button at the top, too. */
export type Actions = Record<Shortcut, () => void>;

const focusFirst = (selector: string) => document.querySelector<HTMLElement>(selector)?.focus();

/** Listens for the single keys, and gives what they do to the buttons that do the same. */
export function useShortcutKeys(
  simulator: Simulator,
  view: Signal<View>,
  onHelp: () => void,
): Actions {
  const goTo = (place: View, focus: () => void) => {
    view.value = place;
    // Where only one part is shown, it has to be drawn first.
    requestAnimationFrame(focus);
  };
  const actions: Actions = {
    "?": onHelp,
    t: () => simulator.prefer({ theme: simulator.dark.peek() ? "light" : "dark" }),
    r: () => simulator.prefer({ landscape: !simulator.preferences.landscape }),
    p: () => goTo("phone", focusPhone),
    d: () => goTo("device", () => focusFirst(".panel summary")),
    i: () => goTo("inspector", () => focusFirst(".inspector [role=tab][aria-selected=true]")),
  };
  useEffect(() => {
    const onKeyDown = (event: KeyboardEvent) => {
      if (event.ctrlKey || event.metaKey || event.altKey || isWriting(event.target)) return;
      // A page dialog has the keyboard to itself.
      if (document.querySelector("dialog[open]")) return;
      if (!simulator.preferences.singleKeys || !Object.hasOwn(actions, event.key)) return;
      event.preventDefault();
      actions[event.key as Shortcut]();
    };
    window.addEventListener("keydown", onKeyDown);
    return () => window.removeEventListener("keydown", onKeyDown);
  });
  return actions;
}
