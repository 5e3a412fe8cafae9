#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "ik/ik_test_support.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::Mat4;

/// A pose from a position and a turn of `degrees` about `axis`.
Pose framePose(const Pos& p, double degrees, const Vec3& axis) {
  const RotationTemplate<double> r(test::radians(degrees), axis);
  return {p, r.toOrient()};
}

/// The 4x4 matrix of a pose, through Eigen's quaternion (not the library's rotation).
Mat4 matrixOf(const Pose& p) {
  const Eigen::Quaterniond q(p.orient.q1, p.orient.q2, p.orient.q3, p.orient.q4);
  return test::homogeneous(q.normalized().toRotationMatrix(), test::toEigen(p.pos));
}

::testing::AssertionResult poseNear(const Pose& actual, const Mat4& expected) {
  const double d = test::maxDiff(matrixOf(actual), expected);
  if (d < 1e-9)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "differs by " << d << ": " << actual.toString();
}

ToolData heldTool() {
  return {true, framePose({10, -5, 150}, 30, {1, 0, 0}), LoadData{}};
}

WObjData fixedWorkObject() {
  return {false, true, "", framePose({500, -200, 100}, 20, {0, 0, 1}),
          framePose({10, 20, 30}, 10, {0, 1, 0})};
}

ToolData stationaryTool() {
  return {false, framePose({900, 100, 600}, 90, {0, 1, 0}), LoadData{}};
}

WObjData heldWorkObject() {
  return {true, true, "", framePose({0, 30, 80}, -15, {1, 0, 0}),
          framePose({5, 0, 10}, 25, {0, 0, 1})};
}

const Pose kTarget = framePose({40, 60, -20}, 170, {0.2, 1, 0.1});

TEST(FlangePoseOfTarget, RobotHeldToolOnAFixedWorkObject) {
  const ToolData tool = heldTool();
  const WObjData wobj = fixedWorkObject();
  const Mat4 expected = matrixOf(wobj.uframe) * matrixOf(wobj.oframe) * matrixOf(kTarget) *
                        matrixOf(tool.tframe).inverse();
  EXPECT_TRUE(poseNear(FlangePoseOfTarget(kTarget, tool, wobj), expected));
}

TEST(FlangePoseOfTarget, StationaryToolAndAWorkObjectHeldByTheRobot) {
  const ToolData tool = stationaryTool();
  const WObjData wobj = heldWorkObject();
  const Mat4 expected =
      matrixOf(tool.tframe) *
      (matrixOf(wobj.uframe) * matrixOf(wobj.oframe) * matrixOf(kTarget)).inverse();
  EXPECT_TRUE(poseNear(FlangePoseOfTarget(kTarget, tool, wobj), expected));
}

TEST(TargetOfFlangePose, UndoesFlangePoseOfTargetOnBothSides) {
  for (const bool stationary : {false, true}) {
    const ToolData tool = stationary ? stationaryTool() : heldTool();
    const WObjData wobj = stationary ? heldWorkObject() : fixedWorkObject();
    const Pose flange = FlangePoseOfTarget(kTarget, tool, wobj);
    EXPECT_TRUE(poseNear(TargetOfFlangePose(flange, tool, wobj), matrixOf(kTarget))) << stationary;
  }
}

TEST(FlangePoseOfTarget, ToolAndWorkObjectBothHeldOrBothFixedThrow) {
  ToolData tool = heldTool();
  WObjData wobj = heldWorkObject();
  EXPECT_THROW_MSG(FlangePoseOfTarget(kTarget, tool, wobj), std::invalid_argument,
                   "tool and work object both held or both fixed");
  tool.robhold = false;
  wobj.robhold = false;
  EXPECT_THROW_MSG(TargetOfFlangePose(kTarget, tool, wobj), std::invalid_argument,
                   "tool and work object both held or both fixed");
}

TEST(FlangePoseOfTarget, ZeroQuaternionThrows) {
  ToolData tool = heldTool();
  tool.tframe.orient = {0, 0, 0, 0};
  EXPECT_THROW_MSG(FlangePoseOfTarget(kTarget, tool, fixedWorkObject()), std::logic_error,
                   "normalize quaternion of 0 magnitude");
}

TEST(InverseKinematicsToolFrames, JointSolutionOfATargetInAWorkObjectOnBothSides) {
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, 30, 40, 30, 50);
  for (const bool stationary : {false, true}) {
    const ToolData tool = stationary ? stationaryTool() : heldTool();
    const WObjData wobj = stationary ? heldWorkObject() : fixedWorkObject();
    const RobTarget flange = arm.getRobTarget(j);
    RobTarget target(TargetOfFlangePose(flange.pose, tool, wobj));
    target.robConf = flange.robConf;
    const std::optional<RobJoint> s = arm.getJointSolution(target, tool, wobj);
    ASSERT_TRUE(s.has_value()) << stationary;
    EXPECT_LE(test::jointDistance(*s, j), test::kJointAccuracy);
    EXPECT_TRUE(arm.findJointSolution(target, tool, wobj).found());
    const TargetConfiguration all = arm.getAllJointSolutions(target.pose, tool, wobj);
    EXPECT_GE(test::findSolution(all, j), 0);
    EXPECT_TRUE(test::allSolutionsValid(arm, all, flange.pose));
  }
}

}  // namespace
}  // namespace zor::rob
