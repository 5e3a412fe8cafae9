#pragma once

// The audit's timing: the closed form of a synchronised joint move, and the time-optimal
// timing of a sampled path from rest to rest by reachability analysis.

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "zor/rob/audit.hpp"

namespace zor::rob::audit {

/// The arm's limits that the timing honours (degrees, mm, seconds).
struct TimingLimits {
  std::array<double, 6> jointSpeed{};
  std::array<double, 6> jointAcceleration{};
  double tcpAcceleration{0.0};
};

/// The time-optimal profile of a joint move: the line q0 + f·d, f from 0 to 1, at path speed
/// at most `speed` and path acceleration at most `acceleration` (per second, per second
/// squared), from rest to rest.
struct JointMoveProfile {
  std::array<double, 6> travel{};
  /// V = min_j v_j / |d_j| and A = min_j a_j / |d_j|, and the joints (1-based) that set them.
  double speed{0.0};
  double acceleration{0.0};
  int speedJoint{0};
  int accelerationJoint{0};
  /// The top path speed reached: V on a trapezoid, sqrt(A) on a triangle.
  double peakSpeed{0.0};
  double duration{0.0};

  /// \returns the time at which the move reaches fraction f.
  double timeAt(double f) const;
  /// \returns the path speed df/dt and acceleration at fraction f (the acceleration of the
  /// phase that follows f; at f = 1, of the one before).
  double speedAt(double f) const;
  double accelerationAt(double f) const;
  /// \returns the limit at its bound at fraction f, and its joint.
  TimingLimit limitAt(double f) const;
  int limitJointAt(double f) const;
};

/// \returns the profile of the synchronised move by `travel` (degrees); a zero travel takes no
/// time.
JointMoveProfile ProfileOfJointMove(const std::array<double, 6>& travel,
                                    const TimingLimits& limits);

/// One point of a path to time: its joints, its pose and the programmed speeds there.
struct TimingPoint {
  RobJoint joints{};
  Pose tcp{};
  double vTcp{0.0};
  double vOri{0.0};
  /// A kink of the path: the arm passes it at rest.
  bool atRest{false};
};

/// The timing at one point of a path (see AuditSample for the meaning of each field).
struct PointTiming {
  double time{0.0};
  double tcpSpeed{0.0};
  double speedShare{0.0};
  double allowedShare{1.0};
  std::array<double, 6> jointSpeeds{};
  std::array<double, 6> jointAccelerations{};
  TimingLimit limit{TimingLimit::none};
  int limitJoint{0};
  /// The joint (1-based; 0 for the tool) that sets allowedShare where it is below 1.
  int reducingJoint{0};
};

/// \returns the time-optimal timing of the path through `points`, from rest at the first to
/// rest at the last and at every point marked atRest (with an allowedShare of 0 there). A point
/// that repeats its predecessor (no motion) gets its timing.
std::vector<PointTiming> TimePath(std::span<const TimingPoint> points, const TimingLimits& limits);

}  // namespace zor::rob::audit
