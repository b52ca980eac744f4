import type { RefObject } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { type Movie, MovieRecorder } from "./media/MovieRecorder";
import type { Facing } from "./media/scene";
import { openViewfinder, type Viewfinder } from "./media/viewfinder";
import type { PickerScreen } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { clockText } from "../../ui/format";
import { Icon } from "../../ui/icons";
import { EditStep } from "./EditStep";
import { layer } from "./focusPhone";
import { Review } from "./Review";

interface Shot {
  kind: "photo" | "movie";
  blob: Blob;
  name: string;
  url: string;
}

// Uploads have a limit, and nobody tries a page with a longer movie.
const maxMovieSeconds = 120;

/** Opens the camera on that side, and shows in `host` what it sees. */
function useViewfinder(facing: Facing, onOpen: () => void, onClose: () => void) {
  const { preferences, moving } = useSimulator();
  const { landscape, generatedScene } = preferences;
  const still = !moving.value;
  const host = useRef<HTMLDivElement>(null);
  const viewfinder = useRef<Viewfinder | null>(null);
  const [sees, setSees] = useState<string | null>(null);
  useEffect(() => {
    let gone = false;
    setSees(null);
    void openViewfinder({ facing, landscape, still, generated: generatedScene }).then((opened) => {
      if (gone) {
        opened.close();
        return;
      }
      viewfinder.current = opened;
      opened.element.className = facing === "front" ? "viewfinder mirrored" : "viewfinder";
      opened.element.setAttribute("aria-hidden", "true");
      host.current?.replaceChildren(opened.element);
      setSees(opened.description);
      onOpen();
    });
    return () => {
      gone = true;
      onClose();
      viewfinder.current?.close();
      viewfinder.current = null;
    };
    // The handlers of the render that opened it are as good as later ones.
    // eslint-disable-next-line react-hooks/exhaustive-deps
  }, [facing, landscape, generatedScene, still]);
  return { host, viewfinder, sees };
}

/** Records one movie at a time. `seconds` is null while none is recorded. */
function useRecording(onMovie: (movie: Movie) => void) {
  const { client } = useSimulator();
  const recorder = useRef<MovieRecorder | null>(null);
  const [seconds, setSeconds] = useState<number | null>(null);

  const start = (viewfinder: Viewfinder | null) =>
    client.noticing(async () => {
      if (!viewfinder || recorder.current) return;
      const made = new MovieRecorder();
      recorder.current = made;
      try {
        if (await made.start(viewfinder)) setSeconds(0);
      } catch (error) {
        if (recorder.current === made) recorder.current = null;
        throw error;
      }
    });

  const end = (): MovieRecorder | null => {
    const current = recorder.current;
    recorder.current = null;
    setSeconds(null);
    return current;
  };
  const stop = () =>
    client.noticing(async () => {
      const current = end();
      if (current) onMovie(await current.stop());
    });

  const running = seconds !== null;
  useEffect(() => {
    if (!running) return;
    const begun = performance.now();
    const timer = setInterval(() => {
      const passed = (performance.now() - begun) / 1000;
      setSeconds(passed);
      if (passed >= maxMovieSeconds) void stop();
    }, 200);
    return () => clearInterval(timer);
    // One timer lasts as long as the recording.
    // eslint-disable-next-line react-hooks/exhaustive-deps
  }, [running]);

  return { seconds, start, stop, drop: () => end()?.drop() };
}

export function CameraScreen({ screen, covered }: { screen: PickerScreen; covered: boolean }) {
  const { client, preferences, cue } = useSimulator();
  const shutter = useRef<HTMLButtonElement>(null);
  const wanted: Facing = screen.cameraDevice === 1 && preferences.frontCamera ? "front" : "rear";
  const [facing, setFacing] = useState<Facing>(wanted);
  const [shot, setShot] = useState<Shot | null>(null);
  const [busy, setBusy] = useState(false);
  const movies = screen.cameraCaptureMode === "video";

  const show = (kind: Shot["kind"], { blob, name }: Movie) =>
    setShot({ kind, blob, name, url: URL.createObjectURL(blob) });
  useEffect(() => () => void (shot && URL.revokeObjectURL(shot.url)), [shot]);

  const recording = useRecording((movie) => show("movie", movie));
  // The shutter was pressed before there was a live picture.
  const pressed = useRef(false);
  const { host, viewfinder, sees } = useViewfinder(
    facing,
    () => {
      if (pressed.current) release();
      pressed.current = false;
    },
    () => {
      pressed.current = false;
      recording.drop();
    },
  );

  const takePhoto = () =>
    client.noticing(async () => {
      const blob = await viewfinder.current?.photo(preferences.landscape ? 4 / 3 : 3 / 4);
      if (blob) show("photo", { blob, name: "photo.jpg" });
    });

  const release = () => {
    if (!movies) void takePhoto();
    else if (recording.seconds === null) void recording.start(viewfinder.current);
    else void recording.stop();
  };
  const press = () => {
    if (busy) return;
    if (sees === null) pressed.current = true;
    else release();
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
    if (event.key !== "Escape") return;
    event.stopPropagation();
    if (shot) retake();
    else cancel();
  };

  const cued = cue.value?.step.do === "capture" ? cue.value : null;
  const reviewed = cued ? null : shot;
  const edited = reviewed?.kind === "photo" && screen.allowsEditing;
  return (
    <div
      class="picker camera"
      role="dialog"
      aria-label={movies ? "Camera for movies" : "Camera"}
      tabIndex={-1}
      {...layer}
      inert={covered}
      onKeyDown={onKeyDown}
    >
      <div class={`camera-live${shot || cued ? " hidden" : ""}`} inert={shot !== null}>
        <div class="camera-top">
          {movies && (
            <span class={`timer${recording.seconds !== null ? " on" : ""}`} role="timer">
              {clockText(recording.seconds ?? 0)}
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
        <CameraControls
          shutter={shutter}
          movies={movies}
          ready={sees !== null}
          recording={recording.seconds !== null}
          facing={facing}
          onCancel={cancel}
          onPress={press}
          onFlip={() => setFacing(facing === "rear" ? "front" : "rear")}
        />
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
      {reviewed && edited && (
        <EditStep
          picture={reviewed.url}
          cancelLabel="Retake"
          useLabel="Use photo"
          busy={busy}
          onUse={(crop) => void use(crop)}
          onCancel={retake}
        />
      )}
      {reviewed && !edited && (
        <Review
          url={reviewed.url}
          kind={reviewed.kind}
          leaveLabel="Retake"
          useLabel={reviewed.kind === "movie" ? "Use movie" : "Use photo"}
          busy={busy}
          onUse={() => void use()}
          onLeave={retake}
        />
      )}
    </div>
  );
}

function CameraControls(props: {
  shutter: RefObject<HTMLButtonElement>;
  movies: boolean;
  ready: boolean;
  recording: boolean;
  facing: Facing;
  onCancel: () => void;
  onPress: () => void;
  onFlip: () => void;
}) {
  const { shutter, movies, ready, recording, facing, onCancel, onPress, onFlip } = props;
  const { preferences, cue } = useSimulator();
  const cued = cue.value?.step.do === "cancel";
  return (
    <div class="camera-controls">
      <button
        type="button"
        class={`text-button${cued ? " cued" : ""}`}
        onClick={onCancel}
        disabled={recording}
      >
        Cancel
      </button>
      <button
        ref={shutter}
        type="button"
        data-first
        class={`shutter${movies ? " movie" : ""}${recording ? " recording" : ""}`}
        aria-label={!movies ? "Take photo" : recording ? "Stop recording" : "Start recording"}
        aria-busy={!ready}
        onClick={onPress}
      />
      {preferences.frontCamera ? (
        <button
          type="button"
          class="round-button"
          aria-label={`Switch to the ${facing === "rear" ? "front" : "rear"} camera`}
          disabled={recording}
          onClick={onFlip}
        >
          <Icon name="flip" size={24} />
        </button>
      ) : (
        <span class="round-button empty" />
      )}
    </div>
  );
}
