#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>
#include <optional>

#include "support/random_unit.hpp"
#include "support/test_support.hpp"
#include "zor/rob/circle.hpp"

// Expected orientations are built with Eigen's own quaternions and angle-axis rotations, or in
// closed form for rotations about the arc normal, where interpolation reduces to adding angles.

namespace zor::rob {
namespace {

constexpr double kPi = std::numbers::pi;

using Quaternion = Eigen::Quaterniond;

Quaternion toEigen(const Orient& o) {
  return Quaternion(o.q1, o.q2, o.q3, o.q4);
}
Orient toOrient(const Quaternion& q) {
  return {q.w(), q.x(), q.y(), q.z()};
}

Quaternion about(double angle, const Vec3& axis) {
  return Quaternion(Eigen::AngleAxisd(angle, Eigen::Vector3d(axis.x, axis.y, axis.z).normalized()));
}
Quaternion aboutZ(double angle) {
  return about(angle, {0, 0, 1});
}
Quaternion aboutX(double angle) {
  return about(angle, {1, 0, 0});
}

/// A uniformly distributed unit quaternion from the suite's seeded random source, its four
/// components taken in Eigen's storage order (x, y, z, w): uniform either way.
Quaternion randomRotation(test::Random& random) {
  return Quaternion(Eigen::Vector4d(test::randomUnitQuaternion(random)));
}

double norm(const Orient& o) {
  return std::sqrt(o.q1 * o.q1 + o.q2 * o.q2 + o.q3 * o.q3 + o.q4 * o.q4);
}

/// The same rotation: equal components up to the sign of the whole quaternion.
::testing::AssertionResult sameRotation(const Orient& actual, const Quaternion& expected,
                                        double tolerance) {
  const Eigen::Vector4d a(actual.q1, actual.q2, actual.q3, actual.q4);
  const Eigen::Vector4d e(expected.w(), expected.x(), expected.y(), expected.z());
  const double error = std::min((a - e).norm(), (a + e).norm());
  if (error <= tolerance)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "(" << a.transpose() << ") differs from ("
                                       << e.transpose() << ") by " << error << " > " << tolerance;
}

/// The same quaternion: equal components, the sign included (the long way round and the short
/// way may end in the same rotation with opposite signs).
::testing::AssertionResult sameQuaternion(const Orient& actual, const Quaternion& expected,
                                          double tolerance) {
  const Eigen::Vector4d a(actual.q1, actual.q2, actual.q3, actual.q4);
  const Eigen::Vector4d e(expected.w(), expected.x(), expected.y(), expected.z());
  const double error = (a - e).cwiseAbs().maxCoeff();
  if (error <= tolerance)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "(" << a.transpose() << ") differs from ("
                                       << e.transpose() << ") by " << error << " > " << tolerance;
}

/// Unit circle in the xy plane, counter-clockwise about +z, from 0° through 60° to 150°:
/// arcRad = 5π/6, cirPointFraction = 0.4.
TPCircle flatArc() {
  const auto at = [](double angle) { return Vec3{std::cos(angle), std::sin(angle), 0}; };
  return TPCircle(at(0), at(kPi / 3), at(5 * kPi / 6));
}

/// Radius 250 about (400, -100, 600), tilted, with a major arc of 4 rad.
TPCircle tiltedArc() {
  const Vec3 centre{400, -100, 600};
  const Vec3 e1 = Vec3{2, -1, 2} / 3.0;
  const Vec3 e2 = Vec3{1, 2, 0} / std::sqrt(5.0);
  const auto at = [&](double angle) {
    return centre + (e1 * std::cos(angle) + e2 * std::sin(angle)) * 250.0;
  };
  return TPCircle(at(0.5), at(0.5 + 2.5), at(0.5 + 4.0));
}

const Orient kStart = toOrient(about(0.4, {1, 2, 3}));
const Orient kCir = toOrient(about(1.1, {-1, 0.5, 2}));
const Orient kEnd = toOrient(about(2.0, {0.3, -1, 1}));

// ---------------------------------------------------------------------------------------------
// Exact returns at the programmed points

TEST(TPCircleOrientation, CirclePointModeReturnsTheProgrammedOrientationsExactly) {
  const TPCircle c = tiltedArc();
  const Orient start{2, 0, 0, 0};
  const Orient cir{0.1, 0.2, 0.3, 0.4};
  const Orient end{0, 0, 0, -3};
  EXPECT_EQ(c.getOriInCirPointOriMode(0, start, cir, end), start);
  EXPECT_EQ(c.getOriInCirPointOriMode(0.9e-6, start, cir, end), start);
  EXPECT_EQ(c.getOriInCirPointOriMode(-5, start, cir, end), start);
  EXPECT_EQ(c.getOriInCirPointOriMode(c.cirPointFraction, start, cir, end), cir);
  EXPECT_EQ(c.getOriInCirPointOriMode(c.cirPointFraction + 0.9e-6, start, cir, end), cir);
  EXPECT_EQ(c.getOriInCirPointOriMode(c.cirPointFraction - 0.9e-6, start, cir, end), cir);
  EXPECT_EQ(c.getOriInCirPointOriMode(1, start, cir, end), end);
  EXPECT_EQ(c.getOriInCirPointOriMode(1 + 0.9e-6, start, cir, end), end);
  EXPECT_EQ(c.getOriInCirPointOriMode(1 - 0.9e-6, start, cir, end), end);
  // Just outside the tolerances the orientation is interpolated.
  EXPECT_NE(c.getOriInCirPointOriMode(1.1e-6, start, cir, end), start);
  EXPECT_NE(c.getOriInCirPointOriMode(c.cirPointFraction + 1.1e-6, start, cir, end), cir);
  EXPECT_NE(c.getOriInCirPointOriMode(c.cirPointFraction - 1.1e-6, start, cir, end), cir);
  EXPECT_NE(c.getOriInCirPointOriMode(1 - 1.1e-6, start, cir, end), end);
}

TEST(TPCircleOrientation, PathAndObjectFrameModesReturnTheEndOrientationsExactly) {
  const TPCircle c = tiltedArc();
  const Orient start{2, 0, 0, 0};
  const Orient cir{0.1, 0.2, 0.3, 0.4};
  const Orient end{0, 0, 0, -3};
  for (const auto mode : {&TPCircle::getOriInPathFrame, &TPCircle::getOriInObjectFrame}) {
    EXPECT_EQ((c.*mode)(0, start, cir, end), start);
    EXPECT_EQ((c.*mode)(0.9e-6, start, cir, end), start);
    EXPECT_EQ((c.*mode)(1, start, cir, end), end);
    EXPECT_EQ((c.*mode)(1 - 0.9e-6, start, cir, end), end);
    EXPECT_EQ((c.*mode)(1 + 0.9e-6, start, cir, end), end);
    EXPECT_NE((c.*mode)(1.1e-6, start, cir, end), start);
    EXPECT_NE((c.*mode)(1 - 1.1e-6, start, cir, end), end);
    // The circle point is no programmed point in these modes.
    EXPECT_NE((c.*mode)(c.cirPointFraction, start, cir, end), cir);
  }
}

TEST(TPCircleOrientation, EqualOrientationsGiveTheStartEverywhere) {
  const TPCircle c = tiltedArc();
  const Orient q = toOrient(about(0.7, {1, 1, 0}));
  const Orient minus{-q.q1, -q.q2, -q.q3, -q.q4};
  for (const double t : {0.1, 0.3, 0.5, 0.9, 1.5}) {
    EXPECT_EQ(c.getOriInCirPointOriMode(t, q, q, q), q);
    EXPECT_EQ(c.getOriInCirPointOriMode(t, q, minus, q), q);
    EXPECT_EQ(c.getOriInPathFrame(t, q, q, q), q);
    EXPECT_EQ(c.getOriInObjectFrame(t, q, q, q), q);
    // Start and end equal up to sign decide alone in these two modes.
    EXPECT_EQ(c.getOriInPathFrame(t, q, kCir, minus), q);
    EXPECT_EQ(c.getOriInObjectFrame(t, q, kCir, minus), q);
  }
}

// ---------------------------------------------------------------------------------------------
// The change of rate at the circle point

TEST(TPCircleOrientation, RateJumpAtTheCirclePointByHand) {
  // On flatArc (about +z, circle point at 2π/6 = 0.4 of 5π/6) with orientations given relative
  // to the path frame Rz(θ): the start at rel identity, the circle point at rel Rx(0.3). The
  // first piece turns 0.3 rad about x in 0.4 of the arc: 0.75 rad per unit fraction.
  const TPCircle c = flatArc();
  const auto onPath = [](double theta, const Quaternion& rel) {
    return toOrient(aboutZ(theta) * rel);
  };
  const Orient start = onPath(0, Quaternion::Identity());
  const Orient cir = onPath(kPi / 3, aboutX(0.3));
  // Not turning after it: the rate drops from 0.75 to 0.
  EXPECT_NEAR(c.getCirPointRateJump(start, cir, onPath(5 * kPi / 6, aboutX(0.3))), 0.75, 1e-12);
  // Turning on about x by 0.45 in the remaining 0.6: the same rate, no jump.
  EXPECT_NEAR(c.getCirPointRateJump(start, cir, onPath(5 * kPi / 6, aboutX(0.75))), 0.0, 1e-12);
  // Turning about the body's y by 0.6 in 0.6: 1 rad per unit fraction about y against 0.75
  // about x, a change of 1.25.
  const Orient end = onPath(5 * kPi / 6, aboutX(0.3) * about(0.6, {0, 1, 0}));
  EXPECT_NEAR(c.getCirPointRateJump(start, cir, end), 1.25, 1e-12);
  // Following the path frame throughout: no turn relative to it, no jump.
  EXPECT_NEAR(c.getCirPointRateJump(start, onPath(kPi / 3, Quaternion::Identity()),
                                    onPath(5 * kPi / 6, Quaternion::Identity())),
              0.0, 1e-12);
}

TEST(TPCircleOrientation, RateJumpIsZeroForOneOrientation) {
  // The mode holds the start when all three are one orientation, whatever their signs.
  const TPCircle c = tiltedArc();
  const Orient q = toOrient(about(0.7, {1, 1, 0}));
  const Orient minus{-q.q1, -q.q2, -q.q3, -q.q4};
  EXPECT_EQ(c.getCirPointRateJump(q, q, q), 0.0);
  EXPECT_EQ(c.getCirPointRateJump(q, minus, q), 0.0);
}

TEST(TPCircleOrientation, RateJumpMatchesTheOrientationsOneSidedRates) {
  // The world angular velocity from orientations on either side of the circle point, by
  // differences of the mode's own output, extrapolated to the circle point from two distances
  // on each side (second order).
  const TPCircle c = tiltedArc();
  const auto omega = [&](double t) {
    constexpr double h = 1e-6;
    const Quaternion a = toEigen(c.getOriInCirPointOriMode(t - h, kStart, kCir, kEnd));
    const Quaternion b = toEigen(c.getOriInCirPointOriMode(t + h, kStart, kCir, kEnd));
    const Eigen::AngleAxisd d(b * a.inverse());
    return Eigen::Vector3d(d.axis() * (d.angle() / (2 * h)));
  };
  constexpr double d = 1e-4;
  const double f = c.cirPointFraction;
  const Eigen::Vector3d before = 2 * omega(f - d) - omega(f - 2 * d);
  const Eigen::Vector3d after = 2 * omega(f + d) - omega(f + 2 * d);
  const double expected = (after - before).norm();
  ASSERT_GT(expected, 0.1);
  EXPECT_NEAR(c.getCirPointRateJump(kStart, kCir, kEnd), expected, 1e-6 * expected);
}

TEST(TPCircleOrientation, CirclePointModeNeedsAllThreeEqual) {
  // Start and end equal, circle point different: interpolated.
  const TPCircle c = tiltedArc();
  EXPECT_NE(c.getOriInCirPointOriMode(0.3, kStart, kCir, kStart), kStart);
}

// ---------------------------------------------------------------------------------------------
// Circle-point mode

TEST(TPCircleOrientation, CirclePointModeAboutTheNormalAddsAngles) {
  // All rotations about N = +z commute: relative to the path the orientation turns from
  // σ to γ - cpf·arc and on to ε - arc, each piece linearly in its own fraction.
  const TPCircle c = flatArc();
  const double arc = 5 * kPi / 6;
  const double cpf = 0.4;
  const double sigma = 0.3, gamma = 0.5, epsilon = 1.2;
  const Orient start = toOrient(aboutZ(sigma));
  const Orient cir = toOrient(aboutZ(gamma));
  const Orient end = toOrient(aboutZ(epsilon));
  for (const double t : {0.05, 0.2, 0.35, 0.45, 0.7, 0.95}) {
    const double relative =
        t < cpf
            ? sigma + (t / cpf) * (gamma - cpf * arc - sigma)
            : (gamma - cpf * arc) + (t - cpf) / (1 - cpf) * (epsilon - arc - (gamma - cpf * arc));
    EXPECT_TRUE(sameRotation(c.getOriInCirPointOriMode(t, start, cir, end),
                             aboutZ(t * arc + relative), 1e-14))
        << "t = " << t;
  }
}

TEST(TPCircleOrientation, OrientationFixedToThePathTurnsWithIt) {
  // Programmed orientations that are one tool orientation q0 carried round the arc give
  // Rot(t·arcRad)·q0 for every t in circle-point and path-frame mode.
  const TPCircle c = tiltedArc();
  const Quaternion q0 = about(0.9, {1, -2, 0.5});
  const auto carried = [&](double t) { return about(t * c.arcRad, c.N) * q0; };
  const Orient start = toOrient(carried(0));
  const Orient cir = toOrient(carried(c.cirPointFraction));
  const Orient end = toOrient(carried(1));
  for (int i = 1; i < 20; ++i) {
    const double t = i / 20.0;
    EXPECT_TRUE(sameRotation(c.getOriInCirPointOriMode(t, start, cir, end), carried(t), 1e-12));
    EXPECT_TRUE(sameRotation(c.getOriInPathFrame(t, start, cir, end), carried(t), 1e-12));
  }
}

TEST(TPCircleOrientation, CirclePointModeAgreesWithEigen) {
  // The same construction with Eigen's product, inverse and slerp.
  const TPCircle c = tiltedArc();
  const Quaternion s = toEigen(kStart), m = toEigen(kCir), e = toEigen(kEnd);
  const Quaternion relCir = about(c.cirPointFraction * c.arcRad, c.N).inverse() * m;
  const Quaternion relEnd = about(c.arcRad, c.N).inverse() * e;
  for (int i = 1; i < 40; ++i) {
    const double t = i / 40.0;
    const Quaternion rel =
        t < c.cirPointFraction
            ? s.slerp(t / c.cirPointFraction, relCir)
            : relCir.slerp((t - c.cirPointFraction) / (1 - c.cirPointFraction), relEnd);
    EXPECT_TRUE(sameRotation(c.getOriInCirPointOriMode(t, kStart, kCir, kEnd),
                             about(t * c.arcRad, c.N) * rel, 1e-14))
        << "t = " << t;
  }
}

TEST(TPCircleOrientation, CirclePointModeDoesNotNormalise) {
  // Half-length orientations all carried round with the path: relative to it each is half the
  // identity, and the slerp of two such halves is (s0 + s1)/2 times the identity with Eigen's
  // weights for their dot product 1/4.
  const TPCircle c = flatArc();
  const Orient start{0.5, 0, 0, 0};
  const Orient cir = toOrient(Quaternion(aboutZ(c.cirPointFraction * c.arcRad).coeffs() * 0.5));
  const Orient end = toOrient(Quaternion(aboutZ(c.arcRad).coeffs() * 0.5));
  const double theta = std::acos(0.25);
  const double t = 0.2;
  const double s = t / c.cirPointFraction;
  const double scale = (std::sin((1 - s) * theta) + std::sin(s * theta)) / std::sin(theta);
  const Orient result = c.getOriInCirPointOriMode(t, start, cir, end);
  EXPECT_NEAR(norm(result), 0.5 * scale, 1e-14);
  EXPECT_TRUE(
      sameRotation(result, Quaternion(aboutZ(t * c.arcRad).coeffs() * (0.5 * scale)), 1e-14));
}

// ---------------------------------------------------------------------------------------------
// Path-frame mode

/// Path-frame inputs whose relative orientations are: start the identity, end a quarter turn
/// about z (so the short-way midpoint is an eighth turn and the start lies π/4 from it), and
/// circle point the midpoint turned by `beta` about x (so it lies `beta` from the midpoint).
struct PathFrameCase {
  Orient start, cir, end;
};
PathFrameCase pathFrameCase(const TPCircle& c, double beta) {
  const Quaternion relCir = aboutZ(kPi / 4) * aboutX(beta);
  return {toOrient(Quaternion::Identity()),
          toOrient(about(c.cirPointFraction * c.arcRad, c.N) * relCir),
          toOrient(about(c.arcRad, c.N) * aboutZ(kPi / 2))};
}

TEST(TPCircleOrientation, PathFrameGoesTheShortWayUpToHalfARadianFarther) {
  const TPCircle c = tiltedArc();
  const PathFrameCase k = pathFrameCase(c, kPi / 4 + 0.49);
  for (const double t : {0.25, 0.5, 0.75}) {
    EXPECT_TRUE(sameRotation(c.getOriInPathFrame(t, k.start, k.cir, k.end),
                             about(t * c.arcRad, c.N) * aboutZ(t * kPi / 2), 1e-12));
  }
}

TEST(TPCircleOrientation, PathFrameGoesTheLongWayBeyondHalfARadianFarther) {
  const TPCircle c = tiltedArc();
  const PathFrameCase k = pathFrameCase(c, kPi / 4 + 0.51);
  for (const double t : {0.25, 0.5, 0.75}) {
    EXPECT_TRUE(sameRotation(c.getOriInPathFrame(t, k.start, k.cir, k.end),
                             about(t * c.arcRad, c.N) * aboutZ(-t * 3 * kPi / 2), 1e-12));
  }
}

TEST(TPCircleOrientation, PathFrameKeepsTheShortWayForACirclePointNearTheMidpoint) {
  // Circle point closer to the midpoint than the start: short way, whatever its distance.
  const TPCircle c = tiltedArc();
  const PathFrameCase k = pathFrameCase(c, 0.1);
  EXPECT_TRUE(sameRotation(c.getOriInPathFrame(0.5, k.start, k.cir, k.end),
                           about(0.5 * c.arcRad, c.N) * aboutZ(kPi / 4), 1e-12));
}

// ---------------------------------------------------------------------------------------------
// Object-frame mode

/// Object-frame inputs: start the identity, end `delta` about z, circle point the midpoint
/// turned by `beta` about x.
struct ObjectFrameCase {
  Orient start, cir, end;
};
ObjectFrameCase objectFrameCase(double delta, double beta) {
  return {toOrient(Quaternion::Identity()), toOrient(aboutZ(delta / 2) * aboutX(beta)),
          toOrient(aboutZ(delta))};
}

TEST(TPCircleOrientation, ObjectFrameShortWayWhenBothLieWithinATenthOfARadian) {
  // Start 0.05 and circle point 0.09 from the midpoint: the circle point is farther, but both
  // are near.
  const TPCircle c = tiltedArc();
  const ObjectFrameCase k = objectFrameCase(0.1, 0.09);
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, k.start, k.cir, k.end), aboutZ(0.05), 1e-12));
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.3, k.start, k.cir, k.end), aboutZ(0.03), 1e-12));
}

TEST(TPCircleOrientation, ObjectFrameLongWayWhenTheCirclePointLeavesTheTenth) {
  const TPCircle c = tiltedArc();
  const ObjectFrameCase k = objectFrameCase(0.1, 0.11);
  EXPECT_TRUE(
      sameRotation(c.getOriInObjectFrame(0.5, k.start, k.cir, k.end), aboutZ(0.05 - kPi), 1e-12));
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.3, k.start, k.cir, k.end),
                           aboutZ(-0.3 * (2 * kPi - 0.1)), 1e-12));
}

TEST(TPCircleOrientation, ObjectFrameLongWayAsSoonAsTheCirclePointIsFarther) {
  const TPCircle c = tiltedArc();
  const ObjectFrameCase closer = objectFrameCase(kPi / 2, kPi / 4 - 0.01);
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, closer.start, closer.cir, closer.end),
                           aboutZ(kPi / 4), 1e-12));
  const ObjectFrameCase farther = objectFrameCase(kPi / 2, kPi / 4 + 0.01);
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, farther.start, farther.cir, farther.end),
                           aboutZ(-3 * kPi / 4), 1e-12));
}

TEST(TPCircleOrientation, ObjectFrameCirclePointAsFarAsTheStartGoesTheShortWay) {
  // The circle point is the start: equally far from the midpoint, computed identically.
  const TPCircle c = tiltedArc();
  const Orient start = toOrient(Quaternion::Identity());
  const Orient end = toOrient(aboutZ(kPi / 2));
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, start, start, end), aboutZ(kPi / 4), 1e-12));
}

TEST(TPCircleOrientation, ObjectFrameCirclePointTaughtAtTheEndGoesTheShortWay) {
  // The circle point taught without turning the tool: its orientation is the end orientation,
  // exactly as far from the midpoint as the start. The two computed angles differ in the last
  // bit here, and the result must not depend on which way.
  const TPCircle c(Vec3{-244.46843513297847, -24.723753168952403, -706.92666230514681},
                   Vec3{-244.46843513297847, -27.295720691599207, -707.78158010541938},
                   Vec3{-244.46843513297847, -27.250069930198332, -710.90112617015654});
  const Orient start{-0.11205601797116692, -0.83473169323165686, -0.47309062917351025,
                     0.25855696807332224};
  const Orient end{-0.81407350808958834, -0.21591172797153563, 0.057831544999237844,
                   0.53602421732050309};
  const double t = 0.45934196823711304;
  const Quaternion shortWay = toEigen(start).slerp(t, toEigen(end));
  EXPECT_TRUE(sameQuaternion(c.getOriInObjectFrame(t, start, end, end), shortWay, 1e-15));
  EXPECT_TRUE(sameQuaternion(c.getOriInObjectFrame(t, start, start, end), shortWay, 1e-15));
}

TEST(TPCircleOrientation, ObjectFrameEqualAnglesWithinATrillionthOfARadian) {
  // Start π/4 from the midpoint, circle point π/4 + δ: a δ of 1e-13 rad is a tie (short way),
  // 1e-9 rad is farther (long way).
  const TPCircle c = tiltedArc();
  const ObjectFrameCase tie = objectFrameCase(kPi / 2, kPi / 4 + 1e-13);
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, tie.start, tie.cir, tie.end), aboutZ(kPi / 4),
                           1e-12));
  const ObjectFrameCase farther = objectFrameCase(kPi / 2, kPi / 4 + 1e-9);
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, farther.start, farther.cir, farther.end),
                           aboutZ(-3 * kPi / 4), 1e-12));
}

TEST(TPCircleOrientation, ObjectFrameQuarterTurnShortAndLongSide) {
  // Start and end a quarter turn apart about z; the circle point on the long way round
  // (-135°) or on the short way (+45°).
  const TPCircle c = flatArc();
  const Orient start = toOrient(Quaternion::Identity());
  const Orient end = toOrient(aboutZ(kPi / 2));
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, start, toOrient(aboutZ(-3 * kPi / 4)), end),
                           aboutZ(-3 * kPi / 4), 1e-12));
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, start, toOrient(aboutZ(kPi / 4)), end),
                           aboutZ(kPi / 4), 1e-12));
}

TEST(TPCircleOrientation, ObjectFrameIgnoresThePath) {
  const TPCircle flat = flatArc();
  const TPCircle tilted = tiltedArc();
  // With the circle point at the short-way midpoint the result is the plain slerp.
  const Orient midpoint = toOrient(toEigen(kStart).slerp(0.5, toEigen(kEnd)));
  for (const double t : {0.2, 0.5, 0.8}) {
    EXPECT_EQ(flat.getOriInObjectFrame(t, kStart, kCir, kEnd),
              tilted.getOriInObjectFrame(t, kStart, kCir, kEnd));
    EXPECT_TRUE(sameRotation(flat.getOriInObjectFrame(t, kStart, midpoint, kEnd),
                             toEigen(kStart).slerp(t, toEigen(kEnd)), 1e-14));
  }
}

TEST(TPCircleOrientation, ThePathAndObjectRulesDiffer) {
  // The same configuration, in the fixed frame for object-frame mode and carried with the path
  // for path-frame mode: the circle point lies 0.3 rad farther from the short-way midpoint than
  // the start. Object-frame mode takes the long way, path-frame mode the short way.
  const TPCircle c = flatArc();
  const Quaternion relCir = aboutZ(kPi / 4) * aboutX(kPi / 4 + 0.3);
  const Orient start = toOrient(Quaternion::Identity());
  const Orient objectCir = toOrient(relCir);
  const Orient objectEnd = toOrient(aboutZ(kPi / 2));
  EXPECT_TRUE(sameRotation(c.getOriInObjectFrame(0.5, start, objectCir, objectEnd),
                           aboutZ(-3 * kPi / 4), 1e-12));
  const Orient pathCir = toOrient(aboutZ(c.cirPointFraction * c.arcRad) * relCir);
  const Orient pathEnd = toOrient(aboutZ(c.arcRad) * aboutZ(kPi / 2));
  EXPECT_TRUE(sameRotation(c.getOriInPathFrame(0.5, start, pathCir, pathEnd),
                           aboutZ(0.5 * c.arcRad + kPi / 4), 1e-12));
}

// ---------------------------------------------------------------------------------------------
// Long-way interpolation

TEST(TPCircleOrientation, LongSlerpOfEqualOrientationsIsTheFirst) {
  const TPCircle c = flatArc();
  const Orient q = toOrient(about(1.3, {1, 2, 2}));
  const Orient minus{-q.q1, -q.q2, -q.q3, -q.q4};
  const Orient twice{2 * q.q1, 2 * q.q2, 2 * q.q3, 2 * q.q4};
  for (const double t : {-1.0, 0.0, 0.3, 0.5, 1.0, 2.0}) {
    EXPECT_EQ(c.longSlerp(q, q, t), q);
    EXPECT_EQ(c.longSlerp(q, minus, t), q);
    EXPECT_EQ(c.longSlerp(twice, twice, t), twice);
  }
}

TEST(TPCircleOrientation, LongSlerpGoesTheOtherWayRound) {
  const TPCircle c = flatArc();
  const Orient from = toOrient(Quaternion::Identity());
  const Orient to = toOrient(aboutZ(kPi / 2));
  EXPECT_TRUE(sameRotation(c.longSlerp(from, to, 0.5), aboutZ(-3 * kPi / 4), 1e-14));
  EXPECT_TRUE(sameRotation(c.longSlerp(from, to, 0.25), aboutZ(-3 * kPi / 8), 1e-14));
  EXPECT_TRUE(sameRotation(c.longSlerp(from, to, 0), aboutZ(0), 1e-15));
  EXPECT_TRUE(sameRotation(c.longSlerp(from, to, 1), aboutZ(kPi / 2), 1e-15));
  // A negative dot product is taken the same way: -to is the same rotation.
  const Orient minusTo{-to.q1, -to.q2, -to.q3, -to.q4};
  EXPECT_TRUE(sameRotation(c.longSlerp(from, minusTo, 0.5), aboutZ(-3 * kPi / 4), 1e-14));
}

TEST(TPCircleOrientation, LongSlerpThresholdOfEquality) {
  // |dot| = cos(half-angle): 0.999999 is reached at a rotation of about 2.83e-3 rad.
  const TPCircle c = flatArc();
  const Orient from = toOrient(Quaternion::Identity());
  const double limit = 2 * std::acos(0.999999);
  EXPECT_EQ(c.longSlerp(from, toOrient(aboutZ(limit * 0.99)), 0.5), from);
  EXPECT_TRUE(sameRotation(c.longSlerp(from, toOrient(aboutZ(limit * 1.01)), 0.5),
                           aboutZ(limit * 1.01 / 2 - kPi), 1e-9));
}

TEST(TPCircleOrientation, LongSlerpNormalises) {
  const TPCircle c = flatArc();
  const Orient from{0.5, 0, 0, 0};
  const Orient to{0, 0, 0.5, 0};
  EXPECT_NEAR(norm(c.longSlerp(from, to, 0.3)), 1.0, 1e-15);
}

TEST(TPCircleOrientation, LongSlerpFollowsTheGreatCircleBackwards) {
  // On the four-dimensional sphere the result moves from q0 away from q1 (aligned to q0's
  // hemisphere): at t it lies t·(π - θ) from q0 and θ + t·(π - θ) from q1, θ = acos|q0·q1|.
  test::Random random;
  const TPCircle c = flatArc();
  for (int i = 0; i < 500; ++i) {
    const Quaternion a = randomRotation(random);
    const Quaternion b = randomRotation(random);
    const double d = a.dot(b);
    if (std::abs(d) >= 0.999)
      continue;
    const Quaternion aligned = d < 0 ? Quaternion(-b.coeffs()) : b;
    const double theta = std::acos(std::abs(d));
    const double t = random.uniform(-0.5, 1.5);
    const Quaternion r = toEigen(c.longSlerp(toOrient(a), toOrient(b), t));
    ASSERT_NEAR(r.norm(), 1.0, 1e-14);
    ASSERT_NEAR(r.dot(a), std::cos(t * (kPi - theta)), 1e-12);
    ASSERT_NEAR(r.dot(aligned), std::cos(theta + t * (kPi - theta)), 1e-12);
  }
}

// ---------------------------------------------------------------------------------------------
// Properties over sampled circles and orientations

Vec3 randomPoint(test::Random& random, double scale) {
  return {random.uniform(-scale, scale), random.uniform(-scale, scale),
          random.uniform(-scale, scale)};
}

/// A circle through three random points, of a random size between 1e-3 and 1e4, kept well
/// clear of the collinearity and tiny-triangle failures.
TPCircle randomCircle(test::Random& random) {
  for (;;) {
    const double scale = std::pow(10.0, random.uniform(-3, 4));
    const Vec3 a = randomPoint(random, scale), b = randomPoint(random, scale),
               e = randomPoint(random, scale);
    const Vec3 ab = (b - a) / (b - a).norm(), ae = (e - a) / (e - a).norm(),
               be = (e - b) / (e - b).norm();
    if (ab.cross(ae).norm() >= 0.05 && ab.cross(be).norm() >= 0.05 &&
        (b - a).cross(e - b).norm() >= 1e-6) {
      return TPCircle(a, b, e);
    }
  }
}

TEST(TPCircleOrientation, EveryModeGivesUnitOrientationsFromStartToEnd) {
  test::Random random;
  for (int circles = 0; circles < 200; ++circles) {
    const TPCircle c = randomCircle(random);
    const Orient start = toOrient(randomRotation(random));
    const Orient cir = toOrient(randomRotation(random));
    const Orient end = toOrient(randomRotation(random));
    // Near the ends (and the circle point) the interpolation meets the programmed orientations:
    // a step h turns by at most h·(arcRad + 2π / the shorter piece's fraction).
    const double h = 2e-6;
    const double f = c.cirPointFraction;
    const double tol = 2 * h * (c.arcRad + 2 * kPi / std::min(f, 1 - f));
    for (const auto mode : {&TPCircle::getOriInCirPointOriMode, &TPCircle::getOriInPathFrame,
                            &TPCircle::getOriInObjectFrame}) {
      ASSERT_TRUE(sameRotation((c.*mode)(h, start, cir, end), toEigen(start), tol));
      ASSERT_TRUE(sameRotation((c.*mode)(1 - h, start, cir, end), toEigen(end), tol));
      for (int i = 0; i <= 20; ++i) {
        const Orient q = (c.*mode)(i / 20.0, start, cir, end);
        ASSERT_NEAR(norm(q), 1.0, 1e-12);
      }
    }
    ASSERT_TRUE(sameRotation(c.getOriInCirPointOriMode(f - h, start, cir, end), toEigen(cir), tol));
    ASSERT_TRUE(sameRotation(c.getOriInCirPointOriMode(f + h, start, cir, end), toEigen(cir), tol));
  }
}

/// Samples of each tie property: 10^5 take about 0.4 s in an optimised build and a few seconds
/// under the sanitizers, so the sanitizer suite runs them all as well.
constexpr int kTieSamples = 100000;

/// A fraction clear of the two end tolerances, where the modes interpolate.
double interiorFraction(test::Random& random) {
  return random.uniform(1e-3, 1 - 1e-3);
}

TEST(TPCircleOrientation, ObjectFrameCirclePointAtTheEndOrStartAlwaysGoesTheShortWay) {
  test::Random random;
  for (int i = 0; i < kTieSamples; ++i) {
    const TPCircle c = randomCircle(random);
    const Quaternion s = randomRotation(random);
    const Quaternion e = randomRotation(random);
    if (std::abs(s.dot(e)) >= 0.999999)
      continue;  // start and end the same: the start is returned
    const double t = interiorFraction(random);
    const Quaternion shortWay = s.slerp(t, e);
    ASSERT_TRUE(sameQuaternion(c.getOriInObjectFrame(t, toOrient(s), toOrient(e), toOrient(e)),
                               shortWay, 1e-15))
        << "circle point at the end, sample " << i;
    ASSERT_TRUE(sameQuaternion(c.getOriInObjectFrame(t, toOrient(s), toOrient(s), toOrient(e)),
                               shortWay, 1e-15))
        << "circle point at the start, sample " << i;
  }
}

/// The angle in [0, π] of q seen from m, by Eigen's product and inverse.
double angleFromMidpoint(const Quaternion& m, const Quaternion& q) {
  const Quaternion d = m.inverse() * q;
  return 2 * std::atan2(d.vec().norm(), std::abs(d.w()));
}

TEST(TPCircleOrientation, ObjectFrameAwayFromTiesKeepsTheStrictRule) {
  // The rule as it stood before ties were recognised: the short way when both angles lie
  // within 0.1 rad of the midpoint or the start is at least as far as the circle point. Every
  // sample whose angles differ by more than 1e-9 rad must give exactly the same result. Half
  // the samples are close start and end orientations with the circle point near their
  // midpoint, where the 0.1 rad rule decides.
  test::Random random;
  int shortWays = 0, longWays = 0, bothNear = 0;
  for (int i = 0; i < kTieSamples; ++i) {
    const TPCircle c = randomCircle(random);
    const Quaternion s = randomRotation(random);
    Quaternion e = randomRotation(random);
    Quaternion cir = randomRotation(random);
    if (i % 2 == 1) {
      const Quaternion turn = randomRotation(random);
      e = s * Quaternion(Eigen::AngleAxisd(random.uniform(0.01, 0.4), turn.vec().normalized()));
      cir = s.slerp(0.5, e) *
            Quaternion(Eigen::AngleAxisd(random.uniform(0, 0.2), cir.vec().normalized()));
    }
    if (std::abs(s.dot(e)) >= 0.999999)
      continue;
    const Quaternion m = s.slerp(0.5, e);
    const double alphaStart = angleFromMidpoint(m, s);
    const double alphaCir = angleFromMidpoint(m, cir);
    if (std::abs(alphaCir - alphaStart) <= 1e-9)
      continue;
    const double t = interiorFraction(random);
    const bool near = alphaStart < 0.1 && alphaCir < 0.1;
    const bool shortWay = near || alphaStart >= alphaCir;
    shortWays += shortWay;
    longWays += !shortWay;
    bothNear += near;
    const Orient expected =
        shortWay ? toOrient(s.slerp(t, e)) : c.longSlerp(toOrient(s), toOrient(e), t);
    ASSERT_EQ(c.getOriInObjectFrame(t, toOrient(s), toOrient(cir), toOrient(e)), expected)
        << "sample " << i;
  }
  EXPECT_GT(shortWays, kTieSamples / 10);
  EXPECT_GT(longWays, kTieSamples / 10);
  EXPECT_GT(bothNear, kTieSamples / 100);
}

// ---- One query for every mode ----

TEST(CircleOriMode, NamesAndTheirInverse) {
  EXPECT_EQ(CircleOriModeName(CircleOriMode::cirPoint), "cirpoint");
  EXPECT_EQ(CircleOriModeName(CircleOriMode::pathFrame), "path");
  EXPECT_EQ(CircleOriModeName(CircleOriMode::objectFrame), "object");
  EXPECT_EQ(CircleOriModeName(static_cast<CircleOriMode>(3)), "");
  EXPECT_EQ(FindCircleOriMode("cirpoint"), CircleOriMode::cirPoint);
  EXPECT_EQ(FindCircleOriMode("path"), CircleOriMode::pathFrame);
  EXPECT_EQ(FindCircleOriMode("object"), CircleOriMode::objectFrame);
  EXPECT_EQ(FindCircleOriMode("Path"), std::nullopt);
  EXPECT_EQ(FindCircleOriMode(""), std::nullopt);
  EXPECT_EQ(FindCircleOriMode("cirPoint"), std::nullopt);
}

TEST(TPCircleGetOri, EachModeIsItsOwnQuery) {
  const TPCircle c = tiltedArc();
  const Orient start = toOrient(aboutX(0.3));
  const Orient cir = toOrient(aboutZ(2.5) * aboutX(-0.7));
  const Orient end = toOrient(about(1.9, {1, 2, 3}));
  const double t = 0.4;
  const Orient byCirPoint = c.getOriInCirPointOriMode(t, start, cir, end);
  const Orient byPath = c.getOriInPathFrame(t, start, cir, end);
  const Orient byObject = c.getOriInObjectFrame(t, start, cir, end);
  // The three modes differ here, so a mode sent to the wrong query shows.
  ASSERT_NE(byCirPoint, byPath);
  ASSERT_NE(byCirPoint, byObject);
  ASSERT_NE(byPath, byObject);
  EXPECT_EQ(c.getOri(t, CircleOriMode::cirPoint, start, cir, end), byCirPoint);
  EXPECT_EQ(c.getOri(t, CircleOriMode::pathFrame, start, cir, end), byPath);
  EXPECT_EQ(c.getOri(t, CircleOriMode::objectFrame, start, cir, end), byObject);
  // A value outside the enumeration counts as the circle-point mode.
  EXPECT_EQ(c.getOri(t, static_cast<CircleOriMode>(7), start, cir, end), byCirPoint);
}

}  // namespace
}  // namespace zor::rob
