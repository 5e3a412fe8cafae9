// Sampling of one path part: each sample solved from the previous one's joints, the conditions
// and transitions between neighbouring samples located by bisection and turned into events.

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "audit/auditor.hpp"

namespace zor::rob::audit {

unsigned Auditor::singularities(const RobJoint& j, const Pose& flange) const {
  const Singularities s = robot_.singularitiesOf(
      j, flange, {options_.wristMarginDeg, options_.elbowMarginDeg, options_.shoulderMarginMm});
  return (s.wrist ? kWrist : 0u) | (s.elbow ? kElbow : 0u) | (s.shoulder ? kShoulder : 0u);
}

PathPoint Auditor::solve(const PathPart& part, double fraction, const RobJoint& seed,
                         double allowedStep) const {
  PathPoint p;
  p.fraction = fraction;
  p.tcp = PoseAt(*part.shape, fraction);
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
         Rotation::AngularDistance(a.tcp.orient, b.tcp.orient) * kDegPerRad <= kLocateDeg;
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

void Auditor::keepSample(const PathPoint& p, bool atRest, const PartWalk& walk,
                         const RobJoint& seed) {
  const std::size_t part = runParts_.size() - 1;
  // A sample that repeats its predecessor begins no node, so it never opens a window.
  const bool repeats = !window_.empty() && p.tcp == window_.back().point.tcp;
  // Made in place: a copy from the stack would wait for its own stores.
  RunPoint& r = window_.emplace_back();
  r.part = part;
  r.atRest = atRest;
  r.repeats = repeats;
  r.point = p;
  if (timer_.add()) {
    checkpoints_.push_back({part, walk, seed, runPoints_});
    window_.erase(window_.begin(), window_.end() - 1);
  }
  ++runPoints_;
}

void Auditor::windowPoints(std::size_t from, std::size_t to, std::vector<TimingPoint>& out) const {
  const std::size_t first = checkpoints_.back().firstPoint;
  for (std::size_t i = from; i < to; ++i) {
    const RunPoint& r = window_[i - first];
    const PathPart& part = runParts_[r.part].part;
    out.push_back({r.point.joints, r.point.tcp, part.vTcp, part.vOri, r.atRest});
  }
}

void Auditor::resampleIntoRun(const RunPart& part) {
  runParts_.push_back(part);
  const PathPart view = runParts_.back().view();
  PartWalk walk(part.shape, part.f0, part.f1, part.intervals);
  RobJoint seed = part.seed;
  while (!walk.done()) {
    const PartWalk before = walk;
    const PartWalk::Step step = walk.next();
    const PathPoint p = solve(view, step.fraction, seed, options_.jumpDeg);
    keepSample(p, step.atRest, before, seed);
    seed = p.joints;
  }
}

void Auditor::replayRun(std::size_t window, const PathTimer::Take& take) {
  const RunCheckpoint& from = checkpoints_[window];
  replayed_.clear();
  replayFirst_ = from.firstPoint;
  RobJoint seed = from.seed;
  for (std::size_t k = from.part; k < runParts_.size(); ++k) {
    const RunPart& part = runParts_[k];
    const PathPart view = part.view();
    PartWalk walk =
        k == from.part ? from.walk : PartWalk(part.shape, part.f0, part.f1, part.intervals);
    if (k != from.part)
      seed = part.seed;
    while (!walk.done()) {
      const PartWalk::Step step = walk.next();
      const PathPoint p = solve(view, step.fraction, seed, options_.jumpDeg);
      seed = p.joints;
      const bool repeats = !replayed_.empty() && p.tcp == replayed_.back().point.tcp;
      replayed_.push_back({k, step.atRest, repeats, p});
      if (!take({p.joints, p.tcp, view.vTcp, view.vOri, step.atRest}))
        return;
    }
  }
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

  runParts_.push_back({*part.shape, part, f0, f1, intervals, start});
  // Room for the part's samples (and its kink) up to a window's, made at once.
  const std::size_t room = window_.size() + std::min(intervals, options_.timingWindow) + 2;
  if (room > window_.capacity())
    window_.reserve(std::max(room, 2 * window_.capacity()));
  PartWalk walk(*part.shape, f0, f1, intervals);
  const PartWalk atStart = walk;
  PathPoint previous = solve(part, walk.next().fraction, start, options_.jumpDeg);
  keepSample(previous, false, atStart, start);
  for (std::size_t c = 0; c < kConditionKinds.size(); ++c)
    if ((previous.conditions & kConditionKinds[c].first) != 0)
      openEvent(c, previous);

  const auto advance = [&](const PartWalk& before, PartWalk::Step at) {
    const PathPoint current = solve(part, at.fraction, previous.joints, options_.jumpDeg);
    keepSample(current, at.atRest, before, previous.joints);

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
  };
  while (!walk.done()) {
    if (!countSample(part.moveIndex, [&] { return part.corner ? 1.0 : walk.progress(); }))
      return previous.joints;
    const PartWalk before = walk;
    advance(before, walk.next());
  }
  for (std::size_t c = 0; c < kConditionKinds.size(); ++c)
    if (open[c])
      closeEvent(c, previous);
  if (openJump)
    addEvent(audit, std::move(*openJump));
  return previous.joints;
}

}  // namespace zor::rob::audit
