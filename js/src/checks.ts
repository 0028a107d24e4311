// Checks of arguments under their names: the library's status tells that one is wrong, but not which.

/** Samples or features: taken as they are if they are a Float32Array, else converted. Integers are not scaled. */
export type Floats = Float32Array | ArrayLike<number>;

/**
 * A matrix, row by row: the element in row r and column c is data[r * shape[1] + c]. Where `complex` is true each element
 * is two floats, the real part first, from data[2 * (r * shape[1] + c)] on.
 */
export interface Matrix {
  data: Float32Array;
  shape: [rows: number, columns: number];
  complex: boolean;
}

/** An array that receives the result, for loops that are not to leave garbage. It has the length of the result. */
export interface Out {
  out?: Float32Array;
}

export const INT_MAX = 2 ** 31 - 1;

function show(value: unknown): string {
  return typeof value === "string" ? JSON.stringify(value) : typeof value === "object" ? typeName(value) : String(value);
}

function typeName(value: unknown): string {
  return value === null ? "null" : (Object.getPrototypeOf(value)?.constructor?.name ?? "an object");
}

/** `options` as they are, but no name that the function does not know: a misspelt one would count for nothing. */
export function known<Options extends object>(options: Options, names: readonly string[]): Options {
  if (typeof options !== "object" || options === null) throw new TypeError(`options: expected an object, got ${show(options)}`);
  for (const name in options) {
    if (!names.includes(name)) throw new TypeError(`${name}: no such option; there are ${names.join(", ")}`);
  }
  return options;
}

const NO_NUMBERS = [DataView, BigInt64Array, BigUint64Array];

/** Of its own, because a function with a closure over a parameter allocates in every call. */
function holdsNumbers(view: ArrayBufferView): boolean {
  return !NO_NUMBERS.some((type) => view instanceof type);
}

export function floats(name: string, values: Floats): Float32Array {
  let array: Float32Array;
  if (values instanceof Float32Array) {
    array = values;
  } else if (ArrayBuffer.isView(values) && holdsNumbers(values)) {
    array = new Float32Array(values as Float64Array);
  } else if (Array.isArray(values)) {
    array = new Float32Array(values.length);
    for (let i = 0; i < array.length; ++i) { // holes, too
      const value: unknown = values[i];
      if (typeof value !== "number") throw new TypeError(`${name}: expected numbers only`);
      array[i] = value;
    }
  } else {
    throw new TypeError(`${name}: expected a Float32Array or an array of numbers, got ${show(values)}`);
  }
  if (array.length === 0 || array.length > INT_MAX) {
    throw new RangeError(`${name}: must hold 1 to ${INT_MAX} values, got ${array.length}`);
  }
  return array;
}

/** Complex values, the real part first. */
export function complexes(name: string, values: Floats): Float32Array {
  const array = floats(name, values);
  if (array.length % 2 !== 0) throw new RangeError(`${name}: expected pairs of a real and an imaginary part, got ${array.length} values`);
  return array;
}

export function isMatrix(value: unknown): value is Matrix {
  return typeof value === "object" && value !== null && "shape" in value && "data" in value;
}

/** A matrix, real or complex as asked for, or either where `complex` is not given. */
export function matrix(name: string, value: Matrix, complex?: boolean): Matrix {
  if (!isMatrix(value)) throw new TypeError(`${name}: expected a matrix {data, shape, complex}, got ${show(value)}`);
  const { data: values, shape, complex: isComplex } = value; // each once: a getter may give another one next
  if (complex !== undefined && Boolean(isComplex) !== complex) {
    throw new TypeError(`${name}: expected ${complex ? "complex" : "real"} values`);
  }
  if (!Array.isArray(shape) || shape.length !== 2) throw new TypeError(`${name}: expected a shape of two numbers`);
  const [rows, columns] = shape;
  const data = floats(name, values);
  if (!Number.isInteger(rows) || !Number.isInteger(columns) || rows < 1 || rows * columns * (isComplex ? 2 : 1) !== data.length) {
    throw new RangeError(`${name}: shape ${show(rows)} x ${show(columns)} does not hold ${data.length} values`);
  }
  return { data, shape: [rows, columns], complex: Boolean(isComplex) };
}

export function integer(name: string, value: number, least = 1, most = INT_MAX): number {
  if (typeof value !== "number") throw new TypeError(`${name}: expected an integer, got ${show(value)}`);
  if (!Number.isInteger(value) || value < least || value > most) {
    throw new RangeError(`${name}: must be an integer from ${least} to ${most}, got ${value}`);
  }
  return value;
}

/** `value` as the float that the library will see, so that comparisons here and there agree. */
export function number(name: string, value: number): number {
  if (typeof value !== "number") throw new TypeError(`${name}: expected a number, got ${show(value)}`);
  if (Number.isNaN(value)) throw new RangeError(`${name}: must be a number, got NaN`);
  return Math.fround(value);
}

export function notNegative(name: string, value: number): number {
  const rounded = number(name, value);
  if (rounded < 0) throw new RangeError(`${name}: must not be negative, got ${value}`);
  return rounded;
}

export function mode<Modes extends Record<string, number>>(name: string, value: keyof Modes, modes: Modes): number {
  if (typeof value !== "string") throw new TypeError(`${name}: expected a string, got ${show(value)}`);
  if (!Object.hasOwn(modes, value)) {
    throw new RangeError(`${name}: must be ${Object.keys(modes).map(show).join(" or ")}, got ${show(value)}`);
  }
  return modes[value];
}

export function fftLength(name: string, value: number): number {
  const length = integer(name, value, 1, 2 ** 30 - 1);
  if (length > 2 ** 27 && (length & (length - 1)) === 0) {
    throw new RangeError(`${name}: powers of two go up to ${2 ** 27}, got ${length}`);
  }
  return length;
}

/** winN, which defaults to the whole frame. */
export function windowLength(winN: number | undefined, fftN: number): number {
  return winN === undefined ? fftN : integer("winN", winN, 1, fftN);
}

/** fMin and fMax, which defaults to half the sample rate. */
export function melBand(fMin: number, fMax: number | undefined, sampleRate: number): [low: number, high: number] {
  const low = notNegative("fMin", fMin);
  const high = notNegative("fMax", fMax === undefined ? sampleRate / 2 : fMax);
  if (high <= low) throw new RangeError(`fMax: must be greater than fMin, got ${high} and ${low}`);
  return [low, high];
}

/** An array that is written or read where it is. */
export function float32Array(name: string, value: Float32Array): Float32Array {
  if (!(value instanceof Float32Array)) throw new TypeError(`${name}: expected a Float32Array, got ${show(value)}`);
  return value;
}

/** The array for a result of `count` floats, where the caller gives one. */
export function output(out: Float32Array | undefined, count: number): Float32Array | undefined {
  if (out === undefined) return undefined;
  if (float32Array("out", out).length !== count) throw new RangeError(`out: must have the ${count} values of the result, got ${out.length}`);
  return out;
}
