"use strict";

const $ = (id) => document.getElementById(id);
let stopWaiting = new AbortController();
let shown;

const photo = {
  destination: "fileUrl",
  quality: 100,
  targetSize: { width: 1280, height: 1280 },
  correctOrientation: true,
};

$("photo").onclick = () => wait("Waiting for the photo…", takeCard(photo));
$("library").onclick = () =>
  wait("Waiting for the choice…", takeCard({ ...photo, source: "photoLibrary" }));
$("movie").onclick = () =>
  wait("Waiting for the movie…", takeCard({ destination: "fileUrl", media: "video" }));
$("cleanup").onclick = () =>
  wait("Cleaning up…", async (signal) => {
    await vecamera.cleanup({ signal });
    await show();
    return "The temporary files are gone.";
  });
$("stop").onclick = () => stopWaiting.abort();

function takeCard(options) {
  return async (signal) => {
    const { canceled, picture } = await vecamera.tryTakePicture({ ...options, signal });
    if (canceled) return "No picture was chosen.";
    await show(picture);
    return picture.url ? `${picture.kind}: ${short(picture.url)}` : `Answer: ${picture.kind}`;
  };
}

/** Runs one call with the buttons off; some calls are never answered, so the user may give up. */
async function wait(text, call) {
  const pressed = document.activeElement;
  stopWaiting = new AbortController();
  const { signal } = stopWaiting;
  busy(true);
  $("stop").focus();
  $("status").textContent = text;
  try {
    $("status").textContent = await call(signal);
  } catch (error) {
    $("status").textContent = signal.aborted
      ? "The page waits no longer."
      : `${error.status ?? error.code}: ${error.message}`;
  }
  busy(false);
  pressed.focus();
}

function busy(isBusy) {
  for (const button of document.querySelectorAll("button")) button.disabled = isBusy;
  $("stop").disabled = false;
  $("stop").hidden = !isBusy;
}

async function show(picture = { kind: "nothing" }) {
  shown?.revoke();
  shown = picture.kind === "bytes" ? await picture.objectUrl() : undefined;
  const source = picture.url ?? shown?.url;
  $("stage").classList.toggle("empty", !source);
  if (!source) return $("stage").replaceChildren("No picture yet");

  const isMovie = picture.mediaType === "video";
  const view = document.createElement(isMovie ? "video" : "img");
  if (isMovie) Object.assign(view, { controls: true, playsInline: true });
  else view.alt = "The picture on the card";
  view.onerror = () => $("stage").replaceChildren("This address cannot be shown here");
  view.src = source;
  $("stage").replaceChildren(view);
}

function short(text) {
  return text.length > 80 ? `${text.slice(0, 77)}…` : text;
}
