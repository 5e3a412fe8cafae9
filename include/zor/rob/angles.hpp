#pragma once

#include <cmath>
#include <numbers>

namespace zor::rob {

/// π in double precision, 3.141592653589793.
inline constexpr double kPi = std::numbers::pi;

/// \returns `degrees` in radians, degrees · π / 180 with the product formed first: the
/// conversion of a joint value (degrees) where it enters a rotation or an exponential. Beyond
/// ±1e307 degrees it is degrees · (π / 180), since from about 5.7e307 on the product overflows
/// although the angle in radians is finite.
constexpr double DegToRad(double degrees) {
  if (std::abs(degrees) > 1e307) [[unlikely]]
    return degrees * (kPi / 180.0);
  return degrees * kPi / 180.0;
}

/// \returns `radians` in degrees, radians · 180 / π with the product formed first.
constexpr double RadToDeg(double radians) {
  return radians * 180.0 / kPi;
}

}  // namespace zor::rob
