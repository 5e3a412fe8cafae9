#pragma once

// The library's exception messages. They are part of the public contract: hosts and tests
// compare them verbatim.
namespace zor::rob::detail::msg {

inline constexpr const char* kZeroQuaternion = "normalize quaternion of 0 magnitude";
inline constexpr const char* kZeroLengthVector = "0-length vector cannot be normalized.";
inline constexpr const char* kInvalidIndex = "invalid index";
inline constexpr const char* kInvalidExtJointIndex = "Invalid ExtJoint index: ";
inline constexpr const char* kKinematicConfig = "KinematicConfig error";
inline constexpr const char* kPointsCoincide = "The points coincide";
inline constexpr const char* kPointsCollinear = "The points are collinear";
inline constexpr const char* kAAndCSame = "A and C is the same point";
inline constexpr const char* kToolAndWorkObjectHeld =
    "tool and work object both held or both fixed";

}  // namespace zor::rob::detail::msg
