import { type AnswerEvent, isObject, type LibraryAsset } from "../../core/messages";

/** Where the picture or movie of an answer is to be had; one of the three is set. */
export interface AnswerPicture {
  url: string | null;
  /** A name in the temporary directory. */
  file: string | null;
  /** What the photo library calls it, see `assetNamed`. */
  asset: string | null;
  movie: boolean;
  bytes: number | null;
}

const bytesOfBase64 = (text: string): number =>
  Math.floor((text.length * 3) / 4) - (text.endsWith("==") ? 2 : text.endsWith("=") ? 1 : 0);

const none = { url: null, file: null, asset: null, movie: false, bytes: null };

const ofAddress = (address: string): AnswerPicture | null => {
  if (address.startsWith("data:")) {
    const comma = address.indexOf(",");
    return {
      ...none,
      url: address,
      movie: address.startsWith("data:video/"),
      bytes: bytesOfBase64(address.slice(comma + 1)),
    };
  }
  // A container may have made a file's address of it.
  if (address.includes("assets-library:")) {
    const asset = /(?:[?&]|%3F|%26)id=([^&%]+)/.exec(address)?.[1];
    return asset ? { ...none, asset } : null;
  }
  const file = /([^/?#]+)$/.exec(address)?.[1];
  return file ? { ...none, file: decodeURIComponent(file), movie: /\.mp4$/i.test(file) } : null;
};

/** The picture or movie of an answer, in whatever form the page got it. */
export function pictureOf(answer: AnswerEvent): AnswerPicture | null {
  if (answer.result !== "success" || !isObject(answer.data)) return null;
  const uri = answer.data.callbackURI;
  if (typeof uri === "string") return ofAddress(uri);
  if (!isObject(uri)) return null;
  if (typeof uri.url === "string") return ofAddress(uri.url);
  if (typeof uri.bytes !== "string") return null;
  // The bytes are the Base64 text of the picture, which the event writes as Base64 once more.
  const text = atob(uri.bytes);
  const type = text.startsWith("iVBOR") ? "png" : "jpeg";
  return { ...none, url: `data:image/${type};base64,${text}`, bytes: bytesOfBase64(text) };
}

/** The asset of an address, which holds its identifier, or only the part before the "/". */
export const assetNamed = (assets: LibraryAsset[], name: string): LibraryAsset | undefined =>
  assets.find(({ id }) => id === name || id.startsWith(`${name}/`));
