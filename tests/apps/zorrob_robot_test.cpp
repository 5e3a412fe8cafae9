// zorrob fk, jacobian and arm, and the arm files: checked against an independent model of the
// arm (reference_arm.hpp) and against the text forms worked out by hand.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "reference_arm.hpp"
#include "support/test_support.hpp"
#include "tool_runner.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::test {
namespace {

using nlohmann::json;
using Joints = std::array<double, 6>;

const std::string kUnused = "{9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}";

std::vector<std::string> Args(const std::string& command, const Joints& j,
                              std::vector<std::string> more = {}) {
  std::vector<std::string> args{command};
  for (const double v : j)
    args.push_back(Shortest(v));
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

Eigen::Vector3d Vec(const json& a) {
  return {a[0].get<double>(), a[1].get<double>(), a[2].get<double>()};
}

Eigen::Matrix3d RotationOf(const json& q) {
  return Eigen::Quaterniond(q[0].get<double>(), q[1].get<double>(), q[2].get<double>(),
                            q[3].get<double>())
      .toRotationMatrix();
}

/// The quadrant of an angle that is not near a multiple of 90 degrees: whole quarter turns,
/// rounded down.
int Quadrant(double deg) {
  return static_cast<int>(std::floor(deg / 90.0));
}

/// The text a default-formatted stream gives a double (6 significant digits).
std::string Stream6(double v) {
  std::ostringstream os;
  os << v;
  return os.str();
}

const ReferenceArm kArm = ReferenceArm::Default();

// ---- fk ---------------------------------------------------------------------------------

TEST(ZorrobFk, HomeOfTheDefaultArmIsTheFlangeAtTheEndOfTheStretchedOutArm) {
  // At home the flange lies at (a1 + c3 + c4, b, c1 + c2 + a2) = (890, 0, 940), its z axis
  // along base x: a quarter turn about y, (cos 45°, 0, sin 45°, 0). The wrist centre (790, 0,
  // 940) lies ahead of the base (front), joint 3 = 0 is above the stretched value (elbow bit
  // clear) and joint 5 = 0 does not flip the wrist: configuration number 0, KRL bits 010.
  const ToolResult r = RunTool({"fk", "0", "0", "0", "0", "0", "0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(FieldValue(r.out, "arm"), "default (embedded)");
  EXPECT_EQ(FieldValue(r.out, "joints"), "{0, 0, 0, 0, 0, 0} deg");
  EXPECT_EQ(FieldValue(r.out, "target"),
            "{{890, 0, 940}, {0.707107, 0, 0.707107, 0}, {0, 0, 0, 0}, " + kUnused + "}");
  EXPECT_EQ(FieldValue(r.out, "Ostrel"),
            "{{890, 0, 940}, {0.707107, 0, 0.707107, 0}, {quadrant::p0, quadrant::p0, "
            "quadrant::p0, quadrant::p0}, " +
                kUnused + "}");
  EXPECT_EQ(FieldValue(r.out, "stream"),
            "890 0 940 0.707107 0 0.707107 0 0 0 0 0 9e+09 9e+09 9e+09 9e+09 9e+09 9e+09");
  EXPECT_EQ(FieldValue(r.out, "configuration"), "{0, 0, 0, 0}");
  EXPECT_EQ(FieldValue(r.out, "UI"), "[0, 0, 0, 0]");
  EXPECT_EQ(FieldValue(r.out, "KRL"), "S 'B010'");
  EXPECT_EQ(FieldValue(r.out, "wrist centre"), "(790.0000, 0.0000, 940.0000) mm");
  // Joint 5 at zero: the axes of joints 4 and 6 are aligned.
  EXPECT_EQ(FieldValue(r.out, "singularity"), "wrist");
  EXPECT_EQ(FieldValue(r.out, "limits"), "within limits");
}

TEST(ZorrobFk, JsonHoldsTheTargetConfigurationAndTheirTextForms) {
  const json j = RunToolJson({"fk", "0", "0", "0", "0", "0", "0", "--json"});
  EXPECT_EQ(j["command"], "fk");
  EXPECT_EQ(j["arm"]["name"], "default");
  EXPECT_EQ(j["arm"]["source"], "embedded");
  EXPECT_EQ(j["joints"], json::array({0, 0, 0, 0, 0, 0}));
  const Eigen::Vector3d p = Vec(j["target"]["position"]);
  EXPECT_NEAR(p.x(), 890.0, 1e-9);
  EXPECT_NEAR(p.y(), 0.0, 1e-9);
  EXPECT_NEAR(p.z(), 940.0, 1e-9);
  const json& q = j["target"]["orientation"];
  EXPECT_NEAR(q[0].get<double>(), std::sqrt(0.5), 1e-12);
  EXPECT_NEAR(q[1].get<double>(), 0.0, 1e-12);
  EXPECT_NEAR(q[2].get<double>(), std::sqrt(0.5), 1e-12);
  EXPECT_NEAR(q[3].get<double>(), 0.0, 1e-12);
  EXPECT_EQ(j["target"]["conf"], json::array({0, 0, 0, 0}));
  EXPECT_EQ(j["target"]["extJoint"], json::array({9e9, 9e9, 9e9, 9e9, 9e9, 9e9}));
  EXPECT_EQ(j["target"]["text"]["brace"],
            "{{890, 0, 940}, {0.707107, 0, 0.707107, 0}, {0, 0, 0, 0}, " + kUnused + "}");
  EXPECT_EQ(j["conf"]["text"]["brace"], "{0, 0, 0, 0}");
  EXPECT_EQ(j["conf"]["text"]["ui"], "[0, 0, 0, 0]");
  EXPECT_EQ(j["conf"]["text"]["ostrel"],
            "{quadrant::p0, quadrant::p0, quadrant::p0, quadrant::p0}");
  EXPECT_EQ(j["conf"]["text"]["krl"], "S 'B010'");
  EXPECT_EQ(j["conf"]["text"]["stream"], "0 0 0 0");
  EXPECT_EQ(j["singularity"], "wrist");
  EXPECT_EQ(j["limits"]["allowed"], true);
  EXPECT_EQ(j["limits"]["joints"], json::array({true, true, true, true, true, true}));
  EXPECT_FALSE(j["limits"].contains("sum"));
  const Eigen::Vector3d wcp = Vec(j["wristCentre"]);
  EXPECT_NEAR((wcp - Eigen::Vector3d(790, 0, 940)).norm(), 0.0, 1e-9);
}

TEST(ZorrobFk, TargetsMatchAnIndependentModelOfTheArm) {
  Random random;
  for (int n = 0; n < 8; ++n) {
    const Joints joints{random.uniform(-170, 170), random.uniform(-89, 149),
                        random.uniform(-174, 69),  random.uniform(-179, 179),
                        random.uniform(-124, 124), random.uniform(-359, 359)};
    SCOPED_TRACE(Args("fk", joints)[1]);
    const json j = RunToolJson(Args("fk", joints, {"--json"}));
    const Eigen::Isometry3d f = kArm.flange(joints);
    EXPECT_LT((Vec(j["target"]["position"]) - f.translation()).norm(), 1e-8);
    EXPECT_LT((RotationOf(j["target"]["orientation"]) - f.linear()).norm(), 1e-12);
    const Eigen::Vector3d wcp = kArm.wristCentre(joints);
    EXPECT_LT((Vec(j["wristCentre"]) - wcp).norm(), 1e-8);

    // The configuration: quadrants of joints 1, 4 and 6, then 4 when the wrist centre lies
    // more than 90 degrees from joint 1 (behind), 2 when joint 3 is at or below its stretched
    // value, 1 when joint 5 is negative.
    const double phi = std::atan2(wcp.y(), wcp.x()) * 180.0 / std::numbers::pi;
    const int cfx = (std::abs(phi - joints[0]) > 90.0 ? 4 : 0) +
                    (joints[2] <= kArm.stretchedJoint3() ? 2 : 0) + (joints[4] < 0 ? 1 : 0);
    const json conf = {Quadrant(joints[0]), Quadrant(joints[3]), Quadrant(joints[5]), cfx};
    EXPECT_EQ(j["target"]["conf"], conf);

    // The brace form: the position in shortest form, the quaternion with 6 digits.
    const json& pos = j["target"]["position"];
    const json& q = j["target"]["orientation"];
    std::string brace = "{{" + Shortest(pos[0]) + ", " + Shortest(pos[1]) + ", " +
                        Shortest(pos[2]) + "}, {" + Stream6(q[0]) + ", " + Stream6(q[1]) + ", " +
                        Stream6(q[2]) + ", " + Stream6(q[3]) + "}, {";
    for (std::size_t i = 0; i < 4; ++i)
      brace += (i ? ", " : "") + std::to_string(conf[i].get<int>());
    brace += "}, " + kUnused + "}";
    EXPECT_EQ(j["target"]["text"]["brace"], brace);
  }
}

TEST(ZorrobFk, ConfigurationFormsOfTurnedJointsAndAFlippedWrist) {
  // Quadrants: 100 -> 1, -100 -> -2, 200 -> 2. The wrist centre turns with joint 1 (front),
  // joint 3 = -30 lies above the stretched value, joint 5 < 0 flips the wrist: cfx 1.
  const Joints joints{100, 20, -30, -100, -50, 200};
  const Eigen::Vector3d wcp = kArm.wristCentre(joints);
  ASSERT_LE(std::abs(std::atan2(wcp.y(), wcp.x()) * 180 / std::numbers::pi - 100), 90);
  const ToolResult r = RunTool(Args("fk", joints));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "configuration"), "{1, -2, 2, 1}");
  EXPECT_EQ(FieldValue(r.out, "UI"), "[1, -2, 2, 1]");
  EXPECT_EQ(FieldValue(r.out, "KRL"), "S 'B011'");
  EXPECT_EQ(FieldValue(r.out, "limits"), "within limits");
  EXPECT_EQ(FieldValue(r.out, "singularity"), "none");
  // The first "Ostrel" line is the target's, the second the configuration's.
  const std::vector<std::string> ostrel = FieldValues(r.out, "Ostrel");
  ASSERT_EQ(ostrel.size(), 2u);
  EXPECT_EQ(ostrel[1], "{quadrant::p1, quadrant::n2, quadrant::p2, quadrant::p1}");
  EXPECT_NE(ostrel[0].find("{quadrant::p1, quadrant::n2, quadrant::p2, quadrant::p1}"),
            std::string::npos);
}

TEST(ZorrobFk, ArmLeaningBackIsBehindAndAFoldedElbowSetsTheElbowBit) {
  // Leaning back 80 degrees puts the wrist centre behind the base: cfx 4, KRL 110.
  const Joints behind{0, -80, -60, 0, 30, 0};
  ASSERT_LT(kArm.wristCentre(behind).x(), 0.0);
  ToolResult r = RunTool(Args("fk", behind));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "configuration"), "{0, 0, 0, 4}");
  EXPECT_EQ(FieldValue(r.out, "KRL"), "S 'B110'");
  // Joint 3 below its stretched value and joint 5 negative: cfx 3, whose KRL form has no
  // closing quote.
  const Joints folded{0, 30, -120, 0, -30, 0};
  ASSERT_LT(folded[2], kArm.stretchedJoint3());
  ASSERT_GT(kArm.wristCentre(folded).x(), 0.0);
  r = RunTool(Args("fk", folded));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "configuration"), "{0, 0, 0, 3}");
  EXPECT_EQ(FieldValue(r.out, "KRL"), "S 'B001");
}

std::string SingularityOf(const Joints& joints, std::vector<std::string> more = {}) {
  const ToolResult r = RunTool(Args("fk", joints, std::move(more)));
  EXPECT_EQ(r.status, 0) << r.err;
  return FieldValue(r.out, "singularity");
}

TEST(ZorrobFk, SingularityClasses) {
  // Wrist: |joint 5| below 0.001 degrees, strictly.
  EXPECT_EQ(SingularityOf({10, 20, 30, 40, 0.0009, 60}), "wrist");
  EXPECT_EQ(SingularityOf({10, 20, 30, 40, -0.0009, 60}), "wrist");
  EXPECT_EQ(SingularityOf({10, 20, 30, 40, 0.001, 60}), "none");
  // Elbow: joint 3 at the value where the forearm points straight up the upper arm, worked out
  // from a2 and c3 (about -99.75 degrees).
  const double stretched = kArm.stretchedJoint3();
  {
    const Eigen::Vector3d forearm =
        Eigen::AngleAxisd(ReferenceArm::rad(stretched), Eigen::Vector3d::UnitY()) *
        Eigen::Vector3d(kArm.c3, 0, kArm.a2);
    ASSERT_NEAR(forearm.x(), 0.0, 1e-9);
    ASSERT_GT(forearm.z(), 0.0);
  }
  EXPECT_EQ(SingularityOf({10, 20, stretched, 40, 30, 60}), "elbow");
  EXPECT_EQ(SingularityOf({10, 20, stretched + 0.0009, 40, 30, 60}), "elbow");
  EXPECT_EQ(SingularityOf({10, 20, stretched + 0.01, 40, 30, 60}), "none");
  // The wrist test comes first.
  EXPECT_EQ(SingularityOf({10, 20, stretched, 40, 0, 60}), "wrist");
  // Shoulder: the wrist centre on the axis of joint 1. With joint 2 at -60 the elbow lies at
  // x = a1 + c2 sin(-60°); the forearm (c3, a2) turned by φ = j2 + j3 reaches
  // c3 cos φ + a2 sin φ = L cos(φ + α) with L = |(c3, a2)|, α = atan2(-a2, c3): choose φ so
  // that this cancels the elbow's x.
  const double j2 = -60;
  const double elbowX = kArm.a1 + kArm.c2 * std::sin(ReferenceArm::rad(j2));
  const double length = std::hypot(kArm.c3, kArm.a2);
  const double alpha = std::atan2(-kArm.a2, kArm.c3);
  const double phi = -std::acos(-elbowX / length) - alpha;
  const Joints shoulder{25, j2, phi * 180 / std::numbers::pi - j2, 40, 30, 60};
  const Eigen::Vector3d wcp = kArm.wristCentre(shoulder);
  ASSERT_LT(std::hypot(wcp.x(), wcp.y()), 1e-9);
  EXPECT_EQ(SingularityOf(shoulder), "shoulder");
  // A wider tolerance catches a wrist centre 0.5 mm away from the axis.
  Joints near = shoulder;
  near[2] += 0.5 / 650 * 180 / std::numbers::pi;
  EXPECT_EQ(SingularityOf(near), "none");
  EXPECT_EQ(SingularityOf(near, {"--wcp-tolerance", "1"}), "shoulder");
  EXPECT_EQ(SingularityOf({10, 20, 30, 40, 0.005, 60}, {"--joint-tolerance", "0.01"}), "wrist");
}

TEST(ZorrobFk, LimitVerdictNamesEveryJointOutsideItsLimits) {
  ToolResult r = RunTool({"fk", "-45", "160", "-30", "0", "60", "0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "limits"), "outside limits: joint 2 = 160 not in -90 .. 150");
  r = RunTool({"fk", "171", "0", "0", "0", "-130", "0"});
  EXPECT_EQ(FieldValue(r.out, "limits"),
            "outside limits: joint 1 = 171 not in -170 .. 170; joint 5 = -130 not in -125 .. 125");
  // The limits themselves are allowed; beyond them by more than 1e-6 degrees is not.
  r = RunTool({"fk", "-170", "150", "-175", "180", "125", "-360"});
  EXPECT_EQ(FieldValue(r.out, "limits"), "within limits");
  r = RunTool({"fk", "0", "0", "0", "0", "125.00001", "0"});
  EXPECT_EQ(FieldValue(r.out, "limits"), "outside limits: joint 5 = 125.00001 not in -125 .. 125");
  const json j = RunToolJson({"fk", "-45", "160", "-30", "0", "60", "0", "--json"});
  EXPECT_EQ(j["limits"]["allowed"], false);
  EXPECT_EQ(j["limits"]["joints"], json::array({true, false, true, true, true, true}));
}

std::string DefaultArmFile(bool coupling) {
  return std::string(R"({"name": "coupled", "ortho-parallel": {"a1": 150, "a2": -110, "b": 0,)") +
         R"("c1": 450, "c2": 600, "c3": 640, "c4": 100}, "limits": {"min": [-170, -90, -175,)" +
         R"(-180, -125, -360], "max": [170, 150, 70, 180, 125, 360], "sumMin": -170, )" +
         R"("sumMax": 170}, "home": [0, 0, 0, 0, 0, 0], "coupling": )" +
         (coupling ? "true" : "false") + "}";
}

TEST(ZorrobFk, CoupledLimitsBoundTheSumOfJoints2And3) {
  const TempDir dir;
  const std::string arm = dir.write("coupled.json", DefaultArmFile(true));
  // 140 + 60 = 200 lies beyond the sum limit 170, though each joint is within its own limits.
  ToolResult r = RunTool({"fk", "0", "140", "60", "0", "30", "0", "--arm", arm});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "arm"), "coupled (" + arm + ")");
  EXPECT_EQ(FieldValue(r.out, "limits"),
            "outside limits: joint 2 + joint 3 = 200 not in -170 .. 170");
  json j = RunToolJson({"fk", "0", "140", "60", "0", "30", "0", "--arm", arm, "--json"});
  EXPECT_EQ(j["limits"]["allowed"], false);
  EXPECT_EQ(j["limits"]["joints"], json::array({true, false, false, true, true, true}));
  EXPECT_EQ(j["limits"]["sum"], false);
  j = RunToolJson({"fk", "0", "100", "60", "0", "30", "0", "--arm", arm, "--json"});
  EXPECT_EQ(j["limits"]["allowed"], true);
  EXPECT_EQ(j["limits"]["sum"], true);
  // Without the coupling the same joints are allowed.
  const std::string free = dir.write("free.json", DefaultArmFile(false));
  r = RunTool({"fk", "0", "140", "60", "0", "30", "0", "--arm", free});
  EXPECT_EQ(FieldValue(r.out, "limits"), "within limits");
}

// ---- jacobian ---------------------------------------------------------------------------

Eigen::Matrix<double, 6, 6> MatrixOf(const json& m) {
  Eigen::Matrix<double, 6, 6> out;
  for (int r = 0; r < 6; ++r)
    for (int c = 0; c < 6; ++c)
      out(r, c) = m[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)].get<double>();
  return out;
}

TEST(ZorrobJacobian, SpaceJacobianAtHomeHoldsTheJointScrewAxes) {
  // Joint 2: axis y through the shoulder (150, 0, 450): (0, 1, 0, -450, 0, 150).
  const json j = RunToolJson({"jacobian", "0", "0", "0", "0", "0", "0", "--json"});
  EXPECT_EQ(j["frame"], "space");
  EXPECT_EQ(j["rows"], json::array({"wx", "wy", "wz", "vx", "vy", "vz"}));
  const Eigen::Matrix<double, 6, 6> m = MatrixOf(j["matrix"]);
  Eigen::Matrix<double, 6, 1> joint2;
  joint2 << 0, 1, 0, -450, 0, 150;
  EXPECT_LT((m.col(1) - joint2).norm(), 1e-12);
  EXPECT_LT((m - kArm.spaceJacobian({0, 0, 0, 0, 0, 0})).norm(), 1e-9);
}

TEST(ZorrobJacobian, SpaceAndBodyJacobiansMatchAnIndependentModel) {
  Random random;
  for (int n = 0; n < 4; ++n) {
    Joints joints{};
    for (double& v : joints)
      v = random.uniform(-150, 150);
    const json space = RunToolJson(Args("jacobian", joints, {"--json"}));
    EXPECT_LT((MatrixOf(space["matrix"]) - kArm.spaceJacobian(joints)).norm(), 1e-8);
    const json body = RunToolJson(Args("jacobian", joints, {"--body", "--json"}));
    EXPECT_EQ(body["frame"], "body");
    EXPECT_LT((MatrixOf(body["matrix"]) - kArm.bodyJacobian(joints)).norm(), 1e-8);
  }
}

TEST(ZorrobJacobian, TextLabelsRowsAndColumns) {
  const Joints joints{10, 20, 30, 40, 50, 60};
  const ToolResult r = RunTool(Args("jacobian", joints));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "joints"), "{10, 20, 30, 40, 50, 60} deg");
  EXPECT_NE(r.out.find("space Jacobian"), std::string::npos);
  const Eigen::Matrix<double, 6, 6> expected = kArm.spaceJacobian(joints);
  const std::vector<std::string> lines = Lines(r.out);
  const std::array<std::string, 6> rows{"wx", "wy", "wz", "vx", "vy", "vz"};
  int found = 0;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::vector<std::string> words = Words(lines[i]);
    if (words.size() == 12 && words[0] == "joint" && words[1] == "1") {
      EXPECT_EQ(Words(lines[i]),
                (std::vector<std::string>{"joint", "1", "joint", "2", "joint", "3", "joint", "4",
                                          "joint", "5", "joint", "6"}));
      for (int r6 = 0; r6 < 6; ++r6) {
        const std::vector<std::string> cells = Words(lines[i + 1 + static_cast<std::size_t>(r6)]);
        ASSERT_EQ(cells.size(), 7u);
        EXPECT_EQ(cells[0], rows[static_cast<std::size_t>(r6)]);
        for (int c = 0; c < 6; ++c)
          EXPECT_NEAR(std::stod(cells[static_cast<std::size_t>(c) + 1]), expected(r6, c), 1e-6);
      }
      ++found;
    }
  }
  EXPECT_EQ(found, 1);
}

// ---- arm and arm files ------------------------------------------------------------------

json ModelOf(const RobotConfig& c) {
  // The members of a library model in the tool's JSON layout, for an exact comparison.
  json m;
  auto screws = [](const std::array<ScrewAxis, 6>& axes) {
    json out = json::array();
    for (const ScrewAxis& s : axes)
      out.push_back({s.w.x, s.w.y, s.w.z, s.v.x, s.v.y, s.v.z});
    return out;
  };
  m["spaceScrewAxes"] = screws(c.spaceScrewAxes);
  m["bodyScrewAxes"] = screws(c.bodyScrewAxes);
  m["jointMax"] = c.jointMax;
  m["jointMin"] = c.jointMin;
  m["homeJoint"] = c.homeJoint.values;
  m["jointPoints"] = json::array();
  m["jointAxes"] = json::array();
  for (std::size_t i = 0; i < 6; ++i) {
    m["jointPoints"].push_back({c.jointPoints[i].x, c.jointPoints[i].y, c.jointPoints[i].z});
    m["jointAxes"].push_back({c.jointAxes[i].x, c.jointAxes[i].y, c.jointAxes[i].z});
  }
  const auto& r = c.flangeHome.rotation;
  const auto& t = c.flangeHome.translation;
  m["flangeHome"] = {{"rotation", {r.w, r.x, r.y, r.z}}, {"translation", {t.x, t.y, t.z}}};
  m["elbowOffset"] = c.elbowOffset;
  m["jointCoupling"] = c.jointCoupling;
  m["sphericalWrist"] = c.sphericalWrist;
  return m;
}

const std::string kDefaultArmFile = std::string(ZORROB_SOURCE_DIR) + "/data/arms/default.json";

TEST(ZorrobArm, ShippedDefaultArmFileEqualsTheEmbeddedArmInEveryMember) {
  const json embedded = RunToolJson({"arm", "--json"});
  const json shipped = RunToolJson({"arm", "--json", "--arm", kDefaultArmFile});
  EXPECT_EQ(shipped["model"], embedded["model"]);
  EXPECT_EQ(shipped["description"], embedded["description"]);
  EXPECT_EQ(shipped["arm"]["lengths"], embedded["arm"]["lengths"]);
  EXPECT_EQ(shipped["arm"]["source"], kDefaultArmFile);
  // And the embedded arm is the library's, member by member, exactly.
  EXPECT_EQ(embedded["model"], ModelOf(DefaultArm()));
}

TEST(ZorrobArm, SummaryOfTheDefaultArm) {
  const ToolResult r = RunTool({"arm"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "arm"), "default (embedded)");
  EXPECT_EQ(FieldValue(r.out, "geometry"),
            "ortho-parallel, a1 150, a2 -110, b 0, c1 450, c2 600, c3 640, c4 100 (mm)");
  EXPECT_EQ(FieldValue(r.out, "wrist"), "spherical, centre 100 mm behind the flange");
  std::ostringstream elbow;
  elbow << std::fixed << std::setprecision(4) << kArm.stretchedJoint3();
  EXPECT_EQ(FieldValue(r.out, "elbow").rfind("stretched at joint 3 = " + elbow.str() + " deg (", 0),
            0u)
      << FieldValue(r.out, "elbow");
  EXPECT_EQ(FieldValue(r.out, "coupling"), "off, the joint 2 + joint 3 limits do not apply");
  EXPECT_EQ(FieldValue(r.out, "flange home"), "{{890, 0, 940}, {0.707107, 0, 0.707107, 0}}");
  EXPECT_EQ(FieldValue(r.out, "home target"),
            "{{890, 0, 940}, {0.707107, 0, 0.707107, 0}, {0, 0, 0, 0}, " + kUnused + "}");
  EXPECT_EQ(Words(FieldValue(r.out, "2")), (std::vector<std::string>{"-90", "150", "0"}));
  EXPECT_EQ(Words(FieldValue(r.out, "2 + 3")), (std::vector<std::string>{"-170", "170"}));
  const json j = RunToolJson({"arm", "--json"});
  EXPECT_EQ(j["arm"]["kind"], "ortho-parallel");
  EXPECT_EQ(j["arm"]["sphericalWrist"], true);
  EXPECT_EQ(j["arm"]["wcpZOffset"], 100.0);
  EXPECT_EQ(j["arm"]["coupling"], false);
}

/// The default arm in the general form: the axes and points of reference_arm.hpp and the
/// flange turned a quarter turn about y.
std::string GeneralArmFile(const std::string& axis3 = "[0, 1, 0]",
                           const std::string& wrist6 = "[790, 0, 940]") {
  return R"({"name": "general", "joints": [
      {"axis": [0, 0, 1], "point": [0, 0, 0]},
      {"axis": [0, 1, 0], "point": [150, 0, 450]},
      {"axis": )" +
         axis3 + R"(, "point": [150, 0, 1050]},
      {"axis": [1, 0, 0], "point": [790, 0, 940]},
      {"axis": [0, 1, 0], "point": [790, 0, 940]},
      {"axis": [1, 0, 0], "point": )" +
         wrist6 + R"(}],
    "flangeHome": {"position": [890, 0, 940],
                   "orientation": [0.7071067811865476, 0, 0.7071067811865475, 0]},
    "elbowOffsetRad": 1.741008252080371,
    "limits": {"min": [-170, -90, -175, -180, -125, -360], "max": [170, 150, 70, 180, 125, 360],
               "sumMin": -170, "sumMax": 170},
    "home": [0, 0, 0, 0, 0, 0], "coupling": false})";
}

TEST(ZorrobArm, GeneralFormOfTheDefaultArmGivesTheSameTargets) {
  const TempDir dir;
  const std::string arm = dir.write("general.json", GeneralArmFile());
  const ToolResult r = RunTool({"arm", "--arm", arm});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "geometry"), "general (joint axes and points given)");
  EXPECT_EQ(FieldValue(r.out, "wrist"), "spherical, centre 100 mm behind the flange");
  Random random;
  for (int n = 0; n < 3; ++n) {
    Joints joints{};
    for (double& v : joints)
      v = random.uniform(-60, 60);
    const json a = RunToolJson(Args("fk", joints, {"--json", "--arm", arm}));
    const json b = RunToolJson(Args("fk", joints, {"--json"}));
    EXPECT_LT((Vec(a["target"]["position"]) - Vec(b["target"]["position"])).norm(), 1e-9);
    EXPECT_LT(
        (RotationOf(a["target"]["orientation"]) - RotationOf(b["target"]["orientation"])).norm(),
        1e-12);
    EXPECT_EQ(a["conf"], b["conf"]);
  }
  // Its description reads back to the same model.
  const json described = RunToolJson({"arm", "--json", "--arm", arm});
  const std::string again = dir.write("again.json", described["description"].dump());
  EXPECT_EQ(RunToolJson({"arm", "--json", "--arm", again})["model"], described["model"]);
}

TEST(ZorrobArm, WristWhoseAxesDoNotMeetIsNotSpherical) {
  const TempDir dir;
  const std::string arm = dir.write("offset.json", GeneralArmFile("[0, 1, 0]", "[800, 0, 940]"));
  const ToolResult r = RunTool({"arm", "--arm", arm});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "wrist"),
            "not spherical (the axes of joints 4 to 6 do not meet in one point)");
}

TEST(ZorrobArm, CouplingIsShownInTheSummary) {
  const TempDir dir;
  const ToolResult r = RunTool({"arm", "--arm", dir.write("c.json", DefaultArmFile(true))});
  EXPECT_EQ(FieldValue(r.out, "coupling"), "on, joint 2 + joint 3 within -170 .. 170");
}

struct BadArm {
  std::string content;
  std::string message;  // after "arm file '<path>'"
};

/// Runs `command` on each bad arm file and expects status 1 and the one line naming the file.
void ExpectRejected(const std::vector<BadArm>& cases, const std::string& command) {
  const TempDir dir;
  for (const BadArm& bad : cases) {
    const std::string path = dir.write("bad.json", bad.content);
    SCOPED_TRACE(bad.content);
    std::vector<std::string> args{command};
    if (command == "fk")
      args.insert(args.end(), {"0", "0", "0", "0", "0", "0"});
    args.insert(args.end(), {"--arm", path});
    const ToolResult r = RunTool(args);
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(r.signalled);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "zorrob " + command + ": arm file '" + path + "'" + bad.message + "\n");
  }
}

TEST(ZorrobArm, BadArmFilesAreRejectedWithOneLineNamingTheProblem) {
  const std::string ortho = R"("ortho-parallel": {"a1": 150, "a2": -110, "b": 0, "c1": 450, )"
                            R"("c2": 600, "c3": 640, "c4": 100})";
  const std::string limits = R"("limits": {"min": [-170, -90, -175, -180, -125, -360], )"
                             R"("max": [170, 150, 70, 180, 125, 360], "sumMin": -170, )"
                             R"("sumMax": 170})";
  const std::string rest = R"("home": [0, 0, 0, 0, 0, 0], "coupling": false)";
  const std::vector<BadArm> cases{
      {"[1, 2, 3]", ": the document must be a JSON object"},
      {"{" + limits + ", " + rest + "}",
       ": give one of 'ortho-parallel' (the seven lengths, offsets and signs), 'dh' (a "
       "Denavit-Hartenberg table) or 'joints' (the general form), not none"},
      {"{" + ortho + ", \"joints\": [], " + limits + ", " + rest + "}",
       ": give one of 'ortho-parallel' (the seven lengths, offsets and signs), 'dh' (a "
       "Denavit-Hartenberg table) or 'joints' (the general form), not several"},
      {"{" + ortho + ", " + rest + "}", ": 'limits' is missing"},
      {"{" + ortho + ", " + limits + ", \"home\": [0, 0, 0, 0, 0, 0]}", ": 'coupling' is missing"},
      {"{" + ortho + ", " + limits + ", " + rest + ", \"colour\": \"red\"}",
       ": 'colour' is not a known key"},
      {R"({"ortho-parallel": {"a1": 150, "a2": -110, "b": 0, "c1": 450, "c2": 600, "c3": 640},)" +
           limits + ", " + rest + "}",
       ": 'ortho-parallel.c4' is missing"},
      {R"({"ortho-parallel": {"a1": "150", "a2": -110, "b": 0, "c1": 450, "c2": 600, "c3": 640,)"
       R"( "c4": 100},)" +
           limits + ", " + rest + "}",
       ": 'ortho-parallel.a1' must be a number"},
      {"{" + ortho +
           R"(, "limits": {"min": [-170, -90], "max": [170, 150, 70, 180, 125, 360],)"
           R"( "sumMin": -170, "sumMax": 170}, )" +
           rest + "}",
       ": 'limits.min' must be an array of 6 numbers"},
      {"{" + ortho + ", " + limits + R"(, "home": [0, 0, 0, 0, null, 0], "coupling": false})",
       ": 'home[4]' must be a number"},
      {"{" + ortho + ", " + limits + R"(, "home": [0, 0, 0, 0, 0, 0], "coupling": 1})",
       ": 'coupling' must be true or false"},
      {"{\"name\": 7, " + ortho + ", " + limits + ", " + rest + "}", ": 'name' must be a string"},
      {GeneralArmFile("[0, 2, 0]"), ": 'joints[2].axis' is not a unit vector (length 2)"},
      {GeneralArmFile("[0, 0.6, 0.6]"),
       ": 'joints[2].axis' is not a unit vector (length 0.848528)"},
  };
  ExpectRejected(cases, "fk");
}

const std::string kDhLimits =
    R"("limits": {"min": [-360, -360, -180, -360, -360, -360], "max": [360, 360, 180, 360, 360,)"
    R"( 360], "sumMin": -540, "sumMax": 540}, "home": [0, 0, 0, 0, 0, 0], "coupling": false)";

TEST(ZorrobArm, BadDhAndOrthoParallelFilesAreRejectedWithOneLine) {
  const std::string ortho = R"({"ortho-parallel": {"a1": 350, "a2": -41, "b": 0, "c1": 675, )"
                            R"("c2": 1150, "c3": 1200, "c4": 215)";
  const std::vector<BadArm> cases{
      {ortho + R"(, "signs": [1, 1, 1, 0, 1, 1]}, )" + kDhLimits + "}",
       ": 'ortho-parallel.signs[3]' must be 1 or -1"},
      {ortho + R"(, "offsets": [0, 0]}, )" + kDhLimits + "}",
       ": 'ortho-parallel.offsets' must be an array of 6 numbers"},
      {ortho + R"(, "signs": [-1, 1, 1, 1, 1, 1]}, )" + kDhLimits + "}",
       ": joint 1 must turn about the base z axis, upwards (shoulder configuration and "
       "singularity)"},
      {R"({"dh": {"convention": "craig", "rows": []}, )" + kDhLimits + "}",
       ": 'dh.convention' must be \"classic\" or \"modified\""},
      {R"({"dh": {"convention": "modified", "rows": [[0, 0, 0, 0]]}, )" + kDhLimits + "}",
       ": 'dh.rows' must be an array of 6 rows [a, alpha, d, thetaOffset]"},
      {R"({"dh": {"convention": "classic", "rows": [[0, 0, 0, 0], [0, 0, 0], [0, 0, 0, 0],)"
       R"( [0, 0, 0, 0], [0, 0, 0, 0], [0, 0, 0, 0]]}, )" +
           kDhLimits + "}",
       ": 'dh.rows[1]' must be an array of 4 numbers"},
      {R"({"dh": {"rows": []}, )" + kDhLimits + "}", ": 'dh.convention' is missing"},
      {R"({"dh": {"convention": "classic", "rows": [], "units": "m"}, )" + kDhLimits + "}",
       ": 'dh.units' is not a known key"},
      {R"({"dh": {"convention": "classic", "rows": [[0, 0, 0, 0], [0, 0, 0, 0], [0, 0, 0, 0],)"
       R"( [0, 0, 0, 0], [0, 0, 0, 0], [0, 0, 0, 0]]}, )" +
           kDhLimits + "}",
       ": the axes of joints 1 and 2 must not be parallel (the shoulder)"},
      {R"({"dh": 1, "joints": [], )" + kDhLimits + "}",
       ": give one of 'ortho-parallel' (the seven lengths, offsets and signs), 'dh' (a "
       "Denavit-Hartenberg table) or 'joints' (the general form), not several"},
  };
  ExpectRejected(cases, "arm");
}

TEST(ZorrobArm, UnreadableOrMalformedArmFilesAreRejected) {
  const TempDir dir;
  const std::string missing = dir.write("x", "") + ".missing";
  ToolResult r = RunTool({"arm", "--arm", missing});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "zorrob arm: arm file '" + missing + "' cannot be read\n");
  r = RunTool({"arm", "--arm", std::string(ZORROB_SOURCE_DIR) + "/data"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "zorrob arm: arm file '" + std::string(ZORROB_SOURCE_DIR) + "/data' is a directory\n");
  r = RunTool({"fk", "0", "0", "0", "0", "0", "0", "--arm", ""});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zorrob fk: arm file '' cannot be read\n");
  const std::string broken = dir.write("broken.json", "{\"name\": ");
  r = RunTool({"jacobian", "0", "0", "0", "0", "0", "0", "--arm", broken});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err.rfind("zorrob jacobian: arm file '" + broken + "' is not valid JSON: ", 0), 0u)
      << r.err;
  EXPECT_EQ(Lines(r.err).size(), 1u);
  const std::string huge = dir.write("huge.json", "{\"home\": [1e999]}");
  r = RunTool({"--arm", huge});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err.rfind("zorrob: arm file '" + huge + "' is not valid JSON: ", 0), 0u) << r.err;
}

TEST(ZorrobArm, FileNamesThatAreNotUtf8StillGiveJson) {
  const TempDir dir;
  const std::string path = dir.write("arm\xff.json", DefaultArmFile(false));
  const json j = RunToolJson({"fk", "0", "0", "0", "0", "0", "0", "--json", "--arm", path});
  EXPECT_EQ(j["arm"]["name"], "coupled");
  EXPECT_NE(j["arm"]["source"].get<std::string>().find("arm\xef\xbf\xbd.json"), std::string::npos);
}

TEST(ZorrobArm, FlangeOrientationMustBeAUnitQuaternion) {
  std::string content = GeneralArmFile();
  const std::string good = "[0.7071067811865476, 0, 0.7071067811865475, 0]";
  content.replace(content.find(good), good.size(), "[1, 0, 1, 0]");
  const TempDir dir;
  const std::string path = dir.write("q.json", content);
  const ToolResult r = RunTool({"arm", "--arm", path});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "zorrob arm: arm file '" + path +
                       "': 'flangeHome.orientation' is not a unit quaternion (length 1.41421)\n");
}

}  // namespace
}  // namespace zor::rob::test
