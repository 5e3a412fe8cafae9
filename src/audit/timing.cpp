// Time-optimal timing along a sampled path by reachability analysis.
//
// The path is parameterised by σ, which grows by hypot(ΔL, Δθ · 1 mm/degree) between samples (L
// the tool's arc length, θ its orientation), so that a pure reorientation moves too. With
// b = σ̇² and a = σ̈, a joint's speed is q'(σ) σ̇ and its acceleration q'(σ) a + q''(σ) b: every
// speed limit bounds b, every acceleration limit is a pair of linear inequalities in (a, b), and
// b grows by 2 a Δσ over a step of constant a. The derivatives come from finite differences on
// the samples (second order inside, one-sided at the ends).
//
// The backward pass computes the controllable set of each sample, [0, hi]: the path speeds from
// which the rest of the path can still be followed to rest at its end. Over a step, the
// acceleration a is checked at both of its samples (at the second with the b it leads to), so no
// limit is broken where the step's acceleration meets the next sample's curvature. Each step is
// a linear program in (a, b): hi is the largest b for which the bounds on a still overlap. The
// overlap, the smallest upper bound on a less the largest lower one, is concave in b, so Newton
// steps on its active pair of bounds reach hi from above in a few steps without a threshold on
// how small a coefficient may be. hi is then lowered to the speed from which the step leaves
// fastest (entryBound): near a point where a joint's q' passes zero (a zero-inertia point, as
// where joints 4 and 6 swing round near the wrist singularity), arriving faster would only
// mean leaving slower, down to rest. The forward pass then takes the largest acceleration that
// stays in the next controllable set. Samples marked at rest (kinks) get hi = 0.

#include "audit/timing.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "zor/rob/angles.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob::audit {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
/// Neighbouring samples closer than this (mm of σ) are the same point.
constexpr double kSamePoint = 1e-9;
/// The weight of a degree of reorientation in σ (mm per degree).
constexpr double kMmPerDeg = 1.0;
/// A bound counts as reached within this share of it.
constexpr double kAtBound = 1e-6;
/// Newton steps at most when a controllable set is computed (each reaches a new pair of
/// bounds; a step has at most 30 of them).
constexpr int kMaxNewtonSteps = 64;
/// Bisection steps at most where Newton stalls on rounding.
constexpr int kMaxBisections = 80;
constexpr double kDegPerRad = 180.0 / kPi;

/// The channels of the arc length and the orientation.
constexpr std::size_t kLength = 6;
constexpr std::size_t kAngle = 7;

/// The row α a + β b ≤ γ; `source` is the joint (0 to 5) or 6 for the tool, -1 for the next
/// controllable set.
struct Row {
  double alpha{0.0};
  double beta{0.0};
  double gamma{0.0};
  int source{-1};
};

/// The largest b, and the pair of rows that sets it (-1 when a cap does).
struct Reach {
  double b{0.0};
  int lower{-1};
  int upper{-1};
};

/// The overlap of the bounds on a at speed² b: the smallest upper bound less the largest lower
/// one, with the rows that set them.
struct Overlap {
  double amax{kInf};
  double amin{-kInf};
  int upper{-1};
  int lower{-1};
  bool empty() const {
    return lower >= 0 && upper >= 0 &&
           amin > amax + 1e-12 * std::max({1.0, std::abs(amax), std::abs(amin)});
  }
};

Overlap overlapAt(const Row* rows, std::size_t count, double b) {
  Overlap o;
  for (std::size_t i = 0; i < count; ++i) {
    const Row& w = rows[i];
    if (w.alpha == 0.0)
      continue;
    const double a = (w.gamma - w.beta * b) / w.alpha;
    if (w.alpha > 0.0 && a < o.amax) {
      o.amax = a;
      o.upper = static_cast<int>(i);
    } else if (w.alpha < 0.0 && a > o.amin) {
      o.amin = a;
      o.lower = static_cast<int>(i);
    }
  }
  return o;
}

/// \returns the largest b in [0, cap] for which some a satisfies every row (β b ≤ γ for rows
/// free of a), and the pair of rows that sets it.
Reach largestFeasible(const Row* rows, std::size_t count, double cap) {
  Reach r{cap, -1, -1};
  for (std::size_t i = 0; i < count; ++i)
    if (rows[i].alpha == 0.0 && rows[i].beta > 0.0)
      r.b = std::min(r.b, rows[i].gamma / rows[i].beta);
  r.b = std::max(r.b, 0.0);
  for (int step = 0; step < kMaxNewtonSteps; ++step) {
    const Overlap o = overlapAt(rows, count, r.b);
    if (!o.empty())
      return r;
    // The b where this pair of bounds meets: the root of the overlap's tangent, which lies at
    // or above the answer.
    const Row& l = rows[o.lower];
    const Row& u = rows[o.upper];
    const double k = l.beta * u.alpha - u.beta * l.alpha;
    const double rhs = l.gamma * u.alpha - u.gamma * l.alpha;
    r.lower = o.lower;
    r.upper = o.upper;
    if (!(k > 0.0) || !(rhs / k < r.b))
      break;  // rounding: no progress, so bisect below
    r.b = std::max(rhs / k, 0.0);
  }
  // Rounding kept Newton from closing in: bisection between rest (always feasible: a = 0)
  // and the last b.
  double good = 0.0, bad = r.b;
  for (int step = 0; step < kMaxBisections && bad - good > 1e-15 * bad; ++step) {
    const double mid = 0.5 * (good + bad);
    (overlapAt(rows, count, mid).empty() ? bad : good) = mid;
  }
  r.b = good;
  return r;
}

/// \returns the b in [0, `hi`] from which the step reaches the highest next b (b + reach·a with
/// a at its largest): the maximum of a concave piecewise-linear function, found by walking its
/// pieces down from `hi`.
double bestArrival(const Row* rows, std::size_t count, double reach, double hi) {
  // Each upper bound on a gives the next b as c + s·b.
  const auto line = [&](const Row& w) {
    return std::pair{reach * w.gamma / w.alpha, 1.0 - reach * w.beta / w.alpha};
  };
  double b = hi;
  for (std::size_t step = 0; step <= count; ++step) {
    // The piece that is lowest just below b: the least value, and among ties the steepest
    // rise, which falls fastest as b decreases.
    double value = kInf, slope = -kInf;
    for (std::size_t i = 0; i < count; ++i) {
      if (!(rows[i].alpha > 0.0))
        continue;
      const auto [c, s] = line(rows[i]);
      const double v = c + s * b;
      if (v < value || (v == value && s > slope)) {
        value = v;
        slope = s;
      }
    }
    if (!(slope < 0.0))
      return b;  // the next b grows with b up to here
    // Left to the nearest corner where a piece of larger slope takes over.
    double corner = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
      if (!(rows[i].alpha > 0.0))
        continue;
      const auto [c, s] = line(rows[i]);
      if (s > slope) {
        const double at = b - (c + s * b - value) / (s - slope);
        if (at < b)
          corner = std::max(corner, at);
      }
    }
    if (!(corner > 0.0))
      return 0.0;
    b = corner;
  }
  return b;
}

/// \returns the largest b at which the step from a sample may begin, of the `feasible` ones.
///
/// Near a zero-inertia point a joint's row a ≤ (γ − β b)/α has a small α: past the speed its
/// curvature allows, the step must brake ever harder to keep that joint's acceleration, so the
/// faster the arm arrives, the slower it leaves, down to rest at the next sample. A greedy
/// forward pass that arrived at the largest feasible b would stop there. So the bound is the
/// b that leaves fastest (bestArrival), or, when that is lower, the largest b the step can hold
/// without braking (a = 0 within every upper bound): the grid's form of the speed limit that
/// the point's curvature sets.
double entryBound(const Row* rows, std::size_t count, double reach, double feasible) {
  double hold = feasible;
  for (std::size_t i = 0; i < count; ++i)
    if (rows[i].alpha > 0.0 && rows[i].beta > 0.0)
      hold = std::min(hold, rows[i].gamma / rows[i].beta);
  return std::max(hold, bestArrival(rows, count, reach, feasible));
}

/// Appends the two rows |c a + d b| ≤ e of each limit at `node`; at the step's far end
/// (`reach` = 2Δσ) the acceleration there is c a + d (b + 2Δσ a).
std::size_t addLimitRows(const TimingNode& node, const TimingLimits& limits, double reach,
                         Row* out) {
  std::size_t n = 0;
  for (std::size_t j = 0; j < 7; ++j) {
    const std::size_t channel = j < 6 ? j : kLength;
    const double c = node.d1[channel] + reach * node.d2[channel];
    const double d = node.d2[channel];
    if (c == 0.0 && d == 0.0)
      continue;
    const double e = j < 6 ? limits.jointAcceleration[j] : limits.tcpAcceleration;
    out[n++] = {c, d, e, static_cast<int>(j)};
    out[n++] = {-c, -d, e, static_cast<int>(j)};
  }
  return n;
}

constexpr std::size_t kMaxRows = 30;

/// The rows of the step from `a` to `b` (Δσ apart) into the controllable bound `hi`.
std::size_t stepRows(const TimingNode& a, const TimingNode& b, const TimingLimits& limits,
                     double hi, Row* rows) {
  const double reach = 2.0 * (b.sigma - a.sigma);
  std::size_t n = addLimitRows(a, limits, 0.0, rows);
  n += addLimitRows(b, limits, reach, rows + n);
  rows[n++] = {reach, 1.0, hi, -1};
  rows[n++] = {-reach, -1.0, 0.0, -1};
  return n;
}

/// Derivatives by finite differences on the uneven grid, for the nodes of a window of the path:
/// `nodes[0]` is node `first` of `n`. A node at an end of the window that is not an end of the path
/// lacks a neighbour and is left without (it only serves as the neighbour of the next).
void differentiate(std::vector<TimingNode>& nodes, std::size_t first, std::size_t n) {
  const std::size_t m = nodes.size();
  for (std::size_t k = 0; k < m; ++k) {
    const std::size_t node = first + k;
    TimingNode& p = nodes[k];
    const bool pathEnd = node == 0 || node + 1 == n;
    if (!pathEnd && (k == 0 || k + 1 == m))
      continue;
    for (std::size_t c = 0; c < kTimingChannels; ++c) {
      if (pathEnd) {
        const TimingNode& a = nodes[node == 0 ? 0 : k - 1];
        const TimingNode& b = nodes[node == 0 ? 1 : k];
        p.d1[c] = (b.value[c] - a.value[c]) / (b.sigma - a.sigma);
        continue;
      }
      const TimingNode& a = nodes[k - 1];
      const TimingNode& b = nodes[k + 1];
      const double h0 = p.sigma - a.sigma;
      const double h1 = b.sigma - p.sigma;
      const double s0 = (p.value[c] - a.value[c]) / h0;
      const double s1 = (b.value[c] - p.value[c]) / h1;
      p.d1[c] = (s0 * h1 + s1 * h0) / (h0 + h1);
      p.d2[c] = 2.0 * (s1 - s0) / (h0 + h1);
    }
  }
  if (n >= 3) {
    if (first == 0)
      nodes[0].d2 = nodes[1].d2;
    if (first + m == n)
      nodes[m - 1].d2 = nodes[m - 2].d2;
  }
}

/// The speed caps of a node: the programmed speeds and the joints' speed limits.
void capSpeed(TimingNode& p, const TimingLimits& limits) {
  const auto cap = [&p](double limit, double rate, TimingLimit kind, int joint) {
    if (rate == 0.0)
      return;
    const double b = (limit / rate) * (limit / rate);
    if (kind == TimingLimit::tcpSpeed || kind == TimingLimit::orientationSpeed)
      p.programmedCap = std::min(p.programmedCap, b);
    if (b < p.speedCap) {
      p.speedCap = b;
      p.speedLimit = kind;
      p.speedJoint = joint;
    }
  };
  cap(p.vTcp, std::abs(p.d1[kLength]), TimingLimit::tcpSpeed, 0);
  cap(p.vOri, std::abs(p.d1[kAngle]), TimingLimit::orientationSpeed, 0);
  for (std::size_t j = 0; j < 6; ++j)
    cap(limits.jointSpeed[j], std::abs(p.d1[j]), TimingLimit::jointSpeed, static_cast<int>(j) + 1);
}

/// The joint (1-based, 0 for the tool) of the pair of rows that caps a speed: of the two
/// acceleration limits that meet there, the one whose curvature term takes the larger share.
int reducingJointOf(const Row* rows, const Reach& r, const TimingNode& p) {
  if (r.lower < 0)
    return p.speedJoint;
  const Row& l = rows[r.lower];
  const Row& u = rows[r.upper];
  const Row& w = std::abs(l.beta) / l.gamma >= std::abs(u.beta) / u.gamma ? l : u;
  return w.source < 6 ? w.source + 1 : 0;
}

/// The joint (1-based) whose speed along the path jumps most at the kink `p` between `a` and `b`,
/// in units of its acceleration limit; 0 when none does.
int kinkedJointOf(const TimingNode& a, const TimingNode& p, const TimingNode& b,
                  const TimingLimits& limits) {
  int joint = 0;
  double largest = 0.0;
  for (std::size_t j = 0; j < 6; ++j) {
    const double before = (p.value[j] - a.value[j]) / (p.sigma - a.sigma);
    const double after = (b.value[j] - p.value[j]) / (b.sigma - p.sigma);
    const double jump = std::abs(after - before) / limits.jointAcceleration[j];
    if (jump > largest) {
      largest = jump;
      joint = static_cast<int>(j) + 1;
    }
  }
  return joint;
}

/// The limit at its bound where the step from `p` takes acceleration `a` at speed² `b`.
void bindingLimit(const Row* rows, std::size_t count, const TimingNode& p, double a, double b,
                  PointTiming& out) {
  if (b >= p.speedCap * (1.0 - kAtBound)) {
    out.limit = p.speedLimit;
    out.limitJoint = p.speedJoint;
    return;
  }
  double least = kAtBound;
  for (std::size_t i = 0; i < count; ++i) {
    const Row& w = rows[i];
    if (w.source < 0)
      continue;
    const double slack = (w.gamma - w.alpha * a - w.beta * b) / w.gamma;
    if (slack <= least) {
      least = slack;
      out.limit = w.source < 6 ? TimingLimit::jointAcceleration : TimingLimit::tcpAcceleration;
      out.limitJoint = w.source < 6 ? w.source + 1 : 0;
    }
  }
}

}  // namespace

std::vector<double> ControllableBounds(const std::vector<TimingNode>& nodes, std::size_t first,
                                       std::size_t from, std::size_t top, double hiTop,
                                       const TimingLimits& limits) {
  std::vector<double> hi(top - from + 1, 0.0);
  hi[top - from] = hiTop;
  std::array<Row, kMaxRows> rows{};
  for (std::size_t k = top; k-- > from;) {
    const TimingNode& p = nodes[k - first];
    const TimingNode& q = nodes[k + 1 - first];
    if (p.atRest)
      continue;
    const std::size_t count = stepRows(p, q, limits, hi[k + 1 - from], rows.data());
    const double feasible = largestFeasible(rows.data(), count, p.speedCap).b;
    hi[k - from] = entryBound(rows.data(), count, 2.0 * (q.sigma - p.sigma), feasible);
  }
  return hi;
}

void TimeNodes(const std::vector<TimingNode>& nodes, std::size_t first, std::size_t from,
               std::size_t to, std::size_t n, const std::vector<double>& hi,
               const TimingLimits& limits, TimingCarry& carry, const NodeTimings& out) {
  const auto node = [&](std::size_t k) -> const TimingNode& { return nodes[k - first]; };
  // The forward pass; each node's timing is then made whole and handed over, not held.
  struct Step {
    double b{0.0};
    double acc{0.0};
    double time{0.0};
    TimingLimit limit{TimingLimit::none};
    int limitJoint{0};
  };
  std::vector<Step> steps(to - from);
  std::array<Row, kMaxRows> rows{};
  for (std::size_t k = from; k < to; ++k) {
    Step& s = steps[k - from];
    s.b = carry.b;
    s.time = carry.time;
    if (k + 1 == n) {
      s.acc = carry.acceleration;
      s.limit = carry.limit;
      s.limitJoint = carry.limitJoint;
      break;
    }
    const TimingNode& p = node(k);
    const double reach = 2.0 * (node(k + 1).sigma - p.sigma);
    const std::size_t count = stepRows(p, node(k + 1), limits, hi[k - from + 1], rows.data());
    const Overlap o = overlapAt(rows.data(), count, s.b);
    const double next = std::clamp(s.b + reach * o.amax, 0.0, hi[k - from + 1]);
    s.acc = (next - s.b) / reach;
    PointTiming binding;
    bindingLimit(rows.data(), count, p, s.acc, s.b, binding);
    s.limit = binding.limit;
    s.limitJoint = binding.limitJoint;
    const double speeds = std::sqrt(s.b) + std::sqrt(next);
    carry = {next, s.time + (speeds > 0.0 ? reach / speeds : 0.0), s.acc, s.limit, s.limitJoint};
  }
  for (std::size_t k = from; k < to; ++k) {
    const Step& s = steps[k - from];
    const TimingNode& p = node(k);
    PointTiming t;
    t.time = s.time;
    t.limit = s.limit;
    t.limitJoint = s.limitJoint;
    const double v = std::sqrt(s.b);
    for (std::size_t j = 0; j < 6; ++j) {
      t.jointSpeeds[j] = p.d1[j] * v;
      t.jointAccelerations[j] = p.d1[j] * s.acc + p.d2[j] * s.b;
    }
    t.tcpSpeed = std::abs(p.d1[kLength]) * v;
    t.speedShare = std::isfinite(p.programmedCap) ? std::sqrt(s.b / p.programmedCap) : 0.0;
    if (p.atRest) {
      t.allowedShare = 0.0;
      t.reducingJoint =
          k == 0 || k + 1 == n ? 0 : kinkedJointOf(node(k - 1), p, node(k + 1), limits);
    } else {
      // The highest speed the limits allow here, whatever comes before or after.
      const std::size_t count = addLimitRows(p, limits, 0.0, rows.data());
      const Reach allowed = largestFeasible(rows.data(), count, p.speedCap);
      if (std::isfinite(p.programmedCap) && allowed.b < p.programmedCap * (1.0 - kAtBound)) {
        t.allowedShare = std::sqrt(allowed.b / p.programmedCap);
        t.reducingJoint = reducingJointOf(rows.data(), allowed, p);
      }
    }
    out(k, t);
  }
}

void PrepareNodes(std::vector<TimingNode>& nodes, std::size_t first, std::size_t n,
                  const TimingLimits& limits) {
  differentiate(nodes, first, n);
  for (TimingNode& p : nodes)
    capSpeed(p, limits);
}

bool NodeBuilder::add(const TimingPoint& p, std::vector<TimingNode>& out) {
  if (points > 0) {
    const double dl = (p.tcp.pos - previous.pos).norm();
    const double dt = Rotation::AngularDistance(previous.orient, p.tcp.orient) * kDegPerRad;
    const double ds = std::hypot(dl, dt * kMmPerDeg);
    previous = p.tcp;
    ++points;
    if (ds <= kSamePoint) {
      // Where two parts meet, the slower programmed speeds hold.
      TimingNode& same = out.back();
      same.vTcp = std::min(same.vTcp, p.vTcp);
      same.vOri = std::min(same.vOri, p.vOri);
      same.atRest = same.atRest || p.atRest;
      return false;
    }
    length += dl;
    angle += dt;
    sigma += ds;
  } else {
    previous = p.tcp;
    ++points;
  }
  // Made in place: a copy from the stack would wait for its own stores.
  TimingNode& n = out.emplace_back();
  n.sigma = sigma;
  for (std::size_t j = 0; j < 6; ++j)
    n.value[j] = p.joints.values[j];
  n.value[kLength] = length;
  n.value[kAngle] = angle;
  n.vTcp = p.vTcp;
  n.vOri = p.vOri;
  n.atRest = p.atRest;
  ++nodes;
  return true;
}

}  // namespace zor::rob::audit
