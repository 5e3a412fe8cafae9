#include "zor/rob/audit.hpp"

// Implementation notes. The audit walks the program once, keeping the arm's joints. Joint moves
// are checked at their targets and sampled only for their path length and the samples.
// Cartesian moves (and blended corners) are sampled uniformly in their fraction; each sample is
// solved with the solution nearest to the previous sample's joints. A sample carries a set of
// conditions that last over stretches of the path (unreachable, joint limit, near a
// singularity); a pair of neighbouring samples may show a transition (a configuration change, a
// jump). Where a condition starts or ends, or a transition happens, between two samples, the
// place is bisected, each probe solved from the joints on the known side.
//
// A joint limit shows as the nearest solution inside the limits jumping away (another branch or
// turn) or vanishing. Only then is the same pose solved on a copy of the arm whose limits are
// widened by a quarter turn: when that copy continues smoothly but outside the real limits, the
// path runs into the limit, and the audit follows the continuation (up to a quarter turn beyond

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "audit/auditor.hpp"
#include "detail/throwers.hpp"
#include "zor/rob/text.hpp"

namespace zor::rob {

namespace audit {

int jointOutsideLimits(const RobotConfig& robot, const RobJoint& j) {
  const std::optional<std::size_t> joint = robot.firstJointOutsideLimits(j);
  return joint ? static_cast<int>(*joint) + 1 : 0;
}

namespace {

/// The length at or below which TPCircle cannot normalise the normal (B - A) × (C - B).
constexpr double kTinyTriangleNormal = 1e-7;

std::string movePlace(std::size_t index, bool corner) {
  return "move " + std::to_string(index) + (corner ? " (corner)" : "");
}

const MoveRecord& recordOf(const ProgramMove& move) {
  return std::visit([](const auto& m) -> const MoveRecord& { return m; }, move);
}

bool isCartesian(const ProgramMove& move) {
  return std::holds_alternative<MoveL>(move) || std::holds_alternative<MoveC>(move);
}

}  // namespace

void Auditor::run(const RobJoint& start, std::span<const ProgramMove> moves) {
  joints_ = start;
  report_.moves.resize(moves.size());
  Progress progress(options_.progress, moves.size() * kProgressPerMove);
  progress_ = &progress;
  for (std::size_t k = 0; k < moves.size(); ++k) {
    if (!progress.advance(k * kProgressPerMove)) {
      cancelled_ = true;
      dropMovesFrom(k);
      break;
    }
    auditMove(k, moves);
    if (cancelled_) {
      dropMovesFrom(k);
      break;
    }
    // A stop point (or the end of a path that cannot go on) ends the path being timed.
    if (!blendedStart_)
      finishRun();
    if (cancelled_)
      break;
  }
  // A cancelled audit may leave a path open: it is timed to rest where its sampling stopped.
  finishRun();
  for (MoveAudit& m : report_.moves) {
    // In path order: the move's own path first, then the corner after it.
    std::stable_sort(m.events.begin(), m.events.end(),
                     [](const AuditEvent& a, const AuditEvent& b) {
                       return a.corner != b.corner ? b.corner : a.startFraction < b.startFraction;
                     });
    report_.duration += m.duration;
  }
  progress.finish();
}

bool Auditor::reportWithin(std::size_t index, std::size_t half, double share) {
  constexpr std::size_t kHalf = kProgressPerMove / 2;
  // A move's corner (fraction 1) counts as the last step of its sampling.
  const double within = std::clamp(share, 0.0, 1.0) * static_cast<double>(kHalf - 1);
  cancelled_ = !progress_->advance(index * kProgressPerMove + half * kHalf +
                                   static_cast<std::size_t>(within));
  return !cancelled_;
}

void Auditor::dropMovesFrom(std::size_t index) {
  report_.partial = true;
  report_.moves.resize(index);
  blendedStart_.reset();
  // The path being timed ends with the last part of the moves kept: it is sampled again without
  // the parts after it (their samples may lie in windows already dropped).
  std::size_t kept = runParts_.size();
  while (kept > 0 && runParts_[kept - 1].part.moveIndex >= index)
    --kept;
  if (kept < runParts_.size()) {
    const std::vector<RunPart> parts(runParts_.begin(),
                                     runParts_.begin() + static_cast<std::ptrdiff_t>(kept));
    timer_ = newTimer();
    runParts_.clear();
    checkpoints_.clear();
    window_.clear();
    runPoints_ = 0;
    for (const RunPart& part : parts)
      resampleIntoRun(part);
  }
}

void Auditor::auditMove(std::size_t k, std::span<const ProgramMove> moves) {
  MoveAudit& audit = report_.moves[k];
  const MoveRecord& move = recordOf(moves[k]);
  audit.type = move.moveType;
  if (const auto* absj = std::get_if<MoveAbsJ>(&moves[k])) {
    const RobJoint& target = absj->toJointPos.robJoint;
    if (const int joint = jointOutsideLimits(robot_, target); joint != 0) {
      AuditEvent e{AuditEventKind::jointLimit, k};
      e.startFraction = e.endFraction = 1.0;
      e.startJoints = e.endJoints = target;
      e.joint = joint;
      addEvent(audit, e);
      audit.endJoints = joints_;
      audit.endConf = ConfData::FromRobJoint(joints_, robot_);
      return;
    }
    jointMove(k, move, target);
  } else if (std::holds_alternative<MoveJ>(moves[k])) {
    const std::optional<RobJoint> target = checkTarget(k, move, audit);
    if (!target) {
      audit.endJoints = joints_;
      audit.endConf = ConfData::FromRobJoint(joints_, robot_);
      return;
    }
    jointMove(k, move, *target);
  } else {
    cartesianMove(k, moves);
  }
}

std::optional<RobJoint> Auditor::checkTarget(std::size_t index, const MoveRecord& move,
                                             MoveAudit& audit) {
  const JointSolution s = robot_.findJointSolution(move.toPoint, move.tool, move.wobj);
  if (s.found())
    return s.joints;
  AuditEvent e{s.status == IkStatus::noSolutionInConfiguration
                   ? AuditEventKind::noSolutionInConfiguration
                   : AuditEventKind::unreachableTarget,
               index};
  e.startFraction = e.endFraction = 1.0;
  e.startArcLength = e.endArcLength = audit.pathLength;
  e.startJoints = e.endJoints = joints_;
  addEvent(audit, e);
  return std::nullopt;
}

void Auditor::jointMove(std::size_t index, const MoveRecord& move, const RobJoint& target) {
  MoveAudit& audit = report_.moves[index];
  const RobJoint from = joints_;
  const Pose start = tcpOf(from, robot_, move);
  const Pose end = tcpOf(target, robot_, move);
  const double maxStep = largestStep(from, target).first;
  const std::size_t n = intervals(index, false, (end.pos - start.pos).norm(), maxStep);
  // The path length first; the samples, each timed as it is made, only once the move is
  // audited whole, so that a cancel leaves none of it behind.
  double length = 0.0;
  Pose previous = start;
  for (std::size_t i = 1; i <= n; ++i) {
    const double f = static_cast<double>(i) / static_cast<double>(n);
    if (!countSample(index, [f] { return f; }))
      return;
    const Pose tcp = i == n ? end : tcpOf(RobJoint::Intermediate(from, target, f), robot_, move);
    length += (tcp.pos - previous.pos).norm();
    previous = tcp;
  }
  audit.pathLength = length;
  audit.orientationChange = Rotation::AngularDistance(start.orient, end.orient) * kDegPerRad;
  const JointMoveProfile profile = ProfileOfJointMove(travelOf(from, target), limits_);
  if (options_.keepSamples)
    sampleJointMove(index, move, from, target, n, profile);
  audit.duration = profile.duration;
  programTime_ += profile.duration;
  audit.reached = true;
  audit.endJoints = target;
  audit.endConf = ConfData::FromRobJoint(target, robot_);
  joints_ = target;
}

std::optional<PathShape> Auditor::shapeOf(const ProgramMove& move, const Pose& start) const {
  if (const auto* l = std::get_if<MoveL>(&move))
    return PathShape{LinePath{start, l->toPoint.pose}};
  const auto& c = std::get<MoveC>(move);
  // A valid but vanishingly small triangle has no plane to turn in: TPCircle cannot normalise
  // its normal, so it is no circle here, before the constructor is asked.
  const Vec3 a = start.pos.toVec3();
  const Vec3 b = c.cirPoint.pose.pos.toVec3();
  const Vec3 e = c.toPoint.pose.pos.toVec3();
  if (!((b - a).cross(e - b).norm() > kTinyTriangleNormal))
    return std::nullopt;
  try {
    return PathShape{ArcPath{TPCircle(a, b, e), start.orient, c.cirPoint.pose.orient,
                             c.toPoint.pose.orient, options_.circleOriMode}};
  } catch (const TPCircleFail&) {  // coinciding or collinear points: the event noCircle
    return std::nullopt;
  }
}

void Auditor::cartesianMove(std::size_t index, std::span<const ProgramMove> moves) {
  MoveAudit& audit = report_.moves[index];
  const MoveRecord& move = recordOf(moves[index]);

  std::optional<PathShape> shape;
  double f0 = 0.0;
  if (blendedStart_) {
    shape = std::move(blendedStart_->first);
    f0 = blendedStart_->second;
    blendedStart_.reset();
  } else {
    shape = shapeOf(moves[index], tcpOf(joints_, robot_, move));
  }
  if (!shape) {
    AuditEvent e{AuditEventKind::noCircle, index};
    e.startJoints = e.endJoints = joints_;
    addEvent(audit, e);
    audit.endJoints = joints_;
    audit.endConf = ConfData::FromRobJoint(joints_, robot_);
    return;
  }
  const double length = PathLength(*shape);
  const double turn = OrientationChange(*shape);
  audit.pathLength = length;
  audit.orientationChange = turn;
  const std::optional<RobJoint> targetJoints = checkTarget(index, move, audit);

  // The corner into the next move, blended when both are Cartesian with the same frames.
  std::optional<std::pair<PathShape, double>> next;
  double f1 = 1.0;
  if (!move.zone.finep && index + 1 < moves.size() && isCartesian(moves[index + 1])) {
    const MoveRecord& following = recordOf(moves[index + 1]);
    if (following.tool == move.tool && following.wobj == move.wobj) {
      std::optional<PathShape> nextShape = shapeOf(moves[index + 1], move.toPoint.pose);
      if (nextShape) {
        const double nextLength = PathLength(*nextShape);
        const CornerZone zone = ZoneAtCorner(move.zone.pzoneTcp, length, nextLength);
        if (zone.shrunk) {
          AuditEvent e{AuditEventKind::zoneShrunk, index};
          e.startFraction = length > 0.0 ? 1.0 - zone.distance / length : 1.0;
          e.endFraction = 1.0;
          e.startArcLength = length - zone.distance;
          e.endArcLength = length;
          addEvent(audit, e);
        }
        if (zone.distance > 0.0) {
          audit.zoneDistance = zone.distance;
          f1 = 1.0 - zone.distance / length;
          next.emplace(std::move(*nextShape), zone.distance / nextLength);
        }
      }
    }
  }

  PathPart part{&*shape, &move.tool, &move.wobj,      index,          false,
                length,  1.0,        move.speed.vTcp, move.speed.vOri};
  const std::size_t n = intervals(index, false, length * (f1 - f0), turn * (f1 - f0));
  part.sampleStep = (f1 - f0) / static_cast<double>(n);
  RobJoint joints = samplePart(part, f0, f1, n, joints_, audit);
  if (cancelled_)
    return;

  // The joints at the target: followed from the path's end, and then in the configuration the
  // path arrives in, which must be the programmed one. A path that cannot be followed to its
  // end arrives nowhere: its end joints are the target's own solution.
  bool blocked = false;
  for (const AuditEvent& e : audit.events)
    blocked = blocked || e.kind == AuditEventKind::unreachablePathPoint ||
              e.kind == AuditEventKind::jointLimit;
  const Pose targetFlange = FlangePoseOfTarget(move.toPoint.pose, move.tool, move.wobj);
  const JointSolution end =
      blocked ? JointSolution{} : robot_.findNearestJointSolution(targetFlange, joints);
  audit.reached = targetJoints && end.found();
  audit.endJoints = end.found() ? end.joints : targetJoints.value_or(joints);
  audit.endConf = end.found() ? end.conf : ConfData::FromRobJoint(audit.endJoints, robot_);
  if (audit.reached && !end.conf.isCriticalEqual(end.joints, move.toPoint.robConf)) {
    AuditEvent e{AuditEventKind::configurationMismatch, index};
    e.startFraction = e.endFraction = 1.0;
    e.startArcLength = e.endArcLength = length;
    e.startJoints = e.endJoints = end.joints;
    addEvent(audit, e);
  }

  if (next) {
    const PathShape corner =
        CornerPath{PoseAt(*shape, f1), move.toPoint.pose.pos, PoseAt(next->first, next->second)};
    const double cornerLength = PathLength(corner);
    PathPart cornerPart{&corner,      &move.tool, &move.wobj,      index,          true,
                        cornerLength, 1.0,        move.speed.vTcp, move.speed.vOri};
    const std::size_t m = intervals(index, true, cornerLength, OrientationChange(corner));
    cornerPart.sampleStep = 1.0 / static_cast<double>(m);
    joints = samplePart(cornerPart, 0.0, 1.0, m, joints, audit);
    if (cancelled_)
      return;
    blendedStart_ = std::move(next);
    joints_ = joints;
  } else {
    joints_ = audit.endJoints;
  }
}

std::size_t Auditor::intervals(std::size_t index, bool corner, double length,
                               double angleDeg) const {
  // Written to fail for NaN as well.
  if (!(length / options_.stepMm <= kMaxIntervals && angleDeg / options_.stepDeg <= kMaxIntervals))
    detail::throwInvalidArgument(
        movePlace(index, corner) + ": its path of " + ShortestText(length) + " mm and " +
        ShortestText(angleDeg) + " degrees needs more than 10000000 samples at 'options.stepMm' " +
        ShortestText(options_.stepMm) + " and 'options.stepDeg' " + ShortestText(options_.stepDeg));
  return IntervalCount(length, angleDeg, options_.stepMm, options_.stepDeg);
}

}  // namespace audit

AuditReport AuditProgram(const RobotConfig& robot, const RobJoint& start,
                         std::span<const ProgramMove> moves, const AuditOptions& options) {
  audit::validateInputs(robot, start, moves, options);
  AuditReport report;
  audit::Auditor auditor(robot, options, report);
  auditor.run(start, moves);
  return report;
}

}  // namespace zor::rob