import { consoleLevels } from "../core/pageMessages";
import { describe, describeAll, placeIn } from "./describe";
import type { PageReporter } from "./PageReporter";

// Each watches one thing and leaves it as it is: what the page calls is the browser's own function,
// behind a proxy that has its name, its length and its text.

type Call = (this: unknown, ...args: unknown[]) => unknown;

/** Runs `observer` beside each call. It gets the arguments, and has no say in the call. */
function observeCalls<Key extends string>(
  owner: Record<Key, unknown>,
  key: Key,
  observer: (self: unknown, args: unknown[]) => void,
): void {
  const original = owner[key];
  if (typeof original !== "function") return;
  owner[key] = new Proxy(original as Call, {
    apply(call, self, args: unknown[]) {
      try {
        observer(self, args);
      } catch {
        // The page's call is what counts.
      }
      return Reflect.apply(call, self, args);
    },
  });
}

export function observeLocation(reporter: PageReporter): void {
  let last = "";
  const report = () => {
    const { pathname, search, hash } = location;
    const address = `${pathname}${search}${hash}`;
    if (address !== last) reporter.report({ kind: "location", address });
    last = address;
  };
  // The address is the new one when the call has returned.
  for (const key of ["pushState", "replaceState"] as const)
    observeCalls(history as unknown as Record<typeof key, unknown>, key, () =>
      queueMicrotask(report),
    );
  addEventListener("popstate", report);
  addEventListener("hashchange", report);
  // From the browser's store of pages, which runs no script anew.
  addEventListener("pageshow", ({ persisted }) => {
    if (persisted) last = "";
    report();
  });
  report();
}

export function observeConsole(reporter: PageReporter, ownScript: string): void {
  for (const level of consoleLevels)
    observeCalls(console as unknown as Record<typeof level, unknown>, level, (_, args) => {
      const place = placeIn(new Error().stack ?? "", ownScript);
      reporter.report({ kind: "console", level, text: describeAll(args), ...place });
    });
}

export function observeErrors(reporter: PageReporter): void {
  addEventListener("error", (event) => {
    if (!(event instanceof ErrorEvent)) return;
    const { message, filename, lineno, colno } = event;
    const error: unknown = event.error;
    const stack = error instanceof Error ? error.stack : undefined;
    reporter.report({
      kind: "error",
      message,
      ...(filename && { file: filename, line: lineno, column: colno }),
      ...(stack !== undefined && { stack }),
    });
  });
  addEventListener("unhandledrejection", (event) => {
    const reason: unknown = event.reason;
    const isError = reason instanceof Error;
    const stack = isError ? reason.stack : undefined;
    reporter.report({
      kind: "error",
      message: `Unhandled rejection: ${isError ? reason.message : describe(reason)}`,
      ...placeIn(stack ?? "", ""),
      ...(stack !== undefined && { stack }),
    });
  });
}

const absolute = (url: string): string => {
  try {
    return new URL(url, document.baseURI).href;
  } catch {
    return url;
  }
};

function observeFetch(reporter: PageReporter): void {
  window.fetch = new Proxy(window.fetch, {
    apply(call, self, args: Parameters<typeof fetch>) {
      const [input, init] = args;
      const request = input instanceof Request ? input : null;
      const method = (init?.method ?? request?.method ?? "GET").toUpperCase();
      const url = absolute(input instanceof Request ? input.url : input.toString());
      const report = (status: number) => reporter.report({ kind: "request", method, url, status });
      const answer = Reflect.apply(call, self, args);
      // The page gets what follows from the answer, so that a rejection which it does not handle is
      // still one that nobody has handled.
      return answer.then(
        (response) => {
          if (response.status >= 400) report(response.status);
          return response;
        },
        (error: unknown) => {
          const wasAborted = error instanceof DOMException && error.name === "AbortError";
          if (!wasAborted) report(0);
          throw error;
        },
      );
    },
  });
}

function observeXhr(reporter: PageReporter): void {
  const requests = new WeakMap<XMLHttpRequest, { method: string; url: string }>();
  const prototype = XMLHttpRequest.prototype as unknown as Record<"open" | "send", unknown>;
  observeCalls(prototype, "open", (self, [method, url]) => {
    requests.set(self as XMLHttpRequest, {
      method: String(method).toUpperCase(),
      url: absolute(String(url)),
    });
  });
  observeCalls(prototype, "send", (self) => {
    const xhr = self as XMLHttpRequest;
    const report = () => {
      const request = requests.get(xhr);
      if (request) reporter.report({ kind: "request", ...request, status: xhr.status });
    };
    const onLoad = () => {
      if (xhr.status >= 400) report();
    };
    const types = { load: onLoad, error: report, timeout: report };
    for (const [type, listener] of Object.entries(types))
      xhr.addEventListener(type, listener, { once: true });
  });
}

function observeResources(reporter: PageReporter): void {
  // Such an event does not bubble, but it is captured on its way down.
  addEventListener(
    "error",
    ({ target }) => {
      if (!(target instanceof Element)) return;
      const url = target.getAttribute("src") ?? target.getAttribute("href");
      if (url) reporter.report({ kind: "request", method: "GET", url: absolute(url), status: 0 });
    },
    true,
  );
}

export function observeRequests(reporter: PageReporter): void {
  observeFetch(reporter);
  observeXhr(reporter);
  observeResources(reporter);
}
