// Feeds arbitrary bytes to the URDF reader as the text of a description. Text that is not a
// description, or a description whose chain is not an arm the library can hold, must be rejected
// with std::invalid_argument; an accepted arm must compute its home target and its described
// flange.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "zor/rob/arm_import.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zor::rob;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const UrdfChainEnds ends = DefaultUrdfChain(text);
    const ImportedArm arm = ArmFromUrdf(text, ends.base, ends.tip);
    static_cast<void>(arm.robot.getHomeTarget());
    static_cast<void>(arm.userFlangePose(arm.robot.homeJoint));
  } catch (const std::invalid_argument&) {
    // Rejected with a message naming the link, the joint or the assumption.
  }
  try {
    // Names a description may well use, so the reader also meets chains it was not led to.
    static_cast<void>(ArmFromUrdf(text, "base_link", "tool0"));
  } catch (const std::invalid_argument&) {
    // Rejected, as above.
  }
  return 0;
}
