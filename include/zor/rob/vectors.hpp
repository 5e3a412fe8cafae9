#pragma once

#include <cmath>
#include <concepts>

#include "zor/rob/detail/errors.hpp"

namespace zor::rob {

namespace detail {

/// Direction rule: a length at most 1e-7 (absolute, compared in double) cannot be normalised.
inline constexpr double kMinNormalizableLength = 1e-7;

/// The scale that turns (x, y, z) into a unit vector by the direction rule; throws
/// std::overflow_error "0-length vector cannot be normalized." for a length at most 1e-7.
template <std::floating_point T>
inline T unitScale(T x, T y, T z) {
  const T n = std::sqrt(x * x + y * y + z * z);
  if (std::abs(static_cast<double>(n)) <= kMinNormalizableLength)
    throwZeroLengthVector();
  return n;
}

}  // namespace detail

template <std::floating_point T>
struct PosTemplate;

/// A free 3D vector: rotated by a rotation, never translated.
template <std::floating_point T>
struct Vec3Template {
  T x{0};
  T y{0};
  T z{0};

  constexpr Vec3Template operator+(const Vec3Template& o) const {
    return {x + o.x, y + o.y, z + o.z};
  }
  constexpr Vec3Template operator-(const Vec3Template& o) const {
    return {x - o.x, y - o.y, z - o.z};
  }
  constexpr Vec3Template operator-() const { return {-x, -y, -z}; }
  constexpr Vec3Template operator*(T s) const { return {x * s, y * s, z * s}; }
  constexpr Vec3Template operator/(T s) const { return {x / s, y / s, z / s}; }
  constexpr Vec3Template& operator+=(const Vec3Template& o) { return *this = *this + o; }
  constexpr Vec3Template& operator-=(const Vec3Template& o) { return *this = *this - o; }

  /// \returns x·x' + y·y' + z·z'.
  constexpr T dot(const Vec3Template& o) const { return x * o.x + y * o.y + z * o.z; }
  /// \returns this × o.
  constexpr Vec3Template cross(const Vec3Template& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  constexpr T squaredNorm() const { return x * x + y * y + z * z; }
  /// \returns the Euclidean length √(x² + y² + z²).
  T norm() const { return std::sqrt(squaredNorm()); }
  /// \returns this vector scaled to unit length.
  /// Throws std::overflow_error "0-length vector cannot be normalized." when its length is at
  /// most 1e-7.
  Vec3Template normalized() const {
    const T n = detail::unitScale(x, y, z);
    return {x / n, y / n, z / n};
  }

  constexpr PosTemplate<T> toPos() const;

  constexpr bool operator==(const Vec3Template&) const = default;
};

template <std::floating_point T>
constexpr Vec3Template<T> operator*(T s, const Vec3Template<T>& v) {
  return v * s;
}

/// A point in a Cartesian frame: rotated and translated by a pose.
template <std::floating_point T>
struct PosTemplate {
  T x{0};
  T y{0};
  T z{0};

  /// The displacement from `o` to this point.
  constexpr Vec3Template<T> operator-(const PosTemplate& o) const {
    return {x - o.x, y - o.y, z - o.z};
  }
  constexpr PosTemplate operator+(const Vec3Template<T>& v) const {
    return {x + v.x, y + v.y, z + v.z};
  }
  constexpr PosTemplate operator-(const Vec3Template<T>& v) const {
    return {x - v.x, y - v.y, z - v.z};
  }
  /// Coordinate-wise sum of two positions (as used for sums of corners).
  constexpr PosTemplate operator+(const PosTemplate& o) const {
    return {x + o.x, y + o.y, z + o.z};
  }

  constexpr Vec3Template<T> toVec3() const { return {x, y, z}; }

  constexpr bool operator==(const PosTemplate&) const = default;
};

template <std::floating_point T>
constexpr PosTemplate<T> Vec3Template<T>::toPos() const {
  return {x, y, z};
}

/// A unit direction. Built from three scalars it keeps them as given; built from a vector it is
/// normalised by the direction rule.
template <std::floating_point T>
struct DirTemplate {
  T x{1};
  T y{0};
  T z{0};

  /// The X axis.
  constexpr DirTemplate() = default;
  /// Takes the components as given, without normalisation.
  constexpr DirTemplate(T dx, T dy, T dz) : x(dx), y(dy), z(dz) {}
  /// Normalises `v`; throws std::overflow_error "0-length vector cannot be normalized." when its
  /// length is at most 1e-7.
  explicit DirTemplate(const Vec3Template<T>& v) {
    const T n = detail::unitScale(v.x, v.y, v.z);
    x = v.x / n;
    y = v.y / n;
    z = v.z / n;
  }

  constexpr Vec3Template<T> toVec3() const { return {x, y, z}; }

  constexpr bool operator==(const DirTemplate&) const = default;
};

/// A stored orientation quaternion, scalar first: q1 = w, q2 = x, q3 = y, q4 = z. A record, not
/// a rotation: it may hold any four numbers and is normalised only when it becomes a
/// RotationTemplate.
template <std::floating_point T>
struct OrientTemplate {
  T q1{1};
  T q2{0};
  T q3{0};
  T q4{0};

  constexpr bool operator==(const OrientTemplate&) const = default;
};

using Vec3 = Vec3Template<double>;
using Pos = PosTemplate<double>;
using Dir = DirTemplate<double>;
using Orient = OrientTemplate<double>;
using Vec3f = Vec3Template<float>;
using Posf = PosTemplate<float>;
using Dirf = DirTemplate<float>;
using Orientf = OrientTemplate<float>;

}  // namespace zor::rob
