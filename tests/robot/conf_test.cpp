#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "robot/arm_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::randomJoints;

/// The configuration number computed independently: the wrist centre from the 4x4 forward
/// kinematics, its direction by atan2, and the three bits.
int referenceCfx(const RobotConfig& robot, const RobJoint& j) {
  const test::Mat4 t = test::referenceFlange(robot, j);
  const test::EVec3 wcp =
      t.topRightCorner<3, 1>() - t.topLeftCorner<3, 3>().col(2) * robot.getWcpZOffset();
  const double phi = std::atan2(wcp.y(), wcp.x()) * 180.0 / test::kPi;
  const double k = robot.elbowOffset * 180.0 / test::kPi;
  return (std::abs(phi - j.values[0]) > 90.0 ? 4 : 0) + (j.values[2] <= -k ? 2 : 0) +
         (j.values[4] < 0 ? 1 : 0);
}

// ---- ConfData::FromRobJoint ----

TEST(ConfDataFromRobJoint, QuadrantsOfJointsOneFourAndSix) {
  const RobotConfig arm = DefaultArm();
  ConfData c = ConfData::FromRobJoint(RobJoint(100, 0, 0, -100, 30, 300), arm);
  EXPECT_EQ(c.cf1, 1);
  EXPECT_EQ(c.cf4, -2);
  EXPECT_EQ(c.cf6, 3);
  c = ConfData::FromRobJoint(RobJoint(0, 0, 0, -90, 30, 90), arm);
  EXPECT_EQ(c.cf1, 0);
  EXPECT_EQ(c.cf4, -1);
  EXPECT_EQ(c.cf6, 0);
  c = ConfData::FromRobJoint(RobJoint(-1e-6, 0, 0, 180, 30, -180), arm);
  EXPECT_EQ(c.cf1, -1);
  EXPECT_EQ(c.cf4, 1);
  EXPECT_EQ(c.cf6, -2);
}

TEST(ConfDataFromRobJoint, ZeroElbowOffsetAndJointThreeZeroSetsTheElbowBit) {
  RobotConfig arm = DefaultArm();
  arm.elbowOffset = 0.0;
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, 0, 0), arm), ConfData(0, 0, 0, 2));
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0.001, 0, 0, 0), arm), ConfData(0, 0, 0, 0));
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, -0.001, 0, 0, 0), arm), ConfData(0, 0, 0, 2));
}

TEST(ConfDataFromRobJoint, ElbowBitIsSetFromMinusElbowOffsetDown) {
  const RobotConfig arm = DefaultArm();
  const double k = arm.elbowOffset * 180.0 / test::kPi;
  const double below = std::nextafter(-k, -1000.0);
  const double above = std::nextafter(-k, 1000.0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, -k, 0, 30, 0), arm).cfx, 2);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, below, 0, 30, 0), arm).cfx, 2);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, above, 0, 30, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, 30, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, -105, 0, 30, 0), arm).cfx, 2);
}

TEST(ConfDataFromRobJoint, NegativeJointFiveSetsTheWristBit) {
  const RobotConfig arm = DefaultArm();
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, -0.001, 0), arm).cfx, 1);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, 0, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, -0.0, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, 0.001, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, -120, 0), arm).cfx, 1);
}

TEST(ConfDataFromRobJoint, ShoulderBehindWhenJointOneIsMoreThanAQuarterTurnFromTheWristCentre) {
  const RobotConfig arm = test::fixedWristArm(0);
  EXPECT_GE(ConfData::FromRobJoint(RobJoint(91, 0, 0, 0, 30, 0), arm).cfx, 4);
  EXPECT_GE(ConfData::FromRobJoint(RobJoint(-91, 0, 0, 0, 30, 0), arm).cfx, 4);
  EXPECT_GE(ConfData::FromRobJoint(RobJoint(90.001, 0, 0, 0, 0, 0), arm).cfx, 4);
  EXPECT_GE(ConfData::FromRobJoint(RobJoint(-90.001, 0, 0, 0, 0, 0), arm).cfx, 4);
  // A quarter turn exactly still counts as in front.
  EXPECT_LT(ConfData::FromRobJoint(RobJoint(90, 0, 0, 0, 0, 0), arm).cfx, 4);
  EXPECT_LT(ConfData::FromRobJoint(RobJoint(-90, 0, 0, 0, 0, 0), arm).cfx, 4);
  EXPECT_LT(ConfData::FromRobJoint(RobJoint(0, 0, 0, 0, 30, 0), arm).cfx, 4);
  // The wrist centre does not move with the joints of this arm.
  EXPECT_LT(ConfData::FromRobJoint(RobJoint(45, 70, -20, 100, 30, -50), arm).cfx, 4);
}

TEST(ConfDataFromRobJoint, AngleDifferenceIsNotWrapped) {
  // Wrist centre at 179 degrees, joint 1 at -179: 2 degrees apart physically, 358 by value.
  // Joint 3 at 5 and joint 5 at 30 keep the elbow and wrist bits clear.
  RobotConfig arm = test::fixedWristArm(179);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(-179, 0, 5, 0, 30, 0), arm).cfx, 4);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(179, 0, 5, 0, 30, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(100, 0, 5, 0, 30, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(88, 0, 5, 0, 30, 0), arm).cfx, 4);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(268, 0, 5, 0, 30, 0), arm).cfx, 0);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(-181, 0, 5, 0, 30, 0), arm).cfx, 4);
  arm = test::fixedWristArm(-179);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(179, 0, 5, 0, 30, 0), arm).cfx, 4);
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(-179, 0, 5, 0, 30, 0), arm).cfx, 0);
}

TEST(ConfDataFromRobJoint, ShoulderSideOverManyTurnsOfJointOne) {
  // Joint 1 swept over three turns for wrist centres in every direction: the shoulder bit is the
  // unwrapped comparison |phi - j1| <= 90 everywhere (values within 1e-6 of the boundary, where
  // the last bit of phi decides, are left out).
  for (double phi : {0.0, 37.0, 90.0, 135.5, 179.0, 179.9, -179.0, -90.0, -44.0, -0.001}) {
    const RobotConfig arm = test::fixedWristArm(phi);
    for (double j1 = -540; j1 <= 540; j1 += 0.75) {
      if (std::abs(std::abs(phi - j1) - 90.0) < 1e-6)
        continue;
      const RobJoint j(j1, 0, 5, 0, 30, 0);
      const int cfx = ConfData::FromRobJoint(j, arm).cfx;
      EXPECT_EQ(cfx, referenceCfx(arm, j)) << phi << ", " << j1;
      EXPECT_EQ(cfx >= 4, std::abs(phi - j1) > 90.0) << phi << ", " << j1;
    }
  }
}

TEST(ConfDataFromRobJoint, ShoulderSideForHugeAndNonFiniteJointOne) {
  const RobotConfig arm = test::fixedWristArm(0);
  EXPECT_GE(ConfData::FromRobJoint(RobJoint(1e7, 0, 5, 0, 30, 0), arm).cfx, 4);
  EXPECT_GE(ConfData::FromRobJoint(RobJoint(-1e9, 0, 5, 0, 30, 0), arm).cfx, 4);
  EXPECT_GE(ConfData::FromRobJoint(
                RobJoint(std::numeric_limits<double>::quiet_NaN(), 0, 5, 0, 30, 0), arm)
                .cfx,
            4);
}

TEST(ConfDataFromRobJoint, AllThreeBits) {
  const RobotConfig arm = test::fixedWristArm(0);  // elbowOffset 0
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(120, 0, 0, 0, -10, 0), arm), ConfData(1, 0, 0, 7));
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(120, 0, 5, 0, -10, 0), arm), ConfData(1, 0, 0, 5));
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(120, 0, 5, 0, 10, 0), arm), ConfData(1, 0, 0, 4));
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(120, 0, -5, 0, 10, 0), arm), ConfData(1, 0, 0, 6));
  EXPECT_EQ(ConfData::FromRobJoint(RobJoint(10, 0, -5, 0, -10, 0), arm), ConfData(0, 0, 0, 3));
}

TEST(ConfDataFromRobJoint, DefaultArmMatchesAnIndependentComputation) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  int behind = 0;
  for (int n = 0; n < 3000; ++n) {
    const RobJoint j = randomJoints(random, arm);
    const ConfData c = ConfData::FromRobJoint(j, arm);
    EXPECT_EQ(c.cf1, AngleToQuadrant(j.values[0]));
    EXPECT_EQ(c.cf4, AngleToQuadrant(j.values[3]));
    EXPECT_EQ(c.cf6, AngleToQuadrant(j.values[5]));
    EXPECT_EQ(c.cfx, referenceCfx(arm, j)) << j.toString();
    behind += c.cfx >= 4 ? 1 : 0;
  }
  // Both shoulder sides occur in the sample.
  EXPECT_GT(behind, 100);
  EXPECT_LT(behind, 2900);
}

TEST(ConfDataFromRobJoint, EqualsTheConfigurationOfTheRobotTarget) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 500; ++n) {
    const RobJoint j = randomJoints(random, arm);
    EXPECT_EQ(arm.getRobTarget(j).robConf, ConfData::FromRobJoint(j, arm));
  }
}

// ---- TargetConfiguration ----

TEST(TargetConfiguration, AddKeepsJointsAndConfigurationsPaired) {
  TargetConfiguration list;
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(list.size(), 0U);
  list.add(RobJoint(1, 2, 3, 4, 5, 6), ConfData(0, 1, 2, 3));
  list.add(RobJoint(7, 8, 9, 10, 11, 12), ConfData(-1, -2, -3, 7));
  ASSERT_EQ(list.size(), 2U);
  EXPECT_FALSE(list.empty());
  ASSERT_EQ(list.joints.size(), list.confs.size());
  EXPECT_EQ(list.joint(0), RobJoint(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(list.conf(0), ConfData(0, 1, 2, 3));
  EXPECT_EQ(list.joint(1), RobJoint(7, 8, 9, 10, 11, 12));
  EXPECT_EQ(list.conf(1), ConfData(-1, -2, -3, 7));
  EXPECT_THROW(static_cast<void>(list.joint(2)), std::out_of_range);
  EXPECT_THROW(static_cast<void>(list.conf(2)), std::out_of_range);
  list.clear();
  EXPECT_TRUE(list.empty());
  EXPECT_TRUE(list.confs.empty());
}

TEST(TargetConfiguration, ConversionOfAnEmptyListIsEmpty) {
  const TargetConfiguration list;
  EXPECT_TRUE(list.toTargetConfigurationA(KinematicConfig::Direct).joints.empty());
  EXPECT_TRUE(list.toTargetConfigurationA(KinematicConfig::Direct).confs.empty());
  EXPECT_TRUE(list.toTargetConfigurationA(KinematicConfig::Coupled23).empty());
  // Nothing is converted, so an unknown convention goes unnoticed.
  EXPECT_TRUE(list.toTargetConfigurationA(static_cast<KinematicConfig>(2)).empty());
}

TEST(TargetConfiguration, ConversionOfThreeKeepsOrderAndConfigurations) {
  TargetConfiguration list;
  list.add(RobJoint(1, 30, 40, 4, 5, 6), ConfData(0, 0, 0, 1));
  list.add(RobJoint(-1, -30, 10, -4, -5, -6), ConfData(-1, -1, -1, 6));
  list.add(RobJoint(90, 0, -90, 180, 0, 270), ConfData(1, 1, 2, 4));

  const TargetConfigurationA direct = list.toTargetConfigurationA(KinematicConfig::Direct);
  ASSERT_EQ(direct.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(direct.joint(i).values, list.joint(i).values);
    EXPECT_EQ(direct.conf(i), list.conf(i));
  }

  const TargetConfigurationA coupled = list.toTargetConfigurationA(KinematicConfig::Coupled23);
  ASSERT_EQ(coupled.size(), 3U);
  EXPECT_EQ(coupled.joint(0), RobJointA(1, 30, 70, 4, 5, 6));
  EXPECT_EQ(coupled.joint(1), RobJointA(-1, -30, -20, -4, -5, -6));
  EXPECT_EQ(coupled.joint(2), RobJointA(90, 0, -90, 180, 0, 270));
  EXPECT_EQ(coupled.confs, list.confs);
  EXPECT_THROW(static_cast<void>(coupled.joint(3)), std::out_of_range);
  EXPECT_THROW(static_cast<void>(coupled.conf(3)), std::out_of_range);

  TargetConfigurationA copy = coupled;
  copy.clear();
  EXPECT_TRUE(copy.empty());
  EXPECT_EQ(copy.confs.size(), 0U);
}

TEST(TargetConfiguration, ConversionWithAnUnknownConventionThrows) {
  TargetConfiguration list;
  list.add(RobJoint(1, 2, 3, 4, 5, 6), ConfData());
  EXPECT_THROW_MSG(list.toTargetConfigurationA(static_cast<KinematicConfig>(2)), std::logic_error,
                   "KinematicConfig error");
}

}  // namespace
}  // namespace zor::rob
