import type { DeviceEvent, Json, JsonObject } from "../protocol/messages";
import type { CommandRow } from "./commands";
import { jpegQuality } from "./options";

export interface Note {
  /** Stands for the rule, for lists and tests. */
  rule: string;
  text: string;
}

const asObject = (value: Json | undefined): JsonObject =>
  typeof value === "object" && value !== null && !Array.isArray(value) ? value : {};

const eventsOf = (row: CommandRow): DeviceEvent[] =>
  row.messages.flatMap((message) => (message.type === "event" ? [message.event] : []));

const plural = (count: number, one: string, more: string) => (count === 1 ? one : more);

/** Settled behaviour that a page's author would not expect, where this command met it. */
export function notesOf(row: CommandRow): Note[] {
  const notes: Note[] = [];
  const say = (rule: string, text: string) => notes.push({ rule, text });
  const events = eventsOf(row);
  const has = (test: (event: DeviceEvent) => boolean) => events.some(test);
  const traced = (what: string) =>
    row.messages.some((message) => message.type === "trace" && message.what === what);
  const uri = asObject(row.answer?.data).callbackURI;

  if (row.command === "cleanup") {
    if (row.answer?.result === "error")
      say(
        "cleanup stops",
        "cleanup stops at the first file that it cannot remove; what comes after stays. The text speaks of “one or more files” all the same.",
      );
    return notes;
  }

  if (row.replacedBy)
    say(
      "replaced",
      `${row.replacedBy} came before this command was answered and took its place. Its callback is never called.`,
    );

  const presented = events.find((event) => event.event === "present" && event.kind === "picker");
  const dismissed = has((event) => event.event === "dismiss" && event.kind === "picker");
  const options = row.decoded?.options;
  const success = row.answer?.result === "success";

  if (options && row.arguments) {
    const photo = presented !== undefined && options.media !== "video";
    const asked = row.arguments;
    if (asked[2] === 0 && options.media === "video")
      say(
        "videos open the camera",
        "Movies were asked for from the photo library, and that opens the camera. The saved photos album (2) keeps its movies.",
      );
    if (options.front && options.media === "video" && options.source === 1)
      say("direction of movies", "The camera's direction is not applied to movies.");
    if (asked.length > 10 && asked[10] !== null && asked[10] !== undefined)
      say("position 10", "Argument 10 is never read.");
    if (options.source === 1 && options.media === "all")
      say(
        "camera takes no mix",
        "The camera takes photos or movies, not both, so the command was refused with INVALID_PARAM.",
      );

    const { targetSize } = options;
    if (photo && targetSize && targetSize.width <= 0 !== targetSize.height <= 0)
      say(
        "half a size",
        "A size with one side of 0 does not resize the picture, but it does lower its JPEG quality as a size does.",
      );

    if (traced("encodeJPEG") && options.encoding === "jpeg") {
      const quality = jpegQuality(options);
      if (!quality.whole && quality.value === 0)
        say(
          "lowest quality",
          `Quality ${options.quality} is divided by 100 as a whole number and gives 0: the JPEG has the lowest quality. Only 100 gives the best.`,
        );
      else if (quality.whole && options.quality !== 100)
        say(
          "quality not used",
          `Quality ${options.quality} was not used: an unchanged picture from the library is encoded at the best quality.`,
        );
      else if (quality.value > 1)
        say(
          "quality above one",
          `Quality ${options.quality} asks the encoder for ${quality.value * 100} percent, which it takes for 100.`,
        );
    }
    if (
      dismissed &&
      success &&
      uri === undefined &&
      (options.destination === null || options.encoding === null)
    )
      say(
        "empty option",
        `The ${options.destination === null ? "destination" : "encoding"} is none of the known ones, so the command was answered with success and without a picture.`,
      );

    if (options.usesGeolocation && photo && options.source === 1 && dismissed && !row.answer) {
      if (options.encoding === "png")
        say(
          "png and location",
          "A PNG with location never asks for the location, so nothing ends the wait and the callback stays open.",
        );
      else if (options.destination === "nativeUri" || options.destination === null)
        say(
          "native and location",
          "A photo with location is never answered as a native URI: its fix comes, and the callback stays open.",
        );
    }
    if (
      options.usesGeolocation &&
      options.source !== 1 &&
      photo &&
      dismissed &&
      options.destination !== "fileUri"
    )
      say(
        "location of the library",
        "The location of a picture from the library counts only for a file URI.",
      );

    if (options.destination === "nativeUri" && typeof uri === "string") {
      const saved = events.filter((event) => event.event === "saved").length;
      if (options.source !== 1 && saved === 0) {
        if (options.allowsEditing || targetSize || options.correctOrientation)
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
      if (options.encoding === "jpeg" && saved > 0)
        say("native is png", "The address says JPG, but what was saved to the library is a PNG.");
      if (uri.includes("%26")) say("native address", "The “&” of the address is written %26.");
    }
  }

  const saves = events.filter((event) => event.event === "saved" && event.type === "photo").length;
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

  if (has((event) => event.event === "imageDestination"))
    say(
      "metadata dropped",
      "A picture with the location in its metadata was built and dropped: what the page gets does not carry it.",
    );
  if (uri !== undefined && asObject(uri).bytes !== undefined)
    say(
      "base64 as bytes",
      "With location, the data URL comes as a byte buffer of Base64 text, without its “data:” prefix.",
    );
  if (uri !== undefined && asObject(uri).url !== undefined)
    say("url value", "With location, the file's address comes as a URL value, not as a text.");

  const address = typeof uri === "string" ? uri : asObject(uri).url;
  if (typeof address === "string" && /velmora_photo_\d+\.\w+$/.test(address))
    say(
      "twelve hours",
      "The file's name tells the time with a twelve-hour clock: twelve hours later the same name comes again, and while a file of that name stands, the next one waits.",
    );

  if (
    row.answer?.status === "NO_PERMISSION" &&
    asObject(row.answer.data).errorMsg === "no image selected"
  )
    say(
      "cancel",
      "A user who backs out is reported as NO_PERMISSION, with an object in place of a text.",
    );
  if (
    row.answer?.message === "Not have permission to use the camera." &&
    options &&
    options.source !== 1
  )
    say(
      "text of the camera",
      "The way to the settings from the photo library's alert is answered with the text of the camera.",
    );
  if (!row.answer && has((event) => event.event === "openURL"))
    say(
      "settings without answer",
      "“Settings” in the camera's alert answers nothing. The callback stays open until another command takes its place.",
    );

  const files = row.messages.filter(
    (message) => message.type === "trace" && message.what === "writeFile" && message.error,
  );
  if (files.length > 0 && success)
    say(
      "file missing",
      `The page was told of success though ${plural(files.length, "a file", "files")} could not be written.`,
    );
  return notes;
}
