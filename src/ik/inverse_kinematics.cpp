#include "zor/rob/ik_results.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "ik/closed_form.hpp"
#include "ik/lanes.hpp"
#include "ik/numerical.hpp"
#include "ik/search.hpp"
#include "ik/three_parallel.hpp"
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

constexpr double kTurn = 360.0;
constexpr double kTurnsPerDegree = 1.0 / kTurn;
/// RadToDeg as one multiplication (it divides by π), for the many angles of a query.
constexpr double kDegreesPerRadian = 180.0 / kPi;
/// Turns are enumerated within ±this (degrees, 100 turns) however wide the limits are.
constexpr double kWidestLimit = 18000.0;
/// Two branches whose joints all agree within this (degrees, modulo a turn) are one solution:
/// the elbow singularity, or the two wrist branches at joint 5 = 0. Converged numerical
/// solutions from different seeds agree to about 1e-9 degrees.
constexpr double kDuplicateTolerance = 1e-7;
/// The shoulder bit of a label is taken from the target pose when the wrist centre stands
/// farther than this (mm) from the boundary between front and behind; nearer, from the solution's
/// own flange pose, exactly as ConfData::FromRobJoint computes it.
constexpr double kLabelMargin = 1e-7;
/// Joint i in bit i: all six.
constexpr unsigned kAllJoints = 0x3F;

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

/// The pose of a query as the solvers take it (rotation matrix and position), and the
/// direction of its labelling wrist centre.
struct QueryPose {
  Mat3 rotation{};
  Vec3 position{};
  double labelAngle{0.0};      ///< φ (degrees) of the wrist centre that labels use.
  double labelRadius{0.0};     ///< Its distance (mm) from the base z axis.
  double stretchedElbow{0.0};  ///< Joint 3 (degrees) where the elbow bit changes.
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

/// \returns whether the shoulder bit of `joints`' label must come from their own flange pose.
bool nearShoulderBoundary(const QueryPose& target, const RobJoint& joints) {
  const double fromLabel = std::abs(target.labelAngle - joints.values[0]);
  return !(std::abs(fromLabel - 90.0) * (kPi / 180.0) * target.labelRadius > kLabelMargin);
}

/// \returns ConfData::FromRobJoint(joints, robot) for a solution of `target`.
ConfData labelOf(const RobotConfig& robot, const QueryPose& target, const RobJoint& joints) {
  const std::array<double, 6>& j = joints.values;
  if (nearShoulderBoundary(target, joints)) [[unlikely]]
    return ConfData::FromRobJoint(joints, robot);
  const double fromLabel = std::abs(target.labelAngle - j[0]);
  const int behind = fromLabel <= 90.0 ? 0 : 4;
  const int elbow = j[2] > target.stretchedElbow ? 0 : 2;
  const int wrist = j[4] < 0.0 ? 1 : 0;
  return {AngleToQuadrant(j[0]), AngleToQuadrant(j[3]), AngleToQuadrant(j[5]),
          behind + elbow + wrist};
}

/// \returns labelOf(robot, target, joints) for joints that differ from those labelled `previous`
/// in joint 6 alone: only its quadrant changes.
ConfData labelOfTurned6(const RobotConfig& robot, const QueryPose& target, const RobJoint& joints,
                        const ConfData& previous) {
  if (nearShoulderBoundary(target, joints)) [[unlikely]]
    return ConfData::FromRobJoint(joints, robot);
  ConfData label = previous;
  label.cf6 = AngleToQuadrant(joints.values[5]);
  return label;
}

/// \returns entries i and i + 1 of `values` side by side.
template <std::size_t N>
[[gnu::always_inline]] inline Double2 pairAt(const std::array<double, N>& values, std::size_t i) {
  return Double2{values[i], values[i + 1]};
}

/// std::max and std::min lane by lane, NaN in `a` kept as they keep it.
[[gnu::always_inline]] inline Double2 maxOf(Double2 a, Double2 b) {
  return select(a < b, b, a);
}
[[gnu::always_inline]] inline Double2 minOf(Double2 a, Double2 b) {
  return select(b < a, b, a);
}

/// The open interval of each joint that isJointAllowed's final test admits: the limits widened by
/// the limit tolerance, cut to ±kWidestLimit; `empty` when some interval is (or a limit is NaN).
/// Within the narrower interval (nearLo, nearHi) a value has no turn beyond ±1 inside: there
/// v − 720 < lo and v + 720 > hi (each bound rounded either way keeps that true).
struct JointWindows {
  std::array<double, 6> lo{};
  std::array<double, 6> hi{};
  std::array<double, 6> nearLo{};  ///< max(lo, hi − 720).
  std::array<double, 6> nearHi{};  ///< min(hi, lo + 720).
  bool empty{false};
  bool coupled{false};  ///< The limit of joints 2 + 3 applies as well.
};

JointWindows windowsOf(const RobotConfig& robot) {
  constexpr double tol = RobotConfig::kJointLimitTolerance;
  JointWindows w;
  // Two joints at a time: this runs on every query.
  unsigned nonEmpty = 0;
  for (std::size_t i = 0; i < 6; i += 2) {
    const Double2 lo = maxOf(pairAt(robot.jointMin, i) - tol, splat(-kWidestLimit));
    const Double2 hi = minOf(pairAt(robot.jointMax, i) + tol, splat(kWidestLimit));
    const Double2 nearLo = maxOf(lo, hi - 2.0 * kTurn);
    const Double2 nearHi = minOf(hi, lo + 2.0 * kTurn);
    for (std::size_t k = 0; k < 2; ++k) {
      w.lo[i + k] = lo[k];
      w.hi[i + k] = hi[k];
      w.nearLo[i + k] = nearLo[k];
      w.nearHi[i + k] = nearHi[k];
    }
    nonEmpty |= bitsOf(lo < hi) << i;
  }
  w.empty = nonEmpty != kAllJoints;
  w.coupled = robot.jointCoupling == 1;
  return w;
}

/// The whole turns k for which value + 360 k lies strictly inside (lo, hi): k in [first, last].
struct TurnRange {
  long first{0};
  long last{-1};
};

TurnRange turnsOf(double lo, double hi, double value) {
  if (!(std::abs(value) < kWidestLimit))
    return {};  // also NaN: no solution
  // The integers just above (lo − value) / 360 and just below (hi − value) / 360, then corrected
  // by the exact strict test where the quotients' rounding put them one off.
  const double below = (lo - value) * kTurnsPerDegree;
  const double above = (hi - value) * kTurnsPerDegree;
  TurnRange r{static_cast<long>(below), static_cast<long>(above)};
  if (static_cast<double>(r.first) <= below)
    ++r.first;
  if (static_cast<double>(r.last) >= above)
    --r.last;
  while (value + kTurn * static_cast<double>(r.first - 1) > lo)
    --r.first;
  while (!(value + kTurn * static_cast<double>(r.first) > lo))
    ++r.first;
  while (value + kTurn * static_cast<double>(r.last + 1) < hi)
    ++r.last;
  while (!(value + kTurn * static_cast<double>(r.last) < hi))
    --r.last;
  return r;
}

/// Where the values of one branch stand against the windows, joint i in bit i: inside with no turn
/// beyond ±1 inside, with a turn inside below or above (−1 or +1).
struct TurnTests {
  unsigned near{0};   ///< nearLo < v < nearHi.
  unsigned below{0};  ///< lo < v − 360.
  unsigned above{0};  ///< v + 360 < hi.
};

/// The tests of `branch`, made two joints at a time.
[[gnu::always_inline]] inline TurnTests turnTestsOf(const JointWindows& windows,
                                                    const std::array<double, 6>& branch) {
  TurnTests t;
  for (std::size_t i = 0; i < 6; i += 2) {
    const Double2 value = pairAt(branch, i);
    // Combined as bits: a lane-wise & of two comparisons costs GCC a round trip through the
    // integer registers.
    t.near |=
        (bitsOf(value > pairAt(windows.nearLo, i)) & bitsOf(value < pairAt(windows.nearHi, i)))
        << i;
    t.below |= bitsOf(value - kTurn > pairAt(windows.lo, i)) << i;
    t.above |= bitsOf(value + kTurn < pairAt(windows.hi, i)) << i;
  }
  return t;
}

/// Orders solutions by configuration number, then by joint values, joint 1 first (the order of
/// std::array's <, here for finite values, without its three-way comparisons).
bool solutionPrecedes(const RobJoint& a, const ConfData& ca, const RobJoint& b,
                      const ConfData& cb) {
  if (ca.cfx != cb.cfx)
    return ca.cfx < cb.cfx;
  // The first joint that differs, found two joints at a time.
  unsigned differ = 0;
  for (std::size_t i = 0; i < 6; i += 2) {
    differ |= (bitsOf(pairAt(a.values, i) == pairAt(b.values, i)) ^ 3U) << i;
  }
  if (differ == 0)
    return false;
  const auto i = static_cast<std::size_t>(std::countr_zero(differ));
  return a.values[i] < b.values[i];
}

/// Passed to `use` by forEachTurn for a solution that is not its previous one turned in one joint.
constexpr std::size_t kNewBranch = 6;

/// Calls `use(joints, turned)` for every turn of `branch` inside the limits, where `turned` is
/// the one joint in which `joints` differ from those of the previous call, or kNewBranch. The
/// common case, every value inside and at most one joint with one more turn, is taken directly;
/// otherwise the turns are counted like an odometer over the joints with more than one, joint 6
/// turning fastest.
template <typename Use>
void forEachTurn(const RobotConfig& robot, const JointWindows& windows,
                 const std::array<double, 6>& branch, Use&& use) {
  const TurnTests tests = turnTestsOf(windows, branch);
  // A joint none of whose turns −1, 0 and +1 lies inside has none: the turns beyond lie farther
  // out. (A value inside but not near has a turn −1 or +1 inside.)
  if ((~(tests.near | tests.below | tests.above) & kAllJoints) != 0)
    return;
  // \returns whether `j` was used.
  const auto useAllowed = [&](const RobJoint& j, std::size_t turned) {
    if (windows.coupled && !(robot.isJointAllowed(1, j.values[1], j.values[2]) &&
                             robot.isJointAllowed(2, j.values[2], j.values[1])))
      return false;
    use(j, turned);
    return true;
  };
  RobJoint j;
  j.values = branch;
  const unsigned turning = tests.below | tests.above;
  // The joints whose turns are the tests' −1, 0 and +1.
  const unsigned near = tests.near;
  if (near == kAllJoints && (tests.below & tests.above) == 0 && (turning & (turning - 1)) == 0) {
    if (turning == 0) {
      useAllowed(j, kNewBranch);
      return;
    }
    // The two turns in ascending order, chosen by arithmetic, not by branches: the direction of
    // the other turn is as likely one way as the other.
    const auto i = static_cast<std::size_t>(std::countr_zero(turning));
    const double up = static_cast<double>((tests.above >> i) & 1U);
    const double other = branch[i] + kTurn * (2.0 * up - 1.0);
    j.values[i] = std::min(branch[i], other);
    const bool first = useAllowed(j, kNewBranch);
    j.values[i] = std::max(branch[i], other);
    useAllowed(j, first ? i : kNewBranch);
    return;
  }

  std::array<TurnRange, 6> turns;
  std::array<std::size_t, 6> joints;
  std::size_t turningCount = 0;
  // The value of joint i at turn k; the branch's own value at k = 0 (a −0 stays −0).
  const auto turned = [&](std::size_t i, long k) {
    return k == 0 ? branch[i] : branch[i] + kTurn * static_cast<double>(k);
  };
  for (std::size_t i = 0; i < 6; ++i) {
    if (((near >> i) & 1U) != 0) {
      turns[i] = {-static_cast<long>((tests.below >> i) & 1U),
                  static_cast<long>((tests.above >> i) & 1U)};
    } else {
      turns[i] = turnsOf(windows.lo[i], windows.hi[i], branch[i]);
      if (turns[i].first > turns[i].last)
        return;
    }
    j.values[i] = turned(i, turns[i].first);
    if (turns[i].first != turns[i].last)
      joints[turningCount++] = i;
  }
  std::array<long, 6> k;
  for (std::size_t t = 0; t < turningCount; ++t)
    k[t] = turns[joints[t]].first;
  for (;;) {
    useAllowed(j, kNewBranch);
    std::size_t t = turningCount;
    for (; t > 0; --t) {
      const std::size_t i = joints[t - 1];
      if (k[t - 1] < turns[i].last) {
        j.values[i] = turned(i, ++k[t - 1]);
        break;
      }
      k[t - 1] = turns[i].first;
      j.values[i] = turned(i, k[t - 1]);
    }
    if (t == 0)
      break;
  }
}

/// Sorts the paired lists with solutionPrecedes(); they hold a few dozen entries at most, and the
/// turns of one branch come in order.
void sortSolutions(TargetConfiguration& out) {
  for (std::size_t i = 1; i < out.joints.size(); ++i)
    for (std::size_t m = i; m > 0 && solutionPrecedes(out.joints[m], out.confs[m],
                                                      out.joints[m - 1], out.confs[m - 1]);
         --m) {
      std::swap(out.joints[m], out.joints[m - 1]);
      std::swap(out.confs[m], out.confs[m - 1]);
    }
}

/// The branches of `pose` (every joint solution modulo turns, limits aside) into `branches`.
QueryPose solveBranches(const RobotConfig& robot, const Pose& pose, const RobJoint* seed,
                        Branches& branches) {
  const QueryPose target = targetOf(robot, pose);
  const CachedArm& cached = cachedArmOf(robot);
  const ClosedFormArm& arm = cached.arm;
  FreeJoints free;
  free.joint1 = DegToRad(seed != nullptr ? seed->values[0] : robot.homeJoint.values[0]);
  free.joint2 = DegToRad(seed != nullptr ? seed->values[1] : robot.homeJoint.values[1]);
  free.joint4 = DegToRad(seed != nullptr ? seed->values[3] : 0.0);
  free.joint6 = DegToRad(seed != nullptr ? seed->values[5] : 0.0);
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
    if (cached.search.solvable)
      solveBySearch(robot, cached.search, target.rotation, target.position, found);
    else
      solveFromSeeds(robot, arm, target.rotation, target.position, seed, free, found);
    for (std::size_t s = 0; s < found.count; ++s)
      branches.addUnlessRepeated(found.solutions[s]);
  }
  return target;
}

/// Every solution of `pose` into `out` (cleared first); \returns found, outOfReach or
/// outsideJointLimits.
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
  out.joints.reserve(2 * branches.count);
  out.confs.reserve(2 * branches.count);
  ConfData label;
  for (std::size_t b = 0; b < branches.count; ++b)
    forEachTurn(robot, windows, branches.joints[b], [&](const RobJoint& j, std::size_t turned) {
      label = turned == 5 ? labelOfTurned6(robot, target, j, label) : labelOf(robot, target, j);
      out.add(j, label);
    });
  sortSolutions(out);
  return out.empty() ? IkStatus::outsideJointLimits : IkStatus::found;
}

/// The solution of solveAll's list whose largest joint difference to `seed` is smallest, the
/// earliest in the list's order among equals, found without forming the list: only solutions
/// as near as the best so far are labelled.
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
  for (std::size_t b = 0; b < branches.count; ++b)
    forEachTurn(robot, windows, branches.joints[b], [&](const RobJoint& j, std::size_t) {
      // As the list's loop measures it: a NaN difference counts as none.
      double worst = 0.0;
      for (std::size_t k = 0; k < 6; ++k)
        worst = std::max(worst, std::abs(j.values[k] - seed.values[k]));
      if (result.found() && worst > best)
        return;
      const ConfData conf = labelOf(robot, target, j);
      if (result.found() && !(worst < best) &&
          !solutionPrecedes(j, conf, result.joints, result.conf))
        return;
      best = worst;
      result.joints = j;
      result.conf = conf;
      result.status = IkStatus::found;
    });
  return result;
}

/// The solution of solveAll's list in the configuration of `target`, the earliest in the list's
/// order when several are (joints near zero accept two quadrants), found without forming the
/// list.
JointSolution matching(const RobotConfig& robot, const RobTarget& target) {
  JointSolution result;
  Branches branches;
  const QueryPose solved = solveBranches(robot, target.pose, nullptr, branches);
  if (branches.count == 0)
    return result;
  bool anyInsideLimits = false;
  const JointWindows windows = windowsOf(robot);
  for (std::size_t b = 0; b < branches.count && !windows.empty; ++b)
    forEachTurn(robot, windows, branches.joints[b], [&](const RobJoint& j, std::size_t) {
      anyInsideLimits = true;
      const ConfData conf = labelOf(robot, solved, j);
      if (!conf.isCriticalEqual(j, target.robConf) ||
          (result.found() && !solutionPrecedes(j, conf, result.joints, result.conf)))
        return;
      result.joints = j;
      result.conf = conf;
      result.status = IkStatus::found;
    });
  if (!result.found())
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
