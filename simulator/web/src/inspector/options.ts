import type { Json } from "../protocol/messages";

/** The option record that the plug-in makes of a command's positional arguments. */
export interface PictureOptions {
  quality: number;
  destination: "dataUrl" | "fileUri" | "nativeUri" | null;
  source: number;
  targetSize: { width: number; height: number } | null;
  encoding: "jpeg" | "png" | null;
  media: "picture" | "video" | "all" | null;
  allowsEditing: boolean;
  correctOrientation: boolean;
  saveToPhotoAlbum: boolean;
  front: boolean;
  usesGeolocation: boolean;
}

export interface OptionRow {
  /** The position in the argument list, or positions. */
  position: string;
  name: string;
  value: string;
  /** Whether the page gave it; else it is the default. */
  given: boolean;
  /** What became of an argument that says something else than it seems to. */
  remark?: string;
}

export interface DecodedOptions {
  options: PictureOptions;
  rows: OptionRow[];
}

const largest = 2 ** 63;

// The container's boxed numbers are read as each kind that they convert to without loss; texts are
// never read as numbers.
const asInteger = (value: Json | undefined): number | null => {
  if (typeof value === "boolean") return value ? 1 : 0;
  if (typeof value !== "number" || !Number.isInteger(value)) return null;
  return Math.abs(value) < largest ? value : null;
};

const asNumber = (value: Json | undefined): number | null => {
  if (typeof value === "boolean") return value ? 1 : 0;
  return typeof value === "number" ? value : null;
};

const asBoolean = (value: Json | undefined): boolean | null => {
  if (typeof value === "boolean") return value;
  return value === 0 || value === 1 ? value === 1 : null;
};

const isGiven = (value: Json | undefined): boolean => value !== undefined && value !== null;

const destinations = ["dataUrl", "fileUri", "nativeUri"] as const;
const destinationNames = { dataUrl: "data URL", fileUri: "file URI", nativeUri: "native URI" };
const encodings = ["jpeg", "png"] as const;
const medias = ["picture", "video", "all"] as const;
const sourceNames = ["photo library", "camera", "saved photos album"];

export const sourceName = (source: number): string => sourceNames[source] ?? `source ${source}`;

export function decodeOptions(args: Json[]): DecodedOptions {
  const rows: OptionRow[] = [];
  const add = (position: string, name: string, value: string, given: boolean, remark?: string) =>
    rows.push({ position, name, value, given, ...(remark ? { remark } : {}) });
  const unreadable = (position: number, taken: unknown, kind: string) =>
    isGiven(args[position]) && taken === null
      ? `${JSON.stringify(args[position])} is no ${kind} and counts as not given.`
      : undefined;

  const oneOf = <T extends string>(
    position: number,
    name: string,
    cases: readonly T[],
    fallback: T,
    label: (value: T) => string,
  ): T | null => {
    const raw = asInteger(args[position]);
    const value = raw === null ? fallback : (cases[raw] ?? null);
    const remark =
      raw !== null && value === null
        ? `${raw} is none of its values, so the option is empty.`
        : unreadable(position, raw, "whole number");
    add(String(position), name, value === null ? "empty" : label(value), raw !== null, remark);
    return value;
  };

  const flag = (position: number, name: string, yes = "yes", no = "no"): boolean => {
    const taken = asBoolean(args[position]);
    const remark = unreadable(position, taken, "boolean");
    add(String(position), name, taken === true ? yes : no, taken !== null, remark);
    return taken === true;
  };

  const qualityTaken = asInteger(args[0]);
  const quality = qualityTaken ?? 50;
  add(
    "0",
    "quality",
    String(quality),
    qualityTaken !== null,
    unreadable(0, qualityTaken, "whole number"),
  );

  const destination = oneOf(
    1,
    "destinationType",
    destinations,
    "nativeUri",
    (value) => destinationNames[value],
  );

  const sourceTaken = asInteger(args[2]);
  let source = sourceTaken ?? 1;
  const sourceRow: OptionRow = {
    position: "2",
    name: "sourceType",
    value: sourceName(source),
    given: sourceTaken !== null,
  };
  const sourceRemark = unreadable(2, sourceTaken, "whole number");
  if (sourceRemark) sourceRow.remark = sourceRemark;
  rows.push(sourceRow);

  const width = asNumber(args[3]);
  const height = width === null ? null : asNumber(args[4]);
  const targetSize = width !== null && height !== null ? { width, height } : null;
  const halfSize = !targetSize && (isGiven(args[3]) || isGiven(args[4]));
  add(
    "3, 4",
    "targetSize",
    targetSize ? `${width} × ${height}` : "none",
    targetSize !== null,
    halfSize ? "Counts only when width and height are both given as numbers." : undefined,
  );

  const encoding = oneOf(5, "encodingType", encodings, "jpeg", (value) => value.toUpperCase());
  const media = oneOf(6, "mediaType", medias, "picture", (value) => value);
  const allowsEditing = flag(7, "allowsEditing");
  const correctOrientation = flag(8, "correctOrientation");
  const saveToPhotoAlbum = flag(9, "saveToPhotoAlbum");
  const front = flag(11, "cameraDirection", "front", "rear");
  const usesGeolocation = flag(12, "usesGeolocation");

  if (source === 0 && media === "video") {
    source = 1;
    sourceRow.value = "camera";
    sourceRow.remark = "A request for movies from the photo library opens the camera.";
  }

  return {
    options: {
      quality,
      destination,
      source,
      targetSize,
      encoding,
      media,
      allowsEditing,
      correctOrientation,
      saveToPhotoAlbum,
      front,
      usesGeolocation,
    },
    rows,
  };
}

/** The JPEG quality that the encoder is asked for, from 0 to 1 and beyond. */
export function jpegQuality(options: PictureOptions): { value: number; whole: boolean } {
  const { targetSize } = options;
  const sized = targetSize !== null && (targetSize.width > 0 || targetSize.height > 0);
  const whole =
    !options.allowsEditing &&
    !sized &&
    !options.correctOrientation &&
    (options.quality === 100 || options.source !== 1);
  // Whole numbers are divided as such, and -0 is no quality.
  return { value: whole ? 1 : Math.trunc(options.quality / 100) + 0, whole };
}
