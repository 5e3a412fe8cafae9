#pragma once

// atan2 of many (y, x) pairs at once, for the closed-form inverse kinematics.
//
// Implementation notes. The closed form of one pose ends in about twenty independent angles;
// through the C library's atan2 they took most of its time. Here they are evaluated two at a time
// in the vector registers (lanes.hpp), or four at a time in code built for AVX, without branches:
// - Octant: with a = |y| and b = |x|, the angle of (a, b) is atan(n / d) for n = min(a, b) and
//   d = max(a, b), or π/2 minus it when a > b; x < 0 turns it into π minus it, and the sign of y
//   signs the result, exactly as atan2 does (for ±0 as well).
// - Sector: n / d in [0, 1] is compared, without dividing, with the tangents of (2j − 1)π/32,
//   j = 1 … 4, which picks the nearest centre angle c = jπ/16 (or 0); then
//   atan(n / d) = c + atan(u) with u = (n − d tan c) / (d + n tan c), |u| ≤ tan(π/32) ≈ 0.0985.
//   In the sector of 0 it is u = n / d itself, so a zero angle comes out exactly zero.
// - atan(u): its Taylor series to u^15, whose remainder is below 5e-19 on that interval,
//   evaluated in pairs of terms (Estrin's scheme) to shorten the dependency chains.
// The results agree with std::atan2 within a few 1e-16 absolute (checked by the tests); the
// angles 0, ±π/2, ±π/4 and ±π come out exactly. Any infinite or NaN input sends the whole call
// to std::atan2.

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>

#include "ik/lanes.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace atan2_impl {

inline constexpr unsigned long long kSignBit = 0x8000000000000000ULL;
/// tan((2j − 1)π/32): the bounds between the sectors of the centres (j − 1)π/16 and jπ/16.
inline constexpr std::array<double, 4> kSectorBound{0.09849140335716425, 0.3033466836073424,
                                                    0.5345111359507916, 0.8206787908286602};
/// tan(jπ/16) and jπ/16, j = 1 … 4.
inline constexpr std::array<double, 4> kCentreTangent{0.198912367379658, 0.41421356237309503,
                                                      0.6681786379192989, 1.0};
inline constexpr std::array<double, 4> kCentreAngle{kPi / 16.0, kPi / 8.0, 3.0 * kPi / 16.0,
                                                    kPi / 4.0};

/// `v` in every lane of V.
template <typename V>
[[gnu::always_inline]] inline V broadcast(double v) {
  return V{} + v;
}

/// atan2(y, x) of every lane, all finite. Always inlined: as a call, its vectors would pass
/// through memory. Only double comparisons and bitwise operations on the sign bits are used:
/// 64-bit integer comparisons would leave the vector registers on SSE2.
template <std::size_t N>
[[gnu::always_inline]] inline typename Lanes<N>::Double atan2Lanes(typename Lanes<N>::Double y,
                                                                   typename Lanes<N>::Double x) {
  using V = typename Lanes<N>::Double;
  using B = typename Lanes<N>::Bits;
  using M = typename Lanes<N>::Mask;
  const B signY = std::bit_cast<B>(y) & kSignBit;
  const B signX = std::bit_cast<B>(x) & kSignBit;
  const V a = std::bit_cast<V>(std::bit_cast<B>(y) & ~kSignBit);
  const V b = std::bit_cast<V>(std::bit_cast<B>(x) & ~kSignBit);
  const M steep = a > b;
  const V n = select(steep, b, a);
  V d = select(steep, a, b);
  d = select(d == 0.0, broadcast<V>(1.0), d);  // (0, 0): n = 0, angle 0

  V tangent = broadcast<V>(0.0);
  V centre = broadcast<V>(0.0);
#pragma GCC unroll 4
  for (std::size_t j = 0; j < 4; ++j) {
    const M beyond = n > d * kSectorBound[j];
    tangent = select(beyond, broadcast<V>(kCentreTangent[j]), tangent);
    centre = select(beyond, broadcast<V>(kCentreAngle[j]), centre);
  }
  const V u = (n - d * tangent) / (d + n * tangent);
  const V z = u * u;
  const V z2 = z * z;
  const V z4 = z2 * z2;
  // atan u = u (1 − z/3 + z²/5 − … − z⁷/15).
  const V poly = ((-1.0 / 3.0 + z * (1.0 / 5.0)) + z2 * (-1.0 / 7.0 + z * (1.0 / 9.0))) +
                 z4 * ((-1.0 / 11.0 + z * (1.0 / 13.0)) + z2 * (-1.0 / 15.0));
  V angle = centre + (u + u * z * poly);
  angle = select(steep, kPi / 2.0 - angle, angle);
  // x < 0 (−0 included): π − angle, as π/2 (1 − s) + s · angle with s = ±1 the sign of x.
  const V s = std::bit_cast<V>(std::bit_cast<B>(broadcast<V>(1.0)) | signX);
  angle = (kPi / 2.0) * (1.0 - s) + std::bit_cast<V>(std::bit_cast<B>(angle) ^ signX);
  return std::bit_cast<V>(std::bit_cast<B>(angle) | signY);
}

/// Hides the value of `v` from the optimiser. GCC 12 at -O3 stops with an internal error when it
/// folds the lane selections of atan2Lanes for inputs known at compile time; real inputs are not,
/// so this costs nothing. Clang needs no such barrier (and would reject it for four lanes: it
/// checks the register's size against the file's instruction set, not the function's).
template <typename V>
[[gnu::always_inline]] inline void opaque([[maybe_unused]] V& v) {
#if defined(__clang__)
#elif defined(__x86_64__)
  asm("" : "+x"(v));
#elif defined(__aarch64__)
  asm("" : "+w"(v));
#endif
}

}  // namespace atan2_impl

/// Sets out[i] = atan2(y[i], x[i]) (radians), i = 0 … N − 1, `Width` at a time: 2, or 4 in code
/// built for AVX. Always inlined, so that the inputs and results stay in registers.
template <std::size_t Width = 2, std::size_t N>
[[gnu::always_inline]] inline void atan2s(const std::array<double, N>& y,
                                          const std::array<double, N>& x,
                                          std::array<double, N>& out) {
  using V = typename Lanes<Width>::Double;
  // Zero times every input: NaN at the end exactly when some input is infinite or NaN.
  V zeros{};
  for (std::size_t i = 0; i < N; i += Width) {
    // Lanes past the end take (0, 1).
    V yi{};
    V xi = atan2_impl::broadcast<V>(1.0);
    for (std::size_t l = 0; l < Width && i + l < N; ++l) {
      yi[l] = y[i + l];
      xi[l] = x[i + l];
    }
    atan2_impl::opaque(yi);
    atan2_impl::opaque(xi);
    zeros += yi * 0.0 + xi * 0.0;
    const V r = atan2_impl::atan2Lanes<Width>(yi, xi);
    for (std::size_t l = 0; l < Width && i + l < N; ++l)
      out[i + l] = r[l];
  }
  if (any(zeros != zeros)) [[unlikely]] {
    for (std::size_t i = 0; i < N; ++i)
      out[i] = std::atan2(y[i], x[i]);
  }
}

}  // namespace zor::rob::detail
