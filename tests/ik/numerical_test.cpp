#include <gtest/gtest.h>

#include "ik/ik_test_support.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

/// Samples per test: the numerical path costs about 0.1 ms a pose (Release).
#if defined(__SANITIZE_ADDRESS__)
constexpr int kSamples = 200;
#else
constexpr int kSamples = 2000;
#endif

/// The default arm with axis 6 and the flange moved 10 mm along base y at home: axis 6 misses
/// the wrist centre, so the wrist is not spherical and the numerical path answers.
RobotConfig offsetWristArm() {
  const RobotConfig arm = DefaultArm();
  std::array<Pos, 6> points = arm.jointPoints;
  points[5].y += 10;
  Transform flange = arm.flangeHome;
  flange.translation.y += 10;
  return MakeRobotConfig(arm.jointAxes, points, flange, arm.jointMin, arm.jointMax, arm.homeJoint,
                         arm.elbowOffset, arm.jointCoupling);
}

TEST(InverseKinematicsNumerical, EverySolutionOfAnOffsetWristIsValid) {
  const RobotConfig arm = offsetWristArm();
  ASSERT_FALSE(arm.sphericalWrist);
  test::Random random;
  int listed = 0;
  for (int n = 0; n < kSamples; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    const RobTarget target = arm.getRobTarget(j);
    const TargetConfiguration all = arm.getAllJointSolutions(target.pose);
    ASSERT_TRUE(test::allSolutionsValid(arm, all, target.pose)) << j.toString();
    listed += test::findSolution(all, j) >= 0 ? 1 : 0;
  }
  // The seeds from the closed form of the spherical-wrist arm nearby find the sampled joints
  // nearly always (measured: all but a few in a thousand, near the shoulder singularity, where
  // the 10 mm offset moves the solutions far).
  EXPECT_GE(listed, kSamples * 98 / 100);
}

TEST(InverseKinematicsNumerical, ASeedNearTheJointsFindsThem) {
  const RobotConfig arm = offsetWristArm();
  test::Random random;
  for (int n = 0; n < kSamples; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    if (!test::clearOfSingularities(arm, j))
      continue;
    RobJoint seed = j;
    for (double& v : seed.values)
      v += random.uniform(-5, 5);
    const Pose pose = arm.getRobTarget(j).pose;
    // Listed; not necessarily the nearest, since near the stretched elbow the other elbow branch
    // may lie nearer to the seed.
    EXPECT_GE(test::findSolution(arm.getAllJointSolutions(pose, seed), j), 0) << j.toString();
  }
}

TEST(InverseKinematicsNumerical, GeneralArmsGiveOnlyValidSolutions) {
  test::Random random;
  int found = 0;
  for (int a = 0; a < 20; ++a) {
    const RobotConfig arm = test::randomArm(random);
    for (int n = 0; n < kSamples / 100; ++n) {
      const RobJoint j = test::randomAllowedJoints(random, arm);
      const Pose pose = arm.getRobTarget(j).pose;
      const TargetConfiguration all = arm.getAllJointSolutions(pose, j);
      ASSERT_TRUE(test::allSolutionsValid(arm, all, pose));
      found += test::findSolution(all, j) >= 0 ? 1 : 0;
    }
  }
  // Started from the joints themselves, the solver keeps them.
  EXPECT_EQ(found, 20 * (kSamples / 100));
}

}  // namespace
}  // namespace zor::rob
