// Frames, spectrograms and their inverse, and the stretch of a signal that is not silence.
import {
  fftLength, type Floats, floats, INT_MAX, integer, known, matrix, type Matrix, mode, notNegative, number, type Out,
  output, windowLength,
} from "./checks.js";
import { type Center, CENTERS, type Norm, NORMS, type Window, WINDOWS } from "./modes.js";
import { type Core, newFloats } from "./wasm.js";

/** Frames of fftN samples every hopN samples. */
export interface Framing {
  /** Samples in a frame, 400 by default. */
  fftN?: number;
  /** Samples from one frame to the next, 160 by default. */
  hopN?: number;
  /** "reflect" by default. */
  center?: Center;
}

export interface Windowing extends Framing {
  /** Length of the window, 1 to fftN, which is the default; it lies in the middle of the frame. */
  winN?: number;
  /** "hann" by default. */
  winType?: Window;
}

export interface SpectrogramOptions extends Windowing, Out {
  /** At most so many frames; without it all that `frameLen` tells. */
  maxFrameN?: number;
  /** 0, the default, gives complex bins; above 0 the values are |bin| ** power. */
  power?: number;
  /** "none" by default. */
  normType?: Norm;
}

export interface InverseOptions extends Out {
  /** Samples from one frame to the next, 160 by default. */
  hopN?: number;
  /** 1 to fftN, which is the default. */
  winN?: number;
  /** "hann" by default. */
  winType?: Window;
  /** Length of the result, zeros behind the last frame; without it what `sampleLen` tells. */
  maxSampleN?: number;
  /** "reflect" by default. */
  center?: Center;
  /** "twoOverN" is undone, "windowL2" is left to the caller. */
  normType?: Norm;
}

const FRAMING = ["fftN", "hopN", "center"] as const;
export const WINDOWING = [...FRAMING, "winN", "winType"] as const;

/** What the exports that cut frames are told of them. */
export interface CheckedFraming {
  fftN: number;
  hopN: number;
  winN: number;
  winType: number;
  center: number;
}

export function checkedFraming({ fftN = 400, hopN = 160, center = "reflect", winN, winType = "hann" }: Windowing): CheckedFraming {
  fftLength("fftN", fftN);
  return {
    fftN, hopN: integer("hopN", hopN, 0), winN: windowLength(winN, fftN), winType: mode("winType", winType, WINDOWS),
    center: mode("center", center, CENTERS),
  };
}

/** Frames that a call will make: those of the signal, or maxFrameN if that is fewer. */
export function frameCapacity(core: Core, sampleN: number, framing: CheckedFraming, maxFrameN?: number): number {
  const { fftN, hopN, center } = framing;
  const frameN = core.query("kelvoAudioGetFrameLen", sampleN, fftN, hopN, center);
  if (maxFrameN !== undefined) return Math.min(frameN, integer("maxFrameN", maxFrameN));
  if (hopN === 0 && frameN > 0) throw new RangeError("hopN: 0 gives frames without end; maxFrameN would limit them");
  return frameN;
}

export const shortTime = (core: Core) => {
  const signalLen = (name: string, frameN: number, freqN: number, hopN: number, center: Center): number => {
    if ((frameN - 1) * hopN + 2 * freqN - 2 > INT_MAX) {
      throw new RangeError(`${name}: ${frameN} frames give more than ${INT_MAX} samples`);
    }
    return core.query("kelvoAudioGetSampleLen", frameN, freqN, hopN, mode("center", center, CENTERS));
  };

  const sampleLen = (frameN: number, options: { freqN?: number; hopN?: number; center?: Center } = {}): number => {
    const { freqN = 201, hopN = 160, center = "reflect" } = known(options, ["freqN", "hopN", "center"]);
    integer("frameN", frameN), integer("freqN", freqN), integer("hopN", hopN, 0);
    return signalLen("frameN", frameN, freqN, hopN, center);
  };

  return {
    /**
     * Number of frames of a signal: 0 when sampleN < fftN, else 1 + floor((sampleN - fftN) / hopN) uncentred,
     * 1 + floor(sampleN / hopN) with reflection, 1 + ceil(sampleN / hopN) with zeros.
     */
    frameLen(sampleN: number, options: Framing = {}): number {
      const { fftN = 400, hopN = 160, center = "reflect" } = known(options, FRAMING);
      return core.query("kelvoAudioGetFrameLen", integer("sampleN", sampleN), integer("fftN", fftN),
                        integer("hopN", hopN, 0), mode("center", center, CENTERS));
    },

    /** Number of samples of an inverse spectrogram: (frameN - 1) * hopN, uncentred plus 2 * freqN - 2. */
    sampleLen,

    /**
     * Fits a matrix to a number of frames: cuts columns off, or appends columns of padValue, which is 0 by default. A
     * complex one can be padded with 0 only.
     * @returns [freqN, dstFrameN]
     */
    fixFrameLen(src: Matrix, dstFrameN: number, options: Out & { padValue?: number } = {}): Matrix {
      const { padValue = 0, out } = known(options, ["padValue", "out"]);
      const { data, shape: [freqN, srcFrameN], complex } = matrix("src", src);
      const floatsN = complex ? 2 : 1;
      integer("dstFrameN", dstFrameN, 1, Math.floor(INT_MAX / (freqN * 2)));
      if (typeof padValue !== "number") number("padValue", padValue);
      if (complex && padValue !== 0) throw new RangeError(`padValue: must be 0 for a complex src, got ${padValue}`);
      const count = freqN * dstFrameN * floatsN;
      const target = output(out, count);
      return core.run(() => {
        const dst = core.reserve(count);
        core.call("kelvoAudioFixFrameLen", dst, core.place(data), freqN, floatsN * dstFrameN, floatsN * srcFrameN, padValue);
        return { data: core.take(dst, count, target), shape: [freqN, dstFrameN], complex };
      });
    },

    /**
     * Short-time Fourier transform: frames of fftN samples every hopN samples, each windowed and transformed.
     * @param src fewer than fftN samples give no frame at all
     * @returns [floor(fftN / 2) + 1, frames], complex with power 0, else real
     */
    spectrogram(src: Floats, options: SpectrogramOptions = {}): Matrix {
      const { maxFrameN, power = 0, normType = "none", out } =
        known(options, [...WINDOWING, "maxFrameN", "power", "normType", "out"]);
      const samples = floats("src", src);
      const framing = checkedFraming(options);
      const exponent = notNegative("power", power);
      const norm = mode("normType", normType, NORMS);
      const frameN = frameCapacity(core, samples.length, framing, maxFrameN);
      const freqN = Math.floor(framing.fftN / 2) + 1;
      const complex = exponent === 0;
      const count = freqN * frameN;
      const target = output(out, complex ? 2 * count : count);
      const data = core.run(() => {
        // The library wants room for one frame at least, even where the signal is too short to fill it.
        const dst = core.reserve(2 * freqN * Math.max(frameN, 1));
        core.call("kelvoAudioGetSpectrogram", dst, core.place(samples), samples.length, framing.fftN, framing.hopN,
                  framing.winN, framing.winType, Math.max(frameN, 1), framing.center, exponent, norm);
        if (complex) return core.take(dst, 2 * count, target);
        const real = target ?? newFloats(count);
        const heap = core.heap;
        for (let i = 0, at = dst / 4; i < count; ++i, at += 2) real[i] = heap[at];
        return real;
      });
      return { data, shape: [freqN, frameN], complex };
    },

    /**
     * Signal of a one-sided complex spectrogram, by overlap-add over the sum of the squared windows.
     * @param src [freqN, frameN] complex, freqN >= 2; fftN is 2 * freqN - 2
     * @returns maxSampleN samples
     */
    inverseSpectrogram(src: Matrix, options: InverseOptions = {}): Float32Array {
      const { hopN = 160, winN, winType = "hann", maxSampleN, center = "reflect", normType = "none", out } =
        known(options, ["hopN", "winN", "winType", "maxSampleN", "center", "normType", "out"]);
      const { data, shape: [freqN, frameN] } = matrix("src", src, true);
      if (freqN < 2) throw new RangeError(`src: must have 2 rows at least, got ${freqN}`);
      const fftN = 2 * freqN - 2;
      const window = windowLength(winN, fftN);
      const type = mode("winType", winType, WINDOWS);
      const norm = mode("normType", normType, NORMS);
      const told = signalLen("src", frameN, freqN, integer("hopN", hopN, 0), center);
      const sampleN = maxSampleN === undefined ? told : integer("maxSampleN", maxSampleN);
      const target = output(out, sampleN);
      return core.run(() => {
        // The library wants room for one sample at least, even where a single centred frame tells of none. What it
        // leaves untouched, behind the last frame, is 0.
        const room = Math.max(sampleN, 1);
        const dst = core.reserve(room);
        core.heap.fill(0, dst / 4, dst / 4 + room);
        core.call("kelvoAudioGetInverseSpectrogram", dst, core.place(data), frameN, freqN, hopN, window, type, room,
                  CENTERS[center], norm);
        return core.take(dst, sampleN, target);
      });
    },

    /**
     * The stretch from the first to the last frame whose mean square lies less than thrDb (60 by default) below the
     * loudest one's, by frames of winN (2048) samples every hopN (512).
     * @returns its first sample and its length; -1 and 0 if no frame counts
     */
    nonSilentPos(src: Floats, options: { winN?: number; hopN?: number; thrDb?: number } = {}): { start: number; length: number } {
      const { winN = 2048, hopN = 512, thrDb = 60 } = known(options, ["winN", "hopN", "thrDb"]);
      const samples = floats("src", src);
      integer("winN", winN), integer("hopN", hopN);
      const threshold = notNegative("thrDb", thrDb);
      return core.run(() => {
        const start = core.reserve(1), length = core.reserve(1);
        core.call("kelvoAudioGetNonSilentPos", start, length, core.place(samples), samples.length, winN, hopN, threshold);
        return { start: core.takeInt(start), length: core.takeInt(length) };
      });
    },
  };
};
