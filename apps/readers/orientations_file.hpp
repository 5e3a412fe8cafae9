#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "zor/rob/pose.hpp"

// Orientations files: the tool orientations of a reach map, given as quaternions.
namespace zor::rob::cli {

/// The most orientations an orientations file may hold.
inline constexpr std::size_t kMaxFileOrientations = 1'000'000;

/// \returns the orientations of an orientations file: a JSON object whose only key
/// "quaternions" holds an array of one or more quaternions, each an array of four numbers
/// [q1, q2, q3, q4] (scalar first). Throws InputError, each message starting with
/// "orientations file '<source>'": the JSON errors of parseJsonDocument, "the document must be
/// a JSON object", the key errors of the tool's other files ("'quaternions' is missing", "'x'
/// is not a known key"), "'quaternions'
/// must be an array of quaternions", "'quaternions' holds no orientation", "'quaternions' holds
/// more than 1000000 orientations", "'quaternions[2]' must be an array of 4 numbers",
/// "'quaternions[2][0]' must be a number" and "'quaternions[2]' is a zero quaternion".
std::vector<Orient> OrientationsFromText(std::string_view text, const std::string& source);

/// \returns the orientations of the file at `path` (at most 64 MiB), as OrientationsFromText.
std::vector<Orient> LoadOrientationsFile(const std::string& path);

}  // namespace zor::rob::cli
