// Times the package beside others of npm, which it installs first; results are compared before they are timed. With
// KELVO_AUDIO_LIBRARY set to a native library, times that as well, through the Python package.
// Usage: node js/bench/run.js [SECONDS]     for each job, 1 by default
import { execFileSync } from "node:child_process";
import { existsSync } from "node:fs";
import { createRequire } from "node:module";
import { fileURLToPath } from "node:url";
import { load } from "../dist/node.js";

const home = fileURLToPath(new URL(".", import.meta.url));
if (!existsSync(new URL("node_modules", import.meta.url))) execFileSync("npm", ["ci", "--loglevel=error"], { cwd: home, stdio: "inherit" });
const require = createRequire(import.meta.url);
const FFT = require("fft.js"), Meyda = require("meyda");
// The loader of kissfft-wasm takes a Node that can fetch for a browser.
const { fetch } = globalThis;
globalThis.fetch = undefined;
const { ComplexArray, RealArray, RealFFTConfig } = require("kissfft-wasm"), { waitLoading } = require("kissfft-wasm/lib/wasm");
await waitLoading();
globalThis.fetch = fetch;

const seconds = Number(process.argv[2] ?? 1);
const audio = await load();
const random = (count) => Float32Array.from({ length: count }, () => Math.random() - 0.5);

/** The least time of a call in microseconds; the jobs take turns, so that all meet the same load. */
function time(jobs) {
  const best = jobs.map(() => Infinity);
  const rounds = 20;
  for (let round = 0; round < rounds; ++round) {
    for (const [j, { run }] of jobs.entries()) {
      const end = performance.now() + (1000 * seconds) / rounds;
      for (let calls = 1; performance.now() < end;) {
        const start = performance.now();
        for (let i = 0; i < calls; ++i) run();
        const spent = performance.now() - start;
        best[j] = Math.min(best[j], (1000 * spent) / calls);
        if (spent < 0.5) calls *= 2;
      }
    }
  }
  return best;
}

function print(name, microseconds, ours) {
  console.log(`  ${name.padEnd(34)} ${microseconds.toFixed(2).padStart(10)} us   ${(microseconds / ours).toFixed(2).padStart(6)}`);
}

/** Prints what each job takes, alone and over the first one's time, which it returns. */
function report(title, jobs) {
  const best = time(jobs);
  console.log(`\n${title}`);
  for (const [j, { name }] of jobs.entries()) print(name, best[j], best[0]);
  return best[0];
}

function mustAgree(name, got, expected, count) {
  let difference = 0, peak = 0;
  for (let i = 0; i < count; ++i) {
    difference = Math.max(difference, Math.abs(got[i] - expected[i]));
    peak = Math.max(peak, Math.abs(expected[i]));
  }
  if (!(difference <= 1e-5 * peak)) throw new Error(`${name} gives something else: ${difference} of ${peak}`);
}

for (const fftN of [512, 2048]) {
  const samples = random(fftN), out = new Float32Array(2 * fftN);
  const half = fftN + 2; // floats of the bins that all of them give
  audio.fft(samples, { out });
  const fft = new FFT(fftN), bins = fft.createComplexArray(), array = Array.from(samples);
  const meyda = { complexSpectrum: () => Meyda.extract("complexSpectrum", samples) };
  Object.assign(Meyda, { bufferSize: fftN, sampleRate: 16000, windowingFunction: "rect" });
  fft.realTransform(bins, array);
  mustAgree("fft.js", bins, out, half);
  const plan = new RealFFTConfig(fftN), input = new RealArray(fftN), output = new ComplexArray(fftN);
  const kissOut = new Float32Array(half);
  const kiss = () => {
    input.asFloat32Array().set(samples);
    plan.work(input, output);
    kissOut.set(output.asFloat32Array().subarray(0, half));
  };
  kiss();
  mustAgree("kissfft-wasm", kissOut, out, half);
  const { real, imag } = meyda.complexSpectrum();
  mustAgree("meyda", Array.from({ length: fftN }, (_, i) => (i % 2 ? imag : real)[i >> 1]), out, fftN);
  report(`transform of ${fftN} samples`, [
    { name: "kelvo-audio, all bins", run: () => audio.fft(samples, { out }) },
    { name: "kelvo-audio, all bins, new array", run: () => audio.fft(samples) },
    { name: "fft.js, lower half", run: () => fft.realTransform(bins, array) },
    { name: "kissfft-wasm, lower half", run: kiss },
    { name: "meyda, complexSpectrum", run: meyda.complexSpectrum },
  ]);
}

const signal = random(480_000);
const logMel = () => audio.powerToDb(audio.melSpectrogram(signal));
const ours = report("log-mel and decibels of 30 s, 400/160/80", [{ name: "kelvo-audio", run: logMel }]);
if (process.env.KELVO_AUDIO_LIBRARY) {
  const script = `
import time, numpy as np, kelvo_audio as ka
x = np.random.default_rng(1).random(480000, np.float32) - np.float32(0.5)
best, end = 1e9, time.perf_counter() + ${seconds}
while time.perf_counter() < end:
    start = time.perf_counter()
    ka.power_to_db(ka.mel_spectrogram(x))
    best = min(best, time.perf_counter() - start)
print(best * 1e6)`;
  const native = Number(execFileSync("python3", ["-c", script], {
    env: { ...process.env, PYTHONPATH: fileURLToPath(new URL("../../python", import.meta.url)) }, encoding: "utf8",
  }));
  print("native, through Python", native, ours);
}
