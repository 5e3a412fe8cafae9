#include <cmath>
#include <cstddef>
#include <ostream>

#include "robot/arm_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {

namespace {

// The tests both classifiers share; in this file so that each inlines them.

bool nearWrist(const RobJoint& joints, double marginDeg) {
  return std::abs(joints.values[4]) < marginDeg;
}

bool nearElbow(double elbowOffset, const RobJoint& joints, double marginDeg) {
  return std::abs(RadToDeg(elbowOffset) + joints.values[2]) < marginDeg;
}

}  // namespace

Singularities RobotConfig::singularitiesOf(const RobJoint& joints, const Pose& flangePose,
                                           const SingularityMargins& margins) const {
  Singularities s;
  s.wrist = nearWrist(joints, margins.wristDeg);
  s.elbow = nearElbow(elbowOffset, joints, margins.elbowDeg);
  if (margins.shoulderMm > 0.0) {
    const Vec3 wcp =
        detail::wristCentre(flangePose.pos.toVec3(), flangePose.rotation(), getWcpZOffset());
    s.shoulder =
        detail::normalPart(wcp - jointPoints[0].toVec3(), jointAxes[0]).norm() < margins.shoulderMm;
  }
  return s;
}

SingularityType RobotConfig::isConfSingular(const RobJoint& joints, const Pose& flangePose,
                                            double jointTolerance, double wcpTolerance) {
  // Wrist and elbow as singularitiesOf; the shoulder by this query's own square (see the header).
  if (nearWrist(joints, jointTolerance))
    return SingularityType::wrist;
  if (nearElbow(elbowOffset, joints, jointTolerance))
    return SingularityType::elbow;
  const Pos wcp = tcpToWcp(flangePose);
  if (std::abs(wcp.x) < wcpTolerance && std::abs(wcp.y) < wcpTolerance)
    return SingularityType::shoulder;
  return SingularityType::none;
}

bool RobotConfig::isJointAllowedIn(const RobJoint& joints, std::size_t i) const {
  if (i >= joints.values.size())
    return false;
  // For joints 2 and 3 the other joint of the pair matters when the limits are coupled.
  const double other = i == 1 ? joints.values[2] : joints.values[1];
  return isJointAllowed(static_cast<int>(i), joints.values[i], other);
}

std::optional<std::size_t> RobotConfig::firstJointOutsideLimits(const RobJoint& joints) const {
  for (std::size_t i = 0; i < joints.values.size(); ++i)
    if (!isJointAllowedIn(joints, i))
      return i;
  return std::nullopt;
}

std::ostream& operator<<(std::ostream& os, SingularityType type) {
  switch (type) {
    case SingularityType::none:
      return os << "none";
    case SingularityType::wrist:
      return os << "wrist";
    case SingularityType::elbow:
      return os << "elbow";
    case SingularityType::shoulder:
      return os << "shoulder";
  }
  os.setstate(std::ios_base::failbit);
  return os;
}

}  // namespace zor::rob
