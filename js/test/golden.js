// The stored calls and hashes, as Node reads them.
import { createHash } from "node:crypto";
import { readFileSync } from "node:fs";
import { bytesOf, goldenCalls } from "./golden/run.js";

const read = (name) => JSON.parse(readFileSync(new URL(`golden/${name}`, import.meta.url)));

export const calls = goldenCalls(read("calls.json"));
export const hashes = read("hashes.json");
export const hash = async (...results) => createHash("sha256").update(await bytesOf(...results)).digest("hex");
