// Base placement on the default arm. The targets are made from joint values at a known base
// pose, so that base reaches every one by construction; the other candidates' counts are made
// here with getAllJointSolutions on targets moved into their frames with 4x4 matrices.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "support/test_support.hpp"
#include "zor/rob/reach.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

template <typename F>
void ExpectInvalid(F&& f, const std::string& message) {
  try {
    f();
    ADD_FAILURE() << "no exception, expected: " << message;
  } catch (const std::invalid_argument& e) {
    EXPECT_EQ(std::string(e.what()), message);
  }
}

Pose TurnedBase(double x, double y, double degrees) {
  const double h = degrees * kPi / 360.0;
  return {{x, y, 0.0}, {std::cos(h), 0.0, 0.0, std::sin(h)}};
}

Eigen::Matrix4d Matrix(const Pose& p) {
  Eigen::Matrix4d m = Eigen::Matrix4d::Identity();
  m.topLeftCorner<3, 3>() = Eigen::Quaterniond(p.orient.q1, p.orient.q2, p.orient.q3, p.orient.q4)
                                .normalized()
                                .toRotationMatrix();
  m.topRightCorner<3, 1>() = Eigen::Vector3d(p.pos.x, p.pos.y, p.pos.z);
  return m;
}

Pose FromMatrix(const Eigen::Matrix4d& m) {
  const Eigen::Quaterniond q(Eigen::Matrix3d(m.topLeftCorner<3, 3>()));
  return {{m(0, 3), m(1, 3), m(2, 3)}, {q.w(), q.x(), q.y(), q.z()}};
}

const Pose kBest = TurnedBase(1200.0, -700.0, 35.0);

/// Targets in the world: the tool centre point at random joints of the arm standing at kBest,
/// with their configurations.
std::vector<PlacementTarget> TargetsFromBest(const RobotConfig& arm, const ToolData& tool) {
  test::Random random;
  std::vector<PlacementTarget> targets;
  for (int n = 0; n < 12; ++n) {
    RobJoint j;
    for (std::size_t i = 0; i < 6; ++i)
      j.values[i] = random.uniform(arm.jointMin[i] * 0.8, arm.jointMax[i] * 0.8);
    const RobTarget flange = arm.getRobTarget(j);
    const Eigen::Matrix4d world = Matrix(kBest) * Matrix(flange.pose) * Matrix(tool.tframe);
    targets.push_back({FromMatrix(world), flange.robConf});
  }
  return targets;
}

std::size_t ReachedByHand(const RobotConfig& arm, const std::vector<PlacementTarget>& targets,
                          const Pose& base, const ToolData& tool) {
  std::size_t reached = 0;
  for (const PlacementTarget& t : targets) {
    const Pose inBase = FromMatrix(Matrix(base).inverse() * Matrix(t.pose));
    const TargetConfiguration sols = arm.getAllJointSolutions(inBase, tool, WObjData{});
    for (std::size_t s = 0; s < sols.size(); ++s)
      if (!t.conf || sols.conf(s).isCriticalEqual(sols.joint(s), *t.conf)) {
        ++reached;
        break;
      }
  }
  return reached;
}

ToolData Tool() {
  return ToolData(true, Pose({5, 0, 150}, {1, 0, 0, 0}), LoadData{});
}

TEST(BaseGridPoses, XThenYThenTheTurnAboutZ) {
  const std::vector<Pose> poses = BaseGridPoses({0, 50, -50, 50, 50, 0, 90, 90});
  ASSERT_EQ(poses.size(), 2u * 3u * 2u);
  EXPECT_EQ(poses[0].pos, (Pos{0, -50, 0}));
  EXPECT_EQ(poses[1].pos, (Pos{0, -50, 0}));
  EXPECT_EQ(poses[2].pos, (Pos{0, 0, 0}));
  EXPECT_EQ(poses[6].pos, (Pos{50, -50, 0}));
  EXPECT_EQ(poses[0].orient, (Orient{1, 0, 0, 0}));
  // 90 degrees about z: (cos 45°, 0, 0, sin 45°).
  EXPECT_NEAR(poses[1].orient.q1, std::sqrt(0.5), 1e-15);
  EXPECT_NEAR(poses[1].orient.q4, std::sqrt(0.5), 1e-15);
}

TEST(BaseGridPoses, BadGridsThrow) {
  const std::string steps = "base grid steps must be positive and finite";
  const std::string bounds = "base grid bounds must be finite, the maximum not below the minimum";
  ExpectInvalid([] { (void)BaseGridPoses({0, 1, 0, 1, 0, 0, 0, 1}); }, steps);
  ExpectInvalid([] { (void)BaseGridPoses({0, 1, 0, 1, 1, 0, 0, kNaN}); }, steps);
  ExpectInvalid([] { (void)BaseGridPoses({0, 1, 0, 1, 1, 0, 0, -1}); }, steps);
  ExpectInvalid([] { (void)BaseGridPoses({1, 0, 0, 1, 1, 0, 0, 1}); }, bounds);
  ExpectInvalid([] { (void)BaseGridPoses({0, 1, 0, kNaN, 1, 0, 0, 1}); }, bounds);
  ExpectInvalid([] { (void)BaseGridPoses({0, 1, 0, 1, 1, 10, 0, 1}); }, bounds);
  ExpectInvalid(
      [] {
        (void)BaseGridPoses({0, 99999, 0, 99999, 1, 0, 0, 1});
      },
      "base grid of 10000000000 poses exceeds the cap of 1000000000");
  ExpectInvalid(
      [] {
        (void)BaseGridPoses({0, 1e308, 0, 1, 1e-300, 0, 0, 1});
      },
      "base grid of over 1e308 poses exceeds the cap of 1000000000");
}

TEST(RankBasePlacements, TheBaseTheTargetsWereMadeAtRanksFirst) {
  const RobotConfig arm = DefaultArm();
  const std::vector<PlacementTarget> targets = TargetsFromBest(arm, Tool());
  const std::vector<Pose> bases{TurnedBase(1200, -700, 215), TurnedBase(6000, 0, 0), kBest,
                                TurnedBase(1500, -700, 35), TurnedBase(1200, -700, 125)};
  PlacementOptions options;
  options.tool = Tool();
  const PlacementResult result = RankBasePlacements(arm, targets, bases, options);
  ASSERT_EQ(result.ranked.size(), 5u);
  EXPECT_FALSE(result.cancelled);
  EXPECT_EQ(result.ranked[0].candidate, 2u);
  EXPECT_EQ(result.ranked[0].reached, 12u);
  EXPECT_EQ(result.ranked[0].share, 1.0);
  EXPECT_EQ(result.ranked[0].base, kBest);
  EXPECT_GT(result.ranked[0].worstManipulability, 0.0);
  for (const PlacementScore& s : result.ranked)
    if (s.candidate == 1) {  // 6 m away reaches nothing
      EXPECT_EQ(s.share, 0.0);
      EXPECT_EQ(s.worstManipulability, 0.0);
    }
  EXPECT_EQ(result.ranked.back().share, 0.0);
  for (const PlacementScore& s : result.ranked) {
    EXPECT_EQ(s.total, 12u);
    EXPECT_EQ(s.reached, ReachedByHand(arm, targets, bases[s.candidate], Tool())) << s.candidate;
    EXPECT_EQ(s.events, 0u);
    EXPECT_EQ(s.cycleTime, 0.0);
  }
  for (std::size_t k = 1; k < result.ranked.size(); ++k)
    EXPECT_GE(result.ranked[k - 1].share, result.ranked[k].share);
  EXPECT_LT(result.ranked[1].share, 1.0);  // the only base that reaches them all
}

TEST(RankBasePlacements, TheWorstManipulabilityIsThatOfTheWeakestTarget) {
  const RobotConfig arm = DefaultArm();
  const std::vector<PlacementTarget> targets = TargetsFromBest(arm, Tool());
  double worst = std::numeric_limits<double>::infinity();
  for (const PlacementTarget& t : targets) {
    const Pose inBase = FromMatrix(Matrix(kBest).inverse() * Matrix(t.pose));
    const TargetConfiguration sols = arm.getAllJointSolutions(inBase, Tool(), WObjData{});
    double best = 0.0;
    for (std::size_t s = 0; s < sols.size(); ++s)
      if (sols.conf(s).isCriticalEqual(sols.joint(s), *t.conf)) {
        const Eigen::Matrix<double, 6, 6> j = arm.getSpaceJacobian(sols.joint(s)).matrix;
        best = std::max(best, std::sqrt((j * j.transpose()).determinant()));
      }
    worst = std::min(worst, best);
  }
  PlacementOptions options;
  options.tool = Tool();
  const PlacementResult r = RankBasePlacements(arm, targets, std::vector{kBest}, options);
  EXPECT_NEAR(r.ranked[0].worstManipulability, worst, 1e-6 * worst);
}

TEST(RankBasePlacements, ChunksAndThreadsGiveTheSameRanking) {
  const RobotConfig arm = DefaultArm();
  const std::vector<PlacementTarget> targets = TargetsFromBest(arm, Tool());
  const std::vector<Pose> bases = BaseGridPoses({600, 1800, -1300, -100, 600, 0, 270, 90});
  PlacementOptions options;
  options.tool = Tool();
  const PlacementResult whole = RankBasePlacements(arm, targets, bases, options);
  ASSERT_EQ(whole.ranked.size(), bases.size());
  std::vector<PlacementScore> joined;
  for (std::size_t b = 0; b < bases.size(); b += 7) {
    options.begin = b;
    options.end = b + 7;
    const PlacementResult part = RankBasePlacements(arm, targets, bases, options);
    joined.insert(joined.end(), part.ranked.begin(), part.ranked.end());
  }
  RankPlacements(joined);
  EXPECT_EQ(joined, whole.ranked);
  options.begin = 0;
  options.end = static_cast<std::size_t>(-1);
  for (unsigned threads : {0u, 2u, 5u}) {
    options.threads = threads;
    EXPECT_EQ(RankBasePlacements(arm, targets, bases, options), whole) << threads;
  }
}

TEST(RankBasePlacements, CancellingRanksOnlyTheScoredCandidates) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Pose> bases = BaseGridPoses({0, 900, 0, 0, 300, 0, 0, 1});
  PlacementOptions options;
  options.progress = [](double) { return false; };
  const PlacementResult r = RankBasePlacements(arm, TargetsFromBest(arm, {}), bases, options);
  EXPECT_TRUE(r.cancelled);
  ASSERT_EQ(r.ranked.size(), 1u);
  EXPECT_EQ(r.ranked[0].candidate, 0u);
}

TEST(RankPlacements, OrdersByShareEventsManipulabilityCycleTimeThenIndex) {
  std::vector<PlacementScore> s(6);
  for (std::size_t i = 0; i < s.size(); ++i)
    s[i].candidate = i;
  s[0].share = 0.5;
  s[1].share = 1.0;
  s[1].events = 2;
  s[2].share = 1.0;
  s[2].events = 1;
  s[2].worstManipulability = 10;
  s[3].share = 1.0;
  s[3].events = 1;
  s[3].worstManipulability = 20;
  s[3].cycleTime = 5;
  s[4] = s[3];
  s[4].candidate = 4;
  s[4].cycleTime = 4;
  s[5] = s[4];
  s[5].candidate = 5;
  RankPlacements(s);
  std::vector<std::size_t> order;
  for (const PlacementScore& p : s)
    order.push_back(p.candidate);
  EXPECT_EQ(order, (std::vector<std::size_t>{4, 5, 3, 2, 1, 0}));
}

TEST(RankBasePlacements, BadInputThrows) {
  const RobotConfig arm = DefaultArm();
  const std::vector<PlacementTarget> targets(3);
  ExpectInvalid([&] { (void)RankBasePlacements(arm, targets, {}, {}); }, "no candidate bases");
  PlacementOptions range;
  range.begin = 3;
  ExpectInvalid([&] { (void)RankBasePlacements(arm, targets, std::vector<Pose>(2), range); },
                "placement range lies outside the candidates");
  PlacementOptions threads;
  threads.threads = 300;
  ExpectInvalid([&] { (void)RankBasePlacements(arm, targets, std::vector<Pose>(2), threads); },
                "thread count must be at most 256");
  const std::vector<PlacementTarget> many(500'001);
  ExpectInvalid([&] { (void)RankBasePlacements(arm, many, std::vector<Pose>(2000), {}); },
                "placement of 1000002000 queries exceeds the cap of 1000000000 (allow large "
                "placements to go beyond)");
}

// ---- Programs ----

/// A small program in the arm's base frame: a joint move and two linear moves in front of it.
std::vector<ProgramMove> ProgramInBase() {
  const RobotConfig arm = DefaultArm();
  const Orient down{0.0, 0.0, 1.0, 0.0};  // flange z along base −z
  std::vector<ProgramMove> moves;
  for (const Pos& p : {Pos{800, -200, 400}, Pos{900, 100, 400}, Pos{800, 200, 600}}) {
    MoveL m;
    m.toPoint = RobTarget(Pose(p, down));
    // The configuration the arm takes there coming from the start joints.
    m.toPoint.robConf = ConfData::FromRobJoint(
        *arm.getNearestJointSolution(Pose(p, down), RobJoint(0, 0, 0, 0, 30, 0)), arm);
    m.speed = SpeedData::v500;
    moves.push_back(m);
  }
  MoveJ j;
  j.toPoint = std::get<MoveL>(moves[0]).toPoint;
  j.speed = SpeedData::v500;
  moves[0] = j;
  return moves;
}

/// The same program with its work objects' user frames at `base`: seen from a base at `base` it
/// is ProgramInBase.
std::vector<ProgramMove> ProgramInWorld(const Pose& base) {
  std::vector<ProgramMove> moves = ProgramInBase();
  for (ProgramMove& m : moves)
    std::visit([&](auto& move) { move.wobj.uframe = base; }, m);
  return moves;
}

TEST(RankProgramPlacements, TheBaseTheProgramWasWrittenForRanksFirst) {
  const RobotConfig arm = DefaultArm();
  const RobJoint start(0, 0, 0, 0, 30, 0);
  const std::vector<ProgramMove> world = ProgramInWorld(kBest);
  const std::vector<Pose> bases{TurnedBase(5000, 0, 0), kBest, TurnedBase(1200, -700, 215)};
  const PlacementResult r = RankProgramPlacements(arm, start, world, bases, {});
  ASSERT_EQ(r.ranked.size(), 3u);
  EXPECT_EQ(r.ranked[0].candidate, 1u);
  const AuditReport expected = AuditProgram(arm, start, ProgramInBase());
  ASSERT_TRUE(expected.clean());
  EXPECT_EQ(r.ranked[0].reached, 3u);
  EXPECT_EQ(r.ranked[0].total, 3u);
  EXPECT_EQ(r.ranked[0].events, 0u);
  EXPECT_NEAR(r.ranked[0].cycleTime, expected.duration, 1e-9);
  EXPECT_GT(r.ranked[0].worstManipulability, 0.0);
  // 5 m away the arm reaches none of the moves; every target is reported.
  const PlacementScore& far = r.ranked[2];
  EXPECT_EQ(far.candidate, 0u);
  EXPECT_EQ(far.reached, 0u);
  EXPECT_GE(far.events, 3u);
}

TEST(RankProgramPlacements, WorstManipulabilityAlongTheSamples) {
  const RobotConfig arm = DefaultArm();
  const RobJoint start(0, 0, 0, 0, 30, 0);
  AuditOptions keep;
  keep.keepSamples = true;
  const AuditReport report = AuditProgram(arm, start, ProgramInBase(), keep);
  double worst = std::numeric_limits<double>::infinity();
  for (const AuditSample& s : report.samples) {
    const Eigen::Matrix<double, 6, 6> j = arm.getSpaceJacobian(s.joints).matrix;
    worst = std::min(worst, std::sqrt((j * j.transpose()).determinant()));
  }
  const PlacementResult r =
      RankProgramPlacements(arm, start, ProgramInWorld(kBest), std::vector{kBest}, {});
  EXPECT_NEAR(r.ranked[0].worstManipulability, worst, 1e-6 * worst);
}

}  // namespace
}  // namespace zor::rob
