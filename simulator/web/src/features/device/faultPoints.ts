import type { Fault } from "../../core/messages";

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
