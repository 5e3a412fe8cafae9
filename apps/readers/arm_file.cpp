#include "arm_file.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "cli_error.hpp"
#include "input_file.hpp"
#include "json_reader.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob::cli {

namespace {

using nlohmann::json;

/// Largest difference from 1 of the length of a joint axis or of the flange quaternion.
constexpr double kUnitTolerance = 1e-6;

/// Reads the members of one arm document; every error names the file and the key.
class Reader : public JsonReader {
 public:
  explicit Reader(const std::string& source) : JsonReader("arm file '" + source + "'") {}
};

struct CommonPart {
  std::array<double, 7> jointMin{};
  std::array<double, 7> jointMax{};
  RobJoint home{};
  std::int32_t coupling{0};
};

CommonPart readCommon(const Reader& in, const json& doc) {
  CommonPart common;
  const json& limits = in.object(in.member(doc, "", "limits"), "limits");
  in.checkKeys(limits, "limits", {"min", "max", "sumMin", "sumMax"});
  const auto min = in.numbers<6>(in.member(limits, "limits", "min"), "limits.min");
  const auto max = in.numbers<6>(in.member(limits, "limits", "max"), "limits.max");
  for (std::size_t i = 0; i < 6; ++i) {
    common.jointMin[i] = min[i];
    common.jointMax[i] = max[i];
  }
  common.jointMin[6] = in.number(in.member(limits, "limits", "sumMin"), "limits.sumMin");
  common.jointMax[6] = in.number(in.member(limits, "limits", "sumMax"), "limits.sumMax");
  const auto home = in.numbers<6>(in.member(doc, "", "home"), "home");
  common.home = RobJoint(home[0], home[1], home[2], home[3], home[4], home[5]);
  const json& coupling = in.member(doc, "", "coupling");
  if (!coupling.is_boolean())
    in.fail("coupling", "must be true or false");
  common.coupling = coupling.get<bool>() ? 1 : 0;
  return common;
}

/// The key of the ortho-parallel form.
constexpr const char* kOrthoParallelKey = "ortho-parallel";
/// How errors name an arm file ("arm file '<path>' ...").
constexpr const char* kArmFileKind = "arm";

/// The ortho-parallel form: the seven lengths and the controller's offsets and signs.
void readOrthoParallel(const Reader& in, const json& value, Arm& arm) {
  const std::string path = kOrthoParallelKey;
  const json& form = in.object(value, path);
  in.checkKeys(form, path, {"a1", "a2", "b", "c1", "c2", "c3", "c4", "offsets", "signs"});
  const auto length = [&](std::string_view key) {
    return in.number(in.member(form, path, key), Reader::join(path, key));
  };
  // A braced list is read left to right: the first bad length is the one reported.
  arm.lengths = OrthoParallelGeometry{.a1 = length("a1"),
                                      .a2 = length("a2"),
                                      .b = length("b"),
                                      .c1 = length("c1"),
                                      .c2 = length("c2"),
                                      .c3 = length("c3"),
                                      .c4 = length("c4")};
  if (const auto it = form.find("offsets"); it != form.end())
    arm.offsets = in.numbers<6>(*it, Reader::join(path, "offsets"));
  if (const auto it = form.find("signs"); it != form.end()) {
    const std::string signsPath = Reader::join(path, "signs");
    const auto signs = in.numbers<6>(*it, signsPath);
    for (std::size_t i = 0; i < 6; ++i) {
      if (signs[i] != 1.0 && signs[i] != -1.0)
        in.fail(signsPath + "[" + std::to_string(i) + "]", "must be 1 or -1");
      arm.signs[i] = signs[i] > 0.0 ? 1 : -1;
    }
  }
}

/// The Denavit-Hartenberg form: the convention and six rows [a, alpha, d, thetaOffset].
DhTable readDh(const Reader& in, const json& value) {
  const json& form = in.object(value, "dh");
  in.checkKeys(form, "dh", {"convention", "rows"});
  DhTable table;
  const json& convention = in.member(form, "dh", "convention");
  if (convention == "classic")
    table.convention = DhConvention::classic;
  else if (convention == "modified")
    table.convention = DhConvention::modified;
  else
    in.fail("dh.convention", "must be \"classic\" or \"modified\"");
  const json& rows = in.member(form, "dh", "rows");
  if (!rows.is_array() || rows.size() != 6)
    in.fail("dh.rows", "must be an array of 6 rows [a, alpha, d, thetaOffset]");
  for (std::size_t i = 0; i < 6; ++i) {
    const auto row = in.numbers<4>(rows[i], "dh.rows[" + std::to_string(i) + "]");
    table.rows[i] = {row[0], row[1], row[2], row[3]};
  }
  return table;
}

/// The library's ArmLimits of the common part.
ArmLimits limitsOf(const CommonPart& common) {
  ArmLimits limits;
  limits.jointMin = common.jointMin;
  limits.jointMax = common.jointMax;
  limits.homeJoint = common.home;
  limits.jointCoupling = common.coupling;
  return limits;
}

/// Runs `build`, which makes the arm of `source`; the library's rejections (each builder and
/// importer checks every assumption of the model) name the file.
void building(const std::string& source, const std::function<void()>& build) {
  try {
    build();
  } catch (const std::invalid_argument& e) {
    throw InputError("arm file '" + source + "': " + e.what());
  }
}

/// Keeps the imported model and the described flange.
void takeImported(Arm& arm, const std::function<ImportedArm()>& import) {
  building(arm.source, [&] {
    const ImportedArm imported = import();
    arm.config = imported.robot;
    arm.userFlange = imported.userFlange;
  });
}

RobotConfig readGeneral(const Reader& in, const json& doc, const CommonPart& common) {
  const json& joints = in.member(doc, "", "joints");
  if (!joints.is_array() || joints.size() != 6)
    in.fail("joints",
            "must be an array of 6 joints, each {\"axis\": [x, y, z], \"point\": [x, y, z]}");
  std::array<Vec3, 6> axes{};
  std::array<Pos, 6> points{};
  for (std::size_t i = 0; i < 6; ++i) {
    const std::string path = "joints[" + std::to_string(i) + "]";
    const json& joint = in.object(joints[i], path);
    in.checkKeys(joint, path, {"axis", "point"});
    const auto axis = in.numbers<3>(in.member(joint, path, "axis"), path + ".axis");
    const auto point = in.numbers<3>(in.member(joint, path, "point"), path + ".point");
    axes[i] = {axis[0], axis[1], axis[2]};
    points[i] = {point[0], point[1], point[2]};
    const double length = axes[i].norm();
    if (std::abs(length - 1.0) > kUnitTolerance) {
      std::ostringstream what;
      what << "is not a unit vector (length " << length << ")";
      in.fail(path + ".axis", what.str());
    }
  }
  const json& flange = in.object(in.member(doc, "", "flangeHome"), "flangeHome");
  in.checkKeys(flange, "flangeHome", {"position", "orientation"});
  const auto position =
      in.numbers<3>(in.member(flange, "flangeHome", "position"), "flangeHome.position");
  const auto q =
      in.numbers<4>(in.member(flange, "flangeHome", "orientation"), "flangeHome.orientation");
  const double norm = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  if (std::abs(norm - 1.0) > kUnitTolerance) {
    std::ostringstream what;
    what << "is not a unit quaternion (length " << norm << ")";
    in.fail("flangeHome.orientation", what.str());
  }
  const Transform flangeHome(Rotation(q[0], q[1], q[2], q[3]),
                             {position[0], position[1], position[2]});
  const double elbowOffset = in.number(in.member(doc, "", "elbowOffsetRad"), "elbowOffsetRad");
  return MakeRobotConfig(axes, points, flangeHome, common.jointMin, common.jointMax, common.home,
                         elbowOffset, common.coupling);
}

std::string defaultName(const std::string& source) {
  return std::filesystem::path(source).stem().string();
}

}  // namespace

Arm defaultArm() {
  Arm arm;
  arm.name = "default";
  arm.source = "embedded";
  arm.lengths = DefaultArmGeometry();
  arm.config = DefaultArm();
  return arm;
}

Arm armFromJson(const json& doc, const std::string& source) {
  const Reader in(source);
  if (!doc.is_object())
    throw InputError("arm file '" + source + "': the document must be a JSON object");
  const int forms = (doc.contains(kOrthoParallelKey) ? 1 : 0) + (doc.contains("dh") ? 1 : 0) +
                    (doc.contains("joints") ? 1 : 0);
  if (forms != 1)
    throw InputError("arm file '" + source + "': give one of '" + kOrthoParallelKey +
                     "' (the seven lengths, offsets and signs), 'dh' (a Denavit-Hartenberg "
                     "table) or 'joints' (the general form), not " +
                     (forms == 0 ? "none" : "several"));
  if (doc.contains(kOrthoParallelKey))
    in.checkKeys(doc, "", {"name", kOrthoParallelKey, "limits", "home", "coupling"});
  else if (doc.contains("dh"))
    in.checkKeys(doc, "", {"name", "dh", "limits", "home", "coupling"});
  else
    in.checkKeys(doc, "",
                 {"name", "joints", "flangeHome", "elbowOffsetRad", "limits", "home", "coupling"});

  Arm arm;
  arm.source = source;
  arm.name = defaultName(source);
  if (const auto it = doc.find("name"); it != doc.end()) {
    if (!it->is_string())
      in.fail("name", "must be a string");
    arm.name = it->get<std::string>();
  }
  const CommonPart common = readCommon(in, doc);
  if (doc.contains(kOrthoParallelKey)) {
    readOrthoParallel(in, doc.at(kOrthoParallelKey), arm);
    const Arm plain;
    if (arm.offsets == plain.offsets && arm.signs == plain.signs) {
      // Without offsets and signs the arm is the library's own ortho-parallel arm.
      building(source, [&] {
        arm.config = MakeOrthoParallelArm(*arm.lengths, common.jointMin, common.jointMax,
                                          common.home, common.coupling);
      });
    } else {
      const OrthoParallelParameters parameters{*arm.lengths, arm.offsets, arm.signs};
      takeImported(arm, [&] { return ArmFromOrthoParallel(parameters, limitsOf(common)); });
    }
  } else if (doc.contains("dh")) {
    arm.dh = readDh(in, doc.at("dh"));
    takeImported(arm, [&] { return ArmFromDh(*arm.dh, limitsOf(common)); });
  } else {
    building(source, [&] { arm.config = readGeneral(in, doc, common); });
  }
  return arm;
}

Arm loadArm(const std::string& path) {
  return armFromJson(
      parseJsonDocument(readInputFile(path, kArmFileKind, kArmFileCap), kArmFileKind, path), path);
}

bool isUrdfPath(const std::string& path) {
  const std::string suffix = ".urdf";
  return path.size() >= suffix.size() &&
         path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0;
}

Arm loadUrdfArm(const std::string& path, const std::string& base, const std::string& tip) {
  const std::string text = readInputFile(path, kArmFileKind, kArmFileCap);
  Arm arm;
  arm.source = path;
  arm.name = defaultName(path);
  takeImported(arm, [&] {
    UrdfChainEnds ends{base, tip};
    if (base.empty() || tip.empty()) {
      const UrdfChainEnds found = DefaultUrdfChain(text);
      ends.base = base.empty() ? found.base : base;
      ends.tip = tip.empty() ? found.tip : tip;
    }
    arm.urdf = ends;
    return ArmFromUrdf(text, ends.base, ends.tip);
  });
  return arm;
}

bool flangeMoved(const Arm& arm) {
  ImportedArm imported;
  imported.userFlange = arm.userFlange;
  return imported.flangeMoved();
}

Pose modelFlangePose(const Arm& arm, const Pose& described) {
  if (!flangeMoved(arm))
    return described;
  ImportedArm imported;
  imported.userFlange = arm.userFlange;
  return imported.flangePoseOfUserFlange(described);
}

void useDescribedFlange(const Arm& arm, ToolData& tool, WObjData& wobj) {
  if (!flangeMoved(arm))
    return;
  Pose& carried = tool.robhold ? tool.tframe : wobj.uframe;
  carried = (arm.userFlange * Transform::FromPose(carried)).toPose();
}

nlohmann::ordered_json lengthsToJson(const OrthoParallelGeometry& g) {
  return {{"a1", g.a1}, {"a2", g.a2}, {"b", g.b},  {"c1", g.c1},
          {"c2", g.c2}, {"c3", g.c3}, {"c4", g.c4}};
}

nlohmann::ordered_json armToJson(const Arm& arm) {
  const RobotConfig& c = arm.config;
  nlohmann::ordered_json doc;
  doc["name"] = arm.name;
  if (arm.lengths) {
    nlohmann::ordered_json form = lengthsToJson(*arm.lengths);
    const Arm plain;
    if (arm.offsets != plain.offsets || arm.signs != plain.signs) {
      form["offsets"] = arm.offsets;
      form["signs"] = arm.signs;
    }
    doc[kOrthoParallelKey] = std::move(form);
  } else if (arm.dh) {
    auto rows = nlohmann::ordered_json::array();
    for (const DhRow& r : arm.dh->rows)
      rows.push_back({r.a, r.alpha, r.d, r.thetaOffset});
    doc["dh"] = {
        {"convention", arm.dh->convention == DhConvention::classic ? "classic" : "modified"},
        {"rows", std::move(rows)}};
  } else {
    auto joints = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < 6; ++i) {
      const Vec3& a = c.jointAxes[i];
      const Pos& p = c.jointPoints[i];
      joints.push_back({{"axis", {a.x, a.y, a.z}}, {"point", {p.x, p.y, p.z}}});
    }
    doc["joints"] = std::move(joints);
    const Vec3& t = c.flangeHome.translation;
    const auto& r = c.flangeHome.rotation;
    doc["flangeHome"] = {{"position", {t.x, t.y, t.z}}, {"orientation", {r.w, r.x, r.y, r.z}}};
    doc["elbowOffsetRad"] = c.elbowOffset;
  }
  auto min = nlohmann::ordered_json::array();
  auto max = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < 6; ++i) {
    min.push_back(c.jointMin[i]);
    max.push_back(c.jointMax[i]);
  }
  doc["limits"] = {{"min", std::move(min)},
                   {"max", std::move(max)},
                   {"sumMin", c.jointMin[6]},
                   {"sumMax", c.jointMax[6]}};
  doc["home"] = c.homeJoint.values;
  doc["coupling"] = c.jointCoupling == 1;
  return doc;
}

}  // namespace zor::rob::cli
