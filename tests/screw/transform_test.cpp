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

// Rotation entries are of order 1.
constexpr double kRotationTol = 1e-12;

static_assert(std::is_trivially_copyable_v<Transform>);
static_assert(std::is_standard_layout_v<Transform>);
static_assert(sizeof(Transform) == 7 * sizeof(double));

void expectIdentity(const Transform& t, double tol) {
  EXPECT_NEAR(t.rotation.w, 1.0, tol);
  EXPECT_NEAR(t.rotation.x, 0.0, tol);
  EXPECT_NEAR(t.rotation.y, 0.0, tol);
  EXPECT_NEAR(t.rotation.z, 0.0, tol);
  EXPECT_NEAR(t.translation.x, 0.0, tol);
  EXPECT_NEAR(t.translation.y, 0.0, tol);
  EXPECT_NEAR(t.translation.z, 0.0, tol);
}

TEST(Transform, DefaultIsTheIdentity) {
  expectExactIdentity(Transform());
}

TEST(Transform, ConstructorStoresRotationAndTranslation) {
  const Rotation r(0.3, Vec3{1, 2, 3});
  const Transform t(r, Vec3{4, 5, 6});
  expectSameComponents(t.rotation, r);
  EXPECT_EQ(t.translation, Vec3(4, 5, 6));
}

TEST(Transform, ComposingWithTheInverseGivesTheIdentity) {
  Random rng;
  for (const auto& s : sampleTransforms(rng, 300)) {
    SCOPED_TRACE(describe(s));
    const Transform t = s.transform();
    expectIdentity(t * t.inverse(), kMatrixTol);
    expectIdentity(t.inverse() * t, kMatrixTol);
  }
}

TEST(Transform, InverseMatchesTheMatrixInverse) {
  Random rng;
  for (const auto& s : sampleTransforms(rng, 300)) {
    SCOPED_TRACE(describe(s));
    EXPECT_TRUE(matricesNear(toMatrix(s.transform().inverse()), s.matrix().inverse(), kMatrixTol));
  }
}

TEST(Transform, InverseTakesTheConjugateRotation) {
  const Transform t(Rotation(0.5, 0.5, -0.5, 0.5), Vec3{1, 2, 3});
  const Transform inv = t.inverse();
  EXPECT_EQ(inv.rotation.w, 0.5);
  EXPECT_EQ(inv.rotation.x, -0.5);
  EXPECT_EQ(inv.rotation.y, 0.5);
  EXPECT_EQ(inv.rotation.z, -0.5);
}

TEST(Transform, InverseNormalisesANonUnitRotation) {
  // |q|² = 4: the conjugate is scaled back to unit length by the normalisation rule.
  const Transform t(Rotation::raw(0, 0, 0, 2), Vec3{1, 2, 3});
  const Transform inv = t.inverse();
  EXPECT_EQ(inv.rotation.w, 1.0);
  EXPECT_EQ(inv.rotation.z, 0.0);
  EXPECT_EQ(inv.translation, Vec3(-1, -2, -3));
}

TEST(Transform, InverseOfANearZeroRotationThrows) {
  const Transform t(Rotation::raw(0.0001, 0, 0, 0.0009), Vec3{1, 2, 3});
  EXPECT_THROW_MSG(t.inverse(), std::logic_error, "normalize quaternion of 0 magnitude");
}

TEST(Transform, CompositionMatchesTheMatrixProduct) {
  Random rng;
  const auto samples = sampleTransforms(rng, 200);
  for (std::size_t i = 0; i + 1 < samples.size(); ++i) {
    const auto& a = samples[i];
    const auto& b = samples[samples.size() - 1 - i];
    SCOPED_TRACE(describe(a) + " * " + describe(b));
    EXPECT_TRUE(
        matricesNear(toMatrix(a.transform() * b.transform()), a.matrix() * b.matrix(), kMatrixTol));
    Transform c = a.transform();
    c *= b.transform();
    EXPECT_TRUE(matricesNear(toMatrix(c), a.matrix() * b.matrix(), kMatrixTol));
  }
}

TEST(Transform, CompositionAppliesTheRightOperandFirst) {
  // a: rotation of π/2 about z; b: translation along x. a * b moves (0, 0, 0) to a(b(0)).
  const Transform a(Rotation(kPi / 2, Vec3{0, 0, 1}), Vec3{0, 0, 0});
  const Transform b(Rotation(), Vec3{10, 0, 0});
  const Pos p = (a * b).transform(Pos{0, 0, 0});
  EXPECT_NEAR(p.x, 0.0, 1e-12);
  EXPECT_NEAR(p.y, 10.0, 1e-12);
  EXPECT_NEAR(p.z, 0.0, 1e-12);
  const Pos q = (b * a).transform(Pos{0, 0, 0});
  EXPECT_EQ(q, Pos(10, 0, 0));
}

TEST(Transform, InPlaceProductEqualsTheProductForUnitRotations) {
  // A product of unit quaternions stays within the normalisation rule's band, so both operators
  // give bit-identical results.
  Random rng;
  const auto samples = sampleTransforms(rng, 100);
  for (std::size_t i = 0; i + 1 < samples.size(); ++i) {
    const Transform a = samples[i].transform();
    const Transform b = samples[i + 1].transform();
    const Transform product = a * b;
    Transform inPlace = a;
    inPlace *= b;
    expectSameComponents(inPlace.rotation, product.rotation);
    EXPECT_EQ(inPlace.translation, product.translation);
  }
}

TEST(Transform, InPlaceProductWithItselfUsesTheOriginalValues) {
  const Transform a(Rotation(kPi / 2, Vec3{0, 0, 1}), Vec3{10, 0, 0});
  Transform b = a;
  b *= b;
  const Transform expected = a * a;
  EXPECT_EQ(b.translation, expected.translation);
  EXPECT_EQ(b.rotation.w, expected.rotation.w);
  EXPECT_EQ(b.rotation.z, expected.rotation.z);
  // Two quarter turns about z through the origin move (10, 0, 0) by a further quarter turn.
  EXPECT_NEAR(b.translation.x, 10.0, 1e-12);
  EXPECT_NEAR(b.translation.y, 10.0, 1e-12);
}

TEST(Transform, ProductNormalisesButInPlaceProductKeepsTheRawQuaternion) {
  // |q|² = 1.21 for both operands: the raw product has |q|² = 1.4641.
  const Transform a(Rotation::raw(0, 0, 0, 1.1), Vec3{1, 0, 0});
  const Transform product = a * a;
  EXPECT_DOUBLE_EQ(product.rotation.w, 1.0);
  Transform inPlace = a;
  inPlace *= a;
  EXPECT_DOUBLE_EQ(inPlace.rotation.w, 1.21);
  EXPECT_EQ(inPlace.rotation.x, 0.0);
  // A quaternion without vector part leaves vectors alone, whatever its length.
  EXPECT_EQ(product.translation, Vec3(2, 0, 0));
  EXPECT_EQ(inPlace.translation, Vec3(2, 0, 0));
}

TEST(Transform, ProductOfNearZeroRotationsThrowsButInPlaceProductDoesNot) {
  const Transform a(Rotation::raw(0.0001, 0, 0, 0.0009), Vec3{1, 2, 3});
  EXPECT_THROW_MSG(a * a, std::logic_error, "normalize quaternion of 0 magnitude");
  Transform b = a;
  EXPECT_NO_THROW(b *= a);
  // The raw Hamilton product of (x, w) = (1e-4, 9e-4) with itself.
  EXPECT_DOUBLE_EQ(b.rotation.w, 0.0009 * 0.0009 - 0.0001 * 0.0001);
  EXPECT_DOUBLE_EQ(b.rotation.x, 2 * 0.0009 * 0.0001);
}

TEST(Transform, InPlaceProductsMayDriftFromUnitLength) {
  // Without renormalisation, the squared norm of a repeated product of a slightly long
  // quaternion keeps growing.
  const Transform step(Rotation::raw(0, 0, std::sin(0.05), std::cos(0.05) * 1.001), Vec3{});
  Transform t;
  for (int i = 0; i < 100; ++i)
    t *= step;
  EXPECT_GT(t.rotation.dot(t.rotation), 1.1);
}

TEST(Transform, TransformOfAVectorIgnoresTheTranslation) {
  const Transform t(Rotation(), Vec3{10, 20, 30});
  EXPECT_EQ(t.transform(Vec3{1, 2, 3}), Vec3(1, 2, 3));
  EXPECT_EQ(t.transform(Pos{1, 2, 3}), Pos(11, 22, 33));
}

TEST(Transform, TransformMatchesTheMatrix) {
  Random rng;
  for (const auto& s : sampleTransforms(rng, 200)) {
    SCOPED_TRACE(describe(s));
    const Transform t = s.transform();
    const EVec3 p = randomVector(rng, 500.0);
    const Mat4 m = s.matrix();
    const EVec3 expectedPos = m.topLeftCorner<3, 3>() * p + m.topRightCorner<3, 1>();
    const EVec3 expectedVec = m.topLeftCorner<3, 3>() * p;
    EXPECT_TRUE(
        matricesNear(toEigen(t.transform(Pos{p.x(), p.y(), p.z()})), expectedPos, kMatrixTol));
    EXPECT_TRUE(
        matricesNear(toEigen(t.transform(Vec3{p.x(), p.y(), p.z()})), expectedVec, kMatrixTol));
  }
}

TEST(Transform, AdjointOfATwistMatchesTheAdjointMatrix) {
  Random rng;
  for (const auto& s : sampleTransforms(rng, 200)) {
    SCOPED_TRACE(describe(s));
    Transform t = s.transform();
    const Vec6 v = randomTwistVector(rng);
    const Twist twist(v(0), v(1), v(2), v(3), v(4), v(5));
    const Vec6 expected = adjointMatrix(s.matrix()) * v;
    EXPECT_TRUE(matricesNear(toEigen(t.adjoint(twist)), expected, kMatrixTol));
  }
}

TEST(Transform, AdjointOfAScrewAxisMatchesTheAdjointMatrix) {
  Random rng;
  for (const auto& s : sampleTransforms(rng, 200)) {
    SCOPED_TRACE(describe(s));
    Transform t = s.transform();
    const auto [axis, point] = randomLine(rng, 500.0);
    const ScrewAxis screw = screwAxisOf(axis, point);
    const Vec6 expected = adjointMatrix(s.matrix()) * toEigen(screw);
    EXPECT_TRUE(matricesNear(toEigen(t.adjoint(screw)), expected, kMatrixTol));
  }
}

TEST(Transform, AdjointMovesAScrewAxisOntoTheMovedLine) {
  // The screw of the axis through q with direction ω, moved by t, is the screw of the axis
  // through t(q) with direction R ω.
  Random rng;
  for (const auto& s : sampleTransforms(rng, 100)) {
    SCOPED_TRACE(describe(s));
    Transform t = s.transform();
    const auto [axis, q] = randomLine(rng, 500.0);
    const Mat4 m = s.matrix();
    const EVec3 movedAxis = m.topLeftCorner<3, 3>() * axis;
    const EVec3 movedPoint = m.topLeftCorner<3, 3>() * q + m.topRightCorner<3, 1>();
    const ScrewAxis expected = screwAxisOf(movedAxis, movedPoint);
    EXPECT_TRUE(
        matricesNear(toEigen(t.adjoint(screwAxisOf(axis, q))), toEigen(expected), kMatrixTol));
  }
}

TEST(Transform, AdjointOfAPureRotationRotatesBothHalvesAlike) {
  Transform t(Rotation(kPi / 2, Vec3{0, 0, 1}), Vec3{});
  const Twist r = t.adjoint(Twist(1, 0, 0, 0, 2, 0));
  EXPECT_NEAR(r.w.x, 0.0, 1e-15);
  EXPECT_NEAR(r.w.y, 1.0, 1e-15);
  EXPECT_NEAR(r.w.z, 0.0, 1e-15);
  EXPECT_NEAR(r.v.x, -2.0, 1e-15);
  EXPECT_NEAR(r.v.y, 0.0, 1e-15);
  EXPECT_NEAR(r.v.z, 0.0, 1e-15);
}

TEST(Transform, AdjointOfAPureTranslationAddsTheMomentOfTheAngularPart) {
  Transform t(Rotation(), Vec3{0, 0, 100});
  // p × ω = (0, 0, 100) × (1, 0, 0) = (0, 100, 0).
  EXPECT_EQ(t.adjoint(Twist(1, 0, 0, 1, 2, 3)), Twist(1, 0, 0, 1, 102, 3));
}

TEST(Transform, AdjointTransposeMatchesTheTransposedAdjointMatrix) {
  Random rng;
  for (const auto& s : sampleTransforms(rng, 200)) {
    SCOPED_TRACE(describe(s));
    Transform t = s.transform();
    const Vec6 f = (Vec6() << randomVector(rng, 500.0), randomVector(rng, 50.0)).finished();
    const Wrench wrench(f(0), f(1), f(2), f(3), f(4), f(5));
    const Vec6 expected = adjointMatrix(s.matrix()).transpose() * f;
    EXPECT_TRUE(matricesNear(toEigen(t.adjointT(wrench)), expected, 1e-8));
  }
}

TEST(Transform, AdjointTransposeKeepsThePowerOfAWrenchOnATwist) {
  // <Adᵀ F, V> = <F, Ad V>: the power of a wrench on a twist is frame independent.
  Random rng;
  for (const auto& s : sampleTransforms(rng, 100)) {
    Transform t = s.transform();
    const Twist twist(0.1, -0.2, 0.3, 4, 5, -6);
    const Wrench wrench(7, -8, 9, 0.5, 0.25, -1);
    const double lhs = toEigen(t.adjointT(wrench)).dot(toEigen(twist));
    const double rhs = toEigen(wrench).dot(toEigen(t.adjoint(twist)));
    EXPECT_NEAR(lhs, rhs, 1e-9 * (1.0 + std::abs(rhs)));
  }
}

TEST(Transform, AdjointTransposeOfTheIdentityKeepsTheWrench) {
  Transform t;
  EXPECT_EQ(t.adjointT(Wrench(1, 2, 3, 4, 5, 6)), Wrench(1, 2, 3, 4, 5, 6));
}

TEST(Transform, LogOfTheIdentityIsZero) {
  EXPECT_EQ(Transform().log(), Twist());
}

TEST(Transform, LogOfASmallRotationIsThePureTranslation) {
  for (const double angle : {0.0, 1e-12, 1e-8, 9.99e-7, -5e-7}) {
    SCOPED_TRACE(angle);
    const Transform t(Rotation(angle, Vec3{1, 2, 3}), Vec3{4, -5, 6});
    EXPECT_EQ(t.log(), Twist(0, 0, 0, 4, -5, 6));
  }
}

TEST(Transform, LogJustAboveTheThresholdTakesTheScrewBranch) {
  const double angle = 1.001e-6;
  const Transform t(Rotation(angle, Vec3{0, 0, 1}), Vec3{4, 0, 0});
  const Twist s = t.log();
  EXPECT_NEAR(s.w.z, angle, 1e-18);
  EXPECT_EQ(s.w.x, 0.0);
  // v = (I - θ/2 W + ...) p: the rotation bends the translation by -θ/2 about z.
  EXPECT_NEAR(s.v.x, 4.0, 1e-12);
  EXPECT_NEAR(s.v.y, -2.0 * angle, 1e-15);
}

TEST(Transform, LogOfAHalfTurnAboutZ) {
  const Transform t(Rotation(kPi, Vec3{0, 0, 1}), Vec3{});
  const Twist s = t.log();
  EXPECT_NEAR(s.w.x, 0.0, 1e-15);
  EXPECT_NEAR(s.w.y, 0.0, 1e-15);
  EXPECT_DOUBLE_EQ(s.w.z, kPi);
  EXPECT_EQ(s.v, Vec3(0, 0, 0));
}

TEST(Transform, LogOfAHalfTurnWithExactZeroScalarPartHasNoSpecialCase) {
  // w = 0 exactly: the cotangent term is tan(π/2) in floating point, huge but finite.
  const Transform t(Rotation::raw(0, 0, 1, 0), Vec3{10, 20, 30});
  const Twist s = t.log();
  EXPECT_DOUBLE_EQ(s.w.z, kPi);
  // Half turn about z: v = p - π/2 (z × p) + z × (z × p), with z × p = (-20, 10, 0) and
  // z × (z × p) = (-10, -20, 0).
  EXPECT_NEAR(s.v.x, 10 + 10 * kPi - 10, 1e-12);
  EXPECT_NEAR(s.v.y, 20 - 5 * kPi - 20, 1e-12);
  EXPECT_NEAR(s.v.z, 30.0, 1e-12);
}

TEST(Transform, LogOfANegativeScalarPartFlipsTheAxis) {
  // q = (-cos 0.1, 0, 0, sin 0.1) is the same rotation as -q: 0.2 rad about -z, not
  // 2π - 0.2 about z.
  const Transform t(Rotation(-std::cos(0.1), 0, 0, std::sin(0.1)), Vec3{});
  const Twist s = t.log();
  EXPECT_EQ(s.w.x, 0.0);
  EXPECT_EQ(s.w.y, 0.0);
  EXPECT_NEAR(s.w.z, -0.2, 1e-15);
  EXPECT_EQ(s.v, Vec3(0, 0, 0));
}

TEST(Transform, ExponentialOfTheLogGivesBackTheTransform) {
  Random rng;
  for (const auto& s : sampleTransforms(rng, 500)) {
    SCOPED_TRACE(describe(s));
    const Transform t = s.transform();
    const Twist twist = t.log();
    const Vec6 v = toEigen(twist);
    const double angle = v.head<3>().norm();
    EXPECT_LE(angle, kPi + 1e-15);
    if (angle == 0.0) {
      // Below the threshold the rotation is dropped: only the translation survives.
      EXPECT_TRUE(matricesNear(toMatrix(t).topLeftCorner<3, 3>(), Mat3::Identity(), 2e-6));
      EXPECT_EQ(twist.v, t.translation);
      continue;
    }
    const Mat4 a = twistMatrix(v);
    EXPECT_TRUE(matricesNear(expm(a), s.matrix(), expmTolerance(a)));
  }
}

TEST(Transform, LogOfAScrewExponentialIsTheScaledScrew) {
  Random rng;
  for (int i = 0; i < 300; ++i) {
    const auto [axis, q] = randomLine(rng, 500.0);
    const double theta = rng.uniform(1e-5, kPi - 1e-6);
    const ScrewAxis screw = screwAxisOf(axis, q);
    SCOPED_TRACE(theta);
    EXPECT_TRUE(matricesNear(toEigen(screw.T(theta).log()), toEigen(screw) * theta, kMatrixTol));
  }
}

TEST(SkewSymmetric, HasTheCrossProductRows) {
  Mat3 expected;
  expected << 0, -3, 2, 3, 0, -1, -2, 1, 0;
  EXPECT_EQ(Vector3ToSkewSymmetric(Vec3{1, 2, 3}), expected);
}

TEST(SkewSymmetric, TimesAVectorIsTheCrossProduct) {
  Random rng;
  for (int i = 0; i < 200; ++i) {
    const EVec3 a = randomVector(rng, 10.0);
    const EVec3 b = randomVector(rng, 10.0);
    const Mat3 w = Vector3ToSkewSymmetric(Vec3{a.x(), a.y(), a.z()});
    EXPECT_TRUE(matricesNear(w * b, a.cross(b), 1e-13));
    EXPECT_TRUE(matricesNear(w.transpose(), (-w).eval(), 0.0));
  }
}

// ---- Pose <-> Transform ----

TEST(TransformFromPose, DividesTheRecordByItsLength) {
  // |(3, 0, 4, 0)| = 5 exactly: the record becomes (0.6, 0, 0.8, 0), each the nearest double.
  const Transform t = Transform::FromPose(Pose({1, 2, 3}, {3, 0, 4, 0}));
  EXPECT_EQ(t.rotation.w, 0.6);
  EXPECT_EQ(t.rotation.x, 0.0);
  EXPECT_EQ(t.rotation.y, 0.8);
  EXPECT_EQ(t.rotation.z, 0.0);
  EXPECT_EQ(t.translation, (Vec3{1, 2, 3}));
  const Transform identity = Transform::FromPose(Pose({-4, 5, -6}, {2, 0, 0, 0}));
  EXPECT_EQ(identity.rotation.rawOrient(), (Orient{1, 0, 0, 0}));
  EXPECT_EQ(identity.translation, (Vec3{-4, 5, -6}));
}

TEST(TransformFromPose, ARecordWhoseSquaresOverflowIsItsRotation) {
  // (3, 0, 4, 0) · 1e300 scaled by its largest component is (0.75, 0, 1, 0), of length 1.25.
  const Transform t = Transform::FromPose(Pose({1, 2, 3}, {3e300, 0, 4e300, 0}));
  EXPECT_EQ(t.rotation.w, 0.6);
  EXPECT_EQ(t.rotation.x, 0.0);
  EXPECT_EQ(t.rotation.y, 0.8);
  EXPECT_EQ(t.rotation.z, 0.0);
  EXPECT_EQ(t.translation, (Vec3{1, 2, 3}));
}

TEST(TransformFromPose, ZeroRecordThrows) {
  EXPECT_THROW_MSG(Transform::FromPose(Pose({1, 2, 3}, {0, 0, 0, 0})), std::logic_error,
                   "normalize quaternion of 0 magnitude");
}

TEST(TransformToPose, KeepsTheComponentsAsTheyAre) {
  const Transform t(Rotation::raw(0.1, 0.2, 0.3, 0.4), {7, 8, 9});
  const Pose p = t.toPose();
  EXPECT_EQ(p.pos, (Pos{7, 8, 9}));
  EXPECT_EQ(p.orient, (Orient{0.4, 0.1, 0.2, 0.3}));
}

}  // namespace
}  // namespace zor::rob::test
