#include "zor/rob/conf_data.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>

#include "support/record_streams.hpp"
#include "support/test_support.hpp"

namespace zor::rob {
namespace {

constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr int kIntMax = std::numeric_limits<int>::max();

using test::extractionFails;

// ---- Record ----------------------------------------------------------------------------------

TEST(ConfData, DefaultIsAllZero) {
  const ConfData c;
  EXPECT_EQ(c.cf1, 0);
  EXPECT_EQ(c.cf4, 0);
  EXPECT_EQ(c.cf6, 0);
  EXPECT_EQ(c.cfx, 0);
}

TEST(ConfData, ConstructorTakesFieldsInOrder) {
  const ConfData c(1, -2, 3, 7);
  EXPECT_EQ(c.cf1, 1);
  EXPECT_EQ(c.cf4, -2);
  EXPECT_EQ(c.cf6, 3);
  EXPECT_EQ(c.cfx, 7);
}

TEST(ConfData, FieldsAreFourSigned32BitIntegers) {
  static_assert(sizeof(ConfData) == 4 * sizeof(std::int32_t));
  static_assert(std::is_same_v<decltype(ConfData::cf1), std::int32_t>);
  static_assert(std::is_same_v<decltype(ConfData::cfx), std::int32_t>);
  EXPECT_EQ(ConfData(kIntMin, kIntMax, -1, 0).cf1, kIntMin);
}

TEST(ConfData, GetQuadrantAnswersForJointsOneFourAndSix) {
  const ConfData c(5, -6, 7, 3);
  EXPECT_EQ(c.getQuadrant(1), 5);
  EXPECT_EQ(c.getQuadrant(4), -6);
  EXPECT_EQ(c.getQuadrant(6), 7);
}

TEST(ConfData, GetQuadrantOfAnyOtherJointIsZero) {
  const ConfData c(5, -6, 7, 3);
  for (const unsigned int joint : {0U, 2U, 3U, 5U, 7U, 100U}) {
    EXPECT_EQ(c.getQuadrant(joint), 0) << "joint " << joint;
  }
}

// ---- Quadrants -------------------------------------------------------------------------------

struct QuadrantCase {
  double angle;
  int quadrant;
};

// Hand-derived from the two branches: angle > 0 -> trunc((angle - 1e-6) / 90),
// otherwise -> trunc((angle + 1e-6) / 90 - 1).
constexpr std::array<QuadrantCase, 30> kQuadrantCases = {{
    {0.0, 0},
    {-0.0, 0},
    {1e-12, 0},  // (1e-12 - 1e-6) / 90 is a tiny negative number: truncates to 0
    {1e-6, 0},
    {2e-6, 0},
    {-1e-7, 0},  // (-1e-7 + 1e-6) / 90 - 1 = -0.99999999: truncates to 0
    {-5e-7, 0},
    {-1e-6, -1},  // exactly -1
    {-2e-6, -1},
    {45.0, 0},
    {89.9, 0},
    {90.0, 0},
    {90.0 + 5e-7, 0},  // still below 90 + 1e-6
    {90.0 + 2e-6, 1},
    {90.5, 1},
    {180.0, 1},
    {180.0 + 2e-6, 2},
    {270.0, 2},
    {360.0, 3},
    {1000.0, 11},  // 999.999999 / 90 = 11.1
    {-45.0, -1},
    {-90.0, -1},  // -89.999999 / 90 - 1 = -1.99999999
    {-90.0 - 5e-7, -1},
    {-90.0 - 2e-6, -2},
    {-90.5, -2},
    {-180.0, -2},
    {-180.0 - 2e-6, -3},
    {-270.0, -3},
    {-360.0, -4},
    {-1000.0, -12},  // -999.999999 / 90 - 1 = -12.1
}};

TEST(AngleToQuadrant, MapsEachSideOfEveryBoundary) {
  for (const auto& [angle, quadrant] : kQuadrantCases) {
    EXPECT_EQ(AngleToQuadrant(angle), quadrant) << "angle " << angle;
  }
}

TEST(AngleToQuadrant, MatchesFloorOfQuarterTurnsAwayFromTheBoundaries) {
  // Away from the boundaries the quadrant is floor(angle / 90); the tolerance only moves the
  // exact multiples of 90 toward zero.
  test::Random random;
  for (int n = 0; n < 10000; ++n) {
    const double angle = random.uniform(-1000.0, 1000.0);
    const double quarters = angle / 90.0;
    if (std::abs(quarters - std::round(quarters)) < 1e-6) {
      continue;
    }
    ASSERT_EQ(AngleToQuadrant(angle), static_cast<int>(std::floor(quarters))) << angle;
  }
}

TEST(AreCriticalEqualQuad, EqualQuadrantsAreEqual) {
  for (const int q : {-5, -2, -1, 0, 1, 3, kIntMin, kIntMax}) {
    EXPECT_TRUE(AreCriticalEqualQuad(q, q)) << q;
  }
}

TEST(AreCriticalEqualQuad, ZeroAndMinusOneAreInterchangeable) {
  EXPECT_TRUE(AreCriticalEqualQuad(-1, 0));
  EXPECT_TRUE(AreCriticalEqualQuad(0, -1));
}

TEST(AreCriticalEqualQuad, EveryOtherPairDiffers) {
  EXPECT_FALSE(AreCriticalEqualQuad(0, 1));
  EXPECT_FALSE(AreCriticalEqualQuad(1, 0));
  EXPECT_FALSE(AreCriticalEqualQuad(-1, -2));
  EXPECT_FALSE(AreCriticalEqualQuad(-2, -1));
  EXPECT_FALSE(AreCriticalEqualQuad(1, -1));
  EXPECT_FALSE(AreCriticalEqualQuad(-1, 1));
  EXPECT_FALSE(AreCriticalEqualQuad(0, -2));
  EXPECT_FALSE(AreCriticalEqualQuad(2, 3));
}

// ---- Comparisons -----------------------------------------------------------------------------

TEST(ConfData, RecordsDifferingInCfxByOneAreAdjacent) {
  EXPECT_TRUE(ConfData(1, 2, 3, 4).isAdjacent(ConfData(1, 2, 3, 5)));
  EXPECT_TRUE(ConfData(1, 2, 3, 5).isAdjacent(ConfData(1, 2, 3, 4)));
  EXPECT_TRUE(ConfData(1, 2, 3, 4).isAdjacent(ConfData(1, 2, 3, 4)));
}

TEST(ConfData, RecordsDifferingInCfxByTwoAreNotAdjacent) {
  EXPECT_FALSE(ConfData(1, 2, 3, 4).isAdjacent(ConfData(1, 2, 3, 6)));
  EXPECT_FALSE(ConfData(1, 2, 3, 6).isAdjacent(ConfData(1, 2, 3, 4)));
  // Arithmetic, not bitwise: 7 and 6 are adjacent, 0 and 7 are not.
  EXPECT_TRUE(ConfData(0, 0, 0, 7).isAdjacent(ConfData(0, 0, 0, 6)));
  EXPECT_FALSE(ConfData(0, 0, 0, 0).isAdjacent(ConfData(0, 0, 0, 7)));
}

TEST(ConfData, QuadrantsDifferingByTwoAreAdjacentByThreeAreNot) {
  EXPECT_TRUE(ConfData(0, 0, 0, 0).isAdjacent(ConfData(2, 0, 0, 0)));
  EXPECT_FALSE(ConfData(0, 0, 0, 0).isAdjacent(ConfData(3, 0, 0, 0)));
  EXPECT_TRUE(ConfData(0, 0, 0, 0).isAdjacent(ConfData(-2, 0, 0, 0)));
  EXPECT_FALSE(ConfData(0, 0, 0, 0).isAdjacent(ConfData(-3, 0, 0, 0)));
  EXPECT_TRUE(ConfData(0, 1, 0, 0).isAdjacent(ConfData(0, -1, 0, 0)));
  EXPECT_FALSE(ConfData(0, 1, 0, 0).isAdjacent(ConfData(0, -2, 0, 0)));
  EXPECT_TRUE(ConfData(0, 0, -4, 0).isAdjacent(ConfData(0, 0, -2, 0)));
  EXPECT_FALSE(ConfData(0, 0, -4, 0).isAdjacent(ConfData(0, 0, -1, 0)));
}

TEST(ConfData, Diff146SumsTheQuadrantDistances) {
  EXPECT_EQ(ConfData(1, -2, 3, 7).diff146(ConfData(-1, 2, 0, 0)), 2 + 4 + 3);
  EXPECT_EQ(ConfData(-1, 2, 0, 0).diff146(ConfData(1, -2, 3, 7)), 9);
  EXPECT_EQ(ConfData(0, 0, 0, 0).diff146(ConfData(0, 0, 0, 5)), 0);
  EXPECT_EQ(ConfData(4, 4, 4, 1).diff146(ConfData(4, 4, 4, 1)), 0);
}

TEST(ConfData, ExtremeFieldsCompareWithoutOverflow) {
  constexpr int kMax = std::numeric_limits<int>::max();
  constexpr int kMin = std::numeric_limits<int>::min();
  EXPECT_FALSE(ConfData(kMin, 0, 0, 0).isAdjacent(ConfData(kMax, 0, 0, 0)));
  EXPECT_FALSE(ConfData(0, 0, 0, kMax).isAdjacent(ConfData(0, 0, 0, kMin)));
  // 2^32 - 1 alone exceeds an int: the distance saturates.
  EXPECT_EQ(ConfData(kMin, 0, 0, 0).diff146(ConfData(kMax, 0, 0, 0)), kMax);
  EXPECT_EQ(ConfData(kMax, 0, 0, 0).diff146(ConfData(0, 0, 0, 0)), kMax);
}

TEST(AngleToQuadrant, SaturatesBeyondTheRangeOfInt) {
  EXPECT_EQ(AngleToQuadrant(1e300), std::numeric_limits<int>::max());
  EXPECT_EQ(AngleToQuadrant(-1e300), std::numeric_limits<int>::min());
  EXPECT_EQ(AngleToQuadrant(std::numeric_limits<double>::infinity()),
            std::numeric_limits<int>::max());
  EXPECT_EQ(AngleToQuadrant(std::numeric_limits<double>::quiet_NaN()), 0);
  // The largest quotient that still fits: 90 * (2^31 - 1) degrees plus a little.
  EXPECT_EQ(AngleToQuadrant(90.0 * 2147483647.0 + 1.0), 2147483647);
}

TEST(ConfData, IsCriticalEqualSingleComparesOneJointLeniently) {
  const ConfData a(0, 0, 1, 0);
  const ConfData b(-1, 1, 1, 5);
  EXPECT_TRUE(a.isCriticalEqualSingle(b, 1));
  EXPECT_FALSE(a.isCriticalEqualSingle(b, 4));
  EXPECT_TRUE(a.isCriticalEqualSingle(b, 6));
  // Joints without a quadrant read 0 on both sides.
  EXPECT_TRUE(a.isCriticalEqualSingle(b, 2));
  EXPECT_TRUE(a.isCriticalEqualSingle(ConfData(-2, 0, 0, 0), 3));
  EXPECT_FALSE(a.isCriticalEqualSingle(ConfData(-2, 0, 0, 0), 1));
}

template <class Joints>
class CriticalEqual : public ::testing::Test {
 protected:
  ~CriticalEqual() override { Joints::tolerance = saved_; }
  double saved_ = Joints::tolerance;
};

using JointTypes = ::testing::Types<RobJoint, RobJointA>;
TYPED_TEST_SUITE(CriticalEqual, JointTypes);

TYPED_TEST(CriticalEqual, JointOneAtZeroAcceptsZeroAndMinusOne) {
  const TypeParam joints(0, 10, 20, 30, 40, 100);
  const ConfData self(0, 0, 1, 2);
  EXPECT_TRUE(self.isCriticalEqual(joints, ConfData(-1, 0, 1, 2)));
  EXPECT_TRUE(self.isCriticalEqual(joints, ConfData(0, 0, 1, 2)));
  EXPECT_TRUE(ConfData(-1, 0, 1, 2).isCriticalEqual(joints, self));
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(1, 0, 1, 2)));
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(-2, 0, 1, 2)));
}

TYPED_TEST(CriticalEqual, StillDemandsEqualCf4Cf6AndCfx) {
  const TypeParam joints(0, 10, 20, 30, 40, 100);
  const ConfData self(0, 0, 1, 2);
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(-1, -1, 1, 2)));
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(-1, 0, 2, 2)));
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(-1, 0, 1, 3)));
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(0, 0, 1, 1)));
}

TYPED_TEST(CriticalEqual, JointsFourAndSixAtZeroAreLenientToo) {
  const TypeParam joints(10, 10, 20, 0.0005, 40, -0.001);
  const ConfData self(0, -1, 0, 4);
  EXPECT_TRUE(self.isCriticalEqual(joints, ConfData(0, 0, -1, 4)));
  EXPECT_TRUE(self.isCriticalEqual(joints, ConfData(0, -1, 0, 4)));
  // Joint 1 is not at zero: its quadrant must be equal.
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(-1, 0, -1, 4)));
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(0, 1, 0, 4)));
  EXPECT_FALSE(self.isCriticalEqual(joints, ConfData(0, 0, -1, 5)));
}

TYPED_TEST(CriticalEqual, JointsAwayFromZeroCompareExactly) {
  const TypeParam joints(0.0011, 10, 20, 30, 40, 50);
  EXPECT_FALSE(ConfData(0, 0, 0, 0).isCriticalEqual(joints, ConfData(-1, 0, 0, 0)));
  EXPECT_TRUE(ConfData(0, 0, 0, 0).isCriticalEqual(joints, ConfData(0, 0, 0, 0)));
  // Joints 2, 3 and 5 play no part.
  EXPECT_TRUE(
      ConfData(3, -2, 1, 6).isCriticalEqual(TypeParam(50, 0, 0, 50, 0, 50), ConfData(3, -2, 1, 6)));
}

TYPED_TEST(CriticalEqual, UsesTheJointRecordsOwnTolerance) {
  const TypeParam joints(0.5, 10, 20, 30, 40, 50);
  const ConfData self(0, 0, 0, 0);
  const ConfData other(-1, 0, 0, 0);
  EXPECT_FALSE(self.isCriticalEqual(joints, other));
  TypeParam::tolerance = 0.5;
  EXPECT_TRUE(self.isCriticalEqual(joints, other));
}

TEST(ConfData, IsCriticalEqualOverloadsDoNotShareATolerance) {
  const double saved = RobJoint::tolerance;
  RobJoint::tolerance = 1.0;
  const ConfData self(0, 0, 0, 0);
  const ConfData other(-1, 0, 0, 0);
  EXPECT_TRUE(self.isCriticalEqual(RobJoint(0.5, 10, 10, 10, 10, 10), other));
  EXPECT_FALSE(self.isCriticalEqual(RobJointA(0.5, 10, 10, 10, 10, 10), other));
  RobJoint::tolerance = saved;
}

// ---- Text forms ------------------------------------------------------------------------------

TEST(ConfData, ToStringUsesBraces) {
  EXPECT_EQ(ConfData(0, -1, 2, 5).toString(), "{0, -1, 2, 5}");
  EXPECT_EQ(ConfData().toString(), "{0, 0, 0, 0}");
  EXPECT_EQ(ConfData(kIntMin, kIntMax, -10, 123).toString(), "{-2147483648, 2147483647, -10, 123}");
}

TEST(ConfData, ToUIStringUsesBrackets) {
  EXPECT_EQ(ConfData(0, -1, 2, 5).toUIString(), "[0, -1, 2, 5]");
  EXPECT_EQ(ConfData(-12, 34, -56, 78).toUIString(), "[-12, 34, -56, 78]");
}

TEST(ConfData, ToOstrelStringNamesEachQuadrant) {
  EXPECT_EQ(ConfData(0, -1, 2, 5).toOstrelString(),
            "{quadrant::p0, quadrant::n1, quadrant::p2, quadrant::p5}");
}

TEST(ConfData, OstrelQuadrantNamesCoverMinusEightToSeven) {
  const std::array<const char*, 16> names = {
      "quadrant::n8", "quadrant::n7", "quadrant::n6", "quadrant::n5",
      "quadrant::n4", "quadrant::n3", "quadrant::n2", "quadrant::n1",
      "quadrant::p0", "quadrant::p1", "quadrant::p2", "quadrant::p3",
      "quadrant::p4", "quadrant::p5", "quadrant::p6", "quadrant::p7"};
  for (int n = -8; n <= 7; ++n) {
    const std::string name = names[static_cast<std::size_t>(n + 8)];
    // Each field in turn, the others at 0.
    EXPECT_EQ(ConfData(n, 0, 0, 0).toOstrelString(),
              "{" + name + ", quadrant::p0, quadrant::p0, quadrant::p0}");
    EXPECT_EQ(ConfData(0, n, 0, 0).toOstrelString(),
              "{quadrant::p0, " + name + ", quadrant::p0, quadrant::p0}");
    EXPECT_EQ(ConfData(0, 0, n, 0).toOstrelString(),
              "{quadrant::p0, quadrant::p0, " + name + ", quadrant::p0}");
    EXPECT_EQ(ConfData(0, 0, 0, n).toOstrelString(),
              "{quadrant::p0, quadrant::p0, quadrant::p0, " + name + "}");
  }
}

TEST(ConfData, OstrelQuadrantOutsideTheNamedRangePrintsAsZero) {
  EXPECT_EQ(ConfData(-9, 8, kIntMin, kIntMax).toOstrelString(),
            "{quadrant::p0, quadrant::p0, quadrant::p0, quadrant::p0}");
  EXPECT_EQ(ConfData(-9, 7, -8, 8).toOstrelString(),
            "{quadrant::p0, quadrant::p7, quadrant::n8, quadrant::p0}");
}

TEST(ConfData, KrlStringWritesTheStatusBitsOfEachConfiguration) {
  const std::array<const char*, 8> expected = {"S 'B010'", "S 'B011'", "S 'B000'", "S 'B001",
                                               "S 'B110'", "S 'B111'", "S 'B100'", "S 'B101'"};
  for (int cfx = 0; cfx < 8; ++cfx) {
    EXPECT_EQ(ConfData(0, 0, 0, cfx).toKrlString(), expected[static_cast<std::size_t>(cfx)])
        << "cfx " << cfx;
  }
}

TEST(ConfData, KrlStringOfConfigurationThreeHasNoClosingQuote) {
  EXPECT_EQ(ConfData(0, 0, 0, 3).toKrlString(), "S 'B001");
}

TEST(ConfData, KrlStringOutsideZeroToSevenIsThePrefixAlone) {
  for (const int cfx : {8, -1, -8, 100, kIntMin, kIntMax}) {
    EXPECT_EQ(ConfData(0, 0, 0, cfx).toKrlString(), "S 'B") << "cfx " << cfx;
  }
}

TEST(ConfData, KrlStringIgnoresTheQuadrants) {
  EXPECT_EQ(ConfData(-3, 5, 7, 0).toKrlString(), "S 'B010'");
  EXPECT_EQ(ConfData(2, -1, 1, 7).toKrlString(), "S 'B101'");
}

TEST(ConfData, StreamFormIsFourSpaceSeparatedIntegers) {
  std::ostringstream os;
  os << ConfData(0, -1, 2, 5);
  EXPECT_EQ(os.str(), "0 -1 2 5");
}

TEST(ConfData, StreamFormUsesTheCallersStreamState) {
  std::ostringstream os;
  os << std::showpos << ConfData(0, -1, 2, 5);
  EXPECT_EQ(os.str(), "+0 -1 +2 +5");
}

TEST(ConfData, ExtractionReadsFourIntegers) {
  ConfData c;
  std::string tail;
  EXPECT_FALSE(extractionFails("  3\n-4\t5 6 tail", c, tail));
  EXPECT_EQ(c, ConfData(3, -4, 5, 6));
  EXPECT_EQ(tail, "tail");
}

TEST(ConfData, ExtractionOfTruncatedInputKeepsTheFieldsRead) {
  ConfData c(9, 9, 9, 9);
  EXPECT_TRUE(extractionFails("1 2", c));
  EXPECT_EQ(c, ConfData(1, 2, 9, 9));
}

TEST(ConfData, ExtractionOfGarbledInputFails) {
  ConfData c(9, 9, 9, 9);
  EXPECT_TRUE(extractionFails("1 x 3 4", c));
  EXPECT_EQ(c.cf1, 1);
  EXPECT_EQ(c.cf6, 9);
  EXPECT_EQ(c.cfx, 9);

  ConfData d(9, 9, 9, 9);
  EXPECT_TRUE(extractionFails("1 2.5 3 4", d));
  EXPECT_EQ(d.cf1, 1);
  EXPECT_EQ(d.cf4, 2);
  EXPECT_EQ(d.cfx, 9);
}

TEST(ConfData, ExtractionOfEmptyInputFailsAndChangesNothing) {
  ConfData c(9, 8, 7, 6);
  EXPECT_TRUE(extractionFails(" \n ", c));
  EXPECT_EQ(c, ConfData(9, 8, 7, 6));
}

TEST(ConfData, StreamRoundTripRestoresTheRecord) {
  test::Random random;
  test::expectStreamRoundTrips(5000, [&random](int n) {
    const ConfData c(random.integer(-10, 10), random.integer(-10, 10), random.integer(-10, 10),
                     n % 50 == 0 ? random.integer(kIntMin, kIntMax) : random.integer(0, 7));
    return test::RoundTrip<ConfData>{c, ConfData(99, 99, 99, 99)};
  });
  std::stringstream extremes;
  extremes << ConfData(kIntMin, kIntMax, kIntMin, kIntMax);
  ConfData back;
  extremes >> back;
  EXPECT_EQ(back, ConfData(kIntMin, kIntMax, kIntMin, kIntMax));
}

}  // namespace
}  // namespace zor::rob
