import { describe, expect, it } from "vitest";
import { LocationDriver, pointOfTrack } from "../src/features/device/LocationDriver";
import type { LocationMode } from "../src/state/preferences";
import type { Fix } from "../src/core/messages";

const place: Fix = { latitude: 54, longitude: 8, altitude: 3 };

class Sky {
  readonly sent: Fix[] = [];
  readonly failures: string[] = [];
  time = 0;
  timer: { work: () => void; milliseconds: number } | null = null;
  found: Promise<Fix> = Promise.resolve({ latitude: 1, longitude: 2 });

  driver(mode: LocationMode): LocationDriver {
    return new LocationDriver(
      { mode, fix: place, delay: 10 },
      {
        send: (fix) => this.sent.push(fix),
        browserFix: () => this.found,
        failed: (why) => this.failures.push(why),
        now: () => this.time,
        setTimer: (work, milliseconds) => {
          this.timer = { work, milliseconds };
          return 1;
        },
        clearTimer: () => (this.timer = null),
      },
    );
  }
}

describe("LocationDriver", () => {
  it("gives its fix as soon as the device looks for one, once", () => {
    const sky = new Sky();
    const driver = sky.driver("fix");
    expect(sky.sent).toEqual([]);
    driver.setLooking(true);
    driver.setLooking(true);
    expect(sky.sent).toEqual([place]);
  });

  it("lets a late fix be waited for, and drops it when nobody looks any more", () => {
    const sky = new Sky();
    const driver = sky.driver("late");
    driver.setLooking(true);
    expect(sky.timer?.milliseconds).toBe(10_000);
    driver.setLooking(false);
    expect(sky.timer).toBeNull();
    driver.setLooking(true);
    sky.timer?.work();
    expect(sky.sent).toEqual([place]);
  });

  it("never finds itself where it is set to, until that changes", () => {
    const sky = new Sky();
    const driver = sky.driver("none");
    driver.setLooking(true);
    expect(sky.sent).toEqual([]);
    driver.configure({ mode: "fix", fix: place, delay: 0 });
    expect(sky.sent).toEqual([place]);
  });

  it("leaves alone what a replay left running, until the user or the page does something", () => {
    const fixed = { mode: "fix", fix: place, delay: 0 } as const;
    for (const something of [
      (driver: LocationDriver) => driver.configure(fixed),
      (driver: LocationDriver) => driver.managerStarted(),
      (driver: LocationDriver) => {
        driver.setLooking(false);
        driver.setLooking(true);
      },
    ]) {
      const sky = new Sky();
      const driver = sky.driver("fix");
      driver.setReplaying(true);
      driver.managerStarted();
      driver.setLooking(true);
      driver.setReplaying(false);
      expect(sky.sent).toEqual([]);
      something(driver);
      expect(sky.sent).toEqual([place]);
    }
  });

  it("does not bring a late fix into a replay", () => {
    const sky = new Sky();
    const driver = sky.driver("late");
    driver.setLooking(true);
    driver.setReplaying(true);
    expect(sky.timer).toBeNull();
  });

  it("walks on between two photos", () => {
    const sky = new Sky();
    const driver = sky.driver("track");
    for (const time of [0, 30_000]) {
      sky.time = time;
      driver.setLooking(true);
      driver.setLooking(false);
    }
    expect(sky.sent).toEqual([pointOfTrack(place, 0), pointOfTrack(place, 30)]);
    expect(sky.sent[0]).not.toEqual(sky.sent[1]);
  });

  it("hands on what the browser finds, or why it finds nothing", async () => {
    const sky = new Sky();
    const driver = sky.driver("browser");
    driver.setLooking(true);
    await sky.found;
    expect(sky.sent).toEqual([{ latitude: 1, longitude: 2 }]);
    driver.setLooking(false);
    driver.setLooking(true);
    driver.setLooking(false);
    await sky.found;
    expect(sky.sent).toHaveLength(1);
    sky.found = Promise.reject(new Error("denied"));
    driver.setLooking(true);
    await sky.found.catch(() => undefined);
    await Promise.resolve();
    expect(sky.failures).toEqual(["denied"]);
  });
});
