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
constexpr unsigned kDefaultControl = 0x1F80;

std::uint64_t ReadControl() { return _mm_getcsr(); }
void SetDefault(std::uint64_t control) {
  const auto host = static_cast<unsigned>(control);
  if ((host & ~kFlags) != kDefaultControl) _mm_setcsr((host & kFlags) | kDefaultControl);
}
std::uint64_t ReadFlags() { return 0; }
void Restore(std::uint64_t control, std::uint64_t) {
  const auto host = static_cast<unsigned>(control);
  if (_mm_getcsr() != host) _mm_setcsr(host);
}

#elif defined(__aarch64__)

std::uint64_t ReadControl() {
  std::uint64_t control;
  __asm__ volatile("mrs %0, fpcr" : "=r"(control)::"memory");
  return control;
}
void SetControl(std::uint64_t control) { __asm__ volatile("msr fpcr, %0" ::"r"(control) : "memory"); }
void SetDefault(std::uint64_t control) {
  if (control != 0) SetControl(0);
}
std::uint64_t ReadFlags() {
  std::uint64_t flags;
  __asm__ volatile("mrs %0, fpsr" : "=r"(flags)::"memory");
  return flags;
}
void Restore(std::uint64_t control, std::uint64_t flags) {
  if (ReadFlags() != flags) __asm__ volatile("msr fpsr, %0" ::"r"(flags) : "memory");
  if (ReadControl() != control) SetControl(control);
}

#else

std::uint64_t ReadControl() { return 0; }
void SetDefault(std::uint64_t) {}
std::uint64_t ReadFlags() { return 0; }
void Restore(std::uint64_t, std::uint64_t) {}

#endif

}  // namespace

DefaultFpEnvironment::DefaultFpEnvironment() : control_(ReadControl()), flags_(ReadFlags()) { SetDefault(control_); }

DefaultFpEnvironment::~DefaultFpEnvironment() { Restore(control_, flags_); }

}  // namespace kelvo::Api
