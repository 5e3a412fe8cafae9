// The kinematics kernel shared by the arm model, the inverse kinematics and the import.

#include "detail/kinematics.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace zor::rob::detail {
namespace {

constexpr double kTol = 1e-15;
const double kHalf = std::sqrt(0.5);

void expectMatrix(const Mat3& m, const std::array<double, 9>& expected, double tolerance) {
  for (std::size_t i = 0; i < 9; ++i)
    EXPECT_NEAR(m.m[i], expected[i], tolerance) << "entry " << i;
}

void expectVec(const Vec3& v, const Vec3& expected, double tolerance) {
  EXPECT_NEAR(v.x, expected.x, tolerance);
  EXPECT_NEAR(v.y, expected.y, tolerance);
  EXPECT_NEAR(v.z, expected.z, tolerance);
}

TEST(KinematicsKernel, MatrixOfAQuarterTurnAboutZ) {
  // Turning x onto y: the columns are the images of x, y and z.
  expectMatrix(rotationMatrix(kHalf, 0, 0, kHalf), {0, -1, 0, 1, 0, 0, 0, 0, 1}, kTol);
  expectMatrix(unitRotationMatrix(Rotation::raw(0, 0, kHalf, kHalf)), {0, -1, 0, 1, 0, 0, 0, 0, 1},
               kTol);
}

TEST(KinematicsKernel, MatrixOfAQuaternionOfAnyLength) {
  expectMatrix(rotationMatrix(2, 0, 0, 0), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 0.0);
  // A half turn about z, given three times too long.
  expectMatrix(rotationMatrix(0, 0, 0, 3), {-1, 0, 0, 0, -1, 0, 0, 0, 1}, kTol);
  // Components whose squares overflow: rescaled first, a half turn about x.
  expectMatrix(rotationMatrix(0, 1e300, 0, 0), {1, 0, 0, 0, -1, 0, 0, 0, -1}, kTol);
}

TEST(KinematicsKernel, MatrixProductsWithTheTranspose) {
  const Mat3 r = rotationMatrix(0.5, 0.5, 0.5, 0.5);  // a third of a turn about (1, 1, 1)
  expectMatrix(r.timesTranspose(r), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 1e-15);
  // It cycles the axes: x to y, y to z, z to x; the transpose turns back.
  expectVec(r * Vec3{1, 0, 0}, {0, 1, 0}, kTol);
  expectVec(r.transposeTimes(Vec3{0, 1, 0}), {1, 0, 0}, kTol);
  EXPECT_EQ(r(1, 0), r.m[3]);
}

TEST(KinematicsKernel, RotationVectorIsAxisTimesAngle) {
  expectVec(rotationVector(Rotation::raw(0, 0, 0, 1)), {0, 0, 0}, 0.0);
  expectVec(rotationVector(Rotation::raw(kHalf, 0, 0, kHalf)), {std::numbers::pi / 2, 0, 0}, kTol);
  // The same rotation with all signs flipped: the same vector, the angle within [0, π].
  expectVec(rotationVector(Rotation::raw(-kHalf, 0, 0, -kHalf)), {std::numbers::pi / 2, 0, 0},
            kTol);
  expectVec(rotationVector(Rotation::raw(0, 1, 0, 0)), {0, std::numbers::pi, 0}, kTol);
  // A tiny turn keeps its digits: 2e-200 rad about z.
  expectVec(rotationVector(Rotation::raw(0, 0, 1e-200, 1)), {0, 0, 2e-200}, 1e-215);
}

TEST(KinematicsKernel, WristCentreLiesBehindTheFlangeAlongItsZAxis) {
  // A quarter turn about x takes the flange's z axis onto −y.
  const Rotation q = Rotation::raw(kHalf, 0, 0, kHalf);
  const Vec3 expected{1, 12, 3};
  expectVec(wristCentre(Vec3{1, 2, 3}, q, 10.0), expected, 1e-14);
  expectVec(wristCentre(Vec3{1, 2, 3}, unitRotationMatrix(q), 10.0), expected, 1e-14);
  expectVec(wristCentre(Vec3{1, 2, 3}, q, 0.0), {1, 2, 3}, 0.0);
}

TEST(KinematicsKernel, PointToAxisHelpers) {
  const Vec3 z{0, 0, 1};
  expectVec(normalPart(Vec3{1, 2, 3}, z), {1, 2, 0}, 0.0);
  EXPECT_EQ(distanceToAxis(Vec3{3, 4, 7}, Vec3{0, 0, -2}, z), 5.0);
  const Pos foot = footOnAxis(z, Pos{0, 0, 1}, Pos{3, 4, 7});
  expectVec(foot.toVec3(), {0, 0, 7}, 0.0);
  // The x axis and the line along y through (5, 0, 2): nearest at x = 5, and back the other way.
  expectVec(nearestPointToAxis(Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{5, 0, 2}, Vec3{0, 1, 0}),
            {5, 0, 0}, kTol);
  expectVec(nearestPointToAxis(Vec3{5, 0, 2}, Vec3{0, 1, 0}, Vec3{0, 0, 0}, Vec3{1, 0, 0}),
            {5, 0, 2}, kTol);
}

}  // namespace
}  // namespace zor::rob::detail
