// Rotations: storage, construction from components, angle and axis and frame axes, two directions.

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

#include "geometry/rotation_test_fixture.hpp"
#include "support/test_support.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

TYPED_TEST_SUITE(Rotations, Scalars);

// ---------------------------------------------------------------------------------------------
// Layout and construction

TYPED_TEST(Rotations, StoredLikeEigensQuaternionXyzw) {
  using T = TypeParam;
  using Rot = RotationTemplate<T>;
  CheckPlainScalars<Rot, T, 4>();
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

TYPED_TEST(Rotations, QuaternionWhoseSquaredNormOverflowsIsItsRotation) {
  using T = TypeParam;
  // Finite components whose squares overflow: w : z = 4 : 3 is still the rotation with w = 0.8
  // and z = 0.6.
  const T big = std::numeric_limits<T>::max() / T(8);
  ASSERT_TRUE(std::isinf(big * big));
  const RotationTemplate<T> r(4 * big, 0, 0, 3 * big);
  EXPECT_TRUE(NearQ(r, 0.8, 0, 0, 0.6, this->kTol));
  const RotationTemplate<T> largest(std::numeric_limits<T>::max(), 0, 0, 0);
  EXPECT_EQ(largest.w, T(1));
  EXPECT_EQ(largest.x, T(0));
  const T m = std::numeric_limits<T>::max();
  const RotationTemplate<T> all(m, -m, m, -m);
  EXPECT_EQ(all.w, T(0.5));
  EXPECT_EQ(all.x, T(-0.5));
  EXPECT_EQ(all.y, T(0.5));
  EXPECT_EQ(all.z, T(-0.5));
  RotationTemplate<T> inPlace = RotationTemplate<T>::raw(0, big, 0, big);
  inPlace.normalize();
  EXPECT_TRUE(NearQ(inPlace, std::sqrt(0.5), 0, std::sqrt(0.5), 0, this->kTol));
  const RotationTemplate<T> eigenStyle = RotationTemplate<T>::raw(0, 0, 3 * big, 4 * big);
  EXPECT_TRUE(NearQ(eigenStyle.normalizedUnlessZero(), 0.8, 0, 0, 0.6, this->kTol));
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
    expectSameComponents(r, before);
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
                             this->kFewOpsTol));
    EXPECT_NEAR(r.w, std::cos(angle / 2), this->kFewOpsTol);
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
    expectSameComponents(a, b);
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
    EXPECT_TRUE(matricesNear(MatrixOf(f), m, this->kFewOpsTol));
    // With a positive trace the scalar part comes out positive.
    EXPECT_GT(f.w, 0);
    const double sign = r.w < 0 ? -1 : 1;
    EXPECT_TRUE(NearQ(f, sign * r.w, sign * r.x, sign * r.y, sign * r.z, this->kFewOpsTol));
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
    EXPECT_TRUE(matricesNear(MatrixOf(f), m, this->kFewOpsTol));
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
    EXPECT_TRUE(Near3(r * from.toVec3(), b.x(), b.y(), b.z(), this->kLooseTol));
    // The smallest rotation: its axis is perpendicular to both and its angle is the angle
    // between them.
    const Eigen::Vector3d axis(r.x, r.y, r.z);
    EXPECT_NEAR(axis.dot(a), 0.0, this->kLooseTol);
    EXPECT_NEAR(axis.dot(b), 0.0, this->kLooseTol);
    EXPECT_NEAR(r.log().angle(), std::acos(std::clamp(a.dot(b), -1.0, 1.0)), this->kLooseAngleTol);
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
  expectSameComponents(d, v);
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
  const double tol = 2 * static_cast<double>(tiny) + this->kFewOpsTol;
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

}  // namespace
}  // namespace zor::rob::test
