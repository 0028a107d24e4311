// Element-wise transforms and spectral conversions.
#include "jobs.h"
#include "kelvo_audio.h"
#include "peers/peers.h"
#include "rows.h"
#include "signals.h"

namespace kelvo::Bench {
namespace {

constexpr std::size_t kValues = 80 * 1000;

ElementwiseConversion MakeConversion(Conversion conversion, std::size_t floats_in, std::size_t floats_out) {
  ElementwiseConversion job{conversion, Noise(floats_in * kValues), kValues, floats_out * kValues};
  if (conversion == Conversion::log1p || conversion == Conversion::power_to_db) {
    for (float& value : job.src) value *= value;
  }
  return job;
}

}  // namespace

void RunOurs(const ElementwiseConversion& job, float* dst) {
  const float* src = job.src.data();
  const int value_n = Int(job.value_n);
  switch (job.conversion) {
    case Conversion::log1p: kelvoAudioLog1p(dst, src, value_n); return;
    case Conversion::standardise: kelvoAudioStandardize(dst, src, value_n); return;
    case Conversion::power_to_db: kelvoAudioConvertPowerToDB(dst, src, value_n, kTopDb); return;
    case Conversion::magnitude: kelvoAudioComplexNorm(dst, src, value_n, 1.0f); return;
    case Conversion::power: kelvoAudioComplexNorm(dst, src, value_n, 2.0f); return;
    case Conversion::other_norm: kelvoAudioComplexNorm(dst, src, value_n, kOtherNorm); return;
    case Conversion::angle:
      kelvoAudioMagPhase(dst, dst + value_n, src, 1, value_n, 1.0f, KELVO_AUDIO_PHASE_ANGLE);
      return;
    case Conversion::unit_phase:
      kelvoAudioMagPhase(dst, dst + value_n, src, 1, value_n, 1.0f, KELVO_AUDIO_PHASE_COMPLEX);
      return;
  }
}

void AddConversionRows() {
  struct ConversionRow {
    const char* name;
    Conversion conversion;
    std::size_t floats_in, floats_out;  // a value
    double goal;
  };
  for (const ConversionRow row : {ConversionRow{"standardise", Conversion::standardise, 1, 1, 1.0},
                                  {"power to dB", Conversion::power_to_db, 1, 1, 1.0},
                                  {"log1p", Conversion::log1p, 1, 1, 0.45},
                                  {"complex norm, power 1", Conversion::magnitude, 2, 1, 1.0},
                                  {"complex norm, power 2", Conversion::power, 2, 1, 1.0},
                                  {"complex norm, power 0.7", Conversion::other_norm, 2, 1, 1.5},
                                  {"magnitude and angle", Conversion::angle, 2, 2, 0.4},
                                  {"magnitude and unit phase", Conversion::unit_phase, 2, 3, 0.7}}) {
    AddRow({.section = "Conversions, 80000 values", .name = row.name, .goal = row.goal, .make_contest = [=] {
              return AgainstPeers(MakeConversion(row.conversion, row.floats_in, row.floats_out));
            }});
  }
}

}  // namespace kelvo::Bench
