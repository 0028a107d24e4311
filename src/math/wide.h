// Fixed-point numbers of 256 bits and the elementary functions in them, for the rare argument whose result lies too
// near the middle between two floating-point numbers to be decided in double precision.
//
// Integers only: nothing here is rounded by the processor. A result is within 2^-200 of the truth unless it says
// otherwise, some 2^80 times nearer than any float or double comes to such a middle without lying in it.
#pragma once

#include <cstdint>

namespace kelvo::Math {

// words / 2^224 in two's complement, lowest word first: from -2^31 to 2^31.
struct Wide {
  std::uint32_t words[8];
};

// Exact down to 2^-224; |value| < 2^31.
Wide ToWide(double value);
Wide ToWide(const unsigned (&words)[8]);
// Cut off after the 53 leading bits or so: a first guess, not a result.
double ToRoughDouble(const Wide& a);

Wide operator+(const Wide& a, const Wide& b);
Wide operator-(const Wide& a, const Wide& b);
Wide operator*(const Wide& a, const Wide& b);
Wide operator/(const Wide& a, std::uint32_t divisor);

// For 0 <= x < 1.
Wide Exp(const Wide& x);
// For 1 <= m <= 2.
Wide Log(const Wide& m);
// For |x| <= 1.
Wide Sin(const Wide& x);
Wide Cos(const Wide& x);
// The angle of x + i y, for y <= x, 1 <= x < 2 and y > 2^-70; within 2^-190.
Wide Atan(double y, double x);

// The nearest number of `precision` bits to a 2^exponent, a not 0. The true value must not be a middle.
double Round(const Wide& a, int exponent, int precision);
// The nearest float; below 2^-126 floats have fewer bits.
float RoundToFloat(const Wide& a, int exponent = 0);

}  // namespace kelvo::Math
