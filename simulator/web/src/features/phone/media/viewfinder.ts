import { coveringPart } from "./crop";
import { drawScene, type Facing } from "./scene";

/** A camera that is running: something to look at, and to take pictures and movies from. */
export interface Viewfinder {
  element: HTMLVideoElement | HTMLCanvasElement;
  /** What stands in for the camera, for those who cannot see it. */
  description: string;
  /** A JPEG of what is to be seen now, in the frame's shape, never mirrored. */
  photo(aspect: number): Promise<Blob>;
  /** The moving picture with sound, where there is any. `release` ends what it opened. */
  movie(): Promise<{ stream: MediaStream; release: () => void }>;
  close(): void;
}

const jpegOf = (canvas: HTMLCanvasElement): Promise<Blob> =>
  new Promise((resolve, reject) => {
    canvas.toBlob(
      (blob) => (blob ? resolve(blob) : reject(new Error("The picture could not be encoded."))),
      "image/jpeg",
      0.95,
    );
  });

const photoOf = (
  source: HTMLVideoElement | HTMLCanvasElement,
  size: { width: number; height: number },
  aspect: number,
): Promise<Blob> => {
  const part = coveringPart(size, aspect);
  const canvas = document.createElement("canvas");
  canvas.width = Math.max(1, Math.round(part.width));
  canvas.height = Math.max(1, Math.round(part.height));
  canvas
    .getContext("2d")
    ?.drawImage(source, part.x, part.y, part.width, part.height, 0, 0, canvas.width, canvas.height);
  return jpegOf(canvas);
};

const stop = (stream: MediaStream) => {
  for (const track of stream.getTracks()) track.stop();
};

async function webcam(facing: Facing): Promise<Viewfinder> {
  const stream = await navigator.mediaDevices.getUserMedia({
    video: {
      facingMode: facing === "front" ? "user" : "environment",
      width: { ideal: 1920 },
      height: { ideal: 1440 },
    },
  });
  const video = document.createElement("video");
  video.srcObject = stream;
  video.muted = true;
  video.playsInline = true;
  try {
    await video.play();
  } catch (error) {
    stop(stream);
    throw error;
  }
  return {
    element: video,
    description: "Live picture of the webcam",
    photo: (aspect) =>
      photoOf(video, { width: video.videoWidth, height: video.videoHeight }, aspect),
    movie: async () => {
      // A movie without a microphone is a movie without sound.
      const sound = await navigator.mediaDevices.getUserMedia({ audio: true }).catch(() => null);
      const tracks = [...stream.getVideoTracks(), ...(sound?.getAudioTracks() ?? [])];
      return { stream: new MediaStream(tracks), release: () => sound && stop(sound) };
    },
    close: () => {
      stop(stream);
      video.srcObject = null;
    },
  };
}

// A soft tone that rises and falls, so that a movie of the scene has a sound to listen for.
function tone(): { tracks: MediaStreamTrack[]; release(): void } {
  const audio = new AudioContext();
  const oscillator = audio.createOscillator();
  const swell = audio.createOscillator();
  const swellDepth = audio.createGain();
  const volume = audio.createGain();
  const destination = audio.createMediaStreamDestination();
  oscillator.frequency.value = 330;
  swell.frequency.value = 0.5;
  swellDepth.gain.value = 60;
  volume.gain.value = 0.08;
  swell.connect(swellDepth).connect(oscillator.frequency);
  oscillator.connect(volume).connect(destination);
  oscillator.start();
  swell.start();
  return {
    tracks: destination.stream.getAudioTracks(),
    release: () => void audio.close(),
  };
}

function scene(facing: Facing, landscape: boolean, still: boolean): Viewfinder {
  const canvas = document.createElement("canvas");
  canvas.width = landscape ? 1440 : 1080;
  canvas.height = landscape ? 1080 : 1440;
  const context = canvas.getContext("2d");
  const begun = performance.now();
  let frame = 0;
  // One that stands still is drawn again and again, too: a movie has a frame for each drawing.
  const draw = () => {
    const seconds = still ? 0 : (performance.now() - begun) / 1000;
    if (context) drawScene(context, facing, seconds + 4);
    frame = requestAnimationFrame(draw);
  };
  draw();
  return {
    element: canvas,
    description:
      facing === "front"
        ? `Generated scene: a person in a room${still ? "" : ", swaying"}`
        : "Generated scene: a bay with two sailing boats",
    photo: (aspect) => photoOf(canvas, canvas, aspect),
    movie: () => {
      const picture = canvas.captureStream(30);
      const sound = tone();
      return Promise.resolve({
        stream: new MediaStream([...picture.getVideoTracks(), ...sound.tracks]),
        release: () => {
          stop(picture);
          sound.release();
        },
      });
    },
    close: () => cancelAnimationFrame(frame),
  };
}

/** Opens the webcam, or where there is none, or none is wanted, the generated scene. */
export async function openViewfinder(options: {
  facing: Facing;
  landscape: boolean;
  /** Whether the generated scene stands still. */
  still: boolean;
  generated: boolean;
}): Promise<Viewfinder> {
  if (!options.generated && navigator.mediaDevices) {
    try {
      return await webcam(options.facing);
    } catch {
      // No webcam, or not for us.
    }
  }
  return scene(options.facing, options.landscape, options.still);
}
