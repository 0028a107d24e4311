// Fixed-point numbers of 256 bits: school arithmetic on words of 32 bits, and series.
#include "math/wide.h"

#include <cstddef>

#include "math/bits.h"
#include "math/tables.h"

namespace kelvo::Math {
namespace {

constexpr int kWordN = 8;
constexpr int kFractionBits = 224;

bool IsBelowZero(const Wide& a) { return a.words[kWordN - 1] >> 31 != 0; }
Wide Negate(const Wide& a) { return Wide{} - a; }
Wide Absolute(const Wide& a) { return IsBelowZero(a) ? Negate(a) : a; }
Wide WithSign(const Wide& magnitude, bool negative) { return negative ? Negate(magnitude) : magnitude; }

// Bits `from` to `from` + 63 of a; beyond either end they are 0.
std::uint64_t BitsFrom(const Wide& a, int from) {
  std::uint64_t bits = 0;
  for (int i = 0; i < kWordN; ++i) {
    const int shift = 32 * i - from;
    if (shift <= -32 || shift >= 64) continue;
    const std::uint64_t word = a.words[i];
    bits |= shift < 0 ? word >> -shift : word << shift;
  }
  return bits;
}

// Where the leading 1 of a stands; -1 for 0.
int LeadingBit(const Wide& a) {
  for (int i = kWordN - 1; i >= 0; --i) {
    if (a.words[i] != 0) return 32 * i + 31 - __builtin_clz(a.words[i]);
  }
  return -1;
}

// 1 / a for a in [1/2, 4]: each step of Newton's doubles the bits, from 50 to 200.
Wide Reciprocal(const Wide& a) {
  const Wide one = ToWide(1.0);
  Wide inverse = ToWide(1.0 / ToRoughDouble(a));
  for (int step = 0; step < 3; ++step) inverse = inverse + inverse * (one - a * inverse);
  return inverse;
}

// 1 - x^2 / (d (d + 1)) (1 - x^2 / ((d + 2) (d + 3)) (1 - ...)): cos(x) for d = 1, sin(x) / x for d = 2.
Wide SumAlternating(const Wide& x, std::uint32_t first_divisor) {
  constexpr std::uint32_t kLastDivisor = 56;  // 1 / 56! < 2^-240
  const Wide one = ToWide(1.0);
  const Wide square = x * x;
  Wide sum = one;
  for (std::uint32_t d = kLastDivisor + first_divisor; d >= first_divisor + 2; d -= 2) {
    sum = one - square * sum / ((d - 2) * (d - 1));
  }
  return sum;
}

}  // namespace

Wide ToWide(const unsigned (&words)[8]) {
  Wide a;
  for (int i = 0; i < kWordN; ++i) a.words[i] = words[i];
  return a;
}

Wide ToWide(double value) {
  constexpr std::uint64_t kMantissa = 0x000FFFFFFFFFFFFF;
  Wide a{};
  if (value == 0.0) return a;
  const std::uint64_t mantissa = (BitsOf(value) & kMantissa) | (kMantissa + 1);
  const int lowest = kFractionBits + ExponentOf(value) - 52;  // where the lowest bit of the mantissa belongs
  for (int i = 0; i < kWordN; ++i) {
    const int shift = 32 * i - lowest;
    if (shift <= -32 || shift >= 64) continue;
    a.words[i] = static_cast<std::uint32_t>(shift < 0 ? mantissa << -shift : mantissa >> shift);
  }
  return WithSign(a, value < 0.0);
}

double ToRoughDouble(const Wide& a) {
  const Wide magnitude = Absolute(a);
  const int lowest = LeadingBit(magnitude) - 52;
  if (LeadingBit(magnitude) < 0) return 0.0;
  const double rough = static_cast<double>(BitsFrom(magnitude, lowest)) * PowerOfTwo(lowest - kFractionBits);
  return IsBelowZero(a) ? -rough : rough;
}

Wide operator+(const Wide& a, const Wide& b) {
  Wide sum;
  std::uint64_t carry = 0;
  for (int i = 0; i < kWordN; ++i) {
    carry += static_cast<std::uint64_t>(a.words[i]) + b.words[i];
    sum.words[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  return sum;
}

Wide operator-(const Wide& a, const Wide& b) {
  Wide difference;
  std::uint64_t carry = 1;  // a + ~b + 1
  for (int i = 0; i < kWordN; ++i) {
    carry += static_cast<std::uint64_t>(a.words[i]) + static_cast<std::uint32_t>(~b.words[i]);
    difference.words[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  return difference;
}

Wide operator*(const Wide& a, const Wide& b) {
  const Wide x = Absolute(a);
  const Wide y = Absolute(b);
  // What the lowest words of the product would carry is a few units of the last word kept.
  constexpr int kFirstWord = 6;
  std::uint32_t product[2 * kWordN] = {};
  for (int i = 0; i < kWordN; ++i) {
    std::uint64_t carry = 0;
    for (int k = i < kFirstWord ? kFirstWord - i : 0; k < kWordN; ++k) {
      carry += static_cast<std::uint64_t>(x.words[i]) * y.words[k] + product[i + k];
      product[i + k] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
    product[i + kWordN] = static_cast<std::uint32_t>(carry);
  }
  Wide result;
  for (int i = 0; i < kWordN; ++i) result.words[i] = product[i + kFractionBits / 32];
  return WithSign(result, IsBelowZero(a) != IsBelowZero(b));
}

Wide operator/(const Wide& a, std::uint32_t divisor) {
  const Wide magnitude = Absolute(a);
  Wide quotient;
  std::uint64_t remainder = 0;
  for (int i = kWordN - 1; i >= 0; --i) {
    remainder = remainder << 32 | magnitude.words[i];
    quotient.words[i] = static_cast<std::uint32_t>(remainder / divisor);
    remainder %= divisor;
  }
  return WithSign(quotient, IsBelowZero(a));
}

// exp(x / 256) by its series, squared eight times.
Wide Exp(const Wide& x) {
  constexpr int kSquarings = 8;
  constexpr std::uint32_t kTermN = 21;  // 2^(-8 * 21) / 21! < 2^-230
  const Wide one = ToWide(1.0);
  const Wide part = x / (1u << kSquarings);
  Wide sum = one;
  for (std::uint32_t n = kTermN; n > 0; --n) sum = one + part * sum / n;
  for (int i = 0; i < kSquarings; ++i) sum = sum * sum;
  return sum;
}

// A guess g to some 40 bits from 2 atanh((m - 1) / (m + 1)), then log(m) = g + log(1 + (m exp(-g) - 1)).
Wide Log(const Wide& m) {
  const double rough = ToRoughDouble(m);
  const double s = (rough - 1.0) / (rough + 1.0);
  double series = 0.0;
  for (int n = 27; n > 0; n -= 2) series = series * (s * s) + 1.0 / n;
  const Wide guess = ToWide(2.0 * s * series);
  const Wide one = ToWide(1.0);
  const Wide rest = m * Reciprocal(Exp(guess)) - one;
  Wide tail{};
  for (std::uint32_t n = 6; n > 0; --n) tail = rest * (one / n - tail);
  return guess + tail;
}

Wide Sin(const Wide& x) { return x * SumAlternating(x, 2); }
Wide Cos(const Wide& x) { return SumAlternating(x, 1); }

// A guess g to some 40 bits, then the angle that is left after a rotation by -g.
Wide Atan(double y, double x) {
  // atan(q) = 2 atan(q / (1 + sqrt(1 + q^2))), here three times.
  double q = y / x;
  for (int i = 0; i < 3; ++i) q = q / (1.0 + __builtin_sqrt(1.0 + q * q));
  double series = 0.0;
  for (int n = 15; n > 0; n -= 2) series = 1.0 / n - series * (q * q);
  const double guess = 8.0 * q * series;

  const Wide sine = Sin(ToWide(guess));
  const Wide cosine = Cos(ToWide(guess));
  const Wide height = ToWide(y) * cosine - ToWide(x) * sine;
  const Wide width = ToWide(x) * cosine + ToWide(y) * sine;
  const Wide rest = height * Reciprocal(width);
  const Wide square = rest * rest;
  const Wide one = ToWide(1.0);
  return ToWide(guess) + rest * (one - square * (one / 3 - square / 5));
}

double Round(const Wide& a, int exponent, int precision) {
  const Wide magnitude = Absolute(a);
  const int lowest = LeadingBit(magnitude) - precision + 1;
  const std::uint64_t kept = precision > 0 ? BitsFrom(magnitude, lowest) : 0;
  const std::uint64_t rounded = kept + (BitsFrom(magnitude, lowest - 1) & 1);
  const double result = static_cast<double>(rounded) * PowerOfTwo(lowest - kFractionBits + exponent);
  return IsBelowZero(a) ? -result : result;
}

float RoundToFloat(const Wide& a, int exponent) {
  constexpr int kLowestExponent = -126;
  constexpr int kPrecision = 24;
  const int leading = LeadingBit(Absolute(a)) - kFractionBits + exponent;
  const int lost = leading < kLowestExponent ? kLowestExponent - leading : 0;
  if (lost > kPrecision) return IsBelowZero(a) ? -0.0f : 0.0f;
  return static_cast<float>(Round(a, exponent, kPrecision - lost));
}

}  // namespace kelvo::Math
