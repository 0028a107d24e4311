// Sample-rate conversion.
#include <algorithm>
#include <array>

#include "jobs.h"
#include "kelvo_audio.h"
#include "peers/peers.h"
#include "rows.h"
#include "signals.h"

namespace kelvo::Bench {
namespace {

// Tones in the pass band of every contestant and, where there is room for it, one to be removed: 1.5 times the highest
// frequency of the target. A poor stop band, or images, thus lower a contestant's signal-to-noise ratio.
Resampling MakeResampling(int dst_rate, int src_rate) {
  constexpr int kSeconds = 10;
  Resampling job{{}, dst_rate, src_rate, 0};
  const double lower = std::min(dst_rate, src_rate) / static_cast<double>(src_rate);
  std::array<double, 5> fractions{0.031 * lower, 0.083 * lower, 0.147 * lower, 0.211 * lower, 0.259 * lower};
  if (dst_rate < src_rate && 0.75 * dst_rate < 0.45 * src_rate) fractions[4] = 0.75 * lower;
  job.src = Tones(static_cast<std::size_t>(kSeconds * src_rate), fractions);
  int dst_n = 0;
  kelvoAudioGetResampleLen(&dst_n, dst_rate, Int(job.src.size()), src_rate);
  job.dst_n = static_cast<std::size_t>(dst_n);
  return job;
}

}  // namespace

void RunOurs(const Resampling& job, float* dst) {
  kelvoAudioResample(dst, job.src.data(), job.dst_rate, Int(job.dst_n), job.src_rate, Int(job.src.size()));
}

void AddResampleRows() {
  struct Rates {
    const char* name;
    int src_rate, dst_rate;
    double goal;
  };
  for (const Rates rates : {Rates{"44.1 to 16 kHz", 44100, 16000, 1.6},
                            {"48 to 16 kHz", 48000, 16000, 2.0},
                            {"44.1 to 48 kHz", 44100, 48000, 1.2},
                            {"16 to 8 kHz", 16000, 8000, 1.2},
                            {"16 to 48 kHz", 16000, 48000, 1.0}}) {
    AddRow({.section = "Resampling, 10 s",
            .name = rates.name,
            .goal = rates.goal,
            .least_snr_db = 40.0,  // the filters differ, with delays of up to half a phase between them
            .edge_n = 1000,        // the ends are extended differently
            .make_contest = [=] { return AgainstPeers(MakeResampling(rates.dst_rate, rates.src_rate)); }});
  }
}

}  // namespace kelvo::Bench
