// The kernel level that exports use, in place of the best one.
#pragma once

#include "simd/level.h"

namespace kelvo::Reliability {

// While one exists, exports use `level`. Not for two threads at once.
class LevelOverride {
 public:
  explicit LevelOverride(Simd::Level level);
  LevelOverride(const LevelOverride&) = delete;
  LevelOverride& operator=(const LevelOverride&) = delete;
  ~LevelOverride();
};

}  // namespace kelvo::Reliability
