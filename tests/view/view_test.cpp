// The view page: its data document (read back with a JSON parser), the escaping of every text
// that reaches it and its errors. What the page's script does with the data is tested in a
// browser (tests/browser). Expected values are worked out by hand on the default arm (flange at
// home at (890, 0, 940), its z axis along base +x) or are published test vectors.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "view/page_data.hpp"
#include "zor/rob/view.hpp"

namespace zor::rob::test {
namespace {

using Json = nlohmann::json;

std::string JsonString(std::string_view text) {
  std::string out;
  view::appendJsonString(out, text);
  return out;
}

std::string Base64(std::string_view text) {
  std::string out;
  view::appendBase64(out,
                     std::span(reinterpret_cast<const unsigned char*>(text.data()), text.size()));
  return out;
}

/// \returns the bytes of base64 text, decoded independently of the writer.
std::vector<unsigned char> FromBase64(const std::string& text) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<unsigned char> out;
  unsigned int bits = 0;
  int count = 0;
  for (const char c : text) {
    if (c == '=')
      break;
    bits = (bits << 6) | static_cast<unsigned int>(alphabet.find(c));
    count += 6;
    if (count >= 8) {
      count -= 8;
      out.push_back(static_cast<unsigned char>((bits >> count) & 0xFFu));
    }
  }
  return out;
}

template <typename T>
std::vector<T> Values(const std::string& base64) {
  const std::vector<unsigned char> bytes = FromBase64(base64);
  std::vector<T> values(bytes.size() / sizeof(T));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));  // x86-64: little-endian
  return values;
}

/// The page's data document.
Json Data(const std::string& page) {
  const std::string open = "<script type=\"application/json\" id=\"zorrob-data\">";
  const std::size_t start = page.find(open);
  EXPECT_NE(start, std::string::npos);
  const std::size_t from = start + open.size();
  return Json::parse(page.substr(from, page.find("</script>", from) - from));
}

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++n;
  return n;
}

TEST(ViewData, JsonStringsEscapeWhatCouldEndTheScriptElement) {
  EXPECT_EQ(JsonString(""), "\"\"");
  EXPECT_EQ(JsonString("a\"b\\c\nd"), "\"a\\\"b\\\\c\\nd\"");
  EXPECT_EQ(JsonString("</script>&"), "\"\\u003c/script\\u003e\\u0026\"");
  EXPECT_EQ(JsonString(std::string("\x01\x1f\t", 3)), "\"\\u0001\\u001f\\u0009\"");
  EXPECT_EQ(JsonString("\u2028\u2029"), "\"\\u2028\\u2029\"");
  // Other characters of the same lead bytes, and a cut sequence, pass unchanged.
  EXPECT_EQ(JsonString("\u2027\u202a\xe2\x80"), "\"\u2027\u202a\xe2\x80\"");
  EXPECT_EQ(JsonString("é€"), "\"é€\"");
}

TEST(ViewData, NumbersAreShortestAndNullWhenNotFinite) {
  std::string out;
  const double values[] = {0.1, -2.5e-300, 100.0, std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity()};
  view::appendJsonNumbers(out, values);
  EXPECT_EQ(out, "[0.1,-2.5e-300,100,null,null]");
  out.clear();
  view::appendJsonNumbers(out, {});
  EXPECT_EQ(out, "[]");
}

TEST(ViewData, Base64MatchesThePublishedVectors) {
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
  EXPECT_EQ(Base64("\xff\xfe\xfd"), "//79");
}

TEST(ViewData, HtmlTextEscapesMarkupAndQuotes) {
  std::string out;
  view::appendHtmlText(out, "<a href=\"x\">'&'</a>");
  EXPECT_EQ(out, "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;&lt;/a&gt;");
}

TEST(ViewPage, ArmAloneCarriesItsKinematicsAndThreeScriptsBesideTheData) {
  const RobotConfig robot = DefaultArm();
  ViewOptions options;
  options.title = "<b>cell & arm</b>";
  options.tool.tframe = Pose({0, 0, 150}, {1, 0, 0, 0});
  const std::string page = ViewPage(robot, options);
  EXPECT_EQ(page.rfind("<!DOCTYPE html>\n", 0), 0u);
  EXPECT_NE(page.find("<title>&lt;b&gt;cell &amp; arm&lt;/b&gt;</title>"), std::string::npos);
  EXPECT_EQ(Count(page, "<script"), 4u);
  EXPECT_EQ(Count(page, "</script>"), 4u);
  EXPECT_NE(page.find("default-src 'none'"), std::string::npos);
  EXPECT_NE(page.find("\"title\":\"\\u003cb\\u003ecell \\u0026 arm\\u003c/b\\u003e\""),
            std::string::npos);
  const Json data = Data(page);
  // Joint 1 turns about base +z through the origin: screw (0, 0, 1, 0, 0, 0); joint 2 about +y
  // through (150, 0, 450): v = −ω × q = (−450, 0, 150).
  EXPECT_EQ(data["arm"]["screws"][0], Json::parse("[0,0,1,0,0,0]"));
  EXPECT_EQ(data["arm"]["screws"][1], Json::parse("[0,1,0,-450,0,150]"));
  EXPECT_EQ(data["arm"]["points"][2], Json::parse("[150,0,1050]"));
  const Json& home = data["arm"]["flangeHome"];
  EXPECT_EQ(home[0], 890.0);
  EXPECT_EQ(home[2], 940.0);
  EXPECT_NEAR(home[3].get<double>(), std::sqrt(0.5), 1e-15);  // +90° about y
  EXPECT_NEAR(home[5].get<double>(), std::sqrt(0.5), 1e-15);
  EXPECT_EQ(data["arm"]["min"], Json::parse("[-170,-90,-175,-180,-125,-360]"));
  EXPECT_EQ(data["arm"]["max"], Json::parse("[170,150,70,180,125,360]"));
  EXPECT_EQ(data["joints"], Json::parse("[0,0,0,0,0,0]"));
  EXPECT_EQ(data["tframe"], Json::parse("[0,0,150,1,0,0,0]"));
  EXPECT_FALSE(data.contains("samples"));
  EXPECT_FALSE(data.contains("events"));
}

TEST(ViewPage, ArmAloneAtGivenJoints) {
  ViewOptions options;
  options.joints = RobJoint(1, 2, 3, 4, 5, 6.5);
  EXPECT_EQ(Data(ViewPage(DefaultArm(), options))["joints"], Json::parse("[1,2,3,4,5,6.5]"));
}

/// Two moves: a joint move home with a 150 mm tool, then a line in a work object 900 mm ahead
/// and 800 mm up, with a hand-made report of three samples.
struct Program {
  std::vector<ProgramMove> moves;
  AuditReport report;
};

Program HandMade() {
  Program p;
  const ToolData torch(true, Pose({0, 0, 150}, {1, 0, 0, 0}), LoadData());
  MoveAbsJ home;
  home.toJointPos = JointTarget(RobJoint(0, 0, 0, 0, 0, 0));
  home.tool = torch;
  MoveL line;
  line.toPoint = RobTarget(Pose({100, 20, 30}, {1, 0, 0, 0}));
  line.toPoint.robConf = ConfData(0, -1, 2, 1);
  line.tool = torch;
  line.wobj.uframe = Pose({900, 0, 800}, {1, 0, 0, 0});
  p.moves = {home, line};
  p.report.moves.resize(2);
  p.report.moves[0].reached = true;
  AuditEvent wrist;
  wrist.kind = AuditEventKind::wristSingularity;
  wrist.moveIndex = 1;
  wrist.startArcLength = 5.0;
  wrist.endArcLength = 15.0;
  wrist.startJoints = RobJoint(1, 2, 3, 4, 0.5, 6);
  AuditEvent limit;
  limit.kind = AuditEventKind::jointLimit;
  limit.moveIndex = 1;
  limit.startArcLength = limit.endArcLength = 30.0;
  limit.joint = 5;
  p.report.moves[1].events = {wrist, limit};
  for (int i = 0; i < 3; ++i) {
    AuditSample s;
    s.moveIndex = i == 0 ? 0 : 1;
    s.arcLength = 10.0 * i;
    s.tcp = Pose({10.0 * i, 0.1, -0.25}, {1, 0, 0, 0});
    s.joints = RobJoint(0.1 * i, -1.0 / 3.0, 2, 3, 4, 5);
    s.reachable = i != 2;
    p.report.samples.push_back(s);
  }
  return p;
}

TEST(ViewPage, ProgramCarriesTargetsEventsAndSamples) {
  const Program p = HandMade();
  ViewOptions options;
  options.labels = {{"start </script>", "", "torch", ""}, {"end", "", "torch", "table"}};
  const std::string page = ViewPage(DefaultArm(), p.moves, p.report, options);
  EXPECT_EQ(Count(page, "</script>"), 4u);
  const Json data = Data(page);

  const Json& targets = data["targets"];
  ASSERT_EQ(targets.size(), 2u);
  EXPECT_EQ(targets[0]["name"], "start </script>");
  EXPECT_EQ(targets[0]["type"], "MoveAbsJ");
  // Home: the flange at (890, 0, 940) with its z axis along base +x, the tool 150 mm further.
  EXPECT_NEAR(targets[0]["pose"][0].get<double>(), 1040.0, 1e-9);
  EXPECT_NEAR(targets[0]["pose"][1].get<double>(), 0.0, 1e-9);
  EXPECT_NEAR(targets[0]["pose"][2].get<double>(), 940.0, 1e-9);
  EXPECT_EQ(targets[0]["conf"], Json::parse("[0,0,0,0]"));
  EXPECT_EQ(targets[1]["name"], "end");
  EXPECT_EQ(targets[1]["type"], "MoveL");
  EXPECT_EQ(targets[1]["pose"], Json::parse("[1000,20,830,1,0,0,0]"));
  EXPECT_EQ(targets[1]["conf"], Json::parse("[0,-1,2,1]"));
  EXPECT_EQ(data["moves"][1]["wobj"], "table");
  EXPECT_EQ(data["moves"][1]["tframe"], Json::parse("[0,0,150,1,0,0,0]"));
  EXPECT_EQ(data["moves"][0]["reached"], true);
  EXPECT_EQ(data["moves"][1]["reached"], false);

  const Json& events = data["events"];
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0]["kind"], "wrist singularity");
  EXPECT_EQ(events[0]["category"], 2);
  EXPECT_EQ(events[0]["on"], "path");
  EXPECT_EQ(events[0]["startJoints"], Json::parse("[1,2,3,4,0.5,6]"));
  EXPECT_EQ(events[0]["sample"], 1);  // the sample at 10 mm of move 1
  EXPECT_EQ(events[0]["lastSample"], 1);
  EXPECT_EQ(events[1]["kind"], "joint limit");
  EXPECT_EQ(events[1]["joint"], 5);
  EXPECT_EQ(events[1]["startJoints"], nullptr);  // unset
  EXPECT_EQ(events[1]["sample"], 1);             // no sample at 30 mm: the move's first
  EXPECT_EQ(events[1]["lastSample"], 1);

  const Json& samples = data["samples"];
  EXPECT_EQ(samples["count"], 3);
  // Clean, wrist singularity, unreachable.
  EXPECT_EQ(samples["categories"], "025");
  EXPECT_EQ(samples["moveStarts"], Json::parse("[[0,0],[1,1]]"));
  const std::vector<double> joints = Values<double>(samples["joints"]);
  ASSERT_EQ(joints.size(), 18u);
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 6; ++j)
      EXPECT_EQ(joints[6 * i + j], p.report.samples[i].joints.values[j]);
  // Sample 0 in the default work object; samples 1 and 2 moved by the table's user frame.
  const std::vector<float> tcp = Values<float>(samples["tcp"]);
  const std::vector<float> expected{0.0f,    0.1f,   -0.25f, 910.0f, 0.1f,
                                    799.75f, 920.0f, 0.1f,   799.75f};
  EXPECT_EQ(tcp, expected);
}

TEST(ViewPage, SamplesAreOptional) {
  Program p = HandMade();
  p.report.samples.clear();
  const Json data = Data(ViewPage(DefaultArm(), p.moves, p.report));
  EXPECT_EQ(data["samples"]["count"], 0);
  EXPECT_EQ(data["samples"]["joints"], "");
  EXPECT_EQ(data["events"][0]["sample"], -1);
  EXPECT_EQ(data["targets"][0]["name"], "");
}

TEST(ViewPage, RejectsAReportOrLabelsOfAnotherProgram) {
  Program p = HandMade();
  ViewOptions options;
  options.labels.resize(1);
  try {
    ViewPage(DefaultArm(), p.moves, p.report, options);
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "labels must be given for every move or none");
  }
  p.report.moves.pop_back();
  try {
    ViewPage(DefaultArm(), p.moves, p.report);
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "the report does not belong to the program");
  }
}

}  // namespace
}  // namespace zor::rob::test
