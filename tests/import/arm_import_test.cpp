#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "import/test_arms.hpp"
#include "support/test_support.hpp"
#include "zor/rob/arm_import.hpp"

namespace zor::rob {
namespace {

using test::kHalfTurn;

/// Random joint vectors per comparison of two forms of one arm.
constexpr int kSamples = 10000;
/// Largest distance (mm) between the flange frames of two forms: their origins and the points
/// 1 m along their axes.
constexpr double kFlangeTolerance = 1e-9;

double pointDistance(const Transform& a, const Transform& b) {
  double worst = 0.0;
  for (const Pos& p : {Pos{0, 0, 0}, Pos{1000, 0, 0}, Pos{0, 1000, 0}, Pos{0, 0, 1000}})
    worst = std::max(worst, (a.transform(p) - b.transform(p)).norm());
  return worst;
}

/// Both the described flange and the library's flange agree over random joint vectors, and so
/// do the configurations; the derived members agree.
::testing::AssertionResult sameArm(const ImportedArm& actual, const ImportedArm& expected) {
  const RobotConfig& a = actual.robot;
  const RobotConfig& e = expected.robot;
  if (std::abs(a.elbowOffset - e.elbowOffset) > 1e-12)
    return ::testing::AssertionFailure()
           << "elbow offset " << a.elbowOffset << " instead of " << e.elbowOffset;
  if (std::abs(a.getWcpZOffset() - e.getWcpZOffset()) > kFlangeTolerance)
    return ::testing::AssertionFailure()
           << "wrist centre offset " << a.getWcpZOffset() << " instead of " << e.getWcpZOffset();
  if (a.sphericalWrist != e.sphericalWrist)
    return ::testing::AssertionFailure() << "spherical wrist " << a.sphericalWrist;
  if (pointDistance(actual.userFlange, expected.userFlange) > kFlangeTolerance)
    return ::testing::AssertionFailure() << "the described flange sits elsewhere";
  test::Random random;
  for (int s = 0; s < kSamples; ++s) {
    RobJoint j;
    for (double& v : j.values)
      v = random.uniform(-360, 360);
    const double user = pointDistance(actual.userFlangePose(j), expected.userFlangePose(j));
    const double library = pointDistance(a.getWristPoseInBase(j), e.getWristPoseInBase(j));
    if (user > kFlangeTolerance || library > kFlangeTolerance)
      return ::testing::AssertionFailure()
             << "flanges apart by " << user << " and " << library << " mm at " << j.toString();
    if (!(a.getRobTarget(j).robConf == e.getRobTarget(j).robConf))
      return ::testing::AssertionFailure() << "configurations differ at " << j.toString();
  }
  return ::testing::AssertionSuccess();
}

void expectLimits(const RobotConfig& robot, const ArmLimits& limits) {
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_NEAR(robot.jointMin[i], limits.jointMin[i], 1e-12) << "joint " << i + 1;
    EXPECT_NEAR(robot.jointMax[i], limits.jointMax[i], 1e-12) << "joint " << i + 1;
  }
  EXPECT_EQ(robot.homeJoint, limits.homeJoint);
  EXPECT_EQ(robot.jointCoupling, limits.jointCoupling);
}

// ---- The small ortho-parallel arm ----

TEST(SmallOrthoParallelArm, DhTableGivesTheHandBuiltModel) {
  const ArmLimits limits = test::smallArmLimits();
  const ImportedArm arm = ArmFromDh(test::smallArmDh(), limits);
  EXPECT_TRUE(sameArm(arm, test::smallArmExpected(limits)));
  EXPECT_FALSE(arm.flangeMoved());
  EXPECT_TRUE(arm.robot.sphericalWrist);
  EXPECT_NEAR(arm.robot.getWcpZOffset(), 72, 1e-12);
  expectLimits(arm.robot, limits);
}

TEST(SmallOrthoParallelArm, ParameterSetGivesTheHandBuiltModel) {
  const ArmLimits limits = test::smallArmLimits();
  const ImportedArm arm = ArmFromOrthoParallel(test::smallArmParameters(), limits);
  EXPECT_TRUE(sameArm(arm, test::smallArmExpected(limits)));
  expectLimits(arm.robot, limits);
}

TEST(SmallOrthoParallelArm, ParameterSetWithoutOffsetsIsTheLibrarysOwnArm) {
  const ArmLimits limits = test::smallArmLimits();
  ImportedArm own;
  own.robot = MakeOrthoParallelArm(test::smallArmParameters().lengths, limits.jointMin,
                                   limits.jointMax, limits.homeJoint, limits.jointCoupling);
  EXPECT_TRUE(sameArm(ArmFromOrthoParallel(test::smallArmParameters(), limits), own));
}

TEST(SmallOrthoParallelArm, UrdfGivesTheHandBuiltModelAndItsLimits) {
  const ImportedArm arm = ArmFromUrdf(test::kSmallArmUrdf, "base_link", "tool0");
  const ArmLimits limits = test::smallArmLimits();
  EXPECT_TRUE(sameArm(arm, test::smallArmExpected(limits)));
  EXPECT_FALSE(arm.flangeMoved());
  expectLimits(arm.robot, limits);
}

TEST(SmallOrthoParallelArm, UrdfFromTheRootFoldsTheFixedBaseJoint) {
  const ImportedArm arm = ArmFromUrdf(test::kSmallArmUrdf, "world", "tool0");
  EXPECT_TRUE(sameArm(arm, test::smallArmExpected(test::smallArmLimits())));
}

// ---- The large ortho-parallel arm ----

TEST(LargeOrthoParallelArm, ParameterSetWithOffsetsAndSignsGivesTheHandBuiltModel) {
  const ArmLimits limits = test::largeArmLimits();
  const ImportedArm arm = ArmFromOrthoParallel(test::largeArmParameters(), limits);
  EXPECT_TRUE(sameArm(arm, test::largeArmExpected(limits)));
  EXPECT_FALSE(arm.flangeMoved());
  EXPECT_TRUE(arm.robot.sphericalWrist);
  expectLimits(arm.robot, limits);
}

TEST(LargeOrthoParallelArm, ControllerValuesMapOntoTheGeometryBySignAndOffset) {
  const OrthoParallelParameters p = test::largeArmParameters();
  const ArmLimits limits = test::largeArmLimits();
  const RobotConfig imported = ArmFromOrthoParallel(p, limits).robot;
  const RobotConfig geometry = MakeOrthoParallelArm(p.lengths, limits.jointMin, limits.jointMax,
                                                    limits.homeJoint, limits.jointCoupling);
  test::Random random;
  for (int s = 0; s < 1000; ++s) {
    RobJoint q;
    RobJoint theta;
    for (std::size_t i = 0; i < 6; ++i) {
      q.values[i] = random.uniform(-360, 360);
      theta.values[i] = p.signs[i] * q.values[i] + p.offsets[i];
    }
    ASSERT_LE(pointDistance(imported.getWristPoseInBase(q), geometry.getWristPoseInBase(theta)),
              kFlangeTolerance)
        << q.toString();
  }
}

TEST(LargeOrthoParallelArm, UrdfGivesTheHandBuiltModelAndItsLimits) {
  const ImportedArm arm = ArmFromUrdf(test::kLargeArmUrdf, "base_link", "tool0");
  ArmLimits limits = test::largeArmLimits();
  // A URDF file has no home joints, so they are zero, or the end of limits that leave zero out
  // (joint 2's, −140 .. −5); and no coupled limits.
  limits.homeJoint = RobJoint(0, arm.robot.jointMax[1], 0, 0, 0, 0);
  limits.jointCoupling = 0;
  EXPECT_TRUE(sameArm(arm, test::largeArmExpected(limits)));
  expectLimits(arm.robot, limits);
}

// ---- The collaborative arm ----

TEST(CollaborativeArm, ClassicDhTableGivesTheHandBuiltModel) {
  const ArmLimits limits = test::collaborativeArmLimits();
  const ImportedArm arm = ArmFromDh(test::collaborativeArmDh(), limits);
  EXPECT_TRUE(sameArm(arm, test::collaborativeArmExpected(limits)));
  EXPECT_FALSE(arm.robot.sphericalWrist);
}

TEST(CollaborativeArm, ModifiedDhTableGivesTheHandBuiltModel) {
  const ArmLimits limits = test::collaborativeArmLimits();
  const ImportedArm arm = ArmFromDh(test::collaborativeArmModifiedDh(), limits);
  EXPECT_TRUE(sameArm(arm, test::collaborativeArmExpected(limits)));
}

TEST(CollaborativeArm, UrdfGivesTheHandBuiltModelAndItsLimits) {
  const ArmLimits limits = test::collaborativeArmLimits();
  const ImportedArm arm = ArmFromUrdf(test::kCollaborativeArmUrdf, "base_link", "flange");
  EXPECT_TRUE(sameArm(arm, test::collaborativeArmExpected(limits)));
  expectLimits(arm.robot, limits);
}

TEST(CollaborativeArm, FlangeMovesToTheWristCentreAndBack) {
  const ImportedArm arm = ArmFromDh(test::collaborativeArmDh(), test::collaborativeArmLimits());
  EXPECT_TRUE(arm.flangeMoved());
  EXPECT_EQ(arm.robot.getWcpZOffset(), 0.0);
  // The described flange at zero: 92.2 mm beyond the wrist centre along −y.
  const Transform home = arm.userFlangePose(RobJoint(0, 0, 0, 0, 0, 0));
  EXPECT_NEAR(home.translation.x, -1184.3, 1e-9);
  EXPECT_NEAR(home.translation.y, -256.141, 1e-9);
  EXPECT_NEAR(home.translation.z, 11.6, 1e-9);
  // The wrist centre of any pose is the library flange's origin.
  const RobJoint j(10, -20, 30, -40, 50, -60);
  RobotConfig robot = arm.robot;
  const RobTarget target = robot.getRobTarget(j);
  EXPECT_LE((robot.tcpToWcp(target.pose) - target.pose.pos).norm(), 0.0);
}

// ---- The inverse kinematics on imported arms ----

/// The inverse kinematics of `arm` finds, among the solutions of the flange pose of random joint
/// vectors inside the limits, those joint vectors again.
void expectInverseKinematicsFindsTheJoints(const ImportedArm& arm) {
  test::Random random;
  for (int s = 0; s < 50; ++s) {
    RobJoint j;
    for (std::size_t i = 0; i < 6; ++i)
      j.values[i] = random.uniform(arm.robot.jointMin[i] + 1, arm.robot.jointMax[i] - 1);
    if (std::abs(j.values[4]) < 5)
      continue;  // keep away from the wrist singularity, where joints 4 and 6 are free
    const Transform flange = arm.robot.getWristPoseInBase(j);
    const TargetConfiguration all = arm.robot.getAllJointSolutions(
        Pose(flange.translation.toPos(), flange.rotation.toOrient()));
    bool found = false;
    for (const RobJoint& solution : all.joints) {
      double worst = 0.0;
      for (std::size_t i = 0; i < 6; ++i)
        worst = std::max(worst, std::abs(solution.values[i] - j.values[i]));
      found = found || worst < 1e-6;
    }
    EXPECT_TRUE(found) << j.toString();
  }
}

TEST(ImportedArmInverseKinematics, FindsTheJointsOfEveryOrthoParallelForm) {
  expectInverseKinematicsFindsTheJoints(ArmFromDh(test::smallArmDh(), test::smallArmLimits()));
  expectInverseKinematicsFindsTheJoints(ArmFromUrdf(test::kSmallArmUrdf, "base_link", "tool0"));
  ArmLimits large = test::largeArmLimits();
  large.jointCoupling = 0;
  expectInverseKinematicsFindsTheJoints(ArmFromOrthoParallel(test::largeArmParameters(), large));
  expectInverseKinematicsFindsTheJoints(ArmFromUrdf(test::kLargeArmUrdf, "base_link", "tool0"));
}

// ---- ImportedArm ----

TEST(ImportedArm, FlangePoseOfUserFlangeUndoesUserFlangePose) {
  const ImportedArm arm = ArmFromDh(test::collaborativeArmDh(), test::collaborativeArmLimits());
  const RobJoint j(15, -35, 55, 75, -95, 115);
  const Transform user = arm.userFlangePose(j);
  const Pose back =
      arm.flangePoseOfUserFlange(Pose(user.translation.toPos(), user.rotation.toOrient()));
  const Transform library = arm.robot.getWristPoseInBase(j);
  EXPECT_LE((back.pos - library.translation.toPos()).norm(), 1e-9);
  EXPECT_NEAR(std::abs(RotationTemplate<double>(back.orient.q1, back.orient.q2, back.orient.q3,
                                                back.orient.q4)
                           .dot(library.rotation)),
              1.0, 1e-12);
}

TEST(ImportedArm, UnmovedFlangeIsTheIdentity) {
  const ImportedArm arm = ArmFromDh(test::smallArmDh(), test::smallArmLimits());
  EXPECT_FALSE(arm.flangeMoved());
  const RobJoint j(1, 2, 3, 4, 5, 6);
  EXPECT_LE(pointDistance(arm.userFlangePose(j), arm.robot.getWristPoseInBase(j)), 0.0);
}

// ---- What the library form rejects ----

DhTable smallArmWith(std::size_t row, const DhRow& value) {
  DhTable t = test::smallArmDh();
  t.rows[row] = value;
  return t;
}

TEST(LibraryForm, RejectsJointOneTurningTheOtherWay) {
  OrthoParallelParameters p = test::largeArmParameters();
  p.signs[0] = -1;
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, test::largeArmLimits()), std::invalid_argument,
                   "joint 1 must turn about the base z axis, upwards (shoulder configuration "
                   "and singularity)");
}

TEST(LibraryForm, RejectsJointOneOffTheBaseZAxis) {
  DhTable t = test::collaborativeArmModifiedDh();
  t.rows[0].a = 100;
  EXPECT_THROW_MSG(ArmFromDh(t, ArmLimits{}), std::invalid_argument,
                   "joint 1 must turn about the base z axis, upwards (shoulder configuration "
                   "and singularity)");
}

TEST(LibraryForm, RejectsElbowAxesThatAreNotParallel) {
  EXPECT_THROW_MSG(ArmFromDh(smallArmWith(1, {270, 30, 0, -90}), ArmLimits{}),
                   std::invalid_argument,
                   "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)");
}

TEST(LibraryForm, RejectsElbowAxesThatCoincide) {
  OrthoParallelParameters p = test::smallArmParameters();
  p.lengths.c2 = 0;
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, ArmLimits{}), std::invalid_argument,
                   "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)");
}

TEST(LibraryForm, RejectsAWristCentreOnTheElbowAxis) {
  OrthoParallelParameters p = test::smallArmParameters();
  p.lengths.a2 = 0;
  p.lengths.c3 = 0;
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, ArmLimits{}), std::invalid_argument,
                   "the wrist centre must lie off the axis of joint 3 (the elbow offset)");
}

TEST(LibraryForm, RejectsWristAxesFiveAndSixThatMiss) {
  EXPECT_THROW_MSG(ArmFromDh(smallArmWith(4, {10, -90, 0, 0}), ArmLimits{}), std::invalid_argument,
                   "the axes of joints 5 and 6 must meet (the wrist centre)");
}

TEST(LibraryForm, RejectsParallelWristAxesFiveAndSix) {
  // Axis 6 turned onto axis 5 leaves axis 4: in the order of the checks, the wrist singularity
  // is the first assumption broken.
  EXPECT_THROW_MSG(ArmFromDh(smallArmWith(4, {0, 0, 0, 0}), ArmLimits{}), std::invalid_argument,
                   "joint 5 at zero must line up the axes of joints 4 and 6 (the wrist "
                   "singularity)");
}

TEST(LibraryForm, RejectsJointFiveZeroAwayFromTheWristSingularity) {
  OrthoParallelParameters p = test::smallArmParameters();
  p.offsets[4] = 90;
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, ArmLimits{}), std::invalid_argument,
                   "joint 5 at zero must line up the axes of joints 4 and 6 (the wrist "
                   "singularity)");
}

TEST(LibraryForm, RejectsCoordinatesThatOverflow) {
  DhTable t = test::smallArmDh();
  t.rows[1].a = 1.5e308;
  t.rows[2].a = 1.5e308;
  EXPECT_THROW_MSG(ArmFromDh(t, ArmLimits{}), std::invalid_argument,
                   "the arm's joint axes, points and flange must be finite");
}

TEST(LibraryForm, RejectsAnUpperArmBeyondAnyArmByItsSize) {
  // Beside an upper arm of 1e200 mm the forearm's 302 mm would vanish in rounding: the size is
  // checked first, as for an arm in any other form.
  DhTable t = test::smallArmDh();
  t.rows[1].a = 1e200;
  EXPECT_THROW_MSG(ArmFromDh(t, ArmLimits{}), std::invalid_argument,
                   "the arm's joint points and flange must lie within 1e7 mm of the base");
}

TEST(LibraryForm, MovesTheFlangeWhenJointOneStartsTurned) {
  // At a joint-1 offset of 90° the flange's z axis points along base +y.
  OrthoParallelParameters p = test::smallArmParameters();
  p.offsets[0] = 90;
  const ImportedArm arm = ArmFromOrthoParallel(p, ArmLimits{});
  EXPECT_TRUE(arm.flangeMoved());
  EXPECT_EQ(arm.robot.getWcpZOffset(), 0.0);
  EXPECT_LE((arm.userFlange.translation - Vec3{0, 0, 72}).norm(), 1e-12);
  const RobotConfig geometry = MakeOrthoParallelArm(
      p.lengths, ArmLimits{}.jointMin, ArmLimits{}.jointMax, RobJoint(0, 0, 0, 0, 0, 0), 0);
  const RobJoint q(10, 20, 30, 40, 50, 60);
  EXPECT_LE(pointDistance(arm.userFlangePose(q),
                          geometry.getWristPoseInBase(RobJoint(100, 20, 30, 40, 50, 60))),
            kFlangeTolerance);
}

// ---- What the table readers reject ----

TEST(DhTable, RejectsANonFiniteEntryNamingRowAndColumn) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_THROW_MSG(ArmFromDh(smallArmWith(0, {nan, 0, 0, 0}), ArmLimits{}), std::invalid_argument,
                   "DH row 1: 'a' must be a finite number");
  EXPECT_THROW_MSG(ArmFromDh(smallArmWith(2, {0, inf, 0, 0}), ArmLimits{}), std::invalid_argument,
                   "DH row 3: 'alpha' must be a finite number");
  EXPECT_THROW_MSG(ArmFromDh(smallArmWith(4, {0, 0, -inf, 0}), ArmLimits{}), std::invalid_argument,
                   "DH row 5: 'd' must be a finite number");
  EXPECT_THROW_MSG(ArmFromDh(smallArmWith(5, {0, 0, 0, nan}), ArmLimits{}), std::invalid_argument,
                   "DH row 6: 'thetaOffset' must be a finite number");
}

TEST(OrthoParallelParameters, RejectsANonFiniteLength) {
  OrthoParallelParameters p = test::smallArmParameters();
  p.lengths.c3 = std::numeric_limits<double>::infinity();
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, ArmLimits{}), std::invalid_argument,
                   "ortho-parallel 'c3' must be a finite number");
}

TEST(OrthoParallelParameters, RejectsANonFiniteOffset) {
  OrthoParallelParameters p = test::smallArmParameters();
  p.offsets[3] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, ArmLimits{}), std::invalid_argument,
                   "ortho-parallel offset of joint 4 must be a finite number");
}

TEST(OrthoParallelParameters, RejectsASignOtherThanOneOrMinusOne) {
  OrthoParallelParameters p = test::smallArmParameters();
  p.signs[5] = 0;
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, ArmLimits{}), std::invalid_argument,
                   "ortho-parallel sign of joint 6 must be 1 or -1");
  p.signs[5] = 2;
  EXPECT_THROW_MSG(ArmFromOrthoParallel(p, ArmLimits{}), std::invalid_argument,
                   "ortho-parallel sign of joint 6 must be 1 or -1");
}

}  // namespace
}  // namespace zor::rob
