// The closed form of several poses in the lanes against the scalar closed form of the same build,
// pose by pose, in both builds: the baseline (two poses per call) and AVX2 with FMA (four), the
// latter only where the processor has it.
#include "batch/closed_form_lanes.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "detail/vector_builds.hpp"
#include "ik/ik_test_support.hpp"
#include "support/random_unit.hpp"
#include "support/test_support.hpp"
#include "support/unchecked_arm.hpp"
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

/// The free joints of the singular branches: not zero, so that a lane that dropped them shows.
constexpr detail::FreeJoints kFree{0.1, -0.2, 0.3, -0.4};

/// The builds this processor runs.
std::vector<ClosedFormBuild> buildsToTest() {
  if (detail::processorHasAvx2())
    return {ClosedFormBuild::baseline, ClosedFormBuild::avx2};
  return {ClosedFormBuild::baseline};
}

std::string nameOf(ClosedFormBuild build) {
  return build == ClosedFormBuild::avx2 ? "AVX2 build" : "baseline build";
}

/// Expects the lanes of `build` to give every pose the scalar closed form's branches;
/// \returns how many poses the lanes solved.
std::size_t expectLanesEqualScalar(const RobotConfig& robot,
                                   const std::vector<detail::QueryPose>& poses,
                                   ClosedFormBuild build) {
  const detail::ClosedFormArm arm = detail::MakeClosedFormArm(robot);
  EXPECT_TRUE(arm.solvable);
  std::vector<detail::PoseBranches> lanes(poses.size());
  const std::size_t laned = detail::solveClosedFormLanes(arm, kFree, poses, lanes, build);
  std::vector<detail::PoseBranches> expected(poses.size());
  for (std::size_t i = 0; i < poses.size(); ++i) {
    detail::BaseSolutions base;
    if (build == ClosedFormBuild::avx2)
      detail::solveClosedFormAvx2(arm, poses[i].rotation, poses[i].position, kFree, base);
    else
      detail::solveClosedFormBaseline(arm, poses[i].rotation, poses[i].position, kFree, base);
    expected[i].count = base.count;
    for (std::size_t s = 0; s < base.count; ++s)
      for (std::size_t k = 0; k < 6; ++k)
        expected[i].joints[s][k] = base.solutions[s][k] * (180.0 / kPi);
  }
  EXPECT_TRUE(sameBranches(lanes, expected));
  return laned;
}

TEST(VectorBuildCap, IsNamedByZorrobSimd) {
  using detail::VectorBuildCap;
  EXPECT_EQ(detail::VectorBuildCapOf(nullptr), VectorBuildCap::widest);
  EXPECT_EQ(detail::VectorBuildCapOf("baseline"), VectorBuildCap::baseline);
  EXPECT_EQ(detail::VectorBuildCapOf("avx2"), VectorBuildCap::avx2);
  for (const char* other : {"", "BASELINE", "baseline ", "avx512", "sse2", "widest"})
    EXPECT_EQ(detail::VectorBuildCapOf(other), VectorBuildCap::widest) << other;
}

// The suite runs this binary twice, once with ZORROB_SIMD=baseline: the process's cap decides
// which closed form every query runs.
TEST(VectorBuildCap, DecidesTheClosedFormBuildOfTheProcess) {
  const detail::VectorBuildCap cap = detail::VectorBuildCapOf(std::getenv("ZORROB_SIMD"));
  EXPECT_EQ(detail::ProcessVectorBuildCap(), cap);
#if defined(__x86_64__)
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
  const bool avx2 = false;
#endif
  const bool expected = avx2 && cap != detail::VectorBuildCap::baseline;
  EXPECT_EQ(detail::processorHasAvx2(), expected);
  EXPECT_EQ(detail::processorClosedFormBuild(),
            expected ? ClosedFormBuild::avx2 : ClosedFormBuild::baseline);
}

TEST(ClosedFormLanes, EqualTheScalarClosedFormOnRandomPosesInBothBuilds) {
  const RobotConfig robot = DefaultArm();
  const std::vector<detail::QueryPose> poses = randomPoses(robot, kRandomCount, 41);
  for (const ClosedFormBuild build : buildsToTest()) {
    SCOPED_TRACE(nameOf(build));
    // Most poses are in the common cases (eight branches, four, or none); the lanes solve those.
    EXPECT_GT(expectLanesEqualScalar(robot, poses, build), poses.size() * 9 / 10);
  }
}

TEST(ClosedFormLanes, EqualTheScalarClosedFormOnEveryArmShapeInBothBuilds) {
  test::Random random(43);
  for (const test::NamedArm& named : test::orthoParallelArms()) {
    std::vector<detail::QueryPose> poses;
    for (std::size_t n = 0; n < kRandomCount / 20; ++n)
      poses.push_back(queryPose(
          named.arm.getWristPoseInBase(test::randomAllowedJoints(random, named.arm)).toPose()));
    for (const ClosedFormBuild build : buildsToTest()) {
      SCOPED_TRACE(named.name + ", " + nameOf(build));
      EXPECT_GT(expectLanesEqualScalar(named.arm, poses, build), 0U);
    }
  }
}

/// `arm` with its base turned and moved at random: its axes then point every way, so that no
/// product of the closed form vanishes.
RobotConfig tiltedArm(const RobotConfig& arm, test::Random& random) {
  const Eigen::Vector4d q = test::randomUnitQuaternion(random);
  const Transform base(
      Rotation(q[0], q[1], q[2], q[3]),
      {random.uniform(-500, 500), random.uniform(-500, 500), random.uniform(-500, 500)});
  std::array<Vec3, 6> axes;
  std::array<Pos, 6> points;
  for (std::size_t i = 0; i < 6; ++i) {
    axes[i] = base.rotation.rotateVector(arm.jointAxes[i]);
    points[i] = base.transform(arm.jointPoints[i]);
  }
  return test::uncheckedArm(axes, points, base * arm.flangeHome, arm.jointMin, arm.jointMax,
                            arm.homeJoint, arm.elbowOffset, arm.jointCoupling);
}

TEST(ClosedFormLanes, EqualTheScalarClosedFormOnTiltedArmsInBothBuilds) {
  test::Random random(45);
  for (const test::NamedArm& named : test::orthoParallelArms()) {
    for (int n = 0; n < 3; ++n) {
      const RobotConfig arm = tiltedArm(named.arm, random);
      std::vector<detail::QueryPose> poses;
      for (std::size_t k = 0; k < kRandomCount / 50; ++k)
        poses.push_back(
            queryPose(arm.getWristPoseInBase(test::randomAllowedJoints(random, arm)).toPose()));
      for (const ClosedFormBuild build : buildsToTest()) {
        SCOPED_TRACE(named.name + " tilted, " + nameOf(build));
        EXPECT_GT(expectLanesEqualScalar(arm, poses, build), 0U);
      }
    }
  }
}

/// Poses the lanes leave to the scalar closed form, or solve at their edge: singular, on the
/// reach's boundary, out of reach, not finite.
std::vector<detail::QueryPose> specialPoses(const RobotConfig& robot) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double inf = std::numeric_limits<double>::infinity();
  const double stretched = -RadToDeg(robot.elbowOffset);
  std::vector<detail::QueryPose> poses;
  for (const RobJoint& j :
       {RobJoint(0, 0, 0, 0, 0, 0), RobJoint(10, 20, -30, 40, 0, 60),
        RobJoint(10, 20, -30, 40, 180, 60), RobJoint(10, 20, stretched, 40, 50, 60),
        RobJoint(10, 20, stretched + 180.0, 40, 50, 60), RobJoint(-170, 150, -175, 180, -125, 360)})
    poses.push_back(queryPose(robot.getWristPoseInBase(j).toPose()));
  // The wrist centre on axis 1 (shoulder singularity), far out of reach, and not finite.
  const Vec3 wristOnAxis1{0.0, 0.0, 1200.0};
  poses.push_back(queryPose(Pose((wristOnAxis1 + Vec3{0, 0, 100}).toPos(), {0.0, 0.0, 0.0, 1.0})));
  poses.push_back(queryPose(Pose({5000, 0, 0}, {1, 0, 0, 0})));
  poses.push_back(queryPose(Pose({nan, 0, 1000}, {1, 0, 0, 0})));
  poses.push_back(queryPose(Pose({inf, 0, 1000}, {1, 0, 0, 0})));
  poses.push_back(queryPose(Pose({500, -inf, 1000}, {1, 0, 0, 0})));
  poses.push_back(queryPose(Pose({500, 0, 1000}, {nan, 0, 0, 0})));
  // A zero orientation record: its matrix is not finite.
  poses.push_back(queryPose(Pose({500, 0, 1000}, {0, 0, 0, 0})));
  return poses;
}

TEST(ClosedFormLanes, EqualTheScalarClosedFormOnSpecialPosesInEveryLane) {
  const RobotConfig robot = DefaultArm();
  const std::vector<detail::QueryPose> special = specialPoses(robot);
  const std::vector<detail::QueryPose> common = randomPoses(robot, 7, 44);
  for (const ClosedFormBuild build : buildsToTest()) {
    SCOPED_TRACE(nameOf(build));
    // Each special pose in each lane, with common poses beside it, and calls of 1 to 7 poses.
    for (std::size_t shift = 0; shift < 4; ++shift) {
      std::vector<detail::QueryPose> poses(common.begin(),
                                           common.begin() + static_cast<std::ptrdiff_t>(shift));
      for (const detail::QueryPose& p : special) {
        poses.push_back(p);
        poses.push_back(common[shift]);
      }
      // The singular poses and those on the edge of the reach go through the scalar closed form.
      EXPECT_LT(expectLanesEqualScalar(robot, poses, build), poses.size() - 4);
    }
    for (std::size_t n = 1; n <= 7; ++n)
      EXPECT_EQ(expectLanesEqualScalar(
                    robot,
                    std::vector<detail::QueryPose>(common.begin(),
                                                   common.begin() + static_cast<std::ptrdiff_t>(n)),
                    build),
                n);
  }
}

}  // namespace
}  // namespace zor::rob
