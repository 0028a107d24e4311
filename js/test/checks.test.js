// Bad arguments of every kind: an error whose text starts with the argument's name, and no trace of the call.
import assert from "node:assert/strict";
import { test } from "node:test";
import { KelvoAudioError, load } from "../dist/node.js";
import { noise } from "./golden/run.js";

const audio = await load();
const x = noise(2000);
const real = audio.spectrogram(x, { power: 1 }), complex = audio.spectrogram(x);
const rates = { dstSampleRate: 16000, srcSampleRate: 44100 };
const sos = [[1, 0, 0, 1, 0, 0]];

// What is no signal, with the name of the argument that it stands for.
const noArrays = [undefined, null, 5, "abc", {}, new DataView(new ArrayBuffer(8)), [1, "2"], new BigInt64Array(3), new BigUint64Array(0), [null], [1, , 3]];
const takers = {
  src: [(v) => audio.log1p(v), (v) => audio.standardize(v), (v) => audio.fft(v), (v) => audio.ifft(v), (v) => audio.spectrogram(v),
        (v) => audio.nonSilentPos(v), (v) => audio.melSpectrogram(v), (v) => audio.powerToDb(v), (v) => audio.complexNorm(v),
        (v) => audio.lfilter([1], [1], v), (v) => audio.filtfilt([1], [1], v), (v) => audio.sosfilt(sos, v),
        (v) => audio.sosfiltfilt(sos, v), (v) => audio.resample(v, rates), (v) => audio.inverseSpectrogram(v),
        (v) => audio.fixFrameLen(v, 3), (v) => audio.convertToMel(v, audio.melFilterBank()), (v) => audio.magPhase(v)],
  fbMatrix: [(v) => audio.convertToMel(real, v)],
  nCoef: [(v) => audio.lfilter(v, [1], x), (v) => audio.lfilterZi(v, [1]), (v) => audio.filtfilt(v, [1], x)],
  dCoef: [(v) => audio.lfilter([1], v, x), (v) => audio.lfilterZi([1], v), (v) => audio.filtfilt([1], v, x)],
  sos: [(v) => audio.sosfilt(v, x), (v) => audio.sosfiltZi(v), (v) => audio.sosfiltfilt(v, x)],
  block: [(v) => audio.melStream().push(v), (v) => audio.filterStream({ sos }).push(v), (v) => audio.resampleStream(rates).push(v)],
};

test("what is no array is a TypeError, and an empty array a RangeError", () => {
  for (const [name, calls] of Object.entries(takers)) {
    for (const call of calls) {
      for (const value of noArrays) assert.throws(() => call(value), { name: "TypeError", message: new RegExp(`^${name}: `) }, `${call}`);
      if (name !== "block") assert.throws(() => call([]), { name: /RangeError|TypeError/, message: new RegExp(`^${name}: `) }, `${call}`);
    }
  }
});

// Every setting, with values that are out of its range; what is of another type is added below.
const settings = [
  [(o) => audio.getWindow(o.windowN), { windowN: [0, -1, 1.5, 2 ** 31, NaN] }],
  [(o) => audio.getWindow(5, o), { winType: ["Hann", "", "constructor"] }],
  [(o) => audio.frameLen(1000, o), { fftN: [0, -1, 2 ** 31], hopN: [-1, 0.5], center: ["both"] }],
  [(o) => audio.frameLen(o.sampleN), { sampleN: [0, Infinity] }],
  [(o) => audio.sampleLen(o.frameN), { frameN: [0, 2 ** 31 - 1] }],
  [(o) => audio.sampleLen(9, o), { freqN: [0], hopN: [-1], center: ["both"] }],
  [(o) => audio.fixFrameLen(real, o.dstFrameN), { dstFrameN: [0, 2 ** 30] }],
  [(o) => audio.fixFrameLen(complex, 3, o), { padValue: [1] }],
  [(o) => audio.spectrogram(x, o), { fftN: [0, 2 ** 28, 2 ** 30], hopN: [-1, 0], winN: [0, 401], winType: ["x"], maxFrameN: [0],
                                     center: ["x"], power: [-1, NaN], normType: ["l2"] }],
  [(o) => audio.inverseSpectrogram(complex, o), { hopN: [-1], winN: [401], winType: ["x"], maxSampleN: [0], center: ["x"], normType: ["x"] }],
  [(o) => audio.nonSilentPos(x, o), { winN: [0], hopN: [0], thrDb: [-1, NaN] }],
  [(o) => audio.melFilterBank(o), { freqN: [0], melN: [0, 201], sampleRate: [0], fMin: [-1], fMax: [0, -5], melNorm: ["x"], melFormula: ["x"] }],
  [(o) => audio.melSpectrogram(x, o), { fftN: [0], hopN: [-1], winN: [0], winType: ["x"], maxFrameN: [0], center: ["x"], power: [-0.1],
                                        fftNormType: ["x"], melN: [0, 201], sampleRate: [-1], fMin: [-1, NaN], fMax: [0], melNorm: ["x"],
                                        melFormula: ["x"] }],
  [(o) => audio.powerToDb(x, o), { topDb: [NaN] }],
  [(o) => audio.complexNorm(x, o), { power: [0, -1, 1e-60] }],
  [(o) => audio.magPhase(complex, o), { power: [-1], phaseForm: ["x"] }],
  [(o) => audio.filtfilt([1], [1], x, o), { padType: ["x"], padLen: [-1, 2000] }],
  [(o) => audio.sosfiltfilt(sos, x, o), { padType: ["x"], padLen: [-1, 2000] }],
  [(o) => audio.resample(x, { ...rates, ...o }), { dstSampleRate: [0], srcSampleRate: [0, 1.5], dstN: [0] }],
  [(o) => audio.resampleLen(9, { ...rates, ...o }), { dstSampleRate: [0], srcSampleRate: [-1] }],
  [(o) => audio.lfilter([1, 2], [1], x, o), { zi: [new Float32Array(2)] }],
  [(o) => audio.sosfilt(sos, x, o), { zi: [new Float32Array(3)] }],
  [(o) => audio.melStream(o), { hopN: [0], melN: [300] }],
];

test("a setting out of range is a RangeError, one of another type a TypeError", () => {
  for (const [call, ranges] of settings) {
    for (const [name, values] of Object.entries(ranges)) {
      const message = new RegExp(`^${name}: `);
      for (const value of values) assert.throws(() => call({ [name]: value }), { name: "RangeError", message }, `${call} ${name} ${value}`);
      for (const value of [null, {}, 7n, Symbol.iterator, true]) {
        assert.throws(() => call({ [name]: value }), { name: "TypeError", message }, `${call} ${name}`);
      }
    }
  }
  assert.throws(() => audio.spectrogram(x, { hopn: 5 }), { name: "TypeError", message: /^hopn: no such option; there are fftN, / });
  assert.throws(() => audio.sampleLen(2 ** 20, { hopN: 2 ** 20 }), { name: "RangeError", message: /^frameN: / });
});

test("a matrix of the wrong kind or shape", () => {
  const rows = [
    [() => audio.inverseSpectrogram(real), "TypeError"], [() => audio.magPhase(real), "TypeError"],
    [() => audio.powerToDb(complex), "TypeError"], [() => audio.convertToMel(complex, real), "TypeError"],
    [() => audio.powerToDb({ data: x, shape: [3, 5] }), "RangeError"], [() => audio.powerToDb({ data: x, shape: 2000 }), "TypeError"],
    [() => audio.inverseSpectrogram({ data: noise(8), shape: [1, 4], complex: true }), "RangeError"],
    [() => audio.ifft(noise(7)), "RangeError"], [() => audio.inverseSpectrogram(complex, { hopN: 2 ** 31 - 1 }), "RangeError"],
    [() => audio.powerToDb({ data: noise(1), shape: [3, 1 / 3] }), "RangeError"], [() => audio.powerToDb({ data: noise(4), shape: [2, 2n] }), "RangeError"],
    [() => audio.log1p({ data: noise(4), shape: [2, "2"] }), "RangeError"], [() => audio.log1p({ data: noise(4), shape: [2, Symbol("s")] }), "RangeError"],
  ];
  for (const [call, name] of rows) assert.throws(call, { name, message: /^src: / }, `${call}`);
  assert.throws(() => audio.convertToMel(real, real), { name: "RangeError", message: /^fbMatrix: / });
  for (const bad of [[[1, 2, 3]], [1, 2, 3, 4, 5], [sos[0], [1]]]) assert.throws(() => audio.sosfilt(bad, x), { name: "RangeError", message: /^sos: / });
});

test("what is no array for the outputs of streams", () => {
  const stream = audio.melStream(), filter = audio.filterStream({ sos }), converter = audio.resampleStream(rates);
  for (const bad of [null, 5, {}, [1], new Float64Array(5000)]) {
    const message = /^out: expected a Float32Array/;
    for (const call of [() => stream.pushTo(bad, x), () => filter.push(x, bad), () => converter.pushTo(bad, x)]) {
      assert.throws(call, { name: "TypeError", message });
    }
    for (const each of [stream, converter]) assert.throws(() => each.pushTo(x, bad), { name: "TypeError", message: /^block: / });
  }
});

test("a detached output, or state, of no values", () => {
  const out = new Float32Array(8);
  structuredClone(out.buffer, { transfer: [out.buffer] });
  assert.equal(audio.spectrogram([1], { out }).data, out);
  assert.deepEqual(audio.lfilter([2], [1], [3], { zi: out }), Float32Array.of(6));
  assert.deepEqual(audio.filterStream({ nCoef: [2], dCoef: [1], zi: out }).push([3]), Float32Array.of(6));
});

test("lack of memory is an error of its own, and the next call works", () => {
  const stream = audio.spectrogramStream({ fftN: 2 ** 16, hopN: 64, center: "none" }), block = new Float32Array(2 ** 24);
  // The third and fifth take a little more than an address counts. What a stream gives lies in the caller's memory.
  for (const call of [() => audio.getWindow(2 ** 31 - 1), () => audio.getWindow(2 ** 29 - 1), () => audio.getWindow(2 ** 30 + 16),
                      () => stream.push(block),
                      () => audio.fixFrameLen({ data: noise(1), shape: [1, 1] }, 2 ** 30 - 1), () => audio.fixFrameLen(real, 2 ** 22),
                      () => audio.sosfiltfilt(sos, x, { padType: "constant", padLen: 2 ** 31 - 1 }),
                      () => audio.resample(x, { dstSampleRate: 2 ** 31 - 1, srcSampleRate: 1, dstN: 5 })]) {
    assert.throws(call, (error) => error instanceof KelvoAudioError && error.status === -5, `${call}`);
  }
  assert.equal(audio.getWindow(400).length, 400);
});
