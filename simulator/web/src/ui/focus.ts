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

/** Whether the focus is in the element, or nowhere: whoever had it is gone. */
export function mayTakeFocus(element: Element): boolean {
  const { activeElement } = document;
  return (
    activeElement === null || activeElement === document.body || element.contains(activeElement)
  );
}
