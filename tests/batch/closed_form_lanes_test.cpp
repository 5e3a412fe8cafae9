// The closed form of several poses in the lanes against the scalar closed form of the same build,
// pose by pose, in both builds: the baseline (two poses per call) and AVX2 with FMA (four), the
// latter only where the processor has it.
#include "batch/closed_form_lanes.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "support/random_unit.hpp"
#include "support/test_support.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using detail::ClosedFormBuild;

/// Random poses: fewer in the sanitizer build, where each costs far more.
constexpr std::size_t kRandomCount = ZORROB_BATCH_RANDOM_COUNT;

/// The pose as the closed form takes it.
detail::QueryPose queryPose(const Pose& pose) {
  const Orient& o = pose.orient;
  detail::QueryPose t;
  t.rotation = detail::rotationMatrix(o.q1, o.q2, o.q3, o.q4);
  t.position = pose.pos.toVec3();
  return t;
}

/// Half flange poses of random joints, half random positions within 2 m of the base with random
/// orientations (many out of reach, many with one shoulder branch out of reach).
std::vector<detail::QueryPose> randomPoses(const RobotConfig& robot, std::size_t n,
                                           std::uint64_t seed) {
  test::Random random(seed);
  std::vector<detail::QueryPose> poses;
  for (std::size_t i = 0; i < n; ++i) {
    if (i % 2 == 0) {
      RobJoint j;
      for (double& v : j.values)
        v = random.uniform(-400.0, 400.0);
      poses.push_back(queryPose(robot.getWristPoseInBase(j).toPose()));
      continue;
    }
    const Eigen::Vector4d q = test::randomUnitQuaternion(random);
    poses.push_back(queryPose(Pose(
        {random.uniform(-2000, 2000), random.uniform(-2000, 2000), random.uniform(-1000, 2500)},
        {q[0], q[1], q[2], q[3]})));
  }
  return poses;
}

/// The scalar closed form of `build` on each pose, converted as the queries convert it.
std::vector<detail::PoseBranches> scalarBranches(const detail::ClosedFormArm& arm,
                                                 const std::vector<detail::QueryPose>& poses,
                                                 ClosedFormBuild build) {
  std::vector<detail::PoseBranches> out(poses.size());
  for (std::size_t i = 0; i < poses.size(); ++i) {
    detail::BaseSolutions base;
    if (build == ClosedFormBuild::avx2)
      detail::solveClosedFormAvx2(arm, poses[i].rotation, poses[i].position, {}, base);
    else
      detail::solveClosedFormBaseline(arm, poses[i].rotation, poses[i].position, {}, base);
    out[i].count = base.count;
    for (std::size_t s = 0; s < base.count; ++s)
      for (std::size_t k = 0; k < 6; ++k)
        out[i].joints[s][k] = base.solutions[s][k] * (180.0 / kPi);
  }
  return out;
}

/// Success when every pose has the same branches, bit for bit; otherwise names the first that
/// differs.
::testing::AssertionResult sameBranches(const std::vector<detail::PoseBranches>& actual,
                                        const std::vector<detail::PoseBranches>& expected) {
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (actual[i].count != expected[i].count)
      return ::testing::AssertionFailure() << "pose " << i << ": " << actual[i].count
                                           << " branches against " << expected[i].count;
    for (std::size_t s = 0; s < expected[i].count; ++s)
      for (std::size_t k = 0; k < 6; ++k) {
        const double a = actual[i].joints[s][k];
        const double e = expected[i].joints[s][k];
        if (std::bit_cast<std::uint64_t>(a) != std::bit_cast<std::uint64_t>(e))
          return ::testing::AssertionFailure() << "pose " << i << " branch " << s << " joint "
                                               << k + 1 << ": " << a << " against " << e;
      }
  }
  return ::testing::AssertionSuccess();
}

void expectLanesEqualScalar(const RobotConfig& robot, const std::vector<detail::QueryPose>& poses,
                            ClosedFormBuild build) {
  const detail::ClosedFormArm arm = detail::MakeClosedFormArm(robot);
  ASSERT_TRUE(arm.solvable);
  std::vector<detail::PoseBranches> lanes(poses.size());
  detail::solveClosedFormLanes(arm, {}, poses, lanes, build);
  EXPECT_TRUE(sameBranches(lanes, scalarBranches(arm, poses, build)));
}

TEST(ClosedFormLanes, BaselineBuildEqualsTheScalarBuildOnRandomPoses) {
  const RobotConfig robot = DefaultArm();
  expectLanesEqualScalar(robot, randomPoses(robot, kRandomCount, 41), ClosedFormBuild::baseline);
}

TEST(ClosedFormLanes, Avx2BuildEqualsTheScalarBuildOnRandomPoses) {
  if (!detail::processorHasAvx2())
    GTEST_SKIP() << "this processor has no AVX2 with FMA";
  const RobotConfig robot = DefaultArm();
  expectLanesEqualScalar(robot, randomPoses(robot, kRandomCount, 42), ClosedFormBuild::avx2);
}

}  // namespace
}  // namespace zor::rob
