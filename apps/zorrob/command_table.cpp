// The commands that read their options from the command line here: fk, ik, jacobian, circle,
// tables, arm, audit and view. Each registers its help and options and hands back its runner,
// as reach_command.cpp and place_command.cpp do for theirs.
#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli_error.hpp"
#include "commands.hpp"
#include "parse.hpp"

namespace zor::rob::cli {

namespace {

/// \returns whether the option `name` of `command` was given (even with an empty value).
bool given(const CLI::App& command, const std::string& name) {
  const CLI::Option* option = command.get_option_no_throw(name);
  return option != nullptr && option->count() > 0;
}

void addJointsArgument(CLI::App& command, std::vector<std::string>& joints) {
  command.add_option("joints", joints, "the six joint values J1 ... J6, degrees")->type_name("DEG");
}

/// Adds an option that takes any number of values: how many it needs is checked when they are
/// read, with the tool's own message.
CLI::Option* addListOption(CLI::App& command, const std::string& name,
                           std::vector<std::string>& values, const std::string& help,
                           const std::string& typeName) {
  return command.add_option(name, values, help)
      ->type_name(typeName)
      ->expected(1, CLI::detail::expected_max_vector_size);
}

void addPointOption(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                    const std::string& help) {
  addListOption(command, name, values, help, "X Y Z")->required();
}

/// Adds the command `name` with the one-line `description` of the tool's help and the `footer`
/// of its own.
CLI::App* addCommand(CLI::App& app, const std::string& name, const std::string& description,
                     const std::string& footer) {
  CLI::App* command = app.add_subcommand(name, description);
  command->footer(footer);
  return command;
}

/// Joint values for the forward kinematics. Beyond ±1e9 degrees (the widest limits an arm may
/// have) they are refused: from about 5.7e307 degrees on, their conversion to radians overflows.
RobJoint jointsFrom(const std::vector<std::string>& texts) {
  static const std::vector<std::string> names{"J1", "J2", "J3", "J4", "J5", "J6"};
  const std::vector<double> v = parseNumbers(texts, names, "joint values (J1 ... J6, degrees)");
  constexpr double kWidestJoint = 1e9;
  for (std::size_t i = 0; i < v.size(); ++i)
    if (std::abs(v[i]) > kWidestJoint)
      throw UsageError(names[i] + " must lie within ±1e9 degrees, got '" + texts[i] + "'");
  return RobJoint(v[0], v[1], v[2], v[3], v[4], v[5]);
}

/// Quadrants of joints 1, 4 and 6 (whole turns beyond ±1000 quarter turns are refused) and the
/// configuration number 0 to 7.
ConfData confFrom(const std::vector<std::string>& texts) {
  if (texts.size() != 4)
    throw UsageError("--conf takes 4 whole numbers (CF1 CF4 CF6 CFX), got " +
                     std::to_string(texts.size()));
  return ConfData(parseWholeNumber(texts[0], -1000, 1000, "--conf CF1"),
                  parseWholeNumber(texts[1], -1000, 1000, "--conf CF4"),
                  parseWholeNumber(texts[2], -1000, 1000, "--conf CF6"),
                  parseWholeNumber(texts[3], 0, 7, "--conf CFX"));
}

Vec3 pointFrom(const std::vector<std::string>& texts, const std::string& option) {
  const std::vector<double> v = parseNumbers(texts, {option + " X", option + " Y", option + " Z"},
                                             "numbers after " + option + " (X Y Z)");
  return {v[0], v[1], v[2]};
}

double parseTolerance(const std::string& text, const std::string& option) {
  const double value = parseNumber(text, option);
  if (value < 0.0)
    throw UsageError(option + " must not be negative, got '" + text + "'");
  return value;
}

/// The sampling step of --step, which must be positive.
double stepFrom(const std::string& text) {
  const double step = parseNumber(text, "--step");
  if (step <= 0.0)
    throw UsageError("--step must be positive, got '" + text + "'");
  return step;
}

CommandHook addFk(CLI::App& app) {
  struct Args {
    std::vector<std::string> joints{};
    std::string jointTolerance{};
    std::string wcpTolerance{};
  };
  auto a = std::make_shared<Args>();
  CLI::App* fk = addCommand(
      app, "fk", "forward kinematics of six joint values",
      "Prints the robot target (brace, Ostrel and stream forms), its configuration (brace, UI,\n"
      "Ostrel, KRL and stream forms), the wrist centre, the singularity class (none, wrist,\n"
      "elbow or shoulder) and the joint-limit verdict.\n\n"
      "Example: zorrob fk 10 20 -30 40 50 60");
  addJointsArgument(*fk, a->joints);
  fk->add_option("--joint-tolerance", a->jointTolerance,
                 "tolerance of the wrist and elbow tests, degrees (default 0.001)")
      ->type_name("DEG");
  fk->add_option("--wcp-tolerance", a->wcpTolerance,
                 "tolerance of the shoulder test: distance of the wrist centre from the "
                 "joint-1 axis, mm (default 0.001)")
      ->type_name("MM");
  return {fk, true, [fk, a](const CommandContext& context) {
            SingularityTolerances tolerances;
            if (given(*fk, "--joint-tolerance"))
              tolerances.joint = parseTolerance(a->jointTolerance, "--joint-tolerance");
            if (given(*fk, "--wcp-tolerance"))
              tolerances.wcp = parseTolerance(a->wcpTolerance, "--wcp-tolerance");
            const RobJoint joints = jointsFrom(a->joints);
            return runFk(context.loadArm(), joints, tolerances);
          }};
}

CommandHook addIk(CLI::App& app) {
  struct Args {
    std::vector<std::string> pose{};
    std::vector<std::string> conf{};
    std::vector<std::string> seed{};
  };
  auto a = std::make_shared<Args>();
  CLI::App* ik = addCommand(
      app, "ik", "inverse kinematics of a flange pose",
      "Prints every joint solution of the flange pose inside the joint limits, with the other\n"
      "turns of the joints whose limits admit them, each with its configuration (brace and KRL\n"
      "form), singularity class and limit verdict. With --conf, the solution in that\n"
      "configuration; with --seed, the solution nearest to the seed (largest joint difference).\n"
      "A pose with no solution prints the reason on standard error and exits with status 1.\n"
      "The pose is of the flange the arm file describes, the one `fk` prints, also where the\n"
      "model moved its flange to the wrist centre. Limits admitting more than 100000\n"
      "solutions make the list an error; --conf and --seed choose among any number.\n\n"
      "Example: zorrob ik 800 100 900 0 0 1 0 --conf 0 0 0 0");
  ik->add_option("pose", a->pose, "the flange pose X Y Z (mm) and its quaternion Q1 Q2 Q3 Q4")
      ->type_name("NUM");
  addListOption(*ik, "--conf", a->conf, "the configuration CF1 CF4 CF6 CFX", "N");
  addListOption(*ik, "--seed", a->seed, "the joints J1 ... J6 (degrees) to stay nearest to", "DEG");
  return {ik, true, [ik, a](const CommandContext& context) {
            IkRequest request;
            const std::vector<double> v =
                parseNumbers(a->pose, {"X", "Y", "Z", "Q1", "Q2", "Q3", "Q4"},
                             "flange pose (X Y Z in mm, Q1 Q2 Q3 Q4)");
            request.flangePose = Pose({v[0], v[1], v[2]}, {v[3], v[4], v[5], v[6]});
            if (given(*ik, "--conf") && given(*ik, "--seed"))
              throw UsageError("--conf and --seed do not go together");
            if (given(*ik, "--conf"))
              request.conf = confFrom(a->conf);
            if (given(*ik, "--seed")) {
              const std::vector<double> s = parseNumbers(
                  a->seed,
                  {"--seed J1", "--seed J2", "--seed J3", "--seed J4", "--seed J5", "--seed J6"},
                  "numbers after --seed (J1 ... J6, degrees)");
              request.seed = RobJoint(s[0], s[1], s[2], s[3], s[4], s[5]);
            }
            return runIk(context.loadArm(), request);
          }};
}

CommandHook addJacobian(CLI::App& app) {
  struct Args {
    std::vector<std::string> joints{};
    bool body{false};
  };
  auto a = std::make_shared<Args>();
  CLI::App* jacobian = addCommand(
      app, "jacobian", "the 6x6 space or body Jacobian",
      "Column i is the screw axis of joint i, in the base frame at the current position (space\n"
      "Jacobian) or in the flange frame (body Jacobian, --body). Rows wx wy wz are angular,\n"
      "rows vx vy vz linear (mm).\n\n"
      "Example: zorrob jacobian 0 0 0 0 90 0 --body");
  addJointsArgument(*jacobian, a->joints);
  jacobian->add_flag("--body", a->body,
                     "the body Jacobian (flange frame) instead of the space one");
  return {jacobian, true, [a](const CommandContext& context) {
            const RobJoint joints = jointsFrom(a->joints);
            return runJacobian(context.loadArm(), joints, a->body);
          }};
}

struct CircleArgs {
  std::vector<std::string> start{};
  std::vector<std::string> via{};
  std::vector<std::string> end{};
  std::string samples{};
  std::string zone{};
  std::string oriMode{};
  std::vector<std::string> ori{};
};

CircleRequest circleFrom(const CLI::App& circle, const CircleArgs& a) {
  CircleRequest request;
  request.start = pointFrom(a.start, "--start");
  request.via = pointFrom(a.via, "--via");
  request.end = pointFrom(a.end, "--end");
  if (given(circle, "--samples"))
    request.samples = parseWholeNumber(a.samples, kMinSamples, kMaxSamples, "--samples");
  if (given(circle, "--zone"))
    request.zoneName = a.zone;
  if (given(circle, "--ori-mode") != given(circle, "--ori"))
    throw UsageError(
        "--ori-mode and --ori go together: the mode and the start, circle-point "
        "and end orientations");
  if (given(circle, "--ori-mode")) {
    const std::optional<CircleOriMode> mode = FindCircleOriMode(a.oriMode);
    if (!mode)
      throw UsageError("unknown orientation mode '" + a.oriMode +
                       "' (one of cirpoint, path, object)");
    request.oriModes.push_back(*mode);
    std::vector<std::string> names;
    for (const char* which : {"start", "circle-point", "end"})
      for (const char* q : {"q1", "q2", "q3", "q4"})
        names.push_back(std::string("--ori ") + which + " " + q);
    const std::vector<double> q = parseNumbers(
        a.ori, names, "numbers after --ori (start, circle-point and end quaternions, q1 first)");
    for (std::size_t i = 0; i < 3; ++i)
      request.ori[i] = {q[4 * i], q[4 * i + 1], q[4 * i + 2], q[4 * i + 3]};
  }
  return request;
}

CommandHook addCircle(CLI::App& app) {
  auto a = std::make_shared<CircleArgs>();
  CLI::App* circle = addCommand(
      app, "circle", "the circle of a circular move through three points",
      "Prints the centre, radius, normal, arc angle and length of the arc from the start point\n"
      "through the via point to the end point, and samples of point and tangent at evenly\n"
      "spaced fractions of the arc. With --zone, the zone entry and exit points and directions\n"
      "at the zone's pzoneTcp distance from both ends. With --ori-mode and --ori, the tool\n"
      "orientation at each sample.\n\n"
      "Example: zorrob circle --start 0 0 0 --via 100 100 0 --end 200 0 0 --zone z10 \\\n"
      "           --ori-mode object --ori 1 0 0 0  0.92388 0 0 0.382683  0.707107 0 0 0.707107");
  addPointOption(*circle, "--start", a->start, "start point A (mm)");
  addPointOption(*circle, "--via", a->via, "via point B, the circle point (mm)");
  addPointOption(*circle, "--end", a->end, "end point C (mm)");
  circle->add_option("--samples", a->samples, "number of samples, 2 to 10000 (default 5)")
      ->type_name("N");
  circle
      ->add_option("--zone", a->zone, "a predefined zone: fine, z0 ... z200, FINE, CNT0 ... CNT100")
      ->type_name("NAME");
  circle
      ->add_option("--ori-mode", a->oriMode,
                   "cirpoint (through the circle-point orientation), path (turning with the "
                   "path) or object (fixed frame); needs --ori")
      ->type_name("MODE");
  addListOption(*circle, "--ori", a->ori,
                "twelve numbers: the start, circle-point and end orientations as quaternions q1 "
                "q2 q3 q4 (q1 the scalar part), each normalised",
                "Q");
  return {circle, false,
          [circle, a](const CommandContext&) { return runCircle(circleFrom(*circle, *a)); }};
}

CommandHook addTables(CLI::App& app) {
  auto table = std::make_shared<std::string>();
  CLI::App* tables =
      addCommand(app, "tables", "the predefined speed or zone table",
                 "speeds: v5 ... v7000 with vTcp, vOri, vLeax and vReax.\n"
                 "zones: fine, z0 ... z200, FINE and CNT0 ... CNT100 with all their members.\n\n"
                 "Example: zorrob tables zones");
  tables->add_option("table", *table, "speeds or zones")->type_name("NAME")->required();
  return {tables, false, [table](const CommandContext&) {
            if (*table == "speeds")
              return runTables(TableKind::Speeds);
            if (*table == "zones")
              return runTables(TableKind::Zones);
            throw UsageError("unknown table '" + *table + "' (speeds or zones)");
          }};
}

CommandHook addArm(CLI::App& app) {
  CLI::App* arm = addCommand(
      app, "arm", "the arm's summary and its whole model",
      "Prints the arm's summary, its joint axes and points and its screw axes in the base and\n"
      "flange frames. With --json, also the arm file that describes it (\"description\") and\n"
      "every member of its model (\"model\").\n\n"
      "Example: zorrob arm --arm data/arms/default.json");
  return {arm, true, [](const CommandContext& context) { return runArm(context.loadArm()); }};
}

CommandHook addAudit(CLI::App& app) {
  struct Args {
    std::string program{};
    std::string step{};
    std::string samplesPath{};
    bool timedSamples{false};
    std::string htmlPath{};
  };
  auto a = std::make_shared<Args>();
  CLI::App* audit = addCommand(
      app, "audit", "check a program of moves on its arm",
      "Follows the moves of a program file (JSON: arm, start joints, tools, work objects and\n"
      "moves; see the README) through the arm and reports, per move, whether it is reached,\n"
      "its time, path length and orientation change, and every event: targets out\n"
      "of reach or not reachable in their configuration, path points out of reach, wrist,\n"
      "elbow and shoulder singularities, configuration changes, joint limits, joint jumps,\n"
      "circles that are not circles, zones shrunk to fit, and stretches where the joints\n"
      "keep the tool below its programmed speed.\n\n"
      "Times are time-optimal under the joints' speed and acceleration limits, the programmed\n"
      "speeds and the tool's acceleration limit (options maxJointSpeedDeg,\n"
      "maxJointAccelerationDeg, maxTcpAcceleration): joint moves in sync from rest to rest,\n"
      "linear and circular moves and their zones as one path between stop points. The cycle\n"
      "time is their sum; the speed column is the lowest share of the programmed speed the\n"
      "limits allow on the move.\n\n"
      "Targets, tools and work objects held by the robot are of the flange the arm file\n"
      "describes, the one `fk` prints.\n\n"
      "Exit status: 0 for a clean program (reduced speed alone keeps it clean), 3 when there\n"
      "are events, 1 for a rejected program file, 2 for a bad command line.\n\n"
      "Example: zorrob audit examples/audit/cell.json --samples samples.csv");
  audit->add_option("program", a->program, "the program file (JSON)")
      ->type_name("PROGRAM.json")
      ->required();
  audit->add_option("--step", a->step, "the sampling step along the path, mm (default 1)")
      ->type_name("MM");
  audit->add_option("--samples", a->samplesPath, "write every sample to this CSV file")
      ->type_name("FILE.csv");
  audit->add_flag("--timed-samples", a->timedSamples,
                  "with --json, add every sample with its time, speeds, accelerations and the "
                  "limit that binds there");
  audit->add_option("--html", a->htmlPath, "write the page of the program and its audit (see view)")
      ->type_name("FILE.html");
  return {audit, false, [audit, a](const CommandContext& context) {
            AuditRequest request;
            request.programPath = a->program;
            if (given(*audit, "--step"))
              request.stepMm = stepFrom(a->step);
            if (given(*audit, "--samples"))
              request.samplesPath = a->samplesPath;
            if (a->timedSamples && !context.json)
              throw UsageError("--timed-samples needs --json");
            request.jsonSamples = a->timedSamples;
            if (given(*audit, "--html"))
              request.htmlPath = a->htmlPath;
            request.showProgress = !context.json;
            request.text = !context.json;
            request.json = context.json;
            request.streamJson = true;
            return runAudit(request);
          }};
}

CommandHook addView(CLI::App& app) {
  struct Args {
    std::string program{};
    std::string step{};
    std::string outputPath{};
  };
  auto a = std::make_shared<Args>();
  CLI::App* view = addCommand(
      app, "view", "the arm, a program and its audit as one browser page",
      "Writes one self-contained HTML page (three.js inside, nothing loaded from the network):\n"
      "the arm with its joint axes and the base, flange and tool frames; with a program file,\n"
      "its targets, the audited path coloured by what the audit found, playback along the\n"
      "samples, charts of the six joints and the table of events (a click moves the arm\n"
      "there). --arm replaces the program's own arm.\n\n"
      "Example: zorrob view examples/audit/cell.json -o cell.html");
  view->add_option("program", a->program, "the program file (JSON)")->type_name("PROGRAM.json");
  view->add_option("--step", a->step, "the sampling step along the path, mm (default 1)")
      ->type_name("MM");
  view->add_option("-o,--output", a->outputPath, "the page to write")
      ->type_name("FILE.html")
      ->required();
  return {view, true, [view, a](const CommandContext& context) {
            ViewRequest request;
            request.outputPath = a->outputPath;
            if (context.armGiven)
              request.arm = context.loadArm();
            if (!a->program.empty())
              request.programPath = a->program;
            if (given(*view, "--step")) {
              if (!request.programPath)
                throw UsageError("--step goes with a program file");
              request.stepMm = stepFrom(a->step);
            }
            return runView(request);
          }};
}

}  // namespace

std::vector<CommandHook> AddCommands(CLI::App& app) {
  using Adder = CommandHook (*)(CLI::App&);
  // The order of the tool's help and of its list of commands.
  constexpr Adder kCommands[] = {addFk,  addIk,    addJacobian, addCircle,       addTables,
                                 addArm, addAudit, addView,     AddReachCommand, AddPlaceCommand};
  std::vector<CommandHook> commands;
  for (const Adder add : kCommands)
    commands.push_back(add(app));
  return commands;
}

}  // namespace zor::rob::cli
