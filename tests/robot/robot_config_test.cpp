#include "zor/rob/robot_config.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "robot/arm_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob {
namespace {

using test::Mat4;
using test::randomJoints;
using test::referenceFlange;
using test::toMatrix;
using test::transformNear;

constexpr double kUnitTol = 1e-12;
constexpr double kLengthTol = 1e-9;
constexpr double kTol = RobotConfig::kJointLimitTolerance;
// A step past the joint-limit tolerance, where a value within the tolerance would still pass.
constexpr double kBeyondTol = 2 * kTol;

const double kSqrtHalf = std::sqrt(0.5);

void expectSameTransform(const Transform& a, const Transform& b) {
  test::expectSameComponents(a.rotation, b.rotation);
  EXPECT_EQ(a.translation, b.translation);
}

// ---- Joint transforms ----

TEST(RobotConfigJointTransform, QuarterTurnAboutZThroughOffsetPointMovesOrigin) {
  RobotConfig robot;
  robot.jointAxes[2] = {0, 0, 1};
  robot.jointPoints[2] = {100, 0, 0};
  const Transform t = robot.getJointTransform(90, 2);
  const Pos origin = t.transform(Pos{0, 0, 0});
  EXPECT_NEAR(origin.x, 100, 1e-12);
  EXPECT_NEAR(origin.y, -100, 1e-12);
  EXPECT_NEAR(origin.z, 0, 1e-12);
  // The axis point stays where it is.
  const Pos q = t.transform(Pos{100, 0, 0});
  EXPECT_NEAR(q.x, 100, 1e-12);
  EXPECT_NEAR(q.y, 0, 1e-12);
}

TEST(RobotConfigJointTransform, MatchesRotationAboutAxisThroughPoint) {
  test::Random random;
  const RobotConfig robot = test::randomArm(random);
  for (int n = 0; n < 200; ++n) {
    const unsigned int i = static_cast<unsigned int>(random.integer(0, 5));
    const double theta = random.uniform(-400, 400);
    EXPECT_TRUE(transformNear(robot.getJointTransform(theta, i),
                              test::jointMatrix(robot.jointAxes[i], robot.jointPoints[i], theta),
                              kUnitTol, kLengthTol));
  }
}

TEST(RobotConfigJointTransform, NonUnitAxisIsNormalised) {
  RobotConfig robot;
  robot.jointAxes[0] = {0, 0, 2};
  robot.jointPoints[0] = {100, 0, 0};
  EXPECT_TRUE(transformNear(robot.getJointTransform(30, 0),
                            test::jointMatrix({0, 0, 1}, {100, 0, 0}, 30), kUnitTol, kLengthTol));
}

TEST(RobotConfigJointTransform, ZeroAxisThrows) {
  const RobotConfig robot;  // all axes zero
  EXPECT_THROW_MSG(robot.getJointTransform(10, 0), std::overflow_error,
                   "0-length vector cannot be normalized.");
}

// ---- Forward kinematics ----

TEST(RobotConfigForward, AllZeroJointsGiveFlangeHomeExactly) {
  test::Random random;
  const RobJoint zero(0, 0, 0, 0, 0, 0);
  const RobotConfig arm = DefaultArm();
  expectSameTransform(arm.getWristPoseInBase(zero), arm.flangeHome);
  for (int n = 0; n < 20; ++n) {
    const RobotConfig robot = test::randomArm(random);
    expectSameTransform(robot.getWristPoseInBase(zero), robot.flangeHome);
  }
}

TEST(RobotConfigForward, DefaultArmAtHandComputedPoses) {
  const RobotConfig arm = DefaultArm();
  // Home: flange at (a1 + c3 + c4, b, c1 + c2 + a2), turned +90 degrees about y.
  Transform t = arm.getWristPoseInBase(RobJoint(0, 0, 0, 0, 0, 0));
  EXPECT_TRUE(
      transformNear(t, test::homogeneous(test::rodrigues({0, 1, 0}, test::kPi / 2), {890, 0, 940}),
                    kUnitTol, kLengthTol));
  // Joint 1 at 90: the whole arm turned onto base +y.
  t = arm.getWristPoseInBase(RobJoint(90, 0, 0, 0, 0, 0));
  EXPECT_NEAR(t.translation.x, 0, 1e-9);
  EXPECT_NEAR(t.translation.y, 890, 1e-9);
  EXPECT_NEAR(t.translation.z, 940, 1e-9);
  // Joint 2 at 90: the upper arm leans forward to horizontal, the forearm points down; the
  // joint-3 axis sits at (750, 0, 450), the wrist centre 110 behind it and 640 below, the
  // flange 100 further down.
  t = arm.getWristPoseInBase(RobJoint(0, 90, 0, 0, 0, 0));
  EXPECT_NEAR(t.translation.x, 640, 1e-9);
  EXPECT_NEAR(t.translation.y, 0, 1e-9);
  EXPECT_NEAR(t.translation.z, -290, 1e-9);
  // Joint 5 at 90 tilts the flange straight down from the wrist centre (790, 0, 940).
  t = arm.getWristPoseInBase(RobJoint(0, 0, 0, 0, 90, 0));
  EXPECT_NEAR(t.translation.x, 790, 1e-9);
  EXPECT_NEAR(t.translation.z, 840, 1e-9);
  EXPECT_NEAR(t.transform(Vec3{0, 0, 1}).z, -1, 1e-12);
}

TEST(RobotConfigForward, DefaultArmMatchesProductOfHomogeneousMatrices) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 2000; ++n) {
    const RobJoint j = randomJoints(random, arm);
    ASSERT_TRUE(
        transformNear(arm.getWristPoseInBase(j), referenceFlange(arm, j), kUnitTol, kLengthTol))
        << j.toString();
  }
}

TEST(RobotConfigForward, GeneralArmMatchesProductOfHomogeneousMatrices) {
  test::Random random;
  for (int a = 0; a < 50; ++a) {
    const RobotConfig robot = test::randomArm(random);
    for (int n = 0; n < 40; ++n) {
      RobJoint j;
      for (double& v : j.values)
        v = random.uniform(-720, 720);
      ASSERT_TRUE(
          transformNear(robot.getWristPoseInBase(j), referenceFlange(robot, j), 1e-11, 1e-8))
          << j.toString();
    }
  }
}

TEST(RobotConfigForward, ResultIsAUnitQuaternion) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 500; ++n) {
    const Transform t = arm.getWristPoseInBase(randomJoints(random, arm));
    EXPECT_NEAR(t.rotation.dot(t.rotation), 1.0, 1e-14);
  }
}

TEST(RobotConfigForward, HugeJointValuesGiveTheTurnOfTheirFiniteRadians) {
  // Joint values whose product with π overflows still stand for a finite angle in radians.
  const RobotConfig arm = DefaultArm();
  constexpr double largest = std::numeric_limits<double>::max();
  for (const double degrees : {1e308, -1e308, largest, -largest}) {
    for (std::size_t k = 0; k < 6; ++k) {
      SCOPED_TRACE(std::to_string(degrees) + " on joint " + std::to_string(k + 1));
      RobJoint j(10, 20, 30, 40, 50, 60);
      j.values[k] = degrees;
      const Transform pose = arm.getWristPoseInBase(j);
      Mat4 expected = Mat4::Identity();
      for (std::size_t i = 0; i < 6; ++i) {
        const double radians = i == k ? DegToRad(degrees) : test::radians(j.values[i]);
        const test::Mat3 r = test::rodrigues(test::toEigen(arm.jointAxes[i]).normalized(), radians);
        const test::EVec3 q = test::toEigen(arm.jointPoints[i]);
        expected = expected * test::homogeneous(r, q - r * q);
      }
      expected = expected * toMatrix(arm.flangeHome);
      EXPECT_TRUE(transformNear(pose, expected, kUnitTol, kLengthTol));
      const Pose target = arm.getRobTarget(j).pose;
      for (const double v : {target.pos.x, target.pos.y, target.pos.z, target.orient.q1,
                             target.orient.q2, target.orient.q3, target.orient.q4})
        EXPECT_TRUE(std::isfinite(v));
    }
  }
}

TEST(RobotConfigForward, NonUnitAxesGiveTheSamePoseAsUnitAxes) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  RobotConfig scaled = arm;
  for (Vec3& a : scaled.jointAxes)
    a = a * 3.0;
  for (int n = 0; n < 100; ++n) {
    const RobJoint j = randomJoints(random, arm);
    EXPECT_TRUE(transformNear(scaled.getWristPoseInBase(j), toMatrix(arm.getWristPoseInBase(j)),
                              1e-12, 1e-9));
  }
}

TEST(RobotConfigForward, ZeroAxisThrows) {
  RobotConfig arm = DefaultArm();
  arm.jointAxes[3] = {0, 0, 0};
  EXPECT_THROW_MSG(arm.getWristPoseInBase(RobJoint(0, 0, 0, 0, 0, 0)), std::overflow_error,
                   "0-length vector cannot be normalized.");
}

// ---- Link poses ----

TEST(RobotConfigLinkPose, LinkZeroIsTheIdentity) {
  const RobotConfig arm = DefaultArm();
  expectSameTransform(arm.getLinkPose(RobJoint(10, 20, 30, 40, 50, 60), 0), Transform());
}

TEST(RobotConfigLinkPose, LinkSixAndBeyondAreTheFlangePose) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 50; ++n) {
    const RobJoint j = randomJoints(random, arm);
    const Transform flange = arm.getWristPoseInBase(j);
    expectSameTransform(arm.getLinkPose(j, 6), flange);
    expectSameTransform(arm.getLinkPose(j, 9), flange);
    expectSameTransform(arm.getLinkPose(j, 9), arm.getLinkPose(j, 6));
  }
}

TEST(RobotConfigLinkPose, LinkIsTheProductOfTheFirstJointTransforms) {
  test::Random random;
  const RobotConfig robot = test::randomArm(random);
  for (int n = 0; n < 50; ++n) {
    const RobJoint j = randomJoints(random, robot);
    for (unsigned int i = 1; i < 6; ++i) {
      Mat4 expected = Mat4::Identity();
      for (std::size_t k = 0; k < i; ++k)
        expected =
            expected * test::jointMatrix(robot.jointAxes[k], robot.jointPoints[k], j.values[k]);
      EXPECT_TRUE(transformNear(robot.getLinkPose(j, i), expected, kUnitTol, kLengthTol));
    }
  }
}

TEST(RobotConfigLinkPose, LinkThreeCarriesNoLinkOffset) {
  const RobotConfig arm = DefaultArm();
  // Only joints 1 to 3 enter; joint 3 turns about its axis through (150, 0, 1050), which it
  // keeps in place.
  const Transform t = arm.getLinkPose(RobJoint(0, 0, 45, 80, 80, 80), 3);
  const Pos elbow = t.transform(Pos{150, 0, 1050});
  EXPECT_NEAR(elbow.x, 150, 1e-9);
  EXPECT_NEAR(elbow.z, 1050, 1e-9);
  EXPECT_TRUE(
      transformNear(t, test::jointMatrix({0, 1, 0}, {150, 0, 1050}, 45), kUnitTol, kLengthTol));
}

// ---- Wrist centre ----

TEST(RobotConfigWristCentre, OffsetIsFlangeXMinusJointFiveX) {
  RobotConfig robot;
  robot.flangeHome.translation = {1234.5, 7, 9};
  robot.jointPoints[4] = {1000.25, -3, 4};
  EXPECT_DOUBLE_EQ(robot.getWcpZOffset(), 234.25);
  EXPECT_DOUBLE_EQ(DefaultArm().getWcpZOffset(), 100);
}

TEST(RobotConfigWristCentre, TcpToWcpGoesBackAlongFlangeZ) {
  RobotConfig arm = DefaultArm();
  // Flange z along base +x: the wrist centre is 100 mm behind the flange along x.
  const Pose alongX({1000, 20, 500}, {kSqrtHalf, 0, kSqrtHalf, 0});
  Pos w = arm.tcpToWcp(alongX);
  EXPECT_NEAR(w.x, 900, 1e-12);
  EXPECT_NEAR(w.y, 20, 1e-12);
  EXPECT_NEAR(w.z, 500, 1e-12);
  // Identity orientation: flange z is base z.
  w = arm.tcpToWcp(Pose({1, 2, 3}, {1, 0, 0, 0}));
  EXPECT_NEAR(w.x, 1, 1e-12);
  EXPECT_NEAR(w.y, 2, 1e-12);
  EXPECT_NEAR(w.z, -97, 1e-12);
}

TEST(RobotConfigWristCentre, TcpToWcpOfTheFlangePoseIsTheWristCentre) {
  test::Random random;
  RobotConfig arm = DefaultArm();
  for (int n = 0; n < 200; ++n) {
    const RobJoint j = randomJoints(random, arm);
    const Transform flange = arm.getWristPoseInBase(j);
    const Pos w = arm.tcpToWcp(Pose(flange.translation.toPos(), flange.rotation.toOrient()));
    // The wrist centre is where joint 5's axis point (790, 0, 940) goes with links 1 to 4.
    const Pos expected = arm.getLinkPose(j, 4).transform(arm.jointPoints[4]);
    EXPECT_NEAR(w.x, expected.x, 1e-9);
    EXPECT_NEAR(w.y, expected.y, 1e-9);
    EXPECT_NEAR(w.z, expected.z, 1e-9);
  }
}

// ---- Robot targets ----

TEST(RobotConfigRobTarget, FillsPoseConfigurationAndUnusedExternalAxes) {
  test::Random random;
  const RobotConfig arm = DefaultArm();
  for (int n = 0; n < 200; ++n) {
    const RobJoint j = randomJoints(random, arm);
    const RobTarget target = arm.getRobTarget(j);
    const Transform flange = arm.getWristPoseInBase(j);
    EXPECT_EQ(target.pose.pos, flange.translation.toPos());
    EXPECT_EQ(target.pose.orient.q1, flange.rotation.w);
    EXPECT_EQ(target.pose.orient.q2, flange.rotation.x);
    EXPECT_EQ(target.pose.orient.q3, flange.rotation.y);
    EXPECT_EQ(target.pose.orient.q4, flange.rotation.z);
    EXPECT_EQ(target.robConf, ConfData::FromRobJoint(j, arm));
    for (double e : target.extJoint.values)
      EXPECT_EQ(e, 9e9);
  }
}

TEST(RobotConfigRobTarget, HomeTargetIsTheTargetOfTheHomeJoints) {
  RobotConfig arm = DefaultArm();
  arm.homeJoint = RobJoint(10, -20, 30, -40, 50, -60);
  EXPECT_EQ(arm.getHomeJoint(), RobJoint(10, -20, 30, -40, 50, -60));
  EXPECT_EQ(arm.getHomeTarget(), arm.getRobTarget(arm.homeJoint));
  EXPECT_EQ(DefaultArm().getHomeTarget().pose.pos, (Pos{890, 0, 940}));
}

TEST(RobotConfig, DefaultRecordHasZeroHomeJointsAndIdentityFlange) {
  const RobotConfig robot;
  EXPECT_EQ(robot.homeJoint, RobJoint(0, 0, 0, 0, 0, 0));
  expectSameTransform(robot.flangeHome, Transform());
  EXPECT_EQ(robot.elbowOffset, 0.0);
  EXPECT_EQ(robot.jointCoupling, 0);
  EXPECT_FALSE(robot.sphericalWrist);
  for (double v : robot.jointMax)
    EXPECT_EQ(v, 0.0);
}

// ---- Limits ----

TEST(RobotConfigLimits, FixedJointHasEqualLimitsWithinTolerance) {
  RobotConfig robot;
  robot.jointMin = {10, -5, 0, 0, 0, 0, 0};
  robot.jointMax = {10, 5, 5e-7, 2e-6, 0, 0, 0};
  EXPECT_TRUE(robot.isFixedJoint(0));
  EXPECT_FALSE(robot.isFixedJoint(1));
  EXPECT_TRUE(robot.isFixedJoint(2));
  EXPECT_FALSE(robot.isFixedJoint(3));
  EXPECT_TRUE(robot.isFixedJoint(6));
  EXPECT_FALSE(robot.isFixedJoint(7));
  EXPECT_FALSE(robot.isFixedJoint(1000));
}

TEST(RobotConfigLimits, FixedJointAcceptsOnlyValuesWithinToleranceOfItsValue) {
  RobotConfig robot;
  robot.jointMin = {0, 10, 0, 0, 0, 0, 0};
  robot.jointMax = {0, 10, 0, 0, 0, 0, 0};
  EXPECT_TRUE(robot.isJointAllowed(1, 10, 0));
  EXPECT_TRUE(robot.isJointAllowed(1, 10 + 0.9e-6, 0));
  EXPECT_TRUE(robot.isJointAllowed(1, 10 - 0.9e-6, 0));
  EXPECT_FALSE(robot.isJointAllowed(1, 10 + kTol, 0));
  EXPECT_FALSE(robot.isJointAllowed(1, 10 - kTol, 0));
  EXPECT_FALSE(robot.isJointAllowed(1, 10.001, 0));
}

TEST(RobotConfigLimits, BoundsJustInsideAndOutsideEachLimit) {
  const RobotConfig arm = DefaultArm();
  for (int i = 0; i < 7; ++i) {
    const auto k = static_cast<std::size_t>(i);
    const double lo = arm.jointMin[k];
    const double hi = arm.jointMax[k];
    EXPECT_TRUE(arm.isJointAllowed(i, lo, 1e9)) << i;
    EXPECT_TRUE(arm.isJointAllowed(i, hi, 1e9)) << i;
    EXPECT_TRUE(arm.isJointAllowed(i, hi + 0.5e-6, 1e9)) << i;
    EXPECT_TRUE(arm.isJointAllowed(i, lo - 0.5e-6, 1e9)) << i;
    // The final bounds are strict: a value on the widened bound is rejected.
    EXPECT_FALSE(arm.isJointAllowed(i, hi + kTol, 0)) << i;
    EXPECT_FALSE(arm.isJointAllowed(i, lo - kTol, 0)) << i;
    EXPECT_FALSE(arm.isJointAllowed(i, hi + 1e-5, 0)) << i;
    EXPECT_FALSE(arm.isJointAllowed(i, lo - 1e-5, 0)) << i;
  }
}

TEST(RobotConfigLimits, IndexOutsideTheLimitsIsRejected) {
  const RobotConfig arm = DefaultArm();
  EXPECT_FALSE(arm.isJointAllowed(-1, 0, 0));
  EXPECT_FALSE(arm.isJointAllowed(7, 0, 0));
}

TEST(RobotConfigLimits, WithoutCouplingTheSumAndOtherValueAreIgnored) {
  RobotConfig arm = DefaultArm();
  for (std::int32_t coupling : {0, 2, -1}) {
    arm.jointCoupling = coupling;
    // 140 + 60 = 200 is beyond the sum limit 170, and 1e9 beyond any limit of joint 3.
    EXPECT_TRUE(arm.isJointAllowed(1, 140, 60)) << coupling;
    EXPECT_TRUE(arm.isJointAllowed(2, 60, 140)) << coupling;
    EXPECT_TRUE(arm.isJointAllowed(1, 140, 1e9)) << coupling;
  }
}

TEST(RobotConfigLimits, CouplingRejectsASumOutsideItsLimitsForJointsTwoAndThree) {
  RobotConfig arm = DefaultArm();
  arm.jointCoupling = 1;
  // Joint 2 = 140 and joint 3 = 60 are each inside their limits; their sum 200 is not.
  EXPECT_FALSE(arm.isJointAllowed(1, 140, 60));
  EXPECT_FALSE(arm.isJointAllowed(2, 60, 140));
  EXPECT_TRUE(arm.isJointAllowed(3, 140, 60));
  EXPECT_TRUE(arm.isJointAllowed(3, 60, 140));
  // Below the lower sum limit: -80 + -100 = -180 < -170.
  EXPECT_FALSE(arm.isJointAllowed(1, -80, -100));
  EXPECT_FALSE(arm.isJointAllowed(2, -100, -80));
  // Inside: 100 + 60 = 160.
  EXPECT_TRUE(arm.isJointAllowed(1, 100, 60));
  EXPECT_TRUE(arm.isJointAllowed(2, 60, 100));
}

TEST(RobotConfigLimits, CouplingChecksTheOtherJointAgainstItsOwnLimits) {
  RobotConfig arm = DefaultArm();
  arm.jointCoupling = 1;
  // Joint 3 = 80 is beyond its upper limit 70 (sum 80 + 0 fine).
  EXPECT_FALSE(arm.isJointAllowed(1, 0, 80));
  // Joint 2 = 160 is beyond its upper limit 150 (sum 160 - 50 = 110 fine).
  EXPECT_FALSE(arm.isJointAllowed(2, -50, 160));
  // The roles: for i = 2 the value is joint 3, checked against joint 3's limits.
  EXPECT_FALSE(arm.isJointAllowed(2, 80, 0));
  EXPECT_TRUE(arm.isJointAllowed(2, -170, 0));
  EXPECT_FALSE(arm.isJointAllowed(1, -170, 0));
}

TEST(RobotConfigLimits, CoupledChecksAcceptValuesOnTheWidenedBound) {
  RobotConfig arm = DefaultArm();
  arm.jointCoupling = 1;
  // The other joint and the sum are only rejected strictly beyond the widened bounds.
  EXPECT_TRUE(arm.isJointAllowed(1, 0, arm.jointMax[2] + kTol));
  EXPECT_FALSE(arm.isJointAllowed(1, 0, arm.jointMax[2] + kBeyondTol));
  EXPECT_TRUE(arm.isJointAllowed(2, 0, arm.jointMin[1] - kTol));
  EXPECT_FALSE(arm.isJointAllowed(2, 0, arm.jointMin[1] - kBeyondTol));
  // With joint 3 free enough, the sum equals the other value exactly for joint 2 at 0.
  RobotConfig wide = arm;
  wide.jointMin[2] = -1000;
  wide.jointMax[2] = 1000;
  EXPECT_TRUE(wide.isJointAllowed(1, 0, wide.jointMax[6] + kTol));
  EXPECT_FALSE(wide.isJointAllowed(1, 0, wide.jointMax[6] + kBeyondTol));
  EXPECT_TRUE(wide.isJointAllowed(1, 0, wide.jointMin[6] - kTol));
  EXPECT_FALSE(wide.isJointAllowed(1, 0, wide.jointMin[6] - kBeyondTol));
  // The value itself on the widened bound passes the coupled check but not the strict final
  // one.
  EXPECT_FALSE(arm.isJointAllowed(1, arm.jointMax[1] + kTol, -100));
  EXPECT_TRUE(arm.isJointAllowed(1, arm.jointMax[1], -100));
}

// ---- Set-up ----

TEST(RobotConfigSetUp, BodyScrewAxesAreSpaceAxesSeenFromTheFlange) {
  test::Random random;
  for (int n = 0; n < 20; ++n) {
    RobotConfig robot = test::randomArm(random);
    robot.bodyScrewAxes = {};
    robot.computeScrewAxisInTcp();
    const test::Mat6 ad = test::adjointMatrix(toMatrix(robot.flangeHome).inverse());
    for (std::size_t i = 0; i < 6; ++i) {
      EXPECT_LT(test::maxDiff(test::toEigen(robot.bodyScrewAxes[i]),
                              ad * test::toEigen(robot.spaceScrewAxes[i])),
                1e-9);
    }
  }
}

TEST(RobotConfigSetUp, SphericalWristComparesTheAxisPointsOnly) {
  RobotConfig robot;
  // Axes that do not meet, but the stored points coincide: spherical.
  robot.jointAxes[3] = {1, 0, 0};
  robot.jointAxes[4] = {1, 0, 0};
  robot.jointAxes[5] = {0, 0, 1};
  robot.jointPoints[3] = {500, 0, 0};
  robot.jointPoints[4] = {500, 0.0009, 0};
  robot.jointPoints[5] = {500, 0.0018, 0};
  // Joints 4 and 6 are 0.0018 apart, but each is close enough to joint 5.
  EXPECT_TRUE(robot.initSphericalWrist());
  EXPECT_TRUE(robot.sphericalWrist);
  robot.jointPoints[5] = {500, 0.0009, 0.0009};
  EXPECT_TRUE(robot.initSphericalWrist());
  robot.jointPoints[3] = {500.0011, 0.0009, 0};
  EXPECT_FALSE(robot.initSphericalWrist());
  EXPECT_FALSE(robot.sphericalWrist);
  robot.jointPoints[3] = {500, 0.0009, 0};
  EXPECT_TRUE(robot.initSphericalWrist());
  robot.jointPoints[5] = {500, 0.0009, 0.0011};
  EXPECT_FALSE(robot.initSphericalWrist());
  EXPECT_FALSE(robot.sphericalWrist);
}

}  // namespace
}  // namespace zor::rob
