// The two mel scales.
#include "mel/mel_scale.h"

#include "math/functions.h"

namespace kelvo::Mel {
namespace {

constexpr float kBreakHz = 1000.0f;
constexpr float kMelPerHz = 0x1.eb851ep-7f;  // 0.015: 15 mel at 1000 Hz
constexpr float kHzPerMel = 0x1.0aaaaap+6f;  // 200 / 3
// The inverse uses 1000 / (200 / 3) in single precision, not the 15 of the forward conversion. This is meant: it moves
// the edges of the filters in their last bit.
constexpr float kBreakMel = 15.0f;
constexpr float kBreakMelBack = 0x1.e00002p+3f;

// Above the break 27 mel make a factor of 6.4.
float LogStep() { return Math::Log(6.4f) / 27.0f; }

constexpr float kHtkHz = 700.0f;
constexpr float kHtkMel = 2595.0f;
constexpr float kPerHtkMel = 0x1.941356p-12f;  // 1 / 2595, multiplied by and not divided: the rounding differs

}  // namespace

float HzToMelSlaney(float hz) {
  if (hz < kBreakHz) return hz * kMelPerHz;
  return kBreakMel + Math::Log(hz / kBreakHz) / LogStep();
}

float MelToHzSlaney(float mel) {
  if (mel < kBreakMelBack) return mel * kHzPerMel + 0.0f;  // the zero makes -0 mel +0 Hz
  return kBreakHz * Math::Exp(LogStep() * (mel - kBreakMelBack));
}

float HzToMelHtk(float hz) { return kHtkMel * Math::Log10(hz / kHtkHz + 1.0f); }

float MelToHzHtk(float mel) { return kHtkHz * (Math::Pow(10.0f, mel * kPerHtkMel) - 1.0f); }

}  // namespace kelvo::Mel
