// Timings of the program audit: audited path samples per second on a long program of linear and
// circular moves on the default arm, against the work each sample cannot avoid, measured in the
// same run: one nearest joint solution (the inverse kinematics from the previous sample's
// joints) and one forward kinematics. Also the view page of the audited program, against the
// audit.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "zor/rob/audit.hpp"
#include "zor/rob/view.hpp"

namespace {

using namespace zor::rob;

/// Laps of the program's loop; each lap is about 560 mm of lines and arcs.
constexpr int kLaps = 20;

/// The flange along base +x, as at home.
const Orient kForward{0.7071067811865476, 0.0, 0.7071067811865476, 0.0};

MoveL Line(const Pos& to, const ZoneData& zone) {
  MoveL m;
  m.toPoint = RobTarget(Pose(to, kForward));
  m.toPoint.robConf = ConfData(0, 0, 0, 1);
  m.speed = SpeedData::v500;
  m.zone = zone;
  return m;
}

MoveC Arc(const Pos& via, const Pos& to) {
  MoveC m;
  m.cirPoint = RobTarget(Pose(via, kForward));
  m.toPoint = RobTarget(Pose(to, kForward));
  m.toPoint.robConf = ConfData(0, 0, 0, 1);
  m.speed = SpeedData::v500;
  return m;
}

/// A loop in the plane y = 0, clear of every singularity, run kLaps times: lines blended with
/// z10 and two half circles, from a joint move to its start.
std::vector<ProgramMove> LongProgram() {
  std::vector<ProgramMove> moves;
  MoveJ start;
  start.toPoint = RobTarget(Pose({800, 0, 800}, kForward));
  start.toPoint.robConf = ConfData(0, 0, 0, 1);
  start.speed = SpeedData::v500;
  moves.push_back(start);
  for (int lap = 0; lap < kLaps; ++lap) {
    moves.push_back(Line({900, 0, 800}, ZoneData::z10));
    moves.push_back(Line({900, 0, 900}, ZoneData::fine));
    moves.push_back(Arc({850, 0, 950}, {800, 0, 900}));
    moves.push_back(Line({800, 0, 850}, ZoneData::fine));
    moves.push_back(Arc({775, 0, 825}, {800, 0, 800}));
  }
  return moves;
}

const RobJoint kStart(0, 10, 10, 0, -40, 0);

std::size_t SampleCount(const RobotConfig& arm, const std::vector<ProgramMove>& moves) {
  AuditOptions options;
  options.keepSamples = true;
  return AuditProgram(arm, kStart, moves, options).samples.size();
}

void AuditLongProgram(benchmark::State& state) {
  const RobotConfig arm = DefaultArm();
  const std::vector<ProgramMove> moves = LongProgram();
  const std::size_t samples = SampleCount(arm, moves);
  for (auto _ : state) {
    AuditReport report = AuditProgram(arm, kStart, moves);
    benchmark::DoNotOptimize(report);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(samples));
  state.counters["samples"] = static_cast<double>(samples);
}
BENCHMARK(AuditLongProgram)->Unit(benchmark::kMillisecond);

/// The flange poses and joints of the long program's samples, in order.
struct SampledPath {
  std::vector<Pose> flanges;
  std::vector<RobJoint> joints;
};

SampledPath SamplePath(const RobotConfig& arm) {
  AuditOptions options;
  options.keepSamples = true;
  const AuditReport report = AuditProgram(arm, kStart, LongProgram(), options);
  SampledPath path;
  for (const AuditSample& s : report.samples) {
    path.flanges.push_back(s.tcp);  // default tool and work object: the flange in the base
    path.joints.push_back(s.joints);
  }
  return path;
}

void NearestSolutionPerSample(benchmark::State& state) {
  const RobotConfig arm = DefaultArm();
  const SampledPath path = SamplePath(arm);
  std::size_t i = 1;
  for (auto _ : state) {
    JointSolution s = arm.findNearestJointSolution(path.flanges[i], path.joints[i - 1]);
    benchmark::DoNotOptimize(s);
    i = i + 1 < path.flanges.size() ? i + 1 : 1;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(NearestSolutionPerSample);

void ForwardKinematicsPerSample(benchmark::State& state) {
  const RobotConfig arm = DefaultArm();
  const SampledPath path = SamplePath(arm);
  std::size_t i = 0;
  for (auto _ : state) {
    RobTarget t = arm.getRobTarget(path.joints[i]);
    benchmark::DoNotOptimize(t);
    i = i + 1 < path.joints.size() ? i + 1 : 0;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(ForwardKinematicsPerSample);

/// The view page of the long program with every sample: the cost of writing it against the
/// audit that found the samples (AuditLongProgram, same run).
void ViewPageOfLongProgram(benchmark::State& state) {
  const RobotConfig arm = DefaultArm();
  const std::vector<ProgramMove> moves = LongProgram();
  AuditOptions options;
  options.keepSamples = true;
  const AuditReport report = AuditProgram(arm, kStart, moves, options);
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string page = ViewPage(arm, moves, report);
    bytes = page.size();
    benchmark::DoNotOptimize(page);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(report.samples.size()));
  state.counters["samples"] = static_cast<double>(report.samples.size());
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(ViewPageOfLongProgram)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
