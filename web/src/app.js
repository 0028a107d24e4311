// The page: what is heard, drawn, chosen and saved.
import { load } from "./kelvo-audio/index.js";
import { LiveAnalysis } from "./analysis.js";
import { compareBits } from "./golden.js";
import { npy } from "./npy.js";
import { Picture } from "./picture.js";
import { Player } from "./player.js";
import { computeFeatures, RECIPES, settingsOf } from "./recipes.js";
import { readRecording } from "./recording.js";
import { butterworth, resynthesise } from "./versions.js";

const MOST_SECONDS = 600;
const VIEW_SECONDS = 10; // of a recording under way
const END_SECONDS = 0.02; // that near to the end, playing means to begin again

const $ = (id) => document.getElementById(id);
const picture = new Picture($("picture"));
let audio, player;

// The recording: { name, samples, sampleN, sampleRate }, of which `analysed` samples went into `analysis`.
let recording, analysis, analysed = 0, isRecording = false, version;

function say(text, isBad = false) {
  $("status").textContent = text;
  $("status").classList.toggle("bad", isBad);
}

const recipe = () => RECIPES[$("recipe").value];
const settings = () => settingsOf(recipe(), $("window").value, Number($("resolution").value));
const duration = () => recording.sampleN / recording.sampleRate;
const samplesOf = () => recording.samples.subarray(0, recording.sampleN);
const sections = () => $("version").value === "filtered"
  ? [butterworth($("pass").value, Number($("corner").value), recording.sampleRate)] : undefined;

function atRate(sampleRate) {
  return sampleRate === recording.sampleRate ? samplesOf()
    : audio.resample(samplesOf(), { dstSampleRate: sampleRate, srcSampleRate: recording.sampleRate });
}

/** Brings the analysis up to sample `end` of the recording. */
function analyse(end) {
  if (end > analysed) {
    analysis.push(recording.samples.subarray(analysed, end));
    analysed = end;
    if (end === recording.sampleN && !isRecording) analysis.finish();
  }
}

function restartAnalysis() {
  if (recording === undefined) return;
  const end = analysed;
  analysis?.close();
  analysis = new LiveAnalysis(audio, settings(), recording.sampleRate);
  analysed = 0;
  if (end > 0) analyse(end);
}

function draw() {
  if (recording === undefined) {
    picture.draw({ samples: new Float32Array(1), sampleN: 1, sampleRate: 1, from: 0, to: VIEW_SECONDS });
    return;
  }
  const { samples, sampleN, sampleRate } = recording;
  const seconds = duration();
  const position = isRecording ? seconds : player.position;
  const from = isRecording ? Math.max(0, seconds - VIEW_SECONDS) : 0;
  const to = isRecording ? from + VIEW_SECONDS : seconds;
  picture.draw({ samples, sampleN: isRecording ? sampleN : analysed, sampleRate, analysis, from, to, mark: isRecording ? undefined : position });
  $("time").textContent = `${position.toFixed(1)} of ${seconds.toFixed(1)} s`;
  if (document.activeElement !== $("position") || player.isPlaying) $("position").value = position;
  $("position").setAttribute("aria-valuetext", `${position.toFixed(1)} seconds`);
}

let isLive = false;
function live() {
  if (!player.isPlaying && !isRecording) {
    isLive = false;
    return draw();
  }
  if (player.isPlaying) analyse(Math.min(recording.sampleN, Math.round(player.position * recording.sampleRate)));
  draw();
  requestAnimationFrame(live);
}
function goLive() {
  if (isLive) return;
  isLive = true;
  requestAnimationFrame(live);
}

function describe() {
  const { frames, frameN, settings: { melN, sampleRate } } = analysis;
  let most = 0, band = 0;
  for (let i = 0; i < frameN * melN; ++i) if (frames[i] > most) [most, band] = [frames[i], i % melN];
  const loudest = frameN > 0 ? `, loudest in band ${band + 1}` : "";
  $("picture").setAttribute("aria-label",
    `Waveform and log-mel spectrogram of ${recording.name}: ${duration().toFixed(1)} seconds, ${melN} mel bands up to ${sampleRate / 2} Hz, ${frameN} frames${loudest}`);
}

function describeSettings() {
  const { sampleRate, fftN, hopN, melN } = settings();
  const ms = (count) => `${((1000 * count) / sampleRate).toFixed(count % 16 ? 1 : 0)} ms`;
  $("settings").textContent = `${sampleRate} Hz, frames of ${fftN} samples (${ms(fftN)}) every ${hopN} (${ms(hopN)}), ${melN} mel bands`;
}

/** The samples that the chosen version plays. */
function chooseVersion() {
  const choice = $("version").value;
  $("filter-choice").hidden = $("corner-choice").hidden = choice !== "filtered";
  $("rate-choice").hidden = choice !== "resampled";
  if (recording === undefined || isRecording) return;
  const { sampleRate } = settings(), rate = Number($("rate").value);
  const note = {
    original: `${recording.sampleRate} Hz, as it came`,
    filtered: "second order, in the audio thread: move the corner while it plays",
    resampled: `${rate} Hz: nothing is left above ${rate / 2} Hz`,
  };
  version = { samples: samplesOf(), sampleRate: recording.sampleRate };
  if (choice === "resynthesis") {
    const { samples, snr } = resynthesise(audio, atRate(sampleRate), settings());
    version = { samples, sampleRate };
    note.resynthesis = `to the complex spectrogram and back; ${Number.isFinite(snr) ? `the error lies ${snr.toFixed(0)} dB below` : "no error"}`;
  }
  if (choice === "resampled") version = { samples: atRate(rate), sampleRate: rate };
  $("version-note").textContent = note[choice];
}

async function play(from = player.position) {
  const start = from < duration() - END_SECONDS ? from : 0;
  const sounds = await player.play(version.samples, version.sampleRate, start, sections());
  if (sounds === undefined) return;
  $("play").textContent = sounds ? "Pause" : "Play";
  if (sounds) {
    goLive();
  } else {
    analyse(recording.sampleN);
    say(`${recording.name}: press Play to hear it.`);
    draw();
  }
  describe();
}

function pause() {
  player.stop();
  analyse(Math.min(recording.sampleN, Math.round(player.position * recording.sampleRate)));
  $("play").textContent = "Play";
  describe();
}

function computeAll() {
  const samples = atRate(settings().sampleRate);
  let features, ms = Infinity;
  for (let i = 0; i < 3; ++i) { // the first call builds tables
    const start = performance.now();
    features = computeFeatures(audio, recipe(), settings(), samples);
    ms = Math.min(ms, performance.now() - start);
  }
  $("save-features").disabled = features === undefined;
  $("features-note").textContent = features === undefined
    ? `The recording is shorter than one frame of ${((1000 * settings().fftN) / settings().sampleRate).toFixed(0)} ms.`
    : `${recipe().name}: ${features.shape.join(" x ")} values, computed in ${ms.toFixed(1)} ms`;
  return features;
}

function take(taken) {
  player.stop();
  player.offset = 0;
  recording = { ...taken, sampleN: taken.samples.length };
  analysed = 0;
  restartAnalysis();
  $("position").max = duration();
  for (const id of ["play", "position", "save-picture"]) $(id).disabled = false;
  chooseVersion();
  computeAll();
  say(`${recording.name}: ${duration().toFixed(1)} s at ${recording.sampleRate} Hz.`);
}

async function open(name, bytes) {
  try {
    const taken = await readRecording(name, await bytes, (data) => player.decode(data));
    if (taken.samples.length > MOST_SECONDS * taken.sampleRate) {
      taken.samples = taken.samples.slice(0, MOST_SECONDS * taken.sampleRate);
      taken.name += `, the first ${MOST_SECONDS / 60} minutes`;
    }
    if (isRecording) await stopRecording();
    take(taken);
    await play(0);
  } catch (error) {
    say(error.message, true);
  }
}

async function startRecording() {
  if (player.isPlaying) pause();
  try {
    await player.record(hear);
  } catch (error) {
    say(error.name === "NotFoundError" ? "There is no microphone." : "The microphone was not allowed.", true);
    return;
  }
  recording = { name: "Microphone", samples: new Float32Array(player.sampleRate * 16), sampleN: 0, sampleRate: player.sampleRate };
  analysed = 0;
  isRecording = true;
  restartAnalysis();
  for (const id of ["play", "position", "save-features"]) $(id).disabled = true;
  $("record").textContent = "Stop";
  $("record").setAttribute("aria-pressed", "true");
  say("Recording.");
  goLive();
}

function hear(block) {
  if (!isRecording) return;
  if (recording.sampleN + block.length > recording.samples.length) {
    const larger = new Float32Array(2 * recording.samples.length);
    larger.set(recording.samples);
    recording.samples = larger;
  }
  recording.samples.set(block, recording.sampleN);
  recording.sampleN += block.length;
  analyse(recording.sampleN);
  if (duration() > MOST_SECONDS) stopRecording();
}

function stopRecording() {
  player.stopRecording();
  isRecording = false;
  $("record").textContent = "Record";
  $("record").setAttribute("aria-pressed", "false");
  if (recording.sampleN === 0) {
    recording = undefined;
    return say("The microphone gave no sound.", true);
  }
  take({ name: "Microphone", samples: samplesOf().slice(), sampleRate: recording.sampleRate });
  analyse(recording.sampleN);
  draw();
  describe();
}

function save(name, blob) {
  const link = Object.assign(document.createElement("a"), { href: URL.createObjectURL(blob), download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
  say(`Saved ${name}.`);
}

const fileStem = () => recording.name.replace(/\.\w+$/, "").replace(/[^\w-]+/g, "_");

function changeSettings() {
  describeSettings();
  restartAnalysis();
  if (recording === undefined || isRecording) return;
  chooseVersion();
  computeAll();
  draw();
  describe();
}

function listen() {
  $("clip").onclick = () => open("clip.wav", fetch(new URL("clip.wav", import.meta.url)).then((response) => response.arrayBuffer()));
  $("open").onclick = () => $("file").click();
  $("file").onchange = () => {
    const [file] = $("file").files;
    if (file) open(file.name, file.arrayBuffer());
    $("file").value = "";
  };
  $("record").onclick = () => (isRecording ? stopRecording() : startRecording());
  $("play").onclick = () => (player.isPlaying ? pause() : play());
  $("position").oninput = () => {
    const position = Number($("position").value);
    analyse(Math.min(recording.sampleN, Math.round(position * recording.sampleRate)));
    if (player.isPlaying && position < duration() - END_SECONDS) return play(position);
    pause();
    player.offset = position;
    draw();
  };
  for (const id of ["recipe", "window", "resolution"]) $(id).onchange = changeSettings;
  for (const id of ["version", "rate"]) {
    $(id).onchange = () => {
      chooseVersion();
      if (player.isPlaying) play();
    };
  }
  $("pass").onchange = $("corner").oninput = () => {
    $("corner-value").textContent = `${$("corner").value} Hz`;
    if (recording !== undefined) player.refilter(sections());
  };
  $("save-features").onclick = () => save(`${fileStem()}_${$("recipe").value}.npy`, new Blob([npy(computeAll())]));
  $("save-picture").onclick = () => $("picture").toBlob((blob) => save(`${fileStem()}.png`, blob));
  addEventListener("dragover", (event) => {
    event.preventDefault();
    document.body.classList.add("dropping");
  });
  addEventListener("dragleave", (event) => event.relatedTarget === null && document.body.classList.remove("dropping"));
  addEventListener("drop", (event) => {
    event.preventDefault();
    document.body.classList.remove("dropping");
    const [file] = event.dataTransfer.files;
    if (file) open(file.name, file.arrayBuffer());
    else say("That was no file.", true);
  });
  addEventListener("resize", draw);
}

async function certify() {
  const { functionN, wrong, hash } = await compareBits(audio);
  const good = wrong.length === 0;
  $("bits").classList.add(good ? "good" : "bad");
  $("bits-result").textContent =
    `${functionN - wrong.length} of ${functionN} functions: same bits as native${good ? "" : `, but for ${wrong.join(", ")}`}`;
  $("bits-hash").textContent = `SHA-256 ${hash}`;
}

async function start() {
  for (const [key, { name }] of Object.entries(RECIPES)) $("recipe").add(new Option(name, key));
  try {
    audio = await load();
  } catch (error) {
    return say(`This browser cannot run the page: ${error.message}`, true);
  }
  player = new Player(audio.module, () => {
    analyse(recording.sampleN);
    player.offset = duration();
    $("play").textContent = "Play";
    describe();
    draw();
  });
  listen();
  describeSettings();
  chooseVersion();
  draw();
  for (const id of ["clip", "open", "record"]) $(id).disabled = false;
  say("Ready.");
  await certify();
  navigator.serviceWorker?.register(new URL("offline.js", import.meta.url)).catch(() => {}); // the page works without it
}

start();
