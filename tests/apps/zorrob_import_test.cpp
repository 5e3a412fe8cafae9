// zorrob with arms as users describe them: URDF files, Denavit-Hartenberg tables and
// ortho-parallel parameter sets with offsets and signs in the JSON arm file. Checked against
// the hand-built models of tests/import/test_arms.hpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "import/test_arms.hpp"
#include "support/test_support.hpp"
#include "tool_runner.hpp"

namespace zor::rob::test {
namespace {

using nlohmann::json;

/// Largest distance (mm) between the tool's flange position and the model's.
constexpr double kPositionTolerance = 1e-9;

const std::vector<std::string> kJoints{"10", "-20", "30", "-40", "50", "-60"};
const RobJoint kRobJoints(10, -20, 30, -40, 50, -60);

std::vector<std::string> FkArgs(const std::string& arm, std::vector<std::string> more = {}) {
  std::vector<std::string> args{"fk"};
  args.insert(args.end(), kJoints.begin(), kJoints.end());
  args.insert(args.end(), {"--json", "--arm", arm});
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

double Distance(const json& position, const Vec3& expected) {
  return (Vec3{position[0].get<double>(), position[1].get<double>(), position[2].get<double>()} -
          expected)
      .norm();
}

const std::string kLimits =
    R"("limits": {"min": [-360, -360, -180, -360, -360, -360], "max": [360, 360, 180, 360, 360,)"
    R"( 360], "sumMin": -540, "sumMax": 540}, "home": [0, 0, 0, 0, 0, 0], "coupling": false)";

const std::string kCollaborativeDh =
    R"({"dh": {"convention": "classic", "rows": [[0, 90, 127.3, 0], [-612, 0, 0, 0],)"
    R"( [-572.3, 0, 0, 0], [0, 90, 163.941, 0], [0, -90, 115.7, 0], [0, 0, 92.2, 0]]}, )" +
    kLimits + "}";

const std::string kLargeOrthoParallel =
    R"({"ortho-parallel": {"a1": 350, "a2": -41, "b": 0, "c1": 675, "c2": 1150, "c3": 1200,)"
    R"( "c4": 215, "offsets": [0, 90, -90, 0, 0, 0], "signs": [1, 1, 1, -1, 1, -1]}, )" +
    kLimits + "}";

// ---- URDF files ----

TEST(ZorrobImport, UrdfArmGivesTheTargetsOfTheHandBuiltModel) {
  const TempDir dir;
  const std::string path = dir.write("small.urdf", kSmallArmUrdf);
  const json j = RunToolJson(FkArgs(path));
  const RobotConfig expected = smallArmExpected(smallArmLimits()).robot;
  EXPECT_LE(Distance(j["target"]["position"], expected.getWristPoseInBase(kRobJoints).translation),
            kPositionTolerance);
  EXPECT_EQ(j["arm"]["name"], "small");
}

TEST(ZorrobImport, UrdfArmShowsItsChainFromTheRootToTheOnlySixJointLeaf) {
  const TempDir dir;
  const std::string path = dir.write("small.urdf", kSmallArmUrdf);
  const ToolResult r = RunTool({"arm", "--arm", path});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "geometry"), "URDF chain from link 'world' to link 'tool0'");
  EXPECT_EQ(FieldValue(r.out, "wrist"), "spherical, centre 72 mm behind the flange");
  const json j = RunToolJson({"arm", "--json", "--arm", path});
  EXPECT_EQ(j["arm"]["kind"], "urdf");
  EXPECT_EQ(j["arm"]["base"], "world");
  EXPECT_EQ(j["arm"]["tip"], "tool0");
  EXPECT_EQ(j["arm"]["flangeMoved"], false);
}

TEST(ZorrobImport, UrdfChainEndsCanBeNamed) {
  const TempDir dir;
  const std::string path = dir.write("small.urdf", kSmallArmUrdf);
  const json j = RunToolJson({"arm", "--json", "--arm", path, "--base", "base_link"});
  EXPECT_EQ(j["arm"]["base"], "base_link");
  EXPECT_EQ(j["arm"]["tip"], "tool0");
  const ToolResult r = RunTool({"arm", "--arm", path, "--tip", "link_6"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "geometry"), "URDF chain from link 'world' to link 'link_6'");
}

TEST(ZorrobImport, UrdfRejectionsNameTheFileAndTheLink) {
  const TempDir dir;
  const std::string path = dir.write("small.urdf", kSmallArmUrdf);
  ToolResult r = RunTool({"arm", "--arm", path, "--tip", "nowhere"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob arm: arm file '" + path + "': URDF: no link 'nowhere'\n");
  const std::string broken = dir.write("broken.urdf", "<robot");
  r = RunTool({"arm", "--arm", broken});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zorrob arm: arm file '" + broken + "': URDF: the document cannot be read\n");
  const std::string missing = dir.write("x", "") + ".urdf";
  r = RunTool({"arm", "--arm", missing});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zorrob arm: arm file '" + missing + "' cannot be read\n");
}

TEST(ZorrobImport, UrdfArmsGetTheChecksAndMessagesOfEveryArmFile) {
  // The small arm with joint 5 along joint 4, as a URDF file and in the general form of the
  // JSON arm file: the same message.
  const TempDir dir;
  const std::string joint5 = R"(<origin xyz="0.302 0 0"/><axis xyz="0 1 0"/>)";
  std::string along = kSmallArmUrdf;
  along.replace(along.find(joint5), joint5.size(),
                R"(<origin xyz="0.302 0 0"/><axis xyz="1 0 0"/>)");
  const std::string urdf = dir.write("along.urdf", along);
  const std::string general = dir.write(
      "along.json",
      R"({"joints": [{"axis": [0, 0, 1], "point": [0, 0, 0]}, {"axis": [0, 1, 0], "point": [0, 0, 290]},)"
      R"( {"axis": [0, 1, 0], "point": [0, 0, 560]}, {"axis": [1, 0, 0], "point": [302, 0, 630]},)"
      R"( {"axis": [1, 0, 0], "point": [302, 0, 630]}, {"axis": [1, 0, 0], "point": [302, 0, 630]}],)"
      R"( "flangeHome": {"position": [374, 0, 630], "orientation": [0.7071067811865476, 0,)"
      R"( 0.7071067811865476, 0]}, "elbowOffsetRad": 0, )" +
          kLimits + "}");
  const std::string message =
      "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the wrist)\n";
  for (const std::string& path : {urdf, general}) {
    const ToolResult r = RunTool({"arm", "--arm", path});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "zorrob arm: arm file '" + path + "': " + message);
  }
  // Lengths of 1e200 m in the URDF file.
  std::string huge = kSmallArmUrdf;
  huge.replace(huge.find(joint5), joint5.size(), R"(<origin xyz="1e200 0 0"/><axis xyz="0 1 0"/>)");
  const std::string hugePath = dir.write("huge.urdf", huge);
  const ToolResult r = RunTool({"fk", "0", "0", "0", "0", "0", "0", "--arm", hugePath});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zorrob fk: arm file '" + hugePath +
                       "': the arm's joint points and flange must lie within 1e7 mm of the base\n");
}

TEST(ZorrobImport, BaseAndTipNeedAUrdfFile) {
  const ToolResult r = RunTool({"arm", "--base", "world"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob arm: --base and --tip go with a URDF arm file (--arm FILE.urdf)\n");
}

// ---- Denavit-Hartenberg tables ----

TEST(ZorrobImport, DhArmShowsItsRowsAndItsMovedFlange) {
  const TempDir dir;
  const std::string path = dir.write("collaborative.json", kCollaborativeDh);
  const ToolResult r = RunTool({"arm", "--arm", path});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "geometry"),
            "Denavit-Hartenberg, classic convention, rows a alpha d thetaOffset (mm, deg)");
  EXPECT_EQ(FieldValue(r.out, "row 4"), "0, 90, 163.941, 0");
  // The described flange lies 92.2 mm along the model flange's z axis (up to rounding).
  EXPECT_EQ(
      FieldValue(r.out, "flange").rfind("moved to the wrist centre; the described flange is ", 0),
      0u);
  const json j = RunToolJson({"arm", "--json", "--arm", path});
  EXPECT_EQ(j["arm"]["kind"], "dh");
  EXPECT_EQ(j["arm"]["flangeMoved"], true);
  EXPECT_LE(Distance(j["arm"]["userFlange"]["position"], Vec3{0, 0, 92.2}), kPositionTolerance);
  // The description reads back to the same model.
  const std::string again = dir.write("again.json", j["description"].dump());
  EXPECT_EQ(RunToolJson({"arm", "--json", "--arm", again})["model"], j["model"]);
}

TEST(ZorrobImport, DhArmGivesTheDescribedFlangeBesideTheModelsFlange) {
  const TempDir dir;
  const json j = RunToolJson(FkArgs(dir.write("collaborative.json", kCollaborativeDh)));
  const ImportedArm expected = collaborativeArmExpected(collaborativeArmLimits());
  EXPECT_LE(
      Distance(j["target"]["position"], expected.robot.getWristPoseInBase(kRobJoints).translation),
      kPositionTolerance);
  EXPECT_LE(
      Distance(j["describedFlange"]["position"], expected.userFlangePose(kRobJoints).translation),
      kPositionTolerance);
}

/// \returns the numbers of a JSON array of numbers as command-line words.
std::vector<std::string> Words(const json& numbers) {
  std::vector<std::string> words;
  for (const json& n : numbers)
    words.push_back(Shortest(n.get<double>()));
  return words;
}

TEST(ZorrobImport, DhArmIkTakesTheDescribedFlangeThatFkPrints) {
  const TempDir dir;
  const std::string path = dir.write("collaborative.json", kCollaborativeDh);
  const json fk = RunToolJson(FkArgs(path));
  std::vector<std::string> args{"ik"};
  for (const char* part : {"position", "orientation"})
    for (const std::string& w : Words(fk["describedFlange"][part]))
      args.push_back(w);
  args.insert(args.end(), {"--json", "--arm", path});
  const json ik = RunToolJson(args);
  bool found = false;
  for (const json& s : ik["solutions"]) {
    double worst = 0.0;
    for (std::size_t i = 0; i < 6; ++i)
      worst = std::max(worst, std::abs(s["joints"][i].get<double>() - kRobJoints.values[i]));
    found = found || worst < 1e-6;
  }
  EXPECT_TRUE(found) << ik.dump();
  // The model's flange pose, 92.2 mm short of the described one, is another pose.
  std::vector<std::string> model{"ik"};
  for (const char* part : {"position", "orientation"})
    for (const std::string& w : Words(fk["target"][part]))
      model.push_back(w);
  model.insert(model.end(), {"--json", "--arm", path});
  const json other = RunToolJson(model);
  for (const json& s : other["solutions"])
    EXPECT_GT(std::abs(s["joints"][4].get<double>() - kRobJoints.values[4]) +
                  std::abs(s["joints"][1].get<double>() - kRobJoints.values[1]),
              1e-3);
}

TEST(ZorrobImport, DhArmAuditMovesToTheStartJointsDescribedFlangeWithoutTravel) {
  const TempDir dir;
  const std::string arm = dir.write("collaborative.json", kCollaborativeDh);
  const json fk = RunToolJson(FkArgs(arm));
  const json& described = fk["describedFlange"];
  const json program = {{"arm", "collaborative.json"},
                        {"start", {10, -20, 30, -40, 50, -60}},
                        {"moves",
                         {{{"type", "MoveL"},
                           {"to",
                            {{"position", described["position"]},
                             {"orientation", described["orientation"]},
                             {"conf", fk["target"]["conf"]}}},
                           {"speed", "v100"},
                           {"zone", "fine"}}}}};
  const std::string path = dir.write("program.json", program.dump());
  const ToolResult r = RunTool({"audit", path, "--json"});
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  const json j = json::parse(r.out);
  EXPECT_LT(j["moves"][0]["pathLength"].get<double>(), 1e-6) << r.out;
}

// ---- Ortho-parallel parameter sets ----

TEST(ZorrobImport, OrthoParallelOffsetsAndSignsGiveTheUrdfArmsTargets) {
  const TempDir dir;
  const json set = RunToolJson(FkArgs(dir.write("large.json", kLargeOrthoParallel)));
  const json urdf = RunToolJson(FkArgs(dir.write("large.urdf", kLargeArmUrdf)));
  const RobotConfig expected = largeArmExpected(largeArmLimits()).robot;
  const Vec3 flange = expected.getWristPoseInBase(kRobJoints).translation;
  EXPECT_LE(Distance(set["target"]["position"], flange), kPositionTolerance);
  EXPECT_LE(Distance(urdf["target"]["position"], flange), kPositionTolerance);
  EXPECT_EQ(set["conf"], urdf["conf"]);
}

TEST(ZorrobImport, OrthoParallelSummaryShowsTheJointConvention) {
  const TempDir dir;
  const ToolResult r = RunTool({"arm", "--arm", dir.write("large.json", kLargeOrthoParallel)});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "joint convention"),
            "geometry joint = sign * joint + offset; offsets 0, 90, -90, 0, 0, 0 deg, signs 1, 1, "
            "1, -1, 1, -1");
}

// ---- The inverse kinematics of imported arms ----

/// An ortho-parallel arm whose axis 5 passes 60 mm from axis 4: neither closed form covers it.
const std::string kOffsetWristDh =
    R"({"dh": {"convention": "classic", "rows": [[150, -90, 450, 0], [600, 0, 0, -90],)"
    R"( [110, -90, 0, 0], [60, 90, 640, 0], [0, -90, 0, 0], [0, 0, 100, 0]]}, )" +
    kLimits + "}";

TEST(ZorrobImport, ArmShowsWhichInverseKinematicsItGets) {
  const TempDir dir;
  const auto methodOf = [&](const std::string& name, const std::string& content) {
    const std::string path = dir.write(name, content);
    const ToolResult r = RunTool({"arm", "--arm", path});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(RunToolJson({"arm", "--json", "--arm", path})["arm"]["ikMethod"],
              FieldValue(r.out, "inverse kinematics"));
    return FieldValue(r.out, "inverse kinematics");
  };
  EXPECT_EQ(methodOf("large.json", kLargeOrthoParallel), "spherical-wrist closed form");
  EXPECT_EQ(methodOf("collaborative.json", kCollaborativeDh), "three-parallel-axes closed form");
  EXPECT_EQ(methodOf("offset.json", kOffsetWristDh), "search over joint 4");
}

/// `zorrob ik --arm FILE` on an arm without a spherical wrist lists the joints the pose of the
/// described flange was made from (by the hand-built model), each solution reproducing the pose.
TEST(ZorrobImport, IkOnACollaborativeArmListsTheJointsThePoseCameFrom) {
  const TempDir dir;
  const std::string path = dir.write("collaborative.json", kCollaborativeDh);
  const ImportedArm expected = collaborativeArmExpected(collaborativeArmLimits());
  const Pose pose = expected.userFlangePose(kRobJoints).toPose();
  std::vector<std::string> args{"ik"};
  for (const double v : {pose.pos.x, pose.pos.y, pose.pos.z, pose.orient.q1, pose.orient.q2,
                         pose.orient.q3, pose.orient.q4})
    args.push_back(Shortest(v));
  args.insert(args.end(), {"--json", "--arm", path});
  const json j = RunToolJson(args);
  EXPECT_EQ(j["method"], "three-parallel-axes closed form");
  EXPECT_EQ(j["status"], "found");
  bool listed = false;
  for (const json& s : j["solutions"]) {
    RobJoint joints;
    double nearest = 0.0;
    for (std::size_t i = 0; i < 6; ++i) {
      joints.values[i] = s["joints"][i].get<double>();
      nearest = std::max(nearest, std::abs(joints.values[i] - kRobJoints.values[i]));
    }
    listed = listed || nearest < 1e-6;
    EXPECT_LE((expected.userFlangePose(joints).translation - pose.pos.toVec3()).norm(), 1e-6);
  }
  EXPECT_TRUE(listed);
}

}  // namespace
}  // namespace zor::rob::test
