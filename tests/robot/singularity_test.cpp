#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <optional>
#include <sstream>

#include "robot/arm_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

// ---- Singularities ----

constexpr double kJointTol = 0.5;
constexpr double kWcpTol = 0.25;

/// A flange pose whose wrist centre is far from the joint-1 axis.
const Pose kAway({1000, 500, 800}, {1, 0, 0, 0});
/// A flange pose whose wrist centre is on the base z axis (identity orientation: the wrist
/// centre is 100 mm below the flange).
const Pose kOnAxis({0, 0, 1500}, {1, 0, 0, 0});

TEST(RobotConfigSingularity, WristComesFirst) {
  RobotConfig arm = DefaultArm();
  const double elbow = -arm.elbowOffset * 180.0 / test::kPi;
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, elbow, 0, 0, 0), kOnAxis, kJointTol, kWcpTol),
            SingularityType::wrist);
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, elbow, 0, 20, 0), kOnAxis, kJointTol, kWcpTol),
            SingularityType::elbow);
}

TEST(RobotConfigSingularity, WristToleranceIsStrict) {
  RobotConfig arm = DefaultArm();
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, 0, 0, 0.5, 0), kAway, kJointTol, kWcpTol),
            SingularityType::none);
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, 0, 0, -0.5, 0), kAway, kJointTol, kWcpTol),
            SingularityType::none);
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, 0, 0, 0.4999, 0), kAway, kJointTol, kWcpTol),
            SingularityType::wrist);
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, 0, 0, -0.4999, 0), kAway, kJointTol, kWcpTol),
            SingularityType::wrist);
}

TEST(RobotConfigSingularity, ElbowAtMinusElbowOffsetWithStrictTolerance) {
  RobotConfig arm = DefaultArm();
  arm.elbowOffset = 0.0;
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, 0.5, 0, 30, 0), kAway, kJointTol, kWcpTol),
            SingularityType::none);
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, -0.5, 0, 30, 0), kAway, kJointTol, kWcpTol),
            SingularityType::none);
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, -0.25, 0, 30, 0), kAway, kJointTol, kWcpTol),
            SingularityType::elbow);
  arm.elbowOffset = test::kPi / 2;  // stretched at joint 3 = -90
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, -90.3, 0, 30, 0), kAway, kJointTol, kWcpTol),
            SingularityType::elbow);
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, 90, 0, 30, 0), kAway, kJointTol, kWcpTol),
            SingularityType::none);
}

TEST(RobotConfigSingularity, ElbowComesBeforeShoulder) {
  RobotConfig arm = DefaultArm();
  const double elbow = -arm.elbowOffset * 180.0 / test::kPi;
  EXPECT_EQ(arm.isConfSingular(RobJoint(0, 0, elbow + 0.1, 0, 20, 0), kOnAxis, kJointTol, kWcpTol),
            SingularityType::elbow);
}

TEST(RobotConfigSingularity, ShoulderWhenTheWristCentreIsOnTheJointOneAxis) {
  RobotConfig arm = DefaultArm();
  const RobJoint j(0, 0, -30, 0, 40, 0);
  EXPECT_EQ(arm.isConfSingular(j, kOnAxis, kJointTol, kWcpTol), SingularityType::shoulder);
  // Strict in both coordinates.
  EXPECT_EQ(arm.isConfSingular(j, Pose({0.25, 0, 1500}, {1, 0, 0, 0}), kJointTol, kWcpTol),
            SingularityType::none);
  EXPECT_EQ(arm.isConfSingular(j, Pose({0, -0.25, 1500}, {1, 0, 0, 0}), kJointTol, kWcpTol),
            SingularityType::none);
  EXPECT_EQ(arm.isConfSingular(j, Pose({0.2, -0.2, 1500}, {1, 0, 0, 0}), kJointTol, kWcpTol),
            SingularityType::shoulder);
  // The flange itself off the axis, its wrist centre on it: flange z along base +x.
  const double h = std::sqrt(0.5);
  EXPECT_EQ(arm.isConfSingular(j, Pose({100, 0, 1500}, {h, 0, h, 0}), kJointTol, kWcpTol),
            SingularityType::shoulder);
}

TEST(RobotConfigSingularity, ShoulderOfARealJointSolution) {
  RobotConfig arm = DefaultArm();
  // Lean joint 2 back until the wrist centre reaches the base z axis (bisection on its x).
  const auto wcpX = [&](double j2) {
    const Transform t = arm.getWristPoseInBase(RobJoint(0, j2, -30, 0, 40, 0));
    return arm.tcpToWcp(Pose(t.translation.toPos(), t.rotation.toOrient())).x;
  };
  double lo = -90;
  double hi = 0;
  ASSERT_LT(wcpX(lo), 0);
  ASSERT_GT(wcpX(hi), 0);
  for (int n = 0; n < 200; ++n) {
    const double mid = 0.5 * (lo + hi);
    (wcpX(mid) < 0 ? lo : hi) = mid;
  }
  for (double j1 : {0.0, 37.0, -150.0}) {
    const RobJoint j(j1, hi, -30, 10, 40, 20);
    const Transform t = arm.getWristPoseInBase(j);
    const Pose flange(t.translation.toPos(), t.rotation.toOrient());
    EXPECT_EQ(arm.isConfSingular(j, flange, 0.001, 0.001), SingularityType::shoulder) << j1;
    // Leaning a degree further forward moves it off the axis.
    const RobJoint off(j1, hi + 1, -30, 10, 40, 20);
    const Transform u = arm.getWristPoseInBase(off);
    EXPECT_EQ(
        arm.isConfSingular(off, Pose(u.translation.toPos(), u.rotation.toOrient()), 0.001, 0.001),
        SingularityType::none)
        << j1;
  }
}

TEST(SingularityType, StreamsItsName) {
  const auto text = [](SingularityType t) {
    std::ostringstream os;
    os << t;
    EXPECT_FALSE(os.fail());
    return os.str();
  };
  EXPECT_EQ(text(SingularityType::none), "none");
  EXPECT_EQ(text(SingularityType::wrist), "wrist");
  EXPECT_EQ(text(SingularityType::elbow), "elbow");
  EXPECT_EQ(text(SingularityType::shoulder), "shoulder");
  EXPECT_EQ(static_cast<int>(SingularityType::none), 0);
  EXPECT_EQ(static_cast<int>(SingularityType::wrist), 1);
  EXPECT_EQ(static_cast<int>(SingularityType::elbow), 2);
  EXPECT_EQ(static_cast<int>(SingularityType::shoulder), 3);
}

TEST(SingularityType, UnknownValueSetsFailbitAndWritesNothing) {
  for (int value : {4, -1, 100}) {
    std::ostringstream os;
    os << static_cast<SingularityType>(value);
    EXPECT_TRUE(os.fail()) << value;
    EXPECT_FALSE(os.bad()) << value;
    EXPECT_EQ(os.str(), "") << value;
  }
}

// ---- The classifier with margins ----

/// The wrist centre of a flange pose with the identity orientation lies 100 mm below it on the
/// default arm (its wcp offset is c4 = 100 mm).
Pose flangeAbove(double x, double y) {
  return Pose({x, y, 1500}, {1, 0, 0, 0});
}

TEST(RobotConfigSingularities, EachTestedOnItsOwn) {
  const RobotConfig arm = DefaultArm();
  const double elbow = -arm.elbowOffset * 180.0 / test::kPi;
  const Singularities all =
      arm.singularitiesOf(RobJoint(0, 0, elbow, 0, 0, 0), flangeAbove(0, 0), {1.0, 1.0, 10.0});
  EXPECT_EQ(all, (Singularities{true, true, true}));
  EXPECT_EQ(all.first(), SingularityType::wrist);
  const Singularities none =
      arm.singularitiesOf(RobJoint(0, 0, 0, 0, 30, 0), flangeAbove(1000, 500), {1.0, 1.0, 10.0});
  EXPECT_EQ(none, (Singularities{false, false, false}));
}

TEST(RobotConfigSingularities, WristAndElbowMarginsAreStrictAndSeparate) {
  const RobotConfig arm = DefaultArm();
  const double elbow = -arm.elbowOffset * 180.0 / test::kPi;
  const Pose away = flangeAbove(1000, 500);
  EXPECT_TRUE(arm.singularitiesOf(RobJoint(0, 0, 0, 0, -0.75, 0), away, {1.0, 0.1, 10.0}).wrist);
  EXPECT_FALSE(arm.singularitiesOf(RobJoint(0, 0, 0, 0, -0.75, 0), away, {0.75, 1.0, 10.0}).wrist);
  EXPECT_TRUE(
      arm.singularitiesOf(RobJoint(0, 0, elbow + 0.5, 0, 30, 0), away, {0.1, 0.6, 10.0}).elbow);
  EXPECT_FALSE(
      arm.singularitiesOf(RobJoint(0, 0, elbow - 0.5, 0, 30, 0), away, {1.0, 0.4, 10.0}).elbow);
}

TEST(RobotConfigSingularities, ShoulderIsTheDistanceFromTheAxisOfJointOne) {
  RobotConfig arm = DefaultArm();
  const RobJoint j(0, 0, -30, 0, 40, 0);
  // Wrist centre (3, 4, 1400): 5 mm from the base z axis, the axis of joint 1.
  EXPECT_TRUE(arm.singularitiesOf(j, flangeAbove(3, 4), {1.0, 1.0, 5.001}).shoulder);
  EXPECT_FALSE(arm.singularitiesOf(j, flangeAbove(3, 4), {1.0, 1.0, 4.999}).shoulder);
  // A margin of zero: no distance is below it.
  EXPECT_FALSE(arm.singularitiesOf(j, flangeAbove(0, 0), {1.0, 1.0, 0.0}).shoulder);
  // isConfSingular's square of half-width 4.5 holds (3, 4); the 4.5 mm distance does not.
  EXPECT_EQ(arm.isConfSingular(j, flangeAbove(3, 4), 0.5, 4.5), SingularityType::shoulder);
  EXPECT_FALSE(arm.singularitiesOf(j, flangeAbove(3, 4), {0.5, 0.5, 4.5}).shoulder);
  // Joint 1's axis moved to x = 100: the distance follows it, the base square does not.
  arm.jointPoints[0] = Pos(100, 0, 0);
  EXPECT_TRUE(arm.singularitiesOf(j, flangeAbove(100, 0), {1.0, 1.0, 1.0}).shoulder);
  EXPECT_FALSE(arm.singularitiesOf(j, flangeAbove(0, 0), {1.0, 1.0, 1.0}).shoulder);
  EXPECT_EQ(arm.isConfSingular(j, flangeAbove(100, 0), 0.5, 1.0), SingularityType::none);
}

TEST(Singularities, FirstIsWristThenElbowThenShoulder) {
  EXPECT_EQ((Singularities{false, false, false}).first(), SingularityType::none);
  EXPECT_EQ((Singularities{false, false, true}).first(), SingularityType::shoulder);
  EXPECT_EQ((Singularities{false, true, false}).first(), SingularityType::elbow);
  EXPECT_EQ((Singularities{false, true, true}).first(), SingularityType::elbow);
  EXPECT_EQ((Singularities{true, false, false}).first(), SingularityType::wrist);
  EXPECT_EQ((Singularities{true, false, true}).first(), SingularityType::wrist);
  EXPECT_EQ((Singularities{true, true, false}).first(), SingularityType::wrist);
  EXPECT_EQ((Singularities{true, true, true}).first(), SingularityType::wrist);
}

// ---- The limit verdict ----

TEST(RobotConfigLimits, FirstJointOutsideItsLimits) {
  const RobotConfig arm = DefaultArm();  // joint limits ±170, -90..150, -175..70, ±180, ±125, ±360
  EXPECT_EQ(arm.firstJointOutsideLimits(RobJoint(0, 0, 0, 0, 0, 0)), std::nullopt);
  EXPECT_EQ(arm.firstJointOutsideLimits(RobJoint(170, 150, -175, -180, 125, 360)), std::nullopt);
  EXPECT_EQ(arm.firstJointOutsideLimits(RobJoint(171, 0, 0, 0, 0, 0)),
            std::optional<std::size_t>(0));
  EXPECT_EQ(arm.firstJointOutsideLimits(RobJoint(0, 0, 71, 0, 126, 0)),
            std::optional<std::size_t>(2));
  EXPECT_EQ(arm.firstJointOutsideLimits(RobJoint(0, 0, 0, 0, 0, -360.1)),
            std::optional<std::size_t>(5));
}

TEST(RobotConfigLimits, CoupledJointsSeeEachOtherAndTheirSum) {
  RobotConfig arm = DefaultArm();
  arm.jointCoupling = 1;
  // Sum limit ±170: 150 + 30 = 180 is outside, so joint 2 already fails.
  const RobJoint j(0, 150, 30, 0, 0, 0);
  EXPECT_FALSE(arm.isJointAllowedIn(j, 1));
  EXPECT_FALSE(arm.isJointAllowedIn(j, 2));
  EXPECT_TRUE(arm.isJointAllowedIn(j, 0));
  EXPECT_EQ(arm.firstJointOutsideLimits(j), std::optional<std::size_t>(1));
  arm.jointCoupling = 0;
  EXPECT_EQ(arm.firstJointOutsideLimits(j), std::nullopt);
  EXPECT_FALSE(arm.isJointAllowedIn(j, 6));
}

}  // namespace
}  // namespace zor::rob
