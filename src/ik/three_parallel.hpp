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
//
// Speed: as in the spherical-wrist closed form, no angle is formed until the end. The two
// joint-1 branches run side by side in the lanes of a vector register; the vectors of the pose
// are never turned back by joint 1, but taken along k and the plane's axes by dot products formed
// while joint 1 is solved (TurnedBasis). With g's parts along k6, k5 and e = k6 × k5 (unit and
// orthogonal), cos α = k6·g, sin α = |(e·g, k5·g)|, and the turn of joint 6 from g onto f is
// atan2(k5·g, e·g): f's part normal to k6 is sin α e on the first wrist branch. The second wrist
// branch is (θ0 − α, θ6 + π) with the planar sum φ + π, since
// Rot(k, π) Rot(k5, θ0 − α) Rot(k6, π) = Rot(k5, θ0 + α). The planar sum turns k5 (normal to k)
// onto R1ᵀ R R_Mᵀ R6ᵀ k5, and R6ᵀ k5 = (cos θ6 k5 − sin θ6 e) is known from g without an angle.
// Joints 2 to 4 then work in the plane normal to k, in the basis (k5, k × k5): q4 lies at the
// target's C turned back by joint 1 plus Rot(k, φ)(q4 − C), and the elbow pair comes from one
// root per wrist branch. The twenty angles of a pose then come from one vectorised atan2, and the
// solutions come out in about the order of the sorted list (listSolutions).

#include <array>
#include <cmath>
#include <cstddef>

#include "ik/atan2.hpp"
#include "ik/closed_form.hpp"
#include "ik/lanes.hpp"
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

/// A point or direction in the plane normal to k, in the basis (k5, k × k5).
struct PlaneVec {
  double x{0.0};
  double y{0.0};
};

/// A unit vector b with what turning by joint 1 needs of it: (R1 b)·v = (k1·b)(k1·v) +
/// cos θ1 (b·v − (k1·b)(k1·v)) + sin θ1 (k1 × b)·v.
struct TurnedBasis {
  Vec3 vector{};       ///< b.
  double along1{0.0};  ///< k1·b.
  Vec3 normal1{};      ///< k1 × b.
};

/// What the closed form of the three-parallel-axes family needs of an arm, computed once from
/// its axes, points and flange home pose; `solvable` is false for every other arm.
struct ThreeParallelArm {
  bool solvable{false};
  std::array<Vec3, 6> axes{};  ///< Unit joint axes at home; axes[1] is k.
  Vec3 shoulderPoint{};        ///< q1.
  Vec3 centreInFlange{};       ///< C in the flange frame at home, R_Mᵀ (C − m).
  Vec3 axis5InFlange{};        ///< R_Mᵀ k5.
  Vec3 axis6InFlange{};        ///< R_Mᵀ k6.
  Vec3 axis65InFlange{};       ///< R_Mᵀ (k6 × k5).
  Vec3 planeX{};               ///< k5 (its part normal to k): the plane's first basis vector.
  Vec3 planeY{};               ///< k × planeX.
  std::array<TurnedBasis, 3> turnedBasis{};  ///< k, planeX and planeY.
  // Joint 1, as ClosedFormArm's.
  Vec3 axis12Normal{};          ///< k1 × k.
  double axis12Cosine{0.0};     ///< k1·k.
  double wristAlongAxis2{0.0};  ///< k·(C − q1).
  double axis2Sine{0.0};        ///< |k1 × k|.
  // Joints 2 to 4 in the plane normal to k: a = (q3 − q2)⊥, b = (q4 − q3)⊥.
  PlaneVec shoulderToAxis2{};  ///< (q1 − q2)⊥.
  PlaneVec wristOffset{};      ///< (q4 − C)⊥.
  PlaneVec upperArm{};         ///< a.
  PlaneVec forearm{};          ///< b.
  PlaneVec forearmNormal{};    ///< k × b.
  double linkCosine{0.0};      ///< a·b.
  double linkSine{0.0};        ///< a·(k × b).
  double linkProduct{0.0};     ///< |a| |b|.
  double linkSquares{0.0};     ///< |a|² + |b|².
  double linkInverse{0.0};     ///< 1 / ((a·b)² + (a·(k × b))²).
  double linkAngle{0.0};    ///< atan2(a·(k × b), a·b) (radians): the elbow angle is this ± γ.
  double axis3Sign{1.0};    ///< k3·k: ±1.
  double axis4Sign{1.0};    ///< k4·k: ±1.
  double wristZero{0.0};    ///< θ0 (radians).
  double labelOffset{0.0};  ///< RobotConfig::getWcpZOffset(): where the labels' point lies.
};

/// \returns the description of `robot` for solveThreeParallel, `solvable` false unless it belongs
/// to the family (axes within 1e-12 of parallel or perpendicular, axes 5 and 6 within 1e-10 mm
/// of meeting, axes 1 and 2 at least 1e-3 from parallel in the sine, links of 1e-3 mm or more).
ThreeParallelArm MakeThreeParallelArm(const RobotConfig& robot);

/// The slots of one pose's angles, (y, x) pairs of atan2 evaluated all at once, in the storage
/// of the spherical wrist's (ClosedFormAngles): per joint-1 branch, joint 1, the wrist angle α,
/// joint 6 and the planar sum φ of the first wrist branch; per wrist branch w and joint-1 branch,
/// the elbow offset γ; per arm branch b = 4 · (elbow branch) + 2 · (wrist branch) + (joint-1
/// branch), joint 2. The two joint-1 branches sit side by side, as they are computed.
struct ThreeParallelAngles {
  static constexpr std::size_t kJoint1 = 0;
  static constexpr std::size_t kWrist = 2;
  static constexpr std::size_t kJoint6 = 4;
  static constexpr std::size_t kPlanarSum = 6;
  static constexpr std::size_t kElbowOffset = 8;
  static constexpr std::size_t kJoint2 = 12;
  static constexpr std::size_t kCount = 20;
};
static_assert(ThreeParallelAngles::kCount == ClosedFormAngles::kCount);

/// \returns θ within (−π, π] per lane for θ within (−3π, 3π]. Without a branch: which way a
/// sum of angles wraps is as likely one way as the other.
[[gnu::always_inline]] inline Double2 wrappedLanes(Double2 theta) {
  return select(theta > kPi, theta - 2.0 * kPi, select(theta <= -kPi, theta + 2.0 * kPi, theta));
}

/// halfTurnFrom per lane.
[[gnu::always_inline]] inline Double2 halfTurnLanes(Double2 theta) {
  return select(theta > 0.0, theta - kPi, theta + kPi);
}

/// The elbow pair of the planar arm per lane, for the squared distance `tt` from axis 2 to q4:
/// the directions ψ = β ± γ of the elbow angle (β = arm.linkAngle), of unit length, and the
/// direction of γ, of any length; `reached` where |cos γ| ≤ 1 + kReachTolerance, `single` where
/// the two coincide (cos γ snapped to ±1). As solveCosSin, lane by lane.
struct ElbowPair {
  CosSin2 plus;
  CosSin2 minus;
  CosSin2 offset;
  Mask2 reached;
  Mask2 single;
};

[[gnu::always_inline]] inline ElbowPair elbowPairOf(const ThreeParallelArm& arm, Double2 tt) {
  const double a = arm.linkCosine;
  const double b = arm.linkSine;
  const double rho = arm.linkProduct;
  const Double2 c = 0.5 * (tt - arm.linkSquares);
  // 1 / ρ does not wait on the pose.
  const Double2 ratio = c * (1.0 / rho);
  const Double2 size = select(ratio < 0.0, -ratio, ratio);
  ElbowPair e;
  e.reached = size <= 1.0 + kReachTolerance;
  e.single = size >= 1.0 - kReachTolerance;
  const Double2 snapped = select(e.single, select(ratio > 0.0, splat(rho), splat(-rho)), c);
  const Double2 hh = rho * rho - snapped * snapped;
  // Unreached lanes give h = 0; they are not used.
  const Double2 h = sqrt(select(hh > 0.0, hh, splat(0.0)));
  const double inverse = arm.linkInverse;
  e.plus = {(a * snapped - b * h) * inverse, (b * snapped + a * h) * inverse};
  e.minus = {(a * snapped + b * h) * inverse, (b * snapped - a * h) * inverse};
  e.offset = {snapped, h};
  return e;
}

/// What the lane-wise part of the closed form hands on to the listing of the solutions, the two
/// joint-1 branches side by side; per wrist branch w, `reached` where its elbow reaches, `single`
/// where its two elbows coincide, `onAxis2` where its q4 lies on axis 2 (joint 2 free).
struct ThreeParallelBranches {
  ClosedFormAngles angles;
  std::size_t joint1Count{0};
  bool shoulderSingular{false};
  std::array<double, 2> freeJoint1{};
  CosSin2 joint1{};
  Mask2 valid{};
  Double2 cosAlpha{};
  Mask2 wristSingular{};
  std::array<Mask2, 2> reached{};
  std::array<Mask2, 2> single{};
  std::array<Mask2, 2> onAxis2{};
};

/// Joint 1 for C at `u` (relative to q1) into `b`, as the spherical wrist's for its wrist centre;
/// \returns false where C is out of reach.
[[gnu::always_inline]] inline bool solveJoint1Lanes(const ThreeParallelArm& arm, const Vec3& u,
                                                    const FreeJoints& free,
                                                    ThreeParallelBranches& b) {
  b.freeJoint1 = freeJoint1Of(free);
  std::array<CosSin, 2> d{};
  b.joint1Count = solveJoint1(arm, u, 0.0, b.freeJoint1, d, b.shoulderSingular);
  b.valid = Mask2{-1, b.joint1Count > 1 ? -1 : 0};
  b.joint1 = {Double2{d[0].c, d[1].c}, Double2{d[0].s, d[1].s}};
  b.angles.set(ThreeParallelAngles::kJoint1, b.joint1, b.valid);
  return b.joint1Count > 0;
}

/// The elbows and joint 2 of both wrist branches into `b`, for C turned back by joint 1 at
/// `centre` (relative to q2, in the plane) and Rot(k, φ)(q4 − C) at `offset`.
[[gnu::always_inline]] inline void solveElbows(const ThreeParallelArm& arm, const CosSin2& centre,
                                               const CosSin2& offset, ThreeParallelBranches& b) {
  using Slot = ThreeParallelAngles;
  for (std::size_t w = 0; w < 2; ++w) {
    // The second wrist branch turns the planar sum by a half turn.
    const Double2 tx = w == 0 ? centre.c + offset.c : centre.c - offset.c;
    const Double2 ty = w == 0 ? centre.s + offset.s : centre.s - offset.s;
    const Double2 tt = tx * tx + ty * ty;
    b.onAxis2[w] = tt < kAxisDistanceTolerance * kAxisDistanceTolerance;
    const ElbowPair e = elbowPairOf(arm, tt);
    b.reached[w] = b.valid & e.reached & (w == 0 ? ~Mask2{} : ~b.wristSingular);
    b.single[w] = e.single;
    b.angles.set(Slot::kElbowOffset + 2 * w, e.offset, b.reached[w]);
    // Joint 2: the turn about k from the reach of the two links to t.
    for (std::size_t i3 = 0; i3 < 2; ++i3) {
      const CosSin2& psi = i3 == 0 ? e.plus : e.minus;
      const Double2 reachX = arm.upperArm.x + arm.forearm.x * psi.c + arm.forearmNormal.x * psi.s;
      const Double2 reachY = arm.upperArm.y + arm.forearm.y * psi.c + arm.forearmNormal.y * psi.s;
      b.angles.set(Slot::kJoint2 + 4 * i3 + 2 * w,
                   {reachX * tx + reachY * ty, reachX * ty - reachY * tx}, b.reached[w]);
    }
  }
}

/// Joints 5 and 6, the planar sum and the elbows into `b`, for the target (rotation `r`, C at
/// `u` relative to q1) and the joint-1 branches of `b`.
[[gnu::always_inline]] inline void solveWristAndElbows(const ThreeParallelArm& arm, const Mat3& r,
                                                       const Vec3& u, const FreeJoints& free,
                                                       ThreeParallelBranches& b) {
  using Slot = ThreeParallelAngles;
  // The target's C and R R_Mᵀ k6, k5 and e turned back by joint 1, and taken along k, planeX and
  // planeY: (R1 b)·v for those b, from dot products that do not wait on joint 1.
  const Vec3 v6 = r * arm.axis6InFlange;
  const Vec3 v5 = r * arm.axis5InFlange;
  const Vec3 v65 = r * arm.axis65InFlange;
  const std::array<double, 4> along1{arm.axes[0].dot(v6), arm.axes[0].dot(v5), arm.axes[0].dot(v65),
                                     arm.axes[0].dot(u)};
  const auto back = [&](const TurnedBasis& basis, const Vec3& v, double vAlong1) {
    const double fixed = basis.along1 * vAlong1;
    return fixed + b.joint1.c * (basis.vector.dot(v) - fixed) + b.joint1.s * basis.normal1.dot(v);
  };
  const TurnedBasis& k = arm.turnedBasis[0];
  const TurnedBasis& planeX = arm.turnedBasis[1];
  const TurnedBasis& planeY = arm.turnedBasis[2];

  // Joints 5 and 6 from g = R_M Rᵀ R1 k: g·v = k·(R1ᵀ R R_Mᵀ v).
  b.cosAlpha = back(k, v6, along1[0]);
  Double2 along65 = back(k, v65, along1[2]);  // e·g: sin α cos θ6
  Double2 along5 = back(k, v5, along1[1]);    // k5·g: sin α sin θ6
  const Double2 sinAlpha = sqrt(along65 * along65 + along5 * along5);
  b.angles.set(Slot::kWrist, {b.cosAlpha, sinAlpha}, b.valid);
  b.angles.set(Slot::kJoint6, {along65, along5}, b.valid);
  b.wristSingular = (sinAlpha < kWristSingularSine) & b.valid;
  if (any(b.wristSingular)) [[unlikely]] {
    // Joint 6 free: at the seed's value.
    along65 = select(b.wristSingular, splat(std::cos(free.joint6)), along65);
    along5 = select(b.wristSingular, splat(std::sin(free.joint6)), along5);
  }
  // The planar sum φ turns k5 onto R1ᵀ R R_Mᵀ R6ᵀ k5, R6ᵀ k5 scaled by sin α.
  const Double2 sumX =
      back(planeX, v5, along1[1]) * along65 - back(planeX, v65, along1[2]) * along5;
  const Double2 sumY =
      back(planeY, v5, along1[1]) * along65 - back(planeY, v65, along1[2]) * along5;
  b.angles.set(Slot::kPlanarSum, {sumX, sumY}, b.valid);
  // (sumX, sumY) is as long as (e·g, k5·g), sin α, up to rounding (1 where joint 6 is free): the
  // division by it does not wait on the turns.
  const Double2 inverseLength = 1.0 / select(sinAlpha < kWristSingularSine, splat(1.0), sinAlpha);
  const CosSin2 sum{sumX * inverseLength, sumY * inverseLength};
  // C turned back by joint 1, relative to q2, in the plane; q4 lies ± Rot(k, φ)(q4 − C) from it.
  const CosSin2 centre{back(planeX, u, along1[3]) + arm.shoulderToAxis2.x,
                       back(planeY, u, along1[3]) + arm.shoulderToAxis2.y};
  const PlaneVec& d = arm.wristOffset;
  solveElbows(arm, centre, {sum.c * d.x - sum.s * d.y, sum.s * d.x + sum.c * d.y}, b);
}

/// The joint values of the branches of `b` from their angles `theta` into `out`.
///
/// The list is sorted by the labels' bits (shoulder behind, elbow, wrist flipped), then by the
/// joints; the solutions come out in about that order, so that the sort finds them mostly in
/// place: the joint-1 branch whose label point (`labelPoint`) lies more in front of it first,
/// then per joint-1 branch the elbow angles and joints 5 in descending order (their bits are set
/// below a threshold).
[[gnu::always_inline]] inline void listSolutions(
    const ThreeParallelArm& arm, const ThreeParallelBranches& b,
    const std::array<double, ThreeParallelAngles::kCount>& theta, const FreeJoints& free,
    const Vec3& labelPoint, BaseSolutions& out) {
  using Slot = ThreeParallelAngles;
  const auto pair = [&](std::size_t slot) { return Double2{theta[slot], theta[slot + 1]}; };
  // Per wrist branch w: joints 5 and 6 and the planar sum; per w and elbow branch: joints 2 to 4.
  const Double2 alpha = pair(Slot::kWrist);
  const Double2 joint6 = pair(Slot::kJoint6);
  const Double2 phi = pair(Slot::kPlanarSum);
  // On the wrist singularity joint 5 is θ0 or θ0 + π, joint 6 free.
  const Double2 wristAngle =
      select(b.wristSingular, select(b.cosAlpha > 0.0, splat(0.0), splat(kPi)), alpha);
  const std::array<Double2, 2> theta5{wrappedLanes(arm.wristZero + wristAngle),
                                      wrappedLanes(arm.wristZero - alpha)};
  const std::array<Double2, 2> theta6{select(b.wristSingular, splat(free.joint6), joint6),
                                      halfTurnLanes(joint6)};
  const std::array<Double2, 2> planarSum{phi, halfTurnLanes(phi)};
  std::array<std::array<std::array<Double2, 3>, 2>, 2> joints234;  // [w][i3]: joints 2 to 4
  std::array<Mask2, 2> firstElbow{};
  for (std::size_t w = 0; w < 2; ++w) {
    const Double2 gamma = pair(Slot::kElbowOffset + 2 * w);
    for (std::size_t i3 = 0; i3 < 2; ++i3) {
      const Double2 psi = wrappedLanes(arm.linkAngle + (i3 == 0 ? gamma : -gamma));
      const Double2 theta2 =
          select(b.onAxis2[w], splat(free.joint2), pair(Slot::kJoint2 + 4 * i3 + 2 * w));
      joints234[w][i3] = {theta2, wrappedLanes(arm.axis3Sign * psi),
                          arm.axis4Sign * wrappedLanes(planarSum[w] - theta2 - psi)};
    }
    firstElbow[w] = arm.axis3Sign * (joints234[w][1][1] - joints234[w][0][1]) > 0.0;
  }
  const Mask2 firstWrist = ~b.wristSingular & (theta5[1] > theta5[0]);
  const std::size_t firstLane =
      b.joint1Count == 2 && labelPoint.x * (b.joint1.c[1] - b.joint1.c[0]) +
                                    labelPoint.y * (b.joint1.s[1] - b.joint1.s[0]) >
                                0.0
          ? 1
          : 0;
  for (std::size_t lane = 0; lane < b.joint1Count; ++lane) {
    const std::size_t i1 = lane ^ firstLane;
    const double theta1 = b.shoulderSingular ? b.freeJoint1[i1] : theta[Slot::kJoint1 + i1];
    const bool singular = b.wristSingular[i1] != 0;
    for (std::size_t elbow = 0; elbow < 2; ++elbow) {
      for (std::size_t wrist = 0; wrist < (singular ? 1U : 2U); ++wrist) {
        const std::size_t w = wrist ^ (firstWrist[i1] != 0 ? 1U : 0U);
        const std::size_t i3 = elbow ^ (firstElbow[w][i1] != 0 ? 1U : 0U);
        if (b.reached[w][i1] == 0 || (i3 == 1 && b.single[w][i1] != 0))
          continue;
        const std::array<Double2, 3>& j = joints234[w][i3];
        out.solutions[out.count++] = {theta1,   j[0][i1],      j[1][i1],
                                      j[2][i1], theta5[w][i1], theta6[w][i1]};
      }
    }
  }
}

/// Solves the target (rotation `r`, position `p`) into `out` (up to 8 solutions, radians), the
/// free joints at `free`'s values: joint 1 on the shoulder singularity, joint 2 when q4 lies on
/// axis 2, joint 6 on the wrist singularity. `AtanWidth` is the width of the final atan2: 2, or
/// 4 where the code is built for AVX.
template <std::size_t AtanWidth = 2>
inline void solveThreeParallelLanes(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                                    const FreeJoints& free, BaseSolutions& out) {
  out.count = 0;
  // The target's C relative to q1.
  const Vec3 u = p + r * arm.centreInFlange - arm.shoulderPoint;
  ThreeParallelBranches b;
  if (!solveJoint1Lanes(arm, u, free, b))
    return;
  solveWristAndElbows(arm, r, u, free, b);
  std::array<double, ThreeParallelAngles::kCount> theta;
  atan2s<AtanWidth>(b.angles.y, b.angles.x, theta);
  listSolutions(arm, b, theta, free, p - r * Vec3{0.0, 0.0, arm.labelOffset}, out);
}

/// solveThreeParallelLanes compiled for the processor's baseline instruction set, and for AVX2
/// with FMA, its atan2 four lanes at a time; solveThreeParallel runs the one the processor has
/// (see solveClosedFormForProcessor).
void solveThreeParallelBaseline(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                                const FreeJoints& free, BaseSolutions& out);
void solveThreeParallelAvx2(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                            const FreeJoints& free, BaseSolutions& out);
void solveThreeParallel(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                        const FreeJoints& free, BaseSolutions& out);

}  // namespace zor::rob::detail
