// The zorrob tool as a whole: the tour, the tables, the help texts and the handling of command
// lines it cannot run.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

#include "reference_arm.hpp"
#include "tool_runner.hpp"

namespace zor::rob::test {
namespace {

using nlohmann::json;

const std::string kDefaultArmFile = std::string(ZORROB_SOURCE_DIR) + "/data/arms/default.json";

std::string Fixed(double v, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, v);
  return buffer;
}

// ---- the tour ---------------------------------------------------------------------------

const std::string kTourAuditHeading = "\n== An audit of the program examples/audit/cell.json ==\n";

TEST(ZorrobTour, ToursTheDefaultArm) {
  const ToolResult r = RunTool({});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out.rfind("zorrob: a short tour of the arm 'default'.", 0), 0u);
  for (const char* section :
       {"\n== The arm ==\n", "\n== The home target ==\n", "\n== Forward kinematics ==\n",
        "\n== Inverse kinematics of the first target ==\n",
        "\n== A circular move through three points, zone z50 ==\n"})
    EXPECT_NE(r.out.find(section), std::string::npos) << section;
  // The summary.
  EXPECT_EQ(FieldValue(r.out, "geometry"),
            "ortho-parallel, a1 150, a2 -110, b 0, c1 450, c2 600, c3 640, c4 100 (mm)");
  EXPECT_EQ(FieldValue(r.out, "wrist"), "spherical, centre 100 mm behind the flange");
  // The home target: the flange at (a1 + c3 + c4, b, c1 + c2 + a2), turned a quarter turn
  // about y.
  const std::string home =
      "{{890, 0, 940}, {0.707107, 0, 0.707107, 0}, {0, 0, 0, 0}, {9e+09, 9e+09, 9e+09, 9e+09, "
      "9e+09, 9e+09}}";
  EXPECT_EQ(FieldValue(r.out, "home target"), home);
  const std::vector<std::string> targets = FieldValues(r.out, "target");
  ASSERT_EQ(targets.size(), 4u);
  EXPECT_EQ(targets[0], home);
  // Home, an ordinary pose, the stretched elbow and a pose beyond the joint-2 limit.
  EXPECT_EQ(FieldValues(r.out, "singularity"),
            (std::vector<std::string>{"wrist", "none", "elbow", "none"}));
  EXPECT_EQ(FieldValues(r.out, "limits"),
            (std::vector<std::string>{"within limits", "within limits", "within limits",
                                      "outside limits: joint 2 = 160 not in -90 .. 150"}));
  EXPECT_EQ(FieldValues(r.out, "KRL").size(), 4u);
  EXPECT_EQ(FieldValues(r.out, "KRL")[0], "S 'B010'");
  EXPECT_EQ(FieldValues(r.out, "Ostrel").size(), 8u);
  EXPECT_EQ(FieldValues(r.out, "stream").size(), 8u);
  // The circle: a horizontal half circle of radius 300 about (700, 0, 500), counter-clockwise
  // seen from above; the z50 zone ends 50/300 rad along it.
  EXPECT_EQ(FieldValue(r.out, "centre"), "(700.0000, 0.0000, 500.0000)");
  EXPECT_EQ(FieldValue(r.out, "radius"), "300.0000 mm");
  EXPECT_EQ(FieldValue(r.out, "normal"), "(0.000000, 0.000000, 1.000000)");
  EXPECT_EQ(FieldValue(r.out, "arc angle"), "3.141593 rad (180.0000 deg)");
  EXPECT_EQ(FieldValue(r.out, "arc length"), Fixed(300 * std::numbers::pi, 4) + " mm");
  EXPECT_EQ(FieldValue(r.out, "zone"), "z50 (pzoneTcp 50 mm)");
  const double s = std::sin(50.0 / 300), c = std::cos(50.0 / 300);
  EXPECT_EQ(FieldValue(r.out, "entry"), "(" + Fixed(700 + 300 * s, 4) + ", " + Fixed(-300 * c, 4) +
                                            ", 500.0000)  direction (" + Fixed(c, 6) + ", " +
                                            Fixed(s, 6) + ", 0.000000)");
  EXPECT_EQ(FieldValue(r.out, "exit"), "(" + Fixed(700 + 300 * s, 4) + ", " + Fixed(300 * c, 4) +
                                           ", 500.0000)  direction (" + Fixed(-c, 6) + ", " +
                                           Fixed(s, 6) + ", 0.000000)");
  for (const char* mode : {"circle-point", "path-frame", "object-frame"})
    EXPECT_NE(r.out.find(std::string("orientation in ") + mode + " mode\n"), std::string::npos)
        << mode;
}

TEST(ZorrobTour, JsonHoldsEverySection) {
  const json j = RunToolJson({"--json"});
  EXPECT_EQ(j["command"], "tour");
  EXPECT_EQ(j["arm"]["name"], "default");
  EXPECT_EQ(j["arm"]["kind"], "ortho-parallel");
  EXPECT_EQ(j["home"]["singularity"], "wrist");
  EXPECT_EQ(j["home"]["target"]["text"]["brace"],
            "{{890, 0, 940}, {0.707107, 0, 0.707107, 0}, {0, 0, 0, 0}, {9e+09, 9e+09, 9e+09, "
            "9e+09, 9e+09, 9e+09}}");
  ASSERT_EQ(j["fk"].size(), 3u);
  // The ordinary pose agrees with an independent model of the arm.
  const ReferenceArm arm = ReferenceArm::Default();
  const json& fk = j["fk"][0];
  std::array<double, 6> joints{};
  for (std::size_t i = 0; i < 6; ++i)
    joints[i] = fk["joints"][i].get<double>();
  const Eigen::Vector3d p = arm.flange(joints).translation();
  const json& pos = fk["target"]["position"];
  EXPECT_LT((Eigen::Vector3d(pos[0].get<double>(), pos[1].get<double>(), pos[2].get<double>()) - p)
                .norm(),
            1e-8);
  EXPECT_EQ(j["fk"][1]["singularity"], "elbow");
  EXPECT_EQ(j["fk"][2]["limits"]["allowed"], false);
  // The inverse kinematics of the ordinary pose: every solution, the one of its configuration
  // and the one nearest to a seed, each of the last two its own joints again.
  ASSERT_EQ(j["ik"].size(), 3u);
  EXPECT_EQ(j["ik"][0]["request"], "all");
  for (std::size_t i = 0; i < 6; ++i)
    EXPECT_NEAR(j["ik"][1]["solutions"][0]["joints"][i].get<double>(), joints[i], 1e-9);
  EXPECT_EQ(j["ik"][2]["solutions"][0]["joints"].size(), 6u);
  const json& circle = j["circle"];
  EXPECT_NEAR(circle["radius"].get<double>(), 300.0, 1e-9);
  EXPECT_EQ(circle["zone"]["name"], "z50");
  ASSERT_EQ(circle["samples"].size(), 5u);
  for (const json& sample : circle["samples"]) {
    ASSERT_EQ(sample["orientation"].size(), 3u);
    for (const char* mode : {"cirpoint", "path", "object"})
      EXPECT_EQ(sample["orientation"][mode].size(), 4u) << mode;
  }
}

TEST(ZorrobTour, ArmFileReplacesTheEmbeddedArm) {
  const ToolResult embedded = RunTool({});
  const ToolResult shipped = RunTool({"--arm", kDefaultArmFile});
  ASSERT_EQ(shipped.status, 0) << shipped.err;
  // The audit at the end runs the example cell on its own arm, whatever the tour's arm.
  const std::size_t auditAt = embedded.out.find(kTourAuditHeading);
  ASSERT_NE(auditAt, std::string::npos);
  std::string expected = embedded.out.substr(0, auditAt);
  const std::string label = "default (embedded)";
  for (std::size_t at = expected.find(label); at != std::string::npos;
       at = expected.find(label, at))
    expected.replace(at, label.size(), "default (" + kDefaultArmFile + ")");
  EXPECT_EQ(shipped.out, expected + embedded.out.substr(auditAt));
}

TEST(ZorrobTour, EndsWithTheAuditCommandsReportOfTheExampleCell) {
  const ToolResult tour = RunTool({});
  ASSERT_EQ(tour.status, 0) << tour.err;
  const std::string cell = std::string(ZORROB_SOURCE_DIR) + "/examples/audit/cell.json";
  const ToolResult audit = RunTool({"audit", cell});
  ASSERT_EQ(audit.status, 3) << audit.err;
  // The audit command's text, indented by two spaces, with the program named as in the repo.
  std::string expected = kTourAuditHeading;
  bool lineStart = true;
  for (const char ch : audit.out) {
    if (lineStart && ch != '\n')
      expected += "  ";
    expected += ch;
    lineStart = ch == '\n';
  }
  expected.replace(expected.find(cell), cell.size(), "examples/audit/cell.json");
  ASSERT_GE(tour.out.size(), expected.size());
  EXPECT_EQ(tour.out.substr(tour.out.size() - expected.size()), expected);
  EXPECT_NE(expected.find("#  move      reached"), std::string::npos);
  EXPECT_NE(expected.find("wrist singularity"), std::string::npos);
  const json j = RunToolJson({"--json"});
  EXPECT_EQ(j["audit"]["program"], "examples/audit/cell.json");
  EXPECT_EQ(j["audit"]["moves"].size(), 7u);
  EXPECT_EQ(j["audit"]["clean"], false);
}

TEST(ZorrobTour, DrawsTheReachMapOfTheReachCommand) {
  const ToolResult tour = RunTool({});
  ASSERT_EQ(tour.status, 0) << tour.err;
  EXPECT_NE(
      tour.out.find("\n== A reach map of 200 tool orientations in a slice at z = 800 mm ==\n"),
      std::string::npos);
  const json slice = RunToolJson({"--json"})["reach"];
  // The same map as zorrob reach over the slice, with its default orientations.
  const std::string out = ::testing::TempDir() + "/tour_slice.npy";
  const json command = RunToolJson({"reach", "--min", "-1500", "-1500", "800", "--max", "1500",
                                    "1500", "800", "--step", "250", "--out", out, "--json"});
  std::remove(out.c_str());
  for (const char* key : {"shape", "orientations", "queries", "reachablePositions",
                          "fullyReachablePositions", "meanIndex", "bestManipulability"})
    EXPECT_EQ(slice[key], command[key]) << key;
  // One row per y from 1500 down, two characters per x from -1500; a blank cell is a position
  // out of reach.
  // The flange stays within c2 + |(c3, a2)| + c4 of the shoulder, which stands c1 = 450 mm high
  // and a1 = 150 mm out from the base axis: at z = 800 no farther than
  // 150 + sqrt(1349.38² − 350²) = 1453.2 mm from the axis.
  const double farthest =
      150.0 + std::sqrt(std::pow(600.0 + std::hypot(640.0, 110.0) + 100.0, 2) - 350.0 * 350.0);
  const auto& rows = slice["slice"];
  ASSERT_EQ(rows.size(), 13u);
  std::size_t reached = 0;
  for (std::size_t row = 0; row < 13; ++row) {
    const std::string line = rows[row].get<std::string>();
    ASSERT_EQ(line.size(), 26u);
    for (std::size_t ix = 0; ix < 13; ++ix) {
      const double x = -1500.0 + 250.0 * static_cast<double>(ix);
      const double y = 1500.0 - 250.0 * static_cast<double>(row);
      EXPECT_EQ(line[2 * ix], line[2 * ix + 1]);
      reached += line[2 * ix] != ' ';
      if (std::hypot(x, y) > farthest) {
        EXPECT_EQ(line[2 * ix], ' ') << x << ", " << y;
      }
    }
  }
  EXPECT_EQ(reached, slice["reachablePositions"].get<std::size_t>());
  EXPECT_GT(reached, 0u);
}

// ---- tables -----------------------------------------------------------------------------

TEST(ZorrobTables, SpeedsAreVTcpWithFixedOtherSpeeds) {
  // Each vN is N mm/s, 500 degrees/s, 5000 mm/s, 1000 degrees/s.
  const std::vector<int> tcp{5,    10,   20,   30,   40,   50,   60,  80,   100,
                             150,  200,  300,  400,  500,  600,  800, 1000, 1500,
                             2000, 2500, 3000, 4000, 5000, 6000, 7000};
  const ToolResult r = RunTool({"tables", "speeds"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> lines = Lines(r.out);
  ASSERT_EQ(lines.size(), 2 + tcp.size());
  EXPECT_EQ(Words(lines[1]), (std::vector<std::string>{"name", "vTcp", "vOri", "vLeax", "vReax"}));
  for (std::size_t i = 0; i < tcp.size(); ++i) {
    const std::string n = std::to_string(tcp[i]);
    EXPECT_EQ(Words(lines[2 + i]), (std::vector<std::string>{"v" + n, n, "500", "5000", "1000"}));
  }
  const json j = RunToolJson({"tables", "speeds", "--json"});
  EXPECT_EQ(j["table"], "speeds");
  ASSERT_EQ(j["speeds"].size(), tcp.size());
  for (std::size_t i = 0; i < tcp.size(); ++i) {
    EXPECT_EQ(j["speeds"][i], (json{{"name", "v" + std::to_string(tcp[i])},
                                    {"vTcp", tcp[i]},
                                    {"vOri", 500},
                                    {"vLeax", 5000},
                                    {"vReax", 1000}}));
  }
}

struct Zone {
  const char* name;
  bool finep;
  double tcp, ori, eax, zoneOri, leax, reax;
  int cnt;
};

const std::vector<Zone> kZones{
    {"fine", true, 0, 0, 0, 0, 0, 0, -1},
    {"z0", false, 0.3, 0.3, 0.3, 0.03, 0.3, 0.03, -1},
    {"z1", false, 1, 1, 1, 0.1, 1, 0.1, -1},
    {"z5", false, 5, 8, 8, 0.8, 8, 0.8, -1},
    {"z10", false, 10, 15, 15, 1.5, 15, 1.5, -1},
    {"z15", false, 15, 23, 23, 2.3, 23, 2.3, -1},
    {"z20", false, 20, 30, 30, 3, 30, 3, -1},
    {"z30", false, 30, 45, 45, 4.5, 45, 4.5, -1},
    {"z40", false, 40, 60, 60, 6, 60, 6, -1},
    {"z50", false, 50, 75, 75, 7.5, 75, 7.5, -1},
    {"z60", false, 60, 90, 90, 9, 90, 9, -1},
    {"z80", false, 80, 120, 120, 12, 120, 12, -1},
    {"z100", false, 100, 150, 150, 15, 150, 15, -1},
    {"z150", false, 150, 225, 225, 23, 225, 23, -1},
    {"z200", false, 200, 300, 300, 30, 300, 30, -1},
    {"FINE", true, 0, 0, 0, 0, 0, 0, 0},
    {"CNT0", false, 0, 0, 0, 0, 0, 0, 0},
    {"CNT1", false, 0, 0, 0, 0, 0, 0, 1},
    {"CNT5", false, 0, 0, 0, 0, 0, 0, 5},
    {"CNT10", false, 0, 0, 0, 0, 0, 0, 10},
    {"CNT15", false, 0, 0, 0, 0, 0, 0, 15},
    {"CNT20", false, 0, 0, 0, 0, 0, 0, 20},
    {"CNT30", false, 0, 0, 0, 0, 0, 0, 30},
    {"CNT40", false, 0, 0, 0, 0, 0, 0, 40},
    {"CNT50", false, 0, 0, 0, 0, 0, 0, 50},
    {"CNT60", false, 0, 0, 0, 0, 0, 0, 60},
    {"CNT80", false, 0, 0, 0, 0, 0, 0, 80},
    {"CNT100", false, 0, 0, 0, 0, 0, 0, 100},
};

TEST(ZorrobTables, ZonesHoldEveryMember) {
  const ToolResult r = RunTool({"tables", "zones"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> lines = Lines(r.out);
  ASSERT_EQ(lines.size(), 3 + kZones.size());
  EXPECT_EQ(Words(lines[2]),
            (std::vector<std::string>{"name", "finep", "pzoneTcp", "pzoneOri", "pzoneEax",
                                      "zoneOri", "zoneLeax", "zoneReax", "cntValue"}));
  for (std::size_t i = 0; i < kZones.size(); ++i) {
    const Zone& z = kZones[i];
    EXPECT_EQ(Words(lines[3 + i]), (std::vector<std::string>{
                                       z.name, z.finep ? "true" : "false", Shortest(z.tcp),
                                       Shortest(z.ori), Shortest(z.eax), Shortest(z.zoneOri),
                                       Shortest(z.leax), Shortest(z.reax), std::to_string(z.cnt)}));
  }
  const json j = RunToolJson({"tables", "zones", "--json"});
  EXPECT_EQ(j["table"], "zones");
  ASSERT_EQ(j["zones"].size(), kZones.size());
  for (std::size_t i = 0; i < kZones.size(); ++i) {
    const Zone& z = kZones[i];
    EXPECT_EQ(j["zones"][i], (json{{"name", z.name},
                                   {"finep", z.finep},
                                   {"pzoneTcp", z.tcp},
                                   {"pzoneOri", z.ori},
                                   {"pzoneEax", z.eax},
                                   {"zoneOri", z.zoneOri},
                                   {"zoneLeax", z.leax},
                                   {"zoneReax", z.reax},
                                   {"cntValue", z.cnt}}));
  }
}

// ---- help and version -------------------------------------------------------------------

TEST(ZorrobHelp, MainHelpDescribesTheToolAndItsCommands) {
  for (const char* flag : {"--help", "-h"}) {
    const ToolResult r = RunTool({flag});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("Usage: zorrob [OPTIONS] [SUBCOMMAND]"), std::string::npos);
    for (const char* line :
         {"fk                          forward kinematics of six joint values",
          "jacobian                    the 6x6 space or body Jacobian",
          "circle                      the circle of a circular move through three points",
          "tables                      the predefined speed or zone table",
          "arm                         the arm's summary and its whole model", "--arm FILE",
          "--json", "Without a command, zorrob tours the arm", "Exit status: 0 on success, 2"})
      EXPECT_NE(r.out.find(line), std::string::npos) << line;
  }
}

TEST(ZorrobHelp, EveryCommandDescribesItself) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> commands{
      {"fk",
       {"Usage: zorrob fk [OPTIONS] [joints...]", "the six joint values J1 ... J6, degrees",
        "--joint-tolerance DEG", "--wcp-tolerance MM", "--arm FILE", "--json",
        "the singularity class", "Example: zorrob fk"}},
      {"jacobian",
       {"Usage: zorrob jacobian [OPTIONS] [joints...]", "--body", "--arm FILE", "--json",
        "Column i is the screw axis of joint i", "Example: zorrob jacobian"}},
      {"circle",
       {"Usage: zorrob circle [OPTIONS]", "--start X Y Z", "--via X Y Z", "--end X Y Z",
        "--samples N", "--zone NAME", "--ori-mode MODE", "--ori Q", "--json",
        "zone entry and exit points", "Example: zorrob circle"}},
      {"tables", {"Usage: zorrob tables [OPTIONS] table", "speeds or zones", "--json"}},
      {"arm", {"Usage: zorrob arm [OPTIONS]", "--arm FILE", "--json", "screw axes"}},
  };
  for (const auto& [command, texts] : commands) {
    const ToolResult r = RunTool({command, "--help"});
    EXPECT_EQ(r.status, 0) << command;
    EXPECT_EQ(r.err, "");
    for (const std::string& text : texts)
      EXPECT_NE(r.out.find(text), std::string::npos) << command << ": " << text << "\n" << r.out;
    // The tour's footer belongs to the main help only.
    EXPECT_EQ(r.out.find("Without a command"), std::string::npos) << command;
  }
}

TEST(ZorrobHelp, VersionNamesTheLibraryVersion) {
  const ToolResult r = RunTool({"--version"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, std::string("zorrob ") + ZORROB_VERSION + "\n");
}

// ---- command lines the tool cannot run --------------------------------------------------

struct BadLine {
  std::vector<std::string> args;
  std::string err;  // the whole line, without its "\n"
};

TEST(ZorrobUsage, EveryBadCommandLineGivesOneLineAndStatus2) {
  const std::string commands =
      " (commands: fk, ik, jacobian, circle, tables, arm, audit, view, reach, place; see zorrob "
      "--help)";
  const std::vector<BadLine> cases{
      {{"fk", "1", "2", "3"}, "zorrob fk: expected 6 joint values (J1 ... J6, degrees), got 3"},
      {{"fk", "1", "2", "3", "4", "5", "6", "7"},
       "zorrob fk: expected 6 joint values (J1 ... J6, degrees), got 7"},
      {{"fk"}, "zorrob fk: expected 6 joint values (J1 ... J6, degrees), got 0"},
      {{"jacobian", "1", "2"},
       "zorrob jacobian: expected 6 joint values (J1 ... J6, degrees), got 2"},
      {{"fk", "1", "2", "3", "4", "5", "x"}, "zorrob fk: J6 is not a number: 'x'"},
      {{"fk", "1", "2", "3", "4", "5", "6x"}, "zorrob fk: J6 is not a number: '6x'"},
      {{"fk", "0x10", "2", "3", "4", "5", "6"}, "zorrob fk: J1 is not a number: '0x10'"},
      {{"fk", "", "2", "3", "4", "5", "6"}, "zorrob fk: J1 is not a number: ''"},
      {{"fk", "1", "2", "nan", "4", "5", "6"}, "zorrob fk: J3 is not a finite number: 'nan'"},
      {{"jacobian", "inf", "2", "3", "4", "5", "6"},
       "zorrob jacobian: J1 is not a finite number: 'inf'"},
      {{"fk", "1", "-inf", "3", "4", "5", "6"}, "zorrob fk: not a finite number: '-inf'"},
      {{"fk", "1", "2", "3", "1e999", "5", "6"},
       "zorrob fk: J4 is out of the range of a double: '1e999'"},
      {{"fk", "1", "2", "3", "4", "5", "-.5e999"},
       "zorrob fk: out of the range of a double: '-.5e999'"},
      {{"fk", "1", "2", "3", "4", "5", "1e308"},
       "zorrob fk: J6 must lie within ±1e9 degrees, got '1e308'"},
      {{"jacobian", "-1000000001", "2", "3", "4", "5", "6"},
       "zorrob jacobian: J1 must lie within ±1e9 degrees, got '-1000000001'"},
      {{"fk", "0", "0", "0", "0", "0", "0", "--joint-tolerance", "-1"},
       "zorrob fk: --joint-tolerance must not be negative, got '-1'"},
      {{"fk", "0", "0", "0", "0", "0", "0", "--wcp-tolerance", "abc"},
       "zorrob fk: --wcp-tolerance is not a number: 'abc'"},
      {{"bogus"}, "zorrob: unknown command 'bogus'" + commands},
      {{""}, "zorrob: unknown command ''" + commands},
      {{"--json", "bogus"}, "zorrob: unknown command 'bogus'" + commands},
      {{"--bogus"}, "zorrob: unexpected argument: --bogus" + commands},
      {{"fk", "--bogus", "0", "0", "0", "0", "0", "0"}, "zorrob fk: unexpected argument: --bogus"},
      {{"jacobian", "0", "0", "0", "0", "0", "0", "--space"},
       "zorrob jacobian: unexpected argument: --space"},
      {{"tables", "stuff"}, "zorrob tables: unknown table 'stuff' (speeds or zones)"},
      {{"tables"}, "zorrob tables: table is required"},
      {{"tables", "speeds", "zones"}, "zorrob tables: unexpected argument: zones"},
      {{"tables", "speeds", "--arm", "x.json"},
       "zorrob tables: unexpected arguments: --arm x.json"},
      {{"--arm", "x.json", "tables", "speeds"},
       "zorrob tables: --arm does not apply to this command"},
  };
  for (const BadLine& bad : cases) {
    const ToolResult r = RunTool(bad.args);
    SCOPED_TRACE(bad.err);
    EXPECT_FALSE(r.signalled);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, bad.err + "\n");
  }
}

TEST(ZorrobUsage, NumbersMayCarryASignAnExponentOrNoLeadingZero) {
  const ToolResult r = RunTool({"fk", "+10", "-.5", "1e1", ".25", "-0", "2.5E+1"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "joints"), "{10, -0.5, 10, 0.25, -0, 25} deg");
}

TEST(ZorrobUsage, NumbersTooSmallToRepresentReadAsTheNearestDouble) {
  // Below half the smallest subnormal, 2^-1074 = 4.9406564584124654e-324, a number rounds to
  // zero and keeps its sign; 4e-324 rounds up to that subnormal. "-.1e-400" is read by the
  // step that tells negative numbers from options.
  const ToolResult r = RunTool({"fk", "-1e-400", "1e-400", "4e-324", "-4e-324", "-.1e-400", "0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "joints"), "{-0, 0, 4.94066e-324, -4.94066e-324, -0, 0} deg");
}

}  // namespace
}  // namespace zor::rob::test
