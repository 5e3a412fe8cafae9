#pragma once

// The lane kernels of the batch calls, in three builds: the baseline (two doubles per vector
// register, every x86-64 and AArch64 processor), AVX2 (four) and AVX-512 (eight, or four in 32
// registers), chosen at run time by batch.cpp. Each writes exactly what the scalar call writes for
// every element: the lanes repeat its operations in its order, and no build fuses a multiplication
// and an addition (the AVX2 build has no FMA, and this file is compiled with contraction off, since
// AVX-512 has fused instructions of its own). Elements the lanes do not cover (the tail of the
// batch, angles beyond the inline sine/cosine range or not finite, axes that are not unit vectors)
// take the scalar call itself.

#include <span>

#include "detail/vector_builds.hpp"
#include "robot/arm_kinematics.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/screw.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob::detail {

/// The builds of the kernels, narrowest first.
enum class KernelBuild { baseline, avx2, avx512 };

/// The widest build that a processor with these features runs, within `cap` (ZORROB_SIMD:
/// "avx2" stops at AVX2, "baseline" at the baseline). `hasAvx512`: AVX-512F and VL, with the
/// operating system's support of their registers; the AVX-512 build needs AVX2 as well.
KernelBuild chooseKernelBuild(bool hasAvx2, bool hasAvx512, VectorBuildCap cap);

/// The build for this processor and this process's cap, both read once.
KernelBuild processorKernelBuild();

/// poses[i] = the flange pose of joints[i] (getWristPoseInBase), and joint1[i] the sine and
/// cosine of half of its joint 1 unless `joint1` is empty. The spans have equal sizes (not
/// checked).
void flangePosesBaseline(const RobotConfig& robot, std::span<const RobJoint> joints,
                         std::span<Transform> poses, std::span<HalfAngleSinCos> joint1);
void flangePosesAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                     std::span<Transform> poses, std::span<HalfAngleSinCos> joint1);
void flangePosesAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                       std::span<Transform> poses, std::span<HalfAngleSinCos> joint1);

/// targets[i] = robot.getRobTarget(joints[i]); equal sizes (not checked).
void robTargetsBaseline(const RobotConfig& robot, std::span<const RobJoint> joints,
                        std::span<RobTarget> targets);
void robTargetsAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                    std::span<RobTarget> targets);
void robTargetsAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                      std::span<RobTarget> targets);

/// out[i] = robot.getSpaceJacobian(joints[i]); equal sizes (not checked).
void spaceJacobiansBaseline(const RobotConfig& robot, std::span<const RobJoint> joints,
                            std::span<GeometricJacobian> out);
void spaceJacobiansAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                        std::span<GeometricJacobian> out);
void spaceJacobiansAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                          std::span<GeometricJacobian> out);

/// out[i] = robot.getBodyJacobian(joints[i]); equal sizes (not checked).
void bodyJacobiansBaseline(const RobotConfig& robot, std::span<const RobJoint> joints,
                           std::span<GeometricJacobian> out);
void bodyJacobiansAvx2(const RobotConfig& robot, std::span<const RobJoint> joints,
                       std::span<GeometricJacobian> out);
void bodyJacobiansAvx512(const RobotConfig& robot, std::span<const RobJoint> joints,
                         std::span<GeometricJacobian> out);

}  // namespace zor::rob::detail
