// The spectrogram and its inverse.
#include <string>

#include "peers/peers.h"
#include "rows.h"

namespace kelvo::Bench {
namespace {

struct Geometry {
  std::size_t fft_n, hop_n;
  std::string Name() const { return std::to_string(fft_n) + "/" + std::to_string(hop_n); }
};

}  // namespace

void AddStftRows() {
  constexpr std::size_t kFrames = 1000;  // 10 s of 400/160 at 16 kHz
  constexpr Geometry kGeometries[] = {{400, 160}, {512, 128}, {2048, 512}};
  struct Form {
    const char* name;
    float power;
    double goal;
  };
  for (const Form form : {Form{"complex", 0.0f, 1.3}, {"power 1", 1.0f, 1.6}, {"power 2", 2.0f, 1.3}}) {
    for (const Geometry geometry : kGeometries) {
      AddRow({.section = "Spectrogram, 1000 frames",
              .name = geometry.Name() + " " + form.name,
              .goal = geometry.fft_n == 2048 ? 1.8 : form.goal,
              .avx2_goal = 1.4,
              .make_contest = [=] {
                return AgainstPeers(
                    MakeSpectrogram(kFrames * geometry.hop_n, geometry.fft_n, geometry.hop_n, form.power));
              }});
    }
  }
  for (const Geometry geometry : kGeometries) {
    AddRow({.section = "Inverse spectrogram, 1000 frames",
            .name = geometry.Name(),
            .goal = 1.6,
            .avx2_goal = 1.6,
            .make_contest = [=] {
              return AgainstPeers(MakeInverseSpectrogram(kFrames, geometry.fft_n, geometry.hop_n));
            }});
  }
}

}  // namespace kelvo::Bench
