#include <cmath>
#include <cstddef>

#include "detail/builders.hpp"
#include "robot/arm_kinematics.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {

namespace detail {

namespace {

/// MakeRobotConfig without CheckArmModel.
RobotConfig BuildRobotConfig(const std::array<Vec3, 6>& jointAxes,
                             const std::array<Pos, 6>& jointPoints, const Transform& flangeHome,
                             const std::array<double, 7>& jointMin,
                             const std::array<double, 7>& jointMax, const RobJoint& homeJoint,
                             double elbowOffset, std::int32_t jointCoupling) {
  RobotConfig robot;
  for (std::size_t i = 0; i < 6; ++i)
    robot.spaceScrewAxes[i] = ScrewAxis(jointAxes[i], jointPoints[i]);
  robot.jointMax = jointMax;
  robot.jointMin = jointMin;
  robot.homeJoint = homeJoint;
  robot.jointPoints = jointPoints;
  robot.flangeHome = flangeHome;
  robot.jointAxes = jointAxes;
  robot.elbowOffset = elbowOffset;
  robot.jointCoupling = jointCoupling;
  robot.computeScrewAxisInTcp();
  robot.initSphericalWrist();
  return robot;
}

}  // namespace

RobotConfig BuildOrthoParallelArm(const OrthoParallelGeometry& g,
                                  const std::array<double, 7>& jointMin,
                                  const std::array<double, 7>& jointMax, const RobJoint& homeJoint,
                                  std::int32_t jointCoupling) {
  const Vec3 x{1.0, 0.0, 0.0};
  const Vec3 y{0.0, 1.0, 0.0};
  const Vec3 z{0.0, 0.0, 1.0};
  const Pos shoulder{g.a1, g.b, g.c1};
  const Pos elbow{g.a1, g.b, g.c1 + g.c2};
  const Pos wrist{g.a1 + g.c3, g.b, g.c1 + g.c2 + g.a2};
  // Flange z along base +x: +90 degrees about y.
  const Transform flange(Rotation(kPi / 2.0, y), {wrist.x + g.c4, wrist.y, wrist.z});
  // The forearm vector (c3, 0, a2) turned by theta about +y points up along the upper arm, and
  // the wrist centre is then farthest from the axis of joint 2, at theta = atan2(a2, c3) - pi/2.
  const double elbowOffset = kPi / 2.0 - std::atan2(g.a2, g.c3);
  return BuildRobotConfig({z, y, y, x, y, x}, {Pos{}, shoulder, elbow, wrist, wrist, wrist}, flange,
                          jointMin, jointMax, homeJoint, elbowOffset, jointCoupling);
}

}  // namespace detail

RobotConfig MakeRobotConfig(const std::array<Vec3, 6>& jointAxes,
                            const std::array<Pos, 6>& jointPoints, const Transform& flangeHome,
                            const std::array<double, 7>& jointMin,
                            const std::array<double, 7>& jointMax, const RobJoint& homeJoint,
                            double elbowOffset, std::int32_t jointCoupling) {
  RobotConfig robot = detail::BuildRobotConfig(jointAxes, jointPoints, flangeHome, jointMin,
                                               jointMax, homeJoint, elbowOffset, jointCoupling);
  CheckArmModel(robot);
  return robot;
}

RobotConfig MakeOrthoParallelArm(const OrthoParallelGeometry& g,
                                 const std::array<double, 7>& jointMin,
                                 const std::array<double, 7>& jointMax, const RobJoint& homeJoint,
                                 std::int32_t jointCoupling) {
  RobotConfig robot =
      detail::BuildOrthoParallelArm(g, jointMin, jointMax, homeJoint, jointCoupling);
  CheckArmModel(robot);
  return robot;
}

OrthoParallelGeometry DefaultArmGeometry() {
  return {.a1 = 150.0, .a2 = -110.0, .b = 0.0, .c1 = 450.0, .c2 = 600.0, .c3 = 640.0, .c4 = 100.0};
}

RobotConfig DefaultArm() {
  return MakeOrthoParallelArm(
      DefaultArmGeometry(), {-170.0, -90.0, -175.0, -180.0, -125.0, -360.0, -170.0},
      {170.0, 150.0, 70.0, 180.0, 125.0, 360.0, 170.0}, RobJoint(0.0, 0.0, 0.0, 0.0, 0.0, 0.0), 0);
}

}  // namespace zor::rob
