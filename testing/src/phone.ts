import { readFile } from "node:fs/promises";
import { basename } from "node:path";
import { Connection } from "./connection.js";
import { PhoneError } from "./errors.js";
import type {
  Authorization,
  CommandMessage,
  DeviceEvent,
  Fault,
  Fix,
  HoldStage,
  Json,
  JsonObject,
  Media,
  Permission,
  PhoneState,
  Screen,
  ServerMessage,
  Step,
} from "./messages.js";
import type { PhoneSession, Simulator } from "./simulator.js";

/** What the page was answered. */
export interface Answer {
  /** The call, as `calls` lists it. */
  to: string;
  result: "success" | "error";
  /** Of an error. */
  status?: string;
  message?: string;
  /** The plug-in's own keys, for example `callbackURI`. */
  data?: Json;
  /** What the picture or movie is, where the answer gives one. */
  media?: Media;
  keepCallback: boolean;
}

/** A call of the page, or of a step that took its place. */
export interface Call {
  name: string;
  command: string;
  arguments: Json[];
  /** Why the plug-in was not called, where it was not. */
  refused?: { code: string; why: string };
}

/** A file by its path, or bytes with a name whose extension says what they are. */
export type MediaFile = string | { name: string; bytes: Uint8Array };

export interface CaptureOptions {
  /** For the edit step: x, y, width and height, in pixels of the upright picture. */
  crop?: [number, number, number, number];
}

export interface WaitOptions {
  /** In milliseconds. */
  timeout?: number;
}

/** Of files that the camera gives as movies; every other file is a photo. */
const movieExtensions = /\.(mp4|m4v|mov|webm|mkv|avi|ts|mts)$/i;

const cameraSource = 1;

/** Work that is held at a stage. */
export interface Hold {
  /** Resolves when a command has come to that stage. */
  reached(options?: WaitOptions): Promise<void>;
  /** Lets it go on. */
  continue(): Promise<void>;
  /** It never goes on. */
  drop(): Promise<void>;
}

interface Waiting {
  look(): boolean;
  fail(error: PhoneError): void;
}

/**
 * A phone of the simulator, driven by a test: what its user, its device and its surroundings do.
 * Each method waits until it can be done, for example until the camera is on screen, and rejects
 * with a sentence that says what is on screen instead.
 */
export class Phone {
  private connection: Connection | undefined;
  private current: PhoneState | null = null;
  private ended: PhoneError | null = null;
  private readonly waiting = new Set<Waiting>();
  private readonly eventList: DeviceEvent[] = [];
  private readonly answerList: Answer[] = [];
  private readonly callList: Call[] = [];
  private takenAnswers = 0;

  private constructor(
    private readonly simulator: Simulator,
    readonly session: PhoneSession,
    private timeout: number,
  ) {}

  /** Makes a phone of the simulator and connects to it. */
  static async open(simulator: Simulator, options: WaitOptions = {}): Promise<Phone> {
    const phone = new Phone(simulator, await simulator.makePhone(), options.timeout ?? 5000);
    phone.connection = await Connection.open(
      phone.session.socket,
      (message) => phone.receive(message),
      (error) => phone.end(error),
    );
    await phone.wait("the phone's first state", () => phone.current !== null);
    // The test plays the user, and nobody else.
    await phone.configure({ automation: "off" });
    return phone;
  }

  /** Every event since the phone began, in order. */
  get events(): readonly DeviceEvent[] {
    return this.eventList;
  }
  /** Every call since the phone began, in order. */
  get calls(): readonly Call[] {
    return this.callList;
  }
  /** Every answer since the phone began, in order. */
  get answers(): readonly Answer[] {
    return this.answerList;
  }
  /** The phone as it is now. */
  get state(): PhoneState {
    if (!this.current) throw this.ended ?? new PhoneError("the phone has no state yet", "closed");
    return this.current;
  }

  /** The next answer that no earlier call of this method gave. */
  async nextAnswer(options?: WaitOptions): Promise<Answer> {
    let answer: Answer | undefined;
    await this.wait(
      "an answer",
      () => (answer ??= this.answerList[this.takenAnswers]) !== undefined,
      options,
    );
    this.takenAnswers += 1;
    return answer as Answer;
  }

  /** Resolves when that is on screen. */
  async waitForCamera(options?: WaitOptions): Promise<void> {
    await this.wait("the camera", () => this.hasPicker(isCamera), options);
  }
  async waitForLibrary(options?: WaitOptions): Promise<void> {
    await this.wait("the photo library", () => this.hasPicker(isLibrary), options);
  }

  /** The user takes that photo or movie with the camera and uses it. */
  async capture(file: MediaFile | { seconds: number }, options: CaptureOptions = {}) {
    await this.waitForCamera();
    const crop = options.crop ? { crop: options.crop } : {};
    if (typeof file === "object" && "seconds" in file)
      return this.step({ do: "capture", movie: { seconds: file.seconds }, ...crop });
    const name = await this.upload(file);
    const key = movieExtensions.test(nameOf(file)) ? "movie" : "photo";
    await this.step({ do: "capture", [key]: name, ...crop });
  }

  /** The user picks an asset of the photo library: one that is there, by its identifier, or a file that is added. */
  async pick(
    asset: { id: string } | MediaFile,
    options: CaptureOptions = {},
  ): Promise<void> {
    const id = typeof asset === "object" && "id" in asset ? asset.id : await this.addAsset(asset);
    await this.waitForLibrary();
    await this.step({ do: "pick", asset: id, ...(options.crop ? { crop: options.crop } : {}) });
  }

  /** Adds a picture or movie to the photo library, and gives its identifier. */
  async addAsset(file: MediaFile, id = `test-${this.nextAsset++}/L0/001`): Promise<string> {
    await this.step({ do: "addAsset", id, file: await this.upload(file) });
    return id;
  }
  private nextAsset = 1;

  /** The user backs out of the picker. */
  async cancel(): Promise<void> {
    await this.wait("a picker", () => this.hasPicker(() => true));
    await this.step({ do: "cancel" });
  }

  /** The user taps an action of the alert. */
  async tap(action: string): Promise<void> {
    await this.wait(`an alert with “${action}”`, () =>
      this.state.screen.some((one) => one.kind === "alert" && one.actions.includes(action)),
    );
    await this.step({ do: "tap", action });
  }

  /** The user answers the system's prompt: "allow" or "deny"; for photos also "limited" and so on. */
  async answerPrompt(prompt: Permission, answer: string): Promise<void> {
    await this.wait(`the prompt for ${prompt}`, () => this.state.prompts.includes(prompt));
    await this.step({ do: "answer", prompt, with: answer });
  }

  /** The user changes permissions in the settings; those that are left out stay. */
  async permissions(changes: Partial<Record<Permission, Authorization>>): Promise<void> {
    await this.step({ do: "authorize", ...changes });
  }

  /** Where the device is. A location manager that runs, or is about to, gets that fix; null: one without a fix. */
  async location(fix: Fix | null): Promise<void> {
    await this.wait("a running location manager", () => this.state.location.running);
    await this.step({ do: "location", to: fix as unknown as Json });
  }

  /** Faults by their place; null takes the one of that place away, and the others stay. */
  async faults(changes: Record<string, Fault | null>): Promise<void> {
    const faults = Object.fromEntries(
      Object.entries(changes).map(([at, fault]) => [at, fault ? { at, ...fault } : null]),
    );
    await this.configure({ faults: faults as JsonObject });
  }

  /** The next command that comes to this stage is held there. */
  async hold(at: HoldStage, options: { seconds?: number } = {}): Promise<Hold> {
    const earlier = this.countHeld(at);
    await this.step({ do: "hold", at, ...options });
    return {
      reached: (waiting) =>
        this.wait(`a command at ${at}`, () => this.countHeld(at) > earlier, waiting),
      continue: () => this.step({ do: "continue" }),
      drop: () => this.step({ do: "drop" }),
    };
  }

  /** The system ends the app; its page is gone. */
  kill(): Promise<void> {
    return this.step({ do: "kill" });
  }
  /** The user starts the app again. */
  launch(): Promise<void> {
    return this.step({ do: "launch" });
  }

  /** Changes the device; see `configure` in the protocol. */
  async configure(changes: JsonObject): Promise<void> {
    await this.connected().request({ type: "configure", changes });
  }

  /** Plays a step of a device script as it stands, without waiting for anything before it. */
  async step(step: Step): Promise<void> {
    try {
      await this.connected().request({ type: "step", step });
    } catch (error) {
      if (!(error instanceof PhoneError)) throw error;
      throw new PhoneError(`${step.do}: ${error.message}`, error.code);
    }
  }

  /** Ends the device and begins a new one with that `device` part. */
  async restart(device: JsonObject = {}): Promise<void> {
    await this.connected().request({ type: "restart", device, keepLibrary: false });
  }

  /** Gives a file to the phone; what it returns names that in steps. */
  async upload(file: MediaFile): Promise<string> {
    const name = nameOf(file);
    const bytes = typeof file === "string" ? await readFile(file) : file.bytes;
    return this.simulator.upload(this.session.session, bytes, name);
  }

  /** Resolves when the condition holds; it is asked after each message of the phone. */
  wait(what: string, condition: () => boolean, options: WaitOptions = {}): Promise<void> {
    const timeout = options.timeout ?? this.timeout;
    return new Promise((resolve, reject) => {
      const finish = (settle: () => void) => {
        clearTimeout(timer);
        this.waiting.delete(entry);
        settle();
      };
      const fail = (error: PhoneError) => finish(() => reject(error));
      const entry: Waiting = {
        look: () => {
          if (!condition()) return false;
          finish(resolve);
          return true;
        },
        fail,
      };
      const timer = setTimeout(
        () =>
          fail(new PhoneError(`${what} did not come within ${timeout} ms; ${this.seen()}`, "timeout")),
        timeout,
      );
      if (this.ended) return fail(this.ended);
      this.waiting.add(entry);
      entry.look();
    });
  }

  /** Closes the connection; the phone ends with its simulator. */
  close(): void {
    this.connection?.close();
  }

  /** What is on screen and which calls are open, for messages. */
  seen(): string {
    const { screen = [], prompts = [], callbacks = [], broken = null } = this.current ?? {};
    const shown = [
      ...screen.map(describe),
      ...prompts.map((permission) => `the system's prompt for ${permission}`),
    ];
    const open = callbacks.map(({ name, command, why }) => `${name} (${command}): ${why}`);
    return [
      `on screen: ${shown.join(", ") || "the page alone"}`,
      `open calls: ${open.join("; ") || "none"}`,
      ...(broken === null ? [] : [`the device does nothing any more: ${broken}`]),
    ].join("; ");
  }

  private connected(): Connection {
    if (!this.connection) throw new PhoneError("the phone is not connected", "closed");
    return this.connection;
  }

  private hasPicker(matches: (sourceType: number) => boolean): boolean {
    return this.state.screen.some((one) => one.kind === "picker" && matches(one.sourceType));
  }

  private countHeld(at: HoldStage): number {
    return this.eventList.filter((event) => event.event === "held" && event.at === at).length;
  }

  private receive(message: ServerMessage): void {
    switch (message.type) {
      case "hello":
        for (const one of message.messages)
          if (one.type === "event" || one.type === "command") this.receive(one as ServerMessage);
        break;
      case "restarted":
        this.eventList.length = 0;
        this.answerList.length = 0;
        this.callList.length = 0;
        this.takenAnswers = 0;
        break;
      case "command":
        this.callList.push(callOf(message));
        break;
      case "event":
        this.eventList.push(message.event);
        if (message.event.event === "answer") this.answerList.push(answerOf(message.event));
        break;
      case "state": {
        const { type: _, ...state } = message;
        this.current = state;
        break;
      }
      default:
        return;
    }
    for (const waiting of [...this.waiting]) waiting.look();
  }

  private end(error: PhoneError): void {
    this.ended = error;
    for (const waiting of [...this.waiting]) waiting.fail(error);
  }
}

const isCamera = (sourceType: number) => sourceType === cameraSource;
const isLibrary = (sourceType: number) => sourceType !== cameraSource;

const nameOf = (file: MediaFile) => (typeof file === "string" ? basename(file) : file.name);

const callOf = ({ type: _, n: __, ...call }: CommandMessage): Call => call;

const answerOf = ({ event: _, ...answer }: DeviceEvent): Answer => answer as unknown as Answer;

const describe = (screen: Screen): string =>
  screen.kind === "alert"
    ? `the alert “${screen.title}” (${screen.actions.join(", ")})`
    : isCamera(screen.sourceType)
      ? "the camera"
      : "the photo library";
