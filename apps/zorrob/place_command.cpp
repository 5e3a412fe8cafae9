// zorrob place: ranks candidate base poses of the arm for a program file.
#include <CLI/CLI.hpp>
#include <cmath>
#include <string>
#include <vector>

#include "cli_error.hpp"
#include "commands.hpp"
#include "parse.hpp"
#include "program_file.hpp"
#include "progress_line.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/reach.hpp"

namespace zor::rob::cli {

namespace {

using Json = nlohmann::ordered_json;
using Align = Table::Align;

/// The command line of `zorrob place`, as given.
struct PlaceArgs {
  std::string program{};
  std::vector<std::string> x{};
  std::vector<std::string> y{};
  std::string step{};
  std::vector<std::string> turn{"0", "0", "1"};
  std::string threads{"0"};
  std::string top{"10"};
};

/// The turn about z (degrees) of a base pose made by BaseGridPoses.
double turnOf(const Pose& base) {
  return RadToDeg(2.0 * std::atan2(base.orient.q4, base.orient.q1));
}

Report rankingReport(const PlacementResult& result, const Program& program, std::size_t count,
                     std::size_t top) {
  Report out;
  Fields head;
  head.add("program", program.source);
  head.add("arm", program.arm.name + " (" + program.arm.source + ")");
  head.add("candidates", std::to_string(count));
  out.text = head.render() + "\n";
  Table table({Align::Right, Align::Right, Align::Right, Align::Right, Align::Right, Align::Right,
               Align::Right, Align::Right});
  table.addRow({"rank", "x (mm)", "y (mm)", "turn (deg)", "reached", "events",
                "worst manipulability", "time (s)"});
  Json ranked = Json::array();
  for (std::size_t r = 0; r < std::min(top, result.ranked.size()); ++r) {
    const PlacementScore& s = result.ranked[r];
    table.addRow({std::to_string(r + 1), fixed(s.base.pos.x, 1), fixed(s.base.pos.y, 1),
                  fixed(turnOf(s.base), 1),
                  std::to_string(s.reached) + "/" + std::to_string(s.total),
                  std::to_string(s.events), fixed(s.worstManipulability, 1),
                  fixed(s.cycleTime, kLengthDecimals)});
    ranked.push_back({{"candidate", s.candidate},
                      {"x", s.base.pos.x},
                      {"y", s.base.pos.y},
                      {"turn", turnOf(s.base)},
                      {"reached", s.reached},
                      {"total", s.total},
                      {"share", s.share},
                      {"events", s.events},
                      {"worstManipulability", s.worstManipulability},
                      {"cycleTime", s.cycleTime}});
  }
  out.text += table.render();
  out.json = {{"program", program.source},
              {"arm", program.arm.name},
              {"candidates", count},
              {"ranked", ranked}};
  return out;
}

Report runPlace(const PlaceArgs& a) {
  const std::vector<double> x = parseNumbers(a.x, {"--x MIN", "--x MAX"}, "numbers after --x");
  const std::vector<double> y = parseNumbers(a.y, {"--y MIN", "--y MAX"}, "numbers after --y");
  const std::vector<double> t =
      parseNumbers(a.turn, {"--turn MIN", "--turn MAX", "--turn STEP"}, "numbers after --turn");
  const BaseGrid grid{x[0], x[1], y[0], y[1], parseNumber(a.step, "--step"), t[0], t[1], t[2]};
  const std::vector<Pose> bases = BaseGridPoses(grid);
  const Program program = LoadProgram(a.program);
  PlacementOptions options;
  options.audit = program.options;
  options.threads = static_cast<unsigned>(
      parseWholeNumber(a.threads, 0, static_cast<int>(kMaxReachThreads), "--threads"));
  ProgressLine line("place");
  options.progress = line.callback();
  const PlacementResult result =
      RankProgramPlacements(program.arm.config, program.start, program.moves, bases, options);
  const auto top = static_cast<std::size_t>(parseWholeNumber(a.top, 1, 1'000'000, "--top"));
  return rankingReport(result, program, bases.size(), top);
}

}  // namespace

CommandHook AddPlaceCommand(CLI::App& app) {
  auto args = std::make_shared<PlaceArgs>();
  CLI::App* place = app.add_subcommand("place", "rank base poses of the arm for a program");
  place->footer(
      "Moves the arm's base over a grid in the program's world (x and y from min to max by\n"
      "step, mm; the turn about z from min to max by its step, degrees), audits the program\n"
      "from each base and ranks the bases: most moves reached, then fewest audit events, then\n"
      "the largest worst manipulability along the path, then the shortest time. Work objects\n"
      "and stationary tools stay where the program puts them in the world.\n"
      "A progress line is drawn on standard error when it is a terminal.\n\n"
      "Example: zorrob place examples/audit/cell.json --x -200 200 --y -200 200 --step 100");
  place->add_option("program", args->program, "the program file (JSON)")
      ->type_name("PROGRAM.json")
      ->required();
  place->add_option("--x", args->x, "the range of x, MIN MAX (mm)")
      ->type_name("MM")
      ->expected(1, CLI::detail::expected_max_vector_size)
      ->required();
  place->add_option("--y", args->y, "the range of y, MIN MAX (mm)")
      ->type_name("MM")
      ->expected(1, CLI::detail::expected_max_vector_size)
      ->required();
  place->add_option("--step", args->step, "the step of x and y (mm)")->type_name("MM")->required();
  place->add_option("--turn", args->turn, "the turn about z, MIN MAX STEP (degrees; default 0 0 1)")
      ->type_name("DEG")
      ->expected(1, CLI::detail::expected_max_vector_size);
  place->add_option("--threads", args->threads, "threads, 0 for one per processor (default 0)")
      ->type_name("N");
  place->add_option("--top", args->top, "how many bases to list (default 10)")->type_name("N");
  return {place, false, [args](const CommandContext&) { return runPlace(*args); }};
}

}  // namespace zor::rob::cli
