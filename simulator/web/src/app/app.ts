/**
 * The script that the server inserts as the first thing in every page of the app. It makes the browser a
 * little more like a phone's, and notifies the simulator around the page of where the page is, and of
 * what goes wrong in it. It does so only for a page that stands in the simulator's frame, and nobody but
 * the simulator's origin gets the messages.
 */
import { observeConsole, observeErrors, observeLocation, observeRequests } from "./observe";
import { PageReporter } from "./PageReporter";
import { hideScrollbars, setUserAgent } from "./phoneLike";

function start(script: HTMLScriptElement): void {
  // The page is as its developer wrote it for whatever looks at it from here on.
  script.remove();
  const { simulator, userAgent } = script.dataset;
  if (!simulator || window.parent === window || window.parent !== window.top) return;
  hideScrollbars();
  if (userAgent) setUserAgent(userAgent);
  const around = window.parent;
  const post = around.postMessage.bind(around) as (message: unknown, origin: string) => void;
  const reporter = new PageReporter((message) => post(message, simulator), Date.now.bind(Date));
  observeLocation(reporter);
  observeErrors(reporter);
  observeRequests(reporter);
  observeConsole(reporter, script.src);
}

if (document.currentScript instanceof HTMLScriptElement) start(document.currentScript);
