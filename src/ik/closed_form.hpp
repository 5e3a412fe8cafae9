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
//    solutions atan2(B, A) ± acos(c / √(A² + B²)).
// 2. Joints 2 and 3: in the plane normal to k2 they form a planar two-link arm; the distance
//    from axis 2 to the wrist centre gives the elbow angle by the law of cosines (two
//    solutions), the direction then gives joint 2.
// 3. The wrist: Rot(k4, θ4) Rot(k5, θ5) Rot(k6, θ6) = Rw = (R1 R2 R3)ᵀ R Mᵀ. With k5 normal to
//    k4 and k6, the angle between k4 and Rw k6 is |θ5 − θ0| (θ0 the turn about k5 that brings
//    k6 onto k4): two solutions. Joint 4 then brings Rot(k5, θ5) k6 onto Rw k6, and joint 6
//    takes the rest, computed from the chosen joints 4 and 5 so that the three always compose
//    to Rw, even where joint 4 is poorly determined near the wrist singularity.
// Every acos argument is first tested against the reach (beyond 1 + kReachTolerance there is
// no solution) and then snapped to ±1 within kReachTolerance, so rounding never yields NaN and
// a stretched elbow yields one solution, not two a few 1e-7 rad apart.
//
// Nothing here assumes the home posture of the builders: home may bend the arm anyhow, axes may
// point either way, and the flange frame may be any frame.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "zor/rob/robot_config.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::detail {

using IkVec = Vec3Template<double>;

/// A 3x3 matrix, row by row.
struct Mat3 {
  std::array<double, 9> m{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};

  double operator()(std::size_t r, std::size_t c) const { return m[3 * r + c]; }
  IkVec operator*(const IkVec& v) const {
    return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
            m[6] * v.x + m[7] * v.y + m[8] * v.z};
  }
  /// \returns Mᵀ · v.
  IkVec transposeTimes(const IkVec& v) const {
    return {m[0] * v.x + m[3] * v.y + m[6] * v.z, m[1] * v.x + m[4] * v.y + m[7] * v.z,
            m[2] * v.x + m[5] * v.y + m[8] * v.z};
  }
  Mat3 operator*(const Mat3& o) const {
    Mat3 p;
    for (std::size_t r = 0; r < 3; ++r)
      for (std::size_t c = 0; c < 3; ++c)
        p.m[3 * r + c] = m[3 * r] * o.m[c] + m[3 * r + 1] * o.m[3 + c] + m[3 * r + 2] * o.m[6 + c];
    return p;
  }
  /// \returns Mᵀ · o.
  Mat3 transposeTimes(const Mat3& o) const {
    Mat3 p;
    for (std::size_t r = 0; r < 3; ++r)
      for (std::size_t c = 0; c < 3; ++c)
        p.m[3 * r + c] = m[r] * o.m[c] + m[3 + r] * o.m[3 + c] + m[6 + r] * o.m[6 + c];
    return p;
  }
  /// \returns M · oᵀ.
  Mat3 timesTranspose(const Mat3& o) const {
    Mat3 p;
    for (std::size_t r = 0; r < 3; ++r)
      for (std::size_t c = 0; c < 3; ++c)
        p.m[3 * r + c] =
            m[3 * r] * o.m[3 * c] + m[3 * r + 1] * o.m[3 * c + 1] + m[3 * r + 2] * o.m[3 * c + 2];
    return p;
  }
};

/// \returns the rotation matrix of the quaternion (w, x, y, z) of any nonzero length: the
/// rotation it stands for, exactly orthogonal up to rounding even when it is not normalised.
inline Mat3 rotationMatrix(double w, double x, double y, double z) {
  const double s = 2.0 / (w * w + x * x + y * y + z * z);
  const double xs = x * s;
  const double ys = y * s;
  const double zs = z * s;
  Mat3 r;
  r.m = {1.0 - (y * ys + z * zs), x * ys - w * zs,         x * zs + w * ys,
         x * ys + w * zs,         1.0 - (x * xs + z * zs), y * zs - w * xs,
         x * zs - w * ys,         y * zs + w * xs,         1.0 - (x * xs + y * ys)};
  return r;
}

/// \returns Rot(k, θ) from cos θ and sin θ, for the unit axis k (Rodrigues' formula).
inline Mat3 axisRotation(const IkVec& k, double c, double s) {
  const double t = 1.0 - c;
  Mat3 r;
  r.m = {c + t * k.x * k.x,       t * k.x * k.y - s * k.z, t * k.x * k.z + s * k.y,
         t * k.x * k.y + s * k.z, c + t * k.y * k.y,       t * k.y * k.z - s * k.x,
         t * k.x * k.z - s * k.y, t * k.y * k.z + s * k.x, c + t * k.z * k.z};
  return r;
}

/// \returns Rot(k, θ) · v for the unit axis k: v cos θ + (k × v) sin θ + k (k·v)(1 − cos θ).
inline IkVec rotateAbout(const IkVec& k, double c, double s, const IkVec& v) {
  return v * c + k.cross(v) * s + k * (k.dot(v) * (1.0 - c));
}

/// \returns the signed angle (radians) of the turn about the unit axis k that brings the part of
/// `from` normal to k onto the direction of the part of `to` normal to k. The parts are formed
/// first: their dot product then keeps its precision when both are short (near the wrist
/// singularity), where v·w − (k·v)(k·w) would cancel to rounding noise.
inline double angleAbout(const IkVec& k, const IkVec& from, const IkVec& to) {
  const IkVec f = from - k * k.dot(from);
  const IkVec t = to - k * k.dot(to);
  return std::atan2(k.dot(f.cross(t)), f.dot(t));
}

/// What the closed form needs of an arm, computed once from its axes, points and flange home
/// pose. `solvable` is false for any arm the closed form does not cover; `approximate` is true
/// also for an arm whose axes 2 and 3 are nearly parallel (within 0.2 in the sine), whose axis 5
/// is nearly perpendicular to axes 4 and 6, and whose wrist axes need not meet: its closed form,
/// with those deviations ignored (the wrist centre taken where axes 4 and 5 come nearest), then
/// gives the seeds of the numerical path.
struct ClosedFormArm {
  bool solvable{false};
  bool approximate{false};
  std::array<IkVec, 6> axes{};  ///< Unit joint axes at home.
  IkVec shoulderPoint{};        ///< A point on axis 1.
  IkVec axis2Point{};           ///< A point on axis 2.
  IkVec wristInFlange{};        ///< The wrist centre in the flange frame, M⁻¹ W.
  Mat3 flangeHomeRotation{};    ///< The rotation of M.
  // Joint 1: A = k2·u − (k1·k2)(k1·u), B = u·(k1 × k2), c = d2 − (k1·k2)(k1·u) for the wrist
  // centre u relative to q1.
  IkVec axis12Normal{};         ///< k1 × k2.
  double axis12Cosine{0.0};     ///< k1·k2.
  double wristAlongAxis2{0.0};  ///< d2 = k2·(W − q1).
  double axis2Sine{0.0};        ///< |k1 × k2|: √(A² + B²) = |k1 × k2| · distance to axis 1.
  // Joints 2 and 3 in the plane normal to k2: a = (q3 − q2)⊥, b = (W − q3)⊥.
  IkVec upperArm{};         ///< a.
  IkVec forearm{};          ///< b.
  double linkCosine{0.0};   ///< a·b.
  double linkSine{0.0};     ///< a·(k2 × b).
  double linkProduct{0.0};  ///< |a| |b|.
  double linkSquares{0.0};  ///< |a|² + |b|².
  double axis3Sign{1.0};    ///< k3·k2: ±1.
  // The wrist.
  double wristZero{0.0};  ///< θ0: the turn about k5 that brings k6 onto k4 (radians).
};

/// The joint values of one solution before turns and limits, in radians, with the free joints
/// already set.
using BaseSolution = std::array<double, 6>;

/// Up to 8 solutions of the closed form, and whether any exists before the limits.
struct BaseSolutions {
  std::array<BaseSolution, 8> solutions{};
  std::size_t count{0};
};

/// The values (radians) the free joints take at a singularity: joint 1 on the shoulder
/// singularity, joint 2 when the wrist centre lies on axis 2, joint 4 on the wrist singularity.
struct FreeJoints {
  double joint1{0.0};
  double joint2{0.0};
  double joint4{0.0};
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

/// \returns atan2(B, A) ± acos(c / ρ) into `out` (one value when they coincide); 0 values when
/// |c| > ρ (1 + kReachTolerance). With a positive `seedSpread` (radians) it seeds instead: always
/// two values, the offset clamped into [seedSpread, π − seedSpread], so that a pose just beyond
/// the reach of a nearby arm still seeds both branches of the true one.
inline std::size_t solveCosSin(double a, double b, double c, double rho, std::array<double, 2>& out,
                               double seedSpread = 0.0) {
  const double ratio = c / rho;
  const double base = std::atan2(b, a);
  if (seedSpread > 0.0) {
    if (std::isnan(ratio))
      return 0;
    const double offset = std::clamp(std::acos(std::clamp(ratio, -1.0, 1.0)), seedSpread,
                                     3.141592653589793 - seedSpread);
    out[0] = base + offset;
    out[1] = base - offset;
    return 2;
  }
  if (!(std::abs(ratio) <= 1.0 + kReachTolerance))
    return 0;
  if (std::abs(ratio) >= 1.0 - kReachTolerance) {
    out[0] = ratio > 0.0 ? base : base + 3.141592653589793;
    return 1;
  }
  const double offset = std::acos(ratio);
  out[0] = base + offset;
  out[1] = base - offset;
  return 2;
}

/// Solves the target (rotation `r`, position `p`) into `out`. With a positive `seedSpread` the
/// branches seed the numerical path (see solveCosSin).
inline void solveClosedForm(const ClosedFormArm& arm, const Mat3& r, const IkVec& p,
                            const FreeJoints& free, BaseSolutions& out, double seedSpread = 0.0) {
  out.count = 0;
  const IkVec& k1 = arm.axes[0];
  const IkVec& k2 = arm.axes[1];
  const IkVec& k4 = arm.axes[3];
  const IkVec& k5 = arm.axes[4];
  const IkVec& k6 = arm.axes[5];
  const IkVec wrist = p + r * arm.wristInFlange;
  const Mat3 rotationTimesHomeInverse = r.timesTranspose(arm.flangeHomeRotation);

  // Joint 1.
  const IkVec u = wrist - arm.shoulderPoint;
  const double along1 = k1.dot(u);
  const double a1 = k2.dot(u) - arm.axis12Cosine * along1;
  const double b1 = u.dot(arm.axis12Normal);
  const double c1 = arm.wristAlongAxis2 - arm.axis12Cosine * along1;
  const double rho1 = std::sqrt(a1 * a1 + b1 * b1);
  std::array<double, 2> theta1{};
  std::size_t n1 = 0;
  if (rho1 < kAxisDistanceTolerance * arm.axis2Sine &&
      std::abs(c1) < kAxisDistanceTolerance * arm.axis2Sine) {
    // Shoulder singularity: any joint 1 keeps the wrist centre; the seed's value and the half
    // turn from it give the two shoulder branches.
    theta1 = {free.joint1, free.joint1 > 0.0 ? free.joint1 - 3.141592653589793
                                             : free.joint1 + 3.141592653589793};
    n1 = 2;
  } else {
    n1 = solveCosSin(a1, b1, c1, rho1, theta1, seedSpread);
  }

  for (std::size_t i1 = 0; i1 < n1; ++i1) {
    const double cos1 = std::cos(theta1[i1]);
    const double sin1 = std::sin(theta1[i1]);
    // The wrist centre turned back by joint 1, relative to axis 2, in the plane normal to k2.
    const IkVec back = rotateAbout(k1, cos1, -sin1, u) + arm.shoulderPoint - arm.axis2Point;
    const IkVec t = back - k2 * k2.dot(back);
    const double tt = t.squaredNorm();
    std::array<double, 2> phi{};
    const std::size_t n3 = solveCosSin(arm.linkCosine, arm.linkSine, 0.5 * (tt - arm.linkSquares),
                                       arm.linkProduct, phi, seedSpread);
    const Mat3 r1 = axisRotation(k1, cos1, sin1);
    for (std::size_t i3 = 0; i3 < n3; ++i3) {
      const double cos3 = std::cos(phi[i3]);
      const double sin3 = std::sin(phi[i3]);
      const IkVec reach = arm.upperArm + rotateAbout(k2, cos3, sin3, arm.forearm);
      const bool onAxis2 = tt < kAxisDistanceTolerance * kAxisDistanceTolerance;
      const double theta2 = onAxis2 ? free.joint2 : angleAbout(k2, reach, t);
      const double theta3 = arm.axis3Sign * phi[i3];
      // Joints 2 and 3 turn about parallel axes: their rotations compose to one about k2.
      const double theta23 = theta2 + phi[i3];
      const Mat3 r123 = r1 * axisRotation(k2, std::cos(theta23), std::sin(theta23));
      const Mat3 rw = r123.transposeTimes(rotationTimesHomeInverse);

      // The wrist.
      const IkVec w = rw * k6;
      const double sinAlpha = k4.cross(w).norm();
      const bool singular = sinAlpha < kWristSingularSine;
      const double alpha =
          singular ? (k4.dot(w) > 0.0 ? 0.0 : 3.141592653589793) : std::atan2(sinAlpha, k4.dot(w));
      const std::size_t n5 = alpha == 0.0 || alpha == 3.141592653589793 ? 1 : 2;
      for (std::size_t i5 = 0; i5 < n5; ++i5) {
        const double theta5 = i5 == 0 ? arm.wristZero + alpha : arm.wristZero - alpha;
        const double cos5 = std::cos(theta5);
        const double sin5 = std::sin(theta5);
        const double theta4 =
            singular ? free.joint4 : angleAbout(k4, rotateAbout(k5, cos5, sin5, k6), w);
        const double cos4 = std::cos(theta4);
        const double sin4 = std::sin(theta4);
        // Joint 6 brings k5 (normal to k6) where Rot(k5, −θ5) Rot(k4, −θ4) Rw takes it.
        const IkVec k5Moved = rotateAbout(k5, cos5, -sin5, rotateAbout(k4, cos4, -sin4, rw * k5));
        const double theta6 = angleAbout(k6, k5, k5Moved);
        out.solutions[out.count++] = {theta1[i1], theta2, theta3, theta4, theta5, theta6};
      }
    }
  }
}

/// \returns the closed-form description of `robot`, or one with `solvable` (and perhaps
/// `approximate`) false.
ClosedFormArm MakeClosedFormArm(const RobotConfig& robot);

}  // namespace zor::rob::detail
