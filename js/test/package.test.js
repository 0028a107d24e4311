// The archive of npm pack, installed into an empty project: the README's samples run, and their types are right.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { after, before, test } from "node:test";
import { brotliCompressSync, gzipSync } from "node:zlib";

const home = fileURLToPath(new URL("..", import.meta.url));
const readme = readFileSync(join(home, "README.md"), "utf8");
const [first, second] = [...readme.matchAll(/^```js\n(.*?)^```$/gms)].map(([, code]) => code);
const npm = (folder, ...args) => execFileSync("npm", [...args, "--loglevel=error"], { cwd: folder, encoding: "utf8" });
let project, files;

before(() => {
  project = mkdtempSync(join(tmpdir(), "kelvo-audio-"));
  const [packed] = JSON.parse(npm(home, "pack", "--json", "--pack-destination", project));
  files = packed.files.map(({ path }) => path);
  writeFileSync(join(project, "package.json"), '{"type": "module"}');
  npm(project, "install", "--offline", "--no-audit", "--no-fund", join(project, packed.filename));
});
after(() => rmSync(project, { recursive: true, force: true }));

test("the archive holds the package and nothing else, without dependencies", () => {
  assert.ok(["dist/index.js", "dist/index.d.ts", "dist/node.js", "dist/kelvo_audio.wasm", "dist/LICENSE", "README.md"].every((file) => files.includes(file)));
  assert.deepEqual(files.filter((file) => !/^(dist\/[\w.]+|README\.md|package\.json)$/.test(file)), []);
  const { dependencies, version } = JSON.parse(readFileSync(join(project, "node_modules/kelvo-audio/package.json")));
  assert.equal(dependencies, undefined);
  const header = readFileSync(join(home, "../include/kelvo_audio.h"), "utf8");
  assert.equal(version, [...header.matchAll(/^#define KELVO_AUDIO_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)/gm)].map(([, part]) => part).join("."));
});

test("the package keeps to its size, which the README says", () => {
  const code = files.filter((file) => /\.(js|wasm)$/.test(file)).map((file) => readFileSync(join(home, file)));
  const size = (compress) => code.reduce((sum, bytes) => sum + compress(bytes).length, 0);
  const gzip = size((bytes) => gzipSync(bytes, { level: 9 }));
  assert.ok(gzip <= 320_000, `${gzip} bytes`);
  const said = readme.match(/(\d+) KB with gzip,\s+(\d+) KB with Brotli/).slice(1).map((kilobytes) => 1000 * kilobytes);
  [gzip, size(brotliCompressSync)].forEach((bytes, i) => {
    assert.ok(Math.abs(bytes / said[i] - 1) < 0.05, `${bytes} bytes, the README says ${said[i]}`);
  });
});

test("the samples print what they say", () => {
  writeFileSync(join(project, "sample.js"), first + second);
  const printed = execFileSync(process.execPath, ["sample.js"], { cwd: project, encoding: "utf8" });
  const promised = [...(first + second).matchAll(/console\.log.*\/\/ (.*)$/gm)].map(([, text]) => text);
  assert.deepEqual(printed.trim().split("\n"), promised);
});

test("the types hold for the samples in strict mode, in a browser's project too, and catch what is wrong", () => {
  const check = (name, code, ...flags) => {
    writeFileSync(join(project, `${name}.ts`), code);
    const flagsOfAll = ["--strict", "--noEmit", "--skipLibCheck", "false", "--target", "es2022", "--lib", "es2022,dom"];
    try {
      execFileSync(process.execPath, [join(home, "node_modules/typescript/bin/tsc"), ...flagsOfAll, ...flags, `${name}.ts`],
                   { cwd: project, encoding: "utf8" });
      return "";
    } catch (error) {
      return error.stdout;
    }
  };
  const node = ["--module", "nodenext"], bundler = ["--module", "es2022", "--moduleResolution", "bundler"];
  const typed = `${first}${second}
    const db: Float32Array = logMel.data, [rowN, columnN]: [number, number] = logMel.shape;
    const plain: Float32Array = audio.powerToDb(db, { topDb: 60, out: new Float32Array(rowN * columnN) });
    export { plain };`;
  assert.equal(check("sample", typed, ...node), "");
  assert.equal(check("sample", typed, ...bundler), "");
  for (const [i, wrong] of ['audio.melSpectrogram(signal, { fft_n: 512 })', 'audio.getWindow(5, { winType: "hannn" })',
                            "audio.resample(signal, { dstSampleRate: 5 })", 'audio.fft("abcd")',
                            "audio.inverseSpectrogram(signal)"].entries()) {
    assert.match(check(`wrong${i}`, `${first}${wrong};`, ...node), /error TS/, wrong);
  }
});
