// The inverse kinematics: the queries of RobotConfig, their verdicts, the frames of a tool
// centre point in a work object, and a batch that solves N poses without the GIL.

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bindings.hpp"
#include "progress.hpp"
#include "zor/rob/batch.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::python {

namespace {

/// The pose of row `k`, or the error that names the row when it is not finite.
Pose rowPose(const double* x, const double* w, py::ssize_t k) {
  const std::string row = "row " + std::to_string(k) + ": ";
  if (!std::all_of(x, x + 3, [](double v) { return std::isfinite(v); }))
    throw std::invalid_argument(row + "the position must be finite");
  if (!std::all_of(w, w + 4, [](double v) { return std::isfinite(v); }))
    throw std::invalid_argument(row + "the quaternion must be finite");
  return Pose{{x[0], x[1], x[2]}, {w[0], w[1], w[2], w[3]}};
}

/// Solves `poses` (rows `first` on) by the library's batch into `out`, appended. An error of the
/// batch is raised again naming its row with the library's message.
void solveRows(const RobotConfig& arm, const std::vector<Pose>& poses, py::ssize_t first,
               JointSolutionsBatch& chunk, JointSolutionsBatch& out) {
  try {
    AllJointSolutions(arm, poses, chunk);
  } catch (const std::exception&) {
    // The scalar call on each row finds the one that failed and its own message.
    for (std::size_t k = 0; k < poses.size(); ++k) {
      try {
        (void)arm.getAllJointSolutions(poses[k]);
      } catch (const std::exception& e) {
        throw std::invalid_argument("row " + std::to_string(first + static_cast<py::ssize_t>(k)) +
                                    ": " + e.what());
      }
    }
    throw;
  }
  const std::size_t base = out.joints.size();
  out.joints.insert(out.joints.end(), chunk.joints.begin(), chunk.joints.end());
  out.confs.insert(out.confs.end(), chunk.confs.begin(), chunk.confs.end());
  for (std::size_t i = 1; i < chunk.offsets.size(); ++i)
    out.offsets.push_back(base + chunk.offsets[i]);
}

// Every solution of N flange poses given as positions (N, 3) and quaternions (N, 4), scalar
// first: the solutions (M, 6), their configurations (M, 4) and the index of the pose each
// belongs to (M,), in pose order and, within a pose, in the order of getAllJointSolutions
// (through the library's batch, AllJointSolutions). A row that cannot be solved (not finite, or
// rejected by the library) stops the batch with a ValueError that names it.
py::tuple allJointSolutions(const RobotConfig& robot, const py::handle& positions,
                            const py::handle& quaternions, const py::object& progress) {
  const auto p = rowsOf(positions, 3, "positions");
  const auto q = rowsOf(quaternions, 4, "quaternions");
  if (p.shape(0) != q.shape(0))
    throw py::value_error("positions and quaternions: expected the same number of rows, got " +
                          std::to_string(p.shape(0)) + " and " + std::to_string(q.shape(0)));
  const py::ssize_t n = p.shape(0);
  const double* pp = p.data();
  const double* qq = q.data();
  const RobotConfig arm = robot;
  JointSolutionsBatch solved;
  solved.offsets.push_back(0);
  JointSolutionsBatch chunk;
  std::vector<Pose> poses;
  PythonProgress checks{progress};
  runInChunks(n, checks, [&](py::ssize_t begin, py::ssize_t end) {
    // The rows up to the first that is not finite are solved before its error is raised, so
    // that an earlier row's error comes first.
    poses.clear();
    for (py::ssize_t k = begin; k < end; ++k) {
      try {
        poses.push_back(rowPose(pp + 3 * k, qq + 4 * k, k));
      } catch (const std::invalid_argument&) {
        solveRows(arm, poses, begin, chunk, solved);
        throw;
      }
    }
    solveRows(arm, poses, begin, chunk, solved);
  });
  const auto m = static_cast<py::ssize_t>(solved.joints.size());
  py::array_t<double> joints = newArray({m, 6});
  py::array_t<std::int32_t> confs(std::vector<py::ssize_t>{m, 4});
  py::array_t<std::int64_t> owners(std::vector<py::ssize_t>{m});
  double* j = joints.mutable_data();
  std::int32_t* c = confs.mutable_data();
  std::int64_t* o = owners.mutable_data();
  for (std::size_t k = 0; k + 1 < solved.offsets.size(); ++k) {
    for (std::size_t s = solved.offsets[k]; s < solved.offsets[k + 1]; ++s) {
      for (const double value : solved.joints[s].values)
        *j++ = value;
      const ConfData& conf = solved.confs[s];
      *c++ = conf.cf1;
      *c++ = conf.cf4;
      *c++ = conf.cf6;
      *c++ = conf.cfx;
      *o++ = static_cast<std::int64_t>(k);
    }
  }
  return py::make_tuple(joints, confs, owners);
}

/// The result types of the inverse kinematics, and the tool-centre-point conversions.
void bindIkResults(py::module_& m) {
  py::enum_<IkStatus>(m, "IkStatus", "The verdict of an inverse-kinematics query.")
      .value("found", IkStatus::found)
      .value("outOfReach", IkStatus::outOfReach)
      .value("outsideJointLimits", IkStatus::outsideJointLimits)
      .value("noSolutionInConfiguration", IkStatus::noSolutionInConfiguration)
      .def("to_string", &StreamText<IkStatus>, "The library's text, e.g. 'out of reach'.");

  py::enum_<IkMethod>(m, "IkMethod", "How the inverse kinematics solves an arm.")
      .value("sphericalWristClosedForm", IkMethod::sphericalWristClosedForm)
      .value("threeParallelClosedForm", IkMethod::threeParallelClosedForm)
      .value("search", IkMethod::search)
      .value("numerical", IkMethod::numerical)
      .def("to_string", &StreamText<IkMethod>,
           "The library's text, e.g. 'three-parallel-axes closed form'.");

  py::class_<JointSolution> solution(m, "JointSolution",
                                     "One answer of the inverse kinematics: the joints and "
                                     "configuration when status is IkStatus.found, otherwise "
                                     "the reason there is none.");
  solution.def(py::init<>())
      .def_readwrite("joints", &JointSolution::joints)
      .def_readwrite("conf", &JointSolution::conf)
      .def_readwrite("status", &JointSolution::status)
      .def("found", &JointSolution::found, "True when a solution was found.");
  addEquality(solution, [](const JointSolution& a, const JointSolution& b) {
    return a.joints == b.joints && a.conf == b.conf && a.status == b.status;
  });
  addTextForms(solution, "JointSolution", [](const JointSolution& s) {
    return "{" + s.joints.toString() + ", " + s.conf.toString() + ", " + StreamText(s.status) + "}";
  });

  m.def("flange_pose_of_target", &FlangePoseOfTarget, py::arg("target"), py::arg("tool"),
        py::arg("wobj"),
        "The flange pose that puts the tool centre point at the target in the work object. "
        "ValueError 'tool and work object both held or both fixed' when tool.robhold equals "
        "wobj.robhold.");
  m.def("target_of_flange_pose", &TargetOfFlangePose, py::arg("flange"), py::arg("tool"),
        py::arg("wobj"), "The inverse of flange_pose_of_target.");
}

}  // namespace

void bindInverseKinematics(py::module_& m) {
  bindIkResults(m);
  py::class_<RobotConfig> robot(m.attr("RobotConfig"));
  robot
      .def("ik_method", &RobotConfig::ikMethod,
           "How the inverse kinematics solves this arm (an IkMethod).")
      .def(
          "get_all_joint_solutions",
          [](const RobotConfig& r, const Pose& pose, const std::optional<RobJoint>& seed) {
            return seed ? r.getAllJointSolutions(pose, *seed) : r.getAllJointSolutions(pose);
          },
          py::arg("flange_pose"), py::arg("seed") = py::none(),
          "Every joint solution of the flange pose inside the limits (a TargetConfiguration); "
          "free joints of a singularity keep the seed's values when one is given.")
      .def("get_all_joint_solutions",
           py::overload_cast<const Pose&, const ToolData&, const WObjData&>(
               &RobotConfig::getAllJointSolutions, py::const_),
           py::arg("target"), py::arg("tool"), py::arg("wobj"),
           "Every joint solution that puts the tool centre point at the target in the work "
           "object.")
      .def(
          "find_all_joint_solutions",
          [](const RobotConfig& r, const Pose& pose, const std::optional<RobJoint>& seed) {
            TargetConfiguration solutions;
            const IkStatus status =
                r.findAllJointSolutions(pose, seed ? &*seed : nullptr, solutions);
            return py::make_tuple(status, solutions);
          },
          py::arg("flange_pose"), py::arg("seed") = py::none(),
          "get_all_joint_solutions with the verdict: (IkStatus found, outOfReach or "
          "outsideJointLimits, TargetConfiguration).")
      .def("get_joint_solution",
           py::overload_cast<const RobTarget&>(&RobotConfig::getJointSolution, py::const_),
           py::arg("target"), "The solution of the target's pose in its configuration, or None.")
      .def("get_joint_solution",
           py::overload_cast<const RobTarget&, const ToolData&, const WObjData&>(
               &RobotConfig::getJointSolution, py::const_),
           py::arg("target"), py::arg("tool"), py::arg("wobj"),
           "The solution of the target (tool centre point in the work object), or None.")
      .def("get_nearest_joint_solution", &RobotConfig::getNearestJointSolution,
           py::arg("flange_pose"), py::arg("seed"),
           "The solution nearest to the seed (smallest largest joint difference), or None.")
      .def("find_joint_solution",
           py::overload_cast<const RobTarget&>(&RobotConfig::findJointSolution, py::const_),
           py::arg("target"), "get_joint_solution with the reason when there is none.")
      .def("find_joint_solution",
           py::overload_cast<const RobTarget&, const ToolData&, const WObjData&>(
               &RobotConfig::findJointSolution, py::const_),
           py::arg("target"), py::arg("tool"), py::arg("wobj"),
           "get_joint_solution (tool and work object) with the reason when there is none.")
      .def("find_nearest_joint_solution", &RobotConfig::findNearestJointSolution,
           py::arg("flange_pose"), py::arg("seed"),
           "get_nearest_joint_solution with the reason when there is none.")
      .def("all_joint_solutions", &allJointSolutions, py::arg("positions"), py::arg("quaternions"),
           py::kw_only(), py::arg("progress") = py::none(),
           "Batch of get_all_joint_solutions for N flange poses: positions (N, 3) in mm and "
           "quaternions (N, 4) scalar first (the output of forward_kinematics). Returns "
           "(joints (M, 6), confs (M, 4) int32, pose index (M,) int64), the solutions of pose "
           "0 first. Wrong shapes or dtypes raise ValueError. A row that cannot be solved stops "
           "the batch with a ValueError naming it: 'row 3: the position must be finite' (or "
           "the quaternion), or 'row 3: ' and the library's message (a zero quaternion); a "
           "pose with no solution is no error, it just has no rows. Runs without the GIL, in "
           "chunks: Ctrl-C raises KeyboardInterrupt within one. progress: a callable given the "
           "fraction of the poses solved, called with the GIL; returning False stops the batch, "
           "which returns the solutions of the poses solved so far.");
}

}  // namespace zor::rob::python
