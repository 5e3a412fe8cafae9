#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "robot/arm_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::randomJoints;

constexpr std::array<double, 7> kMin{-170, -90, -175, -180, -125, -360, -170};
constexpr std::array<double, 7> kMax{170, 150, 70, 180, 125, 360, 170};

// ---- MakeRobotConfig ----

/// The default arm's axes and points by hand, with axis 6 and the flange moved 10 mm along y:
/// an offset wrist, which the model accepts. Elbow offset π/2 + atan(110 / 640).
const std::array<Vec3, 6> kAxes{Vec3{0, 0, 1}, Vec3{0, 1, 0}, Vec3{0, 1, 0},
                                Vec3{1, 0, 0}, Vec3{0, 1, 0}, Vec3{1, 0, 0}};
const std::array<Pos, 6> kPoints{Pos{},
                                 Pos{150, 0, 450},
                                 Pos{150, 0, 1050},
                                 Pos{790, 0, 940},
                                 Pos{790, 0, 940},
                                 Pos{790, 10, 940}};
const Transform kFlange(RotationTemplate<double>(test::kPi / 2, Vec3{0, 1, 0}), {890, 10, 940});
const double kElbowOffset = test::kPi / 2 + std::atan(110.0 / 640.0);

TEST(MakeRobotConfig, FillsEveryMemberAndRunsTheSetUp) {
  const RobotConfig robot = MakeRobotConfig(kAxes, kPoints, kFlange, kMin, kMax,
                                            RobJoint(1, 2, 3, 4, 5, 6), kElbowOffset, 1);
  EXPECT_EQ(robot.jointAxes, kAxes);
  EXPECT_EQ(robot.jointPoints, kPoints);
  EXPECT_EQ(robot.flangeHome.translation, kFlange.translation);
  EXPECT_EQ(robot.flangeHome.rotation.w, kFlange.rotation.w);
  EXPECT_EQ(robot.jointMin, kMin);
  EXPECT_EQ(robot.jointMax, kMax);
  EXPECT_EQ(robot.homeJoint, RobJoint(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(robot.elbowOffset, kElbowOffset);
  EXPECT_EQ(robot.jointCoupling, 1);
  EXPECT_FALSE(robot.sphericalWrist);
  RobotConfig expected = robot;
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(robot.spaceScrewAxes[i], ScrewAxis(kAxes[i], kPoints[i]));
    // The screw of a revolute joint: v = -(ω × q).
    EXPECT_EQ(robot.spaceScrewAxes[i].v, -kAxes[i].cross(kPoints[i].toVec3()));
  }
  expected.bodyScrewAxes = {};
  expected.computeScrewAxisInTcp();
  EXPECT_EQ(robot.bodyScrewAxes, expected.bodyScrewAxes);
}

TEST(MakeRobotConfig, RejectsAnArmThatBreaksAnAssumptionNamingIt) {
  const RobJoint home(0, 0, 0, 0, 0, 0);
  std::array<Vec3, 6> axes = kAxes;
  axes[4] = axes[3];  // joint 5 along joint 4
  EXPECT_THROW_MSG(MakeRobotConfig(axes, kPoints, kFlange, kMin, kMax, home, kElbowOffset, 0),
                   std::invalid_argument,
                   "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the "
                   "wrist)");
  axes = kAxes;
  axes[0] = Vec3{0, 0, -1};  // joint 1 pointing down
  EXPECT_THROW_MSG(MakeRobotConfig(axes, kPoints, kFlange, kMin, kMax, home, kElbowOffset, 0),
                   std::invalid_argument,
                   "joint 1 must turn about the base z axis, upwards (shoulder configuration and "
                   "singularity)");
  EXPECT_THROW_MSG(MakeRobotConfig(kAxes, {}, Transform{}, kMin, kMax, home, kElbowOffset, 0),
                   std::invalid_argument,
                   "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)");
  std::array<Pos, 6> points = kPoints;
  points[2].z = 1e200;
  EXPECT_THROW_MSG(MakeRobotConfig(kAxes, points, kFlange, kMin, kMax, home, kElbowOffset, 0),
                   std::invalid_argument,
                   "the arm's joint points and flange must lie within 1e7 mm of the base");
  EXPECT_THROW_MSG(MakeRobotConfig(kAxes, kPoints, kFlange, kMin, kMax,
                                   RobJoint(500, 0, 0, 0, 0, 0), kElbowOffset, 0),
                   std::invalid_argument, "home joint 1 must lie within its limits");
}

// ---- The ortho-parallel arm ----

TEST(OrthoParallelArm, AxesPointsAndFlangeFollowTheSevenLengths) {
  OrthoParallelGeometry g;
  g.a1 = 100;
  g.a2 = 30;
  g.b = -20;
  g.c1 = 400;
  g.c2 = 500;
  g.c3 = 600;
  g.c4 = 80;
  const RobotConfig robot = MakeOrthoParallelArm(g, kMin, kMax, RobJoint(0, 0, 0, 0, 0, 0), 1);
  const Vec3 x{1, 0, 0};
  const Vec3 y{0, 1, 0};
  const Vec3 z{0, 0, 1};
  EXPECT_EQ(robot.jointAxes, (std::array<Vec3, 6>{z, y, y, x, y, x}));
  EXPECT_EQ(robot.jointPoints[0], (Pos{0, 0, 0}));
  EXPECT_EQ(robot.jointPoints[1], (Pos{100, -20, 400}));
  EXPECT_EQ(robot.jointPoints[2], (Pos{100, -20, 900}));
  for (std::size_t i = 3; i < 6; ++i)
    EXPECT_EQ(robot.jointPoints[i], (Pos{700, -20, 930}));
  EXPECT_EQ(robot.flangeHome.translation, (Vec3{780, -20, 930}));
  // Flange z along base +x, flange x along base -z, flange y along base +y.
  const Transform& m = robot.flangeHome;
  const Vec3 fz = m.transform(Vec3{0, 0, 1});
  const Vec3 fx = m.transform(Vec3{1, 0, 0});
  const Vec3 fy = m.transform(Vec3{0, 1, 0});
  EXPECT_NEAR(fz.x, 1, 1e-15);
  EXPECT_NEAR(fx.z, -1, 1e-15);
  EXPECT_NEAR(fy.y, 1, 1e-15);
  EXPECT_TRUE(robot.sphericalWrist);
  EXPECT_DOUBLE_EQ(robot.getWcpZOffset(), 80);
  EXPECT_EQ(robot.jointCoupling, 1);
  EXPECT_DOUBLE_EQ(robot.elbowOffset, test::kPi / 2 - std::atan2(30.0, 600.0));
}

/// The wrist centre written out for the documented convention: joint 2 leans the upper arm
/// towards +x, joints 2 and 3 turn the forearm (c3, 0, a2) about +y, joint 1 turns everything
/// about z.
Vec3 closedFormWristCentre(const OrthoParallelGeometry& g, const RobJoint& j) {
  const double t1 = test::radians(j.values[0]);
  const double t2 = test::radians(j.values[1]);
  const double t23 = test::radians(j.values[1] + j.values[2]);
  const double x = g.a1 + g.c2 * std::sin(t2) + g.c3 * std::cos(t23) + g.a2 * std::sin(t23);
  const double z = g.c1 + g.c2 * std::cos(t2) - g.c3 * std::sin(t23) + g.a2 * std::cos(t23);
  return {x * std::cos(t1) - g.b * std::sin(t1), x * std::sin(t1) + g.b * std::cos(t1), z};
}

TEST(OrthoParallelArm, WristCentreMatchesTheClosedForm) {
  test::Random random;
  for (const OrthoParallelGeometry& g :
       {DefaultArmGeometry(), OrthoParallelGeometry{100, 30, -20, 400, 500, 600, 80}}) {
    RobotConfig robot = MakeOrthoParallelArm(g, kMin, kMax, RobJoint(0, 0, 0, 0, 0, 0), 0);
    for (int n = 0; n < 500; ++n) {
      const RobJoint j = randomJoints(random, robot);
      const Transform t = robot.getWristPoseInBase(j);
      const Pos w = robot.tcpToWcp(Pose(t.translation.toPos(), t.rotation.toOrient()));
      const Vec3 expected = closedFormWristCentre(g, j);
      EXPECT_NEAR(w.x, expected.x, 1e-9);
      EXPECT_NEAR(w.y, expected.y, 1e-9);
      EXPECT_NEAR(w.z, expected.z, 1e-9);
    }
  }
}

/// Distance from the axis of joint 2 (joint 1 at 0: the line through (a1, b, c1) along y) to the
/// wrist centre, for joint 3 at `j3` degrees.
double reach(RobotConfig& robot, const OrthoParallelGeometry& g, double j3) {
  const Transform t = robot.getWristPoseInBase(RobJoint(0, 25, j3, 30, 40, 50));
  const Pos w = robot.tcpToWcp(Pose(t.translation.toPos(), t.rotation.toOrient()));
  return std::hypot(w.x - g.a1, w.z - g.c1);
}

TEST(OrthoParallelArm, ForearmIsStretchedAtMinusElbowOffset) {
  for (const OrthoParallelGeometry& g :
       {DefaultArmGeometry(), OrthoParallelGeometry{100, 30, -20, 400, 500, 600, 80},
        OrthoParallelGeometry{0, 0, 0, 300, 400, 400, 50},
        OrthoParallelGeometry{200, -250, 80, 500, 700, 300, 100}}) {
    RobotConfig robot = MakeOrthoParallelArm(g, kMin, kMax, RobJoint(0, 0, 0, 0, 0, 0), 0);
    const double stretched = -robot.elbowOffset * 180.0 / test::kPi;
    // Scan joint 3 over a full turn: the reach is largest next to `stretched`.
    double best = -1;
    double bestJ3 = 0;
    for (double j3 = -180; j3 <= 180; j3 += 0.01) {
      const double d = reach(robot, g, j3);
      if (d > best) {
        best = d;
        bestJ3 = j3;
      }
    }
    EXPECT_NEAR(bestJ3, stretched, 0.01) << g.a2;
    const double atStretched = reach(robot, g, stretched);
    EXPECT_GE(atStretched, best - 1e-9) << g.a2;
    EXPECT_NEAR(atStretched, g.c2 + std::hypot(g.c3, g.a2), 1e-9) << g.a2;
    EXPECT_LT(reach(robot, g, stretched + 1), atStretched);
    EXPECT_LT(reach(robot, g, stretched - 1), atStretched);
    // There the singularity test reports the elbow, and the elbow bit flips.
    EXPECT_EQ(robot.isConfSingular(RobJoint(0, 25, stretched, 30, 40, 50), Pose(), 0.001, 0.001),
              SingularityType::elbow);
    EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 25, stretched - 0.1, 30, 40, 50), robot).cfx & 2,
              2);
    EXPECT_EQ(ConfData::FromRobJoint(RobJoint(0, 25, stretched + 0.1, 30, 40, 50), robot).cfx & 2,
              0);
  }
}

TEST(OrthoParallelArm, StretchedForearmOfTheDefaultArmPointsUp) {
  RobotConfig arm = DefaultArm();
  // The elbow offset of (640, -110): 90 degrees plus atan(110 / 640).
  EXPECT_NEAR(arm.elbowOffset * 180.0 / test::kPi, 90 + std::atan(110.0 / 640.0) * 180 / test::kPi,
              1e-12);
  const double stretched = -arm.elbowOffset * 180.0 / test::kPi;
  const Transform t = arm.getWristPoseInBase(RobJoint(0, 0, stretched, 0, 0, 0));
  const Pos w = arm.tcpToWcp(Pose(t.translation.toPos(), t.rotation.toOrient()));
  EXPECT_NEAR(w.x, 150, 1e-9);
  EXPECT_NEAR(w.y, 0, 1e-9);
  EXPECT_NEAR(w.z, 450 + 600 + std::hypot(640.0, 110.0), 1e-9);
}

// ---- The default arm ----

TEST(OrthoParallelArm, RejectsLengthsThatBreakAnAssumptionNamingIt) {
  const RobJoint home(0, 0, 0, 0, 0, 0);
  EXPECT_THROW_MSG(MakeOrthoParallelArm({0, 0, 0, 0, 0, 0, 0}, kMin, kMax, home, 0),
                   std::invalid_argument,
                   "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)");
  EXPECT_THROW_MSG(
      MakeOrthoParallelArm({1e200, 1e200, 1e200, 1e200, 1e200, 1e200, 1e200}, kMin, kMax, home, 0),
      std::invalid_argument,
      "the arm's joint points and flange must lie within 1e7 mm of the base");
  // a2 = c3 = 0: the wrist centre on the axis of joint 3.
  EXPECT_THROW_MSG(MakeOrthoParallelArm({150, 0, 0, 450, 600, 0, 100}, kMin, kMax, home, 0),
                   std::invalid_argument,
                   "the wrist centre must lie off the axis of joint 3 (the elbow offset)");
  std::array<double, 7> reversed = kMax;
  reversed[4] = -200;
  EXPECT_THROW_MSG(
      MakeOrthoParallelArm({150, -110, 0, 450, 600, 640, 100}, kMin, reversed, home, 0),
      std::invalid_argument,
      "the limits of joint 5 must be finite, the minimum not above the maximum");
}

TEST(OrthoParallelArm, AcceptsValidButUnusualLengths) {
  const RobJoint home(0, 0, 0, 0, 0, 0);
  // Forearm straight up from the elbow, the flange on the wrist centre, a negative shoulder
  // height; and an arm of a micrometre.
  EXPECT_NO_THROW(MakeOrthoParallelArm({-150, 300, 77, -450, 0.5, 0, 0}, kMin, kMax, home, 0));
  EXPECT_NO_THROW(MakeOrthoParallelArm({0, 0, 0, 0, 1e-3, 1e-3, 1e-3}, kMin, kMax, home, 0));
}

TEST(DefaultArm, GeometryLimitsAndHome) {
  const OrthoParallelGeometry g = DefaultArmGeometry();
  EXPECT_EQ(g.a1, 150);
  EXPECT_EQ(g.a2, -110);
  EXPECT_EQ(g.b, 0);
  EXPECT_EQ(g.c1, 450);
  EXPECT_EQ(g.c2, 600);
  EXPECT_EQ(g.c3, 640);
  EXPECT_EQ(g.c4, 100);
  const RobotConfig arm = DefaultArm();
  EXPECT_EQ(arm.jointMin, kMin);
  EXPECT_EQ(arm.jointMax, kMax);
  EXPECT_EQ(arm.jointCoupling, 0);
  EXPECT_EQ(arm.homeJoint, RobJoint(0, 0, 0, 0, 0, 0));
  EXPECT_TRUE(arm.sphericalWrist);
  EXPECT_EQ(arm.getWcpZOffset(), 100);
  const RobotConfig built = MakeOrthoParallelArm(g, kMin, kMax, RobJoint(0, 0, 0, 0, 0, 0), 0);
  EXPECT_EQ(arm.spaceScrewAxes, built.spaceScrewAxes);
  EXPECT_EQ(arm.bodyScrewAxes, built.bodyScrewAxes);
  EXPECT_EQ(arm.elbowOffset, built.elbowOffset);
}

TEST(DefaultArm, HomeTargetIsInFrontWithTheElbowUp) {
  const RobTarget home = DefaultArm().getHomeTarget();
  EXPECT_EQ(home.pose.pos, (Pos{890, 0, 940}));
  EXPECT_EQ(home.robConf, ConfData(0, 0, 0, 0));
}

}  // namespace
}  // namespace zor::rob
