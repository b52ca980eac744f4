import type { BridgeValue } from "./bridge.js";
import { CameraError } from "./camera-error.js";

/** How long a call waits for its answer. The plug-in leaves some calls open for ever. */
export interface CallOptions {
  /**
   * Gives up when aborted, and fails with the signal's `reason`, as `fetch` does. The plug-in is
   * not notified: its picker stays on the screen, and a late answer is dropped.
   */
  signal?: AbortSignal | undefined;
  /**
   * Gives up after so many milliseconds, and fails as `timedOut`. A late answer is dropped. Left
   * out: waits for ever.
   */
  timeout?: number | undefined;
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

const maxTimerMs = 2 ** 31 - 1;

function refuse(name: string, wanted: string, value: unknown): never {
  const found = typeof value === "string" ? `"${value}"` : String(value);
  throw new CameraError("badOption", `${name}: give ${wanted}, not ${found}`);
}

/** Checks an option's value, and makes the slots of it that the plug-in reads: one, or a list. */
type Reader<Value> = (value: Value, name: string) => BridgeValue;

/** The plug-in takes the number of the name. */
function oneOf<Name extends string>(...names: Name[]) {
  return (value: Name | undefined, name: string): number | null => {
    if (value == null) return null;
    const number = names.indexOf(value);
    if (number < 0) refuse(name, `"${names.join('" or "')}"`, value);
    return number;
  };
}

const direction = oneOf("rear", "front");

const flag: Reader<boolean | undefined> = (value, name) => {
  if (value != null && typeof value !== "boolean") refuse(name, "true or false", value);
  return value ?? null;
};

/** The plug-in ignores a size with only one side, and one that is not positive. */
function side(name: string, value: number): number {
  if (!Number.isFinite(value) || value <= 0)
    refuse(`targetSize.${name}`, "a number above 0, or leave targetSize out", value);
  return value;
}

type SentOptions = Omit<PictureOptions, keyof CallOptions | "replacePending">;

/** In the order of the plug-in's positional list. */
const readers: { [Name in keyof SentOptions]-?: Reader<SentOptions[Name]> } = {
  quality(value, name) {
    if (value != null && (!Number.isInteger(value) || value < 0 || value > 100))
      refuse(name, "a whole number from 0 to 100", value);
    return value ?? null;
  },
  destination: oneOf("dataUrl", "fileUrl", "nativeUrl"),
  source: oneOf("photoLibrary", "camera", "savedPhotosAlbum"),
  targetSize: (size) =>
    size == null ? [null, null] : [side("width", size.width), side("height", size.height)],
  encoding: oneOf("jpeg", "png"),
  media: oneOf("picture", "video", "all"),
  allowsEditing: flag,
  correctOrientation: flag,
  saveToPhotoAlbum: flag,
  cameraDirection(value, name) {
    const number = direction(value, name);
    // The slot before it is never read. Its own is a boolean: whether it is the front camera.
    return [null, number === null ? null : number > 0];
  },
  usesGeolocation: flag,
};

const callNames = ["signal", "timeout"];
const pictureNames = [...callNames, ...Object.keys(readers), "replacePending"];

/** What a call fails with whose signal was aborted. Older web views know no reason. */
export function abortReason({ reason }: AbortSignal): unknown {
  return reason ?? new DOMException("aborted", "AbortError");
}

/** Throws a `CameraError` that names the option and the cure, or an aborted signal's reason. */
export function checkOptions(options: CallOptions, names: readonly string[] = callNames): void {
  if (typeof options !== "object" || options === null)
    refuse("options", "an object, or nothing", options);
  for (const name of Object.keys(options))
    if (!names.includes(name)) refuse("options", `only ${names.join(", ")}`, name);
  const { signal, timeout } = options;
  if (signal != null && typeof signal.addEventListener !== "function")
    refuse("signal", "an AbortSignal", signal);
  if (timeout != null && !(timeout > 0 && timeout <= maxTimerMs))
    refuse("timeout", `milliseconds above 0, at most ${maxTimerMs}`, timeout);
  if (signal?.aborted) throw abortReason(signal);
}

/**
 * The positional list of `takePicture`. What is not asked for is an empty slot, or missing at the
 * end, so that the plug-in takes its default. Throws as `checkOptions` does.
 */
export function argumentsOf(options: PictureOptions): BridgeValue[] {
  checkOptions(options, pictureNames);
  flag(options.replacePending, "replacePending");
  const list = Object.entries(readers).flatMap(([name, read]) =>
    (read as Reader<unknown>)(options[name as keyof SentOptions], name),
  );
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
