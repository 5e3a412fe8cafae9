// Targets, tools, work objects, loads, speeds, zones and move records, with the predefined speed
// and zone tables.

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bindings.hpp"
#include "zor/rob/moves.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob::python {

namespace {

// The predefined speeds and zones by name, in table order.
const std::vector<std::pair<const char*, const SpeedData*>>& speedTable() {
  static const std::vector<std::pair<const char*, const SpeedData*>> table{
      {"v5", &SpeedData::v5},       {"v10", &SpeedData::v10},     {"v20", &SpeedData::v20},
      {"v30", &SpeedData::v30},     {"v40", &SpeedData::v40},     {"v50", &SpeedData::v50},
      {"v60", &SpeedData::v60},     {"v80", &SpeedData::v80},     {"v100", &SpeedData::v100},
      {"v150", &SpeedData::v150},   {"v200", &SpeedData::v200},   {"v300", &SpeedData::v300},
      {"v400", &SpeedData::v400},   {"v500", &SpeedData::v500},   {"v600", &SpeedData::v600},
      {"v800", &SpeedData::v800},   {"v1000", &SpeedData::v1000}, {"v1500", &SpeedData::v1500},
      {"v2000", &SpeedData::v2000}, {"v2500", &SpeedData::v2500}, {"v3000", &SpeedData::v3000},
      {"v4000", &SpeedData::v4000}, {"v5000", &SpeedData::v5000}, {"v6000", &SpeedData::v6000},
      {"v7000", &SpeedData::v7000}};
  return table;
}

const std::vector<std::pair<const char*, const ZoneData*>>& zoneTable() {
  static const std::vector<std::pair<const char*, const ZoneData*>> table{
      {"fine", &ZoneData::fine},    {"z0", &ZoneData::z0},       {"z1", &ZoneData::z1},
      {"z5", &ZoneData::z5},        {"z10", &ZoneData::z10},     {"z15", &ZoneData::z15},
      {"z20", &ZoneData::z20},      {"z30", &ZoneData::z30},     {"z40", &ZoneData::z40},
      {"z50", &ZoneData::z50},      {"z60", &ZoneData::z60},     {"z80", &ZoneData::z80},
      {"z100", &ZoneData::z100},    {"z150", &ZoneData::z150},   {"z200", &ZoneData::z200},
      {"FINE", &ZoneData::FINE},    {"CNT0", &ZoneData::CNT0},   {"CNT1", &ZoneData::CNT1},
      {"CNT5", &ZoneData::CNT5},    {"CNT10", &ZoneData::CNT10}, {"CNT15", &ZoneData::CNT15},
      {"CNT20", &ZoneData::CNT20},  {"CNT30", &ZoneData::CNT30}, {"CNT40", &ZoneData::CNT40},
      {"CNT50", &ZoneData::CNT50},  {"CNT60", &ZoneData::CNT60}, {"CNT80", &ZoneData::CNT80},
      {"CNT100", &ZoneData::CNT100}};
  return table;
}

// The library gives zones no brace form; this one follows its other records: the flag as
// true/false, the numbers with 6 significant digits, in field order.
std::string zoneText(const ZoneData& z) {
  std::ostringstream out;
  out << std::boolalpha << '{' << z.finep << ", " << z.pzoneTcp << ", " << z.pzoneOri << ", "
      << z.pzoneEax << ", " << z.zoneOri << ", " << z.zoneLeax << ", " << z.zoneReax << ", "
      << z.cntValue << '}';
  return out.str();
}

bool sameRecord(const MoveRecord& a, const MoveRecord& b) {
  return a.moveType == b.moveType && a.toPoint == b.toPoint && a.robJoint == b.robJoint &&
         a.tag == b.tag && a.speed == b.speed && a.zone == b.zone && a.tool == b.tool &&
         a.wobj == b.wobj;
}

template <class Move, class Extra>
py::class_<Move, MoveRecord> bindMove(py::module_& m, const char* name, const char* doc,
                                      Extra extraEqual) {
  py::class_<Move, MoveRecord> cls(m, name, doc);
  cls.def(py::init<>());
  addEquality(cls, [extraEqual](const Move& a, const Move& b) {
    return sameRecord(a, b) && extraEqual(a, b);
  });
  cls.def("__repr__", [name = std::string(name)](const Move& mv) {
    return "<zorrob." + name + " to " + mv.toPoint.toString() + ">";
  });
  return cls;
}

/// The speeds, zones and move instructions.
void bindMoveData(py::module_& m) {
  py::class_<SpeedData> speed(m, "SpeedData",
                              "How fast a move goes: vTcp (mm/s), vOri (degrees/s), vLeax "
                              "(mm/s), vReax (degrees/s).");
  speed.def(py::init<>())
      .def(py::init<double, double, double, double>(), py::arg("vTcp"), py::arg("vOri"),
           py::arg("vLeax"), py::arg("vReax"))
      .def_readwrite("vTcp", &SpeedData::vTcp)
      .def_readwrite("vOri", &SpeedData::vOri)
      .def_readwrite("vLeax", &SpeedData::vLeax)
      .def_readwrite("vReax", &SpeedData::vReax)
      .def("to_string", &SpeedData::toString, "'{vTcp, vOri, vLeax, vReax}'.");
  addEquality(speed);
  addTextForms(speed, "SpeedData", [](const SpeedData& s) { return s.toString(); });
  addStreamForms(speed, "SpeedData");

  py::class_<ZoneData> zone(m, "ZoneData",
                            "How a move is blended into the next one. str() gives '{finep, "
                            "pzoneTcp, pzoneOri, pzoneEax, zoneOri, zoneLeax, zoneReax, "
                            "cntValue}'.");
  zone.def(py::init<>(), "The values of fine.")
      .def(py::init<bool, double, double, double, double, double, double, std::int32_t>(),
           py::arg("finep"), py::arg("pzoneTcp"), py::arg("pzoneOri"), py::arg("pzoneEax"),
           py::arg("zoneOri"), py::arg("zoneLeax"), py::arg("zoneReax"), py::arg("cntValue"))
      .def_readwrite("finep", &ZoneData::finep)
      .def_readwrite("pzoneTcp", &ZoneData::pzoneTcp)
      .def_readwrite("pzoneOri", &ZoneData::pzoneOri)
      .def_readwrite("pzoneEax", &ZoneData::pzoneEax)
      .def_readwrite("zoneOri", &ZoneData::zoneOri)
      .def_readwrite("zoneLeax", &ZoneData::zoneLeax)
      .def_readwrite("zoneReax", &ZoneData::zoneReax)
      .def_readwrite("cntValue", &ZoneData::cntValue);
  addEquality(zone);
  addTextForms(zone, "ZoneData", zoneText);
  addStreamForms(zone, "ZoneData");

  // The tables: copies taken when the module is imported, as class attributes
  // (SpeedData.v100), module attributes (zorrob.v100) and dicts by name (zorrob.speeds).
  py::dict speeds;
  for (const auto& [name, value] : speedTable()) {
    speed.attr(name) = *value;
    m.attr(name) = *value;
    speeds[name] = *value;
  }
  m.attr("speeds") = speeds;
  py::dict zones;
  for (const auto& [name, value] : zoneTable()) {
    zone.attr(name) = *value;
    m.attr(name) = *value;
    zones[name] = *value;
  }
  m.attr("zones") = zones;

  py::enum_<MoveType>(m, "MoveType", "The kind of a move instruction.")
      .value("MoveL", MoveType::MoveL)
      .value("MoveC", MoveType::MoveC)
      .value("MoveJ", MoveType::MoveJ)
      .value("MoveAbsJ", MoveType::MoveAbsJ);

  py::class_<MoveRecord>(m, "MoveRecord",
                         "The members every move instruction starts with; built through "
                         "MoveL, MoveC, MoveJ or MoveAbsJ.")
      .def_readonly("moveType", &MoveRecord::moveType)
      .def_readwrite("toPoint", &MoveRecord::toPoint)
      .def_readwrite("robJoint", &MoveRecord::robJoint)
      .def_readwrite("tag", &MoveRecord::tag)
      .def_readwrite("speed", &MoveRecord::speed)
      .def_readwrite("zone", &MoveRecord::zone)
      .def_readwrite("tool", &MoveRecord::tool)
      .def_readwrite("wobj", &MoveRecord::wobj);
  const auto noExtra = [](const MoveRecord&, const MoveRecord&) { return true; };
  bindMove<MoveL>(m, "MoveL", "A linear move to toPoint.", noExtra);
  bindMove<MoveJ>(m, "MoveJ", "A joint move to the Cartesian target toPoint.", noExtra);
  bindMove<MoveC>(m, "MoveC", "A circular move through cirPoint and toPoint.",
                  [](const MoveC& a, const MoveC& b) { return a.cirPoint == b.cirPoint; })
      .def_readwrite("cirPoint", &MoveC::cirPoint);
  bindMove<MoveAbsJ>(
      m, "MoveAbsJ", "A joint move to the joint target toJointPos.",
      [](const MoveAbsJ& a, const MoveAbsJ& b) { return a.toJointPos == b.toJointPos; })
      .def_readwrite("toJointPos", &MoveAbsJ::toJointPos);
}

}  // namespace

void bindTargets(py::module_& m) {
  py::class_<LoadData> load(m, "LoadData",
                            "A payload: mass (kg), centre of gravity (mm), orientation of the "
                            "principal axes and the principal moments of inertia.");
  load.def(py::init<>(), "A 1 kg point mass at the origin.")
      .def(py::init<double, const Pos&, const Orient&, double, double, double>(), py::arg("mass"),
           py::arg("cog"), py::arg("aom"), py::arg("ix"), py::arg("iy"), py::arg("iz"))
      .def_readwrite("mass", &LoadData::mass)
      .def_readwrite("cog", &LoadData::cog)
      .def_readwrite("aom", &LoadData::aom)
      .def_readwrite("ix", &LoadData::ix)
      .def_readwrite("iy", &LoadData::iy)
      .def_readwrite("iz", &LoadData::iz)
      .def("to_string", &LoadData::toString, "'{mass, {x, y, z}, {q1, q2, q3, q4}, ix, iy, iz}'.");
  addEquality(load);
  addTextForms(load, "LoadData", [](const LoadData& l) { return l.toString(); });
  addStreamForms(load, "LoadData");

  py::class_<RobTarget> target(m, "RobTarget",
                               "Where the tool centre point goes: a pose, the arm "
                               "configuration and the external axes.");
  target.def(py::init<>())
      .def(py::init<const Pose&>(), py::arg("pose"))
      .def(py::init<const Pose&, const ExtJoint&>(), py::arg("pose"), py::arg("ext_joint"))
      .def(py::init([](const Pose& p, const ConfData& c, const ExtJoint& e) {
             RobTarget t(p, e);
             t.robConf = c;
             return t;
           }),
           py::arg("pose"), py::arg("rob_conf"), py::arg("ext_joint") = ExtJoint{})
      .def_readwrite("pose", &RobTarget::pose)
      .def_readwrite("robConf", &RobTarget::robConf)
      .def_readwrite("extJoint", &RobTarget::extJoint)
      .def("set_pose", &RobTarget::setPose, py::arg("pose"),
           "Replaces the pose; configuration and external axes stay.")
      .def("get_pose", &RobTarget::getPose, "A copy of the pose.")
      .def("to_string", &RobTarget::toString,
           "'{{x, y, z}, {q1, q2, q3, q4}, {cf1, cf4, cf6, cfx}, {e1, ..., e6}}'.")
      .def("to_ui_string", &RobTarget::toUIString, "Exactly to_string().")
      .def("to_ostrel_string", &RobTarget::toOstrelString,
           "to_string() with the configuration in the Ostrel syntax.");
  addEquality(target);
  addTextForms(target, "RobTarget", [](const RobTarget& t) { return t.toString(); });
  addStreamForms(target, "RobTarget");

  py::class_<ToolData> tool(m, "ToolData",
                            "A tool: whether the robot holds it, its frame and its load.");
  tool.def(py::init<>())
      .def(py::init<bool, const Pose&, const LoadData&>(), py::arg("robhold"), py::arg("tframe"),
           py::arg("tload") = LoadData{})
      .def_readwrite("robhold", &ToolData::robhold)
      .def_readwrite("tframe", &ToolData::tframe)
      .def_readwrite("tload", &ToolData::tload)
      .def("to_string", &ToolData::toString, "'{robhold, tframe, tload}'.");
  addEquality(tool);  // approximate frames, loads ignored: the library's own comparison
  addTextForms(tool, "ToolData", [](const ToolData& t) { return t.toString(); });
  addStreamForms(tool, "ToolData");

  py::class_<WObjData> wobj(m, "WObjData",
                            "A work object: the user frame in the world and the object frame "
                            "in the user frame.");
  wobj.def(py::init<>())
      .def(py::init<bool, bool, std::string, Pose, Pose>(), py::arg("robhold"), py::arg("ufprog"),
           py::arg("ufmec"), py::arg("uframe"), py::arg("oframe"))
      .def_readwrite("robhold", &WObjData::robhold)
      .def_readwrite("ufprog", &WObjData::ufprog)
      .def_readwrite("ufmec", &WObjData::ufmec)
      .def_readwrite("uframe", &WObjData::uframe)
      .def_readwrite("oframe", &WObjData::oframe)
      .def("get_pose", &WObjData::getPose, "The object frame in the world.")
      .def("to_string", &WObjData::toString, "'{robhold, ufprog, \"ufmec\", uframe, oframe}'.");
  addEquality(wobj);
  addTextForms(wobj, "WObjData", [](const WObjData& w) { return w.toString(); });
  addStreamForms(wobj, "WObjData");

  bindMoveData(m);
}

}  // namespace zor::rob::python
