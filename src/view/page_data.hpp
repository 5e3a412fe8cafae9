#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

// Writers of the page's data: JSON safe to place inside an HTML <script> element, and binary
// arrays as base64.
namespace zor::rob::view {

/// Appends `text` as a JSON string. Besides the characters JSON requires escaped, <, > and & are
/// written as \u003c, \u003e and \u0026 so that no text can close the element the JSON sits in,
/// and U+2028 and U+2029 as \u2028 and \u2029, which older script parsers take for line ends.
void appendJsonString(std::string& out, std::string_view text);

/// Appends the number in its shortest round-trip form; null for a value that is not finite.
void appendJsonNumber(std::string& out, double value);

/// Appends "[v0,v1,...]" of appendJsonNumber.
void appendJsonNumbers(std::string& out, std::span<const double> values);

/// Appends `bytes` in base64 (standard alphabet, padded), as a JSON string needs no escape.
void appendBase64(std::string& out, std::span<const unsigned char> bytes);

/// Appends `text` with &, <, >, " and ' written as character references, for HTML text and
/// attribute values.
void appendHtmlText(std::string& out, std::string_view text);

}  // namespace zor::rob::view
