#pragma once

// Two doubles in one vector register, and 3-vectors of them, for the closed-form inverse
// kinematics: its two joint-1 branches run side by side, one per lane. GCC/Clang vector
// extensions compile these to the SSE2 (x86-64) or NEON (AArch64) instructions every such
// processor has, with no instruction-set flags. Four doubles (Double4) are for code built for
// AVX alone, eight (Double8) for code built for AVX-512 alone; elsewhere they would pass through
// memory.

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "zor/rob/vectors.hpp"

#if !defined(__GNUC__)
#error "the inverse kinematics needs the GCC/Clang vector extensions"
#endif

namespace zor::rob::detail {

using Double2 = double __attribute__((vector_size(16)));
using Bits2 = unsigned long long __attribute__((vector_size(16)));
using Mask2 = long long __attribute__((vector_size(16)));
using Double4 = double __attribute__((vector_size(32)));
using Bits4 = unsigned long long __attribute__((vector_size(32)));
using Mask4 = long long __attribute__((vector_size(32)));
using Double8 = double __attribute__((vector_size(64)));
using Bits8 = unsigned long long __attribute__((vector_size(64)));
using Mask8 = long long __attribute__((vector_size(64)));

/// The vector types of N lanes: Double, its bits, and the mask of a comparison.
template <std::size_t N>
struct Lanes;
template <>
struct Lanes<2> {
  using Double = Double2;
  using Bits = Bits2;
  using Mask = Mask2;
};
template <>
struct Lanes<4> {
  using Double = Double4;
  using Bits = Bits4;
  using Mask = Mask4;
};
template <>
struct Lanes<8> {
  using Double = Double8;
  using Bits = Bits8;
  using Mask = Mask8;
};

/// \returns 1.0 when `condition` holds, 0.0 otherwise, through a mask: GCC turns a conditional
/// 1.0 : 0.0 back into a branch, which costs more than the arithmetic it selects whenever the
/// condition is as likely one way as the other.
inline double oneIf(bool condition) {
  const std::uint64_t mask = -static_cast<std::uint64_t>(condition);
  return std::bit_cast<double>(mask & std::bit_cast<std::uint64_t>(1.0));
}

[[gnu::always_inline]] inline Double2 splat(double v) {
  return Double2{v, v};
}

/// `mask` ? a : b, lane by lane, for a mask of all-ones or all-zeros lanes. The vector
/// conditional, not the same through bit operations: GCC then knows a mask and emits one blend
/// where the processor has it (the AVX build), and no worse than the bit operations elsewhere.
template <typename Mask, typename Double>
[[gnu::always_inline]] inline Double select(Mask mask, Double a, Double b) {
  return mask ? a : b;
}

/// \returns true when some lane of `mask` is set.
template <typename Mask>
[[gnu::always_inline]] inline bool any(Mask mask) {
  auto set = mask[0];
  for (std::size_t i = 1; i < sizeof(Mask) / sizeof(set); ++i)
    set |= mask[i];
  return set != 0;
}

/// \returns the lanes of `mask` as bits: lane 0 in bit 0, lane 1 in bit 1.
[[gnu::always_inline]] inline unsigned bitsOf(Mask2 mask) {
#if defined(__x86_64__)
  return static_cast<unsigned>(__builtin_ia32_movmskpd(std::bit_cast<Double2>(mask)));
#else
  return static_cast<unsigned>((mask[0] & 1) | (mask[1] & 2));
#endif
}

[[gnu::always_inline]] inline Double2 sqrt(Double2 v) {
#if defined(__x86_64__)
  return __builtin_ia32_sqrtpd(v);
#else
  return Double2{std::sqrt(v[0]), std::sqrt(v[1])};
#endif
}

/// A 3-vector per lane.
struct Vec3x2 {
  Double2 x{};
  Double2 y{};
  Double2 z{};

  /// The same vector in both lanes.
  [[gnu::always_inline]] static Vec3x2 splat(const Vec3Template<double>& v) {
    return {detail::splat(v.x), detail::splat(v.y), detail::splat(v.z)};
  }
  [[gnu::always_inline]] Vec3x2 operator+(const Vec3x2& o) const {
    return {x + o.x, y + o.y, z + o.z};
  }
  [[gnu::always_inline]] Vec3x2 operator-(const Vec3x2& o) const {
    return {x - o.x, y - o.y, z - o.z};
  }
  [[gnu::always_inline]] Vec3x2 operator*(Double2 s) const { return {x * s, y * s, z * s}; }
  [[gnu::always_inline]] Double2 dot(const Vec3x2& o) const { return x * o.x + y * o.y + z * o.z; }
  [[gnu::always_inline]] Vec3x2 cross(const Vec3x2& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  [[gnu::always_inline]] Double2 squaredNorm() const { return dot(*this); }
};

/// The direction (cos θ, sin θ) of an angle per lane, or of any length when so documented.
struct CosSin2 {
  Double2 c{1.0, 1.0};
  Double2 s{0.0, 0.0};
};

/// \returns Rot(k, θ) · v per lane for the unit axis k: v cos θ + (k × v) sin θ + k (k·v)(1 − cos
/// θ).
[[gnu::always_inline]] inline Vec3x2 rotateAbout(const Vec3x2& k, Double2 c, Double2 s,
                                                 const Vec3x2& v) {
  return v * c + k.cross(v) * s + k * (k.dot(v) * (1.0 - c));
}

/// \returns L · Rot(k, θ) · v per lane for the unit axis k and (c, s) = L (cos θ, sin θ) with
/// L ≥ 0: the rotation by a direction of any length, without normalising it.
[[gnu::always_inline]] inline Vec3x2 rotateScaledAbout(const Vec3x2& k, Double2 c, Double2 s,
                                                       Double2 length, const Vec3x2& v) {
  const Double2 along = k.dot(v);
  return k * (along * length) + (v - k * along) * c + k.cross(v) * s;
}

}  // namespace zor::rob::detail
