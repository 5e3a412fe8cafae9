// Implementation notes
//
// The quaternion is stored as x, y, z, w, the same order as Eigen's Quaternion coefficients, so
// the conversions below are plain copies. Matrix conversion, the rotation between two vectors,
// the relative comparison and the overflow-safe norm are Eigen's own algorithms; the Euler
// extraction, the logarithm, the angular distance and the interpolation are written out here
// because their branches (gimbal lock, tiny axis, linear weights near coincidence) are part of
// the contract.

#include "zor/rob/rotation.hpp"

#include <cmath>
#include <limits>
#include <sstream>
#include <type_traits>

#include "zor/rob/angles.hpp"

namespace zor::rob {

namespace {

template <std::floating_point T>
Eigen::Quaternion<T> toEigen(const RotationTemplate<T>& q) {
  return Eigen::Quaternion<T>(q.w, q.x, q.y, q.z);
}

/// The quaternion scaled to unit length when its norm is not zero (Eigen's normalize()), stored
/// without the normalisation rule.
template <std::floating_point T>
RotationTemplate<T> fromEigenNormalized(Eigen::Quaternion<T> q) {
  q.normalize();
  return RotationTemplate<T>::raw(q.x(), q.y(), q.z(), q.w());
}

/// Relative precision of isApprox: Eigen's dummy precision of each scalar type.
template <std::floating_point T>
constexpr T kApproxPrecision = std::is_same_v<T, float> ? T(1e-5) : T(1e-12);

/// Slerp switches to linear weights when |dot| reaches 1 - machine epsilon, where sin θ is too
/// small to divide by.
template <std::floating_point T>
constexpr T kSlerpLinearThreshold = T(1) - std::numeric_limits<T>::epsilon();

/// Below this the plain norm of the log's axis may have underflowed; the scaled norm is used.
constexpr double kLogTinyAxis = std::numeric_limits<double>::epsilon();

/// Gimbal lock threshold of toEuler on |sin(ry) ∓ 1|.
constexpr double kGimbalLockThreshold = 1e-15;

constexpr double kHalfPi = kPi / 2;

template <std::floating_point T>
struct EulerAngles {
  Vec3Template<T> angles{};
  /// True in the lock where sin(ry) is at or just above +1: the pitch is exactly +90 degrees.
  bool lockedAtPositivePitch{false};
};

/// The Euler angles (rx, ry, rz) of Rz·Ry·Rx, computed in T with T's constants.
template <std::floating_point T>
EulerAngles<T> eulerAngles(const RotationTemplate<T>& q) {
  const T one = T(1);
  const T lock = T(kGimbalLockThreshold);
  const T s = T(-2) * (q.x * q.z - q.w * q.y);  // sin(ry)

  T ry;
  if (s <= -one) {
    ry = -T(kHalfPi);
  } else if (s >= one) {
    ry = T(kHalfPi);
  } else {
    ry = std::asin(s);
  }

  // In gimbal lock only rz - rx (pitch +90) or rz + rx (pitch -90) is defined: rx is set to 0
  // and the whole rotation about the common axis goes into rz. With ry = ±π/2 the quaternion is
  // (w, x) ∝ (cos, sin) of that half angle, hence atan(x / w); atan keeps the result in (-π, π)
  // and w = 0 gives ±π by division by zero.
  const bool atPositiveLimit = s >= one && s - one < lock;
  const bool insideNearPositive = s > -one && s < one && std::abs(s - one) < lock;
  if (atPositiveLimit || insideNearPositive) {
    return {{T(0), ry, T(-2) * std::atan(q.x / q.w)}, atPositiveLimit};
  }
  if (std::abs(s + one) < lock) {
    return {{T(0), ry, T(2) * std::atan(q.x / q.w)}, false};
  }

  // Also reached when s lies beyond ±1 by more than the lock threshold (ry clamped above).
  const T rx =
      std::atan2(T(2) * (q.y * q.z + q.w * q.x), q.w * q.w - q.x * q.x - q.y * q.y + q.z * q.z);
  const T rz =
      std::atan2(T(2) * (q.x * q.y + q.w * q.z), q.w * q.w + q.x * q.x - q.y * q.y - q.z * q.z);
  return {{rx, ry, rz}, false};
}

template <std::floating_point T>
T toDegrees(T angle) {
  // In double for both instantiations.
  return static_cast<T>(RadToDeg(static_cast<double>(angle)));
}

}  // namespace

template <std::floating_point T>
RotationTemplate<T> RotationTemplate<T>::FromAxes(const DirTemplate<T>& xAxis,
                                                  const DirTemplate<T>& yAxis,
                                                  const DirTemplate<T>& zAxis) {
  Eigen::Matrix<T, 3, 3> m;
  m << xAxis.x, yAxis.x, zAxis.x,  //
      xAxis.y, yAxis.y, zAxis.y,   //
      xAxis.z, yAxis.z, zAxis.z;
  return fromEigenNormalized(Eigen::Quaternion<T>(m));
}

template <std::floating_point T>
RotationTemplate<T> RotationTemplate<T>::From2Dirs(const DirTemplate<T>& from,
                                                   const DirTemplate<T>& to) {
  return From2Vectors(from.toVec3(), to.toVec3());
}

template <std::floating_point T>
RotationTemplate<T> RotationTemplate<T>::From2Vectors(const Vec3Template<T>& from,
                                                      const Vec3Template<T>& to) {
  // Eigen normalises both inputs and resolves nearly opposite ones with an SVD.
  Eigen::Quaternion<T> q;
  q.setFromTwoVectors(Eigen::Matrix<T, 3, 1>(from.x, from.y, from.z),
                      Eigen::Matrix<T, 3, 1>(to.x, to.y, to.z));
  return fromEigenNormalized(q);
}

template <std::floating_point T>
Vec3Template<T> RotationTemplate<T>::toEuler() const {
  return eulerAngles(*this).angles;
}

template <std::floating_point T>
Vec3Template<T> RotationTemplate<T>::toEulerDegree() const {
  const EulerAngles<T> e = eulerAngles(*this);
  return {toDegrees(e.angles.x), e.lockedAtPositivePitch ? T(90.0) : toDegrees(e.angles.y),
          toDegrees(e.angles.z)};
}

template <std::floating_point T>
bool RotationTemplate<T>::isApprox(const RotationTemplate& other) const {
  return toEigen(*this).isApprox(toEigen(other), kApproxPrecision<T>);
}

template <std::floating_point T>
Eigen::AngleAxis<double> RotationTemplate<T>::log() const {
  const Eigen::Vector3d v(static_cast<double>(x), static_cast<double>(y), static_cast<double>(z));
  const double qw = static_cast<double>(w);
  double n = v.norm();
  if (n < kLogTinyAxis) {
    // The squares may have underflowed: retry with the scaled norm.
    n = v.stableNorm();
    if (n == 0.0)
      return Eigen::AngleAxis<double>(0.0, Eigen::Vector3d::UnitX());
  }
  const double angle = 2.0 * std::atan2(n, std::abs(qw));
  // q and -q are the same rotation: flipping the axis with the sign of w keeps the angle in
  // [0, π].
  if (qw < 0.0)
    n = -n;
  return Eigen::AngleAxis<double>(angle, v / n);
}

template <std::floating_point T>
std::string RotationTemplate<T>::toString() const {
  // Widened to double so that both instantiations print alike.
  std::ostringstream out;
  out << '{' << static_cast<double>(w) << ", " << static_cast<double>(x) << ", "
      << static_cast<double>(y) << ", " << static_cast<double>(z) << '}';
  return out.str();
}

template <std::floating_point T>
T RotationTemplate<T>::AngularDistance(const OrientTemplate<T>& a, const OrientTemplate<T>& b) {
  const RotationTemplate qb = FromOrient(b);
  // qa·qb* is qa·qb⁻¹ for the unit quaternions the normalisation rule gives.
  return FromOrient(a).hamilton(raw(-qb.x, -qb.y, -qb.z, qb.w)).rotationAngle();
}

template <std::floating_point T>
OrientTemplate<T> RotationTemplate<T>::Slerp(const OrientTemplate<T>& from,
                                             const OrientTemplate<T>& to, T t) {
  const RotationTemplate q0 = FromOrient(from);
  const RotationTemplate q1 = FromOrient(to);
  const T d = q0.dot(q1);
  const T absD = std::abs(d);

  T s0;
  T s1;
  if (absD >= kSlerpLinearThreshold<T>) {
    s0 = T(1) - t;
    s1 = t;
  } else {
    const T theta = std::acos(absD);
    const T sinTheta = std::sin(theta);
    s0 = std::sin((T(1) - t) * theta) / sinTheta;
    s1 = std::sin(t * theta) / sinTheta;
  }
  // q1 and -q1 are the same rotation: take the one on q0's side, the shorter way.
  if (d < T(0))
    s1 = -s1;

  const RotationTemplate r = raw(s0 * q0.x + s1 * q1.x, s0 * q0.y + s1 * q1.y,
                                 s0 * q0.z + s1 * q1.z, s0 * q0.w + s1 * q1.w);
  return r.normalizedUnlessZero().toOrient();
}

template struct RotationTemplate<float>;
template struct RotationTemplate<double>;

}  // namespace zor::rob
