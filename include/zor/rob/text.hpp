#pragma once

// The number and stream text forms the library writes, for the writers of other tools and
// bindings that must print the same characters.

#include <charconv>
#include <concepts>
#include <sstream>
#include <string>
#include <type_traits>

namespace zor::rob {

/// Appends the shortest text that reads back to the same value in its own precision: the default
/// floating-point form of the standard formatting facility ("{}"), i.e. std::to_chars without
/// format or precision (100.0 -> "100", 0.1 + 0.2 -> "0.30000000000000004", 1e-7 -> "1e-07").
template <std::floating_point T>
void AppendShortestText(std::string& out, T value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

/// \returns the shortest round-trip text of `value`, as AppendShortestText writes it.
template <std::floating_point T>
std::string ShortestText(T value) {
  std::string out;
  AppendShortestText(out, value);
  return out;
}

/// \returns "{a, b, c}" with each number in its shortest round-trip form in precision T: the
/// form of positions inside poses.
template <std::floating_point T = double>
std::string TripleText(std::type_identity_t<T> a, std::type_identity_t<T> b,
                       std::type_identity_t<T> c) {
  std::string out = "{";
  AppendShortestText(out, a);
  out += ", ";
  AppendShortestText(out, b);
  out += ", ";
  AppendShortestText(out, c);
  out += '}';
  return out;
}

/// \returns "{q1, q2, q3, q4}" as a fresh output string stream writes it: general notation, 6
/// significant digits (the form of orientation records inside poses and loads).
inline std::string QuaternionText(double q1, double q2, double q3, double q4) {
  std::ostringstream out;
  out << '{' << q1 << ", " << q2 << ", " << q3 << ", " << q4 << '}';
  return out.str();
}

/// \returns what operator<< writes for `value` into a fresh, default-formatted stream.
template <class T>
std::string StreamText(const T& value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

}  // namespace zor::rob
