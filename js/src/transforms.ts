// Element-wise functions, the discrete Fourier transform, and windows.
import {
  complexes, fftLength, type Floats, floats, integer, isMatrix, known, matrix, type Matrix, mode, type Out, output,
} from "./checks.js";
import { type Window, WINDOWS } from "./modes.js";
import type { Core } from "./wasm.js";

/** A matrix for a matrix, and an array for an array. */
export type Like<Source> = Source extends Matrix ? Matrix : Float32Array;

/** Applies a function of equally many values to an array or to a matrix of real values. */
export function mapValues<Source extends Floats | Matrix>(
  core: Core, source: Source, out: Float32Array | undefined,
  compute: (dst: number, src: number, count: number) => void,
): Like<Source> {
  const given = isMatrix(source) ? matrix("src", source, false) : undefined;
  const values = given?.data ?? floats("src", source as Floats);
  const target = output(out, values.length);
  const data = core.run(() => {
    const address = core.place(values);
    compute(address, address, values.length);
    return core.take(address, values.length, target);
  });
  return (given ? { data, shape: given.shape, complex: false } : data) as Like<Source>;
}

export const transforms = (core: Core) => ({
  /**
   * Natural logarithm of one plus each value; -1 gives -Infinity, values below -1 and NaN give NaN.
   * @returns the same shape
   */
  log1p<Source extends Floats | Matrix>(src: Source, options: Out = {}): Like<Source> {
    const { out } = known(options, ["out"]);
    return mapValues(core, src, out, (dst, from, count) => core.call("kelvoAudioLog1p", dst, from, count));
  },

  /**
   * Shifts and scales all values to zero mean and unit (population) standard deviation. One pass in single precision: of
   * a long input, or one whose mean is large beside its deviation, digits are lost.
   * @returns the same shape
   */
  standardize<Source extends Floats | Matrix>(src: Source, options: Out = {}): Like<Source> {
    const { out } = known(options, ["out"]);
    return mapValues(core, src, out, (dst, from, count) => core.call("kelvoAudioStandardize", dst, from, count));
  },

  /**
   * Discrete Fourier transform of a real signal, unscaled.
   * @param src 1 to 2**30 - 1 samples, powers of two up to 2**27
   * @returns as many complex values: all bins, those above half of them the conjugates of those below
   */
  fft(src: Floats, options: Out = {}): Float32Array {
    const { out } = known(options, ["out"]);
    const samples = floats("src", src);
    const fftN = fftLength("src", samples.length);
    const target = output(out, 2 * fftN);
    return core.run(() => {
      const address = core.place(samples, 2 * fftN);
      core.call("kelvoAudioFFT", address, address, fftN);
      return core.take(address, 2 * fftN, target);
    });
  },

  /**
   * Inverse discrete Fourier transform, divided by the number of bins.
   * @param src complex values, as many as for `fft`
   * @returns as many complex values
   */
  ifft(src: Floats, options: Out = {}): Float32Array {
    const { out } = known(options, ["out"]);
    const bins = complexes("src", src);
    const fftN = fftLength("src", bins.length / 2);
    const target = output(out, 2 * fftN);
    return core.run(() => {
      const address = core.place(bins);
      core.call("kelvoAudioIFFT", address, address, fftN);
      return core.take(address, 2 * fftN, target);
    });
  },

  /** A periodic window: Hann 0.5 - 0.5 cos(2 pi i / windowN), Hamming 0.54 - 0.46 cos(2 pi i / windowN). */
  getWindow(windowN: number, options: Out & { winType?: Window } = {}): Float32Array {
    const { winType = "hann", out } = known(options, ["winType", "out"]);
    integer("windowN", windowN);
    const type = mode("winType", winType, WINDOWS);
    const target = output(out, windowN);
    return core.run(() => {
      const dst = core.reserve(windowN);
      core.call("kelvoAudioGetWindow", dst, windowN, type);
      return core.take(dst, windowN, target);
    });
  },
});
