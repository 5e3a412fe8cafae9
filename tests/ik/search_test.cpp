// The search over joint 4 of arms without a closed form: what it guarantees about solutions that
// lie close together.

#include <gtest/gtest.h>

#include <Eigen/SVD>
#include <array>
#include <cmath>

#include "ik/ik_test_support.hpp"
#include "ik/search.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

using Mat6 = Eigen::Matrix<double, 6, 6>;

/// Random poses of the recall test; the sanitizer build runs a fiftieth.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kRecallPoses = 200;
#else
constexpr int kRecallPoses = 10000;
#endif

/// The made-up arm of the recall tests: nothing parallel or perpendicular beyond joints 2 and 3
/// and the meeting axes 5 and 6.
RobotConfig madeUpArm() {
  DhTable table;
  table.convention = DhConvention::classic;
  table.rows = {{{30, 80, 300, 0},
                 {400, 0, 40, 10},
                 {50, 70, 20, 0},
                 {10, 60, 350, 0},
                 {0, -60, 60, 0},
                 {0, 0, 80, 0}}};
  return ArmFromDh(table, test::halfTurnLimits()).robot;
}

RobJoint moved(const RobJoint& j, const Eigen::Matrix<double, 6, 1>& v, double radians) {
  RobJoint m = j;
  for (std::size_t i = 0; i < 6; ++i)
    m.values[i] += RadToDeg(radians * v(static_cast<Eigen::Index>(i)));
  return m;
}

/// Two solutions that close in on each other: at a singular configuration js (the Jacobian's
/// determinant zero) with null vector v, the joints js ± εv make the same pose up to O(ε³) (their
/// first-order terms vanish, their second-order ones agree), so the pose of js + εv has a second
/// solution within O(ε²) of js − εv, 2ε|v4| away in joint 4. The singular configuration is found
/// by bisection of the determinant along a line of joint space.
TEST(SearchGuarantee, TwoCloseSolutionsOfOneBranchAreListedApartOrMerged) {
  const RobotConfig arm = madeUpArm();
  ASSERT_EQ(arm.ikMethod(), IkMethod::search);
  const auto det = [&](double t) {
    return arm.getSpaceJacobian(RobJoint(20 + t, -60, 40 + t, 30, 70, 10)).matrix.determinant();
  };
  double lo = 0.0;
  double hi = 0.0;
  while (std::signbit(det(hi)) == std::signbit(det(lo)) && hi < 180.0)
    hi += 1.0;
  ASSERT_LT(hi, 180.0) << "no singular configuration on the line";
  for (int k = 0; k < 200; ++k) {
    const double mid = 0.5 * (lo + hi);
    (std::signbit(det(mid)) == std::signbit(det(lo)) ? lo : hi) = mid;
  }
  const RobJoint singular(20 + lo, -60, 40 + lo, 30, 70, 10);
  const Eigen::JacobiSVD<Mat6> svd(arm.getSpaceJacobian(singular).matrix, Eigen::ComputeFullV);
  ASSERT_LT(svd.singularValues()(5), 1e-9 * svd.singularValues()(0));
  const Eigen::Matrix<double, 6, 1> v = svd.matrixV().col(5);
  // Joint 4 takes part in the null vector: the two solutions differ in joint 4, one branch.
  ASSERT_GT(std::abs(v(3)), 0.1);
  for (const double eps : {1e-2, 1e-3, 1e-4, 1e-5, 1.5e-6}) {
    const RobJoint plus = moved(singular, v, eps);
    const RobJoint minus = moved(singular, v, -eps);
    const Pose pose = arm.getRobTarget(plus).pose;
    const TargetConfiguration all = arm.getAllJointSolutions(pose);
    EXPECT_TRUE(test::allSolutionsValid(arm, all, pose)) << eps;
    const double separation = 2.0 * eps * std::abs(v(3));
    ASSERT_GT(separation, detail::kMergeSeparation);
    // Both, each within 10 ε² radians (in degrees) of where it is expected.
    EXPECT_GE(test::findSolution(all, plus, test::kJointAccuracy), 0) << eps;
    EXPECT_GE(test::findSolution(all, minus, RadToDeg(10.0 * eps * eps) + test::kJointAccuracy), 0)
        << eps;
  }
  // Closer than kMergeSeparation they may come out as one, but one of them is listed.
  const double eps = 0.25 * detail::kMergeSeparation / std::abs(v(3));
  const RobJoint plus = moved(singular, v, eps);
  const Pose pose = arm.getRobTarget(plus).pose;
  const TargetConfiguration all = arm.getAllJointSolutions(pose);
  EXPECT_TRUE(test::allSolutionsValid(arm, all, pose));
  EXPECT_GE(test::findSolution(all, plus, RadToDeg(4.0 * eps)), 0);
}

/// The default arm with axis 6 and the flange moved 10 mm sideways at home (the benchmarks'
/// offset-wrist arm): axes 5 and 6 still meet, so the search answers; the recall tests of the
/// arms imported from DH rows are in three_parallel_test.cpp.
TEST(SearchRecall, TheDefaultArmWithAnOffsetWristListsTheOriginalJoints) {
  const RobotConfig base = DefaultArm();
  std::array<Pos, 6> points = base.jointPoints;
  points[5].y += 10;
  Transform flange = base.flangeHome;
  flange.translation.y += 10;
  const RobotConfig arm =
      MakeRobotConfig(base.jointAxes, points, flange, base.jointMin, base.jointMax, base.homeJoint,
                      base.elbowOffset, base.jointCoupling);
  ASSERT_EQ(arm.ikMethod(), IkMethod::search);
  test::Random random;
  int checked = 0;
  for (int n = 0; n < kRecallPoses; ++n) {
    const RobJoint j = test::randomAllowedJoints(random, arm);
    const Pose pose = arm.getRobTarget(j).pose;
    const TargetConfiguration all = arm.getAllJointSolutions(pose);
    ASSERT_TRUE(test::allSolutionsValid(arm, all, pose)) << j.toString();
    if (!test::clearOfSingularities(arm, j))
      continue;
    ++checked;
    ASSERT_GE(test::findSolution(all, j), 0) << j.toString();
  }
  EXPECT_GT(checked, kRecallPoses / 2);
}

}  // namespace
}  // namespace zor::rob
