/**
 * What the script in the app's pages notifies the simulator of. It is posted to the window around the
 * page as `{ vecamera: "page", ...message }`.
 */
export type PageMessage =
  | {
      kind: "location";
      /** Path, query and fragment. */
      address: string;
    }
  | {
      kind: "console";
      level: ConsoleLevel;
      text: string;
      /** Where it was called; absent where the browser does not say. */
      file?: string;
      line?: number;
    }
  | {
      /** An error that nothing caught, or a promise whose rejection nothing handled. */
      kind: "error";
      message: string;
      file?: string;
      line?: number;
      column?: number;
      stack?: string;
    }
  | {
      /** A request of the page that failed. */
      kind: "request";
      method: string;
      url: string;
      /** 0 where no response came. */
      status: number;
    }
  | {
      /** So many messages were left out, as there were too many at once. */
      kind: "dropped";
      count: number;
    };

export const consoleLevels = ["debug", "log", "info", "warn", "error"] as const;
export type ConsoleLevel = (typeof consoleLevels)[number];

const textKeys: Record<PageMessage["kind"], string[]> = {
  location: ["address"],
  console: ["level", "text"],
  error: ["message"],
  request: ["method", "url"],
  dropped: [],
};

/** The message in what a page has posted; nothing where it is none. A page may post anything. */
export function pageMessageOf(data: unknown): PageMessage | undefined {
  if (typeof data !== "object" || data === null) return undefined;
  const { vecamera, ...message } = data as Record<string, unknown>;
  if (vecamera !== "page" || typeof message.kind !== "string") return undefined;
  if (!Object.hasOwn(textKeys, message.kind)) return undefined;
  const keys = textKeys[message.kind as PageMessage["kind"]];
  if (!keys.every((key) => typeof message[key] === "string")) return undefined;
  if (message.kind === "location" && !isAddress(message.address as string)) return undefined;
  return message as PageMessage;
}

/** Whether the text is a path of one origin, with query and fragment. */
export function isAddress(text: string): boolean {
  return /^\/(?![/\\])[\x21-\x7e]*$/.test(text) && !text.startsWith("/.vecamera/");
}
