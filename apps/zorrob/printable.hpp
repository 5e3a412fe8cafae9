#pragma once

#include <string>
#include <string_view>

namespace zor::rob::cli {

/// \returns `text` safe to show on a terminal: control characters (below 0x20, 0x7f, and the
/// C1 controls U+0080 to U+009F written in UTF-8) become escapes ("\n", "\t", "\r", "\x1b",
/// "\u009b"), so that a name or file name can neither break a line nor steer the terminal.
/// Every other byte stays as it is.
std::string Printable(std::string_view text);

}  // namespace zor::rob::cli
