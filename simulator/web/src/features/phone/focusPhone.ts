import { useLayoutEffect, useRef } from "preact/hooks";
import { focusInside, mayTakeFocus } from "../../ui/focus";

/** Marks what lies over the app; the last of them is on top. */
export const layer = { "data-layer": "" };

/** Focuses what is on top on the phone: the uppermost dialog, or the app. */
export function focusPhone(): void {
  const layers = document.querySelectorAll<HTMLElement>(".phone-content [data-layer]");
  const top = [...layers].at(-1);
  if (top) focusInside(top);
  else document.querySelector<HTMLElement>(".app-frame")?.focus();
}

/**
 * Keeps the focus on what is on top, also where that closes and had it. Nothing is taken from who is
 * at work beside the phone.
 */
export function useFocusOnTop(top: string | number) {
  const phone = useRef<HTMLDivElement>(null);
  const shown = useRef(top);
  useLayoutEffect(() => {
    if (shown.current === top) return;
    shown.current = top;
    if (phone.current && mayTakeFocus(phone.current)) focusPhone();
  }, [top]);
  return phone;
}
