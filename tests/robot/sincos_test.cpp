#include "robot/sincos.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "support/test_support.hpp"

namespace zor::rob::detail {
namespace {

/// Largest difference from std::sin and std::cos allowed (absolute; the results lie in [-1, 1]).
constexpr double kTol = 4e-16;

template <std::size_t N>
void expectMatchesStd(const std::array<double, N>& x) {
  std::array<double, N> s{};
  std::array<double, N> c{};
  sinCos(x, s, c);
  for (std::size_t i = 0; i < N; ++i) {
    EXPECT_NEAR(s[i], std::sin(x[i]), kTol) << "x = " << x[i];
    EXPECT_NEAR(c[i], std::cos(x[i]), kTol) << "x = " << x[i];
  }
}

TEST(SinCos, ZeroGivesExactlyZeroAndOne) {
  const std::array<double, 6> x{0.0, -0.0, 0.0, 0.0, 0.0, 0.0};
  std::array<double, 6> s{1, 1, 1, 1, 1, 1};
  std::array<double, 6> c{};
  sinCos(x, s, c);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(s[i], 0.0);
    EXPECT_EQ(c[i], 1.0);
  }
}

TEST(SinCos, MatchesTheStandardFunctionsOnRandomAngles) {
  test::Random random;
  for (int n = 0; n < 40000; ++n) {
    std::array<double, 6> x{};
    for (double& v : x)
      v = random.uniform(-4 * std::numbers::pi, 4 * std::numbers::pi);
    expectMatchesStd(x);
  }
  for (int n = 0; n < 20000; ++n) {
    std::array<double, 5> x{};
    for (double& v : x)
      v = random.uniform(-kMaxInlineSinCosArgument, kMaxInlineSinCosArgument);
    expectMatchesStd(x);
  }
}

TEST(SinCos, EveryQuadrantHasTheRightSigns) {
  for (int q = -9; q <= 9; ++q) {
    for (double r : {-0.78, -0.4, -1e-9, 0.0, 1e-9, 0.3, 0.78}) {
      expectMatchesStd(std::array<double, 2>{q * std::numbers::pi / 2 + r, -(q * 1.5707963 + r)});
    }
  }
}

TEST(SinCos, MultiplesOfAQuarterTurnAreReducedAccurately) {
  // The double nearest to k·π/2 lies within an ulp of it: its sine or cosine is tiny and must
  // come out with a small absolute error.
  for (int k = -2000; k <= 2000; ++k) {
    const double x = k * (std::numbers::pi / 2);
    expectMatchesStd(std::array<double, 1>{x});
    expectMatchesStd(std::array<double, 3>{std::nextafter(x, 1e9), std::nextafter(x, -1e9), x});
  }
  // Whole and half turns of joint values in degrees, as the kinematics forms them.
  for (double degrees : {90.0, 180.0, 270.0, 360.0, -90.0, -180.0, -360.0, 720.0, 45.0}) {
    const double half = degrees * 3.141592653589793 / 180.0 * 0.5;
    expectMatchesStd(std::array<double, 1>{half});
  }
}

TEST(SinCos, OddAndSingleCounts) {
  expectMatchesStd(std::array<double, 1>{0.5});
  expectMatchesStd(std::array<double, 3>{0.5, -2.0, 3.0});
  expectMatchesStd(std::array<double, 5>{0.5, -2.0, 3.0, 100.0, -7.0});
}

TEST(SinCos, LargeAnglesGoToTheStandardFunctions) {
  const std::array<double, 4> x{0.5, kMaxInlineSinCosArgument * 1.5, -1e9, 2.0};
  std::array<double, 4> s{};
  std::array<double, 4> c{};
  sinCos(x, s, c);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(s[i], std::sin(x[i]));
    EXPECT_EQ(c[i], std::cos(x[i]));
  }
  expectMatchesStd(std::array<double, 2>{kMaxInlineSinCosArgument, -kMaxInlineSinCosArgument});
}

TEST(SinCos, NonFiniteAnglesGiveNaN) {
  const std::array<double, 3> x{std::numeric_limits<double>::quiet_NaN(),
                                std::numeric_limits<double>::infinity(), 1.0};
  std::array<double, 3> s{};
  std::array<double, 3> c{};
  sinCos(x, s, c);
  EXPECT_TRUE(std::isnan(s[0]));
  EXPECT_TRUE(std::isnan(c[0]));
  EXPECT_TRUE(std::isnan(s[1]));
  EXPECT_TRUE(std::isnan(c[1]));
  EXPECT_EQ(s[2], std::sin(1.0));
  EXPECT_EQ(c[2], std::cos(1.0));
}

}  // namespace
}  // namespace zor::rob::detail
