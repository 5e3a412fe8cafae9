#pragma once

// atan2 of many (y, x) pairs at once, for the closed-form inverse kinematics.
//
// Implementation notes. The closed form of one pose ends in about twenty independent angles;
// through the C library's atan2 they took most of its time. Here they are evaluated two at a time
// in the vector registers (lanes.hpp), without branches:
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

namespace zor::rob::detail {

namespace atan2_impl {

inline constexpr double kPi = 3.141592653589793;
inline constexpr unsigned long long kSignBit = 0x8000000000000000ULL;
/// tan((2j − 1)π/32): the bounds between the sectors of the centres (j − 1)π/16 and jπ/16.
inline constexpr std::array<double, 4> kSectorBound{0.09849140335716425, 0.3033466836073424,
                                                    0.5345111359507916, 0.8206787908286602};
/// tan(jπ/16) and jπ/16, j = 1 … 4.
inline constexpr std::array<double, 4> kCentreTangent{0.198912367379658, 0.41421356237309503,
                                                      0.6681786379192989, 1.0};
inline constexpr std::array<double, 4> kCentreAngle{kPi / 16.0, kPi / 8.0, 3.0 * kPi / 16.0,
                                                    kPi / 4.0};

/// atan2(y, x) of both lanes, all finite. Always inlined: as a call, its vectors would pass
/// through memory. Only double comparisons and bitwise operations on the sign bits are used:
/// 64-bit integer comparisons would leave the vector registers on SSE2.
[[gnu::always_inline]] inline Double2 atan2Pair(Double2 y, Double2 x) {
  const Bits2 signY = std::bit_cast<Bits2>(y) & kSignBit;
  const Bits2 signX = std::bit_cast<Bits2>(x) & kSignBit;
  const Double2 a = std::bit_cast<Double2>(std::bit_cast<Bits2>(y) & ~kSignBit);
  const Double2 b = std::bit_cast<Double2>(std::bit_cast<Bits2>(x) & ~kSignBit);
  const Mask2 steep = a > b;
  const Double2 n = select(steep, b, a);
  Double2 d = select(steep, a, b);
  d = select(d == 0.0, Double2{1.0, 1.0}, d);  // (0, 0): n = 0, angle 0

  Double2 tangent{0.0, 0.0};
  Double2 centre{0.0, 0.0};
#pragma GCC unroll 4
  for (std::size_t j = 0; j < 4; ++j) {
    const Mask2 beyond = n > d * kSectorBound[j];
    tangent = select(beyond, Double2{kCentreTangent[j], kCentreTangent[j]}, tangent);
    centre = select(beyond, Double2{kCentreAngle[j], kCentreAngle[j]}, centre);
  }
  const Double2 u = (n - d * tangent) / (d + n * tangent);
  const Double2 z = u * u;
  const Double2 z2 = z * z;
  const Double2 z4 = z2 * z2;
  // atan u = u (1 − z/3 + z²/5 − … − z⁷/15).
  const Double2 poly = ((-1.0 / 3.0 + z * (1.0 / 5.0)) + z2 * (-1.0 / 7.0 + z * (1.0 / 9.0))) +
                       z4 * ((-1.0 / 11.0 + z * (1.0 / 13.0)) + z2 * (-1.0 / 15.0));
  Double2 angle = centre + (u + u * z * poly);
  angle = select(steep, kPi / 2.0 - angle, angle);
  // x < 0 (−0 included): π − angle, as π/2 (1 − s) + s · angle with s = ±1 the sign of x.
  const Double2 s = std::bit_cast<Double2>(std::bit_cast<Bits2>(Double2{1.0, 1.0}) | signX);
  angle = (kPi / 2.0) * (1.0 - s) + std::bit_cast<Double2>(std::bit_cast<Bits2>(angle) ^ signX);
  return std::bit_cast<Double2>(std::bit_cast<Bits2>(angle) | signY);
}

/// Hides the value of `v` from the optimiser. GCC 12 at -O3 stops with an internal error when it
/// folds the lane selections of atan2Pair for inputs known at compile time; real inputs are not,
/// so this costs nothing.
[[gnu::always_inline]] inline void opaque(Double2& v) {
#if defined(__x86_64__)
  asm("" : "+x"(v));
#elif defined(__aarch64__)
  asm("" : "+w"(v));
#endif
}

}  // namespace atan2_impl

/// Sets out[i] = atan2(y[i], x[i]) (radians), i = 0 … N − 1. Always inlined, so that the inputs
/// and results stay in registers.
template <std::size_t N>
[[gnu::always_inline]] inline void atan2s(const std::array<double, N>& y,
                                          const std::array<double, N>& x,
                                          std::array<double, N>& out) {
  // Zero times every input: NaN at the end exactly when some input is infinite or NaN.
  Double2 zeros{0.0, 0.0};
  for (std::size_t i = 0; i < N; i += 2) {
    const bool pair = i + 1 < N;
    Double2 yi{y[i], pair ? y[i + 1] : 0.0};
    Double2 xi{x[i], pair ? x[i + 1] : 1.0};
    atan2_impl::opaque(yi);
    atan2_impl::opaque(xi);
    zeros += yi * 0.0 + xi * 0.0;
    const Double2 r = atan2_impl::atan2Pair(yi, xi);
    out[i] = r[0];
    if (pair)
      out[i + 1] = r[1];
  }
  if (any(zeros != zeros)) [[unlikely]] {
    for (std::size_t i = 0; i < N; ++i)
      out[i] = std::atan2(y[i], x[i]);
  }
}

}  // namespace zor::rob::detail
