// Conversions in lanes.
#include "math/groups.h"
#include "math/log.h"
#include "math/pow.h"
#include "math/trigonometry.h"
#include "mel/mel_kernels.h"
#include "simd/lanes.h"

namespace kelvo::Mel {
namespace {

using namespace Math;
using namespace Simd;

template <class Lane>
struct ComplexLanes {
  Lane re, im;
};
template <std::size_t N>
KELVO_INLINE void LoadComplex(ComplexLanes<Lanes<float, N>>& z, const float* src) {
  const auto parts = Deinterleave(Lanes<float, N>::Load(src), Lanes<float, N>::Load(src + N));
  z = {parts.first, parts.second};
}
template <class L>
KELVO_INLINE void LoadComplex(ComplexLanes<Two<L>>& z, const float* src) {
  ComplexLanes<L> low, high;
  LoadComplex(low, src);
  LoadComplex(high, src + 2 * L::kSize);
  z = {{low.re, high.re}, {low.im, high.im}};
}
template <std::size_t N>
KELVO_INLINE void StoreComplex(float* dst, const ComplexLanes<Lanes<float, N>>& z) {
  const auto pairs = Interleave(z.re, z.im);
  pairs.first.Store(dst);
  pairs.second.Store(dst + N);
}
template <class L>
KELVO_INLINE void StoreComplex(float* dst, const ComplexLanes<Two<L>>& z) {
  StoreComplex(dst, ComplexLanes<L>{z.re.first, z.im.first});
  StoreComplex(dst + 2 * L::kSize, ComplexLanes<L>{z.re.second, z.im.second});
}

template <PowerForm kForm, class Values>
void RaiseMagnitudesBy(float* dst, const float* src, std::size_t count, float power) {
  const Exponent half_power = MakeExponent(power * 0.5f);
  ForEachGroup<1, 2, Values>(
      dst, src, count, [&](float* to, const float* from) __attribute__((always_inline)) {
        ComplexLanes<Values> z;
        LoadComplex(z, from);
        const Values magnitude = ApplyPower<kForm>(z.re, z.im);
        if constexpr (kForm == PowerForm::general) {
          StorePow(to, magnitude, half_power);
        } else {
          magnitude.Store(to);
        }
      });
}

void RaiseMagnitudes(float* dst, const float* src, std::size_t count, float power) {
  switch (PowerFormOf(power)) {
    case PowerForm::squared: return RaiseMagnitudesBy<PowerForm::squared, Group>(dst, src, count, power);
    case PowerForm::magnitude: return RaiseMagnitudesBy<PowerForm::magnitude, Group>(dst, src, count, power);
    default: return RaiseMagnitudesBy<PowerForm::general, LargeGroup>(dst, src, count, power);
  }
}

using GroupAngle = AngleSteps<Group>;

KELVO_INLINE void FindDirection(GroupAngle& steps, float* magnitudes, const float* from) {
  ComplexLanes<Group> z;
  LoadComplex(z, from);
  if (magnitudes != nullptr) ApplyPower<PowerForm::magnitude>(z.re, z.im).Store(magnitudes);
  steps.FindDirection(z.im, z.re);
}
KELVO_INLINE void TurnBack(GroupAngle& steps) { steps.TurnBack(); }
KELVO_INLINE void RoundAngle(GroupAngle& steps) { steps.RoundAngle(); }
KELVO_INLINE void FinishAngle(float* to, GroupAngle& steps) { steps.FinishAngle().Store(to); }
KELVO_INLINE void FinishPhase(float* to, GroupAngle& steps) {
  const auto phase = steps.FinishPhase();
  StoreComplex(to, ComplexLanes<Group>{phase.cosine, phase.sine});
}

// Magnitudes come along, whose roots share the divider with angles but wait for it side by side. Those to another power
// are raised by themselves.
float* TakeMagnitudes(float* dst, const float* src, std::size_t count, float power) {
  if (PowerFormOf(power) == PowerForm::magnitude) return dst;
  RaiseMagnitudes(dst, src, count, power);
  return nullptr;
}

void TakeAngles(float* magnitudes, float* angles, const float* src, std::size_t count, float power) {
  const Results dst{angles, TakeMagnitudes(magnitudes, src, count, power)};
  RunPipeline<1, 2, GroupAngle>(dst, src, count, FindDirection, FinishAngle, TurnBack);
}

// The cosine and sine of the float angle. z / |z| would differ from them for infinities, and even for -1, whose angle
// is not quite pi.
void TakeUnitPhases(float* magnitudes, float* phases, const float* src, std::size_t count, float power) {
  const Results dst{phases, TakeMagnitudes(magnitudes, src, count, power)};
  RunPipeline<2, 2, GroupAngle>(dst, src, count, FindDirection, FinishPhase, TurnBack, RoundAngle);
}

// `<` is false for NaN: one in src[0] stays, a later one is skipped. Every lane starts from src[0], so that the lanes
// keep this rule; otherwise the order of the comparisons makes no difference.
float FindPeak(const float* src, std::size_t count) {
  constexpr std::size_t kChainN = 4;  // independent accumulators, to hide the latency of a comparison
  Floats peaks[kChainN];
  for (Floats& peak : peaks) peak = Floats::Broadcast(src[0]);
  std::size_t i = 0;
  for (; i + kChainN * Floats::kSize <= count; i += kChainN * Floats::kSize) {
    for (std::size_t chain = 0; chain < kChainN; ++chain) {
      const Floats value = Floats::Load(src + i + chain * Floats::kSize);
      peaks[chain] = SelectLess(peaks[chain], value, value, peaks[chain]);
    }
  }
  float candidates[kChainN * Floats::kSize];
  for (std::size_t chain = 0; chain < kChainN; ++chain) peaks[chain].Store(candidates + chain * Floats::kSize);
  float peak = src[0];
  for (const float candidate : candidates) peak = peak < candidate ? candidate : peak;
  for (; i < count; ++i) peak = peak < src[i] ? src[i] : peak;
  return peak;
}

// 10 log10(max(x, 1e-10)): NaN and what is not above the floor counts as the floor.
template <class Lane>
KELVO_INLINE Lane PowerToDb(Lane x) {
  const Lane floor = Lane::Broadcast(1e-10f);
  return Log10(SelectLess(floor, x, x, floor)) * Lane::Broadcast(10.0f);
}

void ConvertToDb(float* dst, const float* src, std::size_t count, float reference, float lower) {
  // Correctly rounded in one lane as in many, which is what makes the peak exactly 0 dB.
  const Group reference_db = Group::Broadcast(PowerToDb(Lanes<float, 1>{reference}).v);
  const Group lowest = Group::Broadcast(lower);
  ForEachGroup<1, 1>(
      dst, src, count, [&](float* to, const float* from) __attribute__((always_inline)) {
        const Group db = PowerToDb(Group::Load(from)) - reference_db;
        SelectLess(db, lowest, lowest, db).Store(to);
      });
}

void TakeLog1p(float* dst, const float* src, std::size_t count) {
  ForEachGroup<1, 1>(
      dst, src, count,
      [](float* to, const float* from) __attribute__((always_inline)) { Log1p(Group::Load(from)).Store(to); });
}

template <class Lane>
KELVO_INLINE std::size_t ShiftAndScaleFrom(std::size_t i, float* dst, const float* src, std::size_t count, float mean,
                                           float scale) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    ((Lane::Load(src + i) - Lane::Broadcast(mean)) * Lane::Broadcast(scale)).Store(dst + i);
  }
  return i;
}

void ShiftAndScale(float* dst, const float* src, std::size_t count, float mean, float scale) {
  const std::size_t i = ShiftAndScaleFrom<Floats>(0, dst, src, count, mean, scale);
  ShiftAndScaleFrom<Lanes<float, 1>>(i, dst, src, count, mean, scale);
}

constexpr ConversionKernels kKernels{RaiseMagnitudes, TakeAngles, TakeUnitPhases, FindPeak,
                                     ConvertToDb,     TakeLog1p,  ShiftAndScale};

}  // namespace
}  // namespace kelvo::Mel

template <>
const kelvo::Mel::ConversionKernels&
kelvo::Simd::KernelsAt<kelvo::Mel::ConversionKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Mel::kKernels;
}
