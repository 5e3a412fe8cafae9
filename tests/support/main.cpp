#include <gtest/gtest.h>

#include <iostream>

#include "support/test_support.hpp"

namespace {

// Prints the random seed next to every failure, so that a property test can be replayed with
// ZORROB_TEST_SEED.
class SeedPrinter : public testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (result.failed()) {
      std::cout << "(random seed: " << zor::rob::test::testSeed()
                << "; set ZORROB_TEST_SEED to replay)\n";
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new SeedPrinter);
  return RUN_ALL_TESTS();
}
