// Linear filters, one pass and zero phase.
#include "jobs.h"
#include "kelvo_audio.h"
#include "peers/peers.h"
#include "rows.h"
#include "signals.h"

namespace kelvo::Bench {
namespace {

constexpr std::size_t kSamples = 1 << 16;

LinearFilter MakeIir(std::size_t order) {
  auto [numerator, denominator] = Butterworth(order, 0.4);
  return {Noise(kSamples), std::move(numerator), std::move(denominator)};
}

LinearFilter MakeFir(std::size_t tap_n) { return {Noise(kSamples), LowPassTaps(tap_n, 0.4), {1.0f}}; }

}  // namespace

void RunOurs(const LinearFilter& job, float* dst) {
  kelvoAudioLinerFilter(dst, job.src.data(), job.numerator.data(), job.denominator.data(), nullptr, Int(job.src.size()),
                        Int(job.src.size()), Int(job.numerator.size()), Int(job.denominator.size()), 0);
}

void RunOurs(const ZeroPhaseFilter& job, float* dst) {
  kelvoAudioFilterFilter(dst, job.src.data(), job.numerator.data(), job.denominator.data(), Int(job.src.size()),
                         Int(job.src.size()), Int(job.numerator.size()), Int(job.denominator.size()),
                         KELVO_AUDIO_PAD_ODD, Int(job.pad_n));
}

void AddFilterRows() {
  struct FilterRow {
    const char* name;
    LinearFilter (*make)(std::size_t);
    std::size_t size;
    double goal;
  };
  for (const FilterRow row : {FilterRow{"biquad", MakeIir, 2, 1.27},
                              {"order 4", MakeIir, 4, 1.27},
                              {"order 8", MakeIir, 8, 1.45},
                              {"order 16", MakeIir, 16, 2.0},
                              {"FIR, 31 taps", MakeFir, 31, 3.0},
                              {"FIR, 255 taps", MakeFir, 255, 1.3}}) {
    AddRow({.section = "Linear filter, 65536 samples",
            .name = row.name,
            .goal = row.goal,
            .least_snr_db = 90.0,  // state in single precision here or there
            .make_contest = [=] { return AgainstPeers(row.make(row.size)); }});
  }
  AddRow({.section = "Linear filter, 65536 samples", .name = "zero phase, order 4", .goal = 2.9, .make_contest = [] {
            return AgainstPeers(ZeroPhaseFilter{MakeIir(4), 15});
          }});
}

}  // namespace kelvo::Bench
