#include "zor/rob/screw.hpp"

#include <Eigen/Geometry>
#include <cmath>

namespace zor::rob {

Eigen::Matrix3d Vector3ToSkewSymmetric(const Vec3& w) {
  Eigen::Matrix3d m;
  m << 0.0, -w.z, w.y,  //
      w.z, 0.0, -w.x,   //
      -w.y, w.x, 0.0;
  return m;
}

Transform Transform::FromPose(const Pose& pose) {
  const Orient& o = pose.orient;
  // The rotation's rule for a zero record throws; the division is then exact for any length
  // whose square is finite, and the rule rescales the others.
  const Rotation unit(o.q1, o.q2, o.q3, o.q4);
  const double n = std::sqrt(o.q1 * o.q1 + o.q2 * o.q2 + o.q3 * o.q3 + o.q4 * o.q4);
  if (std::isinf(n))
    return {unit, pose.pos.toVec3()};
  return {Rotation::raw(o.q2 / n, o.q3 / n, o.q4 / n, o.q1 / n), pose.pos.toVec3()};
}

Wrench Transform::adjointT(const Wrench& wrench) {
  const Eigen::Matrix3d r =
      Eigen::Quaterniond(rotation.w, rotation.x, rotation.y, rotation.z).toRotationMatrix();
  const Eigen::Matrix3d rt = r.transpose();
  const Eigen::Vector3d m(wrench.m.x, wrench.m.y, wrench.m.z);
  const Vec3 pf = translation.cross(wrench.f);
  const Eigen::Vector3d pxf(pf.x, pf.y, pf.z);
  const Eigen::Vector3d f(wrench.f.x, wrench.f.y, wrench.f.z);
  const Eigen::Vector3d outM = rt * m - rt * pxf;
  const Eigen::Vector3d outF = rt * f;
  return {outM.x(), outM.y(), outM.z(), outF.x(), outF.y(), outF.z()};
}

Twist Transform::log() const {
  const Eigen::AngleAxis<double> aa = rotation.log();
  const double theta = aa.angle();
  if (theta < kPureTranslationAngle) {
    return {0.0, 0.0, 0.0, translation.x, translation.y, translation.z};
  }
  const Eigen::Matrix3d w = Vector3ToSkewSymmetric({aa.axis().x(), aa.axis().y(), aa.axis().z()});
  // V⁻¹ = I - θ/2 W + (1 - (θ/2) cot(θ/2)) W², the inverse of the translation part of the
  // exponential. At θ = π the cotangent term vanishes (tan overflows to a huge finite value), so
  // no special case is needed there.
  const double h = theta / 2.0;
  const double c = h / std::tan(h);
  const Eigen::Matrix3d vInv = Eigen::Matrix3d::Identity() - h * w + (1.0 - c) * w * w;
  const Eigen::Vector3d v = vInv * Eigen::Vector3d(translation.x, translation.y, translation.z);
  const Eigen::Vector3d omega = aa.axis() * theta;
  return {omega.x(), omega.y(), omega.z(), v.x(), v.y(), v.z()};
}

void SpacialInertia::set(double ixx, double iyy, double izz, double m) {
  inertia = Matrix3::Zero();
  inertia(0, 0) = ixx;
  inertia(1, 1) = iyy;
  inertia(2, 2) = izz;
  mass = m;
}

Eigen::Matrix<double, 6, 6> SpacialInertia::matrix() const {
  Eigen::Matrix<double, 6, 6> result = Eigen::Matrix<double, 6, 6>::Zero();
  result.topLeftCorner<3, 3>() = inertia;
  // mass · I, entry by entry: the off-diagonal entries are mass · 0.0 (NaN for an infinite or
  // NaN mass, like a dense product would give).
  result.bottomRightCorner<3, 3>() = mass * Eigen::Matrix3d::Identity();
  return result;
}

}  // namespace zor::rob
