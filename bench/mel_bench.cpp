// The mel spectrogram and the projection to mel bands.
#include "jobs.h"
#include "peers/peers.h"
#include "rows.h"

namespace kelvo::Bench {
void AddMelRows() {
  constexpr std::size_t kSeconds = 10;
  struct MelRow {
    const char* name;
    MelSettings settings;
    double goal;
  };
  for (const MelRow row : {MelRow{"16 kHz 400/160/80", {16000, 400, 160, 80}, 2.0},
                           {"22.05 kHz 1024/256/80", {22050, 1024, 256, 80}, 2.2},
                           {"44.1 kHz 2048/512/128", {44100, 2048, 512, 128}, 2.3}}) {
    AddRow({.section = "Mel spectrogram, 10 s", .name = row.name, .goal = row.goal, .make_contest = [=] {
              const std::size_t sample_n = kSeconds * static_cast<std::size_t>(row.settings.sample_rate);
              return AgainstPeers(MakeMelSpectrogram(sample_n, row.settings, true));
            }});
  }
  AddRow({.section = "Mel projection", .name = "201 bins, 1000 frames, 80 bands", .goal = 1.2, .make_contest = [] {
            return AgainstPeers(MakeMelProjection(1000));
          }});
}

}  // namespace kelvo::Bench
