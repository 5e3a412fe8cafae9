#include "support/test_support.hpp"

#include <cstdlib>
#include <string>

namespace zor::rob::test {

std::uint64_t testSeed() {
  static const std::uint64_t seed = [] {
    const char* text = std::getenv("ZORROB_TEST_SEED");
    return text != nullptr ? std::stoull(text) : std::uint64_t{20261121};
  }();
  return seed;
}

}  // namespace zor::rob::test
