#include "zor/rob/angles.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/test_support.hpp"

namespace zor::rob {
namespace {

TEST(Angles, PiIsTheDoubleNearestToPi) {
  EXPECT_EQ(kPi, 3.141592653589793);
  EXPECT_EQ(kPi, std::acos(-1.0));
}

TEST(Angles, WholeTurnsAndQuartersConvertExactly) {
  EXPECT_EQ(DegToRad(0.0), 0.0);
  EXPECT_EQ(DegToRad(180.0), kPi);
  EXPECT_EQ(DegToRad(-180.0), -kPi);
  EXPECT_EQ(DegToRad(90.0), kPi / 2);
  EXPECT_EQ(DegToRad(360.0), 2 * kPi);
  EXPECT_EQ(RadToDeg(kPi), 180.0);
  EXPECT_EQ(RadToDeg(kPi / 2), 90.0);
  EXPECT_EQ(RadToDeg(-2 * kPi), -360.0);
}

TEST(Angles, ConversionsFormTheProductFirst) {
  // value · π / 180 and value · 180 / π, as written, not value · (π / 180): for some values the
  // two roundings differ, and the joint values of the arm model are converted this way.
  test::Random random;
  int differs = 0;
  for (int i = 0; i < 10000; ++i) {
    const double degrees = random.uniform(-400.0, 400.0);
    ASSERT_EQ(DegToRad(degrees), degrees * 3.141592653589793 / 180.0);
    ASSERT_EQ(RadToDeg(degrees), degrees * 180.0 / 3.141592653589793);
    differs += DegToRad(degrees) != degrees * (3.141592653589793 / 180.0);
  }
  EXPECT_GT(differs, 0);
}

TEST(Angles, HugeDegreesConvertToFiniteRadians) {
  // Beyond about 5.7e307 degrees, degrees · π overflows; the angle in radians does not.
  constexpr double largest = std::numeric_limits<double>::max();
  constexpr double degreeInRadians = 3.141592653589793 / 180.0;
  for (const double degrees : {1e308, -1e308, largest, -largest, 5.8e307, -5.8e307}) {
    SCOPED_TRACE(degrees);
    EXPECT_TRUE(std::isinf(degrees * 3.141592653589793));
    EXPECT_EQ(DegToRad(degrees), degrees * degreeInRadians);
    EXPECT_TRUE(std::isfinite(DegToRad(degrees)));
  }
  // Up to ±1e307 the product is formed first; past it, the quotient (for these values the two
  // roundings differ, so the comparison tells which was used).
  for (const double sign : {1.0, -1.0}) {
    ASSERT_NE(1e307 * 3.141592653589793 / 180.0, 1e307 * degreeInRadians);
    EXPECT_EQ(DegToRad(sign * 1e307), sign * 1e307 * 3.141592653589793 / 180.0);
    ASSERT_NE(2e307 * 3.141592653589793 / 180.0, 2e307 * degreeInRadians);
    EXPECT_EQ(DegToRad(sign * 2e307), sign * 2e307 * degreeInRadians);
  }
  // Infinities stay infinite, NaN stays NaN.
  constexpr double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(DegToRad(inf), inf);
  EXPECT_EQ(DegToRad(-inf), -inf);
  EXPECT_TRUE(std::isnan(DegToRad(std::numeric_limits<double>::quiet_NaN())));
}

TEST(Angles, ConversionsAreUsableInConstantExpressions) {
  static_assert(DegToRad(180.0) == kPi);
  static_assert(RadToDeg(kPi) == 180.0);
  static_assert(DegToRad(1e308) == 1e308 * (kPi / 180.0));
}

}  // namespace
}  // namespace zor::rob
