#pragma once

// Batches: the forward kinematics, robot targets, Jacobians and manipulability of many joint
// vectors in one call, and every inverse-kinematics solution of many poses (AllJointSolutions,
// at the end). Several vectors are computed at once in the processor's vector lanes
// (two doubles per register on every x86-64 and AArch64 processor, four on x86-64 processors
// with AVX2, and with AVX-512 eight flange poses or four targets or Jacobians in its 32 registers,
// chosen at run time and capped by the environment variable ZORROB_SIMD), optionally on several
// threads.
//
// Every result is bit for bit what the scalar call gives for the same joints on the same build
// (getWristPoseInBase, getRobTarget, getSpaceJacobian, getBodyJacobian, getManipulability),
// whatever the lane count and the thread count: the lanes repeat the scalar operations in their
// order, and no build fuses a multiplication and an addition. (A library built with flags that let
// the compiler fuse them in the scalar calls, such as -march=native, may differ in the last bits.)
// Joints the lanes do not take (angles beyond about 1.1·10^7 degrees, infinite or NaN, arms whose
// axes are not unit vectors) go through the scalar call itself.
//
// `threads`: 1 runs on the calling thread, 0 on one thread per processor; at most 256.
//
// The outputs are spans the caller owns; nothing is allocated per element. Each call throws
// std::invalid_argument "<call>: <n> joint vectors but <m> outputs" when the sizes differ, and
// "thread count must be at most 256" above that cap.

#include <cstddef>
#include <span>
#include <vector>

#include "zor/rob/conf_data.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/ik_results.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/screw.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob {

/// poses[i] = robot.getWristPoseInBase(joints[i]): the flange pose, position and quaternion.
ZORROB_API void FlangePoses(const RobotConfig& robot, std::span<const RobJoint> joints,
                            std::span<Transform> poses, unsigned threads = 1);

/// targets[i] = robot.getRobTarget(joints[i]): the flange pose as a robot target with its
/// configuration.
ZORROB_API void RobTargets(const RobotConfig& robot, std::span<const RobJoint> joints,
                           std::span<RobTarget> targets, unsigned threads = 1);

/// jacobians[i] = robot.getSpaceJacobian(joints[i]).
ZORROB_API void SpaceJacobians(const RobotConfig& robot, std::span<const RobJoint> joints,
                               std::span<GeometricJacobian> jacobians, unsigned threads = 1);

/// jacobians[i] = robot.getBodyJacobian(joints[i]).
ZORROB_API void BodyJacobians(const RobotConfig& robot, std::span<const RobJoint> joints,
                              std::span<GeometricJacobian> jacobians, unsigned threads = 1);

/// values[i] = robot.getManipulability(joints[i]): sqrt(det(J Jᵀ)) = |det J| of the space
/// Jacobian.
ZORROB_API void Manipulabilities(const RobotConfig& robot, std::span<const RobJoint> joints,
                                 std::span<double> values, unsigned threads = 1);

/// Every inverse-kinematics solution of many flange poses in flat lists: the solutions of pose i
/// are joints[k] with confs[k] for k in [offsets[i], offsets[i + 1]), in the order of
/// findAllJointSolutions, and statuses[i] is its verdict. A list reused across calls keeps its
/// capacity, so that a batch allocates only while its lists grow.
struct ZORROB_API JointSolutionsBatch {
  std::vector<RobJoint> joints{};
  std::vector<ConfData> confs{};
  /// One entry per pose and one more: offsets[0] = 0, offsets[poses] = joints.size().
  std::vector<std::size_t> offsets{};
  std::vector<IkStatus> statuses{};

  /// \returns the number of poses.
  std::size_t size() const { return statuses.size(); }
  bool operator==(const JointSolutionsBatch&) const = default;
};

/// Sets `solutions` (cleared first) to robot.findAllJointSolutions(flangePoses[i], nullptr, ...)
/// of every pose: the same solutions (bit for bit), configurations, order and status. Arms of the
/// spherical-wrist closed form share the arm's set-up over the whole batch and solve the closed
/// form of several poses at once in the vector lanes (four with AVX2, two otherwise), each lane
/// rounding as the scalar closed form of the same build rounds (the products the compiler fuses
/// there are fused in the lanes, the others not); the others go through the scalar call pose by
/// pose.
///
/// An error of the scalar call on pose i is thrown with the same type and the message
/// "pose <i>: " followed by the scalar call's (std::logic_error for a zero orientation record,
/// std::length_error for limits that admit too many solutions); with several threads, that of the
/// lowest such pose. `solutions` is then unspecified.
ZORROB_API void AllJointSolutions(const RobotConfig& robot, std::span<const Pose> flangePoses,
                                  JointSolutionsBatch& solutions, unsigned threads = 1);

}  // namespace zor::rob
