#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// The tool's input files (arm files, URDF files, program files), read whole and parsed as JSON,
// with errors that name the kind of file and its path.
namespace zor::rob::cli {

/// The largest arm file (JSON or URDF) the tool reads: 64 MiB.
inline constexpr std::uintmax_t kArmFileCap = std::uintmax_t{64} << 20;
/// The largest program file the tool reads: 256 MiB, room for well over a million moves while
/// the parsed document stays within a few GB.
inline constexpr std::uintmax_t kProgramFileCap = std::uintmax_t{256} << 20;

/// \returns the whole content of the file at `path`, of at most `cap` bytes. Only regular files
/// are opened, so a device, a FIFO or a socket is refused at once instead of blocking or reading
/// without end. Throws InputError "<kind> file '<path>' is a directory", "... is not a regular
/// file", "... is larger than <cap> bytes" or "... cannot be read".
std::string readInputFile(const std::string& path, std::string_view kind, std::uintmax_t cap);

/// \returns `text` parsed as one JSON document. Throws InputError "<kind> file '<source>' is not
/// valid JSON: " followed by the parser's message, and "<kind> file '<source>': '<key>' is given
/// twice" for a key that appears twice in one object (named by its path, as "limits.min" or
/// "moves[2].to.name"), where the parser alone would keep the last value silently.
nlohmann::json parseJsonDocument(std::string_view text, std::string_view kind,
                                 const std::string& source);

/// Takes an element of a streamed array (its index from 0) as soon as it is parsed.
using ElementSink = std::function<void(std::size_t index, const nlohmann::json& element)>;

/// \returns `text` parsed as parseJsonDocument does, except that each element of the array under
/// the top-level key `key` is handed to `sink` as soon as it is parsed and left out of the
/// document, whose `key` then holds an empty array: a program of a million moves is never held
/// as one document. An exception of `sink` leaves the parse.
nlohmann::json parseJsonDocument(std::string_view text, std::string_view kind,
                                 const std::string& source, std::string_view key,
                                 const ElementSink& sink);

}  // namespace zor::rob::cli
