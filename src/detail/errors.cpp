#include "zor/rob/detail/errors.hpp"

#include <stdexcept>

#include "detail/messages.hpp"

namespace zor::rob::detail {

void throwZeroQuaternion() {
  throw std::logic_error(msg::kZeroQuaternion);
}

void throwZeroLengthVector() {
  throw std::overflow_error(msg::kZeroLengthVector);
}

}  // namespace zor::rob::detail
