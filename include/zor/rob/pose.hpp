#pragma once

#include <concepts>
#include <string>

#include "zor/rob/export.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// A frame: a position and a stored orientation record. Applying it to a point p gives
/// R(orient)·p + pos, where R normalises the record (and throws std::logic_error
/// "normalize quaternion of 0 magnitude" for a zero record). In `aPb * bPc == aPc` the right
/// pose is expressed in the left one's frame.
template <std::floating_point T>
struct ZORROB_API PoseTemplate {
  PosTemplate<T> pos{};
  OrientTemplate<T> orient{};

  /// The identity pose: position (0, 0, 0), orientation (1, 0, 0, 0).
  constexpr PoseTemplate() = default;
  constexpr PoseTemplate(const PosTemplate<T>& p, const OrientTemplate<T>& o) : pos(p), orient(o) {}

  /// \returns the rotation this pose's orientation record stands for (normalised).
  RotationTemplate<T> rotation() const { return RotationTemplate<T>::FromOrient(orient); }

  /// \returns the point mapped through this pose: R·p + pos.
  PosTemplate<T> operator*(const PosTemplate<T>& p) const { return rotation() * p + pos.toVec3(); }

  /// \returns this pose followed by `b` (b expressed in this pose's frame):
  /// pos = pos + R·b.pos, orientation = R·R_b.
  PoseTemplate operator*(const PoseTemplate& b) const {
    const RotationTemplate<T> r = rotation();
    return {r * b.pos + pos.toVec3(), (r * b.rotation()).toOrient()};
  }

  /// \returns "{{x, y, z}, {q1, q2, q3, q4}}": the position in shortest round-trip form, the
  /// orientation record as stored with 6 significant digits.
  std::string toString() const requires std::same_as<T, double>;

  constexpr bool operator==(const PoseTemplate&) const = default;
};

using Pose = PoseTemplate<double>;
using Posef = PoseTemplate<float>;

extern template struct PoseTemplate<float>;
extern template struct PoseTemplate<double>;

}  // namespace zor::rob
