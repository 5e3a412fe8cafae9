// The timing of the audited program: each joint move by its closed form, each path between two
// stop points by a PathTimer; the times, speeds and limits of the kept samples, the moves'
// durations, and the stretches where the limits slow the tool (speedReduced).

#include <algorithm>
#include <cmath>

#include "audit/auditor.hpp"

namespace zor::rob::audit {

namespace {

/// A speed share below this is a reduction (above it, rounding).
constexpr double kFullShare = 1.0 - 1e-6;

}  // namespace

std::array<double, 6> travelOf(const RobJoint& from, const RobJoint& target) {
  std::array<double, 6> travel{};
  for (std::size_t j = 0; j < 6; ++j)
    travel[j] = target.values[j] - from.values[j];
  return travel;
}

void Auditor::keepTimedSample(const AuditSample& s) {
  if (options_.sampleSink)
    options_.sampleSink(s);
  else
    report_.samples.push_back(s);
}

void Auditor::sampleJointMove(std::size_t index, const MoveRecord& move, const RobJoint& from,
                              const RobJoint& target, std::size_t n,
                              const JointMoveProfile& profile) {
  const std::array<double, 6> travel = travelOf(from, target);
  const auto sampleAt = [&](std::size_t i, const AuditSample* before) {
    AuditSample s;
    const double f = static_cast<double>(i) / static_cast<double>(n);
    const RobJoint j = RobJoint::Intermediate(from, target, f);
    const Pose tcp = i == 0 ? tcpOf(from, robot_, move)
                            : (i == n ? tcpOf(target, robot_, move) : tcpOf(j, robot_, move));
    s.moveIndex = index;
    s.fraction = f;
    s.arcLength = before == nullptr ? 0.0 : before->arcLength + (tcp.pos - before->tcp.pos).norm();
    s.tcp = tcp;
    s.joints = j;
    s.conf = ConfData::FromRobJoint(j, robot_);
    s.singularity = singularityOf(singularities(j, robot_.getWristPoseInBase(j).toPose()));
    const double speed = profile.speedAt(f);
    const double acceleration = profile.accelerationAt(f);
    s.time = programTime_ + profile.timeAt(f);
    s.speedShare = profile.duration > 0.0 ? speed / profile.speed : 0.0;
    for (std::size_t k = 0; k < 6; ++k) {
      s.jointSpeeds[k] = travel[k] * speed;
      s.jointAccelerations[k] = travel[k] * acceleration;
    }
    s.limit = profile.limitAt(f);
    s.limitJoint = profile.limitJointAt(f);
    return s;
  };
  // The tool's speed from the neighbouring samples' arc lengths along the joint path: each
  // sample is handed over once the next one is made.
  AuditSample before;
  AuditSample current = sampleAt(0, nullptr);
  for (std::size_t i = 0; i <= n; ++i) {
    const AuditSample after = i < n ? sampleAt(i + 1, &current) : current;
    const AuditSample& a = i > 0 ? before : current;
    const double df = after.fraction - a.fraction;
    if (df > 0.0)
      current.tcpSpeed = (after.arcLength - a.arcLength) / df * profile.speedAt(current.fraction);
    keepTimedSample(current);
    before = current;
    current = after;
  }
}

void Auditor::finishRun() {
  if (timer_.empty())
    return;
  moveStart_ = 0.0;
  lastTime_ = 0.0;
  reduced_.reset();
  // A cancel while the path is timed drops its moves: none of them is timed. Once cancelled, the
  // path sampled so far is timed without asking.
  const std::size_t lastMove = runParts_.back().part.moveIndex;
  const bool timed = timer_.finish(
      [this](std::size_t window, const PathTimer::Take& take) { replayRun(window, take); },
      [this](std::size_t index, const PointTiming& t) { takeTiming(index, t); },
      [this, lastMove](double share) { return cancelled_ || reportWithin(lastMove, 1, share); });
  if (!timed) {
    dropMovesFrom(runParts_.front().part.moveIndex);
    return;
  }
  if (reduced_)
    addReducedStretch();
  programTime_ += lastTime_;
  runParts_.clear();
  checkpoints_.clear();
  window_.clear();
  replayed_.clear();
  runPoints_ = 0;
}

void Auditor::takeTiming(std::size_t index, const PointTiming& t) {
  const std::size_t lastWindow = checkpoints_.back().firstPoint;
  const RunPoint& r =
      index >= lastWindow ? window_[index - lastWindow] : replayed_[index - replayFirst_];
  const PathPart& part = runParts_[r.part].part;
  const PathPoint& p = r.point;
  const double arcLength = p.fraction * part.lengthPerFraction;
  // A move's duration runs from the end of the move before it on the path to its own last point
  // (its corner's, when it has one).
  MoveAudit& move = report_.moves[part.moveIndex];
  if (index > 0 && lastMove_ != part.moveIndex)
    moveStart_ = lastTime_;
  move.duration = t.time - moveStart_;
  move.lowestSpeedShare = std::min(move.lowestSpeedShare, t.allowedShare);

  if (options_.keepSamples) {
    AuditSample s;
    s.moveIndex = part.moveIndex;
    s.corner = part.corner;
    s.fraction = p.fraction;
    s.arcLength = arcLength;
    s.tcp = p.tcp;
    s.joints = p.joints;
    s.conf = p.conf;
    s.reachable = p.solved;
    s.singularity = singularityOf(p.conditions);
    s.time = programTime_ + t.time;
    s.tcpSpeed = t.tcpSpeed;
    s.speedShare = t.speedShare;
    s.allowedShare = t.allowedShare;
    s.jointSpeeds = t.jointSpeeds;
    s.jointAccelerations = t.jointAccelerations;
    s.limit = t.limit;
    s.limitJoint = t.limitJoint;
    keepTimedSample(s);
  }

  // The stretches of samples whose allowed share is reduced, one event per stretch on the same
  // move or corner. Where two parts meet, the point is sampled by both with one timing: its
  // second copy starts no stretch.
  const bool repeats = r.repeats;
  const bool reduced = t.allowedShare < kFullShare;
  bool mayStart = true;
  if (reduced_) {
    AuditEvent& e = reduced_->event;
    if (reduced && part.moveIndex == e.moveIndex && part.corner == e.corner) {
      e.endFraction = p.fraction;
      e.endArcLength = arcLength;
      e.endJoints = p.joints;
      if (t.allowedShare < reduced_->lowestAllowed) {
        reduced_->lowestAllowed = t.allowedShare;
        e.joint = t.reducingJoint;
      }
      e.speedShare = std::min(e.speedShare, t.speedShare);
      ++reduced_->samples;
      mayStart = false;
    } else {
      // The meeting point alone is no stretch: the part it leads into tells the reduction.
      if (!(reduced_->samples == 1 && repeats))
        addReducedStretch();
      reduced_.reset();
    }
  }
  if (mayStart && reduced && !reduced_ && !repeats) {
    AuditEvent e{AuditEventKind::speedReduced, part.moveIndex, part.corner};
    e.startFraction = e.endFraction = p.fraction;
    e.startArcLength = e.endArcLength = arcLength;
    e.startJoints = e.endJoints = p.joints;
    e.joint = t.reducingJoint;
    e.speedShare = t.speedShare;
    reduced_ = ReducedStretch{e, t.allowedShare, 1};
  }
  lastMove_ = part.moveIndex;
  lastTime_ = t.time;
}

void Auditor::addReducedStretch() {
  addEvent(report_.moves[reduced_->event.moveIndex], std::move(reduced_->event));
  reduced_.reset();
}

}  // namespace zor::rob::audit
