import {
  type DeviceSetup,
  isObject,
  type Json,
  type JsonObject,
  type Step,
} from "../../core/messages";

export interface DeviceScript {
  device: DeviceSetup;
  steps: Step[];
}

/** The script in a file's text. Throws a sentence for the user where it is none. */
export function parseScript(text: string): DeviceScript {
  let script: unknown;
  try {
    script = JSON.parse(text);
  } catch (error) {
    throw new Error(`This is no device script, as it is not JSON: ${(error as Error).message}`);
  }
  if (!isObject(script) || !Array.isArray(script.steps))
    throw new Error("This is no device script: it has no list of steps.");
  script.steps.forEach((step, index) => {
    if (!isObject(step) || typeof step.do !== "string")
      throw new Error(`This is no device script: steps[${index}] does not say what to do.`);
  });
  if (script.device !== undefined && !isObject(script.device))
    throw new Error("This is no device script: its device is no object.");
  return { device: script.device ?? {}, steps: script.steps as Step[] };
}

// Where steps name files.
const fileKeys: Record<string, string[]> = {
  capture: ["photo", "movie"],
  addAsset: ["file"],
};

const libraryOf = (device: DeviceSetup): JsonObject[] =>
  Array.isArray(device.library) ? device.library.filter(isObject) : [];

/** The script with each file name replaced by what `replace` makes of it. */
export async function withFiles(
  script: DeviceScript,
  replace: (file: string) => Promise<string>,
): Promise<DeviceScript> {
  const replaced = async (holder: JsonObject, keys: string[]): Promise<JsonObject> => {
    const copy = { ...holder };
    for (const key of keys) {
      const file = copy[key];
      if (typeof file === "string") copy[key] = await replace(file);
    }
    return copy;
  };
  const steps: Step[] = [];
  for (const step of script.steps)
    steps.push((await replaced(step, fileKeys[step.do] ?? [])) as Step);
  const device = { ...script.device };
  if (Array.isArray(device.library)) {
    const library: Json[] = [];
    for (const asset of libraryOf(device)) library.push(await replaced(asset, ["file"]));
    device.library = library;
  }
  return { device, steps };
}

export const isDataUrl = (file: string): boolean => file.startsWith("data:");

/** The files that the script names and does not hold, each once. */
export async function filesToAskFor(script: DeviceScript): Promise<string[]> {
  const names = new Set<string>();
  await withFiles(script, (file) => {
    if (!isDataUrl(file)) names.add(file);
    return Promise.resolve(file);
  });
  return [...names];
}

export const baseName = (path: string): string => path.split(/[\\/]/).at(-1) ?? path;

/** Which of the missing names each file is, by what it is called, and the names that several have. */
export function matchFiles<F extends { name: string }>(
  missing: string[],
  files: F[],
): { found: Map<string, F>; ambiguous: string[] } {
  const found = new Map<string, F>();
  const ambiguous: string[] = [];
  for (const file of files) {
    const names = missing.filter((name) => baseName(name) === file.name);
    if (names.length > 1) ambiguous.push(...names);
    else if (names[0] !== undefined) found.set(names[0], file);
  }
  return { found, ambiguous };
}

const extensions: Record<string, string> = {
  "image/jpeg": "jpg",
  "image/png": "png",
  "image/heic": "heic",
  "image/webp": "webp",
  "video/mp4": "mp4",
  "video/webm": "webm",
  "video/quicktime": "mov",
};

/** The bytes of a data URL, and a file name with the extension of their kind. */
export function fileOfDataUrl(url: string): { bytes: Blob; name: string } {
  const comma = url.indexOf(",");
  const head = url.slice("data:".length, comma);
  const type = head.split(";")[0] ?? "";
  const text = url.slice(comma + 1);
  const binary = head.endsWith(";base64") ? atob(text) : decodeURIComponent(text);
  const bytes = Uint8Array.from(binary, (character) => character.charCodeAt(0));
  return { bytes: new Blob([bytes], { type }), name: `media.${extensions[type] ?? "bin"}` };
}
