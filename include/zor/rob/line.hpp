#pragma once

#include <concepts>

#include "zor/rob/export.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// A straight segment from `start` to `end`. The default is the unit segment along X, so a
/// default line is not empty and has a direction.
template <std::floating_point T>
struct ZORROB_API LineTemplate {
  PosTemplate<T> start{0, 0, 0};
  PosTemplate<T> end{1, 0, 0};

  /// \returns the unit direction from `start` to `end`. Throws std::overflow_error
  /// "0-length vector cannot be normalized." when the segment is at most 1e-7 long.
  DirTemplate<T> getDirection() const;

  /// \returns the Euclidean length of `end` - `start`; 0 for coincident points. Never throws.
  T getLength() const;

  /// \returns true when `start` and `end` differ by at most 1e-7 on each axis (compared in
  /// double). Unlike getDirection() this looks at each axis, not at the length: a line whose
  /// differences are all within 1e-7 but whose length exceeds 1e-7 is empty and still has a
  /// direction.
  bool isEmpty() const;

  /// \returns both end points mapped through `pose` (R·p + pose.pos). Throws std::logic_error
  /// "normalize quaternion of 0 magnitude" when the pose's orientation record is zero.
  LineTemplate transformed(const PoseTemplate<T>& pose) const;

  /// Per-axis tolerance of isEmpty(), absolute.
  static constexpr double kEmptyTolerance = 1e-7;

  constexpr bool operator==(const LineTemplate&) const = default;
};

using Line = LineTemplate<double>;
using Linef = LineTemplate<float>;

extern template struct LineTemplate<float>;
extern template struct LineTemplate<double>;

}  // namespace zor::rob
