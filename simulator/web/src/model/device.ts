import {
  type DeviceSetup,
  type DeviceState,
  type Fault,
  isObject,
  type Json,
  type JsonObject,
} from "../protocol/messages";

/** Parts of a device that a session's server keeps to itself. */
const serverOwned = ["temporaryDirectory", "mainBundle", "files", "urlTransformer"];

export const withoutServerOwned = (device: DeviceSetup): DeviceSetup =>
  Object.fromEntries(Object.entries(device).filter(([key]) => !serverOwned.includes(key)));

export const serverOwnedIn = (device: DeviceSetup): string[] =>
  Object.keys(device).filter((key) => serverOwned.includes(key));

/** Undefined: that part goes back to its default. */
export type DeviceChanges = { [key: string]: Json | undefined };

/** The device as it stands now with some of it changed, for a restart that keeps the rest. */
export function changedDevice(
  device: DeviceSetup,
  state: DeviceState,
  changes: DeviceChanges,
): DeviceSetup {
  // The library stays as it is, and a seed would draw identifiers that it has already.
  const { library: _, seed: __, ...rest } = withoutServerOwned(device);
  // The state of a device that could not be made says nothing about it.
  const now =
    Object.keys(state.permissions).length > 0
      ? { authorization: state.permissions, faults: state.faults as never }
      : {};
  const changed: DeviceChanges = { ...rest, ...now, ...changes };
  return Object.fromEntries(
    Object.entries(changed).filter((entry): entry is [string, Json] => entry[1] !== undefined),
  );
}

export type MediaChoice = "both" | "photos" | "movies" | "none";

/** What a source may offer: uniform type identifiers, or that the platform names none. */
const mediaTypes: Record<MediaChoice, string[] | null> = {
  both: ["public.image", "public.movie"],
  photos: ["public.image"],
  movies: ["public.movie"],
  none: null,
};

const mediaTypesOf = ({ availableMediaTypes: types }: DeviceSetup): JsonObject =>
  isObject(types) ? types : {};

export function mediaChoiceOf(device: DeviceSetup, source: number): MediaChoice {
  const types = mediaTypesOf(device)[source];
  if (types === undefined) return "both";
  const offers = (type: string) => Array.isArray(types) && types.includes(type);
  if (offers("public.image")) return offers("public.movie") ? "both" : "photos";
  return offers("public.movie") ? "movies" : "none";
}

/** The device's `availableMediaTypes` with that for one source. */
export const withMediaChoice = (
  device: DeviceSetup,
  source: number,
  choice: MediaChoice,
): JsonObject => ({
  ...mediaTypesOf(device),
  [source]: mediaTypes[choice],
});

export interface FaultField {
  key: "error" | "path";
  label: string;
}

export interface FaultPoint {
  at: string;
  label: string;
  /** What a fault there may say, one of several variants. */
  variants: { label: string; keys: Partial<Fault> }[];
  fields: FaultField[];
}

const text: FaultField = { key: "error", label: "Error text" };

/** The places where a device script can make something go wrong. */
export const faultPoints: FaultPoint[] = [
  {
    at: "performChanges",
    label: "Photo library refuses a change",
    variants: [
      { label: "with an error", keys: {} },
      { label: "without an error", keys: { returns: false } },
      { label: "gives no placeholder", keys: { noPlaceholder: true } },
    ],
    fields: [text],
  },
  {
    at: "requestImageData",
    label: "Picture’s bytes cannot be had",
    variants: [{ label: "gives nothing", keys: { returns: "nothing" } }],
    fields: [],
  },
  { at: "createFile", label: "File is not created", variants: [], fields: [] },
  { at: "writeFile", label: "File is not written", variants: [], fields: [text] },
  {
    at: "removeItem",
    label: "File is not removed",
    variants: [],
    fields: [{ key: "path", label: "Only this name" }, text],
  },
  { at: "enumerator", label: "Folder cannot be listed", variants: [], fields: [] },
  { at: "jpegEncoder", label: "JPEG encoder fails", variants: [], fields: [] },
  { at: "pngEncoder", label: "PNG encoder fails", variants: [], fields: [] },
  { at: "bitmapContext", label: "No bitmap to draw on", variants: [], fields: [] },
  { at: "settingsURL", label: "Settings have no address", variants: [], fields: [] },
  { at: "export", label: "Movie export fails", variants: [], fields: [text] },
];

/** Without fields that were left empty, as they would say something else than nothing. */
export function tidyFault(fault: Fault): Fault {
  const tidy: Fault = { at: fault.at };
  if (fault.error) tidy.error = fault.error;
  if (fault.returns !== undefined) tidy.returns = fault.returns;
  if (fault.noPlaceholder) tidy.noPlaceholder = true;
  if (fault.path) tidy.path = fault.path;
  if (fault.times !== undefined && fault.times > 0) tidy.times = fault.times;
  return tidy;
}

/** The list with this fault in force at its place, or with none there. */
export function withFault(faults: Fault[], at: string, fault: Fault | null): Fault[] {
  const others = faults.filter((other) => other.at !== at);
  return fault ? [...others, tidyFault(fault)] : others;
}
