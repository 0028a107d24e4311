// The package in Node, which does not fetch files.
import { readFile } from "node:fs/promises";
import { type KelvoAudio, load as loadFrom, type Source } from "./index.js";

export * from "./index.js";

/** Compiles the module, by default the file beside this one, and makes an instance of the library. */
export async function load(source: Source = new URL("./kelvo_audio.wasm", import.meta.url)): Promise<KelvoAudio> {
  return loadFrom(source instanceof URL && source.protocol === "file:" ? await readFile(source) : source);
}
