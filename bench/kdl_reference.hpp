// What the benchmarks that are checked against Orocos KDL share: KDL's chain of one of our arms,
// the conversion of joint vectors between the two, and the run itself (the agreement check first,
// then the timed benchmarks, or nothing more with --check-only).
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <kdl/chain.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>
#include <string>
#include <vector>

#include "zor/rob/angles.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::bench {

/// Random joint vectors per arm: all are checked, and the timed loops cycle through them.
inline constexpr std::size_t kSamples = 1024;

/// Prints "<bench>: <message>" on stderr and ends the run with a failure status.
[[noreturn]] inline void Fail(const char* bench, const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", bench, message.c_str());
  std::exit(EXIT_FAILURE);
}

/// \returns `joints` (degrees) as KDL joint values (radians).
inline KDL::JntArray ToKdlJoints(const RobJoint& joints) {
  KDL::JntArray q(6);
  for (std::size_t k = 0; k < 6; ++k)
    q(static_cast<unsigned int>(k)) = DegToRad(joints.values[k]);
  return q;
}

/// \returns KDL joint values (radians) as a RobJoint (degrees).
inline RobJoint FromKdlJoints(const KDL::JntArray& q) {
  RobJoint joints;
  for (std::size_t k = 0; k < 6; ++k)
    joints.values[k] = RadToDeg(q(static_cast<unsigned int>(k)));
  return joints;
}

/// \returns the KDL joint turning about `axis`, which must be base x, y or z.
inline KDL::Joint KdlJointAbout(const Vec3& axis) {
  if (axis.x == 1.0 && axis.y == 0.0 && axis.z == 0.0)
    return KDL::Joint(KDL::Joint::RotX);
  if (axis.x == 0.0 && axis.y == 1.0 && axis.z == 0.0)
    return KDL::Joint(KDL::Joint::RotY);
  if (axis.x == 0.0 && axis.y == 0.0 && axis.z == 1.0)
    return KDL::Joint(KDL::Joint::RotZ);
  Fail("KdlChain", "a joint axis is not base x, y or z");
}

/// \returns `arm` as a KDL chain, lengths multiplied by `lengthScale` (1 keeps millimetres).
///
/// Each segment turns about its joint axis at the segment's start, then moves to the next joint's
/// point; the last one moves to the flange and turns into its home orientation. The frames are
/// parallel to the base until the flange, so the joint axes (base x, y or z at home, which this
/// needs) are the same in the segments, and joint 1's axis must pass through the base origin.
inline KDL::Chain KdlChain(const RobotConfig& arm, double lengthScale = 1.0) {
  const Vec3& axis1 = arm.jointAxes[0];
  const Pos& point1 = arm.jointPoints[0];
  if (axis1.y * point1.z != axis1.z * point1.y || axis1.z * point1.x != axis1.x * point1.z ||
      axis1.x * point1.y != axis1.y * point1.x)
    Fail("KdlChain", "joint 1's axis does not pass through the base origin");
  const auto scaled = [lengthScale](const Pos& to, const Pos& from) {
    return KDL::Vector((to.x - from.x) * lengthScale, (to.y - from.y) * lengthScale,
                       (to.z - from.z) * lengthScale);
  };
  KDL::Chain chain;
  Pos start{};  // the base origin, on joint 1's axis
  for (std::size_t i = 0; i < 5; ++i) {
    chain.addSegment(KDL::Segment(KdlJointAbout(arm.jointAxes[i]),
                                  KDL::Frame(scaled(arm.jointPoints[i + 1], start))));
    start = arm.jointPoints[i + 1];
  }
  // The flange orientation as an angle about an axis: from the quaternion KDL would give a
  // quarter turn's zero entries as 2e-16 rather than the 6e-17 of cos(π/2).
  const Eigen::AngleAxisd flangeRotation = arm.flangeHome.rotation.log();
  const Eigen::Vector3d& u = flangeRotation.axis();
  chain.addSegment(KDL::Segment(
      KdlJointAbout(arm.jointAxes[5]),
      KDL::Frame(KDL::Rotation::Rot(KDL::Vector(u.x(), u.y(), u.z()), flangeRotation.angle()),
                 scaled(arm.flangeHome.translation.toPos(), start))));
  return chain;
}

/// The main() of a benchmark checked against KDL: runs `checkAgreement` (which ends the run
/// through Fail on a disagreement and prints a line on agreement), then, unless "--check-only" is
/// among the arguments, the benchmarks, passing every other argument to Google Benchmark.
template <class Check>
int RunCheckedBenchmarks(int argc, char** argv, Check checkAgreement) {
  bool checkOnly = false;
  std::vector<char*> args;
  for (int i = 0; i < argc; ++i) {
    if (std::strcmp(argv[i], "--check-only") == 0)
      checkOnly = true;
    else
      args.push_back(argv[i]);
  }
  checkAgreement();
  if (checkOnly)
    return EXIT_SUCCESS;

  int benchArgc = static_cast<int>(args.size());
  benchmark::Initialize(&benchArgc, args.data());
  if (benchmark::ReportUnrecognizedArguments(benchArgc, args.data()))
    return EXIT_FAILURE;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return EXIT_SUCCESS;
}

}  // namespace zor::rob::bench
