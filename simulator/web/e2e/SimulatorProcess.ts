import { type ChildProcess, spawn } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";

function programPath(): string {
  const path = process.env.VECAMERA_PROGRAM;
  if (!path) throw new Error("Set VECAMERA_PROGRAM to the path of the vecamera program.");
  return path;
}

export const program = programPath();

const undecided = {
  authorization: {
    camera: "notDetermined",
    photoLibrary: "notDetermined",
    location: "notDetermined",
  },
};

/** A running `vecamera serve`. */
export class SimulatorProcess {
  private constructor(
    private readonly process: ChildProcess,
    private readonly folder: string,
    readonly address: string,
  ) {}

  /** With that folder or server as the app, or the demo app. */
  static async start(app?: string): Promise<SimulatorProcess> {
    const folder = mkdtempSync(join(tmpdir(), "vecamera-e2e-"));
    const file = join(folder, "device.json");
    writeFileSync(file, JSON.stringify({ device: undecided }));
    const options = ["--port", "0", "--app-port", "0", "--device", file];
    if (app !== undefined) options.push("--app", app);
    const child = spawn(program, ["serve", ...options], { stdio: ["ignore", "pipe", "inherit"] });
    const lines = createInterface({ input: child.stdout });
    const address = await new Promise<string>((resolve, reject) => {
      lines.once("line", resolve);
      child.once("exit", (code) => reject(new Error(`vecamera serve ended with ${code}`)));
    });
    return new SimulatorProcess(child, folder, address);
  }

  async stop(): Promise<void> {
    const ended = new Promise((resolve) => this.process.once("exit", resolve));
    this.process.kill("SIGINT");
    await ended;
    rmSync(this.folder, { recursive: true, force: true });
  }
}
