#pragma once

#include <cmath>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>

#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"

namespace zor::rob {

struct RobotConfig;

/// \returns the quadrant (whole quarter turns) of a joint angle in degrees, with a tolerance of
/// 1e-6: quadrant 0 spans (-1e-6, 90 + 1e-6), quadrant n >= 1 spans [90n + 1e-6, 90(n+1) + 1e-6),
/// quadrant -n spans (-90n - 1e-6, -90(n-1) - 1e-6]. An exact multiple of 90 belongs to the
/// quadrant nearer zero (90 -> 0, -90 -> -1, 180 -> 1, -180 -> -2). Beyond int's range the
/// quadrant saturates; NaN gives 0. Inline: the inverse kinematics labels every solution with it.
inline int AngleToQuadrant(double angle) {
  constexpr double kQuadrantTolerance = 1e-6;
  constexpr double kQuarterTurn = 90.0;
  constexpr double kIntLimit = 2147483648.0;
  // Truncation toward zero in both branches; the asymmetry about zero is intended: a negative
  // angle of magnitude below the tolerance is still quadrant 0, -1e-6 itself is quadrant -1.
  const double quarters = angle > 0 ? (angle - kQuadrantTolerance) / kQuarterTurn
                                    : (angle + kQuadrantTolerance) / kQuarterTurn - 1.0;
  if (std::abs(quarters) < kIntLimit)
    return static_cast<int>(quarters);
  if (std::isnan(quarters))
    return 0;
  return quarters > 0 ? std::numeric_limits<int>::max() : std::numeric_limits<int>::min();
}

/// \returns true when the quadrants are equal, or when both are 0 or -1 (a joint standing at
/// zero may read as either).
ZORROB_API bool AreCriticalEqualQuad(int a, int b);

/// The arm configuration of a Cartesian target: the quadrants of joints 1, 4 and 6 and the
/// configuration number (0..7) of the arm. No field is validated.
struct ZORROB_API ConfData {
  std::int32_t cf1{0};  ///< Quadrant of joint 1.
  std::int32_t cf4{0};  ///< Quadrant of joint 4.
  std::int32_t cf6{0};  ///< Quadrant of joint 6.
  std::int32_t cfx{0};  ///< Configuration number of the arm.

  /// All four fields 0.
  constexpr ConfData() = default;
  constexpr ConfData(int q1, int q4, int q6, int x) : cf1(q1), cf4(q4), cf6(q6), cfx(x) {}

  /// \returns `cf1`, `cf4` or `cf6` for joint 1, 4 or 6; 0 for any other joint number.
  int getQuadrant(unsigned int joint) const;

  /// \returns true when the quadrants of joints 1, 4 and 6 each differ by less than 3 and the
  /// configuration numbers differ by less than 2 (arithmetically).
  bool isAdjacent(const ConfData& other) const;

  /// \returns the summed absolute quadrant differences of joints 1, 4 and 6 (`cfx` ignored).
  int diff146(const ConfData& other) const;

  /// \returns `AreCriticalEqualQuad` of both records' quadrants of `joint`.
  bool isCriticalEqualSingle(const ConfData& other, unsigned int joint) const;

  /// \returns true when `other` matches this record, which was made from `joints`: joints 1, 4
  /// and 6 compare with `isCriticalEqualSingle` where the joint stands at zero
  /// (`joints.isCritical`), by equality otherwise; `cfx` must be equal.
  bool isCriticalEqual(const RobJoint& joints, const ConfData& other) const;
  /// The same, with `RobJointA::isCritical`.
  bool isCriticalEqual(const RobJointA& joints, const ConfData& other) const;

  /// \returns the configuration of the joint solution `joints` on the arm `robot`.
  static ConfData FromRobJoint(const RobJoint& joints, const RobotConfig& robot);

  /// \returns "{cf1, cf4, cf6, cfx}".
  std::string toString() const;
  /// \returns "[cf1, cf4, cf6, cfx]".
  std::string toUIString() const;
  /// \returns "{Q(cf1), Q(cf4), Q(cf6), Q(cfx)}" with Q(n) one of quadrant::n8 .. quadrant::n1,
  /// quadrant::p0 .. quadrant::p7, and quadrant::p0 for every value outside -8..7.
  std::string toOstrelString() const;
  /// \returns "S 'B" plus the three status bits of `cfx` and a closing quote; "S 'B" alone for
  /// `cfx` outside 0..7. \warning For `cfx` = 3 the closing quote is left out ("S 'B001").
  std::string toKrlString() const;

  constexpr bool operator==(const ConfData&) const = default;
};

/// Writes `cf1 cf4 cf6 cfx` separated by single spaces.
ZORROB_API std::ostream& operator<<(std::ostream& os, const ConfData& c);
/// Reads four ints in field order; failure only in the stream state, fields read before it kept.
ZORROB_API std::istream& operator>>(std::istream& is, ConfData& c);

}  // namespace zor::rob
