#pragma once

// The configuration of a joint solution, for callers that have already computed its flange
// pose (the robot target computes the pose once for both).

#include "robot/arm_kinematics.hpp"
#include "zor/rob/conf_data.hpp"

namespace zor::rob::detail {

/// The sign of cos(φ − j1) decides the shoulder test without atan2 when |cos(φ − j1)| exceeds
/// this (φ − j1 farther than about 6e-5 degrees from a quarter turn) and |j1| is below
/// kShoulderFastJointLimit degrees (so that j1's sine and cosine are accurate to ~1e-12). The
/// batch of robot targets repeats that test in its lanes.
inline constexpr double kShoulderFastCosine = 1e-6;
inline constexpr double kShoulderFastJointLimit = 1e6;

/// \returns the configuration of the joint solution `joints` whose flange pose `flange` and
/// half joint-1 sine and cosine `joint1` (as flangePose gives them) are already known:
/// ConfData::FromRobJoint without computing the pose again.
ConfData confFromFlangePose(const RobJoint& joints, const RobotConfig& robot,
                            const Transform& flange, const HalfAngleSinCos& joint1);

}  // namespace zor::rob::detail
