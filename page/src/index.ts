export type {
  Bridge,
  BridgeCallbacks,
  BridgeCommand,
  BridgeDictionary,
  BridgeFailure,
  BridgeSuccess,
  BridgeUrl,
  BridgeValue,
} from "./bridge.js";
export { type Camera, type PictureResult, createCamera } from "./camera.js";
export { CameraError, type CameraErrorCode, type CameraErrorDetails } from "./camera-error.js";
export type { CallOptions, PictureOptions } from "./options.js";
export type { ObjectUrl, Picture, PictureContent } from "./picture.js";
