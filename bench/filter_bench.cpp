// Linear filters, one pass and zero phase.
#include "jobs.h"
#include "peers/peers.h"
#include "rows.h"

namespace kelvo::Bench {
namespace {

constexpr std::size_t kSamples = 1 << 16;

}  // namespace

void AddFilterRows() {
  struct FilterRow {
    const char* name;
    LinearFilter (*make)(std::size_t size, std::size_t sample_n);
    std::size_t size;
    double goal, avx2_goal = 0.0;
  };
  for (const FilterRow row : {FilterRow{"biquad", MakeIir, 2, 1.27},
                              {"order 4", MakeIir, 4, 1.27},
                              {"order 8", MakeIir, 8, 1.45},
                              {"order 16", MakeIir, 16, 2.0},
                              {"FIR, 31 taps", MakeFir, 31, 3.0},
                              {"FIR, 255 taps", MakeFir, 255, 1.3, 1.3}}) {
    AddRow({.section = "Linear filter, 65536 samples",
            .name = row.name,
            .goal = row.goal,
            .avx2_goal = row.avx2_goal,
            .least_snr_db = 90.0,  // state in single precision here or there
            .make_contest = [=] { return AgainstPeers(row.make(row.size, kSamples)); }});
  }
  AddRow({.section = "Linear filter, 65536 samples", .name = "zero phase, order 4", .goal = 2.9, .make_contest = [] {
            return AgainstPeers(ZeroPhaseFilter{MakeIir(4, kSamples), 15});
          }});
}

}  // namespace kelvo::Bench
