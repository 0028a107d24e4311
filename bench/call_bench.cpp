// Overheads of a call: one frame per call, the first call against later ones, and two threads at once.
#include <memory>
#include <thread>

#include "kelvo_audio.h"
#include "peers/peers.h"
#include "rows.h"
#include "short_time_jobs.h"
#include "signals.h"

namespace kelvo::Bench {
namespace {

constexpr MelSettings kSpeech{16000, 400, 160, 80};

void AddOneFrameRow() {
  AddRow({.section = "One frame a call", .name = "mel, 64 samples, 20 bands", .goal = 1.2, .make_contest = [] {
            return AgainstPeers(MakeMelSpectrogram(64, {16000, 64, 64, 20}, false));
          }});
}

// A filter bank with a new highest frequency, which is not in the cache.
void GetNewBank(float* dst) {
  static float f_max = 8000.0f;
  f_max -= 0.01f;
  kelvoAudioGetFBMatrix(dst, 201, 0.0f, f_max, 80, 16000, KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
}

void GetKnownBank(float* dst) {
  kelvoAudioGetFBMatrix(dst, 201, 0.0f, 8000.0f, 80, 16000, KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
}

void AddFirstCallRow() {
  AddRow({.section = "First call against later ones",
          .name = "filter bank, 80 bands of 201 bins",
          .least_snr_db = 0.0,  // the banks differ slightly by design
          .make_contest = [] {
            return Contest{nullptr, 80 * 201, {{"ours, later", GetKnownBank}, {"first", GetNewBank}}};
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
  AddFirstCallRow();
  AddThreadRow();
}

}  // namespace kelvo::Bench
