// The picture: a waveform above a log-mel spectrogram, on one time axis.
import { envelope } from "./analysis.js";

const TOP_DB = 80;
const WAVE = "#7f7f8a", MARK = "#cc4547";

// A map of even perceptual steps from dark to light, readable in grey and by the colour-blind; straight lines between
// its tenths.
const COLOURS = [0x000004, 0x1b0c41, 0x4a0c6b, 0x781c6d, 0xa52c60, 0xcf4446, 0xed6925, 0xfb9b06, 0xf7d13d, 0xfcffa4];
const PALETTE = Uint32Array.from({ length: 256 }, (_, level) => {
  const position = (level / 255) * (COLOURS.length - 1);
  const below = Math.min(Math.floor(position), COLOURS.length - 2);
  const channel = (shift) => {
    const low = (COLOURS[below] >> shift) & 255, high = (COLOURS[below + 1] >> shift) & 255;
    return Math.round(low + (position - below) * (high - low));
  };
  return (255 << 24) | (channel(0) << 16) | (channel(8) << 8) | channel(16); // as image data has them in memory
});

const toMel = {
  slaney: (hz) => (hz < 1000 ? (hz * 3) / 200 : 15 + (Math.log(hz / 1000) * 27) / Math.log(6.4)),
  htk: (hz) => 2595 * Math.log10(1 + hz / 700),
};

export class Picture {
  constructor(canvas) {
    this.canvas = canvas;
    this.context = canvas.getContext("2d");
    this.columns = new OffscreenCanvas(1, 1);
  }

  /**
   * Draws `samples` at `sampleRate` and the frames of `analysis` so far, between the times `from` and `to` in seconds,
   * with a mark at `mark`.
   */
  draw({ samples, sampleN, sampleRate, analysis, from, to, mark }) {
    const ratio = Math.min(2, globalThis.devicePixelRatio || 1);
    const width = Math.max(300, this.canvas.clientWidth || 1200), height = Math.round(Math.max(340, Math.min(560, width * 0.5)));
    if (this.canvas.width !== Math.round(width * ratio) || this.canvas.height !== Math.round(height * ratio)) {
      this.canvas.width = Math.round(width * ratio);
      this.canvas.height = Math.round(height * ratio);
    }
    const c = this.context;
    c.setTransform(ratio, 0, 0, ratio, 0, 0);
    // The page's colours, which are light or dark as the user has it.
    const style = getComputedStyle(this.canvas);
    this.ink = style.getPropertyValue("--ink");
    c.fillStyle = style.getPropertyValue("--card");
    c.fillRect(0, 0, width, height);
    const narrow = width < 600;
    c.font = `${narrow ? 11 : 13}px system-ui, sans-serif`;
    const left = narrow ? 44 : 64, right = width - (narrow ? 52 : 74);
    const strip = { left, right, top: 12, bottom: Math.round(height * 0.2) };
    const plot = { left, right, top: strip.bottom + 20, bottom: height - (narrow ? 38 : 46) };
    const xOf = (seconds) => left + ((seconds - from) / (to - from)) * (right - left);

    this.drawWave(strip, samples.subarray(0, sampleN), from * sampleRate, to * sampleRate);
    if (analysis) this.drawFrames(plot, analysis, from, to);
    else {
      c.fillStyle = "#000004";
      c.fillRect(plot.left, plot.top, plot.right - plot.left, plot.bottom - plot.top);
    }
    if (analysis) this.drawFrequencies(plot, analysis.settings, narrow);
    this.drawTimes(plot, from, to, xOf);
    this.drawLegend(plot);
    if (mark !== undefined && mark >= from && mark <= to) {
      c.fillStyle = MARK;
      c.fillRect(Math.min(right - 2, xOf(mark)), strip.top, 2, strip.bottom - strip.top);
      c.fillStyle = "#ffffffb0";
      c.fillRect(Math.min(right - 2, xOf(mark)), plot.top, 2, plot.bottom - plot.top);
    }
    c.strokeStyle = this.ink;
    for (const box of [strip, plot]) c.strokeRect(box.left - 0.5, box.top - 0.5, box.right - box.left + 1, box.bottom - box.top + 1);
  }

  drawWave(box, samples, from, to) {
    const c = this.context, count = Math.max(1, Math.round(box.right - box.left));
    const { lows, highs } = envelope(samples, from, to, count);
    const middle = (box.top + box.bottom) / 2, half = (box.bottom - box.top) / 2 - 2;
    const loudest = Math.max(0.05, ...highs, ...lows.map((low) => -low));
    c.fillStyle = WAVE;
    for (let i = 0; i < count; ++i) {
      const top = middle - (highs[i] / loudest) * half;
      c.fillRect(box.left + i, top, 1, Math.max(1, ((highs[i] - lows[i]) / loudest) * half));
    }
  }

  drawFrames(box, { frames, frameN, peak, settings: { melN, hopN, sampleRate } }, from, to) {
    const c = this.context;
    const first = Math.max(0, Math.floor((from * sampleRate) / hopN)), end = Math.max(first + 1, Math.ceil((to * sampleRate) / hopN));
    // One pixel a frame, or the loudest of several where they are more than the screen shows.
    const step = Math.max(1, Math.ceil((end - first) / 2048));
    const columnN = Math.ceil((end - first) / step);
    if (this.columns.width !== columnN || this.columns.height !== melN) Object.assign(this.columns, { width: columnN, height: melN });
    const image = new ImageData(columnN, melN), pixels = new Uint32Array(image.data.buffer).fill(PALETTE[0]);
    const scale = 10 / Math.LN10 / TOP_DB * 255, base = Math.log(peak);
    for (let x = 0; x < columnN; ++x) {
      for (let band = 0; band < melN; ++band) {
        let value = 0;
        for (let t = first + x * step; t < Math.min(frameN, first + (x + 1) * step); ++t) value = Math.max(value, frames[t * melN + band]);
        if (value > 0) pixels[(melN - 1 - band) * columnN + x] = PALETTE[Math.max(0, Math.round(255 + (Math.log(value) - base) * scale))];
      }
    }
    this.columns.getContext("2d").putImageData(image, 0, 0);
    c.imageSmoothingEnabled = false;
    c.drawImage(this.columns, box.left, box.top, box.right - box.left, box.bottom - box.top);
  }

  drawFrequencies(box, { melN, sampleRate, fMin = 0, fMax = sampleRate / 2, melFormula = "slaney" }, narrow) {
    const c = this.context, mel = toMel[melFormula];
    const low = mel(fMin), step = (mel(fMax) - low) / (melN + 1);
    c.textAlign = "right";
    c.textBaseline = "middle";
    let last = Infinity;
    for (const hz of [250, 500, 1000, 1500, 2000, 3000, 4000, 6000, 8000, 12000, 16000]) {
      if (hz < fMin || hz > fMax) continue;
      // Band m is centred on step m + 1 of the scale, and drawn from row m to row m + 1.
      const row = Math.max(0, Math.min(melN, (mel(hz) - low) / step - 0.5));
      const y = box.bottom - (row / melN) * (box.bottom - box.top);
      if (last - y < 16) continue;
      last = y;
      c.fillStyle = this.ink;
      c.fillText(hz < 1000 ? `${hz}` : `${hz / 1000}k`, box.left - 8, y);
      c.fillRect(box.left - 5, y, 5, 1);
    }
    if (narrow) return c.fillText("Hz", box.left - 8, box.top - 12);
    c.save();
    c.translate(11, (box.top + box.bottom) / 2);
    c.rotate(-Math.PI / 2);
    c.textAlign = "center";
    c.fillText("Hz, mel scale", 0, 0);
    c.restore();
  }

  drawTimes(box, from, to, xOf) {
    const c = this.context;
    const step = [0.5, 1, 2, 5, 10, 20, 30, 60, 120, 300, 600].find((seconds) => xOf(from + seconds) - xOf(from) > 56) ?? 1800;
    c.fillStyle = this.ink;
    c.textAlign = "center";
    c.textBaseline = "top";
    for (let t = Math.ceil(from / step) * step; t <= to + 1e-9; t += step) {
      c.fillRect(Math.min(box.right - 1, xOf(t)), box.bottom, 1, 5);
      c.fillText(`${Number(t.toFixed(1))}`, xOf(t), box.bottom + 7);
    }
    c.fillText("time in s", (box.left + box.right) / 2, box.bottom + 22);
  }

  drawLegend(box) {
    const c = this.context, left = box.right + 12, high = box.bottom - box.top;
    for (let y = 0; y < high; ++y) {
      const colour = PALETTE[Math.round(255 * (1 - y / high))];
      c.fillStyle = `rgb(${colour & 255} ${(colour >> 8) & 255} ${(colour >> 16) & 255})`;
      c.fillRect(left, box.top + y, 12, 1.5);
    }
    c.fillStyle = this.ink;
    c.textAlign = "left";
    c.textBaseline = "middle";
    for (let db = 0; db <= TOP_DB; db += 20) c.fillText(`${-db}`, left + 16, box.top + (db / TOP_DB) * high);
    c.fillText("dB", left, box.top - 14);
  }
}
