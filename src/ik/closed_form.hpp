#pragma once

// The closed-form inverse kinematics of an arm whose joints 2 and 3 are parallel (and not
// parallel to joint 1) and whose wrist is spherical, in product-of-exponentials form.
//
// Implementation notes. With Rot(k, θ) the rotation about the unit axis k, qi a point on axis i,
// W the wrist centre at home (where the axes of joints 4, 5 and 6 meet) and M the flange home
// pose, the target (R, p) puts the wrist centre at Wt = p + R · M⁻¹W, which joints 4 to 6 do
// not move. Three canonical subproblems remain:
// 1. Joint 1: joints 2 and 3 keep the component of the wrist centre along k2, so turning Wt
//    back by θ1 about axis 1 must give it that component again: A cos θ1 + B sin θ1 = c, two
//    solutions β ± γ with β = atan2(B, A) and γ = acos(c / √(A² + B²)).
// 2. Joints 2 and 3: in the plane normal to k2 they form a planar two-link arm; the distance
//    from axis 2 to the wrist centre gives the elbow angle by the law of cosines (two
//    solutions), the direction then gives joint 2.
// 3. The wrist: Rot(k4, θ4) Rot(k5, θ5) Rot(k6, θ6) = Rw = (R1 R2 R3)ᵀ R Mᵀ. With k5 normal to
//    k4 and k6, the angle between k4 and Rw k6 is |θ5 − θ0| (θ0 the turn about k5 that brings
//    k6 onto k4): two solutions, the second being (θ4 + π, θ0 − α, θ6 + π) of the first. Joint 4
//    brings Rot(k5, θ5) k6 onto Rw k6, and joint 6 takes the rest, computed from the chosen
//    joints 4 and 5 so that the three always compose to Rw, even where joint 4 is poorly
//    determined near the wrist singularity.
// Every acos argument is first tested against the reach (beyond 1 + kReachTolerance there is
// no solution) and then snapped to ±1 within kReachTolerance, so rounding never yields NaN and
// a stretched elbow yields one solution, not two a few 1e-7 rad apart.
//
// Speed: no angle is formed until the end. Each subproblem hands on the sine and cosine of its
// solutions, formed from its own terms (cos(β ± γ) and sin(β ± γ) as (A c ∓ B h, B c ± A h) / ρ²
// with h = √(ρ² − c²), the direction of a turn from its dot and cross products), which the next
// subproblem needs instead of the angle; the twenty-odd angles of a pose then come from one
// vectorised atan2 (atan2.hpp). A query waits mostly on the chain of roots and divisions from
// joint 1 to the wrist, so the code keeps them off it where it can: a root and a division that
// do not wait on each other, a division known before the elbow, a direction left unnormalised
// where only its angle is needed.
//
// Nothing here assumes the home posture of the builders: home may bend the arm anyhow, axes may
// point either way, and the flange frame may be any frame.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <initializer_list>

#include "detail/kinematics.hpp"
#include "ik/atan2.hpp"
#include "ik/lanes.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::detail {

/// The direction (cos θ, sin θ) of an angle θ, or of any length when so documented. The closed
/// form works with these and turns them into angles only at the end, all at once.
struct CosSin {
  double c{1.0};
  double s{0.0};

  /// \returns the unit direction; (1, 0) for a zero one.
  CosSin normalized() const {
    const double n = std::sqrt(c * c + s * s);
    return n > 0.0 ? CosSin{c / n, s / n} : CosSin{};
  }
};

/// What the closed form needs of an arm, computed once from its axes, points and flange home
/// pose. `solvable` is false for any arm the closed form does not cover; `approximate` is true
/// also for an arm whose axes 2 and 3 are nearly parallel (within 0.2 in the sine), whose axis 5
/// is nearly perpendicular to axes 4 and 6, and whose wrist axes need not meet: its closed form,
/// with those deviations ignored (the wrist centre taken where axes 4 and 5 come nearest), then
/// gives the seeds of the numerical path.
struct ClosedFormArm {
  bool solvable{false};
  bool approximate{false};
  std::array<Vec3, 6> axes{};  ///< Unit joint axes at home.
  Vec3 shoulderPoint{};        ///< A point on axis 1.
  Vec3 axis2Point{};           ///< A point on axis 2.
  Vec3 wristInFlange{};        ///< The wrist centre in the flange frame, M⁻¹ W.
  Vec3 axis5InFlange{};        ///< Axis 5 in the flange frame at home.
  Vec3 axis6InFlange{};        ///< Axis 6 in the flange frame at home.
  // Joint 1: A = k2·u − (k1·k2)(k1·u), B = u·(k1 × k2), c = d2 − (k1·k2)(k1·u) for the wrist
  // centre u relative to q1.
  Vec3 axis12Normal{};          ///< k1 × k2.
  double axis12Cosine{0.0};     ///< k1·k2.
  double wristAlongAxis2{0.0};  ///< d2 = k2·(W − q1).
  double axis2Sine{0.0};        ///< |k1 × k2|: √(A² + B²) = |k1 × k2| · distance to axis 1.
  // Joints 2 and 3 in the plane normal to k2: a = (q3 − q2)⊥, b = (W − q3)⊥.
  Vec3 upperArm{};          ///< a.
  Vec3 forearm{};           ///< b.
  double linkCosine{0.0};   ///< a·b.
  double linkSine{0.0};     ///< a·(k2 × b).
  double linkProduct{0.0};  ///< |a| |b| = √((a·b)² + (a·(k2 × b))²).
  double linkSquares{0.0};  ///< |a|² + |b|².
  double linkAngle{0.0};    ///< atan2(a·(k2 × b), a·b) (radians): the elbow angle is this ± γ.
  Vec3 forearmNormal{};     ///< k2 × b.
  double axis3Sign{1.0};    ///< k3·k2: ±1.
  // The wrist.
  double wristZero{0.0};        ///< θ0: the turn about k5 that brings k6 onto k4 (radians).
  CosSin wristZeroDirection{};  ///< (cos θ0, sin θ0).
  Vec3 axis54Normal{};          ///< k5 × k4: with k4 and k5 a right-handed frame.
  Vec3 axis65Normal{};          ///< k6 × k5: with k5 and k6 a right-handed frame.
};

/// The joint values of one solution before turns and limits, in radians, with the free joints
/// already set.
using BaseSolution = std::array<double, 6>;

/// Up to 8 solutions of the closed form; only the first `count` are set (the rest is left
/// uninitialised: zeroing it took a noticeable part of a query).
struct BaseSolutions {
  std::array<BaseSolution, 8> solutions;
  std::size_t count{0};
};

/// The values (radians) the free joints take at a singularity: joint 1 on the shoulder
/// singularity, joint 2 when the wrist centre lies on axis 2, joint 4 on the wrist singularity
/// of a spherical wrist, joint 6 on that of the three-parallel-axes family.
struct FreeJoints {
  double joint1{0.0};
  double joint2{0.0};
  double joint4{0.0};
  double joint6{0.0};
};

/// Largest excess of an acos argument over 1 in magnitude that still counts as reachable; it is
/// snapped to ±1, as is an argument within this of ±1 inside the reach. The pose moves by at
/// most about this times the link length (1e-10 mm for a 1 m link).
inline constexpr double kReachTolerance = 1e-13;
/// Below this distance (mm) from axis 1, times |k1 × k2|, the wrist centre stands on axis 1
/// (shoulder singularity) and joint 1 is free; below it from axis 2 joint 2 is free.
inline constexpr double kAxisDistanceTolerance = 1e-10;
/// Below this sine of the angle between axis 4 and the turned axis 6, the wrist is singular and
/// joint 4 is free; the pose then moves by at most about this angle (radians).
inline constexpr double kWristSingularSine = 1e-13;

/// The directions of the angles β + γ and β − γ, where (A, B) = ρ (cos β, sin β) and
/// cos γ = c / ρ, into `out` (one when they coincide), and the direction of γ within [0, π], of
/// any length, into `offset`; \returns how many: 0 when |c| > ρ (1 + kReachTolerance). With a
/// positive `seedSpread` (radians) it seeds instead: always two, γ clamped into
/// [seedSpread, π − seedSpread], so that a pose just beyond the reach of a nearby arm still seeds
/// both branches of the true one.
inline std::size_t solveCosSin(double a, double b, double c, double rho, std::array<CosSin, 2>& out,
                               CosSin& offset, double seedSpread = 0.0) {
  const double ratio = c / rho;
  double cosOffset = ratio;
  std::size_t count = 2;
  if (seedSpread > 0.0) {
    if (std::isnan(ratio))
      return 0;
    const double widest = std::cos(seedSpread);
    cosOffset = std::clamp(ratio, -widest, widest);
  } else {
    if (!(std::abs(ratio) <= 1.0 + kReachTolerance))
      return 0;
    if (std::abs(ratio) >= 1.0 - kReachTolerance) {
      cosOffset = ratio > 0.0 ? 1.0 : -1.0;
      count = 1;
    }
  }
  if (count == 2 && !(seedSpread > 0.0)) [[likely]] {
    // The same directions as below, (a c ∓ b h, b c ± a h) / ρ² with h = ρ sin γ = √(ρ² − c²),
    // one root and one division that do not wait on each other: this chain of roots and
    // divisions is what a query waits on. The reach tests above leave ρ² − c² ≥ 2e-13 ρ².
    const double rr = a * a + b * b;
    const double h = std::sqrt(rr - c * c);
    const double inverse = 1.0 / rr;
    out[0] = {(a * c - b * h) * inverse, (b * c + a * h) * inverse};
    out[1] = {(a * c + b * h) * inverse, (b * c - a * h) * inverse};
    offset = {c, h};
    return count;
  }
  const double sinOffset = std::sqrt((1.0 - cosOffset) * (1.0 + cosOffset));
  offset = {cosOffset, sinOffset};
  const CosSin base = rho > 0.0 ? CosSin{a / rho, b / rho} : CosSin{};
  out[0] = {base.c * cosOffset - base.s * sinOffset, base.s * cosOffset + base.c * sinOffset};
  out[1] = {base.c * cosOffset + base.s * sinOffset, base.s * cosOffset - base.c * sinOffset};
  return count;
}

/// The angles of one pose's closed form as (y, x) pairs of atan2, evaluated all at once: joint 1
/// and the elbow offset γ (two each, one per joint-1 branch), then per arm branch
/// b = 2 · (elbow branch) + (joint-1 branch): joint 2, the wrist angle α, joint 4 and joint 6 of
/// its first wrist branch. The two joint-1 branches of one elbow branch sit side by side, as they
/// are computed.
struct ClosedFormAngles {
  static constexpr std::size_t kJoint1 = 0;
  static constexpr std::size_t kElbowOffset = 2;
  static constexpr std::size_t kJoint2 = 4;
  static constexpr std::size_t kWrist = 8;
  static constexpr std::size_t kJoint4 = 12;
  static constexpr std::size_t kJoint6 = 16;
  static constexpr std::size_t kCount = 20;

  // Left uninitialised: solveClosedForm sets every slot before the atan2.
  std::array<double, kCount> y;
  std::array<double, kCount> x;

  /// Sets the slots `first` and `first` + 1 from the two lanes of `d`; (0, 1) where `valid` is
  /// not set, so that the unused lanes stay finite.
  [[gnu::always_inline]] void set(std::size_t first, const CosSin2& d, Mask2 valid) {
    const Double2 dy = select(valid, d.s, splat(0.0));
    const Double2 dx = select(valid, d.c, splat(1.0));
    y[first] = dy[0];
    y[first + 1] = dy[1];
    x[first] = dx[0];
    x[first + 1] = dx[1];
  }
};

/// \returns θ − π for a positive θ, θ + π otherwise: within (−π, π] for θ within [−π, π].
/// Without a branch: the sign of a joint is as likely one way as the other.
inline double halfTurnFrom(double theta) {
  return theta + kPi * (1.0 - 2.0 * oneIf(theta > 0.0));
}

/// \returns the unit direction per lane; (1, 0) for a zero one.
[[gnu::always_inline]] inline CosSin2 normalized(const CosSin2& d) {
  const Double2 n = sqrt(d.c * d.c + d.s * d.s);
  const Mask2 zero = n == 0.0;
  const Double2 inverse = 1.0 / select(zero, splat(1.0), n);
  return {select(zero, splat(1.0), d.c * inverse), d.s * inverse};
}

/// \returns (cos, sin) of `angle` in both lanes.
inline CosSin2 directionOf(double angle) {
  return {splat(std::cos(angle)), splat(std::sin(angle))};
}

/// Joint 1 for the wrist centre at `u` from the shoulder point: the turns about k1 that bring it
/// into reach of the plane normal to k2 through the wrist's offset along k2, as (cos, sin) in
/// `directions`; on the shoulder singularity (`shoulderSingular` set), those of `freeAngles`.
/// \returns how many there are. (Outputs by reference: a returned struct costs the closed form
/// about 4 % here, as it is not kept in registers.)
template <typename Arm>
[[gnu::always_inline]] inline std::size_t solveJoint1(const Arm& arm, const Vec3& u,
                                                      double seedSpread,
                                                      const std::array<double, 2>& freeAngles,
                                                      std::array<CosSin, 2>& directions,
                                                      bool& shoulderSingular) {
  const Vec3& k1 = arm.axes[0];
  const Vec3& k2 = arm.axes[1];
  const double along1 = k1.dot(u);
  const double a1 = k2.dot(u) - arm.axis12Cosine * along1;
  const double b1 = u.dot(arm.axis12Normal);
  const double c1 = arm.wristAlongAxis2 - arm.axis12Cosine * along1;
  const double rho1 = std::sqrt(a1 * a1 + b1 * b1);
  shoulderSingular = rho1 < kAxisDistanceTolerance * arm.axis2Sine &&
                     std::abs(c1) < kAxisDistanceTolerance * arm.axis2Sine;
  if (shoulderSingular) {
    for (std::size_t i1 = 0; i1 < 2; ++i1)
      directions[i1] = {std::cos(freeAngles[i1]), std::sin(freeAngles[i1])};
    return 2;
  }
  CosSin unused;
  return solveCosSin(a1, b1, c1, rho1, directions, unused, seedSpread);
}

/// The seed's joint 1 and the half turn from it: on the shoulder singularity any joint 1 keeps
/// the wrist centre, and these give the two shoulder branches.
inline std::array<double, 2> freeJoint1Of(const FreeJoints& free) {
  return {free.joint1, halfTurnFrom(free.joint1)};
}

/// What the wrist of each joint-1 branch (one per lane) starts from: the wrist centre turned back
/// by joint 1, relative to axis 2 in the plane normal to k2 (`t`), and the wrist axes k6 and k5
/// of the target turned back by joint 1.
struct TurnedBack {
  Vec3x2 t;
  Double2 inverseTT;
  Mask2 onAxis2;
  Vec3x2 axis6;
  Vec3x2 axis5;
};

/// The arm's axes from joint 2 on, and the wrist's normals and zero direction, in both lanes.
struct LaneAxes {
  Vec3x2 k2, k4, k5, k6;
  Vec3x2 axis54Normal, axis65Normal;
  CosSin2 wristZero;

  [[gnu::always_inline]] explicit LaneAxes(const ClosedFormArm& arm)
      : k2(Vec3x2::splat(arm.axes[1])),
        k4(Vec3x2::splat(arm.axes[3])),
        k5(Vec3x2::splat(arm.axes[4])),
        k6(Vec3x2::splat(arm.axes[5])),
        axis54Normal(Vec3x2::splat(arm.axis54Normal)),
        axis65Normal(Vec3x2::splat(arm.axis65Normal)),
        wristZero{splat(arm.wristZeroDirection.c), splat(arm.wristZeroDirection.s)} {}
};

/// Whether each lane's wrist is singular, and there joint 5's angle from θ0 (0 or π).
struct WristBranch {
  Mask2 singular{};
  Double2 angle{};
};

/// Joints 2, 4 and 6 and the wrist angle α of one elbow branch (`elbow`, per joint-1 lane), as
/// (y, x) pairs in `angles` at the branch's slots; `snapped` where an elbow was stretched, folded
/// or seeded, so that it need not reach t exactly.
[[gnu::always_inline]] inline WristBranch solveWristBranch(
    const ClosedFormArm& arm, const LaneAxes& axes, const TurnedBack& back, const CosSin2& elbow,
    Mask2 valid, bool snapped, const FreeJoints& free, std::size_t i3, ClosedFormAngles& angles) {
  using Slot = ClosedFormAngles;
  const Vec3x2& kk2 = axes.k2;
  const Vec3x2& k4 = axes.k4;
  const Vec3x2& k5 = axes.k5;
  const CosSin2& zero = axes.wristZero;
  // Joint 2: the turn about k2 from the reach of the two links to t; both lie normal to k2.
  const Vec3x2 reach = Vec3x2::splat(arm.upperArm) + Vec3x2::splat(arm.forearm) * elbow.c +
                       Vec3x2::splat(arm.forearmNormal) * elbow.s;
  const CosSin2 turn2{reach.dot(back.t), kk2.dot(reach.cross(back.t))};
  angles.set(Slot::kJoint2 + 2 * i3, turn2, valid);
  // |turn2| = |reach| |t| = tt where the elbow reaches t exactly; 1 / tt does not wait on the
  // elbow. A stretched or folded elbow snapped to reach, or a seeding one that falls short, is
  // normalised as it stands.
  CosSin2 joint2{turn2.c * back.inverseTT, turn2.s * back.inverseTT};
  if (snapped) [[unlikely]]
    joint2 = normalized(turn2);
  if (any(back.onAxis2 & valid)) [[unlikely]] {
    const CosSin2 fixed = directionOf(free.joint2);
    joint2 = {select(back.onAxis2, fixed.c, joint2.c), select(back.onAxis2, fixed.s, joint2.s)};
  }
  // Joints 2 and 3 turn about parallel axes: their rotations compose to one about k2.
  const Double2 cos23 = joint2.c * elbow.c - joint2.s * elbow.s;
  const Double2 minusSin23 = -(joint2.s * elbow.c + joint2.c * elbow.s);
  const Vec3x2 w = rotateAbout(kk2, cos23, minusSin23, back.axis6);
  const Vec3x2 w5 = rotateAbout(kk2, cos23, minusSin23, back.axis5);

  // The wrist: the first branch θ5 = θ0 + α, α the angle between k4 and w.
  const CosSin2 towardsW{axes.axis54Normal.dot(w), k5.dot(w)};
  const CosSin2 alpha{k4.dot(w), sqrt(towardsW.c * towardsW.c + towardsW.s * towardsW.s)};
  const Mask2 singular = alpha.s < kWristSingularSine;
  angles.set(Slot::kWrist + 2 * i3, alpha, valid);
  angles.set(Slot::kJoint4 + 2 * i3, towardsW, valid);
  // Joint 4 as (cos, sin) scaled by sin α: joint 6 below turns by it without dividing.
  CosSin2 joint4 = towardsW;
  Double2 joint4Length = alpha.s;
  CosSin2 joint5{zero.c * alpha.c - zero.s * alpha.s, zero.s * alpha.c + zero.c * alpha.s};
  WristBranch branch;
  branch.singular = singular & valid;
  if (any(branch.singular)) [[unlikely]] {
    // Joint 4 free, joint 5 at θ0 or θ0 + π.
    const CosSin2 fixed = directionOf(free.joint4);
    const Mask2 bent = alpha.c > 0.0;
    joint4 = {select(singular, fixed.c, joint4.c), select(singular, fixed.s, joint4.s)};
    joint4Length = select(singular, splat(1.0), joint4Length);
    const CosSin2 atSingularity{select(bent, zero.c, -zero.c), select(bent, zero.s, -zero.s)};
    joint5 = {select(singular, atSingularity.c, joint5.c),
              select(singular, atSingularity.s, joint5.s)};
    branch.angle = select(bent, splat(0.0), splat(kPi));
  }
  // Joint 6 from the chosen joints 4 and 5, so that the three always compose to Rw, even where
  // joint 4 is poorly determined near the wrist singularity; its (y, x) pair comes scaled by the
  // length of joint 4's, which atan2 ignores.
  const Vec3x2 v = rotateScaledAbout(k4, joint4.c, -joint4.s, joint4Length, w5);
  angles.set(Slot::kJoint6 + 2 * i3,
             {k5.dot(v), joint5.c * axes.axis65Normal.dot(v) + joint5.s * axes.k6.dot(v)}, valid);
  return branch;
}

/// Writes the solutions of every branch from the angles `theta` that atan2 gave for the slots of
/// ClosedFormAngles: two wrist branches each, one where the wrist is singular.
[[gnu::always_inline]] inline void collectSolutions(
    const ClosedFormArm& arm, const std::array<double, ClosedFormAngles::kCount>& theta,
    bool shoulderSingular, const std::array<double, 2>& freeJoint1, std::size_t n1,
    const std::array<std::size_t, 2>& n3, Mask2 onAxis2, const std::array<WristBranch, 2>& wrists,
    const FreeJoints& free, BaseSolutions& out) {
  using Slot = ClosedFormAngles;
  // Joint 3 per arm branch: ± (β + γ) and ± (β − γ), wrapped into (−π, π].
  std::array<Double2, 2> joint3;
  const Double2 gamma{theta[Slot::kElbowOffset], theta[Slot::kElbowOffset + 1]};
  for (std::size_t i3 = 0; i3 < 2; ++i3) {
    const Double2 phi = arm.linkAngle + (i3 == 0 ? gamma : -gamma);
    const Double2 wrapped =
        select(phi > kPi, phi - 2.0 * kPi, select(phi <= -kPi, phi + 2.0 * kPi, phi));
    joint3[i3] = arm.axis3Sign * wrapped;
  }
  for (std::size_t i1 = 0; i1 < n1; ++i1) {
    const double theta1 = shoulderSingular ? freeJoint1[i1] : theta[Slot::kJoint1 + i1];
    for (std::size_t i3 = 0; i3 < n3[i1]; ++i3) {
      const std::size_t b = 2 * i3 + i1;
      const double theta2 = onAxis2[i1] != 0 ? free.joint2 : theta[Slot::kJoint2 + b];
      const double theta3 = joint3[i3][i1];
      const double theta6 = theta[Slot::kJoint6 + b];
      if (wrists[i3].singular[i1] != 0) {
        out.solutions[out.count++] = {
            theta1, theta2, theta3, free.joint4, arm.wristZero + wrists[i3].angle[i1], theta6};
        continue;
      }
      // The second wrist branch: Rot(k4, θ4 + π) Rot(k5, θ0 − α) Rot(k6, θ6 + π) is the same
      // rotation, because the half turns about k4 and k6 (both normal to k5) each reverse k5.
      const double alpha = theta[Slot::kWrist + b];
      const double theta4 = theta[Slot::kJoint4 + b];
      out.solutions[out.count++] = {theta1, theta2, theta3, theta4, arm.wristZero + alpha, theta6};
      out.solutions[out.count++] = {theta1,
                                    theta2,
                                    theta3,
                                    halfTurnFrom(theta4),
                                    arm.wristZero - alpha,
                                    halfTurnFrom(theta6)};
    }
  }
}

/// Solves the target (rotation `r`, position `p`) into `out`. With a positive `seedSpread` the
/// branches seed the numerical path (see solveCosSin).
///
/// The two joint-1 branches run side by side, one per lane, through joints 2 to 6, once for each
/// elbow branch. The rotations are never formed as matrices: the wrist needs Rw k6 and Rw k5
/// only, which are R Mᵀ k6 and R Mᵀ k5 turned back by joint 1 and then by joints 2 + 3 (one turn
/// about k2). With w = Rw k6, joint 4 is the turn about k4 from k5 × k4 to w (the part of
/// Rot(k5, θ5) k6 normal to k4 points along k5 × k4 when sin α > 0): atan2(k5·w, (k5 × k4)·w), of
/// length sin α. Joint 6 brings k5 onto v = Rot(k5, −θ5) Rot(k4, −θ4) Rw k5 about k6, and the turn
/// by −θ5 need not be applied: k5·v keeps its value, and
/// k6·(k5 × v) = (cos θ5 (k6 × k5) + sin θ5 k6)·Rot(k4, −θ4) Rw k5.
///
/// `AtanWidth` is the width of the final atan2: 2, or 4 where the code is built for AVX.
template <std::size_t AtanWidth = 2>
inline void solveClosedForm(const ClosedFormArm& arm, const Mat3& r, const Vec3& p,
                            const FreeJoints& free, BaseSolutions& out, double seedSpread = 0.0) {
  using Slot = ClosedFormAngles;
  out.count = 0;
  const Vec3 wrist = p + r * arm.wristInFlange;
  const Vec3 u = wrist - arm.shoulderPoint;
  const std::array<double, 2> freeJoint1 = freeJoint1Of(free);
  std::array<CosSin, 2> dir{};
  bool shoulderSingular = false;
  const std::size_t n1 = solveJoint1(arm, u, seedSpread, freeJoint1, dir, shoulderSingular);
  if (n1 == 0)
    return;
  ClosedFormAngles angles;
  const Mask2 joint1Valid{-1, n1 > 1 ? -1 : 0};
  const CosSin2 dir1{Double2{dir[0].c, dir[1].c}, Double2{dir[0].s, dir[1].s}};
  angles.set(Slot::kJoint1, dir1, joint1Valid);

  // Joints 2 and 3, per joint-1 branch: the wrist centre turned back by joint 1, relative to
  // axis 2, in the plane normal to k2, and the two elbow branches that reach it.
  const LaneAxes axes(arm);
  const Vec3x2 kk1 = Vec3x2::splat(arm.axes[0]);
  const Vec3x2& kk2 = axes.k2;
  const Double2 minusSin1 = -dir1.s;
  const Vec3x2 shoulderBack = rotateAbout(kk1, dir1.c, minusSin1, Vec3x2::splat(u)) +
                              Vec3x2::splat(arm.shoulderPoint - arm.axis2Point);
  TurnedBack back;
  back.t = shoulderBack - kk2 * kk2.dot(shoulderBack);
  const Double2 tt = back.t.squaredNorm();
  std::array<std::array<CosSin, 2>, 2> elbow{};
  std::array<CosSin, 2> elbowOffset{};
  std::array<std::size_t, 2> n3{};
  for (std::size_t i1 = 0; i1 < n1; ++i1)
    n3[i1] = solveCosSin(arm.linkCosine, arm.linkSine, 0.5 * (tt[i1] - arm.linkSquares),
                         arm.linkProduct, elbow[i1], elbowOffset[i1], seedSpread);
  // The elbow angles are β ± γ for the constant β = arm.linkAngle: one atan2 per joint-1 branch.
  angles.set(
      Slot::kElbowOffset,
      {Double2{elbowOffset[0].c, elbowOffset[1].c}, Double2{elbowOffset[0].s, elbowOffset[1].s}},
      joint1Valid & Mask2{n3[0] > 0 ? -1 : 0, n3[1] > 0 ? -1 : 0});
  back.axis6 = rotateAbout(kk1, dir1.c, minusSin1, Vec3x2::splat(r * arm.axis6InFlange));
  back.axis5 = rotateAbout(kk1, dir1.c, minusSin1, Vec3x2::splat(r * arm.axis5InFlange));
  back.onAxis2 = tt < kAxisDistanceTolerance * kAxisDistanceTolerance;
  back.inverseTT = 1.0 / tt;

  const bool snapped = seedSpread > 0.0 || n3[0] == 1 || n3[1] == 1;
  std::array<WristBranch, 2> wrists{};
  for (std::size_t i3 = 0; i3 < 2; ++i3) {
    const Mask2 valid = joint1Valid & Mask2{n3[0] > i3 ? -1 : 0, n3[1] > i3 ? -1 : 0};
    if (!any(valid)) {
      for (const std::size_t slot : {Slot::kJoint2, Slot::kWrist, Slot::kJoint4, Slot::kJoint6})
        angles.set(slot + 2 * i3, CosSin2{}, valid);
      continue;
    }
    const CosSin2 phi{Double2{elbow[0][i3].c, elbow[1][i3].c},
                      Double2{elbow[0][i3].s, elbow[1][i3].s}};
    wrists[i3] = solveWristBranch(arm, axes, back, phi, valid, snapped, free, i3, angles);
  }

  std::array<double, Slot::kCount> theta;
  atan2s<AtanWidth>(angles.y, angles.x, theta);
  collectSolutions(arm, theta, shoulderSingular, freeJoint1, n1, n3, back.onAxis2, wrists, free,
                   out);
}

/// solveClosedForm (no seeding) compiled for the processor's baseline instruction set, and for
/// AVX2 with FMA, its atan2 four lanes at a time: about a third faster where the processor has
/// them, its results different from the baseline's in the last bits. solveClosedFormAvx2 may be
/// called only when processorHasAvx2() (on other processors than x86-64 it is the baseline);
/// solveClosedFormForProcessor picks. processorHasAvx2() is false where ZORROB_SIMD=baseline
/// (detail/vector_builds.hpp).
void solveClosedFormBaseline(const ClosedFormArm& arm, const Mat3& r, const Vec3& p,
                             const FreeJoints& free, BaseSolutions& out);
void solveClosedFormAvx2(const ClosedFormArm& arm, const Mat3& r, const Vec3& p,
                         const FreeJoints& free, BaseSolutions& out);
bool processorHasAvx2();
void solveClosedFormForProcessor(const ClosedFormArm& arm, const Mat3& r, const Vec3& p,
                                 const FreeJoints& free, BaseSolutions& out);

/// The arm shapes the solvers take as exact. Largest |cos| between axes taken as perpendicular,
/// and largest |sin| between axes taken as parallel: beyond rounding, a deviation moves the pose
/// by about this times the arm's size.
inline constexpr double kAxisAngleTolerance = 1e-12;
/// Largest distance (mm) between axes taken as meeting (the wrist axes).
inline constexpr double kAxesMeetTolerance = 1e-10;
/// Smallest sine between axes 1 and 2: nearly parallel axes leave joint 1 ill-determined.
inline constexpr double kMinAxis12Sine = 1e-3;
/// Smallest length (mm) of each link of the planar arm of joints 2 and 3.
inline constexpr double kMinLinkLength = 1e-3;

/// Sets what every solver's arm description starts from (ClosedFormArm, ThreeParallelArm,
/// SearchArm): the unit joint axes at home, k1 × k2 and its length. \returns the joint points.
template <typename Arm>
std::array<Vec3, 6> setArmAxes(const RobotConfig& robot, Arm& arm) {
  std::array<Vec3, 6> points{};
  for (std::size_t i = 0; i < 6; ++i) {
    arm.axes[i] = robot.jointAxes[i].normalized();
    points[i] = robot.jointPoints[i].toVec3();
  }
  arm.axis12Normal = arm.axes[0].cross(arm.axes[1]);
  arm.axis2Sine = arm.axis12Normal.norm();
  return points;
}

/// \returns the closed-form description of `robot`, or one with `solvable` (and perhaps
/// `approximate`) false.
ClosedFormArm MakeClosedFormArm(const RobotConfig& robot);

}  // namespace zor::rob::detail
