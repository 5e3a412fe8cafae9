#include "reach/closed_form_reach.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "robot/sincos.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/batch.hpp"
#include "zor/rob/inverse_kinematics.hpp"

namespace zor::rob::detail {

namespace {

/// An estimate's error relative to the cube of the arm's size, generously: the estimate's root
/// near the shoulder singularity and the snapping of the closed form's stretched branches move it
/// by at most about 5e-7 of the size times the links, the determinant's factorisation by about
/// 1e-15 of the cube. A larger bound only computes more exact values.
constexpr double kEstimateError = 1e-6;

/// \returns a bound (mm) on the distance from the base origin of every joint axis point and of
/// the wrist centre in any posture: each link is at most as long as its ends' distances from
/// the origin together.
double armSize(const RobotConfig& robot, const ClosedFormArm& arm) {
  double size = 1.0 + robot.flangeHome.translation.norm() + arm.wristInFlange.norm();
  for (const PosTemplate<double>& p : robot.jointPoints)
    size += 2.0 * p.toVec3().norm();
  return size;
}

}  // namespace

std::optional<ClosedFormReach> ClosedFormReach::For(const RobotConfig& robot,
                                                    std::span<const Orient> orientations,
                                                    const ReachOptions& options) {
  const std::optional<ClosedFormQueries> queries = ClosedFormQueries::For(robot);
  if (!queries)
    return std::nullopt;
  ClosedFormReach reach(*queries, options);
  // The flange pose of a tool centre point at p is p + offset with the rotation of the
  // orientation: FlangePoseOfTarget adds p last, to terms of the orientation alone.
  static const WObjData kBaseFrame{};
  for (const Orient& o : orientations) {
    const Pose flange = FlangePoseOfTarget(Pose(Pos{}, o), options.tool, kBaseFrame);
    const Orient& f = flange.orient;
    reach.flanges_.push_back({rotationMatrix(f.q1, f.q2, f.q3, f.q4), flange.pos.toVec3()});
  }
  reach.linkProduct_ = queries->arm.linkProduct;
  const double size = armSize(robot, queries->arm);
  reach.tolerance_ = 2.0 * kEstimateError * size * size * size;
  return reach;
}

void ClosedFormReach::solve(const Flange& flange, const Vec3& tcp, OrientationReach& out) const {
  // (tcp + 0) + offset: the sums FlangePoseOfTarget forms, a −0 included.
  const Vec3 position = (tcp + Vec3{}) + flange.offset;
  BaseSolutions base;
  queries_.solve(flange.rotation, position, out.branches, base);
  const std::vector<ConfData>& configurations = options_->configurations;
  if (!configurations.empty() && out.branches.count > 0) {
    out.target.rotation = flange.rotation;
    out.target.position = position;
    queries_.setLabelling(out.target);
  }
  std::array<std::size_t, 8> counts;
  out.solutions = queries_.countSolutions(out.branches, counts, configurations, &out.target);
  for (std::size_t b = 0; b < out.branches.count; ++b)
    out.estimates[b] = counts[b] > 0 ? 0.0 : -1.0;
  out.estimate = -1.0;
  if (out.solutions > 0 && options_->manipulability)
    estimate(position, flange.rotation, base, out);
}

void ClosedFormReach::estimate(const Vec3& flangePosition, const Mat3& rotation,
                               const BaseSolutions& base, OrientationReach& out) const {
  const ClosedFormArm& arm = queries_.arm;
  // h1 from the terms of joint 1's subproblem: A cos θ1 + B sin θ1 = c leaves the wrist centre
  // at √(A² + B² − c²) from the plane of axis 1 along axis 2.
  const Vec3 u = flangePosition + rotation * arm.wristInFlange - arm.shoulderPoint;
  const double along1 = arm.axes[0].dot(u);
  const double a1 = arm.axes[1].dot(u) - arm.axis12Cosine * along1;
  const double b1 = u.dot(arm.axis12Normal);
  const double c1 = arm.wristAlongAxis2 - arm.axis12Cosine * along1;
  const double h1 = std::sqrt(std::max(0.0, a1 * a1 + b1 * b1 - c1 * c1));
  // sin γ and sin α of every branch at once: the elbow angle is β ± γ, joint 5 is θ0 ± α.
  std::array<double, 16> angles{};
  for (std::size_t s = 0; s < base.count; ++s) {
    angles[s] = arm.axis3Sign * base.solutions[s][2] - arm.linkAngle;
    angles[8 + s] = base.solutions[s][4] - arm.wristZero;
  }
  std::array<double, 16> sines;
  std::array<double, 16> cosines;
  sinCos(angles, sines, cosines);
  const double scale = h1 * linkProduct_;
  for (std::size_t s = 0; s < base.count; ++s) {
    if (out.estimates[s] < 0.0)
      continue;
    out.estimates[s] = scale * std::abs(sines[s]) * std::abs(sines[8 + s]);
    out.estimate = std::max(out.estimate, out.estimates[s]);
  }
}

double ClosedFormReach::exactBest(const OrientationReach& o,
                                  ClosedFormReachScratch& scratch) const {
  // The solutions of the branches that may hold the largest, each branch's turns of joint 6
  // taken once: the space Jacobian does not depend on joint 6.
  scratch.joints.clear();
  for (std::size_t b = 0; b < o.branches.count; ++b) {
    if (o.estimates[b] < 0.0 || o.estimates[b] < o.estimate - tolerance_)
      continue;
    queries_.forEachSolutionButTurnsOf6(o.branches.joints[b], options_->configurations, &o.target,
                                        [&](const RobJoint& j) { scratch.joints.push_back(j); });
  }
  scratch.manipulability.resize(scratch.joints.size());
  Manipulabilities(*queries_.robot, scratch.joints, scratch.manipulability);
  double best = 0.0;
  for (const double m : scratch.manipulability)
    best = std::max(best, m);
  return best;
}

void ClosedFormReach::fill(const Pos& position, ReachMap& map, std::size_t cell,
                           ClosedFormReachScratch& scratch) const {
  const std::size_t n = flanges_.size();
  scratch.orientations.resize(n);
  std::uint32_t reachable = 0;
  double highest = 0.0;
  double lowest = 0.0;
  for (std::size_t o = 0; o < n; ++o) {
    OrientationReach& r = scratch.orientations[o];
    solve(flanges_[o], position.toVec3(), r);
    if (!map.matrix.empty())
      map.matrix[cell * n + o] = static_cast<std::uint8_t>(std::min<std::size_t>(r.solutions, 255));
    if (r.solutions == 0)
      continue;
    highest = reachable == 0 ? r.estimate : std::max(highest, r.estimate);
    lowest = reachable == 0 ? r.estimate : std::min(lowest, r.estimate);
    ++reachable;
  }
  double best = 0.0;
  double worst = 0.0;
  if (reachable > 0 && options_->manipulability) {
    // Only orientations whose estimate comes within the error of the largest (smallest) may
    // hold the largest (smallest) exact value.
    bool first = true;
    for (std::size_t o = 0; o < n; ++o) {
      const OrientationReach& r = scratch.orientations[o];
      if (r.solutions == 0)
        continue;
      const bool mayBeBest = r.estimate >= highest - tolerance_;
      const bool mayBeWorst = r.estimate <= lowest + tolerance_;
      if (!mayBeBest && !mayBeWorst)
        continue;
      const double m = exactBest(r, scratch);
      best = mayBeBest ? std::max(best, m) : best;
      worst = mayBeWorst ? (first ? m : std::min(worst, m)) : worst;
      first = first && !mayBeWorst;
    }
  }
  map.reachable[cell] = reachable;
  map.index[cell] = static_cast<double>(reachable) / static_cast<double>(n);
  map.bestManipulability[cell] = best;
  map.worstManipulability[cell] = worst;
}

}  // namespace zor::rob::detail
