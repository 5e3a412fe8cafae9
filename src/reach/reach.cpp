#include "zor/rob/reach.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "detail/messages.hpp"
#include "detail/parallel.hpp"
#include "detail/throwers.hpp"
#include "reach/closed_form_reach.hpp"
#include "zor/rob/batch.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob {

namespace {

/// Share of a step by which a box axis may overshoot its maximum and still take the point.
constexpr double kStepSlack = 1e-9;
/// Largest number of positions a grid may describe (its index must fit with room to spare).
constexpr double kMaxGridPositions = 1e15;
/// Squared norm below which an orientation record is zero (the rotation's normalisation rule).
constexpr double kZeroOrientSquaredNorm = 1e-6;
/// Queries per block of work: small enough for a fine progress line and an even spread over
/// the threads, large enough that taking a block costs nothing beside it.
constexpr std::size_t kQueriesPerBlock = 4096;

bool finite(const Pos& p) {
  return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

std::size_t axisCount(double lo, double hi, double step) {
  return static_cast<std::size_t>(std::floor((hi - lo) / step + kStepSlack)) + 1;
}

std::array<std::size_t, 3> boxShape(const ReachBox& box) {
  if (!std::isfinite(box.step) || box.step <= 0.0)
    detail::throwInvalidArgument(detail::msg::kReachStep);
  if (!finite(box.min) || !finite(box.max) || box.max.x < box.min.x || box.max.y < box.min.y ||
      box.max.z < box.min.z)
    detail::throwInvalidArgument(detail::msg::kReachBounds);
  const Vec3 extent = (box.max - box.min) / box.step;
  if ((extent.x + 1.0) * (extent.y + 1.0) * (extent.z + 1.0) > kMaxGridPositions)
    detail::throwInvalidArgument(detail::msg::kReachHuge);
  return {axisCount(box.min.x, box.max.x, box.step), axisCount(box.min.y, box.max.y, box.step),
          axisCount(box.min.z, box.max.z, box.step)};
}

void checkOrientations(std::span<const Orient> orientations) {
  if (orientations.empty())
    detail::throwInvalidArgument(detail::msg::kReachNoOrientation);
  for (const Orient& o : orientations) {
    // A squared norm that overflows is no error: the rotation's rule rescales such a record.
    const double n = o.q1 * o.q1 + o.q2 * o.q2 + o.q3 * o.q3 + o.q4 * o.q4;
    const bool finite =
        std::isfinite(o.q1) && std::isfinite(o.q2) && std::isfinite(o.q3) && std::isfinite(o.q4);
    if (!finite || n < kZeroOrientSquaredNorm)
      detail::throwInvalidArgument(detail::msg::kReachOrientation);
  }
}

/// Whether solution `s` counts: any configuration when none is given, else one of them.
bool counts(const TargetConfiguration& solutions, std::size_t s,
            const std::vector<ConfData>& configurations) {
  if (configurations.empty())
    return true;
  return std::any_of(configurations.begin(), configurations.end(), [&](const ConfData& c) {
    return solutions.confs[s].isCriticalEqual(solutions.joints[s], c);
  });
}

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// Whether solution `s` differs from solution `previous` in joint 6 only. The space Jacobian
/// does not depend on the last joint, so such a solution (the same branch a turn of joint 6
/// away, listed next to it) has exactly the manipulability already taken.
bool sameButJointSix(const TargetConfiguration& solutions, std::size_t s, std::size_t previous) {
  if (previous == kNone)
    return false;
  const auto& a = solutions.joints[s].values;
  const auto& b = solutions.joints[previous].values;
  return std::equal(a.begin(), a.begin() + 5, b.begin());
}

/// The working lists of one thread, kept across positions so that they allocate only while
/// they grow.
struct ReachScratch {
  TargetConfiguration solutions;
  /// The solutions whose manipulability is taken, and their manipulability.
  std::vector<RobJoint> joints;
  std::vector<double> manipulability;
};

/// The entries of one position: `cell` indexes the map's arrays.
void reachPosition(const RobotConfig& robot, const Pos& position,
                   std::span<const Orient> orientations, const ReachOptions& options, ReachMap& map,
                   std::size_t cell, ReachScratch& scratch) {
  TargetConfiguration& solutions = scratch.solutions;
  static const WObjData kBaseFrame{};
  std::uint32_t reachable = 0;
  double best = 0.0;
  double worst = 0.0;
  for (std::size_t o = 0; o < orientations.size(); ++o) {
    const Pose flange =
        FlangePoseOfTarget(Pose(position, orientations[o]), options.tool, kBaseFrame);
    robot.findAllJointSolutions(flange, nullptr, solutions);
    std::size_t count = 0;
    std::size_t previous = kNone;
    scratch.joints.clear();
    for (std::size_t s = 0; s < solutions.size(); ++s) {
      if (!counts(solutions, s, options.configurations))
        continue;
      ++count;
      if (options.manipulability && !sameButJointSix(solutions, s, previous)) {
        scratch.joints.push_back(solutions.joints[s]);
        previous = s;
      }
    }
    // The largest of them, in the batch's vector lanes.
    scratch.manipulability.resize(scratch.joints.size());
    Manipulabilities(robot, scratch.joints, scratch.manipulability);
    double manipulability = 0.0;
    for (const double m : scratch.manipulability)
      manipulability = std::max(manipulability, m);
    if (!map.matrix.empty())
      map.matrix[cell * orientations.size() + o] =
          static_cast<std::uint8_t>(std::min<std::size_t>(count, 255));
    if (count == 0)
      continue;
    best = reachable == 0 ? manipulability : std::max(best, manipulability);
    worst = reachable == 0 ? manipulability : std::min(worst, manipulability);
    ++reachable;
  }
  map.reachable[cell] = reachable;
  map.index[cell] = static_cast<double>(reachable) / static_cast<double>(orientations.size());
  map.bestManipulability[cell] = best;
  map.worstManipulability[cell] = worst;
}

}  // namespace

std::array<std::size_t, 3> ReachGrid::shape() const {
  if (const auto* box = std::get_if<ReachBox>(&cells))
    return boxShape(*box);
  const auto& points = std::get<std::vector<Pos>>(cells);
  if (points.empty())
    detail::throwInvalidArgument(detail::msg::kReachEmpty);
  if (!std::all_of(points.begin(), points.end(), finite))
    detail::throwInvalidArgument(detail::msg::kReachPoints);
  return {points.size(), 1, 1};
}

std::size_t ReachGrid::size() const {
  const std::array<std::size_t, 3> s = shape();
  return s[0] * s[1] * s[2];
}

Pos ReachGrid::point(std::size_t i) const {
  if (const auto* points = std::get_if<std::vector<Pos>>(&cells))
    return (*points)[i];
  const auto& box = std::get<ReachBox>(cells);
  const std::array<std::size_t, 3> s = boxShape(box);
  const std::size_t iz = i % s[2];
  const std::size_t iy = (i / s[2]) % s[1];
  const std::size_t ix = i / (s[2] * s[1]);
  return {box.min.x + static_cast<double>(ix) * box.step,
          box.min.y + static_cast<double>(iy) * box.step,
          box.min.z + static_cast<double>(iz) * box.step};
}

std::vector<Orient> SphereOrientations(std::size_t directions, std::size_t turns) {
  if (directions == 0 || turns == 0)
    detail::throwInvalidArgument(detail::msg::kSphereCounts);
  if (directions > kMaxReachQueries / turns)
    detail::throwInvalidArgument(detail::msg::kSphereTooMany);
  constexpr double kCrossFloor = 1e-9;
  const double golden = kPi * (3.0 - std::sqrt(5.0));
  std::vector<Orient> result;
  result.reserve(directions * turns);
  for (std::size_t k = 0; k < directions; ++k) {
    const double z = 1.0 - static_cast<double>(2 * k + 1) / static_cast<double>(directions);
    const double r = std::sqrt(std::max(0.0, 1.0 - z * z));
    const double phi = static_cast<double>(k) * golden;
    const Vec3 d{r * std::cos(phi), r * std::sin(phi), z};
    Vec3 x0 = Vec3{0.0, 0.0, 1.0}.cross(d);
    x0 = x0.norm() < kCrossFloor ? Vec3{1.0, 0.0, 0.0} : x0 / x0.norm();
    const Vec3 y0 = d.cross(x0);
    for (std::size_t m = 0; m < turns; ++m) {
      const double psi = 2.0 * kPi * static_cast<double>(m) / static_cast<double>(turns);
      const Vec3 x = x0 * std::cos(psi) + y0 * std::sin(psi);
      const Vec3 y = d.cross(x);
      result.push_back(
          Rotation::FromAxes(Dir(x.x, x.y, x.z), Dir(y.x, y.y, y.z), Dir(d.x, d.y, d.z))
              .toOrient());
    }
  }
  return result;
}

ReachMap ComputeReachMap(const RobotConfig& robot, const ReachGrid& grid,
                         std::span<const Orient> orientations, const ReachOptions& options) {
  ReachMap map;
  map.shape = grid.shape();
  const std::size_t positions = map.shape[0] * map.shape[1] * map.shape[2];
  checkOrientations(orientations);
  if (!options.tool.robhold)
    detail::throwInvalidArgument(detail::msg::kReachTool);
  if (options.begin > std::min(options.end, positions))
    detail::throwInvalidArgument(detail::msg::kReachRange);
  const unsigned threads = detail::ResolveThreadCount(options.threads);
  map.begin = options.begin;
  map.end = std::min(options.end, positions);
  map.orientationCount = orientations.size();
  const std::size_t n = map.size();
  detail::CheckQueryCount(n, orientations.size(), options.allowLarge, detail::msg::kReachCapStart,
                          detail::msg::kReachCapEnd);
  map.reachable.assign(n, 0);
  map.index.assign(n, 0.0);
  map.bestManipulability.assign(n, 0.0);
  map.worstManipulability.assign(n, 0.0);
  if (options.keepMatrix)
    map.matrix.assign(n * orientations.size(), 0);

  const std::size_t block = std::max<std::size_t>(1, kQueriesPerBlock / orientations.size());
  // Arms of the spherical-wrist closed form take the reach path; the rest, and maps that match
  // configurations, the full list of solutions.
  if (const auto fast = detail::ClosedFormReach::For(robot, orientations, options)) {
    std::vector<detail::ClosedFormReachScratch> scratch(threads);
    map.cancelled =
        !detail::RunBlocks(n, block, threads, options.progress,
                           [&](std::size_t first, std::size_t last, unsigned worker) {
                             for (std::size_t c = first; c < last; ++c)
                               fast->fill(grid.point(map.begin + c), map, c, scratch[worker]);
                           });
    return map;
  }
  std::vector<ReachScratch> scratch(threads);
  map.cancelled =
      !detail::RunBlocks(n, block, threads, options.progress,
                         [&](std::size_t first, std::size_t last, unsigned worker) {
                           for (std::size_t c = first; c < last; ++c)
                             reachPosition(robot, grid.point(map.begin + c), orientations, options,
                                           map, c, scratch[worker]);
                         });
  return map;
}

ReachMap MergeReachMaps(std::span<const ReachMap> chunks) {
  if (chunks.empty())
    detail::throwInvalidArgument(detail::msg::kReachNoChunks);
  const bool keepsMatrix = std::any_of(chunks.begin(), chunks.end(),
                                       [](const ReachMap& c) { return !c.matrix.empty(); });
  for (std::size_t k = 0; k < chunks.size(); ++k) {
    const ReachMap& c = chunks[k];
    const ReachMap& first = chunks.front();
    if ((k > 0 && c.begin != chunks[k - 1].end) || c.shape != first.shape ||
        c.orientationCount != first.orientationCount ||
        c.matrix.size() != (keepsMatrix ? c.size() * c.orientationCount : 0))
      detail::throwInvalidArgument(detail::msg::kReachChunks);
  }
  ReachMap merged = chunks.front();
  for (std::size_t k = 1; k < chunks.size(); ++k) {
    const ReachMap& c = chunks[k];
    const auto append = [](auto& to, const auto& from) {
      to.insert(to.end(), from.begin(), from.end());
    };
    append(merged.reachable, c.reachable);
    append(merged.index, c.index);
    append(merged.bestManipulability, c.bestManipulability);
    append(merged.worstManipulability, c.worstManipulability);
    append(merged.matrix, c.matrix);
    merged.end = c.end;
    merged.cancelled = merged.cancelled || c.cancelled;
  }
  return merged;
}

}  // namespace zor::rob
