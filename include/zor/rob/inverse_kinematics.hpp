#pragma once

// The inverse kinematics' own types: why a query found no solution, one labelled solution with
// its verdict, and the frames of a tool centre point in a work object. The queries themselves are
// members of RobotConfig (robot_config.hpp).

#include <iosfwd>

#include "zor/rob/conf_data.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob {

/// The verdict of an inverse-kinematics query.
enum class IkStatus {
  found = 0,                      ///< A solution was found.
  outOfReach = 1,                 ///< No joint solution at all, whatever the limits (for the
                                  ///< numerical path: none found from its seeds).
  outsideJointLimits = 2,         ///< Joint solutions exist, but none inside the joint limits.
  noSolutionInConfiguration = 3,  ///< Solutions inside the limits exist, none in the asked
                                  ///< configuration.
};

/// Writes "found", "out of reach", "outside the joint limits" or "no solution in the requested
/// configuration"; for any other value writes nothing and sets the stream's failbit.
ZORROB_API std::ostream& operator<<(std::ostream& os, IkStatus status);

/// One answer of the inverse kinematics: the joints and their configuration when `status` is
/// IkStatus::found, otherwise the reason there is none (and `joints` unset, `conf` all zero).
struct ZORROB_API JointSolution {
  RobJoint joints{};
  ConfData conf{};
  IkStatus status{IkStatus::outOfReach};

  /// \returns true when a solution was found.
  bool found() const { return status == IkStatus::found; }
};

/// \returns the flange pose (base frame) that puts the tool centre point of `tool` at `target`,
/// given in the object frame of `wobj`:
/// - a robot-held tool on a fixed work object: flange = U · O · target · tframe⁻¹, with U and O
///   the work object's user and object frames in the world (= base) frame;
/// - a stationary tool (`tool.robhold` false, `tframe` in the world) with a work object held by
///   the robot (`wobj.robhold` true, `uframe` in the flange frame):
///   flange = tframe · (U · O · target)⁻¹.
/// Throws std::logic_error "normalize quaternion of 0 magnitude" for a zero orientation record,
/// and std::invalid_argument "tool and work object both held or both fixed" when
/// `tool.robhold` equals `wobj.robhold`.
ZORROB_API Pose FlangePoseOfTarget(const Pose& target, const ToolData& tool, const WObjData& wobj);

/// \returns the inverse of FlangePoseOfTarget: the target (tool centre point in the object frame)
/// that the flange pose `flange` gives. Same errors.
ZORROB_API Pose TargetOfFlangePose(const Pose& flange, const ToolData& tool, const WObjData& wobj);

}  // namespace zor::rob
