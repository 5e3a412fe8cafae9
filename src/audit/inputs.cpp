// The checks of everything an audit is given, before any of it runs. The tool and the Python
// module both reach the audit through AuditProgram, so they share these rules and messages; the
// field names are those of the program file ("speed.tcp", "to.position[0]"), and the tool puts
// the file's name in front.

#include <cmath>
#include <string>
#include <variant>

#include "audit/auditor.hpp"
#include "zor/rob/text.hpp"

namespace zor::rob::audit {

namespace {

[[noreturn]] void fail(const std::string& where, const std::string& field,
                       const std::string& what) {
  detail::throwInvalidArgument(where + "'" + field + "' " + what);
}

std::string item(const std::string& field, std::size_t i) {
  return field + "[" + std::to_string(i) + "]";
}

/// A step, limit or threshold: finite, and positive (or, for margins, not negative).
void checkOption(double v, const std::string& field, bool zeroAllowed) {
  if (!std::isfinite(v))
    fail("", field, "must be a finite number");
  if (v < 0.0 || (!zeroAllowed && v == 0.0))
    fail("", field, zeroAllowed ? "must not be negative" : "must be positive");
}

void checkOptions(const AuditOptions& o) {
  checkOption(o.stepMm, "options.stepMm", false);
  checkOption(o.stepDeg, "options.stepDeg", false);
  if (o.stepMm > AuditOptions::kMaxStepMm)
    fail("", "options.stepMm", "must be at most 10 mm: coarser steps cannot locate events");
  if (o.stepDeg > AuditOptions::kMaxStepDeg)
    fail("", "options.stepDeg", "must be at most 5 degrees: coarser steps cannot locate events");
  checkOption(o.jumpDeg, "options.jumpDeg", false);
  checkOption(o.wristMarginDeg, "options.wristMarginDeg", true);
  checkOption(o.elbowMarginDeg, "options.elbowMarginDeg", true);
  checkOption(o.shoulderMarginMm, "options.shoulderMarginMm", true);
  for (std::size_t i = 0; i < 6; ++i) {
    checkOption(o.maxJointSpeedDeg[i], item("options.maxJointSpeedDeg", i), false);
    checkOption(o.maxJointAccelerationDeg[i], item("options.maxJointAccelerationDeg", i), false);
  }
  checkOption(o.maxTcpAcceleration, "options.maxTcpAcceleration", false);
  if (o.timingWindow < AuditOptions::kMinTimingWindow)
    fail("", "options.timingWindow", "must be at least 16");
}

void checkArm(const RobotConfig& robot) {
  // A NaN limit would admit (the sum of joints 2 and 3) or reject (a single joint) every value.
  for (std::size_t i = 0; i < 7; ++i) {
    if (std::isnan(robot.jointMin[i]))
      fail("arm: ", item("jointMin", i), "must not be NaN");
    if (std::isnan(robot.jointMax[i]))
      fail("arm: ", item("jointMax", i), "must not be NaN");
  }
}

void checkStart(const RobotConfig& robot, const RobJoint& start) {
  for (std::size_t i = 0; i < 6; ++i)
    if (!std::isfinite(start.values[i]))
      fail("", item("start", i), "must be a finite number");
  const std::optional<std::size_t> joint = robot.firstJointOutsideLimits(start);
  if (!joint)
    return;
  const std::size_t j = *joint;
  const double v = start.values[j];
  const double tolerance = RobotConfig::kJointLimitTolerance;
  if (v >= robot.jointMin[j] - tolerance && v <= robot.jointMax[j] + tolerance) {
    // Inside its own limits: the coupled sum of joints 2 and 3 is what is outside.
    fail("", "start",
         "is outside the joint limits: joint 2 + joint 3 = " +
             ShortestText(start.values[1] + start.values[2]) + " not in " +
             ShortestText(robot.jointMin[6]) + " .. " + ShortestText(robot.jointMax[6]));
  }
  fail("", item("start", j),
       "is outside the joint limits: " + ShortestText(v) + " not in " +
           ShortestText(robot.jointMin[j]) + " .. " + ShortestText(robot.jointMax[j]));
}

void checkPose(const std::string& where, const Pose& pose, const std::string& field) {
  const double p[3]{pose.pos.x, pose.pos.y, pose.pos.z};
  for (std::size_t i = 0; i < 3; ++i)
    if (!std::isfinite(p[i]))
      fail(where, item(field + ".position", i), "must be a finite number");
  const double q[4]{pose.orient.q1, pose.orient.q2, pose.orient.q3, pose.orient.q4};
  for (std::size_t i = 0; i < 4; ++i)
    if (!std::isfinite(q[i]))
      fail(where, item(field + ".orientation", i), "must be a finite number");
  // Farther out, a path is longer than any sampling bounds, and a frame that far is a mistake.
  if (!(pose.pos.toVec3().norm() <= kMaxPositionMm))
    fail(where, field + ".position", "must lie within 10000000 mm of its frame's origin");
}

void checkSpeed(const std::string& where, const SpeedData& speed) {
  // Slower speeds would underflow the timing's squared speeds and read as standing still.
  const auto check = [&](double v, const char* field) {
    if (!std::isfinite(v))
      fail(where, field, "must be a finite number");
    if (!(v > 0.0))
      fail(where, field, "must be positive");
    if (v < kMinSpeed)
      fail(where, field, "must be at least 1e-06: slower moves cannot be timed");
  };
  check(speed.vTcp, "speed.tcp");
  check(speed.vOri, "speed.ori");
}

void checkZone(const std::string& where, const ZoneData& zone) {
  const auto check = [&](double v, const char* field) {
    if (!std::isfinite(v))
      fail(where, field, "must be a finite number");
    if (v < 0.0)
      fail(where, field, "must not be negative");
  };
  check(zone.pzoneTcp, "zone.tcp");
  check(zone.pzoneOri, "zone.ori");
  check(zone.pzoneEax, "zone.eax");
  check(zone.zoneOri, "zone.oriDeg");
  check(zone.zoneLeax, "zone.leax");
  check(zone.zoneReax, "zone.reax");
}

void checkMove(std::size_t index, const ProgramMove& move) {
  const std::string where = "move " + std::to_string(index) + ": ";
  const MoveRecord& r = std::visit([](const auto& m) -> const MoveRecord& { return m; }, move);
  if (const auto* absj = std::get_if<MoveAbsJ>(&move)) {
    for (std::size_t i = 0; i < 6; ++i)
      if (!std::isfinite(absj->toJointPos.robJoint.values[i]))
        fail(where, item("joints", i), "must be a finite number");
  } else {
    checkPose(where, r.toPoint.pose, "to");
    if (const auto* c = std::get_if<MoveC>(&move))
      checkPose(where, c->cirPoint.pose, "via");
  }
  checkSpeed(where, r.speed);
  checkZone(where, r.zone);
  checkPose(where, r.tool.tframe, "tool");
  checkPose(where, r.wobj.uframe, "wobj.uframe");
  checkPose(where, r.wobj.oframe, "wobj.oframe");
}

}  // namespace

void validateInputs(const RobotConfig& robot, const RobJoint& start,
                    std::span<const ProgramMove> moves, const AuditOptions& options) {
  checkOptions(options);
  checkArm(robot);
  checkStart(robot, start);
  for (std::size_t k = 0; k < moves.size(); ++k)
    checkMove(k, moves[k]);
}

}  // namespace zor::rob::audit
