#pragma once

#include <cmath>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "zor/rob/export.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// How the tool orientation is interpolated along a circular move (see TPCircle::getOri).
enum class CircleOriMode {
  cirPoint = 0,     ///< Through the circle point's orientation (getOriInCirPointOriMode).
  pathFrame = 1,    ///< Fixed relative to a frame turning with the path (getOriInPathFrame).
  objectFrame = 2,  ///< Interpolated in the fixed frame (getOriInObjectFrame).
};

/// \returns the name of `mode`: "cirpoint", "path" or "object"; "" for any other value.
ZORROB_API std::string_view CircleOriModeName(CircleOriMode mode);
/// \returns the mode whose CircleOriModeName is `name`, or nothing.
ZORROB_API std::optional<CircleOriMode> FindCircleOriMode(std::string_view name);

/// Thrown when three points do not define a circle. The message is one of "The points
/// coincide", "The points are collinear" and "A and C is the same point".
class ZORROB_API TPCircleFail : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~TPCircleFail() override;
};

/// The arc of a circular move: from the start point A through the circle point B to the end
/// point C, all in one Cartesian frame (unit-free; millimetres in practice). All queries work in
/// double precision.
///
/// The arc is parametrised by the angle θ from `RA`: P(θ) = R + cos θ·RA + sin θ·RY, so that
/// θ = 0 is A and θ = arcRad is C. The arc runs counter-clockwise about the unit normal `N`.
/// Fractions t in [0, 1] map linearly onto θ = t·arcRad and are never clamped: a fraction
/// outside [0, 1] continues around the full circle.
///
/// The members are public and computed once by the constructor; nothing keeps them consistent
/// when a caller assigns to them.
struct ZORROB_API TPCircle {
  /// Start point, as passed in.
  Vec3 A{};
  /// Circle point (via point), as passed in.
  Vec3 B{};
  /// End point, as passed in.
  Vec3 C{};
  /// Unit normal of the arc plane, ((B - A) × (C - B)) normalised.
  Vec3 N{};
  /// Radius: the mean of the distances of B, A and C from the centre.
  double r{0};
  /// Centre.
  Vec3 R{};
  /// Arc angle from A through B to C, radians, in [0, 2π).
  double arcRad{0};
  /// Arc length, r·arcRad.
  double arcLen{0};
  /// Radius vector A - R.
  Vec3 RA{};
  /// N × RA: in plane, as long as RA, a quarter turn ahead of it in the direction of travel.
  Vec3 RY{};
  /// Fraction of the arc at which B lies: getCirPointAngle() / arcRad.
  double cirPointFraction{0};

  /// Builds the arc from `start` through `via` to `end`.
  ///
  /// Throws TPCircleFail with "The points' coordinates must be finite and at most 1e75 in
  /// magnitude" for a NaN, infinite or larger coordinate (sizes far beyond any cell, where the
  /// squared lengths of the computation would overflow), with "The points coincide" when two of
  /// the points are closer than 1e-6, with "The points are collinear" when the sine of the
  /// angle between B - A and C - A, or between B - A and C - B, is below 0.01, and with "A and
  /// C is the same point" when the cosine of the angle between A - R and C - R is at least 1.
  /// Throws std::overflow_error "0-length vector cannot be normalized." when (B - A) × (C - B)
  /// is at most 1e-7 long (a valid but tiny triangle).
  TPCircle(const Vec3& start, const Vec3& via, const Vec3& end);
  /// The same from positions.
  TPCircle(const Pos& start, const Pos& via, const Pos& end);
  /// The same from single-precision positions, each coordinate widened to double.
  TPCircle(const PosTemplate<float>& start, const PosTemplate<float>& via,
           const PosTemplate<float>& end);

  // The two per-sample queries are inline: sampling a point and its tangent at the same
  // fraction then shares the trigonometry, which nearly halves the cost of a sample.

  /// \returns the point at fraction t of the arc (θ = t·arcRad).
  Vec3 getPoint(double t) const { return pointAtAngle(t * arcRad); }
  /// \returns the unit direction of travel at fraction t of the arc. The second normalisation
  /// is kept on purpose: it can move the last bit, and tangents are expected to match that
  /// computation exactly. Each applies the direction rule (std::overflow_error "0-length
  /// vector cannot be normalized." at a length of at most 1e-7, which a valid circle cannot
  /// reach).
  Vec3 getTangent(double t) const { return N.cross(getPoint(t) - R).normalized().normalized(); }
  /// \returns the angle in [0, 2π] from A to the direction of `p` seen from the centre, measured
  /// counter-clockwise about N. The cosine is clamped into [-1, 1] before the side test, so a
  /// point a rounding error behind A gives 2π, not 0.
  double getAngleFromStart(const Vec3& p) const;
  /// \returns whether `p` lies within 1e-6 of the radius from the centre and its angle from
  /// start is at most arcRad + 1e-6. A point just behind A has an angle near 2π and is
  /// rejected; the distance from the arc plane is not tested.
  bool pointOnArc(const Vec3& p) const;
  /// \returns the angle in [0, 2π) from A to B about N; a cosine at or beyond ±1 gives 0 or π
  /// directly, without the side test.
  double getCirPointAngle();

  /// \returns the 0, 1 or 2 points that lie on both arcs, the one on the side of
  /// N × (other.R - R) first; touching circles (half-chord at most 1e-6) give one point.
  /// Circles whose normals are neither parallel nor opposite within about 0.08 degrees
  /// (|N·other.N| < 0.999999), concentric circles and circles farther apart than the sum of
  /// their radii share no point. Parallel planes are not checked to coincide: the points are
  /// taken where the two spheres about the centres meet, in the plane through the line of
  /// centres that contains N × (other.R - R).
  /// Throws std::overflow_error "0-length vector cannot be normalized." when other.N is a zero
  /// vector or the line of centres is parallel to N.
  std::vector<Vec3> intersectArcs(const TPCircle& other) const;
  /// \returns the part of this arc from A to `p`: nothing when p is not on the arc or lies
  /// within 1e-6 of A, this whole arc when p lies within 1e-6 of C. The sub-arc is built like
  /// any arc, so it can throw TPCircleFail (e.g. for p just past the 1e-6 tolerance of A).
  std::optional<TPCircle> getSubArcToPoint(const Vec3& p) const;
  /// \returns the part of this arc from `p` to C: nothing when p is not on the arc or lies
  /// within 1e-6 of C, this whole arc when p lies within 1e-6 of A. Can throw TPCircleFail as
  /// getSubArcToPoint does.
  std::optional<TPCircle> getSubArcFromPoint(const Vec3& p) const;

  /// Writes the members (all but cirPointFraction) to standard output, one per line, in the
  /// stream's current number format (6 significant digits by default); changes no stream state.
  void dump() const;

  /// \returns the point at arc length d after A (d / r radians); d is not range-checked.
  Vec3 getStartZonePoint(double d);
  /// \returns the point at arc length d before C (arcRad - d / r radians).
  Vec3 getEndZonePoint(double d);
  /// \returns the unit direction of travel at arc length d after A (fraction d / arcLen).
  Vec3 getStartZoneVelocity(double d);
  /// \returns the unit direction of travel (towards C) at arc length d before C (fraction
  /// 1 - d / arcLen).
  Vec3 getEndZoneVelocity(double d);

  /// \returns the orientation at fraction t in circle-point mode: it passes through `oriCir`
  /// at cirPointFraction. Each piece is a shortest-path interpolation relative to a frame that
  /// turns with the path about N. t below 1e-6, within 1e-6 of cirPointFraction and within
  /// 1e-6 of 1 return `oriStart`, `oriCir` and `oriEnd` unchanged. Inputs are not normalised.
  Orient getOriInCirPointOriMode(double t, const Orient& oriStart, const Orient& oriCir,
                                 const Orient& oriEnd) const;
  /// \returns how far the rate of turn of circle-point mode changes at the circle point, in
  /// radians per unit of fraction: each piece turns at its own constant rate relative to the
  /// path frame, so where the rates differ the tool's angular velocity jumps by this times the
  /// path's speed in fractions per second, and a move passes the circle point at speed only
  /// with an infinite acceleration. 0 when start, circle point and end are the same
  /// orientation up to sign (the mode then holds the start). Inputs are not normalised.
  double getCirPointRateJump(const Orient& oriStart, const Orient& oriCir,
                             const Orient& oriEnd) const;
  /// \returns the orientation at fraction t in path-frame mode: the interpolation from start to
  /// end relative to a frame that turns with the path about N, the long way round when `oriCir`
  /// (relative to its frame) lies more than 0.5 rad farther from the short-way midpoint than
  /// the start does. t below 1e-6 and within 1e-6 of 1 return the inputs unchanged, as do
  /// start and end orientations equal up to sign (|dot| >= 0.999999) for every t.
  Orient getOriInPathFrame(double t, const Orient& oriStart, const Orient& oriCir,
                           const Orient& oriEnd) const;
  /// \returns the orientation at fraction t in object-frame mode: the interpolation from start
  /// to end in the fixed frame, the long way round when `oriCir` lies farther from the
  /// short-way midpoint than the start does, unless both lie within 0.1 rad of it. Angles
  /// within 1e-12 rad of each other count as equal, so a circle point taught at the end (or
  /// start) orientation always gives the short way, whatever the rounding. t below
  /// 1e-6 and within 1e-6 of 1 return the inputs unchanged, as do start and end orientations
  /// equal up to sign (|dot| >= 0.999999) for every t.
  Orient getOriInObjectFrame(double t, const Orient& oriStart, const Orient& oriCir,
                             const Orient& oriEnd) const;
  /// \returns the orientation at fraction t in `mode`: getOriInCirPointOriMode,
  /// getOriInPathFrame or getOriInObjectFrame; a value outside the enumeration counts as
  /// cirPoint.
  Orient getOri(double t, CircleOriMode mode, const Orient& oriStart, const Orient& oriCir,
                const Orient& oriEnd) const;
  /// \returns the interpolation from q0 (t = 0) to q1 the long way round the great circle
  /// through them, normalised; q0 itself when |q0·q1| >= 0.999999. t is not clamped.
  Orient longSlerp(const Orient& q0, const Orient& q1, double t) const;

 private:
  /// \returns R + cos θ·RA + sin θ·RY, the point at angle θ from A about N.
  Vec3 pointAtAngle(double theta) const { return R + RA * std::cos(theta) + RY * std::sin(theta); }
};

}  // namespace zor::rob
