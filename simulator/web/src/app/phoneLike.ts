/** What a page finds on a phone, where a browser on a desk is different. */

/** A phone's scrollbars take no room. The page's own styles count more than this one. */
export function hideScrollbars(): void {
  const sheet = new CSSStyleSheet();
  sheet.replaceSync(":where(*) { scrollbar-width: none; }");
  document.adoptedStyleSheets = [sheet, ...document.adoptedStyleSheets];
}

export function setUserAgent(text: string): void {
  Object.defineProperty(Navigator.prototype, "userAgent", {
    get: () => text,
    configurable: true,
    enumerable: true,
  });
}
