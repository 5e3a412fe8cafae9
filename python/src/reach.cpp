// Reach maps and base placement: numpy arrays out, a Python callable for the progress. The
// computations run without the GIL; the progress callable takes it back for each call.

#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bindings.hpp"
#include "progress.hpp"
#include "zor/rob/reach.hpp"

namespace zor::rob::python {

namespace {

ReachGrid gridOf(const py::object& boxMin, const py::object& boxMax, const py::object& step,
                 const py::object& points) {
  if (!points.is_none()) {
    if (!boxMin.is_none() || !boxMax.is_none() || !step.is_none())
      throw py::value_error("give either box_min, box_max and step, or points");
    const auto rows = rowsOf(points, 3, "points");
    std::vector<Pos> cells(static_cast<std::size_t>(rows.shape(0)));
    const double* p = rows.data();
    for (Pos& c : cells) {
      c = {p[0], p[1], p[2]};
      p += 3;
    }
    return ReachGrid{std::move(cells)};
  }
  if (boxMin.is_none() || boxMax.is_none() || step.is_none())
    throw py::value_error("give either box_min, box_max and step, or points");
  const auto lo = boxMin.cast<std::array<double, 3>>();
  const auto hi = boxMax.cast<std::array<double, 3>>();
  return ReachGrid{ReachBox{{lo[0], lo[1], lo[2]}, {hi[0], hi[1], hi[2]}, step.cast<double>()}};
}

std::vector<Orient> orientationsOf(const py::handle& input) {
  const auto rows = rowsOf(input, 4, "orientations");
  std::vector<Orient> out(static_cast<std::size_t>(rows.shape(0)));
  const double* q = rows.data();
  for (Orient& o : out) {
    o = {q[0], q[1], q[2], q[3]};
    q += 4;
  }
  return out;
}

template <typename T>
py::array_t<T> arrayOf(const std::vector<T>& values, std::vector<py::ssize_t> shape) {
  py::array_t<T> out(shape);
  std::copy(values.begin(), values.end(), out.mutable_data());
  return out;
}

py::dict mapDict(const ReachMap& map) {
  const auto n = static_cast<py::ssize_t>(map.size());
  py::dict d;
  d["shape"] = py::make_tuple(map.shape[0], map.shape[1], map.shape[2]);
  d["begin"] = map.begin;
  d["end"] = map.end;
  d["orientation_count"] = map.orientationCount;
  d["reachable"] = arrayOf(map.reachable, {n});
  d["index"] = arrayOf(map.index, {n});
  d["best_manipulability"] = arrayOf(map.bestManipulability, {n});
  d["worst_manipulability"] = arrayOf(map.worstManipulability, {n});
  d["matrix"] =
      map.matrix.empty()
          ? py::object(py::none())
          : py::object(arrayOf(map.matrix, {n, static_cast<py::ssize_t>(map.orientationCount)}));
  d["cancelled"] = map.cancelled;
  return d;
}

std::size_t endOf(const py::object& end) {
  return end.is_none() ? static_cast<std::size_t>(-1) : end.cast<std::size_t>();
}

py::dict reachMap(const RobotConfig& robot, const py::object& orientations,
                  const py::object& boxMin, const py::object& boxMax, const py::object& step,
                  const py::object& points, const std::optional<ToolData>& tool,
                  const std::vector<ConfData>& configurations, bool keepMatrix, bool manipulability,
                  std::size_t begin, const py::object& end, unsigned threads,
                  const py::object& progress, bool allowLarge) {
  const ReachGrid grid = gridOf(boxMin, boxMax, step, points);
  const std::vector<Orient> o = orientationsOf(orientations);
  ReachOptions options;
  options.tool = tool.value_or(ToolData{});
  options.configurations = configurations;
  options.keepMatrix = keepMatrix;
  options.manipulability = manipulability;
  options.begin = begin;
  options.end = endOf(end);
  options.threads = threads;
  options.allowLarge = allowLarge;
  PythonProgress p{progress};
  options.progress = p.callback();
  ReachMap map;
  {
    const py::gil_scoped_release release;
    map = ComputeReachMap(robot, grid, o, options);
  }
  p.raiseIfFailed();
  return mapDict(map);
}

py::dict scoreDict(const PlacementScore& s) {
  py::dict d;
  d["candidate"] = s.candidate;
  d["base"] = s.base;
  d["reached"] = s.reached;
  d["total"] = s.total;
  d["share"] = s.share;
  d["worst_manipulability"] = s.worstManipulability;
  d["events"] = s.events;
  d["cycle_time"] = s.cycleTime;
  return d;
}

py::dict resultDict(const PlacementResult& r) {
  py::list ranked;
  for (const PlacementScore& s : r.ranked)
    ranked.append(scoreDict(s));
  py::dict d;
  d["ranked"] = ranked;
  d["cancelled"] = r.cancelled;
  return d;
}

/// A target as a Pose, or a (Pose, ConfData or None) pair.
PlacementTarget targetOf(const py::handle& item) {
  if (py::isinstance<Pose>(item))
    return {item.cast<Pose>(), std::nullopt};
  const auto pair = item.cast<std::pair<Pose, std::optional<ConfData>>>();
  return {pair.first, pair.second};
}

PlacementOptions placementOptions(std::size_t begin, const py::object& end, unsigned threads,
                                  bool allowLarge) {
  PlacementOptions options;
  options.begin = begin;
  options.end = endOf(end);
  options.threads = threads;
  options.allowLarge = allowLarge;
  return options;
}

template <typename Rank>
py::dict rankWithProgress(PlacementOptions& options, const py::object& progress, Rank rank) {
  PythonProgress p{progress};
  options.progress = p.callback();
  PlacementResult result;
  {
    const py::gil_scoped_release release;
    result = rank();
  }
  p.raiseIfFailed();
  return resultDict(result);
}

/// The base placement calls (kept apart from the reach maps' to keep each binding short).
void bindPlacement(py::module_& m) {
  m.def(
      "base_grid_poses",
      [](double xMin, double xMax, double yMin, double yMax, double step, double turnMin,
         double turnMax, double turnStep) {
        return BaseGridPoses({xMin, xMax, yMin, yMax, step, turnMin, turnMax, turnStep});
      },
      py::arg("x_min"), py::arg("x_max"), py::arg("y_min"), py::arg("y_max"), py::arg("step"),
      py::arg("turn_min") = 0.0, py::arg("turn_max") = 0.0, py::arg("turn_step") = 1.0,
      "Candidate base poses: x slowest, then y (mm), then the turn about z (degrees).");
  m.def(
      "rank_base_placements",
      [](const RobotConfig& robot, const py::iterable& targets, const std::vector<Pose>& bases,
         const std::optional<ToolData>& tool, std::size_t begin, const py::object& end,
         unsigned threads, const py::object& progress, bool allowLarge) {
        std::vector<PlacementTarget> t;
        for (const py::handle item : targets)
          t.push_back(targetOf(item));
        PlacementOptions options = placementOptions(begin, end, threads, allowLarge);
        options.tool = tool.value_or(ToolData{});
        return rankWithProgress(options, progress,
                                [&] { return RankBasePlacements(robot, t, bases, options); });
      },
      py::arg("robot"), py::arg("targets"), py::arg("bases"), py::kw_only(),
      py::arg("tool") = py::none(), py::arg("begin") = 0, py::arg("end") = py::none(),
      py::arg("threads") = 1, py::arg("progress") = py::none(), py::arg("allow_large") = false,
      "Scores the candidate bases [begin, end) on the targets (Poses of the tool centre point "
      "in the world, or (Pose, ConfData or None) pairs) and ranks them: a dict with 'ranked' "
      "(dicts: candidate, base, reached, total, share, worst_manipulability, events, "
      "cycle_time) and 'cancelled'. Runs without the GIL.");
  m.def(
      "rank_program_placements",
      [](const RobotConfig& robot, const RobJoint& start, const std::vector<ProgramMove>& moves,
         const std::vector<Pose>& bases, const std::optional<AuditOptions>& audit,
         std::size_t begin, const py::object& end, unsigned threads, const py::object& progress,
         bool allowLarge) {
        PlacementOptions options = placementOptions(begin, end, threads, allowLarge);
        options.audit = audit.value_or(AuditOptions{});
        return rankWithProgress(options, progress, [&] {
          return RankProgramPlacements(robot, start, moves, bases, options);
        });
      },
      py::arg("robot"), py::arg("start"), py::arg("moves"), py::arg("bases"), py::kw_only(),
      py::arg("audit_options") = py::none(), py::arg("begin") = 0, py::arg("end") = py::none(),
      py::arg("threads") = 1, py::arg("progress") = py::none(), py::arg("allow_large") = false,
      "Audits the program from each candidate base [begin, end) (fixed work objects stay in "
      "the world) and ranks the bases like rank_base_placements. Runs without the GIL.");
  m.def(
      "rank_placements",
      [](const py::list& scores) {
        std::vector<PlacementScore> order;
        std::unordered_map<std::size_t, py::object> byCandidate;
        for (const py::handle item : scores) {
          const py::dict d = item.cast<py::dict>();
          PlacementScore s;
          s.candidate = d["candidate"].cast<std::size_t>();
          s.share = d["share"].cast<double>();
          s.events = d["events"].cast<std::size_t>();
          s.worstManipulability = d["worst_manipulability"].cast<double>();
          s.cycleTime = d["cycle_time"].cast<double>();
          order.push_back(s);
          byCandidate[s.candidate] = py::reinterpret_borrow<py::object>(item);
        }
        RankPlacements(order);
        py::list out;
        for (const PlacementScore& s : order)
          out.append(byCandidate.at(s.candidate));
        return out;
      },
      py::arg("scores"),
      "The score dicts of rank_base_placements (from several chunks) in ranking order.");
}

}  // namespace

void bindReach(py::module_& m) {
  m.def(
      "sphere_orientations",
      [](std::size_t directions, std::size_t turns) {
        const std::vector<Orient> o = SphereOrientations(directions, turns);
        std::vector<double> q;
        q.reserve(o.size() * 4);
        for (const Orient& r : o)
          q.insert(q.end(), {r.q1, r.q2, r.q3, r.q4});
        return arrayOf(q, {static_cast<py::ssize_t>(o.size()), 4});
      },
      py::arg("directions"), py::arg("turns") = 1,
      "`directions` tool-axis directions spread evenly over the sphere (a Fibonacci lattice) "
      "times `turns` turns about each, direction-major: an (N, 4) array of quaternions, scalar "
      "first.");
  m.def(
      "reach_grid_shape",
      [](const py::object& boxMin, const py::object& boxMax, const py::object& step,
         const py::object& points) {
        const auto s = gridOf(boxMin, boxMax, step, points).shape();
        return py::make_tuple(s[0], s[1], s[2]);
      },
      py::kw_only(), py::arg("box_min") = py::none(), py::arg("box_max") = py::none(),
      py::arg("step") = py::none(), py::arg("points") = py::none(),
      "The shape (nx, ny, nz) of a reach grid: a box (z fastest) or (N, 1, 1) for points.");
  m.def("reach_map", &reachMap, py::arg("robot"), py::arg("orientations"), py::kw_only(),
        py::arg("box_min") = py::none(), py::arg("box_max") = py::none(),
        py::arg("step") = py::none(), py::arg("points") = py::none(), py::arg("tool") = py::none(),
        py::arg("configurations") = std::vector<ConfData>{}, py::arg("keep_matrix") = false,
        py::arg("manipulability") = true, py::arg("begin") = 0, py::arg("end") = py::none(),
        py::arg("threads") = 1, py::arg("progress") = py::none(), py::arg("allow_large") = false,
        "The reach map of the arm over the positions [begin, end) of a grid (a box from box_min "
        "to box_max by step, mm, z fastest; or points, an (N, 3) array), with the tool centre "
        "point in each orientation ((M, 4) quaternions). Returns a dict: shape, begin, end, "
        "orientation_count, reachable (uint32), index, best_manipulability, "
        "worst_manipulability (float64), one entry per position of the range; matrix ((n, M) "
        "uint8 solution counts, or None); cancelled. progress(fraction) is called on this "
        "thread and may return False to cancel (None goes on). Runs without the GIL; Ctrl-C "
        "raises KeyboardInterrupt at the next progress check.");
  bindPlacement(m);
}

}  // namespace zor::rob::python
