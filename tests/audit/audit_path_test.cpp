// The geometry of audited paths: lines, arcs, blended corners, zone distances and sample
// counts, against hand-worked values and independent computations with Eigen.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>

#include "audit/audit_path.hpp"

namespace zor::rob::test {
namespace {

using audit::ArcPath;
using audit::CornerPath;
using audit::LinePath;

constexpr double kPi = std::numbers::pi;

Orient AboutZ(double degrees) {
  const double half = degrees * kPi / 360.0;
  return {std::cos(half), 0.0, 0.0, std::sin(half)};
}

/// The angle (degrees) between two orientation records, by Eigen.
double AngleBetween(const Orient& a, const Orient& b) {
  const Eigen::Quaterniond qa(a.q1, a.q2, a.q3, a.q4);
  const Eigen::Quaterniond qb(b.q1, b.q2, b.q3, b.q4);
  return qa.normalized().angularDistance(qb.normalized()) * 180.0 / kPi;
}

TEST(AuditPath, LineInterpolatesPositionLinearly) {
  const LinePath line{{{0, 0, 0}, {}}, {{100, -40, 20}, {}}};
  const Pose p = line.at(0.25);
  EXPECT_NEAR(p.pos.x, 25.0, 1e-12);
  EXPECT_NEAR(p.pos.y, -10.0, 1e-12);
  EXPECT_NEAR(p.pos.z, 5.0, 1e-12);
  EXPECT_NEAR(line.length(), std::sqrt(100.0 * 100 + 40 * 40 + 20 * 20), 1e-12);
}

TEST(AuditPath, LineSlerpsTheOrientationTheShortWay) {
  // From 0 to 90 degrees about z: a quarter of the way is 22.5 degrees about z.
  const LinePath line{{{0, 0, 0}, AboutZ(0)}, {{0, 0, 0}, AboutZ(90)}};
  EXPECT_NEAR(AngleBetween(line.at(0.25).orient, AboutZ(22.5)), 0.0, 1e-9);
  EXPECT_NEAR(line.orientationChange(), 90.0, 1e-9);
  // The same end given with the opposite sign is the same rotation: still 90 degrees.
  const Orient q = AboutZ(90);
  const LinePath flipped{{{0, 0, 0}, AboutZ(0)}, {{0, 0, 0}, {-q.q1, -q.q2, -q.q3, -q.q4}}};
  EXPECT_NEAR(flipped.orientationChange(), 90.0, 1e-9);
  EXPECT_NEAR(AngleBetween(flipped.at(0.5).orient, AboutZ(45)), 0.0, 1e-9);
}

TEST(AuditPath, LineEndsAreItsEndPoints) {
  const LinePath line{{{1, 2, 3}, AboutZ(10)}, {{4, 5, 6}, AboutZ(70)}};
  EXPECT_NEAR((line.at(1.0).pos - Pos{4, 5, 6}).norm(), 0.0, 1e-12);
  EXPECT_NEAR(AngleBetween(line.at(1.0).orient, AboutZ(70)), 0.0, 1e-9);
  EXPECT_NEAR((line.at(0.0).pos - Pos{1, 2, 3}).norm(), 0.0, 1e-12);
}

TEST(AuditPath, ArcFollowsTheCircleThroughItsThreePoints) {
  // A = (0, 0, 0), B = (100, 100, 0), C = (200, 0, 0): half a circle of radius 100 about
  // (100, 0, 0), B half-way.
  const ArcPath arc{TPCircle(Pos{0, 0, 0}, Pos{100, 100, 0}, Pos{200, 0, 0}), AboutZ(0), AboutZ(0),
                    AboutZ(0), CircleOriMode::cirPoint};
  EXPECT_NEAR(arc.length(), 100.0 * kPi, 1e-9);
  const Pose mid = arc.at(0.5);
  EXPECT_NEAR((mid.pos - Pos{100, 100, 0}).norm(), 0.0, 1e-9);
  const Pose quarter = arc.at(0.25);  // 45 degrees from A about the centre
  EXPECT_NEAR(quarter.pos.x, 100.0 - 100.0 * std::cos(kPi / 4), 1e-9);
  EXPECT_NEAR(quarter.pos.y, 100.0 * std::sin(kPi / 4), 1e-9);
  EXPECT_NEAR(arc.orientationChange(), 0.0, 1e-9);
}

TEST(AuditPath, ArcOrientationFollowsTheChosenMode) {
  // Object frame: start 0, end 90 about z, circle point on the short side: the short way,
  // 90 degrees in all and 45 at the middle.
  const TPCircle circle(Pos{0, 0, 0}, Pos{100, 100, 0}, Pos{200, 0, 0});
  const ArcPath object{circle, AboutZ(0), AboutZ(45), AboutZ(90), CircleOriMode::objectFrame};
  EXPECT_NEAR(AngleBetween(object.at(0.5).orient, AboutZ(45)), 0.0, 1e-9);
  EXPECT_NEAR(object.orientationChange(), 90.0, 1e-6);
  // Path frame with constant relative orientation: the tool turns with the path, half a turn
  // about the arc normal (-z) over the half circle.
  const ArcPath path{circle, AboutZ(0), AboutZ(-90), AboutZ(-180), CircleOriMode::pathFrame};
  EXPECT_NEAR(path.orientationChange(), 180.0, 1e-6);
  EXPECT_NEAR(AngleBetween(path.at(0.5).orient, AboutZ(-90)), 0.0, 1e-6);
  // Circle-point mode passes the circle point's orientation at B.
  const ArcPath cir{circle, AboutZ(0), AboutZ(30), AboutZ(0), CircleOriMode::cirPoint};
  EXPECT_NEAR(AngleBetween(cir.at(0.5).orient, AboutZ(30)), 0.0, 1e-9);
}

TEST(AuditPath, CornerIsTheQuadraticBezierThroughTheZonePoints) {
  const CornerPath corner{{{-10, 0, 0}, AboutZ(0)}, {0, 0, 0}, {{0, 10, 0}, AboutZ(90)}};
  // B(1/2) = E/4 + T/2 + X/4.
  const Pose mid = corner.at(0.5);
  EXPECT_NEAR((mid.pos - Pos{-2.5, 2.5, 0}).norm(), 0.0, 1e-12);
  EXPECT_NEAR(AngleBetween(mid.orient, AboutZ(45)), 0.0, 1e-9);
  EXPECT_NEAR((corner.at(0).pos - Pos{-10, 0, 0}).norm(), 0.0, 1e-12);
  EXPECT_NEAR((corner.at(1).pos - Pos{0, 10, 0}).norm(), 0.0, 1e-12);
  EXPECT_NEAR(corner.orientationChange(), 90.0, 1e-9);
}

TEST(AuditPath, CornerLengthMatchesTheIntegratedCurve) {
  // The speed of B(u) is |2(1-u)(T-E) + 2u(X-T)|, integrated here by Simpson's rule.
  const Eigen::Vector3d e(-10, 0, 0), t(0, 0, 0), x(0, 10, 0);
  const auto speed = [&](double u) { return (2 * (1 - u) * (t - e) + 2 * u * (x - t)).norm(); };
  const int n = 10000;
  double sum = speed(0) + speed(1);
  for (int i = 1; i < n; ++i)
    sum += (i % 2 == 1 ? 4 : 2) * speed(static_cast<double>(i) / n);
  const double exact = sum / (3.0 * n);
  const CornerPath corner{{{-10, 0, 0}, {}}, {0, 0, 0}, {{0, 10, 0}, {}}};
  EXPECT_NEAR(corner.length(), exact, 1e-3);
  EXPECT_LT(corner.length(), 20.0);  // shorter than the two legs
}

TEST(AuditPath, IntervalsKeepBothSteps) {
  EXPECT_EQ(audit::IntervalCount(10.0, 0.0, 1.0, 1.0), 10u);
  EXPECT_EQ(audit::IntervalCount(10.5, 0.0, 1.0, 1.0), 11u);
  EXPECT_EQ(audit::IntervalCount(10.0, 45.0, 1.0, 1.0), 45u);
  EXPECT_EQ(audit::IntervalCount(10.0, 45.0, 0.1, 1.0), 100u);
  EXPECT_EQ(audit::IntervalCount(0.0, 0.0, 1.0, 1.0), 1u);
  // A length a rounding error above a whole number of steps takes no extra step.
  EXPECT_EQ(audit::IntervalCount(200.00000000001, 0.0, 2.0, 1.0), 100u);
}

TEST(AuditPath, ZoneKeepsItsDistanceWhenTheMovesAreLongEnough) {
  const audit::CornerZone z = audit::ZoneAtCorner(10.0, 100.0, 100.0);
  EXPECT_EQ(z.distance, 10.0);
  EXPECT_FALSE(z.shrunk);
  // Exactly half of the shorter move still fits.
  const audit::CornerZone half = audit::ZoneAtCorner(15.0, 30.0, 80.0);
  EXPECT_EQ(half.distance, 15.0);
  EXPECT_FALSE(half.shrunk);
}

TEST(AuditPath, ZoneShrinksToHalfTheShorterMove) {
  const audit::CornerZone in = audit::ZoneAtCorner(50.0, 30.0, 80.0);
  EXPECT_EQ(in.distance, 15.0);
  EXPECT_TRUE(in.shrunk);
  const audit::CornerZone out = audit::ZoneAtCorner(50.0, 80.0, 30.0);
  EXPECT_EQ(out.distance, 15.0);
  EXPECT_TRUE(out.shrunk);
}

}  // namespace
}  // namespace zor::rob::test
