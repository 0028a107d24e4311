// Filters in the form of a numerator and a denominator, and in second-order sections.
//
// The library takes float coefficients. Of a numerator and a denominator of high order they lose the filter: from the
// fourth order on, or with a corner below a hundredth of the sample rate, use sections.
import { type Floats, floats, integer, known, mode, type Out, output } from "./checks.js";
import { type Pad, PADS } from "./modes.js";
import type { Address, Core } from "./wasm.js";

/** Rows b0 b1 b2 a0 a1 a2, one behind the other or each an array of its own. */
export type Sections = Floats | readonly ArrayLike<number>[];

export interface FilterOptions extends Out {
  /** The state before the first sample; it then holds the state behind the last one, for the next block. */
  zi?: Float32Array;
}

export interface ZeroPhaseOptions extends Out {
  /** "odd" by default. */
  padType?: Pad;
  /** Samples added at each end while filtering, fewer than src has for odd and even padding. */
  padLen?: number;
}

// A section is b0 b1 b2 a0 a1 a2, three numerator coefficients and three denominator coefficients behind them.
export const SECTION_N = 6, SECTION_BYTES = 24, DENOMINATOR_BYTES = 12, STATE_BYTES = 8;

export function checkedSections(sos: Sections): Float32Array {
  const nested = Array.isArray(sos) && (Array.isArray(sos[0]) || ArrayBuffer.isView(sos[0]));
  if (nested && !sos.every((row) => row?.length === SECTION_N)) {
    throw new RangeError("sos: expected rows of 6 coefficients, b0 b1 b2 a0 a1 a2");
  }
  const sections = floats("sos", nested ? (sos as ArrayLike<number>[]).flatMap((row) => Array.from(row)) : (sos as Floats));
  if (sections.length % SECTION_N !== 0) {
    throw new RangeError(`sos: expected rows of 6 coefficients, b0 b1 b2 a0 a1 a2, got ${sections.length} values`);
  }
  return sections;
}

export function checkedState(zi: Float32Array | undefined, stateN: number): Float32Array | undefined {
  if (zi === undefined) return undefined;
  if (!(zi instanceof Float32Array)) throw new TypeError("zi: expected a Float32Array, which receives the new state");
  if (zi.length !== stateN) throw new RangeError(`zi: expected ${stateN} values, got ${zi.length}`);
  return stateN === 0 ? undefined : zi; // a detached array has no values either
}

function padding(options: ZeroPhaseOptions, usual: number, srcN: number): [type: Pad, length: number] {
  const { padType = "odd", padLen = usual } = options;
  mode("padType", padType, PADS);
  integer("padLen", padLen, 0);
  if (padLen >= srcN && (padType === "odd" || padType === "even")) {
    throw new RangeError(`padLen: must be below the ${srcN} samples of src, got ${padLen}`);
  }
  return [padType, padLen];
}

/** The samples, before and behind them their reflection or the ends themselves, as the zero-phase filter has them. */
function extend(all: Float32Array, source: Float32Array, padType: Pad, padLen: number): void {
  const n = source.length, first = source[0], last = source[n - 1];
  all.set(source, padLen);
  for (let d = 1; d <= padLen; ++d) {
    const left = padType === "constant" ? first : padType === "even" ? source[d] : 2 * first - source[d];
    const right = padType === "constant" ? last : padType === "even" ? source[n - 1 - d] : 2 * last - source[n - 1 - d];
    all[padLen - d] = left;
    all[padLen + n - 1 + d] = right;
  }
}

/** Filters in place; each section filters what the one before it gave. */
function runSections(core: Core, samples: Address, count: number, sections: Address, sectionN: number, state: Address): void {
  for (let s = 0; s < sectionN; ++s) {
    const coefficients = sections + s * SECTION_BYTES;
    core.call("kelvoAudioLinerFilter", samples, samples, coefficients, coefficients + DENOMINATOR_BYTES,
              state + s * STATE_BYTES, count, count, 3, 3, 2);
  }
}

export const filters = (core: Core) => {
  const lfilterZi = (nCoef: Floats, dCoef: Floats): Float32Array => {
    const b = floats("nCoef", nCoef), a = floats("dCoef", dCoef);
    const stateN = Math.max(b.length, a.length) - 1;
    return core.run(() => {
      const dst = core.reserve(Math.max(stateN, 1));
      core.call("kelvoAudioGetLinerFilterZiCoef", dst, core.place(b), core.place(a), Math.max(stateN, 1), b.length, a.length);
      return core.take(dst, stateN);
    });
  };

  const sosfiltZi = (sos: Sections): Float32Array => {
    const sections = checkedSections(sos);
    const state = new Float32Array((2 * sections.length) / SECTION_N);
    let gain = 1; // of the sections so far, on a constant
    for (let s = 0; s * SECTION_N < sections.length; ++s) {
      const [b0, b1, b2, a0, a1, a2] = sections.subarray(s * SECTION_N);
      state.set(lfilterZi([b0, b1, b2], [a0, a1, a2]).map((value) => gain * value), 2 * s);
      gain *= (b0 + b1 + b2) / (a0 + a1 + a2);
    }
    return state;
  };

  return {
    /**
     * Filters a signal in direct form II transposed, in double precision with a state of floats.
     * @param nCoef the numerator b
     * @param dCoef the denominator a; all coefficients are divided by dCoef[0]
     * @returns as many samples as src has; `zi`, of max(b, a) - 1 values, goes on to the next block
     */
    lfilter(nCoef: Floats, dCoef: Floats, src: Floats, options: FilterOptions = {}): Float32Array {
      const { zi, out } = known(options, ["zi", "out"]);
      const b = floats("nCoef", nCoef), a = floats("dCoef", dCoef), samples = floats("src", src);
      const stateN = Math.max(b.length, a.length) - 1;
      const state = checkedState(zi, stateN);
      const target = output(out, samples.length);
      return core.run(() => {
        const at = core.place(samples), stateAt = state === undefined ? 0 : core.place(state);
        core.call("kelvoAudioLinerFilter", at, at, core.place(b), core.place(a), stateAt, samples.length, samples.length,
                  b.length, a.length, state === undefined ? 0 : stateN);
        if (state !== undefined) core.take(stateAt, stateN, state);
        return core.take(at, samples.length, target);
      });
    },

    /** The state in which a filter has settled on a constant input of 1; times src[0] it is a zi without a transient. */
    lfilterZi,

    /**
     * Filters a signal forwards and then backwards, in double precision: no delay, and the gain squared. padLen is by
     * default three times the longer list of coefficients.
     * @returns as many samples as src has
     */
    filtfilt(nCoef: Floats, dCoef: Floats, src: Floats, options: ZeroPhaseOptions = {}): Float32Array {
      const { out } = known(options, ["padType", "padLen", "out"]);
      const b = floats("nCoef", nCoef), a = floats("dCoef", dCoef), samples = floats("src", src);
      const n = samples.length;
      const [padType, padLen] = padding(options, 3 * Math.max(b.length, a.length), n);
      const target = output(out, n);
      return core.run(() => {
        const at = core.place(samples);
        core.call("kelvoAudioFilterFilter", at, at, core.place(b), core.place(a), n, n, b.length, a.length, PADS[padType],
                  padLen);
        return core.take(at, n, target);
      });
    },

    /**
     * Filters a signal by second-order sections, one lfilter behind the other.
     * @param sos rows b0 b1 b2 a0 a1 a2
     * @returns as many samples as src has; `zi`, two values a section, goes on to the next block
     */
    sosfilt(sos: Sections, src: Floats, options: FilterOptions = {}): Float32Array {
      const { zi, out } = known(options, ["zi", "out"]);
      const sections = checkedSections(sos), samples = floats("src", src);
      const sectionN = sections.length / SECTION_N;
      const state = checkedState(zi, 2 * sectionN);
      const target = output(out, samples.length);
      return core.run(() => {
        const at = core.place(samples), stateAt = core.place(state ?? new Float32Array(2 * sectionN));
        runSections(core, at, samples.length, core.place(sections), sectionN, stateAt);
        if (state !== undefined) core.take(stateAt, state.length, state);
        return core.take(at, samples.length, target);
      });
    },

    /** The state in which the sections have settled on a constant input of 1, two values a section. */
    sosfiltZi,

    /**
     * Filters a signal by second-order sections, forwards and then backwards: no delay, and the gain squared. padLen is by
     * default three times the length of the filter, first-order sections counted as such.
     * @returns as many samples as src has
     */
    sosfiltfilt(sos: Sections, src: Floats, options: ZeroPhaseOptions = {}): Float32Array {
      const { out } = known(options, ["padType", "padLen", "out"]);
      const sections = checkedSections(sos), samples = floats("src", src);
      const sectionN = sections.length / SECTION_N;
      const zerosAt = (column: number) => sections.filter((value, i) => i % SECTION_N === column && value === 0).length;
      const length = 2 * sectionN + 1 - Math.min(zerosAt(2), zerosAt(5));
      const [padType, padLen] = padding(options, 3 * length, samples.length);
      const target = output(out, samples.length);
      const settled = sosfiltZi(sections);
      const endN = padType === "none" ? 0 : padLen, count = samples.length + 2 * endN;
      return core.run(() => {
        const at = core.reserve(count), sectionsAt = core.place(sections), state = core.reserve(settled.length);
        // A call may make the memory grow, which ends views of it.
        const filtered = () => core.heap.subarray(at / 4, at / 4 + count);
        extend(filtered(), samples, padType, endN);
        for (let pass = 0; pass < 2; ++pass) { // each pass leaves the signal reversed
          const first = filtered()[0];
          core.heap.set(settled.map((value) => value * first), state / 4);
          runSections(core, at, count, sectionsAt, sectionN, state);
          filtered().reverse();
        }
        return core.take(at + 4 * endN, samples.length, target);
      });
    },
  };
};
