// The closed form of arms whose joints 2, 3 and 4 are parallel: recall on poses made from random
// joints, an independent many-seed numerical search (KDL, on a chain built from the DH rows), and
// the edge cases.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ik/ik_test_support.hpp"
#include "ik/three_parallel.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using test::allSolutionsValid;
using test::findSolution;

/// Poses per arm of the recall test and of the witness (about 0.14 s of CPU per pose, nearly all
/// of it KDL's); the sanitizer build runs a fiftieth and a sixteenth.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kRecallPoses = 200;
constexpr int kWitnessPoses = 4;
#else
constexpr int kRecallPoses = 10000;
constexpr int kWitnessPoses = 64;
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
};

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
      {"orthoOffsetWrist", classicTable({{{150, -90, 450, 0},
                                          {600, 0, 0, -90},
                                          {110, -90, 0, 0},
                                          {60, 90, 640, 0},
                                          {0, -90, 0, 0},
                                          {0, 0, 100, 0}}})},
      {"madeUp", classicTable({{{30, 80, 300, 0},
                                {400, 0, 40, 10},
                                {50, 70, 20, 0},
                                {10, 60, 350, 0},
                                {0, -60, 60, 0},
                                {0, 0, 80, 0}}})},
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
  for (int n = 0; n < kRecallPoses; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    const Pose pose = arm.getRobTarget(j).pose;
    const TargetConfiguration all = arm.getAllJointSolutions(pose);
    ASSERT_TRUE(allSolutionsValid(arm, all, pose)) << j.toString();
    ASSERT_LE(all.size(), 16U) << j.toString();
    if (!test::clearOfSingularities(arm, j))
      continue;
    ++checked;
    ASSERT_GE(findSolution(all, j), 0) << j.toString();
  }
  EXPECT_GT(checked, kRecallPoses / 2);
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

RobotConfig armOf(const std::string& name, const ArmLimits& limits = halfTurnLimits()) {
  for (const DhArm& a : familyArms())
    if (a.name == name)
      return ArmFromDh(a.table, limits).robot;
  throw std::invalid_argument("no arm " + name);
}

TEST(IkMethod, EachArmGetsTheMethodItsAxesAllow) {
  EXPECT_EQ(DefaultArm().ikMethod(), IkMethod::sphericalWristClosedForm);
  for (const char* name : {"collaborative3", "collaborative5", "collaborative10", "lateralOffsets"})
    EXPECT_EQ(armOf(name).ikMethod(), IkMethod::threeParallelClosedForm) << name;
  EXPECT_EQ(armOf("orthoOffsetWrist").ikMethod(), IkMethod::search);
  EXPECT_EQ(armOf("madeUp").ikMethod(), IkMethod::search);
  // Joint 3 tilted off joint 2: no method but the seeds.
  RobotConfig skewed = DefaultArm();
  skewed.jointAxes[2] = Vec3{0, std::cos(0.1), std::sin(0.1)};
  EXPECT_EQ(skewed.ikMethod(), IkMethod::numerical);
  // Axis 4 tilted by 1e-9 rad on a collaborative arm: the search takes it.
  RobotConfig tilted = armOf("collaborative5");
  tilted.jointAxes[3] = (tilted.jointAxes[3] + tilted.jointAxes[4] * 1e-9).normalized();
  EXPECT_EQ(tilted.ikMethod(), IkMethod::search);
}

TEST(IkMethod, Texts) {
  const auto text = [](IkMethod m) {
    std::ostringstream os;
    os << m;
    return os.str();
  };
  EXPECT_EQ(text(IkMethod::sphericalWristClosedForm), "spherical-wrist closed form");
  EXPECT_EQ(text(IkMethod::threeParallelClosedForm), "three-parallel-axes closed form");
  EXPECT_EQ(text(IkMethod::search), "search over joint 4");
  EXPECT_EQ(text(IkMethod::numerical), "numerical from seeds");
  std::ostringstream bad;
  bad << static_cast<IkMethod>(7);
  EXPECT_TRUE(bad.fail());
  EXPECT_EQ(bad.str(), "");
}

// ---- Edge cases of the closed form ----

/// \returns the solutions of the pose of `j`, each checked.
TargetConfiguration solutionsOf(const RobotConfig& arm, const RobJoint& j,
                                const RobJoint* seed = nullptr) {
  const Pose pose = arm.getRobTarget(j).pose;
  TargetConfiguration all =
      seed != nullptr ? arm.getAllJointSolutions(pose, *seed) : arm.getAllJointSolutions(pose);
  EXPECT_TRUE(allSolutionsValid(arm, all, pose)) << j.toString();
  return all;
}

TEST(ThreeParallelEdges, WristSingularityKeepsJoint6AtTheSeed) {
  const RobotConfig arm = armOf("collaborative5");
  const RobJoint j(10, -60, 80, 30, 0, 40);
  // Joint 6 and the planar joints share one rotation: joint 6 keeps the seed's value (0 without
  // a seed), the planar joints take the rest, and the pose is kept.
  const RobJoint seed(0, 0, 0, 0, 0, -25);
  for (const RobJoint* s : {static_cast<const RobJoint*>(nullptr), &seed}) {
    const TargetConfiguration all = solutionsOf(arm, j, s);
    int singular = 0;
    for (const RobJoint& found : all.joints) {
      if (std::abs(found.values[4]) < 1e-9 && std::abs(found.values[0] - 10) < 1e-9) {
        ++singular;
        EXPECT_EQ(found.values[5], s == nullptr ? 0.0 : -25.0) << found.toString();
      }
    }
    // Two elbows of the one wrist branch.
    EXPECT_EQ(singular, 2);
  }
}

TEST(ThreeParallelEdges, JointFiveNearZeroGivesValidSolutions) {
  const RobotConfig arm = armOf("collaborative5");
  for (const double j5 : {1e-9, -1e-9, 1e-7, -1e-7}) {
    const TargetConfiguration all = solutionsOf(arm, RobJoint(10, -60, 80, 30, j5, 40));
    // The original, up to what the pose fixes of joint 6 this near the singularity: its normal
    // parts are |sin joint 5| long, so joint 6 carries rounding of 1e-16 / 1.7e-11 rad, about
    // 3e-4 degrees at 1e-9 degrees, and the planar joints follow it.
    EXPECT_GE(findSolution(all, RobJoint(10, -60, 80, 30, j5, 40), 1e-2), 0) << j5;
  }
}

TEST(ThreeParallelEdges, StretchedElbowIsListedOnce) {
  // The planar links run from axis 2 to axis 3 and from axis 3 to axis 4, both along the DH
  // rows' a: stretched at joint 3 = 0 (the elbow offset of the labels measures to the wrist point
  // instead, off axis 4).
  const RobotConfig arm = armOf("collaborative10");
  const double stretched = 0.0;
  const RobJoint j(20, -70, stretched, 40, 60, -30);
  const TargetConfiguration all = solutionsOf(arm, j);
  EXPECT_GE(findSolution(all, j, 1e-4), 0);
  int atStretched = 0;
  for (const RobJoint& s : all.joints)
    atStretched += std::abs(s.values[2] - stretched) < 1e-4 ? 1 : 0;
  // The two elbows of this shoulder and wrist coincide; the other wrist puts axis 4 elsewhere.
  EXPECT_EQ(atStretched, 1);
}

/// Moving the flange by δ along the stretched arm, normal to the parallel axes, changes neither
/// joint 1 (the motion has no component along k) nor joints 5 and 6 (the orientation stays): it
/// moves axis 4 away from axis 2 by δ. 1e-9 mm beyond the reach the stretched branch is gone; as
/// far inside it splits into two elbows; exactly at it, it is one.
TEST(ThreeParallelEdges, ReachBoundaryAtPlusMinusOneNanometre) {
  const RobotConfig arm = armOf("collaborative10");
  const RobJoint j(20, -70, 0, 40, 60, -30);  // stretched, as above
  const Pose pose = arm.getRobTarget(j).pose;
  const Pos axis2 = arm.getLinkPose(j, 1).transform(arm.jointPoints[1]);
  const Pos axis4 = arm.getLinkPose(j, 3).transform(arm.jointPoints[3]);
  const Vec3 k = arm.getLinkPose(j, 1).rotation.rotateVector(arm.jointAxes[1]);
  Vec3 radial = axis4.toVec3() - axis2.toVec3();
  radial = (radial - k * k.dot(radial)).normalized();
  const std::size_t atReach = arm.getAllJointSolutions(pose).size();
  for (const double delta : {1e-9, -1e-9}) {
    Pose moved = pose;
    moved.pos = (pose.pos.toVec3() + radial * delta).toPos();
    const TargetConfiguration all = arm.getAllJointSolutions(moved);
    EXPECT_TRUE(allSolutionsValid(arm, all, moved)) << delta;
    EXPECT_EQ(all.size(), delta > 0 ? atReach - 1 : atReach + 1) << delta;
  }
}

TEST(ThreeParallelEdges, ShoulderSingularityKeepsJoint1AtTheSeed) {
  // No lateral offset: the wrist point C may stand on axis 1, where joint 1 is free.
  const RobotConfig arm = ArmFromDh(classicTable({{{0, 90, 400, 0},
                                                   {-500, 0, 0, 0},
                                                   {-400, 0, 0, 0},
                                                   {0, 90, 0, 0},
                                                   {0, -90, 100, 0},
                                                   {0, 0, 80, 0}}}),
                                    halfTurnLimits())
                              .robot;
  ASSERT_EQ(arm.ikMethod(), IkMethod::threeParallelClosedForm);
  // Joints 2 to 4 folded so that C comes back over the base: found by the forward kinematics of
  // the axes, C at joint 1 = 0 lies in the x-z plane; joint 2 turned until its x is zero.
  const RobotConfig& a = arm;
  const Vec3 c0 = a.jointPoints[4].toVec3();
  const auto cOf = [&](double j2) {
    return a.getLinkPose(RobJoint(0, j2, 120, 30, 0, 0), 4).transform(Pos{c0.x, c0.y, c0.z});
  };
  double lo = -180;
  double hi = 0;
  for (int k = 0; k < 200 && std::signbit(cOf(lo).x) == std::signbit(cOf(hi).x); ++k)
    hi += 1.0;
  for (int k = 0; k < 100; ++k) {
    const double mid = 0.5 * (lo + hi);
    (std::signbit(cOf(mid).x) == std::signbit(cOf(lo).x) ? lo : hi) = mid;
  }
  const RobJoint j(0, lo, 120, 30, 50, 10);
  const Pos c = cOf(lo);
  ASSERT_LT(std::hypot(c.x, c.y), 1e-11);
  const RobJoint seed(35, 0, 0, 0, 0, 0);
  const TargetConfiguration all = solutionsOf(arm, j, &seed);
  ASSERT_FALSE(all.empty());
  for (const RobJoint& s : all.joints)
    EXPECT_TRUE(std::abs(s.values[0] - 35) < 1e-9 || std::abs(s.values[0] + 145) < 1e-9)
        << s.toString();
}

TEST(ThreeParallelEdges, TurnsLimitsAndCouplingAsForTheSphericalWrist) {
  ArmLimits wide = halfTurnLimits();
  wide.jointMin[3] = -400;
  wide.jointMax[3] = 400;
  wide.jointMin[5] = -360;
  wide.jointMax[5] = 360;
  const RobotConfig open = armOf("collaborative5", wide);
  ArmLimits coupled = wide;
  coupled.jointCoupling = 1;
  coupled.jointMin[6] = -100;
  coupled.jointMax[6] = 40;
  const RobotConfig tight = armOf("collaborative5", coupled);
  test::Random random;
  for (int n = 0; n < 200; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, tight);
    const TargetConfiguration all = solutionsOf(open, j);
    // Every turn of joints 4 and 6 within the limits: by hand from the half-turn list.
    const TargetConfiguration half =
        armOf("collaborative5").getAllJointSolutions(open.getRobTarget(j).pose);
    std::size_t expected = 0;
    std::size_t expectedCoupled = 0;
    for (const RobJoint& h : half.joints)
      for (const double t4 : {-360.0, 0.0, 360.0})
        for (const double t6 : {-360.0, 0.0, 360.0}) {
          RobJoint turned = h;
          turned.values[3] += t4;
          turned.values[5] += t6;
          if (std::abs(turned.values[3]) >= 400 || std::abs(turned.values[5]) >= 360)
            continue;
          ++expected;
          EXPECT_GE(findSolution(all, turned), 0) << turned.toString();
          const double sum = turned.values[1] + turned.values[2];
          expectedCoupled += sum > -100 && sum < 40 ? 1 : 0;
        }
    EXPECT_EQ(all.size(), expected) << j.toString();
    const TargetConfiguration limited = solutionsOf(tight, j);
    EXPECT_EQ(limited.size(), expectedCoupled) << j.toString();
    EXPECT_GE(findSolution(limited, j), 0) << j.toString();
  }
}

// ---- The two builds of the closed form ----

/// Poses per arm of the comparison of the two builds.
constexpr int kBuildPoses = 2000;
/// The two builds round differently; clear of the singularities their angles agree within this
/// (radians).
constexpr double kBuildRounding = 1e-10;

using SolveThreeParallel = void (*)(const detail::ThreeParallelArm&, const detail::Mat3&,
                                    const Vec3&, const detail::FreeJoints&, detail::BaseSolutions&);

/// Runs `solve` (one build of the closed form) on the flange pose of `joints`.
detail::BaseSolutions solveWith(const RobotConfig& arm, const detail::ThreeParallelArm& solver,
                                const RobJoint& joints, SolveThreeParallel solve) {
  const Transform t = arm.getWristPoseInBase(joints);
  const Rotation& q = t.rotation;
  detail::BaseSolutions out;
  solve(solver, detail::rotationMatrix(q.w, q.x, q.y, q.z), t.translation, detail::FreeJoints{},
        out);
  return out;
}

/// \returns the solutions of `s` in degrees.
std::vector<RobJoint> inDegrees(const detail::BaseSolutions& s) {
  std::vector<RobJoint> joints(s.count);
  for (std::size_t k = 0; k < s.count; ++k)
    for (std::size_t i = 0; i < 6; ++i)
      joints[k].values[i] = RadToDeg(s.solutions[k][i]);
  return joints;
}

/// The closed-form arms of familyArms() with the poses of random joints: each build's solutions
/// reproduce the pose and lie within a half turn, include the original joints, and the two
/// builds list the same solutions within rounding.
TEST(ThreeParallelBuilds, BothBuildsReproduceEveryPoseAndAgree) {
  const bool avx2 = detail::processorHasAvx2();
  test::Random random;
  for (const DhArm& named : familyArms()) {
    const ImportedArm imported = ArmFromDh(named.table, halfTurnLimits());
    const RobotConfig& arm = imported.robot;
    if (arm.ikMethod() != IkMethod::threeParallelClosedForm)
      continue;
    const detail::ThreeParallelArm solver = detail::MakeThreeParallelArm(arm);
    ASSERT_TRUE(solver.solvable) << named.name;
    for (int n = 0; n < kBuildPoses; ++n) {
      const RobJoint j = test::randomAllowedJoints(random, arm);
      const Transform t = arm.getWristPoseInBase(j);
      const Pose pose{t.translation.toPos(), t.rotation.toOrient()};
      const std::vector<RobJoint> baseline =
          inDegrees(solveWith(arm, solver, j, detail::solveThreeParallelBaseline));
      const std::vector<RobJoint> fast = inDegrees(
          solveWith(arm, solver, j,
                    avx2 ? detail::solveThreeParallelAvx2 : detail::solveThreeParallelBaseline));
      for (const std::vector<RobJoint>* build : {&baseline, &fast})
        for (const RobJoint& s : *build) {
          ASSERT_TRUE(test::reproduces(arm, s, pose)) << named.name << " " << j.toString();
          for (std::size_t i = 0; i < 6; ++i)
            ASSERT_LE(std::abs(s.values[i]), 180.0) << s.toString();
        }
      if (!test::clearOfSingularities(arm, j))
        continue;
      ASSERT_EQ(fast.size(), baseline.size()) << named.name << " " << j.toString();
      TargetConfiguration listed;
      for (const RobJoint& s : baseline)
        listed.add(s, ConfData{});
      EXPECT_GE(findSolution(listed, j), 0) << named.name << " " << j.toString();
      for (const RobJoint& s : fast)
        EXPECT_GE(findSolution(listed, s, RadToDeg(kBuildRounding)), 0)
            << named.name << " " << j.toString() << ": " << s.toString();
    }
  }
}

TEST(ThreeParallelBuilds, TheProcessorsBuildRuns) {
  const RobotConfig arm = armOf("collaborative5");
  const detail::ThreeParallelArm solver = detail::MakeThreeParallelArm(arm);
  const bool avx2 = detail::processorHasAvx2();
  const auto identical = [](const detail::BaseSolutions& a, const detail::BaseSolutions& b) {
    return a.count == b.count &&
           std::equal(a.solutions.begin(), a.solutions.begin() + static_cast<long>(a.count),
                      b.solutions.begin());
  };
  // Where both builds can run, a pose on which they round differently, so that the output shows
  // which one ran.
  RobJoint j(10, -60, 80, 30, 50, 40);
  if (avx2) {
    test::Random random;
    for (int n = 0;
         n < kBuildPoses && identical(solveWith(arm, solver, j, detail::solveThreeParallelBaseline),
                                      solveWith(arm, solver, j, detail::solveThreeParallelAvx2));
         ++n)
      j = test::randomAllowedJoints(random, arm);
    const bool differ = !identical(solveWith(arm, solver, j, detail::solveThreeParallelBaseline),
                                   solveWith(arm, solver, j, detail::solveThreeParallelAvx2));
#ifdef ZORROB_SANITIZED_BUILD
    // Built without optimisation the two may round alike on every pose tried.
    if (!differ)
      GTEST_SKIP() << "the two builds round alike here: the output cannot show which one ran";
#endif
    ASSERT_TRUE(differ);
  }
  EXPECT_TRUE(identical(
      solveWith(arm, solver, j, detail::solveThreeParallel),
      solveWith(arm, solver, j,
                avx2 ? detail::solveThreeParallelAvx2 : detail::solveThreeParallelBaseline)));
}

}  // namespace
}  // namespace zor::rob
