#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "ik/ik_test_support.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::allSolutionsValid;
using test::findSolution;
using test::jointDistance;
using test::reproduces;

Pose poseOf(const RobotConfig& arm, const RobJoint& j) {
  return arm.getRobTarget(j).pose;
}

/// Every solution of the pose of `j`, each checked to be valid.
TargetConfiguration validSolutionsOf(const RobotConfig& arm, const RobJoint& j) {
  const Pose pose = poseOf(arm, j);
  TargetConfiguration all = arm.getAllJointSolutions(pose);
  EXPECT_TRUE(allSolutionsValid(arm, all, pose)) << j.toString();
  return all;
}

// ---- Round trips over random joints on every ortho-parallel arm ----

class RoundTrip : public ::testing::TestWithParam<int> {};

TEST_P(RoundTrip, EverySolutionIsValidAndTheJointsComeBack) {
  const test::NamedArm named = test::orthoParallelArms()[static_cast<std::size_t>(GetParam())];
  const RobotConfig& arm = named.arm;
  SCOPED_TRACE(named.name);
  test::Random random;
  int failures = 0;
  int clear = 0;
  int ambiguous = 0;
  for (int n = 0; n < test::kRoundTripSamples && failures < 5; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    const RobTarget target = arm.getRobTarget(j);
    const TargetConfiguration all = arm.getAllJointSolutions(target.pose);
    const ::testing::AssertionResult valid = allSolutionsValid(arm, all, target.pose);
    if (!valid) {
      ++failures;
      ADD_FAILURE() << valid.message() << " for " << j.toString();
      continue;
    }
    if (!test::clearOfSingularities(arm, j))
      continue;
    ++clear;
    if (findSolution(all, j) < 0) {
      ++failures;
      ADD_FAILURE() << "not listed: " << j.toString();
      continue;
    }
    // The solution of the target's configuration: j itself when no other solution shares its
    // label, otherwise the first one that does (the elbow bent past its folded position, or a
    // lateral offset that puts both shoulder branches on one side of the wrist centre).
    const std::optional<RobJoint> back = arm.getJointSolution(target);
    int sharing = 0;
    int first = -1;
    for (std::size_t i = 0; i < all.size(); ++i)
      if (all.confs[i].isCriticalEqual(all.joints[i], target.robConf)) {
        first = first < 0 ? static_cast<int>(i) : first;
        ++sharing;
      }
    ambiguous += sharing > 1 ? 1 : 0;
    const RobJoint expected = sharing == 1 ? j : all.joints[static_cast<std::size_t>(first)];
    if (!back || jointDistance(*back, expected) > test::kJointAccuracy) {
      ++failures;
      ADD_FAILURE() << "getJointSolution of " << j.toString() << " gave "
                    << (back ? back->toString() : std::string("nothing"));
    }
  }
  RecordProperty("ambiguous", ambiguous);
  EXPECT_GT(clear, test::kRoundTripSamples / 4);
}

INSTANTIATE_TEST_SUITE_P(OrthoParallelArms, RoundTrip, ::testing::Range(0, 7));

TEST(InverseKinematics, ArmsWithOtherHomesAndSignsTakeTheClosedForm) {
  // The closed form answers in well under a millisecond even for many poses; the numerical path
  // would not find all eight branches of a far pose from its seeds. Here: all eight branches of
  // a pose in front of the arm, clear of every limit.
  const RobotConfig arm = test::rehomedArm(DefaultArm(), RobJoint(20, -35, 50, 70, -40, 15),
                                           {true, false, true, true, false, true});
  RobotConfig wide = arm;
  for (std::size_t i = 0; i < 6; ++i) {
    wide.jointMin[i] = -180;
    wide.jointMax[i] = 180;
  }
  const RobJoint j(5, 10, -20, 30, 10, 50);
  EXPECT_EQ(wide.getAllJointSolutions(poseOf(wide, j)).size(), 8u);
}

// ---- The wrist singularity ----

TEST(InverseKinematicsWrist, JointFiveAtZeroKeepsJointFourAtZeroWithoutASeed) {
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, 30, 40, 0, 50);
  const TargetConfiguration all = validSolutionsOf(arm, j);
  // Joints 4 and 6 share one turn of 90 degrees: joint 4 at 0, joint 6 at 90 (or −270).
  EXPECT_GE(findSolution(all, RobJoint(10, 20, 30, 0, 0, 90)), 0);
  EXPECT_GE(findSolution(all, RobJoint(10, 20, 30, 0, 0, -270)), 0);
  for (const RobJoint& s : all.joints) {
    if (std::abs(s.values[4]) < 1e-9) {
      EXPECT_EQ(s.values[3], 0.0);
    }
  }
}

TEST(InverseKinematicsWrist, JointFiveAtZeroKeepsTheSeedsJointFour) {
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, 30, 40, 0, 50);
  const Pose pose = poseOf(arm, j);
  const TargetConfiguration all = arm.getAllJointSolutions(pose, j);
  EXPECT_TRUE(allSolutionsValid(arm, all, pose));
  EXPECT_GE(findSolution(all, j), 0);
  const std::optional<RobJoint> nearest = arm.getNearestJointSolution(pose, j);
  ASSERT_TRUE(nearest.has_value());
  EXPECT_LE(jointDistance(*nearest, j), test::kJointAccuracy);
}

TEST(InverseKinematicsWrist, JointFiveAtZeroIsListedOnceNotFlipped) {
  const RobotConfig arm = DefaultArm();
  const Pose pose = poseOf(arm, RobJoint(10, 20, 30, 40, 0, 50));
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  int atZero = 0;
  for (std::size_t i = 0; i < all.size(); ++i)
    if (all.joints[i].values[0] == all.joints[0].values[0] &&
        std::abs(all.joints[i].values[4]) < 1e-9 && std::abs(all.joints[i].values[5] - 90) < 1e-6) {
      ++atZero;
      EXPECT_EQ(all.confs[i].cfx % 2, 0);
    }
  EXPECT_EQ(atZero, 1);
}

TEST(InverseKinematicsWrist, JointFiveJustOffZeroReproducesThePoseWithBothWristSigns) {
  const RobotConfig arm = DefaultArm();
  for (const double j5 : {1e-9, -1e-9}) {
    const RobJoint j(10, 20, 30, 40, j5, 50);
    const Pose pose = poseOf(arm, j);
    const TargetConfiguration all = arm.getAllJointSolutions(pose, j);
    EXPECT_TRUE(allSolutionsValid(arm, all, pose));
    bool flipped = false;
    bool notFlipped = false;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const RobJoint& s = all.joints[i];
      if (std::abs(s.values[0] - 10) > 1e-6 || std::abs(s.values[1] - 20) > 1e-6)
        continue;
      // Joints 4 and 6 together turn by 90 degrees (modulo turns), however they share it.
      const double sum = std::remainder(s.values[3] + s.values[5] - 90.0, 360.0);
      EXPECT_NEAR(sum, 0.0, 1e-6) << s.toString();
      (s.values[4] < 0 ? flipped : notFlipped) = true;
    }
    EXPECT_TRUE(flipped);
    EXPECT_TRUE(notFlipped);
  }
}

// ---- The shoulder singularity ----

/// An arm with a1 = a2 = 0 whose wrist centre reaches the axis of joint 1 at j2 = 20, j3 = −130
/// (upper arm and forearm both 500 mm: the elbow stands 500 sin 20° ahead of the axis, and the
/// forearm at 20 − 130 = −110 degrees brings it back by 500 cos(−110°)... = −500 sin 20°).
RobotConfig shoulderArm() {
  return test::orthoArm(0, 0, 0, 400, 500, 500, 80,
                        test::limits(-170, -100, -170, -190, -125, -360, -170),
                        test::limits(170, 150, 70, 190, 125, 360, 170), 0);
}

TEST(InverseKinematicsShoulder, WristCentreOnAxisOneKeepsTheSeedsJointOne) {
  const RobotConfig arm = shoulderArm();
  const RobJoint j(30, 20, -130, 10, 40, 20);
  const Pose pose = poseOf(arm, j);
  const Transform flange = arm.getWristPoseInBase(j);
  const Vec3 wcp = flange.translation - flange.rotation.rotateVector({0, 0, 80});
  ASSERT_LT(std::hypot(wcp.x, wcp.y), 1e-10);
  const TargetConfiguration all = arm.getAllJointSolutions(pose, j);
  EXPECT_TRUE(allSolutionsValid(arm, all, pose));
  EXPECT_GE(findSolution(all, j), 0);
  for (const RobJoint& s : all.joints)
    EXPECT_TRUE(std::abs(s.values[0] - 30) < 1e-9 ||
                std::abs(std::abs(s.values[0] - 30) - 180) < 1e-9)
        << s.toString();
}

TEST(InverseKinematicsShoulder, WristCentreOnAxisOneKeepsTheHomeJointOneWithoutASeed) {
  const RobotConfig arm = shoulderArm();
  const Pose pose = poseOf(arm, RobJoint(30, 20, -130, 10, 40, 20));
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  ASSERT_FALSE(all.empty());
  EXPECT_TRUE(allSolutionsValid(arm, all, pose));
  for (const RobJoint& s : all.joints)
    EXPECT_TRUE(std::abs(s.values[0]) < 1e-9 || std::abs(std::abs(s.values[0]) - 180) < 1e-9);
}

TEST(InverseKinematicsShoulder, LabelsAtTheBoundaryBetweenFrontAndBehindAreFromRobJoints) {
  // The shoulder arm's geometry with a lateral offset of 120 mm: at j2 = 20, j3 = −130 the wrist
  // centre stands 120 mm beside the axis of joint 1, a quarter turn from joint 1 exactly (up to
  // rounding), where the shoulder bit changes. Turning joint 2 up moves the wrist centre ahead.
  const RobotConfig arm = test::orthoArm(0, 0, 120, 400, 500, 500, 80,
                                         test::limits(-170, -100, -170, -190, -125, -360, -170),
                                         test::limits(170, 150, 70, 190, 125, 360, 170), 0);
  const RobJoint ahead(30, 20 + 1e-5, -130, 10, 40, 20);
  const RobJoint behind(30, 20 - 1e-5, -130, 10, 40, 20);
  ASSERT_EQ(ConfData::FromRobJoint(ahead, arm).cfx & 4, 0);
  ASSERT_EQ(ConfData::FromRobJoint(behind, arm).cfx & 4, 4);
  std::vector<double> steps{20 - 1e-5, 20 - 1e-9, 20 + 1e-9, 20 + 1e-5};
  // Within rounding of the boundary the side read from the target and the side read from a
  // solution's own flange pose can differ.
  for (int k = -100; k <= 100; ++k)
    steps.push_back(20 + k * 4e-15);  // about one ulp of 20 apart
  for (const double j2 : steps) {
    const RobJoint j(30, j2, -130, 10, 40, 20);
    const Pose pose = poseOf(arm, j);
    const TargetConfiguration all = arm.getAllJointSolutions(pose);
    EXPECT_TRUE(allSolutionsValid(arm, all, pose)) << j2;
    EXPECT_GE(findSolution(all, j), 0) << j2;
  }
}

// ---- The elbow ----

TEST(InverseKinematicsElbow, StretchedElbowIsListedOnce) {
  const RobotConfig arm = DefaultArm();
  const double stretched = -arm.elbowOffset * 180.0 / test::kPi;
  const RobJoint j(10, 20, stretched, 40, 30, 50);
  const TargetConfiguration all = validSolutionsOf(arm, j);
  EXPECT_GE(findSolution(all, j), 0);
  // Front shoulder: one elbow, two wrists, two turns of joint 6.
  int front = 0;
  for (const ConfData& c : all.confs)
    front += c.cfx < 4 ? 1 : 0;
  EXPECT_EQ(front, 4);
}

TEST(InverseKinematicsElbow, FoldedElbowIsListedOnce) {
  const RobotConfig arm = test::orthoArm(150, -110, 0, 450, 600, 640, 100,
                                         test::limits(-170, -100, -200, -190, -125, -180, -400),
                                         test::limits(170, 150, 200, 190, 125, 180, 400), 0);
  const double folded = 180.0 - arm.elbowOffset * 180.0 / test::kPi;
  const RobJoint j(10, 20, folded, 40, 30, 50);
  const TargetConfiguration all = validSolutionsOf(arm, j);
  EXPECT_GE(findSolution(all, j), 0);
  int withJointOne = 0;
  for (const RobJoint& s : all.joints)
    withJointOne += std::abs(s.values[0] - 10) < 1e-6 ? 1 : 0;
  EXPECT_EQ(withJointOne, 2);  // one elbow solution, two wrists, one turn each
}

/// The flange pose of `j` moved by `distance` mm away from the axis of joint 2, in the plane
/// normal to it: the wrist centre moves alike.
Pose movedFromAxisTwo(const RobotConfig& arm, const RobJoint& j, double distance) {
  const Transform link1 = arm.getLinkPose(j, 1);
  const Vec3 axis = link1.rotation.rotateVector(arm.jointAxes[1]);
  const Vec3 point = link1.transform(arm.jointPoints[1].toVec3());
  const Transform flange = arm.getWristPoseInBase(j);
  const Vec3 wcp = flange.translation - flange.rotation.rotateVector({0, 0, arm.getWcpZOffset()});
  Vec3 out = wcp - point;
  out = out - axis * axis.dot(out);
  out = out * (distance / out.norm());
  Pose pose = poseOf(arm, j);
  pose.pos = pose.pos + out;
  return pose;
}

TEST(InverseKinematicsPose, AQuaternionWhoseSquaredNormOverflowsIsItsRotation) {
  // Any finite, non-zero multiple of the orientation record stands for the same rotation, also
  // where the sum of its squares overflows.
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, -30, 40, 50, 60);
  const Pose pose = arm.getRobTarget(j).pose;
  const TargetConfiguration unit = arm.getAllJointSolutions(pose);
  ASSERT_GE(findSolution(unit, j, test::kJointAccuracy), 0);
  for (const double scale : {1e300, std::numeric_limits<double>::max() / 2.0}) {
    SCOPED_TRACE(scale);
    Pose scaled = pose;
    scaled.orient = {pose.orient.q1 * scale, pose.orient.q2 * scale, pose.orient.q3 * scale,
                     pose.orient.q4 * scale};
    const TargetConfiguration all = arm.getAllJointSolutions(scaled);
    ASSERT_EQ(all.size(), unit.size());
    EXPECT_TRUE(allSolutionsValid(arm, all, pose));
    EXPECT_GE(findSolution(all, j, test::kJointAccuracy), 0);
    const JointSolution nearest = arm.findNearestJointSolution(scaled, j);
    ASSERT_TRUE(nearest.found());
    EXPECT_LT(jointDistance(nearest.joints, j), test::kJointAccuracy);
  }
}

TEST(InverseKinematicsReach, JustInsideTheReachIsFound) {
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, -arm.elbowOffset * 180.0 / test::kPi, 40, 30, 50);
  const Pose pose = movedFromAxisTwo(arm, j, -1e-6);
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  EXPECT_TRUE(allSolutionsValid(arm, all, pose));
  // 1e-6 mm inside the stretched reach bends the elbow by about 0.005 degrees.
  EXPECT_GE(findSolution(all, j, 0.01), 0);
}

TEST(InverseKinematicsReach, JustOutsideTheReachIsOutOfReach) {
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, -arm.elbowOffset * 180.0 / test::kPi, 40, 30, 50);
  const Pose pose = movedFromAxisTwo(arm, j, 1e-6);
  RobTarget target(pose);
  target.robConf = arm.getRobTarget(j).robConf;
  const JointSolution s = arm.findJointSolution(target);
  EXPECT_EQ(s.status, IkStatus::outOfReach);
  EXPECT_FALSE(s.found());
  EXPECT_FALSE(arm.getJointSolution(target).has_value());
}

TEST(InverseKinematicsReach, FarAwayIsOutOfReach) {
  const RobotConfig arm = DefaultArm();
  const Pose pose({5000, 0, 0}, {1, 0, 0, 0});
  EXPECT_TRUE(arm.getAllJointSolutions(pose).empty());
  EXPECT_EQ(arm.findNearestJointSolution(pose, RobJoint(0, 0, 0, 0, 0, 0)).status,
            IkStatus::outOfReach);
}

TEST(InverseKinematicsReach, LateralOffsetHidesTheCylinderAroundAxisOne) {
  // With b = 120 the wrist centre cannot come nearer than 120 mm to the axis of joint 1.
  const RobotConfig arm = test::orthoParallelArms()[3].arm;
  const Pose pose({50, 0, 1200}, {0.7071067811865476, 0, 0.7071067811865476, 0});
  EXPECT_EQ(arm.findNearestJointSolution(pose, RobJoint(0, 0, 0, 0, 0, 0)).status,
            IkStatus::outOfReach);
}

// ---- Limits and turns ----

TEST(InverseKinematicsLimits, SolutionsJustInsideBothLimitsAreListed) {
  const RobotConfig arm = DefaultArm();
  for (const double j1 : {170.0 - 1e-7, -170.0 + 1e-7}) {
    const RobJoint j(j1, 20, 30, 40, 30, 50);
    const TargetConfiguration all = arm.getAllJointSolutions(poseOf(arm, j));
    EXPECT_GE(findSolution(all, j), 0) << j1;
  }
}

TEST(InverseKinematicsLimits, SolutionsJustOutsideBothLimitsAreNotListed) {
  const RobotConfig arm = DefaultArm();
  for (const double j2 : {150.0 + 1e-5, -90.0 - 1e-5}) {
    const RobJoint j(10, j2, 30, 40, 30, 50);
    const Pose pose = poseOf(arm, j);
    const TargetConfiguration all = arm.getAllJointSolutions(pose);
    EXPECT_TRUE(allSolutionsValid(arm, all, pose));
    EXPECT_LT(findSolution(all, j, 1e-3), 0) << j2;
  }
}

TEST(InverseKinematicsLimits, NoSolutionInsideTheLimitsIsReported) {
  RobotConfig arm = DefaultArm();
  arm.jointMin[1] = -1;
  arm.jointMax[1] = 1;
  const RobJoint j(10, 60, 30, 40, 30, 50);
  RobTarget target = arm.getRobTarget(j);
  EXPECT_TRUE(arm.getAllJointSolutions(target.pose).empty());
  EXPECT_EQ(arm.findJointSolution(target).status, IkStatus::outsideJointLimits);
  EXPECT_EQ(arm.findNearestJointSolution(target.pose, j).status, IkStatus::outsideJointLimits);
}

TEST(InverseKinematicsLimits, LimitsThatAdmitNothingOrAreNaNAreOutsideTheJointLimits) {
  const RobJoint j(10, 60, 30, 40, 30, 50);
  for (std::size_t i = 0; i < 6; ++i)
    for (int fault = 0; fault < 3; ++fault) {
      RobotConfig arm = DefaultArm();
      const Pose pose = arm.getRobTarget(j).pose;
      if (fault == 0)
        std::swap(arm.jointMin[i], arm.jointMax[i]);  // every joint's limits are nonzero
      else if (fault == 1)
        arm.jointMin[i] = std::nan("");
      else
        arm.jointMax[i] = std::nan("");
      TargetConfiguration all;
      EXPECT_EQ(arm.findAllJointSolutions(pose, nullptr, all), IkStatus::outsideJointLimits)
          << i << " " << fault;
      EXPECT_TRUE(all.empty());
      EXPECT_EQ(arm.findNearestJointSolution(pose, j).status, IkStatus::outsideJointLimits);
      EXPECT_EQ(arm.findJointSolution(RobTarget(pose)).status, IkStatus::outsideJointLimits);
    }
}

/// The default arm's geometry with other limits.
RobotConfig defaultGeometry(const std::array<double, 7>& lo, const std::array<double, 7>& hi) {
  return test::orthoArm(150, -110, 0, 450, 600, 640, 100, lo, hi, 0);
}

/// \returns how many solutions of `all` share joints 2, 3 and 5 with `j`: the turns of its
/// branch.
int onBranchOf(const TargetConfiguration& all, const RobJoint& j) {
  int count = 0;
  for (const RobJoint& s : all.joints)
    count += std::abs(s.values[1] - j.values[1]) < 1e-6 &&
                     std::abs(s.values[2] - j.values[2]) < 1e-6 &&
                     std::abs(s.values[4] - j.values[4]) < 1e-6
                 ? 1
                 : 0;
  return count;
}

TEST(InverseKinematicsLimits, EveryTurnOfJointsOneFourAndSixThatTheLimitsAdmitIsListed) {
  const RobotConfig arm = defaultGeometry(test::limits(-270, -100, -170, -400, -125, -360, -170),
                                          test::limits(270, 150, 70, 400, 125, 360, 170));
  const RobJoint j(100, 20, 30, 30, 40, 50);
  const TargetConfiguration all = validSolutionsOf(arm, j);
  // Joint 1: 100, −260; joint 4: 30, 390, −330; joint 6: 50, −310.
  int turns = 0;
  for (const double j1 : {100.0, -260.0})
    for (const double j4 : {30.0, 390.0, -330.0})
      for (const double j6 : {50.0, -310.0}) {
        EXPECT_GE(findSolution(all, RobJoint(j1, 20, 30, j4, 40, j6)), 0)
            << j1 << " " << j4 << " " << j6;
        ++turns;
      }
  EXPECT_EQ(onBranchOf(all, j), turns);
}

/// \returns value + 360 k for every whole k, in ascending order, that lies strictly inside
/// (lo, hi), for limits within ±10^6 degrees.
std::vector<double> turnsInside(double value, double lo, double hi) {
  std::vector<double> inside;
  for (int k = -3000; k <= 3000; ++k) {
    const double v = value + 360.0 * k;
    if (v > lo && v < hi)
      inside.push_back(v);
  }
  return inside;
}

TEST(InverseKinematicsLimits, TurnsBeyondOneAndLimitsAwayFromZeroAreListed) {
  // Joint 1 only at 370 (its value 10 lies below the limits), joints 4 and 6 at five turns each.
  const RobotConfig arm = defaultGeometry(test::limits(100, -100, -170, -800, -125, -1000, -170),
                                          test::limits(460, 150, 70, 800, 125, 1000, 170));
  const RobJoint j(370, 20, 30, 30, 40, 50);
  const TargetConfiguration all = validSolutionsOf(arm, j);
  const std::vector<double> joint4 = turnsInside(30, -800, 800);
  const std::vector<double> joint6 = turnsInside(50, -1000, 1000);
  ASSERT_EQ(joint4.size(), 5U);
  ASSERT_EQ(joint6.size(), 5U);
  for (const double j4 : joint4)
    for (const double j6 : joint6)
      EXPECT_GE(findSolution(all, RobJoint(370, 20, 30, j4, 40, j6)), 0) << j4 << " " << j6;
  for (const RobJoint& s : all.joints)
    EXPECT_GT(s.values[0], 100.0);
  EXPECT_EQ(onBranchOf(all, j), 25);
}

TEST(InverseKinematicsLimits, TurnsTwoAwayAreListedAtEitherEndOfLimitsTwoToFourTurnsWide) {
  // Joint 4 at 50 within (−700, 100) has its turns at −310 and −670, joint 6 at −50 within
  // (−100, 700) at 310 and 670: the second turn away lies inside although the limits are less
  // than four turns wide, at the lower end for one joint and at the upper end for the other.
  const RobotConfig arm = defaultGeometry(test::limits(-170, -100, -170, -700, -125, -100, -170),
                                          test::limits(170, 150, 70, 100, 125, 700, 170));
  const RobJoint j(10, 20, 30, 50, 40, -50);
  const TargetConfiguration all = validSolutionsOf(arm, j);
  const std::vector<double> joint4 = turnsInside(50, -700, 100);
  const std::vector<double> joint6 = turnsInside(-50, -100, 700);
  ASSERT_EQ(joint4, (std::vector<double>{-670, -310, 50}));
  ASSERT_EQ(joint6, (std::vector<double>{-50, 310, 670}));
  for (const double j4 : joint4)
    for (const double j6 : joint6)
      EXPECT_GE(findSolution(all, RobJoint(10, 20, 30, j4, 40, j6)), 0) << j4 << " " << j6;
  EXPECT_EQ(onBranchOf(all, j), 9);
}

TEST(InverseKinematicsLimits, EveryTurnOfWideLimitsIsListed) {
  const RobotConfig arm = defaultGeometry(test::limits(-170, -100, -170, -180, -125, -1e6, -170),
                                          test::limits(170, 150, 70, 180, 125, 1e6, 170));
  const RobJoint j(10, 20, 30, 30, 40, 50);
  const TargetConfiguration all = validSolutionsOf(arm, j);
  const std::vector<double> joint6 = turnsInside(50, -1e6, 1e6);
  ASSERT_EQ(joint6.size(), 5555U);  // 50 − 2777 · 360 = −999670 up to 50 + 2777 · 360 = 999770
  std::vector<double> listed;
  for (const RobJoint& s : all.joints)
    if (std::abs(s.values[0] - 10) < 1e-6 && std::abs(s.values[1] - 20) < 1e-6 &&
        std::abs(s.values[2] - 30) < 1e-6 && std::abs(s.values[3] - 30) < 1e-6 &&
        std::abs(s.values[4] - 40) < 1e-6)
      listed.push_back(s.values[5]);
  ASSERT_EQ(listed.size(), joint6.size());
  for (std::size_t i = 0; i < listed.size(); ++i)
    EXPECT_NEAR(listed[i], joint6[i], 1e-6) << i;
}

TEST(InverseKinematicsLimits, CoupledSumLimitExcludesSolutions) {
  const RobotConfig arm = test::orthoParallelArms()[5].arm;  // sum limit −120 .. 60
  const RobJoint inside(10, 40, 10, 20, 30, 40);             // sum 50
  const RobJoint outside(10, 60, 10, 20, 30, 40);            // sum 70
  EXPECT_GE(findSolution(arm.getAllJointSolutions(poseOf(arm, inside)), inside), 0);
  const Pose pose = poseOf(arm, outside);
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  EXPECT_TRUE(allSolutionsValid(arm, all, pose));
  EXPECT_LT(findSolution(all, outside), 0);
  RobotConfig uncoupled = arm;
  uncoupled.jointCoupling = 0;
  EXPECT_GE(findSolution(uncoupled.getAllJointSolutions(pose), outside), 0);
}

// ---- Configurations ----

TEST(InverseKinematicsConfiguration, RequestedConfigurationThatTheLimitsForbidIsReported) {
  const RobotConfig arm = DefaultArm();
  // Joint 6 at 300 lies inside ±360; its quadrant 3 with the other joints is reachable only
  // there. Ask for quadrant 5 of joint 6 (joint 6 at 480), beyond the limit.
  const RobJoint j(10, 20, 30, 40, 30, 300);
  RobTarget target = arm.getRobTarget(j);
  ASSERT_TRUE(arm.getJointSolution(target).has_value());
  target.robConf.cf6 = 5;
  const JointSolution s = arm.findJointSolution(target);
  EXPECT_EQ(s.status, IkStatus::noSolutionInConfiguration);
  EXPECT_FALSE(arm.getJointSolution(target).has_value());
}

TEST(InverseKinematicsConfiguration, EachConfigurationOfAPoseGivesItsOwnSolution) {
  const RobotConfig arm = DefaultArm();
  const Pose pose = poseOf(arm, RobJoint(10, 20, 30, 40, 30, 50));
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  ASSERT_FALSE(all.empty());
  for (std::size_t i = 0; i < all.size(); ++i) {
    RobTarget target(pose);
    target.robConf = all.confs[i];
    const JointSolution s = arm.findJointSolution(target);
    ASSERT_TRUE(s.found());
    EXPECT_EQ(s.conf, all.confs[i]);
    EXPECT_EQ(s.joints.values, all.joints[i].values);
  }
}

TEST(InverseKinematicsConfiguration, AJointAtZeroAcceptsQuadrantZeroOrMinusOne) {
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, 30, 0, 30, 50);
  RobTarget target = arm.getRobTarget(j);
  target.robConf.cf4 = target.robConf.cf4 == 0 ? -1 : 0;
  const std::optional<RobJoint> s = arm.getJointSolution(target);
  ASSERT_TRUE(s.has_value());
  EXPECT_LE(jointDistance(*s, j), test::kJointAccuracy);
}

TEST(InverseKinematicsConfiguration, SolutionsAreOrderedByConfigurationThenJoints) {
  const RobotConfig arm = DefaultArm();
  const TargetConfiguration all =
      arm.getAllJointSolutions(poseOf(arm, RobJoint(10, 20, 30, 40, 30, 50)));
  for (std::size_t i = 1; i < all.size(); ++i) {
    const bool ordered = all.confs[i - 1].cfx < all.confs[i].cfx ||
                         (all.confs[i - 1].cfx == all.confs[i].cfx &&
                          all.joints[i - 1].values < all.joints[i].values);
    EXPECT_TRUE(ordered) << i;
  }
}

// ---- The nearest solution ----

TEST(InverseKinematicsNearest, NearestSolutionHasTheSmallestLargestJointDifference) {
  const RobotConfig arm = DefaultArm();
  test::Random random;
  for (int n = 0; n < 200; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    const RobJoint seed = test::randomAllowedJoints(random, arm);
    const Pose pose = poseOf(arm, j);
    const TargetConfiguration all = arm.getAllJointSolutions(pose, seed);
    const std::optional<RobJoint> nearest = arm.getNearestJointSolution(pose, seed);
    ASSERT_EQ(nearest.has_value(), !all.empty());
    if (!nearest)
      continue;
    // The first solution (in list order) with the smallest distance.
    std::size_t best = 0;
    for (std::size_t i = 1; i < all.size(); ++i)
      if (jointDistance(all.joints[i], seed) < jointDistance(all.joints[best], seed))
        best = i;
    EXPECT_EQ(nearest->values, all.joints[best].values);
  }
}

TEST(InverseKinematicsNearest, ASeedNearTheSolutionFindsIt) {
  const RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, 30, 40, 30, 300);
  const RobJoint seed(12, 18, 33, 37, 31, 290);
  const JointSolution s = arm.findNearestJointSolution(poseOf(arm, j), seed);
  ASSERT_TRUE(s.found());
  EXPECT_LE(jointDistance(s.joints, j), test::kJointAccuracy);
  EXPECT_EQ(s.conf, ConfData::FromRobJoint(s.joints, arm));
}

// ---- Bad input ----

TEST(InverseKinematicsInput, ZeroQuaternionThrows) {
  const RobotConfig arm = DefaultArm();
  const Pose pose({1000, 0, 1000}, {0, 0, 0, 0});
  EXPECT_THROW_MSG(arm.getAllJointSolutions(pose), std::logic_error,
                   "normalize quaternion of 0 magnitude");
  EXPECT_THROW_MSG(arm.findJointSolution(RobTarget(pose)), std::logic_error,
                   "normalize quaternion of 0 magnitude");
}

TEST(InverseKinematicsInput, NonFinitePoseHasNoSolution) {
  const RobotConfig arm = DefaultArm();
  const double nan = std::nan("");
  EXPECT_TRUE(arm.getAllJointSolutions(Pose({nan, 0, 1000}, {1, 0, 0, 0})).empty());
  EXPECT_TRUE(arm.getAllJointSolutions(Pose({HUGE_VAL, 0, 1000}, {1, 0, 0, 0})).empty());
  EXPECT_TRUE(arm.getAllJointSolutions(Pose({1000, 0, 1000}, {nan, 0, 0, 0})).empty());
}

TEST(InverseKinematicsInput, EditingTheArmChangesTheAnswers) {
  RobotConfig arm = DefaultArm();
  const RobJoint j(10, 20, 30, 40, 30, 50);
  EXPECT_GE(findSolution(arm.getAllJointSolutions(poseOf(arm, j)), j), 0);
  RobotConfig longer =
      test::orthoArm(150, -110, 0, 450, 700, 640, 100, arm.jointMin, arm.jointMax, 0);
  arm.jointPoints = longer.jointPoints;
  arm.flangeHome = longer.flangeHome;
  const TargetConfiguration all = validSolutionsOf(arm, j);
  EXPECT_GE(findSolution(all, j), 0);
}

// ---- Status text ----

TEST(IkStatusText, EachStatusWritesItsText) {
  const auto text = [](IkStatus s) {
    std::ostringstream os;
    os << s;
    return os.str();
  };
  EXPECT_EQ(text(IkStatus::found), "found");
  EXPECT_EQ(text(IkStatus::outOfReach), "out of reach");
  EXPECT_EQ(text(IkStatus::outsideJointLimits), "outside the joint limits");
  EXPECT_EQ(text(IkStatus::noSolutionInConfiguration),
            "no solution in the requested configuration");
}

TEST(IkStatusText, UnknownStatusSetsFailbitAndWritesNothing) {
  std::ostringstream os;
  os << static_cast<IkStatus>(4);
  EXPECT_TRUE(os.fail());
  EXPECT_EQ(os.str(), "");
}

}  // namespace
}  // namespace zor::rob
