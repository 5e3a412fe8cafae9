#pragma once

// Independent references for the geometry tests: rotation matrices written out from sines and
// cosines, the textbook quaternion-to-matrix formula, homogeneous 4x4 matrices, comparison
// helpers that print both operands, and random rotations.

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <sstream>
#include <string>
#include <type_traits>

#include "support/near.hpp"
#include "support/random_unit.hpp"
#include "support/test_support.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::test {

using Scalars = testing::Types<float, double>;

inline constexpr double kPi = 3.141592653589793;

/// Absolute tolerance on unit-sized results computed in T.
template <class T>
inline constexpr double kTol = std::is_same_v<T, float> ? 2e-5 : 1e-12;

inline constexpr const char* kZeroQuaternion = "normalize quaternion of 0 magnitude";
inline constexpr const char* kZeroLength = "0-length vector cannot be normalized.";

/// Base of the typed geometry tests: the tolerances of T, scaled to the results they cover (the
/// rounding error grows with the number of operations and with the size of the values), and a
/// conversion to T.
template <class T>
class ScalarTest : public testing::Test {
 protected:
  /// Unit-sized results of one operation.
  static constexpr double kTol = test::kTol<T>;
  /// Unit-sized results of a few operations in a row: a rotation built and then applied or
  /// turned into a matrix, a product of two rotations, an angle recovered from a rotation.
  static constexpr double kFewOpsTol = 10 * kTol;
  /// Points, vectors and lengths of up to a few hundred millimetres after one rotation or one
  /// pose of up to 100 mm.
  static constexpr double kPointTol = 1000 * kTol;
  /// A pose of up to 1000 mm applied to a point of up to 500 mm.
  static constexpr double kPoseApplyTol = 2000 * kTol;
  /// Two poses of up to 1000 mm composed (matrix entries up to about 2700 mm), or a point moved
  /// through both.
  static constexpr double kChainedProductTol = 5000 * kTol;

  static T t(double v) { return static_cast<T>(v); }

  /// A quarter turn about z, then 10 mm along x: (1, 0, 0) goes to (10, 1, 0).
  static PoseTemplate<T> QuarterTurnThenAlongX() {
    return {PosTemplate<T>{10, 0, 0},
            RotationTemplate<T>(t(kPi / 2), DirTemplate<T>{0, 0, 1}).toOrient()};
  }
  /// At (1, 2, 3), with the orientation record (2, 0, 0, 0): the identity rotation, scaled.
  static PoseTemplate<T> ScaledIdentityAt123() {
    return {PosTemplate<T>{1, 2, 3}, OrientTemplate<T>{2, 0, 0, 0}};
  }
  /// At (1, 2, 3), with the zero orientation record, which no rotation normalises to.
  static PoseTemplate<T> ZeroOrientationAt123() {
    return {PosTemplate<T>{1, 2, 3}, OrientTemplate<T>{0, 0, 0, 0}};
  }
};

/// Checks at compile time that V is N scalars of T laid out plainly, as a host may copy it:
/// standard layout, trivially copyable, nothing but the N scalars.
template <class V, class T, std::size_t N>
constexpr void CheckPlainScalars() {
  static_assert(std::is_standard_layout_v<V>);
  static_assert(std::is_trivially_copyable_v<V>);
  static_assert(sizeof(V) == N * sizeof(T));
}

/// The largest T whose value, widened to double, is still at most 1e-7: the longest vector that
/// the direction rule refuses, and the largest difference per axis of an empty line.
template <class T>
T LongestRefusedLength() {
  T v = static_cast<T>(1e-7);
  while (static_cast<double>(v) > 1e-7)
    v = std::nextafter(v, T(0));
  return v;
}

inline Eigen::Matrix3d RotX(double a) {
  Eigen::Matrix3d m;
  m << 1, 0, 0, 0, std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a);
  return m;
}

inline Eigen::Matrix3d RotY(double a) {
  Eigen::Matrix3d m;
  m << std::cos(a), 0, std::sin(a), 0, 1, 0, -std::sin(a), 0, std::cos(a);
  return m;
}

inline Eigen::Matrix3d RotZ(double a) {
  Eigen::Matrix3d m;
  m << std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a), 0, 0, 0, 1;
  return m;
}

/// Rodrigues' formula for a rotation of `angle` about the unit axis (ux, uy, uz).
inline Eigen::Matrix3d RotAxis(double angle, double ux, double uy, double uz) {
  Eigen::Matrix3d k;
  k << 0, -uz, uy, uz, 0, -ux, -uy, ux, 0;
  return Eigen::Matrix3d::Identity() + std::sin(angle) * k + (1 - std::cos(angle)) * k * k;
}

/// The rotation matrix of the quaternion (w, x, y, z) after scaling it to unit length.
inline Eigen::Matrix3d QuaternionMatrix(double w, double x, double y, double z) {
  const double n = std::sqrt(w * w + x * x + y * y + z * z);
  w /= n;
  x /= n;
  y /= n;
  z /= n;
  Eigen::Matrix3d m;
  m << 1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y),  //
      2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x),   //
      2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y);
  return m;
}

template <class T>
Eigen::Matrix3d MatrixOf(const RotationTemplate<T>& q) {
  return QuaternionMatrix(q.w, q.x, q.y, q.z);
}

template <class T>
Eigen::Matrix3d MatrixOf(const OrientTemplate<T>& o) {
  return QuaternionMatrix(o.q1, o.q2, o.q3, o.q4);
}

template <class T>
Eigen::Matrix4d HomogeneousOf(const PoseTemplate<T>& p) {
  Eigen::Matrix4d m = Eigen::Matrix4d::Identity();
  m.topLeftCorner<3, 3>() = MatrixOf(p.orient);
  m.topRightCorner<3, 1>() = Eigen::Vector3d(p.pos.x, p.pos.y, p.pos.z);
  return m;
}

template <class V>
Eigen::Vector3d ToEigen(const V& v) {
  return Eigen::Vector3d(static_cast<double>(v.x), static_cast<double>(v.y),
                         static_cast<double>(v.z));
}

/// Compares the three components of a vector-like value with (x, y, z).
template <class V>
testing::AssertionResult Near3(const V& v, double x, double y, double z, double tol) {
  const double dx = std::abs(static_cast<double>(v.x) - x);
  const double dy = std::abs(static_cast<double>(v.y) - y);
  const double dz = std::abs(static_cast<double>(v.z) - z);
  if (dx <= tol && dy <= tol && dz <= tol)
    return testing::AssertionSuccess();
  std::ostringstream out;
  out.precision(17);
  out << "(" << v.x << ", " << v.y << ", " << v.z << ") differs from (" << x << ", " << y << ", "
      << z << ") by more than " << tol;
  return testing::AssertionFailure() << out.str();
}

/// Compares a rotation's (w, x, y, z) with the expected components.
template <class T>
testing::AssertionResult NearQ(const RotationTemplate<T>& q, double w, double x, double y, double z,
                               double tol) {
  const double d =
      std::max({std::abs(q.w - w), std::abs(q.x - x), std::abs(q.y - y), std::abs(q.z - z)});
  if (d <= tol)
    return testing::AssertionSuccess();
  std::ostringstream out;
  out.precision(17);
  out << "(w, x, y, z) = (" << q.w << ", " << q.x << ", " << q.y << ", " << q.z
      << ") differs from (" << w << ", " << x << ", " << y << ", " << z << ") by " << d;
  return testing::AssertionFailure() << out.str();
}

template <class T>
testing::AssertionResult NearOrient(const OrientTemplate<T>& o, double q1, double q2, double q3,
                                    double q4, double tol) {
  return NearQ(RotationTemplate<T>::raw(o.q2, o.q3, o.q4, o.q1), q1, q2, q3, q4, tol);
}

/// A random rotation in T, built raw from a unit quaternion rounded to T.
template <class T>
RotationTemplate<T> RandomRotation(Random& random) {
  const Eigen::Vector4d q = randomUnitQuaternion(random);
  return RotationTemplate<T>(static_cast<T>(q[0]), static_cast<T>(q[1]), static_cast<T>(q[2]),
                             static_cast<T>(q[3]));
}

}  // namespace zor::rob::test
