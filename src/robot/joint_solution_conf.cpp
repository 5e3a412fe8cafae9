#include "robot/joint_solution_conf.hpp"

#include <array>
#include <cmath>

#include "zor/rob/conf_data.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {

namespace detail {

namespace {

/// Largest angle (degrees) between joint 1 and the direction of the wrist centre for which the
/// shoulder counts as in front.
constexpr double kShoulderFrontAngle = 90.0;

/// \returns whether the shoulder is behind: |φ − j1| > 90 degrees for the direction
/// φ = atan2(y, x) (degrees) of the wrist centre (x, y) seen from the base z axis. The
/// difference is deliberately not wrapped into ±180: φ = 179 with j1 = −179 counts as behind.
///
/// The result is that of the atan2 comparison. Away from the boundary it follows from the sign
/// of r cos(φ − j1) = x cos j1 + y sin j1, with cos j1 = 1 − 2 sh² and sin j1 = 2 sh ch from
/// the half-angle sine and cosine of the forward kinematics, without the atan2:
/// - negative: φ − j1 lies in (90, 270) + 360 m for some integer m, never within ±90: behind;
/// - positive: φ − j1 lies in (−90, 90) + 360 m, in front only for m = 0. A rough φ, within 45
///   degrees, from the signs of x and y (the sign of y taken as atan2 takes it, −0 included)
///   tells m = 0 (|φ − j1| < 90) from m ≠ 0 (|φ − j1| > 270): in front when it lies within
///   180 degrees of j1.
/// Near the boundary, for a wrist centre on the z axis, for very large or non-finite j1 and for
/// NaN, atan2 decides.
bool shoulderBehind(double x, double y, double j1, const HalfAngleSinCos& half1) {
  const double cosJ1 = 1.0 - 2.0 * half1.sin * half1.sin;
  const double sinJ1 = 2.0 * half1.sin * half1.cos;
  const double along = x * cosJ1 + y * sinJ1;
  const double rr = x * x + y * y;
  if (along * along > kShoulderFastCosine * kShoulderFastCosine * rr &&
      std::abs(j1) < kShoulderFastJointLimit) {
    if (along < 0.0)
      return true;
    const double quadrantX = x >= 0.0 ? 45.0 : 135.0;
    const double roughPhi = std::signbit(y) ? -quadrantX : quadrantX;
    return !(std::abs(roughPhi - j1) < 180.0);
  }
  const double phi = RadToDeg(std::atan2(y, x));
  return !(std::abs(phi - j1) <= kShoulderFrontAngle);
}

}  // namespace

ConfData confFromFlangePose(const RobJoint& joints, const RobotConfig& robot,
                            const Transform& flange, const HalfAngleSinCos& joint1) {
  const std::array<double, 6>& j = joints.values;
  // The wrist centre; only its x and y enter.
  const Vec3 wcp = wristCentre(flange.translation, flange.rotation, robot.getWcpZOffset());
  const bool behind = shoulderBehind(wcp.x, wcp.y, j[0], joint1);
  // Set for j3 <= -k, so with elbowOffset 0 a joint 3 at 0 sets it (0 > -0 is false).
  const bool elbow = !(j[2] > -RadToDeg(robot.elbowOffset));
  // j5 = 0 counts as not flipped.
  const bool wrist = j[4] < 0.0;
  return {AngleToQuadrant(j[0]), AngleToQuadrant(j[3]), AngleToQuadrant(j[5]),
          (behind ? 4 : 0) + (elbow ? 2 : 0) + (wrist ? 1 : 0)};
}

}  // namespace detail

ConfData ConfData::FromRobJoint(const RobJoint& joints, const RobotConfig& robot) {
  detail::HalfAngleSinCos joint1;
  const Transform flange = detail::flangePose(robot, joints, joint1);
  return detail::confFromFlangePose(joints, robot, flange, joint1);
}

}  // namespace zor::rob
