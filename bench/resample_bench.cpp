// Sample-rate conversion.
#include "jobs.h"
#include "peers/peers.h"
#include "rows.h"

namespace kelvo::Bench {
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
            .avx2_goal = 1.3,
            .least_snr_db = 40.0,  // the filters differ, with delays of up to half a phase between them
            .edge_n = 1000,        // the ends are extended differently
            .make_contest = [=] { return AgainstPeers(MakeResampling(rates.dst_rate, rates.src_rate, 10)); }});
  }
}

}  // namespace kelvo::Bench
