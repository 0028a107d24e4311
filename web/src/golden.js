// Whether this browser gives the stored bits of the native library.
import { bytesOf, goldenCalls } from "./golden/run.js";

const hex = (bytes) => Array.from(new Uint8Array(bytes), (byte) => byte.toString(16).padStart(2, "0")).join("");
const sha256 = async (bytes) => hex(await crypto.subtle.digest("SHA-256", bytes));
const read = async (name) => (await fetch(new URL(`golden/${name}`, import.meta.url))).json();

/** Runs the stored calls, and gives the functions that they reach, those with other bits, and a hash over all results. */
export async function compareBits(audio) {
  const [calls, stored] = await Promise.all([read("calls.json"), read("hashes.json")]);
  const functions = new Set(), wrong = new Set(), hashes = [];
  for (const [row, { name, run }] of goldenCalls(calls).entries()) {
    functions.add(name);
    hashes.push(await sha256(await bytesOf(...run(audio))));
    if (hashes[row] !== stored[row]) wrong.add(name);
  }
  // Sections are a way to call a function that has calls of its own.
  for (const name of functions) if (name.startsWith("sos")) functions.delete(name);
  return { functionN: functions.size, wrong: [...wrong], hash: await sha256(new TextEncoder().encode(hashes.join("\n"))) };
}
