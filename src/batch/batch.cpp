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

namespace zor::rob {

namespace {

/// Elements per block of the work split over threads: large enough that taking a block costs
/// nothing next to computing it.
constexpr std::size_t kThreadBlock = 4096;
/// Jacobians per step of the manipulability, which goes through a buffer on the stack.
constexpr std::size_t kJacobianBufferSize = 8;

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

/// The build of a kernel that the processor takes (detail::processorKernelBuild).
template <typename Kernel>
Kernel kernelFor(Kernel baseline, Kernel avx2, Kernel avx512) {
  switch (detail::processorKernelBuild()) {
    case detail::KernelBuild::avx512:
      return avx512;
    case detail::KernelBuild::avx2:
      return avx2;
    case detail::KernelBuild::baseline:
      break;
  }
  return baseline;
}

using JacobiansKernel = void (*)(const RobotConfig&, std::span<const RobJoint>,
                                 std::span<GeometricJacobian>);

/// SpaceJacobians and BodyJacobians, by the builds of their kernel.
void jacobiansCall(const char* call, JacobiansKernel baseline, JacobiansKernel avx2,
                   JacobiansKernel avx512, const RobotConfig& robot,
                   std::span<const RobJoint> joints, std::span<GeometricJacobian> jacobians,
                   unsigned threads) {
  checkSizes(call, joints.size(), jacobians.size());
  const JacobiansKernel kernel = kernelFor(baseline, avx2, avx512);
  runSplit(joints.size(), threads, [&](std::size_t first, std::size_t last) {
    kernel(robot, joints.subspan(first, last - first), jacobians.subspan(first, last - first));
  });
}

}  // namespace

void FlangePoses(const RobotConfig& robot, std::span<const RobJoint> joints,
                 std::span<Transform> poses, unsigned threads) {
  checkSizes("FlangePoses", joints.size(), poses.size());
  const auto kernel =
      kernelFor(detail::flangePosesBaseline, detail::flangePosesAvx2, detail::flangePosesAvx512);
  runSplit(joints.size(), threads, [&](std::size_t first, std::size_t last) {
    kernel(robot, joints.subspan(first, last - first), poses.subspan(first, last - first), {});
  });
}

void RobTargets(const RobotConfig& robot, std::span<const RobJoint> joints,
                std::span<RobTarget> targets, unsigned threads) {
  checkSizes("RobTargets", joints.size(), targets.size());
  const auto kernel =
      kernelFor(detail::robTargetsBaseline, detail::robTargetsAvx2, detail::robTargetsAvx512);
  runSplit(joints.size(), threads, [&](std::size_t first, std::size_t last) {
    kernel(robot, joints.subspan(first, last - first), targets.subspan(first, last - first));
  });
}

void SpaceJacobians(const RobotConfig& robot, std::span<const RobJoint> joints,
                    std::span<GeometricJacobian> jacobians, unsigned threads) {
  jacobiansCall("SpaceJacobians", detail::spaceJacobiansBaseline, detail::spaceJacobiansAvx2,
                detail::spaceJacobiansAvx512, robot, joints, jacobians, threads);
}

void BodyJacobians(const RobotConfig& robot, std::span<const RobJoint> joints,
                   std::span<GeometricJacobian> jacobians, unsigned threads) {
  jacobiansCall("BodyJacobians", detail::bodyJacobiansBaseline, detail::bodyJacobiansAvx2,
                detail::bodyJacobiansAvx512, robot, joints, jacobians, threads);
}

void Manipulabilities(const RobotConfig& robot, std::span<const RobJoint> joints,
                      std::span<double> values, unsigned threads) {
  checkSizes("Manipulabilities", joints.size(), values.size());
  const JacobiansKernel kernel = kernelFor(
      detail::spaceJacobiansBaseline, detail::spaceJacobiansAvx2, detail::spaceJacobiansAvx512);
  // Flattened: Eigen's LU, inlined whole into the loop, takes a quarter less time than through
  // its out-of-line functions.
  runSplit(
      joints.size(), threads, [&](std::size_t first, std::size_t last) __attribute__((flatten)) {
        // A short buffer: the Jacobians are zeroed as they are made, and the reach map calls this
        // on the few solutions of one pose.
        std::array<GeometricJacobian, kJacobianBufferSize> jacobians;
        for (std::size_t i = first; i < last; i += kJacobianBufferSize) {
          const std::size_t n = std::min(kJacobianBufferSize, last - i);
          kernel(robot, joints.subspan(i, n), std::span(jacobians).first(n));
          // As getManipulability does, in this build's instruction set.
          for (std::size_t k = 0; k < n; ++k)
            values[i + k] = std::abs(jacobians[k].matrix.determinant());
        }
      });
}

}  // namespace zor::rob
