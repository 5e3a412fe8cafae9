// zorrob view and zorrob audit --html: the pages they write, what they report and their
// one-line errors. What the pages show is tested in a browser (tests/browser).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tool_runner.hpp"

namespace zor::rob::test {
namespace {

std::string Example() {
  return std::string(ZORROB_SOURCE_DIR) + "/examples/audit/cell.json";
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// A temporary directory's path for a file that does not exist yet.
std::string PathIn(const TempDir& dir, const std::string& name) {
  const std::string path = dir.write(name, "");
  std::filesystem::remove(path);
  return path;
}

TEST(ZorrobView, ExampleProgramPageHoldsTheAuditAndReportsItsSize) {
  const TempDir dir;
  const std::string page = PathIn(dir, "cell.html");
  const ToolResult r = RunTool({"view", Example(), "-o", page});
  EXPECT_EQ(r.status, 0) << r.err;  // events do not fail the page
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(FieldValue(r.out, "program"), Example());
  EXPECT_EQ(FieldValue(r.out, "arm"), "default (embedded)");
  // 700 one-millimetre steps of the example's joint and Cartesian moves, plus the start.
  EXPECT_EQ(FieldValue(r.out, "events"), "3");
  const std::string html = ReadFile(page);
  EXPECT_EQ(html.rfind("<!DOCTYPE html>", 0), 0u);
  EXPECT_EQ(FieldValue(r.out, "page"), page + " (" + std::to_string(html.size()) + " bytes)");
  EXPECT_NE(html.find("\"kind\":\"wrist singularity\""), std::string::npos);
  EXPECT_NE(html.find("\"tool\":\"torch\",\"wobj\":\"table\""), std::string::npos);

  const nlohmann::json j = RunToolJson({"view", Example(), "-o", page, "--json"});
  EXPECT_EQ(j["program"], Example());
  EXPECT_EQ(j["events"], 3);
  EXPECT_EQ(j["samples"], std::stoi(FieldValue(r.out, "samples")));
  EXPECT_EQ(j["page"], page);
  EXPECT_EQ(j["bytes"], html.size());
}

TEST(ZorrobView, StepRefinesTheSamples) {
  const TempDir dir;
  const std::string page = PathIn(dir, "fine.html");
  const nlohmann::json coarse = RunToolJson({"view", Example(), "-o", page, "--json"});
  const nlohmann::json fine =
      RunToolJson({"view", Example(), "--step", "0.5", "-o", page, "--json"});
  EXPECT_GT(fine["samples"].get<int>(), coarse["samples"].get<int>());
}

TEST(ZorrobView, ArmAloneFromTheDefaultOrAnArmFile) {
  const TempDir dir;
  const std::string page = PathIn(dir, "arm.html");
  ToolResult r = RunTool({"view", "-o", page});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "arm"), "default (embedded)");
  EXPECT_EQ(FieldValue(r.out, "program"), "");
  EXPECT_NE(ReadFile(page).find("<title>zorrob: default</title>"), std::string::npos);

  const std::string armFile = std::string(ZORROB_SOURCE_DIR) + "/data/arms/default.json";
  r = RunTool({"view", "--arm", armFile, "-o", page});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "arm"), "default (" + armFile + ")");
  // --arm replaces the program's own arm.
  r = RunTool({"view", Example(), "--arm", armFile, "-o", page});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "arm"), "default (" + armFile + ")");
}

TEST(ZorrobView, AuditWritesThePageBesideItsReport) {
  const TempDir dir;
  const std::string page = PathIn(dir, "audit.html");
  const ToolResult r = RunTool({"audit", Example(), "--html", page});
  EXPECT_EQ(r.status, 3) << r.err;
  EXPECT_EQ(FieldValue(r.out, "events"), "3");
  const std::string html = ReadFile(page);
  EXPECT_NE(html.find("<title>zorrob: " + Example() + "</title>"), std::string::npos);
  EXPECT_NE(html.find("\"kind\":\"configuration change\""), std::string::npos);
}

TEST(ZorrobView, TargetNamesMustBeText) {
  const TempDir dir;
  const std::string program = dir.write(
      "named.json",
      R"({"start": [0, 0, 0, 0, 30, 0], "moves": [{"type": "MoveL", "speed": "v100",)"
      R"( "zone": "fine", "to": {"name": 5, "position": [890, 0, 940],)"
      R"( "orientation": [0.7071067811865476, 0, 0.7071067811865476, 0], "conf": [0, 0, 0, 0]}}]})");
  const ToolResult r = RunTool({"view", program, "-o", PathIn(dir, "named.html")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "zorrob view: program file '" + program + "': move 0: 'to.name' must be a string\n");
  EXPECT_EQ(r.out, "");
}

TEST(ZorrobView, CommandLineErrors) {
  const TempDir dir;
  const std::string page = PathIn(dir, "x.html");
  const auto expectError = [](const std::vector<std::string>& args, int status,
                              const std::string& message) {
    const ToolResult r = RunTool(args);
    EXPECT_EQ(r.status, status) << r.err;
    EXPECT_EQ(r.err, message + "\n");
    EXPECT_EQ(r.out, "");
  };
  expectError({"view"}, 2, "zorrob view: --output is required");
  expectError({"view", "--step", "1", "-o", page}, 2,
              "zorrob view: --step goes with a program file");
  expectError({"view", Example(), "--step", "0", "-o", page}, 2,
              "zorrob view: --step must be positive, got '0'");
  expectError({"view", "--base", "x", "-o", page}, 2,
              "zorrob view: --base and --tip go with a URDF arm file (--arm FILE.urdf)");
  expectError({"view", Example(), "-o", "/nonexistent/x.html"}, 1,
              "zorrob view: page file '/nonexistent/x.html' cannot be written");
  expectError({"audit", Example(), "--html", "/nonexistent/x.html"}, 1,
              "zorrob audit: page file '/nonexistent/x.html' cannot be written");
  EXPECT_FALSE(std::filesystem::exists(page));
}

}  // namespace
}  // namespace zor::rob::test
