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

/// \returns the arm in the library form with the given limits. Throws std::invalid_argument
/// naming the assumption the arm breaks.
ImportedArm ToLibraryForm(const ArmAtZero& arm, const ArmLimits& limits);

}  // namespace zor::rob::detail
