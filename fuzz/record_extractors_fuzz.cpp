// Feeds arbitrary text to every record extractor. The first byte picks the record, the rest is
// the stream text. An extraction may fail (the stream state says so) but must never crash, hang
// or read out of bounds; a record that was read must write itself in every text form and read
// that stream form back without crashing either.

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "zor/rob/conf_data.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/moves.hpp"
#include "zor/rob/targets.hpp"

namespace {

using namespace zor::rob;

// Text forms whose caller-given decimals are bounded by what a host would ask for.
constexpr int kUiDecimals = 3;

template <typename Record>
void writeAll(const Record& r) {
  if constexpr (requires { r.toString(); })
    static_cast<void>(r.toString());
  if constexpr (requires { r.toUIString(); })
    static_cast<void>(r.toUIString());
  if constexpr (requires { r.toUIString(kUiDecimals); })
    static_cast<void>(r.toUIString(kUiDecimals));
  if constexpr (requires { r.toOstrelString(); })
    static_cast<void>(r.toOstrelString());
  if constexpr (requires { r.toKrlString(); })
    static_cast<void>(r.toKrlString());
}

template <typename Record>
void extract(const std::string& text, bool boolalpha) {
  std::istringstream in(text);
  if (boolalpha)
    in >> std::boolalpha;
  Record r{};
  if (!(in >> r))
    return;
  writeAll(r);
  std::ostringstream out;
  out << r;
  std::istringstream back(out.str());
  if (boolalpha)
    back >> std::boolalpha;
  Record again{};
  back >> again;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0)
    return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const bool boolalpha = (data[0] & 0x80) != 0;
  switch (data[0] % 12) {
    case 0:
      extract<RobJoint>(text, boolalpha);
      break;
    case 1:
      extract<RobJointA>(text, boolalpha);
      break;
    case 2:
      extract<ExtJoint>(text, boolalpha);
      break;
    case 3:
      extract<JointTarget>(text, boolalpha);
      break;
    case 4:
      extract<JointTargetA>(text, boolalpha);
      break;
    case 5:
      extract<ConfData>(text, boolalpha);
      break;
    case 6:
      extract<RobTarget>(text, boolalpha);
      break;
    case 7:
      extract<ToolData>(text, boolalpha);
      break;
    case 8:
      extract<WObjData>(text, boolalpha);
      break;
    case 9:
      extract<LoadData>(text, boolalpha);
      break;
    case 10:
      extract<SpeedData>(text, boolalpha);
      break;
    default:
      extract<ZoneData>(text, boolalpha);
      break;
  }
  return 0;
}
