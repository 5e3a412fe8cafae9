// Joint records and arm configurations: RobJoint, RobJointA, ExtJoint, JointTarget,
// JointTargetA and ConfData, with their text forms.

#include <string>

#include "bindings.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::python {

namespace {

template <class Joints>
void bindRobotJoints(py::class_<Joints>& cls, const std::string& name) {
  cls.def(py::init<>(), "Every joint unset (1E9).")
      .def(py::init<double, double, double, double, double, double>(), py::arg("j1"), py::arg("j2"),
           py::arg("j3"), py::arg("j4"), py::arg("j5"), py::arg("j6"), "The six joints in degrees.")
      .def_readwrite("values", &Joints::values,
                     "The six joints (degrees), joint 1 first; read as a new list, assign a "
                     "sequence of six numbers.")
      .def_readwrite_static("tolerance", &Joints::tolerance,
                            "Tolerance (degrees) of is_valid and is_critical; 0.001 at load.")
      .def("get_joint_value", &Joints::getJointValue, py::arg("i"),
           "Joint i (1..6); 0.0 for any other i.")
      .def("set_joint_value", &Joints::setJointValue, py::arg("i"), py::arg("value"),
           "Sets joint i (1..6); any other i is ignored.")
      .def("is_valid", &Joints::isValid,
           "True when at least one joint lies farther than the tolerance from 1E9.")
      .def("is_critical", &Joints::isCritical, py::arg("i"),
           "True when |joint i| <= tolerance (true outside 1..6).")
      .def("to_string", &Joints::toString, "'{j1, ..., j6}' with 6 significant digits.")
      .def("to_ui_string", &Joints::toUIString, py::arg("decimals"),
           "'[j1, ..., j6]' in fixed notation with the given decimals.");
  addEquality(cls);
  addTextForms(cls, name, [](const Joints& j) { return j.toString(); });
  addStreamForms(cls, name);
}

template <class Target>
void bindJointTarget(py::class_<Target>& cls, const std::string& name) {
  using Robot = decltype(Target::robJoint);
  cls.def(py::init<>(), "Robot joints unset (1E9), external axes unused (9E9).")
      .def(py::init<const Robot&>(), py::arg("rob_joint"), "The joints, external axes unused.")
      .def(py::init<const Robot&, const ExtJoint&>(), py::arg("rob_joint"), py::arg("ext_joint"))
      .def_readwrite("robJoint", &Target::robJoint)
      .def_readwrite("extJoint", &Target::extJoint)
      .def("to_string", &Target::toString, "'{robJoint, extJoint}' in brace form.");
  addEquality(cls);
  addTextForms(cls, name, [](const Target& t) { return t.toString(); });
  addStreamForms(cls, name);
}

/// The external axes and the joint targets.
void bindExtJointsAndTargets(py::module_& m) {
  py::class_<ExtJoint> extJoint(m, "ExtJoint",
                                "Six external axes addressed 1..6; an unused axis holds "
                                "exactly 9E9.");
  extJoint.def(py::init<>(), "All six axes unused (9E9).")
      .def(py::init<double, double, double, double, double, double>(), py::arg("e1"), py::arg("e2"),
           py::arg("e3"), py::arg("e4"), py::arg("e5"), py::arg("e6"))
      .def_readwrite("values", &ExtJoint::values, "The six axes (a copy as a list).")
      .def("get_joint_value", &ExtJoint::getJointValue, py::arg("i"),
           "Axis i (1..6); ValueError 'Invalid ExtJoint index: <i>' otherwise.")
      .def("set_joint_value", &ExtJoint::setJointValue, py::arg("i"), py::arg("value"),
           "Sets axis i (1..6); ValueError 'invalid index' otherwise.")
      .def("is_valid", &ExtJoint::isValid, py::arg("i"), "True when axis i is not exactly 9E9.")
      .def("valid", &ExtJoint::valid, "True when at least one axis is used.")
      .def(
          "__mul__", [](const ExtJoint& e, double f) { return e * f; }, py::is_operator(),
          "Each used axis times the factor.")
      .def(
          "__add__", [](const ExtJoint& a, const ExtJoint& b) { return a + b; }, py::is_operator(),
          "The sum where both axes are used, 9E9 elsewhere.")
      .def("to_string", &ExtJoint::toString, "'{e1, ..., e6}' with 6 significant digits.");
  addEquality(extJoint);
  addTextForms(extJoint, "ExtJoint", [](const ExtJoint& e) { return e.toString(); });
  addStreamForms(extJoint, "ExtJoint");

  py::class_<JointTarget> jointTarget(m, "JointTarget",
                                      "A joint-space target: robot joints and external axes.");
  bindJointTarget(jointTarget, "JointTarget");
  jointTarget.def("to_joint_target_a", &JointTarget::toJointTargetA,
                  "The same target with the joints copied as in the Direct convention.");
  py::class_<JointTargetA> jointTargetA(m, "JointTargetA",
                                        "A joint-space target in the alternative convention.");
  bindJointTarget(jointTargetA, "JointTargetA");
  jointTargetA.def("to_joint_target", &JointTargetA::toJointTarget,
                   "The same target with the joints copied as in the Direct convention.");

  m.def("angle_to_quadrant", &AngleToQuadrant, py::arg("angle"),
        "The quadrant (whole quarter turns) of a joint angle in degrees.");
  m.def("are_critical_equal_quad", &AreCriticalEqualQuad, py::arg("a"), py::arg("b"),
        "True when the quadrants are equal or both are 0 or -1.");

  py::class_<ConfData> conf(m, "ConfData",
                            "The arm configuration of a Cartesian target: the quadrants of "
                            "joints 1, 4 and 6 and the configuration number (0..7).");
  conf.def(py::init<>(), "All four fields 0.")
      .def(py::init<int, int, int, int>(), py::arg("cf1"), py::arg("cf4"), py::arg("cf6"),
           py::arg("cfx"))
      .def_readwrite("cf1", &ConfData::cf1, "Quadrant of joint 1.")
      .def_readwrite("cf4", &ConfData::cf4, "Quadrant of joint 4.")
      .def_readwrite("cf6", &ConfData::cf6, "Quadrant of joint 6.")
      .def_readwrite("cfx", &ConfData::cfx, "Configuration number of the arm.")
      .def("get_quadrant", &ConfData::getQuadrant, py::arg("joint"),
           "cf1, cf4 or cf6 for joint 1, 4 or 6; 0 otherwise.")
      .def("is_adjacent", &ConfData::isAdjacent, py::arg("other"),
           "True when the quadrants differ by less than 3 and cfx by less than 2.")
      .def("diff146", &ConfData::diff146, py::arg("other"),
           "The summed absolute quadrant differences of joints 1, 4 and 6.")
      .def("is_critical_equal_single", &ConfData::isCriticalEqualSingle, py::arg("other"),
           py::arg("joint"), "are_critical_equal_quad of both records' quadrants of the joint.")
      .def("is_critical_equal",
           py::overload_cast<const RobJoint&, const ConfData&>(&ConfData::isCriticalEqual,
                                                               py::const_),
           py::arg("joints"), py::arg("other"),
           "True when other matches this record, made from the joints (a joint at zero "
           "accepts quadrant 0 or -1).")
      .def("is_critical_equal",
           py::overload_cast<const RobJointA&, const ConfData&>(&ConfData::isCriticalEqual,
                                                                py::const_),
           py::arg("joints"), py::arg("other"),
           "True when other matches this record, made from the joints (a joint at zero "
           "accepts quadrant 0 or -1).")
      .def_static("from_rob_joint", &ConfData::FromRobJoint, py::arg("joints"), py::arg("robot"),
                  "The configuration of a joint solution on an arm.")
      .def("to_string", &ConfData::toString, "'{cf1, cf4, cf6, cfx}'.")
      .def("to_ui_string", &ConfData::toUIString, "'[cf1, cf4, cf6, cfx]'.")
      .def("to_ostrel_string", &ConfData::toOstrelString,
           "'{quadrant::p0, ...}': each field in the Ostrel syntax.")
      .def("to_krl_string", &ConfData::toKrlString, "\"S 'B\" with the three status bits of cfx.");
  addEquality(conf);
  addTextForms(conf, "ConfData", [](const ConfData& c) { return c.toString(); });
  addStreamForms(conf, "ConfData");
}

}  // namespace

void bindJoints(py::module_& m) {
  m.attr("kUnsetRobJoint") = kUnsetRobJoint;
  m.attr("kUnsetExtJoint") = kUnsetExtJoint;

  py::enum_<KinematicConfig>(m, "KinematicConfig",
                             "The joint convention of a RobJointA relative to a RobJoint.")
      .value("Direct", KinematicConfig::Direct, "Both conventions coincide.")
      .value("Coupled23", KinematicConfig::Coupled23,
             "Joint 3 of RobJointA is joint 2 + joint 3 of RobJoint.");

  py::class_<RobJoint> robJoint(m, "RobJoint",
                                "The six robot joints of an arm in degrees, in the "
                                "controller's convention; joints addressed 1..6.");
  bindRobotJoints(robJoint, "RobJoint");
  robJoint.def("regulate", &RobJoint::regulate, "Wraps each joint into [-180, 180] by whole turns.")
      .def("diff", &RobJoint::diff, py::arg("other"), "The L1 distance in degrees.")
      .def_static("intermediate", &RobJoint::Intermediate, py::arg("a"), py::arg("b"), py::arg("t"),
                  "(1 - t) a + t b per joint; t not clamped.")
      .def(
          "to_rob_joint_a", [](const RobJoint& j, KinematicConfig c) { return j.toRobJointA(c); },
          py::arg("config") = KinematicConfig::Direct, "The joints in convention config.");

  py::class_<RobJointA> robJointA(m, "RobJointA",
                                  "The six robot joints in degrees in the alternative "
                                  "convention selected by KinematicConfig.");
  bindRobotJoints(robJointA, "RobJointA");
  robJointA.def(
      "to_rob_joint", [](const RobJointA& j, KinematicConfig c) { return j.toRobJoint(c); },
      py::arg("config") = KinematicConfig::Direct,
      "The joints in the controller's convention (inverse of RobJoint.to_rob_joint_a).");

  bindExtJointsAndTargets(m);
}

}  // namespace zor::rob::python
