#pragma once

// Sines and cosines of the joint angles, two at a time, for the kinematics hot paths.
//
// Implementation notes. A forward kinematics or Jacobian call needs five or six sine/cosine
// pairs and a few hundred flops besides; through the C library's sincos the pairs took about 60 %
// of the forward kinematics. Evaluated two at a time in the vector registers every x86-64 and
// AArch64 processor has (GCC/Clang vector extensions; no instruction-set flags needed), six
// pairs cost about half as much.
//
// - Reduction: x = k·π/2 + r with k the nearest integer to x·2/π (rounded by adding and
//   subtracting 1.5·2^52, exact for |x·2/π| < 2^51) and r = (x − k·P1) − k·P2, where P1 is π/2
//   cut to 33 significant bits (k·P1 and x − k·P1 are exact for |k| < 2^20) and P2 = π/2 − P1
//   rounded to double. The reduction is exact up to |k|·3.6e-27 plus the rounding of the last
//   subtraction, so the inline path is kept to |x| ≤ kMaxInlineSinCosArgument.
// - On |r| ≤ π/4 (plus rounding) the Taylor series to r^17 (sine) and r^18 (cosine) are exact to
//   below 1e-19; they are evaluated in pairs of terms (Estrin's scheme) to shorten the
//   dependency chains, and the cosine adds its leading 1 − r²/2 with its rounding error
//   compensated.
// - The quadrant k mod 4, read from the low bits of 1.5·2^52 + k, picks and signs the two
//   results without branches, by bit masks on the sign bits.
// - Any angle beyond kMaxInlineSinCosArgument, infinite or NaN sends the whole call to std::sin
//   and std::cos.
//
// The results agree with std::sin and std::cos within a few 1e-16 (checked by the tests); a zero
// angle gives exactly 0 and 1.

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>

namespace zor::rob::detail {

/// Largest |x| (radians) that sinCos reduces inline.
inline constexpr double kMaxInlineSinCosArgument = 1e5;

#if defined(__GNUC__)

namespace sincos_impl {

using Double2 = double __attribute__((vector_size(16)));
using Bits2 = unsigned long long __attribute__((vector_size(16)));

inline constexpr double kTwoOverPi = 0.6366197723675814;
inline constexpr double kRoundingShift = 6755399441055744.0;  // 1.5 · 2^52
inline constexpr double kP1 = 0x1.921fb544p+0;
inline constexpr double kP2 = 0x1.0b4611a626331p-34;

/// Sine and cosine of every lane of `x`, each |x| ≤ kMaxInlineSinCosArgument: Double is a vector
/// of doubles and Bits the vector of 64-bit unsigned integers of as many lanes. Each lane's result
/// is the same whatever the lane count. Always inlined: as a call, its vectors would pass through
/// memory.
template <typename Double, typename Bits>
[[gnu::always_inline]] inline void sinCosLanes(Double x, Double& s, Double& c) {
  // shifted = 1.5·2^52 + k: its lowest mantissa bits hold k mod 4 (2^51 is a multiple of 4).
  const Double shifted = x * kTwoOverPi + kRoundingShift;
  const Double k = shifted - kRoundingShift;
  const Double r = (x - k * kP1) - k * kP2;
  const Double z = r * r;
  const Double z2 = z * z;
  const Double z4 = z2 * z2;
  // Taylor coefficients ±1/n!.
  const Double sinPoly =
      ((-1.0 / 6.0 + z * (1.0 / 120.0)) + z2 * (-1.0 / 5040.0 + z * (1.0 / 362880.0))) +
      z4 * ((-1.0 / 39916800.0 + z * (1.0 / 6227020800.0)) +
            z2 * (-1.0 / 1307674368000.0 + z * (1.0 / 355687428096000.0)));
  const Double sinR = r + r * z * sinPoly;
  const Double cosPoly =
      ((1.0 / 24.0 + z * (-1.0 / 720.0)) + z2 * (1.0 / 40320.0 + z * (-1.0 / 3628800.0))) +
      z4 * ((1.0 / 479001600.0 + z * (-1.0 / 87178291200.0)) + z2 * (1.0 / 20922789888000.0));
  const Double halfZ = 0.5 * z;
  const Double w = 1.0 - halfZ;
  const Double cosR = w + (((1.0 - w) - halfZ) + z2 * cosPoly);
  // x = r + q·π/2: (sin, cos) = (s, c), (c, −s), (−s, −c), (−c, s) for q = k mod 4 = 0, 1, 2, 3:
  // swap the two where q is odd, flip the sine's sign bit where q is 2 or 3 and the cosine's
  // where q is 1 or 2.
  const Bits q = std::bit_cast<Bits>(shifted);
  const Bits swap = -(q & 1U);
  const Bits sinBits = std::bit_cast<Bits>(sinR);
  const Bits cosBits = std::bit_cast<Bits>(cosR);
  s = std::bit_cast<Double>(((sinBits & ~swap) | (cosBits & swap)) ^ ((q & 2U) << 62U));
  c = std::bit_cast<Double>(((cosBits & ~swap) | (sinBits & swap)) ^ (((q + 1U) & 2U) << 62U));
}

/// sinCosLanes of two lanes.
[[gnu::always_inline]] inline void sinCos2(Double2 x, Double2& s, Double2& c) {
  sinCosLanes<Double2, Bits2>(x, s, c);
}

}  // namespace sincos_impl

/// Sets s[i] = sin x[i] and c[i] = cos x[i] (radians), i = 0 … N − 1. Always inlined, so that
/// the results stay in registers.
template <std::size_t N>
[[gnu::always_inline]] inline void sinCos(const std::array<double, N>& x, std::array<double, N>& s,
                                          std::array<double, N>& c) {
  bool allInRange = true;
  for (std::size_t i = 0; i < N; ++i)
    allInRange = allInRange & (std::abs(x[i]) <= kMaxInlineSinCosArgument);
  if (!allInRange) [[unlikely]] {
    for (std::size_t i = 0; i < N; ++i) {
      s[i] = std::sin(x[i]);
      c[i] = std::cos(x[i]);
    }
    return;
  }
#pragma GCC unroll 3
  for (std::size_t i = 0; i < N; i += 2) {
    const bool pair = i + 1 < N;
    sincos_impl::Double2 vs;
    sincos_impl::Double2 vc;
    sincos_impl::sinCos2(sincos_impl::Double2{x[i], pair ? x[i + 1] : 0.0}, vs, vc);
    s[i] = vs[0];
    c[i] = vc[0];
    if (pair) {
      s[i + 1] = vs[1];
      c[i + 1] = vc[1];
    }
  }
}

#else

/// Sets s[i] = sin x[i] and c[i] = cos x[i] (radians), i = 0 … N − 1.
template <std::size_t N>
inline void sinCos(const std::array<double, N>& x, std::array<double, N>& s,
                   std::array<double, N>& c) {
  for (std::size_t i = 0; i < N; ++i) {
    s[i] = std::sin(x[i]);
    c[i] = std::cos(x[i]);
  }
}

#endif

}  // namespace zor::rob::detail
