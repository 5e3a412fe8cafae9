#pragma once

// The messages of the arm readers and their one throwing helper. Messages naming a joint, a link
// or a key are built from the constants here.

#include <string>

namespace zor::rob::detail {

namespace msg {

// The library form (library_form.cpp).
inline constexpr const char* kNotFinite = "the arm's joint axes, points and flange must be finite";
inline constexpr const char* kJointOneAxis =
    "joint 1 must turn about the base z axis, upwards (shoulder configuration and singularity)";
inline constexpr const char* kElbowAxes =
    "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)";
inline constexpr const char* kElbowWrist =
    "the wrist centre must lie off the axis of joint 3 (the elbow offset)";
inline constexpr const char* kWristCentre =
    "the axes of joints 5 and 6 must meet (the wrist centre)";
inline constexpr const char* kWristSingularity =
    "joint 5 at zero must line up the axes of joints 4 and 6 (the wrist singularity)";

// Denavit-Hartenberg tables and ortho-parallel parameter sets.
inline constexpr const char* kDhRow = "DH row ";
inline constexpr const char* kMustBeFinite = " must be a finite number";
inline constexpr const char* kOrthoParallel = "ortho-parallel ";
inline constexpr const char* kOffsetOfJoint = "ortho-parallel offset of joint ";
inline constexpr const char* kSignOfJoint = "ortho-parallel sign of joint ";
inline constexpr const char* kSignValues = " must be 1 or -1";

// URDF.
inline constexpr const char* kUrdf = "URDF: ";
inline constexpr const char* kUrdfUnreadable = "URDF: the document cannot be read";
inline constexpr const char* kUrdfCannotReadFile = "URDF: cannot read file '";
inline constexpr const char* kUrdfNoLink = "URDF: no link '";
inline constexpr const char* kUrdfNotBelow = " is not below link '";
inline constexpr const char* kUrdfMimics = " mimics another joint";
inline constexpr const char* kUrdfZeroAxis = " has a zero axis";
inline constexpr const char* kUrdfBranches = " branches off the chain at moving joint '";
inline constexpr const char* kUrdfLoop = " lies on a loop of joints";
inline constexpr const char* kUrdfNoLeaf = "URDF: no leaf link lies six moving joints below root '";
inline constexpr const char* kUrdfSeveralLeaves =
    "URDF: several leaf links lie six moving joints below root '";

}  // namespace msg

/// Throws std::invalid_argument with `message`: the one way an arm reader reports bad input.
[[noreturn]] void throwInvalidArm(const std::string& message);

}  // namespace zor::rob::detail
