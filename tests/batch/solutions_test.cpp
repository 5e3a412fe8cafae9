// AllJointSolutions against findAllJointSolutions called pose by pose: the same solutions (bit
// for bit), configurations, order and statuses, in the build the processor runs (the lanes of the
// closed form in both builds are compared with the scalar closed form in
// closed_form_lanes_test.cpp).
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "ik/ik_test_support.hpp"
#include "robot/arm_reference.hpp"
#include "support/random_unit.hpp"
#include "support/test_support.hpp"
#include "zor/rob/batch.hpp"
#include "zor/rob/inverse_kinematics.hpp"

namespace zor::rob {
namespace {

/// Random poses per arm: fewer in the sanitizer build, where each costs far more.
constexpr std::size_t kRandomCount = ZORROB_BATCH_RANDOM_COUNT;

/// Half flange poses of random joints (within ±400 degrees, so some outside the limits), half
/// random positions within 2 m of the base with random orientations (many out of reach), one in
/// eight of those with its orientation record scaled by 3.
std::vector<Pose> randomPoses(const RobotConfig& robot, std::size_t n, std::uint64_t seed) {
  test::Random random(seed);
  std::vector<Pose> poses;
  for (std::size_t i = 0; i < n; ++i) {
    if (i % 2 == 0) {
      RobJoint j;
      for (double& v : j.values)
        v = random.uniform(-400.0, 400.0);
      poses.push_back(robot.getWristPoseInBase(j).toPose());
      continue;
    }
    const Eigen::Vector4d q = test::randomUnitQuaternion(random) * (i % 8 == 1 ? 3.0 : 1.0);
    poses.push_back(Pose(
        {random.uniform(-2000, 2000), random.uniform(-2000, 2000), random.uniform(-1000, 2500)},
        {q[0], q[1], q[2], q[3]}));
  }
  return poses;
}

/// The scalar calls' results in the batch's form.
JointSolutionsBatch scalarSolutions(const RobotConfig& robot, const std::vector<Pose>& poses) {
  JointSolutionsBatch expected;
  expected.offsets.push_back(0);
  TargetConfiguration list;
  for (const Pose& pose : poses) {
    expected.statuses.push_back(robot.findAllJointSolutions(pose, nullptr, list));
    expected.joints.insert(expected.joints.end(), list.joints.begin(), list.joints.end());
    expected.confs.insert(expected.confs.end(), list.confs.begin(), list.confs.end());
    expected.offsets.push_back(expected.joints.size());
  }
  return expected;
}

/// Success when both hold the same solutions: joints bit for bit, configurations, offsets and
/// statuses equal; otherwise names the first pose that differs.
::testing::AssertionResult sameSolutions(const JointSolutionsBatch& actual,
                                         const JointSolutionsBatch& expected) {
  if (actual.offsets != expected.offsets || actual.statuses != expected.statuses)
    return ::testing::AssertionFailure() << "offsets or statuses differ";
  for (std::size_t i = 0; i < expected.joints.size(); ++i) {
    const auto& a = actual.joints[i].values;
    const auto& e = expected.joints[i].values;
    for (std::size_t k = 0; k < 6; ++k)
      if (std::bit_cast<std::uint64_t>(a[k]) != std::bit_cast<std::uint64_t>(e[k]))
        return ::testing::AssertionFailure()
               << "solution " << i << " joint " << k + 1 << ": " << a[k] << " against " << e[k];
    if (!(actual.confs[i] == expected.confs[i]))
      return ::testing::AssertionFailure() << "solution " << i << ": configurations differ";
  }
  return ::testing::AssertionSuccess();
}

void expectBatchEqualsScalar(const std::string& name, const RobotConfig& robot,
                             const std::vector<Pose>& poses,
                             std::initializer_list<unsigned> threadCounts) {
  const JointSolutionsBatch expected = scalarSolutions(robot, poses);
  JointSolutionsBatch batch;
  for (const unsigned threads : threadCounts) {
    SCOPED_TRACE(name + ", " + std::to_string(poses.size()) + " poses, " + std::to_string(threads) +
                 " threads");
    AllJointSolutions(robot, poses, batch, threads);
    EXPECT_EQ(batch.size(), poses.size());
    EXPECT_TRUE(sameSolutions(batch, expected));
  }
}

/// The default arm with a sum limit on joints 2 and 3 and joints 1, 4 and 6 turning several
/// times: branches of many turns (listed by arithmetic) and lists longer than 64 (sorted through
/// an index).
RobotConfig coupledWideArm() {
  return MakeOrthoParallelArm(
      DefaultArmGeometry(), {-200.0, -90.0, -175.0, -1000.0, -125.0, -1800.0, -60.0},
      {200.0, 150.0, 70.0, 1000.0, 125.0, 1800.0, 40.0}, RobJoint(0, 0, 0, 0, 0, 0), 1);
}

TEST(AllJointSolutions, EqualTheScalarCallsOnRandomPosesOnOneAndSeveralThreads) {
  const RobotConfig robot = DefaultArm();
  expectBatchEqualsScalar("default arm", robot, randomPoses(robot, kRandomCount, 31), {1U, 2U});
}

TEST(AllJointSolutions, EqualTheScalarCallsWithCoupledLimitsAndManyTurns) {
  const RobotConfig robot = coupledWideArm();
  const std::vector<Pose> poses = randomPoses(robot, kRandomCount / 50, 32);
  expectBatchEqualsScalar("coupled wide arm", robot, poses, {1U, 3U});
  // The lists are long somewhere, and some solutions fall to the sum limit alone.
  JointSolutionsBatch batch;
  AllJointSolutions(robot, poses, batch);
  std::size_t longest = 0;
  for (std::size_t i = 0; i < batch.size(); ++i)
    longest = std::max(longest, batch.offsets[i + 1] - batch.offsets[i]);
  EXPECT_GT(longest, 64U);
  RobotConfig uncoupled = robot;
  uncoupled.jointCoupling = 0;
  JointSolutionsBatch wider;
  AllJointSolutions(uncoupled, poses, wider);
  EXPECT_GT(wider.joints.size(), batch.joints.size());
}

TEST(AllJointSolutions, EqualTheScalarCallsOnEveryArmShapeOfTheClosedForm) {
  for (const test::NamedArm& named : test::orthoParallelArms()) {
    ASSERT_EQ(named.arm.ikMethod(), IkMethod::sphericalWristClosedForm) << named.name;
    expectBatchEqualsScalar(named.name, named.arm, randomPoses(named.arm, kRandomCount / 20, 38),
                            {1U});
  }
}

TEST(AllJointSolutions, EqualTheScalarCallsOnArmsWithoutTheSphericalWristClosedForm) {
  test::Random random(33);
  const RobotConfig general = test::randomArm(random);
  expectBatchEqualsScalar("random arm", general, randomPoses(general, 20, 34), {1U});
  RobotConfig offsetWrist = DefaultArm();
  offsetWrist.jointPoints[5].y += 10.0;
  offsetWrist.flangeHome.translation.y += 10.0;
  offsetWrist.computeScrewAxisInTcp();
  ASSERT_NE(offsetWrist.ikMethod(), IkMethod::sphericalWristClosedForm);
  expectBatchEqualsScalar("offset wrist", offsetWrist, randomPoses(offsetWrist, 20, 35), {1U});
}

TEST(AllJointSolutions, GiveTheScalarResultsForSpecialPoses) {
  const RobotConfig robot = DefaultArm();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double inf = std::numeric_limits<double>::infinity();
  // The home pose, a wrist centre on axis 1 (shoulder singularity), joint 5 at zero, and poses
  // that are not finite.
  std::vector<Pose> poses{robot.getWristPoseInBase(RobJoint(0, 0, 0, 0, 0, 0)).toPose(),
                          robot.getWristPoseInBase(RobJoint(10, 20, -30, 40, 0, 60)).toPose(),
                          Pose({nan, 0, 1000}, {1, 0, 0, 0}), Pose({inf, 0, 1000}, {1, 0, 0, 0}),
                          Pose({500, 0, 1000}, {nan, 0, 0, 0})};
  // Orientation records far from unit length, which the rotation's rule scales (those near zero
  // are taken by the rule itself, those that overflow by their largest component).
  for (const Orient& o : {Orient{inf, 0, 0, 0}, Orient{1e200, -1e200, 0, 0}, Orient{1e-3, 0, 0, 0},
                          Orient{0, 3e-3, 0, 0}, Orient{0, 0, 2.0, 1.0}})
    poses.push_back(Pose({500, 100, 1000}, o));
  const Vec3 wristOnAxis1{0.0, 0.0, 1200.0};
  poses.push_back(Pose((wristOnAxis1 + Vec3{0, 0, 100}).toPos(), {0.0, 0.0, 0.0, 1.0}));
  expectBatchEqualsScalar("special poses", robot, poses, {1U});
  // On an arm whose limits leave nothing inside.
  RobotConfig closed = robot;
  closed.jointMin[3] = 10.0;
  closed.jointMax[3] = 10.0;
  expectBatchEqualsScalar("no joint range", closed, poses, {1U});
}

TEST(AllJointSolutions, LeaveAnEmptyBatchEmptyAndReuseTheLists) {
  const RobotConfig robot = DefaultArm();
  JointSolutionsBatch batch;
  AllJointSolutions(robot, randomPoses(robot, 10, 36), batch);
  EXPECT_EQ(batch.size(), 10U);
  AllJointSolutions(robot, {}, batch);
  EXPECT_EQ(batch, (JointSolutionsBatch{{}, {}, {0}, {}}));
}

TEST(AllJointSolutions, NameThePoseOfAnErrorWithTheScalarCallsMessage) {
  const RobotConfig robot = DefaultArm();
  std::vector<Pose> poses = randomPoses(robot, 3000, 37);
  poses[2].orient = {0, 0, 0, 0};
  poses[2500].orient = {0, 0, 0, 0};
  JointSolutionsBatch batch;
  for (const unsigned threads : {1U, 2U})
    EXPECT_THROW_MSG(AllJointSolutions(robot, poses, batch, threads), std::logic_error,
                     "pose 2: normalize quaternion of 0 magnitude");
  // A record whose squared length (8.1e-7) is just below the rule's bound, in a later group.
  poses[40].orient = {0, 9e-4, 0, 0};
  EXPECT_THROW_MSG(AllJointSolutions(robot, std::span(poses).subspan(3), batch), std::logic_error,
                   "pose 37: normalize quaternion of 0 magnitude");
  // Limits that admit more solutions than a list holds.
  RobotConfig wide = robot;
  for (std::size_t i = 0; i < 6; ++i) {
    wide.jointMin[i] = -1e8;
    wide.jointMax[i] = 1e8;
  }
  const std::vector<Pose> home{robot.getWristPoseInBase(RobJoint(0, 10, 0, 0, 30, 0)).toPose()};
  EXPECT_THROW_MSG(AllJointSolutions(wide, home, batch), std::length_error,
                   "pose 0: the joint limits admit more than 100000 solutions of the pose");
  // Home joints that are not finite: the scalar call's error.
  RobotConfig badHome = robot;
  badHome.homeJoint.values[1] = std::numeric_limits<double>::infinity();
  EXPECT_THROW_MSG(AllJointSolutions(badHome, home, batch), std::invalid_argument,
                   "pose 0: home joint 2 must be a finite number");
  EXPECT_THROW_MSG(AllJointSolutions(robot, home, batch, 257), std::invalid_argument,
                   "thread count must be at most 256");
}

}  // namespace
}  // namespace zor::rob
