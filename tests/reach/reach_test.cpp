// Reach maps on the default arm. The expected counts come from calling getAllJointSolutions
// point by point and orientation by orientation here; the expected manipulabilities from
// sqrt(det(J Jᵀ)) formed here from the space Jacobian.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "zor/rob/reach.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

template <typename F>
void ExpectInvalid(F&& f, const std::string& message) {
  try {
    f();
    ADD_FAILURE() << "no exception, expected: " << message;
  } catch (const std::invalid_argument& e) {
    EXPECT_EQ(std::string(e.what()), message);
  }
}

ReachGrid Box(const Pos& min, const Pos& max, double step) {
  return ReachGrid{ReachBox{min, max, step}};
}

/// A grid across the arm's reach: 5 × 3 × 5 positions, some out of reach, some within.
ReachGrid SmallGrid() {
  return Box({-300, -600, 0}, {1500, 600, 1800}, 450);
}

/// A tool 120 mm out along the flange z axis, tilted.
ToolData SmallTool() {
  return ToolData(true, Pose({0, 10, 120}, {std::cos(0.2), std::sin(0.2), 0, 0}), LoadData{});
}

double GramManipulability(const RobotConfig& arm, const RobJoint& j) {
  const Eigen::Matrix<double, 6, 6> jac = arm.getSpaceJacobian(j).matrix;
  return std::sqrt(std::max(0.0, (jac * jac.transpose()).determinant()));
}

struct Expected {
  std::vector<std::uint32_t> reachable;
  std::vector<std::uint8_t> matrix;
  std::vector<double> best;
  std::vector<double> worst;
};

/// The map counted one query at a time through getAllJointSolutions.
Expected CountByHand(const RobotConfig& arm, const ReachGrid& grid,
                     const std::vector<Orient>& orientations, const ToolData& tool,
                     const std::vector<ConfData>& confs) {
  Expected e;
  for (std::size_t p = 0; p < grid.size(); ++p) {
    std::uint32_t reachable = 0;
    double best = 0.0;
    double worst = 0.0;
    for (const Orient& o : orientations) {
      const TargetConfiguration sols =
          arm.getAllJointSolutions(Pose(grid.point(p), o), tool, WObjData{});
      int count = 0;
      double m = 0.0;
      for (std::size_t s = 0; s < sols.size(); ++s) {
        bool wanted = confs.empty();
        for (const ConfData& c : confs)
          wanted = wanted || sols.conf(s).isCriticalEqual(sols.joint(s), c);
        if (!wanted)
          continue;
        ++count;
        m = std::max(m, GramManipulability(arm, sols.joint(s)));
      }
      e.matrix.push_back(static_cast<std::uint8_t>(count));
      if (count == 0)
        continue;
      best = reachable == 0 ? m : std::max(best, m);
      worst = reachable == 0 ? m : std::min(worst, m);
      ++reachable;
    }
    e.reachable.push_back(reachable);
    e.best.push_back(best);
    e.worst.push_back(worst);
  }
  return e;
}

void ExpectMatches(const ReachMap& map, const Expected& e, std::size_t orientations) {
  ASSERT_EQ(map.reachable, e.reachable);
  ASSERT_EQ(map.matrix, e.matrix);
  for (std::size_t p = 0; p < e.reachable.size(); ++p) {
    EXPECT_EQ(map.index[p], static_cast<double>(e.reachable[p]) / static_cast<double>(orientations))
        << p;
    EXPECT_NEAR(map.bestManipulability[p], e.best[p], 1e-6 * e.best[p]) << p;
    EXPECT_NEAR(map.worstManipulability[p], e.worst[p], 1e-6 * e.worst[p]) << p;
  }
}

/// Of every solution counted, the manipulability as getManipulability gives it, the largest per
/// orientation, then the largest and smallest of those per position: what the map must hold bit
/// for bit.
struct ExactManipulability {
  std::vector<std::uint8_t> matrix;
  std::vector<double> best;
  std::vector<double> worst;
};

ExactManipulability ExactByHand(const RobotConfig& arm, const ReachGrid& grid,
                                const std::vector<Orient>& orientations, const ToolData& tool,
                                const std::vector<ConfData>& confs = {}) {
  ExactManipulability e;
  for (std::size_t p = 0; p < grid.size(); ++p) {
    std::vector<double> perOrientation;
    for (const Orient& o : orientations) {
      const TargetConfiguration sols =
          arm.getAllJointSolutions(Pose(grid.point(p), o), tool, WObjData{});
      std::size_t count = 0;
      double m = -1.0;
      for (std::size_t s = 0; s < sols.size(); ++s) {
        if (!confs.empty() && std::none_of(confs.begin(), confs.end(), [&](const ConfData& c) {
              return sols.conf(s).isCriticalEqual(sols.joint(s), c);
            }))
          continue;
        ++count;
        m = std::max(m, arm.getManipulability(sols.joint(s)));
      }
      e.matrix.push_back(static_cast<std::uint8_t>(std::min<std::size_t>(count, 255)));
      if (m >= 0.0)
        perOrientation.push_back(m);
    }
    e.best.push_back(perOrientation.empty()
                         ? 0.0
                         : *std::max_element(perOrientation.begin(), perOrientation.end()));
    e.worst.push_back(perOrientation.empty()
                          ? 0.0
                          : *std::min_element(perOrientation.begin(), perOrientation.end()));
  }
  return e;
}

void ExpectExactly(const ReachMap& map, const ExactManipulability& e) {
  ASSERT_EQ(map.matrix, e.matrix);
  EXPECT_EQ(map.bestManipulability, e.best);
  EXPECT_EQ(map.worstManipulability, e.worst);
}

// ---- The grid ----

TEST(ReachGrid, BoxCountsEachAxisWithTheLastPointWithinSlack) {
  const ReachGrid g = Box({0, 0, 0}, {1, 0.25, 0.35}, 0.1);
  EXPECT_EQ(g.shape(), (std::array<std::size_t, 3>{11, 3, 4}));
  EXPECT_EQ(g.size(), 132u);
  EXPECT_EQ(Box({1, 2, 3}, {1, 2, 3}, 5).size(), 1u);
}

TEST(ReachGrid, BoxCellsAreNumberedWithZFastest) {
  const ReachGrid g = Box({10, 20, 30}, {30, 50, 40}, 10);  // 3 × 4 × 2
  EXPECT_EQ(g.point(0), (Pos{10, 20, 30}));
  EXPECT_EQ(g.point(1), (Pos{10, 20, 40}));
  EXPECT_EQ(g.point(2), (Pos{10, 30, 30}));
  EXPECT_EQ(g.point(8), (Pos{20, 20, 30}));
  EXPECT_EQ(g.point(23), (Pos{30, 50, 40}));
}

TEST(ReachGrid, ExplicitPointsKeepTheirOrder) {
  const ReachGrid g{std::vector<Pos>{{1, 2, 3}, {-4, 5, 6}}};
  EXPECT_EQ(g.shape(), (std::array<std::size_t, 3>{2, 1, 1}));
  EXPECT_EQ(g.point(1), (Pos{-4, 5, 6}));
}

TEST(ReachGrid, BadGridsThrow) {
  const std::string step = "reach grid step must be positive and finite";
  const std::string bounds = "reach grid bounds must be finite, the maximum not below the minimum";
  for (double s : {0.0, -1.0, kNaN, kInf})
    ExpectInvalid([&] { (void)Box({0, 0, 0}, {1, 1, 1}, s).size(); }, step);
  ExpectInvalid([&] { (void)Box({0, 0, kNaN}, {1, 1, 1}, 1).size(); }, bounds);
  ExpectInvalid([&] { (void)Box({0, 0, 0}, {1, kInf, 1}, 1).size(); }, bounds);
  ExpectInvalid([&] { (void)Box({0, 0, 0}, {1, 1, -1}, 1).size(); }, bounds);
  ExpectInvalid([&] { (void)ReachGrid{std::vector<Pos>{}}.size(); }, "reach grid is empty");
  ExpectInvalid(
      [&] {
        (void)ReachGrid{std::vector<Pos>{{0, kNaN, 0}}}.size();
      },
      "reach grid points must be finite");
  ExpectInvalid(
      [&] {
        (void)Box({0, 0, 0}, {1e6, 1e6, 1e6}, 0.01).size();
      },
      "reach grid has more than 1000000000000000 positions");
}

// ---- Orientations on the sphere ----

TEST(SphereOrientations, OneDirectionLiesOnTheEquatorAlongBaseX) {
  // z = 1 − 1/1 = 0 and no turn by the golden angle: d = +x; its x axis z × d = +y.
  const std::vector<Orient> o = SphereOrientations(1, 2);
  ASSERT_EQ(o.size(), 2u);
  const Rotation r = Rotation::FromOrient(o[0]);
  const Vec3 x = r * Vec3{1, 0, 0}, y = r * Vec3{0, 1, 0}, z = r * Vec3{0, 0, 1};
  EXPECT_NEAR((x - Vec3{0, 1, 0}).norm(), 0.0, 1e-15);
  EXPECT_NEAR((y - Vec3{0, 0, 1}).norm(), 0.0, 1e-15);
  EXPECT_NEAR((z - Vec3{1, 0, 0}).norm(), 0.0, 1e-15);
  // Half a turn about d: x to −y.
  const Rotation half = Rotation::FromOrient(o[1]);
  EXPECT_NEAR((half * Vec3{1, 0, 0} - Vec3{0, -1, 0}).norm(), 0.0, 1e-15);
  EXPECT_NEAR((half * Vec3{0, 0, 1} - Vec3{1, 0, 0}).norm(), 0.0, 1e-15);
}

TEST(SphereOrientations, AxesFollowTheFibonacciLatticeAndTurnsStepEvenly) {
  const int n = 50, m = 4;
  const std::vector<Orient> o = SphereOrientations(n, m);
  ASSERT_EQ(o.size(), static_cast<std::size_t>(n * m));
  const double golden = 3.141592653589793 * (3.0 - std::sqrt(5.0));
  Vec3 sum{};
  for (int k = 0; k < n; ++k) {
    const double z = 1.0 - (2.0 * k + 1.0) / n;
    const double r = std::sqrt(1 - z * z);
    const Vec3 d{r * std::cos(k * golden), r * std::sin(k * golden), z};
    sum += d;
    for (int t = 0; t < m; ++t) {
      const Rotation rot = Rotation::FromOrient(o[static_cast<std::size_t>(k * m + t)]);
      EXPECT_NEAR((rot * Vec3{0, 0, 1} - d).norm(), 0.0, 1e-12) << k << " " << t;
      // Successive turns are a quarter turn apart about d.
      const Vec3 x0 = Rotation::FromOrient(o[static_cast<std::size_t>(k * m)]) * Vec3{1, 0, 0};
      const double angle =
          std::atan2(d.dot(x0.cross(rot * Vec3{1, 0, 0})), x0.dot(rot * Vec3{1, 0, 0}));
      EXPECT_NEAR(std::remainder(angle - t * 3.141592653589793 / 2, 2 * 3.141592653589793), 0,
                  1e-12);
    }
  }
  // Spread evenly: the directions nearly cancel out.
  EXPECT_LT(sum.norm() / n, 0.05);
}

TEST(SphereOrientations, BadCountsThrow) {
  const std::string counts = "sphere orientations need at least one direction and one turn";
  ExpectInvalid([] { (void)SphereOrientations(0, 3); }, counts);
  ExpectInvalid([] { (void)SphereOrientations(3, 0); }, counts);
  ExpectInvalid([] { (void)SphereOrientations(100000, 100000); }, "sphere orientations: too many");
}

// ---- The map ----

TEST(ReachMap, EqualsTheCountOfEveryQueryByGetAllJointSolutions) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Orient> orientations = SphereOrientations(6, 2);
  ReachOptions options;
  options.tool = SmallTool();
  options.keepMatrix = true;
  const ReachMap map = ComputeReachMap(arm, SmallGrid(), orientations, options);
  EXPECT_EQ(map.shape, (std::array<std::size_t, 3>{5, 3, 5}));
  EXPECT_EQ(map.begin, 0u);
  EXPECT_EQ(map.end, 75u);
  EXPECT_EQ(map.orientationCount, 12u);
  EXPECT_FALSE(map.cancelled);
  ExpectMatches(map, CountByHand(arm, SmallGrid(), orientations, options.tool, {}), 12);
  // The grid has unreachable, partly and fully reachable positions.
  EXPECT_NE(std::count(map.reachable.begin(), map.reachable.end(), 0u), 0);
  EXPECT_NE(std::count(map.reachable.begin(), map.reachable.end(), 12u), 0);
  EXPECT_NE(std::count_if(map.reachable.begin(), map.reachable.end(),
                          [](std::uint32_t r) { return r > 0 && r < 12; }),
            0);
}

TEST(ReachMap, OrientationsWhoseSquaredNormOverflowsAreTheirRotations) {
  // Finite records of any size are rotations; scaling by 1e300 overflows the squared norm only.
  const RobotConfig arm = DefaultArm();
  std::vector<Orient> scaled = SphereOrientations(6, 2);
  for (Orient& o : scaled)
    o = {o.q1 * 1e300, o.q2 * 1e300, o.q3 * 1e300, o.q4 * 1e300};
  ASSERT_TRUE(std::isinf(scaled[0].q1 * scaled[0].q1 + scaled[0].q2 * scaled[0].q2 +
                         scaled[0].q3 * scaled[0].q3 + scaled[0].q4 * scaled[0].q4));
  ReachOptions options;
  options.tool = SmallTool();
  options.keepMatrix = true;
  const ReachMap map = ComputeReachMap(arm, SmallGrid(), scaled, options);
  ExpectMatches(map, CountByHand(arm, SmallGrid(), scaled, options.tool, {}), 12);
  const ReachMap unit = ComputeReachMap(arm, SmallGrid(), SphereOrientations(6, 2), options);
  EXPECT_EQ(map.reachable, unit.reachable);
}

TEST(ReachMap, ManipulabilityIsThatOfTheSolutionsBitForBit) {
  const std::vector<Orient> orientations = SphereOrientations(7, 3);
  ReachOptions matrix;
  matrix.keepMatrix = true;
  matrix.tool = SmallTool();
  ExpectExactly(ComputeReachMap(DefaultArm(), SmallGrid(), orientations, matrix),
                ExactByHand(DefaultArm(), SmallGrid(), orientations, matrix.tool));
}

// An arm whose joints 2 and 3 have a sum limit, and whose joints 1, 4 and 6 turn beyond a half
// turn either way (several turns of one branch inside the limits), on a grid of which the sum
// limit cuts a part.
TEST(ReachMap, CoupledLimitsAndWideTurnsCountAsTheListDoes) {
  const RobotConfig arm = MakeOrthoParallelArm(
      DefaultArmGeometry(), {-200.0, -90.0, -175.0, -1000.0, -125.0, -1800.0, -60.0},
      {200.0, 150.0, 70.0, 1000.0, 125.0, 1800.0, 40.0}, RobJoint(0, 0, 0, 0, 0, 0), 1);
  const std::vector<Orient> orientations = SphereOrientations(5, 2);
  ReachOptions options;
  options.tool = SmallTool();
  options.keepMatrix = true;
  const ReachMap map = ComputeReachMap(arm, SmallGrid(), orientations, options);
  const ExactManipulability e = ExactByHand(arm, SmallGrid(), orientations, options.tool);
  ExpectExactly(map, e);
  // The sum limit leaves some solutions out: the same arm without it counts more.
  RobotConfig uncoupled = arm;
  uncoupled.jointCoupling = 0;
  const ReachMap wider = ComputeReachMap(uncoupled, SmallGrid(), orientations, options);
  ExpectExactly(wider, ExactByHand(uncoupled, SmallGrid(), orientations, options.tool));
  EXPECT_NE(map.matrix, wider.matrix);
  // In two configurations, one with joint 6 in its third quadrant that only turns reach.
  options.configurations = {ConfData(0, 0, 2, 0), ConfData(-1, 0, -3, 1)};
  const ReachMap some = ComputeReachMap(arm, SmallGrid(), orientations, options);
  ExpectExactly(some,
                ExactByHand(arm, SmallGrid(), orientations, options.tool, options.configurations));
  EXPECT_NE(std::count(some.matrix.begin(), some.matrix.end(), 0), 0);
  EXPECT_NE(std::count_if(some.matrix.begin(), some.matrix.end(), [](int c) { return c > 0; }), 0);
  // Several turns: more than 8 solutions somewhere.
  EXPECT_GT(*std::max_element(map.matrix.begin(), map.matrix.end()), 8);
}

TEST(ReachMap, GivenConfigurationsCountOnlyTheirSolutions) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Orient> orientations = SphereOrientations(5, 1);
  ReachOptions options;
  options.keepMatrix = true;
  options.configurations = {ConfData(0, 0, 0, 0), ConfData(-1, 0, 1, 4)};
  const ReachMap map = ComputeReachMap(arm, SmallGrid(), orientations, options);
  const Expected e = CountByHand(arm, SmallGrid(), orientations, {}, options.configurations);
  ExpectMatches(map, e, 5);
  ExpectExactly(map, ExactByHand(arm, SmallGrid(), orientations, {}, options.configurations));
  const ReachMap all = ComputeReachMap(arm, SmallGrid(), orientations, {});
  EXPECT_NE(map.reachable, all.reachable);
}

TEST(ReachMap, WithoutManipulabilityBestAndWorstStayZero) {
  ReachOptions options;
  options.manipulability = false;
  const ReachMap map =
      ComputeReachMap(DefaultArm(), SmallGrid(), SphereOrientations(3, 1), options);
  EXPECT_EQ(map.bestManipulability, std::vector<double>(75, 0.0));
  EXPECT_EQ(map.worstManipulability, std::vector<double>(75, 0.0));
  EXPECT_TRUE(map.matrix.empty());
  EXPECT_NE(std::count(map.reachable.begin(), map.reachable.end(), 0u), 75);
}

TEST(ReachMap, ChunksAndThreadCountsGiveTheWholeMapExactly) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Orient> orientations = SphereOrientations(4, 3);
  ReachOptions options;
  options.keepMatrix = true;
  options.tool = SmallTool();
  const ReachMap whole = ComputeReachMap(arm, SmallGrid(), orientations, options);
  std::vector<ReachMap> chunks;
  for (auto [b, e] : {std::pair<std::size_t, std::size_t>{0, 10}, {10, 10}, {10, 37}, {37, 999}}) {
    options.begin = b;
    options.end = e;
    chunks.push_back(ComputeReachMap(arm, SmallGrid(), orientations, options));
  }
  EXPECT_EQ(chunks[2].begin, 10u);
  EXPECT_EQ(chunks[3].end, 75u);
  EXPECT_EQ(MergeReachMaps(chunks), whole);
  options.begin = 0;
  options.end = static_cast<std::size_t>(-1);
  for (unsigned threads : {0u, 2u, 3u, 7u}) {
    options.threads = threads;
    EXPECT_EQ(ComputeReachMap(arm, SmallGrid(), orientations, options), whole) << threads;
  }
}

TEST(ReachMap, ProgressRisesToOneOnTheCallingThread) {
  const std::vector<Orient> orientations = SphereOrientations(2000, 1);  // 2 positions a block
  std::vector<double> seen;
  ReachOptions options;
  options.threads = 2;
  const std::thread::id caller = std::this_thread::get_id();
  options.progress = [&](double f) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    seen.push_back(f);
    return true;
  };
  const ReachGrid grid{std::vector<Pos>(9, Pos{800, 0, 900})};
  EXPECT_FALSE(ComputeReachMap(DefaultArm(), grid, orientations, options).cancelled);
  ASSERT_GE(seen.size(), 1u);
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  EXPECT_GT(seen.front(), 0.0);
  EXPECT_EQ(seen.back(), 1.0);
}

TEST(ReachMap, ProgressReturningFalseCancels) {
  const std::vector<Orient> orientations = SphereOrientations(2000, 1);
  ReachOptions options;
  int calls = 0;
  options.progress = [&](double) { return ++calls < 0; };
  const ReachGrid grid{std::vector<Pos>(9, Pos{800, 0, 900})};
  const ReachMap map = ComputeReachMap(DefaultArm(), grid, orientations, options);
  EXPECT_TRUE(map.cancelled);
  EXPECT_EQ(calls, 1);
  // One block of two positions was computed, the rest left at zero.
  EXPECT_GT(map.reachable[1], 0u);
  EXPECT_EQ(map.reachable[2], 0u);
  EXPECT_EQ(map.reachable[8], 0u);
}

TEST(ReachMap, ARangeOfAHugeGridIsBelowTheCap) {
  const ReachGrid huge = Box({0, 0, 0}, {99999, 99999, 9}, 1);  // 10^11 positions
  ReachOptions options;
  options.begin = 1000;
  options.end = 1003;
  const ReachMap map = ComputeReachMap(DefaultArm(), huge, SphereOrientations(1, 1), options);
  EXPECT_EQ(map.size(), 3u);
  EXPECT_EQ(map.shape, (std::array<std::size_t, 3>{100000, 100000, 10}));
}

TEST(ReachMap, BadInputThrows) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Orient> one = SphereOrientations(1, 1);
  ExpectInvalid([&] { (void)ComputeReachMap(arm, SmallGrid(), {}, {}); },
                "reach map needs at least one orientation");
  const std::string orient = "reach orientations must be finite and not zero";
  for (const Orient& o : {Orient{0, 0, 0, 0}, Orient{kNaN, 0, 0, 0}, Orient{1, kInf, 0, 0}}) {
    const std::vector<Orient> bad{one[0], o};
    ExpectInvalid([&] { (void)ComputeReachMap(arm, SmallGrid(), bad, {}); }, orient);
  }
  ReachOptions stationary;
  stationary.tool.robhold = false;
  ExpectInvalid([&] { (void)ComputeReachMap(arm, SmallGrid(), one, stationary); },
                "reach maps need a robot-held tool");
  ReachOptions range;
  range.begin = 76;
  ExpectInvalid([&] { (void)ComputeReachMap(arm, SmallGrid(), one, range); },
                "reach map range lies outside the grid");
  range.begin = 5;
  range.end = 4;
  ExpectInvalid([&] { (void)ComputeReachMap(arm, SmallGrid(), one, range); },
                "reach map range lies outside the grid");
  ReachOptions threads;
  threads.threads = 257;
  ExpectInvalid([&] { (void)ComputeReachMap(arm, SmallGrid(), one, threads); },
                "thread count must be at most 256");
  ExpectInvalid(
      [&] {
        (void)ComputeReachMap(arm, Box({0, 0, 0}, {1000, 999, 999}, 1), one, {});
      },
      "reach map of 1001000000 queries exceeds the cap of 1000000000 (allow large maps to go "
      "beyond)");
  ExpectInvalid([&] { (void)ComputeReachMap(arm, ReachGrid{std::vector<Pos>{}}, one, {}); },
                "reach grid is empty");
}

TEST(ReachMap, AnErrorOnAWorkerThreadReachesTheCaller) {
  ReachOptions options;
  options.threads = 3;
  options.tool.tframe.orient = {0, 0, 0, 0};
  try {
    (void)ComputeReachMap(DefaultArm(), SmallGrid(), SphereOrientations(2, 1), options);
    ADD_FAILURE() << "no exception";
  } catch (const std::logic_error& e) {
    EXPECT_EQ(std::string(e.what()), "normalize quaternion of 0 magnitude");
  }
}

TEST(ReachMap, MergeRefusesChunksThatDoNotFit) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Orient> o = SphereOrientations(2, 1);
  ReachOptions a, b;
  a.end = 10;
  b.begin = 10;
  const ReachMap first = ComputeReachMap(arm, SmallGrid(), o, a);
  const ReachMap second = ComputeReachMap(arm, SmallGrid(), o, b);
  const std::string msg = "reach map chunks must be consecutive ranges of one grid";
  ExpectInvalid([&] { (void)MergeReachMaps(std::vector{second, first}); }, msg);
  ReachMap otherShape = second;
  otherShape.shape[0] = 6;
  ExpectInvalid([&] { (void)MergeReachMaps(std::vector{first, otherShape}); }, msg);
  ReachMap otherOrientations = second;
  otherOrientations.orientationCount = 3;
  ExpectInvalid([&] { (void)MergeReachMaps(std::vector{first, otherOrientations}); }, msg);
  b.keepMatrix = true;
  const ReachMap withMatrix = ComputeReachMap(arm, SmallGrid(), o, b);
  ExpectInvalid([&] { (void)MergeReachMaps(std::vector{first, withMatrix}); }, msg);
  ExpectInvalid([&] { (void)MergeReachMaps(std::vector<ReachMap>{}); }, "no reach map chunks");
  ReachMap cancelled = second;
  cancelled.cancelled = true;
  EXPECT_TRUE(MergeReachMaps(std::vector{first, cancelled}).cancelled);
  EXPECT_FALSE(MergeReachMaps(std::vector{first, second}).cancelled);
}

}  // namespace
}  // namespace zor::rob
