#include "program_file.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

#include "cli_error.hpp"
#include "input_file.hpp"
#include "json_reader.hpp"
#include "tables.hpp"

namespace zor::rob::cli {

namespace {

using nlohmann::json;

/// Largest difference from 1 of the length of a quaternion in a program.
constexpr double kQuaternionTolerance = 1e-3;
/// The defaults of a speed given by value for the external axes (those of the predefined ones).
constexpr double kDefaultLeax = 5000.0;
constexpr double kDefaultReax = 1000.0;

const SpeedData* findSpeed(std::string_view name) {
  for (const NamedSpeed& n : predefinedSpeeds())
    if (n.name == name)
      return n.speed;
  return nullptr;
}

/// Reads one program document; errors name the file and, inside "moves", the move.
class ProgramReader {
 public:
  ProgramReader(const std::string& source, const ArmLoader& loadArmFile)
      : source_(source), loadArmFile_(loadArmFile), top_("program file '" + source + "'") {}

  /// Reads the program in two passes over its text: the first checks the document and counts
  /// the moves, the second reads them one by one, so that neither the document nor the growing
  /// list of moves is held twice.
  Program read(std::string_view text) {
    std::size_t count = 0;
    const json doc = parseJsonDocument(text, "program", source_, "moves",
                                       [&count](std::size_t, const json&) { ++count; });
    Program program = readTop(doc, count);
    program.moves.reserve(count);
    program.labels.reserve(count);
    parseJsonDocument(text, "program", source_, "moves", [&](std::size_t i, const json& move) {
      program.moves.push_back(readMove(move, i));
      program.labels.push_back(readLabels(move, i));
    });
    return program;
  }

 private:
  /// Everything but the moves, of the document without them; `count` moves were left out.
  Program readTop(const json& doc, std::size_t count) {
    if (!doc.is_object())
      throw InputError("program file '" + source_ + "': the document must be a JSON object");
    top_.checkKeys(doc, "", {"arm", "start", "tools", "workObjects", "options", "moves"});
    Program program;
    program.source = source_;
    program.arm = readArm(doc);
    const auto start = top_.numbers<6>(top_.member(doc, "", "start"), "start");
    program.start = RobJoint(start[0], start[1], start[2], start[3], start[4], start[5]);
    if (const auto it = doc.find("tools"); it != doc.end())
      readTools(*it);
    if (const auto it = doc.find("workObjects"); it != doc.end())
      readWorkObjects(*it);
    if (const auto it = doc.find("options"); it != doc.end())
      program.options = readOptions(*it);
    const json& moves = top_.member(doc, "", "moves");
    if (!moves.is_array())
      top_.fail("moves", "must be an array of moves");
    if (count == 0)
      top_.fail("moves", "is empty: a program needs at least one move");
    return program;
  }

  Arm readArm(const json& doc) const {
    const auto it = doc.find("arm");
    if (it == doc.end())
      return defaultArm();
    if (it->is_string())
      return loadArmFile_(it->get<std::string>());
    if (it->is_object())
      return armFromJson(*it, source_ + " (arm)");
    top_.fail("arm", "must be the path of an arm file or an arm document");
  }

  static Pose pose(const JsonReader& in, const json& value, std::string_view path) {
    const json& o = in.object(value, path);
    in.checkKeys(o, path, {"position", "orientation"});
    return {
        position(in, in.member(o, path, "position"), JsonReader::join(path, "position")),
        orientation(in, in.member(o, path, "orientation"), JsonReader::join(path, "orientation"))};
  }

  static Pos position(const JsonReader& in, const json& value, const std::string& path) {
    const auto p = in.numbers<3>(value, path);
    return {p[0], p[1], p[2]};
  }

  static Orient orientation(const JsonReader& in, const json& value, const std::string& path) {
    const auto q = in.numbers<4>(value, path);
    const double norm = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
    if (!(std::abs(norm - 1.0) <= kQuaternionTolerance)) {
      std::ostringstream what;
      what << "is not a unit quaternion (length " << norm << ")";
      in.fail(path, what.str());
    }
    return {q[0] / norm, q[1] / norm, q[2] / norm, q[3] / norm};
  }

  static bool boolean(const JsonReader& in, const json& value, std::string_view path) {
    if (!value.is_boolean())
      in.fail(path, "must be true or false");
    return value.get<bool>();
  }

  void readTools(const json& value) {
    const json& tools = top_.object(value, "tools");
    for (const auto& [name, entry] : tools.items()) {
      const std::string path = "tools." + name;
      const json& t = top_.object(entry, path);
      top_.checkKeys(t, path, {"robhold", "position", "orientation"});
      ToolData tool;
      if (const auto it = t.find("robhold"); it != t.end())
        tool.robhold = boolean(top_, *it, path + ".robhold");
      tool.tframe = {position(top_, top_.member(t, path, "position"), path + ".position"),
                     orientation(top_, top_.member(t, path, "orientation"), path + ".orientation")};
      tools_.emplace(name, tool);
    }
  }

  void readWorkObjects(const json& value) {
    const json& wobjs = top_.object(value, "workObjects");
    for (const auto& [name, entry] : wobjs.items()) {
      const std::string path = "workObjects." + name;
      const json& w = top_.object(entry, path);
      top_.checkKeys(w, path, {"robhold", "user", "object"});
      WObjData wobj;
      if (const auto it = w.find("robhold"); it != w.end())
        wobj.robhold = boolean(top_, *it, path + ".robhold");
      if (const auto it = w.find("user"); it != w.end())
        wobj.uframe = pose(top_, *it, path + ".user");
      if (const auto it = w.find("object"); it != w.end())
        wobj.oframe = pose(top_, *it, path + ".object");
      wobjs_.emplace(name, wobj);
    }
  }

  /// Six positive numbers under `key` of the options, when given.
  void readJointLimits(const json& o, const std::string& key, std::array<double, 6>& out) const {
    const auto it = o.find(key);
    if (it == o.end())
      return;
    out = top_.numbers<6>(*it, "options." + key);
    for (std::size_t i = 0; i < 6; ++i)
      if (out[i] <= 0.0)
        top_.fail("options." + key + "[" + std::to_string(i) + "]", "must be positive");
  }

  AuditOptions readOptions(const json& value) const {
    const json& o = top_.object(value, "options");
    top_.checkKeys(
        o, "options",
        {"stepMm", "stepDeg", "jumpDeg", "wristMarginDeg", "elbowMarginDeg", "shoulderMarginMm",
         "circleOriMode", "maxJointSpeedDeg", "maxJointAccelerationDeg", "maxTcpAcceleration"});
    AuditOptions options;
    const auto positive = [&](std::string_view key, double& out, bool zeroAllowed) {
      const auto it = o.find(key);
      if (it == o.end())
        return;
      const std::string path = JsonReader::join("options", key);
      out = top_.number(*it, path);
      if (out < 0.0 || (!zeroAllowed && out == 0.0))
        top_.fail(path, zeroAllowed ? "must not be negative" : "must be positive");
    };
    positive("stepMm", options.stepMm, false);
    positive("stepDeg", options.stepDeg, false);
    positive("jumpDeg", options.jumpDeg, false);
    positive("wristMarginDeg", options.wristMarginDeg, true);
    positive("elbowMarginDeg", options.elbowMarginDeg, true);
    positive("shoulderMarginMm", options.shoulderMarginMm, true);
    if (const auto it = o.find("circleOriMode"); it != o.end()) {
      const std::optional<CircleOriMode> mode =
          it->is_string() ? FindCircleOriMode(it->get<std::string>()) : std::nullopt;
      if (!mode)
        top_.fail("options.circleOriMode", "must be one of \"cirpoint\", \"path\", \"object\"");
      options.circleOriMode = *mode;
    }
    readJointLimits(o, "maxJointSpeedDeg", options.maxJointSpeedDeg);
    readJointLimits(o, "maxJointAccelerationDeg", options.maxJointAccelerationDeg);
    positive("maxTcpAcceleration", options.maxTcpAcceleration, false);
    return options;
  }

  static RobTarget target(const JsonReader& in, const json& value, const std::string& path,
                          bool confRequired) {
    const json& t = in.object(value, path);
    in.checkKeys(t, path, {"name", "position", "orientation", "conf"});
    RobTarget target(
        Pose(position(in, in.member(t, path, "position"), path + ".position"),
             orientation(in, in.member(t, path, "orientation"), path + ".orientation")));
    const auto it = t.find("conf");
    if (it == t.end()) {
      if (confRequired)
        in.fail(path + ".conf", "is missing");
      return target;
    }
    const std::string confPath = path + ".conf";
    if (!it->is_array() || it->size() != 4)
      in.fail(confPath, "must be an array of 4 whole numbers (cf1, cf4, cf6, cfx)");
    std::array<std::int32_t, 4> c{};
    for (std::size_t i = 0; i < 4; ++i) {
      const json& v = (*it)[i];
      const std::string item = confPath + "[" + std::to_string(i) + "]";
      if (!v.is_number_integer())
        in.fail(item, "must be a whole number");
      // Non-negative numbers are read as unsigned, negative ones as signed.
      const bool inRange =
          v.is_number_unsigned()
              ? v.get<std::uint64_t>() <=
                    static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())
              : v.get<std::int64_t>() >= std::numeric_limits<std::int32_t>::min();
      if (!inRange)
        in.fail(item, "is out of range");
      c[i] = v.get<std::int32_t>();
    }
    target.robConf = ConfData(c[0], c[1], c[2], c[3]);
    return target;
  }

  static SpeedData speed(const JsonReader& in, const json& value) {
    if (value.is_string()) {
      const SpeedData* s = findSpeed(value.get<std::string>());
      if (s == nullptr)
        in.fail("speed",
                "names no predefined speed (v5 ... v7000): \"" + value.get<std::string>() + "\"");
      return *s;
    }
    if (!value.is_object())
      in.fail("speed", "must be a speed name or {\"tcp\": mm/s, \"ori\": deg/s}");
    in.checkKeys(value, "speed", {"tcp", "ori", "leax", "reax"});
    const auto get = [&](std::string_view key, std::optional<double> fallback) {
      const auto it = value.find(key);
      const std::string path = JsonReader::join("speed", key);
      if (it == value.end()) {
        if (!fallback)
          in.fail(path, "is missing");
        return *fallback;
      }
      const double v = in.number(*it, path);
      if (v <= 0.0)
        in.fail(path, "must be positive");
      return v;
    };
    return {get("tcp", std::nullopt), get("ori", std::nullopt), get("leax", kDefaultLeax),
            get("reax", kDefaultReax)};
  }

  static ZoneData zone(const JsonReader& in, const json& value) {
    if (value.is_string()) {
      const ZoneData* z = findZone(value.get<std::string>());
      if (z == nullptr)
        in.fail("zone", "names no predefined zone (fine, z0 ... z200, FINE, CNT0 ... CNT100): \"" +
                            value.get<std::string>() + "\"");
      return *z;
    }
    if (!value.is_object())
      in.fail("zone", "must be a zone name or {\"tcp\": mm}");
    in.checkKeys(value, "zone", {"tcp", "ori", "eax", "oriDeg", "leax", "reax"});
    const auto get = [&](std::string_view key, bool required) {
      const auto it = value.find(key);
      const std::string path = JsonReader::join("zone", key);
      if (it == value.end()) {
        if (required)
          in.fail(path, "is missing");
        return 0.0;
      }
      const double v = in.number(*it, path);
      if (v < 0.0)
        in.fail(path, "must not be negative");
      return v;
    };
    return {false,
            get("tcp", true),
            get("ori", false),
            get("eax", false),
            get("oriDeg", false),
            get("leax", false),
            get("reax", false),
            -1};
  }

  ProgramMove readMove(const json& value, std::size_t index) const {
    const std::string prefix = top_prefix() + ": move " + std::to_string(index);
    const JsonReader in(prefix);
    if (!value.is_object())
      throw InputError(prefix + ": must be a JSON object");
    const json& m = value;
    const json& type = in.member(m, "", "type");
    if (!type.is_string())
      in.fail("type", "must be \"MoveJ\", \"MoveL\", \"MoveC\" or \"MoveAbsJ\"");
    const std::string kind = type.get<std::string>();
    ProgramMove move;
    if (kind == "MoveAbsJ") {
      in.checkKeys(m, "", {"type", "joints", "speed", "zone", "tool", "wobj"});
      MoveAbsJ absj;
      const auto j = in.numbers<6>(in.member(m, "", "joints"), "joints");
      absj.toJointPos = JointTarget(RobJoint(j[0], j[1], j[2], j[3], j[4], j[5]));
      move = absj;
    } else if (kind == "MoveJ" || kind == "MoveL") {
      in.checkKeys(m, "", {"type", "to", "speed", "zone", "tool", "wobj"});
      const RobTarget to = target(in, in.member(m, "", "to"), "to", true);
      if (kind == "MoveJ") {
        MoveJ j;
        j.toPoint = to;
        move = j;
      } else {
        MoveL l;
        l.toPoint = to;
        move = l;
      }
    } else if (kind == "MoveC") {
      in.checkKeys(m, "", {"type", "via", "to", "speed", "zone", "tool", "wobj"});
      MoveC c;
      c.cirPoint = target(in, in.member(m, "", "via"), "via", false);
      c.toPoint = target(in, in.member(m, "", "to"), "to", true);
      move = c;
    } else {
      in.fail("type",
              "must be \"MoveJ\", \"MoveL\", \"MoveC\" or \"MoveAbsJ\", got \"" + kind + "\"");
    }
    std::visit(
        [&](MoveRecord& r) {
          r.speed = speed(in, in.member(m, "", "speed"));
          r.zone = zone(in, in.member(m, "", "zone"));
          if (const auto it = m.find("tool"); it != m.end())
            r.tool = named(in, *it, "tool", tools_);
          if (const auto it = m.find("wobj"); it != m.end())
            r.wobj = named(in, *it, "wobj", wobjs_);
          if (r.tool.robhold == r.wobj.robhold)
            in.fail("wobj", r.tool.robhold
                                ? "is held by the robot, and so is the tool"
                                : "is fixed, and so is the tool: one of them must be held");
        },
        move);
    return move;
  }

  /// The names of the move's target, circle point, tool and work object (read after readMove,
  /// which has checked the move).
  MoveLabels readLabels(const json& m, std::size_t index) const {
    const JsonReader in(top_prefix() + ": move " + std::to_string(index));
    MoveLabels labels;
    const auto text = [&](const json& object, const char* key, const std::string& path) {
      const auto it = object.find(key);
      if (it == object.end())
        return std::string();
      if (!it->is_string())
        in.fail(path, "must be a string");
      return it->get<std::string>();
    };
    if (const auto it = m.find("to"); it != m.end())
      labels.target = text(*it, "name", "to.name");
    if (const auto it = m.find("via"); it != m.end())
      labels.circlePoint = text(*it, "name", "via.name");
    labels.tool = text(m, "tool", "tool");
    labels.workObject = text(m, "wobj", "wobj");
    return labels;
  }

  template <typename T>
  static T named(const JsonReader& in, const json& value, std::string_view key,
                 const std::map<std::string, T>& entries) {
    if (!value.is_string())
      in.fail(key, "must be a name");
    const auto it = entries.find(value.get<std::string>());
    if (it == entries.end())
      in.fail(key, "names nothing defined under \"" +
                       std::string(key == "tool" ? "tools" : "workObjects") + "\": \"" +
                       value.get<std::string>() + "\"");
    return it->second;
  }

  std::string top_prefix() const { return "program file '" + source_ + "'"; }

  std::string source_;
  const ArmLoader& loadArmFile_;
  JsonReader top_;
  std::map<std::string, ToolData> tools_{};
  std::map<std::string, WObjData> wobjs_{};
};

}  // namespace

Program ProgramFromText(std::string_view text, const std::string& source,
                        const ArmLoader& loadArmFile) {
  return ProgramReader(source, loadArmFile).read(text);
}

Program LoadProgram(const std::string& path) {
  const std::string text = readInputFile(path, "program", kProgramFileCap);
  const std::filesystem::path dir = std::filesystem::path(path).parent_path();
  const ArmLoader armNextToProgram = [&dir](const std::string& armPath) {
    const std::filesystem::path p(armPath);
    return loadArm(p.is_absolute() ? armPath : (dir / p).string());
  };
  return ProgramFromText(text, path, armNextToProgram);
}

}  // namespace zor::rob::cli
