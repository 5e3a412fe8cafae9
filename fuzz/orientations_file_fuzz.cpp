// Feeds arbitrary bytes to the tool's orientations file reader. Text that is not JSON, or JSON
// that does not list quaternions, must be rejected with the reader's InputError.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "cli_error.hpp"
#include "orientations_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zor::rob::cli;
  try {
    const auto orientations = OrientationsFromText(
        std::string_view(reinterpret_cast<const char*>(data), size), "fuzz.json");
    static_cast<void>(orientations.size());
  } catch (const InputError&) {
    // Rejected with a message: what the reader must do with a bad document.
  }
  return 0;
}
