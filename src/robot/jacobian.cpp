#include <array>
#include <cmath>
#include <cstddef>

#include "robot/arm_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {

namespace {

// The general paths, for screws whose angular parts are not all unit vectors: the screw
// exponential normalises the axis (and throws for a zero one) and the products compose whole
// transforms. Out of line: the hot paths never come here.

[[gnu::noinline]] void spaceJacobianOfAnyScrews(const RobotConfig& robot, const RobJoint& joints,
                                                GeometricJacobian& jac) {
  jac.setCol(0, robot.spaceScrewAxes[0]);
  Transform t = robot.spaceScrewAxes[0].T(DegToRad(joints.values[0]));
  for (std::size_t i = 1; i < 6; ++i) {
    jac.setCol(static_cast<int>(i), t.adjoint(robot.spaceScrewAxes[i]));
    if (i < 5)
      t *= robot.spaceScrewAxes[i].T(DegToRad(joints.values[i]));
  }
}

[[gnu::noinline]] void bodyJacobianOfAnyScrews(const RobotConfig& robot, const RobJoint& joints,
                                               GeometricJacobian& jac) {
  jac.setCol(5, robot.bodyScrewAxes[5]);
  Transform t;
  for (std::size_t i = 5; i >= 1; --i) {
    t *= robot.bodyScrewAxes[i].T(-DegToRad(joints.values[i]));
    jac.setCol(static_cast<int>(i - 1), t.adjoint(robot.bodyScrewAxes[i - 1]));
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
  jac.setCol(0, spaceScrewAxes[0]);
  detail::writeAdjointColumns(
      jac, e, [this](std::size_t k) -> const ScrewAxis& { return spaceScrewAxes[k + 1]; },
      [](std::size_t k) { return static_cast<int>(k + 1); });
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
  jac.setCol(5, bodyScrewAxes[5]);
  detail::writeAdjointColumns(
      jac, e, [this](std::size_t k) -> const ScrewAxis& { return bodyScrewAxes[4 - k]; },
      [](std::size_t k) { return static_cast<int>(4 - k); });
  return jac;
}

double RobotConfig::getManipulability(const RobJoint& joints) const {
  return std::abs(getSpaceJacobian(joints).matrix.determinant());
}

Vec3 RobotConfig::getTcpVelocityInSpace(const Vec3& point, const RobJoint& joints,
                                        const JointSpeed& speeds) const {
  Vector6 rates;
  rates.values = speeds.values;
  const Twist twist = getSpaceJacobian(joints) * rates;
  return twist.v + twist.w.cross(point);
}

}  // namespace zor::rob
