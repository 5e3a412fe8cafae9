#include "zor/rob/inverse_kinematics.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <ostream>
#include <stdexcept>

#include "robot/arm_kinematics.hpp"
#include "detail/messages.hpp"
#include "ik/closed_form.hpp"
#include "ik/numerical.hpp"
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

/// The members the closed form depends on, and the arm computed from them.
struct CachedArm {
  std::array<Vec3Template<double>, 6> jointAxes{};
  std::array<PosTemplate<double>, 6> jointPoints{};
  Transform flangeHome{};
  ClosedFormArm arm{};
  bool filled{false};
};

const ClosedFormArm& closedFormArmOf(const RobotConfig& robot) {
  thread_local CachedArm cache;
  if (!cache.filled || !(cache.jointAxes == robot.jointAxes) ||
      !(cache.jointPoints == robot.jointPoints) ||
      !(cache.flangeHome.rotation.x == robot.flangeHome.rotation.x &&
        cache.flangeHome.rotation.y == robot.flangeHome.rotation.y &&
        cache.flangeHome.rotation.z == robot.flangeHome.rotation.z &&
        cache.flangeHome.rotation.w == robot.flangeHome.rotation.w &&
        cache.flangeHome.translation == robot.flangeHome.translation)) {
    cache.arm = MakeClosedFormArm(robot);
    cache.jointAxes = robot.jointAxes;
    cache.jointPoints = robot.jointPoints;
    cache.flangeHome = robot.flangeHome;
    cache.filled = true;
  }
  return cache.arm;
}

/// \returns true when every joint of `a` and `b` agrees within kDuplicateTolerance modulo a turn.
bool sameModuloTurns(const std::array<double, 6>& a, const std::array<double, 6>& b) {
  for (std::size_t i = 0; i < 6; ++i) {
    const double d = std::fmod(std::abs(a[i] - b[i]), kTurn);
    if (!(std::min(d, kTurn - d) < kDuplicateTolerance))
      return false;
  }
  return true;
}

/// The branches of one query, in degrees, duplicates removed.
struct Branches {
  std::array<std::array<double, 6>, kMaxNumericalSolutions> joints{};
  std::size_t count{0};

  void add(const std::array<double, 6>& j) {
    for (std::size_t i = 0; i < count; ++i)
      if (sameModuloTurns(joints[i], j))
        return;
    joints[count++] = j;
  }
};

/// The pose of a query as the solvers take it, and the direction of its labelling wrist centre.
struct Target {
  Mat3 rotation{};
  IkVec position{};
  double labelAngle{0.0};   ///< φ (degrees) of the wrist centre that labels use.
  double labelRadius{0.0};  ///< Its distance (mm) from the base z axis.
};

Target targetOf(const RobotConfig& robot, const Pose& pose) {
  const OrientTemplate<double>& o = pose.orient;
  // The library's rule for a zero orientation record; the matrix is then exact for any length.
  (void)RotationTemplate<double>(o.q1, o.q2, o.q3, o.q4);
  Target t;
  t.rotation = rotationMatrix(o.q1, o.q2, o.q3, o.q4);
  t.position = pose.pos.toVec3();
  const double offset = robot.getWcpZOffset();
  const IkVec wcp =
      t.position - IkVec{t.rotation(0, 2), t.rotation(1, 2), t.rotation(2, 2)} * offset;
  t.labelAngle = radToDeg(std::atan2(wcp.y, wcp.x));
  t.labelRadius = std::hypot(wcp.x, wcp.y);
  return t;
}

/// \returns ConfData::FromRobJoint(joints, robot) for a solution of `target`.
ConfData labelOf(const RobotConfig& robot, const Target& target, const RobJoint& joints) {
  const std::array<double, 6>& j = joints.values;
  const double fromBoundary = std::abs(std::abs(target.labelAngle - j[0]) - 90.0);
  if (!(degToRad(fromBoundary) * target.labelRadius > kLabelMargin))
    return ConfData::FromRobJoint(joints, robot);
  const bool behind = !(std::abs(target.labelAngle - j[0]) <= 90.0);
  const bool elbow = !(j[2] > -radToDeg(robot.elbowOffset));
  const bool wrist = j[4] < 0.0;
  return {AngleToQuadrant(j[0]), AngleToQuadrant(j[3]), AngleToQuadrant(j[5]),
          (behind ? 4 : 0) + (elbow ? 2 : 0) + (wrist ? 1 : 0)};
}

/// The whole turns k for which value + 360 k lies strictly inside the limits of joint i widened
/// by the limit tolerance (the final test of isJointAllowed): k in [first, last].
struct TurnRange {
  long first{0};
  long last{-1};
};

TurnRange turnsOf(const RobotConfig& robot, std::size_t i, double value) {
  constexpr double tol = RobotConfig::kJointLimitTolerance;
  const double lo = std::max(robot.jointMin[i] - tol, -kWidestLimit);
  const double hi = std::min(robot.jointMax[i] + tol, kWidestLimit);
  if (!std::isfinite(value) || !(std::abs(value) < kWidestLimit) || !(lo < hi))
    return {};  // also NaN limits: no solution
  TurnRange r{static_cast<long>(std::floor((lo - value) / kTurn)),
              static_cast<long>(std::ceil((hi - value) / kTurn))};
  // Tighten with the exact strict test.
  while (r.first <= r.last && !(value + kTurn * static_cast<double>(r.first) > lo))
    ++r.first;
  while (r.last >= r.first && !(value + kTurn * static_cast<double>(r.last) < hi))
    --r.last;
  return r;
}

/// Orders solutions by configuration number, then by joint values, joint 1 first.
bool before(const RobJoint& a, const ConfData& ca, const RobJoint& b, const ConfData& cb) {
  if (ca.cfx != cb.cfx)
    return ca.cfx < cb.cfx;
  return a.values < b.values;
}

/// Appends every turn of `branch` inside the limits to `out`, labelled.
void addTurns(const RobotConfig& robot, const Target& target, const std::array<double, 6>& branch,
              TargetConfiguration& out) {
  std::array<TurnRange, 6> turns{};
  for (std::size_t i = 0; i < 6; ++i) {
    turns[i] = turnsOf(robot, i, branch[i]);
    if (turns[i].first > turns[i].last)
      return;
  }
  std::array<long, 6> k{};
  for (std::size_t i = 0; i < 6; ++i)
    k[i] = turns[i].first;
  for (;;) {
    RobJoint j;
    for (std::size_t i = 0; i < 6; ++i)
      j.values[i] = branch[i] + kTurn * static_cast<double>(k[i]);
    if (robot.isJointAllowed(1, j.values[1], j.values[2]) &&
        robot.isJointAllowed(2, j.values[2], j.values[1]))
      out.add(j, labelOf(robot, target, j));
    // Next combination, joint 6 fastest.
    std::size_t i = 6;
    while (i > 0 && k[i - 1] == turns[i - 1].last) {
      k[i - 1] = turns[i - 1].first;
      --i;
    }
    if (i == 0)
      break;
    ++k[i - 1];
  }
}

/// Sorts the paired lists with before(); they hold a few dozen entries at most.
void sortSolutions(TargetConfiguration& out) {
  for (std::size_t i = 1; i < out.joints.size(); ++i)
    for (std::size_t m = i;
         m > 0 && before(out.joints[m], out.confs[m], out.joints[m - 1], out.confs[m - 1]); --m) {
      std::swap(out.joints[m], out.joints[m - 1]);
      std::swap(out.confs[m], out.confs[m - 1]);
    }
}

/// Every solution of `pose` into `out` (cleared first); \returns found, outOfReach or
/// outsideJointLimits.
IkStatus solveAll(const RobotConfig& robot, const Pose& pose, const RobJoint* seed,
                  TargetConfiguration& out) {
  out.clear();
  const Target target = targetOf(robot, pose);
  Branches branches;
  const ClosedFormArm& arm = closedFormArmOf(robot);
  FreeJoints free;
  free.joint1 = degToRad(seed != nullptr ? seed->values[0] : robot.homeJoint.values[0]);
  free.joint2 = degToRad(seed != nullptr ? seed->values[1] : robot.homeJoint.values[1]);
  free.joint4 = degToRad(seed != nullptr ? seed->values[3] : 0.0);
  if (arm.solvable) {
    BaseSolutions base;
    solveClosedForm(arm, target.rotation, target.position, free, base);
    for (std::size_t s = 0; s < base.count; ++s) {
      std::array<double, 6> deg{};
      for (std::size_t i = 0; i < 6; ++i)
        deg[i] = radToDeg(base.solutions[s][i]);
      branches.add(deg);
    }
  } else {
    NumericalSolutions found;
    solveFromSeeds(robot, arm, target.rotation, target.position, seed, free, found);
    for (std::size_t s = 0; s < found.count; ++s)
      branches.add(found.solutions[s]);
  }
  if (branches.count == 0)
    return IkStatus::outOfReach;
  out.joints.reserve(2 * branches.count);
  out.confs.reserve(2 * branches.count);
  for (std::size_t b = 0; b < branches.count; ++b)
    addTurns(robot, target, branches.joints[b], out);
  sortSolutions(out);
  return out.empty() ? IkStatus::outsideJointLimits : IkStatus::found;
}

JointSolution matching(const RobotConfig& robot, const RobTarget& target) {
  TargetConfiguration all;
  JointSolution result;
  result.status = solveAll(robot, target.pose, nullptr, all);
  if (result.status != IkStatus::found)
    return result;
  for (std::size_t i = 0; i < all.size(); ++i)
    if (all.confs[i].isCriticalEqual(all.joints[i], target.robConf)) {
      result.joints = all.joints[i];
      result.conf = all.confs[i];
      return result;
    }
  result.status = IkStatus::noSolutionInConfiguration;
  return result;
}

/// \returns the transform of a pose, its rotation normalised exactly (throws for a zero record).
Transform transformOf(const Pose& pose) {
  const OrientTemplate<double>& o = pose.orient;
  (void)RotationTemplate<double>(o.q1, o.q2, o.q3, o.q4);
  const double n = std::sqrt(o.q1 * o.q1 + o.q2 * o.q2 + o.q3 * o.q3 + o.q4 * o.q4);
  return {RotationTemplate<double>::raw(o.q2 / n, o.q3 / n, o.q4 / n, o.q1 / n), pose.pos.toVec3()};
}

Pose poseOf(const Transform& t) {
  const RotationTemplate<double>& r = t.rotation;
  return {t.translation.toPos(), {r.w, r.x, r.y, r.z}};
}

[[noreturn]] [[gnu::cold]] void throwToolAndWorkObject() {
  throw std::invalid_argument(msg::kToolAndWorkObjectHeld);
}

/// The user frame times the object frame of `wobj`.
Transform workObjectFrame(const WObjData& wobj) {
  return transformOf(wobj.uframe) * transformOf(wobj.oframe);
}

}  // namespace

}  // namespace detail

std::ostream& operator<<(std::ostream& os, IkStatus status) {
  switch (status) {
    case IkStatus::found:
      return os << "found";
    case IkStatus::outOfReach:
      return os << "out of reach";
    case IkStatus::outsideJointLimits:
      return os << "outside the joint limits";
    case IkStatus::noSolutionInConfiguration:
      return os << "no solution in the requested configuration";
  }
  os.setstate(std::ios_base::failbit);
  return os;
}

Pose FlangePoseOfTarget(const Pose& target, const ToolData& tool, const WObjData& wobj) {
  if (tool.robhold == wobj.robhold)
    detail::throwToolAndWorkObject();
  const Transform object = detail::workObjectFrame(wobj) * detail::transformOf(target);
  const Transform toolFrame = detail::transformOf(tool.tframe);
  if (tool.robhold)
    return detail::poseOf(object * toolFrame.inverse());
  return detail::poseOf(toolFrame * object.inverse());
}

Pose TargetOfFlangePose(const Pose& flange, const ToolData& tool, const WObjData& wobj) {
  if (tool.robhold == wobj.robhold)
    detail::throwToolAndWorkObject();
  const Transform objectInverse = detail::workObjectFrame(wobj).inverse();
  const Transform flangeFrame = detail::transformOf(flange);
  const Transform toolFrame = detail::transformOf(tool.tframe);
  if (tool.robhold)
    return detail::poseOf(objectInverse * flangeFrame * toolFrame);
  return detail::poseOf(objectInverse * flangeFrame.inverse() * toolFrame);
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
  TargetConfiguration all;
  JointSolution result;
  result.status = detail::solveAll(*this, flangePose, &seed, all);
  // The first solution unless a later one is strictly nearer (a NaN seed keeps the first).
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < all.size(); ++i) {
    double worst = 0.0;
    for (std::size_t k = 0; k < 6; ++k)
      worst = std::max(worst, std::abs(all.joints[i].values[k] - seed.values[k]));
    if (i == 0 || worst < best) {
      best = worst;
      result.joints = all.joints[i];
      result.conf = all.confs[i];
    }
  }
  return result;
}

}  // namespace zor::rob
