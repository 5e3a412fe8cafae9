#pragma once

#include <Eigen/Core>
#include <array>
#include <cmath>
#include <cstddef>

#include "zor/rob/export.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

// Rigid-body motion in screw-theory form.
//
// Every six-vector of this header is ordered angular part first, linear part second:
// (ωx, ωy, ωz, vx, vy, vz) for screw axes and twists, (mx, my, mz, fx, fy, fz) for wrenches.
// Angles are radians; lengths are whatever unit the caller uses (millimetres in the robot model).
// The hot operations (ScrewAxis::T, Transform composition, mapping and adjoint) are inline and
// allocate nothing.

struct Transform;
struct Twist;
struct ScrewAxis;
struct Wrench;

namespace detail {

/// \returns component i of (x, y, z); indices below 0 read x, above 2 read z.
template <typename V>
constexpr auto& vec3Component(V& v, int i) {
  return i <= 0 ? v.x : (i == 1 ? v.y : v.z);
}

/// \returns component i of the six-vector (a, b): a for 0..2, b for 3..5.
template <typename S>
constexpr auto& sixVectorComponent(S& a, S& b, int i) {
  return i < 3 ? vec3Component(a, i) : vec3Component(b, i - 3);
}

}  // namespace detail

/// A spatial velocity (ω, v): angular velocity, then the linear velocity of the point at the
/// frame origin. Zero by default.
struct ZORROB_API Twist {
  Vec3 w{};
  Vec3 v{};

  constexpr Twist() = default;
  /// The components in stored order: angular (wx, wy, wz), then linear (vx, vy, vz).
  constexpr Twist(double wx, double wy, double wz, double vx, double vy, double vz)
      : w{wx, wy, wz}, v{vx, vy, vz} {}
  constexpr Twist(const Vec3& angular, const Vec3& linear) : w(angular), v(linear) {}

  /// Component i in stored order (0..2 angular, 3..5 linear); i is not range-checked.
  constexpr double& operator[](int i) { return detail::sixVectorComponent(w, v, i); }
  constexpr double operator[](int i) const { return detail::sixVectorComponent(w, v, i); }

  /// \returns the Lie bracket [ad_V] s of this twist V = (ω, v) with s = (sω, sv):
  /// (ω × sω, ω × sv + v × sω). Changes nothing, though not declared const.
  inline Twist adjoint(const ScrewAxis& s);

  constexpr bool operator==(const Twist&) const = default;
};

/// The unit screw axis of a revolute joint (ω, v): ω the unit direction of the axis and
/// v = -(ω × q) for a point q on the axis. Zero by default.
struct ZORROB_API ScrewAxis {
  Vec3 w{};
  Vec3 v{};

  constexpr ScrewAxis() = default;
  /// The screw of a revolute joint whose axis has direction (wx, wy, wz) and passes through the
  /// point (qx, qy, qz). The direction is stored as given (callers pass a unit vector).
  constexpr ScrewAxis(double wx, double wy, double wz, double qx, double qy, double qz)
      : ScrewAxis(Vec3{wx, wy, wz}, Pos{qx, qy, qz}) {}
  /// The screw of a revolute joint with direction `axis` (stored as given) through `point`.
  constexpr ScrewAxis(const Vec3& axis, const Pos& point)
      : w(axis), v(-axis.cross(point.toVec3())) {}

  /// Component i in stored order (0..2 angular, 3..5 linear); i is not range-checked.
  constexpr double& operator[](int i) { return detail::sixVectorComponent(w, v, i); }
  constexpr double operator[](int i) const { return detail::sixVectorComponent(w, v, i); }

  /// \returns the exponential e^([S]θ): the motion of turning the joint by `theta` radians.
  /// Throws std::overflow_error "0-length vector cannot be normalized." when |ω| ≤ 1e-7 (a
  /// prismatic screw has no exponential here).
  inline Transform T(double theta) const;

  constexpr bool operator==(const ScrewAxis&) const = default;
};

/// A wrench (m, f): moment, then force. Zero by default.
struct ZORROB_API Wrench {
  Vec3 m{};
  Vec3 f{};

  constexpr Wrench() = default;
  /// The components in stored order: moment (mx, my, mz), then force (fx, fy, fz).
  constexpr Wrench(double mx, double my, double mz, double fx, double fy, double fz)
      : m{mx, my, mz}, f{fx, fy, fz} {}
  constexpr Wrench(const Vec3& moment, const Vec3& force) : m(moment), f(force) {}

  /// Component i in stored order (0..2 moment, 3..5 force); i is not range-checked.
  constexpr double& operator[](int i) { return detail::sixVectorComponent(m, f, i); }
  constexpr double operator[](int i) const { return detail::sixVectorComponent(m, f, i); }

  constexpr bool operator==(const Wrench&) const = default;
};

/// A rigid transform, an element of SE(3): a unit quaternion and a translation. It maps
/// coordinates of the moved frame into the reference frame (p ↦ R p + t); in
/// `aTb * bTc == aTc` the right transform is applied first.
///
/// Class invariant (not enforced): the rotation is a unit quaternion. `operator*` and `inverse`
/// renormalise by the rotation's normalisation rule; `operator*=` keeps the raw product.
struct ZORROB_API Transform {
  Rotation rotation{};
  Vec3 translation{};

  /// The identity.
  constexpr Transform() = default;
  constexpr Transform(const Rotation& r, const Vec3& t) : rotation(r), translation(t) {}

  /// \returns the transform of a pose: its position as the translation and its orientation
  /// record divided exactly by its length as the rotation. Throws std::logic_error "normalize
  /// quaternion of 0 magnitude" for a record whose squared length is below 1e-6.
  static Transform FromPose(const Pose& pose);

  /// \returns the pose of this transform: the translation as the position and the rotation's
  /// components as the orientation record, as they are (the rotation is a unit quaternion).
  constexpr Pose toPose() const { return {translation.toPos(), rotation.rawOrient()}; }

  /// \returns the inverse: the conjugate rotation (normalised by the rotation's rule) and the
  /// translation -(R⁻¹ t). Throws std::logic_error "normalize quaternion of 0 magnitude" when
  /// the rotation's squared norm is below 1e-6.
  Transform inverse() const {
    const Rotation conj(rotation.w, -rotation.x, -rotation.y, -rotation.z);
    return {conj, -conj.rotateVector(translation)};
  }

  /// \returns this transform after `o` (o applied first): rotation R·R_o, translation
  /// t + R t_o. The product quaternion is normalised by the rotation's rule, so this throws
  /// std::logic_error "normalize quaternion of 0 magnitude" when it is nearly zero.
  Transform operator*(const Transform& o) const {
    return {rotation * o.rotation, translation + rotation.rotateVector(o.translation)};
  }

  /// Multiplies by `o` on the right like operator*, but keeps the raw Hamilton product without
  /// any normalisation: repeated use may let the quaternion drift from unit length. Never
  /// throws.
  constexpr Transform& operator*=(const Transform& o) {
    translation += rotation.rotateVector(o.translation);
    rotation = rotation.hamilton(o.rotation);
    return *this;
  }

  /// \returns the position mapped into the reference frame: R p + t.
  constexpr Pos transform(const Pos& p) const {
    return (rotation.rotateVector(p.toVec3()) + translation).toPos();
  }
  /// \returns the free vector mapped into the reference frame: R v (no translation).
  constexpr Vec3 transform(const Vec3& v) const { return rotation.rotateVector(v); }

  /// \returns the twist moved into the reference frame by the adjoint map:
  /// (R ω, t × (R ω) + R v). Changes nothing, though not declared const.
  constexpr Twist adjoint(const Twist& tw) {
    const Vec3 rw = rotation.rotateVector(tw.w);
    return {rw, translation.cross(rw) + rotation.rotateVector(tw.v)};
  }
  /// \returns the screw axis moved into the reference frame by the adjoint map:
  /// (R ω, t × (R ω) + R v). Changes nothing, though not declared const.
  constexpr ScrewAxis adjoint(const ScrewAxis& s) {
    ScrewAxis r;
    r.w = rotation.rotateVector(s.w);
    r.v = translation.cross(r.w) + rotation.rotateVector(s.v);
    return r;
  }

  /// \returns the transpose of the 6x6 adjoint matrix times the wrench (m, f):
  /// (Rᵀ m - Rᵀ (t × f), Rᵀ f), with R the rotation matrix of the quaternion. Changes nothing,
  /// though not declared const.
  Wrench adjointT(const Wrench& wrench);

  /// \returns the exponential coordinates S θ of this transform (angular part first): the
  /// rotation's unit axis times its angle θ in [0, π], and the matching linear part. A rotation
  /// angle below 1e-6 rad counts as a pure translation: (0, 0, 0, tx, ty, tz). Never throws.
  Twist log() const;

  /// Rotation angle (radians) below which log() treats the transform as a pure translation.
  static constexpr double kPureTranslationAngle = 1e-6;
};

/// Six numbers without a fixed meaning (joint rates multiplied by a Jacobian). Zero by default.
struct ZORROB_API Vector6 {
  std::array<double, 6> values{};

  constexpr Vector6() = default;
  constexpr Vector6(double v0, double v1, double v2, double v3, double v4, double v5)
      : values{v0, v1, v2, v3, v4, v5} {}

  /// Element i (0..5); not range-checked.
  constexpr double& operator[](int i) { return values[static_cast<std::size_t>(i)]; }
  constexpr double operator[](int i) const { return values[static_cast<std::size_t>(i)]; }

  constexpr bool operator==(const Vector6&) const = default;
};

/// The speeds of joints 1 to 6 at indices 0 to 5. Zero by default.
struct ZORROB_API JointSpeed {
  std::array<double, 6> values{};

  /// Speed of joint i + 1 (i = 0..5); not range-checked.
  constexpr double& operator[](int i) { return values[static_cast<std::size_t>(i)]; }
  constexpr double operator[](int i) const { return values[static_cast<std::size_t>(i)]; }

  /// Sets all six speeds to 0.
  constexpr void setZero() { values.fill(0.0); }
  /// Sets the speed of joint i + 1 (i = 0..5). No bounds check is made.
  constexpr void setSpeed(int i, double value) { (*this)[i] = value; }

  constexpr bool operator==(const JointSpeed&) const = default;
};

/// A 6x6 Jacobian whose column i (0-based) is the screw axis of joint i + 1, angular rows
/// first. Stored column by column; zero by default.
struct ZORROB_API GeometricJacobian {
  using Matrix = Eigen::Matrix<double, 6, 6, Eigen::DontAlign>;

  Matrix matrix{Matrix::Zero()};

  /// Element (row, col), both 0..5; not range-checked.
  double& operator()(int row, int col) { return matrix(row, col); }
  double operator()(int row, int col) const { return matrix(row, col); }

  /// Sets column i (0..5) to the screw axis `s`, leaving the other columns alone.
  void setCol(int i, const ScrewAxis& s) { setCol(i, s.w, s.v); }

  /// Sets column i (0..5) to the six-vector (w, v): the angular part `w` in rows 0 to 2, the
  /// linear part `v` in rows 3 to 5. The other columns stay as they are.
  void setCol(int i, const Vec3& w, const Vec3& v) {
    matrix(0, i) = w.x;
    matrix(1, i) = w.y;
    matrix(2, i) = w.z;
    matrix(3, i) = v.x;
    matrix(4, i) = v.y;
    matrix(5, i) = v.z;
  }

  /// \returns the matrix times the joint rates: component r is Σ_c J(r, c)·qdot(c).
  Twist operator*(const Vector6& qdot) const {
    Twist t;
    for (int r = 0; r < 6; ++r) {
      double sum = 0.0;
      for (int c = 0; c < 6; ++c)
        sum += matrix(r, c) * qdot[c];
      t[r] = sum;
    }
    return t;
  }
};

/// The spatial inertia of a rigid body: the 3x3 rotational inertia (stored column by column)
/// and the mass. Zero by default.
struct ZORROB_API SpacialInertia {
  using Matrix3 = Eigen::Matrix<double, 3, 3, Eigen::DontAlign>;

  Matrix3 inertia{Matrix3::Zero()};
  double mass{0.0};

  /// Sets a diagonal rotational inertia (products of inertia zero) and the mass.
  void set(double ixx, double iyy, double izz, double m);

  /// \returns the 6x6 block matrix [[inertia, 0], [0, mass·I]] (angular rows first).
  Eigen::Matrix<double, 6, 6> matrix() const;
};

/// \returns the skew-symmetric matrix [w] with rows (0, -wz, wy), (wz, 0, -wx), (-wy, wx, 0),
/// so that [w] x = w × x.
ZORROB_API Eigen::Matrix3d Vector3ToSkewSymmetric(const Vec3& w);

inline Twist Twist::adjoint(const ScrewAxis& s) {
  return {w.cross(s.w), w.cross(s.v) + v.cross(s.w)};
}

inline Transform ScrewAxis::T(double theta) const {
  // The rotation is the one of RotationTemplate(theta, w): the half-angle quaternion about the
  // normalised axis, computed the same way, operation for operation. Its half-angle sine and
  // cosine also give sin θ and cos θ by the double-angle formulas, so one sine/cosine pair is
  // evaluated per exponential.
  const double n = detail::unitScale(w.x, w.y, w.z);
  const double half = theta * 0.5;
  const double sh = std::sin(half);
  const double ch = std::cos(half);
  const Rotation r = Rotation::raw(sh * (w.x / n), sh * (w.y / n), sh * (w.z / n), ch);
  const double sinTheta = 2.0 * sh * ch;
  const double oneMinusCos = 2.0 * sh * sh;
  // G v with G = θ I + (1 - cos θ) W + (θ - sin θ) W W and W = [ω], using W x = ω × x.
  const Vec3 wv = w.cross(v);
  const Vec3 wwv = w.cross(wv);
  return {r, v * theta + wv * oneMinusCos + wwv * (theta - sinTheta)};
}

}  // namespace zor::rob
