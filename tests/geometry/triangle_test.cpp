#include "zor/rob/triangle.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

#include "geometry_test_util.hpp"
#include "support/test_support.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

template <class T>
class Triangles : public ScalarTest<T> {};
TYPED_TEST_SUITE(Triangles, Scalars);

TYPED_TEST(Triangles, LayoutAndBraceConstruction) {
  using T = TypeParam;
  CheckPlainScalars<TriangleTemplate<T>, T, 9>();
  const TriangleTemplate<T> t{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  EXPECT_EQ(t.p1, (PosTemplate<T>{1, 2, 3}));
  EXPECT_EQ(t.p2, (PosTemplate<T>{4, 5, 6}));
  EXPECT_EQ(t.p3, (PosTemplate<T>{7, 8, 9}));
}

TYPED_TEST(Triangles, DefaultLiesInTheYZPlane) {
  using T = TypeParam;
  const TriangleTemplate<T> t;
  EXPECT_EQ(t.p1, (PosTemplate<T>{0, 0, 0}));
  EXPECT_EQ(t.p2, (PosTemplate<T>{0, 1, 0}));
  EXPECT_EQ(t.p3, (PosTemplate<T>{0, 0, 1}));
}

TYPED_TEST(Triangles, CentroidOfTheDefaultTriangle) {
  using T = TypeParam;
  const PosTemplate<T> c = TriangleTemplate<T>{}.getCentroid();
  EXPECT_EQ(c.x, T(0));
  EXPECT_EQ(c.y, T(1) / T(3));
  EXPECT_EQ(c.z, T(1) / T(3));
}

TYPED_TEST(Triangles, CentroidSumsInCornerOrderThenDividesByThree) {
  using T = TypeParam;
  const TriangleTemplate<T> t{{3, -6, 9}, {0, 3, 3}, {6, 0, -3}};
  EXPECT_EQ(t.getCentroid(), (PosTemplate<T>{3, -1, 3}));
  // (1e8 + 1) − 1e8 is 0 or 1 depending on the rounding of the first sum: the order is fixed.
  const T big = T(1e20);
  const TriangleTemplate<T> u{{big, 0, 0}, {1, 0, 0}, {-big, 0, 0}};
  EXPECT_EQ(u.getCentroid().x, ((big + T(1)) + -big) / T(3));
  EXPECT_EQ(u.getCentroid().x, T(0));
  const TriangleTemplate<T> v{{big, 0, 0}, {-big, 0, 0}, {1, 0, 0}};
  EXPECT_EQ(v.getCentroid().x, T(1) / T(3));
}

TYPED_TEST(Triangles, TransformMapsEveryCorner) {
  using T = TypeParam;
  const PoseTemplate<T> pose = this->QuarterTurnThenAlongX();
  const TriangleTemplate<T> t =
      TriangleTemplate<T>{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}.transformed(pose);
  EXPECT_TRUE(Near3(t.p1, 10, 1, 0, this->kFewOpsTol));
  EXPECT_TRUE(Near3(t.p2, 9, 0, 0, this->kFewOpsTol));
  EXPECT_TRUE(Near3(t.p3, 10, 0, 1, this->kFewOpsTol));
}

TYPED_TEST(Triangles, TransformMovesTheCentroidWithTheCorners) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 100; ++i) {
    const PoseTemplate<T> pose(
        PosTemplate<T>{this->t(random.uniform(-100, 100)), this->t(random.uniform(-100, 100)), 0},
        test::RandomRotation<T>(random).toOrient());
    const TriangleTemplate<T> t{{1, 2, 3}, {-4, 5, 6}, {7, -8, 9}};
    const TriangleTemplate<T> m = t.transformed(pose);
    const Eigen::Matrix4d h = test::HomogeneousOf(pose);
    const Eigen::Vector4d c = h * test::ToEigen(t.getCentroid()).homogeneous();
    EXPECT_TRUE(Near3(m.getCentroid(), c.x(), c.y(), c.z(), this->kPointTol));
    const Eigen::Vector4d p3 = h * test::ToEigen(t.p3).homogeneous();
    EXPECT_TRUE(Near3(m.p3, p3.x(), p3.y(), p3.z(), this->kPointTol));
  }
}

TYPED_TEST(Triangles, TransformByAScaledOrientationOnlyTranslates) {
  using T = TypeParam;
  const PoseTemplate<T> pose = this->ScaledIdentityAt123();
  const TriangleTemplate<T> t = TriangleTemplate<T>{}.transformed(pose);
  EXPECT_EQ(t, (TriangleTemplate<T>{{1, 2, 3}, {1, 3, 3}, {1, 2, 4}}));
}

TYPED_TEST(Triangles, TransformByAZeroOrientationThrows) {
  using T = TypeParam;
  const PoseTemplate<T> pose = this->ZeroOrientationAt123();
  EXPECT_THROW_MSG(TriangleTemplate<T>{}.transformed(pose), std::logic_error, kZeroQuaternion);
}

}  // namespace
}  // namespace zor::rob::test
