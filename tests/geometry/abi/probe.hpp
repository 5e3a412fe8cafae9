#pragma once

// One probe is compiled twice: once with the project's flags ("host") and once with AVX2 and
// FMA enabled ("avx"). Each copy reports the layout of the public types as it sees them and
// makes a few library calls with values it built itself.

#include <Eigen/Geometry>
#include <cstddef>

#include "zor/rob/line.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/triangle.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::abi {

struct TypeLayout {
  const char* name;
  std::size_t size;
  std::size_t align;
  bool standardLayout;
  bool triviallyCopyable;
};

/// Results of library calls whose arguments and results cross between the probe and the
/// library by value and by reference.
struct RoundTrip {
  Rotation fromAxes;
  Rotationf fromVectors;
  Orient slerped;
  double distance;
  Vec3f euler;
  Line moved;
  Trianglef movedf;
  Dir direction;
  bool approx;
};

const TypeLayout* hostLayouts(std::size_t& count);
RoundTrip hostRoundTrip();
Eigen::AngleAxis<double> hostLog();

const TypeLayout* avxLayouts(std::size_t& count);
RoundTrip avxRoundTrip();
Eigen::AngleAxis<double> avxLog();

}  // namespace zor::rob::abi
