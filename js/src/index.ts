// kelvo-audio: audio signal processing for the stages around machine-learning inference, over Float32Array.
import { filters } from "./filters.js";
import { mel } from "./mel.js";
import { rates } from "./rates.js";
import { shortTime } from "./short_time.js";
import { streams } from "./streams.js";
import { transforms } from "./transforms.js";
import { Core } from "./wasm.js";

export type { Floats, Matrix, Out } from "./checks.js";
export type { FilterOptions, Sections, ZeroPhaseOptions } from "./filters.js";
export type { MelBank, MelFrameOptions, MelSpectrogramOptions } from "./mel.js";
export type { Center, MelFormula, MelNorm, Norm, Pad, Phase, Window } from "./modes.js";
export type { Rates } from "./rates.js";
export type { Framing, InverseOptions, SpectrogramOptions, Windowing } from "./short_time.js";
export type {
  FilterStream, FilterStreamOptions, MelStream, ResampleStream, SpectrogramStream, SpectrogramStreamOptions,
} from "./streams.js";
export { KelvoAudioError } from "./wasm.js";

/** Where the module comes from: a module compiled before, its bytes, a response with them, or their address. */
export type Source = WebAssembly.Module | BufferSource | Response | Promise<Response> | URL | string;

type Of<Room extends (core: Core) => object> = ReturnType<Room>;

/** An instance of the library: every function, and the streams. */
export interface KelvoAudio
  extends Of<typeof transforms>, Of<typeof shortTime>, Of<typeof mel>, Of<typeof filters>, Of<typeof rates>, Of<typeof streams> {
  /** The compiled module, which can be posted to workers and worklets. */
  module: WebAssembly.Module;
  /** Bytes of memory that the instance has; it never shrinks. */
  memoryBytes(): number;
}

/** An instance of the library for a compiled module, at once: for an AudioWorklet, which is handed `audio.module`. */
export function instantiate(module: WebAssembly.Module): KelvoAudio {
  const core = new Core(module);
  return {
    ...transforms(core), ...shortTime(core), ...mel(core), ...filters(core), ...rates(core), ...streams(core),
    module, memoryBytes: () => core.memoryBytes,
  };
}

/** Compiles the module, by default the file beside this one, and makes an instance of the library. */
export async function load(source: Source = new URL("./kelvo_audio.wasm", import.meta.url)): Promise<KelvoAudio> {
  return instantiate(await compile(source));
}

async function compile(source: Source): Promise<WebAssembly.Module> {
  if (source instanceof WebAssembly.Module) return source;
  if (source instanceof ArrayBuffer || ArrayBuffer.isView(source)) return WebAssembly.compile(source);
  const response = await (typeof source === "string" || source instanceof URL ? fetch(source) : source);
  if (!response.ok) throw new Error(`${response.url}: ${response.status} ${response.statusText}`);
  // Compiling while the bytes arrive asks for the right type, which not every server names.
  return response.headers.get("Content-Type")?.startsWith("application/wasm")
    ? WebAssembly.compileStreaming(response)
    : WebAssembly.compile(await response.arrayBuffer());
}
