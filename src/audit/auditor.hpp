#pragma once

// The audit's internal walker: the Auditor, which follows a program move by move (audit.cpp),
// samples each path part and locates its events by bisection (sampling.cpp), and the pieces both
// share.

#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>

#include "audit/audit_path.hpp"
#include "audit/timing.hpp"
#include "detail/throwers.hpp"
#include "zor/rob/audit.hpp"
#include "zor/rob/inverse_kinematics.hpp"

namespace zor::rob::audit {

/// The most intervals one path part is sampled in (a bound on the work, not on precision).
inline constexpr double kMaxIntervals = 1e7;

/// Steps of progress per move: the callback sees fractions within a move too, the first half
/// while the move is sampled, the second while the path that ends with it is timed. A power of
/// two, so that the fraction at a move's start is k / moves exactly.
inline constexpr std::size_t kProgressPerMove = 1024;
/// Samples between two checks of the progress callback inside a move.
inline constexpr std::size_t kSamplesPerCheck = 4096;

/// Every position given to the audit (targets, tool and work-object frames) lies within this
/// distance (mm) of its frame's origin.
inline constexpr double kMaxPositionMm = 1e7;

/// The lowest programmed speed (mm/s, degrees/s): the timing works with squared speeds.
inline constexpr double kMinSpeed = 1e-6;

/// Throws std::invalid_argument naming the field of the first input the audit cannot take.
void validateInputs(const RobotConfig& robot, const RobJoint& start,
                    std::span<const ProgramMove> moves, const AuditOptions& options);

/// Fractions of a part this close are one place (a kink on a sample of the grid).
inline constexpr double kSameFraction = 1e-9;

/// Events are located until the two probes around them lie this close (mm, degrees).
inline constexpr double kLocateMm = 1e-3;
inline constexpr double kLocateDeg = 1e-3;
/// Bisection steps at most (2^-60 of a move is far below any length that matters).
inline constexpr int kMaxBisections = 60;
/// The widening (degrees) of the limits of the arm that diagnoses joint limits.
inline constexpr double kRelaxedLimitWidening = 90.0;

/// The largest joint difference (degrees) and the joint (0-based) where it lies.
inline std::pair<double, std::size_t> largestStep(const RobJoint& a, const RobJoint& b) {
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

/// \returns the travel of each joint from `from` to `target` (degrees).
std::array<double, 6> travelOf(const RobJoint& from, const RobJoint& target);

/// \returns the first joint (1-based) of `j` outside the limits of `robot`, or 0.
int jointOutsideLimits(const RobotConfig& robot, const RobJoint& j);

/// The conditions that last over stretches of a path, one bit each.
enum Condition : unsigned {
  kUnreachable = 1u << 0,
  kJointLimit = 1u << 1,
  kWrist = 1u << 2,
  kElbow = 1u << 3,
  kShoulder = 1u << 4,
};
inline constexpr std::array<std::pair<Condition, AuditEventKind>, 5> kConditionKinds{{
    {kUnreachable, AuditEventKind::unreachablePathPoint},
    {kJointLimit, AuditEventKind::jointLimit},
    {kWrist, AuditEventKind::wristSingularity},
    {kElbow, AuditEventKind::elbowSingularity},
    {kShoulder, AuditEventKind::shoulderSingularity},
}};

/// \returns the singularity a sample reports for the conditions `c`: the first of its bits.
inline SingularityType singularityOf(unsigned c) {
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
  /// The programmed speeds along the part (mm/s, degrees/s).
  double vTcp{0.0};
  double vOri{0.0};
};

/// The fractions at which a path part is sampled, in order: its start, then a grid of
/// `intervals` steps to its end, with the kink that only rest passes (RestFraction) sampled where
/// it falls between two grid samples, or marking the grid sample it falls on.
class PartWalk {
 public:
  struct Step {
    double fraction{0.0};
    bool atRest{false};
  };

  PartWalk(const PathShape& shape, double f0, double f1, std::size_t intervals)
      : f0_(f0), f1_(f1), intervals_(intervals) {
    const std::optional<double> rest = RestFraction(shape);
    resting_ = rest && *rest > f0 && *rest < f1;
    rest_ = resting_ ? *rest : 0.0;
  }
  bool done() const { return next_ > intervals_; }
  /// The share of the grid sampled.
  double progress() const { return static_cast<double>(next_) / static_cast<double>(intervals_); }
  Step next() {
    if (next_ == 0) {
      next_ = 1;
      return {f0_, false};
    }
    const double f = next_ == intervals_ ? f1_
                                         : f0_ + (f1_ - f0_) * static_cast<double>(next_) /
                                                     static_cast<double>(intervals_);
    if (resting_ && rest_ <= f + kSameFraction) {
      resting_ = false;
      if (rest_ < f - kSameFraction)
        return {rest_, true};  // the grid sample follows
      ++next_;
      return {f, true};
    }
    ++next_;
    return {f, false};
  }

 private:
  double f0_;
  double f1_;
  std::size_t intervals_;
  /// The grid sample to come (0: the start).
  std::size_t next_{0};
  /// The kink that only rest passes, while it is still to come.
  bool resting_{false};
  double rest_{0.0};
};

/// A part of the path being timed, kept so that its samples can be computed again: its shape,
/// where it lies, its sampling and the joints its first sample is solved from.
struct RunPart {
  PathShape shape;
  PathPart part{};
  double f0{0.0};
  double f1{1.0};
  std::size_t intervals{1};
  RobJoint seed{};

  /// \returns the part with its shape.
  PathPart view() const {
    PathPart p = part;
    p.shape = &shape;
    return p;
  }
};

/// A sample of the path being timed, and the part (index in the run) it lies on. What the timing
/// reads of every sample comes first.
struct RunPoint {
  std::size_t part{0};
  bool atRest{false};
  /// The sample repeats the pose of the one before (where two parts meet).
  bool repeats{false};
  PathPoint point{};
};

/// Where the samples of a window of the path being timed are computed again from.
struct RunCheckpoint {
  std::size_t part{0};
  PartWalk walk;
  RobJoint seed{};
  std::size_t firstPoint{0};
};

/// A stretch of samples where the limits keep the tool below its programmed speed, as it grows.
struct ReducedStretch {
  AuditEvent event{};
  double lowestAllowed{1.0};
  std::size_t samples{0};
};

class Auditor {
 public:
  Auditor(const RobotConfig& robot, const AuditOptions& options, AuditReport& report)
      : robot_(robot), relaxed_(robot), options_(options), report_(report), timer_(newTimer()) {
    for (std::size_t i = 0; i < 7; ++i) {
      relaxed_.jointMin[i] -= kRelaxedLimitWidening;
      relaxed_.jointMax[i] += kRelaxedLimitWidening;
    }
    relaxed_.jointCoupling = 0;
    limits_ = {options.maxJointSpeedDeg, options.maxJointAccelerationDeg,
               options.maxTcpAcceleration};
    timer_ = newTimer();
  }

  void run(const RobJoint& start, std::span<const ProgramMove> moves);

 private:
  /// Counts a sample of move `index`; every kSamplesPerCheck samples tells the progress callback
  /// that the move is sampled up to `fraction()` of its path. \returns false once the audit is
  /// cancelled.
  template <typename Fraction>
  bool countSample(std::size_t index, const Fraction& fraction) {
    if (++samplesSinceCheck_ < kSamplesPerCheck)
      return true;
    samplesSinceCheck_ = 0;
    return reportWithin(index, 0, fraction());
  }
  /// Tells the progress callback that `share` of step `half` (0 sampling, 1 timing) of move
  /// `index` is done. \returns false once the audit is cancelled.
  bool reportWithin(std::size_t index, std::size_t half, double share);
  /// Drops what was audited of move `index` and after it (a cancel came while it was audited).
  void dropMovesFrom(std::size_t index);

  // Moves.
  void auditMove(std::size_t index, std::span<const ProgramMove> moves);
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
  /// \returns the sample intervals of a path part of move `index`; throws when there are too
  /// many, naming the move and its length and turn.
  std::size_t intervals(std::size_t index, bool corner, double length, double angleDeg) const;
  double allowedStep(const PathPart& part, double span) const {
    return options_.jumpDeg * span / part.sampleStep;
  }
  std::pair<PathPoint, PathPoint> locateCondition(const PathPart& part, unsigned bit, PathPoint a,
                                                  PathPoint b) const;
  std::pair<PathPoint, PathPoint> locateTransition(const PathPart& part, PathPoint a,
                                                   PathPoint b) const;
  AuditEvent eventAt(const PathPart& part, AuditEventKind kind, const PathPoint& from,
                     const PathPoint& to) const;
  /// Adds a sample of the last part of the run to the path being timed; `walk` and `seed` are
  /// where it was computed from.
  void keepSample(const PathPoint& p, bool atRest, const PartWalk& walk, const RobJoint& seed);
  /// Appends the points `from` to `to` of the path being timed, from the window being sampled.
  void windowPoints(std::size_t from, std::size_t to, std::vector<TimingPoint>& out) const;
  /// \returns an empty timer of the path being timed, with the options' limits.
  PathTimer newTimer() {
    return PathTimer(limits_, options_.timingWindow,
                     [this](std::size_t from, std::size_t to, std::vector<TimingPoint>& out) {
                       windowPoints(from, to, out);
                     });
  }
  /// Samples the whole part anew (without looking for events) into the path being timed.
  void resampleIntoRun(const RunPart& part);
  /// Computes the samples of the path being timed again from the start of window `window`.
  void replayRun(std::size_t window, const PathTimer::Take& take);

  // Timing.
  /// Times the path sampled since the last stop point and closes it.
  void finishRun();
  /// Hands a timed sample to the sample sink, or keeps it in the report.
  void keepTimedSample(const AuditSample& s);
  /// Makes the samples of a joint move of `n` intervals, each timed by the move's profile.
  void sampleJointMove(std::size_t index, const MoveRecord& move, const RobJoint& from,
                       const RobJoint& target, std::size_t n, const JointMoveProfile& profile);
  /// Takes the timing of sample `index` of the path being timed: the move's duration, the
  /// sample, the stretches of reduced speed.
  void takeTiming(std::size_t index, const PointTiming& t);
  void addReducedStretch();

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
  TimingLimits limits_{};
  /// The path from the last stop point: its parts, where its windows start, and the samples of
  /// its last window (or of the window computed again, from `replayFirst_`).
  PathTimer timer_;
  std::vector<RunPart> runParts_{};
  std::vector<RunCheckpoint> checkpoints_{};
  std::vector<RunPoint> window_{};
  std::vector<RunPoint> replayed_{};
  std::size_t replayFirst_{0};
  std::size_t runPoints_{0};
  /// While the path is timed: the start time of the move under way, the sample before, and the
  /// stretch of reduced speed open.
  double moveStart_{0.0};
  double lastTime_{0.0};
  std::size_t lastMove_{0};
  std::optional<ReducedStretch> reduced_{};
  /// The time (s) at the last stop point.
  double programTime_{0.0};
  Progress* progress_{nullptr};
  std::size_t samplesSinceCheck_{0};
  bool cancelled_{false};
};

}  // namespace zor::rob::audit
