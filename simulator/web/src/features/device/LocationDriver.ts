import type { Fix } from "../../core/messages";
import type { LocationSettings } from "../../state/preferences";

export interface LocationEnvironment {
  send(fix: Fix): void;
  /** Where the browser is. */
  browserFix(): Promise<Fix>;
  failed(why: string): void;
  /** Milliseconds of a monotonic clock. */
  now(): number;
  setTimer(work: () => void, milliseconds: number): number;
  clearTimer(timer: number): void;
}

const roundsPerMinute = 0.5;
/** In degrees of latitude. */
const trackRadius = 0.006;
const trackIntervalMs = 1000;

/** A point of a walk around the fix, after so many seconds. */
export function pointOfTrack(around: Fix, seconds: number): Fix {
  const angle = (seconds / 60) * roundsPerMinute * 2 * Math.PI;
  const widening = Math.max(0.05, Math.cos((around.latitude * Math.PI) / 180));
  const rounded = (value: number) => Math.round(value * 1e6) / 1e6;
  return {
    ...around,
    latitude: rounded(around.latitude + trackRadius * Math.sin(angle)),
    longitude: rounded(around.longitude + (trackRadius / widening) * Math.cos(angle)),
  };
}

/** Gives the device its fixes, as soon as it looks for one and may have it. */
export class LocationDriver {
  private looking = false;
  private replaying = false;
  private timer: number | null = null;
  /** Grows with each end: a fix that was asked for before it counts no more. */
  private generation = 0;
  private readonly startedAt: number;

  constructor(
    private settings: LocationSettings,
    private readonly environment: LocationEnvironment,
  ) {
    this.startedAt = environment.now();
  }

  configure(settings: LocationSettings): void {
    this.settings = settings;
    if (this.looking) this.begin();
  }

  /** Whether a location manager is running that the user lets know where the device is. */
  setLooking(looking: boolean): void {
    if (looking === this.looking) return;
    this.looking = looking;
    if (looking) this.begin();
    else this.end();
  }

  /** A manager was started, maybe beside one that nobody gave a fix. */
  managerStarted(): void {
    if (this.looking) this.begin();
  }

  /**
   * While a replay plays the user, the fixes are the script's. A manager that it leaves running gets
   * none after its end either, until the settings change or another manager is started.
   */
  setReplaying(replaying: boolean): void {
    this.replaying = replaying;
    if (replaying) this.end();
  }

  end(): void {
    this.generation += 1;
    if (this.timer !== null) this.environment.clearTimer(this.timer);
    this.timer = null;
  }

  private begin(): void {
    this.end();
    if (this.replaying) return;
    const { mode, fix, delay } = this.settings;
    if (mode === "fix") this.environment.send(fix);
    if (mode === "late") this.later(() => this.environment.send(fix), delay * 1000);
    if (mode === "track") this.walk();
    if (mode === "browser") void this.ask();
  }

  private walk(): void {
    const seconds = (this.environment.now() - this.startedAt) / 1000;
    this.environment.send(pointOfTrack(this.settings.fix, seconds));
    this.later(() => this.walk(), trackIntervalMs);
  }

  private async ask(): Promise<void> {
    const generation = this.generation;
    try {
      const fix = await this.environment.browserFix();
      if (generation === this.generation) this.environment.send(fix);
    } catch (error) {
      if (generation === this.generation) this.environment.failed((error as Error).message);
    }
  }

  private later(work: () => void, milliseconds: number): void {
    this.timer = this.environment.setTimer(() => {
      this.timer = null;
      work();
    }, milliseconds);
  }
}

/** The browser's own location as a fix. */
export function browserFix(): Promise<Fix> {
  return new Promise((resolve, reject) => {
    navigator.geolocation.getCurrentPosition(
      ({ coords, timestamp }) =>
        resolve({
          latitude: coords.latitude,
          longitude: coords.longitude,
          altitude: coords.altitude ?? "NaN",
          timestamp: new Date(timestamp).toISOString(),
        }),
      (error) => reject(new Error(`The browser does not give its location: ${error.message}`)),
      { timeout: 15_000 },
    );
  });
}
