#pragma once

// The hot paths of the arm model: joint motions, the flange pose and the screw exponentials of
// the Jacobians, shared by the forward kinematics, the robot target, the configuration of a
// joint solution and the Jacobians. Inline: each is a few dozen flops around the sine/cosine
// pairs, and a call would cost more than some of them.
//
// Implementation notes. The hot paths take the joint axes (and the screws' angular parts) as the
// unit vectors they are documented to be, when their squared length is within 1e-15 of 1:
// normalising them would change nothing beyond an ulp, but costs a square root and three
// divisions per joint. Other axes take the general path, which normalises (and throws for a zero
// axis). Products of unit quaternions keep the raw Hamilton product, which the normalisation rule
// would leave as it is.

#include <array>
#include <cmath>
#include <cstddef>

#include "detail/kinematics.hpp"
#include "robot/sincos.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/screw.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::detail {

/// Largest deviation of a joint axis' squared length from 1 for which the axis is taken as the
/// unit vector it stands for: normalising it would change it by at most an ulp.
inline constexpr double kUnitAxisTolerance = 1e-15;

/// \returns true when `a` is a unit vector within kUnitAxisTolerance.
inline bool isUnit(const Vec3& a) {
  return std::abs(a.squaredNorm() - 1.0) <= kUnitAxisTolerance;
}

/// \returns the motion of turning about the unit axis `axis` through `point` whose half-angle
/// sine and cosine are `sh` and `ch`: rotation R = (ch, sh·axis), translation q − R q.
inline Transform unitJointMotion(const Vec3& axis, const Pos& point, double sh, double ch) {
  const Rotation r = Rotation::raw(sh * axis.x, sh * axis.y, sh * axis.z, ch);
  const Vec3 q = point.toVec3();
  return {r, q - r.rotateVector(q)};
}

/// \returns the motion of turning about the axis `axis` through `point` by `degrees`: the
/// rotation R of that angle about the axis (normalised unless it is a unit vector already;
/// throws std::overflow_error "0-length vector cannot be normalized." for a length at most 1e-7)
/// and the translation q − R q.
inline Transform jointMotion(const Vec3& axis, const Pos& point, double degrees) {
  const double half = DegToRad(degrees) * 0.5;
  const double sh = std::sin(half);
  const double ch = std::cos(half);
  return unitJointMotion(isUnit(axis) ? axis : axis.normalized(), point, sh, ch);
}

/// \returns the flange pose as the product of the six joint motions and flangeHome, for axes
/// that are not all unit vectors. Out of line (arm_kinematics.cpp): the hot path never comes
/// here.
Transform flangePoseOfAnyAxes(const RobotConfig& robot, const RobJoint& joints);

/// The sine and cosine of half a joint angle.
struct HalfAngleSinCos {
  double sin{0.0};
  double cos{1.0};
};

/// \returns the flange pose e1 · … · e6 · flangeHome, and in `joint1` the sine and cosine of
/// half of joint 1 (radians). The products keep the raw quaternion product: every factor is a
/// unit quaternion, which the normalisation rule would leave as it is anyway.
inline Transform flangePose(const RobotConfig& robot, const RobJoint& joints,
                            HalfAngleSinCos& joint1) {
  // All six sine/cosine pairs first, two at a time.
  std::array<double, 6> half{};
  bool unit = true;
#pragma GCC unroll 6
  for (std::size_t i = 0; i < 6; ++i) {
    unit = unit & isUnit(robot.jointAxes[i]);
    half[i] = DegToRad(joints.values[i]) * 0.5;
  }
  std::array<double, 6> sh{};
  std::array<double, 6> ch{};
  sinCos(half, sh, ch);
  joint1 = {sh[0], ch[0]};
  if (!unit) [[unlikely]]
    return flangePoseOfAnyAxes(robot, joints);
  // Rotation: the quaternion product q1 · … · q6 · qM.
  Rotation r = Rotation::raw(sh[0] * robot.jointAxes[0].x, sh[0] * robot.jointAxes[0].y,
                             sh[0] * robot.jointAxes[0].z, ch[0]);
#pragma GCC unroll 6
  for (std::size_t i = 1; i < 6; ++i) {
    const Vec3& a = robot.jointAxes[i];
    r = r.hamilton(Rotation::raw(sh[i] * a.x, sh[i] * a.y, sh[i] * a.z, ch[i]));
  }
  r = r.hamilton(robot.flangeHome.rotation);
  // Translation: the flange's home position moved by joint 6, then 5, …, then 1, each a turn
  // about its axis a through its point c: x ↦ x + (R − I)(x − c), with
  // R − I = sin θ [a] + (1 − cos θ)(a aᵀ − I) for the unit axis a, sin θ = 2 sh ch and
  // 1 − cos θ = 2 sh². The entries of R − I do not depend on one another across joints, so six
  // short matrix-vector products remain in a row: about half the flops of composing six
  // transforms, equal up to rounding. At a zero angle R − I is exactly 0 and the position stays
  // exactly as it is.
  Vec3 p = robot.flangeHome.translation;
#pragma GCC unroll 6
  for (std::size_t k = 6; k-- > 0;) {
    const Vec3& a = robot.jointAxes[k];
    const double sn = 2.0 * sh[k] * ch[k];
    const double cs = 2.0 * sh[k] * sh[k];
    const double xx = cs * (a.x * a.x - 1.0);
    const double yy = cs * (a.y * a.y - 1.0);
    const double zz = cs * (a.z * a.z - 1.0);
    const double xy = cs * a.x * a.y;
    const double xz = cs * a.x * a.z;
    const double yz = cs * a.y * a.z;
    const double sx = sn * a.x;
    const double sy = sn * a.y;
    const double sz = sn * a.z;
    const Vec3 w = p - robot.jointPoints[k].toVec3();
    p += Vec3{xx * w.x + (xy - sz) * w.y + (xz + sy) * w.z,
              (xy + sz) * w.x + yy * w.y + (yz - sx) * w.z,
              (xz - sy) * w.x + (yz + sx) * w.y + zz * w.z};
  }
  return {r, p};
}

/// The angles θ = sign · joint (radians) of joints First to Last − 1 with the sine and cosine of
/// θ / 2 (the other entries stay zero), and whether the angular parts of their screws are unit
/// vectors within kUnitAxisTolerance (so that the exponentials need no normalisation).
struct HalfAngles {
  std::array<double, 6> theta{};
  std::array<double, 6> sh{};
  std::array<double, 6> ch{};
  bool unitScrews{true};
};

/// \returns the angles of joints First to Last − 1 with the sines and cosines of their halves,
/// all sine/cosine pairs computed in one go, two at a time, and tests the screws of those
/// joints.
template <std::size_t First, std::size_t Last>
inline HalfAngles halfAngles(const RobJoint& joints, double sign,
                             const std::array<ScrewAxis, 6>& screws) {
  HalfAngles h;
  std::array<double, Last - First> half{};
#pragma GCC unroll 6
  for (std::size_t i = First; i < Last; ++i) {
    h.unitScrews = h.unitScrews & isUnit(screws[i].w);
    h.theta[i] = sign * DegToRad(joints.values[i]);
    half[i - First] = h.theta[i] * 0.5;
  }
  std::array<double, Last - First> sh{};
  std::array<double, Last - First> ch{};
  sinCos(half, sh, ch);
#pragma GCC unroll 6
  for (std::size_t i = First; i < Last; ++i) {
    h.sh[i] = sh[i - First];
    h.ch[i] = ch[i - First];
  }
  return h;
}

/// \returns ScrewAxis::T(θ) of a screw with a unit angular part, from sin(θ/2) and cos(θ/2),
/// without normalising the axis: the same rotation, and the translation G v with
/// G = θ I + (1 − cos θ) W + (θ − sin θ) W², where W² v = ω (ω·v) − v for a unit ω, so that
/// G v = sin θ v + (1 − cos θ) ω × v + (θ − sin θ)(ω·v) ω.
inline Transform unitScrewExp(const ScrewAxis& s, double sh, double ch, double theta) {
  const Rotation r = Rotation::raw(sh * s.w.x, sh * s.w.y, sh * s.w.z, ch);
  const double sinTheta = 2.0 * sh * ch;
  const double oneMinusCos = 2.0 * sh * sh;
  return {
      r, s.v * sinTheta + s.w.cross(s.v) * oneMinusCos + s.w * ((theta - sinTheta) * s.w.dot(s.v))};
}

/// For k = 0 to 4, writes Ad(e[0] · … · e[k]) screw(k) into column column(k) of `jac`: the
/// adjoint (R ω, p × R ω + R v) of the growing product (R, p). The rotation of the product
/// goes through its matrix, which turns three vectors per step.
template <typename Screw, typename Column>
inline void writeAdjointColumns(GeometricJacobian& jac, const std::array<Transform, 5>& e,
                                Screw screw, Column column) {
  Transform t = e[0];
#pragma GCC unroll 6
  for (std::size_t k = 0; k < 5; ++k) {
    const Mat3 r = unitRotationMatrix(t.rotation);
    const ScrewAxis& s = screw(k);
    const Vec3 w = r * s.w;
    const Vec3 v = t.translation.cross(w) + r * s.v;
    jac.setCol(column(k), w, v);
    if (k < 4) {
      t.translation += r * e[k + 1].translation;
      t.rotation = t.rotation.hamilton(e[k + 1].rotation);
    }
  }
}

/// \returns the flange pose e1 · … · e6 · flangeHome.
inline Transform flangePose(const RobotConfig& robot, const RobJoint& joints) {
  HalfAngleSinCos joint1;
  return flangePose(robot, joints, joint1);
}

}  // namespace zor::rob::detail
