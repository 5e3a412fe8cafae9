// The closed form of arms whose joints 2, 3 and 4 are parallel: recall on poses made from random
// joints, an independent many-seed numerical search (KDL, on a chain built from the DH rows), and
// the edge cases.

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "ik/ik_test_support.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::allSolutionsValid;
using test::findSolution;

/// Poses per arm of the recall test and of the witness; the sanitizer build runs a fiftieth.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kRecallPoses = 200;
constexpr int kWitnessPoses = 4;
#else
constexpr int kRecallPoses = 10000;
constexpr int kWitnessPoses = 60;
#endif
/// Random seeds of the witness per pose.
constexpr int kWitnessSeeds = 64;
/// A witness solution within this (degrees, each joint modulo a turn) of a listed one is that
/// one: the witness stops within about 1e-3 degrees of a solution, and distinct solutions of
/// these arms lie degrees apart away from the singularities.
constexpr double kWitnessMatch = 1e-2;

struct DhArm {
  std::string name;
  DhTable table;
  /// Solved by the search: a few poses whose solutions crowd together where branches meet may
  /// lose one (see kSearchMisses).
  bool searched{false};
};

/// The most poses (per 10^4) of a searched arm whose original joints may be missing from the list.
constexpr int kSearchMisses = 10;

void PrintTo(const DhArm& arm, std::ostream* os) {
  *os << arm.name;
}

DhTable classicTable(const std::array<DhRow, 6>& rows) {
  DhTable t;
  t.convention = DhConvention::classic;
  t.rows = rows;
  return t;
}

/// Collaborative arms of the 3, 5 and 10 kg class from their nominal tables, and a made-up arm
/// of the family with a base offset, lateral offsets at the shoulder and the elbow and an offset
/// wrist: all solved in closed form.
std::vector<DhArm> familyArms() {
  return {
      {"collaborative3", classicTable({{{0, 90, 151.9, 0},
                                        {-243.65, 0, 0, 0},
                                        {-213.25, 0, 0, 0},
                                        {0, 90, 112.35, 0},
                                        {0, -90, 85.35, 0},
                                        {0, 0, 81.9, 0}}})},
      {"collaborative5", classicTable({{{0, 90, 89.159, 0},
                                        {-425, 0, 0, 0},
                                        {-392.25, 0, 0, 0},
                                        {0, 90, 109.15, 0},
                                        {0, -90, 94.65, 0},
                                        {0, 0, 82.3, 0}}})},
      {"collaborative10", classicTable({{{0, 90, 127.3, 0},
                                         {-612, 0, 0, 0},
                                         {-572.3, 0, 0, 0},
                                         {0, 90, 163.941, 0},
                                         {0, -90, 115.7, 0},
                                         {0, 0, 92.2, 0}}})},
      {"lateralOffsets", classicTable({{{150, 90, 400, 0},
                                        {500, 0, 60, 30},
                                        {420, 0, -25, -20},
                                        {0, 90, 90, 0},
                                        {0, -90, 110, 0},
                                        {0, 0, 75, 0}}})},
      // Searched: an ortho-parallel arm whose axis 5 (and so axis 6) passes 60 mm from axis 4,
      // and a made-up arm with no axes parallel or perpendicular beyond the library form's.
      {"orthoOffsetWrist",
       classicTable({{{150, -90, 450, 0},
                      {600, 0, 0, -90},
                      {110, -90, 0, 0},
                      {60, 90, 640, 0},
                      {0, -90, 0, 0},
                      {0, 0, 100, 0}}}),
       true},
      {"madeUp",
       classicTable({{{30, 80, 300, 0},
                      {400, 0, 40, 10},
                      {50, 70, 20, 0},
                      {10, 60, 350, 0},
                      {0, -60, 60, 0},
                      {0, 0, 80, 0}}}),
       true},
  };
}

ArmLimits halfTurnLimits() {
  ArmLimits l;
  l.jointMin = {-180, -180, -180, -180, -180, -180, -360};
  l.jointMax = {180, 180, 180, 180, 180, 180, 360};
  return l;
}

/// \returns `a` − `b` reduced into (−180, 180].
double angleDifference(double a, double b) {
  double d = std::fmod(a - b, 360.0);
  if (d > 180.0)
    d -= 360.0;
  if (d <= -180.0)
    d += 360.0;
  return d;
}

/// \returns the chain of `table` built by KDL from the rows, not from the library's model.
KDL::Chain kdlChainOf(const DhTable& table) {
  KDL::Chain chain;
  for (const DhRow& row : table.rows)
    chain.addSegment(
        KDL::Segment(KDL::Joint(KDL::Joint::RotZ),
                     KDL::Frame::DH(row.a, DegToRad(row.alpha), row.d, DegToRad(row.thetaOffset))));
  return chain;
}

class ThreeParallelRecall : public ::testing::TestWithParam<DhArm> {};

TEST_P(ThreeParallelRecall, ListsTheOriginalJointsAndOnlyValidSolutions) {
  const ImportedArm imported = ArmFromDh(GetParam().table, halfTurnLimits());
  const RobotConfig& arm = imported.robot;
  test::Random random;
  int checked = 0;
  int missed = 0;
  for (int n = 0; n < kRecallPoses; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    const Pose pose = arm.getRobTarget(j).pose;
    const TargetConfiguration all = arm.getAllJointSolutions(pose);
    ASSERT_TRUE(allSolutionsValid(arm, all, pose)) << j.toString();
    ASSERT_LE(all.size(), 16U) << j.toString();
    if (!test::clearOfSingularities(arm, j))
      continue;
    ++checked;
    if (GetParam().searched) {
      missed += findSolution(all, j) < 0 ? 1 : 0;
      continue;
    }
    ASSERT_GE(findSolution(all, j), 0) << j.toString();
  }
  EXPECT_GT(checked, kRecallPoses / 2);
  EXPECT_LE(missed * 10000, kSearchMisses * kRecallPoses) << missed << " of " << checked;
  std::cout << GetParam().name << ": original joints missed on " << missed << " of " << checked
            << " poses\n";
}

/// KDL's Levenberg–Marquardt solver from 64 random seeds per pose: every solution it finds
/// inside the limits must be listed.
TEST_P(ThreeParallelRecall, ListsEverySolutionAManySeedSearchFinds) {
  const ImportedArm imported = ArmFromDh(GetParam().table, halfTurnLimits());
  const RobotConfig& arm = imported.robot;
  const KDL::Chain chain = kdlChainOf(GetParam().table);
  KDL::ChainIkSolverPos_LMA solver(chain, 1e-11, 500, 1e-15);
  KDL::ChainFkSolverPos_recursive forward(chain);
  test::Random random;
  int found = 0;
  for (int n = 0; n < kWitnessPoses; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    const Pose pose = arm.getRobTarget(j).pose;
    const TargetConfiguration all = arm.getAllJointSolutions(pose);
    // The KDL target is the described flange: the library's flange times userFlange.
    KDL::JntArray q(6);
    for (unsigned k = 0; k < 6; ++k)
      q(k) = DegToRad(j.values[k]);
    KDL::Frame target;
    ASSERT_GE(forward.JntToCart(q, target), 0);
    const Transform user = imported.userFlangePose(j);
    ASSERT_NEAR(
        (KDL::Vector(user.translation.x, user.translation.y, user.translation.z) - target.p).Norm(),
        0.0, 1e-9)
        << "the chain and the model disagree";
    for (int s = 0; s < kWitnessSeeds; ++s) {
      KDL::JntArray seed(6);
      KDL::JntArray out(6);
      for (unsigned k = 0; k < 6; ++k)
        seed(k) = random.uniform(-kPi, kPi);
      if (solver.CartToJnt(seed, target, out) < 0)
        continue;
      RobJoint witness;
      for (unsigned k = 0; k < 6; ++k)
        witness.values[k] = angleDifference(RadToDeg(out(k)), 0.0);
      if (!test::insideLimits(arm, witness))
        continue;
      ++found;
      double nearest = 360.0;
      for (const RobJoint& listed : all.joints) {
        double d = 0.0;
        for (std::size_t k = 0; k < 6; ++k)
          d = std::max(d, std::abs(angleDifference(listed.values[k], witness.values[k])));
        nearest = std::min(nearest, d);
      }
      ASSERT_LT(nearest, kWitnessMatch) << "pose of " << j.toString() << ": the witness found "
                                        << witness.toString() << ", not listed";
    }
  }
  EXPECT_GT(found, kWitnessPoses);
}

INSTANTIATE_TEST_SUITE_P(Arms, ThreeParallelRecall, ::testing::ValuesIn(familyArms()),
                         [](const ::testing::TestParamInfo<DhArm>& param) {
                           return param.param.name;
                         });

}  // namespace
}  // namespace zor::rob
