// Joint limits of many turns, seeds of any size, and the honesty of the inverse kinematics'
// verdicts. Expected solutions come from the branches of the same pose on limits of one turn,
// turned by whole turns in the test and labelled by ConfData::FromRobJoint.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "ik/ik_test_support.hpp"
#include "support/test_support.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::jointDistance;
using test::reproduces;

/// Limits of one turn, (−180 − 1e-3, 180], on every joint: each branch of a pose once.
RobotConfig oneTurnOf(RobotConfig arm) {
  for (std::size_t i = 0; i < 6; ++i) {
    arm.jointMin[i] = -180.0 + 1e-3;
    arm.jointMax[i] = 180.0;
  }
  arm.jointMin[6] = -1e9;
  arm.jointMax[6] = 1e9;
  return arm;
}

RobotConfig withLimits(RobotConfig arm, const std::array<double, 7>& lo,
                       const std::array<double, 7>& hi) {
  arm.jointMin = lo;
  arm.jointMax = hi;
  return arm;
}

std::array<double, 7> everyJoint(double value, double sum) {
  return {value, value, value, value, value, value, sum};
}

/// One expected solution: joints, label, and the verdict of the limits.
struct Expected {
  RobJoint joints;
  ConfData conf;
};

/// Every solution of `pose` on `arm`, by turning each branch of the pose (found on the arm with
/// limits of one turn) by every whole turn up to `turns` either way that the limits allow, in
/// list order.
std::vector<Expected> bruteForce(const RobotConfig& arm, const Pose& pose, int turns) {
  const TargetConfiguration branches = oneTurnOf(arm).getAllJointSolutions(pose);
  std::vector<Expected> out;
  for (const RobJoint& b : branches.joints) {
    std::array<std::vector<double>, 6> values;
    for (std::size_t i = 0; i < 6; ++i)
      for (int k = -turns; k <= turns; ++k) {
        const double v = b.values[i] + 360.0 * k;
        if (v > arm.jointMin[i] - RobotConfig::kJointLimitTolerance &&
            v < arm.jointMax[i] + RobotConfig::kJointLimitTolerance)
          values[i].push_back(v);
      }
    std::array<std::size_t, 6> k{};
    while (std::all_of(values.begin(), values.end(), [](const auto& v) { return !v.empty(); })) {
      RobJoint j;
      for (std::size_t i = 0; i < 6; ++i)
        j.values[i] = values[i][k[i]];
      if (test::insideLimits(arm, j))
        out.push_back({j, ConfData::FromRobJoint(j, arm)});
      std::size_t i = 6;
      while (i > 0 && k[i - 1] + 1 == values[i - 1].size())
        k[--i] = 0;
      if (i == 0)
        break;
      ++k[i - 1];
    }
  }
  std::sort(out.begin(), out.end(), [](const Expected& a, const Expected& b) {
    if (a.conf.cfx != b.conf.cfx)
      return a.conf.cfx < b.conf.cfx;
    return a.joints.values < b.joints.values;
  });
  return out;
}

/// The expected nearest: smallest largest difference, the first in list order among equals.
const Expected* nearestOf(const std::vector<Expected>& all, const RobJoint& seed) {
  const Expected* best = nullptr;
  double bestWorst = 0.0;
  for (const Expected& e : all) {
    const double worst = jointDistance(e.joints, seed);
    if (best == nullptr || worst < bestWorst) {
      best = &e;
      bestWorst = worst;
    }
  }
  return best;
}

/// The expected in-configuration solution: the first in list order whose label matches.
const Expected* matchingOf(const std::vector<Expected>& all, const ConfData& conf) {
  for (const Expected& e : all)
    if (e.conf.isCriticalEqual(e.joints, conf))
      return &e;
  return nullptr;
}

/// Checks the nearest solution to `seed` of `pose` on `arm` against the list `all`.
void expectNearest(const RobotConfig& arm, const Pose& pose, const std::vector<Expected>& all,
                   const RobJoint& seed) {
  const Expected* want = nearestOf(all, seed);
  const JointSolution got = arm.findNearestJointSolution(pose, seed);
  ASSERT_TRUE(got.found());
  EXPECT_LT(jointDistance(got.joints, want->joints), 1e-9)
      << seed.toString() << " " << got.joints.toString() << " " << want->joints.toString();
  EXPECT_EQ(got.conf, want->conf);
}

/// Checks the solution of `pose` on `arm` in the configuration `conf` against the list `all`.
void expectInConfiguration(const RobotConfig& arm, const Pose& pose,
                           const std::vector<Expected>& all, const ConfData& conf) {
  RobTarget target(pose);
  target.robConf = conf;
  const Expected* match = matchingOf(all, conf);
  const JointSolution inConf = arm.findJointSolution(target);
  ASSERT_TRUE(inConf.found());
  EXPECT_LT(jointDistance(inConf.joints, match->joints), 1e-9)
      << conf.toString() << " " << inConf.joints.toString() << " " << match->joints.toString();
}

const RobJoint kJoints(10, 20, 30, 30, 40, 50);

TEST(IkWideLimits, JointSixNearEighteenThousandListsEveryTurn) {
  const RobotConfig arm =
      withLimits(DefaultArm(), test::limits(-170, -90, -175, -180, -125, 17900, -170),
                 test::limits(170, 150, 70, 180, 125, 18100, 170));
  const Pose pose = arm.getRobTarget(kJoints).pose;
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  const std::vector<Expected> expected = bruteForce(arm, pose, 51);
  ASSERT_EQ(all.size(), expected.size());
  EXPECT_GE(expected.size(), 1U);
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_LT(jointDistance(all.joints[i], expected[i].joints), 1e-9) << i;
    EXPECT_EQ(all.confs[i], expected[i].conf) << i;
  }
  EXPECT_GE(test::findSolution(all, RobJoint(10, 20, 30, 30, 40, 50 + 360.0 * 50)), 0);
}

TEST(IkWideLimits, LimitsAMillionDegreesOutAreSolved) {
  const RobotConfig arm =
      withLimits(DefaultArm(), test::limits(-170, -90, -175, -180, -125, 1e6, -170),
                 test::limits(170, 150, 70, 180, 125, 1e6 + 400, 170));
  const Pose pose = arm.getRobTarget(kJoints).pose;
  // 50 + 360 k inside (1e6, 1e6 + 400): k = 2778, 50 + 1000080.
  const RobJoint far(10, 20, 30, 30, 40, 1000130);
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  EXPECT_GE(test::findSolution(all, far), 0);
  for (const RobJoint& j : all.joints) {
    EXPECT_TRUE(test::insideLimits(arm, j)) << j.toString();
    EXPECT_TRUE(reproduces(arm, j, pose)) << j.toString();
  }
  const JointSolution nearest = arm.findNearestJointSolution(pose, kJoints);
  ASSERT_TRUE(nearest.found());
  EXPECT_LT(jointDistance(nearest.joints, far), 1e-6);
  RobTarget target(pose);
  target.robConf = ConfData::FromRobJoint(far, arm);
  const JointSolution matching = arm.findJointSolution(target);
  ASSERT_TRUE(matching.found());
  EXPECT_LT(jointDistance(matching.joints, far), 1e-6);
}

/// Wide limits on the default arm and on an arm with coupled limits of joints 2 and 3: the
/// queries against the brute-force list, on random poses and seeds.
class WideQueries : public ::testing::TestWithParam<int> {};

RobotConfig wideArm(int which) {
  constexpr double kWide = 1100.0;  // six turns of every joint
  if (which == 0)
    return withLimits(DefaultArm(), everyJoint(-kWide, -1e9), everyJoint(kWide, 1e9));
  RobotConfig coupled = test::orthoParallelArms()[5].arm;
  coupled.jointMin = everyJoint(-kWide, -400);
  coupled.jointMax = everyJoint(kWide, 500);
  return coupled;
}

TEST_P(WideQueries, NearestAndInConfigurationMatchEveryTurnListed) {
  const RobotConfig arm = wideArm(GetParam());
  test::Random random;
#if defined(__SANITIZE_ADDRESS__)
  constexpr int kPoses = 1;
#else
  constexpr int kPoses = 4;
#endif
  for (int p = 0; p < kPoses; ++p) {
    RobJoint j;
    for (std::size_t i = 0; i < 6; ++i)
      j.values[i] = random.uniform(-170, 170);
    j.values[4] = random.uniform(10, 120) * (random.uniform(0, 1) < 0.5 ? -1 : 1);
    const Pose pose = arm.getRobTarget(j).pose;
    const std::vector<Expected> all = bruteForce(arm, pose, 3);
    ASSERT_GT(all.size(), RobotConfig::kMaxJointSolutions) << j.toString();
    EXPECT_THROW(
        {
          try {
            (void)arm.getAllJointSolutions(pose);
          } catch (const std::length_error& e) {
            EXPECT_STREQ(e.what(), "the joint limits admit more than 100000 solutions of the pose");
            throw;
          }
        },
        std::length_error);
    for (int s = 0; s < 6; ++s) {
      RobJoint seed;
      for (std::size_t i = 0; i < 6; ++i)
        seed.values[i] = random.uniform(-1500, 1500);
      expectNearest(arm, pose, all, seed);
      expectInConfiguration(
          arm, pose, all,
          all[static_cast<std::size_t>(random.integer(0, static_cast<int>(all.size()) - 1))].conf);
    }
    // Seeds within a quarter turn of a listed solution, where each joint's nearest turn is the
    // only one that near.
    for (int s = 0; s < 6; ++s) {
      const Expected& near =
          all[static_cast<std::size_t>(random.integer(0, static_cast<int>(all.size()) - 1))];
      RobJoint seed;
      for (std::size_t i = 0; i < 6; ++i)
        seed.values[i] = near.joints.values[i] + random.uniform(-80, 80);
      expectNearest(arm, pose, all, seed);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Arms, WideQueries, ::testing::Values(0, 1));

TEST(IkWideLimits, OneJointOfManyTurnsBesideJointsOfFew) {
  // Joint 6 over 67 turns, joint 4 over six, the others within one: the queries against the
  // brute-force list, with seeds near and far, inside and beyond the limits.
  const RobotConfig arm =
      withLimits(DefaultArm(), test::limits(-170, -90, -175, -1100, -125, -12000, -170),
                 test::limits(170, 150, 70, 1100, 125, 12000, 170));
  test::Random random;
  for (int p = 0; p < 2; ++p) {
    RobJoint j;
    for (std::size_t i = 0; i < 6; ++i)
      j.values[i] = random.uniform(arm.jointMin[i] / 8.0, arm.jointMax[i] / 8.0);
    j.values[4] = random.uniform(10, 120) * (random.uniform(0, 1) < 0.5 ? -1 : 1);
    const Pose pose = arm.getRobTarget(j).pose;
    const std::vector<Expected> all = bruteForce(arm, pose, 34);
    ASSERT_GT(all.size(), 400U);
    for (int s = 0; s < 12; ++s) {
      const Expected& near =
          all[static_cast<std::size_t>(random.integer(0, static_cast<int>(all.size()) - 1))];
      RobJoint seed;
      const double spread = s < 6 ? 80.0 : 13000.0;
      for (std::size_t i = 0; i < 6; ++i)
        seed.values[i] = near.joints.values[i] + random.uniform(-spread, spread);
      expectNearest(arm, pose, all, seed);
      expectInConfiguration(arm, pose, all, near.conf);
    }
  }
}

TEST(IkWideLimits, VerdictsOfTheInConfigurationQueryOnWideLimits) {
  // Every joint but joint 2 at ±10^6 degrees. Joint 2 of the pose's joints is 60: with joint 2
  // within ±1 no branch lies inside the limits; within ±170 one does, and joint 1's quadrant
  // chooses the turn, so any configuration of the pose's own is found and a shoulder flipped
  // against joint 1's quadrant is not.
  const RobJoint j(10, 60, 30, 40, 30, 50);
  RobotConfig arm = withLimits(DefaultArm(), everyJoint(-1e6, -1e9), everyJoint(1e6, 1e9));
  const RobTarget target = arm.getRobTarget(j);
  arm.jointMin[1] = -1;
  arm.jointMax[1] = 1;
  EXPECT_EQ(arm.findJointSolution(target).status, IkStatus::outsideJointLimits);
  EXPECT_EQ(arm.findNearestJointSolution(target.pose, j).status, IkStatus::outsideJointLimits);
  arm.jointMin[1] = -170;
  arm.jointMax[1] = 170;
  const JointSolution own = arm.findJointSolution(target);
  ASSERT_TRUE(own.found());
  EXPECT_LT(jointDistance(own.joints, j), 1e-9);
  RobTarget flipped = target;
  flipped.robConf.cfx ^= 4;
  EXPECT_EQ(arm.findJointSolution(flipped).status, IkStatus::noSolutionInConfiguration);
}

TEST(IkWideLimits, ListsWithinTheCapAreSortedAndComplete) {
  // Four turns of joints 4 and 6, three of joint 1: 8 · 3 · 4 · 4 · ... solutions, sorted.
  const RobotConfig arm =
      withLimits(DefaultArm(), test::limits(-500, -90, -175, -700, -125, -700, -170),
                 test::limits(500, 150, 70, 700, 125, 700, 170));
  const Pose pose = arm.getRobTarget(kJoints).pose;
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  const std::vector<Expected> expected = bruteForce(arm, pose, 3);
  ASSERT_GT(all.size(), 64U);
  ASSERT_EQ(all.size(), expected.size());
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_LT(jointDistance(all.joints[i], expected[i].joints), 1e-9) << i;
    EXPECT_EQ(all.confs[i], expected[i].conf) << i;
  }
}

TEST(IkWideLimits, EveryJointAtAMillionDegrees) {
  const RobotConfig arm = withLimits(DefaultArm(), everyJoint(-1e6, -2e6), everyJoint(1e6, 2e6));
  const Pose pose = arm.getRobTarget(kJoints).pose;
  EXPECT_THROW((void)arm.getAllJointSolutions(pose), std::length_error);
  TargetConfiguration list;
  EXPECT_THROW((void)arm.findAllJointSolutions(pose, nullptr, list), std::length_error);
  // A seed 3600 degrees off on joint 1 and −7200 on joint 6: the same turns of the pose's joints.
  const RobJoint seed(3610, 20, 30, 30, 40, -7150);
  const JointSolution nearest = arm.findNearestJointSolution(pose, seed);
  ASSERT_TRUE(nearest.found());
  EXPECT_LT(jointDistance(nearest.joints, seed), 1e-9);
  // A seed beyond the limits: the largest joint 6 of any branch's last turn inside. Every other
  // joint's turns then lie nearer than that one, and the first in list order is taken.
  double largest = 0.0;
  for (const RobJoint& b : oneTurnOf(arm).getAllJointSolutions(pose).joints)
    largest = std::max(largest, b.values[5] + 360.0 * std::floor((1e6 - b.values[5]) / 360.0));
  const RobJoint far(10, 20, 30, 30, 40, 5e6);
  const JointSolution beyond = arm.findNearestJointSolution(pose, far);
  ASSERT_TRUE(beyond.found());
  EXPECT_NEAR(beyond.joints.values[5], largest, 1e-9);
  EXPECT_EQ(jointDistance(beyond.joints, far), 5e6 - beyond.joints.values[5]);
  EXPECT_TRUE(reproduces(arm, beyond.joints, pose));
}

TEST(IkWideLimits, LimitsBeyondAMilliardDegreesAreRejected) {
  const Pose pose = DefaultArm().getRobTarget(kJoints).pose;
  for (const double bad : {2e9, std::numeric_limits<double>::infinity()}) {
    RobotConfig arm = DefaultArm();
    arm.jointMax[2] = bad;
    const std::string message = "the limits of joint 3 must lie within ±1e9 degrees";
    try {
      (void)arm.getAllJointSolutions(pose);
      ADD_FAILURE() << "no error";
    } catch (const std::invalid_argument& e) {
      EXPECT_EQ(e.what(), message);
    }
    try {
      (void)arm.findNearestJointSolution(pose, kJoints);
      ADD_FAILURE() << "no error";
    } catch (const std::invalid_argument& e) {
      EXPECT_EQ(e.what(), message);
    }
    arm.jointMax[2] = 70;
    arm.jointMin[5] = -bad;
    try {
      (void)arm.findJointSolution(RobTarget(pose));
      ADD_FAILURE() << "no error";
    } catch (const std::invalid_argument& e) {
      EXPECT_STREQ(e.what(), "the limits of joint 6 must lie within ±1e9 degrees");
    }
  }
}

TEST(IkSeeds, NonFiniteSeedsAreRejected) {
  const RobotConfig arm = DefaultArm();
  const Pose pose = arm.getRobTarget(kJoints).pose;
  for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity()}) {
    RobJoint seed = kJoints;
    seed.values[3] = bad;
    try {
      (void)arm.findNearestJointSolution(pose, seed);
      ADD_FAILURE() << "no error";
    } catch (const std::invalid_argument& e) {
      EXPECT_STREQ(e.what(), "seed joint 4 must be a finite number");
    }
    EXPECT_THROW((void)arm.getNearestJointSolution(pose, seed), std::invalid_argument);
    EXPECT_THROW((void)arm.getAllJointSolutions(pose, seed), std::invalid_argument);
    RobotConfig home = arm;
    home.homeJoint.values[0] = bad;
    try {
      (void)home.getAllJointSolutions(pose);
      ADD_FAILURE() << "no error";
    } catch (const std::invalid_argument& e) {
      EXPECT_STREQ(e.what(), "home joint 1 must be a finite number");
    }
  }
}

TEST(IkSeeds, HugeSeedsPickTheNearestTurnInside) {
  const RobotConfig arm = DefaultArm();  // joint 4 within ±180, joint 6 within ±360
  const Pose home = arm.getRobTarget(RobJoint(0, 0, 0, 0, 0, 0)).pose;
  // At joint 5 = 0 joint 4 keeps the seed's value (its turn inside the limits), joint 6 the rest;
  // every solution differs from the seed by about 18000 on joint 4, the nearest is one of them.
  const auto listedWithSeed = [&](double joint4, const RobJoint& expected) {
    const TargetConfiguration all = arm.getAllJointSolutions(home, RobJoint(0, 0, 0, joint4, 0, 0));
    EXPECT_GE(test::findSolution(all, expected, 1e-9), 0) << joint4;
    const JointSolution s = arm.findNearestJointSolution(home, RobJoint(0, 0, 0, joint4, 0, 0));
    ASSERT_TRUE(s.found());
    EXPECT_TRUE(reproduces(arm, s.joints, home));
    EXPECT_NEAR(s.joints.values[3], expected.values[3], 1e-9);
  };
  listedWithSeed(18000, RobJoint(0, 0, 0, 0, 0, 0));
  listedWithSeed(18030, RobJoint(0, 0, 0, 30, 0, -30));
  // 1e300 is 1e300 − 360 k for some whole k: std::remainder gives its turn within ±180.
  const double r = std::remainder(1e300, 360.0);
  listedWithSeed(1e300, RobJoint(0, 0, 0, r, 0, -r));
  // Away from the singularity a huge seed only chooses among the turns.
  const Pose pose = arm.getRobTarget(kJoints).pose;
  const JointSolution v = arm.findNearestJointSolution(pose, RobJoint(10, 20, 30, 30, 40, -1e300));
  ASSERT_TRUE(v.found());
  EXPECT_LT(jointDistance(v.joints, RobJoint(10, 20, 30, 30, 40, -310)), 1e-9);
}

TEST(IkSeeds, HugeSeedOnTheThreeParallelWristKeepsJointSixTurned) {
  const RobotConfig arm = ArmFromDh(test::collaborativeDh(), test::halfTurnLimits()).robot;
  ASSERT_EQ(arm.ikMethod(), IkMethod::threeParallelClosedForm);
  const RobJoint j(10, -60, 70, 20, 0, 40);  // joint 5 at 0: joint 6 is free
  const Pose pose = arm.getRobTarget(j).pose;
  RobJoint seed = j;
  seed.values[5] = 40 + 360.0 * 1000;
  const TargetConfiguration all = arm.getAllJointSolutions(pose, seed);
  const int i = test::findSolution(all, j, 1e-9);
  ASSERT_GE(i, 0);
  EXPECT_TRUE(reproduces(arm, all.joints[static_cast<std::size_t>(i)], pose));
}

}  // namespace
}  // namespace zor::rob
