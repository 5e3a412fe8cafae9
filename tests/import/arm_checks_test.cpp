#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>

#include "ik/ik_test_support.hpp"
#include "import/test_arms.hpp"
#include "support/test_support.hpp"
#include "zor/rob/arm_import.hpp"

namespace zor::rob {
namespace {

using test::kHalfTurn;
using test::kX;
using test::kY;
using test::kZ;

/// The message CheckArmModel throws for `robot`, or "accepted".
std::string verdict(const RobotConfig& robot) {
  try {
    CheckArmModel(robot);
    return "accepted";
  } catch (const std::invalid_argument& e) {
    return e.what();
  }
}

/// The message `build` throws (the builders check the arm they make), or the verdict on the arm
/// it returns.
std::string verdict(const std::function<RobotConfig()>& build) {
  RobotConfig robot;
  try {
    robot = build();
  } catch (const std::invalid_argument& e) {
    return e.what();
  }
  return verdict(robot);
}

OrthoParallelGeometry lengths(double a1, double a2, double b, double c1, double c2, double c3,
                              double c4) {
  return {.a1 = a1, .a2 = a2, .b = b, .c1 = c1, .c2 = c2, .c3 = c3, .c4 = c4};
}

RobotConfig orthoParallel(const OrthoParallelGeometry& g) {
  const RobotConfig d = DefaultArm();
  return MakeOrthoParallelArm(g, d.jointMin, d.jointMax, d.homeJoint, 0);
}

/// The default arm rebuilt from its axes and points by hand (the lengths of DefaultArmGeometry
/// on paper): shoulder (150, 0, 450), elbow (150, 0, 1050), wrist centre (790, 0, 940), flange
/// (890, 0, 940) turned a quarter turn about y, elbow offset π/2 + atan(110 / 640).
RobotConfig byHand(const std::array<Vec3, 6>& axes, const std::array<Pos, 6>& points,
                   const Transform& flange, double elbowOffset) {
  const RobotConfig d = DefaultArm();
  return MakeRobotConfig(axes, points, flange, d.jointMin, d.jointMax, d.homeJoint, elbowOffset, 0);
}

const Pos kShoulder{150, 0, 450};
const Pos kElbow{150, 0, 1050};
const Pos kWrist{790, 0, 940};
const double kElbowOffset = kHalfTurn / 2 + std::atan(110.0 / 640.0);

Transform flangeAt(const Pos& p) {
  return Transform(test::flangeAlongX(), p.toVec3());
}

RobotConfig defaultByHand() {
  return byHand({kZ, kY, kY, kX, kY, kX}, {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                flangeAt({890, 0, 940}), kElbowOffset);
}

const char* const kAccepted = "accepted";

// ---- Arms that hold every assumption ----

TEST(CheckArmModel, AcceptsTheDefaultArmAndItsHandWrittenModel) {
  EXPECT_EQ(verdict(DefaultArm()), kAccepted);
  EXPECT_EQ(verdict(defaultByHand()), kAccepted);
}

TEST(CheckArmModel, AcceptsEveryImportedTestArm) {
  EXPECT_EQ(verdict(ArmFromOrthoParallel(test::smallArmParameters(), test::smallArmLimits()).robot),
            kAccepted);
  EXPECT_EQ(verdict(ArmFromOrthoParallel(test::largeArmParameters(), test::largeArmLimits()).robot),
            kAccepted);
  EXPECT_EQ(verdict(ArmFromDh(test::collaborativeArmDh(), test::collaborativeArmLimits()).robot),
            kAccepted);
  // The made-up arm of the inverse-kinematics tests, joint 5 at 60 degrees to joints 4 and 6.
  EXPECT_EQ(verdict(ArmFromDh(test::madeUpDh(), ArmLimits{}).robot), kAccepted);
}

TEST(CheckArmModel, AcceptsRandomOrthoParallelLengths) {
  test::Random random;
  for (int n = 0; n < 2000; ++n) {
    const OrthoParallelGeometry g =
        lengths(random.uniform(-500, 500), random.uniform(-500, 500), random.uniform(-500, 500),
                random.uniform(-500, 500), random.uniform(50, 1000), random.uniform(50, 1000),
                random.uniform(0, 300));
    ASSERT_EQ(verdict([&] { return orthoParallel(g); }), kAccepted) << n;
  }
}

TEST(CheckArmModel, AcceptsValidButUnusualGeometry) {
  // Forearm straight up from the elbow, flange on the wrist centre, negative shoulder height.
  EXPECT_EQ(verdict([&] { return orthoParallel(lengths(-150, 300, 77, -450, 0.5, 0, 0)); }),
            kAccepted);
  // Microscopic, and nearly as large as allowed.
  EXPECT_EQ(verdict([&] { return orthoParallel(lengths(0, 0, 0, 0, 1e-3, 1e-3, 1e-3)); }),
            kAccepted);
  EXPECT_EQ(verdict([&] { return orthoParallel(lengths(0, 0, 0, 0, 4e6, 4e6, 1e6)); }), kAccepted);
  // The wrist axes pointing the other way.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, -kX, -kY, -kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            kAccepted);
  // Joints 2 and 3 the other way: the stretching angle changes sign with the axis.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, -kY, -kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), -kElbowOffset);
            }),
            kAccepted);
  // Points elsewhere on their axes, and an offset wrist (axis 4 misses the wrist centre).
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{0, 0, 300}, Pos{150, -40, 450}, Pos{150, 25, 1050},
                             Pos{500, 0, 940}, kWrist, Pos{0, 0, 940}},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            kAccepted);
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, Pos{790, 10, 940}},
                            flangeAt({890, 10, 940}), kElbowOffset);
            }),
            kAccepted);
  // Joint 5 at 60 degrees to joints 4 and 6 instead of 90.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, Vec3{0.5, std::sqrt(0.75), 0}, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            kAccepted);
  // The flange farther out along its own axis.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({1790, 0, 940}), kElbowOffset);
            }),
            kAccepted);
}

// ---- One message per broken assumption ----

TEST(CheckArmModel, RejectsNumbersThatAreNotFiniteOrTooLarge) {
  const std::string notFinite = "the arm's joint axes, points and flange must be finite";
  RobotConfig robot = defaultByHand();
  robot.jointPoints[2].z = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(verdict(robot), notFinite);
  robot = defaultByHand();
  robot.elbowOffset = std::numeric_limits<double>::infinity();
  EXPECT_EQ(verdict(robot), notFinite);
  robot = defaultByHand();
  robot.flangeHome.rotation.x = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(verdict(robot), notFinite);

  const std::string tooLarge =
      "the arm's joint points and flange must lie within 1e7 mm of the base";
  EXPECT_EQ(verdict([&] {
              return orthoParallel(lengths(1e200, 1e200, 1e200, 1e200, 1e200, 1e200, 1e200));
            }),
            tooLarge);
  EXPECT_EQ(verdict([&] { return orthoParallel(lengths(0, 0, 0, 0, 100, 1.1e7, 0)); }), tooLarge);
  EXPECT_EQ(verdict([&] { return orthoParallel(lengths(0, 0, 0, 0, 100, 9e6, 2e6)); }), tooLarge);
}

TEST(CheckArmModel, RejectsAxesAndFlangesThatAreNotUnit) {
  RobotConfig robot = defaultByHand();
  robot.jointAxes[3] = {2, 0, 0};
  EXPECT_EQ(verdict(robot), "the axis of joint 4 must be a unit vector");
  robot = defaultByHand();
  robot.jointAxes[5] = {1 + 2e-6, 0, 0};
  EXPECT_EQ(verdict(robot), "the axis of joint 6 must be a unit vector");
  robot = defaultByHand();
  robot.flangeHome.rotation.w *= 2;
  EXPECT_EQ(verdict(robot), "the flange orientation must be a unit quaternion");
}

TEST(CheckArmModel, RejectsJointOneThatIsNotTheUpwardBaseZAxis) {
  const std::string message =
      "joint 1 must turn about the base z axis, upwards (shoulder configuration and singularity)";
  EXPECT_EQ(verdict([&] {
              return byHand({-kZ, kY, kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            message);
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{10, 0, 0}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            message);
}

TEST(CheckArmModel, RejectsCoincidentOrMisalignedAxes) {
  // Six coincident axes: joint 2 along joint 1.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kZ, kZ, kZ, kZ, kZ}, {}, Transform{}, 0.0);
            }),
            "the axes of joints 1 and 2 must not be parallel (the shoulder)");
  // Joint 3 across joint 2, and on the same line as joint 2.
  const std::string elbow =
      "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)";
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kX, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            elbow);
  EXPECT_EQ(verdict([&] { return orthoParallel(lengths(0, 0, 0, 0, 0, 0, 0)); }), elbow);
  // Joint 6 across joint 4 at zero.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kZ},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            "joint 5 at zero must line up the axes of joints 4 and 6 (the wrist singularity)");
  // Joint 5 along joint 4.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kX, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 0, 940}), kElbowOffset);
            }),
            "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the wrist)");
  // Axes 5 and 6 skew, 10 mm apart.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, Pos{790, 0, 950}},
                            flangeAt({890, 0, 950}), kElbowOffset);
            }),
            "the axes of joints 5 and 6 must meet (the wrist centre)");
}

TEST(CheckArmModel, RejectsAWristCentreOnTheElbowAxis) {
  EXPECT_EQ(verdict([&] { return orthoParallel(lengths(150, 0, 0, 450, 600, 0, 100)); }),
            "the wrist centre must lie off the axis of joint 3 (the elbow offset)");
}

TEST(CheckArmModel, RejectsAWrongElbowOffsetNamingTheRightOne) {
  // With a2 = 0 the forearm lies along x and the upper arm along z: the arm stretches at
  // joint 3 = -π/2, so the offset is π/2.
  RobotConfig robot = orthoParallel(lengths(150, 0, 0, 450, 600, 640, 100));
  EXPECT_EQ(verdict(robot), kAccepted);
  robot.elbowOffset = 0.0;
  EXPECT_EQ(verdict(robot),
            "the elbow offset must be the joint-3 angle, in radians, that stretches the arm (the "
            "elbow configuration): 1.5707963267948966");
  // A whole turn away is the same angle; a rounded value is not.
  robot.elbowOffset = kHalfTurn / 2 + 2 * kHalfTurn;
  EXPECT_EQ(verdict(robot), kAccepted);
  robot.elbowOffset = 1.5708;
  EXPECT_NE(verdict(robot), kAccepted);
}

TEST(CheckArmModel, RejectsAFlangeWhoseZAxisMissesTheWristCentre) {
  const std::string message =
      "the wrist centre must lie on the flange's z axis, as far behind the flange as the flange "
      "lies beyond the point of joint 5 along base x (the wrist centre of a flange pose)";
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            Transform(RotationTemplate<double>(), {890, 0, 940}), kElbowOffset);
            }),
            message);
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            flangeAt({890, 10, 940}), kElbowOffset);
            }),
            message);
  // Turned half a turn: the wrist centre in front of the flange.
  EXPECT_EQ(verdict([&] {
              return byHand({kZ, kY, kY, kX, kY, kX},
                            {Pos{}, kShoulder, kElbow, kWrist, kWrist, kWrist},
                            Transform(RotationTemplate<double>(-kHalfTurn / 2, kY), {890, 0, 940}),
                            kElbowOffset);
            }),
            message);
}

TEST(CheckArmModel, RejectsBadLimitsAndHomeJoints) {
  RobotConfig robot = DefaultArm();
  robot.jointMin[3] = 200;
  EXPECT_EQ(verdict(robot),
            "the limits of joint 4 must be finite, the minimum not above the maximum");
  robot = DefaultArm();
  robot.jointMax[6] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(verdict(robot),
            "the limits of joint 2 + joint 3 must be finite, the minimum not above the maximum");
  robot = DefaultArm();
  robot.homeJoint = RobJoint(500, 0, 0, 0, 0, 0);
  EXPECT_EQ(verdict(robot), "home joint 1 must lie within its limits");
  robot.homeJoint = RobJoint(0, 0, std::numeric_limits<double>::quiet_NaN(), 0, 0, 0);
  EXPECT_EQ(verdict(robot), "home joint 3 must be a finite number");
  robot.homeJoint = RobJoint(0, 0, 0, 0, 0, -360.0000001);
  EXPECT_EQ(verdict(robot), kAccepted);
  robot.homeJoint = RobJoint(0, 0, 0, 0, 0, -360.01);
  EXPECT_EQ(verdict(robot), "home joint 6 must lie within its limits");
  // Joints 2 and 3 each inside their limits, their sum of 220 outside ±170: an error only
  // with coupling on.
  robot.homeJoint = RobJoint(0, 150, 70, 0, 0, 0);
  EXPECT_EQ(verdict(robot), kAccepted);
  robot.jointCoupling = 1;
  EXPECT_EQ(verdict(robot), "home joints 2 + 3 must lie within their sum limits");
}

/// Random arms of the hostile-number test: 10^5 in Release (about 0.5 s), fewer under the
/// sanitizers.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kHostileArms = 10000;
#else
constexpr int kHostileArms = 100000;
#endif

/// A value that is often hostile: NaN, an infinity, huge, tiny, subnormal, zero, or ordinary.
double hostile(test::Random& random, double ordinary) {
  switch (random.integer(0, 9)) {
    case 0:
      return std::numeric_limits<double>::quiet_NaN();
    case 1:
      return random.integer(0, 1) == 0 ? std::numeric_limits<double>::infinity()
                                       : -std::numeric_limits<double>::infinity();
    case 2:
      return random.uniform(-1, 1) * 1e300;
    case 3:
      return random.uniform(-1, 1) * 1e-300;
    case 4:
      return std::numeric_limits<double>::denorm_min() * random.integer(-5, 5);
    case 5:
      return 0.0;
    default:
      return ordinary;
  }
}

TEST(CheckArmModel, HostileNumbersAreRejectedOrGiveAFiniteArm) {
  test::Random random;
  int accepted = 0;
  for (int n = 0; n < kHostileArms; ++n) {
    RobotConfig robot = defaultByHand();
    // A few members of the default arm replaced by hostile values.
    for (int k = random.integer(1, 3); k > 0; --k) {
      const auto i = static_cast<std::size_t>(random.integer(0, 5));
      switch (random.integer(0, 5)) {
        case 0:
          robot.jointAxes[i].y = hostile(random, robot.jointAxes[i].y);
          break;
        case 1:
          robot.jointPoints[i].z = hostile(random, robot.jointPoints[i].z + 1);
          break;
        case 2:
          robot.flangeHome.translation.x = hostile(random, robot.flangeHome.translation.x);
          break;
        case 3:
          robot.elbowOffset = hostile(random, robot.elbowOffset);
          break;
        case 4:
          robot.jointMin[i] = hostile(random, robot.jointMin[i]);
          break;
        default:
          robot.homeJoint.values[i] = hostile(random, robot.homeJoint.values[i]);
          break;
      }
    }
    try {
      CheckArmModel(robot);
    } catch (const std::invalid_argument& e) {
      ASSERT_GT(std::string(e.what()).size(), 20u);
      continue;
    }
    ++accepted;
    const Transform home = robot.getWristPoseInBase(robot.homeJoint);
    ASSERT_TRUE(std::isfinite(home.translation.x) && std::isfinite(home.translation.y) &&
                std::isfinite(home.translation.z) && std::isfinite(home.rotation.w))
        << n;
  }
  // Zeros and tiny values in places that do not matter leave some arms valid.
  EXPECT_GT(accepted, kHostileArms / 100);
}

}  // namespace
}  // namespace zor::rob
