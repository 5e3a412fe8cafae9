#pragma once

// Independent dense computations for the screw-layer tests: 3x3 rotation matrices from the
// Rodrigues formula, 4x4 homogeneous transforms, 6x6 adjoint matrices and a matrix exponential
// by scaling and squaring of the Taylor series. None of them goes through the library's
// quaternion code, so they can catch its mistakes.

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/near.hpp"
#include "support/random_unit.hpp"
#include "support/test_support.hpp"
#include "zor/rob/screw.hpp"

namespace zor::rob::test {

using Mat3 = Eigen::Matrix3d;
using Mat4 = Eigen::Matrix4d;
using Mat6 = Eigen::Matrix<double, 6, 6>;
using Vec6 = Eigen::Matrix<double, 6, 1>;
using EVec3 = Eigen::Vector3d;

inline constexpr double kPi = std::numbers::pi;

/// Entries of 4x4 matrices and six-vectors of a few screw operations on lengths of order
/// 1000 mm.
inline constexpr double kMatrixTol = 1e-9;

inline EVec3 toEigen(const Vec3& v) {
  return {v.x, v.y, v.z};
}
inline EVec3 toEigen(const Pos& p) {
  return {p.x, p.y, p.z};
}

/// The skew matrix of k, written out independently of the library's.
inline Mat3 skew(const EVec3& k) {
  Mat3 m;
  m << 0, -k.z(), k.y(), k.z(), 0, -k.x(), -k.y(), k.x(), 0;
  return m;
}

/// Rodrigues: the rotation matrix of `angle` radians about the unit axis `k`.
inline Mat3 rodrigues(const EVec3& k, double angle) {
  const Mat3 kk = skew(k);
  return Mat3::Identity() + std::sin(angle) * kk + (1.0 - std::cos(angle)) * kk * kk;
}

inline Mat4 homogeneous(const Mat3& r, const EVec3& p) {
  Mat4 m = Mat4::Identity();
  m.topLeftCorner<3, 3>() = r;
  m.topRightCorner<3, 1>() = p;
  return m;
}

/// The 4x4 matrix of a transform, through Eigen's quaternion-to-matrix conversion.
inline Mat4 toMatrix(const Transform& t) {
  const Eigen::Quaterniond q(t.rotation.w, t.rotation.x, t.rotation.y, t.rotation.z);
  return homogeneous(q.toRotationMatrix(), toEigen(t.translation));
}

inline Vec6 toEigen(const Twist& t) {
  Vec6 r;
  r << t.w.x, t.w.y, t.w.z, t.v.x, t.v.y, t.v.z;
  return r;
}
inline Vec6 toEigen(const ScrewAxis& s) {
  Vec6 r;
  r << s.w.x, s.w.y, s.w.z, s.v.x, s.v.y, s.v.z;
  return r;
}
inline Vec6 toEigen(const Wrench& w) {
  Vec6 r;
  r << w.m.x, w.m.y, w.m.z, w.f.x, w.f.y, w.f.z;
  return r;
}

/// The 6x6 adjoint matrix of (R, p), angular rows first: [[R, 0], [[p] R, R]].
inline Mat6 adjointMatrix(const Mat4& t) {
  const Mat3 r = t.topLeftCorner<3, 3>();
  const EVec3 p = t.topRightCorner<3, 1>();
  Mat6 a = Mat6::Zero();
  a.topLeftCorner<3, 3>() = r;
  a.bottomLeftCorner<3, 3>() = skew(p) * r;
  a.bottomRightCorner<3, 3>() = r;
  return a;
}

/// The 6x6 matrix of the Lie bracket with the twist (ω, v): [[[ω], 0], [[v], [ω]]].
inline Mat6 adMatrix(const Vec6& twist) {
  Mat6 a = Mat6::Zero();
  a.topLeftCorner<3, 3>() = skew(twist.head<3>());
  a.bottomLeftCorner<3, 3>() = skew(twist.tail<3>());
  a.bottomRightCorner<3, 3>() = skew(twist.head<3>());
  return a;
}

/// The 4x4 matrix [[ω], v; 0, 0] of the twist (ω, v).
inline Mat4 twistMatrix(const Vec6& twist) {
  Mat4 m = Mat4::Zero();
  m.topLeftCorner<3, 3>() = skew(twist.head<3>());
  m.topRightCorner<3, 1>() = twist.tail<3>();
  return m;
}

/// The matrix exponential by scaling and squaring of the Taylor series: a computation that
/// knows nothing of rotations, screws or half angles.
inline Mat4 expm(const Mat4& a) {
  const double norm = a.cwiseAbs().rowwise().sum().maxCoeff();
  int squarings = 0;
  double scale = 1.0;
  while (norm * scale > 0.25) {
    scale *= 0.5;
    ++squarings;
  }
  const Mat4 x = a * scale;
  Mat4 term = Mat4::Identity();
  Mat4 sum = Mat4::Identity();
  for (int k = 1; k <= 20; ++k) {
    term = term * x / static_cast<double>(k);
    sum += term;
  }
  for (int i = 0; i < squarings; ++i)
    sum = sum * sum;
  return sum;
}

/// An absolute tolerance for comparisons with expm(a): scaling and squaring loses about one
/// bit per squaring, so the error grows with the size of the entries of a.
inline double expmTolerance(const Mat4& a) {
  return 1e-12 * (1.0 + a.cwiseAbs().maxCoeff());
}

inline EVec3 randomVector(Random& rng, double bound) {
  return {rng.uniform(-bound, bound), rng.uniform(-bound, bound), rng.uniform(-bound, bound)};
}

/// A line of random direction through a random point within ±bound: (unit direction, point).
inline std::pair<EVec3, EVec3> randomLine(Random& rng, double bound) {
  const EVec3 direction = randomUnitVector(rng);
  return {direction, randomVector(rng, bound)};
}

/// The screw axis of the line through `point` along `direction`.
inline ScrewAxis screwAxisOf(const EVec3& direction, const EVec3& point) {
  return ScrewAxis(direction.x(), direction.y(), direction.z(), point.x(), point.y(), point.z());
}

/// A random twist (ω, v): angular part within ±2 rad, linear part within ±500 mm.
inline Vec6 randomTwistVector(Random& rng) {
  return (Vec6() << randomVector(rng, 2.0), randomVector(rng, 500.0)).finished();
}

/// Expects `t` to be exactly the identity: the rotation (w, x, y, z) = (1, 0, 0, 0) and no
/// translation.
inline void expectExactIdentity(const Transform& t) {
  expectSameComponents(t.rotation, Rotation());
  EXPECT_EQ(t.translation, Vec3(0, 0, 0));
}

/// Expects the components v[0] to v[5] of a six-vector to be `expected`, in that order.
template <class Six>
void expectComponents(const Six& v, const std::array<double, 6>& expected) {
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(v[i], expected[static_cast<std::size_t>(i)]) << i;
}

/// A transform given by the rotation of `angle` radians about the unit `axis` and a
/// translation, together with its independently built 4x4 matrix.
struct SampledTransform {
  EVec3 axis;
  double angle;
  EVec3 translation;

  Transform transform() const {
    return {Rotation(angle, Vec3{axis.x(), axis.y(), axis.z()}),
            Vec3{translation.x(), translation.y(), translation.z()}};
  }
  Mat4 matrix() const { return homogeneous(rodrigues(axis, angle), translation); }
};

/// Hard cases (identity, near identity, around the log threshold, π and around it, negative
/// scalar parts) followed by random ones.
inline std::vector<SampledTransform> sampleTransforms(Random& rng, int randomCount) {
  const std::vector<double> hardAngles = {0.0,  1e-12,   1e-8,           9.9e-7, 1.01e-6,
                                          1e-4, kPi / 2, kPi - 1e-9,     kPi,    kPi + 1e-9,
                                          -kPi, 3.0,     2 * kPi - 1e-7, -1e-8};
  std::vector<SampledTransform> out;
  for (const double a : hardAngles) {
    out.push_back({randomUnitVector(rng), a, EVec3::Zero()});
    out.push_back({randomUnitVector(rng), a, randomVector(rng, 1000.0)});
    out.push_back({EVec3::UnitZ(), a, randomVector(rng, 1000.0)});
  }
  for (int i = 0; i < randomCount; ++i) {
    out.push_back(
        {randomUnitVector(rng), rng.uniform(-2 * kPi, 2 * kPi), randomVector(rng, 1000.0)});
  }
  return out;
}

inline std::string describe(const SampledTransform& s) {
  std::ostringstream os;
  os.precision(17);
  os << "axis (" << s.axis.transpose() << ") angle " << s.angle << " translation ("
     << s.translation.transpose() << ")";
  return os.str();
}

}  // namespace zor::rob::test
