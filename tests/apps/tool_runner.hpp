#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// Runs the built zorrob binary and reads what it wrote.
namespace zor::rob::test {

struct ToolResult {
  /// The exit status; 128 + the signal number when the tool was killed by a signal.
  int status{-1};
  bool signalled{false};
  std::string out{};
  std::string err{};
};

/// Runs zorrob with `args` (argv[1] onwards) and waits for it.
ToolResult RunTool(const std::vector<std::string>& args);

/// Runs zorrob with `args`, expects exit status 0 and an empty standard error, and returns the
/// standard output parsed as JSON.
nlohmann::json RunToolJson(const std::vector<std::string>& args);

/// A directory of its own under the system's temporary directory, removed with this object.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  /// Writes `content` to the file `name` in this directory and returns its path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path path_;
};

/// \returns the value of the first line of `text` that starts (after any indentation) with
/// `label` followed by at least two spaces: the rest of the line after those spaces. Empty
/// when there is no such line.
std::string FieldValue(const std::string& text, const std::string& label);

/// \returns the values of every line that FieldValue would match, in order.
std::vector<std::string> FieldValues(const std::string& text, const std::string& label);

/// \returns the whitespace-separated words of `line`.
std::vector<std::string> Words(const std::string& line);

/// \returns the lines of `text` (without their "\n").
std::vector<std::string> Lines(const std::string& text);

/// \returns the shortest round-trip text of `v` (what the tool's shortest form prints).
std::string Shortest(double v);

}  // namespace zor::rob::test
