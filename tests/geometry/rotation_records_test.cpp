// Rotations: conversions to and from orientation records, and the text form.

#include "zor/rob/rotation.hpp"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <stdexcept>

#include "geometry/rotation_test_fixture.hpp"
#include "support/test_support.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

TYPED_TEST_SUITE(Rotations, Scalars);

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
    expectSameComponents(back, r);
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
}  // namespace zor::rob::test
