// The WebAssembly module: its instance, its memory, and what the statuses of its exports become.

const STATUS_BAD_ARGUMENT = -1, STATUS_OUT_OF_MEMORY = -5;
const ARENA_BYTES = 1 << 18;
const LINE_BYTES = 64;

/** A call failed, but not for a bad argument (RangeError, TypeError): `status` is -5 for a lack of memory. */
export class KelvoAudioError extends Error {
  constructor(message: string, readonly status: number) {
    super(message);
    this.name = "KelvoAudioError";
  }
}

/** An array in the caller's memory, whose lack is an error like that of the instance's. */
export function newFloats(count: number): Float32Array {
  try {
    return new Float32Array(count);
  } catch {
    throw new KelvoAudioError(`out of memory: ${4 * count} bytes`, STATUS_OUT_OF_MEMORY);
  }
}

type Export = (...values: number[]) => number;

/** An address in the instance's memory, in bytes. */
export type Address = number;

export class Core {
  /** All of the memory as floats; a new view once the memory has grown, which leaves old ones without length. */
  get heap(): Float32Array {
    if (this.view.length === 0) this.view = new Float32Array(this.memory.buffer);
    return this.view;
  }

  private readonly exports: Record<string, Export>;
  private readonly memory: WebAssembly.Memory;
  private view: Float32Array;
  private taken: Float32Array = new Float32Array(0);
  // Small calls share one block, so that they allocate nothing; what does not fit is allocated for the call.
  private readonly arena: Address;
  private top: number;
  private readonly extra: Address[] = [];
  private readonly forgotten = new FinalizationRegistry<Address>((address) => this.free(address));

  constructor(readonly module: WebAssembly.Module) {
    const instance = new WebAssembly.Instance(module, {
      env: { emscripten_notify_memory_growth() {} },
      wasi_snapshot_preview1: {
        proc_exit() {
          throw new KelvoAudioError("the module gave up", -128);
        },
      },
    });
    this.exports = instance.exports as unknown as Record<string, Export>;
    this.memory = instance.exports.memory as WebAssembly.Memory;
    this.exports._initialize();
    this.view = new Float32Array(this.memory.buffer);
    this.arena = this.top = this.allocate(ARENA_BYTES);
  }

  /** Bytes that the instance's memory has; it never shrinks. */
  get memoryBytes(): number {
    return this.memory.buffer.byteLength;
  }

  allocate(bytes: number): Address {
    // Whole cache lines, so that the vectors of the kernels lie well. More than an address counts would come to the
    // allocator as little.
    const lined = Math.ceil(bytes / LINE_BYTES) * LINE_BYTES;
    const address = lined < 2 ** 32 ? this.exports.aligned_alloc(LINE_BYTES, lined) >>> 0 : 0;
    if (address === 0) throw new KelvoAudioError(`out of memory: ${bytes} bytes`, STATUS_OUT_OF_MEMORY);
    return address;
  }

  free(address: Address): void {
    this.exports.free(address);
  }

  /** Memory that lives as long as its owner, or until `disown`. */
  own(owner: object, bytes: number): Address {
    const address = this.allocate(bytes);
    this.forgotten.register(owner, address, owner);
    return address;
  }

  disown(owner: object, address: Address): void {
    this.forgotten.unregister(owner);
    this.free(address);
  }

  /** Runs `body`, and gives back whatever it reserved, also when it throws. */
  run<Result>(body: () => Result): Result {
    try {
      return body();
    } finally {
      this.top = this.arena;
      while (this.extra.length > 0) this.free(this.extra.pop()!);
    }
  }

  /** Room for `count` floats until the end of `run`. */
  reserve(count: number): Address {
    const bytes = Math.ceil((count * 4) / LINE_BYTES) * LINE_BYTES;
    if (this.top + bytes <= this.arena + ARENA_BYTES) {
      this.top += bytes;
      return this.top - bytes;
    }
    const address = this.allocate(bytes);
    this.extra.push(address);
    return address;
  }

  /** A copy of `values`, until the end of `run`, with room for `count` floats. */
  place(values: Float32Array, count = values.length): Address {
    const address = this.reserve(count);
    this.heap.set(values, address / 4);
    return address;
  }

  /** The `count` floats at `address`, in `out` or else in a new array. */
  take(address: Address, count: number, out?: Float32Array): Float32Array {
    const start = address / 4;
    if (out === undefined) return this.heap.slice(start, start + count);
    if (count === 0) return out;
    // Loops take results of one length from one address. A view of memory that has grown since has no length.
    if (this.taken.byteOffset !== address || this.taken.length !== count) this.taken = this.heap.subarray(start, start + count);
    out.set(this.taken);
    return out;
  }

  takeInt(address: Address): number {
    return new Int32Array(this.memory.buffer, address, 1)[0];
  }

  call(name: string, ...values: number[]): void {
    const status = this.exports[name](...values);
    if (status !== 0) throw failure(name, status);
  }

  /** The export itself, for loops that must not allocate; its status goes to `check`. */
  find(name: string): Export {
    return this.exports[name];
  }

  /** Calls an export whose first parameter receives one integer. */
  query(name: string, ...values: number[]): number {
    return this.run(() => {
      const result = this.reserve(1);
      this.call(name, result, ...values);
      return this.takeInt(result);
    });
  }
}

export function failure(name: string, status: number): Error {
  // The arguments were checked before, each under its name: a refusal here means that a check is missing.
  if (status === STATUS_BAD_ARGUMENT) return new RangeError(`${name}: an argument is out of range`);
  if (status === STATUS_OUT_OF_MEMORY) return new KelvoAudioError(`${name}: out of memory`, status);
  return new KelvoAudioError(`${name}: status ${status}`, status);
}
