// The batch calls against the scalar call in a loop, per joint vector, on the default arm: the
// flange pose, the robot target, the two Jacobians and the manipulability of 1024 random joint
// vectors within the limits (fixed seed). Each iteration computes all 1024; the items processed
// are joint vectors, so the rates of a batch and its loop compare directly. The batches run on
// the calling thread, in the build the processor chooses (AVX-512 or AVX2 where it has them;
// ZORROB_SIMD=avx2 or =baseline in the environment caps the choice).

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "zor/rob/batch.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace {

using namespace zor::rob;

constexpr std::size_t kJoints = 1024;

std::vector<RobJoint> sampleJoints(const RobotConfig& robot) {
  std::mt19937_64 engine(20261124);
  std::vector<RobJoint> joints(kJoints);
  for (RobJoint& j : joints) {
    for (std::size_t k = 0; k < 6; ++k)
      j.values[k] =
          std::uniform_real_distribution<double>(robot.jointMin[k], robot.jointMax[k])(engine);
  }
  return joints;
}

void setItems(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kJoints));
}

/// The scalar call `call(robot, joints[i])` into out[i], for every i.
template <typename Out, typename Call>
void scalarLoop(benchmark::State& state, Call call) {
  const RobotConfig robot = DefaultArm();
  const std::vector<RobJoint> joints = sampleJoints(robot);
  std::vector<Out> out(kJoints);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kJoints; ++i)
      out[i] = call(robot, joints[i]);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  setItems(state);
}

/// The batch call `batch(robot, joints, out)`.
template <typename Out, typename Batch>
void batchCall(benchmark::State& state, Batch batch) {
  const RobotConfig robot = DefaultArm();
  const std::vector<RobJoint> joints = sampleJoints(robot);
  std::vector<Out> out(kJoints);
  for (auto _ : state) {
    batch(robot, joints, out);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  setItems(state);
}

void BM_FlangePoseLoop(benchmark::State& state) {
  scalarLoop<Transform>(
      state, [](const RobotConfig& r, const RobJoint& j) { return r.getWristPoseInBase(j); });
}
void BM_FlangePosesBatch(benchmark::State& state) {
  batchCall<Transform>(state, [](const RobotConfig& r, const std::vector<RobJoint>& j,
                                 std::vector<Transform>& o) { FlangePoses(r, j, o); });
}

void BM_RobTargetLoop(benchmark::State& state) {
  scalarLoop<RobTarget>(state,
                        [](const RobotConfig& r, const RobJoint& j) { return r.getRobTarget(j); });
}
void BM_RobTargetsBatch(benchmark::State& state) {
  batchCall<RobTarget>(state, [](const RobotConfig& r, const std::vector<RobJoint>& j,
                                 std::vector<RobTarget>& o) { RobTargets(r, j, o); });
}

void BM_SpaceJacobianLoop(benchmark::State& state) {
  scalarLoop<GeometricJacobian>(
      state, [](const RobotConfig& r, const RobJoint& j) { return r.getSpaceJacobian(j); });
}
void BM_SpaceJacobiansBatch(benchmark::State& state) {
  batchCall<GeometricJacobian>(state,
                               [](const RobotConfig& r, const std::vector<RobJoint>& j,
                                  std::vector<GeometricJacobian>& o) { SpaceJacobians(r, j, o); });
}

void BM_BodyJacobianLoop(benchmark::State& state) {
  scalarLoop<GeometricJacobian>(
      state, [](const RobotConfig& r, const RobJoint& j) { return r.getBodyJacobian(j); });
}
void BM_BodyJacobiansBatch(benchmark::State& state) {
  batchCall<GeometricJacobian>(state,
                               [](const RobotConfig& r, const std::vector<RobJoint>& j,
                                  std::vector<GeometricJacobian>& o) { BodyJacobians(r, j, o); });
}

void BM_ManipulabilityLoop(benchmark::State& state) {
  scalarLoop<double>(
      state, [](const RobotConfig& r, const RobJoint& j) { return r.getManipulability(j); });
}
void BM_ManipulabilitiesBatch(benchmark::State& state) {
  batchCall<double>(state, [](const RobotConfig& r, const std::vector<RobJoint>& j,
                              std::vector<double>& o) { Manipulabilities(r, j, o); });
}

/// The flange poses of the sampled joints: each has about eight solutions inside the limits.
std::vector<Pose> samplePoses(const RobotConfig& robot) {
  std::vector<Pose> poses;
  for (const RobJoint& j : sampleJoints(robot))
    poses.push_back(robot.getWristPoseInBase(j).toPose());
  return poses;
}

void BM_AllJointSolutionsLoop(benchmark::State& state) {
  const RobotConfig robot = DefaultArm();
  const std::vector<Pose> poses = samplePoses(robot);
  TargetConfiguration list;
  std::size_t found = 0;
  for (auto _ : state) {
    for (const Pose& pose : poses) {
      robot.findAllJointSolutions(pose, nullptr, list);
      found += list.size();
    }
    benchmark::DoNotOptimize(found);
  }
  setItems(state);
}
void BM_AllJointSolutionsBatch(benchmark::State& state) {
  const RobotConfig robot = DefaultArm();
  const std::vector<Pose> poses = samplePoses(robot);
  JointSolutionsBatch solutions;
  for (auto _ : state) {
    AllJointSolutions(robot, poses, solutions);
    benchmark::DoNotOptimize(solutions.joints.data());
    benchmark::ClobberMemory();
  }
  setItems(state);
}

BENCHMARK(BM_FlangePoseLoop);
BENCHMARK(BM_FlangePosesBatch);
BENCHMARK(BM_RobTargetLoop);
BENCHMARK(BM_RobTargetsBatch);
BENCHMARK(BM_SpaceJacobianLoop);
BENCHMARK(BM_SpaceJacobiansBatch);
BENCHMARK(BM_BodyJacobianLoop);
BENCHMARK(BM_BodyJacobiansBatch);
BENCHMARK(BM_ManipulabilityLoop);
BENCHMARK(BM_ManipulabilitiesBatch);
BENCHMARK(BM_AllJointSolutionsLoop);
BENCHMARK(BM_AllJointSolutionsBatch);

}  // namespace

BENCHMARK_MAIN();
