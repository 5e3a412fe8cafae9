#pragma once

// Comparisons that print both operands: within an absolute tolerance, or component by
// component.

#include <gtest/gtest.h>

#include <sstream>

#include "zor/rob/rotation.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::test {

/// Passes when `actual` lies within `tolerance` (Euclidean distance) of `expected`; the failure
/// message shows both vectors and their distance.
inline ::testing::AssertionResult near(const Vec3& actual, const Vec3& expected, double tolerance) {
  const double error = (actual - expected).norm();
  if (error <= tolerance)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "(" << actual.x << ", " << actual.y << ", " << actual.z << ") differs from ("
         << expected.x << ", " << expected.y << ", " << expected.z << ") by " << error << " > "
         << tolerance;
}

/// Passes when no entry of the Eigen matrix (or vector) `actual` differs from the one of
/// `expected` by more than `tolerance`; the failure message shows both at full precision.
template <class A, class B>
::testing::AssertionResult matricesNear(const A& actual, const B& expected, double tolerance) {
  const double difference = (actual - expected).cwiseAbs().maxCoeff();
  if (difference <= tolerance)
    return ::testing::AssertionSuccess();
  std::ostringstream out;
  out.precision(17);
  out << "entries differ by up to " << difference << " > " << tolerance << "\nactual:\n"
      << actual << "\nexpected:\n"
      << expected;
  return ::testing::AssertionFailure() << out.str();
}

/// Expects the four stored components of `actual` to equal those of `expected` exactly: the
/// same rotation bit for bit, not merely an equivalent one.
template <class T>
void expectSameComponents(const RotationTemplate<T>& actual, const RotationTemplate<T>& expected) {
  EXPECT_EQ(actual.x, expected.x);
  EXPECT_EQ(actual.y, expected.y);
  EXPECT_EQ(actual.z, expected.z);
  EXPECT_EQ(actual.w, expected.w);
}

}  // namespace zor::rob::test
