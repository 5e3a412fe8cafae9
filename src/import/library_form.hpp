#pragma once

// The step every arm reader ends with: an arm given by its joint axes, axis points and flange at
// the controller's zero, checked against what the library assumes of an arm and brought into the
// library form (see zor/rob/arm_import.hpp).

#include <array>

#include "zor/rob/arm_import.hpp"

namespace zor::rob::detail {

/// An arm at the zero of its joint values: the joint axes (any non-zero length), a point on
/// each axis (mm) and the flange pose, all in the base frame.
struct ArmAtZero {
  std::array<Vec3, 6> axes{};
  std::array<Pos, 6> points{};
  Transform flange{};
};

/// Joint points and flange positions (mm) must lie within this of the base: the squares of
/// larger coordinates are numbers the kinematics cannot keep exact.
inline constexpr double kLargestCoordinate = 1e7;

/// Throws std::invalid_argument "the arm's joint points and flange must lie within 1e7 mm of the
/// base" when a coordinate of `points` or `flange` lies farther (or is NaN).
void CheckArmSize(const std::array<Pos, 6>& points, const Vec3& flange);

/// Checks the directions of the unit joint axes `k` in the order CheckArmModel does: joints 1
/// and 2 not parallel, 2 and 3 parallel, 4 and 6 parallel, 5 not parallel to 6; each with its
/// message. Parallel means within `parallelTolerance` (sine of the angle), the others within
/// CheckArmModel's tolerance.
void CheckJointAxes(const std::array<Vec3, 6>& k, double parallelTolerance);

/// \returns the wrist centre: the point where the axis of joint 5 (unit `axis5` through
/// `point5`) meets the axis of joint 6, taken on the latter. Throws std::invalid_argument "the
/// axes of joints 5 and 6 must meet (the wrist centre)" for axes parallel within
/// `directionTolerance` or apart by more than `meetTolerance` mm.
Pos WristCentre(const Vec3& axis5, const Pos& point5, const Vec3& axis6, const Pos& point6,
                double directionTolerance, double meetTolerance);

/// \returns the joint-3 angle that turns the forearm (axis of joint 3 to the wrist centre) onto
/// the upper arm's direction (axis of joint 2 to axis of joint 3), for the parallel unit axes of
/// joints 2 and 3 through `point2` and `point3`: the negated elbow offset. Throws
/// std::invalid_argument with the elbow messages when the axes (or the wrist centre and axis 3)
/// lie within `meetTolerance` mm of each other.
double ElbowStretch(const Vec3& axis3, const Pos& point2, const Pos& point3, const Pos& wrist,
                    double meetTolerance);

/// \returns the arm in the library form with the given limits. Throws std::invalid_argument
/// naming the assumption the arm breaks.
ImportedArm ToLibraryForm(const ArmAtZero& arm, const ArmLimits& limits);

}  // namespace zor::rob::detail
