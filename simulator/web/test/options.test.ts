import { describe, expect, it } from "vitest";
import { decodeOptions, jpegQuality } from "../src/features/inspector/options";
import type { Json } from "../src/core/messages";

const row = (args: Json[], name: string) =>
  decodeOptions(args).rows.find((option) => option.name === name);

describe("decodeOptions", () => {
  it("gives the plug-in's defaults for no arguments at all", () => {
    const { options, rows } = decodeOptions([]);
    expect(options).toEqual({
      quality: 50,
      destination: "nativeUri",
      source: 1,
      targetSize: null,
      encoding: "jpeg",
      media: "picture",
      allowsEditing: false,
      correctOrientation: false,
      saveToPhotoAlbum: false,
      front: false,
      usesGeolocation: false,
    });
    expect(rows.some((option) => option.given || option.note)).toBe(false);
  });

  it("reads each position as its own kind", () => {
    const { options } = decodeOptions([
      150,
      0,
      2,
      640.5,
      480,
      1,
      2,
      true,
      1,
      true,
      "never read",
      true,
      true,
    ]);
    expect(options).toMatchObject({
      quality: 150,
      destination: "dataUrl",
      source: 2,
      targetSize: { width: 640.5, height: 480 },
      encoding: "png",
      media: "all",
      allowsEditing: true,
      correctOrientation: true,
      front: true,
      usesGeolocation: true,
    });
  });

  it.each<[string, Json[], string, string]>([
    ["a text for a number", ["50"], "quality", "50"],
    ["a fraction for a whole number", [50.5], "quality", "50"],
    ["a text for an encoding", [null, null, null, null, null, "1"], "encodingType", "JPEG"],
    ["a 2 for a boolean", [null, null, null, null, null, null, null, 2], "allowsEditing", "no"],
  ])("counts %s as not given, and says so", (_, args, name, value) => {
    expect(row(args, name)).toMatchObject({
      value,
      given: false,
      note: expect.stringContaining("not given"),
    });
  });

  it("leaves an option empty where a number is none of its values", () => {
    const { options } = decodeOptions([50, 7, 1, null, null, -1, 3]);
    expect(options).toMatchObject({ destination: null, encoding: null, media: null });
    expect(row([50, 7], "destinationType")).toMatchObject({ value: "empty", given: true });
  });

  it("takes a size only with both sides", () => {
    expect(decodeOptions([50, 0, 1, 640]).options.targetSize).toBeNull();
    expect(decodeOptions([50, 0, 1, null, 480]).options.targetSize).toBeNull();
    expect(row([50, 0, 1, 640], "targetSize")?.note).toMatch(/width and height/);
  });

  it("opens the camera for movies from the photo library, and not for those of the album", () => {
    expect(decodeOptions([50, 0, 0, null, null, 0, 1]).options.source).toBe(1);
    expect(decodeOptions([50, 0, 2, null, null, 0, 1]).options.source).toBe(2);
    expect(decodeOptions([50, 0, 0, null, null, 0, 2]).options.source).toBe(0);
  });
});

describe("jpegQuality", () => {
  it.each<[string, Json[], number]>([
    ["50 from the camera is the lowest", [50, 0, 1], 0],
    ["99 from the camera is the lowest", [99, 0, 1], 0],
    ["-5 is the lowest", [-5, 0, 1], 0],
    ["100 from the camera is the best", [100, 0, 1], 1],
    ["250 asks for more than there is", [250, 0, 1], 2],
    ["50 of an unchanged library picture is the best", [50, 0, 0], 1],
    [
      "50 of a library picture put upright is the lowest",
      [50, 0, 0, null, null, 0, 0, false, true],
      0,
    ],
    ["a size with one side of 0 counts as a size", [50, 0, 0, 0, 200], 0],
    ["a size of 0 by 0 does not", [50, 0, 0, 0, 0], 1],
  ])("%s", (_, args, value) => {
    expect(jpegQuality(decodeOptions(args).options).value).toBe(value);
  });
});
