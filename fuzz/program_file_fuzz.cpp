// Feeds arbitrary bytes to the tool's program file reader. Text that is not JSON, or JSON that
// does not describe a program, must be rejected with the reader's InputError; no arm file is
// read from disk (a program naming one is rejected the same way).

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "cli_error.hpp"
#include "program_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zor::rob::cli;
  const ArmLoader noArmFiles = [](const std::string& path) -> Arm {
    throw InputError("arm file '" + path + "' is not read while fuzzing");
  };
  try {
    const Program program = ProgramFromText(
        std::string_view(reinterpret_cast<const char*>(data), size), "fuzz.json", noArmFiles);
    static_cast<void>(program.moves.size());
  } catch (const InputError&) {
    // Rejected with a message: what the reader must do with a bad document.
  }
  return 0;
}
