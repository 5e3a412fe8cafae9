#include <gtest/gtest.h>

#include <type_traits>

#include "screw/dense_reference.hpp"
#include "support/test_support.hpp"
#include "zor/rob/screw.hpp"

// Inside the test namespace: the dense references and checks need no qualification.
namespace zor::rob::test {
namespace {

static_assert(std::is_trivially_copyable_v<JointSpeed>);
static_assert(sizeof(JointSpeed) == 6 * sizeof(double));
// The storage does not depend on the host's alignment flags.
static_assert(sizeof(GeometricJacobian) == 36 * sizeof(double));
static_assert(alignof(GeometricJacobian) == alignof(double));

ScrewAxis screwOfColumn(int c) {
  // Distinct small integers in every entry, so that any misplaced entry shows.
  ScrewAxis s;
  for (int r = 0; r < 6; ++r)
    s[r] = 10.0 * (c + 1) + r + 1;
  return s;
}

GeometricJacobian filledJacobian() {
  GeometricJacobian j;
  for (int c = 0; c < 6; ++c)
    j.setCol(c, screwOfColumn(c));
  return j;
}

TEST(GeometricJacobian, DefaultIsZero) {
  const GeometricJacobian j;
  EXPECT_EQ(j.matrix, Mat6::Zero());
}

TEST(GeometricJacobian, ElementAccessReadsAndWritesRowAndColumn) {
  GeometricJacobian j;
  j(1, 4) = 7.5;
  EXPECT_EQ(j.matrix(1, 4), 7.5);
  EXPECT_EQ(j.matrix(4, 1), 0.0);
  const GeometricJacobian& cj = j;
  EXPECT_EQ(cj(1, 4), 7.5);
}

TEST(GeometricJacobian, StoresColumnByColumn) {
  const GeometricJacobian j = filledJacobian();
  const double* data = j.matrix.data();
  for (int c = 0; c < 6; ++c) {
    for (int r = 0; r < 6; ++r)
      EXPECT_EQ(data[6 * c + r], screwOfColumn(c)[r]) << r << ", " << c;
  }
}

TEST(GeometricJacobian, SetColChangesOnlyThatColumn) {
  GeometricJacobian j = filledJacobian();
  const ScrewAxis s(0, 0, 1, 100, 0, 0);
  j.setCol(5, s);
  for (int r = 0; r < 6; ++r)
    EXPECT_EQ(j(r, 5), s[r]) << r;
  for (int c = 0; c < 5; ++c) {
    for (int r = 0; r < 6; ++r)
      EXPECT_EQ(j(r, c), screwOfColumn(c)[r]) << r << ", " << c;
  }
}

TEST(GeometricJacobian, TimesAUnitVectorGivesThatColumn) {
  const GeometricJacobian j = filledJacobian();
  for (int i = 0; i < 6; ++i) {
    Vector6 e;
    e[i] = 1.0;
    const Twist t = j * e;
    for (int r = 0; r < 6; ++r)
      EXPECT_EQ(t[r], screwOfColumn(i)[r]) << r << ", " << i;
  }
}

TEST(GeometricJacobian, ProductIsTheMatrixVectorProduct) {
  Random rng;
  for (int n = 0; n < 200; ++n) {
    GeometricJacobian j;
    Vector6 q;
    Vec6 qe;
    for (int c = 0; c < 6; ++c) {
      const auto [axis, p] = randomLine(rng, 1000.0);
      j.setCol(c, screwAxisOf(axis, p));
      q[c] = qe(c) = rng.uniform(-3.0, 3.0);
    }
    const Mat6 m = j.matrix;
    EXPECT_TRUE(matricesNear(toEigen(j * q), m * qe, 1e-9));
  }
}

TEST(GeometricJacobian, ProductSumsTheColumnsInOrder) {
  // Small integers: the sum is exact whatever the order, so compare exactly.
  const GeometricJacobian j = filledJacobian();
  const Twist t = j * Vector6(1, -1, 2, 0, 3, -2);
  for (int r = 0; r < 6; ++r) {
    double expected = 0.0;
    const double weights[6] = {1, -1, 2, 0, 3, -2};
    for (int c = 0; c < 6; ++c)
      expected += weights[c] * (10.0 * (c + 1) + r + 1);
    EXPECT_EQ(t[r], expected) << r;
  }
}

TEST(JointSpeed, DefaultIsZero) {
  const JointSpeed s;
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(s[i], 0.0) << i;
}

TEST(JointSpeed, SetSpeedWritesTheZeroBasedIndex) {
  JointSpeed s;
  s.setSpeed(0, 1.5);
  s.setSpeed(5, -2.5);
  EXPECT_EQ(s[0], 1.5);
  EXPECT_EQ(s[5], -2.5);
  EXPECT_EQ(s.values, (std::array<double, 6>{1.5, 0, 0, 0, 0, -2.5}));
  s[3] = 4;
  EXPECT_EQ(s.values[3], 4.0);
}

TEST(JointSpeed, SetZeroClearsAllSpeeds) {
  JointSpeed s;
  for (int i = 0; i < 6; ++i)
    s.setSpeed(i, i + 1.0);
  s.setZero();
  EXPECT_EQ(s, JointSpeed());
}

}  // namespace
}  // namespace zor::rob::test
