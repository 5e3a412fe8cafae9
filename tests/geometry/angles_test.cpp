#include "zor/rob/angles.hpp"

#include <gtest/gtest.h>

#include <cmath>

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

TEST(Angles, ConversionsAreUsableInConstantExpressions) {
  static_assert(DegToRad(180.0) == kPi);
  static_assert(RadToDeg(kPi) == 180.0);
}

}  // namespace
}  // namespace zor::rob
