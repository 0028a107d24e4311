// The cosine and sine of angles by way of a direction near them, as if points had that angle. Include it behind
// math/trigonometry.h.
#pragma once

#include <cmath>
#include <cstddef>

namespace kelvo::Math {

// Of angles from -pi to pi; by way of the nearest direction, or of the next where the angle is within its reach too.
template <class Lane>
Phase<Lane> CosSinNear(Lane angles, bool by_next) {
  constexpr double kReach = 0.1396;
  using Long = decltype(ToDoubles(angles));
  float sizes[Lane::kSize];
  double wide[Lane::kSize], direction[Lane::kSize], cosine[Lane::kSize], sine[Lane::kSize];
  Abs(angles).Store(sizes);
  for (std::size_t i = 0; i < Lane::kSize; ++i) {
    wide[i] = static_cast<double>(sizes[i]);
    std::size_t nearest = 0, next = 0;
    for (std::size_t j = 1; j < 15; ++j) {
      if (std::fabs(kDirections[j] - wide[i]) < std::fabs(kDirections[nearest] - wide[i])) nearest = j;
    }
    next = nearest;
    for (const std::size_t j : {nearest - 1, nearest + 1}) {
      if (j < 15 && std::fabs(kDirections[j] - wide[i]) < kReach) next = j;
    }
    const std::size_t j = by_next ? next : nearest;
    direction[i] = kDirections[j];
    cosine[i] = kDirectionCosines[j];
    sine[i] = kDirectionSines[j];
  }
  const auto phase = CosSin(Long::Load(wide), Long::Load(direction), Phase<Long>{Long::Load(cosine), Long::Load(sine)});
  return {ToFloats(phase.cosine), TimesSignOf(ToFloats(phase.sine), angles)};
}

}  // namespace kelvo::Math
