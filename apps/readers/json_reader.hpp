#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "cli_error.hpp"

namespace zor::rob::cli {

/// Reads the members of a JSON document strictly; every error is one InputError line that starts
/// with the document's name (e.g. "arm file 'a.json'") and names the offending key by its path.
class JsonReader {
 public:
  using json = nlohmann::json;

  explicit JsonReader(std::string prefix) : prefix_(std::move(prefix)) {}

  [[noreturn]] void fail(std::string_view key, std::string_view what) const {
    throw InputError(prefix_ + ": '" + std::string(key) + "' " + std::string(what));
  }

  /// Rejects keys of `object` outside `allowed`.
  void checkKeys(const json& object, std::string_view path,
                 std::initializer_list<std::string_view> allowed) const {
    for (const auto& item : object.items()) {
      bool known = false;
      for (const std::string_view key : allowed)
        known = known || item.key() == key;
      if (!known)
        fail(join(path, item.key()), "is not a known key");
    }
  }

  const json& member(const json& object, std::string_view path, std::string_view key) const {
    const auto it = object.find(key);
    if (it == object.end())
      fail(join(path, key), "is missing");
    return *it;
  }

  const json& object(const json& value, std::string_view path) const {
    if (!value.is_object())
      fail(path, "must be a JSON object");
    return value;
  }

  double number(const json& value, std::string_view path) const {
    if (!value.is_number())
      fail(path, "must be a number");
    const double v = value.get<double>();
    if (!std::isfinite(v))
      fail(path, "must be a finite number");
    return v;
  }

  template <std::size_t N>
  std::array<double, N> numbers(const json& value, std::string_view path) const {
    if (!value.is_array() || value.size() != N)
      fail(path, "must be an array of " + std::to_string(N) + " numbers");
    std::array<double, N> out{};
    for (std::size_t i = 0; i < N; ++i)
      out[i] = number(value[i], std::string(path) + "[" + std::to_string(i) + "]");
    return out;
  }

  static std::string join(std::string_view path, std::string_view key) {
    return path.empty() ? std::string(key) : std::string(path) + "." + std::string(key);
  }

 private:
  std::string prefix_;
};

}  // namespace zor::rob::cli
