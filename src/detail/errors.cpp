#include "zor/rob/detail/errors.hpp"

#include <stdexcept>

#include "detail/messages.hpp"
#include "detail/throwers.hpp"

namespace zor::rob::detail {

void throwLogicError(const char* message) {
  throw std::logic_error(message);
}

void throwInvalidArgument(const std::string& message) {
  throw std::invalid_argument(message);
}

void throwZeroQuaternion() {
  throwLogicError(msg::kZeroQuaternion);
}

void throwZeroLengthVector() {
  throw std::overflow_error(msg::kZeroLengthVector);
}

}  // namespace zor::rob::detail
