#pragma once

// The geometry of an audited path: the straight line of a linear move, the arc of a circular
// move, the blended corner between two moves, the zone distances and the sample counts. All
// inline: the audit evaluates a pose per sample, and the tests reach these directly.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <variant>

#include "zor/rob/angles.hpp"
#include "zor/rob/audit.hpp"
#include "zor/rob/circle.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob::audit {

/// Pieces over which the orientation change of an arc and the length of a corner are summed.
inline constexpr int kSummedPieces = 64;

inline constexpr double kDegPerRad = 180.0 / kPi;

/// A change of the rate of turn (radians per unit of fraction) that rounding cannot make.
inline constexpr double kRateJumpAtRest = 1e-9;

/// The straight line of a linear move: position by linear interpolation, orientation by
/// shortest-path slerp, both uniform in the fraction.
struct LinePath {
  Pose from{};
  Pose to{};

  Pose at(double f) const {
    const Vec3 d = to.pos - from.pos;
    return {from.pos + d * f, Rotation::Slerp(from.orient, to.orient, f)};
  }
  double length() const { return (to.pos - from.pos).norm(); }
  /// Degrees.
  double orientationChange() const {
    return Rotation::AngularDistance(from.orient, to.orient) * kDegPerRad;
  }
};

/// The arc of a circular move with the orientation in one of the circle's modes. The fraction
/// is the arc's own (uniform in arc length).
struct ArcPath {
  TPCircle circle;
  Orient oriStart{};
  Orient oriCir{};
  Orient oriEnd{};
  CircleOriMode mode{CircleOriMode::cirPoint};

  Orient orientationAt(double f) const { return circle.getOri(f, mode, oriStart, oriCir, oriEnd); }
  Pose at(double f) const { return {circle.getPoint(f).toPos(), orientationAt(f)}; }
  double length() const { return circle.arcLen; }
  /// \returns the fraction where the joint path has a kink that the arm passes only at rest:
  /// the circle point in circle-point mode when the turn's rate changes there (by more than
  /// rounding, kRateJumpAtRest); nothing otherwise.
  std::optional<double> restFraction() const {
    const bool cirPointMode =
        mode != CircleOriMode::pathFrame && mode != CircleOriMode::objectFrame;
    if (cirPointMode && circle.getCirPointRateJump(oriStart, oriCir, oriEnd) > kRateJumpAtRest)
      return circle.cirPointFraction;
    return std::nullopt;
  }
  /// Degrees: the orientation modes turn about the arc normal and may take the long way, so
  /// the change is summed over kSummedPieces pieces instead of taken from the end points.
  double orientationChange() const {
    double sum = 0.0;
    Orient previous = orientationAt(0.0);
    for (int i = 1; i <= kSummedPieces; ++i) {
      const Orient next = orientationAt(static_cast<double>(i) / kSummedPieces);
      sum += Rotation::AngularDistance(previous, next);
      previous = next;
    }
    return sum * kDegPerRad;
  }
};

/// The blended corner: the quadratic Bézier curve from the zone entry on the incoming move to
/// the zone exit on the outgoing one, with the programmed corner as control point (tangent to
/// both moves where they are straight), the orientation slerped from entry to exit.
struct CornerPath {
  Pose entry{};
  Pos corner{};
  Pose exit{};

  Pose at(double u) const {
    const double a = (1.0 - u) * (1.0 - u);
    const double b = 2.0 * u * (1.0 - u);
    const double c = u * u;
    const Pos p{a * entry.pos.x + b * corner.x + c * exit.pos.x,
                a * entry.pos.y + b * corner.y + c * exit.pos.y,
                a * entry.pos.z + b * corner.z + c * exit.pos.z};
    return {p, Rotation::Slerp(entry.orient, exit.orient, u)};
  }
  /// The sum of kSummedPieces chords (mm); arc lengths on the corner are this times the
  /// fraction.
  double length() const {
    double sum = 0.0;
    Pos previous = entry.pos;
    for (int i = 1; i <= kSummedPieces; ++i) {
      const Pos next = at(static_cast<double>(i) / kSummedPieces).pos;
      sum += (next - previous).norm();
      previous = next;
    }
    return sum;
  }
  double orientationChange() const {
    return Rotation::AngularDistance(entry.orient, exit.orient) * kDegPerRad;
  }
};

/// Any path the audit samples.
using PathShape = std::variant<LinePath, ArcPath, CornerPath>;

inline Pose PoseAt(const PathShape& shape, double f) {
  return std::visit([f](const auto& s) { return s.at(f); }, shape);
}
inline double PathLength(const PathShape& shape) {
  return std::visit([](const auto& s) { return s.length(); }, shape);
}
inline double OrientationChange(const PathShape& shape) {
  return std::visit([](const auto& s) { return s.orientationChange(); }, shape);
}
/// \returns the fraction of `shape` that the arm must pass at rest, if any.
inline std::optional<double> RestFraction(const PathShape& shape) {
  if (const auto* arc = std::get_if<ArcPath>(&shape))
    return arc->restFraction();
  return std::nullopt;
}

/// Steps that a length or angle exceeds by less than this (a rounding error of the start
/// pose) are not counted.
inline constexpr double kStepCountSlack = 1e-9;

/// \returns the number of intervals that keeps neighbouring samples within `stepMm` of path
/// and `stepDeg` of orientation: at least 1.
inline std::size_t IntervalCount(double length, double angleDeg, double stepMm, double stepDeg) {
  const double n = std::max({1.0, std::ceil(length / stepMm - kStepCountSlack),
                             std::ceil(angleDeg / stepDeg - kStepCountSlack)});
  return static_cast<std::size_t>(n);
}

/// The zone distance of a blended corner.
struct CornerZone {
  /// The distance used (mm).
  double distance{0.0};
  /// True when the programmed distance had to shrink.
  bool shrunk{false};
};

/// \returns the zone distance of the corner between moves of path lengths `incomingLength` and
/// `outgoingLength`: `programmed`, or half of the shorter move when that is less (so that the
/// zones of a move's two corners never overlap).
inline CornerZone ZoneAtCorner(double programmed, double incomingLength, double outgoingLength) {
  const double limit = 0.5 * std::min(incomingLength, outgoingLength);
  if (programmed > limit)
    return {limit, true};
  return {programmed, false};
}

}  // namespace zor::rob::audit
