#include "printable.hpp"

#include <array>
#include <cstddef>

namespace zor::rob::cli {

namespace {

/// "\xHH" for the byte `c`.
std::string hexEscape(unsigned char c) {
  constexpr std::array<char, 16> kDigits{'0', '1', '2', '3', '4', '5', '6', '7',
                                         '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
  return {'\\', 'x', kDigits[c >> 4], kDigits[c & 0xf]};
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '\n')
      out += "\\n";
    else if (c == '\t')
      out += "\\t";
    else if (c == '\r')
      out += "\\r";
    else if (c < 0x20 || c == 0x7f)
      out += hexEscape(c);
    else if (c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
             static_cast<unsigned char>(text[i + 1]) <= 0x9f) {
      // A C1 control: U+0080 to U+009F.
      out += "\\u00" + hexEscape(static_cast<unsigned char>(text[i + 1])).substr(2);
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace zor::rob::cli
