#pragma once

// Reach maps and base placement: batch questions over many poses. Where in a volume can the arm
// put its tool, in how many orientations and how far from singularities; and where should the
// arm stand so that a set of targets or a program can be reached.
//
// Both calls split their work into index ranges that can be computed on their own (a map
// computed in ranges and merged equals the whole map), run on several threads with results
// independent of the thread count, and report their progress to a callback that may cancel.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "zor/rob/audit.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/progress.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/targets.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// The largest number of queries (positions times orientations, or candidates times targets)
/// a call accepts unless its options allow more.
inline constexpr std::size_t kMaxReachQueries = 1'000'000'000;

/// The largest thread count the batch calls accept.
inline constexpr unsigned kMaxReachThreads = 256;

/// A box of positions (mm) on a regular grid: min + i·step along each axis for every i with
/// min + i·step ≤ max (within 1e-9 of a step, so that 0 to 1 by 0.1 has 11 points).
struct ZORROB_API ReachBox {
  Pos min{};
  Pos max{};
  double step{0.0};
};

/// The positions of a reach map: a box, or explicit points.
///
/// Cells are numbered with z fastest: cell (ix, iy, iz) of a box is number (ix·ny + iy)·nz + iz,
/// so that the per-position arrays of a map are C-ordered arrays of shape (nx, ny, nz). Explicit
/// points keep their order and have the shape (n, 1, 1).
struct ZORROB_API ReachGrid {
  std::variant<ReachBox, std::vector<Pos>> cells{ReachBox{}};

  /// \returns (nx, ny, nz). Throws std::invalid_argument "reach grid step must be positive and
  /// finite", "reach grid bounds must be finite, the maximum not below the minimum", "reach grid
  /// points must be finite", "reach grid is empty" (no explicit point) or "reach grid has more
  /// than 1000000000000000 positions".
  std::array<std::size_t, 3> shape() const;
  /// \returns the number of positions (the product of the shape; same errors).
  std::size_t size() const;
  /// \returns position `i` (see the numbering above); `i` is not checked.
  Pos point(std::size_t i) const;
};

/// \returns `directions` tool-axis directions spread evenly over the sphere (a Fibonacci
/// lattice: direction k has z = 1 − (2k + 1)/directions and turns by the golden angle
/// π(3 − √5) per k about base z) times `turns` turns about each axis (0, 360/turns, ...
/// degrees), direction-major. Each orientation's z axis is the direction d; at turn 0 its x axis
/// is base z × d normalised (base x where that cross product is shorter than 1e-9), and the
/// turns are right-handed about d. Throws std::invalid_argument "sphere orientations
/// need at least one direction and one turn" for a zero count, and "sphere orientations: too
/// many" above kMaxReachQueries in all.
ZORROB_API std::vector<Orient> SphereOrientations(std::size_t directions, std::size_t turns);

/// What a reach map counts and how it is run.
struct ZORROB_API ReachOptions {
  /// The tool whose centre point is placed at each position and orientation (robot-held; the
  /// positions are in the base frame).
  ToolData tool{};
  /// When not empty, only solutions in one of these configurations count: equal `cfx` and the
  /// quadrants of joints 1, 4 and 6 as ConfData::isCriticalEqual compares them.
  std::vector<ConfData> configurations{};
  /// Keep the position × orientation matrix of solution counts.
  bool keepMatrix{false};
  /// Compute the manipulability of the solutions (the map's best and worst stay 0 otherwise).
  bool manipulability{true};
  /// The range of positions [begin, end) to compute; `end` beyond the grid means its end.
  std::size_t begin{0};
  std::size_t end{static_cast<std::size_t>(-1)};
  /// Threads to run on, the calling one included; 0 for one per processor.
  unsigned threads{1};
  /// Told of the progress (see Progress), on the calling thread only; may cancel.
  ProgressCallback progress{};
  /// Accept more than kMaxReachQueries queries.
  bool allowLarge{false};
};

/// A reach map over a range of a grid's positions. The arrays hold one entry per position of
/// the range [begin, end), in grid order.
struct ZORROB_API ReachMap {
  /// The whole grid's shape (nx, ny, nz).
  std::array<std::size_t, 3> shape{0, 0, 0};
  std::size_t begin{0};
  std::size_t end{0};
  std::size_t orientationCount{0};
  /// How many orientations have at least one solution (in the given configurations).
  std::vector<std::uint32_t> reachable{};
  /// reachable / orientationCount.
  std::vector<double> index{};
  /// Over the reachable orientations, of the best manipulability among each orientation's
  /// solutions (RobotConfig::getManipulability): the largest and the smallest. 0 where no
  /// orientation is reachable.
  std::vector<double> bestManipulability{};
  std::vector<double> worstManipulability{};
  /// With ReachOptions::keepMatrix: the number of solutions (in the given configurations,
  /// 255 for 255 or more) of every position and orientation, position-major:
  /// matrix[(p − begin)·orientationCount + o]. Empty otherwise.
  std::vector<std::uint8_t> matrix{};
  /// True when the progress callback cancelled the map: positions not reached hold zeros.
  bool cancelled{false};

  /// \returns end − begin.
  std::size_t size() const { return end - begin; }
  bool operator==(const ReachMap&) const = default;
};

/// \returns the reach map of `robot` over the positions [options.begin, options.end) of `grid`,
/// with the tool centre point at each position in each of `orientations` (base frame).
///
/// Throws std::invalid_argument with the grid's errors (ReachGrid::shape) and "reach map needs
/// at least one orientation", "reach orientations must be finite and not zero", "reach maps need
/// a robot-held tool", "reach map range lies outside the grid" (begin beyond the end), "thread
/// count must be at most 256", and "reach map of N queries exceeds the cap of 1000000000 (allow
/// large maps to go beyond)" where N is the number of positions of the range times the
/// orientations. The frames' errors (FlangePoseOfTarget) pass through.
ZORROB_API ReachMap ComputeReachMap(const RobotConfig& robot, const ReachGrid& grid,
                                    std::span<const Orient> orientations,
                                    const ReachOptions& options = {});

/// \returns the map of consecutive ranges joined in order: `chunks[k].end` must equal
/// `chunks[k + 1].begin`, with equal shapes, orientation counts and matrix presence. Throws
/// std::invalid_argument "reach map chunks must be consecutive ranges of one grid" otherwise,
/// and "no reach map chunks" for an empty list. Cancelled when any chunk is.
ZORROB_API ReachMap MergeReachMaps(std::span<const ReachMap> chunks);

// ---- Base placement ----

/// A target of a placement: the tool centre point's pose in the world, and optionally the
/// configuration it must be reached in (ConfData::isCriticalEqual).
struct ZORROB_API PlacementTarget {
  Pose pose{};
  std::optional<ConfData> conf{};

  bool operator==(const PlacementTarget&) const = default;
};

/// Candidate base poses on a grid: x and y (mm) from min to max by `step`, and the turn about
/// the world's z axis (degrees) from turnMin to turnMax by turnStep, each like a ReachBox axis.
struct ZORROB_API BaseGrid {
  double xMin{0.0};
  double xMax{0.0};
  double yMin{0.0};
  double yMax{0.0};
  double step{1.0};
  double turnMin{0.0};
  double turnMax{0.0};
  double turnStep{1.0};
};

/// \returns the base poses of `grid`, x slowest, then y, then the turn. Throws
/// std::invalid_argument "base grid steps must be positive and finite", "base grid bounds must
/// be finite, the maximum not below the minimum", or "base grid of N poses exceeds the cap of
/// 1000000000" (N is "over 1e308" where the count is beyond the largest double).
ZORROB_API std::vector<Pose> BaseGridPoses(const BaseGrid& grid);

/// How candidate bases are scored and the work is run.
struct ZORROB_API PlacementOptions {
  /// The tool of the targets (for programs each move's own tool is used).
  ToolData tool{};
  /// The audit of programs (samples are kept whatever this says: the manipulability is taken
  /// along them).
  AuditOptions audit{};
  /// The range of candidates [begin, end) to score; `end` beyond the list means its end.
  std::size_t begin{0};
  std::size_t end{static_cast<std::size_t>(-1)};
  unsigned threads{1};
  ProgressCallback progress{};
  bool allowLarge{false};
};

/// The score of one candidate base and its parts.
struct ZORROB_API PlacementScore {
  /// Index of the candidate in the list given.
  std::size_t candidate{0};
  /// The base pose in the world.
  Pose base{};
  /// Targets (or moves of a program) reached, in their configuration where one is given.
  std::size_t reached{0};
  std::size_t total{0};
  /// reached / total (1 for no targets).
  double share{0.0};
  /// The smallest manipulability over the reached targets (each at its best solution), or
  /// along the program's reachable samples; 0 when none is reached.
  double worstManipulability{0.0};
  /// Programs: the number of audit events, and the audit's duration (seconds). 0 for targets.
  std::size_t events{0};
  double cycleTime{0.0};

  bool operator==(const PlacementScore&) const = default;
};

/// The ranked candidates.
struct ZORROB_API PlacementResult {
  /// Best first: larger share, then fewer events, then larger worst manipulability, then the
  /// shorter cycle time, then the lower candidate index (so the order is total).
  std::vector<PlacementScore> ranked{};
  /// True when the progress callback cancelled: only the candidates scored are ranked.
  bool cancelled{false};

  bool operator==(const PlacementResult&) const = default;
};

/// Sorts `scores` into the ranking order of PlacementResult::ranked; joins chunks of candidates.
ZORROB_API void RankPlacements(std::vector<PlacementScore>& scores);

/// \returns the candidates [options.begin, options.end) of `bases` scored on `targets` and
/// ranked. A target is reached from base B when the pose B⁻¹·target (the target in the base
/// frame) has a solution with `options.tool` (in its configuration where given). Throws
/// std::invalid_argument "no candidate bases", "placement range lies outside the candidates",
/// "thread count must be at most 256", "placement of N queries exceeds the cap of 1000000000
/// (allow large placements to go beyond)"; errors of the frames pass through.
ZORROB_API PlacementResult RankBasePlacements(const RobotConfig& robot,
                                              std::span<const PlacementTarget> targets,
                                              std::span<const Pose> bases,
                                              const PlacementOptions& options = {});

/// \returns the candidates scored on the program `moves`, started from `start` joints, and
/// ranked. From base B every fixed work object's user frame becomes B⁻¹·uframe (and a
/// stationary tool's frame B⁻¹·tframe); joint targets are unchanged. The program is audited
/// (AuditProgram with options.audit): a move counts as reached when the audit says so, events
/// and cycle time are the report's. Errors: those of RankBasePlacements and of AuditProgram.
ZORROB_API PlacementResult RankProgramPlacements(const RobotConfig& robot, const RobJoint& start,
                                                 std::span<const ProgramMove> moves,
                                                 std::span<const Pose> bases,
                                                 const PlacementOptions& options = {});

}  // namespace zor::rob
