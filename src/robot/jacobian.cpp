#include <array>
#include <cmath>
#include <cstddef>
#include <ostream>

#include "robot/arm_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {

namespace {

/// Writes the screw axis `s` into column `c` of `jac`, angular part in rows 0 to 2.
void putColumn(GeometricJacobian& jac, Eigen::Index c, const ScrewAxis& s) {
  jac.matrix(0, c) = s.w.x;
  jac.matrix(1, c) = s.w.y;
  jac.matrix(2, c) = s.w.z;
  jac.matrix(3, c) = s.v.x;
  jac.matrix(4, c) = s.v.y;
  jac.matrix(5, c) = s.v.z;
}

// The general paths, for screws whose angular parts are not all unit vectors: the screw
// exponential normalises the axis (and throws for a zero one) and the products compose whole
// transforms. Out of line: the hot paths never come here.

[[gnu::noinline]] void spaceJacobianOfAnyScrews(const RobotConfig& robot, const RobJoint& joints,
                                                GeometricJacobian& jac) {
  putColumn(jac, 0, robot.spaceScrewAxes[0]);
  Transform t = robot.spaceScrewAxes[0].T(detail::degToRad(joints.values[0]));
  for (std::size_t i = 1; i < 6; ++i) {
    putColumn(jac, static_cast<Eigen::Index>(i), t.adjoint(robot.spaceScrewAxes[i]));
    if (i < 5)
      t *= robot.spaceScrewAxes[i].T(detail::degToRad(joints.values[i]));
  }
}

[[gnu::noinline]] void bodyJacobianOfAnyScrews(const RobotConfig& robot, const RobJoint& joints,
                                               GeometricJacobian& jac) {
  putColumn(jac, 5, robot.bodyScrewAxes[5]);
  Transform t;
  for (std::size_t i = 5; i >= 1; --i) {
    t *= robot.bodyScrewAxes[i].T(-detail::degToRad(joints.values[i]));
    putColumn(jac, static_cast<Eigen::Index>(i - 1), t.adjoint(robot.bodyScrewAxes[i - 1]));
  }
}

}  // namespace

// Column i = Ad(T) S_i with T = e^[S0]θ0 ⋯ e^[Si−1]θi−1, built up on the right.
GeometricJacobian RobotConfig::getSpaceJacobian(const RobJoint& joints) const {
  // One named result on every path, so that it is built in place.
  GeometricJacobian jac;
  const detail::HalfAngles h = detail::halfAngles<0, 5>(joints, 1.0, spaceScrewAxes);
  if (!h.unitScrews) [[unlikely]] {
    spaceJacobianOfAnyScrews(*this, joints, jac);
    return jac;
  }
  std::array<Transform, 5> e;
#pragma GCC unroll 6
  for (std::size_t i = 0; i < 5; ++i)
    e[i] = detail::unitScrewExp(spaceScrewAxes[i], h.sh[i], h.ch[i], h.theta[i]);
  putColumn(jac, 0, spaceScrewAxes[0]);
  detail::moveScrews(
      jac, e, [this](std::size_t k) -> const ScrewAxis& { return spaceScrewAxes[k + 1]; },
      [](std::size_t k) { return static_cast<Eigen::Index>(k + 1); });
  return jac;
}

// Column i − 1 = Ad(T) B_i−1 with T = e^−[B5]θ5 ⋯ e^−[Bi]θi, built up on the right.
GeometricJacobian RobotConfig::getBodyJacobian(const RobJoint& joints) const {
  // One named result on every path, so that it is built in place.
  GeometricJacobian jac;
  const detail::HalfAngles h = detail::halfAngles<1, 6>(joints, -1.0, bodyScrewAxes);
  if (!h.unitScrews) [[unlikely]] {
    bodyJacobianOfAnyScrews(*this, joints, jac);
    return jac;
  }
  std::array<Transform, 5> e;
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 5; ++k)
    e[k] = detail::unitScrewExp(bodyScrewAxes[5 - k], h.sh[5 - k], h.ch[5 - k], h.theta[5 - k]);
  putColumn(jac, 5, bodyScrewAxes[5]);
  detail::moveScrews(
      jac, e, [this](std::size_t k) -> const ScrewAxis& { return bodyScrewAxes[4 - k]; },
      [](std::size_t k) { return static_cast<Eigen::Index>(4 - k); });
  return jac;
}

Vec3Template<double> RobotConfig::getTcpVelocityInSpace(const Vec3Template<double>& point,
                                                        const RobJoint& joints,
                                                        const JointSpeed& speeds) const {
  Vector6 rates;
  rates.values = speeds.values;
  const Twist twist = getSpaceJacobian(joints) * rates;
  return twist.v + twist.w.cross(point);
}

SingularityType RobotConfig::isConfSingular(const RobJoint& joints,
                                            const PoseTemplate<double>& flangePose,
                                            double jointTolerance, double wcpTolerance) {
  if (std::abs(joints.values[4]) < jointTolerance)
    return SingularityType::wrist;
  if (std::abs(detail::radToDeg(elbowOffset) + joints.values[2]) < jointTolerance)
    return SingularityType::elbow;
  const PosTemplate<double> wcp = tcpToWcp(flangePose);
  if (std::abs(wcp.x) < wcpTolerance && std::abs(wcp.y) < wcpTolerance)
    return SingularityType::shoulder;
  return SingularityType::none;
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
