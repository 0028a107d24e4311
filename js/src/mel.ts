// Mel filter banks and mel spectrograms, decibels, magnitudes and phases.
import {
  complexes, type Floats, floats, integer, isMatrix, known, matrix, type Matrix, melBand, mode, notNegative, number,
  type Out, output,
} from "./checks.js";
import { MEL_FORMULAS, MEL_NORMS, type MelFormula, type MelNorm, type Norm, NORMS, type Phase, PHASES } from "./modes.js";
import { type CheckedFraming, checkedFraming, frameCapacity, WINDOWING, type Windowing } from "./short_time.js";
import { type Like, mapValues } from "./transforms.js";
import type { Core } from "./wasm.js";

export interface MelBank {
  /** Filters, 80 by default. */
  melN?: number;
  /** Hz, 16000 by default. */
  sampleRate?: number;
  /** Hz, 0 by default. */
  fMin?: number;
  /** Hz, by default half the sample rate. */
  fMax?: number;
  /** "slaney" by default. */
  melNorm?: MelNorm;
  /** "slaney" by default. */
  melFormula?: MelFormula;
}

export interface MelFrameOptions extends Windowing, MelBank {
  /** 2, the default, gives energies, 1 magnitudes; with 0 every |bin| ** power is 1. */
  power?: number;
  /** "none" by default. */
  fftNormType?: Norm;
}

export interface MelSpectrogramOptions extends MelFrameOptions, Out {
  /** At most so many frames; without it all that `frameLen` tells. */
  maxFrameN?: number;
}

const MEL_BANK = ["melN", "sampleRate", "fMin", "fMax", "melNorm", "melFormula"] as const;
export const MEL_FRAMES = [...WINDOWING, ...MEL_BANK, "power", "fftNormType"] as const;

interface CheckedBank {
  melN: number;
  sampleRate: number;
  low: number;
  high: number;
  norm: number;
  formula: number;
}

function checkedBank(options: MelBank, mostMelN: number): CheckedBank {
  const { melN = 80, sampleRate = 16000, fMin = 0, fMax, melNorm = "slaney", melFormula = "slaney" } = options;
  integer("sampleRate", sampleRate);
  integer("melN", melN, 1, mostMelN);
  const [low, high] = melBand(fMin, fMax, sampleRate);
  return {
    melN, sampleRate, low, high, norm: mode("melNorm", melNorm, MEL_NORMS),
    formula: mode("melFormula", melFormula, MEL_FORMULAS),
  };
}

export interface CheckedMel {
  framing: CheckedFraming;
  bank: CheckedBank;
  power: number;
  norm: number;
}

export function checkedMel(options: MelFrameOptions): CheckedMel {
  const { power = 2, fftNormType = "none" } = options;
  const framing = checkedFraming(options);
  return {
    framing, bank: checkedBank(options, Math.floor(framing.fftN / 2)), power: notNegative("power", power),
    norm: mode("fftNormType", fftNormType, NORMS),
  };
}

/** kelvoAudioGetMelSpectrogram without its arrays: what follows sampleN. */
export function melArguments({ framing, bank, power, norm }: CheckedMel, frameN: number, center = framing.center): number[] {
  const { fftN, hopN, winN, winType } = framing;
  const { melN, sampleRate, low, high } = bank;
  return [sampleRate, fftN, hopN, winN, winType, frameN, center, power, norm, low, high, melN, bank.norm, bank.formula];
}

export const mel = (core: Core) => ({
  /**
   * Triangular filters over the bins of a one-sided spectrum. freqN, 201 by default, is more than melN; bin k lies at
   * k * sampleRate / (2 * (freqN - 1)) Hz.
   * @returns [melN, freqN]
   */
  melFilterBank(options: Out & MelBank & { freqN?: number } = {}): Matrix {
    const { freqN = 201, out } = known(options, [...MEL_BANK, "freqN", "out"]);
    integer("freqN", freqN);
    const bank = checkedBank(options, freqN - 1);
    const { melN, low, high, sampleRate } = bank;
    const target = output(out, melN * freqN);
    const data = core.run(() => {
      const dst = core.reserve(melN * freqN);
      core.call("kelvoAudioGetFBMatrix", dst, freqN, low, high, melN, sampleRate, bank.norm, bank.formula);
      return core.take(dst, melN * freqN, target);
    });
    return { data, shape: [melN, freqN], complex: false };
  },

  /**
   * Mel spectrogram of a signal: its spectrogram's |bin| ** power times the filter bank.
   * @param src fewer than fftN samples give no frame at all
   * @returns [melN, frames]
   */
  melSpectrogram(src: Floats, options: MelSpectrogramOptions = {}): Matrix {
    const { maxFrameN, out } = known(options, [...MEL_FRAMES, "maxFrameN", "out"]);
    const samples = floats("src", src);
    const checked = checkedMel(options);
    const melN = checked.bank.melN;
    const frameN = frameCapacity(core, samples.length, checked.framing, maxFrameN);
    const target = output(out, melN * frameN);
    const data = core.run(() => {
      // The library wants room for one frame at least, even where the signal is too short to fill it.
      const dst = core.reserve(melN * Math.max(frameN, 1));
      core.call("kelvoAudioGetMelSpectrogram", dst, core.place(samples), samples.length,
                ...melArguments(checked, Math.max(frameN, 1)));
      return core.take(dst, melN * frameN, target);
    });
    return { data, shape: [melN, frameN], complex: false };
  },

  /**
   * Applies a filter bank to a real spectrogram: fbMatrix * src, each sum in ascending order of bins.
   * @param src [freqN, frameN], for instance spectrogram(..., { power: 2 })
   * @param fbMatrix [melN, freqN], as melFilterBank gives it or any other, with melN < freqN
   * @returns [melN, frameN]
   */
  convertToMel(src: Matrix, fbMatrix: Matrix, options: Out = {}): Matrix {
    const { out } = known(options, ["out"]);
    const { data: bins, shape: [freqN, frameN] } = matrix("src", src, false);
    const { data: weights, shape: [melN, bankFreqN] } = matrix("fbMatrix", fbMatrix, false);
    if (bankFreqN !== freqN || melN >= freqN) {
      throw new RangeError(`fbMatrix: expected fewer than ${freqN} rows of ${freqN}, got ${melN} x ${bankFreqN}`);
    }
    const target = output(out, melN * frameN);
    const data = core.run(() => {
      const dst = core.reserve(melN * frameN);
      core.call("kelvoAudioConvertToMel", dst, core.place(bins), core.place(weights), freqN, frameN, melN);
      return core.take(dst, melN * frameN, target);
    });
    return { data, shape: [melN, frameN], complex: false };
  },

  /**
   * Power to decibels below the largest value of all, values below 1e-10 counting as 1e-10. Values lower than -topDb, 80
   * by default, are raised to it; a negative topDb sets no limit.
   * @returns the same shape, dB
   */
  powerToDb<Source extends Floats | Matrix>(src: Source, options: Out & { topDb?: number } = {}): Like<Source> {
    const { topDb = 80, out } = known(options, ["topDb", "out"]);
    const top = number("topDb", topDb);
    return mapValues(core, src, out, (dst, from, count) => core.call("kelvoAudioConvertPowerToDB", dst, from, count, top));
  },

  /**
   * Magnitude of complex values raised to a power above 0: 1, the default, gives magnitudes, 2 squared magnitudes.
   * @param src a complex matrix, or an array of pairs of a real and an imaginary part
   * @returns half as many floats, or a real matrix of the same shape
   */
  complexNorm<Source extends Floats | Matrix>(src: Source, options: Out & { power?: number } = {}): Like<Source> {
    const { power = 1, out } = known(options, ["power", "out"]);
    const given = isMatrix(src) ? matrix("src", src, true) : undefined;
    const values = given?.data ?? complexes("src", src as Floats);
    const exponent = notNegative("power", power);
    if (exponent === 0) throw new RangeError(`power: must be greater than 0, got ${power}`);
    const count = values.length / 2;
    const target = output(out, count);
    const data = core.run(() => {
      const dst = core.reserve(count);
      core.call("kelvoAudioComplexNorm", dst, core.place(values), count, exponent);
      return core.take(dst, count, target);
    });
    return (given ? { data, shape: given.shape, complex: false } : data) as Like<Source>;
  },

  /**
   * Splits a complex spectrogram into magnitude raised to a power, 1 by default, and phase: unit complex values, or
   * angles in radians where phaseForm is "angle".
   * @returns two matrices of the same shape
   */
  magPhase(src: Matrix, options: { power?: number; phaseForm?: Phase } = {}): { magnitude: Matrix; phase: Matrix } {
    const { power = 1, phaseForm = "complex" } = known(options, ["power", "phaseForm"]);
    const { data, shape } = matrix("src", src, true);
    const form = mode("phaseForm", phaseForm, PHASES);
    const exponent = notNegative("power", power);
    const count = data.length / 2;
    const phaseN = form === PHASES.complex ? 2 * count : count;
    return core.run(() => {
      const magnitude = core.reserve(count), phase = core.reserve(phaseN);
      core.call("kelvoAudioMagPhase", magnitude, phase, core.place(data), shape[0], shape[1], exponent, form);
      return {
        magnitude: { data: core.take(magnitude, count), shape, complex: false },
        phase: { data: core.take(phase, phaseN), shape: [...shape], complex: form === PHASES.complex },
      };
    });
  },
});
