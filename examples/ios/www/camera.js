// The page's camera in this app. The app answers each message with one reply, or never.
import { CameraError, createCamera } from "./vecamera-page/index.js";

const app = window.webkit.messageHandlers.velmora;

/** JSON has no bytes and no URLs: the app sends them as objects with one key. */
function received(value) {
  if (typeof value?.bytes === "string")
    return Uint8Array.from(atob(value.bytes), (character) => character.charCodeAt(0));
  if (typeof value?.url === "string") return { href: value.url };
  return value;
}

function dataOf({ data }) {
  if (!data) return undefined;
  return Object.fromEntries(Object.entries(data).map(([key, value]) => [key, received(value)]));
}

const bridge = {
  call(command, list, callbacks) {
    app
      .postMessage({ command, arguments: list })
      .then((answer) => {
        const data = dataOf(answer);
        if (answer.result === "success") callbacks.success({ data });
        else callbacks.error({ status: answer.status, message: answer.message, data });
      })
      .catch((error) => callbacks.lost(error?.message ?? String(error)));
  },
};

globalThis.vecamera = Object.assign(createCamera(bridge), { CameraError });
