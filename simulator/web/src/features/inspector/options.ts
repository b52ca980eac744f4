import type { Json } from "../../core/messages";

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
  /** What became of an argument that does not mean what it seems to. */
  note?: string;
}

export interface DecodedOptions {
  options: PictureOptions;
  rows: OptionRow[];
}

const integerLimit = 2 ** 63;

// The container's boxed numbers are read as each kind that they convert to without loss; texts are
// never read as numbers.
const asInteger = (value: Json | undefined): number | null => {
  if (typeof value === "boolean") return value ? 1 : 0;
  if (typeof value !== "number" || !Number.isInteger(value)) return null;
  return Math.abs(value) < integerLimit ? value : null;
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

/** Reads arguments by position, and keeps a row for each option. */
class ArgumentReader {
  readonly rows: OptionRow[] = [];

  constructor(private readonly args: Json[]) {}

  integer(position: number, name: string, fallback: number, label: (value: number) => string) {
    const taken = asInteger(this.args[position]);
    const value = taken ?? fallback;
    const note = this.unreadable(position, taken, "whole number");
    this.add(String(position), name, label(value), taken !== null, note);
    return value;
  }

  oneOf<T extends string>(
    position: number,
    name: string,
    cases: readonly T[],
    fallback: T,
    label: (value: T) => string,
  ): T | null {
    const taken = asInteger(this.args[position]);
    const value = taken === null ? fallback : (cases[taken] ?? null);
    const note =
      value === null
        ? `${taken} is none of its values, so the option is empty.`
        : this.unreadable(position, taken, "whole number");
    this.add(String(position), name, value === null ? "empty" : label(value), taken !== null, note);
    return value;
  }

  flag(position: number, name: string, yes = "yes", no = "no"): boolean {
    const taken = asBoolean(this.args[position]);
    const note = this.unreadable(position, taken, "boolean");
    this.add(String(position), name, taken === true ? yes : no, taken !== null, note);
    return taken === true;
  }

  /** A size counts only with both sides. */
  size(first: number, second: number, name: string): PictureOptions["targetSize"] {
    const width = asNumber(this.args[first]);
    const height = asNumber(this.args[second]);
    const size = width !== null && height !== null ? { width, height } : null;
    const half = !size && (isGiven(this.args[first]) || isGiven(this.args[second]));
    this.add(
      `${first}, ${second}`,
      name,
      size ? `${width} × ${height}` : "none",
      size !== null,
      half ? "Counts only when width and height are both given as numbers." : undefined,
    );
    return size;
  }

  private unreadable(position: number, taken: unknown, kind: string): string | undefined {
    const given = this.args[position];
    return isGiven(given) && taken === null
      ? `${JSON.stringify(given)} is no ${kind} and counts as not given.`
      : undefined;
  }

  private add(position: string, name: string, value: string, given: boolean, note?: string): void {
    this.rows.push({ position, name, value, given, ...(note ? { note } : {}) });
  }
}

export function decodeOptions(args: Json[]): DecodedOptions {
  const reader = new ArgumentReader(args);
  const { rows } = reader;
  // In the order of the positions, as the rows are shown.
  const options: PictureOptions = {
    quality: reader.integer(0, "quality", 50, String),
    destination: reader.oneOf(
      1,
      "destinationType",
      destinations,
      "nativeUri",
      (value) => destinationNames[value],
    ),
    source: reader.integer(
      2,
      "sourceType",
      1,
      (value) => sourceNames[value] ?? `source ${value}`,
    ),
    targetSize: reader.size(3, 4, "targetSize"),
    encoding: reader.oneOf(5, "encodingType", encodings, "jpeg", (value) => value.toUpperCase()),
    media: reader.oneOf(6, "mediaType", medias, "picture", String),
    allowsEditing: reader.flag(7, "allowsEditing"),
    correctOrientation: reader.flag(8, "correctOrientation"),
    saveToPhotoAlbum: reader.flag(9, "saveToPhotoAlbum"),
    front: reader.flag(11, "cameraDirection", "front", "rear"),
    usesGeolocation: reader.flag(12, "usesGeolocation"),
  };
  if (options.source === 0 && options.media === "video") {
    options.source = 1;
    const row = rows.find(({ name }) => name === "sourceType");
    if (row) {
      row.value = "camera";
      row.note = "A request for movies from the photo library opens the camera.";
    }
  }
  return { options, rows };
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
