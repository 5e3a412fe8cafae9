#include <gtest/gtest.h>

#include <type_traits>

#include "screw/dense_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/screw.hpp"

// Inside the test namespace: the dense references and checks need no qualification.
namespace zor::rob::test {
namespace {

static_assert(std::is_trivially_copyable_v<Twist>);
static_assert(std::is_standard_layout_v<Twist>);
static_assert(sizeof(Twist) == 6 * sizeof(double));
static_assert(std::is_trivially_copyable_v<Wrench>);
static_assert(std::is_standard_layout_v<Wrench>);
static_assert(sizeof(Wrench) == 6 * sizeof(double));
static_assert(std::is_trivially_copyable_v<Vector6>);
static_assert(sizeof(Vector6) == 6 * sizeof(double));

TEST(Twist, DefaultIsZero) {
  expectComponents(Twist(), {0, 0, 0, 0, 0, 0});
}

TEST(Twist, ComponentsAreAngularThenLinear) {
  Twist t(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(t.w, Vec3(1, 2, 3));
  EXPECT_EQ(t.v, Vec3(4, 5, 6));
  expectComponents(t, {1, 2, 3, 4, 5, 6});
  t[0] = -1;
  t[5] = -6;
  EXPECT_EQ(t, Twist(-1, 2, 3, 4, 5, -6));
  EXPECT_EQ(Twist(Vec3{1, 2, 3}, Vec3{4, 5, 6}), Twist(1, 2, 3, 4, 5, 6));
}

TEST(Twist, AdjointIsTheLieBracket) {
  // (ω × sω, ω × sv + v × sω) for V = (ω, v) = ((0, 0, 1), (1, 0, 0)) and
  // s = ((1, 0, 0), (0, 2, 0)): (0, 1, 0) and (0, 0, 1) × (0, 2, 0) + (1, 0, 0) × (1, 0, 0).
  Twist v(0, 0, 1, 1, 0, 0);
  ScrewAxis s;
  s.w = Vec3{1, 0, 0};
  s.v = Vec3{0, 2, 0};
  EXPECT_EQ(v.adjoint(s), Twist(0, 1, 0, -2, 0, 0));
}

TEST(Twist, AdjointMatchesTheAdMatrix) {
  Random rng;
  for (int i = 0; i < 300; ++i) {
    const Vec6 v = randomTwistVector(rng);
    const auto [axis, q] = randomLine(rng, 500.0);
    const ScrewAxis s = screwAxisOf(axis, q);
    Twist twist(v(0), v(1), v(2), v(3), v(4), v(5));
    EXPECT_TRUE(matricesNear(toEigen(twist.adjoint(s)), adMatrix(v) * toEigen(s), 1e-9));
  }
}

TEST(Twist, AdjointIsTheDerivativeOfTheAdjointMap) {
  // [ad_V] s = d/dε Ad(exp(ε V)) s at ε = 0, by central differences on dense matrices.
  Random rng;
  constexpr double kStep = 1e-5;
  for (int i = 0; i < 100; ++i) {
    const Vec6 v = randomTwistVector(rng);
    const auto [axis, q] = randomLine(rng, 500.0);
    const ScrewAxis s = screwAxisOf(axis, q);
    const Mat4 plus = expm(twistMatrix(v * kStep));
    const Mat4 minus = expm(twistMatrix(-v * kStep));
    const Vec6 derivative = (adjointMatrix(plus) - adjointMatrix(minus)) * toEigen(s) / (2 * kStep);
    Twist twist(v(0), v(1), v(2), v(3), v(4), v(5));
    const Vec6 bracket = toEigen(twist.adjoint(s));
    EXPECT_TRUE(matricesNear(bracket, derivative, 1e-5 * (1.0 + bracket.norm())));
  }
}

TEST(Twist, AdjointOfAScrewWithItselfIsZero) {
  const ScrewAxis s(0.6, 0.8, 0, 10, 20, 30);
  Twist v(s.w, s.v);
  const Twist r = v.adjoint(s);
  for (int i = 0; i < 6; ++i)
    EXPECT_NEAR(r[i], 0.0, 1e-12) << i;
}

TEST(Wrench, DefaultIsZero) {
  expectComponents(Wrench(), {0, 0, 0, 0, 0, 0});
}

TEST(Wrench, ComponentsAreMomentThenForce) {
  Wrench w(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(w.m, Vec3(1, 2, 3));
  EXPECT_EQ(w.f, Vec3(4, 5, 6));
  expectComponents(w, {1, 2, 3, 4, 5, 6});
  w[2] = 30;
  w[3] = 40;
  EXPECT_EQ(w, Wrench(1, 2, 30, 40, 5, 6));
  EXPECT_EQ(Wrench(Vec3{1, 2, 3}, Vec3{4, 5, 6}), Wrench(1, 2, 3, 4, 5, 6));
}

TEST(Vector6, DefaultIsZero) {
  expectComponents(Vector6(), {0, 0, 0, 0, 0, 0});
}

TEST(Vector6, HoldsSixValuesInOrder) {
  Vector6 v(1, 2, 3, 4, 5, 6);
  expectComponents(v, {1, 2, 3, 4, 5, 6});
  v[4] = -5;
  EXPECT_EQ(v.values[4], -5.0);
  EXPECT_EQ(v, Vector6(1, 2, 3, 4, -5, 6));
}

}  // namespace
}  // namespace zor::rob::test
