#pragma once

// The kinematics kernel: the small pieces of geometry that the arm model, the inverse
// kinematics, the import and the audit all need, written once. Inline: each is a handful of
// flops on the hot paths of the forward and inverse kinematics.

#include <array>
#include <cmath>
#include <cstddef>

#include "zor/rob/rotation.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::detail {

/// A 3x3 matrix, row by row: turning several vectors by one rotation is cheaper through its
/// matrix than through its quaternion.
struct Mat3 {
  std::array<double, 9> m{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};

  double operator()(std::size_t r, std::size_t c) const { return m[3 * r + c]; }
  Vec3 operator*(const Vec3& v) const {
    return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
            m[6] * v.x + m[7] * v.y + m[8] * v.z};
  }
  /// \returns Mᵀ · v.
  Vec3 transposeTimes(const Vec3& v) const {
    return {m[0] * v.x + m[3] * v.y + m[6] * v.z, m[1] * v.x + m[4] * v.y + m[7] * v.z,
            m[2] * v.x + m[5] * v.y + m[8] * v.z};
  }
  /// \returns M · oᵀ.
  Mat3 timesTranspose(const Mat3& o) const {
    Mat3 p;
    for (std::size_t r = 0; r < 3; ++r)
      for (std::size_t c = 0; c < 3; ++c)
        p.m[3 * r + c] =
            m[3 * r] * o.m[3 * c] + m[3 * r + 1] * o.m[3 * c + 1] + m[3 * r + 2] * o.m[3 * c + 2];
    return p;
  }
};

/// \returns the matrix of the quaternion (w, x, y, z) with s = 2 / |q|²: the rotation it stands
/// for, orthogonal up to rounding whatever its length.
inline Mat3 quaternionMatrix(double w, double x, double y, double z, double s) {
  const double xs = x * s;
  const double ys = y * s;
  const double zs = z * s;
  Mat3 r;
  r.m = {1.0 - (y * ys + z * zs), x * ys - w * zs,         x * zs + w * ys,
         x * ys + w * zs,         1.0 - (x * xs + z * zs), y * zs - w * xs,
         x * zs - w * ys,         y * zs + w * xs,         1.0 - (x * xs + y * ys)};
  return r;
}

/// \returns the matrix of the unit quaternion `q`, taken as unit without a division (products
/// of unit quaternions on the hot paths).
inline Mat3 unitRotationMatrix(const Rotation& q) {
  return quaternionMatrix(q.w, q.x, q.y, q.z, 2.0);
}

/// \returns the rotation matrix of the quaternion (w, x, y, z) of any nonzero length.
inline Mat3 rotationMatrix(double w, double x, double y, double z) {
  const double sq = w * w + x * x + y * y + z * z;
  if (std::isinf(sq)) [[unlikely]] {
    // Finite components whose squares overflow: the rotation's own rule rescales them first.
    const Rotation unit(w, x, y, z);
    return rotationMatrix(unit.w, unit.x, unit.y, unit.z);
  }
  return quaternionMatrix(w, x, y, z, 2.0 / sq);
}

/// \returns the rotation vector (unit axis times angle in [0, π], radians) of `q`, zero for the
/// identity: the rotation log of Rotation::log.
inline Vec3 rotationVector(const Rotation& q) {
  const auto log = q.log();
  return Vec3{log.axis().x(), log.axis().y(), log.axis().z()} * log.angle();
}

/// \returns the wrist centre of a flange at `position` turned by `rotation` (a Rotation or a
/// Mat3): `wcpZOffset` behind the flange along its z axis, position − rotation · (0, 0, offset),
/// with RobotConfig::getWcpZOffset() as the offset.
template <typename RotationOrMatrix>
inline Vec3 wristCentre(const Vec3& position, const RotationOrMatrix& rotation, double wcpZOffset) {
  return position - rotation * Vec3{0.0, 0.0, wcpZOffset};
}

/// \returns `v` without its component along the unit `axis`.
inline Vec3 normalPart(const Vec3& v, const Vec3& axis) {
  return v - axis * axis.dot(v);
}

/// \returns the distance from `point` to the line through `on` along the unit `axis`.
inline double distanceToAxis(const Vec3& point, const Vec3& on, const Vec3& axis) {
  return axis.cross(point - on).norm();
}

/// \returns the point of the line (unit `axis` through `on`) nearest to `p`.
inline Pos footOnAxis(const Vec3& axis, const Pos& on, const Pos& p) {
  return on + axis * axis.dot(p - on);
}

/// \returns the point of the line through `on` along the unit `axis` nearest to the line through
/// `otherOn` along the unit `otherAxis`; the two must not be parallel.
inline Vec3 nearestPointToAxis(const Vec3& on, const Vec3& axis, const Vec3& otherOn,
                               const Vec3& otherAxis) {
  const Vec3 n = axis.cross(otherAxis);
  return on + axis * ((otherOn - on).dot(otherAxis.cross(n)) / n.squaredNorm());
}

}  // namespace zor::rob::detail
