#include "ik/numerical.hpp"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "robot/arm_kinematics.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

/// Convergence: the flange within this distance (mm) of the target position …
constexpr double kPositionTolerance = 1e-10;
/// … and its rotation within this angle (radians) of the target rotation.
constexpr double kRotationTolerance = 1e-12;
/// Smallest offset (radians) of the two branches of a subproblem when seeding from the nearby
/// arm: about 3 degrees.
constexpr double kSeedSpread = 0.05;
/// Damping steps before giving up; each iteration either lowers the error or raises the damping.
constexpr int kMaxIterations = 200;
/// The initial damping, relative to the largest diagonal entry of JᵀJ, and its bounds.
constexpr double kInitialDamping = 1e-3;
constexpr double kMaxDamping = 1e12;
constexpr double kMinDamping = 1e-15;

/// The error of a flange pose: its rotation vector to the target (radians, base frame) and its
/// position difference (mm).
struct PoseError {
  Vec3 rotation{};
  Vec3 position{};

  bool converged() const {
    return position.norm() < kPositionTolerance && rotation.norm() < kRotationTolerance;
  }
  /// The squared error with angles weighted by `length` (mm per radian).
  double cost(double length) const {
    return position.squaredNorm() + length * length * rotation.squaredNorm();
  }
};

/// \returns the rotation vector of Rt · Rcᵀ, through the quaternion of that matrix: the rotation
/// log then stays accurate near a half turn, where the matrix's antisymmetric part vanishes.
Vec3 rotationError(const Mat3& target, const Mat3& current) {
  const Mat3 d = target.timesTranspose(current);
  const Eigen::Quaterniond q(
      Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(d.m.data()));
  return rotationVector(Rotation::raw(q.x(), q.y(), q.z(), q.w()));
}

PoseError poseError(const RobotConfig& robot, const std::array<double, 6>& joints, const Mat3& r,
                    const Vec3& p) {
  RobJoint j;
  j.values = joints;
  const Transform t = flangePose(robot, j);
  const Rotation& q = t.rotation;
  return {rotationError(r, rotationMatrix(q.w, q.x, q.y, q.z)), p - t.translation};
}

/// \returns the geometric Jacobian of the flange point: column i is (ωi, ωi × (p − qi)) with the
/// current axis ωi and point qi of joint i, per radian.
Eigen::Matrix<double, 6, 6> flangeJacobian(const RobotConfig& robot,
                                           const std::array<double, 6>& joints) {
  Eigen::Matrix<double, 6, 6> jac;
  Transform link;
  std::array<Vec3, 6> axes{};
  std::array<Vec3, 6> points{};
  for (std::size_t i = 0; i < 6; ++i) {
    const Vec3 axis = robot.jointAxes[i].normalized();
    axes[i] = link.rotation.rotateVector(axis);
    points[i] = link.transform(robot.jointPoints[i]).toVec3();
    link *= jointMotion(axis, robot.jointPoints[i], joints[i]);
  }
  link *= robot.flangeHome;
  for (std::size_t i = 0; i < 6; ++i) {
    const Vec3 v = axes[i].cross(link.translation - points[i]);
    const auto c = static_cast<Eigen::Index>(i);
    jac.col(c) << axes[i].x, axes[i].y, axes[i].z, v.x, v.y, v.z;
  }
  return jac;
}

/// The length (mm per radian) that weighs angles against distances: the arm's size.
double armLength(const RobotConfig& robot) {
  double length = 1.0;
  for (const PosTemplate<double>& point : robot.jointPoints)
    length = std::max(length, point.toVec3().norm());
  return std::max(length, robot.flangeHome.translation.norm());
}

}  // namespace

bool solveNumerically(const RobotConfig& robot, const Mat3& r, const Vec3& p,
                      std::array<double, 6>& joints) {
  const double length = armLength(robot);
  PoseError error = poseError(robot, joints, r, p);
  double cost = error.cost(length);
  double damping = -1.0;
  for (int iteration = 0; iteration < kMaxIterations; ++iteration) {
    if (error.converged())
      return true;
    if (!std::isfinite(cost))
      return false;
    Eigen::Matrix<double, 6, 6> jac = flangeJacobian(robot, joints);
    jac.topRows<3>() *= length;
    Eigen::Matrix<double, 6, 1> e;
    e << error.rotation.x * length, error.rotation.y * length, error.rotation.z * length,
        error.position.x, error.position.y, error.position.z;
    const Eigen::Matrix<double, 6, 6> normal = jac.transpose() * jac;
    const Eigen::Matrix<double, 6, 1> gradient = jac.transpose() * e;
    if (damping < 0.0)
      damping = kInitialDamping * normal.diagonal().maxCoeff();
    // Raise the damping until a step lowers the error.
    bool improved = false;
    while (!improved && damping < kMaxDamping * normal.diagonal().maxCoeff()) {
      Eigen::Matrix<double, 6, 6> damped = normal;
      damped.diagonal().array() += damping;
      const Eigen::Matrix<double, 6, 1> step = damped.ldlt().solve(gradient);
      std::array<double, 6> trial = joints;
      for (std::size_t i = 0; i < 6; ++i)
        trial[i] += RadToDeg(step(static_cast<Eigen::Index>(i)));
      const PoseError trialError = poseError(robot, trial, r, p);
      const double trialCost = trialError.cost(length);
      if (trialCost < cost || trialError.converged()) {
        joints = trial;
        error = trialError;
        cost = trialCost;
        damping = std::max(damping * 0.1, kMinDamping * normal.diagonal().maxCoeff());
        improved = true;
      } else {
        damping *= 10.0;
      }
    }
    if (!improved)
      return error.converged();
  }
  return error.converged();
}

void solveFromSeeds(const RobotConfig& robot, const ClosedFormArm& arm, const Mat3& r,
                    const Vec3& p, const RobJoint* seed, const FreeJoints& free,
                    NumericalSolutions& out) {
  out.count = 0;
  const auto tryFrom = [&](const std::array<double, 6>& start) {
    std::array<double, 6> joints = start;
    if (solveNumerically(robot, r, p, joints))
      out.solutions[out.count++] = joints;
  };
  if (seed != nullptr)
    tryFrom(seed->values);
  if (arm.approximate) {
    // The branches of the nearby arm that the closed form solves.
    BaseSolutions base;
    solveClosedForm(arm, r, p, free, base, kSeedSpread);
    for (std::size_t b = 0; b < base.count; ++b) {
      std::array<double, 6> start{};
      for (std::size_t i = 0; i < 6; ++i)
        start[i] = RadToDeg(base.solutions[b][i]);
      tryFrom(start);
    }
    if (base.count > 0)
      return;
  }
  // One seed per configuration: joint 1 facing the target or turned away from it, the elbow a
  // quarter turn either side of its stretched position, the wrist tilted either way.
  const double facing = RadToDeg(std::atan2(p.y, p.x));
  const double stretched = -RadToDeg(robot.elbowOffset);
  for (int shoulder = 0; shoulder < 2; ++shoulder)
    for (int elbow = 0; elbow < 2; ++elbow)
      for (int wrist = 0; wrist < 2; ++wrist) {
        const double j1 = shoulder == 0 ? facing : facing + (facing > 0.0 ? -180.0 : 180.0);
        tryFrom({j1, 0.0, stretched + (elbow == 0 ? 90.0 : -90.0), 0.0, wrist == 0 ? 45.0 : -45.0,
                 0.0});
      }
}

}  // namespace zor::rob::detail
