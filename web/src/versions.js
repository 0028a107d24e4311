// The versions of a recording that can be heard.

/** A second-order Butterworth filter by the bilinear transform, as one section. */
export function butterworth(pass, corner, sampleRate) {
  const c = Math.tan((Math.PI * Math.min(corner, 0.49 * sampleRate)) / sampleRate);
  const gain = pass === "low" ? c * c : 1;
  const middle = pass === "low" ? 2 : -2;
  return [gain, middle * gain, gain, 1 + Math.SQRT2 * c + c * c, 2 * (c * c - 1), 1 - Math.SQRT2 * c + c * c];
}

/** To the complex spectrogram and back, and by how many decibels the difference lies below the signal. */
export function resynthesise(audio, samples, { fftN, hopN, winType }) {
  const framing = { hopN, winType, center: "reflect" };
  const bins = audio.spectrogram(samples, { ...framing, fftN });
  if (bins.shape[1] === 0) return { samples, snr: Infinity };
  const result = audio.inverseSpectrogram(bins, { ...framing, maxSampleN: samples.length });
  let signal = 0, noise = 0;
  // The samples behind the last frame are zeros.
  for (let i = 0; i < (bins.shape[1] - 1) * hopN; ++i) {
    signal += samples[i] ** 2;
    noise += (samples[i] - result[i]) ** 2;
  }
  return { samples: result, snr: 10 * Math.log10(signal / noise) };
}
