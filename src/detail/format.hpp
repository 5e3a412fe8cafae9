#pragma once

#include <charconv>
#include <sstream>
#include <string>

namespace zor::rob::detail {

/// Appends the shortest text that reads back to the same double: the default floating-point
/// form of the standard formatting facility ("{}"), i.e. std::to_chars without format or
/// precision (100.0 -> "100", 0.1 + 0.2 -> "0.30000000000000004", 1e-7 -> "1e-07").
inline void appendShortest(std::string& out, double value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

/// The shortest round-trip text of a double, as appendShortest writes it.
inline std::string shortest(double value) {
  std::string out;
  appendShortest(out, value);
  return out;
}

/// "{a, b, c}" with each number in its shortest round-trip form: the text of the format
/// string "{{{}, {}, {}}}".
inline std::string formatTriple(double a, double b, double c) {
  std::string out = "{";
  appendShortest(out, a);
  out += ", ";
  appendShortest(out, b);
  out += ", ";
  appendShortest(out, c);
  out += '}';
  return out;
}

/// "{q1, q2, q3, q4}" as a fresh output string stream writes it: general notation, 6 significant
/// digits (the form of orientation records inside poses and loads).
inline std::string formatQuaternion(double q1, double q2, double q3, double q4) {
  std::ostringstream out;
  out << '{' << q1 << ", " << q2 << ", " << q3 << ", " << q4 << '}';
  return out.str();
}

}  // namespace zor::rob::detail
