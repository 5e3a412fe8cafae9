// Random and hostile inputs through every inverse-kinematics query: NaN, infinite, huge, tiny and
// denormal values in poses, seeds and limits. No query crashes or returns a non-finite value;
// every solution reproduces its pose inside the limits; every verdict is true, checked against
// the branches of the pose on limits of one turn, turned by whole turns in the test; and on arms
// with offset wrists no pose made from joints inside the limits gets a verdict of no solution.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "ik/ik_test_support.hpp"
#include "support/test_support.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int kInputs = 1000;
constexpr int kReasonPoses = 100;
#else
constexpr int kInputs = 100000;
constexpr int kReasonPoses = 2000;
#endif

constexpr double kInf = std::numeric_limits<double>::infinity();

/// A value of one of the hostile kinds, or an ordinary one within ±`ordinary`.
double hostile(test::Random& random, double ordinary) {
  switch (random.integer(0, 11)) {
    case 0:
      return std::nan("");
    case 1:
      return random.uniform(0, 1) < 0.5 ? kInf : -kInf;
    case 2:
      return random.uniform(-1, 1) * 1e300;
    case 3:
      return random.uniform(-1, 1) * 1e-300;
    case 4:
      return 5e-324 * random.integer(-3, 3);  // denormal
    case 5:
      return random.uniform(-1, 1) * 1e7;
    default:
      return random.uniform(-ordinary, ordinary);
  }
}

/// An ordinary value most of the time, a hostile one now and then.
double mostlyOrdinary(test::Random& random, double ordinary, double hostileShare) {
  return random.uniform(0, 1) < hostileShare ? hostile(random, ordinary)
                                             : random.uniform(-ordinary, ordinary);
}

/// Limits of a little more than one turn on every joint: every branch of a pose at least once.
RobotConfig oneTurnOf(RobotConfig arm) {
  for (std::size_t i = 0; i < 6; ++i) {
    arm.jointMin[i] = -181.0;
    arm.jointMax[i] = 181.0;
  }
  arm.jointMin[6] = -1e9;
  arm.jointMax[6] = 1e9;
  return arm;
}

/// \returns whether some whole turn of every joint of `branch` lies inside the limits (both joints
/// 2 and 3 of a coupled arm tried over nearby turns), computed joint by joint.
bool someTurnInside(const RobotConfig& arm, const RobJoint& branch) {
  constexpr double tol = RobotConfig::kJointLimitTolerance;
  std::array<double, 6> first{};
  for (std::size_t i = 0; i < 6; ++i) {
    const double lo = arm.jointMin[i] - tol;
    const double hi = arm.jointMax[i] + tol;
    const double v = branch.values[i];
    const double k = std::ceil((lo - v) / 360.0);
    double value = v + 360.0 * k;
    if (!(value > lo))
      value += 360.0;
    if (!(value < hi))
      return false;
    first[i] = value;
  }
  if (arm.jointCoupling != 1)
    return true;
  // Each turn of joint 2 inside, and the turns of joint 3 next to where the sum limit and joint
  // 3's own limits begin.
  const double lo3 = arm.jointMin[2] - tol;
  const double hi3 = arm.jointMax[2] + tol;
  for (double j2 = first[1]; j2 < arm.jointMax[1] + tol; j2 += 360.0) {
    const double from = std::max(lo3, arm.jointMin[6] - tol - j2);
    const double k3 = std::ceil((from - branch.values[2]) / 360.0);
    for (int d = -1; d <= 1; ++d) {
      const double j3 = branch.values[2] + 360.0 * (k3 + d);
      if (j3 < hi3 && arm.isJointAllowed(1, j2, j3) && arm.isJointAllowed(2, j3, j2))
        return true;
    }
  }
  return false;
}

bool finite(const RobJoint& j) {
  for (const double v : j.values)
    if (!std::isfinite(v))
      return false;
  return true;
}

/// The arms of the property test and its limits of moderate width: joints 2 and 3 coupled on one.
std::vector<RobotConfig> propertyArms() {
  std::vector<RobotConfig> arms{DefaultArm(), test::orthoParallelArms()[5].arm};
  arms.push_back(ArmFromDh(test::collaborativeDh(), ArmLimits{}).robot);
  return arms;
}

/// Limits of a random kind on every joint: ordinary, many turns, a million degrees out,
/// inverted, NaN, or beyond ±1e9.
void randomLimits(test::Random& random, RobotConfig& arm) {
  for (std::size_t i = 0; i < 6; ++i) {
    const int kind = random.integer(0, 19);
    double lo = -random.uniform(90, 400);
    double hi = random.uniform(90, 400);
    if (kind == 0) {
      lo = 1e6;
      hi = 1e6 + random.uniform(100, 400);
    } else if (kind == 1) {
      lo = -1e6;
      hi = 1e6;
    } else if (kind == 2) {
      std::swap(lo, hi);
    } else if (kind == 3) {
      lo = std::nan("");
    } else if (kind == 4 && random.uniform(0, 1) < 0.2) {
      hi = hostile(random, 1e12);
    }
    arm.jointMin[i] = lo;
    arm.jointMax[i] = hi;
  }
}

/// \returns the limits of `arm` as text, for failure messages.
std::string limitsText(const RobotConfig& arm) {
  std::string text = " limits";
  for (std::size_t i = 0; i < 7; ++i)
    text += " [" + std::to_string(arm.jointMin[i]) + ", " + std::to_string(arm.jointMax[i]) + "]";
  return text;
}

/// Checks the verdict `status` and solution of a query on `pose`.
void checkAnswer(const RobotConfig& arm, const Pose& pose, IkStatus status,
                 const std::vector<RobJoint>& solutions, const ConfData* conf) {
  // Long lists (many turns) are checked at about 40 of their solutions, spread over them.
  const std::size_t stride = std::max<std::size_t>(1, solutions.size() / 40);
  for (std::size_t i = 0; i < solutions.size(); i += stride) {
    const RobJoint& j = solutions[i];
    ASSERT_TRUE(finite(j)) << j.toString();
    ASSERT_TRUE(test::insideLimits(arm, j)) << j.toString();
    ASSERT_TRUE(test::reproduces(arm, j, pose)) << j.toString() << " " << pose.toString();
  }
  if (status == IkStatus::found) {
    ASSERT_FALSE(solutions.empty());
    return;
  }
  ASSERT_TRUE(solutions.empty());
  const TargetConfiguration branches = oneTurnOf(arm).getAllJointSolutions(pose);
  if (status == IkStatus::outOfReach) {
    ASSERT_TRUE(branches.empty()) << pose.toString();
    return;
  }
  ASSERT_FALSE(branches.empty()) << pose.toString();
  bool inside = false;
  for (const RobJoint& b : branches.joints)
    inside = inside || someTurnInside(arm, b);
  if (status == IkStatus::outsideJointLimits) {
    ASSERT_FALSE(inside) << pose.toString() << limitsText(arm);
    return;
  }
  ASSERT_EQ(status, IkStatus::noSolutionInConfiguration);
  ASSERT_NE(conf, nullptr);
  ASSERT_TRUE(inside) << pose.toString() << limitsText(arm);
}

/// \returns whether `e` is one of the documented errors of the queries.
bool documented(const std::exception& e) {
  const std::string m = e.what();
  return m == "normalize quaternion of 0 magnitude" || m.rfind("seed joint ", 0) == 0 ||
         m.rfind("the limits of joint ", 0) == 0 ||
         m == "the joint limits admit more than 100000 solutions of the pose";
}

/// The query of each test: all solutions, the nearest, the one in a configuration; one test
/// each, so that they run side by side.
class HostileInputs : public ::testing::TestWithParam<int> {};

TEST_P(HostileInputs, GiveFiniteSolutionsAndTrueVerdicts) {
  test::Random random;
  const std::vector<RobotConfig> arms = propertyArms();
  for (int n = 0; n < kInputs; ++n) {
    RobotConfig arm = arms[static_cast<std::size_t>(n) % arms.size()];
    randomLimits(random, arm);
    // A pose made from random joints, or one of random numbers; either spoilt now and then.
    Pose pose;
    if (random.uniform(0, 1) < 0.5) {
      RobJoint j;
      for (double& v : j.values)
        v = random.uniform(-180, 180);
      pose = arm.getRobTarget(j).pose;
    } else {
      pose.pos = Pos(random.uniform(-1500, 1500), random.uniform(-1500, 1500),
                     random.uniform(-1500, 1500));
      pose.orient = Orient(random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1),
                           random.uniform(-1, 1));
    }
    if (random.uniform(0, 1) < 0.1)
      pose.pos.x = hostile(random, 1500);
    if (random.uniform(0, 1) < 0.1) {
      const double scale = std::abs(hostile(random, 2));
      pose.orient = Orient(pose.orient.q1 * scale, pose.orient.q2 * scale, pose.orient.q3 * scale,
                           pose.orient.q4 * scale);
    }
    RobJoint seed;
    for (double& v : seed.values)
      v = mostlyOrdinary(random, 400, 0.05);
    ConfData conf(random.integer(-4, 3), random.integer(-4, 3), random.integer(-4, 3),
                  random.integer(0, 7));
    if (random.uniform(0, 1) < 0.05)
      conf.cf1 = random.integer(-2147483647, 2147483647);
    const int query = GetParam();
    try {
      if (query == 0) {
        TargetConfiguration all;
        const IkStatus status = arm.findAllJointSolutions(pose, nullptr, all);
        ASSERT_NO_FATAL_FAILURE(checkAnswer(arm, pose, status, all.joints, nullptr));
      } else if (query == 1) {
        const JointSolution s = arm.findNearestJointSolution(pose, seed);
        std::vector<RobJoint> found;
        if (s.found())
          found.push_back(s.joints);
        ASSERT_NO_FATAL_FAILURE(checkAnswer(arm, pose, s.status, found, nullptr));
      } else {
        RobTarget target(pose);
        target.robConf = conf;
        const JointSolution s = arm.findJointSolution(target);
        std::vector<RobJoint> found;
        if (s.found()) {
          found.push_back(s.joints);
          ASSERT_TRUE(ConfData::FromRobJoint(s.joints, arm).isCriticalEqual(s.joints, conf));
        }
        ASSERT_NO_FATAL_FAILURE(checkAnswer(arm, pose, s.status, found, &conf));
      }
    } catch (const std::exception& e) {
      ASSERT_TRUE(documented(e)) << e.what();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Queries, HostileInputs, ::testing::Values(0, 1, 2));

/// Arms with offset wrists solved by the search and in closed form: a pose made from joints
/// inside the limits always has a solution, whatever the query, and one in the configuration of
/// those joints.
TEST(IkProperty, PosesFromJointsInsideTheLimitsAreNeverCalledUnreachable) {
  DhTable orthoOffsetWrist;
  orthoOffsetWrist.convention = DhConvention::classic;
  orthoOffsetWrist.rows = {{{150, -90, 450, 0},
                            {600, 0, 0, -90},
                            {110, -90, 0, 0},
                            {60, 90, 640, 0},
                            {0, -90, 0, 0},
                            {0, 0, 100, 0}}};
  test::Random random;
  for (const DhTable& table : {test::madeUpDh(), orthoOffsetWrist, test::collaborativeDh()}) {
    const RobotConfig arm = ArmFromDh(table, test::halfTurnLimits()).robot;
    for (int n = 0; n < kReasonPoses; ++n) {
      RobJoint j;
      for (double& v : j.values)
        v = random.uniform(-179.9, 179.9);
      const Pose pose = arm.getRobTarget(j).pose;
      TargetConfiguration all;
      const IkStatus status = arm.findAllJointSolutions(pose, nullptr, all);
      EXPECT_EQ(status, IkStatus::found) << j.toString();
      const JointSolution nearest = arm.findNearestJointSolution(pose, j);
      EXPECT_EQ(nearest.status, IkStatus::found) << j.toString();
      RobTarget target(pose);
      target.robConf = ConfData::FromRobJoint(j, arm);
      const JointSolution inConf = arm.findJointSolution(target);
      EXPECT_EQ(inConf.status, IkStatus::found) << table.rows[0].d << " " << j.toString();
    }
  }
}

}  // namespace
}  // namespace zor::rob
