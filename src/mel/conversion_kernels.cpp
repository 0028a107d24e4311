// Conversions in lanes.
#include "mel/conversion_kernels.h"

#include "simd/lane_math.h"
#include "simd/lanes.h"

namespace kelvo::Mel {
namespace {

using namespace Simd;

// Real parts first, imaginary parts second, of the complex values from src[2 i] on.
template <class Lane>
KELVO_INLINE LanePair<float, Lane::kSize> LoadComplex(const float* src, std::size_t i) {
  return Deinterleave(Lane::Load(src + 2 * i), Lane::Load(src + 2 * i + Lane::kSize));
}

template <class Lane, PowerForm kForm>
KELVO_INLINE std::size_t RaiseMagnitudesFrom(std::size_t i, float* dst, const float* src, std::size_t count,
                                             float power) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    const auto z = LoadComplex<Lane>(src, i);
    if constexpr (kForm == PowerForm::general) {
      RaiseSquared(ApplyPower<PowerForm::squared>(z.first, z.second), power).Store(dst + i);
    } else {
      ApplyPower<kForm>(z.first, z.second).Store(dst + i);
    }
  }
  return i;
}

template <PowerForm kForm>
KELVO_INLINE void RaiseMagnitudesBy(float* dst, const float* src, std::size_t count, float power) {
  const std::size_t i = RaiseMagnitudesFrom<Floats, kForm>(0, dst, src, count, power);
  RaiseMagnitudesFrom<Lanes<float, 1>, kForm>(i, dst, src, count, power);
}

void RaiseMagnitudes(float* dst, const float* src, std::size_t count, float power) {
  switch (PowerFormOf(power)) {
    case PowerForm::squared: return RaiseMagnitudesBy<PowerForm::squared>(dst, src, count, power);
    case PowerForm::magnitude: return RaiseMagnitudesBy<PowerForm::magnitude>(dst, src, count, power);
    default: return RaiseMagnitudesBy<PowerForm::general>(dst, src, count, power);
  }
}

template <class Lane>
KELVO_INLINE std::size_t TakeAnglesFrom(std::size_t i, float* dst, const float* src, std::size_t count) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    const auto z = LoadComplex<Lane>(src, i);
    Atan2(z.second, z.first).Store(dst + i);
  }
  return i;
}

void TakeAngles(float* dst, const float* src, std::size_t count) {
  const std::size_t i = TakeAnglesFrom<Floats>(0, dst, src, count);
  TakeAnglesFrom<Lanes<float, 1>>(i, dst, src, count);
}

// The cosine and sine of the float angle. z / |z| would differ from them for infinities, and even for -1, whose angle
// is not quite pi.
template <class Lane>
KELVO_INLINE std::size_t TakeUnitPhasesFrom(std::size_t i, float* dst, const float* src, std::size_t count) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    const auto z = LoadComplex<Lane>(src, i);
    const auto phase = CosSin(Atan2(z.second, z.first));
    const auto unit = Interleave(phase.first, phase.second);
    unit.first.Store(dst + 2 * i);
    unit.second.Store(dst + 2 * i + Lane::kSize);
  }
  return i;
}

void TakeUnitPhases(float* dst, const float* src, std::size_t count) {
  const std::size_t i = TakeUnitPhasesFrom<Floats>(0, dst, src, count);
  TakeUnitPhasesFrom<Lanes<float, 1>>(i, dst, src, count);
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

template <class Lane>
KELVO_INLINE std::size_t ConvertToDbFrom(std::size_t i, float* dst, const float* src, std::size_t count,
                                         float reference_db, float lower) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    const Lane db = PowerToDb(Lane::Load(src + i)) - Lane::Broadcast(reference_db);
    SelectLess(db, Lane::Broadcast(lower), Lane::Broadcast(lower), db).Store(dst + i);
  }
  return i;
}

void ConvertToDb(float* dst, const float* src, std::size_t count, float reference, float lower) {
  // The reference takes the elements' own path, which is what makes the peak exactly 0 dB.
  const float reference_db = PowerToDb(Lanes<float, 1>{reference}).v;
  const std::size_t i = ConvertToDbFrom<Floats>(0, dst, src, count, reference_db, lower);
  ConvertToDbFrom<Lanes<float, 1>>(i, dst, src, count, reference_db, lower);
}

template <class Lane>
KELVO_INLINE std::size_t TakeLog1pFrom(std::size_t i, float* dst, const float* src, std::size_t count) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) Log1p(Lane::Load(src + i)).Store(dst + i);
  return i;
}

void TakeLog1p(float* dst, const float* src, std::size_t count) {
  const std::size_t i = TakeLog1pFrom<Floats>(0, dst, src, count);
  TakeLog1pFrom<Lanes<float, 1>>(i, dst, src, count);
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
