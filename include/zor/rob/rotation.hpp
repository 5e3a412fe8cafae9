#pragma once

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <concepts>
#include <string>

#include "zor/rob/detail/errors.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// A rotation as a unit quaternion, stored like Eigen's Quaternion: x, y, z, then w.
///
/// Class invariant: |q|² lies within 1e-6 of 1 after every constructor that takes free
/// components, after normalize() and after the rotation product. The rotation acts on vectors
/// as v' = q·v·q⁻¹ and `a * b` rotates first by b, then by a. q and -q are different values.
///
/// \warning The component constructor takes the scalar part first, (w, x, y, z), while the
/// fields are stored (x, y, z, w).
template <std::floating_point T>
struct ZORROB_API RotationTemplate {
  T x{0};
  T y{0};
  T z{0};
  T w{1};

  /// The identity.
  constexpr RotationTemplate() = default;

  /// The quaternion (qw, qx, qy, qz), scalar first, normalised by the normalisation rule:
  /// throws std::logic_error "normalize quaternion of 0 magnitude" when |q|² < 1e-6, leaves the
  /// components as given when ||q|² - 1| < 1e-6, and divides by |q| otherwise.
  RotationTemplate(T qw, T qx, T qy, T qz) : x(qx), y(qy), z(qz), w(qw) { normalize(); }

  /// Rotation of `angle` radians about `axis`, which is normalised first (throws
  /// std::overflow_error "0-length vector cannot be normalized." for a length at most 1e-7).
  RotationTemplate(T angle, const Vec3Template<T>& axis) {
    const T n = detail::unitScale(axis.x, axis.y, axis.z);
    setAngleAxis(angle, axis.x / n, axis.y / n, axis.z / n);
  }

  /// Rotation of `angle` radians about the unit `axis`, taken as it is.
  RotationTemplate(T angle, const DirTemplate<T>& axis) {
    setAngleAxis(angle, axis.x, axis.y, axis.z);
  }

  /// From Euler angles in radians: Rz(rz)·Ry(ry)·Rx(rx), i.e. first about the fixed X axis by
  /// rx, then about fixed Y by ry, then about fixed Z by rz. Normalised by the normalisation
  /// rule.
  RotationTemplate(T rx, T ry, T rz) {
    const T sa = std::sin(rx / 2), ca = std::cos(rx / 2);
    const T sb = std::sin(ry / 2), cb = std::cos(ry / 2);
    const T sc = std::sin(rz / 2), cc = std::cos(rz / 2);
    x = sa * cb * cc - ca * sb * sc;
    y = ca * sb * cc + sa * cb * sc;
    z = ca * cb * sc - sa * sb * cc;
    w = ca * cb * cc + sa * sb * sc;
    normalize();
  }

  /// \returns the identity rotation.
  static constexpr RotationTemplate Identity() { return {}; }

  /// \returns the rotation the orientation record `o` stands for: its components, scalar q1
  /// first, normalised by the normalisation rule (throws std::logic_error "normalize quaternion
  /// of 0 magnitude" when |q|² < 1e-6).
  static RotationTemplate FromOrient(const OrientTemplate<T>& o) {
    return RotationTemplate(o.q1, o.q2, o.q3, o.q4);
  }

  /// \returns the rotation whose matrix has the three directions as columns (not checked for
  /// orthogonality), converted the way Eigen converts a rotation matrix and scaled to unit
  /// length when its norm is not zero. Never throws.
  static RotationTemplate FromAxes(const DirTemplate<T>& xAxis, const DirTemplate<T>& yAxis,
                                   const DirTemplate<T>& zAxis);
  /// \returns the smallest rotation turning `from` into `to` (Eigen's setFromTwoVectors).
  static RotationTemplate From2Dirs(const DirTemplate<T>& from, const DirTemplate<T>& to);
  /// \returns the smallest rotation turning `from` into `to`, for vectors of any non-zero length.
  static RotationTemplate From2Vectors(const Vec3Template<T>& from, const Vec3Template<T>& to);

  /// Applies the normalisation rule in place; on a throw the value is unchanged.
  void normalize() {
    const T sq = x * x + y * y + z * z + w * w;
    const double sqd = static_cast<double>(sq);
    if (std::abs(sqd) < kZeroSquaredNorm)
      detail::throwZeroQuaternion();
    // A nearly unit quaternion is left alone so that repeated normalisation does not drift it.
    if (std::abs(sqd - 1.0) < kUnitSquaredNormTolerance)
      return;
    if (std::isinf(sq)) {
      *this = scaledToLargestComponent().normalizedUnlessZero();
      return;
    }
    const T n = std::sqrt(sq);
    x /= n;
    y /= n;
    z /= n;
    w /= n;
  }

  /// \returns the quaternion divided by its norm, or as it is when its squared norm is not
  /// positive: Eigen's normalized(), with neither the tolerances nor the throw of the
  /// normalisation rule.
  RotationTemplate normalizedUnlessZero() const {
    const T sq = dot(*this);
    if (!(sq > T(0)))
      return *this;
    if (std::isinf(sq))
      return scaledToLargestComponent().normalizedUnlessZero();
    const T n = std::sqrt(sq);
    return raw(x / n, y / n, z / n, w / n);
  }

  /// \returns the angle in [0, π] radians of the rotation this quaternion stands for,
  /// 2·atan2(|(x, y, z)|, |w|): q and -q, and any positive multiple of q, give the same angle.
  /// Applied to a⁻¹·b (or a·b⁻¹) it is the angle between the rotations a and b.
  T rotationAngle() const {
    return T(2) * std::atan2(Vec3Template<T>{x, y, z}.norm(), std::abs(w));
  }

  /// \returns x·x' + y·y' + z·z' + w·w'.
  constexpr T dot(const RotationTemplate& o) const { return x * o.x + y * o.y + z * o.z + w * o.w; }

  /// \returns the conjugate divided by the squared norm; the zero quaternion for a zero input.
  RotationTemplate inverse() const {
    const T sq = x * x + y * y + z * z + w * w;
    if (!(sq > 0))
      return raw(0, 0, 0, 0);
    return raw(-x / sq, -y / sq, -z / sq, w / sq);
  }

  /// \returns the Hamilton product this·o (o applied first), normalised by the normalisation
  /// rule (so a product of near-zero quaternions throws std::logic_error).
  RotationTemplate operator*(const RotationTemplate& o) const {
    RotationTemplate r = hamilton(o);
    r.normalize();
    return r;
  }

  /// \returns the Hamilton product this·o without normalisation.
  constexpr RotationTemplate hamilton(const RotationTemplate& o) const {
    return raw(w * o.x + x * o.w + y * o.z - z * o.y, w * o.y + y * o.w + z * o.x - x * o.z,
               w * o.z + z * o.w + x * o.y - y * o.x, w * o.w - x * o.x - y * o.y - z * o.z);
  }

  /// \returns `v` rotated, its length left as it comes.
  constexpr Vec3Template<T> rotateVector(const Vec3Template<T>& v) const {
    // Eigen's form: t = 2 (q.vec × v); v' = v + w t + q.vec × t.
    const Vec3Template<T> u{x, y, z};
    const Vec3Template<T> t = u.cross(v) * T(2);
    return v + t * w + u.cross(t);
  }
  constexpr Vec3Template<T> operator*(const Vec3Template<T>& v) const { return rotateVector(v); }
  /// \returns the point rotated about the origin.
  constexpr PosTemplate<T> operator*(const PosTemplate<T>& p) const {
    return rotateVector(p.toVec3()).toPos();
  }
  /// \returns the rotated direction, normalised again (throws std::overflow_error
  /// "0-length vector cannot be normalized." when its length is at most 1e-7).
  DirTemplate<T> rotateDir(const DirTemplate<T>& d) const {
    return DirTemplate<T>(rotateVector(d.toVec3()));
  }
  DirTemplate<T> operator*(const DirTemplate<T>& d) const { return rotateDir(d); }

  /// \returns a normalised copy as the record (q1, q2, q3, q4) = (w, x, y, z); throws
  /// std::logic_error "normalize quaternion of 0 magnitude" for a zero quaternion.
  OrientTemplate<T> toOrient() const {
    RotationTemplate n = *this;
    n.normalize();
    return n.rawOrient();
  }

  /// \returns the components as the record (q1, q2, q3, q4) = (w, x, y, z), as they are.
  constexpr OrientTemplate<T> rawOrient() const { return {w, x, y, z}; }

  /// \returns the Euler angles (rx, ry, rz) in radians of the convention of the Euler
  /// constructor; rx, rz in [-π, π], ry in [-π/2, π/2]. In gimbal lock rx is 0 and the whole
  /// rotation about the common axis is in rz. The stored components are not normalised first.
  Vec3Template<T> toEuler() const;
  /// \returns toEuler() in degrees.
  Vec3Template<T> toEulerDegree() const;

  /// \returns true when every component lies strictly within 0.001 of the identity's
  /// (w = -1 is therefore not the identity).
  constexpr bool isIdentity() const {
    return std::abs(static_cast<double>(w) - 1.0) < kIdentityTolerance &&
           std::abs(static_cast<double>(x)) < kIdentityTolerance &&
           std::abs(static_cast<double>(y)) < kIdentityTolerance &&
           std::abs(static_cast<double>(z)) < kIdentityTolerance;
  }

  /// \returns Eigen's relative comparison of the four components, |a - b|² ≤ p²·min(|a|², |b|²)
  /// with p = 1e-12 for double and 1e-5 for float. The sign matters.
  bool isApprox(const RotationTemplate& other) const;

  /// \returns the unit axis and the angle in [0, π] radians, computed in double precision; the
  /// identity gives axis (1, 0, 0) and angle 0.
  Eigen::AngleAxis<double> log() const;

  /// \returns "{w, x, y, z}" with 6 significant digits, e.g. "{1, 0, 0, 0}".
  std::string toString() const;

  /// \returns the smallest angle in [0, π] radians between two orientations, whatever their
  /// signs. Throws std::logic_error for a zero orientation record.
  static T AngularDistance(const OrientTemplate<T>& a, const OrientTemplate<T>& b);

  /// \returns the spherical linear interpolation from `from` (t = 0) to `to` (t = 1) along the
  /// shorter way; t is not clamped. Throws std::logic_error for a zero orientation record.
  static OrientTemplate<T> Slerp(const OrientTemplate<T>& from, const OrientTemplate<T>& to, T t);

  /// \returns the quaternion of the record's components (w = q1, x = q2, y = q3, z = q4), as
  /// they are: no normalisation.
  static constexpr RotationTemplate raw(const OrientTemplate<T>& o) {
    return raw(o.q2, o.q3, o.q4, o.q1);
  }

  /// \returns the quaternion with the given components, stored as they are.
  ///
  /// \warning The arguments are in storage order, (x, y, z, w), the scalar part last, unlike
  /// the component constructor RotationTemplate(w, x, y, z).
  static constexpr RotationTemplate raw(T qx, T qy, T qz, T qw) {
    RotationTemplate r;
    r.x = qx;
    r.y = qy;
    r.z = qz;
    r.w = qw;
    return r;
  }

  static constexpr double kZeroSquaredNorm = 1e-6;
  static constexpr double kUnitSquaredNormTolerance = 1e-6;
  static constexpr double kIdentityTolerance = 0.001;

 private:
  /// The quaternion divided by its largest component in magnitude: the same rotation, with a
  /// squared norm in [1, 4]. For finite components whose squared norm overflows (any finite,
  /// non-zero quaternion stands for a rotation); infinite or NaN components stay NaN.
  RotationTemplate scaledToLargestComponent() const {
    using std::abs;
    const T m = std::max(std::max(abs(x), abs(y)), std::max(abs(z), abs(w)));
    return raw(x / m, y / m, z / m, w / m);
  }

  void setAngleAxis(T angle, T ux, T uy, T uz) {
    const T half = angle * T(0.5);
    const T s = std::sin(half);
    x = s * ux;
    y = s * uy;
    z = s * uz;
    w = std::cos(half);
  }
};

using Rotation = RotationTemplate<double>;
using Rotationf = RotationTemplate<float>;

extern template struct RotationTemplate<float>;
extern template struct RotationTemplate<double>;

}  // namespace zor::rob
