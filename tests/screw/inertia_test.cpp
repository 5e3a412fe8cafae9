#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "screw/dense_reference.hpp"
#include "zor/rob/screw.hpp"

// Inside the test namespace: the dense references and checks need no qualification.
namespace zor::rob::test {
namespace {

// The storage does not depend on the host's alignment flags.
static_assert(sizeof(SpacialInertia) == 10 * sizeof(double));
static_assert(alignof(SpacialInertia) == alignof(double));

TEST(SpacialInertia, DefaultIsZero) {
  const SpacialInertia s;
  EXPECT_EQ(s.inertia, Mat3::Zero());
  EXPECT_EQ(s.mass, 0.0);
  EXPECT_EQ(s.matrix(), Mat6::Zero());
}

TEST(SpacialInertia, SetGivesADiagonalInertiaAndTheMass) {
  SpacialInertia s;
  s.inertia(0, 1) = 5.0;  // a product of inertia that set() must clear
  s.set(1, 2, 3, 10);
  EXPECT_EQ(s.inertia, Eigen::Vector3d(1, 2, 3).asDiagonal().toDenseMatrix());
  EXPECT_EQ(s.mass, 10.0);
}

TEST(SpacialInertia, MatrixOfADiagonalBody) {
  SpacialInertia s;
  s.set(1, 2, 3, 10);
  Mat6 expected = Mat6::Zero();
  expected.diagonal() << 1, 2, 3, 10, 10, 10;
  EXPECT_EQ(s.matrix(), expected);
}

TEST(SpacialInertia, MatrixCopiesAFullRotationalInertia) {
  SpacialInertia s;
  s.inertia << 4, 0.5, 0.25, 0.5, 5, -0.75, 0.25, -0.75, 6;
  s.mass = 2.5;
  Mat6 expected = Mat6::Zero();
  expected.topLeftCorner<3, 3>() = s.inertia;
  expected.bottomRightCorner<3, 3>() = 2.5 * Mat3::Identity();
  EXPECT_EQ(s.matrix(), expected);
}

TEST(SpacialInertia, MassBlockOffDiagonalIsMassTimesZero) {
  // The mass block is mass · I entry by entry: an infinite mass gives NaN off the diagonal,
  // while the coupling blocks stay exact zeros.
  SpacialInertia s;
  s.set(1, 1, 1, std::numeric_limits<double>::infinity());
  const Mat6 m = s.matrix();
  EXPECT_TRUE(std::isinf(m(3, 3)));
  EXPECT_TRUE(std::isnan(m(3, 4)));
  EXPECT_TRUE(std::isnan(m(5, 3)));
  EXPECT_EQ(m(0, 3), 0.0);
  EXPECT_EQ(m(3, 0), 0.0);
}

}  // namespace
}  // namespace zor::rob::test
