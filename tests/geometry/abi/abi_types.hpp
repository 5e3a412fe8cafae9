#pragma once

// The public types whose layout a host compiled with other vector flags relies on. To cover a
// new type, add one line X(type, value): `value` is true for the plain value types that must be
// standard-layout and trivially copyable. Include the type's header above the list.

#include <Eigen/Geometry>

#include "zor/rob/circle.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/line.hpp"
#include "zor/rob/moves.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/screw.hpp"
#include "zor/rob/targets.hpp"
#include "zor/rob/triangle.hpp"
#include "zor/rob/vectors.hpp"

// clang-format off
#define ZORROB_ABI_TYPES(X)          \
  X(zor::rob::Vec3, true)            \
  X(zor::rob::Vec3f, true)           \
  X(zor::rob::Pos, true)             \
  X(zor::rob::Posf, true)            \
  X(zor::rob::Dir, true)             \
  X(zor::rob::Dirf, true)            \
  X(zor::rob::Orient, true)          \
  X(zor::rob::Orientf, true)         \
  X(zor::rob::Rotation, true)        \
  X(zor::rob::Rotationf, true)       \
  X(zor::rob::Pose, true)            \
  X(zor::rob::Posef, true)           \
  X(zor::rob::Line, true)            \
  X(zor::rob::Linef, true)           \
  X(zor::rob::Triangle, true)        \
  X(zor::rob::Trianglef, true)       \
  X(zor::rob::Transform, true)       \
  X(zor::rob::ScrewAxis, true)       \
  X(zor::rob::Twist, true)           \
  X(zor::rob::Wrench, true)          \
  X(zor::rob::Vector6, true)         \
  X(zor::rob::JointSpeed, true)      \
  X(zor::rob::GeometricJacobian, false) \
  X(zor::rob::SpacialInertia, false) \
  X(zor::rob::RobJoint, true)        \
  X(zor::rob::RobJointA, true)       \
  X(zor::rob::ExtJoint, true)        \
  X(zor::rob::JointTarget, true)     \
  X(zor::rob::JointTargetA, true)    \
  X(zor::rob::ConfData, true)        \
  X(zor::rob::RobTarget, true)       \
  X(zor::rob::LoadData, true)        \
  X(zor::rob::ToolData, true)        \
  X(zor::rob::WObjData, false)       \
  X(zor::rob::SpeedData, true)       \
  X(zor::rob::ZoneData, true)        \
  X(zor::rob::MoveJ, false)          \
  X(zor::rob::MoveC, false)          \
  X(zor::rob::MoveAbsJ, false)       \
  X(zor::rob::RobotConfig, true)     \
  X(zor::rob::TPCircle, true)        \
  X(Eigen::AngleAxis<double>, false)
// clang-format on
