#include "ik/closed_form.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>
#include <string>

#include "ik/ik_test_support.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using detail::BaseSolution;
using detail::BaseSolutions;
using detail::FreeJoints;

constexpr int kSamplesPerArm = 2000;
/// The two builds round differently; their angles agree within this (radians) away from
/// singularities.
constexpr double kAngleRounding = 1e-11;

/// Runs `solve` (one build of the closed form) on the flange pose of `joints`.
template <typename Solve>
BaseSolutions solveFor(const RobotConfig& arm, const detail::ClosedFormArm& closedForm,
                       const RobJoint& joints, Solve solve) {
  const Transform t = arm.getWristPoseInBase(joints);
  const Rotation& q = t.rotation;
  BaseSolutions out;
  solve(closedForm, detail::rotationMatrix(q.w, q.x, q.y, q.z), t.translation, FreeJoints{}, out);
  return out;
}

/// \returns the difference of two angles (radians) reduced into [−π, π].
double angleBetween(double a, double b) {
  return std::remainder(a - b, 2.0 * std::numbers::pi);
}

/// Checks that every solution of `s` reproduces the flange pose of `joints`.
void expectReproduced(const RobotConfig& arm, const RobJoint& joints, const BaseSolutions& s) {
  const Transform t = arm.getWristPoseInBase(joints);
  const Pose pose{t.translation.toPos(), t.rotation.toOrient()};
  for (std::size_t k = 0; k < s.count; ++k) {
    RobJoint solution;
    for (std::size_t i = 0; i < 6; ++i)
      solution.values[i] = RadToDeg(s.solutions[k][i]);
    EXPECT_TRUE(test::reproduces(arm, solution, pose)) << joints.toString();
  }
}

/// Checks that joints 1 to 4 and 6 of every solution of `s` lie within [−π, π], joint 5 within a
/// half turn of θ0 (the two wrist branches are θ0 ± α): the turns of the list start from there.
void expectWithinHalfTurn(const detail::ClosedFormArm& closedForm, const RobJoint& joints,
                          const BaseSolutions& s) {
  constexpr double pi = std::numbers::pi;
  for (std::size_t k = 0; k < s.count; ++k)
    for (std::size_t i = 0; i < 6; ++i) {
      const double centre = i == 4 ? closedForm.wristZero : 0.0;
      EXPECT_LE(std::abs(s.solutions[k][i] - centre), pi)
          << joints.toString() << " solution " << k << " joint " << i;
    }
}

TEST(ClosedFormBuilds, BaselineBuildReproducesEveryPoseWithJointsWithinAHalfTurn) {
  test::Random random;
  for (const test::NamedArm& named : test::orthoParallelArms()) {
    const detail::ClosedFormArm closedForm = detail::MakeClosedFormArm(named.arm);
    ASSERT_TRUE(closedForm.solvable) << named.name;
    for (int n = 0; n < kSamplesPerArm; ++n) {
      const RobJoint joints = test::randomAllowedJoints(random, named.arm);
      const BaseSolutions s =
          solveFor(named.arm, closedForm, joints, detail::solveClosedFormBaseline);
      EXPECT_GE(s.count, 1U) << named.name << " " << joints.toString();
      expectReproduced(named.arm, joints, s);
      expectWithinHalfTurn(closedForm, joints, s);
    }
  }
}

TEST(ClosedFormBuilds, Avx2BuildAgreesWithTheBaselineWithinRounding) {
  if (!detail::processorHasAvx2())
    GTEST_SKIP() << "this processor has no AVX2 with FMA";
  test::Random random;
  for (const test::NamedArm& named : test::orthoParallelArms()) {
    const detail::ClosedFormArm closedForm = detail::MakeClosedFormArm(named.arm);
    // The elbow angle at which the arm stands stretched or folded (modulo a half turn).
    const double linkAngle = std::atan2(closedForm.linkSine, closedForm.linkCosine);
    for (int n = 0; n < kSamplesPerArm; ++n) {
      const RobJoint joints = test::randomAllowedJoints(random, named.arm);
      const BaseSolutions baseline =
          solveFor(named.arm, closedForm, joints, detail::solveClosedFormBaseline);
      const BaseSolutions avx2 =
          solveFor(named.arm, closedForm, joints, detail::solveClosedFormAvx2);
      ASSERT_EQ(avx2.count, baseline.count) << named.name << " " << joints.toString();
      for (std::size_t k = 0; k < avx2.count; ++k) {
        // Near a singularity the rounding of the terms is divided by the sine of the angle from
        // it: near the stretched or folded elbow for joints 2 to 6, near the wrist singularity
        // (where joints 4 and 6 share one turn) for joints 4 and 6.
        const BaseSolution& b = baseline.solutions[k];
        const double elbowSine = std::abs(std::sin(closedForm.axis3Sign * b[2] - linkAngle));
        const double wristSine = std::abs(std::sin(b[4] - closedForm.wristZero));
        for (std::size_t i = 0; i < 6; ++i) {
          double tolerance = kAngleRounding;
          if (i > 0)
            tolerance /= std::max(elbowSine, 1e-9);
          if (i == 3 || i == 5)
            tolerance /= std::max(wristSine, 1e-9);
          EXPECT_NEAR(angleBetween(avx2.solutions[k][i], baseline.solutions[k][i]), 0.0, tolerance)
              << named.name << " " << joints.toString() << " solution " << k << " joint " << i;
        }
      }
      expectReproduced(named.arm, joints, avx2);
      expectWithinHalfTurn(closedForm, joints, avx2);
    }
  }
}

/// \returns whether the kernel lists both avx2 and fma among the processor's flags in
/// /proc/cpuinfo: found apart from the library's own test of the processor.
bool cpuinfoListsAvx2AndFma() {
  std::ifstream in("/proc/cpuinfo");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("flags", 0) != 0)
      continue;
    std::istringstream words(line.substr(line.find(':') + 1));
    bool avx2 = false;
    bool fma = false;
    for (std::string word; words >> word;) {
      avx2 = avx2 || word == "avx2";
      fma = fma || word == "fma";
    }
    return avx2 && fma;
  }
  return false;
}

/// \returns whether two lists of solutions are the same to the bit.
bool identical(const BaseSolutions& a, const BaseSolutions& b) {
  if (a.count != b.count)
    return false;
  for (std::size_t k = 0; k < a.count; ++k)
    if (a.solutions[k] != b.solutions[k])
      return false;
  return true;
}

TEST(ClosedFormBuilds, TheProcessorsBuildIsTheOneItsInstructionsAllow) {
  const bool avx2 = cpuinfoListsAvx2AndFma();
  EXPECT_EQ(detail::processorHasAvx2(), avx2);
  const RobotConfig arm = DefaultArm();
  const detail::ClosedFormArm closedForm = detail::MakeClosedFormArm(arm);
  // Where both builds can run, a pose on which they round differently, so that the output shows
  // which one ran.
  RobJoint joints(10, 20, 30, 40, 50, 60);
  if (avx2) {
    test::Random random;
    for (int n = 0; n < kSamplesPerArm &&
                    identical(solveFor(arm, closedForm, joints, detail::solveClosedFormBaseline),
                              solveFor(arm, closedForm, joints, detail::solveClosedFormAvx2));
         ++n)
      joints = test::randomAllowedJoints(random, arm);
    const bool differ =
        !identical(solveFor(arm, closedForm, joints, detail::solveClosedFormBaseline),
                   solveFor(arm, closedForm, joints, detail::solveClosedFormAvx2));
#ifdef ZORROB_SANITIZED_BUILD
    // Built without optimisation the two may round alike on every pose tried.
    if (!differ)
      GTEST_SKIP() << "the two builds round alike here: the output cannot show which one ran";
#endif
    ASSERT_TRUE(differ);
  }
  const BaseSolutions chosen =
      solveFor(arm, closedForm, joints, detail::solveClosedFormForProcessor);
  const BaseSolutions expected =
      solveFor(arm, closedForm, joints,
               avx2 ? detail::solveClosedFormAvx2 : detail::solveClosedFormBaseline);
  ASSERT_EQ(chosen.count, expected.count);
  for (std::size_t k = 0; k < chosen.count; ++k)
    for (std::size_t i = 0; i < 6; ++i)
      EXPECT_EQ(chosen.solutions[k][i], expected.solutions[k][i]) << k << " " << i;
}

}  // namespace
}  // namespace zor::rob
