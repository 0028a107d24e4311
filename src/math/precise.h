// Elementary functions of floats, correctly rounded by way of wide arithmetic: microseconds a value, for the rare
// arguments that the fast forms cannot decide. Total, with the special values of C's Annex F.
#pragma once

namespace kelvo::Math {

float PreciseLog(float x);
float PreciseLog1p(float x);
float PreciseLog10(float x);
float PreciseExp(float x);
float PrecisePow(float base, float exponent);
float PreciseAtan2(float y, float x);
// The cosine and sine of that float.
float PreciseCosOfAngle(float y, float x);
float PreciseSinOfAngle(float y, float x);

// The middle way: one lane of the fast forms, with longer polynomials, which leaves fewer arguments to wide arithmetic.
float CarefulLog(float x);
float CarefulLog1p(float x);
float CarefulLog10(float x);
float CarefulPow(float base, float exponent);

// results[i] = function(arguments[i]) where bit i of `lanes` is set; out of line, so that every use costs little code.
void Recompute(float* results, const float* arguments, unsigned long long lanes, float (*function)(float));
void Recompute(float* results, const float* first, const float* second, unsigned long long lanes,
               float (*function)(float, float));

}  // namespace kelvo::Math
