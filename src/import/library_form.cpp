// Implementation notes. The readers compose transforms, so an axis that is exactly along a base
// axis in the description arrives with rounding noise in its other components (1e-17 and the
// like). Components below kAxisNoise are set to zero before the axis is normalised, and point
// coordinates below kPointNoise mm likewise, so that the same arm read from different forms gives
// the same numbers wherever the description has exact zeros.
#include "import/library_form.hpp"

#include "detail/kinematics.hpp"
#include "detail/messages.hpp"
#include "detail/throwers.hpp"

#include <cmath>
#include <cstddef>

namespace zor::rob::detail {

namespace {

/// Largest difference between two unit directions that still counts as the same or parallel.
constexpr double kDirectionTolerance = 1e-9;
/// Largest distance (mm) between two points, or two lines, that still counts as meeting.
constexpr double kMeetTolerance = 1e-6;
constexpr double kAxisNoise = 1e-12;
constexpr double kPointNoise = 1e-9;

double snap(double value, double noise) {
  return std::abs(value) < noise ? 0.0 : value;
}

Vec3 unitAxis(const Vec3& axis) {
  const Vec3 clean{snap(axis.x, kAxisNoise), snap(axis.y, kAxisNoise), snap(axis.z, kAxisNoise)};
  return clean / clean.norm();
}

Pos cleanPoint(const Pos& p) {
  return {snap(p.x, kPointNoise), snap(p.y, kPointNoise), snap(p.z, kPointNoise)};
}

bool finite(const Vec3& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

bool finite(const Transform& t) {
  const auto& r = t.rotation;
  return finite(t.translation) && std::isfinite(r.w) && std::isfinite(r.x) && std::isfinite(r.y) &&
         std::isfinite(r.z);
}

/// \returns whether `distance` is at most `tolerance`; false for NaN, so that coordinates that
/// overflowed never pass a check.
bool within(double distance, double tolerance) {
  return distance <= tolerance;
}

}  // namespace

Pos WristCentre(const Vec3& axis5, const Pos& point5, const Vec3& axis6, const Pos& point6,
                double directionTolerance, double meetTolerance) {
  const Vec3 normal = axis5.cross(axis6);
  if (within(normal.norm(), directionTolerance))
    throwInvalidArgument(msg::kWristCentre);
  const Vec3 gap = point6 - point5;
  if (!within(std::abs(gap.dot(normal)) / normal.norm(), meetTolerance))
    throwInvalidArgument(msg::kWristCentre);
  // On the axis of joint 6, the parameter t where the line meets the plane of axis 5 and the
  // common normal.
  const Vec3 planeNormal = axis5.cross(normal);
  const double t = -gap.dot(planeNormal) / axis6.dot(planeNormal);
  return point6 + axis6 * t;
}

double ElbowStretch(const Vec3& axis3, const Pos& point2, const Pos& point3, const Pos& wrist,
                    double meetTolerance) {
  const Vec3 upperArm = normalPart(point3 - point2, axis3);
  const Vec3 forearm = normalPart(wrist - point3, axis3);
  if (within(upperArm.norm(), meetTolerance))
    throwInvalidArgument(msg::kElbowAxes);
  if (within(forearm.norm(), meetTolerance))
    throwInvalidArgument(msg::kElbowWrist);
  return std::atan2(forearm.cross(upperArm).dot(axis3), forearm.dot(upperArm));
}

ImportedArm ToLibraryForm(const ArmAtZero& arm, const ArmLimits& limits) {
  bool allFinite = finite(arm.flange);
  for (std::size_t i = 0; i < 6; ++i)
    allFinite = allFinite && finite(arm.axes[i]) && finite(arm.points[i].toVec3());
  if (!allFinite)
    throwInvalidArgument(msg::kNotFinite);
  CheckArmSize(arm.points, arm.flange.translation);

  // The assumptions are checked in CheckArmModel's order, so that an arm breaking several gets
  // the same message from every reader.
  std::array<Vec3, 6> axes{};
  for (std::size_t i = 0; i < 6; ++i)
    axes[i] = unitAxis(arm.axes[i]);
  const std::array<Pos, 6>& given = arm.points;

  // Joint 1 about +z through the base origin.
  const Pos p0 = footOnAxis(axes[0], given[0], Pos{});
  if (!within((axes[0] - Vec3{0.0, 0.0, 1.0}).norm(), kDirectionTolerance) ||
      !within(p0.toVec3().norm(), kMeetTolerance))
    throwInvalidArgument(msg::kJointOneAxis);
  CheckJointAxes(axes, kDirectionTolerance);
  const Pos wrist =
      WristCentre(axes[4], given[4], axes[5], given[5], kDirectionTolerance, kMeetTolerance);

  std::array<Pos, 6> points{};
  points[0] = cleanPoint(p0);
  points[1] = cleanPoint(footOnAxis(axes[1], given[1], points[0]));
  points[2] = cleanPoint(footOnAxis(axes[2], given[2], points[1]));
  for (std::size_t i = 3; i < 6; ++i)
    points[i] = cleanPoint(footOnAxis(axes[i], given[i], wrist));

  // The elbow: the joint-3 value that turns the forearm (axis of joint 3 to the wrist centre)
  // onto the upper arm's direction (axis of joint 2 to axis of joint 3) stretches the arm.
  const double stretch = ElbowStretch(axes[2], points[1], points[2], wrist, kMeetTolerance);

  ImportedArm result;
  Transform flange = arm.flange;
  flange.translation = cleanPoint(flange.translation.toPos()).toVec3();
  // The wrist centre must sit on the flange's z axis, getWcpZOffset() behind the flange.
  const double zOffset = flange.translation.x - points[4].x;
  const Vec3 wristInFlange = flange.inverse().transform(points[4]).toVec3();
  if (!within((wristInFlange - Vec3{0.0, 0.0, -zOffset}).norm(), kMeetTolerance)) {
    const Transform moved(flange.rotation, points[4].toVec3());
    result.userFlange = moved.inverse() * flange;
    flange = moved;
  }
  // Coordinates near the limits of double can overflow in the products above.
  bool resultFinite = finite(flange) && std::isfinite(stretch);
  for (std::size_t i = 0; i < 6; ++i)
    resultFinite = resultFinite && finite(axes[i]) && finite(points[i].toVec3());
  if (!resultFinite)
    throwInvalidArgument(msg::kNotFinite);
  result.robot = MakeRobotConfig(axes, points, flange, limits.jointMin, limits.jointMax,
                                 limits.homeJoint, -stretch, limits.jointCoupling);
  return result;
}

}  // namespace zor::rob::detail

namespace zor::rob {

bool ImportedArm::flangeMoved() const {
  const auto& r = userFlange.rotation;
  return !(userFlange.translation == Vec3{} && r.x == 0.0 && r.y == 0.0 && r.z == 0.0);
}

Transform ImportedArm::userFlangePose(const RobJoint& joints) const {
  return robot.getWristPoseInBase(joints) * userFlange;
}

Pose ImportedArm::flangePoseOfUserFlange(const Pose& userPose) const {
  return (Transform::FromPose(userPose) * userFlange.inverse()).toPose();
}

}  // namespace zor::rob
