// Overheads of a call: one frame or a few samples per call, cached tables, the host's floating-point settings, the
// first call against later ones, and two threads at once.
#include <cfenv>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "kelvo_audio.h"
#include "peers/peers.h"
#include "rows.h"
#include "signals.h"

namespace kelvo::Bench {
namespace {

constexpr MelSettings kSpeech{16000, 400, 160, 80};

void AddOneFrameRow() {
  AddRow({.section = "One frame a call", .name = "mel, 64 samples, 20 bands", .goal = 1.2, .make_contest = [] {
            return AgainstPeers(MakeMelSpectrogram(64, {16000, 64, 64, 20}, false));
          }});
}

constexpr std::size_t kBankN = 80 * 201;

void GetKnownBank(float* dst) {
  kelvoAudioGetFBMatrix(dst, 201, 0.0f, 8000.0f, 80, 16000, KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
}

// A cached table of `count` floats against its copy.
Contest AgainstCopy(std::size_t count, Run get) {
  auto table = std::make_shared<Buffer>(count);
  get(table->data());
  return {table, count, {{"ours", get}, {"memcpy", [&from = *table](float* dst) {
                                           std::memcpy(dst, from.data(), sizeof(float) * from.size());
                                         }}}};
}

void AddOneCallRows() {
  constexpr const char* kSection = "One call";
  AddRow({.section = kSection, .name = "mel, a frame of 400/160/80", .goal = 1.2, .make_contest = [] {
            return AgainstPeers(MakeMelSpectrogram(400, kSpeech, false));
          }});
  struct Size {
    std::size_t fft_n;
    double goal;
  };
  for (const Size size : {Size{16, 0.8}, {64, 1.2}, {256, 1.4}}) {
    AddRow({.section = kSection,
            .name = "FFT of " + std::to_string(size.fft_n) + " samples",
            .goal = size.goal,
            .make_contest = [=] { return AgainstPeers(MakeForwardFft(size.fft_n)); }});
  }
  AddRow({.section = kSection, .name = "cached window of 400", .goal = 0.6, .make_contest = [] {
            return AgainstCopy(400, [](float* dst) { kelvoAudioGetWindow(dst, 400, KELVO_AUDIO_WINDOW_HANN); });
          }});
  AddRow({.section = kSection, .name = "cached bank of 80 bands of 201 bins", .goal = 0.9, .make_contest = [] {
            return AgainstCopy(kBankN, GetKnownBank);
          }});
}

// Every call puts the default floating-point environment in place of the host's, which costs more where they differ.
void AddEnvironmentRow() {
  AddRow({.section = "The shortest call, by the host's floating-point settings",
          .name = "number of frames, 1000 times",
          .make_contest = [] {
            const Run count_frames = [](float* dst) {
              int frame_n = 0;
              for (int i = 0; i < 1000; ++i) {
                kelvoAudioGetFrameLen(&frame_n, 400 + i, 400, 160, KELVO_AUDIO_CENTER_NONE);
              }
              dst[0] = static_cast<float>(frame_n);
            };
            const Run count_frames_elsewhere = [count_frames](float* dst) {
              const int host = std::fegetround();
              std::fesetround(FE_TOWARDZERO);
              count_frames(dst);
              std::fesetround(host);
            };
            return Contest{nullptr, 1, {{"default", count_frames}, {"rounding to zero", count_frames_elsewhere}}};
          }});
}

// A filter bank with a new highest frequency, which is not in the cache.
void GetNewBank(float* dst) {
  static float f_max = 8000.0f;
  f_max -= 0.01f;
  kelvoAudioGetFBMatrix(dst, 201, 0.0f, f_max, 80, 16000, KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
}

// A prime near 160001 whose plan is not in the cache.
void TransformNewPrime(float* dst) {
  static std::size_t length = 160001;
  const auto is_prime = [](std::size_t n) {
    for (std::size_t p = 2; p * p <= n; ++p) {
      if (n % p == 0) return false;
    }
    return true;
  };
  do {
    length -= 2;
  } while (!is_prime(length));
  static const Buffer src = Noise(length);
  kelvoAudioFFT(dst, src.data(), Int(length));
}

void TransformKnownPrime(float* dst) {
  static const Buffer src = Noise(160001);
  kelvoAudioFFT(dst, src.data(), 160001);
}

void AddFirstCallRows() {
  AddRow({.section = "First call against later ones",
          .name = "filter bank, 80 bands of 201 bins",
          .least_snr_db = 0.0,  // the banks differ slightly by design
          .make_contest = [] {
            return Contest{nullptr, kBankN, {{"ours, later", GetKnownBank}, {"first", GetNewBank}}};
          }});
  AddRow({.section = "First call against later ones",
          .name = "FFT, primes near 160001",
          .least_snr_db = -100.0,  // of different lengths
          .make_contest = [] {
            return Contest{nullptr, 2 * 160001, {{"ours, later", TransformKnownPrime}, {"first", TransformNewPrime}}};
          }});
}

// Two jobs one after the other, against one on each of two threads: with two free cores the ratio approaches 2.
void AddThreadRow() {
  AddRow({.section = "Two jobs on two threads against one thread",
          .name = "mel spectrogram, 60 s at 16 kHz",
          .clock = Clock::wall,
          .make_contest = [] {
            auto job = std::make_shared<const MelSpectrogram>(MakeMelSpectrogram(60 * 16000, kSpeech, true));
            const std::size_t one_n = job->ResultCount();
            const Run one_thread = [&job = *job, one_n](float* dst) {
              RunOurs(job, dst);
              RunOurs(job, dst + one_n);
            };
            const Run two_threads = [&job = *job, one_n](float* dst) {
              std::jthread other([&] { RunOurs(job, dst + one_n); });
              RunOurs(job, dst);
            };
            return Contest{job, 2 * one_n, {{"two threads", two_threads}, {"one thread", one_thread}}};
          }});
}

}  // namespace

void AddCallRows() {
  AddOneFrameRow();
  AddOneCallRows();
  AddEnvironmentRow();
  AddFirstCallRows();
  AddThreadRow();
}

}  // namespace kelvo::Bench
