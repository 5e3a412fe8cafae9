#include "ik/closed_form.hpp"

#include <algorithm>
#include <cmath>

#include "detail/vector_builds.hpp"

namespace zor::rob::detail {

namespace {

/// The largest deviations from the exact shape (kAxisAngleTolerance) for which the closed form of
/// the arm with the deviations ignored still seeds the numerical path: a few degrees off the
/// solutions, or less.
constexpr double kApproximateAxisTolerance = 0.2;

}  // namespace

// Each build inlines the whole closed form (flatten), so that all of it runs in its instruction
// set.
[[gnu::flatten]] void solveClosedFormBaseline(const ClosedFormArm& arm, const Mat3& r,
                                              const Vec3& p, const FreeJoints& free,
                                              BaseSolutions& out) {
  solveClosedForm(arm, r, p, free, out);
}

#if defined(__x86_64__)
[[gnu::flatten, gnu::target("avx2,fma")]] void solveClosedFormAvx2(const ClosedFormArm& arm,
                                                                   const Mat3& r, const Vec3& p,
                                                                   const FreeJoints& free,
                                                                   BaseSolutions& out) {
  solveClosedForm<4>(arm, r, p, free, out);
}

bool processorHasAvx2() {
  static const bool has = ProcessVectorBuildCap() != VectorBuildCap::baseline &&
                          __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  return has;
}
#else
void solveClosedFormAvx2(const ClosedFormArm& arm, const Mat3& r, const Vec3& p,
                         const FreeJoints& free, BaseSolutions& out) {
  solveClosedFormBaseline(arm, r, p, free, out);
}

bool processorHasAvx2() {
  return false;
}
#endif

void solveClosedFormForProcessor(const ClosedFormArm& arm, const Mat3& r, const Vec3& p,
                                 const FreeJoints& free, BaseSolutions& out) {
  if (processorHasAvx2())
    solveClosedFormAvx2(arm, r, p, free, out);
  else
    solveClosedFormBaseline(arm, r, p, free, out);
}

ClosedFormArm MakeClosedFormArm(const RobotConfig& robot) {
  ClosedFormArm arm;
  const std::array<Vec3, 6> q = setArmAxes(robot, arm);
  const std::array<Vec3, 6>& k = arm.axes;

  const double axisDeviation =
      std::max({k[1].cross(k[2]).norm(), std::abs(k[3].dot(k[4])), std::abs(k[4].dot(k[5]))});
  if (!(arm.axis2Sine >= kMinAxis12Sine) || !(axisDeviation <= kApproximateAxisTolerance))
    return arm;

  // The wrist centre: the point of axis 5 nearest to axis 4 (axes 4 and 5 are perpendicular).
  const Vec3 wrist = nearestPointToAxis(q[4], k[4], q[3], k[3]);
  const double wristMiss =
      std::max({distanceToAxis(wrist, q[3], k[3]), distanceToAxis(wrist, q[4], k[4]),
                distanceToAxis(wrist, q[5], k[5])});

  arm.upperArm = normalPart(q[2] - q[1], k[1]);
  arm.forearm = normalPart(wrist - q[2], k[1]);
  const double upper = arm.upperArm.norm();
  const double fore = arm.forearm.norm();
  if (!(upper >= kMinLinkLength) || !(fore >= kMinLinkLength))
    return arm;

  const Transform& m = robot.flangeHome;
  const Rotation& mr = m.rotation;
  const Mat3 homeRotation = rotationMatrix(mr.w, mr.x, mr.y, mr.z);
  arm.wristInFlange = homeRotation.transposeTimes(wrist - m.translation);
  arm.axis5InFlange = homeRotation.transposeTimes(k[4]);
  arm.axis6InFlange = homeRotation.transposeTimes(k[5]);
  arm.shoulderPoint = q[0];
  arm.axis2Point = q[1];
  arm.axis12Cosine = k[0].dot(k[1]);
  arm.wristAlongAxis2 = k[1].dot(wrist - q[0]);
  arm.linkCosine = arm.upperArm.dot(arm.forearm);
  arm.linkSine = arm.upperArm.dot(k[1].cross(arm.forearm));
  arm.linkProduct = upper * fore;
  arm.linkSquares = upper * upper + fore * fore;
  arm.linkAngle = std::atan2(arm.linkSine, arm.linkCosine);
  arm.forearmNormal = k[1].cross(arm.forearm);
  arm.axis3Sign = k[1].dot(k[2]) > 0.0 ? 1.0 : -1.0;
  const CosSin wristZero{k[5].dot(k[3]), k[4].dot(k[5].cross(k[3]))};
  arm.wristZero = std::atan2(wristZero.s, wristZero.c);
  arm.wristZeroDirection = wristZero.normalized();
  arm.axis54Normal = k[4].cross(k[3]);
  arm.axis65Normal = k[5].cross(k[4]);
  arm.approximate = true;
  arm.solvable = axisDeviation <= kAxisAngleTolerance && wristMiss <= kAxesMeetTolerance;
  return arm;
}

}  // namespace zor::rob::detail
