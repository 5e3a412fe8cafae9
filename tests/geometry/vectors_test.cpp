#include "zor/rob/vectors.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <type_traits>

#include "geometry_test_util.hpp"
#include "support/test_support.hpp"
#include "zor/rob/rotation.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

template <class T>
class Vectors : public ScalarTest<T> {
 protected:
  // u·v equals |v|, up to 173 for the random vectors: kTol scaled by that length.
  static constexpr double kDotTol = 100 * test::kTol<T>;
};
TYPED_TEST_SUITE(Vectors, Scalars);

TYPED_TEST(Vectors, LayoutIsPlainScalarsInFieldOrder) {
  using T = TypeParam;
  CheckPlainScalars<Vec3Template<T>, T, 3>();
  CheckPlainScalars<PosTemplate<T>, T, 3>();
  CheckPlainScalars<DirTemplate<T>, T, 3>();
  CheckPlainScalars<OrientTemplate<T>, T, 4>();
  static_assert(std::is_aggregate_v<Vec3Template<T>>);
  static_assert(std::is_aggregate_v<PosTemplate<T>>);
  static_assert(std::is_aggregate_v<OrientTemplate<T>>);
  static_assert(offsetof(Vec3Template<T>, z) == 2 * sizeof(T));
  static_assert(offsetof(PosTemplate<T>, z) == 2 * sizeof(T));
  static_assert(offsetof(DirTemplate<T>, z) == 2 * sizeof(T));
  static_assert(offsetof(OrientTemplate<T>, q1) == 0);
  static_assert(offsetof(OrientTemplate<T>, q4) == 3 * sizeof(T));
}

TYPED_TEST(Vectors, DefaultsAreZeroOriginXAxisAndIdentityRecord) {
  using T = TypeParam;
  EXPECT_EQ(Vec3Template<T>{}, (Vec3Template<T>{0, 0, 0}));
  EXPECT_EQ(PosTemplate<T>{}, (PosTemplate<T>{0, 0, 0}));
  EXPECT_EQ(DirTemplate<T>{}, (DirTemplate<T>{1, 0, 0}));
  EXPECT_EQ(OrientTemplate<T>{}, (OrientTemplate<T>{1, 0, 0, 0}));
}

TYPED_TEST(Vectors, ComponentsAreBuiltAndAccessedInFieldOrder) {
  using T = TypeParam;
  Vec3Template<T> v{1, 2, 3};
  EXPECT_EQ(v.x, T(1));
  EXPECT_EQ(v.y, T(2));
  EXPECT_EQ(v.z, T(3));
  v.y = T(5);
  EXPECT_EQ(v, (Vec3Template<T>{1, 5, 3}));
  const PosTemplate<T> p{4, 5, 6};
  EXPECT_EQ(p.x, T(4));
  EXPECT_EQ(p.z, T(6));
  const OrientTemplate<T> o{T(0.5), T(-0.5), T(0.25), T(-0.25)};
  EXPECT_EQ(o.q1, T(0.5));
  EXPECT_EQ(o.q2, T(-0.5));
  EXPECT_EQ(o.q3, T(0.25));
  EXPECT_EQ(o.q4, T(-0.25));
}

TYPED_TEST(Vectors, VectorArithmetic) {
  using T = TypeParam;
  const Vec3Template<T> a{1, 2, 3};
  const Vec3Template<T> b{T(0.5), -4, 8};
  EXPECT_EQ(a + b, (Vec3Template<T>{T(1.5), -2, 11}));
  EXPECT_EQ(a - b, (Vec3Template<T>{T(0.5), 6, -5}));
  EXPECT_EQ(-a, (Vec3Template<T>{-1, -2, -3}));
  EXPECT_EQ(a * T(2), (Vec3Template<T>{2, 4, 6}));
  EXPECT_EQ(T(2) * a, (Vec3Template<T>{2, 4, 6}));
  EXPECT_EQ(b / T(2), (Vec3Template<T>{T(0.25), -2, 4}));
  Vec3Template<T> c = a;
  c += b;
  EXPECT_EQ(c, a + b);
  c -= b;
  EXPECT_EQ(c, a);
}

TYPED_TEST(Vectors, DotCrossAndNorm) {
  using T = TypeParam;
  const Vec3Template<T> a{1, 2, 3};
  const Vec3Template<T> b{4, -5, 6};
  EXPECT_EQ(a.dot(b), T(4 - 10 + 18));
  // (2·6 − 3·(−5), 3·4 − 1·6, 1·(−5) − 2·4)
  EXPECT_EQ(a.cross(b), (Vec3Template<T>{27, 6, -13}));
  EXPECT_EQ((Vec3Template<T>{1, 0, 0}).cross(Vec3Template<T>{0, 1, 0}), (Vec3Template<T>{0, 0, 1}));
  EXPECT_EQ(a.squaredNorm(), T(14));
  EXPECT_EQ((Vec3Template<T>{3, 0, 4}).norm(), T(5));
  EXPECT_EQ((Vec3Template<T>{2, 3, 6}).norm(), T(7));
}

TYPED_TEST(Vectors, PositionArithmetic) {
  using T = TypeParam;
  const PosTemplate<T> p{10, 20, 30};
  const PosTemplate<T> q{1, 2, 3};
  const Vec3Template<T> d = p - q;
  EXPECT_EQ(d, (Vec3Template<T>{9, 18, 27}));
  EXPECT_EQ(q + d, p);
  EXPECT_EQ(p - d, q);
  EXPECT_EQ(p + q, (PosTemplate<T>{11, 22, 33}));
  EXPECT_EQ(p.toVec3(), (Vec3Template<T>{10, 20, 30}));
  EXPECT_EQ((Vec3Template<T>{1, 2, 3}).toPos(), q);
}

TYPED_TEST(Vectors, NormalizedScalesToUnitLength) {
  using T = TypeParam;
  EXPECT_TRUE(Near3((Vec3Template<T>{3, 0, 4}).normalized(), 0.6, 0, 0.8, test::kTol<T>));
  EXPECT_TRUE(Near3((Vec3Template<T>{0, -2, 0}).normalized(), 0, -1, 0, 0));
  test::Random random;
  for (int i = 0; i < 200; ++i) {
    const Vec3Template<T> v{static_cast<T>(random.uniform(-100, 100)),
                            static_cast<T>(random.uniform(-100, 100)),
                            static_cast<T>(random.uniform(-100, 100))};
    const Vec3Template<T> u = v.normalized();
    EXPECT_NEAR(u.norm(), 1.0, test::kTol<T>);
    // Same direction: parallel and pointing the same way.
    EXPECT_NEAR(static_cast<double>(u.dot(v)), static_cast<double>(v.norm()), this->kDotTol);
  }
}

TYPED_TEST(Vectors, DirectionFromVectorAppliesTheDirectionRule) {
  using T = TypeParam;
  const DirTemplate<T> d(Vec3Template<T>{3, 0, 4});
  EXPECT_TRUE(Near3(d, 0.6, 0, 0.8, test::kTol<T>));
  const DirTemplate<T> e(Vec3Template<T>{0, 0, T(1.1e-7)});
  EXPECT_EQ(e, (DirTemplate<T>{0, 0, 1}));
}

TYPED_TEST(Vectors, DirectionFromScalarsKeepsThemAsGiven) {
  using T = TypeParam;
  const DirTemplate<T> d{3, 0, 4};
  EXPECT_EQ(d.x, T(3));
  EXPECT_EQ(d.y, T(0));
  EXPECT_EQ(d.z, T(4));
  EXPECT_EQ(d.toVec3(), (Vec3Template<T>{3, 0, 4}));
}

TYPED_TEST(Vectors, LengthAtMostTheLimitCannotBeNormalized) {
  using T = TypeParam;
  const T limit = test::LongestRefusedLength<T>();
  const T above = std::nextafter(limit, T(1));
  EXPECT_THROW_MSG((Vec3Template<T>{0, 0, 0}).normalized(), std::overflow_error, kZeroLength);
  EXPECT_THROW_MSG((Vec3Template<T>{0, 0, limit}).normalized(), std::overflow_error, kZeroLength);
  EXPECT_THROW_MSG(DirTemplate<T>(Vec3Template<T>{0, 0, limit}), std::overflow_error, kZeroLength);
  EXPECT_THROW_MSG(DirTemplate<T>(Vec3Template<T>{0, -limit, 0}), std::overflow_error, kZeroLength);
  EXPECT_EQ((Vec3Template<T>{0, 0, above}).normalized(), (Vec3Template<T>{0, 0, 1}));
  EXPECT_EQ(DirTemplate<T>(Vec3Template<T>{above, 0, 0}), (DirTemplate<T>{1, 0, 0}));
}

TYPED_TEST(Vectors, TheLimitIsAnAbsoluteLength) {
  using T = TypeParam;
  // Three components of 6e-8 each are each below the limit, their length (1.04e-7) is not.
  const Vec3Template<T> v{T(6e-8), T(6e-8), T(6e-8)};
  EXPECT_TRUE(Near3(DirTemplate<T>(v), 1 / std::sqrt(3.0), 1 / std::sqrt(3.0), 1 / std::sqrt(3.0),
                    test::kTol<T>));
  const Vec3Template<T> w{T(5e-8), T(5e-8), T(5e-8)};  // length 8.7e-8
  EXPECT_THROW_MSG(w.normalized(), std::overflow_error, kZeroLength);
}

TEST(Vectors, DirectionRuleInDoubleAtOneTenMillionth) {
  EXPECT_THROW_MSG(Dir(Vec3{0, 0, 1e-7}), std::overflow_error, kZeroLength);
  EXPECT_EQ(Dir(Vec3{0, 0, 1.1e-7}), (Dir{0, 0, 1}));
}

TEST(Vectors, FloatComparesItsLengthInDouble) {
  // 1e-7f is 1.0000000116860974e-07 in double, just above the limit.
  EXPECT_GT(static_cast<double>(1e-7f), 1e-7);
  EXPECT_EQ(Dirf(Vec3f{0, 0, 1e-7f}), (Dirf{0, 0, 1}));
  EXPECT_THROW_MSG(Dirf(Vec3f{0, 0, 9.9999994e-8f}), std::overflow_error, kZeroLength);
}

TYPED_TEST(Vectors, ZeroOrientationRecordIsAValueButNotARotation) {
  using T = TypeParam;
  const OrientTemplate<T> zero{0, 0, 0, 0};
  const OrientTemplate<T> copy = zero;
  EXPECT_EQ(copy, zero);
  EXPECT_THROW_MSG(RotationTemplate<T>(copy.q1, copy.q2, copy.q3, copy.q4), std::logic_error,
                   kZeroQuaternion);
}

TYPED_TEST(Vectors, ScaledOrientationRecordTurnsIntoTheIdentity) {
  using T = TypeParam;
  const OrientTemplate<T> o{2, 0, 0, 0};
  const RotationTemplate<T> r(o.q1, o.q2, o.q3, o.q4);
  EXPECT_EQ(r.w, T(1));
  EXPECT_EQ(r.x, T(0));
  EXPECT_EQ(r.y, T(0));
  EXPECT_EQ(r.z, T(0));
  // The record itself is kept as given.
  EXPECT_EQ(o.q1, T(2));
}

}  // namespace
}  // namespace zor::rob::test
