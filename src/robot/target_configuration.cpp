#include <cmath>
#include <cstddef>

#include "detail/arm_kinematics.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {

namespace detail {

namespace {

/// Largest angle (degrees) between joint 1 and the direction of the wrist centre for which the
/// shoulder counts as in front.
constexpr double kShoulderFrontAngle = 90.0;

}  // namespace

ConfData confFromFlangePose(const RobJoint& joints, const RobotConfig& robot,
                            const Transform& flange) {
  const std::array<double, 6>& j = joints.values;
  // The wrist centre; only its x and y enter.
  const Vec3Template<double> wcp =
      flange.translation - flange.rotation.rotateVector({0.0, 0.0, robot.getWcpZOffset()});
  const double phi = radToDeg(std::atan2(wcp.y, wcp.x));
  // The difference is deliberately not wrapped into ±180: phi = 179 with j1 = -179 counts as
  // behind.
  const bool behind = !(std::abs(phi - j[0]) <= kShoulderFrontAngle);
  // Set for j3 <= -k, so with elbowOffset 0 a joint 3 at 0 sets it (0 > -0 is false).
  const bool elbow = !(j[2] > -radToDeg(robot.elbowOffset));
  // j5 = 0 counts as not flipped.
  const bool wrist = j[4] < 0.0;
  return {AngleToQuadrant(j[0]), AngleToQuadrant(j[3]), AngleToQuadrant(j[5]),
          (behind ? 4 : 0) + (elbow ? 2 : 0) + (wrist ? 1 : 0)};
}

}  // namespace detail

ConfData ConfData::FromRobJoint(const RobJoint& joints, const RobotConfig& robot) {
  return detail::confFromFlangePose(joints, robot, detail::flangePose(robot, joints));
}

void TargetConfiguration::add(const RobJoint& j, const ConfData& conf) {
  joints.push_back(j);
  try {
    confs.push_back(conf);
  } catch (...) {
    joints.pop_back();  // keep the two lists paired
    throw;
  }
}

TargetConfigurationA TargetConfiguration::toTargetConfigurationA(KinematicConfig kc) const {
  TargetConfigurationA converted;
  converted.joints.reserve(joints.size());
  for (const RobJoint& j : joints)
    converted.joints.push_back(j.toRobJointA(kc));
  converted.confs = confs;
  return converted;
}

}  // namespace zor::rob
