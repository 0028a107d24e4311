// The page in a headless Chromium: sounds of every origin, what is drawn, chosen, saved and said.
import assert from "node:assert/strict";
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, afterEach, before, beforeEach, test } from "node:test";
import puppeteer from "puppeteer-core";
import { load } from "../../js/dist/node.js";
import { computeFeatures, RECIPES, settingsOf } from "../src/recipes.js";
import { readRecording } from "../src/recording.js";
import { serve } from "../serve.js";

const executablePath = ["/usr/bin/chromium", "/usr/bin/chromium-browser", "/usr/bin/google-chrome"].find(existsSync);
const clip = readFileSync(new URL("../dist/clip.wav", import.meta.url));
const folder = mkdtempSync(join(tmpdir(), "kelvo-page-"));
let server, address, browser, devtools, page, problems;

before(async () => {
  ({ server, address } = await serve(0));
  browser = await puppeteer.launch({
    executablePath,
    args: ["--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--autoplay-policy=no-user-gesture-required",
           "--use-fake-device-for-media-stream", "--use-fake-ui-for-media-stream"],
  });
  await browser.defaultBrowserContext().overridePermissions(address, ["microphone"]);
  // Through the browser: a connection to a page resets the folder when the page closes, perhaps after the next opened.
  devtools = await browser.target().createCDPSession();
  await devtools.send("Browser.setDownloadBehavior", { behavior: "allow", downloadPath: folder, eventsEnabled: true });
});
after(async () => {
  await browser?.close();
  server?.close();
  rmSync(folder, { recursive: true, force: true });
});

beforeEach(async () => {
  page = await browser.newPage();
  problems = [];
  page.on("console", (message) => message.type() === "error" && problems.push(message.text()));
  page.on("pageerror", (error) => problems.push(error.message));
  page.on("request", (request) => {
    if (!/^(blob|data):/.test(request.url()) && !request.url().startsWith(address)) problems.push(`asked for ${request.url()}`);
  });
  await page.setViewport({ width: 1440, height: 1000 });
  await page.goto(address);
  await page.waitForSelector("#clip:not(:disabled)");
});
afterEach(async () => {
  assert.deepEqual(problems, []);
  await page.close();
});

const text = (id) => page.$eval(`#${id}`, (element) => element.textContent);
const says = (pattern) => page.waitForFunction((id, source) => new RegExp(source).test(document.getElementById(id).textContent), {}, "status", pattern.source);
const ended = () => page.waitForFunction(() => document.getElementById("play").textContent === "Play" && !document.getElementById("play").disabled);
const jumpToEnd = () => page.$eval("#position", (slider) => {
  slider.value = slider.max;
  slider.dispatchEvent(new Event("input"));
});
/** How many different colours lie in the middle half of the picture, left and right of its centre. */
const colours = () => page.$eval("#picture", (canvas) => {
  const { width, height } = canvas, context = canvas.getContext("2d");
  return [0.25, 0.5].map((left) =>
    new Set(new Uint32Array(context.getImageData(width * left, height * 0.4, width / 4, height / 3).data.buffer)).size);
});
const drop = (name, bytes) => page.evaluate((title, values) => {
  const transfer = new DataTransfer();
  transfer.items.add(new File([Uint8Array.from(values)], title));
  document.body.dispatchEvent(new DragEvent("drop", { bubbles: true, cancelable: true, dataTransfer: transfer }));
}, name, [...bytes]);
async function saved(id) {
  const done = new Promise((resolve) => {
    const listen = ({ state }) => {
      if (state === "inProgress") return;
      devtools.off("Browser.downloadProgress", listen);
      resolve(state);
    };
    devtools.on("Browser.downloadProgress", listen);
  });
  await page.click(`#${id}`);
  assert.equal(await done, "completed");
  await says(/^Saved /);
  return readFileSync(join(folder, (await text("status")).replace(/^Saved (.*)\.$/, "$1")));
}

test("this browser gives the bits of the native library", async () => {
  await page.waitForFunction(() => document.getElementById("bits-hash").textContent !== "");
  assert.equal(await text("bits-result"), "22 of 22 functions: same bits as native");
  assert.match(await text("bits-hash"), /^SHA-256 [0-9a-f]{64}$/);
});

test("the clip is drawn as it plays", async () => {
  await page.click("#clip");
  await page.waitForFunction(() => Number(document.getElementById("position").value) > 0.3);
  const [, right] = await colours();
  assert.equal(await text("play"), "Pause");
  assert.ok(right < 20, `${right} colours of a future`);
  await jumpToEnd();
  await ended();
  assert.ok((await colours()).every((count) => count > 100));
  assert.match(await page.$eval("#picture", (canvas) => canvas.getAttribute("aria-label")), /clip\.wav: 5\.3 seconds, 80 mel bands up to 8000 Hz, 531 frames/);
});

test("a dropped file is taken, every recipe gives what the package gives, and both can be saved", async () => {
  await drop("of mine.wav", clip);
  await says(/^of mine\.wav: 5\.3 s at 16000 Hz/);
  await jumpToEnd();
  const audio = await load(), { samples } = await readRecording("", clip.buffer.slice(clip.byteOffset, clip.byteOffset + clip.length));
  for (const [key, recipe] of Object.entries(RECIPES)) {
    await page.select("#recipe", key);
    await page.select("#window", "hamming");
    await page.select("#resolution", "2");
    const settings = settingsOf(recipe, "hamming", 2);
    const resampled = settings.sampleRate === 16000 ? samples
      : audio.resample(samples, { dstSampleRate: settings.sampleRate, srcSampleRate: 16000 });
    const { data, shape } = computeFeatures(audio, recipe, settings, resampled);
    const file = await saved("save-features");
    assert.equal(file.subarray(1, 6).toString(), "NUMPY");
    const headerN = 10 + file.readUInt16LE(8);
    assert.equal(headerN % 64, 0);
    assert.match(file.subarray(10, headerN).toString(), new RegExp(`'descr': '<f4', 'fortran_order': False, 'shape': \\(${shape.join(", ")}\\)`));
    assert.ok(file.subarray(headerN).equals(Buffer.from(data.buffer)), key);
    rmSync(join(folder, `of_mine_${key}.npy`));
  }
  const png = await saved("save-picture");
  assert.equal(png.subarray(1, 4).toString(), "PNG");
});

test("the resynthesis, a filter and another rate can be heard", async () => {
  await page.click("#clip");
  await says(/^clip\.wav: 5\.3 s/);
  for (const [version, note] of [["resynthesis", /the error lies 1\d\d dB below/], ["resampled", /8000 Hz: nothing is left above 4000 Hz/],
                                 ["filtered", /in the audio thread/]]) {
    await page.select("#version", version);
    assert.match(await text("version-note"), note);
    await jumpToEnd();
    await ended();
    await page.click("#play"); // from the start again
    await page.waitForFunction(() => document.getElementById("play").textContent === "Pause");
    await page.waitForFunction(() => Number(document.getElementById("position").value) > 0.2);
  }
  await page.$eval("#corner", (slider) => {
    slider.value = 400;
    slider.dispatchEvent(new Event("input"));
  });
  assert.equal(await text("corner-value"), "400 Hz");
});

test("the audio thread filters with the bits of one call", async () => {
  const [got, expected] = await page.evaluate(async () => {
    const { load } = await import("./kelvo-audio/index.js");
    const audio = await load();
    const context = new OfflineAudioContext(1, 4096, 48000);
    await context.audioWorklet.addModule("filter_worklet.js");
    const samples = Float32Array.from({ length: 4096 }, (_, i) => Math.sin(i * i * 1e-4));
    const buffer = context.createBuffer(1, 4096, 48000);
    buffer.copyToChannel(samples, 0);
    const sections = [[0.2, 0.4, 0.2, 1, -0.5, 0.3], [1, -1, 0, 1, -0.9, 0]];
    const source = new AudioBufferSourceNode(context, { buffer });
    const filter = new AudioWorkletNode(context, "kelvo-filter", {
      channelCount: 1, channelCountMode: "explicit", outputChannelCount: [1], processorOptions: { module: audio.module, sections },
    });
    source.connect(filter).connect(context.destination);
    source.start();
    const rendered = await context.startRendering();
    return [[...rendered.getChannelData(0)], [...audio.sosfilt(sections, samples)]];
  });
  assert.deepEqual(got, expected);
});

test("the microphone is drawn, and what it heard can be used", async () => {
  await page.click("#record");
  await says(/^Recording/);
  // The fake device beeps once a second.
  await page.waitForFunction(() => Number.parseFloat(document.getElementById("time").textContent) > 1.5);
  assert.equal(await page.$eval("#record", (button) => button.getAttribute("aria-pressed")), "true");
  await page.click("#record");
  await says(/^Microphone: \d/);
  assert.ok(Math.max(...await colours()) > 20);
  assert.match(await text("features-note"), /80 x \d+ values/);
});

test("what cannot be used gets a sentence, and the next sound works", async () => {
  for (const [name, bytes, sentence] of [
    ["empty.wav", [], "empty.wav is empty."],
    ["broken.wav", clip.subarray(0, 20), "broken.wav is no sound that this browser can decode."],
    ["text.mp3", Buffer.from("no music"), "text.mp3 is no sound that this browser can decode."],
    ["header.wav", clip.subarray(0, 44), "header.wav holds no sound."],
  ]) {
    await drop(name, bytes);
    await page.waitForFunction((expected) => document.getElementById("status").textContent === expected, {}, sentence);
    assert.ok(await page.$eval("#status", (status) => status.classList.contains("bad") && status.getAttribute("role") === "status"));
  }
  await drop("short.wav", clip.subarray(0, 44 + 2 * 100));
  await page.waitForFunction(() => /shorter than one frame of 25 ms/.test(document.getElementById("features-note").textContent));
  await page.click("#clip");
  await says(/^clip\.wav: 5\.3 s/);
});

test("the layout fits a phone and a desk", async () => {
  await page.click("#clip");
  await says(/^clip\.wav: 5\.3 s/);
  await jumpToEnd();
  for (const width of [360, 1440]) {
    await page.setViewport({ width, height: 800 });
    const over = await page.evaluate(() => [...document.querySelectorAll("body *:not(.visually-hidden)")]
      .filter((element) => element.getBoundingClientRect().right > innerWidth + 0.5).map((element) => element.outerHTML.slice(0, 80)));
    assert.deepEqual(over, []);
    const small = await page.evaluate(() => [...document.querySelectorAll("button, select")]
      .filter((element) => element.offsetHeight > 0 && element.offsetHeight < 44).map((element) => element.id));
    assert.deepEqual(small, []);
  }
});

test("the keyboard reaches everything, and everything has a name", async () => {
  await page.click("#clip");
  await says(/^clip\.wav: 5\.3 s/);
  await page.select("#version", "filtered");
  await page.evaluate(() => document.activeElement.blur());
  const reached = new Set();
  for (let i = 0; i < 30; ++i) {
    await page.keyboard.press("Tab");
    reached.add(await page.evaluate(() => document.activeElement.id));
  }
  const all = await page.$$eval("button, select, input", (elements) =>
    elements.filter((element) => element.tabIndex >= 0 && element.offsetHeight > 0 && !element.disabled).map((element) => element.id));
  assert.deepEqual(all.filter((id) => !reached.has(id)), []);
  const { children } = await page.accessibility.snapshot();
  const controls = children.filter(({ role }) => /button|combobox|slider/.test(role));
  assert.ok(controls.length >= 10);
  assert.deepEqual(controls.filter(({ name }) => !name), []);
  await page.focus("#play");
  await page.keyboard.press("Space");
  assert.equal(await text("play"), "Play");
});

test("a second visit needs no network", async () => {
  await page.evaluate(() => navigator.serviceWorker.ready);
  await page.waitForFunction(() => navigator.serviceWorker.controller !== null);
  await page.setOfflineMode(true);
  await page.reload();
  await page.waitForSelector("#clip:not(:disabled)");
  await page.click("#clip");
  await says(/^clip\.wav: 5\.3 s/);
});
