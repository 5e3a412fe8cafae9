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
// Everything of a sample that depends on joint 4 alone (C', its height along k2, the forearm in
// the plane of joints 2 and 3, k5 turned by joint 4) is computed once per arm, at
// kSearchSamples values of joint 4 evenly over the turn; a pose then costs one joint-1 root, two
// elbow roots and a few dot products per sample for all four branches, with no sine or cosine.
//
// Where joint 1 stops reaching the target, the two joint-1 branches meet and move as the square
// root of the distance to that end; those ends are where the height of C' along k2, a sinusoid
// in joint 4, meets the target's reach, found in closed form. Each piece between a sample and
// such an end is sampled anew kEndSamples times, evenly in that square root. The elbow's ends
// (where the two elbows of one joint-1 branch meet) are found by regula falsi on how far the
// branch lies beyond its reach, and the stretch beside each is sampled alike.
//
// Between two samples of a branch the residual is taken to bend no more than four times what
// the second differences of the samples around them show; near an end (where the elbow's or
// joint 1's offset angle is below about 0.06 rad) also by no more than four times that angle.
// An interval whose residual keeps its sign is then free of roots when both ends lie farther
// from zero than that bend allows; others are halved, the bend estimated again from the new
// midpoint, down to 1e-5 rad, where a golden-section minimisation decides whether the residual
// crosses zero there. The same test on how far the branch lies beyond its reach finds a gap in a
// branch (or an island of one) that falls between two samples. Sign changes are polished by the
// Illinois variant of regula falsi, which never leaves its bracket, until the residual is below
// 1e-15; the other joints then follow in closed form, and damped least squares only confirms
// them (and polishes a root where the residual merely touches zero).
//
// Guarantee: under that bound on the bend, every solution is found whose joint 4 differs from
// that of any other solution of its branch by more than kMergeSeparation; two solutions closer
// than that may come out as one (the dip of the residual between them is then shallower than its
// rounding). Solutions on different branches, or at the end of a branch, never merge unless all
// their joints agree within 1e-7 degrees. The bound fails, and a solution may be missed, only
// where the residual turns sharply between samples, near a singularity: on the test arms, of
// 1.8 · 10^5 random poses each, only poses whose Jacobian's smallest singular value lay below
// 0.004 (radians and mm) lost a solution.

#include <array>
#include <cstddef>

#include "ik/closed_form.hpp"
#include "ik/numerical.hpp"
#include "ik/three_parallel.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::detail {

/// Samples of joint 4 over a turn.
inline constexpr std::size_t kSearchSamples = 64;
/// Two solutions of one branch whose joint 4 values (radians) lie closer than this may merge.
inline constexpr double kMergeSeparation = 1e-6;

/// What a sample needs of joint 4's value θ4, the same for every pose.
struct SearchSample {
  double theta{0.0};
  CosSin dir4{};
  double along2{0.0};              ///< k2·(C' − q1).
  std::array<double, 2> fore{};    ///< (C' − q3) normal to k2, in the plane's basis.
  double foreSquared{0.0};         ///< |fore|².
  double linkCosine{0.0};          ///< upper·fore.
  double linkSine{0.0};            ///< upper·(k2 × fore).
  double inverseLinkProduct{0.0};  ///< 1 / (|upper| |fore|).
  Vec3 axis5{};                    ///< k5 turned by θ4 about k4.
  double axis5Along2{0.0};         ///< axis5·k2.
  Vec3 axis5Cross2{};              ///< axis5 × k2.
};

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
  Vec3 planeX{};  ///< A unit vector normal to k2; with planeY = k2 × planeX the plane's basis.
  Vec3 planeY{};
  std::array<double, 2> upperArm{};  ///< (q3 − q2) normal to k2, in the plane's basis.
  double upperSquared{0.0};
  double axis3Sign{1.0};
  double wristCosine{0.0};  ///< k5·k6.
  /// k2·(C' − q1) = A0 + Ac cos θ4 + As sin θ4: (A0, Ac, As).
  std::array<double, 3> along2Terms{};
  std::array<SearchSample, kSearchSamples> samples{};
};

/// \returns the description of `robot` for the search.
SearchArm MakeSearchArm(const RobotConfig& robot);

/// \returns the sample of joint 4 = `theta4` (radians) of `arm`.
SearchSample searchSampleAt(const SearchArm& arm, double theta4);

/// Every solution (degrees) of the target (rotation `r`, position `p`) into `out`, at most
/// kMaxNumericalSolutions.
void solveBySearch(const RobotConfig& robot, const SearchArm& arm, const Mat3& r, const Vec3& p,
                   NumericalSolutions& out);

}  // namespace zor::rob::detail
