// Feeds arbitrary bytes to the tool's arm file reader. Text that is not JSON (or repeats a key),
// or JSON that does not describe an arm, must be rejected with the reader's InputError; an arm
// that is accepted must compute its home target and write itself back as a document that reads
// back.

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "arm_file.hpp"
#include "cli_error.hpp"
#include "input_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zor::rob::cli;
  try {
    const nlohmann::json doc = parseJsonDocument(
        std::string_view(reinterpret_cast<const char*>(data), size), "arm", "fuzz.json");
    const Arm arm = armFromJson(doc, "fuzz.json");
    static_cast<void>(arm.config.getHomeTarget());
    static_cast<void>(armFromJson(nlohmann::json::parse(armToJson(arm).dump()), "again.json"));
  } catch (const InputError&) {
    // Rejected with a message: what the reader must do with a bad document.
  }
  return 0;
}
