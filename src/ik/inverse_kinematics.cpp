#include "zor/rob/ik_results.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "ik/closed_form.hpp"
#include "ik/lanes.hpp"
#include "ik/numerical.hpp"
#include "ik/search.hpp"
#include "ik/three_parallel.hpp"
#include "ik/turns.hpp"
#include "robot/arm_kinematics.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

// Implementation notes. A query turns the pose into a rotation matrix and the flange position,
// solves the arm (closed form, or numerically from seeds), drops branches that coincide modulo a
// turn, spreads each remaining branch over every turn of each joint that its limits admit,
// labels each solution, and sorts the list. The closed-form description of the arm depends on its
// axes, points and flange home pose only; it is kept per thread together with a copy of those
// members, and rebuilt whenever they differ, so that a user who edits the record gets answers
// for the edited arm.

namespace zor::rob {

namespace detail {

namespace {

/// RadToDeg as one multiplication (it divides by π), for the many angles of a query.
constexpr double kDegreesPerRadian = 180.0 / kPi;
/// Two branches whose joints all agree within this (degrees, modulo a turn) are one solution:
/// the elbow singularity, or the two wrist branches at joint 5 = 0. Converged numerical
/// solutions from different seeds agree to about 1e-9 degrees.
constexpr double kDuplicateTolerance = 1e-7;

/// The members the closed form depends on, and the arm computed from them.
struct CachedArm {
  std::array<Vec3Template<double>, 6> jointAxes{};
  std::array<PosTemplate<double>, 6> jointPoints{};
  Transform flangeHome{};
  ClosedFormArm arm{};
  ThreeParallelArm threeParallel{};
  SearchArm search{};
  bool filled{false};
};

/// \returns whether `a` and `b` hold the same bits: a few wide comparisons instead of one per
/// double, on every query. Values that compare equal with other bits (−0 and 0) merely rebuild
/// the arm.
template <typename T>
bool sameBits(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

const CachedArm& cachedArmOf(const RobotConfig& robot) {
  static_assert(sizeof(robot.jointAxes) == 18 * sizeof(double) &&
                    sizeof(robot.jointPoints) == 18 * sizeof(double) &&
                    sizeof(robot.flangeHome) == 7 * sizeof(double),
                "compared bit by bit: doubles only, no padding");
  thread_local CachedArm cache;
  if (!cache.filled || !sameBits(cache.jointAxes, robot.jointAxes) ||
      !sameBits(cache.jointPoints, robot.jointPoints) ||
      !sameBits(cache.flangeHome, robot.flangeHome)) {
    cache.arm = MakeClosedFormArm(robot);
    cache.threeParallel = cache.arm.solvable ? ThreeParallelArm{} : MakeThreeParallelArm(robot);
    cache.search =
        cache.arm.solvable || cache.threeParallel.solvable ? SearchArm{} : MakeSearchArm(robot);
    cache.jointAxes = robot.jointAxes;
    cache.jointPoints = robot.jointPoints;
    cache.flangeHome = robot.flangeHome;
    cache.filled = true;
  }
  return cache;
}

/// Differences (degrees) beyond this are reduced modulo a turn by the C library; nearer ones by
/// subtracting the nearest whole number of turns.
constexpr double kLargeDifference = 1e9;

/// \returns true when every joint of `a` and `b` agrees within kDuplicateTolerance modulo a turn.
bool sameModuloTurns(const std::array<double, 6>& a, const std::array<double, 6>& b) {
  for (std::size_t i = 0; i < 6; ++i) {
    double d = std::abs(a[i] - b[i]);
    if (d < kDuplicateTolerance)
      continue;
    if (d < kLargeDifference)
      d = std::abs(d - kTurn * static_cast<double>(static_cast<long>(d * kTurnsPerDegree + 0.5)));
    else
      d = std::fmod(d, kTurn);  // also NaN and infinity: never the same
    if (!(std::min(d, kTurn - d) < kDuplicateTolerance))
      return false;
  }
  return true;
}

/// The branches of one query, in degrees, duplicates removed; only the first `count` are set.
struct Branches {
  std::array<std::array<double, 6>, kMaxNumericalSolutions> joints;
  std::size_t count{0};

  /// Adds `j` unless it repeats a branch already there.
  void addUnlessRepeated(const std::array<double, 6>& j) {
    for (std::size_t i = 0; i < count; ++i)
      if (sameModuloTurns(joints[i], j))
        return;
    joints[count++] = j;
  }
};

QueryPose targetOf(const RobotConfig& robot, const Pose& pose) {
  const OrientTemplate<double>& o = pose.orient;
  // The library's rule for a zero orientation record; the matrix is then exact for any length.
  (void)Rotation(o.q1, o.q2, o.q3, o.q4);
  QueryPose t;
  t.rotation = rotationMatrix(o.q1, o.q2, o.q3, o.q4);
  t.position = pose.pos.toVec3();
  const Vec3 wcp = wristCentre(t.position, t.rotation, robot.getWcpZOffset());
  std::array<double, 1> angle{};
  atan2s(std::array<double, 1>{wcp.y}, std::array<double, 1>{wcp.x}, angle);
  t.labelAngle = RadToDeg(angle[0]);
  t.labelRadius = std::sqrt(wcp.x * wcp.x + wcp.y * wcp.y);
  t.stretchedElbow = -RadToDeg(robot.elbowOffset);
  return t;
}

/// Seed values beyond this (degrees) are reduced by whole turns before the solvers take them: in
/// radians their rounding would move the flange by more than the solutions' accuracy.
constexpr double kWidestExactSeed = 18000.0;

/// \returns the value of a seed's (or home) joint as the solvers take it: reduced into ±180° by
/// whole turns beyond kWidestExactSeed, otherwise unchanged.
double solverValue(double value) {
  return std::abs(value) > kWidestExactSeed ? std::remainder(value, kTurn) : value;
}

/// Throws std::invalid_argument "`what` joint N must be a finite number" for the first joint of
/// `joints` that is NaN or infinite.
void requireFinite(const RobJoint& joints, const char* what) {
  for (std::size_t i = 0; i < 6; ++i)
    if (!std::isfinite(joints.values[i])) [[unlikely]]
      throw std::invalid_argument(std::string(what) + " joint " + std::to_string(i + 1) +
                                  " must be a finite number");
}

/// The branches of `pose` (every joint solution modulo turns, limits aside) into `branches`.
/// Throws std::invalid_argument for a seed, or home joints, that are not finite.
QueryPose solveBranches(const RobotConfig& robot, const Pose& pose, const RobJoint* seed,
                        Branches& branches) {
  if (seed != nullptr)
    requireFinite(*seed, "seed");
  requireFinite(robot.homeJoint, "home");
  const QueryPose target = targetOf(robot, pose);
  const CachedArm& cached = cachedArmOf(robot);
  const ClosedFormArm& arm = cached.arm;
  FreeJoints free;
  const RobJoint& home = robot.homeJoint;
  free.joint1 = DegToRad(solverValue(seed != nullptr ? seed->values[0] : home.values[0]));
  free.joint2 = DegToRad(solverValue(seed != nullptr ? seed->values[1] : home.values[1]));
  free.joint4 = DegToRad(seed != nullptr ? solverValue(seed->values[3]) : 0.0);
  free.joint6 = DegToRad(seed != nullptr ? solverValue(seed->values[5]) : 0.0);
  if (arm.solvable || cached.threeParallel.solvable) {
    BaseSolutions base;
    if (arm.solvable)
      solveClosedFormForProcessor(arm, target.rotation, target.position, free, base);
    else
      solveThreeParallel(cached.threeParallel, target.rotation, target.position, free, base);
    // The closed forms' branches never repeat one another: two joint-1 or two elbow branches
    // differ by at least 2 acos(1 - kReachTolerance) (they are one where they would come nearer),
    // and the two wrist branches by half a turn of joint 4 (spherical wrist) or about half a turn
    // of joint 6 (three parallel axes).
    for (std::size_t s = 0; s < base.count; ++s) {
      for (std::size_t i = 0; i < 6; ++i)
        branches.joints[s][i] = base.solutions[s][i] * kDegreesPerRadian;
    }
    branches.count = base.count;
  } else {
    NumericalSolutions found;
    if (cached.search.solvable) {
      solveBySearch(robot, cached.search, target.rotation, target.position, found);
    } else {
      RobJoint reduced;
      if (seed != nullptr)
        for (std::size_t i = 0; i < 6; ++i)
          reduced.values[i] = solverValue(seed->values[i]);
      solveFromSeeds(robot, arm, target.rotation, target.position,
                     seed != nullptr ? &reduced : nullptr, free, found);
    }
    for (std::size_t s = 0; s < found.count; ++s)
      branches.addUnlessRepeated(found.solutions[s]);
  }
  return target;
}

/// Sorts the paired lists with solutionPrecedes(). Short lists, the usual few dozen entries at most
/// whose turns of one branch come in order, by insertion; long ones through an index.
void sortSolutions(TargetConfiguration& out) {
  const std::size_t n = out.joints.size();
  constexpr std::size_t kShortList = 64;
  if (n <= kShortList) {
    for (std::size_t i = 1; i < n; ++i)
      for (std::size_t m = i; m > 0 && solutionPrecedes(out.joints[m], out.confs[m],
                                                        out.joints[m - 1], out.confs[m - 1]);
           --m) {
        std::swap(out.joints[m], out.joints[m - 1]);
        std::swap(out.confs[m], out.confs[m - 1]);
      }
    return;
  }
  std::vector<std::size_t> order(n);
  for (std::size_t i = 0; i < n; ++i)
    order[i] = i;
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return solutionPrecedes(out.joints[a], out.confs[a], out.joints[b], out.confs[b]);
  });
  TargetConfiguration sorted;
  sorted.joints.reserve(n);
  sorted.confs.reserve(n);
  for (const std::size_t i : order)
    sorted.add(out.joints[i], out.confs[i]);
  std::swap(out.joints, sorted.joints);
  std::swap(out.confs, sorted.confs);
}

/// Every solution of `pose` into `out` (cleared first); \returns found, outOfReach or
/// outsideJointLimits. Throws std::length_error when the limits admit more than kMaxSolutions,
/// counted before any is listed.
IkStatus solveAll(const RobotConfig& robot, const Pose& pose, const RobJoint* seed,
                  TargetConfiguration& out) {
  out.clear();
  Branches branches;
  const QueryPose target = solveBranches(robot, pose, seed, branches);
  if (branches.count == 0)
    return IkStatus::outOfReach;
  const JointWindows windows = windowsOf(robot);
  if (windows.empty)
    return IkStatus::outsideJointLimits;
  std::array<TurnTests, kMaxNumericalSolutions> tests;
  std::array<bool, kMaxNumericalSolutions> few{};
  bool allFew = true;
  for (std::size_t b = 0; b < branches.count; ++b) {
    tests[b] = turnTestsOf(windows, branches.joints[b]);
    few[b] = fewTurns(windows, branches.joints[b], tests[b]);
    allFew = allFew && few[b];
  }
  // Few turns give at most 3^6 solutions per branch, far below the cap.
  std::size_t count = 0;
  for (std::size_t b = 0; b < branches.count && !allFew; ++b)
    count += countTurns(branchTurnsOf(robot, windows, branches.joints[b]), kMaxSolutions);
  if (count > kMaxSolutions)
    throw std::length_error("the joint limits admit more than " + std::to_string(kMaxSolutions) +
                            " solutions of the pose");
  out.joints.reserve(2 * branches.count + count);
  out.confs.reserve(2 * branches.count + count);
  ConfData label;
  for (std::size_t b = 0; b < branches.count; ++b) {
    if (few[b]) {
      forEachTurn(
          robot, windows, branches.joints[b], tests[b], [&](const RobJoint& j, std::size_t turned) {
            label =
                turned == 5 ? labelOfTurned6(robot, target, j, label) : labelOf(robot, target, j);
            out.add(j, label);
          });
    } else {
      forEachWideTurn(branchTurnsOf(robot, windows, branches.joints[b]),
                      [&](const RobJoint& j) { out.add(j, labelOf(robot, target, j)); });
    }
  }
  sortSolutions(out);
  return out.empty() ? IkStatus::outsideJointLimits : IkStatus::found;
}

/// The solution of solveAll's list whose largest joint difference to `seed` is smallest, the
/// earliest in the list's order among equals, found without forming the list: only solutions
/// as near as the best so far are labelled, and branches with many turns choose theirs by
/// arithmetic.
JointSolution nearest(const RobotConfig& robot, const Pose& pose, const RobJoint& seed) {
  JointSolution result;
  Branches branches;
  const QueryPose target = solveBranches(robot, pose, &seed, branches);
  if (branches.count == 0)
    return result;
  result.status = IkStatus::outsideJointLimits;
  const JointWindows windows = windowsOf(robot);
  if (windows.empty)
    return result;
  double best = 0.0;
  const auto consider = [&](const RobJoint& j) {
    double worst = 0.0;
    for (std::size_t k = 0; k < 6; ++k)
      worst = std::max(worst, std::abs(j.values[k] - seed.values[k]));
    if (result.found() && worst > best)
      return;
    const ConfData conf = labelOf(robot, target, j);
    if (result.found() && !(worst < best) && !solutionPrecedes(j, conf, result.joints, result.conf))
      return;
    best = worst;
    result.joints = j;
    result.conf = conf;
    result.status = IkStatus::found;
  };
  // Branch b in bit b: those of many turns, left for the second pass.
  unsigned wide = 0;
  for (std::size_t b = 0; b < branches.count; ++b) {
    const TurnTests tests = turnTestsOf(windows, branches.joints[b]);
    if (fewTurns(windows, branches.joints[b], tests))
      forEachTurn(robot, windows, branches.joints[b], tests,
                  [&](const RobJoint& j, std::size_t) { consider(j); });
    else
      wide |= 1U << b;
  }
  if (wide == 0)
    return result;
  // Branches of many turns are measured first; only those as near as the nearest so far choose
  // their solution.
  std::array<BranchTurns, kMaxNumericalSolutions> turns;
  std::array<double, kMaxNumericalSolutions> worst;
  double bound = result.found() ? best : std::numeric_limits<double>::infinity();
  for (std::size_t b = 0; b < branches.count; ++b)
    if (((wide >> b) & 1U) != 0) {
      if (windows.coupled) {
        turns[b] = branchTurnsOf(robot, windows, branches.joints[b]);
        worst[b] = nearestWorst(turns[b], seed, bound);
      } else {
        worst[b] = nearestWorst(windows, branches.joints[b], seed, bound);
      }
      bound = std::min(bound, worst[b]);
    }
  for (std::size_t b = 0; b < branches.count; ++b)
    if (((wide >> b) & 1U) != 0 && worst[b] <= bound && std::isfinite(worst[b])) {
      RobJoint j;
      if (nearestFreeJoints(windows, branches.joints[b], seed, worst[b], j)) {
        consider(j);
        continue;
      }
      if (!windows.coupled)
        turns[b] = branchTurnsOf(robot, windows, branches.joints[b]);
      consider(nearestTurns(target, turns[b], seed, worst[b]));
    }
  return result;
}

/// The solution of solveAll's list in the configuration of `target`, the earliest in the list's
/// order when several are (joints near zero accept two quadrants), found without forming the
/// list; branches with many turns choose theirs by arithmetic.
JointSolution matching(const RobotConfig& robot, const RobTarget& target) {
  JointSolution result;
  Branches branches;
  const QueryPose solved = solveBranches(robot, target.pose, nullptr, branches);
  if (branches.count == 0)
    return result;
  bool anyInsideLimits = false;
  // Branch b in bit b: those of many turns.
  unsigned wide = 0;
  const JointWindows windows = windowsOf(robot);
  const auto consider = [&](const RobJoint& j) {
    const ConfData conf = labelOf(robot, solved, j);
    if (!conf.isCriticalEqual(j, target.robConf) ||
        (result.found() && !solutionPrecedes(j, conf, result.joints, result.conf)))
      return;
    result.joints = j;
    result.conf = conf;
    result.status = IkStatus::found;
  };
  for (std::size_t b = 0; b < branches.count && !windows.empty; ++b) {
    const TurnTests tests = turnTestsOf(windows, branches.joints[b]);
    if (fewTurns(windows, branches.joints[b], tests)) {
      forEachTurn(robot, windows, branches.joints[b], tests, [&](const RobJoint& j, std::size_t) {
        anyInsideLimits = true;
        consider(j);
      });
      continue;
    }
    wide |= 1U << b;
    RobJoint j;
    if (matchingTurns(robot, solved, windows, branches.joints[b], target.robConf, j))
      consider(j);
  }
  if (result.found())
    return result;
  // Which verdict: branches of many turns were only counted as far as the match needed.
  for (std::size_t b = 0; b < branches.count && !anyInsideLimits; ++b)
    anyInsideLimits =
        ((wide >> b) & 1U) != 0 && !branchTurnsOf(robot, windows, branches.joints[b]).empty;
  result.status =
      anyInsideLimits ? IkStatus::noSolutionInConfiguration : IkStatus::outsideJointLimits;
  return result;
}

}  // namespace

}  // namespace detail

IkMethod RobotConfig::ikMethod() const {
  const detail::CachedArm& cached = detail::cachedArmOf(*this);
  if (cached.arm.solvable)
    return IkMethod::sphericalWristClosedForm;
  if (cached.threeParallel.solvable)
    return IkMethod::threeParallelClosedForm;
  return cached.search.solvable ? IkMethod::search : IkMethod::numerical;
}

IkStatus RobotConfig::findAllJointSolutions(const Pose& flangePose, const RobJoint* seed,
                                            TargetConfiguration& solutions) const {
  return detail::solveAll(*this, flangePose, seed, solutions);
}

TargetConfiguration RobotConfig::getAllJointSolutions(const Pose& flangePose) const {
  TargetConfiguration all;
  detail::solveAll(*this, flangePose, nullptr, all);
  return all;
}

TargetConfiguration RobotConfig::getAllJointSolutions(const Pose& flangePose,
                                                      const RobJoint& seed) const {
  TargetConfiguration all;
  detail::solveAll(*this, flangePose, &seed, all);
  return all;
}

TargetConfiguration RobotConfig::getAllJointSolutions(const Pose& target, const ToolData& tool,
                                                      const WObjData& wobj) const {
  return getAllJointSolutions(FlangePoseOfTarget(target, tool, wobj));
}

std::optional<RobJoint> RobotConfig::getJointSolution(const RobTarget& target) const {
  const JointSolution s = findJointSolution(target);
  if (!s.found())
    return std::nullopt;
  return s.joints;
}

std::optional<RobJoint> RobotConfig::getJointSolution(const RobTarget& target, const ToolData& tool,
                                                      const WObjData& wobj) const {
  const JointSolution s = findJointSolution(target, tool, wobj);
  if (!s.found())
    return std::nullopt;
  return s.joints;
}

std::optional<RobJoint> RobotConfig::getNearestJointSolution(const Pose& flangePose,
                                                             const RobJoint& seed) const {
  const JointSolution s = findNearestJointSolution(flangePose, seed);
  if (!s.found())
    return std::nullopt;
  return s.joints;
}

JointSolution RobotConfig::findJointSolution(const RobTarget& target) const {
  return detail::matching(*this, target);
}

JointSolution RobotConfig::findJointSolution(const RobTarget& target, const ToolData& tool,
                                             const WObjData& wobj) const {
  RobTarget flange = target;
  flange.pose = FlangePoseOfTarget(target.pose, tool, wobj);
  return detail::matching(*this, flange);
}

JointSolution RobotConfig::findNearestJointSolution(const Pose& flangePose,
                                                    const RobJoint& seed) const {
  return detail::nearest(*this, flangePose, seed);
}

}  // namespace zor::rob
