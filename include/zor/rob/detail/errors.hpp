#pragma once

#include "zor/rob/export.hpp"

namespace zor::rob::detail {

// Internal: installed only because the inline code of vectors.hpp and rotation.hpp calls these;
// not part of the library's interface, and free to change.
//
// Cold, out-of-line throws keep the inline hot paths (normalisation, rotation) small.

/// Throws std::logic_error "normalize quaternion of 0 magnitude".
[[noreturn]] ZORROB_API void throwZeroQuaternion();

/// Throws std::overflow_error "0-length vector cannot be normalized.".
[[noreturn]] ZORROB_API void throwZeroLengthVector();

}  // namespace zor::rob::detail
