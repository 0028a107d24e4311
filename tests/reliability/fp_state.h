// The floating-point environment of the calling thread: the CPU's register where more than rounding can be set in it,
// or else what C says of it.
#pragma once

#include <cstdint>

#if defined(__SSE__)
#include <xmmintrin.h>
#elif !defined(__aarch64__) && !defined(__arm__)
#include <cfenv>
#endif

namespace kelvo::Reliability {

using FpState = std::uint64_t;

// Settings that a host may have made before it calls.
struct HostSetting {
  const char* name;
  FpState bits;  // in place of, or added to, those of the default
  bool replaces = false;
};

#if defined(__SSE__)
inline FpState CurrentFpState() { return _mm_getcsr(); }
inline void SetFpState(FpState state) { _mm_setcsr(static_cast<unsigned>(state)); }
// Without the exception flags.
inline FpState SettingsOf(FpState state) { return state & ~FpState{0x3F}; }
inline constexpr FpState kDefaultFpState = 0x1F80;
inline constexpr HostSetting kHostSettings[]{
    {"flush to zero", 0x8000},
    {"denormals are zero", 0x0040},
    {"both", 0x8040},
    {"round down", 0x2000},
    {"round up", 0x4000},
    {"round to zero", 0x6000},
    {"flags raised", 0x003F},
    {"exceptions unmasked", 0x0000, true},
    {"all of it", 0xE07F, true},
};
#elif defined(__aarch64__)
inline FpState CurrentFpState() {
  FpState state;
  __asm__ volatile("mrs %0, fpcr" : "=r"(state));
  return state;
}
inline void SetFpState(FpState state) { __asm__ volatile("msr fpcr, %0" ::"r"(state)); }
inline FpState SettingsOf(FpState state) { return state; }
inline constexpr FpState kDefaultFpState = 0;
inline constexpr HostSetting kHostSettings[]{
    {"flush to zero", 1u << 24}, {"default NaN", 1u << 25},   {"round up", 1u << 22},
    {"round down", 2u << 22},    {"round to zero", 3u << 22},
};
#elif defined(__arm__)
inline FpState CurrentFpState() {
  std::uint32_t state;
  __asm__ volatile("vmrs %0, fpscr" : "=r"(state));
  return state;
}
inline void SetFpState(FpState state) { __asm__ volatile("vmsr fpscr, %0" ::"r"(static_cast<std::uint32_t>(state))); }
// Without comparison results, saturation and exception flags.
inline FpState SettingsOf(FpState state) { return state & 0x07FFFF00; }
inline constexpr FpState kDefaultFpState = 0;
inline constexpr HostSetting kHostSettings[]{
    {"flush to zero", 1u << 24}, {"default NaN", 1u << 25},   {"round up", 1u << 22},
    {"round down", 2u << 22},    {"round to zero", 3u << 22}, {"flags raised", 0x9F},
};
#else
inline FpState CurrentFpState() { return static_cast<unsigned>(std::fegetround()); }
inline void SetFpState(FpState state) { std::fesetround(static_cast<int>(state)); }
inline FpState SettingsOf(FpState state) { return state; }
inline constexpr FpState kDefaultFpState = FE_TONEAREST;
inline constexpr HostSetting kHostSettings[] {
#if defined(FE_UPWARD)
  {"round up", FE_UPWARD, true}, {"round down", FE_DOWNWARD, true}, {"round to zero", FE_TOWARDZERO, true},
#endif
      {"round to nearest", FE_TONEAREST, true},
};
#endif

}  // namespace kelvo::Reliability
