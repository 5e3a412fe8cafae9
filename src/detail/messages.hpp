#pragma once

// The library's exception messages, or the fixed pieces of those that name a joint, a link or a
// key. They are part of the public contract: hosts and tests compare them verbatim. A message
// written at one place only may keep its wording beside its throw instead: the URDF reader's
// joint kinds and link roles (urdf.cpp) and the audit's input checks (src/audit/audit.cpp).
namespace zor::rob::detail::msg {

inline constexpr const char* kZeroQuaternion = "normalize quaternion of 0 magnitude";
inline constexpr const char* kZeroLengthVector = "0-length vector cannot be normalized.";
inline constexpr const char* kInvalidIndex = "invalid index";
inline constexpr const char* kInvalidExtJointIndex = "Invalid ExtJoint index: ";
inline constexpr const char* kKinematicConfig = "KinematicConfig error";
inline constexpr const char* kPointsCoincide = "The points coincide";
inline constexpr const char* kPointsCollinear = "The points are collinear";
inline constexpr const char* kAAndCSame = "A and C is the same point";
inline constexpr const char* kPointsOutOfRange =
    "The points' coordinates must be finite and at most 1e75 in magnitude";
inline constexpr const char* kToolAndWorkObjectHeld =
    "tool and work object both held or both fixed";

// ---- The arm readers (src/import/). Messages that name a joint, a link or a key are built from
// the constants here.

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

// The arm model's own check (arm_checks.cpp), for arms given in the library form directly.
inline constexpr const char* kArmTooLarge =
    "the arm's joint points and flange must lie within 1e7 mm of the base";
inline constexpr const char* kAxisOfJoint = "the axis of joint ";
inline constexpr const char* kMustBeUnit = " must be a unit vector";
inline constexpr const char* kFlangeUnit = "the flange orientation must be a unit quaternion";
inline constexpr const char* kShoulderAxes =
    "the axes of joints 1 and 2 must not be parallel (the shoulder)";
inline constexpr const char* kWristAxes =
    "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the wrist)";
inline constexpr const char* kFlangeAxes =
    "the wrist centre must lie on the flange's z axis, as far behind the flange as the flange "
    "lies beyond the point of joint 5 along base x (the wrist centre of a flange pose)";
inline constexpr const char* kElbowOffset =
    "the elbow offset must be the joint-3 angle, in radians, that stretches the arm (the elbow "
    "configuration): ";
inline constexpr const char* kLimitsOfJoint = "the limits of joint ";
inline constexpr const char* kLimitsOfSum = "the limits of joint 2 + joint 3";
inline constexpr const char* kLimitsOrder = " must be finite, the minimum not above the maximum";
inline constexpr const char* kHomeJoint = "home joint ";
inline constexpr const char* kHomeOutside = " must lie within its limits";
inline constexpr const char* kHomeSum = "home joints 2 + 3 must lie within their sum limits";

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
inline constexpr const char* kUrdfDefinedTwice = " is defined twice";
inline constexpr const char* kUrdfUndefined = ", which is not defined";
inline constexpr const char* kUrdfCannotReadFile = "URDF: cannot read file '";
inline constexpr const char* kUrdfFile = "URDF: file '";
inline constexpr const char* kUrdfTooLarge = "' is larger than 67108864 bytes";
inline constexpr const char* kUrdfNoLink = "URDF: no link '";
inline constexpr const char* kUrdfNotBelow = " is not below link '";
inline constexpr const char* kUrdfMimics = " mimics another joint";
inline constexpr const char* kUrdfZeroAxis = " has a zero axis";
inline constexpr const char* kUrdfBranches = " branches off the chain at moving joint '";
inline constexpr const char* kUrdfLoop = " lies on a loop of joints";
inline constexpr const char* kUrdfNoLeaf = "URDF: no leaf link lies six moving joints below root '";
inline constexpr const char* kUrdfSeveralLeaves =
    "URDF: several leaf links lie six moving joints below root '";

// ---- Reach maps and base placement (src/reach/).
inline constexpr const char* kThreadCount = "thread count must be at most 256";
inline constexpr const char* kReachStep = "reach grid step must be positive and finite";
inline constexpr const char* kReachBounds =
    "reach grid bounds must be finite, the maximum not below the minimum";
inline constexpr const char* kReachPoints = "reach grid points must be finite";
inline constexpr const char* kReachEmpty = "reach grid is empty";
inline constexpr const char* kReachHuge = "reach grid has more than 1000000000000000 positions";
inline constexpr const char* kSphereCounts =
    "sphere orientations need at least one direction and one turn";
inline constexpr const char* kSphereTooMany = "sphere orientations: too many";
inline constexpr const char* kReachNoOrientation = "reach map needs at least one orientation";
inline constexpr const char* kReachOrientation = "reach orientations must be finite and not zero";
inline constexpr const char* kReachTool = "reach maps need a robot-held tool";
inline constexpr const char* kReachRange = "reach map range lies outside the grid";
inline constexpr const char* kReachCapStart = "reach map of ";
inline constexpr const char* kReachCapEnd =
    " queries exceeds the cap of 1000000000 (allow large maps to go beyond)";
inline constexpr const char* kReachChunks =
    "reach map chunks must be consecutive ranges of one grid";
inline constexpr const char* kReachNoChunks = "no reach map chunks";
inline constexpr const char* kBaseSteps = "base grid steps must be positive and finite";
inline constexpr const char* kBaseBounds =
    "base grid bounds must be finite, the maximum not below the minimum";
inline constexpr const char* kBaseCapStart = "base grid of ";
inline constexpr const char* kBaseCapEnd = " poses exceeds the cap of 1000000000";
inline constexpr const char* kNoBases = "no candidate bases";
inline constexpr const char* kPlacementRange = "placement range lies outside the candidates";
inline constexpr const char* kPlacementCapStart = "placement of ";
inline constexpr const char* kPlacementCapEnd =
    " queries exceeds the cap of 1000000000 (allow large placements to go beyond)";

}  // namespace zor::rob::detail::msg
