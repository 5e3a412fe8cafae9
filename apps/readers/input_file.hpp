#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// The tool's input files (arm files, URDF files, program files), read whole and parsed as JSON,
// with errors that name the kind of file and its path.
namespace zor::rob::cli {

/// \returns the whole content of the file at `path`. Throws InputError "<kind> file '<path>' is a
/// directory" or "<kind> file '<path>' cannot be read".
std::string readInputFile(const std::string& path, std::string_view kind);

/// \returns `text` parsed as one JSON document. Throws InputError "<kind> file '<source>' is not
/// valid JSON: " followed by the parser's message.
nlohmann::json parseJsonDocument(std::string_view text, std::string_view kind,
                                 const std::string& source);

}  // namespace zor::rob::cli
