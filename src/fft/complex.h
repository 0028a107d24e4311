// Complex arithmetic over floats, doubles or lanes.
#pragma once

namespace kelvo::Fft {

// Not std::complex: its product branches on NaN, which lanes cannot do.
template <class T>
struct Complex {
  T re, im;
};

template <class T>
[[gnu::always_inline]] inline Complex<T> operator+(const Complex<T>& a, const Complex<T>& b) {
  return {a.re + b.re, a.im + b.im};
}
template <class T>
[[gnu::always_inline]] inline Complex<T> operator-(const Complex<T>& a, const Complex<T>& b) {
  return {a.re - b.re, a.im - b.im};
}
template <class T>
[[gnu::always_inline]] inline Complex<T> operator*(const Complex<T>& a, const Complex<T>& b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
template <class T>
[[gnu::always_inline]] inline Complex<T> Scale(const Complex<T>& a, const T& factor) {
  return {a.re * factor, a.im * factor};
}
template <class T>
[[gnu::always_inline]] inline Complex<T> Conjugate(const Complex<T>& a) {
  return {a.re, -a.im};
}
// Real and imaginary part exchanged. Before and after a forward transform this makes it the inverse one, unscaled.
template <class T>
[[gnu::always_inline]] inline Complex<T> Swapped(const Complex<T>& a) {
  return {a.im, a.re};
}
// conj(a) * b
template <class T>
[[gnu::always_inline]] inline Complex<T> ConjugateTimes(const Complex<T>& a, const Complex<T>& b) {
  return {a.re * b.re + a.im * b.im, a.re * b.im - a.im * b.re};
}
// -i * a
template <class T>
[[gnu::always_inline]] inline Complex<T> TimesMinusI(const Complex<T>& a) {
  return {a.im, -a.re};
}

}  // namespace kelvo::Fft
