// The linker redirects the exports' calls of BestLevel to this file, since the library has no setting for the level.
#include "reliability/level_override.h"

namespace kelvo::Reliability {

Simd::Level LevelUnderTest() __asm__("__wrap__ZN5kelvo4Simd9BestLevelEv");

namespace {

const Simd::Level* chosen = nullptr;
Simd::Level chosen_level;

}  // namespace

Simd::Level LevelUnderTest() { return chosen != nullptr ? *chosen : Simd::SupportedLevels().back(); }

LevelOverride::LevelOverride(Simd::Level level) {
  chosen_level = level;
  chosen = &chosen_level;
}

LevelOverride::~LevelOverride() { chosen = nullptr; }

}  // namespace kelvo::Reliability
