#pragma once

// What the batch and reach calls share over the queries of one call on an arm of the
// spherical-wrist closed form: the arm's closed-form description, its limit windows and the free
// joints, made once per call instead of once per query, and the branches of a pose exactly as
// the all-solutions query finds them.

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "detail/kinematics.hpp"
#include "ik/closed_form.hpp"
#include "ik/turns.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::detail {

/// The branches of one pose in degrees; the first `count` are set.
struct PoseBranches {
  std::array<std::array<double, 6>, 8> joints;
  std::size_t count{0};
};

struct ClosedFormQueries {
  const RobotConfig* robot{nullptr};
  ClosedFormArm arm{};
  JointWindows windows{};
  FreeJoints free{};

  /// \returns the queries' set-up for `robot`, or nothing where they must go through
  /// RobotConfig: an arm the closed form does not solve, home joints that are not finite, or
  /// limits the queries reject (they report those themselves).
  static std::optional<ClosedFormQueries> For(const RobotConfig& robot);

  /// The branches of the flange pose (`rotation`, `position`) into `out` (in degrees) and
  /// `base` (in radians), as findAllJointSolutions solves them without a seed.
  void solve(const Mat3& rotation, const Vec3& position, PoseBranches& out,
             BaseSolutions& base) const;

  /// Sets the labelling members of `target` from its rotation and position, as
  /// findAllJointSolutions sets them.
  void setLabelling(QueryPose& target) const;

  /// setLabelling of every target, two at a time.
  void setLabellings(std::span<QueryPose> targets) const;

  /// Throws std::length_error when the limits admit more solutions of `branches` than the
  /// all-solutions list holds, counted as the list counts them before it lists any: only where
  /// some branch has many turns inside, which `fewTurns` tells for each.
  void checkCap(const PoseBranches& branches, const std::array<bool, 8>& fewTurns) const;

  /// \returns the number of solutions inside the limits of each branch of `branches` into
  /// `counts`, and their sum; throws std::length_error beyond the all-solutions list's cap, as
  /// the list does. With `configurations`, only solutions (labelled for `target`) in one of
  /// them count.
  std::size_t countSolutions(const PoseBranches& branches, std::array<std::size_t, 8>& counts,
                             std::span<const ConfData> configurations = {},
                             const QueryPose* target = nullptr) const;

  /// Calls `use(joints)` for the solutions of branch `branch` inside the limits (in one of
  /// `configurations` when not empty, labelled for `target`), those that differ from the previous
  /// one used in joint 6 alone left out.
  template <typename Use>
  void forEachSolutionButTurnsOf6(const std::array<double, 6>& branch,
                                  std::span<const ConfData> configurations, const QueryPose* target,
                                  Use&& use) const {
    const TurnTests tests = turnTestsOf(windows, branch);
    bool used = false;
    if (fewTurns(windows, branch, tests)) {
      forEachTurn(*robot, windows, branch, tests, [&](const RobJoint& j, std::size_t turned) {
        if (turned == 5 && used)
          return;
        used = inConfigurations(j, configurations, target);
        if (used)
          use(j);
      });
      return;
    }
    forEachWideTurn(branchTurnsOf(*robot, windows, branch), [&](const RobJoint& j) {
      if (inConfigurations(j, configurations, target))
        use(j);
    });
  }

  /// \returns whether `joints` count: any when `configurations` is empty, else those whose label
  /// for `target` one of them matches (ConfData::isCriticalEqual).
  bool inConfigurations(const RobJoint& joints, std::span<const ConfData> configurations,
                        const QueryPose* target) const;
};

}  // namespace zor::rob::detail
