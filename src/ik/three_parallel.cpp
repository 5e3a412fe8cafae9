#include "ik/three_parallel.hpp"

#include <algorithm>
#include <cmath>

#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

/// \returns `v`'s coordinates in the plane of `arm` (v normal to k).
PlaneVec inPlane(const ThreeParallelArm& arm, const Vec3& v) {
  return {arm.planeX.dot(v), arm.planeY.dot(v)};
}

}  // namespace

ThreeParallelArm MakeThreeParallelArm(const RobotConfig& robot) {
  ThreeParallelArm arm;
  const std::array<Vec3, 6> q = setArmAxes(robot, arm);
  const std::array<Vec3, 6>& k = arm.axes;
  const double axisDeviation = std::max({k[1].cross(k[2]).norm(), k[1].cross(k[3]).norm(),
                                         std::abs(k[3].dot(k[4])), std::abs(k[4].dot(k[5]))});
  if (!(arm.axis2Sine >= kMinAxis12Sine) || !(axisDeviation <= kAxisAngleTolerance))
    return arm;
  // C: the point of axis 5 nearest to axis 6 (the two are perpendicular).
  const Vec3 meet = nearestPointToAxis(q[4], k[4], q[5], k[5]);
  if (!(distanceToAxis(meet, q[5], k[5]) <= kAxesMeetTolerance))
    return arm;
  const Vec3 upper = normalPart(q[2] - q[1], k[1]);
  const Vec3 fore = normalPart(q[3] - q[2], k[1]);
  const double upperLength = upper.norm();
  const double foreLength = fore.norm();
  if (!(upperLength >= kMinLinkLength) || !(foreLength >= kMinLinkLength))
    return arm;
  const Rotation& mr = robot.flangeHome.rotation;
  const Mat3 homeRotation = rotationMatrix(mr.w, mr.x, mr.y, mr.z);
  arm.shoulderPoint = q[0];
  arm.centreInFlange = homeRotation.transposeTimes(meet - robot.flangeHome.translation);
  arm.axis5InFlange = homeRotation.transposeTimes(k[4]);
  arm.axis6InFlange = homeRotation.transposeTimes(k[5]);
  arm.axis65InFlange = homeRotation.transposeTimes(k[5].cross(k[4]));
  arm.planeX = normalPart(k[4], k[1]).normalized();
  arm.planeY = k[1].cross(arm.planeX);
  const std::array<Vec3, 3> basis{k[1], arm.planeX, arm.planeY};
  for (std::size_t i = 0; i < 3; ++i)
    arm.turnedBasis[i] = {basis[i], k[0].dot(basis[i]), k[0].cross(basis[i])};
  arm.axis12Cosine = k[0].dot(k[1]);
  arm.wristAlongAxis2 = k[1].dot(meet - q[0]);
  arm.shoulderToAxis2 = inPlane(arm, normalPart(q[0] - q[1], k[1]));
  arm.wristOffset = inPlane(arm, normalPart(q[3] - meet, k[1]));
  arm.upperArm = inPlane(arm, upper);
  arm.forearm = inPlane(arm, fore);
  arm.forearmNormal = {-arm.forearm.y, arm.forearm.x};
  arm.linkCosine = upper.dot(fore);
  arm.linkSine = upper.dot(k[1].cross(fore));
  arm.linkProduct = upperLength * foreLength;
  arm.linkSquares = upperLength * upperLength + foreLength * foreLength;
  arm.linkInverse = 1.0 / (arm.linkCosine * arm.linkCosine + arm.linkSine * arm.linkSine);
  arm.linkAngle = std::atan2(arm.linkSine, arm.linkCosine);
  arm.axis3Sign = k[1].dot(k[2]) > 0.0 ? 1.0 : -1.0;
  arm.axis4Sign = k[1].dot(k[3]) > 0.0 ? 1.0 : -1.0;
  arm.wristZero = std::atan2(k[4].dot(k[5].cross(k[1])), k[5].dot(k[1]));
  arm.labelOffset = robot.getWcpZOffset();
  arm.solvable = true;
  return arm;
}

// Each build inlines the whole closed form (flatten), so that all of it runs in its instruction
// set.
[[gnu::flatten]] void solveThreeParallelBaseline(const ThreeParallelArm& arm, const Mat3& r,
                                                 const Vec3& p, const FreeJoints& free,
                                                 BaseSolutions& out) {
  solveThreeParallelLanes(arm, r, p, free, out);
}

#if defined(__x86_64__)
[[gnu::flatten, gnu::target("avx2,fma")]] void solveThreeParallelAvx2(const ThreeParallelArm& arm,
                                                                      const Mat3& r, const Vec3& p,
                                                                      const FreeJoints& free,
                                                                      BaseSolutions& out) {
  solveThreeParallelLanes<4>(arm, r, p, free, out);
}
#else
void solveThreeParallelAvx2(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                            const FreeJoints& free, BaseSolutions& out) {
  solveThreeParallelBaseline(arm, r, p, free, out);
}
#endif

void solveThreeParallel(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                        const FreeJoints& free, BaseSolutions& out) {
  if (processorHasAvx2())
    solveThreeParallelAvx2(arm, r, p, free, out);
  else
    solveThreeParallelBaseline(arm, r, p, free, out);
}

}  // namespace zor::rob::detail
