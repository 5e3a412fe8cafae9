#pragma once

#include <concepts>

#include "zor/rob/export.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// Three corners in order. The default is a non-degenerate triangle in the Y-Z plane.
template <std::floating_point T>
struct ZORROB_API TriangleTemplate {
  PosTemplate<T> p1{0, 0, 0};
  PosTemplate<T> p2{0, 1, 0};
  PosTemplate<T> p3{0, 0, 1};

  /// \returns the mean of the three corners, each coordinate summed in the order p1, p2, p3 and
  /// divided by 3. Never throws.
  PosTemplate<T> getCentroid() const;

  /// \returns every corner mapped through `pose` (R·p + pose.pos). Throws std::logic_error
  /// "normalize quaternion of 0 magnitude" when the pose's orientation record is zero.
  TriangleTemplate transformed(const PoseTemplate<T>& pose) const;

  constexpr bool operator==(const TriangleTemplate&) const = default;
};

using Triangle = TriangleTemplate<double>;
using Trianglef = TriangleTemplate<float>;

extern template struct TriangleTemplate<float>;
extern template struct TriangleTemplate<double>;

}  // namespace zor::rob
