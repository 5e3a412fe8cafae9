#pragma once

// What the inverse kinematics answers: why a query found no solution, one labelled solution with
// its verdict, and the list of all solutions of a pose. Below both the arm model
// (robot_config.hpp), whose members answer the queries, and the tool frames of the inverse
// kinematics (inverse_kinematics.hpp).

#include <cstddef>
#include <iosfwd>
#include <vector>

#include "zor/rob/conf_data.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"

namespace zor::rob {

/// The verdict of an inverse-kinematics query.
enum class IkStatus {
  found = 0,                      ///< A solution was found.
  outOfReach = 1,                 ///< No joint solution at all, whatever the limits (for the
                                  ///< numerical path from seeds: none found from them).
  outsideJointLimits = 2,         ///< Joint solutions exist, but none inside the joint limits.
  noSolutionInConfiguration = 3,  ///< Solutions inside the limits exist, none in the asked
                                  ///< configuration.
};

/// Writes "found", "out of reach", "outside the joint limits" or "no solution in the requested
/// configuration"; for any other value writes nothing and sets the stream's failbit.
ZORROB_API std::ostream& operator<<(std::ostream& os, IkStatus status);

/// How the inverse kinematics solves an arm (RobotConfig::ikMethod), chosen from its joint axes,
/// joint points and flange home pose.
enum class IkMethod {
  sphericalWristClosedForm = 0,  ///< Joints 2 and 3 parallel, axes 4, 5 and 6 meeting in one
                                 ///< point: closed form, every solution.
  threeParallelClosedForm = 1,   ///< Joints 2, 3 and 4 parallel, joint 5 perpendicular to joint
                                 ///< 4, joint 6 perpendicular to and meeting joint 5: closed
                                 ///< form, every solution.
  search = 2,                    ///< Any other arm with joints 2 and 3 parallel and axes 5 and 6
                                 ///< meeting: a search over joint 4, every solution but those
                                 ///< that crowd together (see RobotConfig).
  numerical = 3,                 ///< Any other arm: damped least squares from seeds, the
                                 ///< solutions within reach of them.
};

/// Writes "spherical-wrist closed form", "three-parallel-axes closed form", "search over joint 4"
/// or "numerical from seeds"; for any other value writes nothing and sets the stream's failbit.
ZORROB_API std::ostream& operator<<(std::ostream& os, IkMethod method);

/// One answer of the inverse kinematics: the joints and their configuration when `status` is
/// IkStatus::found, otherwise the reason there is none (and `joints` unset, `conf` all zero).
struct ZORROB_API JointSolution {
  RobJoint joints{};
  ConfData conf{};
  IkStatus status{IkStatus::outOfReach};

  /// \returns true when a solution was found.
  bool found() const { return status == IkStatus::found; }
};

/// A list of joint solutions paired with their configurations: joints[i] belongs to confs[i].
struct ZORROB_API TargetConfigurationA {
  std::vector<RobJointA> joints{};
  std::vector<ConfData> confs{};

  /// \returns the number of solutions.
  std::size_t size() const { return joints.size(); }
  bool empty() const { return joints.empty(); }
  /// Removes all solutions.
  void clear() {
    joints.clear();
    confs.clear();
  }
  /// \returns solution `i`'s joints; throws std::out_of_range for `i` >= size().
  const RobJointA& joint(std::size_t i) const { return joints.at(i); }
  /// \returns solution `i`'s configuration; throws std::out_of_range for `i` >= size().
  const ConfData& conf(std::size_t i) const { return confs.at(i); }
};

/// A list of joint solutions of one Cartesian target paired with their configurations:
/// joints[i] belongs to confs[i].
struct ZORROB_API TargetConfiguration {
  std::vector<RobJoint> joints{};
  std::vector<ConfData> confs{};

  /// Appends `j` to `joints`, then `conf` to `confs`. Allocation failures propagate as the
  /// standard length or allocation errors and leave both lists as they were. Inline: the inverse
  /// kinematics adds every solution through it.
  void add(const RobJoint& j, const ConfData& conf) {
    joints.push_back(j);
    try {
      confs.push_back(conf);
    } catch (...) {
      joints.pop_back();  // keep the two lists paired
      throw;
    }
  }
  /// \returns the list with each joint solution converted, in order, by
  /// RobJoint::toRobJointA(kc) and the configurations copied unchanged. Throws std::logic_error
  /// "KinematicConfig error" when the list is not empty and `kc` is neither Direct nor
  /// Coupled23.
  TargetConfigurationA toTargetConfigurationA(KinematicConfig kc) const;

  /// \returns the number of solutions.
  std::size_t size() const { return joints.size(); }
  bool empty() const { return joints.empty(); }
  /// Removes all solutions.
  void clear() {
    joints.clear();
    confs.clear();
  }
  /// \returns solution `i`'s joints; throws std::out_of_range for `i` >= size().
  const RobJoint& joint(std::size_t i) const { return joints.at(i); }
  /// \returns solution `i`'s configuration; throws std::out_of_range for `i` >= size().
  const ConfData& conf(std::size_t i) const { return confs.at(i); }
};

}  // namespace zor::rob
