import type { BridgeValue } from "./bridge.js";
import { CameraError } from "./camera-error.js";

/** How long a call waits for its answer. The plug-in leaves some calls open for ever. */
export interface CallOptions {
  /**
   * Gives up when aborted. The plug-in is not notified: its picker stays on the screen, and a late
   * answer is ignored.
   */
  signal?: AbortSignal | undefined;
  /** Gives up after so many milliseconds. Left out: waits for ever. */
  timeLimit?: number | undefined;
}

/** What `takePicture` asks for. What is left out is left to the plug-in's own default. */
export interface PictureOptions extends CallOptions {
  /**
   * Where the picture comes from; "camera" by default. "photoLibrary" together with
   * `media: "video"` opens the camera instead; "savedPhotosAlbum" opens the library.
   */
  source?: "camera" | "photoLibrary" | "savedPhotosAlbum" | undefined;
  /**
   * What the answer is; "nativeUrl" by default. A picture that is new, or that the
   * library gives no address for, is stored in the photo library to get its native URL, and always
   * as a PNG.
   */
  destination?: "dataUrl" | "fileUrl" | "nativeUrl" | undefined;
  /**
   * The JPEG quality, a whole number from 0 to 100; 50 by default. The plug-in divides
   * it by 100 in whole numbers: 100 is the best quality and everything below is the lowest. That
   * goes for each picture from the camera, and for a picture from the library with `targetSize`,
   * `allowsEditing` or `correctOrientation`; without any of these a picture from the library has
   * the best quality whatever is asked for. 100 is nearly always what a page wants.
   */
  quality?: number | undefined;
  /**
   * The box that the picture is fitted into, in pixels. It keeps its proportions and is not
   * cropped, and a smaller picture is enlarged. It is not applied to a movie, nor to a picture from
   * the library whose `destination` is "nativeUrl".
   */
  targetSize?: { width: number; height: number } | undefined;
  /** "jpeg" by default. */
  encoding?: "jpeg" | "png" | undefined;
  /**
   * "picture" by default. "all" is for the library; with the camera the plug-in answers
   * `INVALID_PARAM`, "Not supported mediaType".
   */
  media?: "picture" | "video" | "all" | undefined;
  /** Lets the user crop the picture. */
  allowsEditing?: boolean | undefined;
  /**
   * Rotates the pixels upright. A picture that is mirrored by its orientation, as some from a front
   * camera, is not rotated and loses the orientation.
   */
  correctOrientation?: boolean | undefined;
  /**
   * Also stores the picture in the photo library, as a PNG. Whether that worked is never reported. With
   * a picture from the camera and `destination: "nativeUrl"` it is stored twice.
   */
  saveToPhotoAlbum?: boolean | undefined;
  /** The camera for a photo; "rear" by default. It is not applied to a movie. */
  cameraDirection?: "rear" | "front" | undefined;
  /**
   * Makes the plug-in find out where a photo was taken. The place does not get into what the page
   * is given; what changes is the answer. A photo from the camera waits for the first location, and
   * there is no answer where the user refuses it or none is found, nor with "png" or "nativeUrl".
   * It comes as bytes where a data URL was asked for.
   */
  usesGeolocation?: boolean | undefined;
  /**
   * Takes the place of a call that is still open, which then fails as `replaced`. Without it, a
   * second call fails as `busy`: the plug-in would drop the first callback in silence.
   */
  replacePending?: boolean | undefined;
}

/** Options that are one of some names, with what the plug-in takes for each. */
const cases = {
  source: { photoLibrary: 0, camera: 1, savedPhotosAlbum: 2 },
  destination: { dataUrl: 0, fileUrl: 1, nativeUrl: 2 },
  encoding: { jpeg: 0, png: 1 },
  media: { picture: 0, video: 1, all: 2 },
  /** The plug-in reads "the front camera" as a boolean. */
  cameraDirection: { rear: false, front: true },
};

const flags = [
  "allowsEditing",
  "correctOrientation",
  "saveToPhotoAlbum",
  "usesGeolocation",
  "replacePending",
] as const;

const maxTimerMs = 2 ** 31 - 1;

const callNames = ["signal", "timeLimit"];
const pictureNames = [...callNames, ...Object.keys(cases), ...flags, "quality", "targetSize"];

function refuse(name: string, wanted: string, value: unknown): never {
  const found = typeof value === "string" ? `"${value}"` : String(value);
  throw new CameraError("badOption", `${name}: give ${wanted}, not ${found}`);
}

function checkNames(options: unknown, names: readonly string[]): void {
  if (typeof options !== "object" || options === null)
    refuse("options", "an object, or nothing", options);
  for (const name of Object.keys(options))
    if (!names.includes(name)) refuse("options", `only ${names.join(", ")}`, name);
}

function caseOf(options: PictureOptions, name: keyof typeof cases): number | boolean | null {
  const value = options[name];
  if (value == null) return null;
  const known: Record<string, number | boolean> = cases[name];
  const names = Object.keys(known);
  if (!names.includes(value)) refuse(name, names.map((each) => `"${each}"`).join(" or "), value);
  return known[value] as number | boolean;
}

function flagOf(options: PictureOptions, name: (typeof flags)[number]): boolean | null {
  const value = options[name];
  if (value != null && typeof value !== "boolean") refuse(name, "true or false", value);
  return value ?? null;
}

function qualityOf(value: number | undefined): number | null {
  if (value == null) return null;
  if (!Number.isInteger(value) || value < 0 || value > 100)
    refuse("quality", "a whole number from 0 to 100", value);
  return value;
}

/** The plug-in ignores a size with only one side, and one that is not positive. */
function sideOf(name: string, value: number): number {
  if (!Number.isFinite(value) || value <= 0)
    refuse(`targetSize.${name}`, "a number above 0, or leave targetSize out", value);
  return value;
}

function sizeOf(size: PictureOptions["targetSize"]): [number | null, number | null] {
  if (size == null) return [null, null];
  return [sideOf("width", size.width), sideOf("height", size.height)];
}

export function abortedBy({ reason }: AbortSignal): CameraError {
  return new CameraError("aborted", "the page waits no longer", { cause: reason });
}

function checkWaiting({ signal, timeLimit }: CallOptions): void {
  if (signal != null && typeof signal.addEventListener !== "function")
    refuse("signal", "the signal of an AbortController", signal);
  if (timeLimit != null && !(timeLimit > 0 && timeLimit <= maxTimerMs))
    refuse("timeLimit", `milliseconds above 0, at most ${maxTimerMs}`, timeLimit);
  if (signal?.aborted) throw abortedBy(signal);
}

/** Throws a `CameraError` that names the option and the cure, or that of a signal's abort. */
export function checkCallOptions(options: CallOptions): void {
  checkNames(options, callNames);
  checkWaiting(options);
}

/**
 * The positional list of `takePicture`. What is not asked for is an empty slot, or missing at the
 * end, so that the plug-in takes its default. Throws as `checkCallOptions` does.
 */
export function argumentsOf(options: PictureOptions): BridgeValue[] {
  checkNames(options, pictureNames);
  checkWaiting(options);
  flagOf(options, "replacePending");
  const list = [
    qualityOf(options.quality),
    caseOf(options, "destination"),
    caseOf(options, "source"),
    ...sizeOf(options.targetSize),
    caseOf(options, "encoding"),
    caseOf(options, "media"),
    flagOf(options, "allowsEditing"),
    flagOf(options, "correctOrientation"),
    flagOf(options, "saveToPhotoAlbum"),
    null, // Position 10 is never read.
    caseOf(options, "cameraDirection"),
    flagOf(options, "usesGeolocation"),
  ];
  while (list[list.length - 1] === null) list.pop();
  return list;
}

/** What the plug-in takes without complaint and a page rarely means, each with its cure. */
export function warningsAbout(options: PictureOptions): string[] {
  const { source = "camera", destination = "nativeUrl", media = "picture" } = options;
  const camera = source === "camera";
  const warnings: string[] = [];

  if (destination === "dataUrl") {
    if (media !== "picture")
      warnings.push('destination "dataUrl" sends the whole movie as text: take "fileUrl"');
    else if (!options.targetSize)
      warnings.push(
        'destination "dataUrl" sends the whole picture as text: give a targetSize, or take "fileUrl"',
      );
  }
  if (source === "photoLibrary" && media === "video")
    warnings.push('source "photoLibrary" opens the camera for videos: take "savedPhotosAlbum"');
  if (camera && media === "all")
    warnings.push('media "all" fails with the camera: take "picture" or "video"');

  const quality = options.quality ?? 50;
  const redrawn = options.targetSize || options.allowsEditing || options.correctOrientation;
  const encoded = destination !== "nativeUrl" && options.encoding !== "png" && media !== "video";
  if (encoded && (camera || redrawn) && quality > 0 && quality < 100)
    warnings.push(`quality ${quality} comes out as the lowest: give 100`);

  if (options.usesGeolocation && camera && media === "picture") {
    if (destination === "nativeUrl")
      warnings.push('usesGeolocation with "nativeUrl" is never answered: take "fileUrl"');
    else if (options.encoding === "png")
      warnings.push('usesGeolocation with "png" is never answered: take "jpeg"');
  }
  return warnings;
}
