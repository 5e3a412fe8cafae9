#pragma once

// The configuration of a joint solution, for callers that have already computed its flange
// pose (the robot target computes the pose once for both).

#include "robot/arm_kinematics.hpp"
#include "zor/rob/conf_data.hpp"

namespace zor::rob::detail {

/// \returns the configuration of the joint solution `joints` whose flange pose `flange` and
/// half joint-1 sine and cosine `joint1` (as flangePose gives them) are already known:
/// ConfData::FromRobJoint without computing the pose again.
ConfData confFromFlangePose(const RobJoint& joints, const RobotConfig& robot,
                            const Transform& flange, const HalfAngleSinCos& joint1);

}  // namespace zor::rob::detail
