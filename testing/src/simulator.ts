import { type ChildProcess, spawn } from "node:child_process";
import { once } from "node:events";
import { createInterface } from "node:readline";
import { PhoneError } from "./errors.js";

export interface SimulatorOptions {
  /** A folder with an `index.html`, or the address of a development server; without it, the demo app. */
  app?: string;
  /** The `vecamera` program; without it, `VECAMERA_PROGRAM` of the environment, or `vecamera`. */
  program?: string;
  /** A device script whose `device` part every phone begins with. */
  device?: string;
  /** Further arguments of `vecamera serve`. */
  args?: readonly string[];
  /** How long it may take to start, in milliseconds. */
  timeout?: number;
}

/** A phone of the simulator: a device of its own, and what shows it in a browser. */
export interface PhoneSession {
  session: string;
  /** What a browser opens to show this phone. */
  page: string;
  /** The address of the WebSocket of a driver. */
  socket: string;
  /** The origin of the app's pages. */
  appOrigin: string;
}

const defaultTimeout = 30_000;
/** Of the program's messages, what an error quotes. */
const maxQuotedLines = 20;

/** A running `vecamera serve`. */
export class Simulator {
  private constructor(
    private readonly process: ChildProcess,
    /** What a browser opens. It holds the secret of this run, and ends in a slash. */
    readonly address: string,
  ) {}

  /**
   * Starts the program and resolves as soon as browsers can come. Rejects with what the program
   * said where it does not start.
   */
  static async start(options: SimulatorOptions = {}): Promise<Simulator> {
    const program = options.program ?? process.env.VECAMERA_PROGRAM ?? "vecamera";
    const args = ["serve", "--port", "0", "--app-port", "0"];
    if (options.app !== undefined) args.push("--app", options.app);
    if (options.device !== undefined) args.push("--device", options.device);
    args.push(...(options.args ?? []));
    const child = spawn(program, args, { stdio: ["ignore", "pipe", "pipe"] });
    const messages: string[] = [];
    createInterface({ input: child.stderr }).on("line", (line) => {
      messages.push(line);
      if (messages.length > maxQuotedLines) messages.shift();
    });
    const quoted = () => (messages.length > 0 ? `:\n${messages.join("\n")}` : ".");

    let timer: NodeJS.Timeout | undefined;
    try {
      const address = await new Promise<string>((resolve, reject) => {
        const fail = (why: string) => reject(new PhoneError(why, "start"));
        timer = setTimeout(
          () => fail(`${program} serve has printed no address in time${quoted()}`),
          options.timeout ?? defaultTimeout,
        );
        createInterface({ input: child.stdout }).once("line", resolve);
        child.once("error", (error) =>
          fail(
            `${program} cannot be started (${error.message}). Install vecamera, or set ` +
              "VECAMERA_PROGRAM to the path of the program.",
          ),
        );
        // Its streams are closed then, so that its last words are there.
        child.once("close", (code) => fail(`${program} serve ended with ${code}${quoted()}`));
      });
      return new Simulator(child, address);
    } catch (error) {
      child.kill("SIGKILL");
      throw error;
    } finally {
      clearTimeout(timer);
    }
  }

  /** Makes a phone, with a device, a photo library and a recording of its own. */
  async makePhone(): Promise<PhoneSession> {
    const response = await fetch(new URL("session", this.address), { method: "POST" });
    const body = (await response.json()) as Record<string, string>;
    if (!response.ok)
      throw new PhoneError(body.error ?? `the server answered ${response.status}`, body.code ?? "http");
    const { session, appOrigin } = body as { session: string; appOrigin: string };
    const page = new URL(this.address);
    page.searchParams.set("session", session);
    const socket = new URL("ws", this.address);
    socket.protocol = "ws:";
    socket.searchParams.set("session", session);
    socket.searchParams.set("role", "driver");
    return { session, page: page.href, socket: socket.href, appOrigin };
  }

  /** Makes the bytes a file of the phone; what it returns names that in steps. */
  async upload(session: string, bytes: Uint8Array, name: string): Promise<string> {
    const address = new URL(`session/${session}/media`, this.address);
    address.searchParams.set("name", name);
    const response = await fetch(address, { method: "POST", body: new Blob([bytes as BlobPart]) });
    const body = (await response.json()) as { file?: string; error?: string; code?: string };
    if (!response.ok || body.file === undefined)
      throw new PhoneError(`${name}: ${body.error ?? response.statusText}`, body.code ?? "http");
    return body.file;
  }

  /** Ends the program, and every phone with it. Further calls do nothing. */
  async stop(): Promise<void> {
    if (this.process.exitCode !== null || this.process.signalCode !== null) return;
    const ended = once(this.process, "exit");
    this.process.kill("SIGINT");
    await ended;
  }
}
