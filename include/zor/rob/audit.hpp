#pragma once

// The program audit: follows a program of move records through an arm before it runs and
// reports everything that would stop it (targets out of reach or unreachable in their
// configuration, paths through singularities, configuration changes, joint limits and jumps,
// circles that are not circles, zones that had to shrink) and how long it takes: the time-optimal
// timing of every path under the arm's joint speed and acceleration limits, the programmed
// speeds and a tool acceleration limit.

#include <array>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <span>
#include <variant>
#include <vector>

#include "zor/rob/circle.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/moves.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/progress.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {

/// One instruction of a program: a joint move to a Cartesian target, a linear move, a circular
/// move or a joint move to a joint target.
using ProgramMove = std::variant<MoveJ, MoveL, MoveC, MoveAbsJ>;

/// What can stop a program, or needs its author's attention.
enum class AuditEventKind {
  unreachableTarget = 0,          ///< The target has no joint solution inside the limits.
  noSolutionInConfiguration = 1,  ///< The target is reachable, not in its programmed
                                  ///< configuration.
  unreachablePathPoint = 2,       ///< Points of the path have no joint solution at all.
  configurationChange = 3,        ///< The configuration number (cfx) changes along the path.
  configurationMismatch = 4,      ///< A linear or circular move ends in another configuration
                                  ///< than its target's programmed one.
  wristSingularity = 5,           ///< Joint 5 within the wrist margin of zero.
  elbowSingularity = 6,           ///< Joint 3 within the elbow margin of the stretched forearm.
  shoulderSingularity = 7,        ///< The wrist centre within the shoulder margin of axis 1.
  jointLimit = 8,                 ///< The path would take a joint beyond its limit.
  jointJump = 9,                  ///< The joints jump between neighbouring path points.
  noCircle = 10,                  ///< The three points of a circular move make no circle.
  zoneShrunk = 11,                ///< The zone was shrunk to half of the shorter move.
  speedReduced = 12,              ///< The arm's limits keep the tool below its programmed speed.
};

/// The limit that decides the timing at a sample.
enum class TimingLimit {
  none = 0,               ///< No limit is at its bound (within one grid step of a switch).
  tcpSpeed = 1,           ///< The programmed tool speed (SpeedData::vTcp).
  orientationSpeed = 2,   ///< The programmed reorientation speed (SpeedData::vOri).
  jointSpeed = 3,         ///< A joint's speed limit.
  jointAcceleration = 4,  ///< A joint's acceleration limit.
  tcpAcceleration = 5,    ///< The tool centre point's acceleration limit along its path.
};

/// Writes "none", "tcp speed", "orientation speed", "joint speed", "joint acceleration" or
/// "tcp acceleration"; for any other value writes nothing and sets the stream's failbit.
ZORROB_API std::ostream& operator<<(std::ostream& os, TimingLimit limit);

/// Writes "unreachable target", "no solution in the programmed configuration", "unreachable
/// path point", "configuration change", "configuration mismatch", "wrist singularity", "elbow
/// singularity", "shoulder singularity", "joint limit", "joint jump", "no circle", "zone
/// shrunk" or "speed reduced"; for any other value writes nothing and sets the stream's failbit.
ZORROB_API std::ostream& operator<<(std::ostream& os, AuditEventKind kind);

struct AuditSample;

/// What the audit checks and how finely.
struct ZORROB_API AuditOptions {
  /// The coarsest steps allowed (mm, degrees). The jump threshold is a joint step per sample
  /// step, so at coarser steps an arm's ordinary joint rates would read as jumps, and events
  /// could no longer be located to their tolerance.
  static constexpr double kMaxStepMm = 10.0;
  static constexpr double kMaxStepDeg = 5.0;

  /// Largest distance (mm) of the tool centre point between neighbouring samples. A condition
  /// that holds over less than a step (the last 0.05 mm before the forearm is stretched, with
  /// an elbow margin of 1 degree) can fall between two samples and go unseen.
  double stepMm{1.0};
  /// Largest orientation change (degrees) between neighbouring samples; for joint moves, the
  /// largest change of any joint.
  double stepDeg{1.0};
  /// A step of any joint (degrees) larger than this between neighbouring samples is a jump;
  /// jumps in neighbouring steps make one event. Between samples the threshold scales with
  /// the distance, so a discontinuity is located exactly and a fast but continuous turn where
  /// its rate exceeds jumpDeg per step. Compare it with what the joints move over stepMm.
  double jumpDeg{10.0};
  /// Joint 5 closer than this to zero (degrees) is near the wrist singularity.
  double wristMarginDeg{1.0};
  /// Joint 3 closer than this to its stretched value −elbowOffset (degrees) is near the elbow
  /// singularity.
  double elbowMarginDeg{1.0};
  /// The wrist centre closer than this (mm) to the axis of joint 1 is near the shoulder
  /// singularity.
  double shoulderMarginMm{10.0};
  /// The orientation interpolation of circular moves.
  CircleOriMode circleOriMode{CircleOriMode::cirPoint};
  /// The largest speed of each joint (degrees per second).
  std::array<double, 6> maxJointSpeedDeg{150.0, 150.0, 150.0, 300.0, 300.0, 450.0};
  /// The largest acceleration of each joint (degrees per second squared), deceleration alike.
  /// The defaults bring each joint to its default top speed in a quarter of a second.
  std::array<double, 6> maxJointAccelerationDeg{600.0, 600.0, 600.0, 1200.0, 1200.0, 1800.0};
  /// The largest acceleration of the tool centre point along its path (mm per second squared)
  /// on linear and circular moves and their corners: 1000 mm/s is reached in 0.2 s.
  double maxTcpAcceleration{5000.0};
  /// The samples (about) that the timing of a path between two stop points holds at a time. A
  /// longer path is timed in windows of this many samples, each computed again twice (once for
  /// each pass of the timing), so that memory stays bounded by the window whatever the path's
  /// length, at three times the cost of sampling on such paths. The results do not depend on it.
  /// At least kMinTimingWindow.
  std::size_t timingWindow{std::size_t{1} << 15};
  static constexpr std::size_t kMinTimingWindow = 16;
  /// Keep every sample in the report (for plotting).
  bool keepSamples{false};
  /// With keepSamples, receives every sample in program order, with its timing, instead of
  /// AuditReport::samples (which then stays empty): a program's samples can be streamed to a
  /// file without being held. A sample is handed over once the path it lies on is timed (at the
  /// next stop point; a joint move's once the move is audited), and none is held for it beyond
  /// the timing's window, so memory does not grow with the samples. An exception it throws
  /// leaves the audit.
  std::function<void(const AuditSample&)> sampleSink{};
  /// Told the fraction of the moves audited before each move, and inside a move every few
  /// thousand samples (so that one long move can be stopped too); returning false cancels the
  /// audit, which then returns the moves audited before the one under way in a report marked
  /// partial.
  ProgressCallback progress{};
};

/// One event of a move. Places are given as path fractions (of the programmed move's geometry:
/// 0 at its start, 1 at its target) and arc lengths (mm from the move's start); an event on the
/// blended corner after the move (`corner`) measures both along the corner path instead. Events
/// found between samples are located by bisection to within 1e-3 mm (and 1e-3 degrees of
/// orientation) of where they begin and end.
struct ZORROB_API AuditEvent {
  AuditEventKind kind{AuditEventKind::unreachableTarget};
  /// Index of the move in the program (0-based).
  std::size_t moveIndex{0};
  /// True when the event lies on the blended corner from this move into the next.
  bool corner{false};
  double startFraction{0.0};
  double endFraction{0.0};
  double startArcLength{0.0};
  double endArcLength{0.0};
  /// The joints where the event starts and ends (the nearest reachable ones for an
  /// unreachable stretch; unset when the move has none).
  RobJoint startJoints{};
  RobJoint endJoints{};
  /// The joint concerned, 1 to 6, or 0 when the event concerns no single joint. For
  /// speedReduced, the joint whose limit holds the tool back most (0: the tool's own
  /// acceleration limit).
  int joint{0};
  /// For speedReduced, the lowest share of the programmed speed the tool reaches on the
  /// stretch (0 to 1); 1 for every other kind.
  double speedShare{1.0};

  /// \returns where the event lies: "target" for the kinds found at the move's target
  /// (unreachableTarget, noSolutionInConfiguration, configurationMismatch), else "corner" on the
  /// blended corner after the move or "path" on the move's own path.
  const char* place() const;
};

/// One sample of the audited path.
struct ZORROB_API AuditSample {
  std::size_t moveIndex{0};
  bool corner{false};
  double fraction{0.0};
  double arcLength{0.0};
  /// The tool centre point in the move's object frame.
  Pose tcp{};
  /// The joints (those of the last reachable sample where this one has none).
  RobJoint joints{};
  ConfData conf{};
  /// The first singularity whose margin the sample lies within (wrist, elbow, shoulder).
  SingularityType singularity{SingularityType::none};
  /// False where the point has no joint solution.
  bool reachable{true};

  // The timing at the sample (see AuditProgram).
  /// Seconds from the program's start.
  double time{0.0};
  /// Speed of the tool centre point (mm/s).
  double tcpSpeed{0.0};
  /// The share of the programmed speed reached: the larger of the tool's speed over vTcp and
  /// its reorientation speed over vOri; on joint moves, the path speed over the fastest the
  /// joints allow.
  double speedShare{0.0};
  /// The highest share of the programmed speed the arm's limits allow here (1 where the
  /// programmed speed can be held; acceleration from and to stop points is not counted).
  double allowedShare{1.0};
  /// The joints' speeds (degrees per second) and accelerations (degrees per second squared);
  /// an acceleration holds from this sample to the next (at the last sample, from the one
  /// before).
  std::array<double, 6> jointSpeeds{};
  std::array<double, 6> jointAccelerations{};
  /// The limit at its bound here, and its joint (1 to 6; 0 for limits of the tool).
  TimingLimit limit{TimingLimit::none};
  int limitJoint{0};
};

/// The audit of one move.
struct ZORROB_API MoveAudit {
  MoveType type{MoveType::MoveL};
  /// True when the move's target is reached and its whole path can be followed.
  bool reached{false};
  /// The joints at the move's target (the arm's joints where it stopped when not reached).
  RobJoint endJoints{};
  ConfData endConf{};
  /// Length of the programmed path of the tool centre point (mm); for joint moves, of the path
  /// the joint interpolation takes.
  double pathLength{0.0};
  /// Orientation change of the tool along the programmed path (degrees).
  double orientationChange{0.0};
  /// The time (seconds) from the move's start to its end, the corner after it included; see
  /// AuditProgram.
  double duration{0.0};
  /// The lowest share of the programmed speed that the arm's limits allow anywhere on the move
  /// and its corner (see AuditSample::allowedShare); 1 for joint moves, which have no
  /// programmed path speed.
  double lowestSpeedShare{1.0};
  /// The zone distance (mm) used at the corner into the next move: the programmed pzoneTcp,
  /// or half of the shorter move when that is less; 0 for a stop point or an unblended corner.
  double zoneDistance{0.0};
  std::vector<AuditEvent> events{};
};

/// The audit of a program.
struct ZORROB_API AuditReport {
  std::vector<MoveAudit> moves{};
  /// Every sample in program order when AuditOptions::keepSamples is set and no sampleSink
  /// takes them; empty otherwise.
  std::vector<AuditSample> samples{};
  /// The cycle time: the sum of the moves' durations (seconds).
  double duration{0.0};
  /// True when AuditOptions::progress cancelled the audit: `moves` (and `samples`) then hold
  /// the moves audited before the cancel, and the rest of the program was not audited.
  bool partial{false};

  /// \returns the number of events over all moves, speedReduced included.
  std::size_t eventCount() const;
  /// \returns true when no move has an event that stops the program or needs its author's
  /// attention: every kind but speedReduced, which only tells where the limits slow the tool.
  bool clean() const;
};

/// \returns the audit of `moves` run on `robot` from the joints `start`.
///
/// Semantics:
/// - MoveAbsJ goes to its joint target, MoveJ to the solution of its target in its programmed
///   configuration (through its tool and work object); both interpolate in joint space and are
///   checked at their targets only.
/// - MoveL follows the straight line from where the tool centre point is to its target, the
///   orientation by shortest-path slerp; MoveC the circle (TPCircle) from there through its
///   circle point to its target, the orientation in `options.circleOriMode`. Both are sampled
///   (stepMm, stepDeg) and each sample is solved with the solution nearest to the previous
///   sample's joints. The configuration they end in must match the target's programmed one
///   (ConfData::isCriticalEqual).
/// - A corner between two linear or circular moves with the same tool and work object whose
///   first move's zone is not a stop point is blended: the path leaves the first move at the
///   zone's pzoneTcp before its end and joins the second the same distance after its start, on
///   the quadratic Bézier curve whose control point is the corner, with the orientation
///   slerped in between. When pzoneTcp exceeds half of the shorter move it is shrunk to that
///   (event zoneShrunk). Every other corner is a stop point.
/// - Timing. A joint move (MoveJ, MoveAbsJ) runs its joints in sync along the straight line in
///   joint space from rest to rest: with d the joint travel, the line's parameter is limited
///   to speed V = min_j v_j / |d_j| and acceleration A = min_j a_j / |d_j| (v, a from the
///   options), and it takes the trapezoid 1/V + V/A, or the triangle 2 sqrt(1/A) when
///   1 < V²/A. The programmed tool speed does not limit it.
/// - The linear and circular moves and the blended corners between two stop points are timed
///   as one path: time-optimally, by reachability analysis on the audit's samples (the grid of
///   stepMm and stepDeg). Along it the tool centre point keeps to the programmed vTcp, the
///   reorientation to vOri (a corner keeps the speeds of the move before it), every joint to
///   its speed and acceleration limits, and the tool's acceleration along its path to
///   maxTcpAcceleration. The path starts and ends at rest. A kink of the joint path, which no
///   finite acceleration passes at speed, is passed at rest where it is known exactly: the
///   circle point of a circle in circle-point mode whose rate of turn changes there
///   (TPCircle::getCirPointRateJump), which gets a sample of its own and a speedReduced event
///   with a share of 0. The path does not stop inside a zone except at a kink of a corner:
///   where it meets a move whose orientation turns at another rate, or meets a circle (the
///   corner ends along the chord); there the timing slows as far as its grid resolves. The
///   joint path's derivatives come from finite differences on the grid, so the timing carries
///   a first-order grid error: on random programs at the default 1 mm and 1 degree, all of 100
///   agree with a ten times finer grid within 0.5% (the worst near the wrist singularity and
///   where a joint's speed along the path changes sign).
/// - Where the limits keep the tool below its programmed speed (other than accelerating from
///   and decelerating to a stop), a speedReduced event covers the stretch, with the share of
///   the speed reached and the joint that limits it.
/// - A move whose target cannot be reached leaves the arm where it was; the next move starts
///   there.
///
/// Inputs are checked before anything runs; each error is a std::invalid_argument that names the
/// field as the tool's program file does, with "move N: " in front for a move's own fields:
/// - options: "'options.stepMm' must be a finite number", "... must be positive" (margins:
///   "... must not be negative"; arrays by element, "'options.maxJointSpeedDeg[3]'"),
///   "'options.stepMm' must be at most 10 mm: coarser steps cannot locate events" ("'options.
///   stepDeg' must be at most 5 degrees: ..."), and "'options.timingWindow' must be at least 16";
/// - the arm: "arm: 'jointMin[6]' must not be NaN" (likewise jointMax): a NaN limit would admit
///   or reject every value;
/// - the start joints: "'start[4]' must be a finite number", and "'start[0]' is outside the
///   joint limits: 1e+300 not in -170 .. 170" (for the coupled sum, "'start' is outside the
///   joint limits: joint 2 + joint 3 = 180 not in -170 .. 170"): the audit starts from where
///   the arm can be;
/// - each move: "'joints[i]'", "'to.position[i]'", "'to.orientation[i]'", "'via...'",
///   "'tool.position[i]'", "'wobj.uframe...'", "'wobj.oframe...'" "must be a finite number";
///   "'to.position' must lie within 10000000 mm of its frame's origin" (likewise via, tool and
///   work-object frames); "'speed.tcp'" and "'speed.ori'" "must be a finite number", "must be
///   positive" or "must be at least 1e-06: slower moves cannot be timed" (the timing squares
///   speeds); "'zone.tcp'" (and ori, eax, oriDeg, leax, reax) "must be a finite number" or "must
///   not be negative".
/// While it runs: "move N: its path of L mm and A degrees needs more than 10000000 samples at
/// 'options.stepMm' S and 'options.stepDeg' D" ("move N (corner)" for a corner; 10^7 samples per
/// move or corner at most). Errors of the frames (FlangePoseOfTarget) pass through.
ZORROB_API AuditReport AuditProgram(const RobotConfig& robot, const RobJoint& start,
                                    std::span<const ProgramMove> moves,
                                    const AuditOptions& options = {});

}  // namespace zor::rob
