// The shared shortest round-trip formatter used for positions in text forms.

#include "detail/format.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "support/test_support.hpp"

namespace zor::rob::detail {
namespace {

TEST(Format, ShortestFormOfDoubles) {
  EXPECT_EQ(shortest(100.5), "100.5");
  EXPECT_EQ(shortest(250.0), "250");
  EXPECT_EQ(shortest(0.0), "0");
  EXPECT_EQ(shortest(-0.0), "-0");
  EXPECT_EQ(shortest(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(shortest(0.1), "0.1");
  EXPECT_EQ(shortest(1e-7), "1e-07");
  EXPECT_EQ(shortest(1e20), "1e+20");
  EXPECT_EQ(shortest(1250.123456789), "1250.123456789");
  EXPECT_EQ(shortest(-3.25), "-3.25");
  // Fixed or scientific, whichever is shorter; fixed on a tie.
  EXPECT_EQ(shortest(9e9), "9e+09");
  EXPECT_EQ(shortest(1e16), "1e+16");
  EXPECT_EQ(shortest(100000.0), "1e+05");
  EXPECT_EQ(shortest(10000.0), "10000");
  EXPECT_EQ(shortest(0.001), "0.001");
  EXPECT_EQ(shortest(0.0001), "1e-04");
  EXPECT_EQ(shortest(123456789012345680.0), "123456789012345680");
  EXPECT_EQ(shortest(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
  EXPECT_EQ(shortest(std::numeric_limits<double>::denorm_min()), "5e-324");
}

TEST(Format, AppendShortestAppends) {
  std::string s = "x=";
  appendShortest(s, 1.5);
  appendShortest(s, -2.0);
  EXPECT_EQ(s, "x=1.5-2");
}

TEST(Format, TripleInBraces) {
  EXPECT_EQ(formatTriple(100.5, 0, 250), "{100.5, 0, 250}");
  EXPECT_EQ(formatTriple(0.1 + 0.2, 1e-7, -0.0), "{0.30000000000000004, 1e-07, -0}");
}

TEST(Format, ShortestFormReadsBackExactly) {
  test::Random random;
  for (int i = 0; i < 20000; ++i) {
    const double v = random.uniform(-1, 1) * std::pow(10.0, random.integer(-30, 30));
    const std::string text = shortest(v);
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), v) << text;
  }
}

}  // namespace
}  // namespace zor::rob::detail
