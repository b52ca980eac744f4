import { useEffect, useRef, useState } from "preact/hooks";
import { type Movie, MovieRecorder } from "../media/MovieRecorder";
import type { Facing } from "../media/scene";
import { openViewfinder, type Viewfinder } from "../media/viewfinder";
import type { PickerScreen } from "../protocol/messages";
import { useSimulator } from "../ui/context";
import { clockText } from "../ui/format";
import { Icon } from "../ui/icons";
import { useModal } from "../ui/modal";
import { EditStep } from "./EditStep";
import { Review } from "./Review";

interface Shot {
  kind: "photo" | "movie";
  blob: Blob;
  name: string;
  url: string;
}

// Uploads have a limit, and nobody tries a page with a longer movie.
const maxMovieSeconds = 120;

export function CameraScreen({ screen, covered }: { screen: PickerScreen; covered: boolean }) {
  const { client, preferences, cue } = useSimulator();
  const modal = useModal<HTMLDivElement>();
  const host = useRef<HTMLDivElement>(null);
  const shutter = useRef<HTMLButtonElement>(null);
  const viewfinder = useRef<Viewfinder | null>(null);
  const recorder = useRef<MovieRecorder | null>(null);
  const wanted: Facing = screen.cameraDevice === 1 && preferences.frontCamera ? "front" : "rear";
  const [facing, setFacing] = useState<Facing>(wanted);
  const [sees, setSees] = useState<string | null>(null);
  const [shot, setShot] = useState<Shot | null>(null);
  const [recording, setRecording] = useState<number | null>(null);
  const [busy, setBusy] = useState(false);
  const movies = screen.cameraCaptureMode === "video";
  const { landscape, generatedScene } = preferences;
  const aspect = landscape ? 4 / 3 : 3 / 4;

  useEffect(() => {
    let gone = false;
    setSees(null);
    void openViewfinder({ facing, landscape, generated: generatedScene }).then((opened) => {
      if (gone) {
        opened.close();
        return;
      }
      viewfinder.current = opened;
      opened.element.className = facing === "front" ? "viewfinder mirrored" : "viewfinder";
      opened.element.setAttribute("aria-hidden", "true");
      host.current?.replaceChildren(opened.element);
      setSees(opened.description);
    });
    return () => {
      gone = true;
      recorder.current?.drop();
      recorder.current = null;
      setRecording(null);
      viewfinder.current?.close();
      viewfinder.current = null;
    };
  }, [facing, landscape, generatedScene]);

  useEffect(() => () => void (shot && URL.revokeObjectURL(shot.url)), [shot]);

  useEffect(() => {
    if (recording === null) return;
    const begun = performance.now();
    const timer = setInterval(() => {
      const seconds = (performance.now() - begun) / 1000;
      setRecording(seconds);
      if (seconds >= maxMovieSeconds) void endMovie();
    }, 200);
    return () => clearInterval(timer);
  }, [recording === null]);

  const show = (kind: Shot["kind"], { blob, name }: Movie) =>
    setShot({ kind, blob, name, url: URL.createObjectURL(blob) });

  const takePhoto = () =>
    client.noticing(async () => {
      const blob = await viewfinder.current?.photo(aspect);
      if (blob) show("photo", { blob, name: "photo.jpg" });
    });

  const endMovie = () =>
    client.noticing(async () => {
      const current = recorder.current;
      recorder.current = null;
      setRecording(null);
      if (current) show("movie", await current.stop());
    });

  const startMovie = () =>
    client.noticing(async () => {
      if (!viewfinder.current || recorder.current) return;
      const made = new MovieRecorder();
      recorder.current = made;
      try {
        if (await made.start(viewfinder.current)) setRecording(0);
      } catch (error) {
        if (recorder.current === made) recorder.current = null;
        throw error;
      }
    });

  const press = () => {
    if (sees === null || busy) return;
    if (!movies) void takePhoto();
    else if (recording === null) void startMovie();
    else void endMovie();
  };

  const use = async (crop?: [number, number, number, number]) => {
    if (!shot || busy) return;
    setBusy(true);
    const used = await client.noticing(async () => {
      const { file } = await client.upload(shot.blob, shot.name);
      await client.step({
        do: "capture",
        [shot.kind]: file,
        ...(crop ? { crop } : {}),
      });
    });
    setBusy(false);
    if (!used) setShot(null);
  };

  const retake = () => {
    setShot(null);
    queueMicrotask(() => shutter.current?.focus());
  };
  const cancel = () => void client.act({ do: "cancel" });

  const onKeyDown = (event: KeyboardEvent) => {
    if (event.key === "Escape") {
      if (shot) retake();
      else cancel();
      event.stopPropagation();
    }
  };

  const cued = cue?.step.do === "capture" ? cue : null;
  return (
    <div
      ref={modal}
      class="picker camera"
      role="dialog"
      aria-modal="true"
      aria-label={movies ? "Camera for movies" : "Camera"}
      tabIndex={-1}
      inert={covered}
      onKeyDown={onKeyDown}
    >
      <div class={`camera-live${shot || cued ? " hidden" : ""}`} inert={shot !== null}>
        <div class="camera-top">
          {movies && (
            <span class={`timer${recording !== null ? " on" : ""}`} role="timer">
              {clockText(recording ?? 0)}
            </span>
          )}
        </div>
        <div class="camera-view">
          <div class="camera-frame">
            <div
              ref={host}
              class="camera-host"
              role="img"
              aria-label={sees ?? "The camera starts"}
            />
            {sees?.startsWith("Generated") && <span class="camera-badge">Generated scene</span>}
          </div>
        </div>
        <div class="camera-mode" aria-hidden="true">
          <span class={movies ? "" : "on"}>Photo</span>
          <span class={movies ? "on" : ""}>Movie</span>
        </div>
        <div class="camera-controls">
          <button
            type="button"
            class={`text-button${cue?.step.do === "cancel" ? " cued" : ""}`}
            onClick={cancel}
            disabled={recording !== null}
          >
            Cancel
          </button>
          <button
            ref={shutter}
            type="button"
            data-first
            class={`shutter${movies ? " movie" : ""}${recording !== null ? " recording" : ""}`}
            aria-label={
              !movies ? "Take photo" : recording === null ? "Start recording" : "Stop recording"
            }
            aria-disabled={sees === null}
            onClick={press}
          />
          {preferences.frontCamera ? (
            <button
              type="button"
              class="round-button"
              aria-label={`Switch to the ${facing === "rear" ? "front" : "rear"} camera`}
              disabled={recording !== null}
              onClick={() => setFacing(facing === "rear" ? "front" : "rear")}
            >
              <Icon name="flip" size={24} />
            </button>
          ) : (
            <span class="round-button empty" />
          )}
        </div>
      </div>
      {cued && (
        <Review
          url={cued.media}
          kind={cued.step.movie ? "movie" : "photo"}
          leaveLabel="Retake"
          useLabel={cued.step.movie ? "Use movie" : "Use photo"}
          cued
        />
      )}
      {shot && !cued && screen.allowsEditing && shot.kind === "photo" && (
        <EditStep
          picture={shot.url}
          cancelLabel="Retake"
          useLabel="Use photo"
          busy={busy}
          onUse={(crop) => void use(crop)}
          onCancel={retake}
        />
      )}
      {shot && !cued && !(screen.allowsEditing && shot.kind === "photo") && (
        <Review
          url={shot.url}
          kind={shot.kind}
          leaveLabel="Retake"
          useLabel={shot.kind === "movie" ? "Use movie" : "Use photo"}
          busy={busy}
          onUse={() => void use()}
          onLeave={retake}
        />
      )}
    </div>
  );
}
