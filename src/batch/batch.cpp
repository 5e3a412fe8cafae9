#include "zor/rob/batch.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "batch/kernels.hpp"
#include "detail/parallel.hpp"
#include "detail/throwers.hpp"
#include "detail/vector_builds.hpp"
#include "robot/joint_solution_conf.hpp"

namespace zor::rob {

namespace {

/// Elements per block of the work split over threads: large enough that taking a block costs
/// nothing next to computing it.
constexpr std::size_t kThreadBlock = 4096;
/// Elements per step of the calls that go through a buffer on the stack.
constexpr std::size_t kBufferSize = 64;
constexpr std::size_t kJacobianBufferSize = 8;

bool processorHasAvx2() {
#if defined(__x86_64__)
  static const bool has = detail::ProcessVectorBuildCap() != detail::VectorBuildCap::baseline &&
                          __builtin_cpu_supports("avx2");
  return has;
#else
  return false;
#endif
}

void checkSizes(const char* call, std::size_t joints, std::size_t outputs) {
  if (joints != outputs)
    detail::throwInvalidArgument(std::string(call) + ": " + std::to_string(joints) +
                                 " joint vectors but " + std::to_string(outputs) + " outputs");
}

/// Runs `work(first, last)` over [0, total) on `threads` threads (0: one per processor).
template <typename Work>
void runSplit(std::size_t total, unsigned threads, const Work& work) {
  const unsigned count = detail::ResolveThreadCount(threads);
  if (count == 1 || total <= kThreadBlock) {
    work(std::size_t{0}, total);
    return;
  }
  detail::RunBlocks(total, kThreadBlock, count, {},
                    [&work](std::size_t first, std::size_t last, unsigned) { work(first, last); });
}

/// Runs the AVX2 build of a kernel where the processor has AVX2, the baseline build elsewhere.
template <typename Kernel, typename... Args>
void runKernel(Kernel baseline, Kernel avx2, Args&&... args) {
  if (processorHasAvx2())
    avx2(std::forward<Args>(args)...);
  else
    baseline(std::forward<Args>(args)...);
}

void flangePoses(const RobotConfig& robot, std::span<const RobJoint> joints,
                 std::span<Transform> poses, std::span<detail::HalfAngleSinCos> joint1) {
  runKernel(detail::flangePosesBaseline, detail::flangePosesAvx2, robot, joints, poses, joint1);
}

void spaceJacobians(const RobotConfig& robot, std::span<const RobJoint> joints,
                    std::span<GeometricJacobian> out) {
  runKernel(detail::spaceJacobiansBaseline, detail::spaceJacobiansAvx2, robot, joints, out);
}

using JacobiansKernel = void (*)(const RobotConfig&, std::span<const RobJoint>,
                                 std::span<GeometricJacobian>);

/// SpaceJacobians and BodyJacobians, by the builds of their kernel.
void jacobiansCall(const char* call, JacobiansKernel baseline, JacobiansKernel avx2,
                   const RobotConfig& robot, std::span<const RobJoint> joints,
                   std::span<GeometricJacobian> jacobians, unsigned threads) {
  checkSizes(call, joints.size(), jacobians.size());
  runSplit(joints.size(), threads, [&](std::size_t first, std::size_t last) {
    runKernel(baseline, avx2, robot, joints.subspan(first, last - first),
              jacobians.subspan(first, last - first));
  });
}

}  // namespace

void FlangePoses(const RobotConfig& robot, std::span<const RobJoint> joints,
                 std::span<Transform> poses, unsigned threads) {
  checkSizes("FlangePoses", joints.size(), poses.size());
  runSplit(joints.size(), threads, [&](std::size_t first, std::size_t last) {
    flangePoses(robot, joints.subspan(first, last - first), poses.subspan(first, last - first), {});
  });
}

void RobTargets(const RobotConfig& robot, std::span<const RobJoint> joints,
                std::span<RobTarget> targets, unsigned threads) {
  checkSizes("RobTargets", joints.size(), targets.size());
  runSplit(joints.size(), threads, [&](std::size_t first, std::size_t last) {
    std::array<Transform, kBufferSize> flange;
    std::array<detail::HalfAngleSinCos, kBufferSize> joint1;
    for (std::size_t i = first; i < last; i += kBufferSize) {
      const std::size_t n = std::min(kBufferSize, last - i);
      flangePoses(robot, joints.subspan(i, n), std::span(flange).first(n),
                  std::span(joint1).first(n));
      // As getRobTarget does with the flange pose of each.
      for (std::size_t k = 0; k < n; ++k) {
        RobTarget& target = targets[i + k];
        target = RobTarget(flange[k].toPose());
        target.robConf = detail::confFromFlangePose(joints[i + k], robot, flange[k], joint1[k]);
      }
    }
  });
}

void SpaceJacobians(const RobotConfig& robot, std::span<const RobJoint> joints,
                    std::span<GeometricJacobian> jacobians, unsigned threads) {
  jacobiansCall("SpaceJacobians", detail::spaceJacobiansBaseline, detail::spaceJacobiansAvx2, robot,
                joints, jacobians, threads);
}

void BodyJacobians(const RobotConfig& robot, std::span<const RobJoint> joints,
                   std::span<GeometricJacobian> jacobians, unsigned threads) {
  jacobiansCall("BodyJacobians", detail::bodyJacobiansBaseline, detail::bodyJacobiansAvx2, robot,
                joints, jacobians, threads);
}

void Manipulabilities(const RobotConfig& robot, std::span<const RobJoint> joints,
                      std::span<double> values, unsigned threads) {
  checkSizes("Manipulabilities", joints.size(), values.size());
  runSplit(joints.size(), threads, [&](std::size_t first, std::size_t last) {
    // A short buffer: the Jacobians are zeroed as they are made, and the reach map calls this
    // on the few solutions of one pose.
    std::array<GeometricJacobian, kJacobianBufferSize> jacobians;
    for (std::size_t i = first; i < last; i += kJacobianBufferSize) {
      const std::size_t n = std::min(kJacobianBufferSize, last - i);
      spaceJacobians(robot, joints.subspan(i, n), std::span(jacobians).first(n));
      // As getManipulability does, in this build's instruction set.
      for (std::size_t k = 0; k < n; ++k)
        values[i + k] = std::abs(jacobians[k].matrix.determinant());
    }
  });
}

}  // namespace zor::rob
