#include "zor/rob/inverse_kinematics.hpp"

#include <cmath>
#include <ostream>
#include <stdexcept>

#include "detail/messages.hpp"
#include "zor/rob/screw.hpp"

// The methods and verdicts of the inverse kinematics as text, and the flange pose of a tool centre
// point in a work object and back.

namespace zor::rob {

namespace detail {

namespace {

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

std::ostream& operator<<(std::ostream& os, IkMethod method) {
  switch (method) {
    case IkMethod::sphericalWristClosedForm:
      return os << "spherical-wrist closed form";
    case IkMethod::threeParallelClosedForm:
      return os << "three-parallel-axes closed form";
    case IkMethod::search:
      return os << "search over joint 4";
    case IkMethod::numerical:
      return os << "numerical from seeds";
  }
  os.setstate(std::ios_base::failbit);
  return os;
}

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

}  // namespace zor::rob
