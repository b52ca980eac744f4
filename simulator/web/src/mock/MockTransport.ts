import { drawScene } from "../media/scene";
import { decodeOptions, type PictureOptions } from "../inspector/options";
import type {
  ClientRequest,
  DeviceEvent,
  DeviceState,
  Json,
  LibraryAsset,
  Permission,
  Screen,
  Step,
} from "../protocol/messages";
import type { Transport, TransportListener } from "../protocol/Transport";

// A mock device for `vite dev`: it imitates the module's main flows, roughly, so that the pages can
// be worked on without a server. It proves nothing about the module.

const session = "mock";

const defaultState = (): DeviceState => ({
  screen: [],
  prompts: [],
  permissions: { camera: "notDetermined", photoLibrary: "authorized", location: "notDetermined" },
  callbacks: [],
  files: [],
  faults: [],
  clock: { mode: "real", now: new Date().toISOString() },
  location: { running: false },
  library: 1,
  waiting: null,
  recorded: 0,
  recordingEnded: null,
  broken: null,
});

const scenePicture = (seconds: number): string => {
  const canvas = document.createElement("canvas");
  canvas.width = 360;
  canvas.height = 480;
  const context = canvas.getContext("2d");
  if (context) drawScene(context, seconds % 5 === 0 ? "front" : "rear", seconds);
  return canvas.toDataURL("image/jpeg");
};

export class MockTransport implements Transport {
  private state = defaultState();
  private listener: TransportListener | null = null;
  private n = 0;
  private nextScreen = 1;
  private current: { name: string; options: PictureOptions } | null = null;
  private held: string | null = null;
  private readonly media = new Map<string, string>();
  private readonly assets: LibraryAsset[] = [];

  constructor() {
    for (let index = 0; index < 11; index++)
      this.addAsset(scenePicture(3 + index * 7), index % 4 === 3);
  }

  connect(_session: string | null, listener: TransportListener): void {
    this.listener = listener;
    queueMicrotask(() => {
      listener.onStatus({ kind: "open" });
      listener.onMessage({
        type: "hello",
        session,
        version: 1,
        app: new URL("demo/index.html", location.href).href,
        appOrigin: location.origin,
        device: {},
        messages: [],
        unfinished: 0,
      });
      this.sendState();
    });
  }

  send(request: ClientRequest & { id: number }): void {
    setTimeout(() => {
      let why: string | null = null;
      if (request.type === "step")
        why = this.steps[request.step.do]?.(request.step) ?? null;
      if (request.type === "restart") {
        this.state = defaultState();
        this.listener?.onMessage({ type: "restarted", device: request.device });
      }
      this.state.recorded += 1;
      this.sendState();
      if (why === null) this.listener?.onMessage({ type: "done", id: request.id });
      else this.listener?.onMessage({ type: "failed", id: request.id, why });
    }, 30);
  }

  async upload(
    _session: string,
    bytes: Blob,
    name: string,
  ): Promise<{ file: string; bytes: number }> {
    const file = `media/${this.media.size}-${name}`;
    this.media.set(file, URL.createObjectURL(bytes));
    return { file, bytes: bytes.size };
  }

  async library(): Promise<LibraryAsset[]> {
    return [...this.assets];
  }

  thumbnail(_session: string, asset: string): string {
    return this.media.get(asset) ?? "";
  }

  original(_session: string, asset: string): string {
    return this.media.get(asset) ?? "";
  }

  file(_session: string, name: string): string {
    return this.media.get(name) ?? "";
  }

  script(): string {
    return "data:application/json,%7B%22steps%22%3A%5B%5D%7D";
  }

  /** What each step does; a text says why it cannot. */
  private readonly steps: Record<string, (step: Step) => string | void> = {
    takePicture: (step) => this.begin(String(step.as), (step.arguments as Json[]) ?? []),
    cleanup: (step) => {
      this.state.files = [];
      const to = String(step.as);
      this.event({ event: "answer", to, result: "success", keepCallback: false });
    },
    answer: (step) => {
      const prompt = step.prompt as Permission;
      const allowed = step.with === "allow" || step.with === "authorized";
      this.state.prompts = this.state.prompts.filter((other) => other !== prompt);
      this.state.permissions[prompt] = allowed ? "authorized" : "denied";
      if (prompt !== "location") this.present(prompt, allowed);
    },
    authorize: ({ do: _, ...rest }) => void Object.assign(this.state.permissions, rest),
    tap: (step) => {
      if (this.top()?.kind !== "alert") return "there is no alert on screen";
      this.dismiss();
      if (step.action === "Settings") this.event({ event: "openURL", url: "app-settings:" });
      else this.fail("NO_PERMISSION", "Not have permission to use the camera.");
    },
    cancel: () => {
      if (this.top()?.kind !== "picker") return "there is no picker on screen";
      this.dismiss();
      const data = { errorMsg: "no image selected" };
      this.answer({ result: "error", status: "NO_PERMISSION", data });
    },
    capture: (step) => {
      if (this.top()?.kind !== "picker") return "there is no camera picker on screen";
      this.dismiss();
      const url = this.media.get(String(step.photo ?? step.movie)) ?? "";
      this.process(url, step.movie !== undefined);
    },
    pick: (step) => {
      this.dismiss();
      this.process(this.media.get(String(step.asset)) ?? "", false);
    },
    location: () => {
      if (!this.state.location.running) return;
      this.state.location.running = false;
      this.event({ event: "location", manager: "stop" });
      const type = "public.jpeg";
      this.event({ event: "imageDestination", type, properties: {}, bytes: 412_833 });
      this.deliver(this.held ?? "", false);
    },
    faults: (step) => void (this.state.faults = step.to as never),
    remove: (step) => {
      this.state.files = this.state.files.filter(({ name }) => name !== step.file);
    },
    addAsset: (step) => this.addAsset(this.media.get(String(step.file)) ?? "", false),
    removeAsset: (step) => {
      const at = this.assets.findIndex(({ id }) => id === step.asset);
      this.assets.splice(at, 1);
      this.state.library += 1;
    },
  };

  private top(): Screen | undefined {
    return this.state.screen.at(-1);
  }

  private begin(name: string, args: Json[]): void {
    const { options } = decodeOptions(args);
    this.current = { name, options };
    this.state.callbacks.push({
      name,
      command: "takePicture:",
      why: "The user has not finished with what is on the screen.",
    });
    const permission: Permission = options.source === 1 ? "camera" : "photoLibrary";
    const now = this.state.permissions[permission];
    if (now === "notDetermined") {
      this.state.prompts.push(permission);
      this.event({ event: "prompt", for: permission });
    } else {
      this.present(permission, now === "authorized");
    }
  }

  private present(permission: Permission, allowed: boolean): void {
    const options = this.current?.options;
    if (!options) return;
    const id = String(this.nextScreen++);
    const screen: Screen = allowed
      ? {
          kind: "picker",
          id,
          sourceType: options.source,
          mediaTypes:
            options.media === "video"
              ? ["public.movie"]
              : options.media === "all"
                ? ["public.image", "public.movie"]
                : ["public.image"],
          allowsEditing: options.allowsEditing,
          cameraDevice: options.front ? 1 : 0,
          cameraCaptureMode: options.media === "video" ? "video" : "photo",
        }
      : {
          kind: "alert",
          id,
          title: "",
          message: `The ${permission === "camera" ? "camera" : "photo library"} may not be used. Allow it in the settings?`,
          actions: ["Settings", "Cancel"],
        };
    this.state.screen.push(screen);
    this.event({ ...screen, event: "present", animated: true } as unknown as DeviceEvent);
  }

  private dismiss(): void {
    const screen = this.state.screen.pop();
    if (screen) this.event({ event: "dismiss", kind: screen.kind, animated: true });
  }

  private process(url: string, movie: boolean): void {
    const options = this.current?.options;
    if (!options) return;
    if (!movie) {
      this.trace("decode", 21.4, { width: 1080, height: 1440, bytes: 318_220 });
      if (options.correctOrientation) this.trace("draw", 12.8, { width: 1080, height: 1440 });
      if (options.targetSize) this.trace("draw", 34.1, { width: 480, height: 640 });
      this.trace(options.encoding === "png" ? "encodePNG" : "encodeJPEG", 9.6, { bytes: 84_211 });
    } else {
      this.trace("export", 640, { bytes: 1_204_800 });
    }
    if (options.usesGeolocation && !movie && options.source === 1) {
      this.held = url;
      this.state.location.running = true;
      this.event({ event: "location", manager: "start" });
      if (this.state.permissions.location === "notDetermined") {
        this.state.prompts.push("location");
        this.event({ event: "prompt", for: "location" });
      }
      return;
    }
    this.deliver(url, movie);
  }

  private deliver(url: string, movie: boolean): void {
    const name = `velmora_photo_2026112102${String(10 + this.state.files.length)}30.${movie ? "mp4" : "jpg"}`;
    this.trace("writeFile", 1.2, { bytes: 84_211, path: name });
    this.media.set(name, url);
    this.state.files.push({
      name,
      bytes: 84_211,
      modified: new Date().toISOString(),
      command: this.current?.name ?? null,
    });
    this.event({ event: "log", level: "debug", msg: "saveToPhotoAlbum false" });
    this.answer({ result: "success", data: { callbackURI: `${url}#/${name}` } });
  }

  private fail(status: string, message: string): void {
    this.answer({ result: "error", status, message });
  }

  private answer(answer: { [key: string]: Json }): void {
    const to = this.current?.name ?? "";
    this.state.callbacks = this.state.callbacks.filter(({ name }) => name !== to);
    this.event({ event: "answer", to, ...answer, keepCallback: false });
  }

  private addAsset(url: string, movie: boolean): void {
    const id = `ASSET-${this.assets.length + 1}`;
    this.media.set(id, url);
    this.assets.push({
      id,
      type: movie ? "video" : "photo",
      bytes: 84_000,
      width: 360,
      height: 480,
      format: movie ? "mp4" : "jpeg",
      created: new Date(2026, 4, this.assets.length + 1).toISOString(),
      duration: movie ? 12.4 : null,
    });
    this.state.library += 1;
  }

  private event(event: DeviceEvent): void {
    const { recorded: step } = this.state;
    this.listener?.onMessage({ type: "event", n: this.n++, at: performance.now(), step, event });
  }

  private trace(
    what: string,
    ms: number,
    more: { bytes?: number; width?: number; height?: number; path?: string },
  ): void {
    const { recorded: step } = this.state;
    this.listener?.onMessage({
      type: "trace",
      n: this.n++,
      at: performance.now(),
      step,
      what,
      ms,
      ...more,
    });
  }

  private sendState(): void {
    this.listener?.onMessage({ type: "state", ...structuredClone(this.state) });
  }
}
