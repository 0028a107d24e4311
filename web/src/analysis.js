// Features as the samples come in: resampled, cut into frames and kept for the picture.

/** Samples of any rate in, mel frames out, with the bits that the whole recording would give. */
export class LiveAnalysis {
  constructor(audio, settings, sampleRate) {
    // Frames that begin before the signal would wait for nothing here, so all recipes are centred while they stream.
    const { center, ...others } = settings;
    this.settings = settings;
    this.resampling = sampleRate === settings.sampleRate ? undefined
      : audio.resampleStream({ dstSampleRate: settings.sampleRate, srcSampleRate: sampleRate });
    this.mel = audio.melStream({ ...others, center: center === "zero" ? "zero" : "reflect" });
    this.frames = new Float32Array(settings.melN * 256);
    this.frameN = 0;
    this.peak = 1e-10;
  }

  /** Takes the next samples. */
  push(samples) {
    const resampled = this.resampling ? this.resampling.push(samples) : samples;
    this.reserve(this.mel.frameN(resampled.length));
    this.count(this.mel.pushTo(this.frames.subarray(this.frameN * this.settings.melN), resampled));
  }

  /** The frames that reach beyond the end of the samples. */
  finish() {
    if (this.resampling) {
      const { resampling } = this;
      this.resampling = undefined;
      const rest = resampling.finish();
      resampling.close();
      if (rest.length > 0) this.push(rest);
    }
    const { data, shape: [melN, frameN] } = this.mel.finish();
    this.reserve(frameN);
    for (let t = 0; t < frameN; ++t) {
      for (let band = 0; band < melN; ++band) this.frames[(this.frameN + t) * melN + band] = data[band * frameN + t];
    }
    this.count(frameN);
  }

  reserve(frameN) {
    const needed = (this.frameN + frameN) * this.settings.melN;
    if (needed <= this.frames.length) return;
    const larger = new Float32Array(2 * needed);
    larger.set(this.frames);
    this.frames = larger;
  }

  count(added) {
    const { melN } = this.settings;
    for (let i = this.frameN * melN; i < (this.frameN + added) * melN; ++i) this.peak = Math.max(this.peak, this.frames[i]);
    this.frameN += added;
  }

  close() {
    this.resampling?.close();
    this.mel.close();
  }
}

/** Lowest and highest sample of each of `count` stretches of equal length, from `from` to `to`. */
export function envelope(samples, from, to, count) {
  const lows = new Float32Array(count), highs = new Float32Array(count);
  for (let i = 0; i < count; ++i) {
    const start = Math.floor(from + ((to - from) * i) / count);
    const end = Math.min(samples.length, Math.max(start + 1, Math.floor(from + ((to - from) * (i + 1)) / count)));
    let low = 0, high = 0;
    for (let k = Math.max(0, start); k < end; ++k) {
      low = Math.min(low, samples[k]);
      high = Math.max(high, samples[k]);
    }
    lows[i] = low;
    highs[i] = high;
  }
  return { lows, highs };
}
