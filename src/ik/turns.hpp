#pragma once

// The turns of the inverse kinematics: which whole turns of each joint of a solution branch lie
// inside the joint limits, the labels of the solutions they give, and their order.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>

#include "ik/closed_form.hpp"
#include "ik/lanes.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::detail {

inline constexpr double kTurn = 360.0;
inline constexpr double kTurnsPerDegree = 1.0 / kTurn;
/// Joint limits must lie within ±this (degrees): beyond it a joint value's rounding moves the
/// flange by more than the inverse kinematics promises.
inline constexpr double kWidestLimit = 1e9;
/// The most solutions an "all solutions" query lists (RobotConfig::kMaxJointSolutions).
inline constexpr std::size_t kMaxSolutions = RobotConfig::kMaxJointSolutions;
/// The shoulder bit of a label is taken from the target pose when the wrist centre stands
/// farther than this (mm) from the boundary between front and behind; nearer, from the solution's
/// own flange pose, exactly as ConfData::FromRobJoint computes it.
inline constexpr double kLabelMargin = 1e-7;
/// Joint i in bit i: all six.
inline constexpr unsigned kAllJoints = 0x3F;

/// The pose of a query as the solvers take it (rotation matrix and position), and the
/// direction of its labelling wrist centre.
struct QueryPose {
  Mat3 rotation{};
  Vec3 position{};
  double labelAngle{0.0};      ///< φ (degrees) of the wrist centre that labels use.
  double labelRadius{0.0};     ///< Its distance (mm) from the base z axis.
  double stretchedElbow{0.0};  ///< Joint 3 (degrees) where the elbow bit changes.
};

/// \returns whether the shoulder bit of `joints`' label must come from their own flange pose.
inline bool nearShoulderBoundary(const QueryPose& target, const RobJoint& joints) {
  const double fromLabel = std::abs(target.labelAngle - joints.values[0]);
  return !(std::abs(fromLabel - 90.0) * (kPi / 180.0) * target.labelRadius > kLabelMargin);
}

/// \returns ConfData::FromRobJoint(joints, robot) for a solution of `target`.
inline ConfData labelOf(const RobotConfig& robot, const QueryPose& target, const RobJoint& joints) {
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
inline ConfData labelOfTurned6(const RobotConfig& robot, const QueryPose& target,
                               const RobJoint& joints, const ConfData& previous) {
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
/// the limit tolerance; `empty` when some interval is (or a limit is NaN). `sumLo` and `sumHi`
/// bound joints 2 + 3 (the closed interval isJointAllowed's coupled test admits; a NaN bound
/// admits everything on its side, as there).
/// Within the narrower interval (nearLo, nearHi) a value has no turn beyond ±1 inside: there
/// v − 720 < lo and v + 720 > hi (each bound rounded either way keeps that true).
struct JointWindows {
  std::array<double, 6> lo{};
  std::array<double, 6> hi{};
  std::array<double, 6> nearLo{};  ///< max(lo, hi − 720).
  std::array<double, 6> nearHi{};  ///< min(hi, lo + 720).
  double sumLo{0.0};
  double sumHi{0.0};
  bool empty{false};
  bool coupled{false};  ///< The limit of joints 2 + 3 applies as well.
};

/// \returns the windows of `robot`'s limits. Throws std::invalid_argument "the limits of joint
/// N must lie within ±1e9 degrees" for a limit beyond (an infinite one too).
JointWindows windowsOf(const RobotConfig& robot);

/// The whole turns k for which value + 360 k lies strictly inside (lo, hi): k in [first, last].
struct TurnRange {
  long first{0};
  long last{-1};

  bool empty() const { return first > last; }
  /// \returns the number of turns.
  long count() const { return empty() ? 0 : last - first + 1; }
  /// \returns the range cut to [lo, hi].
  TurnRange within(long lo, long hi) const { return {std::max(first, lo), std::min(last, hi)}; }
};

/// \returns the turns of `value` strictly inside (lo, hi); none for a value of magnitude
/// kWidestLimit or more, or NaN.
TurnRange turnsOf(double lo, double hi, double value);

/// \returns `value` turned by `k` whole turns; the value itself (a −0 stays −0) at k = 0.
inline double turnedBy(double value, long k) {
  return k == 0 ? value : value + kTurn * static_cast<double>(k);
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
inline bool solutionPrecedes(const RobJoint& a, const ConfData& ca, const RobJoint& b,
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
inline constexpr std::size_t kNewBranch = 6;

/// Calls `use(joints, turned)` for every turn of `branch` (its tests `tests`) inside the limits,
/// where `turned` is
/// the one joint in which `joints` differ from those of the previous call, or kNewBranch. The
/// common case, every value inside and at most one joint with one more turn, is taken directly;
/// otherwise the turns are counted like an odometer over the joints with more than one, joint 6
/// turning fastest.
template <typename Use>
void forEachTurn(const RobotConfig& robot, const JointWindows& windows,
                 const std::array<double, 6>& branch, const TurnTests& tests, Use&& use) {
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

/// The turns of one branch inside the limits, joint by joint, for limits too wide to walk every
/// turn: the queries choose among them by arithmetic. With coupled limits the turns of joint 3
/// depend on those of joint 2 (pairedTurns).
struct BranchTurns {
  const RobotConfig* robot{nullptr};
  std::array<double, 6> values{};
  std::array<TurnRange, 6> turns{};
  bool coupled{false};
  TurnRange sum{};   ///< Turns s of joints 2 + 3, value2 + value3 + 360 s, near the sum limit.
  bool empty{true};  ///< No turn of some joint (or no pair of joints 2 and 3) is inside.

  double at(std::size_t i, long k) const { return turnedBy(values[i], k); }
  /// \returns the turns of joint 3 within `range3` that joint 2 at turn `k2` admits.
  TurnRange pairedTurns(long k2, TurnRange range3) const;
  /// \returns the turns of joint 2 within `range2` that pair with some turn of joint 3 within
  /// `range3`: a hull, its ends exact.
  TurnRange pairingTurns(TurnRange range2, TurnRange range3) const;
  /// \returns the joints at turns `k`.
  RobJoint jointsAt(const std::array<long, 6>& k) const;
};

BranchTurns branchTurnsOf(const RobotConfig& robot, const JointWindows& windows,
                          const std::array<double, 6>& branch);

/// \returns whether forEachTurn walks every turn of `branch` at small cost: every joint has at
/// most its turns −1, 0 and +1 inside (3^6 solutions at most), or the branch few solutions.
bool fewTurns(const JointWindows& windows, const std::array<double, 6>& branch,
              const TurnTests& tests);

/// \returns the number of solutions the turns of `branch` give, or any number above `cap` when
/// there are more; in at most about `cap` steps.
std::size_t countTurns(const BranchTurns& b, std::size_t cap);

/// Calls `use(joints)` for every solution of the turns `b` (countTurns of them).
template <typename Use>
void forEachWideTurn(const BranchTurns& b, Use&& use) {
  if (b.empty)
    return;
  std::array<long, 6> k{};
  for (k[0] = b.turns[0].first; k[0] <= b.turns[0].last; ++k[0])
    for (k[1] = b.turns[1].first; k[1] <= b.turns[1].last; ++k[1]) {
      const TurnRange third = b.pairedTurns(k[1], b.turns[2]);
      for (k[2] = third.first; k[2] <= third.last; ++k[2])
        for (k[3] = b.turns[3].first; k[3] <= b.turns[3].last; ++k[3])
          for (k[4] = b.turns[4].first; k[4] <= b.turns[4].last; ++k[4])
            for (k[5] = b.turns[5].first; k[5] <= b.turns[5].last; ++k[5])
              use(b.jointsAt(k));
    }
}

/// \returns the smallest largest joint difference to `seed` of the solutions of the turns `b`
/// (infinity when there are none: seeds are finite), or any value above `bound` when it is
/// larger.
double nearestWorst(const BranchTurns& b, const RobJoint& seed, double bound);

/// nearestWorst(branchTurnsOf(robot, windows, branch), seed, bound) for windows without the
/// coupled limit, in fewer steps: a joint whose seed lies more than a turn inside its window
/// needs no count of its turns.
double nearestWorst(const JointWindows& windows, const std::array<double, 6>& branch,
                    const RobJoint& seed, double bound);

/// nearestTurns(target, branchTurnsOf(robot, windows, branch), seed, worst) into `joints` for
/// windows without the coupled limit, seeds more than a turn inside them and `worst` below a
/// quarter turn, without counting any turns; \returns false, and leaves `joints`, otherwise.
bool nearestFreeJoints(const JointWindows& windows, const std::array<double, 6>& branch,
                       const RobJoint& seed, double worst, RobJoint& joints);

/// \returns the solution of the non-empty turns `b` whose largest joint difference to `seed` is
/// `worst` (nearestWorst's), the first in list order among those.
RobJoint nearestTurns(const QueryPose& target, const BranchTurns& b, const RobJoint& seed,
                      double worst);

/// The first solution in list order of the turns of `branch` inside `windows` that `conf`
/// matches (ConfData::isCriticalEqual); \returns false when there is none.
bool matchingTurns(const RobotConfig& robot, const QueryPose& target, const JointWindows& windows,
                   const std::array<double, 6>& branch, const ConfData& conf, RobJoint& joints);

}  // namespace zor::rob::detail
