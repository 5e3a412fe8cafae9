// zorrob ik: the listed solutions checked against the library's forward kinematics and
// configuration function, the requests by configuration and by seed, and the failures.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "support/test_support.hpp"
#include "tool_runner.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::test {
namespace {

using nlohmann::json;

/// The arguments "ik X Y Z Q1 Q2 Q3 Q4" of the flange pose of `joints` on the default arm.
std::vector<std::string> IkArgs(const RobJoint& joints, std::vector<std::string> more = {}) {
  const RobTarget t = DefaultArm().getRobTarget(joints);
  std::vector<std::string> args{"ik"};
  for (const double v : {t.pose.pos.x, t.pose.pos.y, t.pose.pos.z, t.pose.orient.q1,
                         t.pose.orient.q2, t.pose.orient.q3, t.pose.orient.q4})
    args.push_back(Shortest(v));
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

RobJoint JointsOf(const json& a) {
  RobJoint j;
  for (std::size_t i = 0; i < 6; ++i)
    j.values[i] = a[i].get<double>();
  return j;
}

double Distance(const RobJoint& a, const RobJoint& b) {
  double d = 0;
  for (std::size_t i = 0; i < 6; ++i)
    d = std::max(d, std::abs(a.values[i] - b.values[i]));
  return d;
}

const RobJoint kJoints(10, 20, 30, 40, 30, 50);

TEST(ZorrobIk, ListsEverySolutionWithItsConfiguration) {
  const RobotConfig arm = DefaultArm();
  const json j = RunToolJson(IkArgs(kJoints, {"--json"}));
  EXPECT_EQ(j["command"], "ik");
  EXPECT_EQ(j["request"], "all");
  EXPECT_EQ(j["status"], "found");
  const Transform flange = arm.getWristPoseInBase(kJoints);
  bool listed = false;
  ASSERT_GE(j["solutions"].size(), 2u);
  for (const json& s : j["solutions"]) {
    const RobJoint joints = JointsOf(s["joints"]);
    listed = listed || Distance(joints, kJoints) < 1e-6;
    // Each reproduces the pose and carries the configuration the library gives its joints.
    const Transform t = arm.getWristPoseInBase(joints);
    EXPECT_LT((t.translation - flange.translation).norm(), 1e-6);
    const ConfData conf = ConfData::FromRobJoint(joints, arm);
    EXPECT_EQ(s["conf"]["text"]["brace"], conf.toString());
    EXPECT_EQ(s["conf"]["text"]["krl"], conf.toKrlString());
    EXPECT_EQ(s["conf"]["cfx"], conf.cfx);
    EXPECT_EQ(s["limits"]["allowed"], true);
    EXPECT_EQ(s["singularity"], "none");
  }
  EXPECT_TRUE(listed);
}

TEST(ZorrobIk, TextListsOneRowPerSolution) {
  const ToolResult r = RunTool(IkArgs(kJoints));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "request"), "every solution inside the joint limits");
  const std::string count = FieldValue(r.out, "solutions");
  const std::vector<std::string> lines = Lines(r.out);
  int rows = 0;
  bool own = false;
  for (const std::string& line : lines) {
    const std::vector<std::string> w = Words(line);
    if (w.size() > 7 && w[0] != "#" && std::isdigit(static_cast<unsigned char>(w[0][0]))) {
      ++rows;
      own = own || (w[1] == "10.0000" && w[2] == "20.0000" && w[3] == "30.0000" &&
                    w[4] == "40.0000" && w[5] == "30.0000" && w[6] == "50.0000");
    }
  }
  EXPECT_EQ(std::to_string(rows), count);
  EXPECT_TRUE(own);
}

TEST(ZorrobIk, ConfigurationGivesTheJointsBack) {
  const ConfData conf = DefaultArm().getRobTarget(kJoints).robConf;
  const json j =
      RunToolJson(IkArgs(kJoints, {"--conf", std::to_string(conf.cf1), std::to_string(conf.cf4),
                                   std::to_string(conf.cf6), std::to_string(conf.cfx), "--json"}));
  EXPECT_EQ(j["request"], "configuration");
  ASSERT_EQ(j["solutions"].size(), 1u);
  EXPECT_LT(Distance(JointsOf(j["solutions"][0]["joints"]), kJoints), 1e-9);
}

TEST(ZorrobIk, SeedGivesTheNearestSolution) {
  const RobJoint seed(12, 18, 33, 37, 31, 290);  // nearer to joint 6 at −310 + 360k = 50 or 410
  std::vector<std::string> more{"--seed"};
  for (const double v : seed.values)
    more.push_back(Shortest(v));
  more.push_back("--json");
  const json j = RunToolJson(IkArgs(kJoints, more));
  EXPECT_EQ(j["request"], "nearest");
  ASSERT_EQ(j["solutions"].size(), 1u);
  const RobJoint expected =
      *DefaultArm().getNearestJointSolution(DefaultArm().getRobTarget(kJoints).pose, seed);
  EXPECT_EQ(JointsOf(j["solutions"][0]["joints"]).values, expected.values);
}

TEST(ZorrobIk, NoSolutionPrintsTheReasonAndExitsWithStatus1) {
  ToolResult r = RunTool({"ik", "5000", "0", "0", "1", "0", "0", "0"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob ik: no joint solution: out of reach\n");
  r = RunTool(IkArgs(kJoints, {"--conf", "0", "0", "7", "0"}));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob ik: no joint solution: no solution in the requested configuration\n");
}

TEST(ZorrobIk, ZeroQuaternionIsRejected) {
  const ToolResult r = RunTool({"ik", "800", "0", "900", "0", "0", "0", "0"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zorrob ik: normalize quaternion of 0 magnitude\n");
}

TEST(ZorrobIk, BadCommandLinesExitWithStatus2) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{"ik", "1", "2", "3"},
       "zorrob ik: expected 7 flange pose (X Y Z in mm, Q1 Q2 Q3 Q4), got 3\n"},
      {IkArgs(kJoints, {"--conf", "0", "0", "0"}),
       "zorrob ik: --conf takes 4 whole numbers (CF1 CF4 CF6 CFX), got 3\n"},
      {IkArgs(kJoints, {"--conf", "0", "0", "0", "0", "--seed", "0", "0", "0", "0", "0", "0"}),
       "zorrob ik: --conf and --seed do not go together\n"},
  };
  for (const auto& [args, err] : cases) {
    const ToolResult r = RunTool(args);
    EXPECT_EQ(r.status, 2) << err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, err);
  }
}

}  // namespace
}  // namespace zor::rob::test
