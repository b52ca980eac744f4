import type { BridgeDictionary, BridgeUrl } from "./bridge.js";
import { type Bytes, bytesOfBase64 } from "./bytes.js";
import { CameraError } from "./camera-error.js";
import type { PictureOptions } from "./options.js";

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
export type Picture =
  | { readonly kind: "dataUrl"; readonly url: string }
  | { readonly kind: "fileUrl"; readonly url: string }
  | { readonly kind: "nativeUrl"; readonly url: string }
  | { readonly kind: "bytes"; readonly bytes: Bytes; readonly mimeType: string }
  | { readonly kind: "nothing" };

/** The plug-in's byte buffer holds Base64 text; a container may have decoded it already. */
function picturesBytes(buffer: Uint8Array): Bytes {
  try {
    return bytesOfBase64(new TextDecoder().decode(buffer));
  } catch {
    return new Uint8Array(buffer);
  }
}

function textPicture(url: string, destination: PictureOptions["destination"]): Picture {
  if (url.startsWith("data:")) return { kind: "dataUrl", url };
  // An answer may belong to an earlier call with another destination, so the address goes first.
  const native = url.startsWith("assets-library:") || (destination ?? "nativeUrl") === "nativeUrl";
  return { kind: native ? "nativeUrl" : "fileUrl", url };
}

/** Throws a `CameraError` where the answer is none of the plug-in's. */
export function pictureOf(
  data: BridgeDictionary | undefined,
  destination: PictureOptions["destination"],
): Picture {
  const value = data?.callbackURI;
  if (value == null) return { kind: "nothing" };
  if (typeof value === "string") return textPicture(value, destination);
  if (ArrayBuffer.isView(value)) {
    const bytes = picturesBytes(value);
    return { kind: "bytes", bytes, mimeType: `image/${bytes[0] === 0x89 ? "png" : "jpeg"}` };
  }
  // Only the address of a file is a URL value.
  const { href } = value as Partial<BridgeUrl>;
  if (typeof href === "string") return { kind: "fileUrl", url: href };
  throw new CameraError("bridge", "the answer holds no text, URL or bytes", { data });
}

/** The length of what came: next to nothing, where that is an address. */
export function lengthOf(picture: Picture): number {
  const came = "url" in picture ? picture.url : "bytes" in picture ? picture.bytes : "";
  return came.length;
}
