// The importers: arms from Denavit-Hartenberg tables, ortho-parallel parameter sets and URDF
// descriptions, each an ImportedArm with the model and the described flange. The readers run
// without the GIL; their std::invalid_argument becomes ValueError with the library's message.

#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "bindings.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob::python {

namespace {

constexpr const char* kLibraryFormDoc =
    " The arm is checked and brought into the library form (joint 1 about the base z axis, "
    "upwards; axes 2 and 3 parallel; axes 5 and 6 meeting at the wrist centre; joint 5 at zero "
    "lining up axes 4 and 6); when the wrist centre is not on the flange's z axis the model's "
    "flange is moved to it and ImportedArm.user_flange keeps the described one. ValueError with "
    "the library's message otherwise.";

DhTable dhTable(const std::array<std::array<double, 4>, 6>& rows, DhConvention convention) {
  DhTable table;
  table.convention = convention;
  for (std::size_t i = 0; i < 6; ++i)
    table.rows[i] = {rows[i][0], rows[i][1], rows[i][2], rows[i][3]};
  return table;
}

ImportedArm armFromDh(const DhTable& table, const ArmLimits& limits) {
  py::gil_scoped_release release;
  return ArmFromDh(table, limits);
}

ImportedArm armFromOrthoParallel(const OrthoParallelParameters& parameters,
                                 const ArmLimits& limits) {
  py::gil_scoped_release release;
  return ArmFromOrthoParallel(parameters, limits);
}

// The chain ends default to the document's root and its only leaf six moving joints below.
ImportedArm armFromText(const std::string& text, const std::optional<std::string>& base,
                        const std::optional<std::string>& tip) {
  if (base && tip)
    return ArmFromUrdf(text, *base, *tip);
  const UrdfChainEnds ends = DefaultUrdfChain(text);
  return ArmFromUrdf(text, base.value_or(ends.base), tip.value_or(ends.tip));
}

ImportedArm armFromUrdf(const std::string& text, const std::optional<std::string>& base,
                        const std::optional<std::string>& tip) {
  py::gil_scoped_release release;
  return armFromText(text, base, tip);
}

ImportedArm armFromUrdfFile(const py::object& path, const std::optional<std::string>& base,
                            const std::optional<std::string>& tip) {
  // Any path-like object, as open() takes it.
  const auto name = py::module_::import("os").attr("fspath")(path).cast<std::string>();
  py::gil_scoped_release release;
  if (base && tip)
    return ArmFromUrdfFile(name, *base, *tip);
  return armFromText(ReadUrdfFile(name), base, tip);
}

UrdfChainEnds defaultUrdfChain(const std::string& text) {
  py::gil_scoped_release release;
  return DefaultUrdfChain(text);
}

/// The URDF chain ends, the imported arm and the readers.
void bindUrdfAndReaders(py::module_& m) {
  py::class_<UrdfChainEnds> ends(m, "UrdfChainEnds",
                                 "The base and tip links of the chain read from a URDF document.");
  ends.def(py::init([](std::string base, std::string tip) {
             return UrdfChainEnds{std::move(base), std::move(tip)};
           }),
           py::arg("base") = "", py::arg("tip") = "")
      .def_readwrite("base", &UrdfChainEnds::base)
      .def_readwrite("tip", &UrdfChainEnds::tip);
  addTextForms(ends, "UrdfChainEnds",
               [](const UrdfChainEnds& e) { return "{" + e.base + " -> " + e.tip + "}"; });

  py::class_<ImportedArm>(m, "ImportedArm",
                          "An imported arm: the model (robot) in the library form and the "
                          "described flange (user_flange) in the model's flange frame.")
      .def(py::init<>())
      .def_readwrite("robot", &ImportedArm::robot, "The RobotConfig, ready for use.")
      .def_readwrite("user_flange", &ImportedArm::userFlange,
                     "The described flange frame in the model's flange frame (a Transform; the "
                     "identity unless the flange was moved to the wrist centre).")
      .def("flange_moved", &ImportedArm::flangeMoved,
           "True when the model's flange is not the described one.")
      .def("user_flange_pose", &ImportedArm::userFlangePose, py::arg("joints"),
           "The described flange's pose (a Transform) for the joint values (degrees): "
           "robot.get_wrist_pose_in_base(joints) * user_flange.")
      .def("flange_pose_of_user_flange", &ImportedArm::flangePoseOfUserFlange, py::arg("user_pose"),
           "The model flange's Pose that puts the described flange at user_pose (for the "
           "inverse kinematics): user_pose * user_flange^-1.")
      // The inverse kinematics of the described flange: what users of an imported arm know.
      .def(
          "get_all_joint_solutions",
          [](const ImportedArm& a, const Pose& pose) {
            py::gil_scoped_release release;
            return a.robot.getAllJointSolutions(a.flangePoseOfUserFlange(pose));
          },
          py::arg("pose"),
          "robot.get_all_joint_solutions of the model flange's pose that puts the described "
          "flange at pose.")
      .def(
          "find_nearest_joint_solution",
          [](const ImportedArm& a, const Pose& pose, const RobJoint& seed) {
            py::gil_scoped_release release;
            return a.robot.findNearestJointSolution(a.flangePoseOfUserFlange(pose), seed);
          },
          py::arg("pose"), py::arg("seed"),
          "robot.find_nearest_joint_solution for a pose of the described flange.")
      .def(
          "find_joint_solution",
          [](const ImportedArm& a, const RobTarget& target) {
            py::gil_scoped_release release;
            RobTarget model = target;
            model.pose = a.flangePoseOfUserFlange(target.pose);
            return a.robot.findJointSolution(model);
          },
          py::arg("target"),
          "robot.find_joint_solution for a target whose pose is of the described flange.");

  m.def("check_arm_model", &CheckArmModel, py::arg("robot"),
        "Checks every assumption the model makes of an arm built directly (make_robot_config, "
        "make_ortho_parallel_arm); raises ValueError with the first broken one.");
  m.def("read_urdf_file", &ReadUrdfFile, py::arg("path"),
        "The text of a URDF file: regular files of at most 64 MiB only.");
  m.def("arm_from_dh", &armFromDh, py::arg("table"), py::arg("limits") = ArmLimits{},
        (std::string("The ImportedArm of a DhTable with the given ArmLimits (the controller's "
                     "values). ValueError \"DH row N: 'a' must be a finite number\" (and so for "
                     "alpha, d, thetaOffset) for a non-finite entry.") +
         kLibraryFormDoc)
            .c_str());
  m.def("arm_from_ortho_parallel", &armFromOrthoParallel, py::arg("parameters"),
        py::arg("limits") = ArmLimits{},
        (std::string("The ImportedArm of OrthoParallelParameters with the given ArmLimits (the "
                     "controller's values). ValueError for a non-finite length or offset and "
                     "for a sign other than 1 or -1.") +
         kLibraryFormDoc)
            .c_str());
  m.def("arm_from_urdf", &armFromUrdf, py::arg("text"), py::arg("base") = py::none(),
        py::arg("tip") = py::none(),
        (std::string("The ImportedArm of the chain of a URDF document (its text) from link "
                     "base to link tip; either left out is taken from default_urdf_chain(). "
                     "Metres become mm, radians degrees; fixed joints are folded into their "
                     "neighbours; home joints zero, coupling off. ValueError naming the link or "
                     "joint for a document or chain the library cannot use.") +
         kLibraryFormDoc)
            .c_str());
  m.def("arm_from_urdf_file", &armFromUrdfFile, py::arg("path"), py::arg("base") = py::none(),
        py::arg("tip") = py::none(),
        "arm_from_urdf of the file's text (path: str or path-like). ValueError \"URDF: cannot "
        "read file 'PATH'\" for a file that cannot be read.");
  m.def("default_urdf_chain", &defaultUrdfChain, py::arg("text"),
        "The UrdfChainEnds of a URDF document: its root link and the only leaf link with six "
        "moving joints between them. ValueError when there is none or several.");
}

}  // namespace

void bindArmImport(py::module_& m) {
  py::class_<ArmLimits> limits(m, "ArmLimits",
                               "The limits (degrees), home joints and coupling flag of an "
                               "imported arm. Index 6 of the limits bounds joint 2 + joint 3 "
                               "and applies when joint_coupling is 1.");
  limits
      .def(py::init([](const std::array<double, 7>& jointMin, const std::array<double, 7>& jointMax,
                       const RobJoint& homeJoint, std::int32_t jointCoupling) {
             return ArmLimits{jointMin, jointMax, homeJoint, jointCoupling};
           }),
           py::arg("joint_min") = ArmLimits{}.jointMin, py::arg("joint_max") = ArmLimits{}.jointMax,
           py::arg("home_joint") = ArmLimits{}.homeJoint, py::arg("joint_coupling") = 0,
           "Defaults: -360 .. 360 for every joint, -720 .. 720 for the sum, home at zero, "
           "coupling off.")
      .def_readwrite("joint_min", &ArmLimits::jointMin, "Lower limits of joints 1..6 and the sum.")
      .def_readwrite("joint_max", &ArmLimits::jointMax, "Upper limits, laid out like joint_min.")
      .def_readwrite("home_joint", &ArmLimits::homeJoint, "The home joints (degrees).")
      .def_readwrite("joint_coupling", &ArmLimits::jointCoupling,
                     "1 when the limit of joint 2 + joint 3 applies.");

  py::enum_<DhConvention>(m, "DhConvention", "The two placements of the link frames.")
      .value("classic", DhConvention::classic,
             "Joint i turns about z of frame i - 1; link i is Rz(theta) Tz(d) Tx(a) Rx(alpha).")
      .value("modified", DhConvention::modified,
             "Joint i turns about z of frame i; row i holds the previous link's a and alpha.");

  py::class_<DhRow> row(m, "DhRow",
                        "One row of a Denavit-Hartenberg table: a and d in mm, alpha and "
                        "theta_offset in degrees. The row's joint angle is theta_offset plus the "
                        "controller's joint value.");
  row.def(py::init([](double a, double alpha, double d, double thetaOffset) {
            return DhRow{a, alpha, d, thetaOffset};
          }),
          py::arg("a") = 0.0, py::arg("alpha") = 0.0, py::arg("d") = 0.0,
          py::arg("theta_offset") = 0.0)
      .def_readwrite("a", &DhRow::a)
      .def_readwrite("alpha", &DhRow::alpha)
      .def_readwrite("d", &DhRow::d)
      .def_readwrite("theta_offset", &DhRow::thetaOffset);
  addTextForms(row, "DhRow", [](const DhRow& r) {
    std::ostringstream out;
    out << "{a " << r.a << ", alpha " << r.alpha << ", d " << r.d << ", theta_offset "
        << r.thetaOffset << "}";
    return out.str();
  });

  py::class_<DhTable>(m, "DhTable",
                      "A six-row Denavit-Hartenberg table. Frame 0 is the base frame, frame 6 "
                      "the flange.")
      .def(py::init<>(), "Six zero rows, classic convention.")
      .def(py::init(&dhTable), py::arg("rows"), py::arg("convention") = DhConvention::classic,
           "From six rows of four numbers: a, alpha, d, theta_offset (mm and degrees).")
      .def_readwrite("convention", &DhTable::convention)
      .def_readwrite("rows", &DhTable::rows, "The six DhRow (a copy as a list).");

  py::class_<OrthoParallelParameters>(
      m, "OrthoParallelParameters",
      "The seven lengths of an ortho-parallel arm with the controller's joint convention: the "
      "geometry's joint i is signs[i] * (the controller's joint i) + offsets[i] (degrees).")
      .def(py::init([](const OrthoParallelGeometry& lengths, const std::array<double, 6>& offsets,
                       const std::array<int, 6>& signs) {
             return OrthoParallelParameters{lengths, offsets, signs};
           }),
           py::arg("lengths"), py::arg("offsets") = std::array<double, 6>{},
           py::arg("signs") = std::array<int, 6>{1, 1, 1, 1, 1, 1})
      .def_readwrite("lengths", &OrthoParallelParameters::lengths)
      .def_readwrite("offsets", &OrthoParallelParameters::offsets,
                     "Degrees: the geometry's joint values at the controller's zero.")
      .def_readwrite("signs", &OrthoParallelParameters::signs,
                     "1 where the controller turns the joint the geometry's way, -1 otherwise.");

  bindUrdfAndReaders(m);
}

}  // namespace zor::rob::python
