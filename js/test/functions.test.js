// Every function against the native library: the bits of the same calls.
import assert from "node:assert/strict";
import { test } from "node:test";
import { instantiate, load } from "../dist/node.js";
import { calls, hash, hashes } from "./golden.js";
import { noise } from "./golden/run.js";

const audio = await load();
// Another instance of the module, whose memory grows and is filled with other values on the way.
const other = instantiate(audio.module);

test("every function gives the native library's bits", async (t) => {
  for (const [row, { title, run }] of calls.entries()) {
    await t.test(title, async () => assert.equal(await hash(...run(audio)), hashes[row]));
  }
});

test("an output given by the caller gets the same bits, and is what is returned", async () => {
  const whole = new Set(["magPhase", "nonSilentPos", "lfilterZi", "frameLen", "sampleLen", "resampleLen"]);
  for (const { name, title, run } of calls) {
    if (whole.has(name)) continue;
    const expected = run(audio)[0];
    const out = new Float32Array((expected.data ?? expected).length).fill(NaN);
    const [got] = run(other, { out });
    assert.equal(got.data ?? got, out, title);
    assert.equal(await hash(out), await hash(expected), title);
    assert.deepEqual(got.shape, expected.shape, title);
    assert.throws(() => run(other, { out: new Float32Array(out.length + 1) }), { name: "RangeError", message: /^out: / }, title);
  }
});

test("all that holds numbers is taken", () => {
  const values = [0.5, -0.25, 3, 0, 1e9];
  const expected = audio.log1p(Float32Array.from(values));
  for (const array of [values, Float64Array.from(values), Float32Array.from([9, ...values, 9]).subarray(1, 6)]) {
    assert.deepEqual(audio.log1p(array), expected);
  }
  const integers = Int16Array.from([0, 1, 500]);
  assert.deepEqual(audio.log1p(integers), audio.log1p([0, 1, 500]));
});

test("results keep the shape of what they come from", () => {
  const signal = noise(1000);
  const bins = audio.spectrogram(signal);
  assert.deepEqual([bins.shape, bins.complex, bins.data.length], [[201, 7], true, 2 * 201 * 7]);
  const power = audio.spectrogram(signal, { power: 2 });
  assert.deepEqual([power.shape, power.complex, power.data.length], [[201, 7], false, 201 * 7]);
  assert.deepEqual(power, audio.complexNorm(bins, { power: 2 }));
  assert.deepEqual(audio.melSpectrogram(signal), audio.convertToMel(power, audio.melFilterBank()));
  const { magnitude, phase } = audio.magPhase(bins);
  assert.deepEqual([magnitude.shape, magnitude.complex, phase.shape, phase.complex], [[201, 7], false, [201, 7], true]);
  assert.deepEqual(audio.spectrogram(noise(399)).shape, [201, 0]);
});
