// Rotations: Euler angles, both ways, with the gimbal lock and its thresholds.

#include "zor/rob/rotation.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "geometry/rotation_test_fixture.hpp"
#include "support/test_support.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

TYPED_TEST_SUITE(Rotations, Scalars);

TYPED_TEST(Rotations, EulerConstructorIsRzRyRx) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const T rx = this->t(random.uniform(-4, 4));
    const T ry = this->t(random.uniform(-4, 4));
    const T rz = this->t(random.uniform(-4, 4));
    const RotationTemplate<T> r(rx, ry, rz);
    EXPECT_TRUE(matricesNear(MatrixOf(r), test::RotZ(rz) * test::RotY(ry) * test::RotX(rx),
                             this->kFewOpsTol));
    EXPECT_NEAR(r.x * r.x + r.y * r.y + r.z * r.z + r.w * r.w, 1.0, 1e-6);
  }
}

TYPED_TEST(Rotations, EulerConstructorMatchesProductOfAxisRotations) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  const T rx = T(0.4), ry = T(-0.9), rz = T(2.1);
  const Rot expected = Rot(rz, DirTemplate<T>{0, 0, 1}) * Rot(ry, DirTemplate<T>{0, 1, 0}) *
                       Rot(rx, DirTemplate<T>{1, 0, 0});
  const Rot r(rx, ry, rz);
  EXPECT_TRUE(NearQ(r, expected.w, expected.x, expected.y, expected.z, this->kTol));
}

TYPED_TEST(Rotations, EulerRoundTrip) {
  using T = TypeParam;
  test::Random random;
  const double margin = std::is_same_v<T, float> ? 0.05 : 1e-3;
  for (int i = 0; i < 2000; ++i) {
    const T rx = this->t(random.uniform(-kPi + margin, kPi - margin));
    const T ry = this->t(random.uniform(-kPi / 2 + margin, kPi / 2 - margin));
    const T rz = this->t(random.uniform(-kPi + margin, kPi - margin));
    const Vec3Template<T> e = RotationTemplate<T>(rx, ry, rz).toEuler();
    EXPECT_TRUE(Near3(e, rx, ry, rz, this->kLooseTol)) << rx << " " << ry << " " << rz;
  }
}

TYPED_TEST(Rotations, EulerAnglesReproduceAnyRotation) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 1000; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    const Vec3Template<T> e = r.toEuler();
    EXPECT_LE(std::abs(e.x), kPi + 1e-6);
    EXPECT_LE(std::abs(e.y), kPi / 2 + 1e-6);
    EXPECT_LE(std::abs(e.z), kPi + 1e-6);
    EXPECT_TRUE(matricesNear(test::RotZ(e.z) * test::RotY(e.y) * test::RotX(e.x), MatrixOf(r),
                             this->kLooseMatrixTol));
  }
}

TYPED_TEST(Rotations, EulerDegreesRoundTrip) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 500; ++i) {
    const double rx = random.uniform(-170, 170);
    const double ry = random.uniform(-85, 85);
    const double rz = random.uniform(-170, 170);
    const RotationTemplate<T> r(this->t(rx * kPi / 180), this->t(ry * kPi / 180),
                                this->t(rz * kPi / 180));
    EXPECT_TRUE(Near3(r.toEulerDegree(), rx, ry, rz, this->kLooseDegreeTol));
  }
}

TYPED_TEST(Rotations, EulerDegreesOfQuarterTurnAboutZ) {
  using T = TypeParam;
  const RotationTemplate<T> r(this->t(kPi / 2), DirTemplate<T>{0, 0, 1});
  EXPECT_TRUE(Near3(r.toEulerDegree(), 0, 0, 90, 1e-4));
}

TYPED_TEST(Rotations, EulerDegreesConvertInDoubleMultiplyingFirst) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 500; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    const Vec3Template<T> rad = r.toEuler();
    const Vec3Template<T> deg = r.toEulerDegree();
    EXPECT_EQ(deg.x, static_cast<T>(static_cast<double>(rad.x) * 180.0 / 3.141592653589793));
    EXPECT_EQ(deg.y, static_cast<T>(static_cast<double>(rad.y) * 180.0 / 3.141592653589793));
    EXPECT_EQ(deg.z, static_cast<T>(static_cast<double>(rad.z) * 180.0 / 3.141592653589793));
  }
}

TEST(Rotations, EulerLockedAtPlusNinetyPutsTheResidualIntoRz) {
  const Vec3 e = Rotation(0.3, kPi / 2, 0.2).toEuler();
  EXPECT_EQ(e.x, 0.0);
  EXPECT_NEAR(e.y, kPi / 2, 1e-7);
  // Only rz − rx is defined at +90 degrees of pitch.
  EXPECT_NEAR(e.z, 0.2 - 0.3, 1e-12);
}

TEST(Rotations, EulerLockedAtMinusNinetyPutsTheResidualIntoRz) {
  const Vec3 e = Rotation(0.3, -kPi / 2, 0.2).toEuler();
  EXPECT_EQ(e.x, 0.0);
  EXPECT_NEAR(e.y, -kPi / 2, 1e-7);
  // Only rz + rx is defined at −90 degrees of pitch.
  EXPECT_NEAR(e.z, 0.2 + 0.3, 1e-12);
}

TYPED_TEST(Rotations, EulerLockWithSineExactlyOne) {
  using T = TypeParam;
  // (w, x, y, z) = (0.5, 0.5, 0.5, −0.5): s = −2(xz − wy) = 1 exactly, x / w = 1.
  const auto r = RotationTemplate<T>::raw(T(0.5), T(0.5), T(-0.5), T(0.5));
  const Vec3Template<T> e = r.toEuler();
  EXPECT_EQ(e.x, T(0));
  EXPECT_EQ(e.y, T(1.5707963267948966));
  EXPECT_NEAR(e.z, -kPi / 2, this->kTol);
  EXPECT_TRUE(matricesNear(test::RotZ(e.z) * test::RotY(e.y) * test::RotX(e.x), MatrixOf(r),
                           this->kFewOpsTol));
  const Vec3Template<T> d = r.toEulerDegree();
  EXPECT_EQ(d.x, T(0));
  EXPECT_EQ(d.y, T(90));
  EXPECT_NEAR(d.z, -90.0, 1e-4);
}

TYPED_TEST(Rotations, EulerLockWithSineExactlyMinusOne) {
  using T = TypeParam;
  // (w, x, y, z) = (0.5, 0.5, −0.5, 0.5): s = −1 exactly, rz = 2·atan(1).
  const auto r = RotationTemplate<T>::raw(T(0.5), T(-0.5), T(0.5), T(0.5));
  const Vec3Template<T> e = r.toEuler();
  EXPECT_EQ(e.x, T(0));
  EXPECT_EQ(e.y, T(-1.5707963267948966));
  EXPECT_NEAR(e.z, kPi / 2, this->kTol);
  EXPECT_TRUE(matricesNear(test::RotZ(e.z) * test::RotY(e.y) * test::RotX(e.x), MatrixOf(r),
                           this->kFewOpsTol));
  const Vec3Template<T> d = r.toEulerDegree();
  EXPECT_EQ(d.x, T(0));
  EXPECT_EQ(d.y, static_cast<T>(static_cast<double>(T(-1.5707963267948966)) * 180.0 / kPi));
  EXPECT_NEAR(d.y, -90.0, 1e-4);
  EXPECT_NEAR(d.z, 90.0, 1e-4);
}

TYPED_TEST(Rotations, EulerLockGivesTheSameAnglesForANegatedQuaternion) {
  using T = TypeParam;
  // x / w does not change when both flip sign, so atan (unlike atan2) keeps rz in (−π, π).
  const auto plus = RotationTemplate<T>::raw(T(-0.5), T(-0.5), T(0.5), T(-0.5));  // s = +1
  const Vec3Template<T> e = plus.toEuler();
  EXPECT_EQ(e.x, T(0));
  EXPECT_EQ(e.y, T(1.5707963267948966));
  EXPECT_NEAR(e.z, -kPi / 2, this->kTol);
  const auto minus = RotationTemplate<T>::raw(T(-0.5), T(0.5), T(-0.5), T(-0.5));  // s = −1
  const Vec3Template<T> f = minus.toEuler();
  EXPECT_EQ(f.x, T(0));
  EXPECT_EQ(f.y, T(-1.5707963267948966));
  EXPECT_NEAR(f.z, kPi / 2, this->kTol);
  EXPECT_TRUE(matricesNear(test::RotZ(f.z) * test::RotY(f.y) * test::RotX(f.x), MatrixOf(minus),
                           this->kFewOpsTol));
}

TYPED_TEST(Rotations, EulerLockUsesAtanSoZeroScalarGivesPi) {
  using T = TypeParam;
  // (w, x, y, z) = (0, 0.5, 0, −1): s = −2·(0.5·(−1)) = 1, x / w = +inf.
  const auto r = RotationTemplate<T>::raw(T(0.5), T(0), T(-1), T(0));
  const Vec3Template<T> e = r.toEuler();
  EXPECT_EQ(e.x, T(0));
  EXPECT_NEAR(e.z, -kPi, this->kTol);
}

// The components below are not unit quaternions: toEuler does not normalise, which lets each
// test put sin(ry) = 2·w·y exactly where it wants it (x = z = 0 unless stated).
template <class T>
RotationTemplate<T> WithSine(T x, T y, T w) {
  return RotationTemplate<T>::raw(x, y, T(0), w);
}

TEST(Rotations, EulerSineJustAboveOneWithinTheLockIsLocked) {
  const double y = 1 + std::ldexp(1.0, -52);  // s = 1 + 2^-52
  const Vec3 e = WithSine(0.5, y, 0.5).toEuler();
  EXPECT_EQ(e.x, 0.0);
  EXPECT_EQ(e.y, 1.5707963267948966);
  EXPECT_NEAR(e.z, -kPi / 2, 1e-15);
  EXPECT_EQ(WithSine(0.5, y, 0.5).toEulerDegree().y, 90.0);
}

TYPED_TEST(Rotations, EulerSineBeyondOneByMoreThanTheLockUsesTheGeneralFormulas) {
  using T = TypeParam;
  // s = 1 + 2^-40 (double) or 1 + 2^-23 (float, the next value above 1). With x = z = 0 the
  // general formulas give rx = atan2(0, w² − y²) = π and rz = atan2(0, w² − y²) = π.
  const T y = std::is_same_v<T, float> ? std::nextafter(T(1), T(2)) : T(1 + std::ldexp(1.0, -40));
  const Vec3Template<T> e = WithSine(T(0), y, T(0.5)).toEuler();
  EXPECT_EQ(e.y, T(1.5707963267948966));
  EXPECT_NEAR(e.x, kPi, this->kTol);
  EXPECT_NEAR(e.z, kPi, this->kTol);
}

TEST(Rotations, EulerSineJustBelowOneWithinTheLockIsLocked) {
  const double y = 1 - std::ldexp(1.0, -53);  // s = 1 − 2^-53, |s − 1| < 1e-15
  const Rotation r = WithSine(0.5, y, 0.5);
  const Vec3 e = r.toEuler();
  EXPECT_EQ(e.x, 0.0);
  EXPECT_LT(e.y, kPi / 2);
  EXPECT_NEAR(e.y, kPi / 2, 2e-8);
  EXPECT_NEAR(e.z, -kPi / 2, 1e-15);
  // Only the pitch clamped at s ≥ 1 is the exact 90; here it is converted from asin(s).
  const Vec3 d = r.toEulerDegree();
  EXPECT_LT(d.y, 90.0);
  EXPECT_NEAR(d.y, 90.0, 2e-6);
}

TEST(Rotations, EulerSineBelowOneOutsideTheLockUsesTheGeneralFormulas) {
  const double y = 1 - std::ldexp(1.0, -45);  // |s − 1| = 2.8e-14 > 1e-15
  const Vec3 e = WithSine(0.0, y, 0.5).toEuler();
  EXPECT_NEAR(e.x, kPi, 1e-15);
  EXPECT_NEAR(e.y, kPi / 2, 1e-6);
  EXPECT_NEAR(e.z, kPi, 1e-15);
}

TEST(Rotations, EulerSineJustBelowMinusOneWithinTheLockIsLocked) {
  const double y = -(1 + std::ldexp(1.0, -52));  // s = −1 − 2^-52
  const Vec3 e = WithSine(0.5, y, 0.5).toEuler();
  EXPECT_EQ(e.x, 0.0);
  EXPECT_EQ(e.y, -1.5707963267948966);
  EXPECT_NEAR(e.z, kPi / 2, 1e-15);
  EXPECT_EQ(WithSine(0.5, y, 0.5).toEulerDegree().y, -90.0);
}

TEST(Rotations, EulerSineJustAboveMinusOneWithinTheLockIsLocked) {
  const double y = -(1 - std::ldexp(1.0, -53));  // s = −1 + 2^-53
  const Vec3 e = WithSine(0.5, y, 0.5).toEuler();
  EXPECT_EQ(e.x, 0.0);
  EXPECT_GT(e.y, -kPi / 2);
  EXPECT_NEAR(e.y, -kPi / 2, 2e-8);
  EXPECT_NEAR(e.z, kPi / 2, 1e-15);
}

TYPED_TEST(Rotations, EulerSineBeyondMinusOneByMoreThanTheLockUsesTheGeneralFormulas) {
  using T = TypeParam;
  const T y =
      std::is_same_v<T, float> ? std::nextafter(T(-1), T(-2)) : T(-(1 + std::ldexp(1.0, -40)));
  const Vec3Template<T> e = WithSine(T(0), y, T(0.5)).toEuler();
  EXPECT_EQ(e.y, T(-1.5707963267948966));
  EXPECT_NEAR(e.x, kPi, this->kTol);
  EXPECT_NEAR(e.z, kPi, this->kTol);
}

TEST(Rotations, FloatEulerLockNeedsSineOfExactlyOne) {
  // The float threshold is 1e-15f: below 1 the nearest float (1 − 2^-24) is already outside it.
  const Rotationf r = WithSine(0.0f, 1 - std::ldexp(1.0f, -24), 0.5f);
  const Vec3f e = r.toEuler();
  EXPECT_NEAR(e.x, kPi, 1e-6);
  EXPECT_LT(e.y, 1.5707964f);
}

}  // namespace
}  // namespace zor::rob::test
