#pragma once

// Random directions and rotations for the property tests, from the suite's seeded source.

#include <Eigen/Core>

#include "support/test_support.hpp"

namespace zor::rob::test {

/// A random unit vector of N components, uniform on the sphere: points drawn in the cube
/// [-1, 1]^N until one falls inside the unit ball (and not so near its centre that its
/// direction would be resolved poorly), divided by its length. The last component is drawn
/// first, so that a seed gives the same samples as the suite always drew.
template <int N>
Eigen::Matrix<double, N, 1> randomUnit(Random& random) {
  for (;;) {
    Eigen::Matrix<double, N, 1> v;
    for (int i = N - 1; i >= 0; --i)
      v[i] = random.uniform(-1, 1);
    const double n = v.norm();
    if (n > 0.1 && n <= 1.0)
      return v / n;
  }
}

/// A random unit axis, uniform on the sphere.
inline Eigen::Vector3d randomUnitVector(Random& random) {
  return randomUnit<3>(random);
}

/// A random unit quaternion as (w, x, y, z), uniform on the 3-sphere.
inline Eigen::Vector4d randomUnitQuaternion(Random& random) {
  return randomUnit<4>(random);
}

}  // namespace zor::rob::test
