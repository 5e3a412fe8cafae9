#pragma once

// The complete inverse kinematics of any arm of the library form (joints 2 and 3 parallel, axes
// 5 and 6 meeting) that no closed form covers: a search over joint 4.
//
// Implementation notes. With C the point where axes 5 and 6 meet at home, the target (R, p)
// puts it at Wt = p + R R_Mᵀ (C − m), which joints 5 and 6 do not move. For a value of joint 4,
// C turned by it, C' = e4 C, is a point of link 3, and joints 1 to 3 bring C' to Wt exactly as
// for a spherical wrist: joint 1 from the component along k2 (two solutions), joints 2 and 3 as a
// planar two-link arm (two elbows). Joints 5 and 6 then have to make the remaining rotation
// Rw = (R1 R2 R3 R4)ᵀ R R_Mᵀ, which two turns about k5 and k6 can only when
// k5·(Rw k6) = k5·k6: that difference is the residual of each of the four branches, a function
// of joint 4 alone. Joints 5 and 6 follow from Rw by one turn each.
//
// The residual is sampled at kSearchSamples values of joint 4 over the whole turn. Each branch's
// sign changes are polished by regula falsi (the Illinois variant), and each local minimum of its
// magnitude between samples by a golden-section search, kept when it reaches zero (a root where the
// residual touches zero). Each root's joints are then polished by damped least squares to the usual
// accuracy. Between a branch's end (where its joint 1 or its elbow loses the reach) and the
// sample next to it the branch moves as the square root of the distance to the end, so that
// stretch is sampled anew, kEdgeSamples times evenly in that root. Guarantee: every solution is
// found whose joint 4 lies farther than one sample step (360 / kSearchSamples degrees, or the
// finer step near an end) from the joint 4 of any other solution of the same branch; roots
// closer than that may merge into one or be missed (the tests see this on under 0.1% of random
// poses of a made-up arm, where two branches fold together).

#include <cstddef>

#include "ik/closed_form.hpp"
#include "ik/numerical.hpp"
#include "ik/three_parallel.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::detail {

/// Samples of joint 4 over a turn.
inline constexpr std::size_t kSearchSamples = 720;

/// What the search needs of an arm; `solvable` is false for arms outside the library form.
struct SearchArm {
  bool solvable{false};
  std::array<Vec3, 6> axes{};
  Vec3 shoulderPoint{};  ///< q1.
  Vec3 axis2Point{};     ///< q2.
  Vec3 axis3Point{};     ///< q3.
  Vec3 axis4Point{};     ///< q4.
  Vec3 wristPoint{};     ///< C.
  Mat3 homeRotation{};   ///< R_M.
  Vec3 flangeOrigin{};   ///< m.
  Vec3 axis12Normal{};
  double axis12Cosine{0.0};
  double axis2Sine{0.0};
  Vec3 upperArm{};  ///< (q3 − q2) normal to k2.
  double axis3Sign{1.0};
  double wristCosine{0.0};  ///< k5·k6.
};

/// \returns the description of `robot` for the search.
SearchArm MakeSearchArm(const RobotConfig& robot);

/// Every solution (degrees) of the target (rotation `r`, position `p`) into `out`, at most
/// kMaxNumericalSolutions.
void solveBySearch(const RobotConfig& robot, const SearchArm& arm, const Mat3& r, const Vec3& p,
                   NumericalSolutions& out);

}  // namespace zor::rob::detail
