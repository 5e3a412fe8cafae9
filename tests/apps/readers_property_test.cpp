// The tool's readers called directly (the zorrob_readers library): documents of every arm form
// and the example program with numbers replaced by hostile ones. Each is either rejected with
// one InputError line or read into an arm whose home pose is finite.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "arm_file.hpp"
#include "cli_error.hpp"
#include "input_file.hpp"
#include "program_file.hpp"
#include "support/test_support.hpp"

namespace zor::rob::cli {
namespace {

using nlohmann::json;

/// Documents per arm form and of the program: 5 x 10^4 in all in Release (about 3 s), fewer
/// under the sanitizers.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kDocuments = 1000;
#else
constexpr int kDocuments = 10000;
#endif

/// Number texts that are hostile to a reader: beyond a double, below the smallest one,
/// subnormal, huge, zero of both signs.
const std::vector<std::string> kHostile{
    "1e400",  "-1e400", "1e-400", "-1e-400", "4.9e-324", "1e300",
    "-1e300", "1e200",  "0",      "-0",      "1e-300",   "123456789012345678901234567890"};

std::string readText(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// `text` with one to three of its numbers replaced by hostile texts.
std::string mutated(const std::string& text, test::Random& random) {
  std::vector<std::pair<std::size_t, std::size_t>> numbers;  // start and length of each number
  for (std::size_t i = 0; i < text.size();) {
    const bool starts =
        (std::isdigit(static_cast<unsigned char>(text[i])) != 0 || text[i] == '-') &&
        (i == 0 || std::string_view(" [:,").find(text[i - 1]) != std::string::npos);
    if (!starts) {
      ++i;
      continue;
    }
    std::size_t end = i + 1;
    while (end < text.size() &&
           std::string_view("0123456789.eE+-").find(text[end]) != std::string::npos)
      ++end;
    numbers.emplace_back(i, end - i);
    i = end;
  }
  std::string out = text;
  for (int k = random.integer(1, 3); k > 0 && !numbers.empty(); --k) {
    const auto n =
        static_cast<std::size_t>(random.integer(0, static_cast<int>(numbers.size()) - 1));
    const auto [start, length] = numbers[n];
    const std::string& value = kHostile[static_cast<std::size_t>(
        random.integer(0, static_cast<int>(kHostile.size()) - 1))];
    out.replace(start, length, value);
    // Later numbers have moved: drop the list past this one.
    numbers.resize(n);
  }
  return out;
}

bool finite(const Transform& t) {
  return std::isfinite(t.translation.x) && std::isfinite(t.translation.y) &&
         std::isfinite(t.translation.z) && std::isfinite(t.rotation.w) &&
         std::isfinite(t.rotation.x) && std::isfinite(t.rotation.y) && std::isfinite(t.rotation.z);
}

TEST(ReadersProperty, HostileNumbersInArmFilesAreRejectedOrGiveAFiniteArm) {
  const std::string corpus = std::string(ZORROB_SOURCE_DIR) + "/fuzz/corpus/arm_file_fuzz/";
  test::Random random;
  for (const std::string name :
       {"default.json", "dh.json", "general.json", "offsets_and_signs.json"}) {
    const std::string text = readText(corpus + name);
    ASSERT_NO_THROW(armFromJson(parseJsonDocument(text, "arm", name), name)) << name;
    int accepted = 0;
    for (int n = 0; n < kDocuments; ++n) {
      const std::string doc = mutated(text, random);
      try {
        const Arm arm = armFromJson(parseJsonDocument(doc, "arm", name), name);
        ++accepted;
        ASSERT_TRUE(finite(arm.config.getWristPoseInBase(arm.config.homeJoint))) << doc;
      } catch (const InputError& e) {
        const std::string message = e.what();
        ASSERT_EQ(message.rfind("arm file '" + name + "'", 0), 0u) << message;
        ASSERT_EQ(message.find('\n'), std::string::npos) << message;
      }
    }
    // Zeros and small changes leave some arms valid.
    EXPECT_GT(accepted, 0) << name;
  }
}

TEST(ReadersProperty, HostileNumbersInProgramsAreRejectedOrRead) {
  const std::string text = readText(std::string(ZORROB_SOURCE_DIR) + "/examples/audit/cell.json");
  const ArmLoader noArmFiles = [](const std::string& path) -> Arm {
    throw InputError("arm file '" + path + "' is not read here");
  };
  test::Random random;
  int accepted = 0;
  for (int n = 0; n < kDocuments; ++n) {
    const std::string doc = mutated(text, random);
    try {
      const Program program = ProgramFromText(doc, "cell.json", noArmFiles);
      ++accepted;
      for (const double v : program.start.values)
        ASSERT_TRUE(std::isfinite(v)) << doc;
    } catch (const InputError& e) {
      const std::string message = e.what();
      ASSERT_EQ(message.rfind("program file 'cell.json'", 0), 0u) << message;
      ASSERT_EQ(message.find('\n'), std::string::npos) << message;
    }
  }
  EXPECT_GT(accepted, 0);
}

}  // namespace
}  // namespace zor::rob::cli
