// The C library's vector functions (libmvec, at most 4 ulp), called directly in the widest form that this build allows.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {

#if defined(__AVX512F__)
constexpr std::size_t kWidth = 16;
#define KELVO_VECTOR_NAME(arguments, name) _ZGVeN16##arguments##_##name
#else
constexpr std::size_t kWidth = 8;
#define KELVO_VECTOR_NAME(arguments, name) _ZGVdN8##arguments##_##name
#endif
using Vector [[gnu::vector_size(kWidth * sizeof(float))]] = float;

extern "C" {
Vector KELVO_VECTOR_NAME(v, log10f)(Vector);
Vector KELVO_VECTOR_NAME(v, log1pf)(Vector);
Vector KELVO_VECTOR_NAME(v, cosf)(Vector);
Vector KELVO_VECTOR_NAME(v, sinf)(Vector);
Vector KELVO_VECTOR_NAME(vv, atan2f)(Vector, Vector);
Vector KELVO_VECTOR_NAME(vv, powf)(Vector, Vector);
}

namespace {

// The first `count` of a vector's values; the others are read as 0.
Vector Load(const float* src, std::size_t count) {
  Vector values = {};
  std::memcpy(&values, src, count * sizeof(float));
  return values;
}

void Store(float* dst, Vector values, std::size_t count) { std::memcpy(dst, &values, count * sizeof(float)); }

// body(i, count) for pieces of kWidth values, then for the remaining ones.
template <class Body>
void ForEachPiece(std::size_t count, Body body) {
  std::size_t i = 0;
  for (; i + kWidth <= count; i += kWidth) body(i, kWidth);
  if (i < count) body(i, count - i);
}

struct ComplexVector {
  Vector re, im;
};

ComplexVector LoadComplex(const float* src, std::size_t count) {
  float re[kWidth] = {};
  float im[kWidth] = {};
  for (std::size_t i = 0; i < count; ++i) {
    re[i] = src[2 * i];
    im[i] = src[2 * i + 1];
  }
  return {Load(re, kWidth), Load(im, kWidth)};
}

void StoreComplex(float* dst, ComplexVector values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    dst[2 * i] = values.re[i];
    dst[2 * i + 1] = values.im[i];
  }
}

Vector Square(ComplexVector z) { return z.re * z.re + z.im * z.im; }

Vector Root(Vector values) {
  for (std::size_t i = 0; i < kWidth; ++i) values[i] = std::sqrt(values[i]);
  return values;
}

class VectorConversion {
 public:
  static bool CanDo(const ElementwiseConversion& job) { return job.conversion != Conversion::standardise; }
  explicit VectorConversion(const ElementwiseConversion& job) : job_(job) {}

  void operator()(float* dst) {
    const float* src = job_.src.data();
    float* phase = dst + job_.value_n;
    const auto map_real = [&](auto function) {
      ForEachPiece(job_.value_n, [=](std::size_t i, std::size_t n) { Store(dst + i, function(Load(src + i, n)), n); });
    };
    const auto map_complex = [&](auto function) {
      ForEachPiece(job_.value_n, [=](std::size_t i, std::size_t n) { function(i, LoadComplex(src + 2 * i, n), n); });
    };
    switch (job_.conversion) {
      case Conversion::log1p: return map_real([](Vector x) { return KELVO_VECTOR_NAME(v, log1pf)(x); });
      case Conversion::standardise: return;
      case Conversion::power_to_db: {
        const float peak = std::max(*std::max_element(src, src + job_.value_n), kLeastPower);
        const float reference = 10.0f * std::log10(peak);
        return map_real([=](Vector x) {
          x = x > kLeastPower ? x : kLeastPower + Vector{};
          const Vector db = 10.0f * KELVO_VECTOR_NAME(v, log10f)(x) - reference;
          return db < -kTopDb ? -kTopDb + Vector{} : db;
        });
      }
      case Conversion::magnitude:
        return map_complex([=](std::size_t i, ComplexVector z, std::size_t n) { Store(dst + i, Root(Square(z)), n); });
      case Conversion::power:
        return map_complex([=](std::size_t i, ComplexVector z, std::size_t n) { Store(dst + i, Square(z), n); });
      case Conversion::other_norm:
        return map_complex([=](std::size_t i, ComplexVector z, std::size_t n) {
          Store(dst + i, KELVO_VECTOR_NAME(vv, powf)(Square(z), kOtherNorm / 2 + Vector{}), n);
        });
      case Conversion::angle:
        return map_complex([=](std::size_t i, ComplexVector z, std::size_t n) {
          Store(dst + i, Root(Square(z)), n);
          Store(phase + i, KELVO_VECTOR_NAME(vv, atan2f)(z.im, z.re), n);
        });
      case Conversion::unit_phase:
        return map_complex([=](std::size_t i, ComplexVector z, std::size_t n) {
          Store(dst + i, Root(Square(z)), n);
          const Vector angle = KELVO_VECTOR_NAME(vv, atan2f)(z.im, z.re);
          StoreComplex(phase + 2 * i, {KELVO_VECTOR_NAME(v, cosf)(angle), KELVO_VECTOR_NAME(v, sinf)(angle)}, n);
        });
    }
  }

 private:
  const ElementwiseConversion& job_;
};

[[maybe_unused]] const bool registered = RegisterPeer<ElementwiseConversion, VectorConversion>("libmvec");

}  // namespace
}  // namespace kelvo::Bench
