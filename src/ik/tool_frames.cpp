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

[[noreturn]] [[gnu::cold]] void throwToolAndWorkObject() {
  throw std::invalid_argument(msg::kToolAndWorkObjectHeld);
}

/// The user frame times the object frame of `wobj`.
Transform workObjectFrame(const WObjData& wobj) {
  return Transform::FromPose(wobj.uframe) * Transform::FromPose(wobj.oframe);
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
  const Transform object = detail::workObjectFrame(wobj) * Transform::FromPose(target);
  const Transform toolFrame = Transform::FromPose(tool.tframe);
  if (tool.robhold)
    return (object * toolFrame.inverse()).toPose();
  return (toolFrame * object.inverse()).toPose();
}

Pose TargetOfFlangePose(const Pose& flange, const ToolData& tool, const WObjData& wobj) {
  if (tool.robhold == wobj.robhold)
    detail::throwToolAndWorkObject();
  const Transform objectInverse = detail::workObjectFrame(wobj).inverse();
  const Transform flangeFrame = Transform::FromPose(flange);
  const Transform toolFrame = Transform::FromPose(tool.tframe);
  if (tool.robhold)
    return (objectInverse * flangeFrame * toolFrame).toPose();
  return (objectInverse * flangeFrame.inverse() * toolFrame).toPose();
}

}  // namespace zor::rob
