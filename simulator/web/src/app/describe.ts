import { maxTextLength } from "./PageReporter";

const maxDepth = 2;
const maxItems = 20;

/**
 * The arguments of a call of the console as one short text. Runs nothing of the page's: no getter, no
 * `toString`, no `toJSON`.
 */
export function describeAll(args: unknown[]): string {
  const [first, ...others] = args;
  if (typeof first !== "string") return args.map((value) => describe(value)).join(" ");
  const rest = [...others];
  // A "%c" takes a style, which is nothing to read.
  const text = first.replace(/%([sdifoOc%])/g, (directive, letter: string) => {
    if (letter === "%") return "%";
    if (rest.length === 0) return directive;
    const value = describe(rest.shift());
    return letter === "c" ? "" : value;
  });
  return [text, ...rest.map((value) => describe(value))].join(" ");
}

export function describe(value: unknown, depth = 0): string {
  if (typeof value === "string")
    return depth === 0 ? value.slice(0, maxTextLength) : JSON.stringify(value.slice(0, 200));
  if (typeof value === "bigint") return `${value}n`;
  if (typeof value === "function") return "function";
  if (typeof value !== "object" || value === null) return String(value);
  try {
    return describeObject(value, depth);
  } catch {
    // A proxy may refuse to be looked at.
    return "object";
  }
}

function describeObject(object: object, depth: number): string {
  if (object instanceof Error) return textOf(object, "stack") ?? textOf(object, "message") ?? "Error";
  const descriptors = Object.entries(Object.getOwnPropertyDescriptors(object));
  const isList = Array.isArray(object);
  const shown = descriptors.filter(([, { enumerable }]) => enumerable);
  if (depth >= maxDepth) return isList ? `[${object.length} items]` : "{…}";
  const items = shown.slice(0, maxItems).map(([key, descriptor]) => {
    const text = "value" in descriptor ? describe(descriptor.value, depth + 1) : "(getter)";
    return isList ? text : `${key}: ${text}`;
  });
  if (shown.length > maxItems) items.push("…");
  const name = Object.prototype.toString.call(object).slice("[object ".length, -1);
  if (isList) return `[${items.join(", ")}]`;
  return `${name === "Object" ? "" : `${name} `}{${items.join(", ")}}`;
}

/** A property that is plain text, looked up without running anything. */
function textOf(object: object, key: string): string | undefined {
  for (let from: object | null = object; from; from = Object.getPrototypeOf(from) as object | null) {
    const descriptor = Object.getOwnPropertyDescriptor(from, key);
    if (!descriptor) continue;
    // The engine's own accessor gives the stack in some browsers.
    const value: unknown = key === "stack" ? (object as Error).stack : descriptor.value;
    return typeof value === "string" && value !== "" ? value : undefined;
  }
  return undefined;
}

/** The first place in a stack that is not in this script. */
export function placeIn(stack: string, ownScript: string): { file: string; line: number } | undefined {
  for (const row of stack.split("\n")) {
    const place = /(https?:\/\/[^\s()]+?):(\d+)(?::\d+)?\)?$/.exec(row.trim());
    if (!place?.[1] || place[1].startsWith(ownScript)) continue;
    return { file: place[1], line: Number(place[2]) };
  }
  return undefined;
}
