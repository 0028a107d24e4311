// A recording as one channel of samples: WAV files at their own rate, all else by way of the browser's decoder.

const CODED_PCM = 1, CODED_FLOAT = 3;

/** The samples of a RIFF file of 16-bit integers or 32-bit floats; undefined for anything else. */
function readWave(bytes) {
  const view = new DataView(bytes);
  const tag = (at) => String.fromCharCode(...new Uint8Array(bytes, at, 4));
  if (bytes.byteLength < 12 || tag(0) !== "RIFF" || tag(8) !== "WAVE") return undefined;
  let format;
  for (let at = 12; at + 8 <= bytes.byteLength;) {
    const size = view.getUint32(at + 4, true), start = at + 8;
    if (tag(at) === "fmt " && size >= 16 && start + 16 <= bytes.byteLength) {
      format = {
        code: view.getUint16(start, true), channelN: view.getUint16(start + 2, true), sampleRate: view.getUint32(start + 4, true),
        bits: view.getUint16(start + 14, true),
      };
    }
    if (tag(at) === "data" && format !== undefined) {
      const { code, channelN, sampleRate, bits } = format;
      const isFloat = code === CODED_FLOAT && bits === 32;
      if ((!isFloat && !(code === CODED_PCM && bits === 16)) || channelN < 1 || sampleRate < 1) return undefined;
      const frameBytes = channelN * (bits / 8);
      const sampleN = Math.floor(Math.min(size, bytes.byteLength - start) / frameBytes);
      const samples = new Float32Array(sampleN);
      for (let i = 0; i < sampleN; ++i) {
        let sum = 0;
        for (let channel = 0; channel < channelN; ++channel) {
          const from = start + i * frameBytes + channel * (bits / 8);
          sum += isFloat ? view.getFloat32(from, true) : view.getInt16(from, true) / 32768;
        }
        samples[i] = sum / channelN;
      }
      return { samples, sampleRate };
    }
    at = start + size + (size % 2);
  }
  return undefined;
}

function mixed(buffer) {
  const samples = new Float32Array(buffer.length);
  for (let channel = 0; channel < buffer.numberOfChannels; ++channel) {
    const values = buffer.getChannelData(channel);
    for (let i = 0; i < samples.length; ++i) samples[i] += values[i] / buffer.numberOfChannels;
  }
  return { samples, sampleRate: buffer.sampleRate };
}

/** Reads `bytes` as { name, samples, sampleRate }; an Error's text is a sentence for the user. */
export async function readRecording(name, bytes, decode) {
  if (bytes.byteLength === 0) throw new Error(`${name} is empty.`);
  let recording = readWave(bytes);
  if (recording === undefined) {
    try {
      recording = mixed(await decode(bytes));
    } catch {
      throw new Error(`${name} is no sound that this browser can decode.`);
    }
  }
  if (recording.samples.length === 0) throw new Error(`${name} holds no sound.`);
  return { name, ...recording };
}
