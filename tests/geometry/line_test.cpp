#include "zor/rob/line.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <type_traits>

#include "geometry_test_util.hpp"
#include "support/test_support.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

template <class T>
class Lines : public ScalarTest<T> {};
TYPED_TEST_SUITE(Lines, Scalars);

TYPED_TEST(Lines, LayoutAndBraceConstruction) {
  using T = TypeParam;
  CheckPlainScalars<LineTemplate<T>, T, 6>();
  const LineTemplate<T> l{{1, 2, 3}, {4, 5, 6}};
  EXPECT_EQ(l.start, (PosTemplate<T>{1, 2, 3}));
  EXPECT_EQ(l.end, (PosTemplate<T>{4, 5, 6}));
}

TYPED_TEST(Lines, DefaultIsTheUnitSegmentAlongX) {
  using T = TypeParam;
  const LineTemplate<T> l;
  EXPECT_EQ(l.start, (PosTemplate<T>{0, 0, 0}));
  EXPECT_EQ(l.end, (PosTemplate<T>{1, 0, 0}));
  EXPECT_FALSE(l.isEmpty());
  EXPECT_EQ(l.getLength(), T(1));
  EXPECT_EQ(l.getDirection(), (DirTemplate<T>{1, 0, 0}));
}

TYPED_TEST(Lines, LengthAndDirection) {
  using T = TypeParam;
  const LineTemplate<T> l{{1, 1, 1}, {4, 1, 5}};
  EXPECT_EQ(l.getLength(), T(5));
  EXPECT_TRUE(Near3(l.getDirection(), 0.6, 0, 0.8, this->kTol));
  const LineTemplate<T> back{l.end, l.start};
  EXPECT_TRUE(Near3(back.getDirection(), -0.6, 0, -0.8, this->kTol));
  test::Random random;
  for (int i = 0; i < 200; ++i) {
    const PosTemplate<T> a{this->t(random.uniform(-100, 100)), this->t(random.uniform(-100, 100)),
                           this->t(random.uniform(-100, 100))};
    const PosTemplate<T> b{this->t(random.uniform(-100, 100)), this->t(random.uniform(-100, 100)),
                           this->t(random.uniform(-100, 100))};
    const LineTemplate<T> m{a, b};
    const Eigen::Vector3d d = test::ToEigen(b) - test::ToEigen(a);
    EXPECT_NEAR(m.getLength(), d.norm(), this->kPointTol);
    const Eigen::Vector3d u = d.normalized();
    EXPECT_TRUE(Near3(m.getDirection(), u.x(), u.y(), u.z(), this->kFewOpsTol));
  }
}

TYPED_TEST(Lines, CoincidentPointsHaveZeroLength) {
  using T = TypeParam;
  const LineTemplate<T> l{{1, 2, 3}, {1, 2, 3}};
  EXPECT_EQ(l.getLength(), T(0));
  EXPECT_TRUE(l.isEmpty());
  EXPECT_THROW_MSG(l.getDirection(), std::overflow_error, kZeroLength);
}

TEST(Lines, DifferencesOfOneTenMillionthAreEmpty) {
  const Line l{{0, 0, 0}, {1e-7, 1e-7, 1e-7}};
  EXPECT_TRUE(l.isEmpty());
  // Its length, 1.7e-7, still gives a direction.
  EXPECT_TRUE(
      Near3(l.getDirection(), 1 / std::sqrt(3.0), 1 / std::sqrt(3.0), 1 / std::sqrt(3.0), 1e-15));
}

TEST(Lines, TwoTenMillionthsAlongZIsNotEmpty) {
  const Line l{{0, 0, 0}, {0, 0, 2e-7}};
  EXPECT_FALSE(l.isEmpty());
  EXPECT_EQ(l.getDirection(), (Dir{0, 0, 1}));
}

TEST(Lines, OneTenMillionthAlongZIsEmptyWithoutDirection) {
  const Line l{{0, 0, 0}, {0, 0, 1e-7}};
  EXPECT_TRUE(l.isEmpty());
  EXPECT_THROW_MSG(l.getDirection(), std::overflow_error, kZeroLength);
}

TYPED_TEST(Lines, EmptinessIsTestedPerAxisInclusively) {
  using T = TypeParam;
  // The largest difference that, widened to double, is still at most 1e-7.
  const T limit = test::LongestRefusedLength<T>();
  const T above = std::nextafter(limit, T(1));
  EXPECT_TRUE((LineTemplate<T>{{0, 0, 0}, {limit, -limit, limit}}.isEmpty()));
  EXPECT_FALSE((LineTemplate<T>{{0, 0, 0}, {above, 0, 0}}.isEmpty()));
  EXPECT_FALSE((LineTemplate<T>{{0, 0, 0}, {0, -above, 0}}.isEmpty()));
  EXPECT_FALSE((LineTemplate<T>{{0, 0, 0}, {0, 0, above}}.isEmpty()));
  // Far from the origin, only the difference counts.
  EXPECT_TRUE((LineTemplate<T>{{5, 5, 5}, {5, 5, 5}}.isEmpty()));
  EXPECT_FALSE((LineTemplate<T>{{5, 5, 5}, {5, 5, 6}}.isEmpty()));
}

TEST(Lines, FloatComparesEmptinessInDouble) {
  // 1e-7f is slightly above 1e-7 in double.
  EXPECT_FALSE((Linef{{0, 0, 0}, {0, 0, 1e-7f}}.isEmpty()));
  EXPECT_TRUE((Linef{{0, 0, 0}, {0, 0, 9.9999994e-8f}}.isEmpty()));
}

TYPED_TEST(Lines, TransformMapsBothEnds) {
  using T = TypeParam;
  // π/2 about Z then + (10, 0, 0): (1, 0, 0) → (10, 1, 0), (0, 2, 0) → (8, 0, 0).
  const PoseTemplate<T> pose = this->QuarterTurnThenAlongX();
  const LineTemplate<T> l = LineTemplate<T>{{1, 0, 0}, {0, 2, 0}}.transformed(pose);
  EXPECT_TRUE(Near3(l.start, 10, 1, 0, this->kFewOpsTol));
  EXPECT_TRUE(Near3(l.end, 8, 0, 0, this->kFewOpsTol));
}

TYPED_TEST(Lines, TransformAgreesWithApplyingThePose) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 100; ++i) {
    const PoseTemplate<T> pose(
        PosTemplate<T>{this->t(random.uniform(-100, 100)), 0, this->t(random.uniform(-100, 100))},
        test::RandomRotation<T>(random).toOrient());
    const LineTemplate<T> l{{1, 2, 3}, {-4, 5, 6}};
    const LineTemplate<T> m = l.transformed(pose);
    const Eigen::Vector4d s = test::HomogeneousOf(pose) * test::ToEigen(l.start).homogeneous();
    const Eigen::Vector4d e = test::HomogeneousOf(pose) * test::ToEigen(l.end).homogeneous();
    EXPECT_TRUE(Near3(m.start, s.x(), s.y(), s.z(), this->kPointTol));
    EXPECT_TRUE(Near3(m.end, e.x(), e.y(), e.z(), this->kPointTol));
    EXPECT_NEAR(m.getLength(), l.getLength(), this->kPointTol);
  }
}

TYPED_TEST(Lines, TransformByAScaledOrientationOnlyTranslates) {
  using T = TypeParam;
  const PoseTemplate<T> pose = this->ScaledIdentityAt123();
  const LineTemplate<T> l = LineTemplate<T>{}.transformed(pose);
  EXPECT_EQ(l.start, (PosTemplate<T>{1, 2, 3}));
  EXPECT_EQ(l.end, (PosTemplate<T>{2, 2, 3}));
}

TYPED_TEST(Lines, TransformByAZeroOrientationThrows) {
  using T = TypeParam;
  const PoseTemplate<T> pose = this->ZeroOrientationAt123();
  EXPECT_THROW_MSG(LineTemplate<T>{}.transformed(pose), std::logic_error, kZeroQuaternion);
}

}  // namespace
}  // namespace zor::rob::test
