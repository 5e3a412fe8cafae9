#include "zor/rob/pose.hpp"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <stdexcept>
#include <type_traits>

#include "geometry_test_util.hpp"
#include "support/test_support.hpp"

// Inside the test namespace: the shared references and checks need no qualification.
namespace zor::rob::test {
namespace {

template <class T>
class Poses : public ScalarTest<T> {
 protected:
  PoseTemplate<T> randomPose(test::Random& random) {
    const OrientTemplate<T> o = test::RandomRotation<T>(random).toOrient();
    return {
        PosTemplate<T>{this->t(random.uniform(-1000, 1000)), this->t(random.uniform(-1000, 1000)),
                       this->t(random.uniform(-1000, 1000))},
        o};
  }
};
TYPED_TEST_SUITE(Poses, Scalars);

TYPED_TEST(Poses, LayoutIsSevenScalars) {
  using T = TypeParam;
  CheckPlainScalars<PoseTemplate<T>, T, 7>();
}

TYPED_TEST(Poses, DefaultIsTheIdentity) {
  using T = TypeParam;
  const PoseTemplate<T> p;
  EXPECT_EQ(p.pos, (PosTemplate<T>{0, 0, 0}));
  EXPECT_EQ(p.orient, (OrientTemplate<T>{1, 0, 0, 0}));
  const PosTemplate<T> q{1, 2, 3};
  EXPECT_EQ(p * q, q);
}

TYPED_TEST(Poses, BuiltFromPositionAndOrientation) {
  using T = TypeParam;
  const PoseTemplate<T> p(PosTemplate<T>{1, 2, 3}, OrientTemplate<T>{0, 1, 0, 0});
  EXPECT_EQ(p.pos, (PosTemplate<T>{1, 2, 3}));
  EXPECT_EQ(p.orient, (OrientTemplate<T>{0, 1, 0, 0}));
}

TYPED_TEST(Poses, RotationNormalisesTheRecord) {
  using T = TypeParam;
  const PoseTemplate<T> p({}, OrientTemplate<T>{0, 0, 0, 3});
  const RotationTemplate<T> r = p.rotation();
  EXPECT_EQ(r.z, T(1));
  EXPECT_EQ(r.w, T(0));
  EXPECT_EQ(p.orient.q4, T(3));
}

TYPED_TEST(Poses, AppliesRotationThenTranslation) {
  using T = TypeParam;
  // π/2 about Z maps (1, 0, 0) to (0, 1, 0); then + (10, 0, 0).
  const PoseTemplate<T> p = this->QuarterTurnThenAlongX();
  EXPECT_TRUE(Near3(p * PosTemplate<T>{1, 0, 0}, 10, 1, 0, this->kFewOpsTol));
}

TYPED_TEST(Poses, ApplyingMatchesTheHomogeneousMatrix) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const PoseTemplate<T> p = this->randomPose(random);
    const PosTemplate<T> q{this->t(random.uniform(-500, 500)), this->t(random.uniform(-500, 500)),
                           this->t(random.uniform(-500, 500))};
    const Eigen::Vector4d expected = test::HomogeneousOf(p) * test::ToEigen(q).homogeneous();
    EXPECT_TRUE(Near3(p * q, expected.x(), expected.y(), expected.z(), this->kPoseApplyTol));
  }
}

TYPED_TEST(Poses, CompositionMatchesTheMatrixProduct) {
  using T = TypeParam;
  test::Random random;
  for (int i = 0; i < 300; ++i) {
    const PoseTemplate<T> aPb = this->randomPose(random);
    const PoseTemplate<T> bPc = this->randomPose(random);
    const PoseTemplate<T> aPc = aPb * bPc;
    EXPECT_TRUE(matricesNear(test::HomogeneousOf(aPc),
                             test::HomogeneousOf(aPb) * test::HomogeneousOf(bPc),
                             this->kChainedProductTol));
    // Applying the composition equals applying B, then A.
    const PosTemplate<T> q{1, -2, 3};
    const PosTemplate<T> twice = aPb * (bPc * q);
    EXPECT_TRUE(Near3(aPc * q, twice.x, twice.y, twice.z, this->kChainedProductTol));
    // The orientation is written back unit, scalar first.
    const RotationTemplate<T> r = aPb.rotation() * bPc.rotation();
    EXPECT_EQ(aPc.orient, r.toOrient());
  }
}

TYPED_TEST(Poses, CompositionNormalisesTheOrientation) {
  using T = TypeParam;
  const PoseTemplate<T> a(PosTemplate<T>{1, 0, 0}, OrientTemplate<T>{2, 0, 0, 0});
  const PoseTemplate<T> b(PosTemplate<T>{0, 5, 0}, OrientTemplate<T>{0, 0, 0, 3});
  const PoseTemplate<T> c = a * b;
  EXPECT_EQ(c.pos, (PosTemplate<T>{1, 5, 0}));
  EXPECT_EQ(c.orient, (OrientTemplate<T>{0, 0, 0, 1}));
}

TYPED_TEST(Poses, ZeroOrientationThrowsWhenUsed) {
  using T = TypeParam;
  const PoseTemplate<T> zero = this->ZeroOrientationAt123();
  const PoseTemplate<T> id;
  EXPECT_THROW_MSG(zero * PosTemplate<T>{}, std::logic_error, kZeroQuaternion);
  EXPECT_THROW_MSG(zero * id, std::logic_error, kZeroQuaternion);
  EXPECT_THROW_MSG(id * zero, std::logic_error, kZeroQuaternion);
  EXPECT_THROW_MSG(zero.rotation(), std::logic_error, kZeroQuaternion);
}

TYPED_TEST(Poses, ScaledOrientationOnlyTranslates) {
  using T = TypeParam;
  const PoseTemplate<T> p = this->ScaledIdentityAt123();
  EXPECT_EQ((p * PosTemplate<T>{4, 5, 6}), (PosTemplate<T>{5, 7, 9}));
}

template <class P>
concept HasToString = requires(const P& p) {
  p.toString();
};

TEST(Poses, OnlyTheDoublePoseHasATextForm) {
  static_assert(HasToString<Pose>);
  static_assert(!HasToString<Posef>);
}

TEST(Poses, ToStringOfTheIdentity) {
  EXPECT_EQ(Pose().toString(), "{{0, 0, 0}, {1, 0, 0, 0}}");
  EXPECT_EQ(Pose(Pos{0, 0, 0}, Orient{1, 0, 0, 0}).toString(), "{{0, 0, 0}, {1, 0, 0, 0}}");
}

TEST(Poses, ToStringPrintsThePositionInShortestForm) {
  EXPECT_EQ(Pose(Pos{100.5, 0, 250}, Orient{}).toString(), "{{100.5, 0, 250}, {1, 0, 0, 0}}");
  EXPECT_EQ(Pose(Pos{0.1 + 0.2, 1e-7, -0.0}, Orient{}).toString(),
            "{{0.30000000000000004, 1e-07, -0}, {1, 0, 0, 0}}");
  EXPECT_EQ(Pose(Pos{1e20, 1250.123456789, -3.5}, Orient{}).toString(),
            "{{1e+20, 1250.123456789, -3.5}, {1, 0, 0, 0}}");
}

TEST(Poses, ToStringPrintsTheOrientationWithSixDigitsAsStored) {
  EXPECT_EQ(
      Pose(Pos{100.5, 0, 250}, Orient{0.7071067811865476, 0, 0, 0.7071067811865476}).toString(),
      "{{100.5, 0, 250}, {0.707107, 0, 0, 0.707107}}");
  // Not normalised, and a zero record prints without throwing.
  EXPECT_EQ(Pose(Pos{}, Orient{2, 0, 0, 0}).toString(), "{{0, 0, 0}, {2, 0, 0, 0}}");
  EXPECT_EQ(Pose(Pos{}, Orient{0, 0, 0, 0}).toString(), "{{0, 0, 0}, {0, 0, 0, 0}}");
  EXPECT_EQ(Pose(Pos{}, Orient{0.123456789, -1e-5, 1234567.0, -0.0}).toString(),
            "{{0, 0, 0}, {0.123457, -1e-05, 1.23457e+06, -0}}");
}

}  // namespace
}  // namespace zor::rob::test
