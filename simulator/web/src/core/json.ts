import { isObject, type Json } from "./messages";

const maxLength = 160;

/** The same value with its long texts cut, to be read. */
export function shortened(value: Json): Json {
  if (typeof value === "string")
    return value.length > maxLength
      ? `${value.slice(0, maxLength)}… (${value.length} characters)`
      : value;
  if (Array.isArray(value)) return value.map(shortened);
  if (isObject(value))
    return Object.fromEntries(Object.entries(value).map(([key, one]) => [key, shortened(one)]));
  return value;
}

/** A text as it is, and any other value as JSON; nothing where there is none. */
export const textOf = (value: Json | undefined): string =>
  typeof value === "string" ? value : (JSON.stringify(value) ?? "");
