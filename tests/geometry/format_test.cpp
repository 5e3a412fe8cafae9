// The shared shortest round-trip formatter used for positions in text forms.

#include "zor/rob/text.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "support/test_support.hpp"

namespace zor::rob::detail {
namespace {

TEST(Format, ShortestFormOfDoubles) {
  EXPECT_EQ(ShortestText(100.5), "100.5");
  EXPECT_EQ(ShortestText(250.0), "250");
  EXPECT_EQ(ShortestText(0.0), "0");
  EXPECT_EQ(ShortestText(-0.0), "-0");
  EXPECT_EQ(ShortestText(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(ShortestText(0.1), "0.1");
  EXPECT_EQ(ShortestText(1e-7), "1e-07");
  EXPECT_EQ(ShortestText(1e20), "1e+20");
  EXPECT_EQ(ShortestText(1250.123456789), "1250.123456789");
  EXPECT_EQ(ShortestText(-3.25), "-3.25");
  // Fixed or scientific, whichever is shorter; fixed on a tie.
  EXPECT_EQ(ShortestText(9e9), "9e+09");
  EXPECT_EQ(ShortestText(1e16), "1e+16");
  EXPECT_EQ(ShortestText(100000.0), "1e+05");
  EXPECT_EQ(ShortestText(10000.0), "10000");
  EXPECT_EQ(ShortestText(0.001), "0.001");
  EXPECT_EQ(ShortestText(0.0001), "1e-04");
  EXPECT_EQ(ShortestText(123456789012345680.0), "123456789012345680");
  EXPECT_EQ(ShortestText(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
  EXPECT_EQ(ShortestText(std::numeric_limits<double>::denorm_min()), "5e-324");
}

TEST(Format, ShortestFormOfFloatsIsInTheirOwnPrecision) {
  EXPECT_EQ(ShortestText(0.1f), "0.1");
  EXPECT_EQ(ShortestText(static_cast<double>(0.1f)), "0.10000000149011612");
  EXPECT_EQ(ShortestText(1e-7f), "1e-07");
  EXPECT_EQ(ShortestText(-0.0f), "-0");
  EXPECT_EQ(TripleText<float>(0.1f, 250.0f, -0.0f), "{0.1, 250, -0}");
}

TEST(Format, QuaternionTextHasSixSignificantDigits) {
  EXPECT_EQ(QuaternionText(1, 0.1234567, -0.5, 1e-7), "{1, 0.123457, -0.5, 1e-07}");
}

TEST(Format, StreamTextIsWhatAFreshStreamWrites) {
  EXPECT_EQ(StreamText(1.0 / 3.0), "0.333333");
  EXPECT_EQ(StreamText(std::string("a b")), "a b");
}

TEST(Format, AppendShortestAppends) {
  std::string s = "x=";
  AppendShortestText(s, 1.5);
  AppendShortestText(s, -2.0);
  EXPECT_EQ(s, "x=1.5-2");
}

TEST(Format, TripleInBraces) {
  EXPECT_EQ(TripleText(100.5, 0, 250), "{100.5, 0, 250}");
  EXPECT_EQ(TripleText(0.1 + 0.2, 1e-7, -0.0), "{0.30000000000000004, 1e-07, -0}");
}

TEST(Format, ShortestFormReadsBackExactly) {
  test::Random random;
  for (int i = 0; i < 20000; ++i) {
    const double v = random.uniform(-1, 1) * std::pow(10.0, random.integer(-30, 30));
    const std::string text = ShortestText(v);
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), v) << text;
  }
}

}  // namespace
}  // namespace zor::rob::detail
