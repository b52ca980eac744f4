"use strict";

const picture = document.getElementById("picture");
const outcome = document.getElementById("outcome");
const form = document.getElementById("options");
let shown;

function options() {
  const side = Number(form.elements.side.value);
  return {
    destination: form.elements.destination.value,
    encoding: form.elements.encoding.value,
    quality: form.elements.quality.value === "" ? undefined : Number(form.elements.quality.value),
    targetSize: side > 0 ? { width: side, height: side } : undefined,
    correctOrientation: form.elements.correctOrientation.checked,
    allowsEditing: form.elements.allowsEditing.checked,
    cameraDirection: form.elements.front.checked ? "front" : "rear",
    saveToPhotoAlbum: form.elements.saveToPhotoAlbum.checked,
    // A call that was left open must not keep the next one from the camera.
    replacePending: true,
  };
}

const actions = {
  photo: () => takePicture({}),
  library: () => takePicture({ source: "photoLibrary", media: "all" }),
  movie: () => takePicture({ media: "video" }),
  place: () => takePicture({ usesGeolocation: true }),
  cleanup: async () => {
    await vecamera.cleanup();
    picture.replaceChildren(placeholder("Your picture appears here."));
    report("The temporary files are gone.");
  },
};

async function takePicture(more) {
  report("Waiting for the picture…", "busy");
  const { canceled, picture: got } = await vecamera.tryTakePicture({ ...options(), ...more });
  if (canceled) {
    report("You took no picture.");
    return;
  }
  if (got.kind === "nothing") {
    report("The plug-in says success, and gives nothing.", "bad");
    return;
  }
  if (got.kind === "nativeUrl") {
    picture.replaceChildren(placeholder("It is in the photo library."));
    report(`Library address: ${got.url}`);
    return;
  }
  shown?.revoke();
  shown = got.kind === "bytes" ? await got.objectUrl() : undefined;
  const isMovie = got.mediaType === "video";
  const view = document.createElement(isMovie ? "video" : "img");
  if (isMovie) view.controls = true;
  else view.alt = "The picture you took";
  view.onerror = () => report("The picture cannot be shown.", "bad");
  view.src = shown?.url ?? got.url;
  picture.replaceChildren(view);
  report(
    got.kind === "dataUrl"
      ? `Data URL of ${Math.round(got.url.length / 1024)} KiB`
      : got.kind === "bytes"
        ? `${Math.round(got.size / 1024)} KiB, with the place looked up`
        : `File ${got.fileName}`,
  );
}

function placeholder(text) {
  const paragraph = document.createElement("p");
  paragraph.className = "placeholder";
  paragraph.textContent = text;
  return paragraph;
}

function report(text, look = "") {
  outcome.textContent = text;
  outcome.className = look;
}

for (const button of document.querySelectorAll("[data-action]")) {
  button.addEventListener("click", async () => {
    try {
      await actions[button.dataset.action]();
    } catch (error) {
      if (error.code === "replaced") return;
      report(`${error.status ?? error.code}: ${error.message}`, "bad");
    }
  });
  // Nobody's press is lost while this script loads.
  button.disabled = false;
}

// Options change nothing by themselves.
form.addEventListener("submit", (event) => event.preventDefault());
