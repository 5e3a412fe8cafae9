#include "batch/kernels.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "batch/kernel_lanes.hpp"
#include "ik/lanes.hpp"
#include "robot/joint_solution_conf.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

using namespace batch_lanes;

/// The flange pose of the joints `j`: flangePose's operations, lane by lane.
template <std::size_t W>
[[gnu::always_inline]] inline MotionLanes<typename Lanes<W>::Double> flangeLanes(
    const RobotConfig& robot, const JointLanes<W>& j) {
  using V = typename Lanes<W>::Double;
  const std::array<V, 6>& sh = j.sh;
  const std::array<V, 6>& ch = j.ch;
  const std::array<Vec3, 6>& axes = robot.jointAxes;
  QuatLanes<V> r{sh[0] * axes[0].x, sh[0] * axes[0].y, sh[0] * axes[0].z, ch[0]};
#pragma GCC unroll 6
  for (std::size_t i = 1; i < 6; ++i) {
    const Vec3& a = axes[i];
    r = r.hamilton(QuatLanes<V>{sh[i] * a.x, sh[i] * a.y, sh[i] * a.z, ch[i]});
  }
  r = r.hamilton(robot.flangeHome.rotation);
  Vec3Lanes<V> p = Vec3Lanes<V>::splat(robot.flangeHome.translation);
#pragma GCC unroll 6
  for (std::size_t m = 0; m < 6; ++m) {
    const std::size_t k = 5 - m;
    const Vec3& a = axes[k];
    const V sn = 2.0 * sh[k] * ch[k];
    const V cs = 2.0 * sh[k] * sh[k];
    const V xx = cs * (a.x * a.x - 1.0);
    const V yy = cs * (a.y * a.y - 1.0);
    const V zz = cs * (a.z * a.z - 1.0);
    const V xy = cs * a.x * a.y;
    const V xz = cs * a.x * a.z;
    const V yz = cs * a.y * a.z;
    const V sx = sn * a.x;
    const V sy = sn * a.y;
    const V sz = sn * a.z;
    const Vec3 c = robot.jointPoints[k].toVec3();
    const Vec3Lanes<V> w{p.x - c.x, p.y - c.y, p.z - c.z};
    p = p + Vec3Lanes<V>{xx * w.x + (xy - sz) * w.y + (xz + sy) * w.z,
                         (xy + sz) * w.x + yy * w.y + (yz - sx) * w.z,
                         (xz - sy) * w.x + (yz + sx) * w.y + zz * w.z};
  }
  return {r, p};
}

/// The flange poses of joints[0 … W − 1], and the half joint 1's sine and cosine unless
/// `joint1` is null.
template <std::size_t W>
[[gnu::always_inline]] inline void flangePoseLanes(const RobotConfig& robot, const RobJoint* joints,
                                                   Transform* poses, HalfAngleSinCos* joint1) {
  const JointLanes<W> j = loadJoints<W>(joints, 1.0);
  const MotionLanes<typename Lanes<W>::Double> flange = flangeLanes<W>(robot, j);
  const auto& r = flange.rotation;
  const auto& p = flange.translation;
  for (std::size_t l = 0; l < W; ++l) {
    if (j.inRange[l]) {
      poses[l] = {r.lane(l), p.lane(l)};
      if (joint1 != nullptr)
        joint1[l] = {j.sh[0][l], j.ch[0][l]};
    } else {
      HalfAngleSinCos half1;
      poses[l] = flangePose(robot, joints[l], half1);
      if (joint1 != nullptr)
        joint1[l] = half1;
    }
  }
}

/// A vector of W ints.
template <std::size_t W>
struct IntLanes {
  using Type [[gnu::vector_size(W * sizeof(int))]] = int;
};

/// What the robot targets' configuration takes from the arm, once per batch.
struct TargetArm {
  /// The wrist centre lies at this offset along the flange's z axis (getWcpZOffset).
  double wcpZOffset = 0.0;
  /// The elbow flag is set for joint 3 ≤ this (degrees).
  double elbowAbove = 0.0;
};

/// AngleToQuadrant of every lane as a double; lanes whose value lies beyond int's range (NaN
/// among them) are cleared in `inRange`, for the scalar call to take.
template <std::size_t W>
[[gnu::always_inline]] inline typename Lanes<W>::Double quadrantLanes(
    typename Lanes<W>::Double angle, typename Lanes<W>::Mask& inRange) {
  using V = typename Lanes<W>::Double;
  using B = typename Lanes<W>::Bits;
  const V above = (angle - 1e-6) / 90.0;
  const V below = (angle + 1e-6) / 90.0 - 1.0;
  const V quarters = select(angle > 0.0, above, below);
  inRange &= std::bit_cast<V>(std::bit_cast<B>(quarters) & ~kSignBit) < 2147483648.0;
  return quarters;
}

/// The robot targets of joints[0 … W − 1], as getRobTarget computes them: the flange pose, and
/// the configuration by confFromFlangePose's operations where its shoulder test takes the sign
/// of cos(φ − j1) and the quadrants are ints. The other lanes take the scalar call.
template <std::size_t W>
[[gnu::always_inline]] inline void robTargetLanes(const RobotConfig& robot, const TargetArm& arm,
                                                  const RobJoint* joints, RobTarget* targets) {
  using V = typename Lanes<W>::Double;
  using B = typename Lanes<W>::Bits;
  using M = typename Lanes<W>::Mask;
  const JointLanes<W> j = loadJoints<W>(joints, 1.0);
  const MotionLanes<typename Lanes<W>::Double> flange = flangeLanes<W>(robot, j);
  const auto& r = flange.rotation;
  const auto& p = flange.translation;
  // wristCentre: p − r·(0, 0, wcpZOffset) by rotateVector's operations; only x and y enter.
  const Vec3Lanes<V> u{r.x, r.y, r.z};
  const Vec3Lanes<V> offset = Vec3Lanes<V>::splat({0.0, 0.0, arm.wcpZOffset});
  const Vec3Lanes<V> t2 = u.cross(offset);
  const Vec3Lanes<V> t{t2.x * 2.0, t2.y * 2.0, t2.z * 2.0};
  const Vec3Lanes<V> ut = u.cross(t);
  const V x = p.x - ((offset.x + t.x * r.w) + ut.x);
  const V y = p.y - ((offset.y + t.y * r.w) + ut.y);
  // The shoulder test's fast path.
  const V sh = j.sh[0];
  const V ch = j.ch[0];
  const V cosJ1 = 1.0 - 2.0 * sh * sh;
  const V sinJ1 = 2.0 * sh * ch;
  const V along = x * cosJ1 + y * sinJ1;
  const V rr = x * x + y * y;
  const V j1 = j.degrees[0];
  const V absJ1 = std::bit_cast<V>(std::bit_cast<B>(j1) & ~kSignBit);
  M valid = (along * along > kShoulderFastCosine * kShoulderFastCosine * rr) &
            (absJ1 < kShoulderFastJointLimit);
  // The rough direction ±45 or ±135 degrees, signed by y's sign bit as atan2 signs it.
  const V quadrantX = select(x >= 0.0, V{} + 45.0, V{} + 135.0);
  const V roughPhi =
      std::bit_cast<V>(std::bit_cast<B>(quadrantX) | (std::bit_cast<B>(y) & kSignBit));
  const V distance = std::bit_cast<V>(std::bit_cast<B>(roughPhi - j1) & ~kSignBit);
  const M behind = (along < 0.0) | ~(distance < 180.0);
  // Elbow: set for j3 ≤ elbowAbove; wrist: j5 = 0 counts as not flipped.
  const M elbow = ~(j.degrees[2] > arm.elbowAbove);
  const M wrist = j.degrees[4] < 0.0;
  const V cfx = (select(behind, V{} + 4.0, V{}) + select(elbow, V{} + 2.0, V{})) +
                select(wrist, V{} + 1.0, V{});
  const V cf1 = quadrantLanes<W>(j1, valid);
  const V cf4 = quadrantLanes<W>(j.degrees[3], valid);
  const V cf6 = quadrantLanes<W>(j.degrees[5], valid);
  // The four integers of each lane's configuration, whole vectors converted at once (the lanes
  // that are not valid, whose quadrants may lie beyond int's range, are zeroed first).
  using Ints = typename IntLanes<W>::Type;
  const std::array<Ints, 4> conf{__builtin_convertvector(select(valid, cf1, V{}), Ints),
                                 __builtin_convertvector(select(valid, cf4, V{}), Ints),
                                 __builtin_convertvector(select(valid, cf6, V{}), Ints),
                                 __builtin_convertvector(cfx, Ints)};
  auto write = [&](std::size_t l) {
    RobTarget& target = targets[l];
    // RobTarget(pose) and the configuration, field by field.
    target.pose = {{p.x[l], p.y[l], p.z[l]}, {r.w[l], r.x[l], r.y[l], r.z[l]}};
    target.robConf = {conf[0][l], conf[1][l], conf[2][l], conf[3][l]};
    target.extJoint = {};
  };
  bool inRange = true;
  for (std::size_t l = 0; l < W; ++l)
    inRange = inRange & j.inRange[l];
  if (inRange && !any(~valid)) [[likely]] {
    // No call in this loop: the lanes' vectors need not be saved around one.
    for (std::size_t l = 0; l < W; ++l)
      write(l);
    return;
  }
  for (std::size_t l = 0; l < W; ++l) {
    if (j.inRange[l] && valid[l] != 0)
      write(l);
    else
      targets[l] = robot.getRobTarget(joints[l]);
  }
}

/// unitScrewExp per lane.
template <typename V>
[[gnu::always_inline]] inline MotionLanes<V> unitScrewExpLanes(const ScrewAxis& s, V sh, V ch,
                                                               V theta) {
  const V sinTheta = 2.0 * sh * ch;
  const V oneMinusCos = 2.0 * sh * sh;
  const Vec3 wv = s.w.cross(s.v);
  const double along = s.w.dot(s.v);
  const V shift = (theta - sinTheta) * along;
  return {{sh * s.w.x, sh * s.w.y, sh * s.w.z, ch},
          {s.v.x * sinTheta + wv.x * oneMinusCos + s.w.x * shift,
           s.v.y * sinTheta + wv.y * oneMinusCos + s.w.y * shift,
           s.v.z * sinTheta + wv.z * oneMinusCos + s.w.z * shift}};
}

/// writeAdjointColumns per lane, into jacobians[0 … W − 1].
template <std::size_t W, typename Screw, typename Column>
[[gnu::always_inline]] inline void writeAdjointColumnLanes(
    GeometricJacobian* jacobians, const std::array<MotionLanes<typename Lanes<W>::Double>, 5>& e,
    Screw screw, Column column) {
  using V = typename Lanes<W>::Double;
  MotionLanes<V> t = e[0];
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 5; ++k) {
    const MatrixLanes<V> r(t.rotation);
    const ScrewAxis& s = screw(k);
    const Vec3Lanes<V> w = r * s.w;
    const Vec3Lanes<V> v = t.translation.cross(w) + r * s.v;
    for (std::size_t l = 0; l < W; ++l)
      jacobians[l].setCol(column(k), w.lane(l), v.lane(l));
    if (k < 4) {
      t.translation = t.translation + r * e[k + 1].translation;
      t.rotation = t.rotation.hamilton(e[k + 1].rotation);
    }
  }
}

/// Whether the screws First to Last − 1 have unit angular parts, as the Jacobians' hot paths
/// require.
template <std::size_t First, std::size_t Last>
bool unitScrews(const std::array<ScrewAxis, 6>& screws) {
  bool unit = true;
  for (std::size_t i = First; i < Last; ++i)
    unit = unit & isUnit(screws[i].w);
  return unit;
}

/// The space Jacobians of joints[0 … W − 1], as getSpaceJacobian computes them.
template <std::size_t W>
[[gnu::always_inline]] inline void spaceJacobianLanes(const RobotConfig& robot,
                                                      const RobJoint* joints,
                                                      GeometricJacobian* out) {
  using V = typename Lanes<W>::Double;
  const JointLanes<W> j = loadJoints<W>(joints, 1.0);
  const std::array<ScrewAxis, 6>& screws = robot.spaceScrewAxes;
  std::array<MotionLanes<V>, 5> e;
#pragma GCC unroll 6
  for (std::size_t i = 0; i < 5; ++i)
    e[i] = unitScrewExpLanes(screws[i], j.sh[i], j.ch[i], j.theta[i]);
  for (std::size_t l = 0; l < W; ++l)
    out[l].setCol(0, screws[0]);
  writeAdjointColumnLanes<W>(
      out, e, [&screws](std::size_t k) -> const ScrewAxis& { return screws[k + 1]; },
      [](std::size_t k) { return static_cast<int>(k + 1); });
  for (std::size_t l = 0; l < W; ++l) {
    if (!j.inRange[l])
      out[l] = robot.getSpaceJacobian(joints[l]);
  }
}

/// The body Jacobians of joints[0 … W − 1], as getBodyJacobian computes them.
template <std::size_t W>
[[gnu::always_inline]] inline void bodyJacobianLanes(const RobotConfig& robot,
                                                     const RobJoint* joints,
                                                     GeometricJacobian* out) {
  using V = typename Lanes<W>::Double;
  const JointLanes<W> j = loadJoints<W>(joints, -1.0);
  const std::array<ScrewAxis, 6>& screws = robot.bodyScrewAxes;
  std::array<MotionLanes<V>, 5> e;
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 5; ++k)
    e[k] = unitScrewExpLanes(screws[5 - k], j.sh[5 - k], j.ch[5 - k], j.theta[5 - k]);
  for (std::size_t l = 0; l < W; ++l)
    out[l].setCol(5, screws[5]);
  writeAdjointColumnLanes<W>(
      out, e, [&screws](std::size_t k) -> const ScrewAxis& { return screws[4 - k]; },
      [](std::size_t k) { return static_cast<int>(4 - k); });
  for (std::size_t l = 0; l < W; ++l) {
    if (!j.inRange[l])
      out[l] = robot.getBodyJacobian(joints[l]);
  }
}

template <std::size_t W>
[[gnu::always_inline]] inline void flangePosesIn(const RobotConfig& robot,
                                                 std::span<const RobJoint> joints,
                                                 std::span<Transform> poses,
                                                 std::span<HalfAngleSinCos> joint1) {
  bool unit = true;
  for (const Vec3& a : robot.jointAxes)
    unit = unit & isUnit(a);
  const std::size_t n = joints.size();
  std::size_t i = 0;
  if (unit) {
    for (; i + W <= n; i += W)
      flangePoseLanes<W>(robot, &joints[i], &poses[i], joint1.empty() ? nullptr : &joint1[i]);
  }
  for (; i < n; ++i) {
    HalfAngleSinCos half1;
    poses[i] = flangePose(robot, joints[i], half1);
    if (!joint1.empty())
      joint1[i] = half1;
  }
}

template <std::size_t W>
[[gnu::always_inline]] inline void robTargetsIn(const RobotConfig& robot,
                                                std::span<const RobJoint> joints,
                                                std::span<RobTarget> targets) {
  bool unit = true;
  for (const Vec3& a : robot.jointAxes)
    unit = unit & isUnit(a);
  const TargetArm arm{robot.getWcpZOffset(), -RadToDeg(robot.elbowOffset)};
  const std::size_t n = joints.size();
  std::size_t i = 0;
  if (unit) {
    for (; i + W <= n; i += W)
      robTargetLanes<W>(robot, arm, &joints[i], &targets[i]);
  }
  for (; i < n; ++i)
    targets[i] = robot.getRobTarget(joints[i]);
}

template <std::size_t W>
[[gnu::always_inline]] inline void spaceJacobiansIn(const RobotConfig& robot,
                                                    std::span<const RobJoint> joints,
                                                    std::span<GeometricJacobian> out) {
  std::size_t i = 0;
  if (unitScrews<0, 5>(robot.spaceScrewAxes)) {
    for (; i + W <= joints.size(); i += W)
      spaceJacobianLanes<W>(robot, &joints[i], &out[i]);
  }
  for (; i < joints.size(); ++i)
    out[i] = robot.getSpaceJacobian(joints[i]);
}

template <std::size_t W>
[[gnu::always_inline]] inline void bodyJacobiansIn(const RobotConfig& robot,
                                                   std::span<const RobJoint> joints,
                                                   std::span<GeometricJacobian> out) {
  std::size_t i = 0;
  if (unitScrews<1, 6>(robot.bodyScrewAxes)) {
    for (; i + W <= joints.size(); i += W)
      bodyJacobianLanes<W>(robot, &joints[i], &out[i]);
  }
  for (; i < joints.size(); ++i)
    out[i] = robot.getBodyJacobian(joints[i]);
}

}  // namespace

KernelBuild chooseKernelBuild(bool hasAvx2, bool hasAvx512, VectorBuildCap cap) {
  if (!hasAvx2 || cap == VectorBuildCap::baseline)
    return KernelBuild::baseline;
  return hasAvx512 && cap == VectorBuildCap::widest ? KernelBuild::avx512 : KernelBuild::avx2;
}

// Each build inlines its kernel whole (flatten), so that all of it runs in its instruction set.
// The AVX2 build enables AVX2 alone: with FMA the compiler would fuse the products and sums that
// the scalar calls round one by one. (AVX-512F has fused instructions too: the build files compile
// this file with contraction off.)

[[gnu::flatten]] void flangePosesBaseline(const RobotConfig& robot,
                                          std::span<const RobJoint> joints,
                                          std::span<Transform> poses,
                                          std::span<HalfAngleSinCos> joint1) {
  flangePosesIn<2>(robot, joints, poses, joint1);
}

[[gnu::flatten]] void robTargetsBaseline(const RobotConfig& robot, std::span<const RobJoint> joints,
                                         std::span<RobTarget> targets) {
  robTargetsIn<2>(robot, joints, targets);
}

[[gnu::flatten]] void spaceJacobiansBaseline(const RobotConfig& robot,
                                             std::span<const RobJoint> joints,
                                             std::span<GeometricJacobian> out) {
  spaceJacobiansIn<2>(robot, joints, out);
}

[[gnu::flatten]] void bodyJacobiansBaseline(const RobotConfig& robot,
                                            std::span<const RobJoint> joints,
                                            std::span<GeometricJacobian> out) {
  bodyJacobiansIn<2>(robot, joints, out);
}

#if defined(__x86_64__)

[[gnu::flatten, gnu::target("avx2")]] void flangePosesAvx2(const RobotConfig& robot,
                                                           std::span<const RobJoint> joints,
                                                           std::span<Transform> poses,
                                                           std::span<HalfAngleSinCos> joint1) {
  flangePosesIn<4>(robot, joints, poses, joint1);
}

[[gnu::flatten, gnu::target("avx2")]] void robTargetsAvx2(const RobotConfig& robot,
                                                          std::span<const RobJoint> joints,
                                                          std::span<RobTarget> targets) {
  robTargetsIn<4>(robot, joints, targets);
}

[[gnu::flatten, gnu::target("avx2")]] void spaceJacobiansAvx2(const RobotConfig& robot,
                                                              std::span<const RobJoint> joints,
                                                              std::span<GeometricJacobian> out) {
  spaceJacobiansIn<4>(robot, joints, out);
}

[[gnu::flatten, gnu::target("avx2")]] void bodyJacobiansAvx2(const RobotConfig& robot,
                                                             std::span<const RobJoint> joints,
                                                             std::span<GeometricJacobian> out) {
  bodyJacobiansIn<4>(robot, joints, out);
}

// AVX-512F and VL, without FMA's own flag. The flange poses run eight lanes in the 512-bit
// registers; the Jacobians, whose 36 entries per lane are stored one by one, run faster in four
// lanes, where the 32 registers that AVX-512 gives 256-bit vectors too keep their many live
// vectors out of memory (measured: bench/README.md, "Batches").

[[gnu::flatten, gnu::target("avx512f,avx512vl")]] void flangePosesAvx512(
    const RobotConfig& robot, std::span<const RobJoint> joints, std::span<Transform> poses,
    std::span<HalfAngleSinCos> joint1) {
  flangePosesIn<8>(robot, joints, poses, joint1);
}

[[gnu::flatten, gnu::target("avx512f,avx512vl")]] void robTargetsAvx512(
    const RobotConfig& robot, std::span<const RobJoint> joints, std::span<RobTarget> targets) {
  robTargetsIn<4>(robot, joints, targets);
}

[[gnu::flatten, gnu::target("avx512f,avx512vl")]] void spaceJacobiansAvx512(
    const RobotConfig& robot, std::span<const RobJoint> joints, std::span<GeometricJacobian> out) {
  spaceJacobiansIn<4>(robot, joints, out);
}

[[gnu::flatten, gnu::target("avx512f,avx512vl")]] void bodyJacobiansAvx512(
    const RobotConfig& robot, std::span<const RobJoint> joints, std::span<GeometricJacobian> out) {
  bodyJacobiansIn<4>(robot, joints, out);
}

KernelBuild processorKernelBuild() {
  static const KernelBuild build =
      chooseKernelBuild(__builtin_cpu_supports("avx2"),
                        __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"),
                        ProcessVectorBuildCap());
  return build;
}

#else

void flangePosesAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                     std::span<Transform> poses, std::span<HalfAngleSinCos> joint1) {
  flangePosesBaseline(robot, joints, poses, joint1);
}

void robTargetsAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                    std::span<RobTarget> targets) {
  robTargetsBaseline(robot, joints, targets);
}

void spaceJacobiansAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                        std::span<GeometricJacobian> out) {
  spaceJacobiansBaseline(robot, joints, out);
}

void bodyJacobiansAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                       std::span<GeometricJacobian> out) {
  bodyJacobiansBaseline(robot, joints, out);
}

void flangePosesAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                       std::span<Transform> poses, std::span<HalfAngleSinCos> joint1) {
  flangePosesBaseline(robot, joints, poses, joint1);
}

void robTargetsAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                      std::span<RobTarget> targets) {
  robTargetsBaseline(robot, joints, targets);
}

void spaceJacobiansAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                          std::span<GeometricJacobian> out) {
  spaceJacobiansBaseline(robot, joints, out);
}

void bodyJacobiansAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                         std::span<GeometricJacobian> out) {
  bodyJacobiansBaseline(robot, joints, out);
}

KernelBuild processorKernelBuild() {
  return KernelBuild::baseline;
}

#endif

}  // namespace zor::rob::detail
