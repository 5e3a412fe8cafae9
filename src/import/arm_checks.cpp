// The check of an arm given directly in the library form (general form, ortho-parallel lengths):
// every assumption the closed form, the configuration number and the singularity classes make
// of the model, each with its own message. The tolerances are loose enough for axes and points
// written by hand with a few digits and tight enough that a broken assumption is never taken for
// rounding.
#include <cmath>
#include <cstddef>
#include <string>

#include "detail/kinematics.hpp"
#include "detail/messages.hpp"
#include "detail/throwers.hpp"
#include "import/library_form.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/text.hpp"

namespace zor::rob {

namespace {

/// Largest difference from 1 of an axis length, and largest sine between two axes that still
/// counts as parallel.
constexpr double kDirectionTolerance = 1e-6;
/// Largest distance (mm) between two lines or points that still counts as meeting.
constexpr double kMeetTolerance = 1e-6;
/// Largest difference (radians) between the elbow offset and the stretching joint-3 angle.
constexpr double kElbowTolerance = 1e-9;

bool finite(const Vec3& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

/// Compares so that NaN never passes.
bool within(double value, double tolerance) {
  return std::abs(value) <= tolerance;
}

bool small(const Vec3& v) {
  return within(v.x, detail::kLargestCoordinate) && within(v.y, detail::kLargestCoordinate) &&
         within(v.z, detail::kLargestCoordinate);
}

void checkNumbers(const RobotConfig& robot) {
  const auto& r = robot.flangeHome.rotation;
  bool allFinite = finite(robot.flangeHome.translation) && std::isfinite(r.w) &&
                   std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.z) &&
                   std::isfinite(robot.elbowOffset);
  for (std::size_t i = 0; i < 6; ++i)
    allFinite = allFinite && finite(robot.jointAxes[i]) && finite(robot.jointPoints[i].toVec3());
  if (!allFinite)
    detail::throwInvalidArgument(detail::msg::kNotFinite);
  detail::CheckArmSize(robot.jointPoints, robot.flangeHome.translation);
  for (std::size_t i = 0; i < 6; ++i)
    if (!within(robot.jointAxes[i].norm() - 1.0, kDirectionTolerance))
      detail::throwInvalidArgument(detail::msg::kAxisOfJoint + std::to_string(i + 1) +
                                   detail::msg::kMustBeUnit);
  const double q = std::sqrt(r.w * r.w + r.x * r.x + r.y * r.y + r.z * r.z);
  if (!within(q - 1.0, kDirectionTolerance))
    detail::throwInvalidArgument(detail::msg::kFlangeUnit);
}

/// The limits and the home joints: finite, ordered, home inside.
void checkLimits(const RobotConfig& robot) {
  for (std::size_t i = 0; i < 7; ++i) {
    const double lo = robot.jointMin[i];
    const double hi = robot.jointMax[i];
    if (!(std::isfinite(lo) && std::isfinite(hi) && lo <= hi))
      detail::throwInvalidArgument((i < 6 ? detail::msg::kLimitsOfJoint + std::to_string(i + 1)
                                          : std::string(detail::msg::kLimitsOfSum)) +
                                   detail::msg::kLimitsOrder);
  }
  const auto& home = robot.homeJoint.values;
  for (std::size_t i = 0; i < 6; ++i) {
    const std::string name = detail::msg::kHomeJoint + std::to_string(i + 1);
    if (!std::isfinite(home[i]))
      detail::throwInvalidArgument(name + detail::msg::kMustBeFinite);
    if (!(home[i] >= robot.jointMin[i] - RobotConfig::kJointLimitTolerance &&
          home[i] <= robot.jointMax[i] + RobotConfig::kJointLimitTolerance))
      detail::throwInvalidArgument(name + detail::msg::kHomeOutside);
  }
  const double sum = home[1] + home[2];
  if (robot.jointCoupling == 1 && !(sum >= robot.jointMin[6] - RobotConfig::kJointLimitTolerance &&
                                    sum <= robot.jointMax[6] + RobotConfig::kJointLimitTolerance))
    detail::throwInvalidArgument(detail::msg::kHomeSum);
}

}  // namespace

namespace detail {

void CheckArmSize(const std::array<Pos, 6>& points, const Vec3& flange) {
  bool allSmall = small(flange);
  for (const Pos& p : points)
    allSmall = allSmall && small(p.toVec3());
  if (!allSmall)
    throwInvalidArgument(msg::kArmTooLarge);
}

void CheckJointAxes(const std::array<Vec3, 6>& k, double parallelTolerance) {
  if (within(k[0].cross(k[1]).norm(), kDirectionTolerance))
    throwInvalidArgument(msg::kShoulderAxes);
  if (!within(k[1].cross(k[2]).norm(), parallelTolerance))
    throwInvalidArgument(msg::kElbowAxes);
  if (!within(k[3].cross(k[5]).norm(), parallelTolerance))
    throwInvalidArgument(msg::kWristSingularity);
  // Joint 5 need not be perpendicular to joint 6, and on some wrists it is not: the wrist
  // singularity and the wrist bit of the configuration only need it to turn joint 6 away from
  // joint 4.
  if (within(k[4].cross(k[5]).norm(), kDirectionTolerance))
    throwInvalidArgument(msg::kWristAxes);
}

}  // namespace detail

void CheckArmModel(const RobotConfig& robot) {
  using detail::throwInvalidArgument;
  namespace msg = detail::msg;
  checkNumbers(robot);
  const std::array<Vec3, 6>& k = robot.jointAxes;
  const std::array<Pos, 6>& p = robot.jointPoints;

  // Joint 1 about +z through the base origin.
  const Vec3 p0 = detail::normalPart(p[0].toVec3(), k[0]);
  if (!within((k[0] - Vec3{0.0, 0.0, 1.0}).norm(), kDirectionTolerance) ||
      !within(p0.norm(), kMeetTolerance))
    throwInvalidArgument(msg::kJointOneAxis);
  detail::CheckJointAxes(k, kDirectionTolerance);

  const Pos wrist =
      detail::WristCentre(k[4], p[4], k[5], p[5], kDirectionTolerance, kMeetTolerance);
  // The elbow: joints 2 and 3 apart, the wrist centre off the axis of joint 3, and the elbow
  // offset the joint-3 angle that turns the forearm onto the upper arm.
  const double stretch = detail::ElbowStretch(k[2], p[1], p[2], wrist, kMeetTolerance);
  const double miss = std::remainder(robot.elbowOffset + stretch, 2.0 * kPi);
  if (!within(miss, kElbowTolerance))
    throwInvalidArgument(msg::kElbowOffset + ShortestText(-stretch));

  // The flange: the wrist centre on its z axis, getWcpZOffset() behind it.
  const Vec3 wristInFlange = robot.flangeHome.inverse().transform(wrist).toVec3();
  if (!within((wristInFlange - Vec3{0.0, 0.0, -robot.getWcpZOffset()}).norm(), kMeetTolerance))
    throwInvalidArgument(msg::kFlangeAxes);

  checkLimits(robot);
}

}  // namespace zor::rob
