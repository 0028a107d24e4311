// Log-mel features of a 16-bit WAV file in mono: java -cp jna.jar LogMel.java
// Usage: LogMel RECORDING.wav FEATURES.f32     writes [80 bands x frames] floats, and prints their shape
import com.sun.jna.Library;
import com.sun.jna.Native;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;

public class LogMel {
  interface KelvoAudio extends Library {
    KelvoAudio INSTANCE = Native.load("kelvo_audio", KelvoAudio.class); // in jna.library.path
    int kelvoAudioGetFrameLen(int[] frameN, int sampleN, int fftN, int hopN, int center);
    int kelvoAudioGetMelSpectrogram(float[] dst, float[] src, int sampleN, int sampleRate, int fftN, int hopN, int winN,
        int winType, int maxFrameN, int center, float power, int fftNormType, float fMin, float fMax, int melN,
        int melNorm, int melFormula);
    int kelvoAudioConvertPowerToDB(float[] dst, float[] src, int srcN, float topDb);
  }

  static final int MEL_N = 80, FFT_N = 400, HOP_N = 160, HANN = 1, REFLECT = 1, SLANEY_NORM = 1;

  static void check(int status) {
    if (status != 0) throw new IllegalStateException("status " + status);
  }

  static float[] logMel(float[] samples, int rate) {
    KelvoAudio audio = KelvoAudio.INSTANCE;
    int[] frameN = new int[1];
    check(audio.kelvoAudioGetFrameLen(frameN, samples.length, FFT_N, HOP_N, REFLECT));
    float[] mel = new float[MEL_N * frameN[0]], db = new float[mel.length];
    check(audio.kelvoAudioGetMelSpectrogram(mel, samples, samples.length, rate, FFT_N, HOP_N, FFT_N, HANN, frameN[0],
        REFLECT, 2, 0, 0, rate / 2f, MEL_N, SLANEY_NORM, 0));
    check(audio.kelvoAudioConvertPowerToDB(db, mel, mel.length, 80));
    return db;
  }

  public static void main(String[] arguments) throws Exception {
    ByteBuffer wav = ByteBuffer.wrap(Files.readAllBytes(Path.of(arguments[0]))).order(ByteOrder.LITTLE_ENDIAN);
    float[] samples = new float[(wav.capacity() - 44) / 2];
    for (int i = 0; i < samples.length; ++i) samples[i] = wav.getShort(44 + 2 * i) / 32768f;
    float[] db = logMel(samples, wav.getInt(24));
    System.out.println(MEL_N + " bands x " + db.length / MEL_N + " frames");
    ByteBuffer features = ByteBuffer.allocate(4 * db.length).order(ByteOrder.LITTLE_ENDIAN);
    for (float value : db) features.putFloat(value);
    Files.write(Path.of(arguments[1]), features.array());
  }
}
