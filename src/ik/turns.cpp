#include "ik/turns.hpp"

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace zor::rob::detail {

JointWindows windowsOf(const RobotConfig& robot) {
  constexpr double tol = RobotConfig::kJointLimitTolerance;
  JointWindows w;
  // Two joints at a time: this runs on every query.
  unsigned nonEmpty = 0;
  unsigned beyond = 0;
  for (std::size_t i = 0; i < 6; i += 2) {
    const Double2 min = pairAt(robot.jointMin, i);
    const Double2 max = pairAt(robot.jointMax, i);
    beyond |= (bitsOf(min < -kWidestLimit) | bitsOf(min > kWidestLimit) |
               bitsOf(max < -kWidestLimit) | bitsOf(max > kWidestLimit))
              << i;
    const Double2 lo = min - tol;
    const Double2 hi = max + tol;
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
  if (beyond != 0) [[unlikely]]
    throw std::invalid_argument("the limits of joint " +
                                std::to_string(std::countr_zero(beyond) + 1) +
                                " must lie within ±1e9 degrees");
  w.empty = nonEmpty != kAllJoints;
  w.coupled = robot.jointCoupling == 1;
  // Two joints within ±1e9 sum to within ±2e9: wider sum limits, and NaN ones, bound nothing.
  constexpr double widestSum = 2.0 * kWidestLimit + kTurn;
  w.sumLo = std::max(robot.jointMin[6] - tol, -widestSum);
  w.sumHi = std::min(robot.jointMax[6] + tol, widestSum);
  if (std::isnan(w.sumLo))
    w.sumLo = -widestSum;
  if (std::isnan(w.sumHi))
    w.sumHi = widestSum;
  return w;
}

TurnRange turnsOf(double lo, double hi, double value) {
  if (!(std::abs(value) < kWidestLimit) || !(lo < hi))
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

namespace {

/// Steps the exact tests take at most from an estimate; beyond, the estimate was right that there
/// is nothing.
constexpr int kCorrectionSteps = 3;
/// At most this many solutions of one branch are walked one by one when some joint has more than
/// its turns −1, 0 and +1 inside.
constexpr long kFewTurns = 64;

/// \returns whether joints 2 and 3 at `j2` and `j3` pass the coupled limit tests.
bool pairAllowed(const RobotConfig& robot, double j2, double j3) {
  return robot.isJointAllowed(1, j2, j3) && robot.isJointAllowed(2, j3, j2);
}

/// \returns `a` · `b`, or `cap` + 1 when that is more than `cap`.
std::size_t cappedProduct(std::size_t a, std::size_t b, std::size_t cap) {
  return b != 0 && a > cap / b ? cap + 1 : a * b;
}

/// The turn of `value` nearest to `s` among `first` − 1 .. `last` + 1 cut to `range` (a
/// guess that is at most one turn off), the lower on a tie, and its distance.
std::pair<long, double> nearestAmong(double value, long first, long last, TurnRange range,
                                     double s) {
  std::pair<long, double> best{range.first, std::numeric_limits<double>::infinity()};
  for (long c = std::max(range.first, first - 1); c <= std::min(range.last, last + 1); ++c) {
    const double d = std::abs(turnedBy(value, c) - s);
    if (d < best.second)
      best = {c, d};
  }
  return best;
}

/// The turn of `value` within the non-empty `range` nearest to `s`, the lower on a tie, and its
/// distance.
std::pair<long, double> nearestInRange(double value, TurnRange range, double s) {
  const double lowest = turnedBy(value, range.first);
  const double x = std::clamp(s, lowest, turnedBy(value, range.last));
  const long k = range.first + static_cast<long>((x - lowest) * kTurnsPerDegree);
  return nearestAmong(value, k, k + 1, range, s);
}

/// nearestInRange for joint `i` of `b`.
std::pair<long, double> nearestTurn(const BranchTurns& b, std::size_t i, TurnRange range,
                                    double s) {
  return nearestInRange(b.values[i], range, s);
}

/// \returns whether the turn of `value` nearest to `s` on the whole line lies inside the window
/// of joint `i`, and so does every turn as near: `s` lies more than a turn inside it.
bool deepInside(const JointWindows& w, std::size_t i, double value, double s) {
  return s > w.lo[i] + kTurn && s < w.hi[i] - kTurn && std::abs(value) < kWidestLimit;
}

/// \returns the turn of `value` nearest to `s`, the lower on a tie, and its distance, for a
/// `value` and `s` that pass deepInside: nearestInRange's, bit for bit, without the turns of the
/// joint.
std::pair<long, double> nearestFreeTurn(double value, double s) {
  const double q = (s - value) * kTurnsPerDegree;
  // The nearest integer to q, at most one off after the rounding of q, and its neighbours, each
  // turned value computed as turnedBy computes it (at k = 0, value + 0 has value's distance).
  const long k = static_cast<long>(q < 0.0 ? q - 0.5 : q + 0.5);
  const auto turned = static_cast<double>(k);
  std::pair<long, double> best{k - 1, std::abs(value + kTurn * (turned - 1.0) - s)};
  const double at = std::abs(value + kTurn * turned - s);
  if (at < best.second)
    best = {k, at};
  const double above = std::abs(value + kTurn * (turned + 1.0) - s);
  if (above < best.second)
    best = {k + 1, above};
  return best;
}

/// \returns the turns of joint `i` within `range` no farther than `w` from `s`; `w` is at least
/// the distance of the nearest.
TurnRange turnsWithin(const BranchTurns& b, std::size_t i, TurnRange range, double s, double w) {
  const long k = nearestTurn(b, i, range, s).first;
  const auto span =
      static_cast<long>(std::min(w * kTurnsPerDegree, static_cast<double>(range.count())));
  TurnRange r = range.within(k - span - 1, k + span + 1);
  while (r.first < k && !(std::abs(b.at(i, r.first) - s) <= w))
    ++r.first;
  while (r.last > k && !(std::abs(b.at(i, r.last) - s) <= w))
    --r.last;
  return r;
}

/// \returns the first turn of joint `i` within `range` whose value lies above `t` (at or above
/// with `orEqual`); range.last + 1 when none does.
long firstTurnAbove(const BranchTurns& b, std::size_t i, TurnRange range, double t, bool orEqual) {
  const auto above = [&](long k) {
    const double v = b.at(i, k);
    return orEqual ? !(v < t) : v > t;
  };
  if (range.empty() || above(range.first))
    return range.first;
  if (!above(range.last))
    return range.last + 1;
  const double steps = (t - b.at(i, range.first)) * kTurnsPerDegree;
  long k = range.first + static_cast<long>(std::min(steps, static_cast<double>(range.count())));
  k = std::clamp(k, range.first + 1, range.last);
  while (k > range.first + 1 && above(k - 1))
    --k;
  while (!above(k))
    ++k;
  return k;
}

/// \returns the turns of `range` whose value lies on the side of `t` that `upper` names: above
/// (at or above with `orEqual`), or below the rest.
TurnRange sideOf(const BranchTurns& b, std::size_t i, TurnRange range, double t, bool orEqual,
                 bool upper) {
  const long split = firstTurnAbove(b, i, range, t, orEqual);
  return upper ? TurnRange{split, range.last} : TurnRange{range.first, split - 1};
}

/// The turns of joint `i` at `value` inside its window whose quadrant `conf` may match (joint
/// quadrant `quadrant`; near zero both 0 and −1), at most two, into `out`; \returns how many.
std::size_t quadrantTurns(const JointWindows& w, std::size_t i, double value, int quadrant,
                          std::array<long, 2>& out) {
  std::size_t n = 0;
  const bool nearZero = quadrant == 0 || quadrant == -1;
  TurnRange range;
  bool counted = false;
  for (const int q : {quadrant, nearZero ? -1 - quadrant : quadrant}) {
    // The middle of the quadrant, then the turns next to it: quadrants are a quarter turn wide.
    const double middle = 90.0 * (static_cast<double>(q) + 0.5);
    long k = 0;
    if (deepInside(w, i, value, middle)) {
      k = nearestFreeTurn(value, middle).first;
    } else {
      if (!counted)
        range = turnsOf(w.lo[i], w.hi[i], value);
      counted = true;
      if (range.empty())
        return 0;
      k = nearestInRange(value, range, middle).first;
    }
    if (AngleToQuadrant(turnedBy(value, k)) == q && (n == 0 || out[n - 1] != k))
      out[n++] = k;
    if (!nearZero)
      break;
  }
  return n;
}

}  // namespace

TurnRange BranchTurns::pairedTurns(long k2, TurnRange range3) const {
  if (!coupled)
    return range3;
  TurnRange r = range3.within(sum.first - k2, sum.last - k2);
  const double j2 = at(1, k2);
  for (int step = 0; !r.empty() && !pairAllowed(*robot, j2, at(2, r.first)); ++step, ++r.first)
    if (step == kCorrectionSteps)
      return {};
  for (int step = 0; !r.empty() && !pairAllowed(*robot, j2, at(2, r.last)); ++step, --r.last)
    if (step == kCorrectionSteps)
      return {};
  return r;
}

TurnRange BranchTurns::pairingTurns(TurnRange range2, TurnRange range3) const {
  if (!coupled || range3.empty())
    return range3.empty() ? TurnRange{} : range2;
  TurnRange r = range2.within(sum.first - range3.last, sum.last - range3.first);
  for (int step = 0; !r.empty() && pairedTurns(r.first, range3).empty(); ++step, ++r.first)
    if (step == kCorrectionSteps)
      return {};
  for (int step = 0; !r.empty() && pairedTurns(r.last, range3).empty(); ++step, --r.last)
    if (step == kCorrectionSteps)
      return {};
  return r;
}

RobJoint BranchTurns::jointsAt(const std::array<long, 6>& k) const {
  RobJoint j;
  for (std::size_t i = 0; i < 6; ++i)
    j.values[i] = at(i, k[i]);
  return j;
}

BranchTurns branchTurnsOf(const RobotConfig& robot, const JointWindows& windows,
                          const std::array<double, 6>& branch) {
  BranchTurns b;
  b.robot = &robot;
  b.values = branch;
  b.coupled = windows.coupled;
  if (windows.empty)
    return b;
  for (std::size_t i = 0; i < 6; ++i) {
    b.turns[i] = turnsOf(windows.lo[i], windows.hi[i], branch[i]);
    if (b.turns[i].empty())
      return b;
  }
  if (b.coupled) {
    // The sum's turns a turn wider on either side than its limits: pairedTurns tests exactly.
    b.sum = turnsOf(windows.sumLo - kTurn, windows.sumHi + kTurn, branch[1] + branch[2]);
    if (b.pairingTurns(b.turns[1], b.turns[2]).empty())
      return b;
  }
  b.empty = false;
  return b;
}

bool fewTurns(const JointWindows& windows, const std::array<double, 6>& branch,
              const TurnTests& tests) {
  // Every joint near the middle of its limits, or one with no turn inside (forEachTurn stops at
  // once): the usual cases, told from the tests alone.
  if (tests.near == kAllJoints || (~(tests.near | tests.below | tests.above) & kAllJoints) != 0)
    return true;
  // Now every joint has a turn inside, so one whose window holds more than kFewTurns turns of
  // any value makes too many: an open window longer than n + 1 turns holds at least n.
  constexpr double wideWindow = static_cast<double>(kFewTurns + 2) * kTurn;
  for (std::size_t i = 0; i < 6; ++i)
    if (windows.hi[i] - windows.lo[i] > wideWindow)
      return false;
  long count = 1;
  for (std::size_t i = 0; i < 6; ++i)
    count *= std::min(turnsOf(windows.lo[i], windows.hi[i], branch[i]).count(), kFewTurns + 1);
  return count <= kFewTurns;
}

std::size_t countTurns(const BranchTurns& b, std::size_t cap) {
  if (b.empty)
    return 0;
  std::size_t others = 1;
  for (const std::size_t i : {0UL, 3UL, 4UL, 5UL})
    others = cappedProduct(others, static_cast<std::size_t>(b.turns[i].count()), cap);
  if (!b.coupled)
    return cappedProduct(others,
                         cappedProduct(static_cast<std::size_t>(b.turns[1].count()),
                                       static_cast<std::size_t>(b.turns[2].count()), cap),
                         cap);
  // Every joint-2 turn of the hull pairs with at least one joint-3 turn (its ends exactly, the
  // rest by the sum's arithmetic): at most cap + 1 steps.
  const TurnRange hull = b.pairingTurns(b.turns[1], b.turns[2]);
  std::size_t pairs = 0;
  for (long k2 = hull.first; k2 <= hull.last; ++k2) {
    pairs += static_cast<std::size_t>(b.pairedTurns(k2, b.turns[2]).count());
    if (cappedProduct(others, pairs, cap) > cap)
      return cap + 1;
  }
  return cappedProduct(others, pairs, cap);
}

double nearestWorst(const BranchTurns& b, const RobJoint& seed, double bound) {
  constexpr double none = std::numeric_limits<double>::infinity();
  if (b.empty)
    return none;
  const std::array<double, 6>& s = seed.values;
  // The smallest largest difference: joint by joint, joints 2 and 3 together when coupled.
  double worst = 0.0;
  for (std::size_t i = 0; i < 6; ++i)
    if (!b.coupled || (i != 1 && i != 2)) {
      worst = std::max(worst, nearestTurn(b, i, b.turns[i], s[i]).second);
      if (worst > bound)
        return worst;
    }
  if (!b.coupled)
    return worst;
  // The largest difference of joints 2 and 3 as joint 2 turns falls, then rises: a ternary
  // search, then a walk over the last few turns.
  const auto pairWorst = [&](long k2) {
    const TurnRange r3 = b.pairedTurns(k2, b.turns[2]);
    if (r3.empty())
      return none;
    return std::max(std::abs(b.at(1, k2) - s[1]), nearestTurn(b, 2, r3, s[2]).second);
  };
  TurnRange k2 = b.pairingTurns(b.turns[1], b.turns[2]);
  while (k2.count() > 8) {
    const long third = (k2.last - k2.first) / 3;
    if (pairWorst(k2.first + third) <= pairWorst(k2.last - third))
      k2.last -= third;
    else
      k2.first += third;
  }
  double bestPair = none;
  for (long k = k2.first; k <= k2.last; ++k)
    bestPair = std::min(bestPair, pairWorst(k));
  return std::max(worst, bestPair);
}

double nearestWorst(const JointWindows& windows, const std::array<double, 6>& branch,
                    const RobJoint& seed, double bound) {
  const std::array<double, 6>& s = seed.values;
  double worst = 0.0;
  for (std::size_t i = 0; i < 6; ++i) {
    double d = 0.0;
    if (deepInside(windows, i, branch[i], s[i])) {
      d = nearestFreeTurn(branch[i], s[i]).second;
    } else {
      const TurnRange range = turnsOf(windows.lo[i], windows.hi[i], branch[i]);
      if (range.empty())
        return std::numeric_limits<double>::infinity();
      d = nearestInRange(branch[i], range, s[i]).second;
    }
    worst = std::max(worst, d);
    if (worst > bound)
      return worst;
  }
  return worst;
}

bool nearestFreeJoints(const JointWindows& windows, const std::array<double, 6>& branch,
                       const RobJoint& seed, double worst, RobJoint& joints) {
  // Two turns of a joint lie a turn apart, so within less than a quarter turn of the seed there
  // is one at most: the nearest of each joint, whatever the order of the list prefers.
  if (windows.coupled || !(worst < kTurn / 4.0))
    return false;
  for (std::size_t i = 0; i < 6; ++i)
    if (!deepInside(windows, i, branch[i], seed.values[i]))
      return false;
  for (std::size_t i = 0; i < 6; ++i)
    joints.values[i] = turnedBy(branch[i], nearestFreeTurn(branch[i], seed.values[i]).first);
  return true;
}

RobJoint nearestTurns(const QueryPose& target, const BranchTurns& b, const RobJoint& seed,
                      double worst) {
  const std::array<double, 6>& s = seed.values;
  // Among the solutions that near, the first in list order: the smallest configuration number
  // (joint 1 in front, the elbow up, joint 5 not negative, where the turns allow), then the
  // smallest values joint by joint.
  std::array<TurnRange, 6> near;
  for (std::size_t i = 0; i < 6; ++i)
    near[i] = turnsWithin(b, i, b.turns[i], s[i], worst);
  std::array<long, 6> k{};
  const long front = nearestTurn(b, 0, near[0], target.labelAngle).first;
  k[0] = std::abs(b.at(0, front) - target.labelAngle) <= 90.0 ? front : near[0].first;
  TurnRange third = sideOf(b, 2, near[2], target.stretchedElbow, false, true);
  TurnRange second = b.pairingTurns(near[1], third);
  if (second.empty()) {
    third = near[2];
    second = b.pairingTurns(near[1], third);
  }
  k[1] = second.first;
  k[2] = b.pairedTurns(k[1], third).first;
  k[3] = near[3].first;
  const TurnRange fifth = sideOf(b, 4, near[4], 0.0, true, true);
  k[4] = fifth.empty() ? near[4].first : fifth.first;
  k[5] = near[5].first;
  return b.jointsAt(k);
}

bool matchingTurns(const RobotConfig& robot, const QueryPose& target, const JointWindows& windows,
                   const std::array<double, 6>& branch, const ConfData& conf, RobJoint& joints) {
  std::array<long, 2> first{};
  std::array<long, 2> fourth{};
  std::array<long, 2> sixth{};
  // The quadrants name the turns of joints 1, 4 and 6: most branches have none of them, found
  // before the turns of the other joints are counted.
  const std::size_t n1 = quadrantTurns(windows, 0, branch[0], conf.cf1, first);
  if (n1 == 0)
    return false;
  const std::size_t n4 = quadrantTurns(windows, 3, branch[3], conf.cf4, fourth);
  if (n4 == 0)
    return false;
  const std::size_t n6 = quadrantTurns(windows, 5, branch[5], conf.cf6, sixth);
  if (n6 == 0)
    return false;
  const BranchTurns b = branchTurnsOf(robot, windows, branch);
  if (b.empty)
    return false;
  // The elbow and wrist bits of the configuration name the side of joints 3 and 5; the smallest
  // value on that side comes first in list order.
  const TurnRange third =
      sideOf(b, 2, b.turns[2], target.stretchedElbow, false, (conf.cfx & 2) == 0);
  const TurnRange fifth = sideOf(b, 4, b.turns[4], 0.0, true, (conf.cfx & 1) == 0);
  const TurnRange second = b.pairingTurns(b.turns[1], third);
  if (second.empty() || fifth.empty())
    return false;
  std::array<long, 6> k{};
  k[1] = second.first;
  k[2] = b.pairedTurns(k[1], third).first;
  k[4] = fifth.first;
  bool found = false;
  ConfData best;
  for (std::size_t a = 0; a < n1; ++a)
    for (std::size_t c = 0; c < n4; ++c)
      for (std::size_t e = 0; e < n6; ++e) {
        k[0] = first[a];
        k[3] = fourth[c];
        k[5] = sixth[e];
        const RobJoint j = b.jointsAt(k);
        const ConfData label = labelOf(robot, target, j);
        if (!label.isCriticalEqual(j, conf) || (found && !solutionPrecedes(j, label, joints, best)))
          continue;
        joints = j;
        best = label;
        found = true;
      }
  return found;
}
}  // namespace zor::rob::detail
