// The calls of calls.json in JavaScript, in Node as in a browser.

/** Floats in -1 .. 1 with 24 bits, from a generator that every language has exactly. */
export function noise(count, seed = 1, scale = 1) {
  let state = seed;
  return Float32Array.from({ length: count }, () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return Math.fround((state >>> 8) / 2 ** 23 - 1) * scale;
  });
}

function argument(value) {
  if (typeof value !== "object" || Array.isArray(value)) return value;
  const shape = [value.noise].flat();
  const count = shape.reduce((product, length) => product * length, 1);
  const data = noise(value.complex ? 2 * count : count, value.seed, value.scale);
  return shape.length === 1 ? data : { data, shape, complex: Boolean(value.complex) };
}

/** All numbers of a result in the order of its parts. */
function arraysOf(result) {
  if (typeof result === "number") return [Int32Array.of(result)];
  if (result instanceof Float32Array) return [result];
  return "data" in result ? [result.data] : Object.values(result).flatMap(arraysOf);
}

/** The bytes of all results, one behind the other. */
export async function bytesOf(...results) {
  return new Uint8Array(await new Blob(results.flatMap(arraysOf)).arrayBuffer());
}

/** For each row of calls.json the function's name, a title, and run(audio, more options), which gives the results. */
export function goldenCalls(rows) {
  return rows.map(([name, values, given], row) => {
    const run = (audio, more = {}) => {
      const options = { ...Object.fromEntries(Object.entries(given).map(([key, value]) => [key, argument(value)])), ...more };
      if (options.zi?.data !== undefined) options.zi = options.zi.data;
      const result = audio[name](...values.map(argument), ...(Object.keys(options).length > 0 ? [options] : []));
      return options.zi === undefined ? [result] : [result, options.zi];
    };
    return { name, title: `${name} ${JSON.stringify(given)} (row ${row})`, run };
  });
}
