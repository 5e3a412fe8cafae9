// Rotations: comparison, products, inverse, rotating vectors, logarithm and angular distance.

#include "zor/rob/rotation.hpp"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <type_traits>

#include "geometry/rotation_test_fixture.hpp"
#include "support/test_support.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

TYPED_TEST_SUITE(Rotations, Scalars);

// ---------------------------------------------------------------------------------------------
// Identity and comparison

TYPED_TEST(Rotations, IsIdentity) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  EXPECT_TRUE(Rot().isIdentity());
  EXPECT_FALSE(Rot(-1, 0, 0, 0).isIdentity());
  EXPECT_TRUE(Rot(T(0.9995), 0, 0, T(0.0009)).isIdentity());
  EXPECT_TRUE(Rot::raw(T(0.000999), T(-0.000999), T(0.000999), T(1.000999)).isIdentity());
  // The comparison is strict on each component.
  EXPECT_FALSE(Rot::raw(T(0.001), 0, 0, 1).isIdentity());
  EXPECT_FALSE(Rot::raw(0, T(-0.001), 0, 1).isIdentity());
  EXPECT_FALSE(Rot::raw(0, 0, T(0.0011), 1).isIdentity());
  EXPECT_FALSE(Rot::raw(0, 0, 0, T(0.9989)).isIdentity());
  EXPECT_FALSE(Rot::raw(0, 0, 0, T(1.0011)).isIdentity());
}

TYPED_TEST(Rotations, IsApproxKeepsTheSign) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 50; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    EXPECT_TRUE(r.isApprox(r));
    EXPECT_FALSE(r.isApprox(RotationTemplate<T>::raw(-r.x, -r.y, -r.z, -r.w)));
  }
}

TEST(Rotations, IsApproxDoubleUsesOneInATrillion) {
  // |d|² ≤ 1e-24 · min(|a|², |b|²)
  const Rotation a;
  EXPECT_TRUE(a.isApprox(Rotation::raw(0.99e-12, 0, 0, 1)));
  EXPECT_FALSE(a.isApprox(Rotation::raw(1.01e-12, 0, 0, 1)));
  EXPECT_TRUE(Rotation::raw(0.99e-12, 0, 0, 1).isApprox(a));
  EXPECT_FALSE(Rotation::raw(0, 1.01e-12, 0, 1).isApprox(a));
  // Relative: the bound scales with the smaller norm.
  const Rotation big = Rotation::raw(0, 0, 0, 1000);
  EXPECT_TRUE(big.isApprox(Rotation::raw(0, 0, 0.99e-9, 1000)));
  EXPECT_FALSE(big.isApprox(Rotation::raw(0, 0, 1.01e-9, 1000)));
}

TEST(Rotations, IsApproxFloatUsesOneInAHundredThousand) {
  // |d|² ≤ 9.9999994e-11 · min(|a|², |b|²)
  const Rotationf a;
  EXPECT_TRUE(a.isApprox(Rotationf::raw(0.99e-5f, 0, 0, 1)));
  EXPECT_FALSE(a.isApprox(Rotationf::raw(1.01e-5f, 0, 0, 1)));
  EXPECT_TRUE(a.isApprox(Rotationf::raw(0, 0, 0, 1 - 0.99e-5f)));
  EXPECT_FALSE(a.isApprox(Rotationf::raw(0, 0, 0, 1 - 1.01e-5f)));
}

// ---------------------------------------------------------------------------------------------
// Algebra

TYPED_TEST(Rotations, DotSumsTheComponentProducts) {
  using T = TypeParam;
  const auto a = RotationTemplate<T>::raw(1, 2, 3, 4);
  const auto b = RotationTemplate<T>::raw(-5, 6, 7, -8);
  EXPECT_EQ(a.dot(b), T(-5 + 12 + 21 - 32));
}

TYPED_TEST(Rotations, InverseIsConjugateOverSquaredNorm) {
  using T = TypeParam;
  const auto a = RotationTemplate<T>::raw(1, 0, 0, 1).inverse();
  EXPECT_TRUE(NearQ(a, 0.5, -0.5, 0, 0, 0));
  const auto b = RotationTemplate<T>::raw(0, 0, 0, 2).inverse();
  EXPECT_TRUE(NearQ(b, 0.5, 0, 0, 0, 0));
  test::Random random;
  for (int i = 0; i < 100; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    EXPECT_TRUE(NearQ(r * r.inverse(), 1, 0, 0, 0, this->kTol));
    EXPECT_TRUE(matricesNear(MatrixOf(r.inverse()), MatrixOf(r).transpose(), this->kFewOpsTol));
  }
}

TYPED_TEST(Rotations, InverseOfZeroIsZero) {
  using T = TypeParam;
  RotationTemplate<T> i;
  EXPECT_NO_THROW(i = RotationTemplate<T>::raw(0, 0, 0, 0).inverse());
  EXPECT_EQ(i.x, T(0));
  EXPECT_EQ(i.y, T(0));
  EXPECT_EQ(i.z, T(0));
  EXPECT_EQ(i.w, T(0));
}

TYPED_TEST(Rotations, ProductIsHamiltonsWithTheRightFactorFirst) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  // i·j = k
  const Rot k = Rot::raw(1, 0, 0, 0) * Rot::raw(0, 1, 0, 0);
  EXPECT_TRUE(NearQ(k, 0, 0, 0, 1, 0));
  const Rot minusK = Rot::raw(0, 1, 0, 0) * Rot::raw(1, 0, 0, 0);
  EXPECT_TRUE(NearQ(minusK, 0, 0, 0, -1, 0));
  test::Random random;
  for (int i = 0; i < 200; ++i) {
    const Rot a = test::RandomRotation<T>(random);
    const Rot b = test::RandomRotation<T>(random);
    const Rot ab = a * b;
    EXPECT_TRUE(matricesNear(MatrixOf(ab), MatrixOf(a) * MatrixOf(b), this->kFewOpsTol));
    const Eigen::Quaternion<T> e =
        Eigen::Quaternion<T>(a.w, a.x, a.y, a.z) * Eigen::Quaternion<T>(b.w, b.x, b.y, b.z);
    EXPECT_TRUE(NearQ(ab, e.w(), e.x(), e.y(), e.z(), this->kTol));
    const Vec3Template<T> v{1, -2, 3};
    EXPECT_TRUE(Near3(ab * v, (a * (b * v)).x, (a * (b * v)).y, (a * (b * v)).z, this->kFewOpsTol));
  }
}

TYPED_TEST(Rotations, ProductIsNormalised) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  const Rot r = Rot::raw(0, 0, 0, 2) * Rot::raw(0, 0, 3, 4);
  EXPECT_TRUE(NearQ(r, 0.8, 0, 0, 0.6, this->kTol));
  EXPECT_EQ(Rot::raw(0, 0, 0, 2).hamilton(Rot::raw(0, 0, 3, 4)).w, T(8));
}

TYPED_TEST(Rotations, ProductOfNearZeroQuaternionsThrows) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  EXPECT_THROW_MSG(Rot::raw(0, 0, 0, T(0.01)) * Rot::raw(0, 0, T(0.01), 0), std::logic_error,
                   kZeroQuaternion);
  EXPECT_THROW_MSG(Rot() * Rot::raw(0, 0, 0, 0), std::logic_error, kZeroQuaternion);
}

TYPED_TEST(Rotations, RotatesVectorsAndPointsLikeItsMatrix) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    const Eigen::Vector3d v(random.uniform(-500, 500), random.uniform(-500, 500),
                            random.uniform(-500, 500));
    const Vec3Template<T> vt{this->t(v.x()), this->t(v.y()), this->t(v.z())};
    const Eigen::Vector3d expected = MatrixOf(r) * test::ToEigen(vt);
    const double tol = this->kPointTol;
    EXPECT_TRUE(Near3(r.rotateVector(vt), expected.x(), expected.y(), expected.z(), tol));
    EXPECT_TRUE(Near3(r * vt, expected.x(), expected.y(), expected.z(), tol));
    EXPECT_TRUE(Near3(r * vt.toPos(), expected.x(), expected.y(), expected.z(), tol));
    EXPECT_EQ(r * vt, r.rotateVector(vt));
    EXPECT_EQ((r * vt.toPos()).toVec3(), r.rotateVector(vt));
  }
}

TYPED_TEST(Rotations, RotatingAVectorKeepsItsLengthAsItComes) {
  using T = TypeParam;
  // Unnormalised (w, x, y, z) = (1, 0, 0, 1): t = 2·(q.vec × v) = (0, 2, 0),
  // v' = v + w·t + q.vec × t = (1, 0, 0) + (0, 2, 0) + (−2, 0, 0).
  const auto q = RotationTemplate<T>::raw(0, 0, 1, 1);
  EXPECT_EQ(q.rotateVector(Vec3Template<T>{1, 0, 0}), (Vec3Template<T>{-1, 2, 0}));
  EXPECT_EQ((q * PosTemplate<T>{1, 0, 0}), (PosTemplate<T>{-1, 2, 0}));
  // The direction is normalised again.
  EXPECT_TRUE(Near3(q.rotateDir(DirTemplate<T>{1, 0, 0}), -1 / std::sqrt(5.0), 2 / std::sqrt(5.0),
                    0, this->kTol));
  EXPECT_EQ((q * DirTemplate<T>{1, 0, 0}), q.rotateDir(DirTemplate<T>{1, 0, 0}));
  // A unit rotation keeps a unit direction unit.
  const RotationTemplate<T> r(T(0.7), Vec3Template<T>{1, 2, 3});
  const DirTemplate<T> d = r.rotateDir(DirTemplate<T>(Vec3Template<T>{-1, 4, 2}));
  EXPECT_NEAR(d.toVec3().norm(), 1.0, this->kTol);
}

TYPED_TEST(Rotations, RotatedDirectionOfZeroLengthThrows) {
  using T = TypeParam;
  // (w, x, y, z) = (0, 0, 0, √½) maps (1, 0, 0) to (1 − 2z², 0, 0) ≈ 0.
  const auto q = RotationTemplate<T>::raw(0, 0, T(std::sqrt(0.5)), 0);
  EXPECT_THROW_MSG(q.rotateDir(DirTemplate<T>{1, 0, 0}), std::overflow_error, kZeroLength);
  EXPECT_THROW_MSG((q * DirTemplate<T>{1, 0, 0}), std::overflow_error, kZeroLength);
  EXPECT_NO_THROW((q * Vec3Template<T>{1, 0, 0}));
}

// ---------------------------------------------------------------------------------------------
// Logarithm and angular distance

TYPED_TEST(Rotations, LogOfTheIdentity) {
  using T = TypeParam;
  const Eigen::AngleAxis<double> a = RotationTemplate<T>().log();
  EXPECT_EQ(a.angle(), 0.0);
  EXPECT_EQ(a.axis(), Eigen::Vector3d(1, 0, 0));
  const Eigen::AngleAxis<double> b = RotationTemplate<T>(-1, 0, 0, 0).log();
  EXPECT_EQ(b.angle(), 0.0);
  EXPECT_EQ(b.axis(), Eigen::Vector3d(1, 0, 0));
}

TYPED_TEST(Rotations, LogFlipsTheAxisForANegativeScalar) {
  using T = TypeParam;
  const auto q = RotationTemplate<T>::raw(0, 0, T(0.7071), T(-0.7071));
  const Eigen::AngleAxis<double> a = q.log();
  EXPECT_NEAR(a.angle(), kPi / 2, 1e-12);
  EXPECT_NEAR(a.axis().x(), 0, 0);
  EXPECT_NEAR(a.axis().z(), -1, 1e-15);
  const Eigen::AngleAxis<double> b = RotationTemplate<T>::raw(0, 0, T(0.7071), T(0.7071)).log();
  EXPECT_NEAR(b.angle(), kPi / 2, 1e-12);
  EXPECT_NEAR(b.axis().z(), 1, 1e-15);
}

TYPED_TEST(Rotations, LogIsTheInverseOfAngleAxis) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 500; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    const Eigen::AngleAxis<double> a = r.log();
    EXPECT_GE(a.angle(), 0.0);
    EXPECT_LE(a.angle(), kPi);
    EXPECT_NEAR(a.axis().norm(), 1.0, 1e-12);
    EXPECT_TRUE(matricesNear(a.toRotationMatrix(), MatrixOf(r), this->kFewOpsTol));
    // q and −q are the same rotation: the sign of w flips the axis back.
    const Eigen::AngleAxis<double> b = RotationTemplate<T>::raw(-r.x, -r.y, -r.z, -r.w).log();
    EXPECT_EQ(b.angle(), a.angle());
    EXPECT_TRUE(matricesNear(b.axis(), a.axis(), 1e-15));
  }
}

TYPED_TEST(Rotations, LogOfATinyAngle) {
  using T = TypeParam;
  // A tiny angle whose axis is resolved from components around 1e-10.
  const auto q = RotationTemplate<T>::raw(T(3e-10), T(4e-10), 0, 1);
  const Eigen::AngleAxis<double> a = q.log();
  EXPECT_NEAR(a.axis().x(), 0.6, 1e-6);
  EXPECT_NEAR(a.axis().y(), 0.8, 1e-6);
  EXPECT_NEAR(a.angle(), 1e-9, 1e-15);
}

TYPED_TEST(Rotations, LogComputesInDoublePrecision) {
  using T = TypeParam;
  // The components are widened first, so a float rotation's log carries double precision.
  const auto q = RotationTemplate<T>::raw(T(0.1), T(-0.2), T(0.3), T(0.9));
  const double x = static_cast<double>(q.x), y = static_cast<double>(q.y),
               z = static_cast<double>(q.z), w = static_cast<double>(q.w);
  const double n = std::sqrt(x * x + y * y + z * z);
  const Eigen::AngleAxis<double> a = q.log();
  EXPECT_NEAR(a.angle(), 2 * std::atan(n / w), 1e-15);
  EXPECT_NEAR(a.axis().x(), x / n, 1e-15);
  EXPECT_NEAR(a.axis().y(), y / n, 1e-15);
  EXPECT_NEAR(a.axis().z(), z / n, 1e-15);
}

TYPED_TEST(Rotations, LogOfATinyAxisUsesTheScaledNorm) {
  using T = TypeParam;
  // 1e-30 is representable in both types; its plain norm is below double epsilon.
  const auto q = RotationTemplate<T>::raw(T(1e-30), T(1e-30), 0, 1);
  const Eigen::AngleAxis<double> a = q.log();
  EXPECT_NEAR(a.axis().x(), std::sqrt(0.5), 1e-6);
  EXPECT_NEAR(a.axis().y(), std::sqrt(0.5), 1e-6);
  EXPECT_GT(a.angle(), 0.0);
}

TEST(Rotations, LogOfAnUnderflowingAxisUsesTheScaledNorm) {
  // The squares of 1e-170 underflow to 0: only the scaled norm sees the axis.
  const Eigen::AngleAxis<double> a = Rotation::raw(1e-170, 1e-170, 0, 1).log();
  EXPECT_NEAR(a.axis().x(), std::sqrt(0.5), 1e-15);
  EXPECT_NEAR(a.axis().y(), std::sqrt(0.5), 1e-15);
  EXPECT_NEAR(a.angle() / 1e-170, 2 * std::sqrt(2.0), 1e-12);
  const Eigen::AngleAxis<double> b = Rotation::raw(0, -1e-200, 0, -1).log();
  EXPECT_NEAR(b.axis().y(), 1, 1e-15);
  EXPECT_NEAR(b.angle() / 1e-200, 2, 1e-12);
}

TYPED_TEST(Rotations, LogOfAHalfTurn) {
  using T = TypeParam;
  const Eigen::AngleAxis<double> a = RotationTemplate<T>::raw(0, 1, 0, 0).log();
  EXPECT_EQ(a.angle(), kPi);
  EXPECT_EQ(a.axis(), Eigen::Vector3d(0, 1, 0));
}

TYPED_TEST(Rotations, AngularDistanceIsTheSmallestAngle) {
  using T = TypeParam;
  using O = OrientTemplate<T>;
  const O id{1, 0, 0, 0};
  EXPECT_EQ(RotationTemplate<T>::AngularDistance(id, id), T(0));
  // The sign of the record does not matter.
  EXPECT_EQ(RotationTemplate<T>::AngularDistance(id, O{-1, 0, 0, 0}), T(0));
  // A record is normalised before use.
  EXPECT_EQ(RotationTemplate<T>::AngularDistance(O{2, 0, 0, 0}, id), T(0));
  for (double angle : {0.1, 1.0, 2.0, 3.0, kPi, 4.0, 1.5 * kPi}) {
    const O o = RotationTemplate<T>(this->t(angle), DirTemplate<T>{0, 0, 1}).toOrient();
    const double expected = angle <= kPi ? angle : 2 * kPi - angle;
    EXPECT_NEAR(RotationTemplate<T>::AngularDistance(id, o), expected, this->kFewOpsTol);
    EXPECT_NEAR(RotationTemplate<T>::AngularDistance(o, id), expected, this->kFewOpsTol);
  }
}

TYPED_TEST(Rotations, AngularDistanceMatchesTheRelativeMatrix) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const OrientTemplate<T> a = test::RandomRotation<T>(random).toOrient();
    const OrientTemplate<T> b = test::RandomRotation<T>(random).toOrient();
    const Eigen::Matrix3d rel = MatrixOf(a).transpose() * MatrixOf(b);
    const double expected = std::acos(std::clamp((rel.trace() - 1) / 2, -1.0, 1.0));
    const double tol = std::is_same_v<T, float> ? 2e-3 : 1e-6;
    EXPECT_NEAR(RotationTemplate<T>::AngularDistance(a, b), expected, tol);
  }
}

TYPED_TEST(Rotations, AngularDistanceOfAZeroRecordThrows) {
  using T = TypeParam;
  EXPECT_THROW_MSG(RotationTemplate<T>::AngularDistance(OrientTemplate<T>{0, 0, 0, 0}, {}),
                   std::logic_error, kZeroQuaternion);
  EXPECT_THROW_MSG(RotationTemplate<T>::AngularDistance({}, OrientTemplate<T>{0, 0, 0, 0}),
                   std::logic_error, kZeroQuaternion);
}

}  // namespace
}  // namespace zor::rob::test
