// Frames, filters and resampling of a signal that arrives in blocks, with the bits of one call over the whole signal.
//
// A stream takes its memory when it is made, builds the library's tables then, and allocates nothing afterwards in the
// methods whose name ends in To, and in FilterStream.push with an output: those are fit for an AudioWorklet.
import { checkedState, checkedSections, DENOMINATOR_BYTES, SECTION_BYTES, SECTION_N, type Sections, STATE_BYTES } from "./filters.js";
import { float32Array, type Floats, floats, integer, known, type Matrix, mode, notNegative } from "./checks.js";
import { type CheckedMel, checkedMel, MEL_FRAMES, type MelFrameOptions } from "./mel.js";
import { CENTERS, type Norm, NORMS } from "./modes.js";
import { checkedRates, type Rates } from "./rates.js";
import { type CheckedFraming, checkedFraming, WINDOWING, type Windowing } from "./short_time.js";
import { type Address, type Core, failure, newFloats } from "./wasm.js";

/** Longer blocks are worked on in pieces of so many samples. */
const PIECE_N = 1024;
/** Up to here a loop copies as fast as a view of the memory is made, and leaves no garbage. */
const LOOP_N = 512;

function copyOut(out: Float32Array, outAt: number, heap: Float32Array, at: number, count: number): void {
  if (count > LOOP_N) {
    out.set(heap.subarray(at, at + count), outAt);
  } else {
    for (let i = 0; i < count; ++i) out[outAt + i] = heap[at + i];
  }
}

function copyIn(heap: Float32Array, at: number, block: Float32Array, from: number, count: number): void {
  heap.set(from === 0 && count === block.length ? block : block.subarray(from, from + count), at);
}

function samplesOf(block: Floats): Float32Array {
  return block instanceof Float32Array && block.length === 0 ? block : floats("block", block);
}

/** What all streams have: memory of their own, given back by close() or, failing that, with the stream itself. */
class Stream {
  private owned: Address | undefined;

  protected constructor(protected readonly core: Core, floatN: number) {
    this.owned = core.own(this, 4 * floatN);
  }

  /** The place of the stream's memory in the heap, in floats. */
  protected get base(): number {
    if (this.owned === undefined) throw new Error("the stream is closed");
    return this.owned >>> 2; // a quotient could be no integer, and would be kept on JavaScript's heap
  }

  protected check(name: string, status: number): void {
    if (status !== 0) throw failure(name, status);
  }

  /** Gives the stream's memory back. */
  close(): void {
    if (this.owned !== undefined) this.core.disown(this, this.owned);
    this.owned = undefined;
  }
}

/** Frames as they become complete. */
abstract class FrameStream extends Stream {
  /** Values in a frame: mel bands, or bins, where complex two floats each. */
  readonly rowN: number;
  private readonly padN: number;
  private readonly capacity: number;
  // The samples at the start of the stream's memory: the next frame begins at frameStart, which may lie beyond them.
  private sampleN = 0;
  private frameStart = 0;
  private starts = true;
  private pushedN = 0;
  private givenN = 0;

  /** Each of the library's values takes storedN floats, of which the frames have the first, or both if complex. */
  protected constructor(core: Core, private readonly framing: CheckedFraming, rowN: number,
                        private readonly storedN: number, private readonly complex: boolean) {
    const { fftN, hopN, center } = framing;
    integer("hopN", hopN);
    const padN = center === CENTERS.none ? 0 : Math.floor(fftN / 2);
    // A frame less a sample, what mirroring reaches back to, a piece, and what finish() appends.
    const capacity = 2 * fftN + 2 * padN + hopN + PIECE_N + 2;
    super(core, capacity + storedN * rowN * FrameStream.framesIn(capacity, fftN, hopN));
    this.rowN = rowN;
    this.padN = padN;
    this.capacity = capacity;
  }

  private static framesIn(sampleN: number, fftN: number, hopN: number): number {
    return sampleN < fftN ? 0 : 1 + Math.floor((sampleN - fftN) / hopN);
  }

  /** Builds the tables, and has the library take the most memory that it will. */
  protected warmUp(): void {
    this.core.heap.fill(0, this.base, this.base + this.capacity);
    this.transform(this.base, this.capacity, FrameStream.framesIn(this.capacity, this.framing.fftN, this.framing.hopN));
  }

  /** Writes [rowN x frameN] behind the samples; `at` counts in floats. */
  protected abstract transform(at: number, sampleN: number, frameN: number): void;

  protected get target(): Address {
    return 4 * (this.base + this.capacity);
  }

  /** Number of frames that a block of so many samples will complete. */
  frameN(blockN: number): number {
    const { fftN, hopN } = this.framing;
    if (this.starts && this.pushedN + blockN < fftN) return 0;
    const padN = this.starts ? this.padN : 0;
    return FrameStream.framesIn(padN + this.sampleN + blockN - this.frameStart, fftN, hopN);
  }

  /** The frames that `block` completes, [rowN, frames]: the columns that one call over the whole signal would give next. */
  push(block: Floats): Matrix {
    const samples = samplesOf(block);
    const frames = newFloats(this.frameN(samples.length) * this.floatN);
    this.pushTo(frames, samples);
    return this.matrix(frames);
  }

  /**
   * Like push, but writes the frames one behind the other to `out`, frame t from out[t * rowN] on, or out[2 * t * rowN]
   * for complex bins, and returns their number.
   */
  pushTo(out: Float32Array, block: Float32Array): number {
    float32Array("out", out);
    const expected = this.frameN(float32Array("block", block).length);
    if (out.length < expected * this.floatN) {
      throw new RangeError(`out: must have room for ${expected} frames of ${this.floatN} floats, got ${out.length}`);
    }
    let frameN = 0;
    for (let from = 0; from < block.length; from += PIECE_N) {
      const count = Math.min(PIECE_N, block.length - from);
      copyIn(this.core.heap, this.base + this.sampleN, block, from, count);
      this.sampleN += count;
      this.pushedN += count;
      // A shorter signal has no frames, centred or not.
      if (this.starts && this.pushedN >= this.framing.fftN) this.begin();
      if (!this.starts) frameN += this.giveFrames(out, frameN);
    }
    return frameN;
  }

  /** The frames that reach beyond the end. */
  finish(): Matrix {
    const { fftN, hopN, center } = this.framing;
    const wholeN = this.pushedN < fftN ? 0 : this.core.query("kelvoAudioGetFrameLen", this.pushedN, fftN, hopN, center);
    const restN = Math.max(0, wholeN - this.givenN);
    const frames = newFloats(restN * this.floatN);
    if (restN > 0 && center !== CENTERS.none) {
      const { heap, base, sampleN } = this;
      const missing = Math.max(0, this.frameStart + fftN + (restN - 1) * hopN - sampleN);
      for (let d = 0; d < missing; ++d) {
        heap[base + sampleN + d] = center === CENTERS.reflect ? heap[base + sampleN - 2 - d] : 0;
      }
      this.sampleN += missing;
      this.giveFrames(frames, 0);
    }
    return this.matrix(frames);
  }

  private get heap(): Float32Array {
    return this.core.heap;
  }

  private get floatN(): number {
    return this.complex ? 2 * this.rowN : this.rowN;
  }

  /** Puts what lies before the signal in front of it. */
  private begin(): void {
    const { heap, base, padN } = this;
    heap.copyWithin(base + padN, base, base + this.sampleN);
    for (let d = 1; d <= padN; ++d) {
      heap[base + padN - d] = this.framing.center === CENTERS.reflect ? heap[base + padN + d] : 0;
    }
    this.sampleN += padN;
    this.starts = false;
  }

  private giveFrames(out: Float32Array, outFrame: number): number {
    const { fftN, hopN } = this.framing;
    const frameN = FrameStream.framesIn(this.sampleN - this.frameStart, fftN, hopN);
    if (frameN === 0) return 0;
    this.transform(this.base + this.frameStart, this.sampleN - this.frameStart, frameN);
    const { heap, rowN, base, storedN } = this;
    const values = base + this.capacity;
    const partN = this.complex ? 2 : 1;
    for (let t = 0; t < frameN; ++t) {
      const at = (outFrame + t) * rowN * partN;
      for (let row = 0; row < rowN; ++row) {
        const from = values + (row * frameN + t) * storedN;
        out[at + row * partN] = heap[from];
        if (partN === 2) out[at + row * partN + 1] = heap[from + 1];
      }
    }
    this.givenN += frameN;
    this.frameStart += frameN * hopN;
    // The end may have to be mirrored, by as many samples as lie before the centre of a frame.
    const dropped = Math.max(0, Math.min(this.frameStart, this.sampleN - this.padN - 1));
    heap.copyWithin(base, base + dropped, base + this.sampleN);
    this.sampleN -= dropped;
    this.frameStart -= dropped;
    return frameN;
  }

  /** Frames one behind the other as a matrix with a column for each. */
  private matrix(frames: Float32Array): Matrix {
    const { rowN, complex } = this;
    const partN = complex ? 2 : 1;
    const columnN = frames.length / (rowN * partN);
    const data = newFloats(frames.length);
    for (let t = 0; t < columnN; ++t) {
      for (let row = 0; row < rowN; ++row) {
        for (let part = 0; part < partN; ++part) {
          data[(row * columnN + t) * partN + part] = frames[(t * rowN + row) * partN + part];
        }
      }
    }
    return { data, shape: [rowN, columnN], complex };
  }
}

/** The mel spectrogram of a signal that arrives in blocks. */
export class MelStream extends FrameStream {
  private readonly settings: CheckedMel;

  constructor(core: Core, options: MelFrameOptions) {
    const settings = checkedMel(known(options, MEL_FRAMES));
    super(core, settings.framing, settings.bank.melN, 1, false);
    this.settings = settings;
    this.warmUp();
  }

  protected transform(at: number, sampleN: number, frameN: number): void {
    const { framing: { fftN, hopN, winN, winType }, bank, power, norm } = this.settings;
    this.check("kelvoAudioGetMelSpectrogram", this.core.find("kelvoAudioGetMelSpectrogram")(
      this.target, 4 * at, sampleN, bank.sampleRate, fftN, hopN, winN, winType, frameN, CENTERS.none, power, norm,
      bank.low, bank.high, bank.melN, bank.norm, bank.formula));
  }
}

export interface SpectrogramStreamOptions extends Windowing {
  /** "none" by default. */
  normType?: Norm;
  /** 0, the default, gives complex bins; above 0 the values are |bin| ** power. */
  power?: number;
}

/** The spectrogram of a signal that arrives in blocks. */
export class SpectrogramStream extends FrameStream {
  private readonly power: number;
  private readonly norm: number;
  private readonly settings: CheckedFraming;

  constructor(core: Core, options: SpectrogramStreamOptions) {
    const { power = 0, normType = "none" } = known(options, [...WINDOWING, "power", "normType"]);
    const exponent = notNegative("power", power);
    const norm = mode("normType", normType, NORMS);
    const settings = checkedFraming(options);
    super(core, settings, Math.floor(settings.fftN / 2) + 1, 2, exponent === 0); // powers lie in the real parts
    this.power = exponent;
    this.norm = norm;
    this.settings = settings;
    this.warmUp();
  }

  protected transform(at: number, sampleN: number, frameN: number): void {
    const { fftN, hopN, winN, winType } = this.settings;
    this.check("kelvoAudioGetSpectrogram", this.core.find("kelvoAudioGetSpectrogram")(
      this.target, 4 * at, sampleN, fftN, hopN, winN, winType, frameN, CENTERS.none, this.power, this.norm));
  }
}

export interface FilterStreamOptions {
  /** Second-order sections, rows b0 b1 b2 a0 a1 a2; or nCoef and dCoef instead. */
  sos?: Sections;
  /** The numerator of a filter that is not given in sections. */
  nCoef?: Floats;
  /** Its denominator. */
  dCoef?: Floats;
  /** The state before the first sample; without it the filter starts from silence. */
  zi?: Float32Array;
}

/** A filter whose state carries over from block to block. */
export class FilterStream extends Stream {
  // Behind the samples lie the coefficients, section by section, and behind those the state.
  private readonly nCoefN: number;
  private readonly dCoefN: number;
  private readonly stateN: number;
  private readonly sectionN: number;

  constructor(core: Core, options: FilterStreamOptions) {
    const { sos, nCoef, dCoef, zi } = known(options, ["sos", "nCoef", "dCoef", "zi"]);
    if ((sos === undefined) === (nCoef === undefined && dCoef === undefined)) {
      throw new TypeError("sos: expected either sos, or nCoef and dCoef");
    }
    let coefficients: Float32Array, nCoefN = 3, dCoefN = 3, stateN = 2, sectionN = 1;
    if (sos !== undefined) {
      coefficients = checkedSections(sos);
      sectionN = coefficients.length / SECTION_N;
    } else {
      const b = floats("nCoef", nCoef as Floats), a = floats("dCoef", dCoef as Floats);
      [nCoefN, dCoefN, stateN] = [b.length, a.length, Math.max(b.length, a.length) - 1];
      coefficients = new Float32Array(nCoefN + dCoefN);
      coefficients.set(b);
      coefficients.set(a, nCoefN);
    }
    const state = checkedState(zi, sectionN * stateN) ?? new Float32Array(sectionN * stateN);
    super(core, PIECE_N + coefficients.length + state.length);
    this.nCoefN = nCoefN;
    this.dCoefN = dCoefN;
    this.stateN = stateN;
    this.sectionN = sectionN;
    core.heap.fill(0, this.base, this.base + PIECE_N);
    core.heap.set(coefficients, this.base + PIECE_N);
    // Once over silence, for whatever the library allocates.
    core.heap.set(new Float32Array(state.length), this.stateAt);
    this.filter(PIECE_N);
    core.heap.set(state, this.stateAt);
  }

  /** The filtered block, in `out` or else in a new array; `out` may be the block itself. */
  push(block: Floats, out?: Float32Array): Float32Array {
    const samples = samplesOf(block);
    const target = out === undefined ? new Float32Array(samples.length) : float32Array("out", out);
    if (target.length !== samples.length) {
      throw new RangeError(`out: must have the ${samples.length} samples of the block, got ${target.length}`);
    }
    for (let from = 0; from < samples.length; from += PIECE_N) {
      const count = Math.min(PIECE_N, samples.length - from);
      copyIn(this.core.heap, this.base, samples, from, count);
      this.filter(count);
      copyOut(target, from, this.core.heap, this.base, count);
    }
    return target;
  }

  private get stateAt(): number {
    return this.base + PIECE_N + this.sectionN * (this.nCoefN + this.dCoefN);
  }

  private filter(count: number): void {
    const run = this.core.find("kelvoAudioLinerFilter");
    const at = 4 * this.base, coefficients = at + 4 * PIECE_N, state = 4 * this.stateAt;
    const denominator = this.sectionN > 1 ? DENOMINATOR_BYTES : 4 * this.nCoefN;
    for (let s = 0; s < this.sectionN; ++s) {
      const section = coefficients + s * SECTION_BYTES;
      this.check("kelvoAudioLinerFilter", run(at, at, section, section + denominator, state + s * STATE_BYTES, count, count,
                                              this.nCoefN, this.dCoefN, this.stateN));
    }
  }
}

/** Input samples to each side that an output of the resampler depends on. */
const REACH = 32;

function greatestCommonDivisor(a: number, b: number): number {
  return b === 0 ? a : greatestCommonDivisor(b, a % b);
}

/**
 * Resamples whole cycles of the two rates, after which the filters repeat: 3 samples from 48 to 16 kHz, 441 (10 ms) from
 * 44.1 to 16 kHz.
 */
export class ResampleStream extends Stream {
  private readonly up: number;
  private readonly down: number;
  private readonly context: number;
  private readonly capacity: number;
  // The samples at the start of the stream's memory, and the cycles there whose output was given before.
  private sampleN = 0;
  private givenCycles = 0;
  private pushedN = 0;
  private givenN = 0;

  constructor(core: Core, options: Rates) {
    const { dstSampleRate, srcSampleRate } = checkedRates(known(options, ["dstSampleRate", "srcSampleRate"]));
    const divisor = greatestCommonDivisor(dstSampleRate, srcSampleRate);
    const up = dstSampleRate / divisor, down = srcSampleRate / divisor;
    const context = Math.ceil(REACH / down);
    const capacity = (context + 1) * down + REACH + 1 + PIECE_N;
    super(core, capacity + Math.ceil((capacity * up) / down) + up + 1);
    this.up = up;
    this.down = down;
    this.context = context;
    this.capacity = capacity;
    core.heap.fill(0, this.base, this.base + capacity);
    this.resample(capacity, Math.ceil((capacity * up) / down));
  }

  /** Number of samples that a block of so many samples will complete. */
  outputN(blockN: number): number {
    return (this.completeCycles(this.sampleN + blockN) - this.givenCycles) * this.up;
  }

  /** The samples that `block` completes: those that one call over the whole signal would give next. */
  push(block: Floats): Float32Array {
    const samples = samplesOf(block);
    const out = newFloats(this.outputN(samples.length));
    this.pushTo(out, samples);
    return out;
  }

  /** Like push, but writes the samples to the start of `out` and returns their number. */
  pushTo(out: Float32Array, block: Float32Array): number {
    float32Array("out", out);
    const expected = this.outputN(float32Array("block", block).length);
    if (out.length < expected) throw new RangeError(`out: must have room for ${expected} samples, got ${out.length}`);
    let outN = 0;
    for (let from = 0; from < block.length; from += PIECE_N) {
      const count = Math.min(PIECE_N, block.length - from);
      copyIn(this.core.heap, this.base + this.sampleN, block, from, count);
      this.sampleN += count;
      this.pushedN += count;
      const cycles = this.completeCycles(this.sampleN);
      if (cycles === this.givenCycles) continue;
      outN += this.give(out, outN, cycles * this.up);
      const dropped = Math.max(0, cycles - this.context);
      const { base } = this;
      this.core.heap.copyWithin(base, base + dropped * this.down, base + this.sampleN);
      this.sampleN -= dropped * this.down;
      this.givenCycles = cycles - dropped;
    }
    return outN;
  }

  /** The samples whose filters reach beyond the end. */
  finish(): Float32Array {
    if (this.pushedN === 0) return new Float32Array(0);
    const wholeN = this.core.query("kelvoAudioGetResampleLen", this.up, this.pushedN, this.down);
    const restN = Math.max(0, wholeN - this.givenN);
    const out = newFloats(restN);
    if (restN > 0) this.give(out, 0, this.givenCycles * this.up + restN);
    return out;
  }

  /** Cycles with enough input behind them: one sample more than the reach, since a call ends where that meets the end. */
  private completeCycles(sampleN: number): number {
    return Math.max(this.givenCycles, Math.floor((sampleN - REACH - 1) / this.down));
  }

  private give(out: Float32Array, outAt: number, end: number): number {
    const start = this.givenCycles * this.up;
    this.resample(this.sampleN, end);
    copyOut(out, outAt, this.core.heap, this.base + this.capacity + start, end - start);
    this.givenN += end - start;
    return end - start;
  }

  private resample(sampleN: number, dstN: number): void {
    const run = this.core.find("kelvoAudioResample");
    const src = 4 * this.base;
    this.check("kelvoAudioResample", run(src + 4 * this.capacity, src, this.up, dstN, this.down, sampleN));
  }
}

export const streams = (core: Core) => ({
  /** A mel spectrogram of blocks; hopN is at least 1. */
  melStream: (options: MelFrameOptions = {}) => new MelStream(core, options),
  /** A spectrogram of blocks; hopN is at least 1. */
  spectrogramStream: (options: SpectrogramStreamOptions = {}) => new SpectrogramStream(core, options),
  /** A filter over blocks. */
  filterStream: (options: FilterStreamOptions) => new FilterStream(core, options),
  /** A conversion of blocks to another sample rate. */
  resampleStream: (options: Rates) => new ResampleStream(core, options),
});
