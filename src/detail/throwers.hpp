#pragma once

// The library throws each exception type from one cold, out-of-line function: the throwing code
// stays out of the callers, and each type is constructed in one place. std::overflow_error has
// one message and is thrown by throwZeroLengthVector (zor/rob/detail/errors.hpp); TPCircleFail
// is thrown only by the circle's constructor.

#include <string>

namespace zor::rob::detail {

/// Throws std::logic_error with `message`.
[[noreturn, gnu::cold]] void throwLogicError(const char* message);

/// Throws std::invalid_argument with `message`: bad input to the arm readers and the audit.
[[noreturn, gnu::cold]] void throwInvalidArgument(const std::string& message);

}  // namespace zor::rob::detail
