#include "support/test_support.hpp"

#include <cstdlib>
#include <string>

namespace zor::rob::test {

std::uint64_t testSeed() {
  static const std::uint64_t seed = [] {
    // An unset, empty or unreadable seed falls back to the fixed default.
    constexpr std::uint64_t kDefaultSeed = 20261121;
    const char* text = std::getenv("ZORROB_TEST_SEED");
    if (text == nullptr || *text == '\0') {
      return kDefaultSeed;
    }
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    return *end == '\0' ? std::uint64_t{value} : kDefaultSeed;
  }();
  return seed;
}

}  // namespace zor::rob::test
