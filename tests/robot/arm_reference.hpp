#pragma once

// Independent dense computations for the arm-model tests, on top of the screw-layer ones: the
// forward kinematics as a product of 4x4 homogeneous matrices (rotation matrices from
// Rodrigues' formula, not from the library's quaternions), finite-difference derivatives, and
// random arms and joint vectors.

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <array>
#include <cmath>
#include <cstddef>

#include "screw/dense_reference.hpp"
#include "support/test_support.hpp"
#include "support/unchecked_arm.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::test {

inline double radians(double degrees) {
  return degrees * kPi / 180.0;
}

/// The turn of `degrees` about the axis through `point`: Trans(q) · Rot · Trans(−q).
inline Mat4 jointMatrix(const Vec3& axis, const Pos& point, double degrees) {
  const EVec3 q = toEigen(point);
  const Mat3 r = rodrigues(toEigen(axis).normalized(), radians(degrees));
  return homogeneous(r, q - r * q);
}

/// The flange pose as a product of 4x4 matrices: the joint turns in order, then the home pose.
inline Mat4 referenceFlange(const RobotConfig& robot, const RobJoint& j) {
  Mat4 t = Mat4::Identity();
  for (std::size_t i = 0; i < 6; ++i)
    t = t * jointMatrix(robot.jointAxes[i], robot.jointPoints[i], j.values[i]);
  return t * toMatrix(robot.flangeHome);
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

/// A random unit axis, uniform on the sphere.
inline Vec3 randomAxis(Random& random) {
  const EVec3 u = randomUnitVector(random);
  return {u.x(), u.y(), u.z()};
}

/// A general arm: random unit axes through random points, a random flange home pose (its z axis
/// along base x is not needed here), limits ±180 (sum ±360).
inline RobotConfig randomArm(Random& random) {
  std::array<Vec3, 6> axes;
  std::array<Pos, 6> points;
  for (std::size_t i = 0; i < 6; ++i) {
    axes[i] = randomAxis(random);
    points[i] = {random.uniform(-800, 800), random.uniform(-800, 800), random.uniform(-800, 800)};
  }
  const Transform flange(
      RotationTemplate<double>(random.uniform(-3, 3), randomAxis(random)),
      {random.uniform(-800, 800), random.uniform(-800, 800), random.uniform(-800, 800)});
  return uncheckedArm(axes, points, flange, {-180, -180, -180, -180, -180, -180, -360},
                      {180, 180, 180, 180, 180, 180, 360}, RobJoint(0, 0, 0, 0, 0, 0), 0.0, 0);
}

/// An arm whose wrist centre never moves: joint 1 turns about the base line through the wrist
/// centre w = 500 (cos φ, sin φ, 0), joints 2 to 6 about lines through w. The wrist centre is
/// seen from the base z axis at φ degrees, whatever the joints (the shoulder side's boundary).
inline RobotConfig fixedWristArm(double phiDegrees) {
  const double phi = radians(phiDegrees);
  const Vec3 d{std::cos(phi), std::sin(phi), 0};
  const Pos w = (d * 500.0).toPos();
  const Vec3 x{1, 0, 0};
  const Vec3 y{0, 1, 0};
  const Transform flange(RotationTemplate<double>(kPi / 2, y), {w.x + 100, w.y, w.z});
  return uncheckedArm({d, y, y, x, y, x}, {Pos{}, w, w, w, w, w}, flange,
                      {-360, -360, -360, -360, -360, -360, -720},
                      {360, 360, 360, 360, 360, 360, 720}, RobJoint(0, 0, 0, 0, 0, 0), 0.0, 0);
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
