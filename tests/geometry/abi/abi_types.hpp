#pragma once

// The public types whose layout a host compiled with other vector flags relies on. To cover a
// new type, add one line X(type, value): `value` is true for the plain value types that must be
// standard-layout and trivially copyable. Include the type's header above the list.

#include <Eigen/Geometry>

#include "zor/rob/line.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/rotation.hpp"
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
  X(Eigen::AngleAxis<double>, false)
// clang-format on
