#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <variant>

#include "detail/messages.hpp"
#include "detail/parallel.hpp"
#include "detail/throwers.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/reach.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/text.hpp"

namespace zor::rob {

namespace {

/// Share of a step by which a grid axis may overshoot its maximum and still take the value.
constexpr double kStepSlack = 1e-9;
/// Candidates per block of work: a candidate costs a whole target list or program.
constexpr std::size_t kCandidatesPerBlock = 1;

std::size_t axisCount(double lo, double hi, double step) {
  return static_cast<std::size_t>(std::floor((hi - lo) / step + kStepSlack)) + 1;
}

/// \returns a whole count in digits, or in shortest form beyond what an integer holds.
std::string countText(double count) {
  constexpr double kLargestExact = 9007199254740992.0;  // 2^53
  if (count <= kLargestExact)
    return std::to_string(static_cast<std::uint64_t>(count));
  // A range over a tiny step can count past the largest double.
  if (std::isinf(count))
    return "over 1e308";
  return ShortestText(count);
}

/// \returns the inverse of `pose`: R⁻¹ and −R⁻¹·p.
Pose inverse(const Pose& pose) {
  const Rotation r = pose.rotation().inverse();
  const Pos p = r * pose.pos;
  return {{-p.x, -p.y, -p.z}, r.toOrient()};
}

struct Range {
  std::size_t begin{0};
  std::size_t end{0};
};

Range checkedRange(std::size_t candidates, std::size_t perCandidate,
                   const PlacementOptions& options) {
  if (candidates == 0)
    detail::throwInvalidArgument(detail::msg::kNoBases);
  const Range range{options.begin, std::min(options.end, candidates)};
  if (range.begin > range.end)
    detail::throwInvalidArgument(detail::msg::kPlacementRange);
  detail::CheckQueryCount(range.end - range.begin, perCandidate, options.allowLarge,
                          detail::msg::kPlacementCapStart, detail::msg::kPlacementCapEnd);
  return range;
}

/// The best manipulability of the target's solutions in its configuration; nothing when it
/// has none.
std::optional<double> bestSolution(const RobotConfig& robot, const Pose& flange,
                                   const std::optional<ConfData>& conf,
                                   TargetConfiguration& solutions) {
  robot.findAllJointSolutions(flange, nullptr, solutions);
  std::optional<double> best;
  for (std::size_t s = 0; s < solutions.size(); ++s) {
    if (conf && !solutions.confs[s].isCriticalEqual(solutions.joints[s], *conf))
      continue;
    best = std::max(best.value_or(0.0), robot.getManipulability(solutions.joints[s]));
  }
  return best;
}

PlacementScore scoreTargets(const RobotConfig& robot, std::span<const PlacementTarget> targets,
                            const Pose& base, const ToolData& tool,
                            TargetConfiguration& solutions) {
  static const WObjData kBaseFrame{};
  const Pose baseInverse = inverse(base);
  PlacementScore score;
  score.total = targets.size();
  for (const PlacementTarget& target : targets) {
    const Pose flange = FlangePoseOfTarget(baseInverse * target.pose, tool, kBaseFrame);
    const std::optional<double> m = bestSolution(robot, flange, target.conf, solutions);
    if (!m)
      continue;
    score.worstManipulability = score.reached == 0 ? *m : std::min(score.worstManipulability, *m);
    ++score.reached;
  }
  return score;
}

/// The program as seen from a base at `base`: fixed work objects and stationary tools, given in
/// the world, expressed in the base frame.
std::vector<ProgramMove> programFromBase(std::span<const ProgramMove> moves, const Pose& base) {
  const Pose baseInverse = inverse(base);
  std::vector<ProgramMove> result;
  result.reserve(moves.size());
  for (const ProgramMove& move : moves)
    result.push_back(std::visit(
        [&](auto m) -> ProgramMove {
          if (m.wobj.robhold)
            m.tool.tframe = baseInverse * m.tool.tframe;
          else
            m.wobj.uframe = baseInverse * m.wobj.uframe;
          return m;
        },
        move));
  return result;
}

PlacementScore scoreProgram(const RobotConfig& robot, const RobJoint& start,
                            std::span<const ProgramMove> moves, const Pose& base,
                            const AuditOptions& audit) {
  AuditOptions options = audit;
  options.keepSamples = true;
  const std::vector<ProgramMove> seen = programFromBase(moves, base);
  const AuditReport report = AuditProgram(robot, start, seen, options);
  PlacementScore score;
  score.total = moves.size();
  score.reached = static_cast<std::size_t>(std::count_if(
      report.moves.begin(), report.moves.end(), [](const MoveAudit& m) { return m.reached; }));
  bool any = false;
  for (const AuditSample& sample : report.samples) {
    if (!sample.reachable)
      continue;
    const double m = robot.getManipulability(sample.joints);
    score.worstManipulability = any ? std::min(score.worstManipulability, m) : m;
    any = true;
  }
  score.events = report.eventCount();
  score.cycleTime = report.duration;
  return score;
}

/// Scores the candidates of `range` with `score(base, worker)` and ranks them.
template <typename Score>
PlacementResult scoreAll(std::span<const Pose> bases, Range range, const PlacementOptions& options,
                         unsigned threads, Score score) {
  std::vector<PlacementScore> scores(range.end - range.begin);
  std::vector<char> done(scores.size(), 0);
  PlacementResult result;
  result.cancelled = !detail::RunBlocks(
      scores.size(), kCandidatesPerBlock, threads, options.progress,
      [&](std::size_t first, std::size_t last, unsigned worker) {
        for (std::size_t i = first; i < last; ++i) {
          const std::size_t candidate = range.begin + i;
          scores[i] = score(bases[candidate], worker);
          scores[i].candidate = candidate;
          scores[i].base = bases[candidate];
          scores[i].share = scores[i].total == 0 ? 1.0
                                                 : static_cast<double>(scores[i].reached) /
                                                       static_cast<double>(scores[i].total);
          done[i] = 1;
        }
      });
  for (std::size_t i = 0; i < scores.size(); ++i)
    if (done[i] != 0)
      result.ranked.push_back(scores[i]);
  RankPlacements(result.ranked);
  return result;
}

}  // namespace

std::vector<Pose> BaseGridPoses(const BaseGrid& grid) {
  const double steps[] = {grid.step, grid.turnStep};
  if (std::any_of(std::begin(steps), std::end(steps),
                  [](double s) { return !std::isfinite(s) || s <= 0.0; }))
    detail::throwInvalidArgument(detail::msg::kBaseSteps);
  const double bounds[] = {grid.xMin, grid.xMax, grid.yMin, grid.yMax, grid.turnMin, grid.turnMax};
  if (!std::all_of(std::begin(bounds), std::end(bounds),
                   [](double b) { return std::isfinite(b); }) ||
      grid.xMax < grid.xMin || grid.yMax < grid.yMin || grid.turnMax < grid.turnMin)
    detail::throwInvalidArgument(detail::msg::kBaseBounds);
  const double count = (std::floor((grid.xMax - grid.xMin) / grid.step + kStepSlack) + 1) *
                       (std::floor((grid.yMax - grid.yMin) / grid.step + kStepSlack) + 1) *
                       (std::floor((grid.turnMax - grid.turnMin) / grid.turnStep + kStepSlack) + 1);
  if (count > static_cast<double>(kMaxReachQueries))
    detail::throwInvalidArgument(detail::msg::kBaseCapStart + countText(count) +
                                 detail::msg::kBaseCapEnd);
  const std::size_t nx = axisCount(grid.xMin, grid.xMax, grid.step);
  const std::size_t ny = axisCount(grid.yMin, grid.yMax, grid.step);
  const std::size_t nt = axisCount(grid.turnMin, grid.turnMax, grid.turnStep);
  std::vector<Pose> poses;
  poses.reserve(nx * ny * nt);
  for (std::size_t ix = 0; ix < nx; ++ix)
    for (std::size_t iy = 0; iy < ny; ++iy)
      for (std::size_t it = 0; it < nt; ++it) {
        const double turn = DegToRad(grid.turnMin + static_cast<double>(it) * grid.turnStep);
        poses.push_back({{grid.xMin + static_cast<double>(ix) * grid.step,
                          grid.yMin + static_cast<double>(iy) * grid.step, 0.0},
                         {std::cos(turn / 2), 0.0, 0.0, std::sin(turn / 2)}});
      }
  return poses;
}

void RankPlacements(std::vector<PlacementScore>& scores) {
  std::sort(scores.begin(), scores.end(), [](const PlacementScore& a, const PlacementScore& b) {
    if (a.share != b.share)
      return a.share > b.share;
    if (a.events != b.events)
      return a.events < b.events;
    if (a.worstManipulability != b.worstManipulability)
      return a.worstManipulability > b.worstManipulability;
    if (a.cycleTime != b.cycleTime)
      return a.cycleTime < b.cycleTime;
    return a.candidate < b.candidate;
  });
}

PlacementResult RankBasePlacements(const RobotConfig& robot,
                                   std::span<const PlacementTarget> targets,
                                   std::span<const Pose> bases, const PlacementOptions& options) {
  const Range range = checkedRange(bases.size(), targets.size(), options);
  const unsigned threads = detail::ResolveThreadCount(options.threads);
  std::vector<TargetConfiguration> scratch(threads);
  return scoreAll(bases, range, options, threads, [&](const Pose& base, unsigned worker) {
    return scoreTargets(robot, targets, base, options.tool, scratch[worker]);
  });
}

PlacementResult RankProgramPlacements(const RobotConfig& robot, const RobJoint& start,
                                      std::span<const ProgramMove> moves,
                                      std::span<const Pose> bases,
                                      const PlacementOptions& options) {
  const Range range = checkedRange(bases.size(), moves.size(), options);
  const unsigned threads = detail::ResolveThreadCount(options.threads);
  return scoreAll(bases, range, options, threads, [&](const Pose& base, unsigned) {
    return scoreProgram(robot, start, moves, base, options.audit);
  });
}

}  // namespace zor::rob
