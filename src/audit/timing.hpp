#pragma once

// The audit's timing: the closed form of a synchronised joint move, and the time-optimal
// timing of a sampled path from rest to rest by reachability analysis.

#include <array>
#include <cstddef>
#include <functional>
#include <limits>
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

/// The channels differentiated along a timed path: six joints, the arc length, the orientation.
inline constexpr std::size_t kTimingChannels = 8;

/// One unique point of a timed path with its derivatives along its parameter σ.
struct TimingNode {
  double sigma{0.0};
  std::array<double, kTimingChannels> value{};
  std::array<double, kTimingChannels> d1{};
  std::array<double, kTimingChannels> d2{};
  double vTcp{0.0};
  double vOri{0.0};
  /// The speed bound on the squared path speed and what sets it; the programmed part of it.
  double speedCap{std::numeric_limits<double>::infinity()};
  TimingLimit speedLimit{TimingLimit::none};
  int speedJoint{0};
  double programmedCap{std::numeric_limits<double>::infinity()};
  /// A kink: the path is followed through it at rest.
  bool atRest{false};
};

/// Turns the points of a path into its nodes, one point at a time: a point that repeats the one
/// before (no motion) joins its node.
struct NodeBuilder {
  /// Arc length, orientation change and σ up to the last point.
  double length{0.0};
  double angle{0.0};
  double sigma{0.0};
  Pose previous{};
  std::size_t points{0};
  std::size_t nodes{0};

  /// Adds `p` to `out`, whose last element is the node of the point before. \returns true when
  /// `p` begins a node of its own.
  bool add(const TimingPoint& p, std::vector<TimingNode>& out);
};

/// Derivatives and speed caps of the nodes of a window of a path: `nodes[0]` is node `first` of
/// `n`. A node at an end of the window that is not an end of the path lacks a neighbour and is
/// left without (it only serves as the neighbour of the next).
void PrepareNodes(std::vector<TimingNode>& nodes, std::size_t first, std::size_t n,
                  const TimingLimits& limits);

/// \returns the controllable bounds (the largest squared path speeds from which the rest of the
/// path can still be followed to rest) of the nodes `from` to `top` of a window (`nodes[0]` is
/// node `first`), from `hiTop` at `top` backward; indexed from `from`.
std::vector<double> ControllableBounds(const std::vector<TimingNode>& nodes, std::size_t first,
                                       std::size_t from, std::size_t top, double hiTop,
                                       const TimingLimits& limits);

/// What the forward pass carries from one window into the next: the squared path speed and the
/// time at the next node, and the last step's acceleration and limit (the path's last node
/// takes them).
struct TimingCarry {
  double b{0.0};
  double time{0.0};
  double acceleration{0.0};
  TimingLimit limit{TimingLimit::none};
  int limitJoint{0};
};

/// Receives the timing of node `k`, in order.
using NodeTimings = std::function<void(std::size_t k, const PointTiming& timing)>;

/// Times the nodes `from` to `to` (exclusive) of a window of a path of `n` nodes, from the
/// carried state (rest at the path's start), taking the largest acceleration that keeps the path
/// controllable (`hi`, indexed from `from`), and hands each node's timing to `out`.
void TimeNodes(const std::vector<TimingNode>& nodes, std::size_t first, std::size_t from,
               std::size_t to, std::size_t n, const std::vector<double>& hi,
               const TimingLimits& limits, TimingCarry& carry, const NodeTimings& out);

/// The time-optimal timing of a path from rest at its first point to rest at its last and at
/// every point marked atRest (with an allowedShare of 0 there); a point that repeats its
/// predecessor gets its timing.
///
/// The points are counted one by one as the path is sampled. The timing needs all of them twice,
/// backward and then forward, so a long path would be held whole; instead the nodes are held in
/// windows of `windowNodes`: when a path outgrows its window, the window's start is kept (a few
/// numbers) and its nodes are dropped, and finish() asks for the points of each earlier window
/// again, twice. Every number is computed by the same operations in the same order either way,
/// so the timing does not depend on the window.
///
/// The points of the window being sampled are the caller's: the timer asks for them (Points) when
/// it makes their nodes, all at once where it can. A window cannot open before its predecessor
/// has as many points as a window has nodes, so until then the points are only counted; a path
/// shorter than one window is made nodes only when it is timed, in one pass.
class PathTimer {
 public:
  /// Appends the points `from` to `to` (exclusive) of the path, as add() numbered them, to `out`;
  /// asked only for the points from the last that opened a window on.
  using Points =
      std::function<void(std::size_t from, std::size_t to, std::vector<TimingPoint>& out)>;
  /// Takes the points of the path from the start of a window on, in order, until it returns false.
  using Take = std::function<bool(const TimingPoint&)>;
  /// Hands the points from the start of window `window` (as add() numbered them) to `take`.
  using Replay = std::function<void(std::size_t window, const Take& take)>;
  /// Receives the timing of point `index` (from 0), in order.
  using Emit = std::function<void(std::size_t index, const PointTiming& timing)>;

  PathTimer(const TimingLimits& limits, std::size_t windowNodes, Points points);

  /// Counts the next point of the path, which `points` gives from now on. \returns true when it
  /// opens a window (the points before it are no longer asked for): the first point, and each
  /// that begins a node after windowNodes nodes of the window before.
  bool add() {
    // A window holds at least as many points as nodes: until its predecessor has windowNodes
    // points, no point opens one.
    if (!windows_.empty() && points_ - windows_.back().firstPoint < windowNodes_) {
      ++points_;
      return false;
    }
    return addNearWindowEnd();
  }
  /// Told the share of the backward pass done before each window is read again; false cancels.
  using GoOn = std::function<bool(double share)>;

  /// Times the path and emits every point's timing; `replay` is asked only for windows before the
  /// last. The timer is then empty. \returns false, having emitted nothing, when `goOn` cancels.
  bool finish(const Replay& replay, const Emit& emit, const GoOn& goOn);
  bool empty() const { return points_ == 0; }

 private:
  /// Where a window starts: the builder before its first point, the two nodes before its first
  /// node (for the derivatives there), and the controllable bound at its first node.
  struct Window {
    NodeBuilder start{};
    std::array<TimingNode, 2> before{};
    std::size_t firstNode{0};
    std::size_t firstPoint{0};
    double hiStart{0.0};
  };
  /// The nodes of a window with their neighbours, and the node of each of its points.
  struct Span {
    std::vector<TimingNode> nodes{};
    /// The index in the path of nodes[0].
    std::size_t first{0};
    std::vector<std::size_t> nodeOf{};
  };

  /// add() for a point that may open a window: its own node made, and those of the points before.
  bool addNearWindowEnd();
  /// Makes nodes of the points counted up to `end` (exclusive).
  void build(std::size_t end);
  Span replayWindow(std::size_t w, const Replay& replay) const;
  std::size_t endNode(std::size_t w) const;
  std::size_t endPoint(std::size_t w) const;
  void finishWhole(const Emit& emit);
  void clear();

  TimingLimits limits_;
  std::size_t windowNodes_;
  Points pointsOf_;
  /// The points counted; the builder has made nodes of the first builder_.points of them.
  std::size_t points_{0};
  /// The points being made nodes, a chunk at a time.
  std::vector<TimingPoint> chunk_{};
  NodeBuilder builder_{};
  std::vector<Window> windows_{};
  /// The last window: its nodes (from two before its first) and its points' nodes.
  Span last_{};
};

}  // namespace zor::rob::audit
