#pragma once

#include <gtest/gtest.h>

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

}  // namespace zor::rob::test
