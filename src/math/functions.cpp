// Elementary functions of single values. Those of floats are one lane of the kernels' forms. Those of doubles are a sum
// of two doubles, which decides all but one rounding in a thousand or so; the others are left to wide arithmetic.
#define KELVO_LEVEL scalar
#define KELVO_LANE_BYTES 4
#include "math/functions.h"

#include <cstddef>
#include <limits>

#include "math/bits.h"
#include "math/log.h"
#include "math/pow.h"
#include "math/tables.h"
#include "math/wide.h"

namespace kelvo::Math {
namespace {

constexpr int kDoublePrecision = 53;
constexpr int kFloatPrecision = 24;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// high + low, high being the sum rounded.
struct Sum {
  double high, low;
};

// Without error, whichever is larger.
Sum Add(double a, double b) {
  const double sum = a + b;
  const double of_b = sum - a;
  return {sum, (a - (sum - of_b)) + (b - of_b)};
}

// The leading 26 bits.
double Head(double value) { return DoubleOf(BitsOf(value) & ~std::uint64_t{0x7FFFFFF}); }

// Without error but for what lies 106 bits below.
Sum Multiply(double a, double b) {
  const double a_head = Head(a);
  const double b_head = Head(b);
  const double a_tail = a - a_head;
  const double b_tail = b - b_head;
  const double product = a * b;
  return {product, ((a_head * b_head - product) + a_head * b_tail + a_tail * b_head) + a_tail * b_tail};
}

// The sum rounded to double, where an error of `error` times its size changes nothing about that.
bool TryRound(Sum sum, double error, double& rounded) {
  const double reach = Abs(sum.high) * error;
  rounded = sum.high + (sum.low - reach);
  return rounded == sum.high + (sum.low + reach);
}

// x = quarters * pi / 2 + rest.high + rest.low, |rest| < 0.8. Where the rest is not tiny it is right to 2^-72.
struct QuarterTurns {
  int quarters;
  Sum rest;
};
QuarterTurns TakeQuarterTurns(double x) {
  constexpr double kShift = 0x1.8p+52;  // adding it rounds to an integer
  const double quarters = (x * 0x1.45f306dc9c883p-1 + kShift) - kShift;
  Sum rest = Add(x - quarters * kHalfPiPieces[0], -(quarters * kHalfPiPieces[1]));
  rest.low -= quarters * kHalfPiPieces[2];
  return {static_cast<int>(quarters), rest};
}

// sin(rest + odd pi / 2), within 2^-65: the angle's next multiple of 1/64 from a table, what remains by series.
Sum SinOfRest(Sum rest, bool odd) {
  const bool is_negative = rest.high < 0.0;
  const double high = is_negative ? -rest.high : rest.high;
  const double low = is_negative ? -rest.low : rest.low;
  constexpr double kHalf = 0.5;  // any multiple near by will do
  const auto step = static_cast<std::ptrdiff_t>(high * 64.0 + kHalf);
  const Sum d = Add(high - static_cast<double>(step) * 0x1p-6, low);
  const double* const at = kSinCosSteps + 4 * step;
  const double z = d.high * d.high;
  const double sine = d.low + d.high * z * (-1.0 / 6.0 + z * (1.0 / 120.0 + z * (-1.0 / 5040.0)));  // less d.high
  const double cosine = z * (-0.5 + z * (1.0 / 24.0 + z * (-1.0 / 720.0 + z * (1.0 / 40320.0))));   // less 1
  // sin(a + d) = sin(a) + cos(a) sin(d) + sin(a) (cos(d) - 1), and the same a quarter turn on.
  const Sum whole = odd ? Sum{at[2], at[3]} : Sum{at[0], at[1]};
  const Sum slope = odd ? Sum{-at[0], -at[1]} : Sum{at[2], at[3]};
  const Sum linear = Multiply(slope.high, d.high);
  const Sum sum = Add(whole.high, linear.high);
  const double tail =
      sum.low + (linear.low + (whole.low + (slope.low * d.high + (slope.high * sine + whole.high * cosine))));
  const Sum result = Add(sum.high, tail);
  return is_negative && !odd ? Sum{-result.high, -result.low} : result;
}

// sin(x + ahead * pi / 2), to so many bits, from wide arithmetic.
double WideSin(double x, int ahead, int precision) {
  const int quarters = TakeQuarterTurns(x).quarters;
  const Wide rest = ToWide(x) - ToWide(static_cast<double>(quarters)) * ToWide(kWideHalfPi);
  const int turned = quarters + ahead;
  const double size = Round((turned & 1) != 0 ? Cos(rest) : Sin(rest), 0, precision);
  return (turned & 2) != 0 ? -size : size;
}

double SinAhead(double x, int ahead) {
  constexpr double kError = 0x1p-65;
  constexpr double kLeastRest = 0x1p-30;
  if (!(Abs(x) < 0x1p+20)) return kNan;
  const QuarterTurns turns = TakeQuarterTurns(x);
  const int turned = turns.quarters + ahead;
  double size;
  const bool is_clear = TryRound(SinOfRest(turns.rest, (turned & 1) != 0), kError, size);
  if (!is_clear || Abs(turns.rest.high) < kLeastRest) return WideSin(x, ahead, kDoublePrecision);
  return (turned & 2) != 0 ? -size : size;
}

// The float of sin(x + ahead * pi / 2), given the double. Rounding twice goes wrong only where the first ends in the
// middle between two floats.
float RoundSin(double rounded, float x, int ahead) {
  if ((BitsOf(rounded) & 0x1FFFFFFF) != 0x10000000) return static_cast<float>(rounded);
  return static_cast<float>(WideSin(static_cast<double>(x), ahead, kFloatPrecision));
}

// Below it x^2 / 6 is less than half of a last place of sin(x), as is x^2 / 2 of cos(x).
constexpr double kTinyAngle = 0x1p-27;

using One = Lanes<float, 1>;

}  // namespace

float CarefulLog(float x) { return Log(One{x}).v; }
float CarefulLog10(float x) { return Log10(One{x}).v; }
float CarefulLog1p(float x) { return Log1p(One{x}).v; }
float CarefulPow(float base, float exponent) {
  float power;
  StorePow(&power, One{base}, MakeExponent(exponent));
  return power;
}

float Log(float x) { return CarefulLog(x); }
float Log10(float x) { return CarefulLog10(x); }
float Exp(float x) { return Exp(One{x}).v; }
float Pow(float base, float exponent) { return CarefulPow(base, exponent); }

double Sin(double x) { return Abs(x) < kTinyAngle ? x : SinAhead(x, 0); }
double Cos(double x) { return Abs(x) < kTinyAngle ? 1.0 : SinAhead(x, 1); }

float Sin(float x) { return RoundSin(Sin(static_cast<double>(x)), x, 0); }
float Cos(float x) { return RoundSin(Cos(static_cast<double>(x)), x, 1); }

// As in log.h, each piece the sum of two doubles, to 2^-62.
double Log10(double x) {
  constexpr double kError = 0x1p-62;
  if (!(x > 0.0)) return x == 0.0 ? -kInfinity : kNan;
  if (x == kInfinity) return x;
  if (x == 1.0) return 0.0;
  const int scaling = x < 0x1p-1022 ? 54 : 0;
  const std::uint64_t words = BitsOf(x * PowerOfTwo(scaling)) + (kDoubleOne - kLogFirst);
  const int exponent = static_cast<int>(words >> 52) - 1023 - scaling;
  const double fraction = DoubleOf((words & 0x000FFFFFFFFFFFFF) + kLogFirst);
  const std::size_t interval = words >> 48 & 15;

  // log(1 + r) = r - r^2 / 2 + ...; both products with the short reciprocal are exact.
  const double inverse = DoubleOf(BitsOf(kInverseCentres[interval]) - kDoubleOne);
  const Sum r = Add(Head(fraction) * inverse - 1.0, (fraction - Head(fraction)) * inverse);
  const Sum square = Multiply(r.high, r.high);
  double tail = 0.0;
  for (int i = 9; i >= 0; --i) tail = tail * r.high + kLogTail[i];
  const Sum head = Add(r.high, -0.5 * square.high);
  const double rest = head.low + (r.low - 0.5 * square.low - r.high * r.low + square.high * r.high * tail);

  const Sum scaled = Multiply(head.high, kInverseLog10[0]);
  const double scaled_rest = scaled.low + (head.high * kInverseLog10[1] + rest * kInverseLog10[0]);
  const Sum base = Add(exponent * kLog10OfTwo[0], kLog10Centres[2 * interval]);
  const double base_rest = base.low + (exponent * kLog10OfTwo[1] + kLog10Centres[2 * interval + 1]);
  const Sum sum = Add(base.high, scaled.high);
  double rounded;
  if (TryRound(Add(sum.high, sum.low + (base_rest + scaled_rest)), kError, rounded)) return rounded;

  const int shift = ExponentOf(fraction);
  const Wide log2 = ToWide(static_cast<double>(exponent + shift)) * ToWide(kWideLog2);
  return Round((Log(ToWide(fraction * PowerOfTwo(-shift))) + log2) * ToWide(kWideInverseLog10), 0, kDoublePrecision);
}

}  // namespace kelvo::Math
