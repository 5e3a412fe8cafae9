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
// the limit) until it comes back.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <ostream>
#include <type_traits>
#include <utility>

#include "audit/audit_path.hpp"
#include "detail/throwers.hpp"
#include "zor/rob/inverse_kinematics.hpp"

namespace zor::rob {

namespace {

using audit::ArcPath;
using audit::CornerPath;
using audit::LinePath;
using audit::PathShape;

constexpr const char* kBadOptions = "audit options must be positive and finite";
constexpr const char* kBadStart = "start joints must be finite";
constexpr const char* kBadSpeed = "move speeds must be positive and finite";
constexpr const char* kTooManySamples = "a move needs more than 10000000 samples at these steps";

/// The most intervals one path part is sampled in (a bound on the work, not on precision).
constexpr double kMaxIntervals = 1e7;

/// Events are located until the two probes around them lie this close (mm, degrees).
constexpr double kLocateMm = 1e-3;
constexpr double kLocateDeg = 1e-3;
/// Bisection steps at most (2^-60 of a move is far below any length that matters).
constexpr int kMaxBisections = 60;
/// The widening (degrees) of the limits of the arm that diagnoses joint limits.
constexpr double kRelaxedLimitWidening = 90.0;

bool positiveFinite(double v) {
  return std::isfinite(v) && v > 0.0;
}
bool nonNegativeFinite(double v) {
  return std::isfinite(v) && v >= 0.0;
}

void validate(const AuditOptions& o, const RobJoint& start) {
  bool ok = positiveFinite(o.stepMm) && positiveFinite(o.stepDeg) && positiveFinite(o.jumpDeg) &&
            nonNegativeFinite(o.wristMarginDeg) && nonNegativeFinite(o.elbowMarginDeg) &&
            nonNegativeFinite(o.shoulderMarginMm);
  for (const double v : o.maxJointSpeedDeg)
    ok = ok && positiveFinite(v);
  if (!ok)
    detail::throwInvalidArgument(kBadOptions);
  for (const double v : start.values)
    if (!std::isfinite(v))
      detail::throwInvalidArgument(kBadStart);
}

/// The largest joint difference (degrees) and the joint (0-based) where it lies.
std::pair<double, std::size_t> largestStep(const RobJoint& a, const RobJoint& b) {
  double step = 0.0;
  std::size_t joint = 0;
  for (std::size_t i = 0; i < 6; ++i) {
    const double d = std::abs(a.values[i] - b.values[i]);
    if (d > step) {
      step = d;
      joint = i;
    }
  }
  return {step, joint};
}

/// \returns the first joint (1-based) of `j` outside the limits of `robot`, or 0.
int jointOutsideLimits(const RobotConfig& robot, const RobJoint& j) {
  const std::optional<std::size_t> joint = robot.firstJointOutsideLimits(j);
  return joint ? static_cast<int>(*joint) + 1 : 0;
}

/// The conditions that last over stretches of a path, one bit each.
enum Condition : unsigned {
  kUnreachable = 1u << 0,
  kJointLimit = 1u << 1,
  kWrist = 1u << 2,
  kElbow = 1u << 3,
  kShoulder = 1u << 4,
};
constexpr std::array<std::pair<Condition, AuditEventKind>, 5> kConditionKinds{{
    {kUnreachable, AuditEventKind::unreachablePathPoint},
    {kJointLimit, AuditEventKind::jointLimit},
    {kWrist, AuditEventKind::wristSingularity},
    {kElbow, AuditEventKind::elbowSingularity},
    {kShoulder, AuditEventKind::shoulderSingularity},
}};

/// \returns the singularity a sample reports for the conditions `c`: the first of its bits.
SingularityType singularityOf(unsigned c) {
  return Singularities{(c & kWrist) != 0, (c & kElbow) != 0, (c & kShoulder) != 0}.first();
}

/// One solved point of a path.
struct PathPoint {
  double fraction{0.0};
  Pose tcp{};
  /// False where the point has no solution the arm can follow (unreachable, or beyond a limit
  /// with no continuation).
  bool solved{false};
  /// The joints followed; where `solved` is false, those of the last solved point.
  RobJoint joints{};
  ConfData conf{};
  unsigned conditions{0};
  /// The joint (1-based) beyond its limit under kJointLimit, 0 otherwise.
  int limitJoint{0};
};

/// A path part being sampled: its shape, the fraction range, the frames and where its events go.
struct PathPart {
  const PathShape* shape{nullptr};
  const ToolData* tool{nullptr};
  const WObjData* wobj{nullptr};
  std::size_t moveIndex{0};
  bool corner{false};
  /// Arc length (mm) per unit fraction.
  double lengthPerFraction{0.0};
  /// The fraction between neighbouring samples.
  double sampleStep{1.0};
};

class Auditor {
 public:
  Auditor(const RobotConfig& robot, const AuditOptions& options, AuditReport& report)
      : robot_(robot), relaxed_(robot), options_(options), report_(report) {
    for (std::size_t i = 0; i < 7; ++i) {
      relaxed_.jointMin[i] -= kRelaxedLimitWidening;
      relaxed_.jointMax[i] += kRelaxedLimitWidening;
    }
    relaxed_.jointCoupling = 0;
  }

  void run(const RobJoint& start, std::span<const ProgramMove> moves);

 private:
  // Moves.
  void jointMove(std::size_t index, const MoveRecord& move, const RobJoint& target);
  void cartesianMove(std::size_t index, std::span<const ProgramMove> moves);
  std::optional<PathShape> shapeOf(const ProgramMove& move, const Pose& start) const;
  /// \returns the solution of the move's target in its configuration; adds the event that
  /// says why there is none.
  std::optional<RobJoint> checkTarget(std::size_t index, const MoveRecord& move, MoveAudit& audit);

  // Sampling.
  RobJoint samplePart(const PathPart& part, double f0, double f1, std::size_t intervals,
                      const RobJoint& start, MoveAudit& audit);
  PathPoint solve(const PathPart& part, double fraction, const RobJoint& seed,
                  double allowedStep) const;
  unsigned singularities(const RobJoint& j, const Pose& flange) const;
  bool jumps(const PathPoint& a, const PathPoint& b, double allowedStep) const;
  bool close(const PathPoint& a, const PathPoint& b) const;
  std::size_t intervals(double length, double angleDeg) const {
    // Written to fail for NaN as well.
    if (!(length / options_.stepMm <= kMaxIntervals &&
          angleDeg / options_.stepDeg <= kMaxIntervals))
      detail::throwInvalidArgument(kTooManySamples);
    return audit::IntervalCount(length, angleDeg, options_.stepMm, options_.stepDeg);
  }
  double allowedStep(const PathPart& part, double span) const {
    return options_.jumpDeg * span / part.sampleStep;
  }
  std::pair<PathPoint, PathPoint> locateCondition(const PathPart& part, unsigned bit, PathPoint a,
                                                  PathPoint b) const;
  std::pair<PathPoint, PathPoint> locateTransition(const PathPart& part, PathPoint a,
                                                   PathPoint b) const;
  AuditEvent eventAt(const PathPart& part, AuditEventKind kind, const PathPoint& from,
                     const PathPoint& to) const;
  void keepSample(const PathPart& part, const PathPoint& p);

  static Pose tcpOf(const RobJoint& j, const RobotConfig& robot, const MoveRecord& move) {
    return TargetOfFlangePose(robot.getWristPoseInBase(j).toPose(), move.tool, move.wobj);
  }
  static void addEvent(MoveAudit& audit, AuditEvent e) { audit.events.push_back(std::move(e)); }

  const RobotConfig& robot_;
  RobotConfig relaxed_;
  const AuditOptions& options_;
  AuditReport& report_;
  RobJoint joints_{};
  /// The path of the next move and the fraction where the corner joins it, when the corner
  /// into it is blended.
  std::optional<std::pair<PathShape, double>> blendedStart_{};
};

const MoveRecord& recordOf(const ProgramMove& move) {
  return std::visit([](const auto& m) -> const MoveRecord& { return m; }, move);
}

bool isCartesian(const ProgramMove& move) {
  return std::holds_alternative<MoveL>(move) || std::holds_alternative<MoveC>(move);
}

void Auditor::run(const RobJoint& start, std::span<const ProgramMove> moves) {
  joints_ = start;
  report_.moves.resize(moves.size());
  for (std::size_t k = 0; k < moves.size(); ++k) {
    const MoveRecord& move = recordOf(moves[k]);
    if (!positiveFinite(move.speed.vTcp) || !positiveFinite(move.speed.vOri))
      detail::throwInvalidArgument(kBadSpeed);
  }
  Progress progress(options_.progress, moves.size());
  for (std::size_t k = 0; k < moves.size(); ++k) {
    if (!progress.advance(k)) {
      report_.moves.resize(k);
      report_.partial = true;
      break;
    }
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
        continue;
      }
      jointMove(k, move, target);
    } else if (std::holds_alternative<MoveJ>(moves[k])) {
      const std::optional<RobJoint> target = checkTarget(k, move, audit);
      if (!target) {
        audit.endJoints = joints_;
        audit.endConf = ConfData::FromRobJoint(joints_, robot_);
        continue;
      }
      jointMove(k, move, *target);
    } else {
      cartesianMove(k, moves);
    }
  }
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
  const std::size_t n = intervals((end.pos - start.pos).norm(), maxStep);
  double length = 0.0;
  Pose previous = start;
  for (std::size_t i = 0; i <= n; ++i) {
    const double f = static_cast<double>(i) / static_cast<double>(n);
    const RobJoint j = RobJoint::Intermediate(from, target, f);
    const Pose tcp = i == 0 ? start : (i == n ? end : tcpOf(j, robot_, move));
    length += (tcp.pos - previous.pos).norm();
    previous = tcp;
    if (options_.keepSamples) {
      AuditSample s;
      s.moveIndex = index;
      s.fraction = f;
      s.arcLength = length;
      s.tcp = tcp;
      s.joints = j;
      s.conf = ConfData::FromRobJoint(j, robot_);
      const Pose flange = robot_.getWristPoseInBase(j).toPose();
      const unsigned c = singularities(j, flange);
      s.singularity = singularityOf(c);
      report_.samples.push_back(s);
    }
  }
  double slowest = 0.0;
  for (std::size_t i = 0; i < 6; ++i)
    slowest = std::max(slowest,
                       std::abs(target.values[i] - from.values[i]) / options_.maxJointSpeedDeg[i]);
  audit.pathLength = length;
  audit.orientationChange = Rotation::AngularDistance(start.orient, end.orient) * audit::kDegPerRad;
  audit.duration = std::max(slowest, length / move.speed.vTcp);
  audit.reached = true;
  audit.endJoints = target;
  audit.endConf = ConfData::FromRobJoint(target, robot_);
  joints_ = target;
}

std::optional<PathShape> Auditor::shapeOf(const ProgramMove& move, const Pose& start) const {
  if (const auto* l = std::get_if<MoveL>(&move))
    return PathShape{LinePath{start, l->toPoint.pose}};
  const auto& c = std::get<MoveC>(move);
  try {
    return PathShape{ArcPath{TPCircle(start.pos, c.cirPoint.pose.pos, c.toPoint.pose.pos),
                             start.orient, c.cirPoint.pose.orient, c.toPoint.pose.orient,
                             options_.circleOriMode}};
  } catch (const TPCircleFail&) {
    return std::nullopt;
  } catch (const std::overflow_error&) {  // a valid but vanishingly small triangle
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
  const double length = audit::PathLength(*shape);
  const double turn = audit::OrientationChange(*shape);
  audit.pathLength = length;
  audit.orientationChange = turn;
  audit.duration = std::max(length / move.speed.vTcp, turn / move.speed.vOri);
  const std::optional<RobJoint> targetJoints = checkTarget(index, move, audit);

  // The corner into the next move, blended when both are Cartesian with the same frames.
  std::optional<std::pair<PathShape, double>> next;
  double f1 = 1.0;
  if (!move.zone.finep && index + 1 < moves.size() && isCartesian(moves[index + 1])) {
    const MoveRecord& following = recordOf(moves[index + 1]);
    if (following.tool == move.tool && following.wobj == move.wobj) {
      std::optional<PathShape> nextShape = shapeOf(moves[index + 1], move.toPoint.pose);
      if (nextShape) {
        const double nextLength = audit::PathLength(*nextShape);
        const audit::CornerZone zone = audit::ZoneAtCorner(move.zone.pzoneTcp, length, nextLength);
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

  PathPart part{&*shape, &move.tool, &move.wobj, index, false, length, 1.0};
  const std::size_t n = intervals(length * (f1 - f0), turn * (f1 - f0));
  part.sampleStep = (f1 - f0) / static_cast<double>(n);
  RobJoint joints = samplePart(part, f0, f1, n, joints_, audit);

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
    const PathShape corner = CornerPath{audit::PoseAt(*shape, f1), move.toPoint.pose.pos,
                                        audit::PoseAt(next->first, next->second)};
    const double cornerLength = audit::PathLength(corner);
    PathPart cornerPart{&corner, &move.tool, &move.wobj, index, true, cornerLength, 1.0};
    const std::size_t m = intervals(cornerLength, audit::OrientationChange(corner));
    cornerPart.sampleStep = 1.0 / static_cast<double>(m);
    joints = samplePart(cornerPart, 0.0, 1.0, m, joints, audit);
    blendedStart_ = std::move(next);
    joints_ = joints;
  } else {
    joints_ = audit.endJoints;
  }
}

unsigned Auditor::singularities(const RobJoint& j, const Pose& flange) const {
  const Singularities s = robot_.singularitiesOf(
      j, flange, {options_.wristMarginDeg, options_.elbowMarginDeg, options_.shoulderMarginMm});
  return (s.wrist ? kWrist : 0u) | (s.elbow ? kElbow : 0u) | (s.shoulder ? kShoulder : 0u);
}

PathPoint Auditor::solve(const PathPart& part, double fraction, const RobJoint& seed,
                         double allowedStep) const {
  PathPoint p;
  p.fraction = fraction;
  p.tcp = audit::PoseAt(*part.shape, fraction);
  p.joints = seed;
  const Pose flange = FlangePoseOfTarget(p.tcp, *part.tool, *part.wobj);
  const JointSolution real = robot_.findNearestJointSolution(flange, seed);
  const bool smooth = real.found() && largestStep(seed, real.joints).first <= allowedStep;
  if (smooth) {
    p.solved = true;
    p.joints = real.joints;
    p.conf = real.conf;
  } else {
    // Either a jump or no solution: does the arm run into a limit here?
    const JointSolution relaxed = relaxed_.findNearestJointSolution(flange, seed);
    const int beyond = relaxed.found() ? jointOutsideLimits(robot_, relaxed.joints) : 0;
    if (beyond != 0 && largestStep(seed, relaxed.joints).first <= allowedStep) {
      p.solved = true;
      p.joints = relaxed.joints;
      p.conf = relaxed.conf;
      p.conditions |= kJointLimit;
      p.limitJoint = beyond;
    } else if (real.found()) {
      p.solved = true;  // a jump, found by the caller
      p.joints = real.joints;
      p.conf = real.conf;
    } else {
      p.conditions |= relaxed.found() ? kJointLimit : kUnreachable;
      p.limitJoint = beyond;
    }
  }
  if (p.solved)
    p.conditions |= singularities(p.joints, flange);
  return p;
}

bool Auditor::jumps(const PathPoint& a, const PathPoint& b, double allowedStep) const {
  return a.solved && b.solved && largestStep(a.joints, b.joints).first > allowedStep;
}

bool Auditor::close(const PathPoint& a, const PathPoint& b) const {
  return (a.tcp.pos - b.tcp.pos).norm() <= kLocateMm &&
         Rotation::AngularDistance(a.tcp.orient, b.tcp.orient) * audit::kDegPerRad <= kLocateDeg;
}

std::pair<PathPoint, PathPoint> Auditor::locateCondition(const PathPart& part, unsigned bit,
                                                         PathPoint a, PathPoint b) const {
  const bool atB = (b.conditions & bit) != 0;
  for (int i = 0; i < kMaxBisections && !close(a, b); ++i) {
    const double m = 0.5 * (a.fraction + b.fraction);
    const PathPoint pm = solve(part, m, a.joints, allowedStep(part, m - a.fraction));
    if (((pm.conditions & bit) != 0) == atB)
      b = pm;
    else
      a = pm;
  }
  return {a, b};
}

std::pair<PathPoint, PathPoint> Auditor::locateTransition(const PathPart& part, PathPoint a,
                                                          PathPoint b) const {
  for (int i = 0; i < kMaxBisections && !close(a, b); ++i) {
    const double m = 0.5 * (a.fraction + b.fraction);
    const double allowed = allowedStep(part, m - a.fraction);
    const PathPoint pm = solve(part, m, a.joints, allowed);
    if (jumps(a, pm, allowed) || (pm.solved && pm.conf.cfx != a.conf.cfx))
      b = pm;
    else
      a = pm;
  }
  return {a, b};
}

AuditEvent Auditor::eventAt(const PathPart& part, AuditEventKind kind, const PathPoint& from,
                            const PathPoint& to) const {
  AuditEvent e{kind, part.moveIndex, part.corner};
  e.startFraction = from.fraction;
  e.endFraction = to.fraction;
  e.startArcLength = from.fraction * part.lengthPerFraction;
  e.endArcLength = to.fraction * part.lengthPerFraction;
  e.startJoints = from.joints;
  e.endJoints = to.joints;
  return e;
}

void Auditor::keepSample(const PathPart& part, const PathPoint& p) {
  if (!options_.keepSamples)
    return;
  AuditSample s;
  s.moveIndex = part.moveIndex;
  s.corner = part.corner;
  s.fraction = p.fraction;
  s.arcLength = p.fraction * part.lengthPerFraction;
  s.tcp = p.tcp;
  s.joints = p.joints;
  s.conf = p.conf;
  s.reachable = p.solved;
  s.singularity = singularityOf(p.conditions);
  report_.samples.push_back(s);
}

RobJoint Auditor::samplePart(const PathPart& part, double f0, double f1, std::size_t intervals,
                             const RobJoint& start, MoveAudit& audit) {
  // Open interval events by condition bit: the event and the joint concerned.
  std::array<std::optional<AuditEvent>, kConditionKinds.size()> open{};
  const auto openEvent = [&](std::size_t c, const PathPoint& at) {
    open[c] = eventAt(part, kConditionKinds[c].second, at, at);
    if (kConditionKinds[c].first == kJointLimit)
      open[c]->joint = at.limitJoint;
  };
  const auto closeEvent = [&](std::size_t c, const PathPoint& at) {
    AuditEvent& e = *open[c];
    e.endFraction = at.fraction;
    e.endArcLength = at.fraction * part.lengthPerFraction;
    e.endJoints = at.joints;
    addEvent(audit, std::move(e));
    open[c].reset();
  };

  std::optional<AuditEvent> openJump;
  double openJumpStep = 0.0;

  PathPoint previous = solve(part, f0, start, options_.jumpDeg);
  keepSample(part, previous);
  for (std::size_t c = 0; c < kConditionKinds.size(); ++c)
    if ((previous.conditions & kConditionKinds[c].first) != 0)
      openEvent(c, previous);

  for (std::size_t i = 1; i <= intervals; ++i) {
    const double f = i == intervals
                         ? f1
                         : f0 + (f1 - f0) * static_cast<double>(i) / static_cast<double>(intervals);
    const PathPoint current = solve(part, f, previous.joints, options_.jumpDeg);
    keepSample(part, current);

    bool jumped = false;
    if (jumps(previous, current, options_.jumpDeg) ||
        (previous.solved && current.solved && previous.conf.cfx != current.conf.cfx)) {
      const auto [a, b] = locateTransition(part, previous, current);
      if (a.solved && b.solved && a.conf.cfx != b.conf.cfx)
        addEvent(audit, eventAt(part, AuditEventKind::configurationChange, a, b));
      if (jumps(a, b, allowedStep(part, b.fraction - a.fraction))) {
        // Jumps in neighbouring intervals are one fast stretch: one event from its first
        // located jump to its last, naming the joint of the largest step.
        const auto [step, joint] = largestStep(a.joints, b.joints);
        if (!openJump) {
          openJump = eventAt(part, AuditEventKind::jointJump, a, b);
          openJumpStep = 0.0;
        }
        openJump->endFraction = b.fraction;
        openJump->endArcLength = b.fraction * part.lengthPerFraction;
        openJump->endJoints = b.joints;
        if (step > openJumpStep) {
          openJumpStep = step;
          openJump->joint = static_cast<int>(joint) + 1;
        }
        jumped = true;
      }
    }
    if (!jumped && openJump) {
      addEvent(audit, std::move(*openJump));
      openJump.reset();
    }
    const unsigned toggled = previous.conditions ^ current.conditions;
    for (std::size_t c = 0; c < kConditionKinds.size(); ++c) {
      const unsigned bit = kConditionKinds[c].first;
      if ((toggled & bit) == 0)
        continue;
      const auto [a, b] = locateCondition(part, bit, previous, current);
      if ((current.conditions & bit) != 0)
        openEvent(c, b);
      else
        closeEvent(c, a);
    }
    previous = current;
  }
  for (std::size_t c = 0; c < kConditionKinds.size(); ++c)
    if (open[c])
      closeEvent(c, previous);
  if (openJump)
    addEvent(audit, std::move(*openJump));
  return previous.joints;
}

}  // namespace

std::ostream& operator<<(std::ostream& os, AuditEventKind kind) {
  switch (kind) {
    case AuditEventKind::unreachableTarget:
      return os << "unreachable target";
    case AuditEventKind::noSolutionInConfiguration:
      return os << "no solution in the programmed configuration";
    case AuditEventKind::unreachablePathPoint:
      return os << "unreachable path point";
    case AuditEventKind::configurationChange:
      return os << "configuration change";
    case AuditEventKind::configurationMismatch:
      return os << "configuration mismatch";
    case AuditEventKind::wristSingularity:
      return os << "wrist singularity";
    case AuditEventKind::elbowSingularity:
      return os << "elbow singularity";
    case AuditEventKind::shoulderSingularity:
      return os << "shoulder singularity";
    case AuditEventKind::jointLimit:
      return os << "joint limit";
    case AuditEventKind::jointJump:
      return os << "joint jump";
    case AuditEventKind::noCircle:
      return os << "no circle";
    case AuditEventKind::zoneShrunk:
      return os << "zone shrunk";
  }
  os.setstate(std::ios_base::failbit);
  return os;
}

std::size_t AuditReport::eventCount() const {
  std::size_t n = 0;
  for (const MoveAudit& m : moves)
    n += m.events.size();
  return n;
}

AuditReport AuditProgram(const RobotConfig& robot, const RobJoint& start,
                         std::span<const ProgramMove> moves, const AuditOptions& options) {
  validate(options, start);
  AuditReport report;
  Auditor auditor(robot, options, report);
  auditor.run(start, moves);
  return report;
}

}  // namespace zor::rob
