// The inverse kinematics, timed against one getRobTarget (the forward work it undoes) and against
// Orocos KDL's Levenberg–Marquardt solver (ChainIkSolverPos_LMA) on the same arms.
//
// Two arms: the default arm (closed form) and the default arm with axis 6 moved 10 mm sideways
// off the wrist centre (no spherical wrist: the numerical path). Samples: 1024 random joint
// vectors within the limits (fixed seed), their flange poses, and per sample a KDL seed 10
// degrees away from the sample on every joint (random signs).
//
// Before anything is timed, every sample is checked: our list (from the same seed) contains the
// sampled joints on the default arm, and on both arms it contains the solution KDL converges to
// from the seed whenever that solution lies inside the limits. A disagreement aborts the run with
// a message.
//
//   ik_bench [--check-only] [Google Benchmark flags]
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <kdl/chain.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kdl_reference.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace {

using zor::rob::DegToRad;
using zor::rob::Pose;
using zor::rob::RobJoint;
using zor::rob::RobotConfig;
using zor::rob::TargetConfiguration;
using zor::rob::Transform;
using zor::rob::bench::FromKdlJoints;
using zor::rob::bench::kSamples;

/// KDL works in metres here (its solver weighs metres against radians), we in mm.
constexpr double kMetre = 1000.0;
/// Sideways offset (mm) of axis 6 from the wrist centre on the second arm.
constexpr double kWristOffset = 10.0;
/// KDL's weights of the position (metres) and rotation (radians) errors: equal, so that it
/// converges in rotation as far as in position.
const Eigen::Matrix<double, 6, 1> kKdlWeights = Eigen::Matrix<double, 6, 1>::Ones();
/// KDL's convergence threshold and iteration budget.
constexpr double kKdlEps = 1e-10;
constexpr int kKdlMaxIterations = 500;
/// A KDL solution counts as listed when one of ours lies within this (degrees) divided by
/// |sin joint 5| (at most 1): KDL stops with the pose within about 1e-8 mm, which leaves its
/// joints up to about 0.006 degrees off near the elbow singularity, and joints 4 and 6 farther
/// off near the wrist singularity.
constexpr double kListedTolerance = 0.01;

/// One arm: ours, KDL's chain in metres, the samples, their poses and the KDL seeds.
struct ArmFixture {
  RobotConfig robot;
  KDL::Chain chain;
  std::vector<RobJoint> joints;
  std::vector<Pose> poses;
  std::vector<KDL::Frame> kdlPoses;
  std::vector<KDL::JntArray> kdlSeeds;

  explicit ArmFixture(RobotConfig arm)
      : robot(std::move(arm)), chain(zor::rob::bench::KdlChain(robot, 1.0 / kMetre)) {
    const double m = 1.0 / kMetre;
    std::mt19937_64 engine(20261123);
    std::uniform_int_distribution<int> sign(0, 1);
    for (std::size_t s = 0; s < kSamples; ++s) {
      RobJoint j;
      RobJoint seed;
      for (std::size_t k = 0; k < 6; ++k) {
        j.values[k] =
            std::uniform_real_distribution<double>(robot.jointMin[k], robot.jointMax[k])(engine);
        seed.values[k] = j.values[k] + (sign(engine) ? 10.0 : -10.0);
      }
      joints.push_back(j);
      const Transform t = robot.getWristPoseInBase(j);
      poses.push_back({t.translation.toPos(), t.rotation.toOrient()});
      const auto& r = t.rotation;
      kdlPoses.emplace_back(
          KDL::Rotation::Quaternion(r.x, r.y, r.z, r.w),
          KDL::Vector(t.translation.x * m, t.translation.y * m, t.translation.z * m));
      kdlSeeds.push_back(zor::rob::bench::ToKdlJoints(seed));
    }
  }
};

/// The default arm with axis 6 (and the flange) moved `offset` mm along base y at home.
RobotConfig offsetWristArm(double offset) {
  RobotConfig arm = zor::rob::DefaultArm();
  std::array<zor::rob::Vec3Template<double>, 6> axes = arm.jointAxes;
  std::array<zor::rob::PosTemplate<double>, 6> points = arm.jointPoints;
  points[5].y += offset;
  Transform flange = arm.flangeHome;
  flange.translation.y += offset;
  return zor::rob::MakeRobotConfig(axes, points, flange, arm.jointMin, arm.jointMax, arm.homeJoint,
                                   arm.elbowOffset, arm.jointCoupling);
}

ArmFixture& closedForm() {
  static ArmFixture f(zor::rob::DefaultArm());
  return f;
}

ArmFixture& numerical() {
  static ArmFixture f(offsetWristArm(kWristOffset));
  return f;
}

/// An arm timed without KDL (its axes need not lie along base axes): ours, the samples and their
/// poses.
struct PoseFixture {
  RobotConfig robot;
  std::vector<RobJoint> joints;
  std::vector<Pose> poses;

  explicit PoseFixture(RobotConfig arm) : robot(std::move(arm)) {
    std::mt19937_64 engine(20261124);
    for (std::size_t s = 0; s < kSamples; ++s) {
      RobJoint j;
      for (std::size_t k = 0; k < 6; ++k)
        j.values[k] =
            std::uniform_real_distribution<double>(robot.jointMin[k], robot.jointMax[k])(engine);
      joints.push_back(j);
      poses.push_back(robot.getRobTarget(j).pose);
    }
  }
};

/// \returns the arm of the classic Denavit-Hartenberg rows, limits ±180 degrees.
RobotConfig dhArm(const std::array<zor::rob::DhRow, 6>& rows) {
  zor::rob::DhTable table;
  table.rows = rows;
  zor::rob::ArmLimits limits;
  limits.jointMin = {-180, -180, -180, -180, -180, -180, -360};
  limits.jointMax = {180, 180, 180, 180, 180, 180, 360};
  return zor::rob::ArmFromDh(table, limits).robot;
}

/// A collaborative arm of the 5 kg class: joints 2 to 4 parallel, the three-parallel closed form.
PoseFixture& collaborative() {
  static PoseFixture f(dhArm({{{0, 90, 89.159, 0},
                               {-425, 0, 0, 0},
                               {-392.25, 0, 0, 0},
                               {0, 90, 109.15, 0},
                               {0, -90, 94.65, 0},
                               {0, 0, 82.3, 0}}}));
  return f;
}

/// A made-up arm with nothing parallel or perpendicular beyond joints 2 and 3 and the meeting
/// axes 5 and 6: the search.
PoseFixture& madeUp() {
  static PoseFixture f(dhArm({{{30, 80, 300, 0},
                               {400, 0, 40, 10},
                               {50, 70, 20, 0},
                               {10, 60, 350, 0},
                               {0, -60, 60, 0},
                               {0, 0, 80, 0}}}));
  return f;
}

/// \returns how many of the samples' lists contain the sampled joints.
std::size_t recall(const PoseFixture& f) {
  std::size_t listed = 0;
  for (std::size_t s = 0; s < kSamples; ++s) {
    const TargetConfiguration all = f.robot.getAllJointSolutions(f.poses[s]);
    bool found = false;
    for (const RobJoint& j : all.joints) {
      double d = 0.0;
      for (std::size_t k = 0; k < 6; ++k)
        d = std::max(d, std::abs(j.values[k] - f.joints[s].values[k]));
      found = found || d < 1e-6;
    }
    listed += found ? 1 : 0;
  }
  return listed;
}

[[noreturn]] void fail(const char* arm, std::size_t sample, const std::string& what) {
  zor::rob::bench::Fail("ik_bench",
                        std::string(arm) + " arm, sample " + std::to_string(sample) + ": " + what);
}

double distance(const RobJoint& a, const RobJoint& b) {
  double d = 0.0;
  for (std::size_t i = 0; i < 6; ++i)
    d = std::max(d, std::abs(a.values[i] - b.values[i]));
  return d;
}

bool listed(const TargetConfiguration& all, const RobJoint& j) {
  const double tolerance = kListedTolerance / std::abs(std::sin(DegToRad(j.values[4])));
  for (const RobJoint& s : all.joints)
    if (distance(s, j) <= std::max(tolerance, kListedTolerance))
      return true;
  return false;
}

/// Checks one arm; \returns how many KDL solutions inside the limits were compared.
std::size_t check(const char* name, ArmFixture& f, bool mustContainSample) {
  KDL::ChainIkSolverPos_LMA lma(f.chain, kKdlWeights, kKdlEps, kKdlMaxIterations);
  KDL::JntArray out(6);
  std::size_t compared = 0;
  for (std::size_t s = 0; s < kSamples; ++s) {
    // Ours from the same seed as KDL (the numerical path starts from it; the closed form ignores
    // it away from singularities).
    const TargetConfiguration all =
        f.robot.getAllJointSolutions(f.poses[s], FromKdlJoints(f.kdlSeeds[s]));
    if (mustContainSample && !listed(all, f.joints[s]))
      fail(name, s, "the sampled joints " + f.joints[s].toString() + " are not listed");
    if (lma.CartToJnt(f.kdlSeeds[s], f.kdlPoses[s], out) < 0)
      continue;
    const RobJoint kdl = FromKdlJoints(out);
    if (f.robot.firstJointOutsideLimits(kdl))
      continue;
    ++compared;
    if (!listed(all, kdl)) {
      double nearest = 1e300;
      for (const RobJoint& j : all.joints)
        nearest = std::min(nearest, distance(j, kdl));
      fail(name, s,
           "KDL's solution " + kdl.toString() + " is not listed (nearest " +
               std::to_string(nearest) + " degrees away; KDL position error " +
               std::to_string(lma.lastTransDiff * kMetre) + " mm)");
    }
  }
  return compared;
}

// One call per iteration, cycling through the samples.

void BM_RobTarget(benchmark::State& state) {
  const ArmFixture& f = closedForm();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.getRobTarget(f.joints[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_RobTarget);

/// Every labelled solution into a list that is kept (no allocation once it has grown); the
/// counter gives the solutions per pose. For an ArmFixture or a PoseFixture.
template <class Fixture>
void allSolutions(benchmark::State& state, const Fixture& f) {
  TargetConfiguration all;
  std::size_t s = 0;
  std::size_t solutions = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.findAllJointSolutions(f.poses[s], nullptr, all));
    solutions += all.size();
    s = (s + 1) % kSamples;
  }
  state.counters["solutions"] =
      benchmark::Counter(static_cast<double>(solutions), benchmark::Counter::kAvgIterations);
}

/// The closed form.
void BM_AllSolutionsReused(benchmark::State& state) {
  allSolutions(state, closedForm());
}
BENCHMARK(BM_AllSolutionsReused);

/// getAllJointSolutions as most callers use it: a fresh list per call.
void BM_GetAllJointSolutions(benchmark::State& state) {
  const ArmFixture& f = closedForm();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.getAllJointSolutions(f.poses[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_GetAllJointSolutions);

void BM_NearestJointSolution(benchmark::State& state) {
  const ArmFixture& f = closedForm();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.findNearestJointSolution(f.poses[s], f.joints[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_NearestJointSolution);

/// The default arm with every joint's limits at ±10^6 degrees (the sum limit unused).
const RobotConfig& wideArm() {
  static const RobotConfig arm = [] {
    RobotConfig a = zor::rob::DefaultArm();
    for (std::size_t i = 0; i < 6; ++i) {
      a.jointMin[i] = -1e6;
      a.jointMax[i] = 1e6;
    }
    return a;
  }();
  return arm;
}

/// The nearest solution on `arm` of the default arm's poses, seeded by their joints.
void nearestOn(benchmark::State& state, const RobotConfig& arm) {
  const ArmFixture& f = closedForm();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(arm.findNearestJointSolution(f.poses[s], f.joints[s]));
    s = (s + 1) % kSamples;
  }
}

void BM_NearestWideLimits(benchmark::State& state) {
  nearestOn(state, wideArm());
}
BENCHMARK(BM_NearestWideLimits);

/// The solution on `arm` in the configuration of the default arm's sampled joints.
void inConfigurationOn(benchmark::State& state, const RobotConfig& arm) {
  const ArmFixture& f = closedForm();
  std::vector<zor::rob::RobTarget> targets;
  for (std::size_t s = 0; s < kSamples; ++s)
    targets.push_back(f.robot.getRobTarget(f.joints[s]));
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(arm.findJointSolution(targets[s]));
    s = (s + 1) % kSamples;
  }
}

void BM_InConfiguration(benchmark::State& state) {
  inConfigurationOn(state, closedForm().robot);
}
BENCHMARK(BM_InConfiguration);

void BM_InConfigurationWideLimits(benchmark::State& state) {
  inConfigurationOn(state, wideArm());
}
BENCHMARK(BM_InConfigurationWideLimits);

/// All solutions on the default arm with joints 4 and 6 within ±20000 degrees: about 111 turns
/// of each, some 99000 solutions per pose, just under the cap.
void BM_AllSolutionsNearTheCap(benchmark::State& state) {
  RobotConfig arm = zor::rob::DefaultArm();
  for (const std::size_t i : {3UL, 5UL}) {
    arm.jointMin[i] = -20000;
    arm.jointMax[i] = 20000;
  }
  const ArmFixture& f = closedForm();
  TargetConfiguration all;
  std::size_t s = 0;
  std::size_t solutions = 0;
  for (auto _ : state) {
    try {
      arm.findAllJointSolutions(f.poses[s], nullptr, all);
      solutions += all.size();
    } catch (const std::length_error&) {
    }
    s = (s + 1) % kSamples;
  }
  state.counters["solutions"] =
      benchmark::Counter(static_cast<double>(solutions), benchmark::Counter::kAvgIterations);
  state.counters["bytes"] = static_cast<double>(all.joints.capacity() * sizeof(RobJoint) +
                                                all.confs.capacity() * sizeof(zor::rob::ConfData));
}
BENCHMARK(BM_AllSolutionsNearTheCap)->Unit(benchmark::kMillisecond);

/// All solutions with every joint at ±10^6 degrees: counted, found beyond the cap, refused.
void BM_AllSolutionsBeyondTheCap(benchmark::State& state) {
  const ArmFixture& f = closedForm();
  TargetConfiguration all;
  std::size_t s = 0;
  std::size_t refused = 0;
  for (auto _ : state) {
    try {
      wideArm().findAllJointSolutions(f.poses[s], nullptr, all);
    } catch (const std::length_error&) {
      ++refused;
    }
    s = (s + 1) % kSamples;
  }
  state.counters["refused"] =
      benchmark::Counter(static_cast<double>(refused), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_AllSolutionsBeyondTheCap);

/// KDL from a seed 10 degrees away: one solution per call.
void kdlLma(benchmark::State& state, ArmFixture& f) {
  KDL::ChainIkSolverPos_LMA lma(f.chain, kKdlWeights, kKdlEps, kKdlMaxIterations);
  KDL::JntArray out(6);
  std::size_t s = 0;
  std::size_t converged = 0;
  for (auto _ : state) {
    if (lma.CartToJnt(f.kdlSeeds[s], f.kdlPoses[s], out) >= 0)
      ++converged;
    benchmark::DoNotOptimize(out.data.data());
    s = (s + 1) % kSamples;
  }
  state.counters["solutions"] =
      benchmark::Counter(static_cast<double>(converged), benchmark::Counter::kAvgIterations);
}

void BM_KdlLmaFrom10Degrees(benchmark::State& state) {
  kdlLma(state, closedForm());
}
BENCHMARK(BM_KdlLmaFrom10Degrees);

/// The numerical path: every solution it finds from its seeds (the counter gives how many per
/// pose; divide the time by it for the time per solution).
void BM_NumericalAllSolutions(benchmark::State& state) {
  allSolutions(state, numerical());
}
BENCHMARK(BM_NumericalAllSolutions);

void BM_KdlLmaFrom10DegreesOffsetWrist(benchmark::State& state) {
  kdlLma(state, numerical());
}
BENCHMARK(BM_KdlLmaFrom10DegreesOffsetWrist);

void BM_RobTargetCollaborative(benchmark::State& state) {
  const PoseFixture& f = collaborative();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.getRobTarget(f.joints[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_RobTargetCollaborative);

/// allSolutions, with the share of the samples whose list contains the sampled joints (counted
/// outside the timed loop) beside the time.
void allSolutionsWithRecall(benchmark::State& state, const PoseFixture& f) {
  allSolutions(state, f);
  state.counters["recall"] = static_cast<double>(recall(f)) / static_cast<double>(kSamples);
}

void BM_AllSolutionsCollaborative(benchmark::State& state) {
  allSolutionsWithRecall(state, collaborative());
}
BENCHMARK(BM_AllSolutionsCollaborative);

void BM_AllSolutionsSearchMadeUp(benchmark::State& state) {
  allSolutionsWithRecall(state, madeUp());
}
BENCHMARK(BM_AllSolutionsSearchMadeUp);

}  // namespace

int main(int argc, char** argv) {
  return zor::rob::bench::RunCheckedBenchmarks(argc, argv, [] {
    const std::size_t closed = check("default", closedForm(), true);
    const std::size_t offset = check("offset-wrist", numerical(), false);
    std::printf(
        "ik_bench: every KDL solution inside the limits is listed (%zu on the default arm, %zu "
        "on the offset-wrist arm, of %zu samples each)\n",
        closed, offset, kSamples);
    std::printf(
        "ik_bench: the sampled joints are listed for %zu of %zu poses on the collaborative arm "
        "and %zu on the made-up arm\n",
        recall(collaborative()), kSamples, recall(madeUp()));
  });
}
