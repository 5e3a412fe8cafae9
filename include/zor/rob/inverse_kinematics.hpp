#pragma once

// The frames of a tool centre point in a work object, as the inverse kinematics takes them. The
// queries themselves are members of RobotConfig (robot_config.hpp), their result types are in
// ik_results.hpp.

#include "zor/rob/export.hpp"
#include "zor/rob/ik_results.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob {

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
