// For pages without a bundler: a script tag gives them the global `vecamera`, which is a `Camera`
// in a frame of the simulator.
import { type Camera, createCamera } from "./camera.js";
import { CameraError } from "./camera-error.js";
import { frameBridge } from "./frame-bridge.js";

declare global {
  var vecamera: Camera & { readonly CameraError: typeof CameraError };
}

globalThis.vecamera = Object.assign(createCamera(frameBridge()), { CameraError });
