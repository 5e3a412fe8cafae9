// Timings of the circular path: building a circle, and building one and sampling it along the
// whole arc (point, tangent and orientation at each sample) in each orientation mode.

#include <benchmark/benchmark.h>

#include <cmath>

#include "zor/rob/circle.hpp"

namespace {

using zor::rob::Orient;
using zor::rob::TPCircle;
using zor::rob::Vec3;

constexpr int kSamplesPerArc = 1000;

// A tilted arc of radius 270 mm in a robot cell, 245 degrees long.
const Vec3 kStart{812.5, -140.0, 415.0};
const Vec3 kCir{605.0, 210.0, 520.0};
const Vec3 kEnd{420.0, -260.0, 610.0};

const Orient kOriStart{0.7071067811865476, 0.0, 0.7071067811865476, 0.0};
const Orient kOriCir{0.5, 0.5, 0.5, 0.5};
const Orient kOriEnd{0.0, 0.0, 1.0, 0.0};

void BuildCircle(benchmark::State& state) {
  for (auto _ : state) {
    TPCircle circle(kStart, kCir, kEnd);
    benchmark::DoNotOptimize(circle);
  }
}
BENCHMARK(BuildCircle);

enum class Mode { kNone, kCirclePoint, kPathFrame, kObjectFrame };

/// Builds the circle and samples kSamplesPerArc points with tangents and, unless `mode` is
/// kNone, orientations in that mode.
void BuildAndSample(benchmark::State& state, Mode mode) {
  for (auto _ : state) {
    TPCircle circle(kStart, kCir, kEnd);
    for (int i = 0; i < kSamplesPerArc; ++i) {
      const double t = (i + 0.5) / kSamplesPerArc;
      const Vec3 point = circle.getPoint(t);
      const Vec3 tangent = circle.getTangent(t);
      benchmark::DoNotOptimize(point);
      benchmark::DoNotOptimize(tangent);
      Orient orient;
      switch (mode) {
        case Mode::kCirclePoint:
          orient = circle.getOriInCirPointOriMode(t, kOriStart, kOriCir, kOriEnd);
          break;
        case Mode::kPathFrame:
          orient = circle.getOriInPathFrame(t, kOriStart, kOriCir, kOriEnd);
          break;
        case Mode::kObjectFrame:
          orient = circle.getOriInObjectFrame(t, kOriStart, kOriCir, kOriEnd);
          break;
        case Mode::kNone:
          break;
      }
      benchmark::DoNotOptimize(orient);
    }
  }
  state.SetItemsProcessed(state.iterations() * kSamplesPerArc);
}
BENCHMARK_CAPTURE(BuildAndSample, points_tangents, Mode::kNone);
BENCHMARK_CAPTURE(BuildAndSample, circle_point_mode, Mode::kCirclePoint);
BENCHMARK_CAPTURE(BuildAndSample, path_frame_mode, Mode::kPathFrame);
BENCHMARK_CAPTURE(BuildAndSample, object_frame_mode, Mode::kObjectFrame);

}  // namespace

BENCHMARK_MAIN();
