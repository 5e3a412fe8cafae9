#include "parse.hpp"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>
#include <system_error>

#include "cli_error.hpp"

namespace zor::rob::cli {

namespace {

std::string quoted(std::string_view text) {
  return "'" + std::string(text) + "'";
}

// std::from_chars reports a number too small to represent (1e-400) as out of range, like one
// too large. A number that small is zero or a subnormal to the nearest double, as the compiler
// reads it in source; only a magnitude beyond the largest double is out of range. std::strtod
// tells the two apart; it is asked only for text that from_chars has matched whole.
std::from_chars_result readDouble(const char* first, const char* last, double& value) {
  std::from_chars_result result = std::from_chars(first, last, value, std::chars_format::general);
  if (result.ec != std::errc::result_out_of_range)
    return result;
  const std::string text(first, result.ptr);
  const double nearest = std::strtod(text.c_str(), nullptr);
  if (std::isfinite(nearest)) {
    value = nearest;
    result.ec = std::errc();
  }
  return result;
}

}  // namespace

double parseNumber(std::string_view text, std::string_view what) {
  std::string_view digits = text;
  // std::from_chars takes a minus sign but no plus sign.
  if (!digits.empty() && digits.front() == '+' && digits.size() > 1 && digits[1] != '-')
    digits.remove_prefix(1);
  double value = 0.0;
  const char* first = digits.data();
  const char* last = first + digits.size();
  const auto [end, error] = readDouble(first, last, value);
  if (digits.empty() || end != last ||
      (error != std::errc() && error != std::errc::result_out_of_range))
    throw UsageError(std::string(what) + " is not a number: " + quoted(text));
  if (error == std::errc::result_out_of_range)
    throw UsageError(std::string(what) + " is out of the range of a double: " + quoted(text));
  if (!std::isfinite(value))
    throw UsageError(std::string(what) + " is not a finite number: " + quoted(text));
  return value;
}

std::vector<double> parseNumbers(const std::vector<std::string>& texts,
                                 const std::vector<std::string>& names, std::string_view what) {
  if (texts.size() != names.size())
    throw UsageError("expected " + std::to_string(names.size()) + " " + std::string(what) +
                     ", got " + std::to_string(texts.size()));
  std::vector<double> values;
  values.reserve(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i)
    values.push_back(parseNumber(texts[i], names[i]));
  return values;
}

int parseWholeNumber(std::string_view text, int min, int max, std::string_view what) {
  int value = 0;
  const char* first = text.data();
  const char* last = first + text.size();
  const auto [end, error] = std::from_chars(first, last, value);
  const std::string range = " from " + std::to_string(min) + " to " + std::to_string(max);
  if (text.empty() || end != last ||
      (error != std::errc() && error != std::errc::result_out_of_range))
    throw UsageError(std::string(what) + " is not a whole number" + range + ": " + quoted(text));
  if (error == std::errc::result_out_of_range || value < min || value > max)
    throw UsageError(std::string(what) + " must be a whole number" + range + ", got " +
                     quoted(text));
  return value;
}

std::string prepareArgument(std::string_view arg) {
  if (arg.size() < 2 || arg[0] != '-' || arg[1] == '-' || (arg[1] >= '0' && arg[1] <= '9'))
    return std::string(arg);
  double value = 0.0;
  const char* last = arg.data() + arg.size();
  const auto [end, error] = readDouble(arg.data(), last, value);
  if (end != last || (error != std::errc() && error != std::errc::result_out_of_range))
    return std::string(arg);  // an option name, left to the option parser
  if (error == std::errc::result_out_of_range)
    throw UsageError("out of the range of a double: " + quoted(arg));
  if (!std::isfinite(value))
    throw UsageError("not a finite number: " + quoted(arg));
  return "-0" + std::string(arg.substr(1));
}

}  // namespace zor::rob::cli
