import { execFileSync } from "node:child_process";
import { cpSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import { fileURLToPath } from "node:url";
import { Package, checkPackage } from "@arethetypeswrong/core";
import { build } from "esbuild";
import { publint } from "publint";
import { formatMessage } from "publint/utils";
import ts from "typescript";
import { afterAll, beforeAll, expect, it } from "vitest";

const page = fileURLToPath(new URL("..", import.meta.url));
/** A project that has installed the package. */
const project = mkdtempSync(join(tmpdir(), "vecamera-page-"));
const installed = join(project, "node_modules/vecamera-page");
let files: string[] = [];

// The package is made beside the sources' own dist/, which other tests and builds may be using.
beforeAll(() => {
  const stage = join(project, "stage");
  mkdirSync(stage);
  execFileSync(process.execPath, ["scripts/build.mjs", join(stage, "dist")], { cwd: page });
  for (const file of ["package.json", "README.md", "../LICENSE"])
    cpSync(join(page, file), join(stage, basename(file)));
  const packed = execFileSync("npm", ["pack", "--json", "--ignore-scripts"], { cwd: stage });
  const [{ filename, files: listed }] = JSON.parse(packed.toString()) as [
    { filename: string; files: { path: string }[] },
  ];
  files = listed.map(({ path }) => path);
  mkdirSync(installed, { recursive: true });
  execFileSync("tar", ["-xzf", join(stage, filename), "-C", installed, "--strip-components=1"]);
}, 60_000);

afterAll(() => rmSync(project, { recursive: true, force: true }));

it("The package has what it needs and nothing else", () => {
  const modules = files.filter((path) => path.endsWith(".d.ts")).map((path) => path.slice(0, -5));
  expect(modules).toEqual(expect.arrayContaining(["dist/index", "dist/frame-bridge", "dist/mock"]));
  const expected = [
    ...["package.json", "README.md", "LICENSE", "dist/vecamera.js", "dist/vecamera.js.map"],
    ...modules.flatMap((path) => [`${path}.d.ts`, `${path}.js`, `${path}.js.map`]),
  ];
  expect([...files].sort()).toEqual(expected.sort());
});

it("Each script of the package has a source map that holds its sources", () => {
  for (const file of files.filter((path) => path.endsWith(".js"))) {
    const code = readFileSync(join(installed, file), "utf8");
    const url = /\n\/\/# sourceMappingURL=(.*)\s*$/.exec(code)?.[1] ?? "";
    expect(`dist/${url}`).toBe(`${file}.map`);
    const map = JSON.parse(readFileSync(join(installed, "dist", url), "utf8")) as {
      readonly sources: string[];
      readonly sourcesContent: string[];
    };
    expect(map.sources.length).toBeGreaterThan(0);
    expect(map.sourcesContent).toHaveLength(map.sources.length);
  }
});

it("The package's manifest and its types have no known fault", async () => {
  const { messages, pkg } = await publint({ pkgDir: installed, strict: true, pack: false });
  expect(messages.map((message) => formatMessage(message, pkg))).toEqual([]);
  const { name, version } = pkg as { name: string; version: string };
  const root = `/node_modules/${name}`;
  const contents = files.map((path) => [`${root}/${path}`, readFileSync(join(installed, path))]);
  const result = await checkPackage(
    new Package(Object.fromEntries(contents) as Record<string, Uint8Array>, name, version),
  );
  const problems = result.types ? result.problems : ["no types"];
  // The package is for pages: it has modules only, under the names of "exports".
  const unsupported = ["node10", "node16-cjs"];
  const isFault = (problem: (typeof problems)[number]) =>
    typeof problem === "string" ||
    !("resolutionKind" in problem && unsupported.includes(problem.resolutionKind));
  expect(problems.filter(isFault)).toEqual([]);
}, 30_000);

it.each([
  ["a bundler", ts.ModuleKind.ESNext, ts.ModuleResolutionKind.Bundler],
  ["Node.js", ts.ModuleKind.Node16, ts.ModuleResolutionKind.Node16],
])("The types are found and strict by the rules of %s", (_, module, moduleResolution) => {
  writeFileSync(join(project, "package.json"), '{"type": "module"}');
  const file = join(project, "page.ts");
  writeFileSync(
    file,
    `import { type Picture, createCamera } from "vecamera-page";
    import { frameBridge } from "vecamera-page/frame-bridge";
    import { deliver, mockBridge } from "vecamera-page/mock";
    const bridge = mockBridge();
    bridge.script("takePicture", deliver("/tmp/1.jpg", new Blob()));
    for (const each of [bridge, frameBridge()]) {
      const { canceled, picture } = await createCamera(each).tryTakePicture();
      const taken: Picture | undefined = canceled ? undefined : picture;
      if (taken?.kind === "dataUrl") console.log(taken.size.toFixed(), taken.url.length);
      // @ts-expect-error: not every picture has an address.
      console.log(taken?.url);
    }`,
  );
  const program = ts.createProgram([file], {
    module,
    moduleResolution,
    target: ts.ScriptTarget.ES2022,
    strict: true,
    skipDefaultLibCheck: true,
    noEmit: true,
    types: [],
  });
  const errors = ts.getPreEmitDiagnostics(program).map(({ messageText }) => messageText);
  expect(errors).toEqual([]);
}, 30_000);

it("A bundle has only what the page imports", async () => {
  const bundled = async (contents: string) => {
    const stdin = { contents, resolveDir: project };
    const options = { bundle: true, minify: true, write: false, format: "esm" } as const;
    const result = await build({ stdin, ...options, logLevel: "error" });
    return result.outputFiles[0]?.text ?? "";
  };
  expect((await bundled('import "vecamera-page"; import "vecamera-page/mock";')).trim()).toBe("");
  const client = await bundled('export { createCamera } from "vecamera-page";');
  expect(client).toContain("replacePending");
  expect(client).not.toContain("postMessage");
}, 30_000);
