#pragma once

// Independent dense computations for the arm-model tests: the forward kinematics as a product
// of 4x4 homogeneous matrices (rotation matrices from Rodrigues' formula, not from the
// library's quaternions), 6x6 adjoint matrices, finite-difference derivatives, and random arms
// and joint vectors.

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "support/test_support.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::test {

using Mat3 = Eigen::Matrix3d;
using Mat4 = Eigen::Matrix4d;
using Mat6 = Eigen::Matrix<double, 6, 6>;
using Vec6 = Eigen::Matrix<double, 6, 1>;
using EVec3 = Eigen::Vector3d;

inline constexpr double kPi = std::numbers::pi;

inline double radians(double degrees) {
  return degrees * kPi / 180.0;
}

inline EVec3 toEigen(const Vec3& v) {
  return {v.x, v.y, v.z};
}
inline EVec3 toEigen(const Pos& p) {
  return {p.x, p.y, p.z};
}

inline Mat3 skew(const EVec3& k) {
  Mat3 m;
  m << 0, -k.z(), k.y(), k.z(), 0, -k.x(), -k.y(), k.x(), 0;
  return m;
}

/// Rotation matrix of `angle` radians about the axis `k` (normalised here).
inline Mat3 rodrigues(const EVec3& axis, double angle) {
  const Mat3 kk = skew(axis.normalized());
  return Mat3::Identity() + std::sin(angle) * kk + (1.0 - std::cos(angle)) * kk * kk;
}

/// The rotation matrix of a unit quaternion, written out from its components.
inline Mat3 quaternionMatrix(double w, double x, double y, double z) {
  Mat3 m;
  m << 1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y),  //
      2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x),   //
      2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y);
  return m;
}

inline Mat4 homogeneous(const Mat3& r, const EVec3& p) {
  Mat4 m = Mat4::Identity();
  m.topLeftCorner<3, 3>() = r;
  m.topRightCorner<3, 1>() = p;
  return m;
}

inline Mat4 toMatrix(const Transform& t) {
  const RotationTemplate<double>& q = t.rotation;
  return homogeneous(quaternionMatrix(q.w, q.x, q.y, q.z), toEigen(t.translation));
}

/// The turn of `degrees` about the axis through `point`: Trans(q) · Rot · Trans(−q).
inline Mat4 jointMatrix(const Vec3& axis, const Pos& point, double degrees) {
  const EVec3 q = toEigen(point);
  const Mat3 r = rodrigues(toEigen(axis), radians(degrees));
  return homogeneous(r, q - r * q);
}

/// The flange pose as a product of 4x4 matrices: the joint turns in order, then the home pose.
inline Mat4 referenceFlange(const RobotConfig& robot, const RobJoint& j) {
  Mat4 t = Mat4::Identity();
  for (std::size_t i = 0; i < 6; ++i)
    t = t * jointMatrix(robot.jointAxes[i], robot.jointPoints[i], j.values[i]);
  return t * toMatrix(robot.flangeHome);
}

/// The 6x6 adjoint matrix of a 4x4 transform, angular rows first: [[R, 0], [[p]R, R]].
inline Mat6 adjointMatrix(const Mat4& t) {
  const Mat3 r = t.topLeftCorner<3, 3>();
  const EVec3 p = t.topRightCorner<3, 1>();
  Mat6 a = Mat6::Zero();
  a.topLeftCorner<3, 3>() = r;
  a.bottomRightCorner<3, 3>() = r;
  a.bottomLeftCorner<3, 3>() = skew(p) * r;
  return a;
}

inline Vec6 toVec6(const ScrewAxis& s) {
  Vec6 v;
  v << s.w.x, s.w.y, s.w.z, s.v.x, s.v.y, s.v.z;
  return v;
}

/// Largest absolute difference between two matrices of the same size.
template <typename A, typename B>
double maxDiff(const A& a, const B& b) {
  return (a - b).cwiseAbs().maxCoeff();
}

/// Joint values drawn uniformly within the limits of joints 1 to 6.
inline RobJoint randomJoints(Random& random, const RobotConfig& robot) {
  RobJoint j;
  for (std::size_t i = 0; i < 6; ++i)
    j.values[i] = random.uniform(robot.jointMin[i], robot.jointMax[i]);
  return j;
}

inline Vec3 randomUnit(Random& random) {
  for (;;) {
    const Vec3 v{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)};
    const double n = v.norm();
    if (n > 0.1 && n <= 1.0)
      return v / n;
  }
}

/// A general arm: random unit axes through random points, a random flange home pose (its z axis
/// along base x is not needed here), limits ±180 (sum ±360).
inline RobotConfig randomArm(Random& random) {
  std::array<Vec3, 6> axes;
  std::array<Pos, 6> points;
  for (std::size_t i = 0; i < 6; ++i) {
    axes[i] = randomUnit(random);
    points[i] = {random.uniform(-800, 800), random.uniform(-800, 800), random.uniform(-800, 800)};
  }
  const Transform flange(
      RotationTemplate<double>(random.uniform(-3, 3), randomUnit(random)),
      {random.uniform(-800, 800), random.uniform(-800, 800), random.uniform(-800, 800)});
  return MakeRobotConfig(axes, points, flange, {-180, -180, -180, -180, -180, -180, -360},
                         {180, 180, 180, 180, 180, 180, 360}, RobJoint(0, 0, 0, 0, 0, 0), 0.0, 0);
}

/// Checks a transform against a 4x4 matrix: rotation entries within `unitTol`, translation
/// within `lengthTol` (mm).
inline ::testing::AssertionResult transformNear(const Transform& t, const Mat4& expected,
                                                double unitTol, double lengthTol) {
  const Mat4 m = toMatrix(t);
  const double dr = maxDiff(m.topLeftCorner<3, 3>(), expected.topLeftCorner<3, 3>());
  const double dp = maxDiff(m.topRightCorner<3, 1>(), expected.topRightCorner<3, 1>());
  if (dr <= unitTol && dp <= lengthTol)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "rotation differs by " << dr << ", translation by " << dp << "\nactual\n"
         << m << "\nexpected\n"
         << expected;
}

}  // namespace zor::rob::test
