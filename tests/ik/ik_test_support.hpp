#pragma once

// Arms and checks shared by the inverse-kinematics tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "robot/arm_reference.hpp"
#include "support/test_support.hpp"
#include "support/unchecked_arm.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::test {

/// The nominal DH rows (classic convention) of a 5 kg collaborative arm: joints 2, 3 and 4
/// parallel, the wrist offset.
/// A made-up arm for the search: no axes parallel or perpendicular beyond what the model needs,
/// joint 5 at 60 degrees to joints 4 and 6.
inline DhTable madeUpDh() {
  DhTable madeUp;
  madeUp.convention = DhConvention::classic;
  madeUp.rows = {{{30, 80, 300, 0},
                  {400, 0, 40, 10},
                  {50, 70, 20, 0},
                  {10, 60, 350, 0},
                  {0, -60, 60, 0},
                  {0, 0, 80, 0}}};
  return madeUp;
}

inline DhTable collaborativeDh() {
  DhTable table;
  table.convention = DhConvention::classic;
  table.rows = {{{0, 90, 89.159, 0},
                 {-425, 0, 0, 0},
                 {-392.25, 0, 0, 0},
                 {0, 90, 109.15, 0},
                 {0, -90, 94.65, 0},
                 {0, 0, 82.3, 0}}};
  return table;
}

/// ±180 degrees on every joint, ±360 on the coupled sum.
inline ArmLimits halfTurnLimits() {
  ArmLimits limits;
  limits.jointMin = {-180, -180, -180, -180, -180, -180, -360};
  limits.jointMax = {180, 180, 180, 180, 180, 180, 360};
  return limits;
}

/// Random joint vectors per arm in the round-trip tests. The sanitizer build (Debug -O1 with
/// AddressSanitizer) runs about 30 times slower: it checks a tenth as many.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr int kRoundTripSamples = 10000;
#else
inline constexpr int kRoundTripSamples = 100000;
#endif

/// Every solution reproduces the flange pose within these (mm; quaternion components).
inline constexpr double kPositionAccuracy = 1e-9;
inline constexpr double kOrientationAccuracy = 1e-12;
/// A round trip gives the joints back within this (degrees).
inline constexpr double kJointAccuracy = 1e-6;

inline std::array<double, 7> limits(double j1, double j2, double j3, double j4, double j5,
                                    double j6, double sum) {
  return {j1, j2, j3, j4, j5, j6, sum};
}

/// An ortho-parallel arm whose home joints are zero, or the end of limits that leave zero out.
inline RobotConfig orthoArm(double a1, double a2, double b, double c1, double c2, double c3,
                            double c4, const std::array<double, 7>& lo,
                            const std::array<double, 7>& hi, int coupling) {
  RobJoint home(0, 0, 0, 0, 0, 0);
  for (std::size_t i = 0; i < 6; ++i)
    home.values[i] = std::clamp(0.0, lo[i], hi[i]);
  return MakeOrthoParallelArm({a1, a2, b, c1, c2, c3, c4}, lo, hi, home, coupling);
}

/// The same arm with its home moved to the joints `home` and the axes listed in `flipped`
/// (0-based) reversed: joint i of the new arm at θ stands where the old one stands at
/// home[i] + θ (or home[i] − θ when reversed). The limits are moved alike. Such an arm breaks
/// the model's assumptions that the configuration and the singularities rely on (joint 5 at zero
/// no longer lines up joints 4 and 6, joint 1 may point down), which MakeRobotConfig rejects;
/// the inverse kinematics still solves it, and the round trips check that.
inline RobotConfig rehomedArm(const RobotConfig& arm, const RobJoint& home,
                              const std::array<bool, 6>& flipped) {
  std::array<Vec3, 6> axes;
  std::array<Pos, 6> points;
  std::array<double, 7> lo = arm.jointMin;
  std::array<double, 7> hi = arm.jointMax;
  for (std::size_t i = 0; i < 6; ++i) {
    const Transform link = arm.getLinkPose(home, static_cast<unsigned int>(i));
    const double sign = flipped[i] ? -1.0 : 1.0;
    axes[i] = link.rotation.rotateVector(arm.jointAxes[i]) * sign;
    points[i] = link.transform(arm.jointPoints[i]);
    const double a = sign * (arm.jointMin[i] - home.values[i]);
    const double b = sign * (arm.jointMax[i] - home.values[i]);
    lo[i] = std::min(a, b);
    hi[i] = std::max(a, b);
  }
  return uncheckedArm(axes, points, arm.getWristPoseInBase(home), lo, hi,
                      RobJoint(0, 0, 0, 0, 0, 0), arm.elbowOffset, arm.jointCoupling);
}

struct NamedArm {
  std::string name;
  RobotConfig arm;
};

/// The ortho-parallel arms of the round-trip tests.
inline std::vector<NamedArm> orthoParallelArms() {
  const std::array<double, 7> lo = limits(-170, -100, -170, -190, -125, -360, -170);
  const std::array<double, 7> hi = limits(170, 150, 70, 190, 125, 360, 170);
  std::vector<NamedArm> arms;
  arms.push_back({"default", DefaultArm()});
  arms.push_back({"small, positive a2", orthoArm(25, 35, 0, 330, 260, 290, 70, lo, hi, 0)});
  arms.push_back({"large, negative a2", orthoArm(350, -41, 0, 675, 1150, 1200, 215, lo, hi, 0)});
  arms.push_back({"lateral offset b", orthoArm(150, -110, 120, 450, 600, 640, 100, lo, hi, 0)});
  arms.push_back({"a1 = a2 = 0", orthoArm(0, 0, 0, 400, 500, 500, 80, lo, hi, 0)});
  arms.push_back({"coupled limits", orthoArm(100, -60, 0, 500, 700, 650, 90,
                                             limits(-170, -90, -170, -180, -120, -350, -120),
                                             limits(170, 140, 160, 180, 120, 350, 60), 1)});
  arms.push_back(
      {"other home and signs",
       rehomedArm(orthoArm(150, -110, 60, 450, 600, 640, 100, lo, hi, 0),
                  RobJoint(20, -35, 50, 70, -40, 15), {true, false, true, true, false, true})});
  return arms;
}

/// Joint values within the limits (the coupled sum limit included).
inline RobJoint randomAllowedJoints(Random& random, const RobotConfig& arm) {
  for (;;) {
    const RobJoint j = randomJoints(random, arm);
    if (arm.isJointAllowed(1, j.values[1], j.values[2]) &&
        arm.isJointAllowed(2, j.values[2], j.values[1]))
      return j;
  }
}

/// \returns the largest joint difference.
inline double jointDistance(const RobJoint& a, const RobJoint& b) {
  double d = 0.0;
  for (std::size_t i = 0; i < 6; ++i)
    d = std::max(d, std::abs(a.values[i] - b.values[i]));
  return d;
}

/// Checks that `joints` reproduce `pose` within the accuracy of the inverse kinematics.
inline ::testing::AssertionResult reproduces(const RobotConfig& arm, const RobJoint& joints,
                                             const Pose& pose) {
  const Transform t = arm.getWristPoseInBase(joints);
  const double dp = (t.translation - pose.pos.toVec3()).norm();
  const OrientTemplate<double>& o = pose.orient;
  // Components whose squares overflow are scaled down first.
  const double m = std::max({std::abs(o.q1), std::abs(o.q2), std::abs(o.q3), std::abs(o.q4)});
  const double s = m > 1e150 ? 1.0 / m : 1.0;
  const std::array<double, 4> p{o.q1 * s, o.q2 * s, o.q3 * s, o.q4 * s};
  const double n = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2] + p[3] * p[3]);
  const std::array<double, 4> q{p[0] / n, p[1] / n, p[2] / n, p[3] / n};
  const std::array<double, 4> r{t.rotation.w, t.rotation.x, t.rotation.y, t.rotation.z};
  double same = 0.0;
  double opposite = 0.0;
  for (std::size_t i = 0; i < 4; ++i) {
    same = std::max(same, std::abs(q[i] - r[i]));
    opposite = std::max(opposite, std::abs(q[i] + r[i]));
  }
  const double dq = std::min(same, opposite);
  // Joint values beyond 18000 degrees add their own rounding, a few units in the last place of
  // the largest (in radians), turned through the arm's reach.
  double largest = 0.0;
  for (const double v : joints.values)
    largest = std::max(largest, std::abs(v));
  const double rounding =
      largest > 18000.0 ? 4.0 * std::numeric_limits<double>::epsilon() * largest * 3.1416 / 180.0
                        : 0.0;
  if (dp <= kPositionAccuracy + 3000.0 * rounding && dq <= kOrientationAccuracy + rounding)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "position off by " << dp << " mm, orientation by " << dq;
}

/// \returns true when `joints` lie inside the limits of `arm`, as isJointAllowed says.
inline bool insideLimits(const RobotConfig& arm, const RobJoint& joints) {
  for (int i = 0; i < 6; ++i) {
    const double other = i == 1 ? joints.values[2] : joints.values[1];
    if (!arm.isJointAllowed(i, joints.values[static_cast<std::size_t>(i)], other))
      return false;
  }
  return true;
}

/// \returns the index of the solution within kJointAccuracy of `joints`, or -1.
inline int findSolution(const TargetConfiguration& all, const RobJoint& joints,
                        double tolerance = kJointAccuracy) {
  for (std::size_t i = 0; i < all.size(); ++i)
    if (jointDistance(all.joints[i], joints) <= tolerance)
      return static_cast<int>(i);
  return -1;
}

/// Checks every listed solution: reproduces the pose, lies inside the limits, carries
/// FromRobJoint's label, and appears once.
inline ::testing::AssertionResult allSolutionsValid(const RobotConfig& arm,
                                                    const TargetConfiguration& all,
                                                    const Pose& pose) {
  if (all.joints.size() != all.confs.size())
    return ::testing::AssertionFailure() << "lists of different lengths";
  for (std::size_t i = 0; i < all.size(); ++i) {
    const RobJoint& j = all.joints[i];
    const ::testing::AssertionResult r = reproduces(arm, j, pose);
    if (!r)
      return ::testing::AssertionFailure()
             << r.message() << " (solution " << i << ": " << j.toString() << ")";
    if (!insideLimits(arm, j))
      return ::testing::AssertionFailure() << "outside the limits: " << j.toString();
    if (!(all.confs[i] == ConfData::FromRobJoint(j, arm)))
      return ::testing::AssertionFailure() << "label " << all.confs[i].toString() << " of "
                                           << j.toString() << " is not FromRobJoint's";
    for (std::size_t k = 0; k < i; ++k)
      if (jointDistance(all.joints[k], j) < kJointAccuracy)
        return ::testing::AssertionFailure() << "listed twice: " << j.toString();
  }
  return ::testing::AssertionSuccess();
}

/// \returns whether `j` stands clear of the wrist, elbow and shoulder singularities of any arm:
/// the smallest singular value of the space Jacobian (radians, mm) is not tiny there.
inline bool clearOfSingularities(const RobotConfig& arm, const RobJoint& j) {
  const Eigen::JacobiSVD<Mat6> svd(arm.getSpaceJacobian(j).matrix);
  return svd.singularValues()(5) > 1e-2;
}

}  // namespace zor::rob::test
