// Functions of lanes beyond arithmetic. Each is one formula for all levels: equal arguments give equal bits in every
// lane, at every width.
#pragma once

#include "simd/lanes.h"

namespace kelvo::Simd {
inline namespace KELVO_LEVEL {

// low < x < high ? inside : outside
template <class Lane>
KELVO_INLINE Lane SelectBetween(Lane low, Lane x, Lane high, Lane inside, Lane outside) {
  return SelectLess(low, x, SelectLess(x, high, inside, outside), outside);
}

// coefficients[0] x^(n-1) + ... + coefficients[n-1], by Horner's rule
template <class Lane, std::size_t kCoefficientN>
KELVO_INLINE Lane Polynomial(Lane x, const typename Lane::Element (&coefficients)[kCoefficientN]) {
  Lane sum = Lane::Broadcast(coefficients[0]);
#pragma GCC unroll 16
  for (std::size_t i = 1; i < kCoefficientN; ++i) sum = sum * x + Lane::Broadcast(coefficients[i]);
  return sum;
}

// x = fraction * 2^exponent
template <std::size_t N>
struct ScaledLanes {
  Lanes<float, N> fraction, exponent;
  BitLanes<N> rank;  // fraction's place in its range, counted in units in the last place of floats below 1
};

// The fraction lies in [first, 2 first), where first, in (0.5, 1], is given by its bits. For positive normal x.
template <unsigned kFirstBits, std::size_t N>
KELVO_INLINE ScaledLanes<N> Decompose(Lanes<float, N> x) {
  constexpr unsigned kOneBits = 0x3F800000;
  const BitLanes<N> bits = ToBits(x) + BitLanes<N>::Broadcast(kOneBits - kFirstBits);
  const BitLanes<N> rank = bits & 0x007FFFFF;
  return {FromBits(rank + BitLanes<N>::Broadcast(kFirstBits)),
          SmallToFloat(bits >> 23) - Lanes<float, N>::Broadcast(127.0f), rank};
}

// The logarithm of [Arm 2018], of which the runtime's logf is made: log(c) is looked up for the centre c of one of 16
// intervals of the fraction, and log(fraction / c) is a polynomial in fraction / c - 1, |.| < 1/32. The table and the
// polynomial are those of that source, since only the same roundings give the same floats. (Not inline variables: those
// would be weak symbols, shared between levels.)
alignas(64) constexpr double kInverseCentres[16] = {
    0x1.661ec79f8f3bep+0, 0x1.571ed4aaf883dp+0, 0x1.49539f0f010bp+0,  0x1.3c995b0b80385p+0, 0x1.30d190c8864a5p+0,
    0x1.25e227b0b8eap+0,  0x1.1bb4a4a1a343fp+0, 0x1.12358f08ae5bap+0, 0x1.0953f419900a7p+0, 0x1p+0,
    0x1.e608cfd9a47acp-1, 0x1.ca4b31f026aap-1,  0x1.b2036576afce6p-1, 0x1.9c2d163a1aa2dp-1, 0x1.886e6037841edp-1,
    0x1.767dcf5534862p-1};
alignas(64) constexpr double kLogCentres[16] = {
    -0x1.57bf7808caadep-2, -0x1.2bef0a7c06ddbp-2, -0x1.01eae7f513a67p-2, -0x1.b31d8a68224e9p-3, -0x1.6574f0ac07758p-3,
    -0x1.1aa2bc79c81p-3,   -0x1.a4e76ce8c0e5ep-4, -0x1.1973c5a611cccp-4, -0x1.252f438e10c1ep-5, 0.0,
    0x1.aa5aa5df25984p-5,  0x1.c5e53aa362eb4p-4,  0x1.526e57720db08p-3,  0x1.bc2860d22477p-3,   0x1.1058bc8a07ee1p-2,
    0x1.4043057b6ee09p-2};
constexpr unsigned kFirstCentreBits = 0x3F330000;

// log(fraction * 2^exponent), to be rounded to float; index is the interval of the fraction.
template <std::size_t N>
KELVO_INLINE Lanes<double, N> LogOfScaled(Lanes<double, N> fraction, Lanes<double, N> exponent, BitLanes<N> index) {
  using Lane = Lanes<double, N>;
  const Lane r = fraction * LookUp16(kInverseCentres, index) - Lane::Broadcast(1.0);
  const Lane base = LookUp16(kLogCentres, index) + exponent * Lane::Broadcast(0x1.62e42fefa39efp-1);  // log(2)
  const Lane r2 = r * r;
  const Lane tail = Lane::Broadcast(-0x1.00ea348b88334p-2) * r2 +
                    (Lane::Broadcast(0x1.5575b0be00b6ap-2) * r + Lane::Broadcast(-0x1.ffffef20a4123p-2));
  return tail * r2 + (base + r);
}

template <std::size_t N>
KELVO_INLINE Lanes<float, N> LogOfScaled(Lanes<float, N> fraction, Lanes<float, N> exponent, BitLanes<N> index) {
  if constexpr (N <= Doubles::kSize) {
    return ToFloat(LogOfScaled(ToDouble(fraction), ToDouble(exponent), index));
  } else {
    const auto fractions = Split(fraction);
    const auto exponents = Split(exponent);
    const auto indices = Split(index);
    return Join(ToFloat(LogOfScaled(ToDouble(fractions.first), ToDouble(exponents.first), indices.first)),
                ToFloat(LogOfScaled(ToDouble(fractions.second), ToDouble(exponents.second), indices.second)));
  }
}

// log10(x), the steps of [Sun 1993] in their precision: 2 ulp at worst, as at 0x1.1feb4ep-1, and the bits of the
// runtime's log10f where that follows the same source. Lanes of float in [2^-126, +inf].
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Log10(Lanes<float, N> x) {
  using Lane = Lanes<float, N>;
  const Lane one = Lane::Broadcast(1.0f);
  const ScaledLanes<N> scaled = Decompose<kFirstCentreBits>(x);
  // x = m 2^k with m in [1, 2) for x >= 1 and in [0.5, 1) below, so that results near 0 do not cancel.
  const Lane floor_exponent = SmallToFloat(ToBits(x) >> 23) - Lane::Broadcast(127.0f);
  const Lane k = floor_exponent + SelectLess(x, one, one, Lane::Broadcast(0.0f));
  const Lane log_m = LogOfScaled(scaled.fraction, scaled.exponent - k, scaled.rank >> 19);
  // log10(2) in two pieces, the first short enough that k times it is exact; log10(e)
  const Lane low = k * Lane::Broadcast(0x1.a84fb6p-21f) + Lane::Broadcast(0x1.bcb7b2p-2f) * log_m;
  const Lane result = low + k * Lane::Broadcast(0x1.3441p-2f);
  const Lane infinity = Lane::Broadcast(__builtin_inff());
  return SelectLess(x, infinity, result, infinity);
}

// log(1 + x), the steps of [Sun 1993] in their precision: 1 ulp at worst, as at 0x1.94c588p-22, and the bits of the
// runtime's log1pf where that follows the same source. All floats: -1 gives -infinity, less gives NaN.
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Log1p(Lanes<float, N> x) {
  using Lane = Lanes<float, N>;
  constexpr unsigned kRootHalfBits = 0x3F3504F7;  // sqrt(0.5)
  const Lane zero = Lane::Broadcast(0.0f);
  const Lane one = Lane::Broadcast(1.0f);
  const Lane two = Lane::Broadcast(2.0f);

  // 1 + x = (1 + f) 2^k + c; between sqrt(0.5) - 1 and sqrt(2) - 1 x is f itself, and nothing is rounded away.
  const Lane sum = one + x;
  const ScaledLanes<N> scaled = Decompose<kRootHalfBits>(sum);
  const Lane rounded_off = SelectLess(sum, two, x - (sum - one), one - (sum - x)) / sum;
  const Lane near_zero_from = Lane::Broadcast(-0x1.2bec4p-2f);
  const Lane near_zero_to = Lane::Broadcast(0x1.a827aep-2f);
  const Lane k = SelectBetween(near_zero_from, x, near_zero_to, zero, scaled.exponent);
  const Lane c = SelectEqual(k, zero, zero, rounded_off);
  const Lane f = SelectBetween(near_zero_from, x, near_zero_to, x, scaled.fraction - one);

  // log(1 + f) = f - f^2 / 2 + s (f^2 / 2 + R), with s = f / (2 + f) and R a polynomial in s^2
  const Lane half_square = Lane::Broadcast(0.5f) * f * f;
  const Lane s = f / (two + f);
  const Lane z = s * s;
  constexpr float kR[] = {0x1.2f112ep-3f, 0x1.39a09ep-3f, 0x1.74664ap-3f, 0x1.c71c52p-3f,
                          0x1.24924ap-2f, 0x1.99999ap-2f, 0x1.555556p-1f};
  const Lane r = z * Polynomial(z, kR);
  // log(2) in two pieces, the first short enough that k times it is exact
  const Lane low = s * (half_square + r) + (k * Lane::Broadcast(0x1.2fefa2p-17f) + c);
  const Lane result = k * Lane::Broadcast(0x1.62e3p-1f) - ((half_square - low) - f);

  const Lane infinity = Lane::Broadcast(__builtin_inff());
  const Lane at_most_minus_one = SelectLess(x, -one, Lane::Broadcast(__builtin_nanf("")), -infinity);
  const Lane finite = SelectEqual(x, zero, x, SelectEqual(x, infinity, infinity, result));
  return SelectLess(-one, x, finite, SelectEqual(x, x, at_most_minus_one, x));
}

// value, negated where the sign bit of `sign` is set
template <std::size_t N>
KELVO_INLINE Lanes<float, N> TimesSignOf(Lanes<float, N> value, Lanes<float, N> sign) {
  return FromBits(ToBits(value) ^ (ToBits(sign) & 0x80000000));
}
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Abs(Lanes<float, N> a) {
  return FromBits(ToBits(a) & 0x7FFFFFFF);
}

// atan(q) for q >= 0 or NaN, the steps of [Sun 1993] in their precision.
template <class Lane>
KELVO_INLINE Lane AtanOfPositive(Lane q) {
  const auto all = [](float value) __attribute__((always_inline)) { return Lane::Broadcast(value); };
  const Lane one = all(1.0f);
  // One of six stretches, whose centre has the angle high + low; x is the tangent of what remains beyond it. From 2^25
  // on nothing remains.
  Lane numerator = SelectLess(q, all(0x1p+25f), all(-1.0f), all(0.0f));
  Lane denominator = q;
  Lane high = all(0x1.921fb4p+0f);
  Lane low = all(0x1.4442dp-24f);
  const auto below = [&](Lane limit, Lane top, Lane bottom, Lane angle, Lane rest) __attribute__((always_inline)) {
    numerator = SelectLess(q, limit, top, numerator);
    denominator = SelectLess(q, limit, bottom, denominator);
    high = SelectLess(q, limit, angle, high);
    low = SelectLess(q, limit, rest, low);
  };
  below(all(2.4375f), q - all(1.5f), one + all(1.5f) * q, all(0x1.f730bcp-1f), all(0x1.281f68p-25f));
  below(all(1.1875f), q - one, q + one, all(0x1.921fb4p-1f), all(0x1.4442dp-25f));
  below(all(0.6875f), all(2.0f) * q - one, all(2.0f) + q, all(0x1.dac67p-2f), all(0x1.586ed2p-28f));
  below(all(0.4375f), q, one, all(0.0f), all(0.0f));
  const Lane x = numerator / denominator;

  const Lane z = x * x;
  const Lane w = z * z;
  constexpr float kOdd[] = {0x1.0ad3aep-6f, 0x1.97b4b2p-5f, 0x1.10d66ap-4f,
                            0x1.745cdcp-4f, 0x1.24924ap-3f, 0x1.555556p-2f};
  constexpr float kEven[] = {-0x1.2b4442p-5f, -0x1.dde2d6p-5f, -0x1.3b0f2ap-4f, -0x1.c71c7p-4f, -0x1.99999ap-3f};
  const Lane sum = z * Polynomial(w, kOdd) + w * Polynomial(w, kEven);
  return high - ((x * sum - low) - x);
}

// The angle of x + i y, the steps of [Sun 1993] in their precision, so that the bits are those of the runtime's atan2f
// where that follows the same source. All floats; 0 / 0 and inf / inf as atan2f has them.
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Atan2(Lanes<float, N> y, Lanes<float, N> x) {
  using Lane = Lanes<float, N>;
  const Lane zero = Lane::Broadcast(0.0f);
  const Lane one = Lane::Broadcast(1.0f);
  const Lane infinity = Lane::Broadcast(__builtin_inff());
  const Lane height = Abs(y);
  const Lane width = Abs(x);
  // 0 / 0 counts as 0 and inf / inf as 1.
  Lane ratio = SelectEqual(height + width, zero, zero, height / width);
  ratio = SelectEqual(width, infinity, SelectEqual(height, infinity, one, ratio), ratio);
  const Lane angle = AtanOfPositive(ratio);
  // pi less the angle, pi in two pieces; but on the axis itself the angle is pi / 2 as it stands.
  const Lane left = Lane::Broadcast(0x1.921fb6p+1f) - (angle - Lane::Broadcast(-0x1.777a5cp-24f));
  const Lane off_axis = SelectEqual(width, zero, SelectEqual(height, zero, left, angle),
                                    SelectEqual(height, infinity, SelectEqual(width, infinity, left, angle), left));
  const Lane is_left = TimesSignOf(one, x);
  return TimesSignOf(SelectLess(is_left, zero, off_axis, angle), y);
}

// Cosine and sine of angles in [0, pi], to be rounded to float.
template <std::size_t N>
KELVO_INLINE LanePair<double, N> CosSinOfPositive(Lanes<double, N> x) {
  using Lane = Lanes<double, N>;
  // The nearest multiple of pi / 2 is 0, 1 or 2 of them.
  const Lane quarter = Lane::Broadcast(0x1.921fb54442d18p-1);
  const Lane three_quarters = Lane::Broadcast(0x1.2d97c7f3321d2p+1);
  const auto by_quadrant = [&](Lane first, Lane second, Lane third) __attribute__((always_inline)) {
    return SelectLess(x, quarter, first, SelectLess(x, three_quarters, second, third));
  };
  const Lane half_pi = Lane::Broadcast(0x1.921fb54442d18p+0);
  const Lane r = x - by_quadrant(Lane::Broadcast(0.0), half_pi, half_pi + half_pi);
  const Lane r2 = r * r;
  const Lane r3 = r * r2;
  const Lane r4 = r2 * r2;
  const Lane sine = (r + r3 * Lane::Broadcast(-0x1.555545995a603p-3)) +
                    (r3 * r2) * (Lane::Broadcast(0x1.1107605230bc4p-7) + r2 * Lane::Broadcast(-0x1.994eb3774cf24p-13));
  const Lane cosine =
      ((Lane::Broadcast(1.0) + r2 * Lane::Broadcast(-0x1.ffffffd0c621cp-2)) +
       r4 * Lane::Broadcast(0x1.55553e1068f19p-5)) +
      (r4 * r2) * (Lane::Broadcast(-0x1.6c087e89a359dp-10) + r2 * Lane::Broadcast(0x1.99343027bf8c3p-16));
  return {by_quadrant(cosine, -sine, -cosine), by_quadrant(sine, cosine, -sine)};
}

// Cosine and sine by the polynomials of [Arm 2018], in double precision up to the end: below 1 ulp, and the bits of the
// runtime's cosf and sinf where those follow the same source. Lanes of float in [-pi, pi], and NaN.
template <std::size_t N>
KELVO_INLINE LanePair<float, N> CosSin(Lanes<float, N> angle) {
  const Lanes<float, N> x = Abs(angle);
  if constexpr (N == 1) {
    const auto wide = CosSinOfPositive(ToDouble(x));
    return {ToFloat(wide.first), TimesSignOf(ToFloat(wide.second), angle)};
  } else {
    const auto halves = Split(x);
    const auto low = CosSinOfPositive(ToDouble(halves.first));
    const auto high = CosSinOfPositive(ToDouble(halves.second));
    return {Join(ToFloat(low.first), ToFloat(high.first)),
            TimesSignOf(Join(ToFloat(low.second), ToFloat(high.second)), angle)};
  }
}

// base^exponent as the runtime's powf gives it, lane by lane.
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Pow(Lanes<float, N> base, float exponent) {
  float values[N];
  base.Store(values);
  for (std::size_t i = 0; i < N; ++i) values[i] = __builtin_powf(values[i], exponent);
  return Lanes<float, N>::Load(values);
}

// How a power of a magnitude comes from the squared magnitude. The two that everybody asks for need no powf: one is the
// squared magnitude itself, the other its correctly rounded root, and both treat zeros, infinities and NaN alike.
enum class PowerForm { squared, magnitude, general };

KELVO_INLINE PowerForm PowerFormOf(float power) {
  const float half_exponent = power * 0.5f;
  if (half_exponent == 1.0f) return PowerForm::squared;
  if (half_exponent == 0.5f) return PowerForm::magnitude;
  return PowerForm::general;
}

// |re + i im| or its square. No hypot: a square beyond the range of float gives an infinity or 0.
template <PowerForm kForm, class Lane>
KELVO_INLINE Lane ApplyPower(Lane re, Lane im) {
  const Lane squared = im * im + re * re;
  return kForm == PowerForm::magnitude ? Sqrt(squared) : squared;
}

// |z|^power from |z|^2, for PowerForm::general.
template <class Lane>
KELVO_INLINE Lane RaiseSquared(Lane squared, float power) {
  return Pow(squared, power * 0.5f);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Simd
