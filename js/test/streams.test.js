// Blocks of any size give the bits of one call over the whole signal, and leave no garbage.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { test } from "node:test";
import { instantiate, load } from "../dist/node.js";
import { noise } from "./golden/run.js";

const audio = await load();
const signal = noise(9111, 3);

/** The parts of a signal, of 1 to `longest` samples in no order. */
function* blocksOf(samples, longest) {
  const lengths = noise(samples.length, longest);
  for (let start = 0, i = 0; start < samples.length; ++i) {
    const end = start + 1 + Math.floor(Math.abs(lengths[i]) * longest);
    yield samples.subarray(start, end);
    start = end;
  }
}

function joinColumns(parts) {
  const columnN = parts.reduce((sum, part) => sum + part.shape[1], 0);
  const { shape: [rowN], complex } = parts[0];
  const size = complex ? 2 : 1;
  const data = new Float32Array(rowN * columnN * size);
  let column = 0;
  for (const part of parts) {
    for (let row = 0; row < rowN; ++row) {
      const width = part.shape[1] * size;
      data.set(part.data.subarray(row * width, (row + 1) * width), (row * columnN + column) * size);
    }
    column += part.shape[1];
  }
  return { data, shape: [rowN, columnN], complex };
}

const joinSamples = (parts) => Float32Array.from(parts.flatMap((part) => [...part]));

test("frames", () => {
  for (const [fftN, hopN] of [[400, 160], [512, 128], [401, 97], [64, 150], [30, 29]]) {
    for (const center of ["none", "reflect", "zero"]) {
      for (const sampleN of [9111, 8960, fftN, fftN - 1]) {
        const samples = signal.subarray(0, sampleN), sizes = { fftN, hopN, center, melN: 12 };
        const { melN, ...framing } = sizes;
        const powers = { ...framing, power: 0.7 };
        const rows = [[() => audio.melStream(sizes), audio.melSpectrogram(samples, sizes)],
                      [() => audio.spectrogramStream(framing), audio.spectrogram(samples, framing)],
                      [() => audio.spectrogramStream(powers), audio.spectrogram(samples, powers)]];
        for (const [open, expected] of rows) {
          for (const longest of [37, 1000, 5000]) {
            const stream = open();
            const parts = [...blocksOf(samples, longest)].map((block) => stream.push(block));
            const got = joinColumns([...parts, stream.finish()]);
            stream.close();
            assert.deepEqual(got, expected, `${JSON.stringify(sizes)}, ${sampleN} samples in blocks of up to ${longest}`);
          }
        }
      }
    }
  }
});

test("frames one behind the other, in an array that has just enough room", () => {
  const expected = audio.melSpectrogram(signal, { center: "none" });
  const [melN, frameN] = expected.shape;
  const stream = audio.melStream({ center: "none" });
  let given = 0;
  for (const block of blocksOf(signal, 700)) {
    const out = new Float32Array(stream.frameN(block.length) * melN);
    if (out.length > 0) assert.throws(() => stream.pushTo(out.subarray(1), block), { name: "RangeError", message: /^out: / });
    const count = stream.pushTo(out, block);
    out.forEach((value, i) => assert.equal(value, expected.data[(i % melN) * frameN + given + Math.floor(i / melN)]));
    given += count;
  }
  assert.equal(given, frameN);
});

test("filters", () => {
  const sos = [[0.25, 0.5, 0.25, 1, -0.5, 0.1], [0.5, -0.5, 0, 2, 0.3, 0]];
  const nCoef = [0.2, 0.3, 0.1, 0.05], dCoef = [1, -0.4];
  const settled = audio.sosfiltZi(sos).map((value) => value * signal[0]);
  const rows = [[{ sos }, audio.sosfilt(sos, signal)], [{ sos, zi: settled }, audio.sosfilt(sos, signal, { zi: settled.slice() })],
                [{ nCoef, dCoef }, audio.lfilter(nCoef, dCoef, signal)], [{ nCoef: [0.5], dCoef: [1] }, signal.map((v) => v / 2)]];
  for (const [options, expected] of rows) {
    for (const longest of [128, 3000]) {
      const stream = audio.filterStream(options);
      assert.deepEqual(joinSamples([...blocksOf(signal, longest)].map((block) => stream.push(block))), expected);
      const inPlace = audio.filterStream(options), samples = signal.slice();
      for (const block of blocksOf(samples, longest)) inPlace.push(block, block);
      assert.deepEqual(samples, expected);
    }
  }
});

test("resampling", () => {
  for (const [src, dst] of [[48000, 16000], [44100, 16000], [16000, 44100], [44100, 48000], [16000, 48000], [7, 5], [1, 9]]) {
    for (const sampleN of [1, 2, 40, 3000, 9111]) {
      const samples = signal.subarray(0, sampleN), rates = { dstSampleRate: dst, srcSampleRate: src };
      const expected = audio.resample(samples, rates);
      for (const longest of [128, 5000]) {
        const stream = audio.resampleStream(rates);
        const parts = [...blocksOf(samples, longest)].map((block) => stream.push(block));
        assert.deepEqual(joinSamples([...parts, stream.finish()]), expected, `${src} to ${dst} Hz, ${sampleN} samples`);
        stream.close();
      }
    }
  }
});

test("in the process() of a worklet nothing is allocated", () => {
  // A child, so that nothing else fills the heap. The smallest object there is, once a block, would take 240 KB.
  const script = `
    import { instantiate, load } from ${JSON.stringify(new URL("../dist/node.js", import.meta.url))};
    const audio = instantiate((await load()).module);
    const filter = audio.filterStream({ sos: [[0.25, 0.5, 0.25, 1, -0.5, 0.1]] });
    const resampling = audio.resampleStream({ dstSampleRate: 16000, srcSampleRate: 48000 });
    const frames = audio.melStream({ center: "none" });
    const block = new Float32Array(128).fill(0.1), resampled = new Float32Array(256), mel = new Float32Array(80 * 4);
    const views = Array.from({ length: 256 }, (_, n) => resampled.subarray(0, n));
    const process = () => {
      filter.push(block, block);
      const count = resampling.pushTo(resampled, block);
      frames.pushTo(mel, views[count]);
    };
    process();
    const memory = audio.memoryBytes();
    let least = Infinity; // of several rounds, since compiling on the way takes memory too
    for (let round = 0; round < 8; ++round) {
      gc();
      const before = globalThis.process.memoryUsage().heapUsed;
      for (let i = 0; i < 20000; ++i) process();
      least = Math.min(least, globalThis.process.memoryUsage().heapUsed - before);
    }
    console.log(least, audio.memoryBytes() - memory);`;
  const child = spawnSync(process.execPath, ["--expose-gc", "--input-type=module", "--eval", script], { encoding: "utf8" });
  assert.equal(child.stderr, "");
  const [heap, memory] = child.stdout.split(" ").map(Number);
  assert.ok(heap < 100_000, `${heap} bytes in 20000 blocks`);
  assert.equal(memory, 0);
});

test("the memory of a stream that nobody closed comes back with it", async () => {
  const script = `
    import { load } from ${JSON.stringify(new URL("../dist/node.js", import.meta.url))};
    const audio = await load();
    for (let i = 0; i < 200; ++i) {
      audio.melStream({ fftN: 4096, hopN: 64 });
      if (i % 10 === 0) { gc(); await new Promise((done) => setTimeout(done, 1)); }
    }
    console.log(audio.memoryBytes());`;
  const child = spawnSync(process.execPath, ["--expose-gc", "--input-type=module", "--eval", script], { encoding: "utf8" });
  assert.ok(Number(child.stdout) < 64 * 2 ** 20, child.stdout + child.stderr);
});
