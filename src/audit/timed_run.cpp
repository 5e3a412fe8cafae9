// The timing of the audited program: each joint move by its closed form, each path between two
// stop points by TimePath; the times, speeds and limits copied into the kept samples, the
// moves' durations, and the stretches where the limits slow the tool (speedReduced).

#include <algorithm>
#include <cmath>

#include "audit/auditor.hpp"

namespace zor::rob::audit {

namespace {

/// A speed share below this is a reduction (above it, rounding).
constexpr double kFullShare = 1.0 - 1e-6;

}  // namespace

void Auditor::timeJointMove(std::size_t index, const RobJoint& from, const RobJoint& target,
                            std::size_t firstSample) {
  std::array<double, 6> travel{};
  for (std::size_t j = 0; j < 6; ++j)
    travel[j] = target.values[j] - from.values[j];
  const JointMoveProfile profile = ProfileOfJointMove(travel, limits_);
  for (std::size_t i = firstSample; i < report_.samples.size(); ++i) {
    AuditSample& s = report_.samples[i];
    const double f = s.fraction;
    const double speed = profile.speedAt(f);
    const double acceleration = profile.accelerationAt(f);
    s.time = programTime_ + profile.timeAt(f);
    s.speedShare = profile.duration > 0.0 ? speed / profile.speed : 0.0;
    for (std::size_t j = 0; j < 6; ++j) {
      s.jointSpeeds[j] = travel[j] * speed;
      s.jointAccelerations[j] = travel[j] * acceleration;
    }
    s.limit = profile.limitAt(f);
    s.limitJoint = profile.limitJointAt(f);
  }
  // The tool's speed from the kept samples' arc lengths along the joint path.
  for (std::size_t i = firstSample; i < report_.samples.size(); ++i) {
    AuditSample& s = report_.samples[i];
    const std::size_t a = i > firstSample ? i - 1 : i;
    const std::size_t b = i + 1 < report_.samples.size() ? i + 1 : i;
    const double df = report_.samples[b].fraction - report_.samples[a].fraction;
    if (df > 0.0)
      s.tcpSpeed = (report_.samples[b].arcLength - report_.samples[a].arcLength) / df *
                   profile.speedAt(s.fraction);
  }
  report_.moves[index].duration = profile.duration;
  programTime_ += profile.duration;
}

void Auditor::finishRun() {
  if (run_.empty())
    return;
  const std::vector<PointTiming> timing = TimePath(run_, limits_);
  // A move's duration runs from the end of the move before it on the path to its own last
  // point (its corner's, when it has one).
  double moveStart = 0.0;
  for (std::size_t i = 0; i < timing.size(); ++i) {
    const RunTag& tag = runTags_[i];
    const PointTiming& t = timing[i];
    MoveAudit& move = report_.moves[tag.moveIndex];
    if (i > 0 && runTags_[i - 1].moveIndex != tag.moveIndex)
      moveStart = timing[i - 1].time;
    move.duration = t.time - moveStart;
    move.lowestSpeedShare = std::min(move.lowestSpeedShare, t.allowedShare);
    if (!options_.keepSamples)
      continue;
    AuditSample& s = report_.samples[runFirstSample_ + i];
    s.time = programTime_ + t.time;
    s.tcpSpeed = t.tcpSpeed;
    s.speedShare = t.speedShare;
    s.allowedShare = t.allowedShare;
    s.jointSpeeds = t.jointSpeeds;
    s.jointAccelerations = t.jointAccelerations;
    s.limit = t.limit;
    s.limitJoint = t.limitJoint;
  }
  addSpeedReduced(timing);
  programTime_ += timing.back().time;
  run_.clear();
  runTags_.clear();
}

void Auditor::addSpeedReduced(const std::vector<PointTiming>& timing) {
  std::size_t i = 0;
  while (i < timing.size()) {
    // Where two parts meet (a move and its corner), the point is sampled by both with one
    // timing: its second copy is passed over.
    if (timing[i].allowedShare >= kFullShare || (i > 0 && run_[i].tcp == run_[i - 1].tcp)) {
      ++i;
      continue;
    }
    // One event per stretch of reduced samples on the same move or corner.
    const RunTag& first = runTags_[i];
    std::size_t last = i;
    std::size_t lowest = i;
    double reached = timing[i].speedShare;
    while (last + 1 < timing.size() && timing[last + 1].allowedShare < kFullShare &&
           runTags_[last + 1].moveIndex == first.moveIndex &&
           runTags_[last + 1].corner == first.corner) {
      ++last;
      if (timing[last].allowedShare < timing[lowest].allowedShare)
        lowest = last;
      reached = std::min(reached, timing[last].speedShare);
    }
    // The meeting point alone is no stretch: the part it leads into tells the reduction.
    if (last == i && i + 1 < timing.size() && run_[i].tcp == run_[i + 1].tcp) {
      ++i;
      continue;
    }
    AuditEvent e{AuditEventKind::speedReduced, first.moveIndex, first.corner};
    e.startFraction = first.fraction;
    e.endFraction = runTags_[last].fraction;
    e.startArcLength = first.arcLength;
    e.endArcLength = runTags_[last].arcLength;
    e.startJoints = run_[i].joints;
    e.endJoints = run_[last].joints;
    e.joint = timing[lowest].reducingJoint;
    e.speedShare = reached;
    addEvent(report_.moves[first.moveIndex], std::move(e));
    i = last + 1;
  }
}

}  // namespace zor::rob::audit
