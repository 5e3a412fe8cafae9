#include <gtest/gtest.h>

#include <cmath>

#include "robot/arm_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::EVec3;
using test::Mat4;
using test::Mat6;
using test::randomJoints;
using test::referenceFlange;

/// Step (radians) of the central differences.
constexpr double kStep = 1e-6;

Mat6 toMat6(const GeometricJacobian& j) {
  return j.matrix;
}

/// The space Jacobian by central differences of the 4x4 forward kinematics: column i is the
/// twist (ω, v) of Ṫ T⁻¹ for joint i moving at one radian per unit time.
Mat6 numericSpaceJacobian(const RobotConfig& robot, const RobJoint& joints) {
  const Mat4 tInv = referenceFlange(robot, joints).inverse();
  const double stepDegrees = kStep * 180.0 / test::kPi;
  Mat6 jac;
  for (std::size_t i = 0; i < 6; ++i) {
    RobJoint plus = joints;
    RobJoint minus = joints;
    plus.values[i] += stepDegrees;
    minus.values[i] -= stepDegrees;
    const Mat4 dT = (referenceFlange(robot, plus) - referenceFlange(robot, minus)) / (2 * kStep);
    const Mat4 twist = dT * tInv;
    const auto c = static_cast<Eigen::Index>(i);
    jac(0, c) = twist(2, 1);
    jac(1, c) = twist(0, 2);
    jac(2, c) = twist(1, 0);
    jac.block<3, 1>(3, c) = twist.topRightCorner<3, 1>();
  }
  return jac;
}

// ---- Space and body Jacobians ----

TEST(RobotConfigJacobian, AtHomeTheColumnsAreTheScrewAxes) {
  test::Random random;
  for (int n = 0; n < 10; ++n) {
    const RobotConfig robot = n == 0 ? DefaultArm() : test::randomArm(random);
    const GeometricJacobian js = robot.getSpaceJacobian(RobJoint(0, 0, 0, 0, 0, 0));
    const GeometricJacobian jb = robot.getBodyJacobian(RobJoint(0, 0, 0, 0, 0, 0));
    for (int c = 0; c < 6; ++c) {
      const auto k = static_cast<std::size_t>(c);
      for (int r = 0; r < 6; ++r) {
        EXPECT_EQ(js(r, c), robot.spaceScrewAxes[k][r]) << r << ", " << c;
        EXPECT_EQ(jb(r, c), robot.bodyScrewAxes[k][r]) << r << ", " << c;
      }
    }
  }
}

TEST(RobotConfigJacobian, FirstSpaceColumnIsAlwaysTheFirstScrewAxis) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  const RobJoint j = randomJoints(random, arm);
  const GeometricJacobian js = arm.getSpaceJacobian(j);
  const GeometricJacobian jb = arm.getBodyJacobian(j);
  for (int r = 0; r < 6; ++r) {
    EXPECT_EQ(js(r, 0), arm.spaceScrewAxes[0][r]);
    EXPECT_EQ(jb(r, 5), arm.bodyScrewAxes[5][r]);
  }
}

TEST(RobotConfigJacobian, SpaceJacobianIsTheDerivativeOfTheForwardKinematics) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 300; ++n) {
    const RobJoint j = randomJoints(random, arm);
    EXPECT_LT(test::maxDiff(toMat6(arm.getSpaceJacobian(j)), numericSpaceJacobian(arm, j)), 1e-6)
        << j.toString();
  }
  for (int a = 0; a < 20; ++a) {
    const RobotConfig robot = test::randomArm(random);
    for (int n = 0; n < 10; ++n) {
      const RobJoint j = randomJoints(random, robot);
      EXPECT_LT(test::maxDiff(toMat6(robot.getSpaceJacobian(j)), numericSpaceJacobian(robot, j)),
                2e-6)
          << j.toString();
    }
  }
}

TEST(RobotConfigJacobian, BodyJacobianIsTheSpaceJacobianSeenFromTheFlange) {
  test::Random random;
  for (int a = 0; a < 10; ++a) {
    const RobotConfig robot = a == 0 ? DefaultArm() : test::randomArm(random);
    for (int n = 0; n < 50; ++n) {
      const RobJoint j = randomJoints(random, robot);
      const Mat6 expected = test::adjointMatrix(referenceFlange(robot, j).inverse()) *
                            toMat6(robot.getSpaceJacobian(j));
      EXPECT_LT(test::maxDiff(toMat6(robot.getBodyJacobian(j)), expected), 1e-9) << j.toString();
    }
  }
}

/// The Jacobians exactly as the screw layer composes them (normalising products, the library's
/// own exponential), for arms whose screws are not unit within rounding.
Mat6 literalSpaceJacobian(const RobotConfig& robot, const RobJoint& joints) {
  GeometricJacobian jac;
  jac.setCol(0, robot.spaceScrewAxes[0]);
  Transform t = robot.spaceScrewAxes[0].T(test::radians(joints.values[0]));
  for (int i = 1; i < 6; ++i) {
    const auto k = static_cast<std::size_t>(i);
    jac.setCol(i, t.adjoint(robot.spaceScrewAxes[k]));
    if (i < 5)
      t = t * robot.spaceScrewAxes[k].T(test::radians(joints.values[k]));
  }
  return jac.matrix;
}

Mat6 literalBodyJacobian(const RobotConfig& robot, const RobJoint& joints) {
  GeometricJacobian jac;
  jac.setCol(5, robot.bodyScrewAxes[5]);
  Transform t;
  for (int i = 5; i >= 1; --i) {
    const auto k = static_cast<std::size_t>(i);
    t = t * robot.bodyScrewAxes[k].T(-test::radians(joints.values[k]));
    jac.setCol(i - 1, t.adjoint(robot.bodyScrewAxes[k - 1]));
  }
  return jac.matrix;
}

TEST(RobotConfigJacobian, ScrewsThatAreNotUnitFollowTheScrewExponential) {
  test::Random random;
  RobotConfig arm = DefaultArm();
  for (ScrewAxis& s : arm.spaceScrewAxes)
    s.w = s.w * (1.0 + 1e-9);
  for (ScrewAxis& s : arm.bodyScrewAxes)
    s.w = s.w * (1.0 - 1e-9);
  for (int n = 0; n < 50; ++n) {
    const RobJoint j = randomJoints(random, arm);
    EXPECT_LT(test::maxDiff(toMat6(arm.getSpaceJacobian(j)), literalSpaceJacobian(arm, j)), 1e-9);
    EXPECT_LT(test::maxDiff(toMat6(arm.getBodyJacobian(j)), literalBodyJacobian(arm, j)), 1e-9);
  }
}

TEST(RobotConfigJacobian, UnitScrewsMatchTheScrewExponential) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 50; ++n) {
    const RobJoint j = randomJoints(random, arm);
    EXPECT_LT(test::maxDiff(toMat6(arm.getSpaceJacobian(j)), literalSpaceJacobian(arm, j)), 1e-9);
    EXPECT_LT(test::maxDiff(toMat6(arm.getBodyJacobian(j)), literalBodyJacobian(arm, j)), 1e-9);
  }
}

TEST(RobotConfigJacobian, ScrewWithoutDirectionThrows) {
  RobotConfig arm = DefaultArm();
  arm.spaceScrewAxes[2].w = {0, 0, 0};
  EXPECT_THROW_MSG(arm.getSpaceJacobian(RobJoint(0, 0, 0, 0, 0, 0)), std::overflow_error,
                   "0-length vector cannot be normalized.");
  arm = DefaultArm();
  arm.bodyScrewAxes[3].w = {0, 0, 0};
  EXPECT_THROW_MSG(arm.getBodyJacobian(RobJoint(0, 0, 0, 0, 0, 0)), std::overflow_error,
                   "0-length vector cannot be normalized.");
}

// ---- Velocity of a point ----

// ---- Manipulability ----

/// The point `p` carried by the first `n` joints, from the 4x4 reference matrices.
EVec3 carried(const RobotConfig& robot, const RobJoint& j, std::size_t n, const Pos& p) {
  Mat4 t = Mat4::Identity();
  for (std::size_t i = 0; i < n; ++i)
    t = t * test::jointMatrix(robot.jointAxes[i], robot.jointPoints[i], j.values[i]);
  return (t * Eigen::Vector4d(p.x, p.y, p.z, 1.0)).head<3>();
}

// For an arm with a spherical wrist and joints 2 and 3 parallel, the Jacobian taken at the wrist
// centre is block triangular (joints 4 to 6 do not move the wrist centre), and moving the
// reference point is a transform of determinant 1. So |det J| is the product of:
// - the wrist block |z4 · (z5 × z6)| = |sin θ5| (axis 5 square to axes 4 and 6);
// - the arm block: joint 1 moves the wrist centre p at the speed ρ (its distance from the
//   vertical axis 1) square to the arm's plane, joints 2 and 3 within that plane at
//   ω × (p − q2) and ω × (p − q3), which span an area |(p − q2) × (p − q3)|.
TEST(RobotConfigManipulability, DefaultArmIsTheProductOfArmAndWristBlocks) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 300; ++n) {
    const RobJoint j = randomJoints(random, arm);
    const EVec3 p = carried(arm, j, 3, arm.jointPoints[4]);
    const EVec3 q2 = carried(arm, j, 1, arm.jointPoints[1]);
    const EVec3 q3 = carried(arm, j, 2, arm.jointPoints[2]);
    const double rho = std::hypot(p.x(), p.y());
    const double expected =
        rho * (p - q2).cross(p - q3).norm() * std::abs(std::sin(test::radians(j.values[4])));
    EXPECT_NEAR(arm.getManipulability(j), expected, 1e-9 * expected + 1e-6) << j.toString();
  }
}

TEST(RobotConfigManipulability, GeneralArmsMatchTheSquareRootOfTheGramDeterminant) {
  test::Random random;
  for (int a = 0; a < 20; ++a) {
    const RobotConfig robot = test::randomArm(random);
    for (int n = 0; n < 10; ++n) {
      const RobJoint j = randomJoints(random, robot);
      const Mat6 jac = numericSpaceJacobian(robot, j);
      const double expected = std::sqrt((jac * jac.transpose()).determinant());
      EXPECT_NEAR(robot.getManipulability(j), expected, 1e-5 * expected) << j.toString();
    }
  }
}

TEST(RobotConfigManipulability, BodyJacobianGivesTheSameValue) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 100; ++n) {
    const RobJoint j = randomJoints(random, arm);
    const double body = std::abs(arm.getBodyJacobian(j).matrix.determinant());
    EXPECT_NEAR(arm.getManipulability(j), body, 1e-9 * body) << j.toString();
  }
}

TEST(RobotConfigManipulability, VanishesAtEachSingularity) {
  const RobotConfig arm = DefaultArm();
  const double stretched = -arm.elbowOffset * 180.0 / test::kPi;
  // Wrist: joint 5 at zero. Elbow: the forearm stretched (joint 3 at −elbowOffset).
  const RobJoint wrist(10, 20, -30, 40, 0, 50);
  const RobJoint elbow(10, 20, stretched, 40, 30, 50);
  EXPECT_LT(arm.getManipulability(wrist), 1e-6);
  EXPECT_LT(arm.getManipulability(elbow), 1e-3);
  EXPECT_GT(arm.getManipulability(RobJoint(10, 20, -30, 40, 30, 50)), 1e4);
}

TEST(RobotConfigTcpVelocity, MatchesTheDerivativeOfThePointsPosition) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 200; ++n) {
    const RobJoint j = randomJoints(random, arm);
    JointSpeed speeds;
    for (int i = 0; i < 6; ++i)
      speeds.setSpeed(i, random.uniform(-2, 2));
    const Vec3 point{random.uniform(-1500, 1500), random.uniform(-1500, 1500),
                     random.uniform(-1500, 1500)};
    // The point carried by the flange: fixed in flange coordinates.
    const Mat4 t = referenceFlange(arm, j);
    const EVec3 local = (t.inverse() * test::toEigen(point).homogeneous()).head<3>();
    const auto at = [&](double step) {
      RobJoint moved = j;
      for (std::size_t i = 0; i < 6; ++i)
        moved.values[i] += speeds.values[i] * step * 180.0 / test::kPi;
      return EVec3((referenceFlange(arm, moved) * local.homogeneous()).head<3>());
    };
    const EVec3 expected = (at(kStep) - at(-kStep)) / (2 * kStep);
    const Vec3 v = arm.getTcpVelocityInSpace(point, j, speeds);
    EXPECT_NEAR(v.x, expected.x(), 1e-5);
    EXPECT_NEAR(v.y, expected.y(), 1e-5);
    EXPECT_NEAR(v.z, expected.z(), 1e-5);
  }
}

TEST(RobotConfigTcpVelocity, JointOneAloneTurnsThePointAboutBaseZ) {
  const RobotConfig arm = DefaultArm();
  JointSpeed speeds;
  speeds.setSpeed(0, 2.0);
  const Vec3 v = arm.getTcpVelocityInSpace({100, 0, 500}, RobJoint(0, 10, 20, 30, 40, 50), speeds);
  // ω = (0, 0, 2): v = ω × p = (0, 200, 0).
  EXPECT_NEAR(v.x, 0, 1e-12);
  EXPECT_NEAR(v.y, 200, 1e-12);
  EXPECT_NEAR(v.z, 0, 1e-12);
}

}  // namespace
}  // namespace zor::rob
