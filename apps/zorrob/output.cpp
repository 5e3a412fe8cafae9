#include "output.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>

namespace zor::rob::cli {

std::string fixed(double value, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  std::string text(buffer);
  // "-0.0000" reads as a sign that the value does not have at this precision.
  if (text.front() == '-' && text.find_first_not_of("-0.") == std::string::npos)
    text.erase(0, 1);
  return text;
}

namespace {

// "(a, b, ...)" in fixed notation.
std::string fixedTuple(std::initializer_list<double> values, int decimals) {
  std::string out = "(";
  for (const double v : values) {
    if (out.size() > 1)
      out += ", ";
    out += fixed(v, decimals);
  }
  out += ')';
  return out;
}

}  // namespace

std::string fixedTriple(const Vec3& v, int decimals) {
  return fixedTuple({v.x, v.y, v.z}, decimals);
}

std::string fixedOrient(const Orient& o, int decimals) {
  return fixedTuple({o.q1, o.q2, o.q3, o.q4}, decimals);
}

std::string Table::render(std::string_view indent) const {
  std::vector<std::size_t> widths(align_.size(), 0);
  for (const auto& row : rows_)
    for (std::size_t c = 0; c < row.size() && c < widths.size(); ++c)
      widths[c] = std::max(widths[c], row[c].size());
  std::string out;
  for (const auto& row : rows_) {
    std::string line(indent);
    for (std::size_t c = 0; c < row.size() && c < widths.size(); ++c) {
      if (c > 0)
        line += "  ";
      const std::string pad(widths[c] - row[c].size(), ' ');
      line += align_[c] == Align::Right ? pad + row[c] : row[c] + pad;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out += line;
    out += '\n';
  }
  return out;
}

std::string JsonText(const nlohmann::ordered_json& json) {
  // A file name that is not valid UTF-8 is written with replacement characters.
  return json.dump(kJsonIndent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

void JsonObjectWriter::key(const std::string& key) {
  out_ << (empty_ ? "{\n" : ",\n") << std::string(kJsonIndent, ' ')
       << JsonText(nlohmann::ordered_json(key)) << ": ";
  empty_ = false;
}

void JsonObjectWriter::nested(const nlohmann::ordered_json& json, int depth) {
  // The text of a value standalone, each line after its first moved right by its depth (a
  // string's newlines are escaped, so every newline is one of the layout's).
  const std::string pad(static_cast<std::size_t>(depth * kJsonIndent), ' ');
  for (const char c : JsonText(json)) {
    out_ << c;
    if (c == '\n')
      out_ << pad;
  }
}

void JsonObjectWriter::member(const std::string& name, const nlohmann::ordered_json& value) {
  key(name);
  nested(value, 1);
}

void JsonObjectWriter::arrayMember(
    const std::string& name, std::size_t count,
    const std::function<nlohmann::ordered_json(std::size_t)>& element) {
  key(name);
  if (count == 0) {
    out_ << "[]";
    return;
  }
  const std::string pad(2 * kJsonIndent, ' ');
  out_ << "[\n";
  for (std::size_t i = 0; i < count; ++i) {
    out_ << pad;
    nested(element(i), 2);
    out_ << (i + 1 < count ? ",\n" : "\n");
  }
  out_ << std::string(kJsonIndent, ' ') << ']';
}

void JsonObjectWriter::finish() {
  out_ << (empty_ ? "{}" : "\n}");
}

nlohmann::ordered_json toJson(const Vec3& v) {
  return {v.x, v.y, v.z};
}
nlohmann::ordered_json toJson(const Pos& p) {
  return {p.x, p.y, p.z};
}
nlohmann::ordered_json toJson(const Orient& o) {
  return {o.q1, o.q2, o.q3, o.q4};
}

}  // namespace zor::rob::cli
