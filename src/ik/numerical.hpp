#pragma once

// The numerical inverse kinematics of any arm: damped least squares (Levenberg–Marquardt) on the
// geometric Jacobian of the flange, from a few seeds.

#include <array>
#include <cstddef>

#include "ik/closed_form.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::detail {

/// Up to this many solutions come from the seeds or the search (a 6R arm has at most 16).
inline constexpr std::size_t kMaxNumericalSolutions = 16;

/// Converged joint solutions (degrees), one per seed that converged, duplicates included.
struct NumericalSolutions {
  std::array<std::array<double, 6>, kMaxNumericalSolutions> solutions{};
  std::size_t count{0};
};

/// Polishes `joints` (degrees) until the flange pose of `robot` reproduces the rotation `r` and
/// the position `p` within 1e-10 mm and 1e-12 rad. \returns false when it does not converge.
bool solveNumerically(const RobotConfig& robot, const Mat3& r, const Vec3& p,
                      std::array<double, 6>& joints);

/// Runs solveNumerically from `seed` (when given) and then from the closed-form branches of the
/// nearby arm when `arm.approximate`, or else (or when those give no branch) from one seed per
/// configuration, and collects the solutions that converged.
void solveFromSeeds(const RobotConfig& robot, const ClosedFormArm& arm, const Mat3& r,
                    const Vec3& p, const RobJoint* seed, const FreeJoints& free,
                    NumericalSolutions& out);

}  // namespace zor::rob::detail
