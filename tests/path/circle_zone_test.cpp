#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "support/near.hpp"
#include "support/test_support.hpp"
#include "zor/rob/circle.hpp"

namespace zor::rob {
namespace {

constexpr double kPi = std::numbers::pi;

using test::near;

/// Half of the unit circle about (1, 0, 0), clockwise seen from +z: N = (0, 0, -1).
TPCircle halfCircle() {
  return TPCircle(Vec3{0, 0, 0}, Vec3{1, 1, 0}, Vec3{2, 0, 0});
}

/// Radius 4 about (1, 2, 3), tilted out of the coordinate planes, 240° long.
TPCircle tiltedArc() {
  const Vec3 centre{1, 2, 3};
  const Vec3 e1 = Vec3{1, 1, 0} / std::sqrt(2.0);
  const Vec3 e2 = Vec3{-1, 1, 2} / std::sqrt(6.0);
  const auto at = [&](double angle) {
    return centre + (e1 * std::cos(angle) + e2 * std::sin(angle)) * 4.0;
  };
  return TPCircle(at(0.2), at(0.2 + 2.0), at(0.2 + 4 * kPi / 3));
}

TEST(TPCircleZone, ZeroZoneGivesTheEndPoints) {
  TPCircle c = tiltedArc();
  EXPECT_TRUE(near(c.getStartZonePoint(0), c.A, 1e-14));
  EXPECT_TRUE(near(c.getEndZonePoint(0), c.C, 1e-13));
}

TEST(TPCircleZone, ZeroZoneDirectionsAreTheEndTangents) {
  TPCircle c = tiltedArc();
  EXPECT_TRUE(near(c.getStartZoneVelocity(0), c.getTangent(0), 1e-15));
  EXPECT_TRUE(near(c.getEndZoneVelocity(0), c.getTangent(1), 1e-15));
}

TEST(TPCircleZone, HalfCircleDirections) {
  TPCircle c = halfCircle();
  EXPECT_TRUE(near(c.getStartZoneVelocity(0), {0, 1, 0}, 1e-15));
  EXPECT_TRUE(near(c.getEndZoneVelocity(0), {0, -1, 0}, 1e-15));
  // A quarter of the way round from either end: π/4 along a unit circle.
  EXPECT_TRUE(near(c.getStartZonePoint(kPi / 4), {1 - std::sqrt(0.5), std::sqrt(0.5), 0}, 1e-15));
  EXPECT_TRUE(near(c.getEndZonePoint(kPi / 4), {1 + std::sqrt(0.5), std::sqrt(0.5), 0}, 1e-15));
  EXPECT_TRUE(near(c.getStartZoneVelocity(kPi / 2), {1, 0, 0}, 1e-15));
  EXPECT_TRUE(near(c.getEndZoneVelocity(kPi / 2), {1, 0, 0}, 1e-15));
}

TEST(TPCircleZone, HalfTheArcFromBothSidesMeets) {
  TPCircle c = tiltedArc();
  const double d = c.arcLen / 2;
  EXPECT_TRUE(near(c.getStartZonePoint(d), c.getEndZonePoint(d), 1e-13));
  EXPECT_TRUE(near(c.getStartZonePoint(d), c.getPoint(0.5), 1e-13));
  EXPECT_TRUE(near(c.getStartZoneVelocity(d), c.getEndZoneVelocity(d), 1e-13));
}

TEST(TPCircleZone, ZonesContinueAroundTheCircle) {
  TPCircle c = halfCircle();
  // Past C by a quarter circle, and before A by a quarter circle: both (1, -1, 0).
  EXPECT_TRUE(near(c.getStartZonePoint(1.5 * kPi), {1, -1, 0}, 1e-15));
  EXPECT_TRUE(near(c.getEndZonePoint(-0.5 * kPi), {1, -1, 0}, 1e-15));
  EXPECT_TRUE(near(c.getStartZonePoint(-0.5 * kPi), {1, -1, 0}, 1e-15));
  EXPECT_TRUE(near(c.getStartZoneVelocity(1.5 * kPi), {-1, 0, 0}, 1e-15));
  EXPECT_TRUE(near(c.getEndZoneVelocity(-0.5 * kPi), {-1, 0, 0}, 1e-15));
  // A full turn comes back to the start.
  EXPECT_TRUE(near(c.getStartZonePoint(2 * kPi), c.A, 1e-15));
}

TEST(TPCircleZone, ZonePointsLieAtTheArcLengthFromTheirEnd) {
  // The chord to a point at arc length d on a circle of radius r is 2r·sin(d / 2r).
  test::Random random;
  TPCircle c = tiltedArc();
  for (int i = 0; i < 200; ++i) {
    const double d = random.uniform(0, c.arcLen);
    const double chord = 2 * c.r * std::sin(d / (2 * c.r));
    const Vec3 start = c.getStartZonePoint(d);
    const Vec3 end = c.getEndZonePoint(d);
    ASSERT_NEAR((start - c.A).norm(), chord, 1e-12);
    ASSERT_NEAR((end - c.C).norm(), chord, 1e-12);
    ASSERT_NEAR((start - c.R).norm(), c.r, 1e-12);
    ASSERT_NEAR((end - c.R).norm(), c.r, 1e-12);
    ASSERT_TRUE(c.pointOnArc(start));
    ASSERT_TRUE(c.pointOnArc(end));
    // The point operations (by radius) and the directions (by arc length) agree.
    ASSERT_TRUE(near(c.getStartZoneVelocity(d), c.getTangent(d / c.arcLen), 1e-12));
    ASSERT_TRUE(near(c.getEndZoneVelocity(d), c.getTangent(1 - d / c.arcLen), 1e-12));
  }
}

TEST(TPCircleZone, DirectionsAreTheDerivativeOfTheZonePointsAlongTheWay) {
  // Central differences of the zone points, in the direction of travel from A to C.
  test::Random random;
  TPCircle c = tiltedArc();
  const double h = 1e-5;
  for (int i = 0; i < 200; ++i) {
    const double d = random.uniform(0, c.arcLen);
    const Vec3 forwardStart = (c.getStartZonePoint(d + h) - c.getStartZonePoint(d - h)) / (2 * h);
    const Vec3 forwardEnd = (c.getEndZonePoint(d - h) - c.getEndZonePoint(d + h)) / (2 * h);
    const Vec3 velocityStart = c.getStartZoneVelocity(d);
    const Vec3 velocityEnd = c.getEndZoneVelocity(d);
    ASSERT_NEAR(velocityStart.norm(), 1.0, 1e-15);
    ASSERT_NEAR(velocityEnd.norm(), 1.0, 1e-15);
    ASSERT_TRUE(near(velocityStart, forwardStart, 1e-8));
    ASSERT_TRUE(near(velocityEnd, forwardEnd, 1e-8));
  }
}

}  // namespace
}  // namespace zor::rob
