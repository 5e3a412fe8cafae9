#pragma once

#include <Eigen/Geometry>
#include <array>
#include <cmath>
#include <numbers>

// An independent model of an ortho-parallel arm for checking the tool's numbers: 4x4 rigid
// transforms of Eigen, built from the arm's description (where each joint axis is at home and
// how the flange sits), not from the library.
namespace zor::rob::test {

struct ReferenceArm {
  double a1{150}, a2{-110}, b{0}, c1{450}, c2{600}, c3{640}, c4{100};

  /// The default arm's lengths (mm).
  static ReferenceArm Default() { return {}; }

  static double rad(double deg) { return deg * std::numbers::pi / 180.0; }

  /// Joint axes at home: joint 1 vertical, joints 2, 3 and 5 about base y, joints 4 and 6
  /// along the forearm (base x).
  std::array<Eigen::Vector3d, 6> axes() const {
    const Eigen::Vector3d x = Eigen::Vector3d::UnitX(), y = Eigen::Vector3d::UnitY(),
                          z = Eigen::Vector3d::UnitZ();
    return {z, y, y, x, y, x};
  }

  /// A point on each joint axis at home: the base origin, the shoulder, the elbow and the wrist
  /// centre three times.
  std::array<Eigen::Vector3d, 6> points() const {
    const Eigen::Vector3d wrist(a1 + c3, b, c1 + c2 + a2);
    return {Eigen::Vector3d::Zero(),
            Eigen::Vector3d(a1, b, c1),
            Eigen::Vector3d(a1, b, c1 + c2),
            wrist,
            wrist,
            wrist};
  }

  /// The flange at home: c4 beyond the wrist centre along base x, its z axis along base x.
  Eigen::Isometry3d flangeHome() const {
    Eigen::Isometry3d m = Eigen::Isometry3d::Identity();
    m.translate(Eigen::Vector3d(a1 + c3 + c4, b, c1 + c2 + a2));
    m.rotate(Eigen::AngleAxisd(std::numbers::pi / 2, Eigen::Vector3d::UnitY()));
    return m;
  }

  /// The motion of joint i turned by `deg` degrees: a rotation about its axis through its point.
  Eigen::Isometry3d jointMotion(int i, double deg) const {
    const auto idx = static_cast<std::size_t>(i);
    const Eigen::Vector3d p = points()[idx];
    Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
    t.translate(p);
    t.rotate(Eigen::AngleAxisd(rad(deg), axes()[idx]));
    t.translate(-p);
    return t;
  }

  /// The product of the motions of joints 0 .. n-1.
  Eigen::Isometry3d chain(const std::array<double, 6>& j, int n) const {
    Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
    for (int i = 0; i < n; ++i)
      t = t * jointMotion(i, j[static_cast<std::size_t>(i)]);
    return t;
  }

  Eigen::Isometry3d flange(const std::array<double, 6>& j) const {
    return chain(j, 6) * flangeHome();
  }

  /// The wrist centre: c4 back from the flange along the flange's z axis.
  Eigen::Vector3d wristCentre(const std::array<double, 6>& j) const {
    const Eigen::Isometry3d f = flange(j);
    return f.translation() - f.linear() * Eigen::Vector3d(0, 0, c4);
  }

  /// The joint-3 value (degrees) at which the forearm, from the axis of joint 3 to the wrist
  /// centre, points straight up along the upper arm: the forearm vector (c3, a2) in the x-z
  /// plane turned by θ about +y is (c3 cos θ + a2 sin θ, -c3 sin θ + a2 cos θ); it is (0, +L)
  /// for θ = -(90° + atan2(-a2, c3)).
  double stretchedJoint3() const {
    return -(90.0 + std::atan2(-a2, c3) * 180.0 / std::numbers::pi);
  }

  /// The space Jacobian: column i is joint i's axis and point moved by the joints before it,
  /// (ω, -ω × q).
  Eigen::Matrix<double, 6, 6> spaceJacobian(const std::array<double, 6>& j) const {
    Eigen::Matrix<double, 6, 6> jac;
    for (int i = 0; i < 6; ++i) {
      const Eigen::Isometry3d before = chain(j, i);
      const Eigen::Vector3d w = before.linear() * axes()[static_cast<std::size_t>(i)];
      const Eigen::Vector3d q = before * points()[static_cast<std::size_t>(i)];
      jac.col(i).head<3>() = w;
      jac.col(i).tail<3>() = -w.cross(q);
    }
    return jac;
  }

  /// The body Jacobian: each space column (ω, v) seen from the flange frame (R, p):
  /// (Rᵀ ω, Rᵀ (v - p × ω)).
  Eigen::Matrix<double, 6, 6> bodyJacobian(const std::array<double, 6>& j) const {
    const Eigen::Matrix<double, 6, 6> js = spaceJacobian(j);
    const Eigen::Isometry3d f = flange(j);
    const Eigen::Matrix3d rt = f.linear().transpose();
    const Eigen::Vector3d p = f.translation();
    Eigen::Matrix<double, 6, 6> jb;
    for (int i = 0; i < 6; ++i) {
      const Eigen::Vector3d w = js.col(i).head<3>();
      const Eigen::Vector3d v = js.col(i).tail<3>();
      jb.col(i).head<3>() = rt * w;
      jb.col(i).tail<3>() = rt * (v - p.cross(w));
    }
    return jb;
  }
};

}  // namespace zor::rob::test
