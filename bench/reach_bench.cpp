// Timings of the reach map: position-orientation queries per second on the default arm, against
// the work each query cannot avoid, measured in the same run: one call of findAllJointSolutions
// on the flange pose. Also the same map without the manipulability, on two threads, and in
// twenty chunks merged (the chunk overhead), and a map of 10^6 queries.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/reach.hpp"

namespace {

using namespace zor::rob;

/// 12 x 12 x 10 positions across the arm's reach, 40 orientations: 57600 queries.
const ReachGrid kGrid{ReachBox{{-1300, -1300, 0}, {1450, 1450, 2250}, 250}};
constexpr std::size_t kDirections = 20;
constexpr std::size_t kTurns = 2;

void setQueries(benchmark::State& state, std::size_t perIteration) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(perIteration));
}

// The floor: the inverse kinematics of every query, its list reused.
void BM_AllSolutionsLoop(benchmark::State& state) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Orient> orientations = SphereOrientations(kDirections, kTurns);
  const std::size_t positions = kGrid.size();
  TargetConfiguration solutions;
  for (auto _ : state) {
    std::size_t found = 0;
    for (std::size_t p = 0; p < positions; ++p)
      for (const Orient& o : orientations) {
        arm.findAllJointSolutions(Pose(kGrid.point(p), o), nullptr, solutions);
        found += solutions.size();
      }
    benchmark::DoNotOptimize(found);
  }
  setQueries(state, positions * orientations.size());
}
BENCHMARK(BM_AllSolutionsLoop)->Unit(benchmark::kMillisecond);

void reachMap(benchmark::State& state, bool manipulability, unsigned threads, std::size_t chunks) {
  const RobotConfig arm = DefaultArm();
  const std::vector<Orient> orientations = SphereOrientations(kDirections, kTurns);
  const std::size_t positions = kGrid.size();
  ReachOptions options;
  options.manipulability = manipulability;
  options.threads = threads;
  for (auto _ : state) {
    std::vector<ReachMap> parts;
    for (std::size_t c = 0; c < chunks; ++c) {
      options.begin = positions * c / chunks;
      options.end = positions * (c + 1) / chunks;
      parts.push_back(ComputeReachMap(arm, kGrid, orientations, options));
    }
    benchmark::DoNotOptimize(MergeReachMaps(parts));
  }
  setQueries(state, positions * orientations.size());
}

void BM_ReachMap(benchmark::State& state) {
  reachMap(state, true, 1, 1);
}
BENCHMARK(BM_ReachMap)->Unit(benchmark::kMillisecond);

void BM_ReachMapWithoutManipulability(benchmark::State& state) {
  reachMap(state, false, 1, 1);
}
BENCHMARK(BM_ReachMapWithoutManipulability)->Unit(benchmark::kMillisecond);

// A map of 10^6 queries: 20 x 20 x 25 positions (100 mm apart) x 100 orientations, one thread.
void BM_ReachMapMillion(benchmark::State& state) {
  const RobotConfig arm = DefaultArm();
  const ReachGrid grid{ReachBox{{-950, -950, -150}, {950, 950, 2250}, 100}};
  const std::vector<Orient> orientations = SphereOrientations(50, 2);
  for (auto _ : state)
    benchmark::DoNotOptimize(ComputeReachMap(arm, grid, orientations));
  setQueries(state, grid.size() * orientations.size());
}
BENCHMARK(BM_ReachMapMillion)->Unit(benchmark::kMillisecond);

void BM_ReachMapTwoThreads(benchmark::State& state) {
  reachMap(state, true, 2, 1);
}
BENCHMARK(BM_ReachMapTwoThreads)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReachMapTwentyChunks(benchmark::State& state) {
  reachMap(state, true, 1, 20);
}
BENCHMARK(BM_ReachMapTwentyChunks)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
