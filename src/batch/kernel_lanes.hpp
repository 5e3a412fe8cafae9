#pragma once

// The vectors of the batch kernels (kernels.cpp): 3-vectors, quaternions, rotation matrices and
// joint angles with one joint vector per lane, whose operations repeat the scalar types' term for
// term. W lanes: 2, 4 or 8 doubles (ik/lanes.hpp), always inlined into code built for as many.

#include <array>
#include <bit>
#include <cstddef>
#include <utility>

#include "ik/lanes.hpp"
#include "robot/sincos.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::detail::batch_lanes {

inline constexpr unsigned long long kSignBit = 0x8000000000000000ULL;

/// `v` in every lane of V.
template <typename V>
[[gnu::always_inline]] inline V laneSplat(double v) {
  return [v]<std::size_t... L>(std::index_sequence<L...>) {
    return V{((void)L, v)...};
  }
  (std::make_index_sequence<sizeof(V) / sizeof(double)>{});
}

/// A 3-vector per lane; the operations are those of Vec3, term for term (the closed form's lanes
/// use it too).
template <typename V>
struct Vec3Lanes {
  V x{};
  V y{};
  V z{};

  /// `v` in every lane (a −0 coordinate stays −0, as 0 + v would not keep it).
  [[gnu::always_inline]] static Vec3Lanes splat(const Vec3& v) {
    return {laneSplat<V>(v.x), laneSplat<V>(v.y), laneSplat<V>(v.z)};
  }
  [[gnu::always_inline]] Vec3Lanes operator+(const Vec3Lanes& o) const {
    return {x + o.x, y + o.y, z + o.z};
  }
  [[gnu::always_inline]] Vec3Lanes operator-(const Vec3Lanes& o) const {
    return {x - o.x, y - o.y, z - o.z};
  }
  [[gnu::always_inline]] Vec3Lanes operator*(V s) const { return {x * s, y * s, z * s}; }
  [[gnu::always_inline]] V dot(const Vec3Lanes& o) const { return x * o.x + y * o.y + z * o.z; }
  [[gnu::always_inline]] Vec3Lanes cross(const Vec3Lanes& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  [[gnu::always_inline]] Vec3 lane(std::size_t l) const { return {x[l], y[l], z[l]}; }
};

/// A quaternion per lane, with Rotation::hamilton's products in its order.
template <typename V>
struct QuatLanes {
  V x{};
  V y{};
  V z{};
  V w{};

  template <typename O>
  [[gnu::always_inline]] QuatLanes hamilton(const O& o) const {
    return {w * o.x + x * o.w + y * o.z - z * o.y, w * o.y + y * o.w + z * o.x - x * o.z,
            w * o.z + z * o.w + x * o.y - y * o.x, w * o.w - x * o.x - y * o.y - z * o.z};
  }
  [[gnu::always_inline]] Rotation lane(std::size_t l) const {
    return Rotation::raw(x[l], y[l], z[l], w[l]);
  }
};

/// A rigid motion per lane.
template <typename V>
struct MotionLanes {
  QuatLanes<V> rotation;
  Vec3Lanes<V> translation;
};

/// RotationMatrix of a quaternion per lane, entry for entry.
template <typename V>
struct MatrixLanes {
  V m00, m01, m02, m10, m11, m12, m20, m21, m22;

  [[gnu::always_inline]] explicit MatrixLanes(const QuatLanes<V>& q) {
    const V tx = 2.0 * q.x;
    const V ty = 2.0 * q.y;
    const V tz = 2.0 * q.z;
    const V twx = tx * q.w;
    const V twy = ty * q.w;
    const V twz = tz * q.w;
    const V txx = tx * q.x;
    const V txy = ty * q.x;
    const V txz = tz * q.x;
    const V tyy = ty * q.y;
    const V tyz = tz * q.y;
    const V tzz = tz * q.z;
    m00 = 1.0 - (tyy + tzz);
    m01 = txy - twz;
    m02 = txz + twy;
    m10 = txy + twz;
    m11 = 1.0 - (txx + tzz);
    m12 = tyz - twx;
    m20 = txz - twy;
    m21 = tyz + twx;
    m22 = 1.0 - (txx + tyy);
  }

  /// The matrix times `v`: a Vec3 (the same in every lane) or a Vec3Lanes.
  template <typename T>
  [[gnu::always_inline]] Vec3Lanes<V> operator*(const T& v) const {
    return {m00 * v.x + m01 * v.y + m02 * v.z, m10 * v.x + m11 * v.y + m12 * v.z,
            m20 * v.x + m21 * v.y + m22 * v.z};
  }
};

/// The angles and half-angle sines and cosines of W consecutive joint vectors, joint by joint.
template <std::size_t W>
struct JointLanes {
  using V = typename Lanes<W>::Double;
  /// The joints as given (degrees).
  std::array<V, 6> degrees{};
  std::array<V, 6> theta{};
  std::array<V, 6> sh{};
  std::array<V, 6> ch{};
  /// Whether every half-angle lies within the inline sine/cosine range (so the scalar call takes
  /// the same inline path), lane by lane.
  std::array<bool, W> inRange{};
};

/// joints[l].values[k] in lane l, l = 0 … W − 1.
template <typename V, std::size_t... L>
[[gnu::always_inline]] inline V gatherJoint(const RobJoint* joints, std::size_t k,
                                            std::index_sequence<L...>) {
  return V{joints[L].values[k]...};
}

/// Loads joints[0 … W − 1] as θ = sign · joint (radians) and the sines and cosines of θ / 2.
template <std::size_t W>
[[gnu::always_inline]] inline JointLanes<W> loadJoints(const RobJoint* joints, double sign) {
  using V = typename Lanes<W>::Double;
  using B = typename Lanes<W>::Bits;
  using M = typename Lanes<W>::Mask;
  JointLanes<W> j;
  std::array<V, 6> half{};
  M inRange = M{} - 1;
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 6; ++k) {
    j.degrees[k] = gatherJoint<V>(joints, k, std::make_index_sequence<W>{});
    // DegToRad's operations; values beyond the inline range are recomputed by the scalar call.
    j.theta[k] = sign * (j.degrees[k] * kPi / 180.0);
    half[k] = j.theta[k] * 0.5;
    const V magnitude = std::bit_cast<V>(std::bit_cast<B>(half[k]) & ~kSignBit);
    inRange &= magnitude <= kMaxInlineSinCosArgument;
  }
  // Lanes to be recomputed by the scalar call still go through the lanes: keep them finite.
  if (any(~inRange)) [[unlikely]] {
#pragma GCC unroll 6
    for (std::size_t k = 0; k < 6; ++k)
      half[k] = select(inRange, half[k], V{});
  }
  for (std::size_t l = 0; l < W; ++l)
    j.inRange[l] = inRange[l] != 0;
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 6; ++k)
    sincos_impl::sinCosLanes<V, B>(half[k], j.sh[k], j.ch[k]);
  return j;
}

}  // namespace zor::rob::detail::batch_lanes
