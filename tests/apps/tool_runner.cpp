#include "tool_runner.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace zor::rob::test {

namespace {

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

ToolResult RunTool(const std::vector<std::string>& args) {
  const TempDir dir;
  const std::string outPath = dir.write("stdout", "");
  const std::string errPath = dir.write("stderr", "");

  std::vector<std::string> argvStrings{ZORROB_CLI_PATH};
  argvStrings.insert(argvStrings.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : argvStrings)
    argv.push_back(a.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0)
    throw std::runtime_error(std::string("cannot start ") + ZORROB_CLI_PATH);

  int wstatus = 0;
  while (waitpid(pid, &wstatus, 0) < 0) {
  }
  ToolResult result;
  if (WIFEXITED(wstatus)) {
    result.status = WEXITSTATUS(wstatus);
  } else {
    result.signalled = true;
    result.status = 128 + WTERMSIG(wstatus);
  }
  result.out = readFile(outPath);
  result.err = readFile(errPath);
  return result;
}

nlohmann::json RunToolJson(const std::vector<std::string>& args) {
  const ToolResult r = RunTool(args);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  try {
    return nlohmann::json::parse(r.out);
  } catch (const nlohmann::json::exception& e) {
    ADD_FAILURE() << "not JSON: " << e.what() << "\n" << r.out;
    return {};
  }
}

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "zorrob-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr)
    throw std::runtime_error("cannot create a temporary directory");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::write(const std::string& name, const std::string& content) const {
  const std::filesystem::path file = path_ / name;
  std::ofstream(file, std::ios::binary) << content;
  return file.string();
}

std::vector<std::string> FieldValues(const std::string& text, const std::string& label) {
  std::vector<std::string> values;
  for (const std::string& line : Lines(text)) {
    const std::size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos || line.compare(start, label.size(), label) != 0)
      continue;
    const std::size_t after = start + label.size();
    if (line.compare(after, 2, "  ") != 0)
      continue;
    values.push_back(line.substr(line.find_first_not_of(' ', after)));
  }
  return values;
}

std::string FieldValue(const std::string& text, const std::string& label) {
  const std::vector<std::string> values = FieldValues(text, label);
  return values.empty() ? std::string() : values.front();
}

std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

std::string Shortest(double v) {
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, v).ptr;
  return {buffer, end};
}

}  // namespace zor::rob::test
