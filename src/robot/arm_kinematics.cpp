#include "robot/arm_kinematics.hpp"

#include <cstddef>

namespace zor::rob::detail {

Transform flangePoseOfAnyAxes(const RobotConfig& robot, const RobJoint& joints) {
  Transform t = jointMotion(robot.jointAxes[0], robot.jointPoints[0], joints.values[0]);
  for (std::size_t i = 1; i < 6; ++i)
    t *= jointMotion(robot.jointAxes[i], robot.jointPoints[i], joints.values[i]);
  t *= robot.flangeHome;
  return t;
}

}  // namespace zor::rob::detail
