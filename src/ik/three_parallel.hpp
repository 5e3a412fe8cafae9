#pragma once

// The closed-form inverse kinematics of an arm whose joints 2, 3 and 4 are parallel, joint 1 not
// parallel to them, joint 5 perpendicular to joint 4 and joint 6 perpendicular to joint 5, with
// the axes of joints 5 and 6 meeting (the wrist offset along axis 5 and sideways along axis 4 is
// free: the usual collaborative arm).
//
// Implementation notes. With k the direction of axes 2 to 4, Rot(k, θ) the rotation about k, qi a
// point on axis i, C the point where axes 5 and 6 meet at home and (R_M, m) the flange home pose,
// the target (R, p) gives:
// 1. Joint 1: joints 2, 3 and 4 move C within its plane normal to k, and joints 5 and 6 do not
//    move it, so the target's C, Wt = p + R R_Mᵀ (C − m), turned back by θ1 about axis 1 has
//    C's component along k: the same equation A cos θ1 + B sin θ1 = c as the spherical wrist's
//    joint 1, two solutions.
// 2. Joint 5: the planar joints turn about k, so kᵀ R1ᵀ R R_Mᵀ = kᵀ R5 R6, that is
//    g = R_M Rᵀ R1 k = R6ᵀ R5ᵀ k. The angle between k6 and g is then the angle between R5 k6 and
//    k, which is |θ5 − θ0| with θ0 the turn about k5 that brings k6 onto k (k5 is normal to k and
//    to k6): θ5 = θ0 ± α, α the angle between k6 and g, computed from its sine and cosine so that
//    it stays accurate near zero.
// 3. Joint 6 turns g onto f = R5ᵀ k about k6; where sin α vanishes (the wrist singularity) joint
//    6 is free and keeps the seed's value.
// 4. The planar sum φ = θ2 + θ3' + θ4' (primes: the joint values signed by their axis's direction
//    along k) from Rot(k, φ) = R1ᵀ R R_Mᵀ R6ᵀ R5ᵀ applied to a vector normal to k.
// 5. Joints 2 and 3: the point q4 of axis 4 goes where the target puts it once joints 5 and 6
//    are undone; joints 2 and 3 bring it there as a planar two-link arm (law of cosines, two
//    elbows), and joint 4 closes the sum φ.
// The acos arguments of joint 1 and of the elbow are tested against the reach and snapped to ±1
// as in the spherical-wrist closed form, so rounding never gives NaN and coinciding branches
// come out once.

#include <array>
#include <cmath>

#include "ik/closed_form.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::detail {

/// \returns Rot(k, θ) v for the unit axis k and the unit direction d = (cos θ, sin θ).
inline Vec3 rotate(const Vec3& k, const CosSin& d, const Vec3& v) {
  return v * d.c + k.cross(v) * d.s + k * (k.dot(v) * (1.0 - d.c));
}

/// \returns Rot(k, −θ) v.
inline Vec3 rotateBack(const Vec3& k, const CosSin& d, const Vec3& v) {
  return rotate(k, {d.c, -d.s}, v);
}

/// \returns the angle (radians) of the turn about the unit axis k from `from` to `to`, both
/// taken by their parts normal to k. The parts are formed first: near k they are short, and
/// their dot and cross products would otherwise be lost as the difference of values near 1.
inline double turnAbout(const Vec3& k, const Vec3& from, const Vec3& to) {
  const Vec3 a = normalPart(from, k);
  const Vec3 b = normalPart(to, k);
  return std::atan2(k.dot(a.cross(b)), a.dot(b));
}

/// What the closed form of the three-parallel-axes family needs of an arm, computed once from
/// its axes, points and flange home pose; `solvable` is false for every other arm.
struct ThreeParallelArm {
  bool solvable{false};
  std::array<Vec3, 6> axes{};  ///< Unit joint axes at home; axes[1] is k.
  Vec3 shoulderPoint{};        ///< q1.
  Vec3 axis2Point{};           ///< q2.
  Vec3 axis4Point{};           ///< q4.
  Vec3 axis5Point{};           ///< C, where axes 5 and 6 meet.
  Mat3 homeRotation{};         ///< R_M.
  Vec3 flangeOrigin{};         ///< m.
  Vec3 normalToK{};            ///< A unit vector normal to k, for the planar sum.
  // Joint 1, as ClosedFormArm's.
  Vec3 axis12Normal{};          ///< k1 × k.
  double axis12Cosine{0.0};     ///< k1·k.
  double wristAlongAxis2{0.0};  ///< k·(C − q1).
  double axis2Sine{0.0};        ///< |k1 × k|.
  // Joints 2 and 3, as ClosedFormArm's, with q4 in place of the wrist centre.
  Vec3 upperArm{};
  Vec3 forearm{};
  Vec3 forearmNormal{};
  double linkCosine{0.0};
  double linkSine{0.0};
  double linkProduct{0.0};
  double linkSquares{0.0};
  double axis3Sign{1.0};  ///< k3·k: ±1.
  double axis4Sign{1.0};  ///< k4·k: ±1.
  double wristZero{0.0};  ///< θ0 (radians).
};

/// \returns the description of `robot` for solveThreeParallel, `solvable` false unless it belongs
/// to the family (axes within 1e-12 of parallel or perpendicular, axes 5 and 6 within 1e-10 mm
/// of meeting, axes 1 and 2 at least 1e-3 from parallel in the sine, links of 1e-3 mm or more).
ThreeParallelArm MakeThreeParallelArm(const RobotConfig& robot);

/// Solves the target (rotation `r`, position `p`) into `out` (up to 8 solutions, radians, each
/// within (−π, π]), the free joints at `free`'s values: joint 1 on the shoulder singularity,
/// joint 2 when q4 lies on axis 2, joint 6 on the wrist singularity.
void solveThreeParallel(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                        const FreeJoints& free, BaseSolutions& out);

}  // namespace zor::rob::detail
