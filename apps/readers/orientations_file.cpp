#include "orientations_file.hpp"

#include <cstdint>
#include <stdexcept>

#include "input_file.hpp"
#include "json_reader.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob::cli {

namespace {

constexpr std::string_view kKind = "orientations";
constexpr std::uintmax_t kOrientationsFileCap = std::uintmax_t{64} << 20;

}  // namespace

std::vector<Orient> OrientationsFromText(std::string_view text, const std::string& source) {
  const nlohmann::json document = parseJsonDocument(text, kKind, source);
  const JsonReader reader("orientations file '" + source + "'");
  if (!document.is_object())
    throw InputError("orientations file '" + source + "': the document must be a JSON object");
  reader.checkKeys(document, "", {"quaternions"});
  const nlohmann::json& list = reader.member(document, "", "quaternions");
  if (!list.is_array())
    reader.fail("quaternions", "must be an array of quaternions");
  if (list.empty())
    reader.fail("quaternions", "holds no orientation");
  if (list.size() > kMaxFileOrientations)
    reader.fail("quaternions",
                "holds more than " + std::to_string(kMaxFileOrientations) + " orientations");
  std::vector<Orient> out;
  out.reserve(list.size());
  for (std::size_t k = 0; k < list.size(); ++k) {
    const std::string path = "quaternions[" + std::to_string(k) + "]";
    const auto q = reader.numbers<4>(list[k], path);
    // The library's normalisation rule decides what is too short to be a rotation.
    try {
      (void)Rotation(q[0], q[1], q[2], q[3]);
    } catch (const std::logic_error&) {
      reader.fail(path, "is a zero quaternion");
    }
    out.push_back({q[0], q[1], q[2], q[3]});
  }
  return out;
}

std::vector<Orient> LoadOrientationsFile(const std::string& path) {
  return OrientationsFromText(readInputFile(path, kKind, kOrientationsFileCap), path);
}

}  // namespace zor::rob::cli
