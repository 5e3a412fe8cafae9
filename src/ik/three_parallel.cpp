#include "ik/three_parallel.hpp"

#include <algorithm>
#include <cmath>

#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

/// \returns θ within (−π, π] for θ within (−3π, 3π].
double wrapped(double theta) {
  if (theta > kPi)
    return theta - 2.0 * kPi;
  if (theta <= -kPi)
    return theta + 2.0 * kPi;
  return theta;
}

CosSin unitDirection(double theta) {
  return {std::cos(theta), std::sin(theta)};
}

/// \returns a unit vector normal to the unit `k`.
Vec3 anyNormal(const Vec3& k) {
  const Vec3 ax = std::abs(k.x) <= std::abs(k.y) && std::abs(k.x) <= std::abs(k.z) ? Vec3{1, 0, 0}
                  : std::abs(k.y) <= std::abs(k.z)                                 ? Vec3{0, 1, 0}
                                                                                   : Vec3{0, 0, 1};
  return k.cross(ax).normalized();
}

/// The joints of one joint-1 branch and one wrist branch: joints 2 to 4 by the planar arm, into
/// `out`.
void solvePlanar(const ThreeParallelArm& arm, const Mat3& rm, const Vec3& p, const FreeJoints& free,
                 const std::array<double, 2>& joint15, const CosSin& dir1, const CosSin& dir5,
                 const CosSin& dir6, double theta6, BaseSolutions& out) {
  const Vec3& k = arm.axes[1];
  const Vec3& k1 = arm.axes[0];
  // R6ᵀ R5ᵀ v: joints 5 and 6 undone.
  const auto undoWrist = [&](const Vec3& v) {
    return rotateBack(arm.axes[5], dir6, rotateBack(arm.axes[4], dir5, v));
  };
  // The planar sum: Rot(k, φ) = R1ᵀ R R_Mᵀ R6ᵀ R5ᵀ.
  const Vec3& v = arm.normalToK;
  const Vec3 turned = rotateBack(k1, dir1, rm * undoWrist(v));
  const double phi = std::atan2(k.dot(v.cross(turned)), v.dot(turned));
  // Where the target puts q4, joint 1 undone.
  const Vec3 wrist = arm.axis5Point + undoWrist(arm.axis4Point - arm.axis5Point);
  const Vec3 q4 = arm.shoulderPoint +
                  rotateBack(k1, dir1, rm * (wrist - arm.flangeOrigin) + p - arm.shoulderPoint);
  const Vec3 t = normalPart(q4 - arm.axis2Point, k);
  const double tt = t.squaredNorm();
  std::array<CosSin, 2> elbow{};
  CosSin unused;
  const std::size_t n3 = solveCosSin(arm.linkCosine, arm.linkSine, 0.5 * (tt - arm.linkSquares),
                                     arm.linkProduct, elbow, unused);
  const bool onAxis2 = tt < kAxisDistanceTolerance * kAxisDistanceTolerance;
  for (std::size_t i3 = 0; i3 < n3; ++i3) {
    const CosSin& psi = elbow[i3];
    const Vec3 reach = arm.upperArm + arm.forearm * psi.c + arm.forearmNormal * psi.s;
    const double theta2 = onAxis2 ? free.joint2 : turnAbout(k, reach, t);
    const double psiAngle = std::atan2(psi.s, psi.c);
    out.solutions[out.count++] = {joint15[0],
                                  theta2,
                                  wrapped(arm.axis3Sign * psiAngle),
                                  arm.axis4Sign * wrapped(wrapped(phi - theta2) - psiAngle),
                                  joint15[1],
                                  theta6};
  }
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
  arm.upperArm = normalPart(q[2] - q[1], k[1]);
  arm.forearm = normalPart(q[3] - q[2], k[1]);
  const double upper = arm.upperArm.norm();
  const double fore = arm.forearm.norm();
  if (!(upper >= kMinLinkLength) || !(fore >= kMinLinkLength))
    return arm;
  const Rotation& mr = robot.flangeHome.rotation;
  arm.homeRotation = rotationMatrix(mr.w, mr.x, mr.y, mr.z);
  arm.flangeOrigin = robot.flangeHome.translation;
  arm.shoulderPoint = q[0];
  arm.axis2Point = q[1];
  arm.axis4Point = q[3];
  arm.axis5Point = meet;
  arm.normalToK = anyNormal(k[1]);
  arm.axis12Cosine = k[0].dot(k[1]);
  arm.wristAlongAxis2 = k[1].dot(meet - q[0]);
  arm.forearmNormal = k[1].cross(arm.forearm);
  arm.linkCosine = arm.upperArm.dot(arm.forearm);
  arm.linkSine = arm.upperArm.dot(arm.forearmNormal);
  arm.linkProduct = upper * fore;
  arm.linkSquares = upper * upper + fore * fore;
  arm.axis3Sign = k[1].dot(k[2]) > 0.0 ? 1.0 : -1.0;
  arm.axis4Sign = k[1].dot(k[3]) > 0.0 ? 1.0 : -1.0;
  arm.wristZero = std::atan2(k[4].dot(k[5].cross(k[1])), k[5].dot(k[1]));
  arm.solvable = true;
  return arm;
}

void solveThreeParallel(const ThreeParallelArm& arm, const Mat3& r, const Vec3& p,
                        const FreeJoints& free, BaseSolutions& out) {
  out.count = 0;
  const Vec3& k1 = arm.axes[0];
  const Vec3& k = arm.axes[1];
  const Vec3& k6 = arm.axes[5];
  const Mat3 rm = r.timesTranspose(arm.homeRotation);  // R R_Mᵀ
  const Vec3 u = p + rm * (arm.axis5Point - arm.flangeOrigin) - arm.shoulderPoint;

  // Joint 1.
  const double along1 = k1.dot(u);
  const double a1 = k.dot(u) - arm.axis12Cosine * along1;
  const double b1 = u.dot(arm.axis12Normal);
  const double c1 = arm.wristAlongAxis2 - arm.axis12Cosine * along1;
  const double rho1 = std::sqrt(a1 * a1 + b1 * b1);
  std::array<CosSin, 2> joint1{};
  std::array<double, 2> theta1{};
  std::size_t n1 = 0;
  if (rho1 < kAxisDistanceTolerance * arm.axis2Sine &&
      std::abs(c1) < kAxisDistanceTolerance * arm.axis2Sine) {
    // C on axis 1 and in the plane of the shoulder: any joint 1 keeps it; the seed's value and
    // the half turn from it give the two shoulder branches.
    theta1 = {free.joint1, wrapped(free.joint1 + kPi)};
    joint1 = {unitDirection(theta1[0]), unitDirection(theta1[1])};
    n1 = 2;
  } else {
    CosSin unused;
    n1 = solveCosSin(a1, b1, c1, rho1, joint1, unused);
    for (std::size_t i1 = 0; i1 < n1; ++i1)
      theta1[i1] = std::atan2(joint1[i1].s, joint1[i1].c);
  }

  for (std::size_t i1 = 0; i1 < n1; ++i1) {
    const CosSin& dir1 = joint1[i1];
    // g = R_M Rᵀ R1 k; joint 5 is θ0 ± α, α the angle between k6 and g.
    const Vec3 g = rm.transposeTimes(rotate(k1, dir1, k));
    const double cosAlpha = k6.dot(g);
    const double sinAlpha = k6.cross(g).norm();
    if (sinAlpha < kWristSingularSine) {
      // Joint 6 free, joint 5 at θ0 or θ0 + π: one branch.
      const double theta5 = wrapped(arm.wristZero + (cosAlpha > 0.0 ? 0.0 : kPi));
      solvePlanar(arm, rm, p, free, {theta1[i1], theta5}, dir1, unitDirection(theta5),
                  unitDirection(free.joint6), free.joint6, out);
      continue;
    }
    const double alpha = std::atan2(sinAlpha, cosAlpha);
    const CosSin zero = unitDirection(arm.wristZero);
    const CosSin spread = CosSin{cosAlpha, sinAlpha}.normalized();
    for (const double sign : {1.0, -1.0}) {
      const CosSin dir5{zero.c * spread.c - sign * zero.s * spread.s,
                        zero.s * spread.c + sign * zero.c * spread.s};
      // Joint 6 turns g onto f = R5ᵀ k about k6.
      const Vec3 f = rotateBack(arm.axes[4], dir5, k);
      const double theta6 = turnAbout(k6, g, f);
      solvePlanar(arm, rm, p, free, {theta1[i1], wrapped(arm.wristZero + sign * alpha)}, dir1, dir5,
                  unitDirection(theta6), theta6, out);
    }
  }
}

}  // namespace zor::rob::detail
