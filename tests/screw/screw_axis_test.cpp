#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <type_traits>

#include "screw/dense_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/screw.hpp"

// Inside the test namespace: the dense references and checks need no qualification.
namespace zor::rob::test {
namespace {

static_assert(std::is_trivially_copyable_v<ScrewAxis>);
static_assert(std::is_standard_layout_v<ScrewAxis>);
static_assert(sizeof(ScrewAxis) == 6 * sizeof(double));

TEST(ScrewAxis, DefaultIsZero) {
  expectComponents(ScrewAxis(), {0, 0, 0, 0, 0, 0});
}

TEST(ScrewAxis, StoresTheDirectionAndTheMomentOfThePoint) {
  const ScrewAxis s(0, 0, 1, 100, 0, 0);
  EXPECT_EQ(s.w, Vec3(0, 0, 1));
  EXPECT_EQ(s.v, Vec3(0, -100, 0));
}

TEST(ScrewAxis, LinearPartIsMinusDirectionCrossPoint) {
  // ω = (1, 2, 3), q = (4, 5, 6): ω × q = (2·6 - 3·5, 3·4 - 1·6, 1·5 - 2·4) = (-3, 6, -3).
  const ScrewAxis s(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(s.w, Vec3(1, 2, 3));
  EXPECT_EQ(s.v, Vec3(3, -6, 3));
}

TEST(ScrewAxis, KeepsTheDirectionUnnormalised) {
  const ScrewAxis s(0, 0, 2, 1, 0, 0);
  EXPECT_EQ(s.w, Vec3(0, 0, 2));
  EXPECT_EQ(s.v, Vec3(0, -2, 0));
}

TEST(ScrewAxis, VectorAndPointConstructorMatchesTheScalarOne) {
  EXPECT_EQ(ScrewAxis(Vec3{1, 2, 3}, Pos{4, 5, 6}), ScrewAxis(1, 2, 3, 4, 5, 6));
}

TEST(ScrewAxis, IndexingFollowsTheStoredOrder) {
  ScrewAxis s(0, 0, 1, 100, 0, 0);
  expectComponents(s, {0, 0, 1, 0, -100, 0});
  for (int i = 0; i < 6; ++i)
    s[i] = 10.0 + i;
  EXPECT_EQ(s.w, Vec3(10, 11, 12));
  EXPECT_EQ(s.v, Vec3(13, 14, 15));
}

TEST(ScrewAxis, ExponentialAtZeroIsTheIdentity) {
  Random rng;
  for (int i = 0; i < 100; ++i) {
    const auto [axis, q] = randomLine(rng, 1000.0);
    expectExactIdentity(screwAxisOf(axis, q).T(0.0));
  }
}

TEST(ScrewAxis, ExponentialOfAPrismaticScrewThrows) {
  ScrewAxis prismatic;
  prismatic.v = Vec3{0, 0, 1};
  EXPECT_THROW_MSG(prismatic.T(0.5), std::overflow_error, "0-length vector cannot be normalized.");
  EXPECT_THROW_MSG(ScrewAxis().T(0.0), std::overflow_error,
                   "0-length vector cannot be normalized.");
  // The direction rule's bound is inclusive.
  EXPECT_THROW_MSG(ScrewAxis(1e-7, 0, 0, 0, 0, 0).T(1.0), std::overflow_error,
                   "0-length vector cannot be normalized.");
  EXPECT_NO_THROW(ScrewAxis(2e-7, 0, 0, 0, 0, 0).T(1.0));
}

TEST(ScrewAxis, QuarterTurnAboutAVerticalAxis) {
  const Transform t = ScrewAxis(0, 0, 1, 100, 0, 0).T(kPi / 2);
  const Pos onAxis = t.transform(Pos{100, 0, 0});
  EXPECT_NEAR(onAxis.x, 100.0, 1e-12);
  EXPECT_NEAR(onAxis.y, 0.0, 1e-12);
  EXPECT_NEAR(onAxis.z, 0.0, 1e-12);
  const Pos origin = t.transform(Pos{0, 0, 0});
  EXPECT_NEAR(origin.x, 100.0, 1e-12);
  EXPECT_NEAR(origin.y, -100.0, 1e-12);
  EXPECT_NEAR(origin.z, 0.0, 1e-12);
}

TEST(ScrewAxis, ExponentialRotationIsTheAngleAxisRotation) {
  // Exactly the rotation the angle-axis constructor builds, for unit and non-unit directions.
  Random rng;
  for (int i = 0; i < 500; ++i) {
    const EVec3 axis = randomUnitVector(rng) * (i % 2 == 0 ? 1.0 : rng.uniform(0.01, 10.0));
    const double theta = rng.uniform(-10.0, 10.0);
    const Vec3 w{axis.x(), axis.y(), axis.z()};
    const Rotation expected(theta, w);
    const Transform t = ScrewAxis(w, Pos{1, 2, 3}).T(theta);
    expectSameComponents(t.rotation, expected);
  }
}

TEST(ScrewAxis, ExponentialIsTheRotationAboutTheAxisThroughItsPoint) {
  // p ↦ R (p - q) + q as a 4x4 matrix, with R from the Rodrigues formula.
  Random rng;
  std::vector<double> angles = {0.0, 1e-12, 1e-8, 1e-6, kPi / 2, kPi, -kPi, 2 * kPi, 7.0, -20.0};
  for (int i = 0; i < 300; ++i)
    angles.push_back(rng.uniform(-2 * kPi, 2 * kPi));
  for (const double theta : angles) {
    const auto [axis, q] = randomLine(rng, 1000.0);
    SCOPED_TRACE(theta);
    const Mat3 r = rodrigues(axis, theta);
    const Mat4 expected = homogeneous(r, q - r * q);
    const ScrewAxis s = screwAxisOf(axis, q);
    EXPECT_TRUE(matricesNear(toMatrix(s.T(theta)), expected, kMatrixTol));
  }
}

TEST(ScrewAxis, ExponentialIsTheMatrixExponentialOfTheScaledScrew) {
  Random rng;
  for (int i = 0; i < 300; ++i) {
    const auto [axis, q] = randomLine(rng, 1000.0);
    const double theta = rng.uniform(-2 * kPi, 2 * kPi);
    const ScrewAxis s = screwAxisOf(axis, q);
    SCOPED_TRACE(theta);
    const Mat4 a = twistMatrix(toEigen(s) * theta);
    EXPECT_TRUE(matricesNear(toMatrix(s.T(theta)), expm(a), expmTolerance(a)));
  }
}

TEST(ScrewAxis, ExponentialOfAGeneralScrewMatchesTheMatrixExponential) {
  // A unit ω with a linear part that is not a pure moment (a pitched screw): the translation
  // picks up θ times the component of v along ω.
  Random rng;
  for (int i = 0; i < 200; ++i) {
    ScrewAxis s;
    const EVec3 axis = randomUnitVector(rng);
    const EVec3 v = randomVector(rng, 500.0);
    s.w = Vec3{axis.x(), axis.y(), axis.z()};
    s.v = Vec3{v.x(), v.y(), v.z()};
    const double theta = rng.uniform(-2 * kPi, 2 * kPi);
    SCOPED_TRACE(theta);
    const Mat4 a = twistMatrix(toEigen(s) * theta);
    EXPECT_TRUE(matricesNear(toMatrix(s.T(theta)), expm(a), expmTolerance(a)));
  }
}

TEST(ScrewAxis, ExponentialOfANonUnitDirectionUsesTheRawDirectionForTheTranslation) {
  // G v with G = θ I + (1 - cos θ) W + (θ - sin θ) W², W the skew matrix of the stored ω.
  Random rng;
  for (int i = 0; i < 100; ++i) {
    const EVec3 w = randomUnitVector(rng) * rng.uniform(0.1, 3.0);
    const EVec3 q = randomVector(rng, 100.0);
    const double theta = rng.uniform(-kPi, kPi);
    const ScrewAxis s = screwAxisOf(w, q);
    const Mat3 wm = skew(w);
    const Mat3 g =
        theta * Mat3::Identity() + (1 - std::cos(theta)) * wm + (theta - std::sin(theta)) * wm * wm;
    EXPECT_TRUE(matricesNear(toEigen(s.T(theta).translation), g * toEigen(s.v), 1e-9));
  }
}

TEST(ScrewAxis, ExponentialsOfOneAxisAdd) {
  Random rng;
  for (int i = 0; i < 200; ++i) {
    const auto [axis, q] = randomLine(rng, 1000.0);
    const ScrewAxis s = screwAxisOf(axis, q);
    const double a = rng.uniform(-kPi, kPi);
    const double b = rng.uniform(-kPi, kPi);
    EXPECT_TRUE(matricesNear(toMatrix(s.T(a) * s.T(b)), toMatrix(s.T(a + b)), kMatrixTol));
    EXPECT_TRUE(matricesNear(toMatrix(s.T(a) * s.T(-a)), Mat4::Identity(), kMatrixTol));
  }
}

TEST(ScrewAxis, ExponentialKeepsTheAxisPointsFixed) {
  Random rng;
  for (int i = 0; i < 200; ++i) {
    const auto [axis, q] = randomLine(rng, 1000.0);
    const ScrewAxis s = screwAxisOf(axis, q);
    const EVec3 p = q + rng.uniform(-500, 500) * axis;
    const Pos moved = s.T(rng.uniform(-kPi, kPi)).transform(Pos{p.x(), p.y(), p.z()});
    EXPECT_TRUE(matricesNear(toEigen(moved), p, kMatrixTol));
  }
}

}  // namespace
}  // namespace zor::rob::test
