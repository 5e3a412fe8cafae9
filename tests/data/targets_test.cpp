#include "zor/rob/targets.hpp"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <ios>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "data/record_defaults.hpp"
#include "support/record_streams.hpp"
#include "support/test_support.hpp"

namespace zor::rob {
namespace {

constexpr double kHalfSqrt2 = 0.7071067811865476;
// 0.1 + 0.2 is 0.30000000000000004 in double: it needs 17 significant digits to read back.
const double kPointThree = 0.1 + 0.2;

Pose poseAt(double x, double y, double z, double q1 = 1, double q2 = 0, double q3 = 0,
            double q4 = 0) {
  return {Pos{x, y, z}, Orient{q1, q2, q3, q4}};
}

using test::extractionFails;
using test::streamed;

// ---- Random samples for the round trips -----------------------------------------------------

double anyValue(test::Random& rng) {
  switch (rng.integer(0, 4)) {
    case 0:
      return rng.uniform(-2000, 2000);
    case 1:
      return rng.uniform(-1, 1) * std::pow(10.0, rng.integer(-12, 12));
    case 2:
      return kUnsetExtJoint;
    case 3:
      return static_cast<double>(rng.integer(-5, 5));
    default:
      return rng.uniform(-1e9, 1e9);
  }
}

Pose anyPose(test::Random& rng) {
  return poseAt(anyValue(rng), anyValue(rng), anyValue(rng), anyValue(rng), anyValue(rng),
                anyValue(rng), anyValue(rng));
}

LoadData anyLoad(test::Random& rng) {
  return {anyValue(rng),
          Pos{anyValue(rng), anyValue(rng), anyValue(rng)},
          Orient{anyValue(rng), anyValue(rng), anyValue(rng), anyValue(rng)},
          anyValue(rng),
          anyValue(rng),
          anyValue(rng)};
}

std::string anyWord(test::Random& rng) {
  std::string word;
  const int length = rng.integer(1, 12);
  for (int i = 0; i < length; ++i) {
    word += static_cast<char>(rng.integer('!', '~'));
  }
  return word;
}

// ---- LoadData -------------------------------------------------------------------------------

TEST(LoadData, DefaultIsAUnitPointMassAtTheOrigin) {
  test::expectDefaultLoad(LoadData());
}

TEST(LoadData, ConstructorStoresEveryMemberInOrder) {
  const LoadData l(5, Pos{1, 2, 3}, Orient{0.5, -0.5, 0.5, -0.5}, 0.1, 0.2, 0.3);
  EXPECT_EQ(l.mass, 5.0);
  EXPECT_EQ(l.cog, (Pos{1, 2, 3}));
  EXPECT_EQ(l.aom, (Orient{0.5, -0.5, 0.5, -0.5}));
  EXPECT_EQ(l.ix, 0.1);
  EXPECT_EQ(l.iy, 0.2);
  EXPECT_EQ(l.iz, 0.3);
}

TEST(LoadData, ToStringOfAFiveKilogramLoad) {
  const LoadData l(5, Pos{0, 0, 50}, Orient{}, 0.1, 0.1, 0.02);
  EXPECT_EQ(l.toString(), "{5, {0, 0, 50}, {1, 0, 0, 0}, 0.1, 0.1, 0.02}");
}

TEST(LoadData, ToStringOfTheDefault) {
  EXPECT_EQ(LoadData().toString(), "{1, {0, 0, 0}, {1, 0, 0, 0}, 0, 0, 0}");
}

TEST(LoadData, ToStringKeepsTheCentreOfGravityExactAndRoundsTheRestToSixDigits) {
  const LoadData l(12.3456789, Pos{1250.123456789, -0.5, 1e9}, Orient{kHalfSqrt2, kHalfSqrt2, 0, 0},
                   0.000123456789, -3, 1234567);
  EXPECT_EQ(l.toString(),
            "{12.3457, {1250.123456789, -0.5, 1e+09}, {0.707107, 0.707107, 0, 0}, 0.000123457, "
            "-3, 1.23457e+06}");
}

TEST(LoadData, ToStringWritesTheMarkersInScientificForm) {
  const LoadData l(9e9, Pos{kPointThree, 9e9, -1e9}, Orient{1e9, 0, 0, 0}, 9e9, 1e9, -9e9);
  EXPECT_EQ(l.toString(),
            "{9e+09, {0.30000000000000004, 9e+09, -1e+09}, {1e+09, 0, 0, 0}, 9e+09, 1e+09, "
            "-9e+09}");
}

TEST(LoadData, StreamFormIsElevenNumbersWithTheStreamsState) {
  const LoadData l(12.3456789, Pos{1250.123456789, -0.5, 1e9}, Orient{kHalfSqrt2, kHalfSqrt2, 0, 0},
                   0.000123456789, -3, 1234567);
  EXPECT_EQ(streamed(l),
            "12.3457 1250.12 -0.5 1e+09 0.707107 0.707107 0 0 0.000123457 -3 1.23457e+06");
  EXPECT_EQ(streamed(LoadData()), "1 0 0 0 1 0 0 0 0 0 0");

  std::ostringstream fixed;
  fixed.setf(std::ios_base::fixed, std::ios_base::floatfield);
  fixed.precision(1);
  fixed << LoadData(5, Pos{0, 0, 50}, Orient{}, 0.25, 0, 0);
  EXPECT_EQ(fixed.str(), "5.0 0.0 0.0 50.0 1.0 0.0 0.0 0.0 0.2 0.0 0.0");
}

TEST(LoadData, ExtractionReadsElevenNumbersInOrder) {
  LoadData l;
  std::string rest;
  ASSERT_FALSE(extractionFails("5 1 2 3 0.5 -0.5 0.5 -0.5 0.1 0.2 0.3 rest", l, rest));
  EXPECT_EQ(l.mass, 5.0);
  EXPECT_EQ(l.cog, (Pos{1, 2, 3}));
  EXPECT_EQ(l.aom, (Orient{0.5, -0.5, 0.5, -0.5}));
  EXPECT_EQ(l.ix, 0.1);
  EXPECT_EQ(l.iy, 0.2);
  EXPECT_EQ(l.iz, 0.3);
  EXPECT_EQ(rest, "rest");
}

TEST(LoadData, TruncatedExtractionFailsAndKeepsWhatWasRead) {
  LoadData l;
  EXPECT_TRUE(extractionFails("5 1 2 3 0.5", l));
  EXPECT_EQ(l.mass, 5.0);
  EXPECT_EQ(l.cog, (Pos{1, 2, 3}));
  EXPECT_EQ(l.aom.q1, 0.5);
}

TEST(LoadData, GarbledAndEmptyExtractionFail) {
  test::expectExtractionFails<LoadData>(
      {"", "   ", "5 1 2 x 0.5 -0.5 0.5 -0.5 0.1 0.2 0.3", "true", "{5, 1}"});
}

TEST(LoadData, StreamRoundTripIsExactAtFullPrecision) {
  test::Random rng;
  test::expectStreamRoundTrips(2000, [&rng](int) {
    return test::RoundTrip<LoadData>{
        anyLoad(rng), LoadData(-7, Pos{-7, -7, -7}, Orient{-7, -7, -7, -7}, -7, -7, -7)};
  });
}

// ---- RobTarget ------------------------------------------------------------------------------

TEST(RobTarget, DefaultIsTheIdentityPoseWithoutExternalAxes) {
  const RobTarget t;
  EXPECT_EQ(t.pose, poseAt(0, 0, 0, 1, 0, 0, 0));
  EXPECT_EQ(t.robConf, (ConfData{0, 0, 0, 0}));
  for (const double e : t.extJoint.values)
    EXPECT_EQ(e, 9e9);
}

TEST(RobTarget, FromAPoseHasZeroConfigurationAndUnusedAxes) {
  const Pose p = poseAt(1, 2, 3, 0.5, 0.5, 0.5, 0.5);
  const RobTarget t(p);
  EXPECT_EQ(t.pose, p);
  EXPECT_EQ(t.robConf, (ConfData{0, 0, 0, 0}));
  for (const double e : t.extJoint.values)
    EXPECT_EQ(e, 9e9);
}

TEST(RobTarget, FromAPoseAndExternalAxes) {
  const Pose p = poseAt(1, 2, 3);
  const ExtJoint e(1, 2, 9e9, 4, 5, 6);
  const RobTarget t(p, e);
  EXPECT_EQ(t.pose, p);
  EXPECT_EQ(t.robConf, (ConfData{0, 0, 0, 0}));
  EXPECT_EQ(t.extJoint, e);
}

TEST(RobTarget, SetPoseReplacesOnlyThePose) {
  RobTarget t(poseAt(1, 2, 3), ExtJoint(1, 2, 3, 4, 5, 6));
  t.robConf = ConfData(1, -1, 2, 5);
  const Pose p = poseAt(-4, 5, -6, 0, 1, 0, 0);
  t.setPose(p);
  EXPECT_EQ(t.pose, p);
  EXPECT_EQ(t.getPose(), p);
  EXPECT_EQ(t.robConf, (ConfData{1, -1, 2, 5}));
  EXPECT_EQ(t.extJoint, (ExtJoint{1, 2, 3, 4, 5, 6}));
}

TEST(RobTarget, ToStringOfThePlainExample) {
  const RobTarget t(poseAt(1000, 0, 1250.5));
  EXPECT_EQ(t.toString(),
            "{{1000, 0, 1250.5}, {1, 0, 0, 0}, {0, 0, 0, 0}, "
            "{9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}");
}

TEST(RobTarget, ToStringOfAPoseEndsWithTheUnusedAxes) {
  const std::string text = RobTarget(poseAt(12, -3, 4.5, 0, 0, 1, 0)).toString();
  const std::string tail = "{9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
}

TEST(RobTarget, ToStringOfTheDefault) {
  EXPECT_EQ(RobTarget().toString(),
            "{{0, 0, 0}, {1, 0, 0, 0}, {0, 0, 0, 0}, {9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}");
}

RobTarget mixedTarget() {
  RobTarget t(poseAt(1250.123456789, -0.5, kPointThree, kHalfSqrt2, 0, 0, -kHalfSqrt2),
              ExtJoint(123.4567891, 9e9, -1e9, 0, 9e9, 9e9));
  t.robConf = ConfData(0, -1, 2, 5);
  return t;
}

TEST(RobTarget, ToStringKeepsPositionsExactAndRoundsTheRest) {
  EXPECT_EQ(mixedTarget().toString(),
            "{{1250.123456789, -0.5, 0.30000000000000004}, {0.707107, 0, 0, -0.707107}, "
            "{0, -1, 2, 5}, {123.457, 9e+09, -1e+09, 0, 9e+09, 9e+09}}");
}

TEST(RobTarget, ToStringWritesMarkerPositionsInScientificForm) {
  const RobTarget t(poseAt(1e9, 9e9, -1e-7, 1e9, 9e9, 0, 0));
  EXPECT_EQ(t.toString(),
            "{{1e+09, 9e+09, -1e-07}, {1e+09, 9e+09, 0, 0}, {0, 0, 0, 0}, "
            "{9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}");
}

TEST(RobTarget, ToUIStringIsToString) {
  EXPECT_EQ(mixedTarget().toUIString(), mixedTarget().toString());
  EXPECT_EQ(RobTarget().toUIString(), RobTarget().toString());
}

TEST(RobTarget, ToOstrelStringNamesTheQuadrants) {
  EXPECT_EQ(mixedTarget().toOstrelString(),
            "{{1250.123456789, -0.5, 0.30000000000000004}, {0.707107, 0, 0, -0.707107}, "
            "{quadrant::p0, quadrant::n1, quadrant::p2, quadrant::p5}, "
            "{123.457, 9e+09, -1e+09, 0, 9e+09, 9e+09}}");
}

TEST(RobTarget, StreamFormWritesPoseConfigurationAndAxes) {
  EXPECT_EQ(streamed(mixedTarget()),
            "1250.12 -0.5 0.3 0.707107 0 0 -0.707107 0 -1 2 5 123.457 9e+09 -1e+09 0 9e+09 9e+09");
  EXPECT_EQ(streamed(RobTarget()), "0 0 0 1 0 0 0 0 0 0 0 9e+09 9e+09 9e+09 9e+09 9e+09 9e+09");
}

TEST(RobTarget, ExtractionReadsPoseConfigurationAndAxes) {
  RobTarget t;
  ASSERT_FALSE(extractionFails("1 -2 3.5 0.5 0.5 -0.5 0.5 1 -1 2 7 10 9e+09 -30 9e9 1e9 0", t));
  EXPECT_EQ(t.pose, poseAt(1, -2, 3.5, 0.5, 0.5, -0.5, 0.5));
  EXPECT_EQ(t.robConf, (ConfData{1, -1, 2, 7}));
  EXPECT_EQ(t.extJoint, (ExtJoint{10, 9e9, -30, 9e9, 1e9, 0}));
}

TEST(RobTarget, TruncatedExtractionFailsAndKeepsWhatWasRead) {
  RobTarget t;
  EXPECT_TRUE(extractionFails("1 2 3 4 5 6 7 8", t));
  EXPECT_EQ(t.pose, poseAt(1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(t.robConf.cf1, 8);
}

TEST(RobTarget, GarbledAndEmptyExtractionFail) {
  test::expectExtractionFails<RobTarget>({"", "\n\t ", "1 2 3 4 5 6 7 0.5 0 0 0 1 2 3 4 5 6",
                                          "1 2 3 4 5 6 7 0 0 0 0 1 2 x 4 5 6", "{{1, 2, 3}}",
                                          "1 2 3 4 5 6 7 0 0 0 0 1 2 3 4 5"});
}

TEST(RobTarget, StreamRoundTripIsExactAtFullPrecision) {
  test::Random rng;
  test::expectStreamRoundTrips(2000, [&rng](int) {
    RobTarget t(anyPose(rng), ExtJoint(anyValue(rng), anyValue(rng), anyValue(rng), anyValue(rng),
                                       anyValue(rng), anyValue(rng)));
    t.robConf =
        ConfData(rng.integer(-9, 9), rng.integer(-9, 9), rng.integer(-9, 9), rng.integer(-1, 8));
    return test::RoundTrip<RobTarget>{
        t, RobTarget(poseAt(-7, -7, -7), ExtJoint(-7, -7, -7, -7, -7, -7))};
  });
}

// ---- ToolData -------------------------------------------------------------------------------

TEST(ToolData, DefaultIsARobotHeldToolWithIdentityFrameAndDefaultLoad) {
  const ToolData t;
  EXPECT_TRUE(t.robhold);
  EXPECT_EQ(t.tframe, poseAt(0, 0, 0, 1, 0, 0, 0));
  EXPECT_EQ(t.tload, LoadData(1, Pos{0, 0, 0}, Orient{1, 0, 0, 0}, 0, 0, 0));
}

TEST(ToolData, ConstructorStoresEveryMemberInOrder) {
  const LoadData load(5, Pos{0, 0, 50}, Orient{}, 0.1, 0.1, 0.02);
  const ToolData t(false, poseAt(1, 2, 3), load);
  EXPECT_FALSE(t.robhold);
  EXPECT_EQ(t.tframe, poseAt(1, 2, 3));
  EXPECT_EQ(t.tload, load);
}

TEST(ToolData, PositionsWithinTheToleranceCompareEqual) {
  for (int axis = 0; axis < 3; ++axis) {
    const double d[3] = {axis == 0 ? 0.003 : 0, axis == 1 ? 0.003 : 0, axis == 2 ? 0.003 : 0};
    const ToolData a(true, poseAt(0, 0, 0), LoadData());
    const ToolData b(true, poseAt(d[0], d[1], d[2]), LoadData());
    EXPECT_TRUE(a == b) << "axis " << axis;  // squared distance 9e-6 mm²
    EXPECT_FALSE(a != b) << "axis " << axis;
  }
}

TEST(ToolData, PositionsBeyondTheToleranceCompareUnequal) {
  for (int axis = 0; axis < 3; ++axis) {
    const double d[3] = {axis == 0 ? 0.0032 : 0, axis == 1 ? 0.0032 : 0, axis == 2 ? 0.0032 : 0};
    const ToolData a(true, poseAt(100, 200, 300), LoadData());
    const ToolData b(true, poseAt(100 + d[0], 200 + d[1], 300 + d[2]), LoadData());
    EXPECT_FALSE(a == b) << "axis " << axis;  // squared distance 1.024e-5 mm²
    EXPECT_TRUE(a != b) << "axis " << axis;
  }
}

TEST(ToolData, ToleranceIsOnTheSquaredDistanceNotPerAxis) {
  // 0.002 in each of the three coordinates: 1.2e-5 mm² in all, although each axis alone passes.
  const ToolData a(true, poseAt(0, 0, 0), LoadData());
  EXPECT_FALSE(a == ToolData(true, poseAt(0.002, 0.002, 0.002), LoadData()));
  EXPECT_TRUE(a == ToolData(true, poseAt(0.002, 0.002, 0), LoadData()));  // 8e-6 mm²
}

TEST(ToolData, DifferentLoadsAloneCompareEqual) {
  const ToolData a(true, poseAt(1, 2, 3), LoadData());
  const ToolData b(true, poseAt(1, 2, 3),
                   LoadData(50, Pos{10, 20, 30}, Orient{0, 1, 0, 0}, 1, 2, 3));
  EXPECT_TRUE(a == b);
}

TEST(ToolData, RobholdTakesPart) {
  EXPECT_FALSE(ToolData(true, poseAt(1, 2, 3), LoadData()) ==
               ToolData(false, poseAt(1, 2, 3), LoadData()));
}

TEST(ToolData, OrientationsCompareAsNormalisedRotationsWithATightTolerance) {
  const ToolData identity;
  // A record of length 2 normalises to the identity.
  EXPECT_TRUE(identity == ToolData(true, poseAt(0, 0, 0, 2, 0, 0, 0), LoadData()));
  // Relative difference 1e-13 passes (squared 1e-26 <= 1e-24); 1e-9 does not.
  EXPECT_TRUE(identity == ToolData(true, poseAt(0, 0, 0, 1, 1e-13, 0, 0), LoadData()));
  EXPECT_FALSE(identity == ToolData(true, poseAt(0, 0, 0, 1, 1e-9, 0, 0), LoadData()));
  // q and -q stand for the same rotation but are not approximately equal.
  EXPECT_FALSE(identity == ToolData(true, poseAt(0, 0, 0, -1, 0, 0, 0), LoadData()));
  EXPECT_FALSE(identity == ToolData(true, poseAt(0, 0, 0, 0, 0, 0, 1), LoadData()));
}

TEST(ToolData, PositionsAreComparedBeforeOrientations) {
  // Far apart: the answer comes before the zero record would be normalised.
  const ToolData zero(true, poseAt(0, 0, 0, 0, 0, 0, 0), LoadData());
  EXPECT_FALSE(zero == ToolData(true, poseAt(1, 0, 0), LoadData()));
  // Close: the zero record is normalised and throws.
  EXPECT_THROW_MSG((void)(zero == ToolData()), std::logic_error,
                   "normalize quaternion of 0 magnitude");
}

TEST(ToolData, ToStringOfTheDefault) {
  EXPECT_EQ(ToolData().toString(),
            "{true, {{0, 0, 0}, {1, 0, 0, 0}}, {1, {0, 0, 0}, {1, 0, 0, 0}, 0, 0, 0}}");
}

ToolData sampleTool() {
  return ToolData(false, poseAt(kPointThree, -12.5, 250, 0.5, -0.5, 0.5, -0.5),
                  LoadData(5, Pos{0, 0, 50}, Orient{}, 0.1, 0.1, 0.02));
}

TEST(ToolData, ToStringUsesThePoseAndLoadForms) {
  EXPECT_EQ(sampleTool().toString(),
            "{false, {{0.30000000000000004, -12.5, 250}, {0.5, -0.5, 0.5, -0.5}}, "
            "{5, {0, 0, 50}, {1, 0, 0, 0}, 0.1, 0.1, 0.02}}");
}

TEST(ToolData, ToStringRoundsTheOrientationToSixDigits) {
  const ToolData t(true, poseAt(1250.123456789, 0, 0, kHalfSqrt2, 0, kHalfSqrt2, 0),
                   LoadData(123.4567891, Pos{}, Orient{}, 0, 0, 0));
  EXPECT_EQ(t.toString(),
            "{true, {{1250.123456789, 0, 0}, {0.707107, 0, 0.707107, 0}}, "
            "{123.457, {0, 0, 0}, {1, 0, 0, 0}, 0, 0, 0}}");
}

TEST(ToolData, StreamFormWritesTheBooleanAsAWord) {
  EXPECT_EQ(streamed(sampleTool()),
            "false 0.3 -12.5 250 0.5 -0.5 0.5 -0.5 5 0 0 50 1 0 0 0 0.1 0.1 0.02");
  EXPECT_EQ(streamed(ToolData()), "true 0 0 0 1 0 0 0 1 0 0 0 1 0 0 0 0 0 0");
}

TEST(ToolData, InsertionLeavesBoolalphaSetOnTheStream) {
  std::ostringstream os;
  os << true << ' ';
  os << ToolData();
  os << ' ' << false;
  EXPECT_TRUE(os.flags() & std::ios_base::boolalpha);
  EXPECT_EQ(os.str(), "1 true 0 0 0 1 0 0 0 1 0 0 0 1 0 0 0 0 0 0 false");
}

TEST(ToolData, ExtractionSetsBoolalphaAndReadsTheBooleanAsAWord) {
  std::istringstream is("false 1 2 3 0.5 0.5 0.5 0.5 5 0 0 50 1 0 0 0 0.1 0.2 0.3");
  ToolData t;
  is >> t;
  ASSERT_FALSE(is.fail());
  EXPECT_TRUE(is.flags() & std::ios_base::boolalpha);
  EXPECT_FALSE(t.robhold);
  EXPECT_EQ(t.tframe, poseAt(1, 2, 3, 0.5, 0.5, 0.5, 0.5));
  EXPECT_EQ(t.tload, LoadData(5, Pos{0, 0, 50}, Orient{}, 0.1, 0.2, 0.3));
}

TEST(ToolData, ExtractionRejectsANumericBoolean) {
  std::istringstream is("0 1 2 3 0.5 0.5 0.5 0.5 5 0 0 50 1 0 0 0 0.1 0.2 0.3");
  ToolData t;
  is >> t;
  EXPECT_TRUE(is.fail());
  EXPECT_TRUE(is.flags() & std::ios_base::boolalpha);
}

TEST(ToolData, TruncatedExtractionFailsAndKeepsWhatWasRead) {
  ToolData t;
  EXPECT_TRUE(extractionFails("false 1 2 3 0.5 0.5 0.5 0.5 5 6", t));
  EXPECT_FALSE(t.robhold);
  EXPECT_EQ(t.tframe, poseAt(1, 2, 3, 0.5, 0.5, 0.5, 0.5));
  EXPECT_EQ(t.tload.mass, 5.0);
  EXPECT_EQ(t.tload.cog.x, 6.0);
}

TEST(ToolData, GarbledAndEmptyExtractionFail) {
  test::expectExtractionFails<ToolData>({"", "  ", "yes 1 2 3 1 0 0 0 1 0 0 0 1 0 0 0 0 0 0",
                                         "true 1 2 3 1 0 0 0 1 0 0 0 1 0 0 0 0 0 oops",
                                         "{true, {}}"});
}

TEST(ToolData, StreamRoundTripIsExactAtFullPrecision) {
  test::Random rng;
  // Field by field: == on tools compares positions within a tolerance and leaves out the load.
  test::expectStreamRoundTrips(
      2000,
      [&rng](int) {
        const ToolData t(rng.integer(0, 1) == 1, anyPose(rng), anyLoad(rng));
        return test::RoundTrip<ToolData>{
            t, ToolData(rng.integer(0, 1) == 1, poseAt(-7, -7, -7), LoadData())};
      },
      [](const ToolData& back, const ToolData& t, const std::string& text) {
        ASSERT_EQ(back.robhold, t.robhold);
        ASSERT_EQ(back.tframe, t.tframe) << text;
        ASSERT_EQ(back.tload, t.tload) << text;
      });
}

// ---- WObjData -------------------------------------------------------------------------------

TEST(WObjData, DefaultIsAFixedWorkObjectWithIdentityFrames) {
  const WObjData w;
  EXPECT_FALSE(w.robhold);
  EXPECT_TRUE(w.ufprog);
  EXPECT_EQ(w.ufmec, "");
  EXPECT_EQ(w.uframe, poseAt(0, 0, 0, 1, 0, 0, 0));
  EXPECT_EQ(w.oframe, poseAt(0, 0, 0, 1, 0, 0, 0));
}

TEST(WObjData, ConstructorStoresTheArgumentsInOrder) {
  std::string unit = "STN1";
  const WObjData w(true, false, std::move(unit), poseAt(1, 2, 3), poseAt(4, 5, 6, 0, 1, 0, 0));
  EXPECT_TRUE(w.robhold);
  EXPECT_FALSE(w.ufprog);
  EXPECT_EQ(w.ufmec, "STN1");
  EXPECT_EQ(w.uframe, poseAt(1, 2, 3));
  EXPECT_EQ(w.oframe, poseAt(4, 5, 6, 0, 1, 0, 0));
}

TEST(WObjData, IdentityUserFrameGivesTheObjectFrame) {
  const Pose object = poseAt(100, -20, 5.5, 0.5, 0.5, -0.5, 0.5);
  const WObjData w(false, true, "", Pose(), object);
  EXPECT_EQ(w.getPose(), object);
}

TEST(WObjData, UserFrameTurnedAboutZMovesTheObjectFrame) {
  const Pose user = poseAt(10, 20, 30, kHalfSqrt2, 0, 0, kHalfSqrt2);  // 90 degrees about z
  const WObjData w(false, true, "", user, poseAt(100, 0, 0));
  const Pose p = w.getPose();
  EXPECT_NEAR(p.pos.x, 10, 1e-12);
  EXPECT_NEAR(p.pos.y, 20 + 100, 1e-12);
  EXPECT_NEAR(p.pos.z, 30, 1e-12);
  EXPECT_NEAR(p.orient.q1, kHalfSqrt2, 1e-15);
  EXPECT_NEAR(p.orient.q2, 0, 1e-15);
  EXPECT_NEAR(p.orient.q3, 0, 1e-15);
  EXPECT_NEAR(p.orient.q4, kHalfSqrt2, 1e-15);
}

TEST(WObjData, GetPoseIsTheProductOfTheHomogeneousMatrices) {
  test::Random rng;
  const auto randomPose = [&rng] {
    Eigen::Quaterniond q(rng.uniform(-1, 1), rng.uniform(-1, 1), rng.uniform(-1, 1),
                         rng.uniform(-1, 1));
    q.normalize();
    return poseAt(rng.uniform(-1000, 1000), rng.uniform(-1000, 1000), rng.uniform(-1000, 1000),
                  q.w(), q.x(), q.y(), q.z());
  };
  const auto matrix = [](const Pose& p) {
    Eigen::Matrix4d m = Eigen::Matrix4d::Identity();
    m.topLeftCorner<3, 3>() =
        Eigen::Quaterniond(p.orient.q1, p.orient.q2, p.orient.q3, p.orient.q4).toRotationMatrix();
    m.topRightCorner<3, 1>() = Eigen::Vector3d(p.pos.x, p.pos.y, p.pos.z);
    return m;
  };
  for (int i = 0; i < 500; ++i) {
    const WObjData w(rng.integer(0, 1) == 1, rng.integer(0, 1) == 1, "unit", randomPose(),
                     randomPose());
    const Eigen::Matrix4d expected = matrix(w.uframe) * matrix(w.oframe);
    const Eigen::Matrix4d actual = matrix(w.getPose());
    ASSERT_TRUE(actual.isApprox(expected, 1e-12)) << "expected\n"
                                                  << expected << "\nactual\n"
                                                  << actual;
  }
}

TEST(WObjData, ToStringOfTheDefaultQuotesTheEmptyUnit) {
  EXPECT_EQ(WObjData().toString(),
            "{false, true, \"\", {{0, 0, 0}, {1, 0, 0, 0}}, {{0, 0, 0}, {1, 0, 0, 0}}}");
}

WObjData sampleWObj(bool ufprog, std::string unit) {
  return WObjData(true, ufprog, std::move(unit), poseAt(1000, -200.25, kPointThree),
                  poseAt(1e-7, 0, 5, kHalfSqrt2, 0, 0, kHalfSqrt2));
}

TEST(WObjData, ToStringAlwaysQuotesTheUnit) {
  EXPECT_EQ(sampleWObj(false, "STN1").toString(),
            "{true, false, \"STN1\", {{1000, -200.25, 0.30000000000000004}, {1, 0, 0, 0}}, "
            "{{1e-07, 0, 5}, {0.707107, 0, 0, 0.707107}}}");
  EXPECT_EQ(sampleWObj(true, "STN1").toString(),
            "{true, true, \"STN1\", {{1000, -200.25, 0.30000000000000004}, {1, 0, 0, 0}}, "
            "{{1e-07, 0, 5}, {0.707107, 0, 0, 0.707107}}}");
}

TEST(WObjData, ToStringDoesNotEscapeTheUnit) {
  const WObjData w(false, true, "a \"b\"", Pose(), Pose());
  EXPECT_EQ(w.toString(),
            "{false, true, \"a \"b\"\", {{0, 0, 0}, {1, 0, 0, 0}}, {{0, 0, 0}, {1, 0, 0, 0}}}");
}

TEST(WObjData, StreamFormWritesTheUnitOnlyWhenNotProgrammed) {
  EXPECT_EQ(streamed(sampleWObj(false, "STN1")),
            "true false STN1 1000 -200.25 0.3 1 0 0 0 1e-07 0 5 0.707107 0 0 0.707107");
  EXPECT_EQ(streamed(sampleWObj(true, "STN1")),
            "true true 1000 -200.25 0.3 1 0 0 0 1e-07 0 5 0.707107 0 0 0.707107");
  EXPECT_EQ(streamed(WObjData()), "false true 0 0 0 1 0 0 0 0 0 0 1 0 0 0");
}

TEST(WObjData, StreamFormOfAnEmptyUnitHasTwoSpacesInARow) {
  EXPECT_EQ(streamed(sampleWObj(false, "")),
            "true false  1000 -200.25 0.3 1 0 0 0 1e-07 0 5 0.707107 0 0 0.707107");
}

TEST(WObjData, InsertionLeavesBoolalphaSetOnTheStream) {
  std::ostringstream os;
  os << WObjData() << ' ' << true;
  EXPECT_TRUE(os.flags() & std::ios_base::boolalpha);
  EXPECT_EQ(os.str(), "false true 0 0 0 1 0 0 0 0 0 0 1 0 0 0 true");
}

TEST(WObjData, ExtractionReadsTheUnitOnlyWhenNotProgrammed) {
  {
    std::istringstream is("true false ARM 1 2 3 1 0 0 0 4 5 6 0 1 0 0");
    WObjData w;
    w.ufmec = "old";
    is >> w;
    ASSERT_FALSE(is.fail());
    EXPECT_TRUE(is.flags() & std::ios_base::boolalpha);
    EXPECT_TRUE(w.robhold);
    EXPECT_FALSE(w.ufprog);
    EXPECT_EQ(w.ufmec, "ARM");
    EXPECT_EQ(w.uframe, poseAt(1, 2, 3));
    EXPECT_EQ(w.oframe, poseAt(4, 5, 6, 0, 1, 0, 0));
  }
  {
    std::istringstream is("false true 1 2 3 1 0 0 0 4 5 6 0 1 0 0");
    WObjData w(true, false, "old", Pose(), Pose());
    is >> w;
    ASSERT_FALSE(is.fail());
    EXPECT_FALSE(w.robhold);
    EXPECT_TRUE(w.ufprog);
    EXPECT_EQ(w.ufmec, "old");
    EXPECT_EQ(w.uframe, poseAt(1, 2, 3));
    EXPECT_EQ(w.oframe, poseAt(4, 5, 6, 0, 1, 0, 0));
  }
}

TEST(WObjData, AnEmptyUnitDoesNotReadBack) {
  // The empty item vanishes between the spaces: the first number is taken as the unit name and
  // one number is missing at the end.
  std::stringstream ss;
  ss << sampleWObj(false, "");
  WObjData w;
  ss >> w;
  EXPECT_TRUE(ss.fail());
  EXPECT_EQ(w.ufmec, "1000");
}

TEST(WObjData, TruncatedExtractionFailsAndKeepsWhatWasRead) {
  WObjData w;
  EXPECT_TRUE(extractionFails("true false ARM 1 2 3 1 0 0 0 4", w));
  EXPECT_TRUE(w.robhold);
  EXPECT_FALSE(w.ufprog);
  EXPECT_EQ(w.ufmec, "ARM");
  EXPECT_EQ(w.uframe, poseAt(1, 2, 3));
  EXPECT_EQ(w.oframe.pos.x, 4.0);
}

TEST(WObjData, GarbledAndEmptyExtractionFail) {
  test::expectExtractionFails<WObjData>({"", " \n", "1 0 0 0 0 1 0 0 0 0 0 0 1 0 0 0",
                                         "false maybe 0 0 0 1 0 0 0 0 0 0 1 0 0 0",
                                         "false true 0 0 0 1 0 0 0 0 0 0 1 0 0 zero", "false false",
                                         "false true 0 0 0 1 0 0 0 0 0 0 1 0 0"});
}

TEST(WObjData, StreamRoundTripIsExactAtFullPrecision) {
  test::Random rng;
  test::expectStreamRoundTrips(2000, [&rng](int) {
    const bool ufprog = rng.integer(0, 1) == 1;
    // A programmed user frame does not write its unit, so only then may it be anything.
    const WObjData w(rng.integer(0, 1) == 1, ufprog, ufprog ? "" : anyWord(rng), anyPose(rng),
                     anyPose(rng));
    return test::RoundTrip<WObjData>{
        w, WObjData(!w.robhold, !w.ufprog, "", poseAt(-7, -7, -7), poseAt(-7, -7, -7))};
  });
}

}  // namespace
}  // namespace zor::rob
