// Reads and writes the CPU's floating-point registers. These functions stay out of line, so that no computation of an
// export can move across them.
#include "api/fp_environment.h"

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#elif !defined(__aarch64__) && !defined(__ARM_FP) && !defined(__riscv_flen) && !defined(__powerpc64__) && \
    !defined(__s390x__)
#include <cfenv>
#endif

namespace kelvo::Api {
namespace {

// Each branch reads and writes one register and says which of its bits are settings, and their default: rounding to
// nearest, denormals kept, exceptions masked. All other bits, exception flags above all, are written as they were read.
#if defined(__SSE__) || defined(_M_X64)

constexpr std::uint64_t kSettings = 0xFFC0;
constexpr std::uint64_t kDefault = 0x1F80;

std::uint64_t Read() { return _mm_getcsr(); }
void Write(std::uint64_t control) { _mm_setcsr(static_cast<unsigned>(control)); }

#elif defined(__aarch64__)

constexpr std::uint64_t kSettings = ~std::uint64_t{0};  // the flags lie in another register
constexpr std::uint64_t kDefault = 0;

std::uint64_t Read() {
  std::uint64_t control;
  __asm__ volatile("mrs %0, fpcr" : "=r"(control)::"memory");
  return control;
}
void Write(std::uint64_t control) { __asm__ volatile("msr fpcr, %0" ::"r"(control) : "memory"); }

#elif defined(__ARM_FP)

// Half precision and vector lengths beside rounding, flushing, NaNs and traps; flags lie around them.
constexpr std::uint64_t kSettings = 0x07FF9F00;
constexpr std::uint64_t kDefault = 0;

std::uint64_t Read() {
  std::uint32_t control;
  __asm__ volatile("vmrs %0, fpscr" : "=r"(control)::"memory");
  return control;
}
void Write(std::uint64_t control) {
  __asm__ volatile("vmsr fpscr, %0" ::"r"(static_cast<std::uint32_t>(control)) : "memory");
}

#elif defined(__riscv_flen)

constexpr std::uint64_t kSettings = 7;  // rounding is all there is to set
constexpr std::uint64_t kDefault = 0;

std::uint64_t Read() {
  unsigned long rounding;
  __asm__ volatile("frrm %0" : "=r"(rounding)::"memory");
  return rounding;
}
void Write(std::uint64_t rounding) {
  __asm__ volatile("fsrm %0" ::"r"(static_cast<unsigned long>(rounding)) : "memory");
}

#elif defined(__powerpc64__)

constexpr std::uint64_t kSettings = 0xFF;  // traps, flushing, rounding
constexpr std::uint64_t kDefault = 0;

// The register is read and written through one for doubles.
std::uint64_t Read() {
  double control;
  __asm__ volatile("mffs %0" : "=d"(control)::"memory");
  return __builtin_bit_cast(std::uint64_t, control);
}
void Write(std::uint64_t control) {
  __asm__ volatile("mtfsf 255, %0" ::"d"(__builtin_bit_cast(double, control)) : "memory");
}

#elif defined(__s390x__)

constexpr std::uint64_t kSettings = 0xF8000007;  // traps, and rounding of binary numbers
constexpr std::uint64_t kDefault = 0;

std::uint64_t Read() {
  std::uint32_t control;
  __asm__ volatile("efpc %0" : "=d"(control)::"memory");
  return control;
}
void Write(std::uint64_t control) { __asm__ volatile("sfpc %0" ::"d"(static_cast<std::uint32_t>(control)) : "memory"); }

#else

// The direction of rounding is what C knows of every CPU's settings.
constexpr std::uint64_t kSettings = ~std::uint64_t{0};
constexpr std::uint64_t kDefault = FE_TONEAREST;

std::uint64_t Read() { return static_cast<unsigned>(std::fegetround()); }
void Write(std::uint64_t rounding) { std::fesetround(static_cast<int>(rounding)); }

#endif

}  // namespace

DefaultFpEnvironment::DefaultFpEnvironment() : host_(Read()) {
  if ((host_ & kSettings) != kDefault) Write((host_ & ~kSettings) | kDefault);
}

DefaultFpEnvironment::~DefaultFpEnvironment() {
  if ((host_ & kSettings) != kDefault) Write(host_);
}

}  // namespace kelvo::Api
