#pragma once

// Arms of any geometry for the tests of the kinematics that hold for every geometry (forward
// kinematics, Jacobians), and for the arm checks themselves: MakeRobotConfig rejects an arm that
// breaks an assumption of the model, so these are set up member by member.

#include <array>
#include <cstddef>
#include <cstdint>

#include "zor/rob/robot_config.hpp"

namespace zor::rob::test {

/// \returns the RobotConfig MakeRobotConfig would return for these arguments, without its check.
inline RobotConfig uncheckedArm(const std::array<Vec3, 6>& jointAxes,
                                const std::array<Pos, 6>& jointPoints, const Transform& flangeHome,
                                const std::array<double, 7>& jointMin,
                                const std::array<double, 7>& jointMax, const RobJoint& homeJoint,
                                double elbowOffset, std::int32_t jointCoupling) {
  RobotConfig robot;
  for (std::size_t i = 0; i < 6; ++i)
    robot.spaceScrewAxes[i] = ScrewAxis(jointAxes[i], jointPoints[i]);
  robot.jointAxes = jointAxes;
  robot.jointPoints = jointPoints;
  robot.flangeHome = flangeHome;
  robot.jointMin = jointMin;
  robot.jointMax = jointMax;
  robot.homeJoint = homeJoint;
  robot.elbowOffset = elbowOffset;
  robot.jointCoupling = jointCoupling;
  robot.computeScrewAxisInTcp();
  robot.initSphericalWrist();
  return robot;
}

}  // namespace zor::rob::test
