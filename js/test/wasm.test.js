// The instance: where its module may come from, and its memory.
import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { createServer } from "node:http";
import { test } from "node:test";
import { instantiate, load } from "../dist/node.js";
import { load as loadInBrowser } from "../dist/index.js";
import { calls } from "./golden.js";
import { noise } from "./golden/run.js";

const file = new URL("../dist/kelvo_audio.wasm", import.meta.url);

test("the module comes from a file, bytes, a module, a response or an address", async () => {
  const bytes = await readFile(file);
  const server = createServer((request, response) => {
    if (request.url === "/missing.wasm") return response.writeHead(404).end();
    response.writeHead(200, request.url.endsWith(".wasm") ? { "Content-Type": "application/wasm" } : {}).end(bytes);
  });
  await new Promise((done) => server.listen(0, "127.0.0.1", done));
  const url = `http://127.0.0.1:${server.address().port}`;
  try {
    const { module } = await load();
    for (const source of [file, bytes, bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length), module, `${url}/a.wasm`,
                          new URL(`${url}/a.bin`), fetch(`${url}/a.wasm`)]) {
      assert.equal((await load(source)).frameLen(16000), 101);
    }
    assert.equal((await loadInBrowser(`${url}/a.wasm`)).frameLen(16000), 101);
    await assert.rejects(load(`${url}/missing.wasm`), /404/);
    await assert.rejects(load(new Uint8Array(9)), WebAssembly.CompileError);
  } finally {
    server.close();
  }
});

test("results stay as they are when the memory grows, during the call that gives them too", async () => {
  const audio = await load();
  const small = audio.fft(noise(512)), copy = small.slice();
  const before = audio.memoryBytes();
  const signal = noise(3_000_000);
  const grown = audio.log1p(signal);
  assert.ok(audio.memoryBytes() > before);
  assert.deepEqual(small, copy);
  assert.deepEqual(grown.subarray(0, 9), audio.log1p(signal.subarray(0, 9)));
  assert.deepEqual(audio.fft(noise(512)), copy);
  // The library's own scratch memory grows it here, between the input's copy and the result's.
  const other = instantiate(audio.module);
  const mel = other.melSpectrogram(signal.subarray(0, 200_000), { fftN: 65536, hopN: 4096, melN: 20 });
  assert.deepEqual(mel, other.melSpectrogram(signal.subarray(0, 200_000), { fftN: 65536, hopN: 4096, melN: 20 }));
});

test("instances share nothing", async () => {
  const { module } = await load();
  const [one, two] = [instantiate(module), instantiate(module)];
  one.log1p(noise(3_000_000));
  assert.ok(two.memoryBytes() < one.memoryBytes());
});

test("a thousand calls, failing ones among them, leave the memory as it was", async () => {
  const audio = await load();
  const failing = [() => audio.log1p([]), () => audio.filtfilt([1], [1], noise(2)), () => audio.spectrogram(noise(999), { out: noise(5) }),
                   () => audio.getWindow(2 ** 31 - 1), () => audio.melStream({ melN: 0 }), () => audio.filterStream({ sos: [1] })];
  const round = () => {
    for (const { run } of calls) run(audio);
    for (const call of failing) assert.throws(call);
    const streams = [audio.melStream(), audio.spectrogramStream(), audio.filterStream({ sos: [[1, 0, 0, 1, 0, 0]] }),
                     audio.resampleStream({ dstSampleRate: 2, srcSampleRate: 3 })];
    for (const stream of streams) stream.push(noise(5000));
    for (const stream of streams) stream.close();
    assert.throws(() => streams[0].push(noise(5)), /closed/);
  };
  for (let i = 0; i < 2; ++i) round();
  const before = audio.memoryBytes();
  for (let i = 0; i < Math.ceil(1000 / calls.length); ++i) round();
  assert.equal(audio.memoryBytes(), before);
});
