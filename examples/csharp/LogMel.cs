// Log-mel features of a 16-bit WAV file in mono: mcs LogMel.cs && mono LogMel.exe, or any .NET
// Usage: LogMel RECORDING.wav FEATURES.f32     writes [80 bands x frames] floats, and prints their shape
using System;
using System.IO;
using System.Runtime.InteropServices;

static class LogMel {
  [DllImport("kelvo_audio")]
  static extern int kelvoAudioGetFrameLen(out int frameN, int sampleN, int fftN, int hopN, int center);
  [DllImport("kelvo_audio")]
  static extern int kelvoAudioGetMelSpectrogram([Out] float[] dst, float[] src, int sampleN, int sampleRate, int fftN,
      int hopN, int winN, int winType, int maxFrameN, int center, float power, int fftNormType, float fMin, float fMax,
      int melN, int melNorm, int melFormula);
  [DllImport("kelvo_audio")]
  static extern int kelvoAudioConvertPowerToDB([In, Out] float[] dst, float[] src, int srcN, float topDb);

  const int MelN = 80, FftN = 400, HopN = 160, Hann = 1, Reflect = 1, SlaneyNorm = 1;

  static void Check(int status) {
    if (status != 0) throw new InvalidOperationException("status " + status);
  }

  static float[] Compute(float[] samples, int rate) {
    int frameN;
    Check(kelvoAudioGetFrameLen(out frameN, samples.Length, FftN, HopN, Reflect));
    var mel = new float[MelN * frameN];
    Check(kelvoAudioGetMelSpectrogram(mel, samples, samples.Length, rate, FftN, HopN, FftN, Hann, frameN, Reflect, 2, 0,
        0, rate / 2f, MelN, SlaneyNorm, 0));
    Check(kelvoAudioConvertPowerToDB(mel, mel, mel.Length, 80));
    return mel;
  }

  static void Main(string[] arguments) {
    var wav = File.ReadAllBytes(arguments[0]);
    var samples = new float[(wav.Length - 44) / 2];
    for (int i = 0; i < samples.Length; ++i) samples[i] = BitConverter.ToInt16(wav, 44 + 2 * i) / 32768f;
    var mel = Compute(samples, BitConverter.ToInt32(wav, 24));
    Console.WriteLine("{0} bands x {1} frames", MelN, mel.Length / MelN);
    var features = new byte[4 * mel.Length];
    Buffer.BlockCopy(mel, 0, features, 0, features.Length);
    File.WriteAllBytes(arguments[1], features);
  }
}
