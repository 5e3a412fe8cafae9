#include "ik/atan2.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "support/test_support.hpp"

namespace zor::rob::detail {
namespace {

/// Largest difference from std::atan2 allowed, in units in the last place of its result.
constexpr double kUlps = 4.0;

double ulpOf(double v) {
  const double a = std::abs(v);
  return std::nextafter(a, std::numeric_limits<double>::infinity()) - a;
}

#if defined(__x86_64__)
template <std::size_t N>
[[gnu::target("avx2,fma")]] void atan2sAvx2(const std::array<double, N>& y,
                                            const std::array<double, N>& x,
                                            std::array<double, N>& out) {
  atan2s<4>(y, x, out);
}

bool processorHasAvx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}
#endif

/// The lane counts atan2s is built for: 2 everywhere, 4 for AVX2 where the processor has it.
std::vector<std::size_t> laneCounts() {
  std::vector<std::size_t> counts{2};
#if defined(__x86_64__)
  if (processorHasAvx2())
    counts.push_back(4);
#endif
  return counts;
}

/// atan2s `lanes` at a time.
template <std::size_t N>
void atan2sIn(std::size_t lanes, const std::array<double, N>& y, const std::array<double, N>& x,
              std::array<double, N>& out) {
#if defined(__x86_64__)
  if (lanes == 4) {
    atan2sAvx2(y, x, out);
    return;
  }
#endif
  ASSERT_EQ(lanes, 2U);
  atan2s(y, x, out);
}

template <std::size_t N>
void expectMatchesStd(const std::array<double, N>& y, const std::array<double, N>& x) {
  for (const std::size_t lanes : laneCounts()) {
    std::array<double, N> out{};
    atan2sIn(lanes, y, x, out);
    for (std::size_t i = 0; i < N; ++i) {
      const double expected = std::atan2(y[i], x[i]);
      EXPECT_LE(std::abs(out[i] - expected), kUlps * ulpOf(expected))
          << "atan2(" << y[i] << ", " << x[i] << ") = " << out[i] << ", expected " << expected
          << " (" << lanes << " lanes)";
    }
  }
}

/// atan2s of one pair, `lanes` at a time.
double one(std::size_t lanes, double y, double x) {
  std::array<double, 1> out{};
  atan2sIn(lanes, std::array<double, 1>{y}, std::array<double, 1>{x}, out);
  return out[0];
}

/// Checks `calls` random calls of N pairs each: y and x uniform within ±1, times 10 to a power
/// uniform within ±`exponent`.
template <std::size_t N>
void expectRandomCallsMatchStd(int calls, double exponent) {
  test::Random random;
  for (int n = 0; n < calls; ++n) {
    std::array<double, N> y{};
    std::array<double, N> x{};
    for (std::size_t i = 0; i < N; ++i) {
      y[i] = random.uniform(-1.0, 1.0) * std::pow(10.0, random.uniform(-exponent, exponent));
      x[i] = random.uniform(-1.0, 1.0) * std::pow(10.0, random.uniform(-exponent, exponent));
    }
    expectMatchesStd(y, x);
  }
}

TEST(Atan2s, MatchesTheStandardFunctionOnRandomPairsOfAnyScale) {
  expectRandomCallsMatchStd<6>(50000, 30.0);
}

TEST(Atan2s, MatchesTheStandardFunctionAroundEverySectorBound) {
  // The sectors change at the tangents of (2j - 1)π/32 and the octants at |y| = |x|.
  for (int j = 1; j <= 8; ++j) {
    const double bound = std::tan((2 * j - 1) * std::numbers::pi / 32.0);
    for (const double t : {bound * (1 - 1e-15), bound, bound * (1 + 1e-15)})
      for (const double sx : {1.0, -1.0})
        for (const double sy : {1.0, -1.0})
          expectMatchesStd(std::array<double, 4>{sy * t, sy, sy * t * 1e-200, sy * 3.0},
                           std::array<double, 4>{sx, sx * t, sx * 1e-200, sx * 3.0 * t});
  }
}

TEST(Atan2s, CountsThatAreNoMultipleOfTheLanesFillTheLastVectorAlone) {
  expectMatchesStd(std::array<double, 3>{0.3, -2.0, 5.0}, std::array<double, 3>{-1.0, 0.7, 5.0});
  expectMatchesStd(std::array<double, 1>{-0.25}, std::array<double, 1>{-4.0});
  expectMatchesStd(std::array<double, 6>{0.3, -2.0, 5.0, 1e-3, -7.0, 0.0},
                   std::array<double, 6>{-1.0, 0.7, 5.0, -2.0, -7.0, -1.0});
  expectMatchesStd(std::array<double, 7>{0.3, -2.0, 5.0, 1e-3, -7.0, 0.0, 4.0},
                   std::array<double, 7>{-1.0, 0.7, 5.0, -2.0, -7.0, -1.0, 1e-5});
}

TEST(Atan2s, TwentyPairsAtOnceAsInTheClosedFormMatchTheStandardFunction) {
  expectRandomCallsMatchStd<20>(2000, 1.0);
}

TEST(Atan2s, AxesDiagonalsAndZerosComeOutExactlyAndSignedAsTheStandardFunction) {
  constexpr double pi = std::numbers::pi;
  for (const std::size_t lanes : laneCounts()) {
    for (const double y : {0.0, -0.0, 1.0, -1.0, 1e-310, -1e-310, 3.5})
      for (const double x : {0.0, -0.0, 1.0, -1.0, 1e-310, -1e-310, 3.5}) {
        const double expected = std::atan2(y, x);
        const double got = one(lanes, y, x);
        if (y == 0.0 || x == 0.0 || std::abs(y) == std::abs(x)) {
          // Exact where the result is 0, ±π/2, ±π/4 or ±π; ±3π/4 within its rounding.
          if (std::abs(std::abs(expected) - 3 * pi / 4) < 1e-12)
            EXPECT_LE(std::abs(got - expected), ulpOf(expected)) << y << ", " << x;
          else
            EXPECT_EQ(got, expected) << y << ", " << x;
        }
        EXPECT_EQ(std::signbit(got), std::signbit(expected)) << y << ", " << x;
      }
    EXPECT_EQ(one(lanes, 0.0, 2.0), 0.0);
    EXPECT_EQ(one(lanes, 2.0, 0.0), pi / 2);
    EXPECT_EQ(one(lanes, -2.0, 0.0), -pi / 2);
    EXPECT_EQ(one(lanes, 0.0, -2.0), pi);
    EXPECT_EQ(one(lanes, -0.0, -2.0), -pi);
    EXPECT_EQ(one(lanes, 5.0, 5.0), pi / 4);
  }
}

TEST(Atan2s, InfiniteOrNanInputsGiveTheStandardResultsForTheWholeCall) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const std::array<double, 4> y{inf, 1.0, nan, -inf};
  const std::array<double, 4> x{1.0, -inf, 2.0, -inf};
  for (const std::size_t lanes : laneCounts()) {
    std::array<double, 4> out{};
    atan2sIn(lanes, y, x, out);
    EXPECT_EQ(out[0], std::atan2(inf, 1.0));
    EXPECT_EQ(out[1], std::atan2(1.0, -inf));
    EXPECT_TRUE(std::isnan(out[2]));
    EXPECT_EQ(out[3], std::atan2(-inf, -inf));
    // The finite pairs of such a call come from the standard function too, also when the
    // infinite or NaN input is in another vector.
    std::array<double, 6> mixed{};
    atan2sIn(lanes, std::array<double, 6>{0.7, 1.0, 0.1, 0.2, 0.3, 0.4},
             std::array<double, 6>{0.2, 1.0, 0.3, 0.4, 0.5, nan}, mixed);
    EXPECT_EQ(mixed[0], std::atan2(0.7, 0.2));
    EXPECT_EQ(mixed[3], std::atan2(0.2, 0.4));
  }
}

}  // namespace
}  // namespace zor::rob::detail
