#include <Eigen/Geometry>
#include <cmath>
#include <numbers>

#include "zor/rob/circle.hpp"
#include "zor/rob/rotation.hpp"

// Implementation notes
//
// Orientation records enter as they are: each becomes a quaternion with its four components
// copied (RotationTemplate::raw), never normalised, and products are raw Hamilton products.
// Only longSlerp normalises its result. The shortest-path interpolation is Eigen's own
// Quaternion::slerp, so it matches it bit for bit (its dot product, its threshold 1 - 2^-52,
// no renormalisation).
//
// A path-relative orientation is q expressed in a frame that has turned with the path about N:
// rel = inv(Rot(θ)) ⊗ q, and back again q = Rot(θ) ⊗ rel, where Rot(θ) turns by θ about N.

namespace zor::rob {

namespace {

using Quat = RotationTemplate<double>;
using Ori = OrientTemplate<double>;

/// Fractions closer than this to 0, to the circle point or to 1 return the given orientation.
constexpr double kFractionTolerance = 1e-6;
/// Orientations whose |dot| is at least this are equal up to sign.
constexpr double kSameOrientation = 0.999999;
/// Path-frame mode goes the long way when the circle point lies this much (radians) farther
/// from the short-way midpoint than the start.
constexpr double kPathFrameLongWayMargin = 0.5;
/// Object-frame mode goes the short way when start and circle point both lie within this
/// angle (radians) of the short-way midpoint.
constexpr double kObjectFrameNearMidpoint = 0.1;
/// Object-frame mode counts the circle point as no farther from the midpoint than the start
/// when its angle exceeds the start's by at most this (radians). A circle point taught at the
/// end orientation lies exactly as far from the midpoint as the start in exact arithmetic, but
/// the two computed angles differ by rounding (up to about 1.3e-15 rad), which would otherwise
/// send about one such move in six the long way round. Real differences that small do not
/// occur between taught orientations.
constexpr double kObjectFrameEqualAngles = 1e-12;

Quat toQuat(const Ori& o) {
  return Quat::raw(o.q2, o.q3, o.q4, o.q1);
}

Ori toOri(const Quat& q) {
  return {q.w, q.x, q.y, q.z};
}

/// Eigen's shortest-path slerp, unnormalised inputs and result.
Quat slerp(const Quat& p, const Quat& q, double t) {
  const Eigen::Quaterniond r =
      Eigen::Quaterniond(p.w, p.x, p.y, p.z).slerp(t, Eigen::Quaterniond(q.w, q.x, q.y, q.z));
  return Quat::raw(r.x(), r.y(), r.z(), r.w());
}

/// The short-way midpoint of p and q.
Quat midpoint(const Quat& p, const Quat& q) {
  return slerp(p, q, 0.5);
}

/// The angle in [0, π] of q seen from m: twice the half-angle of inv(m) ⊗ q, whatever its sign.
double angleFrom(const Quat& m, const Quat& q) {
  const Quat d = m.inverse().hamilton(q);
  return 2.0 * std::atan2(std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z), std::abs(d.w));
}

/// The interpolation on the longer arc of the great circle through p and q: the extra t·π in
/// both weights carries it round the other side of the four-dimensional sphere.
Quat longWay(const Quat& p, const Quat& q, double t) {
  const double d = p.dot(q);
  if (std::abs(d) >= kSameOrientation)
    return p;
  const double theta = std::acos(std::abs(d));
  const double s = std::sin(theta);
  const double w0 = std::sin((1.0 - t) * theta + t * std::numbers::pi) / s;
  double w1 = std::sin(theta * t - t * std::numbers::pi) / s;
  if (d < 0.0)
    w1 = -w1;
  Quat r =
      Quat::raw(w0 * p.x + w1 * q.x, w0 * p.y + w1 * q.y, w0 * p.z + w1 * q.z, w0 * p.w + w1 * q.w);
  const double sq = r.x * r.x + r.y * r.y + r.z * r.z + r.w * r.w;
  if (sq > 0.0) {
    const double n = std::sqrt(sq);
    r = Quat::raw(r.x / n, r.y / n, r.z / n, r.w / n);
  }
  return r;
}

/// The rotation by `angle` radians about the unit normal n.
Quat aboutNormal(const Vec3Template<double>& n, double angle) {
  return Quat(angle, DirTemplate<double>(n.x, n.y, n.z));
}

/// `q` expressed relative to the path frame turned by `angle` about n.
Quat relativeToPath(const Vec3Template<double>& n, double angle, const Quat& q) {
  return aboutNormal(n, angle).inverse().hamilton(q);
}

}  // namespace

Ori TPCircle::longSlerp(const Ori& q0, const Ori& q1, double t) const {
  return toOri(longWay(toQuat(q0), toQuat(q1), t));
}

Ori TPCircle::getOriInCirPointOriMode(double t, const Ori& oriStart, const Ori& oriCir,
                                      const Ori& oriEnd) const {
  if (t < kFractionTolerance)
    return oriStart;
  if (std::abs(t - cirPointFraction) < kFractionTolerance)
    return oriCir;
  if (std::abs(t - 1.0) < kFractionTolerance)
    return oriEnd;

  const Quat start = toQuat(oriStart);
  const Quat cir = toQuat(oriCir);
  const Quat end = toQuat(oriEnd);
  if (std::abs(start.dot(cir)) >= kSameOrientation && std::abs(cir.dot(end)) >= kSameOrientation) {
    return oriStart;
  }

  const Quat relCir = relativeToPath(N, cirPointFraction * arcRad, cir);
  Quat q;
  if (cirPointFraction > t) {
    q = slerp(start, relCir, t / cirPointFraction);
  } else {
    const Quat relEnd = relativeToPath(N, arcRad, end);
    q = slerp(relCir, relEnd, (t - cirPointFraction) / (1.0 - cirPointFraction));
  }
  return toOri(aboutNormal(N, t * arcRad).hamilton(q));
}

Ori TPCircle::getOriInPathFrame(double t, const Ori& oriStart, const Ori& oriCir,
                                const Ori& oriEnd) const {
  if (t < kFractionTolerance)
    return oriStart;
  if (std::abs(t - 1.0) < kFractionTolerance)
    return oriEnd;

  const Quat start = toQuat(oriStart);
  const Quat end = toQuat(oriEnd);
  if (std::abs(start.dot(end)) >= kSameOrientation)
    return oriStart;

  const Quat relCir = relativeToPath(N, cirPointFraction * arcRad, toQuat(oriCir));
  const Quat relEnd = relativeToPath(N, arcRad, end);
  const Quat m = midpoint(start, relEnd);
  const double alphaStart = angleFrom(m, start);
  const double alphaCir = angleFrom(m, relCir);
  const Quat q = std::abs(alphaCir) - std::abs(alphaStart) < kPathFrameLongWayMargin
                     ? slerp(start, relEnd, t)
                     : longWay(start, relEnd, t);
  return toOri(aboutNormal(N, t * arcRad).hamilton(q));
}

Ori TPCircle::getOriInObjectFrame(double t, const Ori& oriStart, const Ori& oriCir,
                                  const Ori& oriEnd) const {
  if (t < kFractionTolerance)
    return oriStart;
  if (std::abs(t - 1.0) < kFractionTolerance)
    return oriEnd;

  const Quat start = toQuat(oriStart);
  const Quat end = toQuat(oriEnd);
  if (std::abs(start.dot(end)) >= kSameOrientation)
    return oriStart;

  const Quat m = midpoint(start, end);
  const double alphaStart = angleFrom(m, start);
  const double alphaCir = angleFrom(m, toQuat(oriCir));
  const bool bothNear = std::abs(alphaStart) < kObjectFrameNearMidpoint &&
                        std::abs(alphaCir) < kObjectFrameNearMidpoint;
  // An equal angle (to rounding) means the short way, as alphaStart >= alphaCir would say in
  // exact arithmetic.
  const bool cirNoFarther = alphaCir - alphaStart <= kObjectFrameEqualAngles;
  return toOri(bothNear || cirNoFarther ? slerp(start, end, t) : longWay(start, end, t));
}

}  // namespace zor::rob
