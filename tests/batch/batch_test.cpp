#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "batch/kernel_lanes.hpp"
#include "batch/kernels.hpp"
#include "import/test_arms.hpp"
#include "robot/arm_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/batch.hpp"

namespace zor::rob {
namespace {

/// Random joint vectors per call and arm: fewer in the sanitizer build, where each costs far
/// more.
constexpr std::size_t kRandomCount = ZORROB_BATCH_RANDOM_COUNT;

/// The widest build of the kernels that this processor runs, from its features read here.
detail::KernelBuild widestBuildHere() {
#if defined(__x86_64__)
  if (!__builtin_cpu_supports("avx2"))
    return detail::KernelBuild::baseline;
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")
             ? detail::KernelBuild::avx512
             : detail::KernelBuild::avx2;
#else
  return detail::KernelBuild::baseline;
#endif
}

// ---- Exact comparison: the bits of every double (NaN payloads and the sign of zero too) ----

template <std::size_t N>
using Bits = std::array<std::uint64_t, N>;

template <std::size_t N>
Bits<N> bitsOf(const std::array<double, N>& values) {
  Bits<N> b{};
  for (std::size_t i = 0; i < N; ++i)
    b[i] = std::bit_cast<std::uint64_t>(values[i]);
  return b;
}

Bits<7> bitsOf(const Transform& t) {
  return bitsOf(std::array{t.rotation.x, t.rotation.y, t.rotation.z, t.rotation.w, t.translation.x,
                           t.translation.y, t.translation.z});
}

Bits<36> bitsOf(const GeometricJacobian& j) {
  std::array<double, 36> values{};
  for (int r = 0; r < 6; ++r) {
    for (int c = 0; c < 6; ++c)
      values[static_cast<std::size_t>(r * 6 + c)] = j.matrix(r, c);
  }
  return bitsOf(values);
}

Bits<17> bitsOf(const RobTarget& t) {
  const Pose& p = t.pose;
  const ConfData& c = t.robConf;
  const std::array<double, 6>& e = t.extJoint.values;
  // The configuration's integers are exact as doubles.
  return bitsOf(std::array{p.pos.x, p.pos.y, p.pos.z, p.orient.q1, p.orient.q2, p.orient.q3,
                           p.orient.q4, double(c.cf1), double(c.cf4), double(c.cf6), double(c.cfx),
                           e[0], e[1], e[2], e[3], e[4], e[5]});
}

Bits<2> bitsOf(const detail::HalfAngleSinCos& h) {
  return bitsOf(std::array{h.sin, h.cos});
}

Bits<1> bitsOf(double v) {
  return bitsOf(std::array{v});
}

std::string jointsText(const RobJoint& j) {
  std::string s;
  for (const double v : j.values)
    s += std::to_string(v) + " ";
  return s;
}

/// Success when actual[i] and expected[i] have the same bits for every i; otherwise names the
/// first element that differs and how many do.
template <typename T>
::testing::AssertionResult sameBits(const std::vector<T>& actual, const std::vector<T>& expected,
                                    const std::vector<RobJoint>& joints) {
  if (actual.size() != expected.size())
    return ::testing::AssertionFailure() << "sizes " << actual.size() << " and " << expected.size();
  std::size_t differing = 0;
  std::size_t first = 0;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (bitsOf(actual[i]) != bitsOf(expected[i]) && differing++ == 0)
      first = i;
  }
  if (differing == 0)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << differing << " of " << actual.size() << " differ, the first at " << first << ", joints "
         << jointsText(joints[first]);
}

// ---- Inputs ----

struct NamedArm {
  std::string name;
  RobotConfig robot;
  /// Random joint vectors per call for this arm.
  std::size_t count;
};

/// The default arm, an arm imported from a DH table, a random general arm, and the default arm
/// with an axis and two screws that are not unit vectors (the scalar calls' general paths). The
/// last two, whose lanes run the same code on other numbers or do not run at all, take a tenth of
/// the random joint vectors.
std::vector<NamedArm> arms() {
  test::Random random(25);
  RobotConfig scaled = DefaultArm();
  scaled.jointAxes[2] = scaled.jointAxes[2] * 1.5;
  scaled.spaceScrewAxes[1].w = scaled.spaceScrewAxes[1].w * 2.0;
  scaled.bodyScrewAxes[4].w = scaled.bodyScrewAxes[4].w * 0.5;
  return {{"default", DefaultArm(), kRandomCount},
          {"imported", ArmFromDh(test::smallArmDh(), test::smallArmLimits()).robot, kRandomCount},
          {"random", test::randomArm(random), kRandomCount / 10},
          {"not unit", scaled, kRandomCount / 10}};
}

std::vector<RobJoint> randomJoints(std::size_t n, std::uint64_t seed) {
  test::Random random(seed);
  std::vector<RobJoint> joints(n);
  for (RobJoint& j : joints) {
    for (double& v : j.values)
      v = random.uniform(-400.0, 400.0);
  }
  return joints;
}

/// Groups of eight random joint vectors in which one joint of one vector takes a special value:
/// every special value at every joint and every position in the group, so that each lane of
/// every build (two, four or eight lanes) meets it next to ordinary lanes.
std::vector<RobJoint> specialJoints() {
  constexpr double inf = std::numeric_limits<double>::infinity();
  const std::vector<double> specials{std::numeric_limits<double>::quiet_NaN(),
                                     inf,
                                     -inf,
                                     1e9,
                                     -1.2e7,
                                     1.1e7,
                                     -0.0,
                                     std::numeric_limits<double>::denorm_min(),
                                     180.0,
                                     -90.0,
                                     1e300,
                                     1e308,
                                     -std::numeric_limits<double>::max()};
  std::vector<RobJoint> joints;
  std::uint64_t seed = 1;
  for (const double s : specials) {
    for (std::size_t k = 0; k < 6; ++k) {
      for (std::size_t p = 0; p < 8; ++p) {
        std::vector<RobJoint> group = randomJoints(8, seed++);
        group[p].values[k] = s;
        joints.insert(joints.end(), group.begin(), group.end());
      }
    }
  }
  return joints;
}

// ---- The builds of the kernels ----

using PosesKernel = void (*)(const RobotConfig&, std::span<const RobJoint>, std::span<Transform>,
                             std::span<detail::HalfAngleSinCos>);
using TargetsKernel = void (*)(const RobotConfig&, std::span<const RobJoint>, std::span<RobTarget>);
using JacobiansKernel = void (*)(const RobotConfig&, std::span<const RobJoint>,
                                 std::span<GeometricJacobian>);

struct Build {
  std::string name;
  PosesKernel poses;
  TargetsKernel targets;
  JacobiansKernel space;
  JacobiansKernel body;
};

/// The baseline build, and the AVX2 and AVX-512 builds where the processor has them.
std::vector<Build> builds() {
  std::vector<Build> b{{"baseline", detail::flangePosesBaseline, detail::robTargetsBaseline,
                        detail::spaceJacobiansBaseline, detail::bodyJacobiansBaseline}};
  if (widestBuildHere() >= detail::KernelBuild::avx2)
    b.push_back({"avx2", detail::flangePosesAvx2, detail::robTargetsAvx2,
                 detail::spaceJacobiansAvx2, detail::bodyJacobiansAvx2});
  if (widestBuildHere() == detail::KernelBuild::avx512)
    b.push_back({"avx512", detail::flangePosesAvx512, detail::robTargetsAvx512,
                 detail::spaceJacobiansAvx512, detail::bodyJacobiansAvx512});
  return b;
}

TEST(BatchKernels, ChooseTheWidestBuildThatTheProcessorRunsWithinTheCap) {
  using detail::chooseKernelBuild;
  using detail::KernelBuild;
  using detail::VectorBuildCap;
  const VectorBuildCap widest = VectorBuildCap::widest;
  EXPECT_EQ(chooseKernelBuild(false, false, widest), KernelBuild::baseline);
  EXPECT_EQ(chooseKernelBuild(true, false, widest), KernelBuild::avx2);
  EXPECT_EQ(chooseKernelBuild(true, true, widest), KernelBuild::avx512);
  // AVX-512 without AVX2 (a virtual machine may hide one and not the other): the baseline.
  EXPECT_EQ(chooseKernelBuild(false, true, widest), KernelBuild::baseline);
  // ZORROB_SIMD=avx2 stops at AVX2, =baseline at the baseline.
  EXPECT_EQ(chooseKernelBuild(true, true, VectorBuildCap::avx2), KernelBuild::avx2);
  EXPECT_EQ(chooseKernelBuild(true, false, VectorBuildCap::avx2), KernelBuild::avx2);
  EXPECT_EQ(chooseKernelBuild(false, false, VectorBuildCap::avx2), KernelBuild::baseline);
  EXPECT_EQ(chooseKernelBuild(true, true, VectorBuildCap::baseline), KernelBuild::baseline);
  EXPECT_EQ(chooseKernelBuild(true, false, VectorBuildCap::baseline), KernelBuild::baseline);
  // This process: the processor's widest build, within the cap this run was given.
  KernelBuild expected = widestBuildHere();
  if (detail::ProcessVectorBuildCap() == VectorBuildCap::baseline)
    expected = KernelBuild::baseline;
  if (detail::ProcessVectorBuildCap() == VectorBuildCap::avx2 && expected == KernelBuild::avx512)
    expected = KernelBuild::avx2;
  EXPECT_EQ(detail::processorKernelBuild(), expected);
}

/// Runs every kernel of `build` on `joints` and compares each result with the scalar call's.
void expectKernelsEqualScalar(const Build& build, const NamedArm& arm,
                              const std::vector<RobJoint>& joints) {
  SCOPED_TRACE(build.name + ", " + arm.name + " arm, " + std::to_string(joints.size()) + " joints");
  const RobotConfig& robot = arm.robot;
  std::vector<Transform> poses(joints.size());
  std::vector<detail::HalfAngleSinCos> joint1(joints.size());
  std::vector<RobTarget> targets(joints.size());
  std::vector<Transform> expectedPoses;
  std::vector<detail::HalfAngleSinCos> expectedJoint1;
  std::vector<RobTarget> expectedTargets;
  std::vector<GeometricJacobian> space(joints.size());
  std::vector<GeometricJacobian> body(joints.size());
  std::vector<GeometricJacobian> expectedSpace;
  std::vector<GeometricJacobian> expectedBody;
  for (const RobJoint& j : joints) {
    detail::HalfAngleSinCos half1;
    expectedPoses.push_back(detail::flangePose(robot, j, half1));
    expectedJoint1.push_back(half1);
    expectedTargets.push_back(robot.getRobTarget(j));
    expectedSpace.push_back(robot.getSpaceJacobian(j));
    expectedBody.push_back(robot.getBodyJacobian(j));
  }
  build.poses(robot, joints, poses, joint1);
  EXPECT_TRUE(sameBits(poses, expectedPoses, joints));
  EXPECT_TRUE(sameBits(joint1, expectedJoint1, joints));
  // Without the joint-1 output.
  std::vector<Transform> posesOnly(joints.size());
  build.poses(robot, joints, posesOnly, {});
  EXPECT_TRUE(sameBits(posesOnly, expectedPoses, joints));
  build.targets(robot, joints, targets);
  EXPECT_TRUE(sameBits(targets, expectedTargets, joints));
  build.space(robot, joints, space);
  EXPECT_TRUE(sameBits(space, expectedSpace, joints));
  build.body(robot, joints, body);
  EXPECT_TRUE(sameBits(body, expectedBody, joints));
}

TEST(BatchKernels, EqualTheScalarCallsOnRandomJointsInEveryBuild) {
  for (const Build& build : builds()) {
    for (const NamedArm& arm : arms())
      expectKernelsEqualScalar(build, arm, randomJoints(arm.count, 11));
  }
}

TEST(BatchKernels, TakeCountsThatAreNotAMultipleOfTheLaneWidth) {
  const std::vector<RobJoint> all = randomJoints(9, 12);
  for (const Build& build : builds()) {
    for (const NamedArm& arm : arms()) {
      for (std::size_t n = 0; n <= all.size(); ++n)
        expectKernelsEqualScalar(
            build, arm,
            std::vector<RobJoint>(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(n)));
    }
  }
}

TEST(BatchKernels, GiveTheScalarResultsForNonFiniteAndHugeJoints) {
  const std::vector<RobJoint> joints = specialJoints();
  for (const Build& build : builds()) {
    for (const NamedArm& arm : arms())
      expectKernelsEqualScalar(build, arm, joints);
  }
}

TEST(BatchKernels, GiveTheScalarRobotTargetsAtTheShoulderBoundary) {
  // Joint 1 a quarter turn from the wrist centre's direction φ, exactly or nearly: there the
  // shoulder side is decided by atan2, a little farther by the sign of cos(φ − j1). Each value at
  // each position of a group of eight random joint vectors.
  for (const double phi : {30.0, -45.0, 100.0, 179.0, 0.0}) {
    std::vector<RobJoint> joints;
    std::uint64_t seed = 100;
    for (const double quarter : {90.0, -90.0, 270.0}) {
      for (const double offset : {0.0, 1e-12, -1e-12, 1e-9, -1e-9, 1e-5, -1e-5, 1e-3}) {
        for (std::size_t p = 0; p < 8; ++p) {
          std::vector<RobJoint> group = randomJoints(8, seed++);
          group[p].values[0] = phi + quarter + offset;
          joints.insert(joints.end(), group.begin(), group.end());
        }
      }
    }
    const NamedArm arm{"fixed wrist at " + std::to_string(phi), test::fixedWristArm(phi),
                       joints.size()};
    for (const Build& build : builds())
      expectKernelsEqualScalar(build, arm, joints);
  }
}

TEST(BatchLanes, SplatKeepsTheSignOfZero) {
  // A coordinate −0 of the arm enters every lane as −0, as the scalar calls take it.
  using V = detail::Lanes<4>::Double;
  const auto lanes = detail::batch_lanes::Vec3Lanes<V>::splat(Vec3{-0.0, 0.0, -2.5});
  for (std::size_t l = 0; l < 4; ++l) {
    EXPECT_TRUE(std::signbit(lanes.x[l]));
    EXPECT_FALSE(std::signbit(lanes.y[l]));
    EXPECT_EQ(lanes.z[l], -2.5);
  }
}

// ---- The public calls: dispatch and threads ----

/// Runs every public batch call on `joints` with each thread count of `threads` and compares
/// each result with the scalar call's.
void expectCallsEqualScalar(const NamedArm& arm, const std::vector<RobJoint>& joints,
                            std::initializer_list<unsigned> threadCounts) {
  const RobotConfig& robot = arm.robot;
  const std::size_t n = joints.size();
  std::vector<Transform> expectedPoses;
  std::vector<RobTarget> expectedTargets;
  std::vector<GeometricJacobian> expectedSpace;
  std::vector<GeometricJacobian> expectedBody;
  std::vector<double> expectedManipulability;
  for (const RobJoint& j : joints) {
    expectedPoses.push_back(robot.getWristPoseInBase(j));
    expectedTargets.push_back(robot.getRobTarget(j));
    expectedSpace.push_back(robot.getSpaceJacobian(j));
    expectedBody.push_back(robot.getBodyJacobian(j));
    expectedManipulability.push_back(robot.getManipulability(j));
  }
  for (const unsigned threads : threadCounts) {
    SCOPED_TRACE(arm.name + " arm, " + std::to_string(n) + " joints, " + std::to_string(threads) +
                 " threads");
    std::vector<Transform> poses(n);
    FlangePoses(robot, joints, poses, threads);
    EXPECT_TRUE(sameBits(poses, expectedPoses, joints));
    std::vector<RobTarget> targets(n);
    RobTargets(robot, joints, targets, threads);
    EXPECT_TRUE(sameBits(targets, expectedTargets, joints));
    std::vector<GeometricJacobian> space(n);
    SpaceJacobians(robot, joints, space, threads);
    EXPECT_TRUE(sameBits(space, expectedSpace, joints));
    std::vector<GeometricJacobian> body(n);
    BodyJacobians(robot, joints, body, threads);
    EXPECT_TRUE(sameBits(body, expectedBody, joints));
    std::vector<double> manipulability(n);
    Manipulabilities(robot, joints, manipulability, threads);
    EXPECT_TRUE(sameBits(manipulability, expectedManipulability, joints));
  }
}

TEST(BatchCalls, EqualTheScalarCallsOnRandomJointsOnOneAndSeveralThreads) {
  for (const NamedArm& arm : arms()) {
    expectCallsEqualScalar(arm, randomJoints(arm.count, 13), {1U, 3U});
  }
}

TEST(BatchCalls, GiveTheScalarResultsForShortNonFiniteAndHugeInputs) {
  const std::vector<RobJoint> special = specialJoints();
  for (const NamedArm& arm : arms()) {
    expectCallsEqualScalar(arm, special, {1U, 2U, 0U});
    for (std::size_t n = 0; n <= 9; ++n)
      expectCallsEqualScalar(arm, randomJoints(n, 14), {1U});
  }
}

TEST(BatchCalls, LeaveEmptyOutputsEmpty) {
  const RobotConfig robot = DefaultArm();
  EXPECT_NO_THROW(FlangePoses(robot, {}, {}));
  EXPECT_NO_THROW(RobTargets(robot, {}, {}, 0));
  EXPECT_NO_THROW(SpaceJacobians(robot, {}, {}, 2));
  EXPECT_NO_THROW(BodyJacobians(robot, {}, {}));
  EXPECT_NO_THROW(Manipulabilities(robot, {}, {}));
}

TEST(BatchCalls, RejectOutputsOfAnotherSizeAndTooManyThreads) {
  const RobotConfig robot = DefaultArm();
  const std::vector<RobJoint> joints(3);
  std::vector<Transform> poses(2);
  std::vector<RobTarget> targets(4);
  std::vector<GeometricJacobian> jacobians(0);
  std::vector<double> values(1);
  EXPECT_THROW_MSG(FlangePoses(robot, joints, poses), std::invalid_argument,
                   "FlangePoses: 3 joint vectors but 2 outputs");
  EXPECT_THROW_MSG(RobTargets(robot, joints, targets), std::invalid_argument,
                   "RobTargets: 3 joint vectors but 4 outputs");
  EXPECT_THROW_MSG(SpaceJacobians(robot, joints, jacobians), std::invalid_argument,
                   "SpaceJacobians: 3 joint vectors but 0 outputs");
  EXPECT_THROW_MSG(BodyJacobians(robot, joints, jacobians), std::invalid_argument,
                   "BodyJacobians: 3 joint vectors but 0 outputs");
  EXPECT_THROW_MSG(Manipulabilities(robot, joints, values), std::invalid_argument,
                   "Manipulabilities: 3 joint vectors but 1 outputs");
  std::vector<Transform> three(3);
  EXPECT_THROW_MSG(FlangePoses(robot, joints, three, 257), std::invalid_argument,
                   "thread count must be at most 256");
  EXPECT_NO_THROW(FlangePoses(robot, joints, three, 256));
}

}  // namespace
}  // namespace zor::rob
