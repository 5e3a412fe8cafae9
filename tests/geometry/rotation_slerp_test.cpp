// Rotations: spherical linear interpolation of orientation records.

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
    EXPECT_TRUE(NearOrient(s0, a.q1, a.q2, a.q3, a.q4, this->kFewOpsTol));
    const OrientTemplate<T> s1 = RotationTemplate<T>::Slerp(a, b, 1);
    EXPECT_TRUE(matricesNear(MatrixOf(s1), MatrixOf(b), this->kFewOpsTol));
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
    EXPECT_NEAR(s.q1 * s.q1 + s.q2 * s.q2 + s.q3 * s.q3 + s.q4 * s.q4, 1.0, this->kFewOpsTol);
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

}  // namespace
}  // namespace zor::rob::test
