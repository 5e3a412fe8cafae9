#include "zor/rob/joints.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/record_streams.hpp"
#include "support/test_support.hpp"

namespace zor::rob {
namespace {

using Six = std::array<double, 6>;

constexpr double kU = kUnsetRobJoint;
constexpr double kE = kUnsetExtJoint;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Restores a record type's static tolerance when a test that changed it ends.
template <class Joints>
class ToleranceGuard {
 public:
  ToleranceGuard() : saved_(Joints::tolerance) {}
  ~ToleranceGuard() { Joints::tolerance = saved_; }
  ToleranceGuard(const ToleranceGuard&) = delete;
  ToleranceGuard& operator=(const ToleranceGuard&) = delete;

 private:
  double saved_;
};

using test::extractionFails;
using test::streamed;

// ---- Shared behaviour of RobJoint and RobJointA ---------------------------------------------

template <class Joints>
class RobJoints : public ::testing::Test {
 protected:
  ToleranceGuard<Joints> guard_;
};

using JointTypes = ::testing::Types<RobJoint, RobJointA>;
TYPED_TEST_SUITE(RobJoints, JointTypes);

TYPED_TEST(RobJoints, DefaultHoldsTheUnsetMarkerInEveryJoint) {
  const TypeParam r;
  for (const double v : r.values) {
    EXPECT_EQ(v, 1000000000.0);
  }
}

TYPED_TEST(RobJoints, ConstructorStoresJointOneFirst) {
  const TypeParam r(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(r.values, (Six{1, 2, 3, 4, 5, 6}));
}

TYPED_TEST(RobJoints, ToleranceStartsAtOneThousandthOfADegree) {
  EXPECT_EQ(TypeParam::tolerance, 0.001);
}

TYPED_TEST(RobJoints, GetJointValueIsOneBased) {
  const TypeParam r(10, 20, 30, 40, 50, 60);
  for (unsigned int i = 1; i <= 6; ++i) {
    EXPECT_EQ(r.getJointValue(i), 10.0 * i) << "joint " << i;
  }
}

TYPED_TEST(RobJoints, GetJointValueOutOfRangeReadsZero) {
  const TypeParam r(10, 20, 30, 40, 50, 60);
  EXPECT_EQ(r.getJointValue(0), 0.0);
  EXPECT_EQ(r.getJointValue(7), 0.0);
  EXPECT_EQ(r.getJointValue(std::numeric_limits<unsigned int>::max()), 0.0);
}

TYPED_TEST(RobJoints, SetJointValueIsOneBased) {
  TypeParam r;
  r.setJointValue(1, -1.5);
  r.setJointValue(6, 6.5);
  EXPECT_EQ(r.values, (Six{-1.5, kU, kU, kU, kU, 6.5}));
}

TYPED_TEST(RobJoints, SetJointValueOutOfRangeIsIgnored) {
  TypeParam r(1, 2, 3, 4, 5, 6);
  r.setJointValue(0, 99);
  r.setJointValue(7, 99);
  r.setJointValue(std::numeric_limits<unsigned int>::max(), 99);
  EXPECT_EQ(r.values, (Six{1, 2, 3, 4, 5, 6}));
}

TYPED_TEST(RobJoints, DefaultIsNotValid) {
  EXPECT_FALSE(TypeParam().isValid());
}

TYPED_TEST(RobJoints, JointsWithinToleranceOfTheMarkerAreNotValid) {
  const double v = 1E9 + 0.0005;
  EXPECT_FALSE(TypeParam(v, v, v, v, v, v).isValid());
  const double w = 1E9 - 0.0005;
  EXPECT_FALSE(TypeParam(w, v, w, v, w, v).isValid());
}

TYPED_TEST(RobJoints, OneJointBeyondToleranceOfTheMarkerIsValid) {
  for (unsigned int i = 1; i <= 6; ++i) {
    TypeParam r;
    r.setJointValue(i, 1E9 + 0.002);
    EXPECT_TRUE(r.isValid()) << "joint " << i;
    r.setJointValue(i, 1E9 - 0.002);
    EXPECT_TRUE(r.isValid()) << "joint " << i;
    r.setJointValue(i, 0.0);
    EXPECT_TRUE(r.isValid()) << "joint " << i;
  }
}

TYPED_TEST(RobJoints, IsValidUsesTheAdjustableTolerance) {
  TypeParam r;
  r.setJointValue(4, 1E9 + 0.002);
  TypeParam::tolerance = 0.01;
  EXPECT_FALSE(r.isValid());
  TypeParam::tolerance = 0.001;
  EXPECT_TRUE(r.isValid());
}

TYPED_TEST(RobJoints, IsCriticalWithinToleranceOfZero) {
  TypeParam r(10, 10, 0.001, 10, 10, 10);
  EXPECT_TRUE(r.isCritical(3));
  r.setJointValue(3, -0.001);
  EXPECT_TRUE(r.isCritical(3));
  r.setJointValue(3, 0.0011);
  EXPECT_FALSE(r.isCritical(3));
  r.setJointValue(3, -0.0011);
  EXPECT_FALSE(r.isCritical(3));
  r.setJointValue(3, 0.0);
  EXPECT_TRUE(r.isCritical(3));
  EXPECT_FALSE(r.isCritical(2));
}

TYPED_TEST(RobJoints, IsCriticalOutOfRangeIsTrue) {
  const TypeParam r(10, 10, 10, 10, 10, 10);
  EXPECT_TRUE(r.isCritical(0));
  EXPECT_TRUE(r.isCritical(7));
  EXPECT_TRUE(r.isCritical(100));
}

TYPED_TEST(RobJoints, IsCriticalUsesTheAdjustableTolerance) {
  const TypeParam r(0.5, -0.5, 10, 10, 10, 10);
  EXPECT_FALSE(r.isCritical(1));
  TypeParam::tolerance = 0.5;
  EXPECT_TRUE(r.isCritical(1));
  EXPECT_TRUE(r.isCritical(2));
  EXPECT_FALSE(r.isCritical(3));
}

TEST(RobJointTolerance, TheTwoRecordsHaveSeparateTolerances) {
  ToleranceGuard<RobJoint> g1;
  ToleranceGuard<RobJointA> g2;
  RobJoint::tolerance = 1.0;
  EXPECT_EQ(RobJointA::tolerance, 0.001);
  EXPECT_TRUE(RobJoint(0.5, 0, 0, 0, 0, 0).isCritical(1));
  EXPECT_FALSE(RobJointA(0.5, 0, 0, 0, 0, 0).isCritical(1));
  RobJointA::tolerance = 2.0;
  EXPECT_EQ(RobJoint::tolerance, 1.0);
}

TYPED_TEST(RobJoints, ToStringUsesBracesAndSixSignificantDigits) {
  EXPECT_EQ(TypeParam(0, -90, 90, 0, 45.5, 0).toString(), "{0, -90, 90, 0, 45.5, 0}");
  EXPECT_EQ(TypeParam(123.4567891, -123.4567891, 0.5, -0.000123456789, 1234567, 1e-7).toString(),
            "{123.457, -123.457, 0.5, -0.000123457, 1.23457e+06, 1e-07}");
}

TYPED_TEST(RobJoints, ToStringPrintsTheUnsetMarker) {
  EXPECT_EQ(TypeParam().toString(), "{1e+09, 1e+09, 1e+09, 1e+09, 1e+09, 1e+09}");
}

TYPED_TEST(RobJoints, ToUIStringUsesFixedDecimals) {
  const TypeParam r(0, -90, 90, 0, 45.5, 0);
  EXPECT_EQ(r.toUIString(2), "[0.00, -90.00, 90.00, 0.00, 45.50, 0.00]");
  EXPECT_EQ(TypeParam(1.4, -2.6, 0.26, 123.4567891, 0, -0.06).toUIString(1),
            "[1.4, -2.6, 0.3, 123.5, 0.0, -0.1]");
  EXPECT_EQ(TypeParam(1.4, -2.6, 7, 123.4567891, 0, 1e-7).toUIString(0), "[1, -3, 7, 123, 0, 0]");
  EXPECT_EQ(TypeParam().toUIString(3),
            "[1000000000.000, 1000000000.000, 1000000000.000, 1000000000.000, 1000000000.000, "
            "1000000000.000]");
}

TYPED_TEST(RobJoints, StreamFormIsSixSpaceSeparatedNumbers) {
  EXPECT_EQ(streamed(TypeParam(0, -90, 90, 0, 45.5, 123.4567891)), "0 -90 90 0 45.5 123.457");
  EXPECT_EQ(streamed(TypeParam()), "1e+09 1e+09 1e+09 1e+09 1e+09 1e+09");
}

TYPED_TEST(RobJoints, StreamFormUsesTheCallersStreamState) {
  std::ostringstream os;
  os.setf(std::ios_base::fixed, std::ios_base::floatfield);
  os.precision(1);
  os << "<" << TypeParam(0, -90, 90, 0, 45.25, 1.04) << ">";
  EXPECT_EQ(os.str(), "<0.0 -90.0 90.0 0.0 45.2 1.0>");
}

TYPED_TEST(RobJoints, ExtractionReadsSixNumbers) {
  TypeParam r;
  std::string rest;
  EXPECT_FALSE(extractionFails("1 -2.5\n3e2\t4 1e+09 -0.125 rest", r, rest));
  EXPECT_EQ(r.values, (Six{1, -2.5, 300, 4, 1E9, -0.125}));
  EXPECT_EQ(rest, "rest");
}

TYPED_TEST(RobJoints, ExtractionOfTruncatedInputKeepsTheFieldsRead) {
  TypeParam r(9, 9, 9, 9, 9, 9);
  EXPECT_TRUE(extractionFails("1 2 3", r));
  EXPECT_EQ(r.values, (Six{1, 2, 3, 9, 9, 9}));
}

TYPED_TEST(RobJoints, ExtractionOfGarbledInputFailsAndLeavesLaterFields) {
  TypeParam r(9, 9, 9, 9, 9, 9);
  EXPECT_TRUE(extractionFails("1 2 x 4 5 6", r));
  EXPECT_EQ(r.values[0], 1.0);
  EXPECT_EQ(r.values[1], 2.0);
  EXPECT_EQ(r.values[3], 9.0);
  EXPECT_EQ(r.values[4], 9.0);
  EXPECT_EQ(r.values[5], 9.0);
}

TYPED_TEST(RobJoints, ExtractionOfEmptyInputFailsAndChangesNothing) {
  TypeParam r(9, 8, 7, 6, 5, 4);
  EXPECT_TRUE(extractionFails("", r));
  EXPECT_EQ(r.values, (Six{9, 8, 7, 6, 5, 4}));
}

TYPED_TEST(RobJoints, StreamRoundTripRestoresTheRecord) {
  test::Random random;
  test::expectStreamRoundTrips(2000, [&random](int) {
    TypeParam r;
    for (double& v : r.values) {
      const int pick = random.integer(0, 9);
      v = pick == 0   ? kU
          : pick == 1 ? 0.0
                      : random.uniform(-1.0, 1.0) * std::pow(10.0, random.integer(-12, 12));
    }
    return test::RoundTrip<TypeParam>{r, TypeParam(1, 2, 3, 4, 5, 6)};
  });
}

// ---- RobJoint only ---------------------------------------------------------------------------

TEST(RobJoint, RegulateWrapsIntoTheHalfTurnRange) {
  RobJoint r(190, 540, -181, -540, 180, -180);
  r.regulate();
  EXPECT_EQ(r.values, (Six{-170, 180, 179, -180, 180, -180}));
}

TEST(RobJoint, RegulateLeavesValuesInRangeAlone) {
  RobJoint r(0, -179.5, 179.5, 90, -0.25, 45);
  r.regulate();
  EXPECT_EQ(r.values, (Six{0, -179.5, 179.5, 90, -0.25, 45}));
}

TEST(RobJoint, RegulateTakesAsManyTurnsAsNeeded) {
  RobJoint r(720, -720, 3 * 360 + 10, -(5 * 360) - 10, 181, -181.5);
  r.regulate();
  EXPECT_EQ(r.values, (Six{0, 0, 10, -10, -179, 178.5}));
}

TEST(RobJoint, RegulateMatchesTurnByTurnWrappingOnSampledValues) {
  // Reference: the wrap done one full turn at a time, as a person would.
  const auto stepwise = [](double v) {
    while (v > 180)
      v -= 360;
    while (v < -180)
      v += 360;
    return v;
  };
  zor::rob::test::Random random;
  for (int n = 0; n < 2000; ++n) {
    const double v = std::round(random.uniform(-1e5, 1e5) * 64) / 64;  // exact in binary
    RobJoint r(v, -v, v / 3, 0, 0, 0);
    r.regulate();
    ASSERT_EQ(r.values[0], stepwise(v)) << v;
    ASSERT_EQ(r.values[1], stepwise(-v)) << v;
    ASSERT_EQ(r.values[2], stepwise(v / 3)) << v;
  }
}

TEST(RobJoint, RegulateEndsOnHugeAndInfiniteValues) {
  // 1e20 = 360 * 277777777777777777 + 280 (1e20 is 2^20 * 5^20 exactly), so it wraps to -80.
  RobJoint r(1e20, -1e20, kInf, -kInf, 0, 0);
  r.regulate();
  EXPECT_EQ(r.values[0], -80.0);
  EXPECT_EQ(r.values[1], 80.0);
  EXPECT_EQ(r.values[2], kInf);
  EXPECT_EQ(r.values[3], -kInf);
}

TEST(RobJoint, RegulatePassesANaNUnchanged) {
  RobJoint r(kNaN, 0, 0, 0, 0, 0);
  r.regulate();
  EXPECT_TRUE(std::isnan(r.values[0]));
}

TEST(RobJoint, DiffIsTheSumOfAbsoluteDifferences) {
  RobJoint a(0, 0, 0, 0, 0, 0);
  const RobJoint b(1, -2, 3, -4, 5, -6);
  EXPECT_EQ(a.diff(b), 21.0);
  RobJoint c(10, 10, 10, 10, 10, 10);
  EXPECT_EQ(c.diff(b), 9.0 + 12.0 + 7.0 + 14.0 + 5.0 + 16.0);
  EXPECT_EQ(c.diff(c), 0.0);
}

TEST(RobJoint, IntermediateAtHalfIsTheMidpoint) {
  const RobJoint a(0, 10, -20, 30, 40, 50);
  const RobJoint b(10, 20, 0, -30, 40, 60);
  EXPECT_EQ(RobJoint::Intermediate(a, b, 0.5).values, (Six{5, 15, -10, 0, 40, 55}));
}

TEST(RobJoint, IntermediateAtTheEndsGivesTheEnds) {
  const RobJoint a(0, 10, -20, 30, 40, 50);
  const RobJoint b(10, 20, 0, -30, 40, 60);
  EXPECT_EQ(RobJoint::Intermediate(a, b, 0.0), a);
  EXPECT_EQ(RobJoint::Intermediate(a, b, 1.0), b);
}

TEST(RobJoint, IntermediateOutsideTheUnitIntervalExtrapolates) {
  const RobJoint a(0, 10, -20, 30, 40, 50);
  const RobJoint b(10, 20, 0, -30, 40, 60);
  // t = 2: -a + 2b.
  EXPECT_EQ(RobJoint::Intermediate(a, b, 2.0).values, (Six{20, 30, 20, -90, 40, 70}));
  // t = -1: 2a - b.
  EXPECT_EQ(RobJoint::Intermediate(a, b, -1.0).values, (Six{-10, 0, -40, 90, 40, 40}));
}

// ---- Convention conversion -------------------------------------------------------------------

TEST(KinematicConfig, EnumeratorValues) {
  EXPECT_EQ(static_cast<int>(KinematicConfig::Direct), 0);
  EXPECT_EQ(static_cast<int>(KinematicConfig::Coupled23), 1);
}

TEST(KinematicConfig, CoupledConventionAddsJointTwoToJointThree) {
  const RobJointA a = RobJoint(0, 30, 40, 0, 0, 0).toRobJointA(KinematicConfig::Coupled23);
  EXPECT_EQ(a.values, (Six{0, 30, 70, 0, 0, 0}));
  EXPECT_EQ(a.toRobJoint(KinematicConfig::Coupled23).values, (Six{0, 30, 40, 0, 0, 0}));
}

TEST(KinematicConfig, CoupledConventionChangesOnlyJointThree) {
  EXPECT_EQ(RobJoint(1, 2, 3, 4, 5, 6).toRobJointA(KinematicConfig::Coupled23).values,
            (Six{1, 2, 5, 4, 5, 6}));
  EXPECT_EQ(RobJointA(1, 2, 3, 4, 5, 6).toRobJoint(KinematicConfig::Coupled23).values,
            (Six{1, 2, 1, 4, 5, 6}));
  EXPECT_EQ(RobJoint(-10, -20, 5, 0, 0, 0).toRobJointA(KinematicConfig::Coupled23).values,
            (Six{-10, -20, -15, 0, 0, 0}));
}

TEST(KinematicConfig, DirectConventionCopies) {
  const RobJoint r(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(r.toRobJointA(KinematicConfig::Direct).values, r.values);
  EXPECT_EQ(r.toRobJointA().values, r.values);
  const RobJointA a(7, 8, 9, 10, 11, 12);
  EXPECT_EQ(a.toRobJoint(KinematicConfig::Direct).values, a.values);
  EXPECT_EQ(a.toRobJoint().values, a.values);
}

TEST(KinematicConfig, UnknownValueThrowsInBothDirections) {
  const auto two = static_cast<KinematicConfig>(2);
  const auto minusOne = static_cast<KinematicConfig>(-1);
  EXPECT_THROW_MSG(RobJoint().toRobJointA(two), std::logic_error, "KinematicConfig error");
  EXPECT_THROW_MSG(RobJointA().toRobJoint(two), std::logic_error, "KinematicConfig error");
  EXPECT_THROW_MSG(RobJoint().toRobJointA(minusOne), std::logic_error, "KinematicConfig error");
  EXPECT_THROW_MSG(RobJointA().toRobJoint(minusOne), std::logic_error, "KinematicConfig error");
}

TEST(KinematicConfig, CoupledConversionsInvertEachOther) {
  test::Random random;
  for (int n = 0; n < 1000; ++n) {
    RobJoint r;
    for (double& v : r.values) {
      v = random.uniform(-360.0, 360.0);
    }
    const RobJoint back =
        r.toRobJointA(KinematicConfig::Coupled23).toRobJoint(KinematicConfig::Coupled23);
    for (std::size_t k = 0; k < 6; ++k) {
      ASSERT_NEAR(back.values[k], r.values[k], 1e-12);
    }
    EXPECT_EQ(back.values[0], r.values[0]);
    EXPECT_EQ(back.values[1], r.values[1]);
    EXPECT_EQ(back.values[3], r.values[3]);
  }
}

// ---- ExtJoint --------------------------------------------------------------------------------

TEST(ExtJoint, DefaultHasEveryAxisUnused) {
  const ExtJoint e;
  for (const double v : e.values) {
    EXPECT_EQ(v, 9000000000.0);
  }
  EXPECT_FALSE(e.valid());
  for (unsigned int i = 1; i <= 6; ++i) {
    EXPECT_FALSE(e.isValid(i));
  }
}

TEST(ExtJoint, IndexOperatorsAreOneBased) {
  ExtJoint e(1, 2, 3, 4, 5, 6);
  const ExtJoint& c = e;
  for (unsigned int i = 1; i <= 6; ++i) {
    EXPECT_EQ(c[i], 1.0 * i);
    EXPECT_EQ(c.getJointValue(i), 1.0 * i);
  }
  e[2] = -20;
  e.setJointValue(5, 50);
  EXPECT_EQ(e.values, (Six{1, -20, 3, 4, 50, 6}));
}

TEST(ExtJoint, NonConstIndexOutOfRangeThrowsInvalidIndex) {
  ExtJoint ext;
  EXPECT_THROW_MSG(ext[0], std::logic_error, "invalid index");
  EXPECT_THROW_MSG(ext[7], std::logic_error, "invalid index");
  EXPECT_THROW_MSG(ext.setJointValue(0, 1.0), std::logic_error, "invalid index");
  EXPECT_THROW_MSG(ext.setJointValue(7, 1.0), std::logic_error, "invalid index");
  EXPECT_EQ(ext, ExtJoint());
}

TEST(ExtJoint, ConstIndexOutOfRangeNamesTheIndex) {
  const ExtJoint ext;
  EXPECT_THROW_MSG(ext[0], std::logic_error, "Invalid ExtJoint index: 0");
  EXPECT_THROW_MSG(ext[7], std::logic_error, "Invalid ExtJoint index: 7");
  EXPECT_THROW_MSG(ext[4294967295U], std::logic_error, "Invalid ExtJoint index: 4294967295");
  EXPECT_THROW_MSG(ext.getJointValue(0), std::logic_error, "Invalid ExtJoint index: 0");
  EXPECT_THROW_MSG(ext.getJointValue(12), std::logic_error, "Invalid ExtJoint index: 12");
  EXPECT_THROW_MSG(ext.isValid(0), std::logic_error, "Invalid ExtJoint index: 0");
  EXPECT_THROW_MSG(ext.isValid(7), std::logic_error, "Invalid ExtJoint index: 7");
}

TEST(ExtJoint, MarkerIsComparedExactly) {
  ExtJoint e;
  e[3] = std::nextafter(9E9, 0.0);
  EXPECT_TRUE(e.isValid(3));
  EXPECT_TRUE(e.valid());
  EXPECT_FALSE(e.isValid(2));
}

TEST(ExtJoint, OneUsedAxisMakesTheRecordValid) {
  for (unsigned int i = 1; i <= 6; ++i) {
    ExtJoint e;
    e[i] = 0.0;
    EXPECT_TRUE(e.valid()) << "axis " << i;
    EXPECT_TRUE(e.isValid(i));
  }
}

TEST(ExtJoint, NaNCountsAsUsed) {
  ExtJoint e;
  e[6] = kNaN;
  EXPECT_TRUE(e.isValid(6));
  EXPECT_TRUE(e.valid());
}

TEST(ExtJoint, SumAddsOnlyAxesUsedOnBothSides) {
  const ExtJoint a(1, kE, 5, kE, -1, 0);
  const ExtJoint b(2, 3, kE, kE, 1, 7);
  EXPECT_EQ((a + b).values, (Six{3, kE, kE, kE, 0, 7}));
  EXPECT_EQ((b + a).values, (Six{3, kE, kE, kE, 0, 7}));
  EXPECT_EQ((a + ExtJoint()).values, ExtJoint().values);
}

TEST(ExtJoint, ProductScalesOnlyUsedAxes) {
  const ExtJoint e(1, kE, -2.5, 0, kE, 4);
  EXPECT_EQ((e * 2.0).values, (Six{2, kE, -5, 0, kE, 8}));
  EXPECT_EQ((e * 0.0).values, (Six{0, kE, -0.0, 0, kE, 0}));
  EXPECT_EQ((ExtJoint() * 3.0).values, ExtJoint().values);
}

TEST(ExtJoint, AProductThatLandsOnTheMarkerReadsAsUnused) {
  // The marker is a value: an axis scaled onto exactly 9E9 is indistinguishable from unused.
  const ExtJoint e = ExtJoint(4.5E9, 1, 1, 1, 1, 1) * 2.0;
  EXPECT_FALSE(e.isValid(1));
}

TEST(ExtJoint, ToStringPrintsUnusedAxesAsTheMarker) {
  EXPECT_EQ(ExtJoint().toString(), "{9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}");
  EXPECT_EQ(ExtJoint(1, -2.5, 123.4567891, kE, 0, -1e-9).toString(),
            "{1, -2.5, 123.457, 9e+09, 0, -1e-09}");
}

TEST(ExtJoint, StreamFormIsSixSpaceSeparatedNumbers) {
  EXPECT_EQ(streamed(ExtJoint()), "9e+09 9e+09 9e+09 9e+09 9e+09 9e+09");
  EXPECT_EQ(streamed(ExtJoint(1, -2.5, 123.4567891, kE, 0, 7)), "1 -2.5 123.457 9e+09 0 7");
}

TEST(ExtJoint, ExtractionReadsSixNumbers) {
  std::istringstream is(" 1 2 3\n9e+09 -5 6.5");
  ExtJoint e(0, 0, 0, 0, 0, 0);
  is >> e;
  EXPECT_FALSE(is.fail());
  EXPECT_EQ(e.values, (Six{1, 2, 3, kE, -5, 6.5}));
  EXPECT_FALSE(e.isValid(4));
}

TEST(ExtJoint, ExtractionOfTruncatedOrEmptyInputKeepsTheFieldsRead) {
  ExtJoint e;
  EXPECT_TRUE(extractionFails("1 2 3 4", e));
  EXPECT_EQ(e.values, (Six{1, 2, 3, 4, kE, kE}));

  ExtJoint f(1, 2, 3, 4, 5, 6);
  EXPECT_TRUE(extractionFails("   ", f));
  EXPECT_EQ(f.values, (Six{1, 2, 3, 4, 5, 6}));
}

TEST(ExtJoint, ExtractionOfGarbledInputFails) {
  ExtJoint e;
  EXPECT_TRUE(extractionFails("1 ? 3 4 5 6", e));
  EXPECT_EQ(e.values[0], 1.0);
  EXPECT_EQ(e.values[2], kE);
  EXPECT_EQ(e.values[5], kE);
}

TEST(ExtJoint, StreamRoundTripRestoresTheRecord) {
  test::Random random;
  test::expectStreamRoundTrips(2000, [&random](int) {
    ExtJoint e;
    for (double& v : e.values) {
      v = random.integer(0, 3) == 0 ? kE : random.uniform(-1e4, 1e4);
    }
    return test::RoundTrip<ExtJoint>{e, ExtJoint(1, 2, 3, 4, 5, 6)};
  });
}

// ---- JointTarget and JointTargetA ------------------------------------------------------------

template <class Target>
class JointTargets : public ::testing::Test {};

using TargetTypes = ::testing::Types<JointTarget, JointTargetA>;
TYPED_TEST_SUITE(JointTargets, TargetTypes);

TYPED_TEST(JointTargets, DefaultIsAllUnset) {
  const TypeParam t;
  EXPECT_FALSE(t.robJoint.isValid());
  EXPECT_EQ(t.robJoint.values, (Six{kU, kU, kU, kU, kU, kU}));
  EXPECT_EQ(t.extJoint.values, (Six{kE, kE, kE, kE, kE, kE}));
}

TYPED_TEST(JointTargets, FromRobotJointsLeavesExternalAxesUnused) {
  using Joints = decltype(TypeParam::robJoint);
  const TypeParam t(Joints(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(t.robJoint.values, (Six{1, 2, 3, 4, 5, 6}));
  EXPECT_FALSE(t.extJoint.valid());
}

TYPED_TEST(JointTargets, FromBothPartsCopiesThem) {
  using Joints = decltype(TypeParam::robJoint);
  const TypeParam t(Joints(1, 2, 3, 4, 5, 6), ExtJoint(7, 8, 9, 10, 11, 12));
  EXPECT_EQ(t.robJoint.values, (Six{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(t.extJoint.values, (Six{7, 8, 9, 10, 11, 12}));
}

TYPED_TEST(JointTargets, ToStringNestsBothBraceForms) {
  using Joints = decltype(TypeParam::robJoint);
  EXPECT_EQ(TypeParam(Joints(0, 0, 0, 0, 90, 0)).toString(),
            "{{0, 0, 0, 0, 90, 0}, {9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}");
  EXPECT_EQ(
      TypeParam(Joints(1.5, -2, 3, 4, 5, 6), ExtJoint(123.4567891, kE, 0, 0, 0, -1)).toString(),
      "{{1.5, -2, 3, 4, 5, 6}, {123.457, 9e+09, 0, 0, 0, -1}}");
}

TYPED_TEST(JointTargets, StreamFormIsTwelveSpaceSeparatedNumbers) {
  using Joints = decltype(TypeParam::robJoint);
  EXPECT_EQ(streamed(TypeParam(Joints(0, 0, 0, 0, 90, 0))),
            "0 0 0 0 90 0 9e+09 9e+09 9e+09 9e+09 9e+09 9e+09");
  EXPECT_EQ(streamed(TypeParam()),
            "1e+09 1e+09 1e+09 1e+09 1e+09 1e+09 "
            "9e+09 9e+09 9e+09 9e+09 9e+09 9e+09");
}

TYPED_TEST(JointTargets, ExtractionReadsRobotJointsThenExternalAxes) {
  std::istringstream is("1 2 3 4 5 6 7 8 9 10 11 12");
  TypeParam t;
  is >> t;
  EXPECT_FALSE(is.fail());
  EXPECT_EQ(t.robJoint.values, (Six{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(t.extJoint.values, (Six{7, 8, 9, 10, 11, 12}));
}

TYPED_TEST(JointTargets, ExtractionOfTruncatedInputKeepsTheFieldsRead) {
  TypeParam t;
  EXPECT_TRUE(extractionFails("1 2 3 4 5 6 7 8", t));
  EXPECT_EQ(t.robJoint.values, (Six{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(t.extJoint.values, (Six{7, 8, kE, kE, kE, kE}));

  TypeParam u;
  EXPECT_TRUE(extractionFails("1 2", u));
  EXPECT_EQ(u.robJoint.values, (Six{1, 2, kU, kU, kU, kU}));
  EXPECT_FALSE(u.extJoint.valid());
}

TYPED_TEST(JointTargets, ExtractionOfEmptyOrGarbledInputFails) {
  TypeParam t;
  EXPECT_TRUE(extractionFails("", t));
  EXPECT_EQ(t, TypeParam());

  EXPECT_TRUE(extractionFails("1 2 3 4 5 6 seven 8 9 10 11 12", t));
  EXPECT_EQ(t.robJoint.values, (Six{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(t.extJoint.values[1], kE);
}

TYPED_TEST(JointTargets, StreamRoundTripRestoresTheTarget) {
  test::Random random;
  test::expectStreamRoundTrips(1000, [&random](int) {
    TypeParam t;
    for (double& v : t.robJoint.values) {
      v = random.uniform(-400.0, 400.0);
    }
    for (double& v : t.extJoint.values) {
      v = random.integer(0, 2) == 0 ? kE : random.uniform(-5000.0, 5000.0);
    }
    return test::RoundTrip<TypeParam>{t, TypeParam()};
  });
}

TEST(JointTarget, ToJointTargetACopiesInTheDirectConvention) {
  const JointTarget t(RobJoint(0, 30, 40, 0, 0, 0), ExtJoint(1, kE, 3, kE, 5, kE));
  const JointTargetA a = t.toJointTargetA();
  EXPECT_EQ(a.robJoint.values, (Six{0, 30, 40, 0, 0, 0}));
  EXPECT_EQ(a.extJoint, t.extJoint);
}

TEST(JointTargetA, ToJointTargetCopiesInTheDirectConvention) {
  const JointTargetA a(RobJointA(0, 30, 70, 0, 0, 0), ExtJoint(kE, 2, kE, 4, kE, 6));
  const JointTarget t = a.toJointTarget();
  EXPECT_EQ(t.robJoint.values, (Six{0, 30, 70, 0, 0, 0}));
  EXPECT_EQ(t.extJoint, a.extJoint);
}

}  // namespace
}  // namespace zor::rob
