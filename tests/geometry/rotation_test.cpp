#include "zor/rob/rotation.hpp"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>

#include "geometry_test_util.hpp"
#include "support/test_support.hpp"

namespace zor::rob {
namespace {

using test::kPi;
using test::matricesNear;
using test::MatrixOf;
using test::Near3;
using test::NearOrient;
using test::NearQ;

template <class T>
class Rotations : public testing::Test {
 protected:
  static constexpr double kTol = test::kTol<T>;
  static T t(double v) { return static_cast<T>(v); }
  // toEuler and Slerp are ill-conditioned near their limits; these tolerances cover float.
  static constexpr double kLooseTol = std::is_same_v<T, float> ? 1e-4 : 1e-10;
};
TYPED_TEST_SUITE(Rotations, test::Scalars);

constexpr const char* kZeroQuaternion = "normalize quaternion of 0 magnitude";
constexpr const char* kZeroLength = "0-length vector cannot be normalized.";

// ---------------------------------------------------------------------------------------------
// Layout and construction

TYPED_TEST(Rotations, StoredLikeEigensQuaternionXyzw) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  static_assert(std::is_standard_layout_v<Rot>);
  static_assert(std::is_trivially_copyable_v<Rot>);
  static_assert(sizeof(Rot) == 4 * sizeof(T));
  static_assert(offsetof(Rot, x) == 0);
  static_assert(offsetof(Rot, y) == sizeof(T));
  static_assert(offsetof(Rot, z) == 2 * sizeof(T));
  static_assert(offsetof(Rot, w) == 3 * sizeof(T));
  const Rot r(T(0.5), T(0.5), T(-0.5), T(0.5));
  Eigen::Quaternion<T> e;
  std::memcpy(e.coeffs().data(), &r, sizeof r);
  EXPECT_EQ(e.w(), T(0.5));
  EXPECT_EQ(e.x(), T(0.5));
  EXPECT_EQ(e.y(), T(-0.5));
  EXPECT_EQ(e.z(), T(0.5));
}

TYPED_TEST(Rotations, DefaultAndIdentityAreTheIdentity) {
  using Rot = RotationTemplate<TypeParam>;
  for (const Rot& r : {Rot(), Rot::Identity()}) {
    EXPECT_EQ(r.x, 0);
    EXPECT_EQ(r.y, 0);
    EXPECT_EQ(r.z, 0);
    EXPECT_EQ(r.w, 1);
  }
}

TYPED_TEST(Rotations, ComponentConstructorTakesTheScalarFirst) {
  using T = TypeParam;
  const RotationTemplate<T> r(T(0.5), T(0.1), T(0.7), T(-0.5));
  EXPECT_EQ(r.w, T(0.5));
  EXPECT_EQ(r.x, T(0.1));
  EXPECT_EQ(r.y, T(0.7));
  EXPECT_EQ(r.z, T(-0.5));
}

TYPED_TEST(Rotations, ZeroQuaternionThrows) {
  using T = TypeParam;
  EXPECT_THROW_MSG(RotationTemplate<T>(0, 0, 0, 0), std::logic_error, kZeroQuaternion);
  // Squared norm 9.8e-7 < 1e-6.
  EXPECT_THROW_MSG(RotationTemplate<T>(0, T(7e-4), T(7e-4), 0), std::logic_error, kZeroQuaternion);
}

TYPED_TEST(Rotations, SmallButNotZeroQuaternionIsNormalised) {
  using T = TypeParam;
  // Squared norm 1.0e-6 + ... just above the limit.
  const RotationTemplate<T> r(0, 0, T(1.01e-3), 0);
  EXPECT_TRUE(NearQ(r, 0, 0, 1, 0, this->kTol));
}

TEST(Rotations, SquaredNormOfExactlyTheLimitIsNormalised) {
  // 0.001² == 1e-6 in double: not strictly below the limit.
  ASSERT_EQ(0.001 * 0.001, 1e-6);
  const Rotation r(0.001, 0, 0, 0);
  EXPECT_EQ(r.w, 1.0);
}

TYPED_TEST(Rotations, ScaledQuaternionIsNormalised) {
  using T = TypeParam;
  const RotationTemplate<T> r(2, 0, 0, 0);
  EXPECT_EQ(r.w, T(1));
  EXPECT_EQ(r.x, T(0));
  const RotationTemplate<T> s(0, 0, 3, 4);
  EXPECT_TRUE(NearQ(s, 0, 0, 0.6, 0.8, this->kTol));
}

TYPED_TEST(Rotations, NearlyUnitQuaternionIsLeftAlone) {
  using T = TypeParam;
  // |sq - 1| = 8e-7 < 1e-6: kept exactly as given.
  const RotationTemplate<T> r(T(1.0000004), 0, 0, 0);
  EXPECT_EQ(r.w, T(1.0000004));
  const RotationTemplate<T> s(T(0.9999996), 0, 0, 0);
  EXPECT_EQ(s.w, T(0.9999996));
}

TYPED_TEST(Rotations, JustOutsideTheUnitBandIsNormalised) {
  using T = TypeParam;
  // |sq - 1| ≈ 2e-6.
  const RotationTemplate<T> r(T(1.000001), 0, 0, 0);
  EXPECT_NE(r.w, T(1.000001));
  EXPECT_NEAR(r.w, 1.0, 1e-7);
  const RotationTemplate<T> s(T(0.999999), 0, 0, 0);
  EXPECT_NE(s.w, T(0.999999));
  EXPECT_NEAR(s.w, 1.0, 1e-7);
}

TYPED_TEST(Rotations, NormalizeInPlaceAndUnchangedOnThrow) {
  using T = TypeParam;
  auto r = RotationTemplate<T>::raw(0, 0, 3, 4);
  r.normalize();
  EXPECT_TRUE(NearQ(r, 0.8, 0, 0, 0.6, this->kTol));
  auto z = RotationTemplate<T>::raw(T(1e-4), T(2e-4), 0, T(3e-4));
  EXPECT_THROW_MSG(z.normalize(), std::logic_error, kZeroQuaternion);
  EXPECT_EQ(z.x, T(1e-4));
  EXPECT_EQ(z.y, T(2e-4));
  EXPECT_EQ(z.z, T(0));
  EXPECT_EQ(z.w, T(3e-4));
}

TYPED_TEST(Rotations, NormalisationDoesNotDrift) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 200; ++i) {
    RotationTemplate<T> r = test::RandomRotation<T>(random);
    const RotationTemplate<T> before = r;
    for (int k = 0; k < 5; ++k)
      r.normalize();
    EXPECT_EQ(r.x, before.x);
    EXPECT_EQ(r.y, before.y);
    EXPECT_EQ(r.z, before.z);
    EXPECT_EQ(r.w, before.w);
  }
}

// ---------------------------------------------------------------------------------------------
// Angle and axis

TYPED_TEST(Rotations, AngleAxisMatchesRodrigues) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const double angle = random.uniform(-2 * kPi, 2 * kPi);
    const Eigen::Vector3d axis = test::randomUnitVector(random);
    const DirTemplate<T> dir{this->t(axis.x()), this->t(axis.y()), this->t(axis.z())};
    const RotationTemplate<T> r(this->t(angle), dir);
    EXPECT_TRUE(matricesNear(MatrixOf(r), test::RotAxis(angle, axis.x(), axis.y(), axis.z()),
                             10 * this->kTol));
    EXPECT_NEAR(r.w, std::cos(angle / 2), 10 * this->kTol);
  }
}

TYPED_TEST(Rotations, AngleAxisMatchesEigensAngleAxis) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 100; ++i) {
    const T angle = this->t(random.uniform(-kPi, kPi));
    const Eigen::Vector3d axis = test::randomUnitVector(random);
    const Eigen::Matrix<T, 3, 1> a = axis.cast<T>();
    const Eigen::Quaternion<T> e(Eigen::AngleAxis<T>(angle, a));
    const RotationTemplate<T> r(angle, DirTemplate<T>{a.x(), a.y(), a.z()});
    EXPECT_TRUE(NearQ(r, e.w(), e.x(), e.y(), e.z(), this->kTol));
  }
}

TYPED_TEST(Rotations, QuarterTurnAboutZ) {
  using T = TypeParam;
  const RotationTemplate<T> r(this->t(kPi / 2), DirTemplate<T>{0, 0, 1});
  EXPECT_TRUE(NearQ(r, std::sqrt(0.5), 0, 0, std::sqrt(0.5), this->kTol));
  EXPECT_TRUE(Near3(r * Vec3Template<T>{1, 0, 0}, 0, 1, 0, this->kTol));
}

TYPED_TEST(Rotations, VectorAxisIsNormalisedFirst) {
  using T = TypeParam;
  for (double angle : {0.3, -1.2, 2.5}) {
    const RotationTemplate<T> a(this->t(angle), Vec3Template<T>{0, 0, 5});
    const RotationTemplate<T> b(this->t(angle), DirTemplate<T>{0, 0, 1});
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.z, b.z);
    EXPECT_EQ(a.w, b.w);
  }
  const RotationTemplate<T> c(T(1), Vec3Template<T>{1, 2, 2});
  const RotationTemplate<T> d(T(1), DirTemplate<T>{T(1.0 / 3), T(2.0 / 3), T(2.0 / 3)});
  EXPECT_TRUE(NearQ(c, d.w, d.x, d.y, d.z, this->kTol));
}

TYPED_TEST(Rotations, ZeroVectorAxisThrows) {
  using T = TypeParam;
  EXPECT_THROW_MSG(RotationTemplate<T>(T(1), Vec3Template<T>{0, 0, 0}), std::overflow_error,
                   kZeroLength);
  EXPECT_THROW_MSG(RotationTemplate<T>(T(1), Vec3Template<T>{T(5e-8), 0, T(5e-8)}),
                   std::overflow_error, kZeroLength);
}

TEST(Rotations, VectorAxisOfOneTenMillionthThrows) {
  EXPECT_THROW_MSG(Rotation(1.0, Vec3{0, 1e-7, 0}), std::overflow_error, kZeroLength);
  EXPECT_NO_THROW(Rotation(1.0, Vec3{0, 1.1e-7, 0}));
}

TYPED_TEST(Rotations, DirectionAxisIsTakenAsItIs) {
  using T = TypeParam;
  // A non-unit direction scales the vector part and nothing renormalises it.
  const RotationTemplate<T> r(this->t(kPi), DirTemplate<T>{0, 0, 2});
  EXPECT_NEAR(r.z, 2.0, this->kTol);
  EXPECT_NEAR(r.w, 0.0, this->kTol);
  const RotationTemplate<T> s(this->t(kPi / 3), DirTemplate<T>{0, 0, 0});
  EXPECT_EQ(s.z, T(0));
  EXPECT_NEAR(s.w, std::cos(kPi / 6), this->kTol);
}

// ---------------------------------------------------------------------------------------------
// Euler angles

TYPED_TEST(Rotations, EulerConstructorIsRzRyRx) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const T rx = this->t(random.uniform(-4, 4));
    const T ry = this->t(random.uniform(-4, 4));
    const T rz = this->t(random.uniform(-4, 4));
    const RotationTemplate<T> r(rx, ry, rz);
    EXPECT_TRUE(matricesNear(MatrixOf(r), test::RotZ(rz) * test::RotY(ry) * test::RotX(rx),
                             10 * this->kTol));
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
                             this->kLooseTol * 10));
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
    EXPECT_TRUE(Near3(r.toEulerDegree(), rx, ry, rz, this->kLooseTol * 180));
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
                           10 * this->kTol));
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
                           10 * this->kTol));
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
                           10 * this->kTol));
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
    EXPECT_TRUE(matricesNear(MatrixOf(r.inverse()), MatrixOf(r).transpose(), this->kTol * 10));
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
    EXPECT_TRUE(matricesNear(MatrixOf(ab), MatrixOf(a) * MatrixOf(b), 10 * this->kTol));
    const Eigen::Quaternion<T> e =
        Eigen::Quaternion<T>(a.w, a.x, a.y, a.z) * Eigen::Quaternion<T>(b.w, b.x, b.y, b.z);
    EXPECT_TRUE(NearQ(ab, e.w(), e.x(), e.y(), e.z(), this->kTol));
    const Vec3Template<T> v{1, -2, 3};
    EXPECT_TRUE(Near3(ab * v, (a * (b * v)).x, (a * (b * v)).y, (a * (b * v)).z, 10 * this->kTol));
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
    const double tol = 1000 * this->kTol;
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
// Orientation records

TYPED_TEST(Rotations, ToOrientPutsTheScalarFirst) {
  using T = TypeParam;
  const RotationTemplate<T> r(T(0.5), T(0.5), T(-0.5), T(0.5));
  const OrientTemplate<T> o = r.toOrient();
  EXPECT_EQ(o, (OrientTemplate<T>{T(0.5), T(0.5), T(-0.5), T(0.5)}));
}

TYPED_TEST(Rotations, ToOrientNormalisesACopy) {
  using T = TypeParam;
  const auto r = RotationTemplate<T>::raw(0, 0, 0, 2);
  EXPECT_EQ(r.toOrient(), (OrientTemplate<T>{1, 0, 0, 0}));
  EXPECT_EQ(r.w, T(2));
  EXPECT_THROW_MSG(RotationTemplate<T>::raw(0, 0, 0, 0).toOrient(), std::logic_error,
                   kZeroQuaternion);
}

TYPED_TEST(Rotations, RotationToOrientAndBackIsExact) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 1000; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    const OrientTemplate<T> o = r.toOrient();
    const RotationTemplate<T> back(o.q1, o.q2, o.q3, o.q4);
    EXPECT_EQ(back.x, r.x);
    EXPECT_EQ(back.y, r.y);
    EXPECT_EQ(back.z, r.z);
    EXPECT_EQ(back.w, r.w);
  }
}

TYPED_TEST(Rotations, FromOrientTakesTheScalarFirstAndNormalises) {
  using T = TypeParam;
  const RotationTemplate<T> r = RotationTemplate<T>::FromOrient({T(0), T(0), T(0), T(-3)});
  EXPECT_TRUE(NearQ(r, 0, 0, 0, -1, this->kTol));
  // Within the unit band the record is kept as it is, as by the component constructor.
  const OrientTemplate<T> nearlyUnit{T(0.6), T(0.8), T(0), T(1e-4)};
  const RotationTemplate<T> kept = RotationTemplate<T>::FromOrient(nearlyUnit);
  EXPECT_EQ(kept.rawOrient(), nearlyUnit);
  EXPECT_THROW_MSG(RotationTemplate<T>::FromOrient({T(0), T(0), T(0), T(0)}), std::logic_error,
                   kZeroQuaternion);
}

TYPED_TEST(Rotations, RawRecordConversionsKeepTheComponents) {
  using T = TypeParam;
  const OrientTemplate<T> record{T(2), T(-3), T(5), T(7)};
  const RotationTemplate<T> r = RotationTemplate<T>::raw(record);
  EXPECT_EQ(r.w, T(2));
  EXPECT_EQ(r.x, T(-3));
  EXPECT_EQ(r.y, T(5));
  EXPECT_EQ(r.z, T(7));
  EXPECT_EQ(r.rawOrient(), record);
  static_assert(RotationTemplate<T>::raw(OrientTemplate<T>{1, 2, 3, 4}).rawOrient() ==
                OrientTemplate<T>{1, 2, 3, 4});
}

TYPED_TEST(Rotations, NormalizedUnlessZeroDividesByTheNormWithoutTolerance) {
  using T = TypeParam;
  const RotationTemplate<T> scaled =
      RotationTemplate<T>::raw(T(0), T(3), T(0), T(4)).normalizedUnlessZero();
  EXPECT_TRUE(NearQ(scaled, 0.8, 0, 0.6, 0, this->kTol));
  // Inside the unit band of the normalisation rule it still divides.
  const auto nearlyUnit = RotationTemplate<T>::raw(T(0), T(0), T(0), T(1.0000001));
  EXPECT_EQ(nearlyUnit.normalizedUnlessZero().w, T(1));
  // Below the rule's zero threshold it divides too, and zero stays zero without a throw.
  const auto tiny = RotationTemplate<T>::raw(T(1e-5), T(0), T(0), T(0));
  EXPECT_EQ(tiny.normalizedUnlessZero().x, T(1));
  const RotationTemplate<T> zero = RotationTemplate<T>::raw(0, 0, 0, 0).normalizedUnlessZero();
  EXPECT_EQ(zero.rawOrient(), (OrientTemplate<T>{0, 0, 0, 0}));
}

TYPED_TEST(Rotations, RotationAngleIgnoresSignAndLength) {
  using T = TypeParam;
  for (const double angle : {0.0, 0.3, 1.5, 3.0, kPi}) {
    const Eigen::Quaternion<T> e(
        Eigen::AngleAxis<T>(T(angle), Eigen::Matrix<T, 3, 1>(2, -1, 2) / 3));
    const auto q = RotationTemplate<T>::raw(e.x(), e.y(), e.z(), e.w());
    EXPECT_NEAR(q.rotationAngle(), angle, this->kTol);
    EXPECT_EQ(RotationTemplate<T>::raw(-q.x, -q.y, -q.z, -q.w).rotationAngle(), q.rotationAngle());
    EXPECT_NEAR(RotationTemplate<T>::raw(3 * q.x, 3 * q.y, 3 * q.z, 3 * q.w).rotationAngle(),
                q.rotationAngle(), this->kTol);
  }
}

// ---------------------------------------------------------------------------------------------
// From frame axes and from two directions

TYPED_TEST(Rotations, FromAxesTraceBranch) {
  using T = TypeParam;
  test::Random random;
  int traceBranch = 0;
  for (int i = 0; i < 300; ++i) {
    const RotationTemplate<T> r = test::RandomRotation<T>(random);
    const Eigen::Matrix3d m = MatrixOf(r);
    if (m.trace() <= 0)
      continue;
    ++traceBranch;
    const auto col = [&](int c) {
      return DirTemplate<T>{this->t(m(0, c)), this->t(m(1, c)), this->t(m(2, c))};
    };
    const RotationTemplate<T> f = RotationTemplate<T>::FromAxes(col(0), col(1), col(2));
    EXPECT_TRUE(matricesNear(MatrixOf(f), m, 10 * this->kTol));
    // With a positive trace the scalar part comes out positive.
    EXPECT_GT(f.w, 0);
    const double sign = r.w < 0 ? -1 : 1;
    EXPECT_TRUE(NearQ(f, sign * r.w, sign * r.x, sign * r.y, sign * r.z, 10 * this->kTol));
  }
  EXPECT_GT(traceBranch, 50);
}

TYPED_TEST(Rotations, FromAxesEachLargestDiagonalBranch) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  using D = DirTemplate<T>;
  // Half turns: trace −1, the largest diagonal element picks the branch.
  EXPECT_TRUE(NearQ(Rot::FromAxes(D{1, 0, 0}, D{0, -1, 0}, D{0, 0, -1}), 0, 1, 0, 0, 0));
  EXPECT_TRUE(NearQ(Rot::FromAxes(D{-1, 0, 0}, D{0, 1, 0}, D{0, 0, -1}), 0, 0, 1, 0, 0));
  EXPECT_TRUE(NearQ(Rot::FromAxes(D{-1, 0, 0}, D{0, -1, 0}, D{0, 0, 1}), 0, 0, 0, 1, 0));
  // Trace exactly 0 is not positive: X → Y, Y → Z, Z → X is 120° about (1, 1, 1).
  EXPECT_TRUE(
      NearQ(Rot::FromAxes(D{0, 1, 0}, D{0, 0, 1}, D{1, 0, 0}), 0.5, 0.5, 0.5, 0.5, this->kTol));
  // Near half turns about tilted axes, one per largest diagonal element.
  for (const Eigen::Vector3d& axis :
       {Eigen::Vector3d(0.9, 0.3, 0.1), Eigen::Vector3d(0.2, -0.9, 0.3),
        Eigen::Vector3d(-0.1, 0.3, 0.95)}) {
    const Eigen::Vector3d u = axis.normalized();
    const Eigen::Matrix3d m = test::RotAxis(3.0, u.x(), u.y(), u.z());
    ASSERT_LT(m.trace(), 0);
    const auto col = [&](int c) { return D{this->t(m(0, c)), this->t(m(1, c)), this->t(m(2, c))}; };
    const Rot f = Rot::FromAxes(col(0), col(1), col(2));
    EXPECT_TRUE(matricesNear(MatrixOf(f), m, 10 * this->kTol));
    EXPECT_NEAR(f.x * f.x + f.y * f.y + f.z * f.z + f.w * f.w, 1.0, this->kTol);
  }
}

TYPED_TEST(Rotations, FromAxesScalesTheResultToUnitLength) {
  using T = TypeParam;
  using D = DirTemplate<T>;
  // Axes of length 2 are not checked; the quaternion is still unit.
  const auto r = RotationTemplate<T>::FromAxes(D{2, 0, 0}, D{0, 2, 0}, D{0, 0, 2});
  EXPECT_TRUE(NearQ(r, 1, 0, 0, 0, this->kTol));
  EXPECT_NO_THROW(RotationTemplate<T>::FromAxes(D{0, 0, 0}, D{0, 0, 0}, D{0, 0, 0}));
}

TYPED_TEST(Rotations, FromTwoDirectionsTurnsTheFirstIntoTheSecondTheShortWay) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const Eigen::Vector3d a = test::randomUnitVector(random);
    const Eigen::Vector3d b = test::randomUnitVector(random);
    const DirTemplate<T> from{this->t(a.x()), this->t(a.y()), this->t(a.z())};
    const DirTemplate<T> to{this->t(b.x()), this->t(b.y()), this->t(b.z())};
    const RotationTemplate<T> r = RotationTemplate<T>::From2Dirs(from, to);
    const double tol = std::is_same_v<T, float> ? 1e-4 : 1e-10;
    EXPECT_TRUE(Near3(r * from.toVec3(), b.x(), b.y(), b.z(), tol));
    // The smallest rotation: its axis is perpendicular to both and its angle is the angle
    // between them.
    const Eigen::Vector3d axis(r.x, r.y, r.z);
    EXPECT_NEAR(axis.dot(a), 0.0, tol);
    EXPECT_NEAR(axis.dot(b), 0.0, tol);
    EXPECT_NEAR(r.log().angle(), std::acos(std::clamp(a.dot(b), -1.0, 1.0)), 1e3 * tol);
    EXPECT_NEAR(r.x * r.x + r.y * r.y + r.z * r.z + r.w * r.w, 1.0, this->kTol);
  }
}

TYPED_TEST(Rotations, FromTwoVectorsIgnoresTheLengths) {
  using T = TypeParam;
  using V = Vec3Template<T>;
  const auto r = RotationTemplate<T>::From2Vectors(V{5, 0, 0}, V{0, T(0.25), 0});
  EXPECT_TRUE(NearQ(r, std::sqrt(0.5), 0, 0, std::sqrt(0.5), this->kTol));
  const V a{1, 2, 3};
  const V b{-4, T(0.5), 2};
  const auto s = RotationTemplate<T>::From2Vectors(a * T(7), b * T(0.01));
  const auto u = RotationTemplate<T>::From2Dirs(DirTemplate<T>(a), DirTemplate<T>(b));
  EXPECT_TRUE(NearQ(s, u.w, u.x, u.y, u.z, this->kTol));
  const auto d = RotationTemplate<T>::From2Dirs(DirTemplate<T>{1, 2, 3}, DirTemplate<T>{-4, 1, 2});
  const auto v = RotationTemplate<T>::From2Vectors(V{1, 2, 3}, V{-4, 1, 2});
  EXPECT_EQ(d.x, v.x);
  EXPECT_EQ(d.y, v.y);
  EXPECT_EQ(d.z, v.z);
  EXPECT_EQ(d.w, v.w);
}

TYPED_TEST(Rotations, FromTwoEqualVectorsIsTheIdentity) {
  using T = TypeParam;
  const Vec3Template<T> a{T(0.3), -2, 1};
  EXPECT_TRUE(NearQ(RotationTemplate<T>::From2Vectors(a, a), 1, 0, 0, 0, this->kTol));
}

TYPED_TEST(Rotations, FromTwoOppositeVectorsIsAHalfTurn) {
  using T = TypeParam;
  using V = Vec3Template<T>;
  const T tiny = std::is_same_v<T, float> ? T(1e-4) : T(1e-9);
  const double tol = 2 * static_cast<double>(tiny) + 10 * this->kTol;
  for (const V& to : {V{-1, 0, 0}, V{-1, tiny, 0}, V{-1, 0, -tiny}}) {
    const auto r = RotationTemplate<T>::From2Vectors(V{1, 0, 0}, to);
    const V u = to.normalized();
    EXPECT_TRUE(Near3(r * V{1, 0, 0}, u.x, u.y, u.z, tol));
    EXPECT_NEAR(r.w, 0.0, tol);
    EXPECT_NEAR(r.x * r.x + r.y * r.y + r.z * r.z + r.w * r.w, 1.0, this->kTol);
  }
  const V a{1, 2, 3};
  const auto r = RotationTemplate<T>::From2Vectors(a, -a);
  const V u = (-a).normalized();
  // In float, 1 + cos θ is resolved to 6e-8 only, which leaves the half turn 3e-4 short.
  EXPECT_TRUE(Near3(r * a.normalized(), u.x, u.y, u.z, std::is_same_v<T, float> ? 1e-3 : 1e-10));
}

TYPED_TEST(Rotations, FromTwoVectorsWithAZeroVectorDoesNotThrow) {
  using T = TypeParam;
  using V = Vec3Template<T>;
  EXPECT_NO_THROW(RotationTemplate<T>::From2Vectors(V{0, 0, 0}, V{1, 0, 0}));
  EXPECT_NO_THROW(RotationTemplate<T>::From2Dirs(DirTemplate<T>{0, 0, 0}, DirTemplate<T>{0, 0, 0}));
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
    EXPECT_TRUE(matricesNear(a.toRotationMatrix(), MatrixOf(r), 10 * this->kTol));
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
    EXPECT_NEAR(RotationTemplate<T>::AngularDistance(id, o), expected, 10 * this->kTol);
    EXPECT_NEAR(RotationTemplate<T>::AngularDistance(o, id), expected, 10 * this->kTol);
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

// ---------------------------------------------------------------------------------------------
// Interpolation

TYPED_TEST(Rotations, SlerpOfAnOrientationWithItselfIsThatOrientation) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 50; ++i) {
    const OrientTemplate<T> a = test::RandomRotation<T>(random).toOrient();
    // dot(a, a) = 1: the linear weights; the sine weights would divide 0 by 0.
    for (double t : {0.0, 0.25, 0.5, 1.0, 1.7, -0.5}) {
      const OrientTemplate<T> s = RotationTemplate<T>::Slerp(a, a, this->t(t));
      EXPECT_TRUE(NearOrient(s, a.q1, a.q2, a.q3, a.q4, this->kTol));
    }
  }
}

TYPED_TEST(Rotations, SlerpTowardsTheNegatedOrientationStaysPut) {
  using T = TypeParam;
  const OrientTemplate<T> a = RotationTemplate<T>(T(0.3), T(-0.2), T(1.1)).toOrient();
  const OrientTemplate<T> b{-a.q1, -a.q2, -a.q3, -a.q4};
  const OrientTemplate<T> s = RotationTemplate<T>::Slerp(a, b, T(0.5));
  EXPECT_TRUE(NearOrient(s, a.q1, a.q2, a.q3, a.q4, this->kTol));
}

TYPED_TEST(Rotations, SlerpHalfWayBetweenOppositeOrientationsTurnsAQuarter) {
  using T = TypeParam;
  // Identity and 180° about Z: dot = 0, θ = π/2.
  const OrientTemplate<T> s = RotationTemplate<T>::Slerp(OrientTemplate<T>{1, 0, 0, 0},
                                                         OrientTemplate<T>{0, 0, 0, 1}, T(0.5));
  EXPECT_TRUE(NearOrient(s, std::sqrt(0.5), 0, 0, std::sqrt(0.5), this->kTol));
}

TYPED_TEST(Rotations, SlerpEndsAndConstantSpeed) {
  using T = TypeParam;
  test::Random random;
  const double tol = std::is_same_v<T, float> ? 2e-3 : 1e-7;
  for (int i = 0; i < 200; ++i) {
    const OrientTemplate<T> a = test::RandomRotation<T>(random).toOrient();
    const OrientTemplate<T> b = test::RandomRotation<T>(random).toOrient();
    const OrientTemplate<T> s0 = RotationTemplate<T>::Slerp(a, b, 0);
    EXPECT_TRUE(NearOrient(s0, a.q1, a.q2, a.q3, a.q4, 10 * this->kTol));
    const OrientTemplate<T> s1 = RotationTemplate<T>::Slerp(a, b, 1);
    EXPECT_TRUE(matricesNear(MatrixOf(s1), MatrixOf(b), 10 * this->kTol));
    // Against the relative rotation matrix: the angle travelled grows linearly with t.
    const auto angle = [](const Eigen::Matrix3d& p, const Eigen::Matrix3d& q) {
      return std::acos(std::clamp(((p.transpose() * q).trace() - 1) / 2, -1.0, 1.0));
    };
    const double total = angle(MatrixOf(a), MatrixOf(b));
    const double t = random.uniform(0, 1);
    const OrientTemplate<T> s = RotationTemplate<T>::Slerp(a, b, this->t(t));
    EXPECT_NEAR(angle(MatrixOf(a), MatrixOf(s)), t * total, tol);
    EXPECT_NEAR(angle(MatrixOf(s), MatrixOf(b)), (1 - t) * total, tol);
    // The result is a unit record.
    EXPECT_NEAR(s.q1 * s.q1 + s.q2 * s.q2 + s.q3 * s.q3 + s.q4 * s.q4, 1.0, 10 * this->kTol);
  }
}

TYPED_TEST(Rotations, SlerpTakesTheShortWay) {
  using T = TypeParam;
  // 300° about Z written with a negative dot product against the identity is the same
  // orientation as −60°: half way is −30°, not +150°.
  const OrientTemplate<T> id{1, 0, 0, 0};
  const OrientTemplate<T> b =
      RotationTemplate<T>(this->t(300 * kPi / 180), DirTemplate<T>{0, 0, 1}).toOrient();
  ASSERT_LT(b.q1, 0);
  const OrientTemplate<T> s = RotationTemplate<T>::Slerp(id, b, T(0.5));
  EXPECT_TRUE(NearOrient(s, std::cos(-kPi / 12), 0, 0, std::sin(-kPi / 12), this->kTol));
  // The sign of the target record does not change the result.
  const OrientTemplate<T> t =
      RotationTemplate<T>::Slerp(id, OrientTemplate<T>{-b.q1, -b.q2, -b.q3, -b.q4}, T(0.5));
  EXPECT_TRUE(NearOrient(t, s.q1, s.q2, s.q3, s.q4, this->kTol));
}

TYPED_TEST(Rotations, SlerpExtrapolatesOutsideZeroToOne) {
  using T = TypeParam;
  const OrientTemplate<T> id{1, 0, 0, 0};
  const OrientTemplate<T> quarter{T(std::sqrt(0.5)), 0, 0, T(std::sqrt(0.5))};
  const OrientTemplate<T> two = RotationTemplate<T>::Slerp(id, quarter, T(2));
  EXPECT_TRUE(NearOrient(two, 0, 0, 0, 1, this->kTol));
  const OrientTemplate<T> back = RotationTemplate<T>::Slerp(id, quarter, T(-1));
  EXPECT_TRUE(NearOrient(back, std::sqrt(0.5), 0, 0, -std::sqrt(0.5), this->kTol));
}

TEST(Rotations, SlerpSwitchesToLinearWeightsAtOneMinusEpsilon) {
  // dot = 0.9999999999999998 (1 − 2^-52) takes the linear weights; the next value below takes
  // the sine weights. Both must give a finite, unit result between the two.
  const Orient a{1, 0, 0, 0};
  const double w1 = 1 - std::ldexp(1.0, -52);
  const Orient linear{w1, 0, 0, std::sqrt(1 - w1 * w1)};
  const Orient sine{std::nextafter(w1, 0.0), 0, 0, std::sqrt(1 - w1 * w1)};
  for (const Orient& b : {linear, sine}) {
    const Orient s = Rotation::Slerp(a, b, 0.5);
    EXPECT_TRUE(std::isfinite(s.q4));
    EXPECT_NEAR(s.q4, b.q4 / 2, 1e-12);
    EXPECT_NEAR(s.q1, 1.0, 1e-15);
  }
}

TEST(Rotations, FloatSlerpSwitchesToLinearWeightsAtOneMinusEpsilon) {
  const Orientf a{1, 0, 0, 0};
  const float w1 = 1 - std::ldexp(1.0f, -23);
  const Orientf b{w1, 0, 0, std::sqrt(1 - w1 * w1)};
  const Orientf s = Rotationf::Slerp(a, b, 0.5f);
  EXPECT_TRUE(std::isfinite(s.q4));
  EXPECT_NEAR(s.q4, b.q4 / 2, 1e-5);
  EXPECT_NEAR(s.q1, 1.0, 1e-6);
}

TEST(Rotations, SlerpResultIsUnitEvenWhenExtrapolatingLinearly) {
  // Linear weights far outside [0, 1] leave r about 5e-7 away from unit length, too little for
  // the normalisation rule of toOrient: the division by the norm makes it unit.
  const double w1 = 1 - std::ldexp(1.0, -52);
  const Orient b{w1, 0, 0, std::sqrt(1 - w1 * w1)};
  const Orient s = Rotation::Slerp(Orient{1, 0, 0, 0}, b, 33000.0);
  EXPECT_NEAR(s.q1 * s.q1 + s.q4 * s.q4, 1.0, 1e-12);
  EXPECT_NEAR(s.q4, 33000.0 * b.q4, 1e-9);
}

TYPED_TEST(Rotations, SlerpOfAZeroRecordThrows) {
  using T = TypeParam;
  const OrientTemplate<T> zero{0, 0, 0, 0};
  EXPECT_THROW_MSG(RotationTemplate<T>::Slerp(zero, {}, T(0.5)), std::logic_error, kZeroQuaternion);
  EXPECT_THROW_MSG(RotationTemplate<T>::Slerp({}, zero, T(0.5)), std::logic_error, kZeroQuaternion);
}

TYPED_TEST(Rotations, SlerpNormalisesItsInputs) {
  using T = TypeParam;
  const OrientTemplate<T> s = RotationTemplate<T>::Slerp(OrientTemplate<T>{3, 0, 0, 0},
                                                         OrientTemplate<T>{0, 0, 0, 5}, T(0.5));
  EXPECT_TRUE(NearOrient(s, std::sqrt(0.5), 0, 0, std::sqrt(0.5), this->kTol));
}

// ---------------------------------------------------------------------------------------------
// Text form

TYPED_TEST(Rotations, ToStringPrintsTheScalarFirstWithSixDigits) {
  using T = TypeParam;
  EXPECT_EQ(RotationTemplate<T>().toString(), "{1, 0, 0, 0}");
  EXPECT_EQ(RotationTemplate<T>(this->t(kPi / 2), DirTemplate<T>{0, 0, 1}).toString(),
            "{0.707107, 0, 0, 0.707107}");
  EXPECT_EQ(RotationTemplate<T>::raw(T(0.5), T(-0.5), T(0.5), T(-0.5)).toString(),
            "{-0.5, 0.5, -0.5, 0.5}");
  EXPECT_EQ(RotationTemplate<T>::raw(0, T(-0.0), T(1e-5), 1).toString(), "{1, 0, -0, 1e-05}");
  EXPECT_EQ(RotationTemplate<T>::raw(T(0.123456789), 0, 0, T(1234567)).toString(),
            "{1.23457e+06, 0.123457, 0, 0}");
}

TEST(Rotations, FloatAndDoublePrintTheSameText) {
  test::Random random;
  for (int i = 0; i < 200; ++i) {
    const Rotationf f = test::RandomRotation<float>(random);
    const Rotation d = Rotation::raw(f.x, f.y, f.z, f.w);
    EXPECT_EQ(f.toString(), d.toString());
  }
  EXPECT_EQ(Rotationf(0.3f, 0.2f, 0.1f).toString(), Rotation(0.3, 0.2, 0.1).toString());
}

}  // namespace
}  // namespace zor::rob
