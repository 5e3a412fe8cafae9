// The tool's file readers: what they refuse before reading (devices, FIFOs, directories, files
// beyond their cap), duplicate JSON keys, and arms that break an assumption of the model.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tool_runner.hpp"

namespace zor::rob::test {
namespace {

using nlohmann::json;

/// The caps the README gives: 64 MiB for arm files, 256 MiB for program files.
constexpr std::uintmax_t kArmCap = 64ull * 1024 * 1024;
constexpr std::uintmax_t kProgramCap = 256ull * 1024 * 1024;

/// The default arm in the ortho-parallel form, as a document to change.
json OrthoParallelArm() {
  return {
      {"name", "op"},
      {"ortho-parallel",
       {{"a1", 150}, {"a2", -110}, {"b", 0}, {"c1", 450}, {"c2", 600}, {"c3", 640}, {"c4", 100}}},
      {"limits",
       {{"min", {-170, -90, -175, -180, -125, -360}},
        {"max", {170, 150, 70, 180, 125, 360}},
        {"sumMin", -170},
        {"sumMax", 170}}},
      {"home", {0, 0, 0, 0, 0, 0}},
      {"coupling", false}};
}

/// The default arm in the general form: axes and points worked out from its lengths on paper
/// (shoulder at (150, 0, 450), elbow 600 above, wrist centre 640 forward and 110 down, flange
/// 100 beyond it, turned a quarter turn about y).
json GeneralArm() {
  json arm = OrthoParallelArm();
  arm.erase("ortho-parallel");
  arm["name"] = "general";
  arm["joints"] = {{{"axis", {0, 0, 1}}, {"point", {0, 0, 0}}},
                   {{"axis", {0, 1, 0}}, {"point", {150, 0, 450}}},
                   {{"axis", {0, 1, 0}}, {"point", {150, 0, 1050}}},
                   {{"axis", {1, 0, 0}}, {"point", {790, 0, 940}}},
                   {{"axis", {0, 1, 0}}, {"point", {790, 0, 940}}},
                   {{"axis", {1, 0, 0}}, {"point", {790, 0, 940}}}};
  arm["flangeHome"] = {{"position", {890, 0, 940}},
                       {"orientation", {0.7071067811865476, 0, 0.7071067811865475, 0}}};
  arm["elbowOffsetRad"] = 1.741008252080371;
  return arm;
}

/// A path for a FIFO in `dir` with nobody writing to it.
std::string MakeFifo(const TempDir& dir, const std::string& name) {
  const std::string path = dir.write(name, "");
  std::filesystem::remove(path);
  EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
  return path;
}

/// A sparse file of `size` zero bytes: cheap to make whatever its size.
std::string MakeSparse(const TempDir& dir, const std::string& name, std::uintmax_t size) {
  const std::string path = dir.write(name, "");
  std::filesystem::resize_file(path, size);
  return path;
}

void ExpectRejected(const std::vector<std::string>& args, const std::string& err) {
  const ToolResult r = RunTool(args);
  EXPECT_EQ(r.status, 1) << args.front();
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, err);
}

TEST(ZorrobReaders, RefuseDevicesAndFifosWithoutReadingThem) {
  const TempDir dir;
  ExpectRejected({"arm", "--arm", "/dev/zero"},
                 "zorrob arm: arm file '/dev/zero' is not a regular file\n");
  ExpectRejected({"audit", "/dev/zero"},
                 "zorrob audit: program file '/dev/zero' is not a regular file\n");
  const std::string fifo = MakeFifo(dir, "fifo.json");
  ExpectRejected({"fk", "0", "0", "0", "0", "0", "0", "--arm", fifo},
                 "zorrob fk: arm file '" + fifo + "' is not a regular file\n");
  ExpectRejected({"audit", fifo},
                 "zorrob audit: program file '" + fifo + "' is not a regular file\n");
  ExpectRejected({"view", fifo, "-o", dir.write("page.html", "")},
                 "zorrob view: program file '" + fifo + "' is not a regular file\n");
  const std::string urdf = MakeFifo(dir, "fifo.urdf");
  ExpectRejected({"arm", "--arm", urdf},
                 "zorrob arm: arm file '" + urdf + "' is not a regular file\n");
  // A program naming a FIFO as its arm.
  const std::string program = dir.write(
      "program.json", R"({"arm": "fifo.json", "start": [0, 0, 0, 0, 30, 0], "moves": [)"
                      R"({"type": "MoveAbsJ", "joints": [0, 0, 0, 0, 30, 0], "speed": "v1000",)"
                      R"( "zone": "fine"}]})");
  ExpectRejected({"audit", program},
                 "zorrob audit: arm file '" +
                     (std::filesystem::path(program).parent_path() / "fifo.json").string() +
                     "' is not a regular file\n");
  const std::string folder = std::filesystem::path(program).parent_path().string();
  ExpectRejected({"audit", folder}, "zorrob audit: program file '" + folder + "' is a directory\n");
}

TEST(ZorrobReaders, RefuseFilesBeyondTheirCap) {
  const TempDir dir;
  const std::string arm = MakeSparse(dir, "big.json", kArmCap + 1);
  ExpectRejected({"arm", "--arm", arm},
                 "zorrob arm: arm file '" + arm + "' is larger than 67108864 bytes\n");
  const std::string urdf = MakeSparse(dir, "big.urdf", kArmCap + 1);
  ExpectRejected({"arm", "--arm", urdf},
                 "zorrob arm: arm file '" + urdf + "' is larger than 67108864 bytes\n");
  const std::string program = MakeSparse(dir, "big.program.json", kProgramCap + 1);
  ExpectRejected({"audit", program},
                 "zorrob audit: program file '" + program + "' is larger than 268435456 bytes\n");
  // At the cap the file is read, and then found not to be JSON.
  const std::string atCap = MakeSparse(dir, "cap.json", kArmCap);
  const ToolResult r = RunTool({"arm", "--arm", atCap});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("zorrob arm: arm file '" + atCap + "' is not valid JSON: ", 0), 0u)
      << r.err;
}

TEST(ZorrobReaders, DuplicateKeysAreRejectedByTheirPath) {
  const TempDir dir;
  std::string text = GeneralArm().dump();
  // The same key twice at the top, inside "limits", and inside an array element.
  const std::string top = dir.write("top.json", "{\"name\": \"a\", " + text.substr(1));
  ExpectRejected({"arm", "--arm", top},
                 "zorrob arm: arm file '" + top + "': 'name' is given twice\n");
  json arm = OrthoParallelArm();
  std::string limits = arm.dump();
  limits.replace(limits.find("\"sumMax\""), 0, "\"min\": [], ");
  const std::string nested = dir.write("nested.json", limits);
  ExpectRejected({"arm", "--arm", nested},
                 "zorrob arm: arm file '" + nested + "': 'limits.min' is given twice\n");
  std::string joints = text;
  joints.replace(joints.find("\"point\":[790"), 0, "\"axis\": [1, 0, 0], ");
  const std::string inArray = dir.write("joints.json", joints);
  ExpectRejected({"arm", "--arm", inArray},
                 "zorrob arm: arm file '" + inArray + "': 'joints[3].axis' is given twice\n");
  // In a program, inside a move and inside an arm given inline.
  const std::string move =
      R"({"type": "MoveAbsJ", "joints": [0, 0, 0, 0, 30, 0], "speed": "v1000",)"
      R"( "zone": "fine"})";
  const std::string twiceInMove = R"({"type": "MoveAbsJ", "joints": [0, 0, 0, 0, 30, 0],)"
                                  R"( "speed": "v1000", "zone": "fine", "speed": "v5"})";
  const std::string program =
      dir.write("program.json",
                R"({"start": [0, 0, 0, 0, 30, 0], "moves": [)" + move + ", " + twiceInMove + "]}");
  ExpectRejected({"audit", program},
                 "zorrob audit: program file '" + program + "': 'moves[1].speed' is given twice\n");
  std::string inlineArm = OrthoParallelArm().dump();
  inlineArm.replace(inlineArm.find("\"c4\""), 0, "\"c1\": 1, ");
  const std::string withArm = dir.write(
      "arm_inline.json",
      R"({"arm": )" + inlineArm + R"(, "start": [0, 0, 0, 0, 30, 0], "moves": [)" + move + "]}");
  ExpectRejected({"audit", withArm}, "zorrob audit: program file '" + withArm +
                                         "': 'arm.ortho-parallel.c1' is given twice\n");
}

/// Writes `arm` and expects the tool to reject it with "arm file 'PATH': " + `message`.
void ExpectArmRejected(const TempDir& dir, const json& arm, const std::string& message) {
  const std::string path = dir.write("arm.json", arm.dump());
  ExpectRejected({"arm", "--arm", path}, "zorrob arm: arm file '" + path + "': " + message + "\n");
}

TEST(ZorrobReaders, ArmFilesAreCheckedForEveryAssumptionOfTheModel) {
  const TempDir dir;
  for (json arm : {OrthoParallelArm(), GeneralArm()}) {
    arm["home"] = {500, 0, 0, 0, 0, 0};
    ExpectArmRejected(dir, arm, "home joint 1 must lie within its limits");
    arm["home"] = {0, 0, 0, 0, 0, 0};
    arm["limits"]["min"][2] = 80;
    ExpectArmRejected(dir, arm,
                      "the limits of joint 3 must be finite, the minimum not above the maximum");
  }
  json arm = OrthoParallelArm();
  for (const char* key : {"a1", "a2", "b", "c1", "c2", "c3", "c4"})
    arm["ortho-parallel"][key] = 0;
  ExpectArmRejected(dir, arm,
                    "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)");
  for (const char* key : {"a1", "a2", "b", "c1", "c2", "c3", "c4"})
    arm["ortho-parallel"][key] = 1e200;
  ExpectArmRejected(dir, arm,
                    "the arm's joint points and flange must lie within 1e7 mm of the base");

  arm = GeneralArm();
  arm["joints"][0]["axis"] = {0, 0, -1};
  ExpectArmRejected(dir, arm,
                    "joint 1 must turn about the base z axis, upwards (shoulder configuration and "
                    "singularity)");
  arm = GeneralArm();
  arm["joints"][4]["axis"] = {1, 0, 0};
  ExpectArmRejected(
      dir, arm,
      "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the wrist)");
  arm = GeneralArm();
  for (json& joint : arm["joints"])
    joint = {{"axis", {0, 0, 1}}, {"point", {0, 0, 0}}};
  ExpectArmRejected(dir, arm, "the axes of joints 1 and 2 must not be parallel (the shoulder)");
  arm = GeneralArm();
  arm["elbowOffsetRad"] = 1.74;
  const std::string path = dir.write("elbow.json", arm.dump());
  const ToolResult r = RunTool({"arm", "--arm", path});
  EXPECT_EQ(r.status, 1);
  // π/2 + atan(110 / 640), the stretch worked out from the lengths, to the digits shown.
  EXPECT_EQ(r.err.rfind("zorrob arm: arm file '" + path +
                            "': the elbow offset must be the joint-3 angle, in radians, that "
                            "stretches the arm (the elbow configuration): 1.74100825208037",
                        0),
            0u)
      << r.err;
  arm = GeneralArm();
  arm["flangeHome"]["orientation"] = {1, 0, 0, 0};
  ExpectArmRejected(dir, arm,
                    "the wrist centre must lie on the flange's z axis, as far behind the flange "
                    "as the flange lies beyond the point of joint 5 along base x (the wrist "
                    "centre of a flange pose)");
}

TEST(ZorrobReaders, UnusualButValidArmsAreAcceptedAndReadBack) {
  const TempDir dir;
  std::vector<json> arms;
  json arm = GeneralArm();
  // The wrist axes the other way round, points elsewhere on their axes.
  arm["joints"][3] = {{"axis", {-1, 0, 0}}, {"point", {0, 0, 940}}};
  arm["joints"][4] = {{"axis", {0, -1, 0}}, {"point", {790, 0, 940}}};
  arm["joints"][5] = {{"axis", {-1, 0, 0}}, {"point", {2000, 0, 940}}};
  arm["joints"][1]["point"] = {150, -300, 450};
  arms.push_back(arm);
  arm = OrthoParallelArm();
  arm["ortho-parallel"] = {{"a1", -150}, {"a2", 300}, {"b", 77}, {"c1", -450},
                           {"c2", 0.5},  {"c3", 0},   {"c4", 0}};
  arm["home"] = {170, -90, 70, 0, 0, 360};
  arms.push_back(arm);
  for (const json& a : arms) {
    const std::string path = dir.write("unusual.json", a.dump());
    const json described = RunToolJson({"arm", "--json", "--arm", path});
    const std::string again = dir.write("again.json", described["description"].dump());
    EXPECT_EQ(RunToolJson({"arm", "--json", "--arm", again})["model"], described["model"]);
  }
}

TEST(ZorrobReaders, ControlCharactersInNamesAreEscapedInText) {
  const TempDir dir;
  json arm = OrthoParallelArm();
  const std::string name = "a\x1b[31mred\nline\t\x7f\xc2\x9b\xc3\xa9";
  arm["name"] = name;
  const std::string path = dir.write("named.json", arm.dump());
  ToolResult r = RunTool({"arm", "--arm", path});
  ASSERT_EQ(r.status, 0) << r.err;
  // Escapes for the controls (C0, DEL and the C1 control U+009B); é stays as it is.
  EXPECT_EQ(FieldValue(r.out, "arm"), "a\\x1b[31mred\\nline\\t\\x7f\\u009b\xc3\xa9 (" + path + ")");
  r = RunTool({"--arm", path});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Lines(r.out).front(),
            "zorrob: a short tour of the arm 'a\\x1b[31mred\\nline\\t\\x7f"
            "\\u009b\xc3\xa9'. Lengths in mm, joint values in degrees.");
  // JSON keeps the name, escaped as JSON escapes it.
  EXPECT_EQ(
      RunToolJson({"fk", "0", "0", "0", "0", "0", "0", "--json", "--arm", path})["arm"]["name"],
      name);
  // A file name with a line break still gives one line of error.
  const std::string missing = dir.write("x", "") + "\nnext.json";
  ExpectRejected({"arm", "--arm", missing}, "zorrob arm: arm file '" +
                                                missing.substr(0, missing.size() - 10) +
                                                "\\nnext.json' cannot be read\n");
}

TEST(ZorrobReaders, TheFilesTheHelpNamesExist) {
  // Every file an example of the help reads (a .json or .urdf argument that is not written).
  int named = 0;
  for (const char* command :
       {"fk", "ik", "jacobian", "circle", "tables", "arm", "audit", "view", "reach", "place"}) {
    const ToolResult r = RunTool({command, "--help"});
    ASSERT_EQ(r.status, 0);
    for (const std::string& line : Lines(r.out)) {
      if (line.rfind("Example: zorrob ", 0) != 0)
        continue;
      const std::vector<std::string> words = Words(line);
      for (std::size_t i = 2; i < words.size(); ++i) {
        const std::string& w = words[i];
        const bool input = (w.ends_with(".json") || w.ends_with(".urdf")) && words[i - 1] != "-o" &&
                           words[i - 1] != "--out";
        if (!input)
          continue;
        ++named;
        EXPECT_TRUE(std::filesystem::is_regular_file(std::string(ZORROB_SOURCE_DIR) + "/" + w))
            << command << ": " << w;
      }
    }
  }
  // arm, audit, view and place name one each.
  EXPECT_EQ(named, 4);
  const ToolResult audit = RunTool({"audit", "--help"});
  EXPECT_NE(audit.out.find("Example: zorrob audit examples/audit/cell.json"), std::string::npos);
}

}  // namespace
}  // namespace zor::rob::test
