#pragma once

// The reach of a map's positions on an arm that the spherical-wrist closed form solves, without
// the all-solutions list: a reach query needs to know only how many solutions lie inside the
// limits and, for the map's best and worst, the manipulability of a few of them.
//
// Per query the branches of the closed form are counted turn by turn against the limits, as the
// all-solutions list counts them, without the list itself, its order, or labels (formed only
// where the map counts given configurations). The manipulability
// of a branch is first estimated from its angles: for such an arm |det J| = h1 · |a| |b| ·
// |sin γ| · |sin α|, with h1 the distance of the wrist centre from the plane of axis 1 along
// axis 2 (times |k1 × k2|), |a| |b| the product of the two links normal to axis 2, γ the elbow's
// offset from the stretched arm and α the angle between axes 4 and 6. The exact value
// (RobotConfig::getManipulability through the batch kernel, bit for bit) is then computed only
// where it can decide a position's best or worst: for the orientations whose estimate lies
// within twice the estimate's error bound of the largest or the smallest, and there for the
// branches within it of that orientation's largest. Every other orientation and branch is
// farther than the error allows, so the map's numbers are those of the full computation.

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "batch/closed_form_queries.hpp"
#include "detail/kinematics.hpp"
#include "zor/rob/reach.hpp"

namespace zor::rob::detail {

/// One orientation of one position: its branches and what they give.
struct OrientationReach {
  PoseBranches branches;
  QueryPose target;  ///< The flange pose, labelling members set where configurations count.
  std::array<double, 8> estimates;  ///< The branches' estimated manipulability; −1: none inside.
  std::size_t solutions{0};         ///< Solutions inside the limits, all branches.
  double estimate{-1.0};            ///< The largest estimate of a branch with solutions.
};

/// The working lists of one thread, kept across positions.
struct ClosedFormReachScratch {
  std::vector<OrientationReach> orientations;
  std::vector<RobJoint> joints;
  std::vector<double> manipulability;
};

class ClosedFormReach {
 public:
  /// \returns the reach of `robot` with `options`, or nothing where the general path must run:
  /// another kind of arm, home joints or limits the queries reject.
  static std::optional<ClosedFormReach> For(const RobotConfig& robot,
                                            std::span<const Orient> orientations,
                                            const ReachOptions& options);

  /// Fills cell `cell` of `map` for `position` (and its row of the matrix when kept).
  void fill(const Pos& position, ReachMap& map, std::size_t cell,
            ClosedFormReachScratch& scratch) const;

 private:
  /// A flange orientation: its rotation matrix and where the flange stands from the tool centre
  /// point.
  struct Flange {
    Mat3 rotation;
    Vec3 offset;
  };

  ClosedFormReach(const ClosedFormQueries& queries, const ReachOptions& options)
      : queries_(queries), options_(&options) {}

  void solve(const Flange& flange, const Vec3& tcp, OrientationReach& out) const;
  void estimate(const Vec3& flangePosition, const Mat3& rotation, const BaseSolutions& base,
                OrientationReach& out) const;
  double exactBest(const OrientationReach& o, ClosedFormReachScratch& scratch) const;

  ClosedFormQueries queries_;
  const ReachOptions* options_;
  std::vector<Flange> flanges_;
  /// |a| |b|: the link factor of every estimate.
  double linkProduct_{0.0};
  /// Twice the largest difference between an estimate and the exact value.
  double tolerance_{0.0};
};

}  // namespace zor::rob::detail
