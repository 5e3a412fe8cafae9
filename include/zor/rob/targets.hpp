#pragma once

#include <iosfwd>
#include <string>

#include "zor/rob/conf_data.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// A payload: its mass, centre of gravity and principal inertia. The default is a 1 kg point
/// mass at the origin of the carrying frame.
struct ZORROB_API LoadData {
  double mass{1};  ///< kg.
  Pos cog{};       ///< Centre of gravity, mm.
  Orient aom{};    ///< Orientation of the principal inertia axes (q1 = w first).
  double ix{0};    ///< Moment of inertia about the first principal axis.
  double iy{0};    ///< Moment of inertia about the second principal axis.
  double iz{0};    ///< Moment of inertia about the third principal axis.

  constexpr LoadData() = default;
  constexpr LoadData(double kilograms, const Pos& centre, const Orient& axes, double inertiaX,
                     double inertiaY, double inertiaZ)
      : mass(kilograms), cog(centre), aom(axes), ix(inertiaX), iy(inertiaY), iz(inertiaZ) {}

  /// \returns "{mass, {x, y, z}, {q1, q2, q3, q4}, ix, iy, iz}": the centre of gravity in
  /// shortest round-trip form, every other number with 6 significant digits, e.g.
  /// "{5, {0, 0, 50}, {1, 0, 0, 0}, 0.1, 0.1, 0.02}".
  std::string toString() const;

  bool operator==(const LoadData&) const = default;
};

/// Where the tool centre point goes: a pose (mm, orientation record q1 = w first), the arm
/// configuration to reach it in and the external axes. The default is the identity pose with
/// configuration all zero and every external axis unused (9E9).
struct ZORROB_API RobTarget {
  Pose pose{};
  ConfData robConf{};
  ExtJoint extJoint{};

  constexpr RobTarget() = default;
  /// The pose `p` with configuration all zero and every external axis unused.
  constexpr RobTarget(const Pose& p) : pose(p) {}  // NOLINT(google-explicit-constructor)
  /// The pose `p` with configuration all zero and the external axes `e`.
  constexpr RobTarget(const Pose& p, const ExtJoint& e) : pose(p), extJoint(e) {}

  /// Replaces the pose; configuration and external axes stay.
  void setPose(const Pose& p) { pose = p; }
  /// \returns a copy of the pose.
  Pose getPose() const { return pose; }

  /// \returns "{{x, y, z}, {q1, q2, q3, q4}, {cf1, cf4, cf6, cfx}, {e1, ..., e6}}": the position
  /// in shortest round-trip form, the orientation record as stored and the external axes with 6
  /// significant digits.
  std::string toString() const;
  /// \returns exactly toString().
  std::string toUIString() const;
  /// \returns toString() with the configuration in the Ostrel syntax
  /// (ConfData::toOstrelString) instead of its brace form.
  std::string toOstrelString() const;

  constexpr bool operator==(const RobTarget&) const = default;
};

/// A tool: whether the robot holds it, its frame in the flange (or, for a stationary tool, in
/// the world) and its load. The default is a robot-held tool with the identity frame and the
/// default load.
struct ZORROB_API ToolData {
  bool robhold{true};
  Pose tframe{};
  LoadData tload{};

  constexpr ToolData() = default;
  constexpr ToolData(bool heldByRobot, const Pose& frame, const LoadData& load)
      : robhold(heldByRobot), tframe(frame), tload(load) {}

  /// \returns true when the tool frame positions lie closer than sqrt(1e-5) mm (squared
  /// distance strictly below 1e-5 mm²), the orientations are approximately equal
  /// (RotationTemplate<double>::isApprox of the normalised records) and `robhold` is equal.
  /// The loads take no part. Throws std::logic_error "normalize quaternion of 0 magnitude" when
  /// the positions agree and an orientation record is zero.
  bool operator==(const ToolData& o) const;

  /// \returns "{robhold, tframe, tload}" with `robhold` as "true"/"false", the frame as
  /// Pose::toString() and the load as LoadData::toString().
  std::string toString() const;
};

/// A work object: the user frame in the world and the object frame in the user frame. When
/// `ufprog` is false the user frame is moved by the mechanical unit named `ufmec`. The default
/// is a fixed work object (robhold false, ufprog true, no unit) with identity frames.
struct ZORROB_API WObjData {
  bool robhold{false};
  bool ufprog{true};
  std::string ufmec{};
  Pose uframe{};
  Pose oframe{};

  WObjData() = default;
  WObjData(bool heldByRobot, bool programmed, std::string unit, Pose user, Pose object);

  /// \returns the object frame in the world: `uframe` followed by `oframe` (rotation
  /// R_u·R_o, position t_u + R_u·t_o). Throws std::logic_error "normalize quaternion of 0
  /// magnitude" for a zero orientation record.
  Pose getPose() const;

  /// \returns "{robhold, ufprog, \"ufmec\", uframe, oframe}": the booleans as "true"/"false", the
  /// unit name always between double quotes and not escaped, the frames as Pose::toString().
  std::string toString() const;

  bool operator==(const WObjData&) const = default;
};

// Stream forms: the members one after another, separated by single spaces, written with the
// stream's own state; nothing before or after. Extraction reads the same items in the same
// order, reports failure only through the stream state and keeps the members already read.

/// Writes x y z q1 q2 q3 q4, the configuration and the six external axes.
ZORROB_API std::ostream& operator<<(std::ostream& os, const RobTarget& t);
ZORROB_API std::istream& operator>>(std::istream& is, RobTarget& t);
/// Sets std::boolalpha on `os` and leaves it set; writes robhold, the seven numbers of the tool
/// frame and the load.
ZORROB_API std::ostream& operator<<(std::ostream& os, const ToolData& t);
/// Sets std::boolalpha on `is` and leaves it set; reads robhold as a word.
ZORROB_API std::istream& operator>>(std::istream& is, ToolData& t);
/// Sets std::boolalpha on `os` and leaves it set; writes robhold, ufprog, then (only when ufprog
/// is false) ufmec unquoted and a space, then the seven numbers of each frame. An empty ufmec
/// gives two spaces in a row; a ufmec with whitespace does not read back.
ZORROB_API std::ostream& operator<<(std::ostream& os, const WObjData& w);
/// Sets std::boolalpha on `is` and leaves it set; reads ufmec as one word only when ufprog is
/// false.
ZORROB_API std::istream& operator>>(std::istream& is, WObjData& w);
/// Writes the eleven numbers mass, cog, aom, ix, iy, iz.
ZORROB_API std::ostream& operator<<(std::ostream& os, const LoadData& l);
ZORROB_API std::istream& operator>>(std::istream& is, LoadData& l);

}  // namespace zor::rob
