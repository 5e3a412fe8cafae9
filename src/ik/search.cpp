#include "ik/search.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "ik/search_residuals.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

/// The bend of a residual between samples is taken as at most this times what the second
/// differences around them show.
constexpr double kBendMargin = 4.0;
/// Intervals (radians of joint 4) are halved down to this width; below it a minimisation
/// decides whether the residual crosses zero.
constexpr double kFinestInterval = 1e-5;
/// Most steps of each polish (regula falsi, the search for an end, golden section); each
/// shrinks its interval by at least 0.618 (regula falsi superlinearly), so that 80 of them reach
/// below the spacing of doubles.
constexpr int kPolishSteps = 80;
/// An elbow's end is located this closely (radians); the stretch beside it is searched in the
/// square root of the distance, about 1e-6 rad at its first sample.
constexpr double kEndWidth = 1e-12;
/// Samples of a stretch beside an end, evenly in the square root of the distance to it.
constexpr std::size_t kEndSamples = 8;
constexpr double kEndSteps = static_cast<double>(kEndSamples);
/// Ends found within the stretch beside an end are searched this many levels deep.
constexpr int kEndDepth = 2;
/// Regula falsi stops at a residual below this: its rounding is about 1e-16.
constexpr double kRootResidual = 1e-15;
/// A local minimum of a residual's magnitude below this is a root where the residual touches
/// zero; damped least squares then decides whether a solution lies there.
constexpr double kTouchingResidual = 1e-9;
/// Within this of a branch's end (in ratio² − 1: about 0.1 rad of the elbow's or joint 1's
/// offset angle), intervals of joint 4 are halved down to kNearEndWidth (radians).
constexpr double kNearEnd = 0.004;
constexpr double kNearEndWidth = 1e-2;
/// How much the residual can move per radian of the elbow's or joint 1's offset angle, at most.
constexpr double kSharpSlope = 4.0;
/// Polished solutions whose joints all agree within this (degrees, modulo a turn) are one.
constexpr double kSameSolution = 1e-7;

/// A stretch of joint 4 searched through a parameter x: θ4 = origin + span x, or
/// origin + span x² beside an end (the origin), where a branch moves as √(θ4 − origin).
struct Stretch {
  double origin{0.0};
  double span{0.0};
  bool squared{false};

  double at(double x) const { return origin + span * (squared ? x * x : x); }
};

/// A point of a stretch, one branch's residual there and how far beyond its reach it lies.
struct ScanPoint {
  double x{0.0};
  double f{0.0};
  double beyond{0.0};
};

/// A point of a stretch and the branches there.
struct Point {
  double x{0.0};
  const Residuals* r{nullptr};
};

/// The bend (|second difference| times kBendMargin) of `value` over `before`, `p0`, `p1` and
/// `after` (either may be missing), where `counts` holds; \returns false when neither is there.
template <typename Value, typename Counts>
bool bendOf(const Residuals* before, const Residuals& r0, const Residuals& r1,
            const Residuals* after, Value value, Counts counts, double& bend) {
  bend = 0.0;
  bool known = false;
  if (before != nullptr && counts(*before)) {
    bend = std::abs(value(*before) - 2.0 * value(r0) + value(r1));
    known = true;
  }
  if (after != nullptr && counts(*after)) {
    bend = std::max(bend, std::abs(value(r0) - 2.0 * value(r1) + value(*after)));
    known = true;
  }
  bend *= kBendMargin;
  return known;
}

/// The search of one pose.
class Search {
 public:
  Search(const RobotConfig& robot, const SearchArm& arm, const Mat3& r, const Vec3& p,
         NumericalSolutions& out)
      : robot_(robot), arm_(arm), r_(r), p_(p), terms_(termsOf(arm, r, p)), out_(out) {}

  void run() {
    for (std::size_t i = 0; i < kSearchSamples; ++i)
      residualsAt(arm_, terms_, arm_.samples[i], residuals_[i]);
    std::array<double, 4> ends{};
    const std::size_t endCount = joint1Ends(arm_, terms_, ends);
    constexpr double step = 2.0 * kPi / static_cast<double>(kSearchSamples);
    std::size_t nextEnd = 0;
    for (std::size_t i = 0; i < kSearchSamples; ++i) {
      const Stretch stretch{arm_.samples[i].theta, step, false};
      const Point p0{0.0, &at(i)};
      const Point p1{1.0, &at(i + 1)};
      if (nextEnd == endCount || ends[nextEnd] >= stretch.at(1.0)) {
        searchInterval(stretch, p0, p1, &at(i + kSearchSamples - 1), &at(i + 2), {true, true},
                       kEndDepth);
        continue;
      }
      // Joint 1 ends between the samples: each piece between the samples and the ends is
      // searched from its end(s), where the two joint-1 branches meet.
      double from = stretch.at(0.0);
      const Residuals* atFrom = &at(i);
      for (; nextEnd < endCount && ends[nextEnd] < stretch.at(1.0); ++nextEnd) {
        if (atFrom != nullptr) {
          searchBeside(ends[nextEnd], from, *atFrom, {true, true}, kEndDepth);
        } else {
          const double mid = 0.5 * (from + ends[nextEnd]);
          Residuals atMid;
          residualsAt(arm_, terms_, searchSampleAt(arm_, mid), atMid);
          if (atMid.joint1) {
            searchBeside(from, mid, atMid, {true, true}, kEndDepth);
            searchBeside(ends[nextEnd], mid, atMid, {true, true}, kEndDepth);
          }
        }
        from = ends[nextEnd];
        atFrom = nullptr;
      }
      searchBeside(from, stretch.at(1.0), at(i + 1), {true, true}, kEndDepth);
    }
  }

 private:
  const Residuals& at(std::size_t i) const { return residuals_[i % kSearchSamples]; }

  double residual(std::size_t b, double theta4, bool& valid) const {
    double beyond = 0.0;
    return residual(b, theta4, valid, beyond);
  }

  /// Branch `b`'s residual at `theta4`, whether it exists, and how far beyond its reach it lies.
  double residual(std::size_t b, double theta4, bool& valid, double& beyond) const {
    BranchState s;
    CosSin dir23;
    const SearchSample g = searchSampleAt(arm_, theta4);
    valid = branchAt(arm_, terms_, g, b, s, dir23);
    const double ratio1 = (g.along2 - terms_.along1) * terms_.inverseRho1;
    beyond = std::max(ratio1 * ratio1 - 1.0, s.elbowBeyond);
    return s.f;
  }

  Residuals residualsAtTheta(double theta4) const {
    Residuals r;
    residualsAt(arm_, terms_, searchSampleAt(arm_, theta4), r);
    return r;
  }

  /// Searches the joint-1 branches in `groups` between p0 and p1 of `stretch`, with the points
  /// before and after them (either may be missing) for the bend; ends found on the way are
  /// searched `depth` levels deep.
  void searchInterval(const Stretch& stretch, const Point& p0, const Point& p1,
                      const Residuals* before, const Residuals* after,
                      const std::array<bool, 2>& groups, int depth) {
    const Residuals& r0 = *p0.r;
    const Residuals& r1 = *p1.r;
    for (std::size_t i1 = 0; i1 < 2; ++i1) {
      if (!groups[i1])
        continue;
      if (r0.valid[i1] != r1.valid[i1]) {
        const bool first = r0.valid[i1];
        if (depth > 0)
          searchEnd(i1, stretch.at(first ? p0.x : p1.x), stretch.at(first ? p1.x : p0.x),
                    first ? r0 : r1, depth);
        continue;
      }
      if (depth > 0 && searchGap(i1, stretch, p0, p1, before, after, depth))
        continue;
      if (!r0.valid[i1])
        continue;
      for (const std::size_t b : {i1, i1 + 2}) {
        double bend = 0.0;
        const bool known = bendOf(
            before, r0, r1, after, [b](const Residuals& r) { return r.f[b]; },
            [i1](const Residuals& r) { return r.valid[i1]; }, bend);
        scan(b, stretch, {p0.x, r0.f[b], r0.beyond[i1]}, {p1.x, r1.f[b], r1.beyond[i1]}, bend,
             !known);
      }
    }
  }

  /// Where joint-1 branch `i1` exists at both p0 and p1 or at neither, looks for a gap (or an
  /// island) between them as scan looks for roots, with how far the branch lies beyond its
  /// reach in place of the residual, and searches the ends of one found. \returns whether it
  /// found one.
  bool searchGap(std::size_t i1, const Stretch& stretch, const Point& p0, const Point& p1,
                 const Residuals* before, const Residuals* after, int depth) {
    double bend = 0.0;
    const bool known = bendOf(
        before, *p0.r, *p1.r, after, [i1](const Residuals& r) { return r.beyond[i1]; },
        [](const Residuals& r) { return r.joint1; }, bend);
    double x = 0.0;
    Residuals atX;
    if (!findFlip(i1, stretch, p0.x, *p0.r, p1.x, *p1.r, bend, !known, x, atX))
      return false;
    if (p0.r->valid[i1]) {
      searchEnd(i1, stretch.at(p0.x), stretch.at(x), *p0.r, depth);
      searchEnd(i1, stretch.at(p1.x), stretch.at(x), *p1.r, depth);
    } else {
      searchEnd(i1, stretch.at(x), stretch.at(p0.x), atX, depth);
      searchEnd(i1, stretch.at(x), stretch.at(p1.x), atX, depth);
    }
    return true;
  }

  /// A point x between x0 and x1 where joint-1 branch `i1` exists or not unlike at both x0 and
  /// x1 (residuals r0 and r1), into `x` and `atX`; \returns whether there is one. Halves first
  /// when `split`.
  bool findFlip(std::size_t i1, const Stretch& stretch, double x0, const Residuals& r0, double x1,
                const Residuals& r1, double bend, bool split, double& x, Residuals& atX) const {
    const double width = x1 - x0;
    if (!split &&
        (!r0.joint1 || !r1.joint1 ||
         std::min(std::abs(r0.beyond[i1]), std::abs(r1.beyond[i1])) > 0.125 * bend * width * width))
      return false;
    if (std::abs(stretch.at(x1) - stretch.at(x0)) < kFinestInterval)
      return false;
    const double xm = 0.5 * (x0 + x1);
    const Residuals atMid = residualsAtTheta(stretch.at(xm));
    if (atMid.valid[i1] != r0.valid[i1]) {
      x = xm;
      atX = atMid;
      return true;
    }
    bend = std::max(bend, kBendMargin * 4.0 *
                              std::abs(r0.beyond[i1] - 2.0 * atMid.beyond[i1] + r1.beyond[i1]) /
                              (width * width));
    return findFlip(i1, stretch, x0, r0, xm, atMid, bend, false, x, atX) ||
           findFlip(i1, stretch, xm, atMid, x1, r1, bend, false, x, atX);
  }

  /// Where joint-1 branch `i1` exists at `inside` (residuals `atInside`) but not at `outside`:
  /// finds its end between them and searches its elbows beside it.
  void searchEnd(std::size_t i1, double inside, double outside, const Residuals& atInside,
                 int depth) {
    Residuals atEnd = atInside;
    const double end = findEnd(i1, inside, outside, atEnd);
    std::array<bool, 2> groups{};
    groups[i1] = true;
    searchBeside(end, inside, atInside, groups, depth - 1, &atEnd);
  }

  /// The end of joint-1 branch `i1` between `inside`, where it exists, and `outside`, where it
  /// does not; the residuals there into `atEnd`.
  double findEnd(std::size_t i1, double inside, double outside, Residuals& atEnd) const {
    // Regula falsi (Illinois) on how far the branch lies beyond its reach, halving where that
    // is not finite; `end` always where the branch exists.
    double end = inside;
    double fIn = atEnd.beyond[i1];
    double fOut = residualsAtTheta(outside).beyond[i1];
    int side = 0;
    for (int k = 0; k < kPolishSteps && std::abs(outside - end) > kEndWidth; ++k) {
      double x = 0.5 * (end + outside);
      if (std::isfinite(fIn) && std::isfinite(fOut) && fIn < 0.0 && fOut > 0.0) {
        const double falsi = (end * fOut - outside * fIn) / (fOut - fIn);
        if (falsi > std::min(end, outside) && falsi < std::max(end, outside))
          x = falsi;
      }
      const Residuals r = residualsAtTheta(x);
      if (r.valid[i1]) {
        end = x;
        atEnd = r;
        fIn = std::min(r.beyond[i1], -0.0);
        if (side < 0)
          fOut *= 0.5;
        side = -1;
      } else {
        outside = x;
        fOut = std::max(r.beyond[i1], 0.0);
        if (side > 0)
          fIn *= 0.5;
        side = 1;
      }
    }
    return end;
  }

  /// Searches the joint-1 branches in `groups` from the end `end` (residuals `atEnd`, computed
  /// when not given) to `toward` (residuals `atToward`), evenly in the square root of the
  /// distance to the end, `depth` levels deep.
  void searchBeside(double end, double toward, const Residuals& atToward,
                    const std::array<bool, 2>& groups, int depth,
                    const Residuals* atEnd = nullptr) {
    if (!atToward.joint1)
      return;  // joint 1 does not reach on this side of the end
    // The stretch in x = k at its k-th sample, so that the bend is in units of a sample.
    const Stretch part{end, (toward - end) / (kEndSteps * kEndSteps), true};
    std::array<Residuals, kEndSamples + 1> f{};
    f[0] = atEnd != nullptr ? *atEnd : residualsAtTheta(end);
    f[kEndSamples] = atToward;
    bool any = f[0].valid[0] || f[0].valid[1] || atToward.valid[0] || atToward.valid[1];
    for (std::size_t k = 1; k < kEndSamples; ++k) {
      f[k] = residualsAtTheta(part.at(static_cast<double>(k)));
      any = any || f[k].valid[0] || f[k].valid[1] || f[k].joint1;
    }
    if (!any)
      return;
    for (std::size_t k = 0; k < kEndSamples; ++k) {
      const double x = static_cast<double>(k);
      searchInterval(part, {x, &f[k]}, {x + 1.0, &f[k + 1]}, k > 0 ? &f[k - 1] : nullptr,
                     k + 1 < kEndSamples ? &f[k + 2] : nullptr, groups, depth);
    }
    // The two branches that meet at the end share a root there.
    for (std::size_t b = 0; b < 4; ++b)
      if (groups[b % 2] && f[0].valid[b % 2] && std::abs(f[0].f[b]) < kTouchingResidual)
        accept(b, end);
  }

  /// Searches branch `b` over the part of `stretch` between p0 and p1, whose residual bends by at
  /// most `bend` (|f''| in units of x); halves it first when `split`. Near an end of the branch
  /// (within kNearEnd of it in ratio² − 1) its joint 1 or elbow moves as the square root of the
  /// distance to the end, faster than the samples around show: there it halves down to
  /// kNearEndWidth whatever the bend.
  void scan(std::size_t b, const Stretch& stretch, const ScanPoint& p0, const ScanPoint& p1,
            double bend, bool split) {
    if (p0.f == 0.0 || std::signbit(p0.f) != std::signbit(p1.f)) {
      solveBracket(b, stretch.at(p0.x), stretch.at(p1.x), p0.f, p1.f);
      return;
    }
    // Bending by at most `bend`, the residual stays within bend · width² / 8 of its chord.
    const double width = p1.x - p0.x;
    const double span = std::abs(stretch.at(p1.x) - stretch.at(p0.x));
    const double nearest = std::min(std::abs(p0.f), std::abs(p1.f));
    if (!split && nearest > 0.125 * bend * width * width) {
      // Near an end the joint's offset angle γ = √(1 − ratio²) = √(−beyond) moves fast while it
      // is small: by about its value at the nearer end of the interval (at the farther one where
      // both are near, for the branch may come nearer between them), and the residual by at
      // most kSharpSlope times that.
      const double u0 = std::max(0.0, -p0.beyond);
      const double u1 = std::max(0.0, -p1.beyond);
      if (stretch.squared || span <= kNearEndWidth || std::min(u0, u1) >= kNearEnd)
        return;
      const double sharp = std::max(u0, u1) < kNearEnd ? std::max(u0, u1) : std::min(u0, u1);
      if (nearest >= kSharpSlope * std::sqrt(sharp))
        return;
    }
    if (span < kFinestInterval) {
      minimize(b, stretch.at(p0.x), stretch.at(p1.x), p0.f);
      return;
    }
    ScanPoint mid{0.5 * (p0.x + p1.x), 0.0, 0.0};
    bool valid = false;
    mid.f = residual(b, stretch.at(mid.x), valid, mid.beyond);
    if (!valid) {
      searchGapEnds(b, stretch.at(p0.x), stretch.at(p1.x), stretch.at(mid.x));
      return;
    }
    bend =
        std::max(bend, kBendMargin * 4.0 * std::abs(p0.f - 2.0 * mid.f + p1.f) / (width * width));
    scan(b, stretch, p0, mid, bend, false);
    scan(b, stretch, mid, p1, bend, false);
  }

  /// Branch `b` exists at `lo` and `hi` but not at `gap` between them: searches beside both
  /// ends of the gap.
  void searchGapEnds(std::size_t b, double lo, double hi, double gap) {
    for (const double inside : {lo, hi}) {
      const Residuals atInside = residualsAtTheta(inside);
      if (atInside.valid[b % 2])
        searchEnd(b % 2, inside, gap, atInside, 1);
    }
  }

  /// The root of branch `b` between `lo` and `hi`, where its residual changes sign (`fLo` and
  /// `fHi`), by the Illinois variant of regula falsi: superlinear, and it never leaves the
  /// bracket.
  void solveBracket(std::size_t b, double lo, double hi, double fLo, double fHi) {
    int side = 0;
    for (int k = 0; k < kPolishSteps && std::min(std::abs(fLo), std::abs(fHi)) > kRootResidual;
         ++k) {
      const double x = (lo * fHi - hi * fLo) / (fHi - fLo);
      if (!(x > std::min(lo, hi) && x < std::max(lo, hi)))
        break;  // no double left between the ends
      bool valid = false;
      const double f = residual(b, x, valid);
      if (!valid) {
        searchGapEnds(b, lo, hi, x);
        return;
      }
      if (std::signbit(f) == std::signbit(fLo)) {
        lo = x;
        fLo = f;
        if (side < 0)
          fHi *= 0.5;
        side = -1;
      } else {
        hi = x;
        fHi = f;
        if (side > 0)
          fLo *= 0.5;
        side = 1;
      }
    }
    accept(b, std::abs(fLo) <= std::abs(fHi) ? lo : hi);
  }

  /// Looks for a root of branch `b` between `lo` and `hi` where its residual (of the sign of
  /// `fLo` at both ends) comes nearest zero: golden section on the residual times that sign.
  void minimize(std::size_t b, double lo, double hi, double fLo) {
    constexpr double golden = 0.6180339887498949;
    const double sign = std::signbit(fLo) ? -1.0 : 1.0;
    const double first = lo;
    const double last = hi;
    double x1 = hi - golden * (hi - lo);
    double x2 = lo + golden * (hi - lo);
    bool valid1 = false;
    bool valid2 = false;
    double f1 = sign * residual(b, x1, valid1);
    double f2 = sign * residual(b, x2, valid2);
    for (int k = 0; k < kPolishSteps && valid1 && valid2 && f1 > 0.0 && f2 > 0.0 && x1 < x2; ++k) {
      if (f1 < f2) {
        hi = x2;
        x2 = x1;
        f2 = f1;
        x1 = hi - golden * (hi - lo);
        f1 = sign * residual(b, x1, valid1);
      } else {
        lo = x1;
        x1 = x2;
        f1 = f2;
        x2 = lo + golden * (hi - lo);
        f2 = sign * residual(b, x2, valid2);
      }
    }
    if (!valid1 || !valid2)
      return;
    const double x = f1 < f2 ? x1 : x2;
    const double f = std::min(f1, f2);
    if (f <= 0.0) {
      // The residual crosses zero: a root on either side of x.
      solveBracket(b, first, x, fLo, sign * f);
      bool valid = false;
      const double fLast = residual(b, last, valid);
      if (valid)
        solveBracket(b, x, last, sign * f, fLast);
    } else if (f < kTouchingResidual) {
      accept(b, x);
    }
  }

  /// Completes branch `b` at joint 4 = `theta4`, checks (or polishes) it and adds it.
  void accept(std::size_t b, double theta4) {
    if (out_.count == out_.solutions.size())
      return;
    const SearchSample g = searchSampleAt(arm_, theta4);
    BranchState s;
    CosSin dir23;
    if (!branchAt(arm_, terms_, g, b, s, dir23))
      return;
    const Vec3& k2 = arm_.axes[1];
    dir23 = dir23.normalized();
    const Vec3 w6 = rotateBack(arm_.axes[3], g.dir4, rotateBack(k2, dir23, s.w));
    const Vec3 w5 =
        terms_.rm.transposeTimes(rotate(arm_.axes[0], s.joint1, rotate(k2, dir23, g.axis5)));
    const std::array<double, 2>& x = s.target;
    const double joint2 =
        std::atan2(s.reach[0] * x[1] - s.reach[1] * x[0], s.reach[0] * x[0] + s.reach[1] * x[1]);
    std::array<double, 6> joints{std::atan2(s.joint1.s, s.joint1.c),
                                 joint2,
                                 arm_.axis3Sign * std::atan2(s.elbow.s, s.elbow.c),
                                 theta4,
                                 turnAbout(arm_.axes[4], arm_.axes[5], w6),
                                 turnAbout(arm_.axes[5], w5, arm_.axes[4])};
    for (double& j : joints)
      j = RadToDeg(j);
    // Damped least squares only confirms a root polished to the last bit; it polishes one where
    // the residual merely touches zero.
    if (!solveNumerically(robot_, r_, p_, joints))
      return;
    // A root reached from both sides of a sample, or two branches that meet: the same solution.
    for (std::size_t k = 0; k < out_.count; ++k) {
      double d = 0.0;
      for (std::size_t i = 0; i < 6; ++i) {
        // Both within about ±180 degrees: at most one turn apart.
        const double apart = std::abs(joints[i] - out_.solutions[k][i]);
        d = std::max(d, std::min(apart, std::abs(360.0 - apart)));
      }
      if (d < kSameSolution)
        return;
    }
    out_.solutions[out_.count++] = joints;
  }

  const RobotConfig& robot_;
  const SearchArm& arm_;
  const Mat3& r_;
  const Vec3& p_;
  const PoseTerms terms_;
  NumericalSolutions& out_;
  std::array<Residuals, kSearchSamples> residuals_{};
};

}  // namespace

void solveBySearch(const RobotConfig& robot, const SearchArm& arm, const Mat3& r, const Vec3& p,
                   NumericalSolutions& out) {
  out.count = 0;
  Search(robot, arm, r, p, out).run();
}

}  // namespace zor::rob::detail
