// The arm model: RobotConfig with its builders, forward kinematics, Jacobians (numpy arrays),
// singularities, limits and configurations, the solution lists, and the numpy batches that run
// whole arrays of joint vectors without the GIL.

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string>

#include "bindings.hpp"
#include "progress.hpp"
#include "zor/rob/batch.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::python {

namespace {

constexpr const char* kJointsBatchDoc =
    "joints: an (N, 6) array of joint values in degrees (any real dtype and layout is "
    "converted to C-ordered float64; anything else raises ValueError). Runs without the GIL, "
    "in chunks: Ctrl-C raises KeyboardInterrupt within one.";

RobJoint jointsAt(const double* q) {
  return {q[0], q[1], q[2], q[3], q[4], q[5]};
}

// The library does not check the joint number of getJointTransform.
unsigned int checkedJoint(unsigned int i) {
  if (i > 5)
    throw py::index_error("joint index " + std::to_string(i) + " is outside 0..5");
  return i;
}

/// Joint vectors per call of the library's batches: the rows of a chunk are copied into joint
/// vectors, and the results out of the library's types, through buffers of this size.
constexpr py::ssize_t kBatchStep = 64;

/// Fills `buffer` with the `n` joint vectors of the rows at `q`; \returns them as a span.
std::span<const RobJoint> jointsOf(const double* q, py::ssize_t n,
                                   std::array<RobJoint, kBatchStep>& buffer) {
  const auto count = static_cast<std::size_t>(n);
  for (std::size_t k = 0; k < count; ++k)
    buffer[k] = jointsAt(q + 6 * k);
  return std::span<const RobJoint>(buffer).first(count);
}

py::tuple forwardKinematics(const RobotConfig& robot, const py::handle& joints) {
  const auto in = rowsOf(joints, 6, "joints");
  const py::ssize_t n = in.shape(0);
  py::array_t<double> positions = newArray({n, 3});
  py::array_t<double> quaternions = newArray({n, 4});
  const double* q = in.data();
  double* p = positions.mutable_data();
  double* o = quaternions.mutable_data();
  // A private copy: another Python thread may assign to the robot's fields meanwhile.
  const RobotConfig arm = robot;
  PythonProgress checks{py::none()};
  runInChunks(n, checks, [&](py::ssize_t begin, py::ssize_t end) {
    std::array<RobJoint, kBatchStep> buffer;
    std::array<Transform, kBatchStep> poses;
    for (py::ssize_t first = begin; first < end; first += kBatchStep) {
      const std::span<const RobJoint> step =
          jointsOf(q + 6 * first, std::min(kBatchStep, end - first), buffer);
      FlangePoses(arm, step, std::span(poses).first(step.size()));
      double* pk = p + 3 * first;
      double* ok = o + 4 * first;
      for (std::size_t k = 0; k < step.size(); ++k, pk += 3, ok += 4) {
        const Transform& t = poses[k];
        pk[0] = t.translation.x;
        pk[1] = t.translation.y;
        pk[2] = t.translation.z;
        ok[0] = t.rotation.w;
        ok[1] = t.rotation.x;
        ok[2] = t.rotation.y;
        ok[3] = t.rotation.z;
      }
    }
  });
  return py::make_tuple(positions, quaternions);
}

template <void (*Batch)(const RobotConfig&, std::span<const RobJoint>, std::span<GeometricJacobian>,
                        unsigned)>
py::array_t<double> jacobians(const RobotConfig& robot, const py::handle& joints) {
  const auto in = rowsOf(joints, 6, "joints");
  const py::ssize_t n = in.shape(0);
  py::array_t<double> out = newArray({n, 6, 6});
  const double* q = in.data();
  double* j = out.mutable_data();
  const RobotConfig arm = robot;
  PythonProgress checks{py::none()};
  runInChunks(n, checks, [&](py::ssize_t begin, py::ssize_t end) {
    std::array<RobJoint, kBatchStep> buffer;
    std::array<GeometricJacobian, kBatchStep> results;
    for (py::ssize_t first = begin; first < end; first += kBatchStep) {
      const std::span<const RobJoint> step =
          jointsOf(q + 6 * first, std::min(kBatchStep, end - first), buffer);
      Batch(arm, step, std::span(results).first(step.size()), 1);
      double* jk = j + 36 * first;
      for (std::size_t k = 0; k < step.size(); ++k, jk += 36)
        copyJacobianRows(results[k], jk);
    }
  });
  return out;
}

py::array_t<std::int32_t> configurations(const RobotConfig& robot, const py::handle& joints) {
  const auto in = rowsOf(joints, 6, "joints");
  const py::ssize_t n = in.shape(0);
  py::array_t<std::int32_t> out(std::vector<py::ssize_t>{n, 4});
  const double* q = in.data();
  std::int32_t* c = out.mutable_data();
  const RobotConfig arm = robot;
  PythonProgress checks{py::none()};
  runInChunks(n, checks, [&](py::ssize_t begin, py::ssize_t end) {
    for (py::ssize_t k = begin; k < end; ++k) {
      const ConfData conf = ConfData::FromRobJoint(jointsAt(q + 6 * k), arm);
      std::int32_t* ck = c + 4 * k;
      ck[0] = conf.cf1;
      ck[1] = conf.cf4;
      ck[2] = conf.cf6;
      ck[3] = conf.cfx;
    }
  });
  return out;
}

template <class List>
void bindSolutionList(py::module_& m, const char* name, const char* doc) {
  py::class_<List> cls(m, name, doc);
  cls.def(py::init<>())
      .def_readwrite("joints", &List::joints, "The joint solutions (a copy as a list).")
      .def_readwrite("confs", &List::confs, "Their configurations (a copy as a list).")
      .def("size", &List::size, "The number of solutions.")
      .def("__len__", &List::size)
      .def("empty", &List::empty, "True when there is no solution.")
      .def("clear", &List::clear, "Removes all solutions.")
      .def("joint", &List::joint, py::arg("i"), "Solution i's joints; IndexError for i >= size().")
      .def("conf", &List::conf, py::arg("i"),
           "Solution i's configuration; IndexError for i >= size().");
  cls.def("__repr__", [name = std::string(name)](const List& l) {
    return "<zorrob." + name + " of " + std::to_string(l.size()) + " solutions>";
  });
}

/// RobotConfig: the arm model and its queries.
void bindRobotConfig(py::module_& m) {
  py::class_<RobotConfig> robot(m, "RobotConfig",
                                "The kinematic model of a six-joint serial arm in "
                                "product-of-exponentials form. Joint values and limits in "
                                "degrees, lengths in mm; joint numbers 0-based. Build one with "
                                "default_arm(), make_ortho_parallel_arm() or "
                                "make_robot_config().");
  robot.def(py::init<>(), "An empty record, to be filled and set up by its user.")
      .def_readwrite("spaceScrewAxes", &RobotConfig::spaceScrewAxes)
      .def_readwrite("bodyScrewAxes", &RobotConfig::bodyScrewAxes)
      .def_readwrite("jointMax", &RobotConfig::jointMax,
                     "Upper limits (degrees) of joints 1..6; index 6 bounds joint 2 + joint 3.")
      .def_readwrite("jointMin", &RobotConfig::jointMin, "Lower limits, laid out like jointMax.")
      .def_readwrite("homeJoint", &RobotConfig::homeJoint)
      .def_readwrite("jointPoints", &RobotConfig::jointPoints)
      .def_readwrite("flangeHome", &RobotConfig::flangeHome)
      .def_readwrite("jointAxes", &RobotConfig::jointAxes)
      .def_readwrite("elbowOffset", &RobotConfig::elbowOffset, "Radians.")
      .def_readwrite("jointCoupling", &RobotConfig::jointCoupling)
      .def_readwrite("sphericalWrist", &RobotConfig::sphericalWrist)
      .def_readonly_static("kJointLimitTolerance", &RobotConfig::kJointLimitTolerance)
      .def_readonly_static("kSphericalWristTolerance", &RobotConfig::kSphericalWristTolerance)
      .def(
          "get_joint_transform",
          [](const RobotConfig& r, double theta, unsigned int i) {
            return r.getJointTransform(theta, checkedJoint(i));
          },
          py::arg("theta"), py::arg("i"),
          "The motion of joint i (0..5; IndexError otherwise) turned by theta degrees.")
      .def("get_wrist_pose_in_base", &RobotConfig::getWristPoseInBase, py::arg("joints"),
           "The flange pose (a Transform) in the base frame for the six joint values.")
      .def("get_link_pose", &RobotConfig::getLinkPose, py::arg("joints"), py::arg("i"),
           "The pose of link i (0 the base, 6 and above the flange).")
      .def("get_wcp_z_offset", &RobotConfig::getWcpZOffset,
           "The distance (mm) from the wrist centre to the flange.")
      .def("tcp_to_wcp", &RobotConfig::tcpToWcp, py::arg("flange_pose"),
           "The wrist centre point of a flange pose.")
      .def("get_rob_target", &RobotConfig::getRobTarget, py::arg("joints"),
           "The robot target of the joint values: flange pose, configuration, axes unused.")
      .def("get_home_target", &RobotConfig::getHomeTarget, "The robot target of the home joints.")
      .def("get_home_joint", &RobotConfig::getHomeJoint, "The home joints.")
      .def("is_fixed_joint", &RobotConfig::isFixedJoint, py::arg("i"),
           "True when joint i's limits lie within 1e-6 degrees of each other.")
      .def("is_joint_allowed", &RobotConfig::isJointAllowed, py::arg("i"), py::arg("value"),
           py::arg("other_value") = 0.0,
           "Whether value (degrees) is allowed for joint i (0-based; 6 tests the sum limit).")
      .def("compute_screw_axis_in_tcp", &RobotConfig::computeScrewAxisInTcp,
           "Fills bodyScrewAxes from spaceScrewAxes and flangeHome (set-up, first).")
      .def("init_spherical_wrist", &RobotConfig::initSphericalWrist,
           "Sets and returns sphericalWrist (set-up, second).")
      .def(
          "get_space_jacobian",
          [](const RobotConfig& r, const RobJoint& j) {
            return jacobianArray(r.getSpaceJacobian(j));
          },
          py::arg("joints"),
          "The 6x6 space Jacobian as a numpy array: column i is joint i's screw axis in the "
          "base frame, angular rows first.")
      .def(
          "get_body_jacobian",
          [](const RobotConfig& r, const RobJoint& j) {
            return jacobianArray(r.getBodyJacobian(j));
          },
          py::arg("joints"),
          "The 6x6 body Jacobian as a numpy array: column i is joint i's screw axis in the "
          "flange frame.")
      .def("get_tcp_velocity_in_space", &RobotConfig::getTcpVelocityInSpace, py::arg("point"),
           py::arg("joints"), py::arg("speeds"),
           "The velocity (base coordinates) of a point carried by the flange.")
      .def("is_conf_singular", &RobotConfig::isConfSingular, py::arg("joints"),
           py::arg("flange_pose"), py::arg("joint_tolerance"), py::arg("wcp_tolerance"),
           "The first singularity that holds: wrist, elbow, shoulder or none.")
      .def("forward_kinematics", &forwardKinematics, py::arg("joints"),
           (std::string("Batch of get_wrist_pose_in_base: returns (positions (N, 3) in mm, "
                        "quaternions (N, 4) scalar first, w x y z). ") +
            kJointsBatchDoc)
               .c_str())
      .def("space_jacobians", &jacobians<&SpaceJacobians>, py::arg("joints"),
           (std::string("Batch of get_space_jacobian: an (N, 6, 6) array. ") + kJointsBatchDoc)
               .c_str())
      .def("body_jacobians", &jacobians<&BodyJacobians>, py::arg("joints"),
           (std::string("Batch of get_body_jacobian: an (N, 6, 6) array. ") + kJointsBatchDoc)
               .c_str())
      .def("configurations", &configurations, py::arg("joints"),
           (std::string("Batch of ConfData.from_rob_joint: an (N, 4) int32 array of cf1, cf4, "
                        "cf6, cfx. ") +
            kJointsBatchDoc)
               .c_str());
  robot.def("__repr__", [](const RobotConfig& r) {
    return "<zorrob.RobotConfig flange home " +
           Pose{r.flangeHome.transform(Pos{}),
                {r.flangeHome.rotation.w, r.flangeHome.rotation.x, r.flangeHome.rotation.y,
                 r.flangeHome.rotation.z}}
               .toString() +
           ">";
  });
}

}  // namespace

void bindRobot(py::module_& m) {
  // Joint vectors and joint speeds may be given as lists, tuples or numpy arrays of six numbers.
  py::class_<RobJoint>(m.attr("RobJoint"))
      .def(py::init([](const std::array<double, 6>& v) {
             return RobJoint{v[0], v[1], v[2], v[3], v[4], v[5]};
           }),
           py::arg("values"), "The six joints in degrees from a sequence.");
  py::implicitly_convertible<py::list, RobJoint>();
  py::implicitly_convertible<py::tuple, RobJoint>();
  py::implicitly_convertible<py::array, RobJoint>();
  py::implicitly_convertible<py::list, JointSpeed>();
  py::implicitly_convertible<py::tuple, JointSpeed>();
  py::implicitly_convertible<py::array, JointSpeed>();

  py::enum_<SingularityType> singularity(m, "SingularityType",
                                         "The kind of arm singularity of a joint solution.");
  singularity.value("none", SingularityType::none)
      .value("wrist", SingularityType::wrist)
      .value("elbow", SingularityType::elbow)
      .value("shoulder", SingularityType::shoulder)
      .def("to_string", &StreamText<SingularityType>,
           "The library's text: 'none', 'wrist', 'elbow' or 'shoulder'.");

  py::class_<OrthoParallelGeometry> geometry(m, "OrthoParallelGeometry",
                                             "The seven lengths (mm) of an ortho-parallel arm "
                                             "with a spherical wrist.");
  geometry
      .def(py::init([](double a1, double a2, double b, double c1, double c2, double c3, double c4) {
             return OrthoParallelGeometry{a1, a2, b, c1, c2, c3, c4};
           }),
           py::arg("a1") = 0.0, py::arg("a2") = 0.0, py::arg("b") = 0.0, py::arg("c1") = 0.0,
           py::arg("c2") = 0.0, py::arg("c3") = 0.0, py::arg("c4") = 0.0)
      .def_readwrite("a1", &OrthoParallelGeometry::a1)
      .def_readwrite("a2", &OrthoParallelGeometry::a2)
      .def_readwrite("b", &OrthoParallelGeometry::b)
      .def_readwrite("c1", &OrthoParallelGeometry::c1)
      .def_readwrite("c2", &OrthoParallelGeometry::c2)
      .def_readwrite("c3", &OrthoParallelGeometry::c3)
      .def_readwrite("c4", &OrthoParallelGeometry::c4);
  const auto geometryFields = [](const OrthoParallelGeometry& g) {
    return std::array<double, 7>{g.a1, g.a2, g.b, g.c1, g.c2, g.c3, g.c4};
  };
  addEquality(geometry,
              [geometryFields](const OrthoParallelGeometry& a, const OrthoParallelGeometry& b) {
                return geometryFields(a) == geometryFields(b);
              });
  addTextForms(geometry, "OrthoParallelGeometry", [](const OrthoParallelGeometry& g) {
    std::ostringstream out;
    out << "{a1 " << g.a1 << ", a2 " << g.a2 << ", b " << g.b << ", c1 " << g.c1 << ", c2 " << g.c2
        << ", c3 " << g.c3 << ", c4 " << g.c4 << "}";
    return out.str();
  });

  bindRobotConfig(m);

  bindSolutionList<TargetConfiguration>(
      m, "TargetConfiguration",
      "Joint solutions of one Cartesian target paired with their configurations.");
  py::class_<TargetConfiguration>(m.attr("TargetConfiguration"))
      .def("add", &TargetConfiguration::add, py::arg("joints"), py::arg("conf"),
           "Appends a solution and its configuration.")
      .def("to_target_configuration_a", &TargetConfiguration::toTargetConfigurationA,
           py::arg("config"), "The list with each solution in the joint convention config.");
  bindSolutionList<TargetConfigurationA>(m, "TargetConfigurationA",
                                         "Joint solutions in the alternative convention.");

  m.def("make_robot_config", &MakeRobotConfig, py::arg("joint_axes"), py::arg("joint_points"),
        py::arg("flange_home"), py::arg("joint_min"), py::arg("joint_max"), py::arg("home_joint"),
        py::arg("elbow_offset"), py::arg("joint_coupling"),
        "A RobotConfig ready for use from six unit axes, six axis points (mm), the flange home "
        "transform, seven lower and upper limits (degrees), the home joints, the elbow offset "
        "(radians) and the coupling flag. Raises ValueError with check_arm_model's message for "
        "an arm that breaks an assumption of the model.");
  m.def("make_ortho_parallel_arm", &MakeOrthoParallelArm, py::arg("geometry"), py::arg("joint_min"),
        py::arg("joint_max"), py::arg("home_joint"), py::arg("joint_coupling"),
        "The RobotConfig of an ortho-parallel arm. Raises ValueError with check_arm_model's "
        "message for lengths, limits or home joints that break an assumption of the model.");
  m.def("default_arm_geometry", &DefaultArmGeometry, "The lengths of the default arm (mm).");
  m.def("default_arm", &DefaultArm, "The library's default arm.");
}

}  // namespace zor::rob::python
