#include "input_file.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "cli_error.hpp"

namespace zor::rob::cli {

std::string readInputFile(const std::string& path, std::string_view kind) {
  const std::string name = std::string(kind) + " file '" + path + "'";
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored))
    throw InputError(name + " is a directory");
  std::ifstream file(path, std::ios::binary);
  if (!file)
    throw InputError(name + " cannot be read");
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

nlohmann::json parseJsonDocument(std::string_view text, std::string_view kind,
                                 const std::string& source) {
  try {
    return nlohmann::json::parse(text.begin(), text.end());
  } catch (const nlohmann::json::exception& e) {
    throw InputError(std::string(kind) + " file '" + source + "' is not valid JSON: " + e.what());
  }
}

}  // namespace zor::rob::cli
