// The program audit on the default arm (a1 150, a2 -110, b 0, c1 450, c2 600, c3 640, c4 100,
// limits ±170, -90/150, -175/70, ±180, ±125, ±360). Every expected place is worked out by hand
// from the arm's planar geometry, not taken from the audit.
//
// The planar geometry used throughout: with joint 1 at 0 and the flange pointing along base +x
// (the home orientation), joints 4 and 6 at 0, the forearm tilt s = j2 + j3 and j5 = -s. The
// wrist centre is the flange position less 100 mm along x, and lies at
//   x = 150 + 600 sin j2 + 640 cos s - 110 sin s,  z = 450 + 600 cos j2 - 640 sin s - 110 cos s.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/test_support.hpp"
#include "zor/rob/audit.hpp"

namespace zor::rob::test {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kRad = kPi / 180.0;
/// Events are located to 1e-3 mm; the rest is rounding.
constexpr double kPlaceTolerance = 1.1e-3;

/// The flange z axis along base +x, as at home.
const Orient kForward{std::sqrt(0.5), 0.0, std::sqrt(0.5), 0.0};

/// The forward orientation turned by `degrees` about the flange's own z axis (base +x).
Orient ForwardTurned(double degrees) {
  const double h = degrees * kRad / 2;
  // (cos h, sin h, 0, 0) ⊗ kForward: a turn about base x applied after the home orientation.
  const double c = std::cos(h), s = std::sin(h), r = std::sqrt(0.5);
  return {c * r, s * r, c * r, s * r};
}

MoveL Line(const Pos& to, const Orient& o, const ConfData& conf,
           const SpeedData& speed = SpeedData::v500, const ZoneData& zone = ZoneData::fine) {
  MoveL m;
  m.toPoint = RobTarget(Pose(to, o));
  m.toPoint.robConf = conf;
  m.speed = speed;
  m.zone = zone;
  return m;
}

MoveJ Joint(const Pos& to, const Orient& o, const ConfData& conf,
            const SpeedData& speed = SpeedData::v500) {
  MoveJ m;
  m.toPoint = RobTarget(Pose(to, o));
  m.toPoint.robConf = conf;
  m.speed = speed;
  return m;
}

MoveAbsJ AbsJ(const RobJoint& j, const SpeedData& speed = SpeedData::v500) {
  MoveAbsJ m;
  m.toJointPos = JointTarget(j);
  m.speed = speed;
  return m;
}

MoveC Arc(const Pos& via, const Pos& to, const Orient& o, const ConfData& conf,
          const SpeedData& speed = SpeedData::v500) {
  MoveC m;
  m.cirPoint = RobTarget(Pose(via, o));
  m.toPoint = RobTarget(Pose(to, o));
  m.toPoint.robConf = conf;
  m.speed = speed;
  return m;
}

std::string Describe(const AuditReport& r) {
  std::ostringstream os;
  for (const MoveAudit& m : r.moves)
    for (const AuditEvent& e : m.events)
      os << "move " << e.moveIndex << (e.corner ? " corner " : " ") << e.kind << " "
         << e.startFraction << " .. " << e.endFraction << " (" << e.startArcLength << " .. "
         << e.endArcLength << " mm) joint " << e.joint << "\n";
  return os.str();
}

std::vector<AuditEventKind> Kinds(const MoveAudit& m) {
  std::vector<AuditEventKind> kinds;
  for (const AuditEvent& e : m.events)
    kinds.push_back(e.kind);
  std::sort(kinds.begin(), kinds.end());
  return kinds;
}

const AuditEvent* Find(const MoveAudit& m, AuditEventKind kind) {
  for (const AuditEvent& e : m.events)
    if (e.kind == kind)
      return &e;
  return nullptr;
}

AuditReport Audit(const std::vector<ProgramMove>& moves, const AuditOptions& options = {},
                  const RobJoint& start = RobJoint(0, 0, 0, 0, 30, 0)) {
  return AuditProgram(DefaultArm(), start, moves, options);
}

/// The flange height (mm) where the forearm tilt is s (radians), on the line x = 890 of the
/// planar geometry (wrist centre x = 790), with joint 2 on the branch near 0.
double HeightAtTilt(double s) {
  const double sinJ2 = (640.0 - 640.0 * std::cos(s) + 110.0 * std::sin(s)) / 600.0;
  const double cosJ2 = std::sqrt(1.0 - sinJ2 * sinJ2);
  return 450.0 + 600.0 * cosJ2 - 640.0 * std::sin(s) - 110.0 * std::cos(s);
}

// The vertical line x = 890 from z = 840 to z = 1040 in the forward orientation. The forearm is
// level (s = 0, so j5 = 0) where sin j2 = 0, i.e. at z = 450 + 600 - 110 = 940: half-way. Below
// it s > 0 (j5 < 0, wrist bit set: configuration 1), above it s < 0 (configuration 0).
std::vector<ProgramMove> ThroughTheWrist() {
  return {Joint({890, 0, 840}, kForward, ConfData(0, 0, 0, 1)),
          Line({890, 0, 1040}, kForward, ConfData(0, 0, 0, 0))};
}

TEST(Audit, LinePassingJoint5ZeroIsAWristSingularity) {
  const AuditReport r = Audit(ThroughTheWrist());
  ASSERT_EQ(r.moves.size(), 2u);
  EXPECT_TRUE(r.moves[0].events.empty()) << Describe(r);
  const MoveAudit& m = r.moves[1];
  EXPECT_EQ(Kinds(m),
            (std::vector{AuditEventKind::configurationChange, AuditEventKind::wristSingularity}))
      << Describe(r);
  // |j5| = |s| < 1 degree between the heights of s = +1 and s = -1 degree.
  const AuditEvent* wrist = Find(m, AuditEventKind::wristSingularity);
  ASSERT_NE(wrist, nullptr);
  EXPECT_NEAR(wrist->startArcLength, HeightAtTilt(1.0 * kRad) - 840.0, kPlaceTolerance);
  EXPECT_NEAR(wrist->endArcLength, HeightAtTilt(-1.0 * kRad) - 840.0, kPlaceTolerance);
  EXPECT_NEAR(wrist->startFraction, (HeightAtTilt(1.0 * kRad) - 840.0) / 200.0, 1e-5);
  EXPECT_EQ(wrist->joint, 0);
  EXPECT_LT(std::abs(wrist->startJoints.values[4]), 1.0 + 1e-3);
}

TEST(Audit, WristFlipIsAConfigurationChangeAtJoint5Zero) {
  const AuditReport r = Audit(ThroughTheWrist());
  const AuditEvent* change = Find(r.moves[1], AuditEventKind::configurationChange);
  ASSERT_NE(change, nullptr) << Describe(r);
  // Bracketed within 1e-3 mm around z = 940, 100 mm along the line.
  EXPECT_LE(change->startArcLength, 100.0 + 1e-9);
  EXPECT_GE(change->endArcLength, 100.0 - 1e-9);
  EXPECT_LE(change->endArcLength - change->startArcLength, 1e-3);
  EXPECT_LT(change->startJoints.values[4], 0.0);
  EXPECT_GE(change->endJoints.values[4], 0.0);
}

TEST(Audit, WristMarginZeroReportsOnlyTheFlip) {
  AuditOptions options;
  options.wristMarginDeg = 0.0;
  const AuditReport r = Audit(ThroughTheWrist(), options);
  EXPECT_EQ(Kinds(r.moves[1]), (std::vector{AuditEventKind::configurationChange})) << Describe(r);
}

// The line z = 1600 from x = 0 to x = 200 in the forward orientation: the wrist centre runs
// from x = -100 to x = 100 through the axis of joint 1 with joint 1 at 0. Behind the axis the
// shoulder is behind (configuration 4), in front of it in front (configuration 0).
TEST(Audit, LineThroughTheAxisOfJoint1IsAShoulderSingularity) {
  const AuditReport r = Audit({Joint({0, 0, 1600}, kForward, ConfData(0, 0, 0, 4)),
                               Line({200, 0, 1600}, kForward, ConfData(0, 0, 0, 0))});
  EXPECT_TRUE(r.moves[0].events.empty()) << Describe(r);
  const MoveAudit& m = r.moves[1];
  EXPECT_EQ(Kinds(m),
            (std::vector{AuditEventKind::configurationChange, AuditEventKind::shoulderSingularity}))
      << Describe(r);
  // Within 10 mm of the axis: the wrist centre's |x| < 10, the flange's x from 90 to 110.
  const AuditEvent* shoulder = Find(m, AuditEventKind::shoulderSingularity);
  ASSERT_NE(shoulder, nullptr);
  EXPECT_NEAR(shoulder->startArcLength, 90.0, kPlaceTolerance);
  EXPECT_NEAR(shoulder->endArcLength, 110.0, kPlaceTolerance);
  const AuditEvent* change = Find(m, AuditEventKind::configurationChange);
  ASSERT_NE(change, nullptr);
  EXPECT_NEAR(change->startArcLength, 100.0, kPlaceTolerance);
  EXPECT_NEAR(change->endArcLength, 100.0, kPlaceTolerance);
  EXPECT_TRUE(m.reached);
}

// Turning the flange about its own axis (base +x in the forward orientation, joints 1, 4 at 0
// and j5 = -s) turns joint 6 alone, by the same angle. From joint 6 at 310 degrees, a turn of
// 100 degrees (the short way to the orientation of 50 = 410 degrees) meets the limit of 360
// degrees half-way.
TEST(Audit, JointLimitHalfWay) {
  const AuditReport r = Audit({Joint({890, 0, 840}, ForwardTurned(310), ConfData(0, 0, 3, 1)),
                               Line({890, 0, 840}, ForwardTurned(50), ConfData(0, 0, 0, 1))});
  EXPECT_TRUE(r.moves[0].events.empty()) << Describe(r);
  const MoveAudit& m = r.moves[1];
  EXPECT_EQ(Kinds(m), (std::vector{AuditEventKind::jointLimit})) << Describe(r);
  const AuditEvent* limit = Find(m, AuditEventKind::jointLimit);
  ASSERT_NE(limit, nullptr);
  EXPECT_EQ(limit->joint, 6);
  // Located to 1e-3 degrees of the 100-degree turn.
  EXPECT_NEAR(limit->startFraction, 0.5, 1.1e-5);
  EXPECT_NEAR(limit->startJoints.values[5], 360.0, 1.1e-3);
  EXPECT_EQ(limit->endFraction, 1.0);
  EXPECT_NEAR(limit->endJoints.values[5], 410.0, 1e-6);
  EXPECT_FALSE(m.reached);
  EXPECT_NEAR(m.orientationChange, 100.0, 1e-9);
}

TEST(Audit, CleanProgramHasNoEvents) {
  // A square of lines blended with z10 and a circle in the plane y = 0, the flange forward:
  // joints 1, 4 and 6 stay at 0. The wrist centres (700 .. 800, 800 .. 900) lie within 567 mm
  // of (790, 340), inside the circle of radius 600 where the forearm is level: s > 0 all
  // along, configuration 1, away from every singularity.
  const ConfData conf(0, 0, 0, 1);
  std::vector<ProgramMove> moves{AbsJ(RobJoint(0, 10, 10, 0, -40, 0)),
                                 Joint({800, 0, 800}, kForward, conf)};
  moves.push_back(Line({900, 0, 800}, kForward, conf, SpeedData::v500, ZoneData::z10));
  moves.push_back(Line({900, 0, 900}, kForward, conf, SpeedData::v500, ZoneData::z10));
  moves.push_back(Line({800, 0, 900}, kForward, conf, SpeedData::v500, ZoneData::z10));
  moves.push_back(Arc({750, 0, 850}, {800, 0, 800}, kForward, conf));
  const AuditReport r = Audit(moves);
  EXPECT_TRUE(r.clean()) << Describe(r);
  for (const MoveAudit& m : r.moves)
    EXPECT_TRUE(m.reached);
  EXPECT_EQ(r.moves[2].zoneDistance, 10.0);
  EXPECT_EQ(r.moves[4].zoneDistance, 10.0);
  EXPECT_EQ(r.moves[5].zoneDistance, 0.0);
}

}  // namespace
}  // namespace zor::rob::test
