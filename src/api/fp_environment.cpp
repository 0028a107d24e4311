// Reads and writes the CPU's floating-point registers. These functions stay out of line, so that no computation of an
// export can move across them.
#include "api/fp_environment.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

namespace kelvo::Api {
namespace {

#if defined(__SSE__) || defined(_M_X64)

// One register holds the exception flags, in the lowest six bits, and all settings: exceptions masked is the default.
constexpr unsigned kFlags = 0x3F;
constexpr unsigned kDefaultSettings = 0x1F80;

std::uint64_t Read() { return _mm_getcsr(); }
bool HasDefaultSettings(std::uint64_t host) { return (host & ~std::uint64_t{kFlags}) == kDefaultSettings; }
void WriteDefault(std::uint64_t host) { _mm_setcsr((static_cast<unsigned>(host) & kFlags) | kDefaultSettings); }
void Write(std::uint64_t host) { _mm_setcsr(static_cast<unsigned>(host)); }

#elif defined(__aarch64__)

std::uint64_t Read() {
  std::uint64_t control;
  __asm__ volatile("mrs %0, fpcr" : "=r"(control)::"memory");
  return control;
}
bool HasDefaultSettings(std::uint64_t host) { return host == 0; }
void Write(std::uint64_t control) { __asm__ volatile("msr fpcr, %0" ::"r"(control) : "memory"); }
void WriteDefault(std::uint64_t) { Write(0); }

#else

std::uint64_t Read() { return 0; }
bool HasDefaultSettings(std::uint64_t) { return true; }
void WriteDefault(std::uint64_t) {}
void Write(std::uint64_t) {}

#endif

}  // namespace

DefaultFpEnvironment::DefaultFpEnvironment() : host_(Read()) {
  if (!HasDefaultSettings(host_)) WriteDefault(host_);
}

DefaultFpEnvironment::~DefaultFpEnvironment() {
  if (!HasDefaultSettings(host_)) Write(host_);
}

}  // namespace kelvo::Api
