#pragma once

// Everything of libzorrob in one include. Every public type and function lives in namespace
// zor::rob.

#include "zor/rob/angles.hpp"
#include "zor/rob/arm_import.hpp"
#include "zor/rob/audit.hpp"
#include "zor/rob/circle.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/ik_results.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/line.hpp"
#include "zor/rob/moves.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/progress.hpp"
#include "zor/rob/reach.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/screw.hpp"
#include "zor/rob/targets.hpp"
#include "zor/rob/text.hpp"
#include "zor/rob/triangle.hpp"
#include "zor/rob/vectors.hpp"
#include "zor/rob/view.hpp"
