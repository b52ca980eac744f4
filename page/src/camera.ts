import type { Bridge } from "./bridge.js";
import { type Call, startCall } from "./call.js";
import { CameraError } from "./camera-error.js";
import {
  type CallOptions,
  type PictureOptions,
  argumentsOf,
  checkOptions,
  warningsAbout,
} from "./options.js";
import { type Picture, lengthOf, pictureOf } from "./picture.js";

/** From this length on, an answer that holds the whole picture is worth a warning. */
const hugeLength = 4e6;

/** The picture, or that the user backed out. */
export type PictureResult =
  | { readonly canceled: false; readonly picture: Picture }
  | { readonly canceled: true; readonly picture?: undefined };

/** The plug-in, as a page sees it. The operations need no `this`. */
export interface Camera {
  /**
   * Takes a photo or a movie, or lets the user pick one from the photo library. Fails with a
   * `CameraError`, also where the user backs out: then its `canceled` is true. One call at a time,
   * see `PictureOptions.replacePending`.
   */
  takePicture(options?: PictureOptions): Promise<Picture>;
  /** As `takePicture`, but a user who backs out is a result; every other failure is an error. */
  tryTakePicture(options?: PictureOptions): Promise<PictureResult>;
  /**
   * Empties the application's temporary directory, of everything and not only of pictures. It stops
   * at the first item that cannot be removed and fails with `UNABLE_FILE_REMOVE`.
   */
  cleanup(options?: CallOptions): Promise<void>;
  /** Hears, once each, of options that do not do what they say. Replace it at will. */
  warn: (message: string) => void;
}

/** A camera behind that bridge. A page makes one and keeps it, as there is one plug-in. */
export function createCamera(bridge: Bridge): Camera {
  const warned = new Set<string>();
  let current: Call | undefined;

  const warnOnce = (message: string) => {
    if (warned.has(message)) return;
    warned.add(message);
    camera.warn(`vecamera: ${message}`);
  };

  const camera: Camera = {
    async takePicture(options = {}) {
      const list = argumentsOf(options);
      if (current?.isOpen()) {
        if (!options.replacePending)
          throw new CameraError(
            "busy",
            "a picture is being taken: wait for it, or give replacePending: true",
          );
        current.giveUp(new CameraError("replaced", "a later takePicture took its place"));
      }
      warningsAbout(options).forEach(warnOnce);
      current = startCall(bridge, "takePicture", list, options);

      const picture = pictureOf(await current.answer, options.destination, bridge);
      if (lengthOf(picture) >= hugeLength)
        warnOnce('an answer holds more than 4 MB: give a targetSize, or take "fileUrl"');
      return picture;
    },

    async tryTakePicture(options) {
      try {
        return { canceled: false, picture: await camera.takePicture(options) };
      } catch (error) {
        if (error instanceof CameraError && error.canceled) return { canceled: true };
        throw error;
      }
    },

    async cleanup(options = {}) {
      checkOptions(options);
      await startCall(bridge, "cleanup", [], options).answer;
    },

    warn: (message) => console.warn(message),
  };
  return camera;
}
