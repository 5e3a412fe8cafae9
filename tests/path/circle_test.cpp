#include "zor/rob/circle.hpp"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <iostream>
#include <limits>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/near.hpp"
#include "support/random_unit.hpp"
#include "support/test_support.hpp"

namespace zor::rob {
namespace {

constexpr double kPi = std::numbers::pi;

using test::near;

void expectSameMembers(const TPCircle& a, const TPCircle& b) {
  EXPECT_EQ(a.A, b.A);
  EXPECT_EQ(a.B, b.B);
  EXPECT_EQ(a.C, b.C);
  EXPECT_EQ(a.N, b.N);
  EXPECT_EQ(a.r, b.r);
  EXPECT_EQ(a.R, b.R);
  EXPECT_EQ(a.arcRad, b.arcRad);
  EXPECT_EQ(a.arcLen, b.arcLen);
  EXPECT_EQ(a.RA, b.RA);
  EXPECT_EQ(a.RY, b.RY);
  EXPECT_EQ(a.cirPointFraction, b.cirPointFraction);
}

Vec3 onUnitCircle(double angle) {
  return {std::cos(angle), std::sin(angle), 0.0};
}

/// The unit circle about the origin in the xy plane from (1, 0, 0) through (0, 1, 0) to
/// (-1, 0, 0). All its members are exact: R = 0, r = 1, N = (0, 0, 1), RA = (1, 0, 0),
/// RY = (0, 1, 0), arcRad = π, cirPointFraction = 0.5.
TPCircle upperHalf() {
  return TPCircle(Vec3{1, 0, 0}, Vec3{0, 1, 0}, Vec3{-1, 0, 0});
}

// ---------------------------------------------------------------------------------------------
// Construction

TEST(TPCircle, HalfCircleThroughThreePoints) {
  // Centre and radius by hand: the points lie on the unit circle about (1, 0, 0); B is to the
  // left of the chord AC, so seen from +z the arc runs clockwise.
  const TPCircle c(Vec3{0, 0, 0}, Vec3{1, 1, 0}, Vec3{2, 0, 0});
  EXPECT_EQ(c.A, (Vec3{0, 0, 0}));
  EXPECT_EQ(c.B, (Vec3{1, 1, 0}));
  EXPECT_EQ(c.C, (Vec3{2, 0, 0}));
  EXPECT_TRUE(near(c.R, {1, 0, 0}, 1e-15));
  EXPECT_DOUBLE_EQ(c.r, 1.0);
  EXPECT_DOUBLE_EQ(c.arcRad, kPi);
  EXPECT_DOUBLE_EQ(c.arcLen, kPi);
  EXPECT_TRUE(near(c.N, {0, 0, -1}, 1e-15));
  EXPECT_TRUE(near(c.RA, {-1, 0, 0}, 1e-15));
  EXPECT_TRUE(near(c.RY, {0, 1, 0}, 1e-15));
  EXPECT_DOUBLE_EQ(c.cirPointFraction, 0.5);
}

TEST(TPCircle, PositionConstructorsGiveTheSameCircle) {
  const TPCircle fromVectors(Vec3{0.5, -2, 3}, Vec3{1.5, 1, 2.5}, Vec3{4, 0.25, -1});
  expectSameMembers(TPCircle(Pos{0.5, -2, 3}, Pos{1.5, 1, 2.5}, Pos{4, 0.25, -1}), fromVectors);
  // These floats are exact binary fractions, so widening them gives the same doubles.
  expectSameMembers(TPCircle(Posf{0.5f, -2, 3}, Posf{1.5f, 1, 2.5f}, Posf{4, 0.25f, -1}),
                    fromVectors);
}

TEST(TPCircle, FloatPositionsAreWidenedNotRounded) {
  // 0.1f widened is 0.100000001490116..., not 0.1.
  const TPCircle c(Posf{0.1f, 0, 0}, Posf{0, 1, 0}, Posf{-1, 0, 0});
  EXPECT_EQ(c.A.x, static_cast<double>(0.1f));
  EXPECT_NE(c.A.x, 0.1);
}

TEST(TPCircle, MajorArcWhenTheInscribedAngleAtBIsAcute) {
  // B diametrically opposite A, C a quarter turn before A: counter-clockwise about +z from A
  // through B to C is three quarters of the circle.
  const TPCircle c(Vec3{1, 0, 0}, Vec3{-1, 0, 0}, Vec3{0, -1, 0});
  EXPECT_TRUE(near(c.N, {0, 0, 1}, 1e-15));
  EXPECT_DOUBLE_EQ(c.arcRad, 1.5 * kPi);
  EXPECT_DOUBLE_EQ(c.arcLen, 1.5 * kPi);
  EXPECT_DOUBLE_EQ(c.cirPointFraction, 2.0 / 3.0);
}

TEST(TPCircle, MajorArcClockwise) {
  // A at 0°, B at 225° reached clockwise (-135°), C at 90° reached clockwise (-270°).
  const TPCircle c(onUnitCircle(0), onUnitCircle(-0.75 * kPi), onUnitCircle(0.5 * kPi));
  EXPECT_TRUE(near(c.N, {0, 0, -1}, 1e-15));
  EXPECT_NEAR(c.arcRad, 1.5 * kPi, 1e-14);
  EXPECT_NEAR(c.cirPointFraction, 0.5, 1e-14);
}

TEST(TPCircle, MinorArcWhenTheInscribedAngleAtBIsObtuse) {
  const TPCircle c(onUnitCircle(0), onUnitCircle(0.5 * kPi), onUnitCircle(0.75 * kPi));
  EXPECT_TRUE(near(c.N, {0, 0, 1}, 1e-15));
  EXPECT_NEAR(c.arcRad, 0.75 * kPi, 1e-14);
  EXPECT_NEAR(c.cirPointFraction, 2.0 / 3.0, 1e-14);
}

TEST(TPCircle, ExactHalfCircleIsNotMajor) {
  // (C - B)·(B - A) is exactly 0: a right angle at B is not acute. (Either branch would give
  // π here, as the test is 0 only when AC is a diameter.)
  const TPCircle c = upperHalf();
  EXPECT_EQ(c.arcRad, kPi);
  EXPECT_EQ(c.R, (Vec3{0, 0, 0}));
  EXPECT_EQ(c.r, 1.0);
  EXPECT_EQ(c.N, (Vec3{0, 0, 1}));
  EXPECT_EQ(c.RA, (Vec3{1, 0, 0}));
  EXPECT_EQ(c.RY, (Vec3{0, 1, 0}));
  EXPECT_EQ(c.cirPointFraction, 0.5);
}

TEST(TPCircle, CoincidentPointsFail) {
  const Vec3 p{3, 4, 5};
  const Vec3 q{4, 6, 5};
  const Vec3 close = p + Vec3{1e-7, 0, 0};
  EXPECT_THROW_MSG(TPCircle(p, close, q), TPCircleFail, "The points coincide");
  EXPECT_THROW_MSG(TPCircle(p, q, close), TPCircleFail, "The points coincide");
  EXPECT_THROW_MSG(TPCircle(q, p, close), TPCircleFail, "The points coincide");
  EXPECT_THROW_MSG(TPCircle(p, p, p), TPCircleFail, "The points coincide");
  EXPECT_THROW_MSG(TPCircle(p, Vec3{3, 4, 5 + 0.9e-6}, q), TPCircleFail, "The points coincide");
}

TEST(TPCircle, PointsJustFartherApartThanTheToleranceDoNotCoincide) {
  // A right angle at A; the hypotenuse BC (about 0.2) is the diameter. So thin a triangle
  // costs the centre formula about six digits.
  const TPCircle c(Vec3{0, 0, 0}, Vec3{1.1e-6, 0, 0}, Vec3{0, 0.2, 0});
  EXPECT_TRUE(near(c.R, {0.55e-6, 0.1, 0}, 1e-6));
  EXPECT_NEAR(c.r, 0.1, 1e-6);
}

TEST(TPCircle, CoordinatesUpTo1e75AreTakenAndGiveAFiniteCircle) {
  // A right angle at A: the centre is the middle of the hypotenuse BC and the radius half of it.
  // Seen from the centre A lies at 135°, B at 45° and C at 225°: the arc turns clockwise through
  // 270°, B a third of the way.
  const double big = 1e75;
  const TPCircle c(Vec3{0, 0, 0}, Vec3{big, 0, 0}, Vec3{0, -big, 0});
  EXPECT_TRUE(near(c.R, {big / 2, -big / 2, 0}, big * 1e-15));
  EXPECT_NEAR(c.r, big * std::sqrt(0.5), big * 1e-15);
  EXPECT_NEAR(c.arcRad, 1.5 * kPi, 1e-12);
  EXPECT_NEAR(c.arcLen, 1.5 * kPi * big * std::sqrt(0.5), big * 1e-12);
  EXPECT_NEAR(c.cirPointFraction, 1.0 / 3.0, 1e-12);
}

TEST(TPCircle, NonFiniteOrHugeCoordinatesFail) {
  const char* const message =
      "The points' coordinates must be finite and at most 1e75 in magnitude";
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Vec3 a{0, 0, 0};
  const Vec3 b{1, 0, 0};
  const Vec3 c{0, 1, 0};
  for (const double bad : {nan, inf, -inf, 1e77, -1e153, 1e300, std::nextafter(1e75, 2e75)}) {
    SCOPED_TRACE(bad);
    EXPECT_THROW_MSG(TPCircle(Vec3{bad, 0, 0}, b, c), TPCircleFail, message);
    EXPECT_THROW_MSG(TPCircle(a, Vec3{1, bad, 0}, c), TPCircleFail, message);
    EXPECT_THROW_MSG(TPCircle(a, b, Vec3{0, 1, bad}), TPCircleFail, message);
  }
  // The scaled triangles that gave a NaN centre: sizes from 1e77 to 1e153.
  for (const double scale : {1e77, 1e100, 1e153}) {
    SCOPED_TRACE(scale);
    EXPECT_THROW_MSG(TPCircle(a, b * scale, c * scale), TPCircleFail, message);
  }
  const PosTemplate<float> fa{0, 0, 0};
  const PosTemplate<float> fb{1, 0, 0};
  const float fnan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_THROW_MSG(TPCircle(fa, fb, PosTemplate<float>{fnan, 1, 0}), TPCircleFail, message);
}

TEST(TPCircle, TPCircleFailIsARuntimeError) {
  try {
    TPCircle(Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{2, 0, 0});
    FAIL() << "collinear points were accepted";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "The points are collinear");
    EXPECT_NE(dynamic_cast<const TPCircleFail*>(&e), nullptr);
  }
}

TEST(TPCircle, CollinearPointsFail) {
  EXPECT_THROW_MSG(TPCircle(Vec3{0, 0, 0}, Vec3{1, 1, 1}, Vec3{2, 2, 2}), TPCircleFail,
                   "The points are collinear");
  // B beyond C on the line.
  EXPECT_THROW_MSG(TPCircle(Vec3{0, 0, 0}, Vec3{3, 0, 0}, Vec3{2, 0, 0}), TPCircleFail,
                   "The points are collinear");
}

TEST(TPCircle, SmallAngleAtAIsCollinear) {
  // A right angle at B; the angle at A has sine e / sqrt(1 + e²).
  const auto build = [](double e) { return TPCircle(Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{1, e, 0}); };
  EXPECT_THROW_MSG(build(0.0099), TPCircleFail, "The points are collinear");
  const TPCircle c = build(0.0101);
  // AC is the diameter.
  EXPECT_TRUE(near(c.R, {0.5, 0.00505, 0}, 1e-12));
}

TEST(TPCircle, SmallTurnAtBIsCollinear) {
  // A right angle at A; B - A and C - B are nearly opposite (sine e / sqrt(1 + e²)), so the
  // second test fails while the first passes.
  const auto build = [](double e) {
    return TPCircle(Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{0, -e, 0});
  };
  EXPECT_THROW_MSG(build(0.0099), TPCircleFail, "The points are collinear");
  const TPCircle c = build(0.0101);
  EXPECT_TRUE(near(c.R, {0.5, -0.00505, 0}, 1e-12));
}

TEST(TPCircle, EndPointsOnTheSameRadiusFail) {
  // With an exact centre the branch cannot be reached: the second collinearity test bounds the
  // sine of the angle at B, which is |AC| / 2r, by 0.01, so the cosine between A - R and C - R
  // (1 - |AC|² / 2r²) stays below about 1 - 2e-4. It is reached when the centre formula
  // cancels to noise. Here |AB| = 5e-6 against sides of 1000: c² = 2.5e-11 vanishes beside
  // a² = b² = 1e6, so the formula for 16·area² (1e-4) returns -c⁴, the centre lands near
  // (0, -8e19, 0), and A - R, B - R and C - R round to one and the same vector: the cosine is
  // exactly 1. Nothing in this depends on fused multiply-add or evaluation order.
  EXPECT_THROW_MSG(TPCircle(Vec3{0, 0, 0}, Vec3{5e-6, 0, 0}, Vec3{0, 1000, 0}), TPCircleFail,
                   "A and C is the same point");
}

TEST(TPCircle, TinyTriangleCannotNormaliseItsNormal) {
  // Sides of 2e-6 pass the coincidence test but (B - A) × (C - B) is only 4e-12 long.
  EXPECT_THROW_MSG(TPCircle(Vec3{0, 0, 0}, Vec3{2e-6, 0, 0}, Vec3{0, 2e-6, 0}), std::overflow_error,
                   "0-length vector cannot be normalized.");
}

// ---------------------------------------------------------------------------------------------
// Points, tangents and angles

TEST(TPCircle, PointsAtTheEndsAndTheCirclePoint) {
  const TPCircle c(Vec3{0, 0, 0}, Vec3{1, 1, 0}, Vec3{2, 0, 0});
  EXPECT_TRUE(near(c.getPoint(0), c.A, 1e-15));
  EXPECT_TRUE(near(c.getPoint(c.cirPointFraction), c.B, 1e-15));
  EXPECT_TRUE(near(c.getPoint(1), c.C, 1e-15));
  EXPECT_TRUE(near(c.getPoint(0.25), {1 - std::sqrt(0.5), std::sqrt(0.5), 0}, 1e-15));
}

TEST(TPCircle, PointsContinueAroundTheCircleOutsideTheArc) {
  const TPCircle c = upperHalf();
  EXPECT_TRUE(near(c.getPoint(1.5), {0, -1, 0}, 1e-15));
  EXPECT_TRUE(near(c.getPoint(-0.5), {0, -1, 0}, 1e-15));
  EXPECT_TRUE(near(c.getPoint(2), c.A, 1e-15));
}

TEST(TPCircle, TangentsPointAlongTheDirectionOfTravel) {
  const TPCircle cw(Vec3{0, 0, 0}, Vec3{1, 1, 0}, Vec3{2, 0, 0});
  EXPECT_TRUE(near(cw.getTangent(0), {0, 1, 0}, 1e-15));
  EXPECT_TRUE(near(cw.getTangent(0.5), {1, 0, 0}, 1e-15));
  EXPECT_TRUE(near(cw.getTangent(1), {0, -1, 0}, 1e-15));
  const TPCircle ccw = upperHalf();
  EXPECT_TRUE(near(ccw.getTangent(0), {0, 1, 0}, 1e-15));
  EXPECT_TRUE(near(ccw.getTangent(0.5), {-1, 0, 0}, 1e-15));
}

TEST(TPCircle, AngleFromStartMeasuresCounterClockwiseAboutN) {
  const TPCircle c = upperHalf();
  EXPECT_EQ(c.getAngleFromStart(c.A), 0.0);
  EXPECT_DOUBLE_EQ(c.getAngleFromStart({0, 1, 0}), 0.5 * kPi);
  EXPECT_DOUBLE_EQ(c.getAngleFromStart({-1, 0, 0}), kPi);
  EXPECT_DOUBLE_EQ(c.getAngleFromStart({0, -1, 0}), 1.5 * kPi);
  // Only the direction from the centre counts.
  EXPECT_DOUBLE_EQ(c.getAngleFromStart({0, 5, 0}), 0.5 * kPi);
  EXPECT_NEAR(c.getAngleFromStart({std::sqrt(0.5), -std::sqrt(0.5), 0}), 1.75 * kPi, 1e-15);
}

TEST(TPCircle, AngleFromStartClampsAndStillTestsTheSide) {
  const TPCircle c = upperHalf();
  // The cosine is exactly 1 (clamped from above for the second point), but the point lies a
  // hair behind A, so the side test turns 0 into 2π.
  EXPECT_EQ(c.getAngleFromStart({1, -1e-9, 0}), 2 * kPi);
  EXPECT_EQ(c.getAngleFromStart({1 + 1e-9, -1e-9, 0}), 2 * kPi);
  EXPECT_EQ(c.getAngleFromStart({1 + 1e-9, 1e-9, 0}), 0.0);
  // Clamped from below: exactly π, on either side.
  EXPECT_EQ(c.getAngleFromStart({-2, 1e-9, 0}), kPi);
  EXPECT_EQ(c.getAngleFromStart({-2, -1e-9, 0}), kPi);
}

TEST(TPCircle, CirPointAngleReturnsTheClampedEndsDirectly) {
  TPCircle c = upperHalf();
  EXPECT_DOUBLE_EQ(c.getCirPointAngle(), 0.5 * kPi);
  // Moved behind A with a cosine above 1: 0 here, where the side test would give 2π.
  c.B = {2, -1e-9, 0};
  EXPECT_EQ(c.getCirPointAngle(), 0.0);
  EXPECT_EQ(c.getAngleFromStart(c.B), 2 * kPi);
  // Opposite A, a hair behind: π directly.
  c.B = {-2, -1e-9, 0};
  EXPECT_EQ(c.getCirPointAngle(), kPi);
  // Below A (clockwise from it): 2π - θ.
  c.B = {0, -1, 0};
  EXPECT_DOUBLE_EQ(c.getCirPointAngle(), 1.5 * kPi);
}

TEST(TPCircle, CirPointAngleOfBOppositeAIsPi) {
  TPCircle c(Vec3{1, 0, 0}, Vec3{-1, 0, 0}, Vec3{0, -1, 0});
  EXPECT_EQ(c.getCirPointAngle(), kPi);
}

// ---------------------------------------------------------------------------------------------
// On-arc test

TEST(TPCircle, PointOnArcAcceptsTheEndsAndInnerPoints) {
  const TPCircle c = upperHalf();
  EXPECT_TRUE(c.pointOnArc(c.A));
  EXPECT_TRUE(c.pointOnArc(c.B));
  EXPECT_TRUE(c.pointOnArc(c.C));
  EXPECT_TRUE(c.pointOnArc(onUnitCircle(1e-9)));
  EXPECT_TRUE(c.pointOnArc(onUnitCircle(kPi - 1e-9)));
}

TEST(TPCircle, PointOnArcToleratesAMicroradianBeyondC) {
  const TPCircle c = upperHalf();
  EXPECT_TRUE(c.pointOnArc(onUnitCircle(kPi + 0.9e-6)));
  EXPECT_FALSE(c.pointOnArc(onUnitCircle(kPi + 1.1e-6)));
}

TEST(TPCircle, PointOnArcRejectsPointsJustBeforeA) {
  // The angle of a point behind A is close to 2π, far above arcRad + 1e-6: the tolerance does
  // not extend backwards past A.
  const TPCircle c = upperHalf();
  EXPECT_FALSE(c.pointOnArc(onUnitCircle(-0.5e-6)));
  EXPECT_FALSE(c.pointOnArc(onUnitCircle(-1e-9)));
}

TEST(TPCircle, PointOnArcRejectsPointsOnTheCircleOutsideTheArc) {
  const TPCircle c = upperHalf();
  EXPECT_FALSE(c.pointOnArc({0, -1, 0}));
  EXPECT_FALSE(c.pointOnArc(onUnitCircle(4.0)));
  EXPECT_FALSE(c.pointOnArc(onUnitCircle(-0.1)));
  EXPECT_FALSE(c.pointOnArc(onUnitCircle(kPi + 0.01)));
}

TEST(TPCircle, PointOnArcRadialTolerance) {
  const TPCircle c = upperHalf();
  EXPECT_TRUE(c.pointOnArc({0, 1 + 0.9e-6, 0}));
  EXPECT_TRUE(c.pointOnArc({0, 1 - 0.9e-6, 0}));
  EXPECT_FALSE(c.pointOnArc({0, 1 + 1.1e-6, 0}));
  EXPECT_FALSE(c.pointOnArc({0, 1 - 1.1e-6, 0}));
  EXPECT_FALSE(c.pointOnArc({0, 0.5, 0}));
}

TEST(TPCircle, PointOnArcIgnoresTheDistanceFromThePlane) {
  // On the sphere of radius r about R, above the arc.
  const TPCircle c = upperHalf();
  EXPECT_TRUE(c.pointOnArc({0, std::sqrt(0.5), std::sqrt(0.5)}));
}

// ---------------------------------------------------------------------------------------------
// Intersections

/// The unit circle about `centre` in the plane z = centre.z, from angle a through b to c
/// (radians; the arc runs counter-clockwise about +z when a < b < c within one turn).
TPCircle arcAbout(const Vec3& centre, double a, double b, double c, double radius = 1.0) {
  const auto at = [&](double angle) { return centre + onUnitCircle(angle) * radius; };
  return TPCircle(at(a), at(b), at(c));
}

const double kHalfSqrt3 = std::sqrt(3.0) / 2;

TEST(TPCircle, CrossingArcsMeetTwice) {
  // Unit circles about (0, 0, 0) and (1, 0, 0) cross at (0.5, ±√3/2, 0).
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  const TPCircle second = arcAbout({1, 0, 0}, 0.5 * kPi, kPi, 1.5 * kPi);
  const std::vector<Vec3> points = first.intersectArcs(second);
  ASSERT_EQ(points.size(), 2u);
  // The first lies on the side of N × (other.R - R) = (0, 0, 1) × (1, 0, 0) = (0, 1, 0).
  EXPECT_TRUE(near(points[0], {0.5, kHalfSqrt3, 0}, 1e-12));
  EXPECT_TRUE(near(points[1], {0.5, -kHalfSqrt3, 0}, 1e-12));
  // Seen from the other circle the order flips with the line of centres.
  const std::vector<Vec3> reverse = second.intersectArcs(first);
  ASSERT_EQ(reverse.size(), 2u);
  EXPECT_TRUE(near(reverse[0], {0.5, -kHalfSqrt3, 0}, 1e-12));
  EXPECT_TRUE(near(reverse[1], {0.5, kHalfSqrt3, 0}, 1e-12));
}

TEST(TPCircle, CrossingCirclesShareOnlyThePointsOnBothArcs) {
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  // Covers 100° to 170°: the upper crossing (120°) but not the lower one (240°).
  const TPCircle upperOnly = arcAbout({1, 0, 0}, 100 * kPi / 180, 130 * kPi / 180, 170 * kPi / 180);
  std::vector<Vec3> points = first.intersectArcs(upperOnly);
  ASSERT_EQ(points.size(), 1u);
  EXPECT_TRUE(near(points[0], {0.5, kHalfSqrt3, 0}, 1e-12));
  // Covers 200° to 260°: only the lower crossing.
  const TPCircle lowerOnly = arcAbout({1, 0, 0}, 200 * kPi / 180, 230 * kPi / 180, 260 * kPi / 180);
  points = first.intersectArcs(lowerOnly);
  ASSERT_EQ(points.size(), 1u);
  EXPECT_TRUE(near(points[0], {0.5, -kHalfSqrt3, 0}, 1e-12));
  // Covers 130° to 220°: neither.
  EXPECT_TRUE(
      first.intersectArcs(arcAbout({1, 0, 0}, 130 * kPi / 180, kPi, 220 * kPi / 180)).empty());
  // This arc now covers only -90° to -45°.
  EXPECT_TRUE(
      arcAbout({0, 0, 0}, -0.5 * kPi, -0.4 * kPi, -0.25 * kPi).intersectArcs(upperOnly).empty());
}

TEST(TPCircle, OppositeNormalsCountAsParallel) {
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  // The same arc as in CrossingArcsMeetTwice, travelled the other way: N = (0, 0, -1).
  const TPCircle reversed = arcAbout({1, 0, 0}, 1.5 * kPi, kPi, 0.5 * kPi);
  ASSERT_TRUE(near(reversed.N, {0, 0, -1}, 1e-15));
  EXPECT_EQ(first.intersectArcs(reversed).size(), 2u);
}

TEST(TPCircle, TouchingCirclesMeetOnce) {
  // External tangency at (1, 0, 0): d = r + other.r exactly, h = 0.
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  const TPCircle outside = arcAbout({2, 0, 0}, 0.5 * kPi, kPi, 1.5 * kPi);
  std::vector<Vec3> points = first.intersectArcs(outside);
  ASSERT_EQ(points.size(), 1u);
  // h² = r² - a² is rounding noise around 0 and its square root about 1e-8.
  EXPECT_TRUE(near(points[0], {1, 0, 0}, 1e-7));
  // Internal tangency at (2, 0, 0) of radius 2 about the origin and radius 1 about (1, 0, 0).
  const TPCircle large = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi, 2.0);
  const TPCircle inside = arcAbout({1, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  points = large.intersectArcs(inside);
  ASSERT_EQ(points.size(), 1u);
  EXPECT_TRUE(near(points[0], {2, 0, 0}, 1e-7));
}

TEST(TPCircle, SeparateNestedAndConcentricCirclesDoNotMeet) {
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  // Separate: d = 2.5 > 2.
  EXPECT_TRUE(first.intersectArcs(arcAbout({2.5, 0, 0}, 0.5 * kPi, kPi, 1.5 * kPi)).empty());
  // Nested: radius 3 about the origin holds the unit circle about (1, 0, 0); h² < 0 gives the
  // point (4.5, 0, 0), which lies on neither circle.
  const TPCircle large = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi, 3.0);
  EXPECT_TRUE(large.intersectArcs(arcAbout({1, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi)).empty());
  // Concentric, even the very same circle.
  EXPECT_TRUE(first.intersectArcs(first).empty());
  EXPECT_TRUE(first.intersectArcs(arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi, 2.0)).empty());
}

/// The unit circle about (1, 0, 0) through the angles 90°, 180° and 270°, its plane turned
/// by `tilt` about the x axis: it still passes through (0.5, ±√3/2·cos tilt, ...), at distance
/// 1 from (1, 0, 0).
TPCircle tiltedAboutX(double tilt) {
  const auto at = [&](double angle) {
    return Vec3{1 + std::cos(angle), std::sin(angle) * std::cos(tilt),
                std::sin(angle) * std::sin(tilt)};
  };
  return TPCircle(at(0.5 * kPi), at(kPi), at(1.5 * kPi));
}

TEST(TPCircle, PlanesMustBeParallelWithinTheTolerance) {
  // |N·other.N| = cos(tilt) against 0.999999, i.e. a tilt of about 1.414e-3 rad.
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  EXPECT_EQ(first.intersectArcs(tiltedAboutX(1.3e-3)).size(), 2u);
  EXPECT_TRUE(first.intersectArcs(tiltedAboutX(1.5e-3)).empty());
  // Perpendicular planes through a common point.
  EXPECT_TRUE(first.intersectArcs(tiltedAboutX(0.5 * kPi)).empty());
}

TEST(TPCircle, ParallelPlanesAreNotCheckedToCoincide) {
  // The same circle lifted by 0.5 along z: the line of centres is along N, so the
  // perpendicular N × u is a zero vector.
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  EXPECT_THROW_MSG(first.intersectArcs(arcAbout({0, 0, 0.5}, -0.5 * kPi, 0, 0.5 * kPi)),
                   std::overflow_error, "0-length vector cannot be normalized.");
  // Lifted by 0.1 and shifted by 1: the points found are the common points of the two spheres
  // in the plane through the line of centres and N × u = (0, 1, 0), at distance 1 from both
  // centres: (0.5, ±sqrt(1 - 1.01 / 4), 0.05), on neither circle's plane.
  const std::vector<Vec3> points =
      first.intersectArcs(arcAbout({1, 0, 0.1}, 0.5 * kPi, kPi, 1.5 * kPi));
  ASSERT_EQ(points.size(), 2u);
  EXPECT_TRUE(near(points[0], {0.5, std::sqrt(1 - 1.01 / 4), 0.05}, 1e-12));
  EXPECT_TRUE(near(points[1], {0.5, -std::sqrt(1 - 1.01 / 4), 0.05}, 1e-12));
}

TEST(TPCircle, IntersectionNormalisesTheOtherNormal) {
  const TPCircle first = arcAbout({0, 0, 0}, -0.5 * kPi, 0, 0.5 * kPi);
  TPCircle second = arcAbout({1, 0, 0}, 0.5 * kPi, kPi, 1.5 * kPi);
  second.N = {0, 0, 7};
  EXPECT_EQ(first.intersectArcs(second).size(), 2u);
  second.N = {0, 0, 0};
  EXPECT_THROW_MSG(first.intersectArcs(second), std::overflow_error,
                   "0-length vector cannot be normalized.");
}

// ---------------------------------------------------------------------------------------------
// Sub-arcs

TEST(TPCircle, SubArcToPoint) {
  const TPCircle c = upperHalf();
  const std::optional<TPCircle> sub = c.getSubArcToPoint(onUnitCircle(kPi / 3));
  ASSERT_TRUE(sub.has_value());
  EXPECT_EQ(sub->A, c.A);
  EXPECT_TRUE(near(sub->B, onUnitCircle(kPi / 6), 1e-15));
  EXPECT_EQ(sub->C, onUnitCircle(kPi / 3));
  EXPECT_NEAR(sub->arcRad, kPi / 3, 1e-14);
  EXPECT_NEAR(sub->r, 1.0, 1e-14);
  EXPECT_TRUE(near(sub->R, {0, 0, 0}, 1e-14));
  EXPECT_TRUE(near(sub->N, {0, 0, 1}, 1e-15));
  EXPECT_NEAR(sub->cirPointFraction, 0.5, 1e-14);
}

TEST(TPCircle, SubArcFromPoint) {
  const TPCircle c = upperHalf();
  const std::optional<TPCircle> sub = c.getSubArcFromPoint(onUnitCircle(kPi / 3));
  ASSERT_TRUE(sub.has_value());
  EXPECT_EQ(sub->A, onUnitCircle(kPi / 3));
  EXPECT_TRUE(near(sub->B, onUnitCircle(2 * kPi / 3), 1e-15));
  EXPECT_EQ(sub->C, c.C);
  EXPECT_NEAR(sub->arcRad, 2 * kPi / 3, 1e-14);
  EXPECT_TRUE(near(sub->R, {0, 0, 0}, 1e-14));
  EXPECT_TRUE(near(sub->N, {0, 0, 1}, 1e-15));
}

TEST(TPCircle, SubArcsOfAMajorArc) {
  // 270° from (1, 0, 0) counter-clockwise; split at 200°.
  const TPCircle c(Vec3{1, 0, 0}, Vec3{-1, 0, 0}, Vec3{0, -1, 0});
  const double split = 200 * kPi / 180;
  const std::optional<TPCircle> to = c.getSubArcToPoint(onUnitCircle(split));
  const std::optional<TPCircle> from = c.getSubArcFromPoint(onUnitCircle(split));
  ASSERT_TRUE(to.has_value());
  ASSERT_TRUE(from.has_value());
  EXPECT_NEAR(to->arcRad, split, 1e-13);
  EXPECT_TRUE(near(to->B, onUnitCircle(split / 2), 1e-14));
  EXPECT_NEAR(from->arcRad, 1.5 * kPi - split, 1e-13);
  EXPECT_TRUE(near(from->B, onUnitCircle((split + 1.5 * kPi) / 2), 1e-14));
}

TEST(TPCircle, SubArcToTheFarEndIsTheWholeArcAndToTheNearEndNothing) {
  const TPCircle c(Vec3{0, 0, 0}, Vec3{1, 1, 0}, Vec3{2, 0, 0});
  std::optional<TPCircle> sub = c.getSubArcToPoint(c.C);
  ASSERT_TRUE(sub.has_value());
  expectSameMembers(*sub, c);
  // Within 1e-6 of C, before it on the arc.
  sub = c.getSubArcToPoint(c.getPoint(1 - 0.5e-6 / c.arcLen));
  ASSERT_TRUE(sub.has_value());
  expectSameMembers(*sub, c);

  EXPECT_FALSE(c.getSubArcToPoint(c.A).has_value());
  EXPECT_FALSE(c.getSubArcToPoint(c.getPoint(0.5e-6 / c.arcLen)).has_value());
}

TEST(TPCircle, SubArcFromTheNearEndIsTheWholeArcAndFromTheFarEndNothing) {
  const TPCircle c(Vec3{0, 0, 0}, Vec3{1, 1, 0}, Vec3{2, 0, 0});
  std::optional<TPCircle> sub = c.getSubArcFromPoint(c.A);
  ASSERT_TRUE(sub.has_value());
  expectSameMembers(*sub, c);
  sub = c.getSubArcFromPoint(c.getPoint(0.5e-6 / c.arcLen));
  ASSERT_TRUE(sub.has_value());
  expectSameMembers(*sub, c);

  EXPECT_FALSE(c.getSubArcFromPoint(c.C).has_value());
  EXPECT_FALSE(c.getSubArcFromPoint(c.getPoint(1 - 0.5e-6 / c.arcLen)).has_value());
}

TEST(TPCircle, SubArcsOfPointsOffTheArcAreEmpty) {
  const TPCircle c = upperHalf();
  for (const Vec3& p : {Vec3{0, -1, 0}, Vec3{0, 0.5, 0}, Vec3{0, 2, 0}, onUnitCircle(-1e-3)}) {
    EXPECT_FALSE(c.getSubArcToPoint(p).has_value());
    EXPECT_FALSE(c.getSubArcFromPoint(p).has_value());
  }
}

TEST(TPCircle, SubArcsCloseToAnEndAreCollinear) {
  // 1e-4 rad from an end is past the 1e-6 tie-break, but the three points of the short piece
  // turn by only 5e-5 at its middle point.
  const TPCircle c = upperHalf();
  EXPECT_THROW_MSG(c.getSubArcToPoint(onUnitCircle(1e-4)), TPCircleFail,
                   "The points are collinear");
  EXPECT_THROW_MSG(c.getSubArcFromPoint(onUnitCircle(kPi - 1e-4)), TPCircleFail,
                   "The points are collinear");
}

// ---------------------------------------------------------------------------------------------
// Debugging dump

/// Captures what `body` writes to std::cout.
template <typename Body>
std::string captureStdout(Body body) {
  std::ostringstream captured;
  std::streambuf* const original = std::cout.rdbuf(captured.rdbuf());
  body();
  std::cout.rdbuf(original);
  return captured.str();
}

TEST(TPCircle, DumpWritesTheMembers) {
  const TPCircle c(Vec3{0, 0, 0}, Vec3{1, 1, 0}, Vec3{2, 0, 0});
  EXPECT_EQ(captureStdout([&] { c.dump(); }),
            "A : 0 0 0\n"
            "B : 1 1 0\n"
            "C : 2 0 0\n"
            "N : 0 0 -1\n"
            "R : 1 0 0\n"
            "r : 1\n"
            "arcRad : 3.14159\n"
            "arcLen : 3.14159\n"
            "RA : -1 0 0\n"
            "RY : 0 1 0\n");
}

TEST(TPCircle, DumpUsesSixSignificantDigitsAndChangesNoStreamState) {
  // Radius 2.5 about (10.125, -3, 7) in a plane parallel to xy, from angle 0 through 90° to
  // 150°: arcRad = 5π/6 = 2.61799..., arcLen = 6.54498...
  const Vec3 centre{10.125, -3, 7};
  const TPCircle c(centre + Vec3{2.5, 0, 0}, centre + Vec3{0, 2.5, 0},
                   centre + onUnitCircle(5 * kPi / 6) * 2.5);
  const std::ios_base::fmtflags flags = std::cout.flags();
  const std::streamsize precision = std::cout.precision();
  const std::string text = captureStdout([&] { c.dump(); });
  EXPECT_EQ(std::cout.flags(), flags);
  EXPECT_EQ(std::cout.precision(), precision);
  std::istringstream lines(text);
  std::string line;
  std::vector<std::string> all;
  while (std::getline(lines, line))
    all.push_back(line);
  ASSERT_EQ(all.size(), 10u);
  EXPECT_EQ(all[0], "A : 12.625 -3 7");
  EXPECT_EQ(all[1], "B : 10.125 -0.5 7");
  EXPECT_EQ(all[2], "C : 7.95994 -1.75 7");
  EXPECT_EQ(all[3], "N : 0 0 1");
  EXPECT_EQ(all[5], "r : 2.5");
  EXPECT_EQ(all[6], "arcRad : 2.61799");
  EXPECT_EQ(all[7], "arcLen : 6.54498");
}

// ---------------------------------------------------------------------------------------------
// Properties over sampled circles

/// A circle made by construction: centre, radius, unit normal, in-plane basis, the angles of
/// A, B and C about the normal.
struct KnownCircle {
  Vec3 centre;
  double radius{0};
  Vec3 normal;
  Vec3 e1;
  Vec3 e2;
  double startAngle{0};
  double arc{0};
  double cirFraction{0};

  Vec3 at(double angle) const {
    return centre + (e1 * std::cos(angle) + e2 * std::sin(angle)) * radius;
  }
  Vec3 a() const { return at(startAngle); }
  Vec3 b() const { return at(startAngle + cirFraction * arc); }
  Vec3 c() const { return at(startAngle + arc); }
  /// The relative rounding of the points as seen from the circle: far from the origin a small
  /// circle keeps fewer digits.
  double relativeRounding() const { return 2.2e-16 * (1 + centre.norm() / radius); }
  /// Tolerance for lengths and unit vectors, relative to the radius. The centre formula loses up
  /// to about 1/sin² of the triangle's smallest angle (a few thousand here).
  double tolerance() const { return 1e5 * relativeRounding() * radius; }
  double unitTolerance() const { return 1e5 * relativeRounding(); }
  /// Tolerance for angles: acos loses half the digits near 0 and π.
  double angleTolerance() const { return std::sqrt(relativeRounding()); }
};

Vec3 randomUnit(test::Random& random) {
  const Eigen::Vector3d u = test::randomUnitVector(random);
  return {u.x(), u.y(), u.z()};
}

KnownCircle randomKnownCircle(test::Random& random) {
  for (;;) {
    KnownCircle k;
    k.radius = std::pow(10.0, random.uniform(-3, 4));
    k.centre = {random.uniform(-1000, 1000), random.uniform(-1000, 1000),
                random.uniform(-1000, 1000)};
    k.normal = randomUnit(random);
    k.e1 = k.normal.cross(randomUnit(random));
    if (k.e1.norm() < 0.1)
      continue;
    k.e1 = k.e1 / k.e1.norm();
    k.e2 = k.normal.cross(k.e1);
    k.startAngle = random.uniform(-kPi, kPi);
    k.arc = random.uniform(0.3, 2 * kPi - 0.3);
    k.cirFraction = random.uniform(0.1, 0.9);
    // |(B - A) × (C - B)| = 4r²·sin(AB/2)·sin(BC/2)·sin(AC/2) must stay clear of 1e-7.
    const double cross = 4 * k.radius * k.radius * std::sin(k.cirFraction * k.arc / 2) *
                         std::sin((1 - k.cirFraction) * k.arc / 2) * std::sin(k.arc / 2);
    if (cross > 1e-6)
      return k;
  }
}

constexpr int kSamples = 2000;

TEST(TPCircle, RecoversCircleBuiltFromKnownCentreRadiusAndAngles) {
  test::Random random;
  for (int i = 0; i < kSamples; ++i) {
    const KnownCircle k = randomKnownCircle(random);
    const TPCircle c(k.a(), k.b(), k.c());
    const double tol = k.tolerance();
    ASSERT_TRUE(near(c.R, k.centre, tol)) << "radius " << k.radius;
    ASSERT_NEAR(c.r, k.radius, tol);
    ASSERT_TRUE(near(c.N, k.normal, k.unitTolerance()));
    ASSERT_NEAR(c.arcRad, k.arc, k.angleTolerance());
    ASSERT_NEAR(c.arcLen, k.arc * k.radius, k.angleTolerance() * k.radius);
    ASSERT_NEAR(c.cirPointFraction * k.arc, k.cirFraction * k.arc, k.angleTolerance());
    ASSERT_NEAR(c.RA.norm(), k.radius, tol);
    ASSERT_NEAR(c.RY.norm(), k.radius, tol);
    ASSERT_NEAR(c.RA.dot(c.RY), 0.0, tol * k.radius);
  }
}

TEST(TPCircle, SampledPointsAndTangentsLieOnTheCircle) {
  test::Random random;
  for (int i = 0; i < kSamples / 4; ++i) {
    const KnownCircle k = randomKnownCircle(random);
    const TPCircle c(k.a(), k.b(), k.c());
    const double tol = k.tolerance();
    ASSERT_TRUE(near(c.getPoint(0), k.a(), tol));
    ASSERT_TRUE(near(c.getPoint(c.cirPointFraction), k.b(), tol));
    ASSERT_TRUE(near(c.getPoint(1), k.c(), tol));
    for (int s = 0; s <= 40; ++s) {
      const double t = s / 40.0;
      const Vec3 p = c.getPoint(t);
      ASSERT_TRUE(near(p, k.at(k.startAngle + t * k.arc), tol)) << "t = " << t;
      ASSERT_NEAR((p - k.centre).norm(), k.radius, tol);
      ASSERT_NEAR((p - k.centre).dot(k.normal), 0.0, tol);
      const Vec3 tangent = c.getTangent(t);
      ASSERT_NEAR(tangent.norm(), 1.0, 1e-15);
      ASSERT_NEAR(tangent.dot(p - k.centre), 0.0, tol);
      ASSERT_NEAR(tangent.dot(k.normal), 0.0, k.unitTolerance());
      // Forward: the central difference of the path points the same way.
      const double h = 1e-4;
      const Vec3 ahead =
          k.at(k.startAngle + (t + h) * k.arc) - k.at(k.startAngle + (t - h) * k.arc);
      ASSERT_TRUE(near(tangent, ahead / ahead.norm(), 1e-6 + k.unitTolerance()));
      if (t > 0.01 && t < 0.99) {
        ASSERT_TRUE(c.pointOnArc(p)) << "t = " << t;
        ASSERT_NEAR(c.getAngleFromStart(p), t * c.arcRad, k.angleTolerance());
      }
    }
  }
}

/// The circumcentre of a, b, c by solving the three linear equations of the two bisector
/// planes and the triangle plane, relative to a.
Eigen::Vector3d circumcentre(const Vec3& a, const Vec3& b, const Vec3& c) {
  const Eigen::Vector3d ab(b.x - a.x, b.y - a.y, b.z - a.z);
  const Eigen::Vector3d ac(c.x - a.x, c.y - a.y, c.z - a.z);
  Eigen::Matrix3d m;
  m.row(0) = ab.transpose();
  m.row(1) = ac.transpose();
  m.row(2) = ab.cross(ac).transpose();
  const Eigen::Vector3d rhs(ab.squaredNorm() / 2, ac.squaredNorm() / 2, 0.0);
  return Eigen::Vector3d(a.x, a.y, a.z) + m.fullPivLu().solve(rhs);
}

TEST(TPCircle, RandomTriplesAgreeWithAnIndependentCircumcentre) {
  test::Random random;
  int built = 0;
  for (int i = 0; i < kSamples; ++i) {
    const double scale = std::pow(10.0, random.uniform(-3, 4));
    const Vec3 offset{random.uniform(-1000, 1000), random.uniform(-1000, 1000),
                      random.uniform(-1000, 1000)};
    const auto point = [&] {
      return offset + Vec3{random.uniform(-scale, scale), random.uniform(-scale, scale),
                           random.uniform(-scale, scale)};
    };
    const Vec3 a = point();
    const Vec3 b = point();
    const Vec3 cc = point();
    // Keep to triangles whose angles all have a sine of at least 0.05, so the centre is well
    // conditioned, and whose normal is far from the normalisation limit.
    const Vec3 ab = (b - a) / (b - a).norm();
    const Vec3 ac = (cc - a) / (cc - a).norm();
    const Vec3 bc = (cc - b) / (cc - b).norm();
    if (ab.cross(ac).norm() < 0.05 || ab.cross(bc).norm() < 0.05 || ac.cross(bc).norm() < 0.05 ||
        (b - a).cross(cc - b).norm() < 1e-6) {
      continue;
    }
    const TPCircle c(a, b, cc);
    ++built;
    const Eigen::Vector3d centre = circumcentre(a, b, cc);
    const Vec3 expectedCentre{centre.x(), centre.y(), centre.z()};
    const double radius = (a - expectedCentre).norm();
    // As for the known circles: lengths relative to the radius, angles to the square root.
    const double rounding = 2.2e-16 * (1 + offset.norm() / radius);
    const double tol = 1e5 * rounding * radius;
    const double angleTol = std::sqrt(rounding);
    ASSERT_TRUE(near(c.R, expectedCentre, tol));
    ASSERT_NEAR(c.r, radius, tol);
    const Vec3 normal = (b - a).cross(cc - b);
    ASSERT_TRUE(near(c.N, normal / normal.norm(), 1e5 * rounding));
    // Angles of B and C about the normal, from A, by atan2 in the plane.
    const Vec3 u = (a - expectedCentre) / radius;
    const Vec3 v = c.N.cross(u);
    const auto angleOf = [&](const Vec3& p) {
      const double angle = std::atan2((p - expectedCentre).dot(v), (p - expectedCentre).dot(u));
      return angle < 0 ? angle + 2 * kPi : angle;
    };
    ASSERT_NEAR(c.arcRad, angleOf(cc), angleTol);
    ASSERT_NEAR(c.cirPointFraction * c.arcRad, angleOf(b), angleTol);
    ASSERT_LT(angleOf(b), angleOf(cc));
    ASSERT_TRUE(near(c.getPoint(0), a, tol));
    ASSERT_TRUE(near(c.getPoint(c.cirPointFraction), b, tol));
    ASSERT_TRUE(near(c.getPoint(1), cc, tol));
  }
  EXPECT_GT(built, kSamples / 4);
}

}  // namespace
}  // namespace zor::rob
