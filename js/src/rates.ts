// Conversion to another sample rate.
import { type Floats, floats, integer, known, type Out, output } from "./checks.js";
import type { Core } from "./wasm.js";

/** Two sample rates, of which only the ratio matters. */
export interface Rates {
  dstSampleRate: number;
  srcSampleRate: number;
}

export function checkedRates({ dstSampleRate, srcSampleRate }: Rates): Rates {
  return {
    dstSampleRate: integer("dstSampleRate", dstSampleRate), srcSampleRate: integer("srcSampleRate", srcSampleRate),
  };
}

export const rates = (core: Core) => {
  const resampleLen = (srcSampleN: number, options: Rates): number => {
    const { dstSampleRate, srcSampleRate } = checkedRates(known(options, ["dstSampleRate", "srcSampleRate"]));
    return core.query("kelvoAudioGetResampleLen", dstSampleRate, integer("srcSampleN", srcSampleN), srcSampleRate);
  };

  return {
    /** Number of samples that resample makes: dstSampleRate / srcSampleRate * srcSampleN, rounded up. */
    resampleLen,

    /**
     * Converts a signal to another sample rate by a windowed sinc over 65 input samples, with zeros beyond the ends. The
     * last few samples are 0 where the filter reaches the last input: append two zeros to src to have them computed.
     * @returns dstN samples, by default as many as resampleLen tells; what lies beyond those is 0
     */
    resample(src: Floats, options: Rates & Out & { dstN?: number }): Float32Array {
      const { dstN, out } = known(options, ["dstSampleRate", "srcSampleRate", "dstN", "out"]);
      const samples = floats("src", src);
      const { dstSampleRate, srcSampleRate } = checkedRates(options);
      const count = dstN === undefined
        ? resampleLen(samples.length, { dstSampleRate, srcSampleRate })
        : integer("dstN", dstN);
      const target = output(out, count);
      return core.run(() => {
        const dst = core.reserve(count);
        core.call("kelvoAudioResample", dst, core.place(samples), dstSampleRate, count, srcSampleRate, samples.length);
        return core.take(dst, count, target);
      });
    },
  };
};
