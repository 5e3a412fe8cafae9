#pragma once

#include <numbers>

namespace zor::rob {

/// π in double precision, 3.141592653589793.
inline constexpr double kPi = std::numbers::pi;

/// \returns `degrees` in radians, degrees · π / 180 with the product formed first: the
/// conversion of a joint value (degrees) where it enters a rotation or an exponential.
constexpr double DegToRad(double degrees) {
  return degrees * kPi / 180.0;
}

/// \returns `radians` in degrees, radians · 180 / π with the product formed first.
constexpr double RadToDeg(double radians) {
  return radians * 180.0 / kPi;
}

}  // namespace zor::rob
