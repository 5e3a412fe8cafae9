#pragma once

#include <array>
#include <iosfwd>
#include <string>

#include "zor/rob/export.hpp"

namespace zor::rob {

/// Marker of an unset robot joint (degrees). Tested within the owning record's `tolerance`.
inline constexpr double kUnsetRobJoint = 1E9;

/// Marker of an unused external axis. Tested by exact equality, never with a tolerance; prints
/// as 9e+09.
inline constexpr double kUnsetExtJoint = 9E9;

/// The joint convention of a `RobJointA` relative to the controller's `RobJoint`.
enum class KinematicConfig {
  Direct = 0,     ///< Both conventions coincide.
  Coupled23 = 1,  ///< Joint 3 of `RobJointA` is joint 2 + joint 3 of `RobJoint`.
};

struct RobJointA;

/// The six robot joints of one arm in degrees, in the controller's convention. `values[0]` is
/// joint 1; the get/set operations address joints 1-based and are silent out of range (reads
/// give 0.0, writes are ignored). A default record holds the unset marker 1E9 in every joint.
struct ZORROB_API RobJoint {
  /// Tolerance (degrees) of `isValid` and `isCritical`; 0.001 at load. Mutable: a host that
  /// assigns it serialises that write.
  static double tolerance;

  std::array<double, 6> values{kUnsetRobJoint, kUnsetRobJoint, kUnsetRobJoint,
                               kUnsetRobJoint, kUnsetRobJoint, kUnsetRobJoint};

  constexpr RobJoint() = default;
  constexpr RobJoint(double j1, double j2, double j3, double j4, double j5, double j6)
      : values{j1, j2, j3, j4, j5, j6} {}

  /// \returns joint `i` (1..6); 0.0 for any other `i`.
  double getJointValue(unsigned int i) const;
  /// Sets joint `i` (1..6); any other `i` is ignored.
  void setJointValue(unsigned int i, double v);

  /// \returns true when at least one joint lies farther than `tolerance` from 1E9.
  bool isValid() const;
  /// \returns true when |joint i| <= `tolerance`; true for `i` outside 1..6 (which reads 0.0).
  bool isCritical(unsigned int i) const;

  /// Wraps each joint into [-180, 180] by whole turns; exactly 180 and -180 stay as they are.
  /// An infinite joint has no wrapped value and is left as it is; a NaN passes unchanged.
  void regulate();

  /// \returns the L1 distance in degrees: the sum over the six joints of |this_k - other_k|.
  double diff(const RobJoint& other);

  /// \returns (1 - t) * a_k + t * b_k per joint; `t` is not clamped (outside 0..1 extrapolates).
  static RobJoint Intermediate(const RobJoint& a, const RobJoint& b, double t);

  /// \returns the joints in convention `c`. Throws std::logic_error "KinematicConfig error" for a
  /// value other than Direct or Coupled23.
  RobJointA toRobJointA(KinematicConfig c) const;
  /// \returns a plain copy (the Direct conversion).
  RobJointA toRobJointA() const;

  /// \returns "{j1, j2, j3, j4, j5, j6}", each number in general notation with 6 significant
  /// digits.
  std::string toString() const;
  /// \returns "[j1, ..., j6]" in fixed notation with `decimals` decimals.
  std::string toUIString(int decimals) const;

  bool operator==(const RobJoint&) const = default;
};

/// The six robot joints in degrees in the alternative convention selected by `KinematicConfig`.
/// Same layout, addressing and text forms as `RobJoint`, with its own `tolerance`.
struct ZORROB_API RobJointA {
  /// Tolerance (degrees) of `isValid` and `isCritical`; 0.001 at load, separate from
  /// `RobJoint::tolerance`.
  static double tolerance;

  std::array<double, 6> values{kUnsetRobJoint, kUnsetRobJoint, kUnsetRobJoint,
                               kUnsetRobJoint, kUnsetRobJoint, kUnsetRobJoint};

  constexpr RobJointA() = default;
  constexpr RobJointA(double j1, double j2, double j3, double j4, double j5, double j6)
      : values{j1, j2, j3, j4, j5, j6} {}

  /// \returns joint `i` (1..6); 0.0 for any other `i`.
  double getJointValue(unsigned int i) const;
  /// Sets joint `i` (1..6); any other `i` is ignored.
  void setJointValue(unsigned int i, double v);

  /// \returns true when at least one joint lies farther than `tolerance` from 1E9.
  bool isValid() const;
  /// \returns true when |joint i| <= `tolerance`; true for `i` outside 1..6 (which reads 0.0).
  bool isCritical(unsigned int i) const;

  /// \returns the joints in the controller's convention, the inverse of
  /// `RobJoint::toRobJointA(c)`. Throws std::logic_error "KinematicConfig error" for a value
  /// other than Direct or Coupled23.
  RobJoint toRobJoint(KinematicConfig c) const;
  /// \returns a plain copy (the Direct conversion).
  RobJoint toRobJoint() const;

  /// \returns "{j1, j2, j3, j4, j5, j6}" (general notation, 6 significant digits).
  std::string toString() const;
  /// \returns "[j1, ..., j6]" in fixed notation with `decimals` decimals.
  std::string toUIString(int decimals) const;

  bool operator==(const RobJointA&) const = default;
};

/// Six external axes, addressed 1-based. An unused axis holds exactly 9E9; a default record has
/// all six unused.
struct ZORROB_API ExtJoint {
  std::array<double, 6> values{kUnsetExtJoint, kUnsetExtJoint, kUnsetExtJoint,
                               kUnsetExtJoint, kUnsetExtJoint, kUnsetExtJoint};

  constexpr ExtJoint() = default;
  constexpr ExtJoint(double e1, double e2, double e3, double e4, double e5, double e6)
      : values{e1, e2, e3, e4, e5, e6} {}

  /// \returns axis `i` (1..6). Throws std::logic_error "invalid index" for any other `i`.
  double& operator[](unsigned int i);
  /// \returns axis `i` (1..6). Throws std::logic_error "Invalid ExtJoint index: <i>" for any
  /// other `i` (a different message from the non-const overload, on purpose).
  double operator[](unsigned int i) const;

  /// The const `operator[]`: throws "Invalid ExtJoint index: <i>" outside 1..6.
  double getJointValue(unsigned int i) const;
  /// Stores through the non-const `operator[]`: throws "invalid index" outside 1..6.
  void setJointValue(unsigned int i, double v);

  /// \returns true when axis `i` is not exactly 9E9 (a NaN counts as valid). Throws as the const
  /// `operator[]`.
  bool isValid(unsigned int i) const;
  /// \returns true when at least one axis is not exactly 9E9.
  bool valid() const;

  /// \returns each used axis times `f`; unused axes stay 9E9.
  ExtJoint operator*(double f) const;
  /// \returns the per-axis sum where both axes are used; 9E9 where either is unused.
  ExtJoint operator+(const ExtJoint& o) const;

  /// \returns "{e1, e2, e3, e4, e5, e6}" (general notation, 6 significant digits; unused axes as
  /// 9e+09).
  std::string toString() const;

  bool operator==(const ExtJoint&) const = default;
};

struct JointTargetA;

/// A joint-space target: the robot joints in the controller's convention and the external axes.
struct ZORROB_API JointTarget {
  RobJoint robJoint{};
  ExtJoint extJoint{};

  /// All robot joints unset (1E9), all external axes unused (9E9).
  constexpr JointTarget() = default;
  /// The robot joints `r` with all external axes unused.
  constexpr JointTarget(const RobJoint& r) : robJoint(r) {}  // NOLINT(google-explicit-constructor)
  constexpr JointTarget(const RobJoint& r, const ExtJoint& e) : robJoint(r), extJoint(e) {}

  /// \returns the same target with the robot joints copied as in the Direct convention.
  JointTargetA toJointTargetA() const;

  /// \returns "{" + robJoint.toString() + ", " + extJoint.toString() + "}".
  std::string toString() const;

  bool operator==(const JointTarget&) const = default;
};

/// A joint-space target with the robot joints in the alternative convention.
struct ZORROB_API JointTargetA {
  RobJointA robJoint{};
  ExtJoint extJoint{};

  /// All robot joints unset (1E9), all external axes unused (9E9).
  constexpr JointTargetA() = default;
  /// The robot joints `r` with all external axes unused.
  constexpr JointTargetA(const RobJointA& r)
      : robJoint(r) {}  // NOLINT(google-explicit-constructor)
  constexpr JointTargetA(const RobJointA& r, const ExtJoint& e) : robJoint(r), extJoint(e) {}

  /// \returns the same target with the robot joints copied as in the Direct convention.
  JointTarget toJointTarget() const;

  /// \returns "{" + robJoint.toString() + ", " + extJoint.toString() + "}".
  std::string toString() const;

  bool operator==(const JointTargetA&) const = default;
};

// Stream forms: the numbers separated by single spaces, written with the stream's own double
// insertion and current state; nothing before or after. Extraction reads the numbers in the same
// order, reports failure only through the stream state and keeps the fields already read.

ZORROB_API std::ostream& operator<<(std::ostream& os, const RobJoint& r);
ZORROB_API std::istream& operator>>(std::istream& is, RobJoint& r);
ZORROB_API std::ostream& operator<<(std::ostream& os, const RobJointA& r);
ZORROB_API std::istream& operator>>(std::istream& is, RobJointA& r);
ZORROB_API std::ostream& operator<<(std::ostream& os, const ExtJoint& e);
ZORROB_API std::istream& operator>>(std::istream& is, ExtJoint& e);
/// Twelve numbers: the robot joints, one space, the external axes.
ZORROB_API std::ostream& operator<<(std::ostream& os, const JointTarget& t);
ZORROB_API std::istream& operator>>(std::istream& is, JointTarget& t);
/// Twelve numbers: the robot joints, one space, the external axes.
ZORROB_API std::ostream& operator<<(std::ostream& os, const JointTargetA& t);
ZORROB_API std::istream& operator>>(std::istream& is, JointTargetA& t);

}  // namespace zor::rob
