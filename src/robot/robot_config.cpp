#include "zor/rob/robot_config.hpp"

#include <cmath>
#include <cstddef>

#include "robot/arm_kinematics.hpp"
#include "robot/joint_solution_conf.hpp"

namespace zor::rob {

Transform RobotConfig::getJointTransform(double theta, unsigned int i) const {
  return detail::jointMotion(jointAxes[i], jointPoints[i], theta);
}

Transform RobotConfig::getWristPoseInBase(const RobJoint& joints) const {
  return detail::flangePose(*this, joints);
}

Transform RobotConfig::getLinkPose(const RobJoint& joints, unsigned int i) const {
  // Link 6 and beyond: the flange pose, computed exactly as getWristPoseInBase does.
  if (i >= 6)
    return detail::flangePose(*this, joints);
  Transform t;
  for (std::size_t k = 0; k < i; ++k)
    t *= detail::jointMotion(jointAxes[k], jointPoints[k], joints.values[k]);
  return t;
}

double RobotConfig::getWcpZOffset() const {
  return flangeHome.translation.x - jointPoints[4].x;
}

Pos RobotConfig::tcpToWcp(const Pose& flangePose) {
  return detail::wristCentre(flangePose.pos.toVec3(), flangePose.rotation(), getWcpZOffset())
      .toPos();
}

RobTarget RobotConfig::getRobTarget(const RobJoint& joints) const {
  // The flange pose serves both the target's pose and its configuration: computed once.
  detail::HalfAngleSinCos joint1;
  const Transform flange = detail::flangePose(*this, joints, joint1);
  RobTarget target(flange.toPose());
  target.robConf = detail::confFromFlangePose(joints, *this, flange, joint1);
  return target;
}

RobTarget RobotConfig::getHomeTarget() const {
  return getRobTarget(homeJoint);
}

RobJoint RobotConfig::getHomeJoint() const {
  return homeJoint;
}

bool RobotConfig::isFixedJoint(unsigned int i) const {
  if (i >= jointMax.size())
    return false;
  return std::abs(jointMax[i] - jointMin[i]) < kJointLimitTolerance;
}

bool RobotConfig::isJointAllowed(int i, double value, double otherValue) const {
  if (i < 0 || i >= static_cast<int>(jointMax.size()))
    return false;
  constexpr double tol = kJointLimitTolerance;
  // The coupled checks reject only values strictly beyond the widened bounds, while the final
  // test below keeps the value strictly inside them: a value exactly on jointMax + 1e-6 passes
  // the coupled check and fails the final one. The asymmetry is deliberate.
  const auto outside = [](double v, double lo, double hi) { return v < lo - tol || v > hi + tol; };
  if (jointCoupling == 1 && (i == 1 || i == 2)) {
    const std::size_t other = i == 1 ? 2 : 1;
    const auto self = static_cast<std::size_t>(i);
    if (outside(value, jointMin[self], jointMax[self]))
      return false;
    if (outside(value + otherValue, jointMin[6], jointMax[6]))
      return false;
    if (outside(otherValue, jointMin[other], jointMax[other]))
      return false;
  }
  const auto k = static_cast<std::size_t>(i);
  return value > jointMin[k] - tol && value < jointMax[k] + tol;
}

void RobotConfig::computeScrewAxisInTcp() {
  Transform homeInverse = flangeHome.inverse();
  for (std::size_t i = 0; i < 6; ++i)
    bodyScrewAxes[i] = homeInverse.adjoint(spaceScrewAxes[i]);
}

bool RobotConfig::initSphericalWrist() {
  sphericalWrist = (jointPoints[3] - jointPoints[4]).norm() < kSphericalWristTolerance &&
                   (jointPoints[4] - jointPoints[5]).norm() < kSphericalWristTolerance;
  return sphericalWrist;
}

}  // namespace zor::rob
