import { describe, expect, it } from "vitest";
import { shortened } from "../src/core/json";
import { assetNamed, pictureOf } from "../src/features/inspector/answer";
import { commandsOf } from "../src/features/inspector/commands";
import { whatWouldClose } from "../src/features/inspector/openCallbacks";
import { notesOf } from "../src/features/inspector/notes";
import type { Entry } from "../src/core/model";
import type { AnswerEvent, DeviceEvent, Json, LibraryAsset, Screen } from "../src/core/messages";
import { dismissed, picker, stateOf, Stream, success } from "./support";

const rulesOf = (entries: Entry[], name = "a") =>
  commandsOf(entries)
    .filter((row) => row.name === name)
    .flatMap(notesOf)
    .map((note) => note.rule);

/** A command from its arguments, with what came of it. */
const story = (args: Json[], entriesOf: (stream: Stream) => Entry[]): Entry[] => {
  const stream = new Stream();
  return [stream.command("a", args), ...entriesOf(stream)];
};

const photo = (stream: Stream, ...rest: Entry[]): Entry[] => [
  stream.event(picker()),
  stream.event(dismissed),
  stream.trace("encodeJPEG", 5),
  ...rest,
];

describe("commandsOf", () => {
  it("gives each command what happened on its behalf", () => {
    const stream = new Stream();
    const rows = commandsOf([
      stream.command("a"),
      stream.event(picker()),
      stream.command("tidy", [], "cleanup"),
      stream.trace("removeFile", 1),
      stream.event({ event: "answer", to: "tidy", result: "success" }),
      stream.event(dismissed),
      stream.event(success("a")),
    ]);
    expect(rows.map((row) => [row.name, row.messages.length, row.answer?.result])).toEqual([
      ["a", 3, "success"],
      ["tidy", 2, "success"],
    ]);
  });

  it("shows which command took an open one's place, and whose an answer is", () => {
    const stream = new Stream();
    const rows = commandsOf([
      stream.command("a"),
      stream.event(picker()),
      stream.command("b"),
      stream.event(success("b", "file:///x")),
      stream.command("c"),
    ]);
    expect(rows.map((row) => row.replacedBy)).toEqual(["b", null, null]);
    expect(rows[1]?.answer?.data).toEqual({ callbackURI: "file:///x" });
  });

  it("lets a refused command take nobody's place, and nothing that happens", () => {
    const stream = new Stream();
    const refused = (name: string, command?: string) => ({
      ...stream.command(name, [], command),
      refused: "the simulator is not connected",
    });
    const rows = commandsOf([
      stream.command("a"),
      stream.event(picker()),
      refused("b"),
      refused("tidy", "cleanup"),
      stream.event(dismissed),
      stream.event(success("a")),
    ]);
    expect(rows.map((row) => [row.name, row.messages.length, row.replacedBy, row.refused])).toEqual(
      [
        ["a", 3, null, null],
        ["b", 0, null, "the simulator is not connected"],
        ["tidy", 0, null, "the simulator is not connected"],
      ],
    );
  });

  it("makes a row for an answer to a command of which nothing is known", () => {
    const [row] = commandsOf([new Stream().event(success("elsewhere"))]);
    expect(row).toMatchObject({ name: "elsewhere", arguments: null, decoded: null });
  });
});

describe("the timeline", () => {
  it("lists the steps of a photo with the time each took", () => {
    const stream = new Stream(1000);
    const [row] = commandsOf([
      stream.command("a", [100, 1, 1, 640, 480, 0, 0, false, true, true]),
      stream.event({ event: "prompt", for: "camera" }),
      stream.later(2000).event(picker()),
      stream.later(3000).event(dismissed),
      stream.trace("decode", 20, { width: 1200, height: 1600, bytes: 5000 }),
      stream.trace("draw", 10),
      stream.trace("draw", 8),
      stream.trace("encodeJPEG", 6, { bytes: 900 }),
      stream.trace("writeFile", 1, { path: "a.jpg" }),
      stream.event({ event: "log", level: "debug", msg: "saveToPhotoAlbum true" }),
      stream.event(success("a", "file:///a.jpg")),
      stream.trace("encodePNG", 30),
      stream.trace("performChanges", 4),
      stream.event({ event: "saved", id: "1", type: "photo", bytes: 7000, format: "png" }),
    ]);
    expect(row?.timeline.map(({ stage, ms, waits }) => [stage, ms, waits])).toEqual([
      ["permission", 2000, true],
      ["picker", 3000, true],
      ["retrieve", 20, false],
      ["rotate", 10, false],
      ["scale", 8, false],
      ["encode", 6, false],
      ["deliver", 1, false],
      ["answer", null, false],
      ["album", 30, false],
      ["album", 4, false],
      ["album", null, false],
    ]);
    expect(row?.timeline[2]).toMatchObject({ at: 6000, width: 1200, height: 1600, bytes: 5000 });
  });

  it("lists the retrieval of a picture that needed no decoding", () => {
    const stream = new Stream();
    const stagesOf = (...traces: string[]) =>
      commandsOf([
        stream.command("a", [100, 1, 1]),
        stream.event(dismissed),
        ...traces.map((what) => stream.trace(what, 1)),
      ])[0]?.timeline.map(({ stage }) => stage);
    expect(stagesOf("draw", "encodeJPEG")).toEqual(["retrieve", "scale", "encode"]);
    expect(stagesOf("decode", "encodeJPEG")).toEqual(["retrieve", "encode"]);
    expect(stagesOf("export")).toEqual(["encode"]);
  });

  it("shows what is still waited for", () => {
    const stream = new Stream();
    const [row] = commandsOf([
      stream.command("a", [100, 1, 1]),
      ...photo(stream),
      stream.event({ event: "location", manager: "start" }),
    ]);
    expect(row?.timeline.at(-1)).toMatchObject({ stage: "location", ms: null, waits: true });
  });
});

describe("notesOf", () => {
  const bytes = { bytes: btoa("/9j/") };
  const log = (msg: string): DeviceEvent => ({ event: "log", level: "debug", msg });
  const saved: DeviceEvent = { event: "saved", id: "1", type: "photo", bytes: 9, format: "png" };
  const native = "assets-library://asset/asset.JPG?id=1/L0/001%26ext=JPG";

  it.each<[string, string[], Entry[]]>([
    [
      "quality 50 of the camera",
      ["lowest quality"],
      story([50, 0, 1], (s) => photo(s, s.event(success("a", "data:x")))),
    ],
    [
      "quality 100 of the camera",
      [],
      story([100, 0, 1], (s) => photo(s, s.event(success("a", "data:x")))),
    ],
    [
      "quality 50 of the library",
      ["quality not used"],
      story([50, 0, 0], (s) => [
        s.event(picker(0)),
        s.event(dismissed),
        s.trace("encodeJPEG", 1),
        s.event(success("a", "data:x")),
      ]),
    ],
    [
      "movies from the library",
      ["videos open the camera"],
      story([100, 1, 0, null, null, 0, 1], (s) => [s.event(picker())]),
    ],
    [
      "a direction for a movie",
      ["direction of movies"],
      story([100, 1, 1, null, null, 0, 1, false, false, false, null, true], (s) => [
        s.event(picker()),
      ]),
    ],
    [
      "argument 10",
      ["position 10"],
      story([100, 0, 1, null, null, 0, 0, false, false, false, {}], (s) => [s.event(picker())]),
    ],
    [
      "all media of the camera",
      ["camera takes no mix"],
      story([100, 0, 1, null, null, 0, 2], (s) => [
        s.event({
          event: "answer",
          to: "a",
          result: "error",
          status: "INVALID_PARAM",
          message: "Not supported mediaType",
        }),
      ]),
    ],
    [
      "an unknown destination",
      ["empty option"],
      story([100, 9, 1], (s) => photo(s, s.event(success("a")))),
    ],
    [
      "location in a data URL",
      ["metadata dropped", "base64 as bytes"],
      story([100, 0, 1, null, null, 0, 0, false, false, false, null, false, true], (s) =>
        photo(
          s,
          s.event({ event: "imageDestination", type: "public.jpeg", bytes: 9 }),
          s.event(success("a", bytes)),
        ),
      ),
    ],
    [
      "location in a file",
      ["metadata dropped", "url value", "twelve hours"],
      story([100, 1, 1, null, null, 0, 0, false, false, false, null, false, true], (s) =>
        photo(
          s,
          s.event({ event: "imageDestination", type: "public.jpeg", bytes: 9 }),
          s.event(success("a", { url: "file:///tmp/velmora_photo_20240501020304.jpg" })),
        ),
      ),
    ],
    [
      "location of a PNG",
      ["png and location"],
      story([100, 1, 1, null, null, 1, 0, false, false, false, null, false, true], (s) => [
        s.event(picker()),
        s.event(dismissed),
        s.trace("encodePNG", 4),
      ]),
    ],
    [
      "location with a native URI",
      ["native and location"],
      story([100, 2, 1, null, null, 0, 0, false, false, false, null, false, true], (s) => photo(s)),
    ],
    [
      "a native URI saved to the album",
      ["native is png", "native address", "saved twice"],
      story([100, 2, 1, null, null, 0, 0, false, false, true], (s) => [
        s.event(picker()),
        s.event(dismissed),
        s.event(saved),
        s.event(success("a", native)),
        s.event(saved),
      ]),
    ],
    [
      "a native URI of the library",
      ["native ignores changes", "native is not saved again"],
      story([100, 2, 0, 64, 64, 0, 0, false, false, true], (s) => [
        s.event(picker(0)),
        s.event(dismissed),
        s.event(log("saveToPhotoAlbum false")),
        s.event(success("a", "assets-library://asset/asset.JPG?id=1&ext=JPG")),
      ]),
    ],
    [
      "the album",
      ["album is png"],
      story([100, 0, 1, null, null, 0, 0, false, false, true], (s) =>
        photo(s, s.event(success("a", "data:x")), s.event(saved)),
      ),
    ],
    [
      "backing out",
      ["cancel"],
      story([100, 0, 1], (s) => [
        s.event(picker()),
        s.event(dismissed),
        s.event({
          event: "answer",
          to: "a",
          result: "error",
          status: "NO_PERMISSION",
          data: { errorMsg: "no image selected" },
        }),
      ]),
    ],
    [
      "the settings from the library's alert",
      ["text of the camera"],
      story([100, 0, 0], (s) => [
        s.event({ event: "openURL", url: "app-settings:" }),
        s.event({
          event: "answer",
          to: "a",
          result: "error",
          status: "NO_PERMISSION",
          message: "Not have permission to use the camera.",
        }),
      ]),
    ],
    [
      "the settings from the camera's alert",
      ["settings without answer"],
      story([100, 0, 1], (s) => [s.event({ event: "openURL", url: "app-settings:" })]),
    ],
    [
      "a command that was replaced",
      ["replaced"],
      story([100, 0, 1], (s) => [s.event(picker()), s.command("b")]),
    ],
  ])("has its note for %s", (_, rules, entries) => {
    expect(rulesOf(entries)).toEqual(rules);
  });

  it("has a note for a cleanup that stopped, and none for one that did not", () => {
    const cleanup = (result: string): Entry[] => {
      const stream = new Stream();
      return [
        stream.command("a", [], "cleanup"),
        stream.event({ event: "answer", to: "a", result, status: "UNABLE_FILE_REMOVE" }),
      ];
    };
    expect(rulesOf(cleanup("error"))).toEqual(["cleanup stops"]);
    expect(rulesOf(cleanup("success"))).toEqual([]);
  });
});

describe("whatWouldClose", () => {
  const first = { name: "a", command: "takePicture:", why: "" };
  const alert: Screen = {
    kind: "alert",
    id: 1,
    title: "",
    message: "",
    actions: ["Settings", "Cancel"],
  };

  it.each([
    ["a prompt", { prompts: ["camera" as const] }, /system prompt/],
    ["an alert", { screen: [alert] }, /“Settings” or “Cancel”/],
    ["a running location manager", { location: { running: true } }, /location fix/],
    ["a taken file name", { waiting: "a name is taken" }, /file name/],
    ["nothing", {}, /Nothing that the user can do/],
  ])("knows what %s wants", (_, changes, text) => {
    expect(whatWouldClose(first, stateOf({ callbacks: [first], ...changes }), false)).toMatch(text);
  });

  it("knows that a replaced command gets nothing", () => {
    const state = stateOf({ callbacks: [first], prompts: ["camera"] });
    expect(whatWouldClose(first, state, true)).toMatch(/later command/);
  });

  it("knows that a cleanup waits for nothing on the screen", () => {
    const cleanup = { name: "tidy", command: "cleanup:", why: "" };
    const state = stateOf({ callbacks: [cleanup], prompts: ["camera"] });
    expect(whatWouldClose(cleanup, state, false)).toBe("The end of the cleaning.");
  });
});

describe("pictureOf", () => {
  const of = (callbackURI: Json): ReturnType<typeof pictureOf> =>
    pictureOf(success("a", callbackURI) as unknown as AnswerEvent);

  it("finds the picture in every form of answer", () => {
    expect(of("data:image/png;base64,AAAA")).toMatchObject({ bytes: 3, movie: false });
    expect(of("data:video/mp4;base64,AAAA")).toMatchObject({ movie: true });
    expect(of("http://127.0.0.1:2/.vecamera/files/t/velmora%20a.mp4")).toMatchObject({
      file: "velmora a.mp4",
      movie: true,
    });
    expect(of("assets-library://asset/asset.JPG?id=AB/L0/001%26ext=JPG")).toMatchObject({
      asset: "AB/L0/001",
    });
    expect(
      of("velmora-file:///assets-library://asset/asset.JPG%3Fid=AB/L0/001%26ext=JPG"),
    ).toMatchObject({ asset: "AB/L0/001" });
    expect(of({ url: "file:///tmp/x.jpg" })).toMatchObject({ file: "x.jpg" });
    expect(of({ bytes: btoa("/9j/AA==") })).toMatchObject({
      url: "data:image/jpeg;base64,/9j/AA==",
      bytes: 4,
    });
  });

  it.each([
    ["AB/L0/001", "AB/L0/001"],
    ["AB", "AB/L0/001"],
    ["A", undefined],
  ])("finds the asset that an address calls %s", (name, id) => {
    const assets = ["ABC/L0/001", "AB/L0/001"].map((one) => ({ id: one }) as LibraryAsset);
    expect(assetNamed(assets, name)?.id).toBe(id);
  });

  it("finds none in a failure or an empty success", () => {
    expect(pictureOf({ event: "answer", to: "a", result: "error", message: "no" })).toBeNull();
    expect(pictureOf(success("a") as unknown as AnswerEvent)).toBeNull();
  });

  it("cuts only long texts", () => {
    const cut = shortened({ short: "x", long: "y".repeat(1000), list: [1, null] });
    expect(cut).toMatchObject({
      short: "x",
      list: [1, null],
      long: expect.stringContaining("1000 characters"),
    });
  });
});
