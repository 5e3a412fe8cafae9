#include "view/page_data.hpp"

#include <cmath>
#include <cstdint>

#include "zor/rob/text.hpp"

namespace zor::rob::view {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

void appendUnicodeEscape(std::string& out, unsigned int code) {
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4)
    out += kHexDigits[(code >> shift) & 0xFu];
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text) {
  out += '"';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    switch (c) {
      case '"':
        out += "\\\"";
        continue;
      case '\\':
        out += "\\\\";
        continue;
      case '\n':
        out += "\\n";
        continue;
      case '<':
      case '>':
      case '&':
        appendUnicodeEscape(out, c);
        continue;
      default:
        break;
    }
    // U+2028 and U+2029 are E2 80 A8 and E2 80 A9 in UTF-8.
    if (c == 0xE2 && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x80 &&
        (static_cast<unsigned char>(text[i + 2]) & 0xFEu) == 0xA8) {
      appendUnicodeEscape(out, 0x2000u + static_cast<unsigned char>(text[i + 2]) - 0x80u);
      i += 2;
      continue;
    }
    if (c < 0x20)
      appendUnicodeEscape(out, c);
    else
      out += static_cast<char>(c);
  }
  out += '"';
}

void appendJsonNumber(std::string& out, double value) {
  if (std::isfinite(value))
    AppendShortestText(out, value);
  else
    out += "null";
}

void appendJsonNumbers(std::string& out, std::span<const double> values) {
  out += '[';
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0)
      out += ',';
    appendJsonNumber(out, values[i]);
  }
  out += ']';
}

void appendBase64(std::string& out, std::span<const unsigned char> bytes) {
  static constexpr char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t v = (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) |
                            std::uint32_t{bytes[i + 2]};
    for (int shift = 18; shift >= 0; shift -= 6)
      out += kAlphabet[(v >> shift) & 0x3Fu];
  }
  const std::size_t rest = bytes.size() - i;
  if (rest == 0)
    return;
  std::uint32_t v = std::uint32_t{bytes[i]} << 16;
  if (rest == 2)
    v |= std::uint32_t{bytes[i + 1]} << 8;
  out += kAlphabet[(v >> 18) & 0x3Fu];
  out += kAlphabet[(v >> 12) & 0x3Fu];
  out += rest == 2 ? kAlphabet[(v >> 6) & 0x3Fu] : '=';
  out += '=';
}

void appendHtmlText(std::string& out, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
}

}  // namespace zor::rob::view
