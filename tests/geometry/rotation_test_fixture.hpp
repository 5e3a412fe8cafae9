#pragma once

// The typed fixture the rotation tests share, split by feature over several files.

#include <gtest/gtest.h>

#include <type_traits>

#include "geometry/geometry_test_util.hpp"

namespace zor::rob::test {

template <class T>
class Rotations : public ScalarTest<T> {
 protected:
  /// toEuler and Slerp are ill-conditioned near their limits; this tolerance covers float.
  static constexpr double kLooseTol = std::is_same_v<T, float> ? 1e-4 : 1e-10;
  /// A matrix rebuilt from Euler angles that hold to kLooseTol.
  static constexpr double kLooseMatrixTol = 10 * kLooseTol;
  /// Euler angles in degrees, converted from radians that hold to kLooseTol.
  static constexpr double kLooseDegreeTol = 180 * kLooseTol;
  /// The angle between two directions through acos, which magnifies the rounding of the dot
  /// product near 0 and π.
  static constexpr double kLooseAngleTol = 1000 * kLooseTol;
};

}  // namespace zor::rob::test
