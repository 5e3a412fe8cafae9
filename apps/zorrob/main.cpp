// zorrob: the command-line face of libzorrob. Without a command it tours the default arm; the
// commands compute forward and inverse kinematics, Jacobians, circular moves, the predefined
// tables, the arm's model (arm), the audit of a program of moves (audit), its browser page
// (view), reach maps (reach) and base placements (place), as plain text or (with --json) as one
// JSON document. Each command is registered once, in command_table.cpp and its own file.
//
// Every command builds its whole output first and prints it at the end. Any error instead
// writes one line to standard error and nothing to standard output: exit status 2 for a command
// line that cannot be run, 1 for inputs the computation or the arm loader rejects, 3 for an
// audit that found events.
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
#include "printable.hpp"

namespace zor::rob::cli {
namespace {

/// The options every command shares, as given.
struct SharedOptions {
  bool json{false};
  std::string armPath{};
  std::string baseLink{};
  std::string tipLink{};
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

void addArmOption(CLI::App& app, SharedOptions& o) {
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

void addJsonFlag(CLI::App& app, SharedOptions& o) {
  app.add_flag("--json", o.json, "write the results as one JSON document instead of text");
}

Arm armFrom(const CLI::App& app, const SharedOptions& o) {
  const bool urdf = given(app, "--arm") && isUrdfPath(o.armPath);
  if (!urdf && (given(app, "--base") || given(app, "--tip")))
    throw UsageError("--base and --tip go with a URDF arm file (--arm FILE.urdf)");
  if (urdf)
    return loadUrdfArm(o.armPath, o.baseLink, o.tipLink);
  return given(app, "--arm") ? loadArm(o.armPath) : defaultArm();
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
  // One line, whatever names the message holds.
  std::cerr << prefix << ": " << Printable(message) << '\n';
  return status;
}

/// The tool itself with every command and the options they share.
struct Tool {
  CLI::App app{
      "zorrob: forward and inverse kinematics, Jacobians, singularities and joint limits of\n"
      "six-axis arms, circular moves with their zones and tool orientations, and the predefined\n"
      "speed and zone tables.",
      "zorrob"};
  SharedOptions shared{};
  std::vector<CommandHook> commands{};

  Tool() {
    app.set_version_flag("--version", std::string("zorrob ") + ZORROB_VERSION);
    app.require_subcommand(0, 1);
    addArmOption(app, shared);
    addJsonFlag(app, shared);
    commands = AddCommands(app);
    for (const CommandHook& command : commands) {
      if (command.usesArm)
        addArmOption(*command.command, shared);
      addJsonFlag(*command.command, shared);
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
  }

  /// "fk, ik, ..., place": the names of the commands, for the error of an unknown one.
  std::string commandList() const {
    std::string list;
    for (const CommandHook& command : commands)
      list += (list.empty() ? "" : ", ") + command.command->get_name();
    return list;
  }

  /// Parses the command line. \returns the exit status when the tool is done already (help,
  /// version, a command line that cannot be run).
  std::optional<int> parse(int argc, char** argv) {
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
      return fail(who(app), extrasMessage(e), kExitUsage);
    } catch (const CLI::ParseError& e) {
      return fail(who(app), e.what(), kExitUsage);
    } catch (const std::exception& e) {
      return fail(who(app), e.what(), kExitRejected);
    }
    return std::nullopt;
  }

  /// The parser's message for arguments it did not take, which lists them in reverse order.
  std::string extrasMessage(const CLI::ExtrasError& e) const {
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
      message += " (commands: " + commandList() + "; see zorrob --help)";
    }
    return message;
  }

  /// \returns the report of the command the parsed command line selects, or of the tour.
  Report report() const {
    const std::vector<CLI::App*> selected = app.get_subcommands();
    if (selected.empty())
      return runTour(armFrom(app, shared));
    const auto command = std::find_if(commands.begin(), commands.end(), [&](const CommandHook& c) {
      return c.command == selected.front();
    });
    if (given(app, "--arm") && !command->usesArm)
      throw UsageError("--arm does not apply to this command");
    const CommandContext context{[this] { return armFrom(app, shared); },
                                 given(app, "--arm") || given(app, "--base") || given(app, "--tip"),
                                 shared.json};
    return command->run(context);
  }

  /// Runs the parsed command and prints its report. \returns the exit status.
  int run() const {
    std::string output;
    int status = 0;
    try {
      const Report r = report();
      status = r.status;
      if (shared.json && r.writeJson) {
        // Past the computation: the document is written as it is formed.
        r.writeJson(std::cout);
        std::cout << '\n';
      } else {
        output = shared.json ? JsonText(r.json) + "\n" : r.text;
      }
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
};

/// The whole tool: parses the command line, runs the command and prints its report.
int Main(int argc, char** argv) {
  Tool tool;
  if (const std::optional<int> status = tool.parse(argc, argv))
    return *status;
  return tool.run();
}

}  // namespace
}  // namespace zor::rob::cli

int main(int argc, char** argv) {
  return zor::rob::cli::Main(argc, argv);
}
