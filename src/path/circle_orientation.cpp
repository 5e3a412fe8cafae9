#include <Eigen/Geometry>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "zor/rob/angles.hpp"
#include "zor/rob/circle.hpp"
#include "zor/rob/rotation.hpp"

// Implementation notes
//
// Orientation records enter as they are: each becomes a quaternion with its four components
// copied (Rotation::raw), never normalised, and products are raw Hamilton products.
// Only longSlerp normalises its result. The shortest-path interpolation is Eigen's own
// Quaternion::slerp, so it matches it bit for bit (its dot product, its threshold 1 - 2^-52,
// no renormalisation).
//
// A path-relative orientation is q expressed in a frame that has turned with the path about N:
// rel = inv(Rot(θ)) ⊗ q, and back again q = Rot(θ) ⊗ rel, where Rot(θ) turns by θ about N.

namespace zor::rob {

namespace {

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

/// Eigen's shortest-path slerp, unnormalised inputs and result.
Rotation slerp(const Rotation& p, const Rotation& q, double t) {
  const Eigen::Quaterniond r =
      Eigen::Quaterniond(p.w, p.x, p.y, p.z).slerp(t, Eigen::Quaterniond(q.w, q.x, q.y, q.z));
  return Rotation::raw(r.x(), r.y(), r.z(), r.w());
}

/// The short-way midpoint of p and q.
Rotation midpoint(const Rotation& p, const Rotation& q) {
  return slerp(p, q, 0.5);
}

/// The angle in [0, π] of q seen from m: the angle of inv(m) ⊗ q, whatever its sign.
double angleFrom(const Rotation& m, const Rotation& q) {
  return m.inverse().hamilton(q).rotationAngle();
}

/// The interpolation on the longer arc of the great circle through p and q: the extra t·π in
/// both weights carries it round the other side of the four-dimensional sphere.
Rotation longWay(const Rotation& p, const Rotation& q, double t) {
  const double d = p.dot(q);
  if (std::abs(d) >= kSameOrientation)
    return p;
  const double theta = std::acos(std::abs(d));
  const double s = std::sin(theta);
  const double w0 = std::sin((1.0 - t) * theta + t * kPi) / s;
  double w1 = std::sin(theta * t - t * kPi) / s;
  if (d < 0.0)
    w1 = -w1;
  return Rotation::raw(w0 * p.x + w1 * q.x, w0 * p.y + w1 * q.y, w0 * p.z + w1 * q.z,
                       w0 * p.w + w1 * q.w)
      .normalizedUnlessZero();
}

/// The rotation by `angle` radians about the unit normal n.
Rotation aboutNormal(const Vec3& n, double angle) {
  return Rotation(angle, Dir(n.x, n.y, n.z));
}

/// `q` expressed relative to the path frame turned by `angle` about n.
Rotation relativeToPath(const Vec3& n, double angle, const Rotation& q) {
  return aboutNormal(n, angle).inverse().hamilton(q);
}

/// \returns the programmed orientation that path-frame and object-frame mode return as it is:
/// the start at a fraction below kFractionTolerance, the end within it of 1, and the start when
/// start and end are the same orientation up to sign. Nothing when the mode interpolates.
std::optional<Orient> givenOrientation(double t, const Orient& oriStart, const Orient& oriEnd) {
  if (t < kFractionTolerance)
    return oriStart;
  if (std::abs(t - 1.0) < kFractionTolerance)
    return oriEnd;
  if (std::abs(Rotation::raw(oriStart).dot(Rotation::raw(oriEnd))) >= kSameOrientation)
    return oriStart;
  return std::nullopt;
}

}  // namespace

Orient TPCircle::longSlerp(const Orient& q0, const Orient& q1, double t) const {
  return longWay(Rotation::raw(q0), Rotation::raw(q1), t).rawOrient();
}

Orient TPCircle::getOriInCirPointOriMode(double t, const Orient& oriStart, const Orient& oriCir,
                                         const Orient& oriEnd) const {
  if (t < kFractionTolerance)
    return oriStart;
  if (std::abs(t - cirPointFraction) < kFractionTolerance)
    return oriCir;
  if (std::abs(t - 1.0) < kFractionTolerance)
    return oriEnd;

  const Rotation start = Rotation::raw(oriStart);
  const Rotation cir = Rotation::raw(oriCir);
  const Rotation end = Rotation::raw(oriEnd);
  if (std::abs(start.dot(cir)) >= kSameOrientation && std::abs(cir.dot(end)) >= kSameOrientation) {
    return oriStart;
  }

  const Rotation relCir = relativeToPath(N, cirPointFraction * arcRad, cir);
  Rotation q;
  if (cirPointFraction > t) {
    q = slerp(start, relCir, t / cirPointFraction);
  } else {
    const Rotation relEnd = relativeToPath(N, arcRad, end);
    q = slerp(relCir, relEnd, (t - cirPointFraction) / (1.0 - cirPointFraction));
  }
  return aboutNormal(N, t * arcRad).hamilton(q).rawOrient();
}

double TPCircle::getCirPointRateJump(const Orient& oriStart, const Orient& oriCir,
                                     const Orient& oriEnd) const {
  const Rotation start = Rotation::raw(oriStart);
  const Rotation cir = Rotation::raw(oriCir);
  const Rotation end = Rotation::raw(oriEnd);
  if (std::abs(start.dot(cir)) >= kSameOrientation && std::abs(cir.dot(end)) >= kSameOrientation)
    return 0.0;
  // A shortest-path piece a ⊗ exp(s·v) turns at the constant rate v in its own frame, where v
  // is the rotation vector of a⁻¹ ⊗ b; both pieces are at relCir where they meet, so their
  // rates compare in one frame.
  const auto rate = [](const Rotation& a, const Rotation& b, double span) {
    const Eigen::AngleAxis<double> v = a.inverse().hamilton(b).log();
    return Eigen::Vector3d(v.axis() * (v.angle() / span));
  };
  const Rotation relCir = relativeToPath(N, cirPointFraction * arcRad, cir);
  const Rotation relEnd = relativeToPath(N, arcRad, end);
  return (rate(relCir, relEnd, 1.0 - cirPointFraction) - rate(start, relCir, cirPointFraction))
      .norm();
}

Orient TPCircle::getOriInPathFrame(double t, const Orient& oriStart, const Orient& oriCir,
                                   const Orient& oriEnd) const {
  if (const std::optional<Orient> given = givenOrientation(t, oriStart, oriEnd))
    return *given;

  const Rotation start = Rotation::raw(oriStart);
  const Rotation end = Rotation::raw(oriEnd);

  const Rotation relCir = relativeToPath(N, cirPointFraction * arcRad, Rotation::raw(oriCir));
  const Rotation relEnd = relativeToPath(N, arcRad, end);
  const Rotation m = midpoint(start, relEnd);
  const double alphaStart = angleFrom(m, start);
  const double alphaCir = angleFrom(m, relCir);
  const Rotation q = std::abs(alphaCir) - std::abs(alphaStart) < kPathFrameLongWayMargin
                         ? slerp(start, relEnd, t)
                         : longWay(start, relEnd, t);
  return aboutNormal(N, t * arcRad).hamilton(q).rawOrient();
}

Orient TPCircle::getOriInObjectFrame(double t, const Orient& oriStart, const Orient& oriCir,
                                     const Orient& oriEnd) const {
  if (const std::optional<Orient> given = givenOrientation(t, oriStart, oriEnd))
    return *given;

  const Rotation start = Rotation::raw(oriStart);
  const Rotation end = Rotation::raw(oriEnd);

  const Rotation m = midpoint(start, end);
  const double alphaStart = angleFrom(m, start);
  const double alphaCir = angleFrom(m, Rotation::raw(oriCir));
  const bool bothNear = std::abs(alphaStart) < kObjectFrameNearMidpoint &&
                        std::abs(alphaCir) < kObjectFrameNearMidpoint;
  // An equal angle (to rounding) means the short way, as alphaStart >= alphaCir would say in
  // exact arithmetic.
  const bool cirNoFarther = alphaCir - alphaStart <= kObjectFrameEqualAngles;
  return (bothNear || cirNoFarther ? slerp(start, end, t) : longWay(start, end, t)).rawOrient();
}

Orient TPCircle::getOri(double t, CircleOriMode mode, const Orient& oriStart, const Orient& oriCir,
                        const Orient& oriEnd) const {
  switch (mode) {
    case CircleOriMode::pathFrame:
      return getOriInPathFrame(t, oriStart, oriCir, oriEnd);
    case CircleOriMode::objectFrame:
      return getOriInObjectFrame(t, oriStart, oriCir, oriEnd);
    case CircleOriMode::cirPoint:
      break;
  }
  return getOriInCirPointOriMode(t, oriStart, oriCir, oriEnd);
}

namespace {

constexpr std::array<std::pair<CircleOriMode, std::string_view>, 3> kModeNames{{
    {CircleOriMode::cirPoint, "cirpoint"},
    {CircleOriMode::pathFrame, "path"},
    {CircleOriMode::objectFrame, "object"},
}};

}  // namespace

std::string_view CircleOriModeName(CircleOriMode mode) {
  for (const auto& [m, name] : kModeNames)
    if (m == mode)
      return name;
  return {};
}

std::optional<CircleOriMode> FindCircleOriMode(std::string_view name) {
  for (const auto& [m, n] : kModeNames)
    if (n == name)
      return m;
  return std::nullopt;
}

}  // namespace zor::rob
