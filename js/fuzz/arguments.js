// Calls every function and stream with any value as any argument.
//
// Usage: node js/fuzz/arguments.js RUNS [SEED [PATH]]     after js/build.sh; SEED and PATH as a failure prints them
//
// The only outcomes are a result, a RangeError or TypeError whose text starts with an argument's name, a KelvoAudioError
// for a lack of memory or an impossible size, and what a getter of the caller throws. Inputs stay as they are, out gets
// the values of a new array, and the instance computes what it computed before.
import assert from "node:assert/strict";
import fc from "fast-check";
import { KelvoAudioError, load } from "../dist/node.js";
import { noise } from "../test/golden/run.js";

class Own extends Error {}
const refuse = () => {
  throw new Own("a getter's own");
};
const detached = (array) => {
  structuredClone(array.buffer, { transfer: [array.buffer] });
  return array;
};

// Named makers of values, so that a failure can be read, and each call has values of its own.
const HOSTILE = Object.entries({
  "undefined": () => undefined, "null": () => null, "NaN": () => NaN, "Infinity": () => Infinity, "-1": () => -1, "-0": () => -0,
  "0": () => 0, "0.5": () => 0.5, "2**27 + 1": () => 2 ** 27 + 1, "2**28": () => 2 ** 28, "2**30 - 1": () => 2 ** 30 - 1,
  "2**30 + 16": () => 2 ** 30 + 16, "2**31 - 1": () => 2 ** 31 - 1, "2**31": () => 2 ** 31, "2**32": () => 2 ** 32,
  "2**53": () => 2 ** 53, "1e39": () => 1e39, "1e-60": () => 1e-60, "true": () => true, '"3"': () => "3", '"hann"': () => "hann",
  '"constructor"': () => "constructor", "3n": () => 3n, "a symbol": () => Symbol("s"), "{}": () => ({}), "[]": () => [],
  "a function": () => () => 3, "an object without a prototype": () => Object.create(null), "a date": () => new Date(0),
  "valueOf 3": () => ({ valueOf: () => 3 }),
  "a proxy": () => new Proxy({}, { get: refuse, has: refuse, ownKeys: refuse, getPrototypeOf: refuse }),
  "a revoked proxy": () => {
    const { proxy, revoke } = Proxy.revocable([], {});
    revoke();
    return proxy;
  },
  "mixed": () => [1, "2", null], "holes": () => [1, , 3], "nested": () => [[1, 2], [3]], "an array-like": () => ({ length: 3, 0: 1, 1: 2, 2: 3 }),
  "a negative length": () => ({ length: -1 }), "a set": () => new Set([1]), "a buffer": () => new ArrayBuffer(8),
  "a view": () => new DataView(new ArrayBuffer(8)), "shared": () => new Float32Array(new SharedArrayBuffer(32)),
  "detached": () => detached(noise(8)), "a subarray": () => noise(20).subarray(3, 9), "empty": () => new Float32Array(0),
  "empty bigints": () => new BigInt64Array(0), "bigints": () => new BigUint64Array(4), "bytes": () => new Uint8ClampedArray(6),
  "shorts": () => Int16Array.of(-32768, 5, 32767), "doubles": () => Float64Array.of(NaN, -0, 1e300, 1e-320),
  "a resizable array": () => {
    const buffer = new ArrayBuffer(64, { maxByteLength: 128 });
    const array = new Float32Array(buffer);
    buffer.resize?.(8);
    return array;
  },
  "a subclass": () => new (class Samples extends Float32Array {})(5),
  "a real matrix": () => ({ data: noise(12), shape: [3, 4], complex: false }), "a complex matrix": () => ({ data: noise(24), shape: [3, 4], complex: true }),
  "a third of a column": () => ({ data: noise(1), shape: [3, 1 / 3] }), "text in a shape": () => ({ data: noise(4), shape: [2, "2"] }),
  "a bigint in a shape": () => ({ data: noise(4), shape: [2, 2n] }), "a negative shape": () => ({ data: noise(4), shape: [-2, -2] }),
  "a symbol in a shape": () => ({ data: noise(4), shape: [2, Symbol("s")] }), "no shape": () => ({ data: noise(4), shape: [] }),
  "an empty matrix": () => ({ data: new Float32Array(0), shape: [3, 0], complex: true }),
  "a detached matrix": () => ({ data: detached(noise(4)), shape: [2, 2] }),
  "a matrix that throws": () => ({ get data() { return refuse(); }, shape: [2, 2] }),
}).map(([label, make]) => ({ label, make, toString: () => label }));
const hostile = fc.constantFrom(...HOSTILE);

const usual = (arbitrary) => arbitrary.map((value) => ({ make: () => value, toString: () => JSON.stringify(value) }));
const made = (arbitrary, make) => arbitrary.map((value) => ({ make: () => make(value), toString: () => `${make.name}(${JSON.stringify(value)})` }));
const SPECIAL = [NaN, Infinity, -Infinity, -0, 1e-45, 3e38];
const count = fc.integer({ min: 1, max: 60 });
function signal({ n, seed, special }) {
  const samples = noise(n, seed);
  for (let i = seed; special < SPECIAL.length && i < n; i += 5) samples[i] = SPECIAL[special];
  return samples;
}
function real({ rows, columns, ...how }) {
  return { data: signal({ n: rows * columns, ...how }), shape: [rows, columns], complex: false };
}
function complex({ rows, columns, ...how }) {
  return { data: signal({ n: 2 * rows * columns, ...how }), shape: [rows, columns], complex: true };
}
const how = { seed: fc.integer({ min: 0, max: 3 }), special: fc.integer({ min: 0, max: 12 }) };
const signals = made(fc.record({ n: count, ...how }), signal);
const small = made(fc.record({ n: fc.integer({ min: 1, max: 6 }), ...how }), signal);
const shape = { rows: fc.integer({ min: 1, max: 12 }), columns: fc.integer({ min: 1, max: 12 }) };
const realMatrix = made(fc.record({ ...shape, ...how }), real), complexMatrix = made(fc.record({ ...shape, ...how }), complex);
const pairs = made(fc.integer({ min: 1, max: 30 }), (n) => noise(2 * n));
const sections = made(fc.integer({ min: 1, max: 3 }), (n) => noise(6 * n));
const values = fc.oneof(signals, realMatrix), bins = fc.oneof(pairs, complexMatrix);
const integer = usual(fc.integer({ min: 1, max: 40 })), setting = usual(fc.constantFrom(0, 0.5, 1, 2, 100, 8000));
const one = (...names) => usual(fc.constantFrom(...names));
const OPTIONS = {
  winType: one("hann", "hamming"), center: one("none", "reflect", "zero"), normType: one("none", "windowL2", "twoOverN"),
  fftNormType: one("none", "windowL2", "twoOverN"), melNorm: one("none", "slaney"), melFormula: one("slaney", "htk"),
  phaseForm: one("angle", "complex"), padType: one("none", "odd", "even", "constant"), power: setting, fMin: setting,
  fMax: setting, topDb: setting, thrDb: setting, padValue: setting, zi: small, sos: sections, nCoef: small, dCoef: small,
};
const FRAMING = ["fftN", "hopN", "center"], WINDOWING = [...FRAMING, "winN", "winType"];
const BANK = ["melN", "sampleRate", "fMin", "fMax", "melNorm", "melFormula"], RATES = ["dstSampleRate", "srcSampleRate"];
const MEL = [...WINDOWING, ...BANK, "power", "fftNormType"];
// Each function's arguments, then the names of its options.
const FUNCTIONS = {
  log1p: [{ src: values }, ["out"]], standardize: [{ src: values }, ["out"]], fft: [{ src: signals }, ["out"]],
  ifft: [{ src: pairs }, ["out"]], getWindow: [{ windowN: integer }, ["winType", "out"]],
  frameLen: [{ sampleN: integer }, FRAMING], sampleLen: [{ frameN: integer }, ["freqN", "hopN", "center"]],
  fixFrameLen: [{ src: fc.oneof(realMatrix, complexMatrix), dstFrameN: integer }, ["padValue", "out"]],
  spectrogram: [{ src: signals }, [...WINDOWING, "maxFrameN", "power", "normType", "out"]],
  inverseSpectrogram: [{ src: complexMatrix }, ["hopN", "winN", "winType", "maxSampleN", "center", "normType", "out"]],
  nonSilentPos: [{ src: signals }, ["winN", "hopN", "thrDb"]], melFilterBank: [{}, [...BANK, "freqN", "out"]],
  melSpectrogram: [{ src: signals }, [...MEL, "maxFrameN", "out"]],
  convertToMel: [{ src: realMatrix, fbMatrix: realMatrix }, ["out"]], powerToDb: [{ src: values }, ["topDb", "out"]],
  complexNorm: [{ src: bins }, ["power", "out"]], magPhase: [{ src: complexMatrix }, ["power", "phaseForm"]],
  lfilter: [{ nCoef: small, dCoef: small, src: signals }, ["zi", "out"]], lfilterZi: [{ nCoef: small, dCoef: small }],
  filtfilt: [{ nCoef: small, dCoef: small, src: signals }, ["padType", "padLen", "out"]],
  sosfilt: [{ sos: sections, src: signals }, ["zi", "out"]], sosfiltZi: [{ sos: sections }],
  sosfiltfilt: [{ sos: sections, src: signals }, ["padType", "padLen", "out"]],
  resample: [{ src: signals }, [...RATES, "dstN", "out"]], resampleLen: [{ srcSampleN: integer }, RATES],
  melStream: [{}, MEL], spectrogramStream: [{}, [...WINDOWING, "normType", "power"]],
  filterStream: [{}, ["sos", "nCoef", "dCoef", "zi"]], resampleStream: [{}, RATES],
};
const NEEDED = new Set([...RATES, "sos"]);

/** Arguments and options, at most two of them hostile. */
const calls = fc.constantFrom(...Object.keys(FUNCTIONS)).chain((name) => {
  const [positional, optionNames] = FUNCTIONS[name];
  const option = (each) => OPTIONS[each] ?? integer;
  return fc.record({
    name: fc.constant(name),
    positional: fc.record(positional),
    options: fc.record(Object.fromEntries((optionNames ?? []).filter((each) => each !== "out").map((each) => [each, option(each)])),
                       { requiredKeys: (optionNames ?? []).filter((each) => NEEDED.has(each) && name !== "filterStream") }),
    changes: fc.array(fc.record({ at: fc.nat(20), value: hostile, throws: fc.integer({ min: 0, max: 9 }) }), { maxLength: 2 }),
    out: hostile, block: fc.oneof(signals, signals, hostile),
  });
});

const audio = await load();
const canary = noise(200), sung = audio.fft(canary);

function bytesOf(value) {
  try {
    if (!ArrayBuffer.isView(value)) return Object.values(value).filter((each) => ArrayBuffer.isView(each)).map(bytesOf).join();
    return Buffer.from(value.buffer, value.byteOffset, value.byteLength).toString("hex");
  } catch { // detached, a proxy, no object
    return "";
  }
}

/** An option, if it can be looked at. */
function peek(settings, key) {
  try {
    return settings?.[key];
  } catch {
    return refuse;
  }
}

/** Bits with NaNs made equal: their payloads are no part of a result. */
const bitsOf = (array) => bytesOf(Float32Array.from(array, (value) => (Number.isNaN(value) ? NaN : value)));

function outcome(run, names, inputs) {
  const before = inputs.map(bytesOf);
  let result;
  try {
    result = run();
  } catch (error) {
    const named = (error instanceof TypeError || error instanceof RangeError) && names.includes(error.message.split(":")[0]);
    const ours = error instanceof Own || error instanceof KelvoAudioError;
    // A revoked proxy cannot even be looked at.
    if (!named && !ours && !/proxy that has been revoked/.test(error.message)) throw error;
    result = undefined;
  }
  assert.deepEqual(inputs.map(bytesOf), before, "an input was written");
  return result;
}

function checkResult(result) {
  for (const each of [result, result.magnitude, result.phase].filter((part) => part?.shape !== undefined)) {
    const [rows, columns] = each.shape;
    assert.ok(Number.isInteger(rows) && Number.isInteger(columns), "a shape of integers");
    // In code that V8 has optimized, each.data.length may be that from before an array was detached.
    assert.equal(Reflect.get(each.data, "length"), rows * columns * (each.complex ? 2 : 1));
  }
}

function check({ name, positional, options, changes, out, block }) {
  const [, optionNames] = FUNCTIONS[name];
  const given = Object.fromEntries(Object.entries(positional).map(([key, value]) => [key, value.make()]));
  let settings = Object.fromEntries(Object.entries(options).map(([key, value]) => [key, value.make()]));
  const places = [...Object.keys(given), ...(optionNames ?? []), ...(optionNames ? ["options"] : [])];
  for (const { at, value, throws } of changes) {
    const key = places[at % places.length];
    if (key in given) given[key] = value.make();
    else if (key === "options") settings = value.make();
    else {
      const property = throws === 0 ? { get: refuse } : { value: value.make() };
      try {
        Object.defineProperty(settings, key, { ...property, enumerable: true, configurable: true });
      } catch { /* no object any more, or a proxy */ }
    }
  }
  const arguments_ = Object.values(given);
  // The state of a filter is written.
  const inputs = [...arguments_, ...["sos", "nCoef", "dCoef"].filter((key) => Object.hasOwn(options, key)).map((key) => options[key].make())];
  const names = [...places, "zi", "src", "no such option"];
  const call = (more) => audio[name](...arguments_, ...(optionNames ? [more] : []));
  // A misspelt option is named, too: by its own name.
  if (typeof settings === "object" && settings !== null) try { names.push(...Object.keys(settings)); } catch { /* a proxy */ }
  const state = given.src === undefined ? "" : bytesOf(peek(settings, "zi"));
  const result = outcome(() => call(settings), names, inputs);
  if (result !== undefined && name.endsWith("Stream")) {
    const samples = block.make();
    outcome(() => result.push(samples), ["block"], [samples]);
    if (result.pushTo) outcome(() => result.pushTo(out.make(), samples), ["block", "out"], [samples]);
    else outcome(() => result.push(samples, out.make()), ["block", "out"], []);
    if (result.finish) outcome(() => result.finish(), [], []);
    result.close();
  } else if (result !== undefined && typeof result === "object") {
    checkResult(result);
    const data = result.data ?? result;
    if (optionNames?.includes("out") && peek(settings, "out") === undefined && data.length < 1e6 && state === "") {
      const fits = new Float32Array(data.length);
      const again = outcome(() => call({ ...settings, out: fits }), names, inputs);
      assert.equal((again.data ?? again), fits);
      assert.equal(bitsOf(fits), bitsOf(data));
      const other = out.make();
      outcome(() => call({ ...settings, out: other }), names, inputs.filter((each) => each !== other));
    }
  }
  assert.equal(bytesOf(audio.fft(canary)), bytesOf(sung), "the instance is damaged");
}

const [runs, seed, path] = process.argv.slice(2);
const start = performance.now();
fc.assert(fc.property(calls, check), { numRuns: Number(runs), seed: Number(seed ?? 1), path });
console.log(`javascript_arguments: ${runs} runs, seed ${seed ?? 1}, ${Math.round((1000 * Number(runs)) / (performance.now() - start))} a second`);
