// zorrob: the command-line face of libzorrob. Without a command it tours the default arm; the
// commands compute forward and inverse kinematics, Jacobians and circular moves, print the
// predefined tables, describe an arm (arm), audit a program (audit), write the browser page
// (view), the reach map (reach) and ranked base poses (place), as plain text or (with --json)
// as one JSON document.
//
// Every command builds its whole output first and prints it at the end. Any error instead
// writes one line to standard error and nothing to standard output: exit status 2 for a command
// line that cannot be run, 1 for inputs the computation or the arm loader rejects. An audit
// that ran and found events exits with status 3.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "arm_file.hpp"
#include "cli_error.hpp"
#include "commands.hpp"
#include "parse.hpp"

namespace zor::rob::cli {
namespace {

constexpr const char* kCommandList =
    "fk, ik, jacobian, circle, tables, arm, audit, view, reach, place";
/// Spaces per level of the JSON output.
constexpr int kJsonIndent = 2;

/// Everything the command line can hold, as given (numbers still as text).
struct Options {
  bool json{false};
  std::string armPath{};
  std::string baseLink{};
  std::string tipLink{};
  std::vector<std::string> joints{};
  std::vector<std::string> pose{};
  std::vector<std::string> conf{};
  std::vector<std::string> seed{};
  bool body{false};
  std::string jointTolerance{};
  std::string wcpTolerance{};
  std::vector<std::string> start{};
  std::vector<std::string> via{};
  std::vector<std::string> end{};
  std::string samples{};
  std::string zone{};
  std::string oriMode{};
  std::vector<std::string> ori{};
  std::string table{};
  std::string program{};
  std::string step{};
  std::string samplesPath{};
  bool timedSamples{false};
  std::string htmlPath{};
  std::string outputPath{};
};

/// \returns whether the option `name` was given on the command line (even with an empty value),
/// to the tool itself or to the command.
bool given(const CLI::App& app, const std::string& name) {
  std::vector<const CLI::App*> apps{&app};
  for (const CLI::App* command : app.get_subcommands())
    apps.push_back(command);
  for (const CLI::App* a : apps) {
    const CLI::Option* option = a->get_option_no_throw(name);
    if (option != nullptr && option->count() > 0)
      return true;
  }
  return false;
}

void addArmOption(CLI::App& app, Options& o) {
  app.add_option("--arm", o.armPath,
                 "a JSON arm file or a URDF file (.urdf) instead of the embedded default arm "
                 "(see the README)")
      ->type_name("FILE");
  app.add_option("--base", o.baseLink,
                 "with a URDF file: the link the chain starts from (default: the root)")
      ->type_name("LINK");
  app.add_option("--tip", o.tipLink,
                 "with a URDF file: the flange link (default: the only leaf six moving joints "
                 "below the base)")
      ->type_name("LINK");
}

void addJsonFlag(CLI::App& app, Options& o) {
  app.add_flag("--json", o.json, "write the results as one JSON document instead of text");
}

void addJointsArgument(CLI::App& app, Options& o) {
  app.add_option("joints", o.joints, "the six joint values J1 ... J6, degrees")->type_name("DEG");
}

/// Adds an option that takes any number of values: how many it needs is checked when they are
/// read, with the tool's own message.
CLI::Option* addListOption(CLI::App& app, const std::string& name, std::vector<std::string>& values,
                           const std::string& help, const std::string& typeName) {
  return app.add_option(name, values, help)
      ->type_name(typeName)
      ->expected(1, CLI::detail::expected_max_vector_size);
}

void addPointOption(CLI::App& app, const std::string& name, std::vector<std::string>& values,
                    const std::string& help) {
  addListOption(app, name, values, help, "X Y Z")->required();
}

/// Adds the command `name` with the one-line `description` of the tool's help and the `footer`
/// of its own.
CLI::App* addCommand(CLI::App& app, const std::string& name, const std::string& description,
                     const std::string& footer) {
  CLI::App* command = app.add_subcommand(name, description);
  command->footer(footer);
  return command;
}

RobJoint jointsFrom(const std::vector<std::string>& texts) {
  const std::vector<double> v = parseNumbers(texts, {"J1", "J2", "J3", "J4", "J5", "J6"},
                                             "joint values (J1 ... J6, degrees)");
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

IkRequest ikFrom(const CLI::App& app, const Options& o) {
  IkRequest request;
  const std::vector<double> v = parseNumbers(o.pose, {"X", "Y", "Z", "Q1", "Q2", "Q3", "Q4"},
                                             "flange pose (X Y Z in mm, Q1 Q2 Q3 Q4)");
  request.flangePose = Pose({v[0], v[1], v[2]}, {v[3], v[4], v[5], v[6]});
  if (given(app, "--conf") && given(app, "--seed"))
    throw UsageError("--conf and --seed do not go together");
  if (given(app, "--conf"))
    request.conf = confFrom(o.conf);
  if (given(app, "--seed")) {
    const std::vector<double> s = parseNumbers(
        o.seed, {"--seed J1", "--seed J2", "--seed J3", "--seed J4", "--seed J5", "--seed J6"},
        "numbers after --seed (J1 ... J6, degrees)");
    request.seed = RobJoint(s[0], s[1], s[2], s[3], s[4], s[5]);
  }
  return request;
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

Arm armFrom(const CLI::App& app, const Options& o) {
  const bool urdf = given(app, "--arm") && isUrdfPath(o.armPath);
  if (!urdf && (given(app, "--base") || given(app, "--tip")))
    throw UsageError("--base and --tip go with a URDF arm file (--arm FILE.urdf)");
  if (urdf)
    return loadUrdfArm(o.armPath, o.baseLink, o.tipLink);
  return given(app, "--arm") ? loadArm(o.armPath) : defaultArm();
}

CircleRequest circleFrom(const CLI::App& app, const Options& o) {
  CircleRequest request;
  request.start = pointFrom(o.start, "--start");
  request.via = pointFrom(o.via, "--via");
  request.end = pointFrom(o.end, "--end");
  if (given(app, "--samples"))
    request.samples = parseWholeNumber(o.samples, kMinSamples, kMaxSamples, "--samples");
  if (given(app, "--zone"))
    request.zoneName = o.zone;
  if (given(app, "--ori-mode") != given(app, "--ori"))
    throw UsageError(
        "--ori-mode and --ori go together: the mode and the start, circle-point "
        "and end orientations");
  if (given(app, "--ori-mode")) {
    const std::optional<CircleOriMode> mode = FindCircleOriMode(o.oriMode);
    if (!mode)
      throw UsageError("unknown orientation mode '" + o.oriMode +
                       "' (one of cirpoint, path, object)");
    request.oriModes.push_back(*mode);
    std::vector<std::string> names;
    for (const char* which : {"start", "circle-point", "end"})
      for (const char* q : {"q1", "q2", "q3", "q4"})
        names.push_back(std::string("--ori ") + which + " " + q);
    const std::vector<double> q = parseNumbers(
        o.ori, names, "numbers after --ori (start, circle-point and end quaternions, q1 first)");
    for (std::size_t i = 0; i < 3; ++i)
      request.ori[i] = {q[4 * i], q[4 * i + 1], q[4 * i + 2], q[4 * i + 3]};
  }
  return request;
}

ViewRequest viewFrom(const CLI::App& app, const Options& o) {
  ViewRequest request;
  request.outputPath = o.outputPath;
  if (given(app, "--arm") || given(app, "--base") || given(app, "--tip"))
    request.arm = armFrom(app, o);
  if (!o.program.empty())
    request.programPath = o.program;
  if (given(app, "--step")) {
    if (!request.programPath)
      throw UsageError("--step goes with a program file");
    request.stepMm = parseNumber(o.step, "--step");
    if (*request.stepMm <= 0.0)
      throw UsageError("--step must be positive, got '" + o.step + "'");
  }
  return request;
}

/// \returns the report of the command the parsed command line selects.
Report run(const CLI::App& app, const Options& o, const std::vector<CommandHook>& hooks) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  if (commands.empty())
    return runTour(armFrom(app, o));
  for (const CommandHook& hook : hooks)
    if (hook.command == commands.front())
      return hook.run([&] { return armFrom(app, o); });
  const std::string& name = commands.front()->get_name();
  if (name == "fk") {
    SingularityTolerances tolerances;
    if (given(app, "--joint-tolerance"))
      tolerances.joint = parseTolerance(o.jointTolerance, "--joint-tolerance");
    if (given(app, "--wcp-tolerance"))
      tolerances.wcp = parseTolerance(o.wcpTolerance, "--wcp-tolerance");
    const RobJoint joints = jointsFrom(o.joints);
    return runFk(armFrom(app, o), joints, tolerances);
  }
  if (name == "ik") {
    const IkRequest request = ikFrom(app, o);
    return runIk(armFrom(app, o), request);
  }
  if (name == "jacobian") {
    const RobJoint joints = jointsFrom(o.joints);
    return runJacobian(armFrom(app, o), joints, o.body);
  }
  if (name == "circle")
    return runCircle(circleFrom(app, o));
  if (name == "audit") {
    AuditRequest request;
    request.programPath = o.program;
    if (given(app, "--step")) {
      request.stepMm = parseNumber(o.step, "--step");
      if (*request.stepMm <= 0.0)
        throw UsageError("--step must be positive, got '" + o.step + "'");
    }
    if (given(app, "--samples"))
      request.samplesPath = o.samplesPath;
    if (o.timedSamples && !o.json)
      throw UsageError("--timed-samples needs --json");
    request.jsonSamples = o.timedSamples;
    if (given(app, "--html"))
      request.htmlPath = o.htmlPath;
    request.showProgress = !o.json;
    request.text = !o.json;
    request.json = o.json;
    return runAudit(request);
  }
  if (name == "view")
    return runView(viewFrom(app, o));
  if (name == "tables") {
    if (o.table == "speeds")
      return runTables(TableKind::Speeds);
    if (o.table == "zones")
      return runTables(TableKind::Zones);
    throw UsageError("unknown table '" + o.table + "' (speeds or zones)");
  }
  return runArm(armFrom(app, o));
}

/// "zorrob" or "zorrob <command>", the prefix of every error line.
std::string who(const CLI::App& app) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  return commands.empty() ? "zorrob" : "zorrob " + commands.front()->get_name();
}

/// "zorrob <command>" for the command named among argv[1] .. argv[end - 1], before the parser
/// has run; "zorrob" when there is none.
std::string commandBefore(const CLI::App& app, char** argv, int end) {
  for (int i = 1; i < end; ++i)
    for (const CLI::App* command : app.get_subcommands({}))
      if (command->get_name() == argv[i])
        return "zorrob " + command->get_name();
  return "zorrob";
}

int fail(const std::string& prefix, const std::string& message, int status) {
  std::cerr << prefix << ": " << message << '\n';
  return status;
}

/// The whole tool: parses the command line, runs the command and prints its report.
int Main(int argc, char** argv) {
  Options o;
  CLI::App app(
      "zorrob: forward and inverse kinematics, Jacobians, singularities and joint limits of\n"
      "six-axis arms, circular moves with their zones and tool orientations, and the predefined\n"
      "speed and zone tables.",
      "zorrob");
  app.set_version_flag("--version", std::string("zorrob ") + ZORROB_VERSION);
  app.require_subcommand(0, 1);
  addArmOption(app, o);
  addJsonFlag(app, o);

  CLI::App* fk = addCommand(
      app, "fk", "forward kinematics of six joint values",
      "Prints the robot target (brace, Ostrel and stream forms), its configuration (brace, UI,\n"
      "Ostrel, KRL and stream forms), the wrist centre, the singularity class (none, wrist,\n"
      "elbow or shoulder) and the joint-limit verdict.\n\n"
      "Example: zorrob fk 10 20 -30 40 50 60");
  addJointsArgument(*fk, o);
  fk->add_option("--joint-tolerance", o.jointTolerance,
                 "tolerance of the wrist and elbow tests, degrees (default 0.001)")
      ->type_name("DEG");
  fk->add_option("--wcp-tolerance", o.wcpTolerance,
                 "tolerance of the shoulder test: distance of the wrist centre from the "
                 "joint-1 axis, mm (default 0.001)")
      ->type_name("MM");
  addArmOption(*fk, o);
  addJsonFlag(*fk, o);

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
  ik->add_option("pose", o.pose, "the flange pose X Y Z (mm) and its quaternion Q1 Q2 Q3 Q4")
      ->type_name("NUM");
  addListOption(*ik, "--conf", o.conf, "the configuration CF1 CF4 CF6 CFX", "N");
  addListOption(*ik, "--seed", o.seed, "the joints J1 ... J6 (degrees) to stay nearest to", "DEG");
  addArmOption(*ik, o);
  addJsonFlag(*ik, o);

  CLI::App* jacobian = addCommand(
      app, "jacobian", "the 6x6 space or body Jacobian",
      "Column i is the screw axis of joint i, in the base frame at the current position (space\n"
      "Jacobian) or in the flange frame (body Jacobian, --body). Rows wx wy wz are angular,\n"
      "rows vx vy vz linear (mm).\n\n"
      "Example: zorrob jacobian 0 0 0 0 90 0 --body");
  addJointsArgument(*jacobian, o);
  jacobian->add_flag("--body", o.body, "the body Jacobian (flange frame) instead of the space one");
  addArmOption(*jacobian, o);
  addJsonFlag(*jacobian, o);

  CLI::App* circle = addCommand(
      app, "circle", "the circle of a circular move through three points",
      "Prints the centre, radius, normal, arc angle and length of the arc from the start point\n"
      "through the via point to the end point, and samples of point and tangent at evenly\n"
      "spaced fractions of the arc. With --zone, the zone entry and exit points and directions\n"
      "at the zone's pzoneTcp distance from both ends. With --ori-mode and --ori, the tool\n"
      "orientation at each sample.\n\n"
      "Example: zorrob circle --start 0 0 0 --via 100 100 0 --end 200 0 0 --zone z10 \\\n"
      "           --ori-mode object --ori 1 0 0 0  0.92388 0 0 0.382683  0.707107 0 0 0.707107");
  addPointOption(*circle, "--start", o.start, "start point A (mm)");
  addPointOption(*circle, "--via", o.via, "via point B, the circle point (mm)");
  addPointOption(*circle, "--end", o.end, "end point C (mm)");
  circle->add_option("--samples", o.samples, "number of samples, 2 to 10000 (default 5)")
      ->type_name("N");
  circle
      ->add_option("--zone", o.zone, "a predefined zone: fine, z0 ... z200, FINE, CNT0 ... CNT100")
      ->type_name("NAME");
  circle
      ->add_option("--ori-mode", o.oriMode,
                   "cirpoint (through the circle-point orientation), path (turning with the "
                   "path) or object (fixed frame); needs --ori")
      ->type_name("MODE");
  addListOption(*circle, "--ori", o.ori,
                "twelve numbers: the start, circle-point and end orientations as quaternions q1 "
                "q2 q3 q4 (q1 the scalar part), each normalised",
                "Q");
  addJsonFlag(*circle, o);

  CLI::App* tables =
      addCommand(app, "tables", "the predefined speed or zone table",
                 "speeds: v5 ... v7000 with vTcp, vOri, vLeax and vReax.\n"
                 "zones: fine, z0 ... z200, FINE and CNT0 ... CNT100 with all their members.\n\n"
                 "Example: zorrob tables zones");
  tables->add_option("table", o.table, "speeds or zones")->type_name("NAME")->required();
  addJsonFlag(*tables, o);

  CLI::App* armCommand = addCommand(
      app, "arm", "the arm's summary and its whole model",
      "Prints the arm's summary, its joint axes and points and its screw axes in the base and\n"
      "flange frames. With --json, also the arm file that describes it (\"description\") and\n"
      "every member of its model (\"model\").\n\n"
      "Example: zorrob arm --arm data/arms/default.json");
  addArmOption(*armCommand, o);
  addJsonFlag(*armCommand, o);

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
      "Example: zorrob audit examples/audit/weld_seam.json --samples samples.csv");
  audit->add_option("program", o.program, "the program file (JSON)")
      ->type_name("PROGRAM.json")
      ->required();
  audit->add_option("--step", o.step, "the sampling step along the path, mm (default 1)")
      ->type_name("MM");
  audit->add_option("--samples", o.samplesPath, "write every sample to this CSV file")
      ->type_name("FILE.csv");
  audit->add_flag("--timed-samples", o.timedSamples,
                  "with --json, add every sample with its time, speeds, accelerations and the "
                  "limit that binds there");
  audit->add_option("--html", o.htmlPath, "write the page of the program and its audit (see view)")
      ->type_name("FILE.html");
  addJsonFlag(*audit, o);

  CLI::App* view = addCommand(
      app, "view", "the arm, a program and its audit as one browser page",
      "Writes one self-contained HTML page (three.js inside, nothing loaded from the network):\n"
      "the arm with its joint axes and the base, flange and tool frames; with a program file,\n"
      "its targets, the audited path coloured by what the audit found, playback along the\n"
      "samples, charts of the six joints and the table of events (a click moves the arm\n"
      "there). --arm replaces the program's own arm.\n\n"
      "Example: zorrob view examples/audit/cell.json -o cell.html");
  view->add_option("program", o.program, "the program file (JSON)")->type_name("PROGRAM.json");
  view->add_option("--step", o.step, "the sampling step along the path, mm (default 1)")
      ->type_name("MM");
  view->add_option("-o,--output", o.outputPath, "the page to write")
      ->type_name("FILE.html")
      ->required();
  addArmOption(*view, o);
  addJsonFlag(*view, o);

  const std::vector<CommandHook> hooks{AddReachCommand(app), AddPlaceCommand(app)};
  for (const CommandHook& hook : hooks) {
    if (hook.usesArm)
      addArmOption(*hook.command, o);
    addJsonFlag(*hook.command, o);
  }

  // Set last: the commands would otherwise take this footer over as their own.
  app.footer(
      "Without a command, zorrob tours the arm: its summary, the home target, the forward\n"
      "kinematics of a few joint vectors (targets in brace, Ostrel and stream form,\n"
      "configurations in KRL form, singularity class, limit verdict), the inverse kinematics of\n"
      "the first of them, and a circular move with a z50 zone and the tool orientation in each\n"
      "mode.\n\n"
      "Lengths are in mm, joint values in degrees. Exit status: 0 on success, 2 for a command\n"
      "line that cannot be run, 1 for inputs that are rejected (arm files, circle points,\n"
      "program files), 3 for an audit that found events.\n"
      "Run 'zorrob COMMAND --help' for the options of each command.");

  try {
    std::vector<std::string> args;
    for (int i = argc - 1; i >= 1; --i) {  // the parser takes the arguments in reverse order
      try {
        args.push_back(prepareArgument(argv[i]));
      } catch (const UsageError& e) {
        return fail(commandBefore(app, argv, i), e.what(), kExitUsage);
      }
    }
    app.parse(std::move(args));
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return std::cout.flush() ? 0 : 1;
  } catch (const CLI::CallForVersion& e) {
    std::cout << e.what() << '\n';
    return std::cout.flush() ? 0 : 1;
  } catch (const CLI::ExtrasError& e) {
    // The parser's own message lists the arguments in reverse order.
    const std::vector<std::string> extras = app.remaining(true);
    std::string message = e.what();
    if (!extras.empty()) {
      message = extras.size() > 1 ? "unexpected arguments:" : "unexpected argument:";
      for (const std::string& extra : extras)
        message += " " + extra;
    }
    if (app.get_subcommands().empty()) {
      if (!extras.empty() && extras.front().rfind('-', 0) != 0)
        message = "unknown command '" + extras.front() + "'";
      message += std::string(" (commands: ") + kCommandList + "; see zorrob --help)";
    }
    return fail(who(app), message, kExitUsage);
  } catch (const CLI::ParseError& e) {
    return fail(who(app), e.what(), kExitUsage);
  } catch (const std::exception& e) {
    return fail(who(app), e.what(), kExitRejected);
  }

  std::string output;
  int status = 0;
  try {
    const std::vector<CLI::App*> commands = app.get_subcommands();
    const bool usesArm = commands.empty() || commands.front() == fk || commands.front() == ik ||
                         commands.front() == jacobian || commands.front() == armCommand ||
                         commands.front() == view ||
                         std::any_of(hooks.begin(), hooks.end(), [&](const CommandHook& h) {
                           return h.usesArm && h.command == commands.front();
                         });
    if (given(app, "--arm") && !usesArm)
      throw UsageError("--arm does not apply to this command");
    const Report report = run(app, o, hooks);
    status = report.status;
    // A file name that is not valid UTF-8 is written with replacement characters.
    output = o.json ? report.json.dump(kJsonIndent, ' ', false,
                                       nlohmann::ordered_json::error_handler_t::replace) +
                          "\n"
                    : report.text;
  } catch (const UsageError& e) {
    return fail(who(app), e.what(), kExitUsage);
  } catch (const std::bad_alloc&) {
    return fail(who(app), "out of memory", kExitRejected);
  } catch (const std::exception& e) {
    // InputError and the library's own exceptions (TPCircleFail, std::logic_error,
    // std::overflow_error), whose messages say what was wrong.
    return fail(who(app), e.what(), kExitRejected);
  }
  std::cout << output;
  if (!std::cout.flush())
    return fail(who(app), "cannot write to standard output", kExitRejected);
  return status;
}

}  // namespace
}  // namespace zor::rob::cli

int main(int argc, char** argv) {
  return zor::rob::cli::Main(argc, argv);
}
