// The checks of the audit's inputs: every field it cannot take is named in its message, before
// anything runs, and the coarsest sampling steps still locate events to their tolerance.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/test_support.hpp"
#include "zor/rob/audit.hpp"

namespace zor::rob::test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// The flange z axis along base +x, as at home.
const Orient kForward{std::sqrt(0.5), 0.0, std::sqrt(0.5), 0.0};

MoveJ JointTo840() {
  MoveJ m;
  m.toPoint = RobTarget(Pose(Pos(890, 0, 840), kForward));
  m.toPoint.robConf = ConfData(0, 0, 0, 1);
  m.speed = SpeedData::v500;
  return m;
}

/// Straight up from z = 840 on x = 890; the forearm is level (joint 5 at zero, the wrist
/// flips) at z = 450 + 600 - 110 = 940 on that line, 100 mm from its start.
MoveL Up(double top) {
  MoveL m;
  m.toPoint = RobTarget(Pose(Pos(890, 0, top), kForward));
  m.toPoint.robConf = ConfData(0, 0, 0, 0);
  m.speed = SpeedData::v500;
  return m;
}

AuditReport Audit(const std::vector<ProgramMove>& moves, const AuditOptions& options = {},
                  const RobJoint& start = RobJoint(0, 0, 0, 0, 30, 0),
                  const RobotConfig& arm = DefaultArm()) {
  return AuditProgram(arm, start, moves, options);
}

std::vector<ProgramMove> WithSecond(const ProgramMove& second) {
  return {JointTo840(), second};
}

TEST(AuditInputs, CoarsestStepStillLocatesTheWristFlip) {
  // The flip lies at 100 / 145.8 = 0.686 of the line: at the coarsest step it is a configuration
  // change within 1e-3 mm of 100 mm, as at the default step, and no joint jump.
  AuditOptions o;
  o.stepMm = AuditOptions::kMaxStepMm;
  o.stepDeg = AuditOptions::kMaxStepDeg;
  const AuditReport r = Audit(WithSecond(Up(985.8)), o);
  ASSERT_EQ(r.moves.size(), 2u);
  int changes = 0;
  for (const AuditEvent& e : r.moves[1].events) {
    EXPECT_NE(e.kind, AuditEventKind::jointJump);
    if (e.kind != AuditEventKind::configurationChange)
      continue;
    ++changes;
    EXPECT_LE(e.startArcLength, 100.0 + 1e-9);
    EXPECT_GE(e.endArcLength, 100.0 - 1e-9);
    EXPECT_LE(e.endArcLength - e.startArcLength, 1e-3);
  }
  EXPECT_EQ(changes, 1);
}

TEST(AuditInputs, StepsCoarserThanTheCapAreRejected) {
  AuditOptions o;
  o.stepMm = std::nextafter(AuditOptions::kMaxStepMm, 1e9);
  EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), o), std::invalid_argument,
                   "'options.stepMm' must be at most 10 mm: coarser steps cannot locate events");
  o = {};
  o.stepMm = 300.0;
  EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), o), std::invalid_argument,
                   "'options.stepMm' must be at most 10 mm: coarser steps cannot locate events");
  o = {};
  o.stepDeg = 5.5;
  EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), o), std::invalid_argument,
                   "'options.stepDeg' must be at most 5 degrees: coarser steps cannot locate "
                   "events");
}

TEST(AuditInputs, StartJointsMustBeInsideTheLimits) {
  EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), {}, RobJoint(1e300, 0, 0, 0, 30, 0)),
                   std::invalid_argument,
                   "'start[0]' is outside the joint limits: 1e+300 not in -170 .. 170");
  EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), {}, RobJoint(0, 0, 0, 0, -125.5, 0)),
                   std::invalid_argument,
                   "'start[4]' is outside the joint limits: -125.5 not in -125 .. 125");
  EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), {}, RobJoint(0, 0, 0, 0, kNaN, 0)),
                   std::invalid_argument, "'start[4]' must be a finite number");
  // With the coupling on, joints 2 and 3 each inside their limits but their sum 180 above 170.
  RobotConfig coupled = DefaultArm();
  coupled.jointCoupling = 1;
  EXPECT_THROW_MSG(
      Audit(WithSecond(Up(985.8)), {}, RobJoint(0, 120, 60, 0, 30, 0), coupled),
      std::invalid_argument,
      "'start' is outside the joint limits: joint 2 + joint 3 = 180 not in -170 .. 170");
  // On the limit is inside.
  EXPECT_NO_THROW(Audit(WithSecond(Up(985.8)), {}, RobJoint(170, 0, 0, 0, 30, 0)));
}

TEST(AuditInputs, NaNLimitsAreRejectedWhateverTheirIndex) {
  for (std::size_t i = 0; i < 7; ++i) {
    RobotConfig arm = DefaultArm();
    arm.jointMin[i] = kNaN;
    EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), {}, RobJoint(0, 0, 0, 0, 30, 0), arm),
                     std::invalid_argument,
                     ("arm: 'jointMin[" + std::to_string(i) + "]' must not be NaN").c_str());
    arm = DefaultArm();
    arm.jointMax[i] = kNaN;
    EXPECT_THROW_MSG(Audit(WithSecond(Up(985.8)), {}, RobJoint(0, 0, 0, 0, 30, 0), arm),
                     std::invalid_argument,
                     ("arm: 'jointMax[" + std::to_string(i) + "]' must not be NaN").c_str());
  }
}

TEST(AuditInputs, SpeedsMustBePositiveFiniteAndKeepTheTimeFinite) {
  MoveL m = Up(985.8);
  m.speed.vTcp = kNaN;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'speed.tcp' must be a finite number");
  m.speed = SpeedData::v500;
  m.speed.vOri = -1.0;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'speed.ori' must be positive");
  // Below 1e-6 the squared speeds of the timing would underflow: 5e-324 read as standing still.
  m.speed = SpeedData::v500;
  m.speed.vTcp = 5e-324;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'speed.tcp' must be at least 1e-06: slower moves cannot be timed");
  m.speed = SpeedData::v500;
  m.speed.vOri = 0.99e-6;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'speed.ori' must be at least 1e-06: slower moves cannot be timed");
  // At the lowest speed the timing still works: where only the programmed speed binds (the
  // acceleration from and to rest takes a negligible part), a million times slower takes a
  // million times longer.
  m.speed = SpeedData::v500;
  m.speed.vTcp = 1e-6;
  const double slowest = Audit(WithSecond(m)).moves[1].duration;
  m.speed.vTcp = 1.0;
  const double slow = Audit(WithSecond(m)).moves[1].duration;
  EXPECT_GT(slow, 145.8);
  EXPECT_NEAR(slowest * 1e-6, slow, 1e-6 * slow);
}

TEST(AuditInputs, ZonesMustBeFiniteAndNotNegative) {
  MoveL m = Up(985.8);
  m.zone = ZoneData::z10;
  m.zone.pzoneTcp = kNaN;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'zone.tcp' must be a finite number");
  m.zone = ZoneData::z10;
  m.zone.pzoneTcp = -1.0;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'zone.tcp' must not be negative");
  m.zone = ZoneData::z10;
  m.zone.zoneReax = -0.5;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'zone.reax' must not be negative");
}

TEST(AuditInputs, TargetsAndFramesNameTheirField) {
  MoveL m = Up(985.8);
  m.toPoint.pose.pos.y = kNaN;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'to.position[1]' must be a finite number");
  m = Up(985.8);
  m.toPoint.pose.orient.q3 = kNaN;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'to.orientation[2]' must be a finite number");
  m = Up(985.8);
  m.tool.tframe.pos.z = 1e300;
  EXPECT_THROW_MSG(Audit(WithSecond(m)), std::invalid_argument,
                   "move 1: 'tool.position' must lie within 10000000 mm of its frame's origin");
  m = Up(985.8);
  m.wobj.oframe.pos.x = 1e7 + 1.0;
  EXPECT_THROW_MSG(
      Audit(WithSecond(m)), std::invalid_argument,
      "move 1: 'wobj.oframe.position' must lie within 10000000 mm of its frame's origin");
  MoveC c;
  c.cirPoint = RobTarget(Pose(Pos(890, kNaN, 900), kForward));
  c.toPoint = Up(985.8).toPoint;
  c.speed = SpeedData::v500;
  EXPECT_THROW_MSG(Audit(WithSecond(c)), std::invalid_argument,
                   "move 1: 'via.position[1]' must be a finite number");
  MoveAbsJ absj;
  absj.toJointPos = JointTarget(RobJoint(0, 0, 0, std::numeric_limits<double>::infinity(), 0, 0));
  absj.speed = SpeedData::v500;
  EXPECT_THROW_MSG(Audit({absj}), std::invalid_argument,
                   "move 0: 'joints[3]' must be a finite number");
}

}  // namespace
}  // namespace zor::rob::test
