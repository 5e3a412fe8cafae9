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
#include "zor/rob/text.hpp"

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

/// The kinds of a move's events, sorted; speedReduced, the timing's notice where the joints hold
/// the tool back (tested in timing_test.cpp), left out.
std::vector<AuditEventKind> Kinds(const MoveAudit& m) {
  std::vector<AuditEventKind> kinds;
  for (const AuditEvent& e : m.events)
    if (e.kind != AuditEventKind::speedReduced)
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

// The wrist centre passing the axis of joint 1 at 20 mm (flange line y = 20, x from 40 to 160
// at z = 1600), behind the axis: joint 1 = φ - 180 degrees turns from -18.4 to -161.6 degrees,
// at up to 1/20 rad = 2.86 degrees per mm where the wrist centre passes x = 0. With a jump
// threshold of 2 degrees per 1 mm step, the joints jump where 20 / (x² + 20²) rad exceeds 2
// degrees, |x| < 13.2 mm, and nowhere else.
TEST(Audit, FastTurnOfJoint1IsAJump) {
  AuditOptions options;
  options.jumpDeg = 2.0;
  const AuditReport r = Audit({Joint({40, 0, 1600}, kForward, ConfData(0, 0, 0, 4)),
                               Line({40, 20, 1600}, kForward, ConfData(-1, 0, 0, 4)),
                               Line({160, 20, 1600}, kForward, ConfData(-2, 0, 0, 4))},
                              options);
  const MoveAudit& m = r.moves[2];
  const AuditEvent* jump = Find(m, AuditEventKind::jointJump);
  ASSERT_NE(jump, nullptr) << Describe(r);
  // Joint 4 turns back as fast as joint 1 turns, to keep the flange forward.
  EXPECT_TRUE(jump->joint == 1 || jump->joint == 4) << jump->joint;
  // One event over the fast stretch. The threshold applies to the change over a whole step,
  // so its ends lie within about a step of where the rate itself crosses 2 degrees per mm.
  const double limit = std::sqrt(20.0 * 180.0 / kPi / 2.0 - 400.0);
  EXPECT_NEAR(jump->startArcLength, 60.0 - limit, 1.5);
  EXPECT_NEAR(jump->endArcLength, 60.0 + limit, 1.5);
  EXPECT_EQ(std::count_if(m.events.begin(), m.events.end(),
                          [](const AuditEvent& e) { return e.kind == AuditEventKind::jointJump; }),
            1);
  for (const AuditEvent& e : m.events)
    EXPECT_TRUE(e.kind == AuditEventKind::speedReduced || e.kind == AuditEventKind::jointJump ||
                e.kind == AuditEventKind::configurationMismatch ||
                e.kind == AuditEventKind::noSolutionInConfiguration)
        << Describe(r);
  for (const AuditEvent& e : r.moves[1].events)
    EXPECT_NE(e.kind, AuditEventKind::jointJump) << Describe(r);
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

// The flange pointing down: flange z = base -z, so the wrist centre lies 100 mm above it.
const Orient kDown{0.0, 0.0, 1.0, 0.0};
/// The farthest the wrist centre gets from the axis of joint 2: the upper arm plus the forearm
/// from joint 3 to the wrist centre.
const double kStretched = 600.0 + std::hypot(640.0, 110.0);

// A line from x = 1000 to x = 3000 at flange height 350, where the wrist centre (100 mm above
// the flange) is level with the axis of joint 2. In front, the wrist centre lies r - 150 from
// the axis of joint 2, so the line leaves the reach at r = 150 + kStretched.
TEST(Audit, UnreachableTargetAndTheStretchOfPathBeforeIt) {
  // The elbow is within 1 degree of stretched for only 0.05 mm of this line, less than a step:
  // a margin of 10 degrees makes it 4.7 mm long.
  AuditOptions options;
  options.elbowMarginDeg = 10.0;
  const AuditReport r = Audit({Joint({1000, 0, 350}, kDown, ConfData(0, 0, 0, 0)),
                               Line({3000, 0, 350}, kDown, ConfData(0, 0, 0, 0))},
                              options);
  EXPECT_TRUE(r.moves[0].events.empty()) << Describe(r);
  const MoveAudit& m = r.moves[1];
  EXPECT_FALSE(m.reached);
  const AuditEvent* target = Find(m, AuditEventKind::unreachableTarget);
  ASSERT_NE(target, nullptr) << Describe(r);
  EXPECT_EQ(target->startFraction, 1.0);
  const AuditEvent* path = Find(m, AuditEventKind::unreachablePathPoint);
  ASSERT_NE(path, nullptr) << Describe(r);
  EXPECT_NEAR(path->startArcLength, 150.0 + kStretched - 1000.0, kPlaceTolerance);
  EXPECT_EQ(path->endFraction, 1.0);
  // The elbow comes within 10 degrees of stretched where the distance from joint 2 reaches
  // sqrt(600² + L² + 2·600·L·cos 10°), L the forearm.
  const double forearm = std::hypot(640.0, 110.0);
  const double nearlyStretched =
      std::sqrt(600.0 * 600.0 + forearm * forearm + 2 * 600.0 * forearm * std::cos(10 * kRad));
  const AuditEvent* elbow = Find(m, AuditEventKind::elbowSingularity);
  ASSERT_NE(elbow, nullptr) << Describe(r);
  EXPECT_NEAR(elbow->startArcLength, 150.0 + nearlyStretched - 1000.0, kPlaceTolerance);
  for (const AuditEvent& e : m.events)
    EXPECT_TRUE(e.kind == AuditEventKind::speedReduced ||
                e.kind == AuditEventKind::unreachableTarget ||
                e.kind == AuditEventKind::unreachablePathPoint ||
                e.kind == AuditEventKind::elbowSingularity)
        << Describe(r);
}

TEST(Audit, UnreachableTargetOfAJointMoveLeavesTheArmWhereItWas) {
  const RobJoint start(0, 10, 10, 0, -40, 0);
  const AuditReport r = Audit({Joint({3000, 0, 350}, kDown, ConfData(0, 0, 0, 0))}, {}, start);
  EXPECT_EQ(Kinds(r.moves[0]), (std::vector{AuditEventKind::unreachableTarget})) << Describe(r);
  EXPECT_FALSE(r.moves[0].reached);
  EXPECT_EQ(r.moves[0].endJoints, start);
  EXPECT_EQ(r.moves[0].duration, 0.0);
}

// A circle in the plane of the wrist centre level with joint 2 (flange z = 350), about
// (1000, 0) with radius 500, from A = (500, 0) through B = (1500, 0) to C = (1000, 500): three
// quarters of a turn through angle φ from 180 to 450 degrees. The wrist centre's distance r
// from the axis of joint 1 obeys r² = 1000² + 500² + 2·1000·500·cos φ; the arc leaves the reach
// where r = 150 + kStretched.
TEST(Audit, CircleLeavingTheReach) {
  const AuditReport r = Audit({Joint({500, 0, 350}, kDown, ConfData(0, 0, 0, 0)),
                               Arc({1500, 0, 350}, {1000, 500, 350}, kDown, ConfData(0, 0, 0, 0))});
  EXPECT_TRUE(r.moves[0].events.empty()) << Describe(r);
  const MoveAudit& m = r.moves[1];
  EXPECT_NEAR(m.pathLength, 500.0 * 1.5 * kPi, 1e-9);
  EXPECT_FALSE(m.reached);
  const double reach = 150.0 + kStretched;
  const double phi = std::acos((reach * reach - 1000.0 * 1000.0 - 500.0 * 500.0) / 1e6);
  const AuditEvent* out = Find(m, AuditEventKind::unreachablePathPoint);
  ASSERT_NE(out, nullptr) << Describe(r);
  EXPECT_NEAR(out->startArcLength, 500.0 * (kPi - phi), kPlaceTolerance);
  EXPECT_NEAR(out->endArcLength, 500.0 * (kPi + phi), kPlaceTolerance);
  EXPECT_NEAR(out->startFraction, (kPi - phi) / (1.5 * kPi), 1e-5);
  for (const AuditEvent& e : m.events)
    EXPECT_TRUE(
        e.kind == AuditEventKind::speedReduced || e.kind == AuditEventKind::unreachablePathPoint ||
        e.kind == AuditEventKind::elbowSingularity || e.kind == AuditEventKind::configurationChange)
        << Describe(r);
}

// The line x = 890 from z = 840 to 900 stays below z = 940, where the forearm is level: the
// wrist stays flipped (configuration 1) all along, while the target is programmed with the
// other wrist (joint 4 at 180, joint 6 at -180, configuration 0).
TEST(Audit, LineNeedingAConfigurationChange) {
  const AuditReport r = Audit({Joint({890, 0, 840}, kForward, ConfData(0, 0, 0, 1)),
                               Line({890, 0, 900}, kForward, ConfData(0, 1, -2, 0))});
  const MoveAudit& m = r.moves[1];
  EXPECT_EQ(Kinds(m), (std::vector{AuditEventKind::configurationMismatch})) << Describe(r);
  const AuditEvent* e = Find(m, AuditEventKind::configurationMismatch);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->startFraction, 1.0);
  EXPECT_NEAR(e->startArcLength, 60.0, 1e-9);
  EXPECT_EQ(m.endConf.cfx, 1);
}

// Behind the base the shoulder needs joint 1 at ±180 degrees, beyond its limits of ±170: the
// point ahead is reachable in front only.
TEST(Audit, TargetReachableOnlyInAnotherConfiguration) {
  const AuditReport r = Audit({Joint({1000, 0, 350}, kDown, ConfData(0, 0, 0, 4))});
  EXPECT_EQ(Kinds(r.moves[0]), (std::vector{AuditEventKind::noSolutionInConfiguration}))
      << Describe(r);
  EXPECT_FALSE(r.moves[0].reached);
}

TEST(Audit, CollinearCirclePointsAreAnEventNotAnError) {
  const ConfData conf(0, 0, 0, 1);
  const AuditReport r = Audit({Joint({800, 0, 800}, kForward, conf),
                               Arc({850, 0, 800}, {900, 0, 800}, kForward, conf),
                               Line({900, 0, 800}, kForward, conf)});
  EXPECT_EQ(Kinds(r.moves[1]), (std::vector{AuditEventKind::noCircle})) << Describe(r);
  EXPECT_FALSE(r.moves[1].reached);
  // The arm stays where it was, and the next move starts there: 100 mm along x.
  EXPECT_EQ(r.moves[1].endJoints, r.moves[0].endJoints);
  EXPECT_TRUE(Kinds(r.moves[2]).empty()) << Describe(r);
  EXPECT_NEAR(r.moves[2].pathLength, 100.0, 1e-9);
}

TEST(Audit, OverlappingZonesShrinkToHalfTheShorterMove) {
  // 30 mm then 80 mm, a z50 corner between them: the zone shrinks to 15 mm.
  const ConfData conf(0, 0, 0, 1);
  const AuditReport r = Audit({Joint({800, 0, 800}, kForward, conf),
                               Line({830, 0, 800}, kForward, conf, SpeedData::v500, ZoneData::z50),
                               Line({830, 0, 880}, kForward, conf)});
  EXPECT_EQ(Kinds(r.moves[1]), (std::vector{AuditEventKind::zoneShrunk})) << Describe(r);
  const AuditEvent* e = Find(r.moves[1], AuditEventKind::zoneShrunk);
  ASSERT_NE(e, nullptr);
  EXPECT_NEAR(e->startArcLength, 15.0, 1e-9);
  EXPECT_NEAR(e->endArcLength, 30.0, 1e-9);
  EXPECT_NEAR(e->startFraction, 0.5, 1e-12);
  EXPECT_NEAR(r.moves[1].zoneDistance, 15.0, 1e-9);
  EXPECT_TRUE(Kinds(r.moves[2]).empty()) << Describe(r);
  EXPECT_TRUE(r.moves[1].reached);
}

TEST(Audit, BlendedCornerIsSampledBetweenTheZonePoints) {
  const ConfData conf(0, 0, 0, 1);
  AuditOptions options;
  options.keepSamples = true;
  const AuditReport r = Audit({Joint({800, 0, 800}, kForward, conf),
                               Line({900, 0, 800}, kForward, conf, SpeedData::v500, ZoneData::z10),
                               Line({900, 0, 900}, kForward, conf)},
                              options);
  EXPECT_TRUE(r.clean()) << Describe(r);
  // Move 1 is sampled up to 10 mm before its corner, the corner from (890, 0, 800) to
  // (900, 0, 810), and move 2 from 10 mm after its start.
  std::vector<const AuditSample*> corner;
  double lastOfMove1 = 0.0, firstOfMove2 = 1.0;
  for (const AuditSample& s : r.samples) {
    if (s.moveIndex == 1 && s.corner)
      corner.push_back(&s);
    else if (s.moveIndex == 1)
      lastOfMove1 = std::max(lastOfMove1, s.fraction);
    else if (s.moveIndex == 2)
      firstOfMove2 = std::min(firstOfMove2, s.fraction);
  }
  EXPECT_NEAR(lastOfMove1, 0.9, 1e-12);
  EXPECT_NEAR(firstOfMove2, 0.1, 1e-12);
  ASSERT_GE(corner.size(), 2u);
  EXPECT_NEAR((corner.front()->tcp.pos - Pos{890, 0, 800}).norm(), 0.0, 1e-9);
  EXPECT_NEAR((corner.back()->tcp.pos - Pos{900, 0, 810}).norm(), 0.0, 1e-9);
  // The Bézier midpoint: (E + 2T + X) / 4.
  for (const AuditSample* s : corner) {
    if (std::abs(s->fraction - 0.5) < 1e-12) {
      EXPECT_NEAR((s->tcp.pos - Pos{897.5, 0, 802.5}).norm(), 0.0, 1e-9);
    }
  }
}

TEST(Audit, SamplesCoverEachMoveAtTheStep) {
  AuditOptions options;
  options.keepSamples = true;
  options.stepMm = 2.0;
  const AuditReport r = Audit(ThroughTheWrist(), options);
  std::size_t onLine = 0;
  for (const AuditSample& s : r.samples)
    if (s.moveIndex == 1) {
      ++onLine;
      EXPECT_NEAR(s.tcp.pos.z, 840.0 + 200.0 * s.fraction, 1e-6);
      EXPECT_NEAR(s.arcLength, 200.0 * s.fraction, 1e-6);
    }
  EXPECT_EQ(onLine, 101u);  // 200 mm in steps of 2 mm, both ends included
  const AuditSample& last = r.samples.back();
  EXPECT_EQ(last.fraction, 1.0);
  EXPECT_EQ(last.conf.cfx, 0);
  EXPECT_EQ(last.singularity, SingularityType::none);
  EXPECT_TRUE(last.reachable);
}

TEST(Audit, NoSamplesUnlessAsked) {
  EXPECT_TRUE(Audit(ThroughTheWrist()).samples.empty());
}

// The timing, with its default limits (joints 150/150/150/300/300/450 degrees/s and four times
// that per second, the tool 5000 mm/s²): rest-to-rest trapezoids worked out by hand. The
// figures changed when the timing learnt acceleration; timing_test.cpp covers it in full.
TEST(AuditTiming, LinearMoveTakesLengthOverTcpSpeed) {
  // 200 mm at 500 mm/s, no reorientation, ramps of 500²/(2·5000) = 25 mm at 5000 mm/s²:
  // 200/500 + 500/5000.
  const AuditReport r = Audit(ThroughTheWrist());
  EXPECT_NEAR(r.moves[1].duration, 0.5, 1e-9);
}

TEST(AuditTiming, ReorientationTakesAngleOverOrientationSpeed) {
  // 30 degrees at 10 degrees/s beats 100 mm at 1000 mm/s: at least 3 s, and the ramps to and
  // from 10 degrees/s add little.
  const AuditReport r = Audit({Joint({800, 0, 800}, kForward, ConfData(0, 0, 0, 1)),
                               Line({900, 0, 800}, ForwardTurned(30), ConfData(0, 0, 0, 1),
                                    SpeedData(1000, 10, 5000, 1000))});
  EXPECT_NEAR(r.moves[1].orientationChange, 30.0, 1e-9);
  EXPECT_GE(r.moves[1].duration, 3.0);
  EXPECT_LT(r.moves[1].duration, 3.1);
}

TEST(AuditTiming, JointMoveTakesItsSlowestJoint) {
  // Joint 1 turns 90 degrees at 150 degrees/s and 600 degrees/s²: 90/150 + 150/600.
  const RobJoint start(0, 10, 10, 0, -40, 0);
  const AuditReport r = Audit({AbsJ(RobJoint(90, 10, 10, 0, -40, 0), SpeedData::v5000)}, {}, start);
  EXPECT_NEAR(r.moves[0].duration, 0.85, 1e-12);
  EXPECT_TRUE(r.moves[0].reached);
}

TEST(AuditTiming, JointMoveSlowsDownToTheTcpSpeed) {
  // Joint moves run at their joints' limits: the programmed tool speed no longer slows the
  // quarter turn of joint 1, which takes its trapezoid whatever vTcp says.
  const RobJoint start(0, 10, 10, 0, -40, 0);
  const Pose flange = DefaultArm().getRobTarget(start).pose;
  const double radius = std::hypot(flange.pos.x, flange.pos.y);
  const AuditReport r = Audit({AbsJ(RobJoint(90, 10, 10, 0, -40, 0), SpeedData::v100)}, {}, start);
  EXPECT_NEAR(r.moves[0].pathLength, radius * kPi / 2, 1e-4);
  EXPECT_NEAR(r.moves[0].duration, 0.85, 1e-12);
}

TEST(AuditTiming, ProgramTakesTheSumOfItsMoves) {
  const RobJoint start(0, 10, 10, 0, -40, 0);
  const AuditReport r = Audit({AbsJ(RobJoint(30, 10, 10, 0, -40, 0), SpeedData::v5000),
                               AbsJ(RobJoint(30, 10, 10, 0, -40, 90), SpeedData::v5000)},
                              {}, start);
  // 30 degrees of joint 1 (150 degrees/s, 600 degrees/s²) and 90 degrees of joint 6 (450, 1800)
  // are both too short for the top speed: triangles of 2 sqrt(30/600) = 2 sqrt(90/1800).
  const double triangle = 2.0 * std::sqrt(0.05);
  EXPECT_NEAR(r.moves[0].duration, triangle, 1e-12);
  EXPECT_NEAR(r.moves[1].duration, triangle, 1e-12);
  EXPECT_NEAR(r.duration, 2 * triangle, 1e-12);
}

TEST(Audit, JointTargetOutsideTheLimitsIsAJointLimit) {
  const AuditReport r = Audit({AbsJ(RobJoint(0, 10, 10, 0, 130, 0))});
  EXPECT_EQ(Kinds(r.moves[0]), (std::vector{AuditEventKind::jointLimit})) << Describe(r);
  EXPECT_EQ(r.moves[0].events[0].joint, 5);
  EXPECT_FALSE(r.moves[0].reached);
}

TEST(Audit, EmptyProgramIsClean) {
  const AuditReport r = Audit({});
  EXPECT_TRUE(r.clean());
  EXPECT_TRUE(r.moves.empty());
  EXPECT_EQ(r.duration, 0.0);
}

TEST(Audit, BadOptionsThrow) {
  AuditOptions o;
  o.stepMm = 0.0;
  EXPECT_THROW_MSG(Audit(ThroughTheWrist(), o), std::invalid_argument,
                   "'options.stepMm' must be positive");
  o = {};
  o.wristMarginDeg = -1.0;
  EXPECT_THROW_MSG(Audit(ThroughTheWrist(), o), std::invalid_argument,
                   "'options.wristMarginDeg' must not be negative");
  o = {};
  o.maxJointSpeedDeg[3] = std::nan("");
  EXPECT_THROW_MSG(Audit(ThroughTheWrist(), o), std::invalid_argument,
                   "'options.maxJointSpeedDeg[3]' must be a finite number");
  EXPECT_THROW_MSG(Audit(ThroughTheWrist(), {}, RobJoint(0, 0, 0, 0, INFINITY, 0)),
                   std::invalid_argument, "'start[4]' must be a finite number");
}

TEST(Audit, MoveWithoutSpeedThrows) {
  MoveL m = Line({900, 0, 800}, kForward, ConfData(0, 0, 0, 1));
  m.speed = SpeedData();
  EXPECT_THROW_MSG(Audit({m}), std::invalid_argument, "move 0: 'speed.tcp' must be positive");
}

TEST(Audit, PathTooLongForItsStepsThrows) {
  // Up 9e6 - 840 mm from the first target: 1.8e7 samples at 0.5 mm. The message names the
  // move, its length and turn, and the options that decide the count.
  AuditOptions o;
  o.stepMm = 0.5;
  const std::vector<ProgramMove> moves{ThroughTheWrist()[0],
                                       Line({890, 0, 9e6}, kForward, ConfData(0, 0, 0, 1))};
  std::string message;
  try {
    Audit(moves, o);
  } catch (const std::invalid_argument& e) {
    message = e.what();
  }
  const std::string head = "move 1: its path of ";
  const std::string mm = " mm and ";
  const std::string tail =
      " degrees needs more than 10000000 samples at 'options.stepMm' 0.5 and 'options.stepDeg' 1";
  ASSERT_EQ(message.substr(0, head.size()), head) << message;
  ASSERT_GT(message.size(), tail.size());
  EXPECT_EQ(message.substr(message.size() - tail.size()), tail) << message;
  const std::size_t at = message.find(mm);
  ASSERT_NE(at, std::string::npos);
  EXPECT_NEAR(std::stod(message.substr(head.size(), at - head.size())), 9e6 - 840.0, 1e-6);
  EXPECT_NEAR(std::stod(message.substr(at + mm.size())), 0.0, 1e-6);
}

TEST(Audit, ZoneBeforeAPureReorientationShrinksToNothing) {
  // The second move turns the tool on the spot: no length to blend into.
  const ConfData conf(0, 0, 0, 1);
  const AuditReport r = Audit({Joint({800, 0, 800}, kForward, conf),
                               Line({900, 0, 800}, kForward, conf, SpeedData::v500, ZoneData::z10),
                               Line({900, 0, 800}, ForwardTurned(20), conf)});
  EXPECT_EQ(Kinds(r.moves[1]), (std::vector{AuditEventKind::zoneShrunk})) << Describe(r);
  EXPECT_EQ(r.moves[1].zoneDistance, 0.0);
  // The move starts where the joints of the first one put the tool: 100 mm up to rounding.
  EXPECT_NEAR(r.moves[1].events[0].startArcLength, 100.0, 1e-9);
  EXPECT_TRUE(Kinds(r.moves[2]).empty()) << Describe(r);
}

TEST(Audit, SampleSinkReceivesTheSamplesTheReportWouldHold) {
  // A stop point, a joint move and two blended lines: every way a sample is timed.
  const ConfData conf(0, 0, 0, 1);
  const std::vector<ProgramMove> moves{
      Joint({800, 0, 800}, kForward, conf),
      Line({900, 0, 800}, kForward, conf, SpeedData::v500, ZoneData::z10),
      Line({900, 0, 900}, kForward, conf), AbsJ(RobJoint(10, 0, 0, 0, 30, 0))};
  AuditOptions options;
  options.keepSamples = true;
  const AuditReport held = Audit(moves, options);
  std::vector<AuditSample> streamed;
  options.sampleSink = [&streamed](const AuditSample& s) { streamed.push_back(s); };
  // Also with the smallest timing window, whose paths' samples are computed again.
  for (const std::size_t window : {options.timingWindow, AuditOptions::kMinTimingWindow}) {
    SCOPED_TRACE("window " + std::to_string(window));
    options.timingWindow = window;
    streamed.clear();
    const AuditReport r = Audit(moves, options);
    EXPECT_TRUE(r.samples.empty());
    EXPECT_EQ(r.duration, held.duration);
    ASSERT_EQ(streamed.size(), held.samples.size());
    ASSERT_GT(streamed.size(), 300u);
    for (std::size_t i = 0; i < streamed.size(); ++i) {
      const AuditSample& a = streamed[i];
      const AuditSample& b = held.samples[i];
      ASSERT_EQ(a.moveIndex, b.moveIndex) << i;
      EXPECT_EQ(a.corner, b.corner) << i;
      EXPECT_EQ(a.fraction, b.fraction) << i;
      EXPECT_EQ(a.tcp, b.tcp) << i;
      EXPECT_EQ(a.joints, b.joints) << i;
      EXPECT_EQ(a.conf, b.conf) << i;
      EXPECT_EQ(a.reachable, b.reachable) << i;
      EXPECT_EQ(a.time, b.time) << i;
      EXPECT_EQ(a.tcpSpeed, b.tcpSpeed) << i;
      EXPECT_EQ(a.allowedShare, b.allowedShare) << i;
      EXPECT_EQ(a.jointSpeeds, b.jointSpeeds) << i;
      EXPECT_EQ(a.jointAccelerations, b.jointAccelerations) << i;
      EXPECT_EQ(a.limit, b.limit) << i;
    }
  }
  // Without keepSamples there is nothing to hand over.
  options.keepSamples = false;
  streamed.clear();
  Audit(moves, options);
  EXPECT_TRUE(streamed.empty());
}

TEST(Audit, EventKindsHaveTheirText) {
  const std::vector<std::pair<AuditEventKind, std::string>> texts{
      {AuditEventKind::unreachableTarget, "unreachable target"},
      {AuditEventKind::noSolutionInConfiguration, "no solution in the programmed configuration"},
      {AuditEventKind::unreachablePathPoint, "unreachable path point"},
      {AuditEventKind::configurationChange, "configuration change"},
      {AuditEventKind::configurationMismatch, "configuration mismatch"},
      {AuditEventKind::wristSingularity, "wrist singularity"},
      {AuditEventKind::elbowSingularity, "elbow singularity"},
      {AuditEventKind::shoulderSingularity, "shoulder singularity"},
      {AuditEventKind::jointLimit, "joint limit"},
      {AuditEventKind::jointJump, "joint jump"},
      {AuditEventKind::noCircle, "no circle"},
      {AuditEventKind::zoneShrunk, "zone shrunk"},
      {AuditEventKind::speedReduced, "speed reduced"}};
  for (const auto& [kind, text] : texts) {
    std::ostringstream os;
    os << kind;
    EXPECT_EQ(os.str(), text);
  }
  std::ostringstream bad;
  bad << static_cast<AuditEventKind>(13);
  EXPECT_TRUE(bad.fail());
  EXPECT_EQ(bad.str(), "");
}

TEST(AuditEvent, PlaceIsTheTargetForTheTargetsKindsElseThePathOrTheCorner) {
  const std::vector<AuditEventKind> atTarget{AuditEventKind::unreachableTarget,
                                             AuditEventKind::noSolutionInConfiguration,
                                             AuditEventKind::configurationMismatch};
  const std::vector<AuditEventKind> alongPath{AuditEventKind::unreachablePathPoint,
                                              AuditEventKind::configurationChange,
                                              AuditEventKind::wristSingularity,
                                              AuditEventKind::elbowSingularity,
                                              AuditEventKind::shoulderSingularity,
                                              AuditEventKind::jointLimit,
                                              AuditEventKind::jointJump,
                                              AuditEventKind::noCircle,
                                              AuditEventKind::zoneShrunk,
                                              AuditEventKind::speedReduced};
  for (const bool corner : {false, true}) {
    AuditEvent e;
    e.corner = corner;
    for (const AuditEventKind kind : atTarget) {
      e.kind = kind;
      EXPECT_STREQ(e.place(), "target") << StreamText(kind);
    }
    for (const AuditEventKind kind : alongPath) {
      e.kind = kind;
      EXPECT_STREQ(e.place(), corner ? "corner" : "path") << StreamText(kind);
    }
  }
}

}  // namespace
}  // namespace zor::rob::test
