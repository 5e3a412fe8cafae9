#include "batch/closed_form_queries.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "ik/atan2.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

/// The inverse kinematics' conversion of its radians: one multiplication, as there.
constexpr double kDegreesPerRadian = 180.0 / kPi;
/// Home values beyond this (degrees) are reduced by whole turns before the solvers take them,
/// as the inverse kinematics does.
constexpr double kWidestExactSeed = 18000.0;

double solverValue(double value) {
  return std::abs(value) > kWidestExactSeed ? std::remainder(value, kTurn) : value;
}

}  // namespace

std::optional<ClosedFormQueries> ClosedFormQueries::For(const RobotConfig& robot) {
  ClosedFormQueries q;
  q.robot = &robot;
  q.arm = MakeClosedFormArm(robot);
  const RobJoint& home = robot.homeJoint;
  if (!q.arm.solvable || !std::all_of(home.values.begin(), home.values.end(),
                                      [](double v) { return std::isfinite(v); }))
    return std::nullopt;
  try {
    q.windows = windowsOf(robot);
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  }
  q.free.joint1 = DegToRad(solverValue(home.values[0]));
  q.free.joint2 = DegToRad(solverValue(home.values[1]));
  return q;
}

void ClosedFormQueries::solve(const Mat3& rotation, const Vec3& position, PoseBranches& out,
                              BaseSolutions& base) const {
  solveClosedFormForProcessor(arm, rotation, position, free, base);
  out.count = base.count;
  for (std::size_t s = 0; s < base.count; ++s)
    for (std::size_t i = 0; i < 6; ++i)
      out.joints[s][i] = base.solutions[s][i] * kDegreesPerRadian;
}

void ClosedFormQueries::checkCap(const PoseBranches& branches,
                                 const std::array<bool, 8>& few) const {
  if (std::all_of(few.begin(), few.begin() + static_cast<std::ptrdiff_t>(branches.count),
                  [](bool f) { return f; }))
    return;  // at most 3^6 solutions per branch, far below the cap
  std::size_t total = 0;
  for (std::size_t b = 0; b < branches.count; ++b)
    total += countTurns(branchTurnsOf(*robot, windows, branches.joints[b]), kMaxSolutions);
  if (total > kMaxSolutions)
    throw std::length_error("the joint limits admit more than " + std::to_string(kMaxSolutions) +
                            " solutions of the pose");
}

void ClosedFormQueries::setLabelling(QueryPose& target) const {
  const Vec3 wcp = wristCentre(target.position, target.rotation, robot->getWcpZOffset());
  std::array<double, 1> angle{};
  atan2s(std::array<double, 1>{wcp.y}, std::array<double, 1>{wcp.x}, angle);
  target.labelAngle = RadToDeg(angle[0]);
  target.labelRadius = std::sqrt(wcp.x * wcp.x + wcp.y * wcp.y);
  target.stretchedElbow = -RadToDeg(robot->elbowOffset);
}

void ClosedFormQueries::setLabellings(std::span<QueryPose> targets) const {
  const double stretchedElbow = -RadToDeg(robot->elbowOffset);
  for (std::size_t i = 0; i < targets.size(); i += 2) {
    // The lanes of setLabelling's atan2 are independent: two targets in one call give each the
    // angle it alone would get; a second lane past the end repeats the first.
    const std::size_t second = std::min(i + 1, targets.size() - 1);
    const Vec3 a = wristCentre(targets[i].position, targets[i].rotation, robot->getWcpZOffset());
    const Vec3 b =
        wristCentre(targets[second].position, targets[second].rotation, robot->getWcpZOffset());
    Double2 y{a.y, b.y};
    Double2 x{a.x, b.x};
    atan2_impl::opaque(y);
    atan2_impl::opaque(x);
    const Double2 angle = atan2_impl::atan2Lanes<2>(y, x);
    const std::array<Vec3, 2> centres{a, b};
    for (std::size_t l = 0; l < 2 && i + l < targets.size(); ++l) {
      QueryPose& target = targets[i + l];
      const Vec3& wcp = centres[l];
      // Any infinite or NaN input sends atan2s to std::atan2.
      const bool finite = std::isfinite(wcp.x) && std::isfinite(wcp.y);
      target.labelAngle = RadToDeg(finite ? angle[l] : std::atan2(wcp.y, wcp.x));
      target.labelRadius = std::sqrt(wcp.x * wcp.x + wcp.y * wcp.y);
      target.stretchedElbow = stretchedElbow;
    }
  }
}

bool ClosedFormQueries::inConfigurations(const RobJoint& joints,
                                         std::span<const ConfData> configurations,
                                         const QueryPose* target) const {
  if (configurations.empty())
    return true;
  const ConfData label = labelOf(*robot, *target, joints);
  return std::any_of(configurations.begin(), configurations.end(),
                     [&](const ConfData& c) { return label.isCriticalEqual(joints, c); });
}

std::size_t ClosedFormQueries::countSolutions(const PoseBranches& branches,
                                              std::array<std::size_t, 8>& counts,
                                              std::span<const ConfData> configurations,
                                              const QueryPose* target) const {
  counts = {};
  std::array<bool, 8> few{};
  for (std::size_t b = 0; b < branches.count && !windows.empty; ++b) {
    const TurnTests tests = turnTestsOf(windows, branches.joints[b]);
    few[b] = fewTurns(windows, branches.joints[b], tests);
    if (!configurations.empty())
      continue;  // counted below, once the cap is checked
    if (few[b])
      forEachTurn(*robot, windows, branches.joints[b], tests,
                  [&](const RobJoint&, std::size_t) { ++counts[b]; });
    else
      counts[b] = countTurns(branchTurnsOf(*robot, windows, branches.joints[b]), kMaxSolutions);
  }
  if (!windows.empty)
    checkCap(branches, few);
  for (std::size_t b = 0; b < branches.count && !windows.empty && !configurations.empty(); ++b) {
    const TurnTests tests = turnTestsOf(windows, branches.joints[b]);
    const auto count = [&](const RobJoint& j) {
      counts[b] += inConfigurations(j, configurations, target) ? 1U : 0U;
    };
    if (few[b])
      forEachTurn(*robot, windows, branches.joints[b], tests,
                  [&](const RobJoint& j, std::size_t) { count(j); });
    else
      forEachWideTurn(branchTurnsOf(*robot, windows, branches.joints[b]), count);
  }
  std::size_t total = 0;
  for (std::size_t b = 0; b < branches.count; ++b)
    total += counts[b];
  return total;
}

}  // namespace zor::rob::detail
