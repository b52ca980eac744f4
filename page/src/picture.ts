import type { Bridge, BridgeDictionary, BridgeUrl } from "./bridge.js";
import { type Bytes, bytesOfBase64 } from "./bytes.js";
import { CameraError } from "./camera-error.js";
import type { PictureOptions } from "./options.js";

/** A `blob:` URL. It keeps the content in memory until it is revoked. */
export interface ObjectUrl {
  readonly url: string;
  revoke(): void;
}

/**
 * What is known of a picture or movie without reading it, and its content. `toBlob` and `objectUrl`
 * are left out where a picture is copied, stored or printed.
 */
export interface PictureContent {
  readonly mediaType: "photo" | "video" | undefined;
  /** What the address or the bytes say, for example "image/jpeg". */
  readonly mimeType: string | undefined;
  /** In bytes. Not known of an address: the blob has it. */
  readonly size: number | undefined;
  /** The name of a file in the temporary directory, without its folder. */
  readonly fileName: string | undefined;
  /**
   * The content, of the type `mimeType` where that is known. It fails as `unreadable`, for example
   * because `cleanup` removed the file or the page may not fetch from that address.
   */
  toBlob(): Promise<Blob>;
  /** A new `blob:` URL of the content. It fails as `toBlob` does. */
  objectUrl(): Promise<ObjectUrl>;
}

/**
 * What the page gets; `kind` says which of these:
 *
 * - `dataUrl`: the picture or movie itself, as text.
 * - `fileUrl`: a file in the application's temporary directory, which `cleanup` empties. The
 *   address is what the container makes of it, and a bare path where the container makes nothing.
 * - `nativeUrl`: an address in the photo library. In that of a newly stored picture the "&" stands
 *   as "%26".
 * - `bytes`: the encoded picture, where a data URL was asked for with `usesGeolocation`.
 * - `nothing`: the plug-in answered with success and delivered nothing, for example because the
 *   picture could not be encoded.
 */
export type Picture = PictureContent &
  (
    | {
        readonly kind: "dataUrl";
        readonly url: string;
        readonly mimeType: string;
        readonly size: number;
      }
    | { readonly kind: "fileUrl"; readonly url: string; readonly fileName: string }
    | { readonly kind: "nativeUrl"; readonly url: string }
    | {
        readonly kind: "bytes";
        readonly bytes: Bytes;
        readonly mimeType: string;
        readonly size: number;
      }
    | { readonly kind: "nothing" }
  );

/** What an answer says by itself. */
interface Answer {
  readonly kind: Picture["kind"];
  readonly url?: string;
  readonly bytes?: Bytes;
  readonly mimeType?: string | undefined;
  readonly size?: number;
  readonly fileName?: string | undefined;
}

/** Where the subtype is not the extension itself. */
const subtypes: Record<string, string> = { jpg: "jpeg", mov: "quicktime" };

/** The type for the extension at the end of a file's name, or of an address in the library. */
function mimeTypeOf(name: string): string | undefined {
  const [extension, photo] = /(jpe?g|png|heic|gif)$|mp4$|mov$/.exec(name.toLowerCase()) ?? [];
  return extension && `${photo ? "image" : "video"}/${subtypes[extension] ?? extension}`;
}

async function blobOf({ kind, url, bytes }: Answer, bridge: Bridge): Promise<Blob> {
  if (bytes) return new Blob([bytes]);
  if (url == null) throw new Error("there is none");
  // Not fetched: the security policy of a page seldom lets it connect to data URLs.
  if (kind === "dataUrl") return new Blob([bytesOfBase64(url.split(",")[1] ?? "")]);
  if (bridge.readFile) return bridge.readFile(url);
  const response = await fetch(url);
  if (!response.ok) throw new Error(`status ${response.status}`);
  return response.blob();
}

/** The functions cannot be enumerated: they are no part of a picture's data. */
function pictureFrom(answer: Answer, bridge: Bridge): Picture {
  const { mimeType } = answer;
  const toBlob = async () => {
    try {
      const blob = await blobOf(answer, bridge);
      return mimeType ? blob.slice(0, blob.size, mimeType) : blob;
    } catch (cause) {
      throw new CameraError("unreadable", `the picture cannot be read: ${cause as Error}`, { cause });
    }
  };
  const objectUrl = async () => {
    const url = URL.createObjectURL(await toBlob());
    return { url, revoke: () => URL.revokeObjectURL(url) };
  };
  const mediaType = mimeType?.startsWith("video") ? "video" : mimeType && "photo";
  return Object.defineProperties({ ...answer, mediaType } as Picture, {
    toBlob: { value: toBlob },
    objectUrl: { value: objectUrl },
  });
}

/** The plug-in's byte buffer holds Base64 text; a container may have decoded it already. */
function picturesBytes(buffer: Uint8Array): Bytes {
  try {
    return bytesOfBase64(new TextDecoder().decode(buffer));
  } catch {
    return new Uint8Array(buffer);
  }
}

function fileAnswer(url: string): Answer {
  const fileName = url.replace(/[?#].*/, "").replace(/.*\//, "");
  return { kind: "fileUrl", url, fileName, mimeType: mimeTypeOf(fileName) };
}

function answerOf(
  data: BridgeDictionary | undefined,
  destination: PictureOptions["destination"],
): Answer {
  const value = data?.callbackURI;
  if (value == null) return { kind: "nothing" };
  if (ArrayBuffer.isView(value)) {
    const bytes = picturesBytes(value);
    const mimeType = `image/${bytes[0] === 0x89 ? "png" : "jpeg"}`;
    return { kind: "bytes", bytes, mimeType, size: bytes.length };
  }
  // Only the address of a file is a URL value.
  const { href } = value as Partial<BridgeUrl>;
  if (typeof href === "string") return fileAnswer(href);
  if (typeof value !== "string")
    throw new CameraError("bridge", "the answer holds no text, URL or bytes", { data });

  if (value.startsWith("data:")) {
    const [head = "", base64 = ""] = value.split(",");
    const size = Math.floor((base64.replace(/=+$/, "").length * 3) / 4);
    return { kind: "dataUrl", url: value, mimeType: head.slice(5).split(";")[0], size };
  }
  // An answer may belong to an earlier call with another destination, so the address goes first.
  if (!value.startsWith("assets-library:") && (destination ?? "nativeUrl") !== "nativeUrl")
    return fileAnswer(value);
  // A new picture is stored as a PNG, whatever its address says.
  const mimeType = value.endsWith("%26ext=JPG") ? "image/png" : mimeTypeOf(value);
  return { kind: "nativeUrl", url: value, mimeType };
}

/** Throws a `CameraError` where the answer is none of the plug-in's. */
export function pictureOf(
  data: BridgeDictionary | undefined,
  destination: PictureOptions["destination"],
  bridge: Bridge,
): Picture {
  return pictureFrom(answerOf(data, destination), bridge);
}

/** The length of what came: next to nothing, where that is an address. */
export function lengthOf(picture: Picture): number {
  const { url, bytes } = picture as Answer;
  return (url ?? bytes ?? "").length;
}
