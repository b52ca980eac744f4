import { describe, expect, it } from "vitest";
import {
  coveringPart,
  cropKey,
  pan,
  wholeCrop,
  zoom,
  zoomOf,
} from "../src/features/phone/media/crop";

const picture = { width: 400, height: 300 };

describe("the edit step's square", () => {
  it("begins as the largest one, in the middle", () => {
    expect(cropKey(picture, wholeCrop(picture))).toEqual([50, 0, 300, 300]);
  });

  it("moves the picture with the finger, up to its edges", () => {
    const begun = wholeCrop(picture);
    expect(pan(picture, begun, 0.1, 0)).toMatchObject({ x: 20, y: 0 });
    expect(pan(picture, begun, -1, 1)).toMatchObject({ x: 100, y: 0 });
  });

  it("keeps the point under the finger when it zooms", () => {
    const closer = zoom(picture, wholeCrop(picture), 2, 1, 1);
    expect(closer).toEqual({ side: 150, x: 200, y: 150 });
    expect(zoomOf(picture, closer)).toBe(2);
  });

  it("never shows what is not there, however it is zoomed and moved", () => {
    let crop = wholeCrop(picture);
    for (const [factor, dx, dy] of [
      [20, 3, 3],
      [0.01, -5, 2],
      [3, 0.2, -9],
      [0.5, 9, 9],
    ] as const) {
      crop = pan(picture, zoom(picture, crop, factor, 0.1, 0.9), dx, dy);
      const [x, y, width, height] = cropKey(picture, crop);
      expect(Math.min(x, y)).toBeGreaterThanOrEqual(0);
      expect(x + width).toBeLessThanOrEqual(picture.width);
      expect(y + height).toBeLessThanOrEqual(picture.height);
      expect(width).toBe(height);
    }
  });

  it("holds for a picture of one pixel", () => {
    const dot = { width: 1, height: 1 };
    expect(cropKey(dot, zoom(dot, wholeCrop(dot), 8))).toEqual([0, 0, 1, 1]);
  });
});

describe("coveringPart", () => {
  it("is what a frame of another shape shows", () => {
    expect(coveringPart({ width: 640, height: 480 }, 3 / 4)).toEqual({
      x: 140,
      y: 0,
      width: 360,
      height: 480,
    });
    expect(coveringPart({ width: 300, height: 400 }, 4 / 3)).toEqual({
      x: 0,
      y: 87.5,
      width: 300,
      height: 225,
    });
  });
});
