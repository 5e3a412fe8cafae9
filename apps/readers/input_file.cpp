#include "input_file.hpp"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <vector>

#include "cli_error.hpp"

namespace zor::rob::cli {

namespace {

/// Bytes read at a time: the file's stated size is not trusted (it may grow while it is read).
constexpr std::size_t kChunk = std::size_t{1} << 16;

/// One object or array open while the parser walks the document, for the path of a key.
struct Container {
  bool array{false};
  std::size_t index{0};
  std::string key{};
  std::set<std::string, std::less<>> keys{};
};

/// The path of `key` inside the open containers, as the readers name keys.
std::string keyPath(const std::vector<Container>& open, const std::string& key) {
  std::string path;
  for (std::size_t i = 0; i + 1 < open.size(); ++i) {
    if (open[i].array)
      path += "[" + std::to_string(open[i].index) + "]";
    else
      path += (path.empty() ? "" : ".") + open[i].key;
  }
  return path + (path.empty() ? "" : ".") + key;
}

}  // namespace

std::string readInputFile(const std::string& path, std::string_view kind, std::uintmax_t cap) {
  const std::string name = std::string(kind) + " file '" + path + "'";
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (std::filesystem::is_directory(status))
    throw InputError(name + " is a directory");
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    throw InputError(name + " is not a regular file");
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (!error && size > cap)
    throw InputError(name + " is larger than " + std::to_string(cap) + " bytes");
  std::ifstream file(path, std::ios::binary);
  if (error || !file)
    throw InputError(name + " cannot be read");
  std::string text;
  // Room for the whole file and the last chunk's read, so that the text is not copied as it
  // grows (a program file may take a good part of the audit's memory).
  text.reserve(static_cast<std::size_t>(size) + kChunk);
  while (file) {
    const std::size_t start = text.size();
    text.resize(start + kChunk);
    file.read(text.data() + start, static_cast<std::streamsize>(kChunk));
    text.resize(start + static_cast<std::size_t>(file.gcount()));
    if (text.size() > cap)
      throw InputError(name + " is larger than " + std::to_string(cap) + " bytes");
  }
  if (file.bad())
    throw InputError(name + " cannot be read");
  return text;
}

nlohmann::json parseJsonDocument(std::string_view text, std::string_view kind,
                                 const std::string& source) {
  return parseJsonDocument(text, kind, source, {}, {});
}

nlohmann::json parseJsonDocument(std::string_view text, std::string_view kind,
                                 const std::string& source, std::string_view key,
                                 const ElementSink& sink) {
  using Event = nlohmann::json::parse_event_t;
  std::vector<Container> open;
  // Whether the innermost open container is the streamed array.
  const auto inStreamedArray = [&] {
    return sink && open.size() == 2 && !open[0].array && open[1].array && open[0].key == key;
  };
  // The parser reports every key, and every finished value of an array; keys seen twice in one
  // object are refused before the parser would overwrite the first value.
  const auto watch = [&](int, Event event, nlohmann::json& parsed) {
    switch (event) {
      case Event::object_start:
      case Event::array_start:
        open.push_back({event == Event::array_start});
        break;
      case Event::key:
        if (!open.back().keys.insert(parsed.get<std::string>()).second)
          throw InputError(std::string(kind) + " file '" + source + "': '" +
                           keyPath(open, parsed.get<std::string>()) + "' is given twice");
        open.back().key = parsed.get<std::string>();
        break;
      case Event::object_end:
      case Event::array_end:
        open.pop_back();
        [[fallthrough]];
      case Event::value:
        if (!open.empty() && open.back().array) {
          const std::size_t index = open.back().index++;
          if (inStreamedArray()) {
            sink(index, parsed);
            return false;  // not kept in the document
          }
        }
        break;
    }
    return true;
  };
  try {
    return nlohmann::json::parse(text.begin(), text.end(), watch);
  } catch (const nlohmann::json::exception& e) {
    throw InputError(std::string(kind) + " file '" + source + "' is not valid JSON: " + e.what());
  }
}

}  // namespace zor::rob::cli
