// The features of well-known front ends: for each the sample rate, the settings of the mel spectrogram, and what the
// front end makes of its values.

function map(matrix, change) {
  return { ...matrix, data: matrix.data.map(change) };
}

const peakOf = ({ data }) => Math.max(data.reduce((most, value) => Math.max(most, value), 0), 1e-10);

// log10 of the values, at most 8 below the peak, brought to about -1 .. 1.
function whisperScale(audio, mel) {
  const peak = Math.log10(peakOf(mel));
  return map(audio.powerToDb(mel, { topDb: 80 }), (db) => (db / 10 + peak + 4) / 4);
}

function mirrored(samples, count) {
  const n = samples.length;
  return Float32Array.from({ length: n + 2 * count }, (_, i) => {
    const at = Math.abs(i - count) % Math.max(1, 2 * n - 2);
    return samples[at < n ? at : 2 * n - 2 - at];
  });
}

export const RECIPES = {
  whisper: {
    name: "Whisper, 80 mels", sampleRate: 16000, settings: { fftN: 400, hopN: 160, melN: 80 },
    frameN: (sampleN, { hopN }) => Math.floor(sampleN / hopN), finish: whisperScale,
  },
  whisper128: {
    name: "Whisper, 128 mels", sampleRate: 16000, settings: { fftN: 400, hopN: 160, melN: 128 },
    frameN: (sampleN, { hopN }) => Math.floor(sampleN / hopN), finish: whisperScale,
  },
  torchaudio: {
    name: "torchaudio MelSpectrogram", sampleRate: 16000,
    settings: { fftN: 400, hopN: 200, melN: 128, melNorm: "none", melFormula: "htk" }, finish: (audio, mel) => mel,
  },
  librosa: {
    name: "librosa, decibels", sampleRate: 22050, settings: { fftN: 2048, hopN: 512, melN: 128, center: "zero" },
    frameN: (sampleN, { hopN }) => 1 + Math.floor(sampleN / hopN),
    finish: (audio, mel) => audio.powerToDb(mel, { topDb: 80 }),
  },
  hifigan: {
    name: "HiFi-GAN vocoder", sampleRate: 22050,
    settings: { fftN: 1024, hopN: 256, melN: 80, fMax: 8000, center: "none", power: 1 },
    // The signal brings its own mirrored ends.
    prepare: (samples, { fftN, hopN }) => mirrored(samples, Math.floor((fftN - hopN) / 2)),
    finish: (audio, mel) => map(mel, (value) => Math.log(Math.max(value, 1e-5))),
  },
  panns: {
    name: "PANNs audio tagging", sampleRate: 32000, settings: { fftN: 1024, hopN: 320, melN: 64, fMin: 50, fMax: 14000 },
    finish: (audio, mel) => {
      const peak = 10 * Math.log10(peakOf(mel));
      return map(audio.powerToDb(mel, { topDb: -1 }), (db) => db + peak);
    },
  },
};

/** The settings of a recipe with another window and resolution. */
export function settingsOf(recipe, winType, factor) {
  const { sampleRate, settings } = recipe;
  const fftN = settings.fftN * factor;
  return { ...settings, sampleRate, winType, fftN, hopN: settings.hopN * factor, melN: Math.min(settings.melN, fftN / 2) };
}

/** What the model would be given for samples at the recipe's rate; undefined where they are shorter than a frame. */
export function computeFeatures(audio, recipe, settings, samples) {
  const prepared = recipe.prepare ? recipe.prepare(samples, settings) : samples;
  const most = recipe.frameN?.(samples.length, settings);
  if (prepared.length < settings.fftN || most === 0) return undefined;
  return recipe.finish(audio, audio.melSpectrogram(prepared, most === undefined ? settings : { ...settings, maxFrameN: most }));
}
