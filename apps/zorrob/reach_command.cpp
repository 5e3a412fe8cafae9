// zorrob reach: the reach map of the arm over a box of positions, written for numpy.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cli_error.hpp"
#include "commands.hpp"
#include "npy_file.hpp"
#include "orientations_file.hpp"
#include "parse.hpp"
#include "progress_line.hpp"
#include "zor/rob/reach.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob::cli {

namespace {

using Json = nlohmann::ordered_json;

/// The command line of `zorrob reach`, as given.
struct ReachArgs {
  std::vector<std::string> min{};
  std::vector<std::string> max{};
  std::string step{};
  /// Empty when not given (50 directions and 4 turns unless --quaternions is given).
  std::string directions{};
  std::string turns{};
  std::vector<std::string> quaternions{};
  std::string orientationsFile{};
  std::vector<std::string> confs{};
  std::string threads{"0"};
  std::vector<std::string> tool{};
  std::string out{};
  bool matrix{false};
  bool allowLarge{false};
};

constexpr int kMaxCount = 1'000'000;

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

Pos pointOf(const std::vector<std::string>& texts, const std::string& option) {
  const std::vector<double> v = parseNumbers(texts, {option + " X", option + " Y", option + " Z"},
                                             "numbers after " + option + " (X Y Z, mm)");
  return {v[0], v[1], v[2]};
}

/// Throws UsageError "NAME is a zero quaternion" where the library's normalisation rule
/// refuses `q` (scalar first), so that the option is named rather than the rule.
void throwIfZeroQuaternion(const std::array<double, 4>& q, const std::string& name) {
  try {
    (void)Rotation(q[0], q[1], q[2], q[3]);
  } catch (const std::logic_error&) {
    throw UsageError(name + " is a zero quaternion");
  }
}

ToolData toolOf(const std::vector<std::string>& texts) {
  const std::vector<double> v = parseNumbers(
      texts,
      {"--tool X", "--tool Y", "--tool Z", "--tool Q1", "--tool Q2", "--tool Q3", "--tool Q4"},
      "numbers after --tool (X Y Z in mm, Q1 Q2 Q3 Q4)");
  throwIfZeroQuaternion({v[3], v[4], v[5], v[6]}, "--tool");
  return ToolData(true, Pose({v[0], v[1], v[2]}, {v[3], v[4], v[5], v[6]}), LoadData{});
}

/// \returns the number of groups of four values in `texts`; throws UsageError naming `option`
/// and what a group holds when the count is not a multiple of four.
std::size_t groupsOfFour(const std::vector<std::string>& texts, const std::string& option,
                         const std::string& group) {
  if (texts.size() % 4 != 0)
    throw UsageError(option + " takes groups of 4 " + group + ", got " +
                     std::to_string(texts.size()));
  return texts.size() / 4;
}

/// The orientations of --quaternions (groups of four numbers, scalar first), each checked by
/// the library's normalisation rule so that a zero record is named here.
std::vector<Orient> givenOrientations(const std::vector<std::string>& texts) {
  std::vector<Orient> out;
  const std::size_t n = groupsOfFour(texts, "--quaternions", "numbers (Q1 Q2 Q3 Q4)");
  for (std::size_t k = 0; k < n; ++k) {
    const std::string name = "--quaternions orientation " + std::to_string(k + 1);
    std::array<double, 4> q{};
    for (std::size_t i = 0; i < 4; ++i)
      q[i] = parseNumber(texts[4 * k + i], name + " Q" + std::to_string(i + 1));
    throwIfZeroQuaternion(q, name);
    out.push_back({q[0], q[1], q[2], q[3]});
  }
  return out;
}

std::vector<Orient> orientationsOf(const ReachArgs& a) {
  const bool sphere = !a.directions.empty() || !a.turns.empty();
  const int ways = static_cast<int>(!a.quaternions.empty()) +
                   static_cast<int>(!a.orientationsFile.empty()) + static_cast<int>(sphere);
  if (ways > 1)
    throw UsageError(
        "give the orientations one way: --quaternions, --orientations or "
        "--directions and --turns");
  if (!a.quaternions.empty())
    return givenOrientations(a.quaternions);
  if (!a.orientationsFile.empty())
    return LoadOrientationsFile(a.orientationsFile);
  const auto count = [](const std::string& text, const char* fallback, const char* option) {
    return static_cast<std::size_t>(
        parseWholeNumber(text.empty() ? fallback : text, 1, kMaxCount, option));
  };
  return SphereOrientations(count(a.directions, "50", "--directions"),
                            count(a.turns, "4", "--turns"));
}

/// The configurations of --conf (groups of CF1 CF4 CF6 CFX).
std::vector<ConfData> confsOf(const std::vector<std::string>& texts) {
  std::vector<ConfData> out;
  const std::size_t n = groupsOfFour(texts, "--conf", "whole numbers (CF1 CF4 CF6 CFX)");
  for (std::size_t k = 0; k < n; ++k) {
    const std::string name = "--conf configuration " + std::to_string(k + 1);
    const auto field = [&](std::size_t i, const char* label, int min, int max) {
      return parseWholeNumber(texts[4 * k + i], min, max, name + " " + label);
    };
    out.emplace_back(field(0, "CF1", -1000, 1000), field(1, "CF4", -1000, 1000),
                     field(2, "CF6", -1000, 1000), field(3, "CFX", 0, 7));
  }
  return out;
}

void writeBinary(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  if (!(file << bytes) || !file.flush())
    throw InputError("output file '" + path + "' cannot be written");
}

/// The arrays of the .npz file: per position shaped as the grid, the orientations as rows of
/// quaternions, the grid as its minimum corner and step, and optionally the matrix.
std::vector<NpyArray> mapArrays(const ReachMap& map, const ReachBox& box,
                                const std::vector<Orient>& orientations) {
  const std::vector<std::size_t> shape(map.shape.begin(), map.shape.end());
  std::vector<NpyArray> arrays{
      MakeNpyArray("reachable", map.reachable, shape), MakeNpyArray("index", map.index, shape),
      MakeNpyArray("best_manipulability", map.bestManipulability, shape),
      MakeNpyArray("worst_manipulability", map.worstManipulability, shape)};
  std::vector<double> q;
  for (const Orient& o : orientations)
    q.insert(q.end(), {o.q1, o.q2, o.q3, o.q4});
  arrays.push_back(MakeNpyArray("orientations", q, {orientations.size(), 4}));
  arrays.push_back(
      MakeNpyArray("grid", std::vector<double>{box.min.x, box.min.y, box.min.z, box.step}, {4}));
  if (!map.matrix.empty()) {
    std::vector<std::size_t> matrixShape = shape;
    matrixShape.push_back(orientations.size());
    arrays.push_back(MakeNpyArray("matrix", map.matrix, matrixShape));
  }
  return arrays;
}

/// The summary of the map; the file line only where `path` is not empty.
Report summary(const ReachMap& map, const std::string& path, unsigned threads) {
  const auto reachable = static_cast<std::size_t>(
      std::count_if(map.reachable.begin(), map.reachable.end(), [](auto r) { return r > 0; }));
  const auto full =
      static_cast<std::size_t>(std::count(map.reachable.begin(), map.reachable.end(),
                                          static_cast<std::uint32_t>(map.orientationCount)));
  double sum = 0.0;
  for (const double i : map.index)
    sum += i;
  const double best =
      map.bestManipulability.empty()
          ? 0.0
          : *std::max_element(map.bestManipulability.begin(), map.bestManipulability.end());
  Report out;
  if (!path.empty())
    out.json["file"] = path;
  out.json.update(Json{{"shape", map.shape},
                       {"positions", map.size()},
                       {"orientations", map.orientationCount},
                       {"queries", map.size() * map.orientationCount},
                       {"reachablePositions", reachable},
                       {"fullyReachablePositions", full},
                       {"meanIndex", sum / static_cast<double>(map.size())},
                       {"bestManipulability", best},
                       {"threads", threads}});
  Fields f;
  if (!path.empty())
    f.add("file", path);
  f.add("grid", std::to_string(map.shape[0]) + " x " + std::to_string(map.shape[1]) + " x " +
                    std::to_string(map.shape[2]) + " positions");
  f.add("orientations", std::to_string(map.orientationCount));
  f.add("queries", std::to_string(map.size() * map.orientationCount));
  f.add("reachable", std::to_string(reachable) + " positions (" + std::to_string(full) +
                         " in every orientation)");
  f.add("mean index", fixed(sum / static_cast<double>(map.size()), kUnitDecimals));
  f.add("best manipulability", fixed(best, kLengthDecimals));
  out.text = f.render();
  return out;
}

Report runReach(const Arm& arm, const ReachArgs& a) {
  if (!endsWith(a.out, ".npy") && !endsWith(a.out, ".npz"))
    throw UsageError("--out must name a .npy or .npz file, got '" + a.out + "'");
  const ReachBox box{pointOf(a.min, "--min"), pointOf(a.max, "--max"),
                     parseNumber(a.step, "--step")};
  const std::vector<Orient> orientations = orientationsOf(a);
  ReachOptions options;
  options.configurations = confsOf(a.confs);
  options.threads = static_cast<unsigned>(
      parseWholeNumber(a.threads, 0, static_cast<int>(kMaxReachThreads), "--threads"));
  if (!a.tool.empty())
    options.tool = toolOf(a.tool);
  options.keepMatrix = a.matrix;
  options.allowLarge = a.allowLarge;
  ProgressLine line("reach");
  options.progress = line.callback();
  const ReachMap map = ComputeReachMap(arm.config, ReachGrid{box}, orientations, options);
  if (endsWith(a.out, ".npy"))
    writeBinary(a.out,
                NpyBytes(MakeNpyArray("index", map.index, {map.shape.begin(), map.shape.end()})));
  else
    writeBinary(a.out, NpzBytes(mapArrays(map, box, orientations)));
  return summary(map, a.out, options.threads);
}

/// One character per position of a map of one layer (nz = 1): rows from the largest y down, x to
/// the right, each position twice as wide as high so that the picture keeps the grid's aspect.
/// Blank where no orientation is reached, then darker by ninths of the reachability index.
std::vector<std::string> sliceRows(const ReachMap& map) {
  static constexpr std::string_view kShades = " .:-=+*#%@";
  const std::size_t nx = map.shape[0];
  const std::size_t ny = map.shape[1];
  std::vector<std::string> rows;
  for (std::size_t row = 0; row < ny; ++row) {
    std::string line;
    for (std::size_t ix = 0; ix < nx; ++ix) {
      const double index = map.index[ix * ny + (ny - 1 - row)];
      const auto shade = static_cast<std::size_t>(std::ceil(index * (kShades.size() - 1)));
      line.append(2, kShades[shade]);
    }
    rows.push_back(line);
  }
  return rows;
}

}  // namespace

Report runReachSlice(const Arm& arm) {
  const ReachBox box{{-1500, -1500, 800}, {1500, 1500, 800}, 250};
  const std::vector<Orient> orientations = SphereOrientations(50, 4);
  const ReachMap map = ComputeReachMap(arm.config, ReachGrid{box}, orientations);
  Report out = summary(map, "", 1);
  const std::vector<std::string> rows = sliceRows(map);
  out.json["slice"] = rows;
  out.text +=
      "\nthe reachability index at z = 800 mm: x from -1500 (left) to 1500 mm, y from "
      "1500 (top)\nto -1500 mm, every 250 mm; blank where no orientation is reached, "
      "darker by ninths\nof the index (' .:-=+*#%@')\n\n";
  for (const std::string& row : rows)
    out.text += "|" + row + "|\n";
  return out;
}

CommandHook AddReachCommand(CLI::App& app) {
  auto args = std::make_shared<ReachArgs>();
  CLI::App* reach = app.add_subcommand("reach", "the reach map of the arm over a box");
  reach->footer(
      "Counts, at every position of the box (min to max by step, mm), the tool orientations in\n"
      "which the arm reaches it inside its joint limits: N tool-axis directions spread evenly\n"
      "over the sphere (--directions) times M turns about each (--turns), or the orientations\n"
      "given as quaternions (--quaternions, or --orientations FILE: a JSON file\n"
      "{\"quaternions\": [[Q1, Q2, Q3, Q4], ...]}). With --conf, only the solutions in one of the\n"
      "given configurations count. Writes the reachability index (reached / orientations) to a\n"
      ".npy file, or to a .npz file the arrays reachable, index, best_manipulability,\n"
      "worst_manipulability (each shaped nx, ny, nz with z fastest), orientations, grid (min x,\n"
      "y, z and step) and with --matrix the solution count of every position and orientation\n"
      "(shaped nx, ny, nz, orientations). Prints a summary (--json for JSON). A progress line\n"
      "is drawn on standard error when it is a terminal.\n\n"
      "Example: zorrob reach --min 0 -1000 0 --max 1500 1000 1500 --step 100 --out map.npz");
  reach->add_option("--min", args->min, "the box's lower corner X Y Z (mm)")
      ->type_name("X Y Z")
      ->expected(1, CLI::detail::expected_max_vector_size)
      ->required();
  reach->add_option("--max", args->max, "the box's upper corner X Y Z (mm)")
      ->type_name("X Y Z")
      ->expected(1, CLI::detail::expected_max_vector_size)
      ->required();
  reach->add_option("--step", args->step, "the grid step (mm)")->type_name("MM")->required();
  reach->add_option("--directions", args->directions, "tool-axis directions (default 50)")
      ->type_name("N");
  reach->add_option("--turns", args->turns, "turns about each axis (default 4)")->type_name("M");
  reach
      ->add_option("--quaternions", args->quaternions,
                   "the orientations Q1 Q2 Q3 Q4 [Q1 Q2 Q3 Q4 ...] (scalar first)")
      ->type_name("NUM")
      ->expected(1, CLI::detail::expected_max_vector_size);
  reach
      ->add_option("--orientations", args->orientationsFile,
                   "a JSON file of orientations {\"quaternions\": [[Q1, Q2, Q3, Q4], ...]}")
      ->type_name("FILE");
  reach
      ->add_option("--conf", args->confs,
                   "count only these configurations CF1 CF4 CF6 CFX [CF1 CF4 CF6 CFX ...]")
      ->type_name("N")
      ->expected(1, CLI::detail::expected_max_vector_size);
  reach->add_option("--tool", args->tool, "the tool frame X Y Z Q1 Q2 Q3 Q4 in the flange")
      ->type_name("NUM")
      ->expected(1, CLI::detail::expected_max_vector_size);
  reach->add_option("--threads", args->threads, "threads, 0 for one per processor (default 0)")
      ->type_name("N");
  reach->add_option("--out", args->out, "the output file")->type_name("FILE.npz")->required();
  reach->add_flag("--matrix", args->matrix, "also write the position x orientation matrix");
  reach->add_flag("--allow-large", args->allowLarge, "accept maps of more than 1000000000 queries");
  return {reach, true,
          [args](const CommandContext& context) { return runReach(context.loadArm(), *args); }};
}

}  // namespace zor::rob::cli
