import { type DeviceEvent, isObject, type Json, type JsonObject } from "../../core/messages";
import type { CommandRow } from "./commands";
import { jpegQuality, type PictureOptions } from "./options";

export interface Note {
  /** Names the note, for lists and tests. */
  rule: string;
  text: string;
  /** Whether the page's author should think again, or only may like to know. */
  look: "warning" | "info";
}

/** What the notes depend on: a command, and what happened on its behalf. */
interface Facts {
  row: CommandRow;
  events: DeviceEvent[];
  /** What was answered as `callbackURI`. */
  uri: Json | undefined;
  success: boolean;
  dismissed: boolean;
}

/** The same where the command's arguments are known. */
interface KnownFacts extends Facts {
  options: PictureOptions;
  args: Json[];
  /** Whether a picker for photos was presented. */
  photo: boolean;
}

type Say = (rule: string, text: string, look?: Note["look"]) => void;

const asObject = (value: Json | undefined): JsonObject => (isObject(value) ? value : {});

function aboutArguments({ options, args, photo }: KnownFacts, say: Say): void {
  const { media, source, targetSize } = options;
  if (args[2] === 0 && media === "video")
    say(
      "videos open the camera",
      "Movies were asked for from the photo library, and that opens the camera. The saved photos album (2) keeps its movies.",
    );
  if (options.front && media === "video" && source === 1)
    say("direction of movies", "The camera's direction is not applied to movies.");
  if (args[10] !== null && args[10] !== undefined)
    say("position 10", "Argument 10 is never read.");
  if (source === 1 && media === "all")
    say(
      "camera takes no mix",
      "The camera takes photos or movies, not both, so the command was refused with INVALID_PARAM.",
    );
  if (photo && targetSize && targetSize.width <= 0 !== targetSize.height <= 0)
    say(
      "half a size",
      "A size with one side of 0 does not resize the picture, but it does lower its JPEG quality as a size does.",
    );
}

function aboutEncoding({ options, row, uri, success, dismissed }: KnownFacts, say: Say): void {
  const { destination, encoding, quality } = options;
  const traced = row.messages.some((one) => one.type === "trace" && one.what === "encodeJPEG");
  if (traced && encoding === "jpeg") {
    const { whole, value } = jpegQuality(options);
    if (!whole && value === 0)
      say(
        "lowest quality",
        `Quality ${quality} is divided by 100 as a whole number and gives 0: the JPEG has the lowest quality. Only 100 gives the best.`,
      );
    else if (whole && quality !== 100)
      say(
        "quality not used",
        `Quality ${quality} was not used: an unchanged picture from the library is encoded at the best quality.`,
      );
    else if (value > 1)
      say(
        "quality above one",
        `Quality ${quality} asks the encoder for ${value * 100} percent, which it takes for 100.`,
      );
  }
  if (dismissed && success && uri === undefined && (destination === null || encoding === null))
    say(
      "empty option",
      `The ${destination === null ? "destination" : "encoding"} is none of the known ones, so the command was answered with success and without a picture.`,
    );
}

function aboutLocation({ options, row, photo, dismissed }: KnownFacts, say: Say): void {
  const { destination, encoding, source } = options;
  if (!options.usesGeolocation || !photo || !dismissed) return;
  if (source !== 1) {
    if (destination !== "fileUri")
      say(
        "location of the library",
        "The location of a picture from the library counts only for a file URI.",
      );
    return;
  }
  if (row.answer) return;
  if (encoding === "png")
    say(
      "png and location",
      "A PNG with location never asks for the location, so nothing ends the wait and the callback stays open.",
    );
  else if (destination === "nativeUri" || destination === null)
    say(
      "native and location",
      "A photo with location is never answered as a native URI: its fix comes, and the callback stays open.",
    );
}

function aboutNativeUri({ options, events, uri }: KnownFacts, say: Say): void {
  if (options.destination !== "nativeUri" || typeof uri !== "string") return;
  const saved = events.some(({ event }) => event === "saved");
  if (options.source !== 1 && !saved) {
    if (options.allowsEditing || options.targetSize || options.correctOrientation)
      say(
        "native ignores changes",
        "The picture already stands in the library and its address is given as it is: editing, size and orientation are not applied.",
      );
    if (options.saveToPhotoAlbum)
      say(
        "native is not saved again",
        "The picture already stands in the library, so it was not saved to the album.",
      );
  }
  if (options.encoding === "jpeg" && saved)
    say("native is png", "The address says JPG, but what was saved to the library is a PNG.");
  if (uri.includes("%26")) say("native address", "The “&” of the address is written %26.");
}

function aboutAlbum({ row, events }: Facts, say: Say): void {
  const options = row.decoded?.options;
  const saves = events.filter(({ event, type }) => event === "saved" && type === "photo").length;
  if (saves > 1)
    say(
      "saved twice",
      "The picture was saved to the library twice: once for its address, and once because of saveToPhotoAlbum.",
    );
  else if (
    saves === 1 &&
    options?.saveToPhotoAlbum &&
    options.destination !== "nativeUri" &&
    options.encoding === "jpeg"
  )
    say("album is png", "The album gets a PNG, whatever the page asked for.");
}

function aboutAnswer({ row, events, uri, success }: Facts, say: Say): void {
  const { answer } = row;
  const { bytes, url } = asObject(uri);
  if (events.some(({ event }) => event === "imageDestination"))
    say(
      "metadata dropped",
      "A picture with the location in its metadata was built and dropped: what the page gets does not carry it.",
    );
  if (bytes !== undefined)
    say(
      "base64 as bytes",
      "With location, the data URL comes as a byte buffer of Base64 text, without its “data:” prefix.",
    );
  if (url !== undefined)
    say("url value", "With location, the file's address comes as a URL value, not as a text.");

  const address = typeof uri === "string" ? uri : url;
  if (typeof address === "string" && /velmora_photo_\d+\.\w+$/.test(address))
    say(
      "twelve hours",
      "The file's name shows the time with a twelve-hour clock: twelve hours later the same name comes again, and while a file of that name stands, the next one waits.",
      "info",
    );
  if (answer?.status === "NO_PERMISSION" && asObject(answer.data).errorMsg === "no image selected")
    say(
      "cancel",
      "A user who backs out is reported as NO_PERMISSION, with an object in place of a text.",
      "info",
    );
  const source = row.decoded?.options.source ?? 1;
  if (answer?.message === "Not have permission to use the camera." && source !== 1)
    say(
      "text of the camera",
      "“Settings” in the photo library's alert is answered with the text of the camera.",
    );
  if (!answer && events.some(({ event }) => event === "openURL"))
    say(
      "settings without answer",
      "“Settings” in the camera's alert answers nothing. The callback stays open until another command takes its place.",
    );
  const failedWrites = row.messages.filter(
    (message) => message.type === "trace" && message.what === "writeFile" && message.error,
  ).length;
  if (failedWrites > 0 && success)
    say(
      "file missing",
      `The page was answered with success though ${failedWrites === 1 ? "a file" : "files"} could not be written.`,
    );
}

/** Settled behaviour that a page's author would not expect, where this command met it. */
export function notesOf(row: CommandRow): Note[] {
  const notes: Note[] = [];
  const say: Say = (rule, text, look = "warning") => notes.push({ rule, text, look });
  if (row.command === "cleanup" && row.answer?.result === "error")
    say(
      "cleanup stops",
      "cleanup stops at the first file that it cannot remove; what comes after stays. The text speaks of “one or more files” all the same.",
    );
  if (row.replacedBy)
    say(
      "replaced",
      `${row.replacedBy} came before this command was answered and took its place. Its callback is never called.`,
    );
  if (row.command !== "takePicture") return notes;

  const events = row.messages.flatMap((one) => (one.type === "event" ? [one.event] : []));
  const ofPicker = (name: string) =>
    events.some(({ event, kind }) => event === name && kind === "picker");
  const facts: Facts = {
    row,
    events,
    uri: asObject(row.answer?.data).callbackURI,
    success: row.answer?.result === "success",
    dismissed: ofPicker("dismiss"),
  };
  if (row.decoded && row.arguments) {
    const { options } = row.decoded;
    const photo = ofPicker("present") && options.media !== "video";
    const known: KnownFacts = { ...facts, options, args: row.arguments, photo };
    for (const about of [aboutArguments, aboutEncoding, aboutLocation, aboutNativeUri])
      about(known, say);
  }
  aboutAlbum(facts, say);
  aboutAnswer(facts, say);
  return notes;
}
