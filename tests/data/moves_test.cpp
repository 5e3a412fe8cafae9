#include "zor/rob/moves.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <ios>
#include <iterator>
#include <sstream>
#include <string>
#include <type_traits>

#include "data/record_defaults.hpp"
#include "support/record_streams.hpp"
#include "support/test_support.hpp"

namespace zor::rob {
namespace {

using test::expectDefaultLoad;
using test::expectIdentityPose;
using test::extractionFails;
using test::streamed;

// ---- MoveType -------------------------------------------------------------------------------

static_assert(std::is_same_v<std::underlying_type_t<MoveType>, std::int32_t>);
static_assert(sizeof(MoveType) == 4);

TEST(MoveType, ValuesAreTheInstructionCodes) {
  EXPECT_EQ(static_cast<std::int32_t>(MoveType::MoveL), 0);
  EXPECT_EQ(static_cast<std::int32_t>(MoveType::MoveC), 1);
  EXPECT_EQ(static_cast<std::int32_t>(MoveType::MoveJ), 2);
  EXPECT_EQ(static_cast<std::int32_t>(MoveType::MoveAbsJ), 3);
}

TEST(MoveType, NameIsTheInstructionsName) {
  EXPECT_STREQ(MoveTypeName(MoveType::MoveL), "MoveL");
  EXPECT_STREQ(MoveTypeName(MoveType::MoveC), "MoveC");
  EXPECT_STREQ(MoveTypeName(MoveType::MoveJ), "MoveJ");
  EXPECT_STREQ(MoveTypeName(MoveType::MoveAbsJ), "MoveAbsJ");
  EXPECT_STREQ(MoveTypeName(static_cast<MoveType>(7)), "MoveAbsJ");
}

// ---- SpeedData ------------------------------------------------------------------------------

// The predefined speeds must be usable in constant expressions.
static_assert(SpeedData::v1000.vTcp == 1000 && SpeedData::v1000.vOri == 500);
static_assert(SpeedData::v5 == SpeedData(5, 500, 5000, 1000));

TEST(SpeedData, DefaultIsAllZero) {
  const SpeedData s;
  EXPECT_EQ(s.vTcp, 0.0);
  EXPECT_EQ(s.vOri, 0.0);
  EXPECT_EQ(s.vLeax, 0.0);
  EXPECT_EQ(s.vReax, 0.0);
}

TEST(SpeedData, ConstructorStoresTheSpeedsInOrder) {
  const SpeedData s(1, 2, 3, 4);
  EXPECT_EQ(s.vTcp, 1.0);
  EXPECT_EQ(s.vOri, 2.0);
  EXPECT_EQ(s.vLeax, 3.0);
  EXPECT_EQ(s.vReax, 4.0);
}

struct SpeedRow {
  const char* name;
  const SpeedData* speed;
  double tcp;
};

TEST(SpeedData, PredefinedSpeedsHoldTheirTcpSpeedAndTheCommonAxisSpeeds) {
  const SpeedRow table[] = {
      {"v5", &SpeedData::v5, 5},          {"v10", &SpeedData::v10, 10},
      {"v20", &SpeedData::v20, 20},       {"v30", &SpeedData::v30, 30},
      {"v40", &SpeedData::v40, 40},       {"v50", &SpeedData::v50, 50},
      {"v60", &SpeedData::v60, 60},       {"v80", &SpeedData::v80, 80},
      {"v100", &SpeedData::v100, 100},    {"v150", &SpeedData::v150, 150},
      {"v200", &SpeedData::v200, 200},    {"v300", &SpeedData::v300, 300},
      {"v400", &SpeedData::v400, 400},    {"v500", &SpeedData::v500, 500},
      {"v600", &SpeedData::v600, 600},    {"v800", &SpeedData::v800, 800},
      {"v1000", &SpeedData::v1000, 1000}, {"v1500", &SpeedData::v1500, 1500},
      {"v2000", &SpeedData::v2000, 2000}, {"v2500", &SpeedData::v2500, 2500},
      {"v3000", &SpeedData::v3000, 3000}, {"v4000", &SpeedData::v4000, 4000},
      {"v5000", &SpeedData::v5000, 5000}, {"v6000", &SpeedData::v6000, 6000},
      {"v7000", &SpeedData::v7000, 7000},
  };
  ASSERT_EQ(std::size(table), 25u);
  for (const SpeedRow& row : table) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.speed->vTcp, row.tcp);
    EXPECT_EQ(row.speed->vOri, 500.0);
    EXPECT_EQ(row.speed->vLeax, 5000.0);
    EXPECT_EQ(row.speed->vReax, 1000.0);
  }
}

TEST(SpeedData, ToStringOfPredefinedSpeeds) {
  EXPECT_EQ(SpeedData::v1000.toString(), "{1000, 500, 5000, 1000}");
  EXPECT_EQ(SpeedData::v5.toString(), "{5, 500, 5000, 1000}");
  EXPECT_EQ(SpeedData::v7000.toString(), "{7000, 500, 5000, 1000}");
  EXPECT_EQ(SpeedData().toString(), "{0, 0, 0, 0}");
}

TEST(SpeedData, ToStringRoundsToSixDigits) {
  EXPECT_EQ(SpeedData(123.4567891, -0.5, 1e9, 9e9).toString(), "{123.457, -0.5, 1e+09, 9e+09}");
  EXPECT_EQ(SpeedData(0.1 + 0.2, 1234567, -1e-7, 100000).toString(),
            "{0.3, 1.23457e+06, -1e-07, 100000}");
}

TEST(SpeedData, StreamFormIsFourNumbersWithTheStreamsState) {
  EXPECT_EQ(streamed(SpeedData::v1000), "1000 500 5000 1000");
  EXPECT_EQ(streamed(SpeedData(123.4567891, -0.5, 1e9, 9e9)), "123.457 -0.5 1e+09 9e+09");

  std::ostringstream os;
  os.setf(std::ios_base::fixed, std::ios_base::floatfield);
  os.precision(1);
  os << SpeedData(2.25, 500, 5000, 1000);
  EXPECT_EQ(os.str(), "2.2 500.0 5000.0 1000.0");
}

TEST(SpeedData, ExtractionReadsFourNumbersInOrder) {
  SpeedData s;
  std::string next;
  ASSERT_FALSE(extractionFails("1.5 -2 3e3 4 next", s, next));
  EXPECT_EQ(s, SpeedData(1.5, -2, 3000, 4));
  EXPECT_EQ(next, "next");
}

TEST(SpeedData, TruncatedExtractionFailsAndKeepsWhatWasRead) {
  SpeedData s(1, 2, 3, 4);
  EXPECT_TRUE(extractionFails("7 8", s));
  EXPECT_EQ(s.vTcp, 7.0);
  EXPECT_EQ(s.vOri, 8.0);
}

TEST(SpeedData, GarbledAndEmptyExtractionFail) {
  test::expectExtractionFails<SpeedData>(
      {"", "   ", "1 2 x 4", "v1000", "{1000, 500, 5000, 1000}", "1 2 - 4"});
}

TEST(SpeedData, StreamRoundTripIsExactAtFullPrecision) {
  test::Random rng;
  test::expectStreamRoundTrips(2000, [&rng](int) {
    const SpeedData s(rng.uniform(0, 7000), rng.uniform(-1e9, 1e9), rng.uniform(-1e-6, 1e-6),
                      static_cast<double>(rng.integer(-9, 9)));
    return test::RoundTrip<SpeedData>{s, SpeedData(-7, -7, -7, -7)};
  });
}

// ---- ZoneData -------------------------------------------------------------------------------

void expectZone(const ZoneData& z, bool finep, double pzoneTcp, double pzoneOri, double pzoneEax,
                double zoneOri, double zoneLeax, double zoneReax, std::int32_t cntValue) {
  EXPECT_EQ(z.finep, finep);
  EXPECT_EQ(z.pzoneTcp, pzoneTcp);
  EXPECT_EQ(z.pzoneOri, pzoneOri);
  EXPECT_EQ(z.pzoneEax, pzoneEax);
  EXPECT_EQ(z.zoneOri, zoneOri);
  EXPECT_EQ(z.zoneLeax, zoneLeax);
  EXPECT_EQ(z.zoneReax, zoneReax);
  EXPECT_EQ(z.cntValue, cntValue);
}

void expectFine(const ZoneData& z) {
  expectZone(z, true, 0, 0, 0, 0, 0, 0, -1);
}

TEST(ZoneData, DefaultHoldsTheValuesOfFine) {
  expectFine(ZoneData());
}

TEST(ZoneData, ConstructorStoresEveryMemberInOrder) {
  expectZone(ZoneData(false, 1, 2, 3, 4, 5, 6, 7), false, 1, 2, 3, 4, 5, 6, 7);
}

struct ZoneRow {
  const char* name;
  const ZoneData* zone;
  bool finep;
  double pzoneTcp, pzoneOri, pzoneEax, zoneOri, zoneLeax, zoneReax;
  std::int32_t cntValue;
};

TEST(ZoneData, PredefinedZonesAreWrittenAtLoad) {
  const ZoneRow table[] = {
      {"fine", &ZoneData::fine, true, 0, 0, 0, 0, 0, 0, -1},
      {"z0", &ZoneData::z0, false, 0.3, 0.3, 0.3, 0.03, 0.3, 0.03, -1},
      {"z1", &ZoneData::z1, false, 1, 1, 1, 0.1, 1, 0.1, -1},
      {"z5", &ZoneData::z5, false, 5, 8, 8, 0.8, 8, 0.8, -1},
      {"z10", &ZoneData::z10, false, 10, 15, 15, 1.5, 15, 1.5, -1},
      {"z15", &ZoneData::z15, false, 15, 23, 23, 2.3, 23, 2.3, -1},
      {"z20", &ZoneData::z20, false, 20, 30, 30, 3, 30, 3, -1},
      {"z30", &ZoneData::z30, false, 30, 45, 45, 4.5, 45, 4.5, -1},
      {"z40", &ZoneData::z40, false, 40, 60, 60, 6, 60, 6, -1},
      {"z50", &ZoneData::z50, false, 50, 75, 75, 7.5, 75, 7.5, -1},
      {"z60", &ZoneData::z60, false, 60, 90, 90, 9, 90, 9, -1},
      {"z80", &ZoneData::z80, false, 80, 120, 120, 12, 120, 12, -1},
      {"z100", &ZoneData::z100, false, 100, 150, 150, 15, 150, 15, -1},
      {"z150", &ZoneData::z150, false, 150, 225, 225, 23, 225, 23, -1},
      {"z200", &ZoneData::z200, false, 200, 300, 300, 30, 300, 30, -1},
      {"FINE", &ZoneData::FINE, true, 0, 0, 0, 0, 0, 0, 0},
      {"CNT0", &ZoneData::CNT0, false, 0, 0, 0, 0, 0, 0, 0},
      {"CNT1", &ZoneData::CNT1, false, 0, 0, 0, 0, 0, 0, 1},
      {"CNT5", &ZoneData::CNT5, false, 0, 0, 0, 0, 0, 0, 5},
      {"CNT10", &ZoneData::CNT10, false, 0, 0, 0, 0, 0, 0, 10},
      {"CNT15", &ZoneData::CNT15, false, 0, 0, 0, 0, 0, 0, 15},
      {"CNT20", &ZoneData::CNT20, false, 0, 0, 0, 0, 0, 0, 20},
      {"CNT30", &ZoneData::CNT30, false, 0, 0, 0, 0, 0, 0, 30},
      {"CNT40", &ZoneData::CNT40, false, 0, 0, 0, 0, 0, 0, 40},
      {"CNT50", &ZoneData::CNT50, false, 0, 0, 0, 0, 0, 0, 50},
      {"CNT60", &ZoneData::CNT60, false, 0, 0, 0, 0, 0, 0, 60},
      {"CNT80", &ZoneData::CNT80, false, 0, 0, 0, 0, 0, 0, 80},
      {"CNT100", &ZoneData::CNT100, false, 0, 0, 0, 0, 0, 0, 100},
  };
  ASSERT_EQ(std::size(table), 28u);  // fine, z0 to z200 (15 in all), FINE, CNT0 to CNT100 (13)
  for (const ZoneRow& r : table) {
    SCOPED_TRACE(r.name);
    expectZone(*r.zone, r.finep, r.pzoneTcp, r.pzoneOri, r.pzoneEax, r.zoneOri, r.zoneLeax,
               r.zoneReax, r.cntValue);
  }
}

TEST(ZoneData, PredefinedZonesAreMutable) {
  const ZoneData saved = ZoneData::z10;
  ZoneData::z10.pzoneTcp = 11;
  EXPECT_EQ(ZoneData::z10.pzoneTcp, 11.0);
  ZoneData::z10 = saved;
  EXPECT_EQ(ZoneData::z10.pzoneTcp, 10.0);
}

TEST(ZoneData, DefaultDoesNotReadThePredefinedFine) {
  const ZoneData saved = ZoneData::fine;
  ZoneData::fine = ZoneData(false, 1, 2, 3, 4, 5, 6, 7);
  expectFine(ZoneData());
  expectFine(MoveJ().zone);
  expectFine(MoveAbsJ().zone);
  ZoneData::fine = saved;
}

TEST(ZoneData, StreamFormOfPredefinedZones) {
  EXPECT_EQ(streamed(ZoneData::z0), "0 0.3 0.3 0.3 0.03 0.3 0.03");
  EXPECT_EQ(streamed(ZoneData::fine), "1 0 0 0 0 0 0");
  EXPECT_EQ(streamed(ZoneData::z200), "0 200 300 300 30 300 30");
  EXPECT_EQ(streamed(ZoneData::FINE), "1 0 0 0 0 0 0");
}

TEST(ZoneData, StreamFormLeavesOutTheCntValue) {
  EXPECT_EQ(streamed(ZoneData::CNT50), "0 0 0 0 0 0 0");
  EXPECT_EQ(streamed(ZoneData::CNT50), streamed(ZoneData::CNT0));
}

TEST(ZoneData, StreamFormUsesTheStreamsBoolAndNumberState) {
  std::ostringstream os;
  os << std::boolalpha << ZoneData::z0 << ' ' << ZoneData::fine;
  EXPECT_EQ(os.str(), "false 0.3 0.3 0.3 0.03 0.3 0.03 true 0 0 0 0 0 0");

  EXPECT_EQ(streamed(ZoneData(false, 123.4567891, -0.5, 1e9, 9e9, 1e-7, 1234567, 3)),
            "0 123.457 -0.5 1e+09 9e+09 1e-07 1.23457e+06");
}

TEST(ZoneData, ExtractionKeepsTheCntValue) {
  ZoneData z = ZoneData::CNT50;
  ASSERT_FALSE(extractionFails("1 0 0 0 0 0 0", z));
  EXPECT_TRUE(z.finep);
  EXPECT_EQ(z.cntValue, 50);
}

TEST(ZoneData, ExtractionReadsTheSixSizesInOrder) {
  ZoneData z;
  ASSERT_FALSE(extractionFails("0 1.5 2 3 4 5 6.25", z));
  expectZone(z, false, 1.5, 2, 3, 4, 5, 6.25, -1);
}

TEST(ZoneData, ExtractionFollowsTheStreamsBoolalphaFlag) {
  {
    ZoneData z(false, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_TRUE(extractionFails("true 1 2 3 4 5 6", z));  // a word is no numeric bool
  }
  {
    std::istringstream is("true 1 2 3 4 5 6");
    is >> std::boolalpha;
    ZoneData z(false, 0, 0, 0, 0, 0, 0, 0);
    is >> z;
    ASSERT_FALSE(is.fail());
    expectZone(z, true, 1, 2, 3, 4, 5, 6, 0);
  }
}

TEST(ZoneData, TruncatedExtractionFailsAndKeepsWhatWasRead) {
  ZoneData z(false, 0, 0, 0, 0, 0, 0, 80);
  EXPECT_TRUE(extractionFails("1 10 15", z));
  EXPECT_TRUE(z.finep);
  EXPECT_EQ(z.pzoneTcp, 10.0);
  EXPECT_EQ(z.pzoneOri, 15.0);
  EXPECT_EQ(z.cntValue, 80);
}

TEST(ZoneData, GarbledAndEmptyExtractionFail) {
  test::expectExtractionFails<ZoneData>(
      {"", "\t", "2 0 0 0 0 0 0", "-1 0 0 0 0 0 0", "1 0 0 x 0 0 0", "z10", "1 0 0 0 0 0"});
}

TEST(ZoneData, StreamRoundTripIsExactAtFullPrecisionAndKeepsTheCntValue) {
  test::Random rng;
  test::expectStreamRoundTrips(2000, [&rng](int) {
    const ZoneData z(rng.integer(0, 1) == 1, rng.uniform(0, 300), rng.uniform(-1e9, 1e9),
                     rng.uniform(0, 1e-3), rng.uniform(0, 30), 0.1 + 0.2,
                     static_cast<double>(rng.integer(0, 9)), rng.integer(-1, 100));
    // The text carries no cntValue: extraction keeps the one of the record read into.
    return test::RoundTrip<ZoneData>{z, ZoneData(!z.finep, -7, -7, -7, -7, -7, -7, z.cntValue)};
  });
}

// ---- Move records ---------------------------------------------------------------------------

// Checks the members every move record starts with against their documented defaults.
void expectCommonDefaults(const MoveRecord& m) {
  // toPoint: identity pose, configuration zero, external axes unused.
  expectIdentityPose(m.toPoint.pose);
  EXPECT_EQ(m.toPoint.robConf.cf1, 0);
  EXPECT_EQ(m.toPoint.robConf.cf4, 0);
  EXPECT_EQ(m.toPoint.robConf.cf6, 0);
  EXPECT_EQ(m.toPoint.robConf.cfx, 0);
  for (const double e : m.toPoint.extJoint.values)
    EXPECT_EQ(e, 9e9);
  // robJoint: all unset.
  for (const double j : m.robJoint.values)
    EXPECT_EQ(j, 1e9);
  EXPECT_FALSE(m.robJoint.isValid());
  EXPECT_EQ(m.tag, 0);
  // speed: all zero.
  EXPECT_EQ(m.speed.vTcp, 0.0);
  EXPECT_EQ(m.speed.vOri, 0.0);
  EXPECT_EQ(m.speed.vLeax, 0.0);
  EXPECT_EQ(m.speed.vReax, 0.0);
  // zone: the values of fine.
  expectFine(m.zone);
  // tool: robot held, identity frame, unit load.
  EXPECT_TRUE(m.tool.robhold);
  expectIdentityPose(m.tool.tframe);
  expectDefaultLoad(m.tool.tload);
  // wobj: fixed, programmed user frame, no unit, identity frames.
  EXPECT_FALSE(m.wobj.robhold);
  EXPECT_TRUE(m.wobj.ufprog);
  EXPECT_EQ(m.wobj.ufmec, "");
  expectIdentityPose(m.wobj.uframe);
  expectIdentityPose(m.wobj.oframe);
}

TEST(MoveL, DefaultIsALinearMoveWithTheCommonDefaults) {
  const MoveL m;
  EXPECT_EQ(static_cast<std::int32_t>(m.moveType), 0);
  expectCommonDefaults(m);
}

TEST(MoveJ, DefaultIsAJointMoveWithTheCommonDefaults) {
  const MoveJ m;
  EXPECT_EQ(static_cast<std::int32_t>(m.moveType), 2);
  expectCommonDefaults(m);
}

TEST(MoveC, DefaultIsACircularMoveWithAnUnsetCirclePoint) {
  const MoveC m;
  EXPECT_EQ(static_cast<std::int32_t>(m.moveType), 1);
  expectCommonDefaults(m);
  expectIdentityPose(m.cirPoint.pose);
  EXPECT_EQ(m.cirPoint.robConf, ConfData(0, 0, 0, 0));
  for (const double e : m.cirPoint.extJoint.values)
    EXPECT_EQ(e, 9e9);
}

TEST(MoveAbsJ, DefaultIsAnAbsoluteJointMoveWithBothTargetsUnset) {
  const MoveAbsJ m;
  EXPECT_EQ(static_cast<std::int32_t>(m.moveType), 3);
  expectCommonDefaults(m);
  for (const double j : m.toJointPos.robJoint.values)
    EXPECT_EQ(j, 1e9);
  for (const double e : m.toJointPos.extJoint.values)
    EXPECT_EQ(e, 9e9);
  EXPECT_FALSE(m.toJointPos.robJoint.isValid());
  EXPECT_FALSE(m.toJointPos.extJoint.valid());
  EXPECT_FALSE(m.toPoint.extJoint.valid());
}

TEST(MoveRecords, AreCopyableValues) {
  MoveC m;
  m.speed = SpeedData::v1000;
  m.zone = ZoneData::z10;
  m.tag = 7;
  m.wobj.ufmec = "STN1";
  m.cirPoint.pose.pos.x = 5;
  const MoveC copy = m;
  EXPECT_EQ(copy.moveType, MoveType::MoveC);
  EXPECT_EQ(copy.speed, SpeedData::v1000);
  EXPECT_EQ(copy.zone, ZoneData::z10);
  EXPECT_EQ(copy.tag, 7);
  EXPECT_EQ(copy.wobj.ufmec, "STN1");
  EXPECT_EQ(copy.cirPoint.pose.pos.x, 5.0);
}

}  // namespace
}  // namespace zor::rob
