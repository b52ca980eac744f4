import { useLayoutEffect, useRef } from "preact/hooks";

const focusable =
  'button:not([disabled]), a[href], input:not([disabled]), select:not([disabled]), textarea:not([disabled]), [tabindex]:not([tabindex="-1"])';

const reachableIn = (element: Element): HTMLElement[] =>
  [...element.querySelectorAll<HTMLElement>(focusable)].filter((one) => !one.closest("[inert]"));

/** Focuses the element's own `[data-first]`, or the first thing in it that can be focused. */
export function focusInside(element: HTMLElement): void {
  const reachable = reachableIn(element);
  const first = reachable.find((one) => one.matches("[data-first]")) ?? reachable[0];
  (first ?? element).focus();
}

/**
 * Keeps the focus inside an element while it is shown, and gives it back to whoever had it.
 */
export function useModal<T extends HTMLElement>() {
  const ref = useRef<T>(null);
  useLayoutEffect(() => {
    const element = ref.current;
    if (!element) return;
    const before = document.activeElement;
    focusInside(element);
    const keep = (event: KeyboardEvent) => {
      if (event.key !== "Tab") return;
      const all = reachableIn(element);
      const first = all[0];
      const last = all.at(-1);
      if (!first || !last) {
        event.preventDefault();
        return;
      }
      const at = document.activeElement;
      if (event.shiftKey ? at === first || at === element : at === last) {
        event.preventDefault();
        (event.shiftKey ? last : first).focus();
      }
    };
    element.addEventListener("keydown", keep);
    return () => {
      element.removeEventListener("keydown", keep);
      if (before instanceof HTMLElement && before.isConnected)
        // Only once nothing covers it any more.
        queueMicrotask(() => {
          if (document.activeElement === document.body || document.activeElement === null)
            before.focus();
        });
    };
  }, []);
  return ref;
}
