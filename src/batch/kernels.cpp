#include "batch/kernels.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "ik/lanes.hpp"
#include "robot/sincos.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

constexpr unsigned long long kSignBit = 0x8000000000000000ULL;

/// A 3-vector per lane; the operations are those of Vec3, term for term.
template <typename V>
struct Vec3Lanes {
  V x{};
  V y{};
  V z{};

  [[gnu::always_inline]] static Vec3Lanes splat(const Vec3& v) {
    return {V{} + v.x, V{} + v.y, V{} + v.z};
  }
  [[gnu::always_inline]] Vec3Lanes operator+(const Vec3Lanes& o) const {
    return {x + o.x, y + o.y, z + o.z};
  }
  [[gnu::always_inline]] Vec3Lanes cross(const Vec3Lanes& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  [[gnu::always_inline]] Vec3 lane(std::size_t l) const { return {x[l], y[l], z[l]}; }
};

/// A quaternion per lane, with Rotation::hamilton's products in its order.
template <typename V>
struct QuatLanes {
  V x{};
  V y{};
  V z{};
  V w{};

  template <typename O>
  [[gnu::always_inline]] QuatLanes hamilton(const O& o) const {
    return {w * o.x + x * o.w + y * o.z - z * o.y, w * o.y + y * o.w + z * o.x - x * o.z,
            w * o.z + z * o.w + x * o.y - y * o.x, w * o.w - x * o.x - y * o.y - z * o.z};
  }
  [[gnu::always_inline]] Rotation lane(std::size_t l) const {
    return Rotation::raw(x[l], y[l], z[l], w[l]);
  }
};

/// A rigid motion per lane.
template <typename V>
struct MotionLanes {
  QuatLanes<V> rotation;
  Vec3Lanes<V> translation;
};

/// RotationMatrix of a quaternion per lane, entry for entry.
template <typename V>
struct MatrixLanes {
  V m00, m01, m02, m10, m11, m12, m20, m21, m22;

  [[gnu::always_inline]] explicit MatrixLanes(const QuatLanes<V>& q) {
    const V tx = 2.0 * q.x;
    const V ty = 2.0 * q.y;
    const V tz = 2.0 * q.z;
    const V twx = tx * q.w;
    const V twy = ty * q.w;
    const V twz = tz * q.w;
    const V txx = tx * q.x;
    const V txy = ty * q.x;
    const V txz = tz * q.x;
    const V tyy = ty * q.y;
    const V tyz = tz * q.y;
    const V tzz = tz * q.z;
    m00 = 1.0 - (tyy + tzz);
    m01 = txy - twz;
    m02 = txz + twy;
    m10 = txy + twz;
    m11 = 1.0 - (txx + tzz);
    m12 = tyz - twx;
    m20 = txz - twy;
    m21 = tyz + twx;
    m22 = 1.0 - (txx + tyy);
  }

  /// The matrix times `v`: a Vec3 (the same in every lane) or a Vec3Lanes.
  template <typename T>
  [[gnu::always_inline]] Vec3Lanes<V> operator*(const T& v) const {
    return {m00 * v.x + m01 * v.y + m02 * v.z, m10 * v.x + m11 * v.y + m12 * v.z,
            m20 * v.x + m21 * v.y + m22 * v.z};
  }
};

/// The angles and half-angle sines and cosines of W consecutive joint vectors, joint by joint.
template <std::size_t W>
struct JointLanes {
  using V = typename Lanes<W>::Double;
  std::array<V, 6> theta{};
  std::array<V, 6> sh{};
  std::array<V, 6> ch{};
  /// Whether every half-angle lies within the inline sine/cosine range (so the scalar call takes
  /// the same inline path), lane by lane.
  std::array<bool, W> inRange{};
};

/// joints[l].values[k] in lane l, l = 0 … W − 1.
template <typename V, std::size_t... L>
[[gnu::always_inline]] inline V gatherJoint(const RobJoint* joints, std::size_t k,
                                            std::index_sequence<L...>) {
  return V{joints[L].values[k]...};
}

/// Loads joints[0 … W − 1] as θ = sign · joint (radians) and the sines and cosines of θ / 2.
template <std::size_t W>
[[gnu::always_inline]] inline JointLanes<W> loadJoints(const RobJoint* joints, double sign) {
  using V = typename Lanes<W>::Double;
  using B = typename Lanes<W>::Bits;
  using M = typename Lanes<W>::Mask;
  JointLanes<W> j;
  std::array<V, 6> half{};
  M inRange = M{} - 1;
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 6; ++k) {
    const V degrees = gatherJoint<V>(joints, k, std::make_index_sequence<W>{});
    // DegToRad's operations; values beyond the inline range are recomputed by the scalar call.
    j.theta[k] = sign * (degrees * kPi / 180.0);
    half[k] = j.theta[k] * 0.5;
    const V magnitude = std::bit_cast<V>(std::bit_cast<B>(half[k]) & ~kSignBit);
    inRange &= magnitude <= kMaxInlineSinCosArgument;
  }
  // Lanes to be recomputed by the scalar call still go through the lanes: keep them finite.
  if (any(~inRange)) [[unlikely]] {
#pragma GCC unroll 6
    for (std::size_t k = 0; k < 6; ++k)
      half[k] = select(inRange, half[k], V{});
  }
  for (std::size_t l = 0; l < W; ++l)
    j.inRange[l] = inRange[l] != 0;
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 6; ++k)
    sincos_impl::sinCosLanes<V, B>(half[k], j.sh[k], j.ch[k]);
  return j;
}

/// The flange poses of joints[0 … W − 1]: flangePose's operations, lane by lane.
template <std::size_t W>
[[gnu::always_inline]] inline void flangePoseLanes(const RobotConfig& robot, const RobJoint* joints,
                                                   Transform* poses, HalfAngleSinCos* joint1) {
  using V = typename Lanes<W>::Double;
  const JointLanes<W> j = loadJoints<W>(joints, 1.0);
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
  for (std::size_t l = 0; l < W; ++l) {
    if (j.inRange[l]) {
      poses[l] = {r.lane(l), p.lane(l)};
      if (joint1 != nullptr)
        joint1[l] = {sh[0][l], ch[0][l]};
    } else {
      HalfAngleSinCos half1;
      poses[l] = flangePose(robot, joints[l], half1);
      if (joint1 != nullptr)
        joint1[l] = half1;
    }
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

// Each build inlines its kernel whole (flatten), so that all of it runs in its instruction set.
// The AVX2 build enables AVX2 alone: with FMA the compiler would fuse the products and sums that
// the scalar calls round one by one.

[[gnu::flatten]] void flangePosesBaseline(const RobotConfig& robot,
                                          std::span<const RobJoint> joints,
                                          std::span<Transform> poses,
                                          std::span<HalfAngleSinCos> joint1) {
  flangePosesIn<2>(robot, joints, poses, joint1);
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

#else

void flangePosesAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                     std::span<Transform> poses, std::span<HalfAngleSinCos> joint1) {
  flangePosesBaseline(robot, joints, poses, joint1);
}

void spaceJacobiansAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                        std::span<GeometricJacobian> out) {
  spaceJacobiansBaseline(robot, joints, out);
}

void bodyJacobiansAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                       std::span<GeometricJacobian> out) {
  bodyJacobiansBaseline(robot, joints, out);
}

#endif

}  // namespace zor::rob::detail
