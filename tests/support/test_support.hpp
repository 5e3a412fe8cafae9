#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace zor::rob::test {

/// The seed of every random source in the suite: ZORROB_TEST_SEED from the environment when it
/// is set, a fixed value otherwise. The test main prints it, so a failure can be replayed.
std::uint64_t testSeed();

/// A fixed-seed random source for property tests.
class Random {
 public:
  Random() : engine_(testSeed()) {}
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  double uniform(double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(engine_);
  }
  int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(engine_); }
  std::mt19937_64& engine() { return engine_; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace zor::rob::test

/// Expects `statement` to throw exactly `type` (not a subclass caught by a base) with the
/// message `message`.
#define EXPECT_THROW_MSG(statement, type, message)                                               \
  do {                                                                                           \
    try {                                                                                        \
      statement;                                                                                 \
      ADD_FAILURE() << "expected " #statement " to throw " #type;                                \
    } catch (const type& zorrobCaught) {                                                         \
      EXPECT_EQ(typeid(zorrobCaught), typeid(type)) << "thrown type is derived from " #type;     \
      EXPECT_STREQ(zorrobCaught.what(), message);                                                \
    } catch (...) {                                                                              \
      ADD_FAILURE() << "expected " #statement " to throw " #type << ", it threw something else"; \
    }                                                                                            \
  } while (false)
