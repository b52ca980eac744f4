import { isPageCommand } from "../../core/pageCommands";
import type { DeviceSetup, Step } from "../../core/messages";
import type { DeviceScript } from "./script";

export type ReplayPhase = "ready" | "playing" | "paused" | "finished" | "failed";

export interface ReplayState {
  phase: ReplayPhase;
  /** The step that comes next, from 0. */
  next: number;
  total: number;
  speed: number;
  why: string | null;
}

/** What a script is played on. */
export interface ReplayTarget {
  /** Makes the device anew, as the script wants it. */
  restart(device: DeviceSetup): Promise<void>;
  step(step: Step): Promise<void>;
  /** Shows what is about to happen; null: nothing. */
  cue(step: Step | null): void;
  setTimer(work: () => void, milliseconds: number): number;
  clearTimer(timer: number): void;
}

// How long a watcher needs to see what a step is about, in milliseconds.
const times: Record<string, number> = {
  capture: 1600,
  pick: 1400,
  cancel: 1100,
  tap: 1200,
  answer: 1200,
  location: 900,
  authorize: 900,
};
const commandTime = 900;
const shortTime = 150;

export const watchingTime = (step: Step): number =>
  step.do === "advance" ? 0 : (times[step.do] ?? (isPageCommand(step.do) ? commandTime : shortTime));

/** Plays a device script in front of somebody. */
export class ReplayPlayer {
  private phase: ReplayPhase = "ready";
  private next = 0;
  private speed = 1;
  private why: string | null = null;
  private started = false;
  private busy = false;
  /** Grows with each rewinding: what was under way before it counts no more. */
  private generation = 0;
  private timer: number | null = null;

  constructor(
    private readonly script: DeviceScript,
    private readonly target: ReplayTarget,
    private readonly onChange: (state: ReplayState) => void,
  ) {}

  get state(): ReplayState {
    const { phase, next, speed, why } = this;
    return { phase, next, total: this.script.steps.length, speed, why };
  }

  play(): void {
    if (this.phase === "playing" || this.phase === "failed") return;
    if (this.phase === "finished") this.rewind();
    this.become("playing");
    this.schedule();
  }

  pause(): void {
    if (this.phase !== "playing") return;
    this.stopTimer();
    this.target.cue(null);
    this.become("paused");
  }

  /** Plays one step and stops. */
  async stepOnce(): Promise<void> {
    if (this.busy || this.phase === "failed" || this.phase === "finished") return;
    this.pause();
    this.become("paused");
    await this.playNext();
  }

  setSpeed(speed: number): void {
    this.speed = speed;
    if (this.timer !== null) {
      this.stopTimer();
      this.schedule();
    }
    this.onChange(this.state);
  }

  /** Back to the beginning; the device is made anew when it plays again. */
  rewind(): void {
    this.stopTimer();
    this.target.cue(null);
    this.generation += 1;
    this.next = 0;
    this.started = false;
    this.why = null;
    this.become("ready");
  }

  private schedule(): void {
    if (this.busy || this.timer !== null || this.phase !== "playing") return;
    const step = this.script.steps[this.next];
    if (this.started && step) this.target.cue(step);
    const time = step && this.started ? watchingTime(step) / this.speed : 0;
    this.timer = this.target.setTimer(() => {
      this.timer = null;
      void this.playNext();
    }, time);
  }

  private async playNext(): Promise<void> {
    if (this.busy) return;
    this.busy = true;
    const { generation } = this;
    const watched = this.phase === "playing";
    try {
      if (!this.started) {
        await this.target.restart(this.script.device);
        if (generation !== this.generation) return;
        this.started = true;
        // Whoever watches gets to see the beginning first.
        if (watched) return;
      }
      const step = this.script.steps[this.next];
      if (step) {
        await this.target.step(step);
        if (generation !== this.generation) return;
        this.next += 1;
      }
      if (this.next >= this.script.steps.length) this.become("finished");
      else this.onChange(this.state);
    } catch (error) {
      if (generation !== this.generation) return;
      // Counted from 0, as in a script's `failed` event.
      const name = this.script.steps[this.next]?.do ?? "end";
      this.why = `Step ${this.next} (${name}): ${(error as Error).message}`;
      this.become("failed");
    } finally {
      this.busy = false;
      this.target.cue(null);
      this.schedule();
    }
  }

  private become(phase: ReplayPhase): void {
    this.phase = phase;
    this.onChange(this.state);
  }

  private stopTimer(): void {
    if (this.timer !== null) this.target.clearTimer(this.timer);
    this.timer = null;
  }
}
