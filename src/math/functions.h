// Elementary functions of single values, for tables and decisions: correctly rounded, the special values those of C's
// Annex F.
#pragma once

namespace kelvo::Math {

float Log(float x);
float Log10(float x);
float Exp(float x);
float Pow(float base, float exponent);

// |x| < 2^20 for cosine and sine, and NaN; farther out they give NaN.
float Cos(float x);
float Sin(float x);
double Cos(double x);
double Sin(double x);
double Log10(double x);

// The square root, which every instruction set here has.
inline float Sqrt(float x) { return __builtin_sqrtf(x); }

}  // namespace kelvo::Math
