// zorrob audit and its program files: the report of the example program, the exit statuses,
// the samples file and the one-line rejections of bad program files.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/test_support.hpp"
#include "tool_runner.hpp"

namespace zor::rob::test {
namespace {

using nlohmann::json;

const std::string kForward = "[0.7071067811865476, 0, 0.7071067811865476, 0]";

std::string Example() {
  return std::string(ZORROB_SOURCE_DIR) + "/examples/audit/cell.json";
}

/// A target in the forward orientation (flange z along base x) at (x, 0, z).
std::string Target(double x, double z, const std::string& conf) {
  return R"({"position": [)" + Shortest(x) + ", 0, " + Shortest(z) + R"(], "orientation": )" +
         kForward + R"(, "conf": )" + conf + "}";
}

/// A program from the start joints [0, 0, 0, 0, 30, 0] with the given moves.
std::string Program(const std::vector<std::string>& moves) {
  std::string text = R"({"start": [0, 0, 0, 0, 30, 0], "moves": [)";
  for (std::size_t i = 0; i < moves.size(); ++i)
    text += (i > 0 ? ", " : "") + moves[i];
  return text + "]}";
}

// The vertical line x = 890 from z = 840 to 1040 passes joint 5 = 0 at z = 940 (see the
// library's audit tests); x = 800 .. 900 at z = 800 is clear of every singularity.
const std::string kJointTo840 = R"({"type": "MoveJ", "to": )" + Target(890, 840, "[0, 0, 0, 1]") +
                                R"(, "speed": "v500", "zone": "fine"})";
const std::string kUpThroughTheWrist = R"({"type": "MoveL", "to": )" +
                                       Target(890, 1040, "[0, 0, 0, 0]") +
                                       R"(, "speed": "v500", "zone": "fine"})";

TEST(ZorrobAudit, ExampleProgramReportsItsEventsAndExitsWith3) {
  const ToolResult r = RunTool({"audit", Example()});
  EXPECT_EQ(r.status, 3) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(FieldValue(r.out, "program"), Example());
  EXPECT_EQ(FieldValue(r.out, "arm"), "default (embedded)");
  EXPECT_EQ(FieldValue(r.out, "moves"), "7");
  EXPECT_EQ(FieldValue(r.out, "events"), "3");
  // The move table: the times are the report's own (the library's tests check the timing),
  // printed to 4 decimals; the limits allow the programmed speed everywhere (100%).
  const json j = json::parse(RunTool({"audit", Example(), "--json"}).out);
  const auto time = [&](std::size_t move) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", j["moves"][move]["duration"].get<double>());
    return std::string(text);
  };
  char cycle[32];
  std::snprintf(cycle, sizeof cycle, "%.4f s", j["duration"].get<double>());
  EXPECT_EQ(FieldValue(r.out, "cycle time"), cycle);
  const std::vector<std::string> lines = Lines(r.out);
  const auto row = [&](const std::string& index) {
    for (const std::string& line : lines) {
      const std::vector<std::string> w = Words(line);
      if (!w.empty() && w[0] == index && w.size() == 9)
        return w;
    }
    return std::vector<std::string>{};
  };
  // 100 mm, the 20 mm move whose z20 shrinks to 10 mm, the half circle of radius 50.
  EXPECT_EQ(row("2"), (std::vector<std::string>{"2", "MoveL", "yes", time(2), "100.0", "100.0000",
                                                "0.0000", "10.0000", "0"}));
  EXPECT_EQ(row("3"), (std::vector<std::string>{"3", "MoveL", "yes", time(3), "100.0", "20.0000",
                                                "0.0000", "10.0000", "1"}));
  EXPECT_EQ(row("4"), (std::vector<std::string>{"4", "MoveC", "yes", time(4), "100.0", "157.0796",
                                                "0.0000", "0.0000", "0"}));
  EXPECT_NE(r.out.find("zone shrunk           path  0.500000 .. 1.000000  10.0000 .. 20.0000"),
            std::string::npos)
      << r.out;
}

TEST(ZorrobAudit, JsonReportListsMovesAndEvents) {
  const ToolResult r = RunTool({"audit", Example(), "--json"});
  EXPECT_EQ(r.status, 3);
  const json j = json::parse(r.out);
  EXPECT_EQ(j["clean"], false);
  ASSERT_EQ(j["moves"].size(), 7u);
  EXPECT_EQ(j["moves"][4]["type"], "MoveC");
  EXPECT_NEAR(j["moves"][4]["pathLength"].get<double>(), 50.0 * 3.141592653589793, 1e-9);
  ASSERT_EQ(j["events"].size(), 3u);
  EXPECT_EQ(j["events"][0]["kind"], "zone shrunk");
  EXPECT_EQ(j["events"][0]["move"], 3);
  EXPECT_EQ(j["events"][1]["kind"], "wrist singularity");
  EXPECT_EQ(j["events"][2]["kind"], "configuration change");
  EXPECT_EQ(j["events"][2]["on"], "path");
  // Move 6 runs from z = 800 up: the forearm is level at z = 940 (the torch adds 150 mm in x,
  // the table 800 mm in z), 140 mm along.
  EXPECT_NEAR(j["events"][2]["startArcLength"].get<double>(), 140.0, 1.1e-3);
  double sum = 0.0;
  for (const json& m : j["moves"])
    sum += m["duration"].get<double>();
  EXPECT_NEAR(j["duration"].get<double>(), sum, 1e-12);
}

TEST(ZorrobAudit, CleanProgramExitsWith0) {
  const TempDir dir;
  const std::string path = dir.write(
      "clean.json", Program({R"({"type": "MoveJ", "to": )" + Target(800, 800, "[0, 0, 0, 1]") +
                                 R"(, "speed": "v500", "zone": "fine"})",
                             R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                                 R"(, "speed": {"tcp": 50, "ori": 100}, "zone": "fine"})"}));
  const ToolResult r = RunTool({"audit", path});
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(FieldValue(r.out, "events"), "none");
  EXPECT_EQ(r.out.find("\nevents\n"), std::string::npos);
  // 100 mm at 50 mm/s from rest to rest at 5000 mm/s²: 100/50 + 50/5000 s. The ramps (0.25
  // mm) are shorter than the 1 mm grid, which spreads each over one step: at most a step's
  // time at full speed more at each end, 2 · 1/50 s.
  const json j = RunToolJson({"audit", path, "--json"});
  EXPECT_EQ(j["clean"], true);
  EXPECT_GE(j["moves"][1]["duration"].get<double>(), 2.01 - 1e-9);
  EXPECT_LE(j["moves"][1]["duration"].get<double>(), 2.01 + 0.04);
  EXPECT_EQ(j["moves"][1]["lowestSpeedShare"].get<double>(), 1.0);
  EXPECT_FALSE(j.contains("samples"));
}

// The JSON report is written piece by piece as it is formed; its text is that of the whole
// document, as nlohmann writes it with two spaces a level (parsed back in order and written again
// here), with and without events and samples.
TEST(ZorrobAudit, JsonReportIsTheWholeDocumentsText) {
  const TempDir dir;
  const std::string clean = dir.write(
      "clean.json", Program({R"({"type": "MoveJ", "to": )" + Target(800, 800, "[0, 0, 0, 1]") +
                             R"(, "speed": "v500", "zone": "fine"})"}));
  const std::vector<std::vector<std::string>> runs{
      {"audit", Example(), "--json"},
      {"audit", Example(), "--json", "--timed-samples"},
      {"audit", clean, "--json"}};
  for (const std::vector<std::string>& args : runs) {
    const ToolResult r = RunTool(args);
    SCOPED_TRACE(args.back());
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, nlohmann::ordered_json::parse(r.out).dump(2) + "\n");
  }
  const nlohmann::ordered_json j = nlohmann::ordered_json::parse(RunTool(runs[2]).out);
  EXPECT_EQ(j["events"], nlohmann::ordered_json::array());
  EXPECT_NE(RunTool(runs[2]).out.find("\"events\": []\n}"), std::string::npos);
}

TEST(ZorrobAudit, SamplesGoToACsvFile) {
  const TempDir dir;
  const std::string program = dir.write("p.json", Program({kJointTo840, kUpThroughTheWrist}));
  const std::string csv = dir.write("samples.csv", "");
  const ToolResult r = RunTool({"audit", program, "--samples", csv, "--step", "4"});
  EXPECT_EQ(r.status, 3) << r.err;
  std::ifstream in(csv);
  std::stringstream content;
  content << in.rdbuf();
  const std::vector<std::string> lines = Lines(content.str());
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0],
            "move,corner,fraction,arc_mm,x,y,z,q1,q2,q3,q4,j1,j2,j3,j4,j5,j6,cf1,cf4,cf6,cfx,"
            "singularity,reachable");
  std::size_t onLine = 0;
  for (const std::string& line : lines)
    onLine += line.rfind("1,0,", 0) == 0 ? 1u : 0u;
  EXPECT_EQ(onLine, 51u);  // 200 mm in steps of 4 mm, both ends included
  // The last sample: move 1 at fraction 1, the flange at z = 1040, clear of the wrist.
  std::vector<std::string> last;
  std::stringstream cells(lines.back());
  for (std::string cell; std::getline(cells, cell, ',');)
    last.push_back(cell);
  ASSERT_EQ(last.size(), 23u);
  EXPECT_EQ(last[0], "1");
  EXPECT_EQ(last[2], "1");
  EXPECT_NEAR(std::stod(last[6]), 1040.0, 1e-9);
  EXPECT_EQ(last[20], "0");
  EXPECT_EQ(last[21], "none");
  EXPECT_EQ(last[22], "1");
}

TEST(ZorrobAudit, JsonCarriesTimedSamplesWhenAsked) {
  const TempDir dir;
  const std::string program = dir.write("p.json", Program({kJointTo840, kUpThroughTheWrist}));
  const ToolResult r = RunTool({"audit", program, "--json", "--timed-samples", "--step", "4"});
  EXPECT_EQ(r.status, 3) << r.err;  // the path passes the wrist singularity
  const json j = json::parse(r.out);
  ASSERT_TRUE(j.contains("samples"));
  const json& samples = j["samples"];
  ASSERT_FALSE(samples.empty());
  // From rest at the start to rest at the end of the program, in time order.
  EXPECT_EQ(samples.front()["time"].get<double>(), 0.0);
  EXPECT_NEAR(samples.back()["time"].get<double>(), j["duration"].get<double>(), 1e-9);
  EXPECT_EQ(samples.back()["tcpSpeed"].get<double>(), 0.0);
  double time = 0.0;
  for (const json& s : samples) {
    EXPECT_GE(s["time"].get<double>(), time);
    time = s["time"].get<double>();
    EXPECT_EQ(s["jointSpeeds"].size(), 6u);
    EXPECT_EQ(s["jointAccelerations"].size(), 6u);
    EXPECT_LE(s["speedShare"].get<double>(), 1.0 + 1e-9);
  }
  // The joint move's first sample accelerates at a joint's limit.
  EXPECT_EQ(samples.front()["limit"], "joint acceleration");
}

TEST(ZorrobAudit, TimedSamplesNeedJson) {
  const ToolResult r = RunTool({"audit", Example(), "--timed-samples"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob audit: --timed-samples needs --json\n");
}

TEST(ZorrobAudit, StepMustBePositive) {
  const ToolResult r = RunTool({"audit", Example(), "--step", "0"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob audit: --step must be positive, got '0'\n");
  const ToolResult nan = RunTool({"audit", Example(), "--step", "x"});
  EXPECT_EQ(nan.status, 2);
  EXPECT_EQ(nan.err, "zorrob audit: --step is not a number: 'x'\n");
}

TEST(ZorrobAudit, ProgramIsRequired) {
  const ToolResult r = RunTool({"audit"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
}

TEST(ZorrobAudit, UnwritableSamplesFileIsRejected) {
  const ToolResult r = RunTool(
      {"audit", Example(), "--samples", std::string(ZORROB_SOURCE_DIR) + "/no/such/dir/s.csv"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob audit: samples file '" + std::string(ZORROB_SOURCE_DIR) +
                       "/no/such/dir/s.csv' cannot be written\n");
}

TEST(ZorrobAudit, ArmFileNextToTheProgram) {
  const TempDir dir;
  dir.write("arm.json",
            R"({"name": "small", "ortho-parallel": {"a1": 150, "a2": -110, "b": 0, "c1": 450,)"
            R"( "c2": 600, "c3": 640, "c4": 100}, "limits": {"min": [-170, -90, -175, -180,)"
            R"( -125, -360], "max": [170, 150, 70, 180, 125, 360], "sumMin": -170, "sumMax": 170},)"
            R"( "home": [0, 0, 0, 0, 0, 0], "coupling": false})");
  std::string text = Program({kJointTo840});
  text.insert(1, R"("arm": "arm.json", )");
  const std::string path = dir.write("p.json", text);
  const json j = RunToolJson({"audit", path, "--json"});
  EXPECT_EQ(j["arm"]["name"], "small");
}

struct BadProgram {
  std::string content;
  std::string message;  // after "program file '<path>'"
};

TEST(ZorrobAudit, BadProgramFilesAreRejectedWithOneLineNamingTheProblem) {
  const std::string move = kJointTo840;
  const auto withMove = [](const std::string& m) { return Program({kJointTo840, m}); };
  const std::vector<BadProgram> cases{
      {"[]", ": the document must be a JSON object"},
      {R"({"moves": [)" + move + "]}", ": 'start' is missing"},
      {R"({"start": [0, 0, 0, 0, 30], "moves": [)" + move + "]}",
       ": 'start' must be an array of 6 numbers"},
      {R"({"start": [0, 0, 0, 0, 30, "0"], "moves": [)" + move + "]}",
       ": 'start[5]' must be a number"},
      {R"({"start": [0, 0, 0, 0, 30, 0]})", ": 'moves' is missing"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "moves": []})",
       ": 'moves' is empty: a program needs at least one move"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "moves": {}})", ": 'moves' must be an array of moves"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "speed": 1, "moves": [)" + move + "]}",
       ": 'speed' is not a known key"},
      {withMove("7"), ": move 1: must be a JSON object"},
      {withMove(R"({"type": "MoveX"})"),
       ": move 1: 'type' must be \"MoveJ\", \"MoveL\", \"MoveC\" or \"MoveAbsJ\", got \"MoveX\""},
      {withMove(R"({"to": )" + Target(900, 800, "[0, 0, 0, 1]") + "}"),
       ": move 1: 'type' is missing"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "zone": "fine"})"),
       ": move 1: 'speed' is missing"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": "v123", "zone": "fine"})"),
       ": move 1: 'speed' names no predefined speed (v5 ... v7000): \"v123\""},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": "v500", "zone": "z7"})"),
       ": move 1: 'zone' names no predefined zone (fine, z0 ... z200, FINE, CNT0 ... CNT100): "
       "\"z7\""},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": {"tcp": 100}, "zone": "fine"})"),
       ": move 1: 'speed.ori' is missing"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": {"tcp": 0, "ori": 10}, "zone": "fine"})"),
       ": move 1: 'speed.tcp' must be positive"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": "v500", "zone": {"tcp": -1}})"),
       ": move 1: 'zone.tcp' must not be negative"},
      {withMove(R"({"type": "MoveL", "to": {"position": [900, 0], "orientation": )" + kForward +
                R"(, "conf": [0, 0, 0, 1]}, "speed": "v500", "zone": "fine"})"),
       ": move 1: 'to.position' must be an array of 3 numbers"},
      {withMove(R"({"type": "MoveL", "to": {"position": [900, 0, 800], "orientation": [0, 0, 0,)"
                R"( 0], "conf": [0, 0, 0, 1]}, "speed": "v500", "zone": "fine"})"),
       ": move 1: 'to.orientation' is not a unit quaternion (length 0)"},
      {withMove(R"({"type": "MoveL", "to": {"position": [900, 0, 800], "orientation": )" +
                kForward + R"(}, "speed": "v500", "zone": "fine"})"),
       ": move 1: 'to.conf' is missing"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0.5, 1]") +
                R"(, "speed": "v500", "zone": "fine"})"),
       ": move 1: 'to.conf[2]' must be a whole number"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 3000000000, 1]") +
                R"(, "speed": "v500", "zone": "fine"})"),
       ": move 1: 'to.conf[2]' is out of range"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 1]") +
                R"(, "speed": "v500", "zone": "fine"})"),
       ": move 1: 'to.conf' must be an array of 4 whole numbers (cf1, cf4, cf6, cfx)"},
      {withMove(R"({"type": "MoveC", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": "v500", "zone": "fine"})"),
       ": move 1: 'via' is missing"},
      {withMove(R"({"type": "MoveAbsJ", "joints": [0, 0, 0, 0, 0], "speed": "v500",)"
                R"( "zone": "fine"})"),
       ": move 1: 'joints' must be an array of 6 numbers"},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": "v500", "zone": "fine", "tool": "gun"})"),
       ": move 1: 'tool' names nothing defined under \"tools\": \"gun\""},
      {withMove(R"({"type": "MoveL", "to": )" + Target(900, 800, "[0, 0, 0, 1]") +
                R"(, "speed": "v500", "zone": "fine", "colour": 1})"),
       ": move 1: 'colour' is not a known key"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "tools": {"gun": {"robhold": false, "position":)"
       R"( [0, 0, 0], "orientation": [1, 0, 0, 0]}}, "moves": [{"type": "MoveAbsJ", "joints":)"
       R"( [0, 0, 0, 0, 30, 0], "speed": "v500", "zone": "fine", "tool": "gun"}]})",
       ": move 0: 'wobj' is fixed, and so is the tool: one of them must be held"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "options": {"stepMm": 0}, "moves": [)" + move + "]}",
       ": 'options.stepMm' must be positive"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "options": {"maxJointAccelerationDeg": [1, 1, 0, 1, 1,)"
       R"( 1]}, "moves": [)" +
           move + "]}",
       ": 'options.maxJointAccelerationDeg[2]' must be positive"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "options": {"maxTcpAcceleration": -1}, "moves": [)" +
           move + "]}",
       ": 'options.maxTcpAcceleration' must be positive"},
      {R"({"start": [0, 0, 0, 0, 30, 0], "options": {"circleOriMode": "fast"}, "moves": [)" + move +
           "]}",
       ": 'options.circleOriMode' must be one of \"cirpoint\", \"path\", \"object\""},
      {R"({"start": [0, 0, 0, 0, 30, 0], "arm": 5, "moves": [)" + move + "]}",
       ": 'arm' must be the path of an arm file or an arm document"},
  };
  const TempDir dir;
  for (const BadProgram& bad : cases) {
    const std::string path = dir.write("bad.json", bad.content);
    SCOPED_TRACE(bad.content);
    const ToolResult r = RunTool({"audit", path});
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(r.signalled);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "zorrob audit: program file '" + path + "'" + bad.message + "\n");
  }
}

TEST(ZorrobAudit, UnreadableOrMalformedProgramFilesAreRejected) {
  const TempDir dir;
  const std::string missing = dir.write("x", "") + ".missing";
  ToolResult r = RunTool({"audit", missing});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob audit: program file '" + missing + "' cannot be read\n");
  r = RunTool({"audit", std::string(ZORROB_SOURCE_DIR) + "/examples"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zorrob audit: program file '" + std::string(ZORROB_SOURCE_DIR) +
                       "/examples' is a directory\n");
  for (const std::string text : {"{\"start\": ", "", "{\"start\": [1e999]}"}) {
    const std::string broken = dir.write("broken.json", text);
    r = RunTool({"audit", broken});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err.rfind("zorrob audit: program file '" + broken + "' is not valid JSON: ", 0), 0u)
        << r.err;
    EXPECT_EQ(Lines(r.err).size(), 1u);
  }
}

TEST(ZorrobAudit, TheAuditsOwnChecksNameTheFileTheMoveAndTheField) {
  const std::string up = R"({"type": "MoveL", "to": )" + Target(890, 1040, "[0, 0, 0, 0]");
  const std::string gun =
      R"("tools": {"gun": {"robhold": true, "position": [0, 0, 1e300], "orientation": [1, 0,)"
      R"( 0, 0]}}, )";
  std::string tooled = Program({kJointTo840, up + R"(, "speed": "v500", "zone": "fine",)"
                                                  R"( "tool": "gun"})"});
  tooled.insert(1, gun);
  std::string coarse = Program({kJointTo840});
  coarse.insert(1, R"("options": {"stepMm": 300}, )");
  const std::vector<BadProgram> cases{
      {R"({"start": [1e300, 0, 0, 0, 30, 0], "moves": [)" + kJointTo840 + "]}",
       ": 'start[0]' is outside the joint limits: 1e+300 not in -170 .. 170"},
      {Program({kJointTo840, up + R"(, "speed": {"tcp": 5e-324, "ori": 500}, "zone": "fine"})"}),
       ": move 1: 'speed.tcp' must be at least 1e-06: slower moves cannot be timed"},
      {tooled, ": move 1: 'tool.position' must lie within 10000000 mm of its frame's origin"},
      {coarse, ": 'options.stepMm' must be at most 10 mm: coarser steps cannot locate events"},
  };
  const TempDir dir;
  for (const BadProgram& bad : cases) {
    const std::string path = dir.write("bad.json", bad.content);
    SCOPED_TRACE(bad.content);
    const ToolResult r = RunTool({"audit", path});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "zorrob audit: program file '" + path + "'" + bad.message + "\n");
  }
  const ToolResult r = RunTool({"audit", Example(), "--step", "300"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            "zorrob audit: --step must be at most 10 (mm): coarser steps cannot locate events, "
            "got '300'\n");
}

}  // namespace
}  // namespace zor::rob::test
