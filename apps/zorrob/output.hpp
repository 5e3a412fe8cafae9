#pragma once

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "printable.hpp"
#include "zor/rob/text.hpp"
#include "zor/rob/vectors.hpp"

// Text and JSON building blocks shared by the commands. Every command builds its whole output
// as a Report and prints it only at the end, so an error never leaves half a result behind.
namespace zor::rob::cli {

/// Decimals of lengths (mm) in the text tables.
inline constexpr int kLengthDecimals = 4;
/// Decimals of unitless numbers (unit vectors, quaternion components, fractions, radians).
inline constexpr int kUnitDecimals = 6;
/// Decimals of angles in degrees in the text output.
inline constexpr int kDegreeDecimals = 4;
/// Decimals of the sample fractions that head the rows of the sample tables.
inline constexpr int kSampleFractionDecimals = 4;

/// Spaces per level of the JSON output.
inline constexpr int kJsonIndent = 2;

/// What a command produced: a plain text for people and a JSON document for scripts.
struct Report {
  std::string text{};
  nlohmann::ordered_json json{};
  /// When set, writes the JSON document in place of `json`, piece by piece: a document too large
  /// to hold whole (the audit of a million moves) is never built.
  std::function<void(std::ostream&)> writeJson{};
  /// The tool's exit status once the report is printed: 0, or kExitEvents for an audit that
  /// found events.
  int status{0};
};

/// \returns `value` in fixed notation with `decimals` decimals; a value that rounds to zero
/// prints without a minus sign.
std::string fixed(double value, int decimals);

/// \returns "(x, y, z)" with each component in fixed notation.
std::string fixedTriple(const Vec3& v, int decimals);

/// \returns "(q1, q2, q3, q4)" with each component in fixed notation.
std::string fixedOrient(const Orient& o, int decimals);

/// A table of text cells whose columns are padded to their widest cell. Cells of a left-aligned
/// column are padded on the right, cells of a right-aligned column on the left; columns are
/// separated by two spaces and no line carries trailing blanks.
class Table {
 public:
  enum class Align { Left, Right };

  explicit Table(std::vector<Align> align) : align_(std::move(align)) {}

  /// Appends a row; it may have fewer cells than there are columns.
  void addRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

  /// \returns the rows, one line each ("\n"-terminated), each preceded by `indent`.
  std::string render(std::string_view indent = "") const;

 private:
  std::vector<Align> align_;
  std::vector<std::vector<std::string>> rows_;
};

/// Lines of "label  value" with the labels padded to the widest one.
class Fields {
 public:
  /// Adds a line; control characters in the value (a name, a file name) are escaped.
  void add(std::string label, std::string_view value) {
    table_.addRow({std::move(label), Printable(value)});
  }
  /// \returns the lines, each preceded by `indent`.
  std::string render(std::string_view indent = "") const { return table_.render(indent); }

 private:
  Table table_{{Table::Align::Left, Table::Align::Left}};
};

/// \returns the text of a JSON document as the tool prints it (without the final newline).
std::string JsonText(const nlohmann::ordered_json& json);

/// Writes a JSON object member by member, character for character as JsonText writes the whole
/// object: a member is a value, or an array whose elements are made and written one at a time.
class JsonObjectWriter {
 public:
  explicit JsonObjectWriter(std::ostream& out) : out_(out) {}
  void member(const std::string& key, const nlohmann::ordered_json& value);
  void arrayMember(const std::string& key, std::size_t count,
                   const std::function<nlohmann::ordered_json(std::size_t)>& element);
  /// Closes the object.
  void finish();

 private:
  void key(const std::string& key);
  /// Writes `json` as it appears `depth` levels down.
  void nested(const nlohmann::ordered_json& json, int depth);

  std::ostream& out_;
  bool empty_{true};
};

/// JSON forms of the geometry values: arrays [x, y, z] and [q1, q2, q3, q4].
nlohmann::ordered_json toJson(const Vec3& v);
nlohmann::ordered_json toJson(const Pos& p);
nlohmann::ordered_json toJson(const Orient& o);

}  // namespace zor::rob::cli
