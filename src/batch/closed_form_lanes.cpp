#include "batch/closed_form_lanes.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>

#include "batch/kernel_lanes.hpp"
#include "ik/atan2.hpp"
#include "ik/lanes.hpp"
#include "ik/turns.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

/// The conversion of ClosedFormQueries::solve: one multiplication, as there.
constexpr double kDegreesPerRadian = 180.0 / kPi;

/// The vector of value(l) in lane l, built in registers (lane by lane in memory, each vector
/// would wait on a stalled store).
template <typename V, typename Value>
[[gnu::always_inline]] inline V gatherLanes(Value value) {
  if constexpr (sizeof(V) == sizeof(Double2))
    return V{value(0), value(1)};
  else
    return V{value(0), value(1), value(2), value(3)};
}

[[gnu::always_inline]] inline Double2 laneSqrt(Double2 v) {
  return sqrt(v);
}

// The four-lane helpers serve the AVX2 build alone, which only x86-64 has. With GCC they are not
// always_inline: the helpers that call them are compiled for the baseline too, and the AVX2
// build's flatten inlines them. Clang refuses a four-double argument passed to a function outside
// AVX code, so there they are always_inline and each lane goes alone.
#if defined(__x86_64__) && !defined(__clang__)
[[gnu::target("avx")]] inline Double4 laneSqrt(Double4 v) {
  return __builtin_ia32_sqrtpd256(v);
}
#elif defined(__x86_64__)
[[gnu::always_inline]] inline Double4 laneSqrt(Double4 v) {
  return Double4{std::sqrt(v[0]), std::sqrt(v[1]), std::sqrt(v[2]), std::sqrt(v[3])};
}
#endif

/// x · y + z per lane, rounded as the scalar closed form of the same build rounds it where the
/// compiler contracts its products differently in the lanes: once (fused) in the AVX2 build,
/// twice in the x86-64 baseline, which has no fused operation. GCC fuses products only when it
/// optimises at -O2 and above, so unoptimised builds and the sanitizer build (-O1, which defines
/// ZORROB_UNFUSED_PRODUCTS) round twice in the AVX2 build too.
[[gnu::always_inline]] inline Double2 mulAddLanes(Double2 x, Double2 y, Double2 z) {
  return x * y + z;
}

#if defined(__x86_64__) && (!defined(__OPTIMIZE__) || defined(ZORROB_UNFUSED_PRODUCTS))
[[gnu::always_inline]] inline Double4 mulAddLanes(Double4 x, Double4 y, Double4 z) {
  return x * y + z;
}
#elif defined(__x86_64__) && !defined(__clang__)
[[gnu::target("fma")]] inline Double4 mulAddLanes(Double4 x, Double4 y, Double4 z) {
  return __builtin_ia32_vfmaddpd256(x, y, z);
}
#elif defined(__x86_64__)
[[gnu::always_inline]] inline Double4 mulAddLanes(Double4 x, Double4 y, Double4 z) {
  return Double4{std::fma(x[0], y[0], z[0]), std::fma(x[1], y[1], z[1]), std::fma(x[2], y[2], z[2]),
                 std::fma(x[3], y[3], z[3])};
}
#endif

using batch_lanes::laneSplat;
using batch_lanes::Vec3Lanes;

/// rotateAbout of lanes.hpp, per lane.
template <typename V>
[[gnu::always_inline]] inline Vec3Lanes<V> rotateLanes(const Vec3Lanes<V>& k, V c, V s,
                                                       const Vec3Lanes<V>& v) {
  return v * c + k.cross(v) * s + k * (k.dot(v) * (1.0 - c));
}

/// rotateScaledAbout of lanes.hpp, per lane.
template <typename V>
[[gnu::always_inline]] inline Vec3Lanes<V> rotateScaledLanes(const Vec3Lanes<V>& k, V c, V s,
                                                             V length, const Vec3Lanes<V>& v) {
  const V along = k.dot(v);
  return k * (along * length) + (v - k * along) * c + k.cross(v) * s;
}

/// Mat3 · v for a matrix per lane.
template <typename V>
[[gnu::always_inline]] inline Vec3Lanes<V> timesLanes(const std::array<V, 9>& m,
                                                      const Vec3Lanes<V>& v) {
  return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
          m[6] * v.x + m[7] * v.y + m[8] * v.z};
}

/// The direction (cos θ, sin θ) of an angle per lane, or of any length when so documented.
template <typename V>
struct CosSinLanes {
  V c;
  V s;
};

/// Which products solveCosSin's solutions fuse in the AVX2 build: the scalar closed form's
/// compiler fuses those with c for joint 1 and those with h (√(ρ² − c²)) for the elbow, whose A
/// and B are the arm's constants.
enum class Fused { withC, withH };

/// The two solutions of A cos θ + B sin θ = c per lane, and the direction of the offset γ, as
/// solveCosSin forms them where they are two; \returns the lanes where they are. `common` is
/// cleared where there is one (the argument within kReachTolerance of ±1): the lanes do the
/// common cases, two solutions or none.
template <Fused fused, typename V, typename M>
[[gnu::always_inline]] inline M solveCosSinLanes(V a, V b, V c, V rho,
                                                 std::array<CosSinLanes<V>, 2>& out,
                                                 CosSinLanes<V>& offset, M& common) {
  const V ratio = c / rho;
  const V magnitude = select(ratio < 0.0, -ratio, ratio);
  const M two = magnitude < 1.0 - kReachTolerance;
  common &= two | ~(magnitude <= 1.0 + kReachTolerance);
  const V rr = mulAddLanes(a, a, b * b);
  const V h = laneSqrt(mulAddLanes(-c, c, rr));
  const V inverse = 1.0 / rr;
  if constexpr (fused == Fused::withC) {
    out[0] = {mulAddLanes(a, c, -(b * h)) * inverse, mulAddLanes(b, c, a * h) * inverse};
    out[1] = {mulAddLanes(a, c, b * h) * inverse, mulAddLanes(b, c, -(a * h)) * inverse};
  } else {
    const V ac = a * c;
    const V bc = b * c;
    out[0] = {mulAddLanes(-b, h, ac) * inverse, mulAddLanes(a, h, bc) * inverse};
    out[1] = {mulAddLanes(b, h, ac) * inverse, mulAddLanes(-a, h, bc) * inverse};
  }
  offset = {c, h};
  return two;
}

/// The atan2 inputs of `Width` poses, one per lane, in the slots of ClosedFormAngles (there per
/// joint-1 lane, here per pose lane), where each is set: (0, 1) where not, as there. `common`:
/// the lanes still in the common cases.
template <std::size_t Width>
struct AngleLanes {
  using V = typename Lanes<Width>::Double;
  using M = typename Lanes<Width>::Mask;
  std::array<V, ClosedFormAngles::kCount> y;
  std::array<V, ClosedFormAngles::kCount> x;
  M common;

  M joint1;                ///< Joint 1 has two solutions.
  std::array<M, 2> elbow;  ///< Joint-1 branch i1 has two elbow solutions, and joint 1 two.

  [[gnu::always_inline]] void set(std::size_t slot, const CosSinLanes<V>& d, M valid) {
    y[slot] = select(valid, d.s, laneSplat<V>(0.0));
    x[slot] = select(valid, d.c, laneSplat<V>(1.0));
  }
};

/// One joint-1 branch of the lanes: what its elbow branches start from (TurnedBack).
template <typename V>
struct Joint1Lanes {
  Vec3Lanes<V> t;
  V inverseTT;
  Vec3Lanes<V> axis6;
  Vec3Lanes<V> axis5;
  std::array<CosSinLanes<V>, 2> elbow;
};

/// The poses of the lanes: rotation matrix and position.
template <typename V>
struct PoseInLanes {
  std::array<V, 9> r;
  Vec3Lanes<V> p;
};

/// Joint 1, then its branch i1's elbow (solveJoint1 and the elbow part of solveClosedForm).
template <std::size_t Width>
[[gnu::always_inline]] inline void solveJoint1Lanes(
    const ClosedFormArm& arm, const PoseInLanes<typename Lanes<Width>::Double>& pose,
    AngleLanes<Width>& angles,
    std::array<Joint1Lanes<typename Lanes<Width>::Double>, 2>& branches) {
  using V = typename Lanes<Width>::Double;
  using M = typename Lanes<Width>::Mask;
  using Vec = Vec3Lanes<V>;
  using Slot = ClosedFormAngles;
  const Vec wrist = pose.p + timesLanes(pose.r, Vec::splat(arm.wristInFlange));
  const Vec u = wrist - Vec::splat(arm.shoulderPoint);
  const Vec k1 = Vec::splat(arm.axes[0]);
  const Vec k2 = Vec::splat(arm.axes[1]);
  const V along1 = k1.dot(u);
  const V cos12 = laneSplat<V>(arm.axis12Cosine);
  const V a1 = k2.dot(u) - cos12 * along1;
  const V b1 = u.dot(Vec::splat(arm.axis12Normal));
  const V c1 = laneSplat<V>(arm.wristAlongAxis2) - cos12 * along1;
  const V rho1 = laneSqrt(a1 * a1 + b1 * b1);
  const double singular = kAxisDistanceTolerance * arm.axis2Sine;
  const V absC1 = select(c1 < 0.0, -c1, c1);
  angles.common = ~((rho1 < singular) & (absC1 < singular));
  std::array<CosSinLanes<V>, 2> dir1;
  CosSinLanes<V> unused;
  angles.joint1 = solveCosSinLanes<Fused::withC>(a1, b1, c1, rho1, dir1, unused, angles.common);

  const Vec toAxis2 = Vec::splat(arm.shoulderPoint - arm.axis2Point);
  const Vec axis6 = timesLanes(pose.r, Vec::splat(arm.axis6InFlange));
  const Vec axis5 = timesLanes(pose.r, Vec::splat(arm.axis5InFlange));
  const V linkCosine = laneSplat<V>(arm.linkCosine);
  const V linkSine = laneSplat<V>(arm.linkSine);
  const V linkProduct = laneSplat<V>(arm.linkProduct);
  for (std::size_t i1 = 0; i1 < 2; ++i1) {
    angles.set(Slot::kJoint1 + i1, dir1[i1], angles.joint1);
    Joint1Lanes<V>& b = branches[i1];
    const V minusSin1 = -dir1[i1].s;
    const Vec shoulderBack = rotateLanes(k1, dir1[i1].c, minusSin1, u) + toAxis2;
    b.t = shoulderBack - k2 * k2.dot(shoulderBack);
    const V tt = b.t.dot(b.t);
    CosSinLanes<V> offset;
    const M elbow =
        solveCosSinLanes<Fused::withH>(linkCosine, linkSine, 0.5 * (tt - arm.linkSquares),
                                       linkProduct, b.elbow, offset, angles.common);
    angles.elbow[i1] = angles.joint1 & elbow;
    angles.set(Slot::kElbowOffset + i1, offset, angles.elbow[i1]);
    b.axis6 = rotateLanes(k1, dir1[i1].c, minusSin1, axis6);
    b.axis5 = rotateLanes(k1, dir1[i1].c, minusSin1, axis5);
    angles.common &= ~(angles.elbow[i1] & (tt < kAxisDistanceTolerance * kAxisDistanceTolerance));
    b.inverseTT = 1.0 / tt;
  }
}

/// Joints 2, 4 and 6 and the wrist angle of the arm branch b = 2 · i3 + i1 (solveWristBranch
/// away from its singularities).
template <std::size_t Width>
[[gnu::always_inline]] inline void solveWristLanes(
    const ClosedFormArm& arm, const Joint1Lanes<typename Lanes<Width>::Double>& back,
    std::size_t i3, std::size_t b, AngleLanes<Width>& angles) {
  using V = typename Lanes<Width>::Double;
  using Vec = Vec3Lanes<V>;
  using Slot = ClosedFormAngles;
  const CosSinLanes<V>& elbow = back.elbow[i3];
  const Vec k2 = Vec::splat(arm.axes[1]);
  const Vec k4 = Vec::splat(arm.axes[3]);
  const Vec k5 = Vec::splat(arm.axes[4]);
  const Vec reach = Vec::splat(arm.upperArm) + Vec::splat(arm.forearm) * elbow.c +
                    Vec::splat(arm.forearmNormal) * elbow.s;
  const CosSinLanes<V> turn2{reach.dot(back.t), k2.dot(reach.cross(back.t))};
  const auto valid = angles.elbow[b % 2];
  angles.set(Slot::kJoint2 + b, turn2, valid);
  const CosSinLanes<V> joint2{turn2.c * back.inverseTT, turn2.s * back.inverseTT};
  const V cos23 = joint2.c * elbow.c - joint2.s * elbow.s;
  const V minusSin23 = -(joint2.s * elbow.c + joint2.c * elbow.s);
  const Vec w = rotateLanes(k2, cos23, minusSin23, back.axis6);
  const Vec w5 = rotateLanes(k2, cos23, minusSin23, back.axis5);

  const CosSinLanes<V> towardsW{Vec::splat(arm.axis54Normal).dot(w), k5.dot(w)};
  const CosSinLanes<V> alpha{k4.dot(w),
                             laneSqrt(towardsW.c * towardsW.c + towardsW.s * towardsW.s)};
  angles.common &= ~(valid & (alpha.s < kWristSingularSine));
  angles.set(Slot::kWrist + b, alpha, valid);
  angles.set(Slot::kJoint4 + b, towardsW, valid);
  const CosSinLanes<V> zero{laneSplat<V>(arm.wristZeroDirection.c),
                            laneSplat<V>(arm.wristZeroDirection.s)};
  const CosSinLanes<V> joint5{zero.c * alpha.c - zero.s * alpha.s,
                              zero.s * alpha.c + zero.c * alpha.s};
  const Vec v = rotateScaledLanes(k4, towardsW.c, -towardsW.s, alpha.s, w5);
  angles.set(Slot::kJoint6 + b,
             {k5.dot(v), joint5.c * Vec::splat(arm.axis65Normal).dot(v) +
                             joint5.s * Vec::splat(arm.axes[5]).dot(v)},
             valid);
}

/// halfTurnFrom per lane.
template <typename V>
[[gnu::always_inline]] inline V halfTurnLanes(V theta) {
  const V one = select(theta > 0.0, laneSplat<V>(1.0), laneSplat<V>(0.0));
  return theta + kPi * (1.0 - 2.0 * one);
}

/// The solutions of each common lane from the angles `theta`, in degrees, in the order of
/// collectSolutions, into out[l] for the lanes l < `count`.
template <std::size_t Width>
[[gnu::always_inline]] inline void collectLanes(
    const ClosedFormArm& arm,
    const std::array<typename Lanes<Width>::Double, ClosedFormAngles::kCount>& theta,
    unsigned common, const std::array<unsigned, 2>& elbow, std::size_t count, PoseBranches* out) {
  using V = typename Lanes<Width>::Double;
  using Slot = ClosedFormAngles;
  std::array<std::array<V, 6>, 8> solutions;
  std::size_t next = 0;
  for (std::size_t i1 = 0; i1 < 2; ++i1) {
    const V gamma = theta[Slot::kElbowOffset + i1];
    for (std::size_t i3 = 0; i3 < 2; ++i3) {
      const std::size_t b = 2 * i3 + i1;
      const V phi = arm.linkAngle + (i3 == 0 ? gamma : -gamma);
      const V wrapped =
          select(phi > kPi, phi - 2.0 * kPi, select(phi <= -kPi, phi + 2.0 * kPi, phi));
      const V theta3 = arm.axis3Sign * wrapped;
      const V alpha = theta[Slot::kWrist + b];
      const V theta4 = theta[Slot::kJoint4 + b];
      const V theta6 = theta[Slot::kJoint6 + b];
      solutions[next++] = {theta[Slot::kJoint1 + i1],
                           theta[Slot::kJoint2 + b],
                           theta3,
                           theta4,
                           arm.wristZero + alpha,
                           theta6};
      solutions[next++] = {
          theta[Slot::kJoint1 + i1], theta[Slot::kJoint2 + b], theta3,
          halfTurnLanes(theta4),     arm.wristZero - alpha,    halfTurnLanes(theta6)};
    }
  }
  for (std::size_t s = 0; s < 8; ++s)
    for (std::size_t i = 0; i < 6; ++i)
      solutions[s][i] = solutions[s][i] * kDegreesPerRadian;
  // Four solutions per joint-1 branch that reaches, none for one that does not.
  for (std::size_t l = 0; l < count; ++l) {
    if (((common >> l) & 1U) == 0)
      continue;
    // The count in a register: in memory, each solution would wait on the store of the last.
    std::size_t n = 0;
    for (std::size_t i1 = 0; i1 < 2; ++i1) {
      if (((elbow[i1] >> l) & 1U) == 0)
        continue;
      for (std::size_t s = 4 * i1; s < 4 * i1 + 4; ++s, ++n)
        for (std::size_t i = 0; i < 6; ++i)
          out[l].joints[n][i] = solutions[s][i][l];
    }
    out[l].count = n;
  }
}

/// The scalar closed form of one build.
using ScalarClosedForm = void (*)(const ClosedFormArm&, const Mat3&, const Vec3&, const FreeJoints&,
                                  BaseSolutions&);

/// Solves the `count` ≤ Width poses `targets` into `out`: the common lanes in the lanes, the
/// others by `scalar`; \returns how many the lanes solved.
template <std::size_t Width>
[[gnu::always_inline]] inline std::size_t solveGroup(const ClosedFormArm& arm,
                                                     const FreeJoints& free,
                                                     const QueryPose* targets, std::size_t count,
                                                     PoseBranches* out, ScalarClosedForm scalar) {
  using V = typename Lanes<Width>::Double;
  // Lanes past the end repeat the first pose.
  const auto lane = [&](std::size_t l) -> const QueryPose& { return targets[l < count ? l : 0]; };
  PoseInLanes<V> pose;
  for (std::size_t k = 0; k < 9; ++k)
    pose.r[k] = gatherLanes<V>([&](std::size_t l) { return lane(l).rotation.m[k]; });
  pose.p = {gatherLanes<V>([&](std::size_t l) { return lane(l).position.x; }),
            gatherLanes<V>([&](std::size_t l) { return lane(l).position.y; }),
            gatherLanes<V>([&](std::size_t l) { return lane(l).position.z; })};
  AngleLanes<Width> angles;
  std::array<Joint1Lanes<V>, 2> branches;
  solveJoint1Lanes<Width>(arm, pose, angles, branches);
  for (std::size_t i3 = 0; i3 < 2; ++i3)
    for (std::size_t i1 = 0; i1 < 2; ++i1)
      solveWristLanes<Width>(arm, branches[i1], i3, 2 * i3 + i1, angles);
  // Zero times every input: NaN exactly in the lanes where some input is infinite or NaN, which
  // the scalar closed form hands to std::atan2.
  V zeros{};
  std::array<V, ClosedFormAngles::kCount> theta;
  for (std::size_t i = 0; i < ClosedFormAngles::kCount; ++i) {
    V y = angles.y[i];
    V x = angles.x[i];
    atan2_impl::opaque(y);
    atan2_impl::opaque(x);
    zeros += y * 0.0 + x * 0.0;
    theta[i] = atan2_impl::atan2Lanes<Width>(y, x);
  }
  angles.common &= zeros == zeros;
  const auto bits = [](typename Lanes<Width>::Mask m) {
    unsigned set = 0;
    for (std::size_t l = 0; l < Width; ++l)
      set |= (m[l] != 0 ? 1U : 0U) << l;
    return set;
  };
  const unsigned common = bits(angles.common);
  collectLanes<Width>(arm, theta, common, {bits(angles.elbow[0]), bits(angles.elbow[1])}, count,
                      out);
  for (std::size_t l = 0; l < count; ++l) {
    if (((common >> l) & 1U) != 0)
      continue;
    BaseSolutions base;
    scalar(arm, targets[l].rotation, targets[l].position, free, base);
    out[l].count = base.count;
    for (std::size_t s = 0; s < base.count; ++s)
      for (std::size_t i = 0; i < 6; ++i)
        out[l].joints[s][i] = base.solutions[s][i] * kDegreesPerRadian;
  }
  return static_cast<std::size_t>(std::popcount(common & ((1U << count) - 1U)));
}

/// Solves `targets` into `out`, `Width` at a time; \returns how many the lanes solved.
template <std::size_t Width>
[[gnu::always_inline]] inline std::size_t solveAll(const ClosedFormArm& arm, const FreeJoints& free,
                                                   std::span<const QueryPose> targets,
                                                   std::span<PoseBranches> out,
                                                   ScalarClosedForm scalar) {
  std::size_t laned = 0;
  for (std::size_t i = 0; i < targets.size(); i += Width)
    laned += solveGroup<Width>(arm, free, targets.data() + i, std::min(Width, targets.size() - i),
                               out.data() + i, scalar);
  return laned;
}

}  // namespace

// Each build inlines the whole of the lanes (flatten), so that all of it runs in its instruction
// set.
[[gnu::flatten]] static std::size_t solveLanesBaseline(const ClosedFormArm& arm,
                                                       const FreeJoints& free,
                                                       std::span<const QueryPose> targets,
                                                       std::span<PoseBranches> out) {
  return solveAll<2>(arm, free, targets, out, solveClosedFormBaseline);
}

#if defined(__x86_64__)
[[gnu::flatten, gnu::target("avx2,fma")]] static std::size_t solveLanesAvx2(
    const ClosedFormArm& arm, const FreeJoints& free, std::span<const QueryPose> targets,
    std::span<PoseBranches> out) {
  return solveAll<4>(arm, free, targets, out, solveClosedFormAvx2);
}
#endif

ClosedFormBuild processorClosedFormBuild() {
  return processorHasAvx2() ? ClosedFormBuild::avx2 : ClosedFormBuild::baseline;
}

std::size_t solveClosedFormLanes(const ClosedFormArm& arm, const FreeJoints& free,
                                 std::span<const QueryPose> targets, std::span<PoseBranches> out,
                                 ClosedFormBuild build) {
#if defined(__x86_64__)
  if (build == ClosedFormBuild::avx2)
    return solveLanesAvx2(arm, free, targets, out);
#endif
  (void)build;
  return solveLanesBaseline(arm, free, targets, out);
}

}  // namespace zor::rob::detail
