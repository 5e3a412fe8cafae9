#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "arm_file.hpp"
#include "output.hpp"
#include "zor/rob/audit.hpp"
#include "zor/rob/circle.hpp"
#include "zor/rob/conf_data.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/vectors.hpp"

namespace CLI {
class App;
}

// The computations behind the zorrob commands. Each returns its complete Report; none prints.
// Library exceptions pass through unchanged (the caller turns them into one line on standard
// error).
namespace zor::rob::cli {

/// Tolerances of the singularity test: joint values in degrees, the wrist centre's distance
/// from the joint-1 axis in mm.
struct SingularityTolerances {
  double joint{0.001};
  double wcp{0.001};
};

/// The robot target, configuration, singularity class and limit verdict of `joints` (degrees).
Report runFk(const Arm& arm, const RobJoint& joints, const SingularityTolerances& tolerances);

/// What `zorrob ik` is asked for: every solution of the flange pose, the one of a configuration,
/// or the one nearest to a seed.
struct IkRequest {
  Pose flangePose{};
  std::optional<ConfData> conf{};
  std::optional<RobJoint> seed{};
};

/// The joint solutions of a flange pose with their configurations, singularity classes and limit
/// verdicts. Throws InputError "no joint solution: " plus the reason (IkStatus text) when there is
/// none, and the library's exception for a zero quaternion.
Report runIk(const Arm& arm, const IkRequest& request);

/// The 6x6 space Jacobian of `joints` (degrees), or the body Jacobian when `body` is set.
Report runJacobian(const Arm& arm, const RobJoint& joints, bool body);

/// The arm's summary: name and origin, lengths or general form, wrist type, elbow, coupling,
/// flange home pose, home target and the limits.
Report armSummary(const Arm& arm);

/// The arm's summary, the document that describes it (an arm file) and every member of its
/// model.
Report runArm(const Arm& arm);

/// The range of the number of samples along the arc.
inline constexpr int kMinSamples = 2;
inline constexpr int kMaxSamples = 10000;

struct CircleRequest {
  Vec3 start{};
  Vec3 via{};
  Vec3 end{};
  /// The number of evenly spaced fractions from 0 to 1, both included; at least 2.
  int samples{5};
  /// The zone at both ends of the arc, by name; its pzoneTcp is the zone distance.
  std::optional<std::string> zoneName{};
  /// The orientation modes to sample (the command line gives at most one, the tour all three).
  std::vector<CircleOriMode> oriModes{};
  /// Start, circle-point and end orientations (normalised before use); used with oriModes.
  std::array<Orient, 3> ori{};
};

/// The circle's geometry, its samples and, with a zone, its entry and exit.
/// Throws UsageError for an unknown zone name; the library's exceptions for three points that
/// make no circle and for a zero orientation quaternion.
Report runCircle(const CircleRequest& request);

enum class TableKind { Speeds, Zones };

/// The predefined speed or zone table.
Report runTables(TableKind kind);

struct AuditRequest {
  /// The program file (see program_file.hpp).
  std::string programPath{};
  /// The sampling step (mm) instead of the program's own.
  std::optional<double> stepMm{};
  /// Where to write every sample as CSV.
  std::optional<std::string> samplesPath{};
  /// Whether the JSON report carries every timed sample.
  bool jsonSamples{false};
  /// Where to write the page of the program and its audit (see runView).
  std::optional<std::string> htmlPath{};
  /// Show the audit's progress on a terminal (see progress_line.hpp); off for --json.
  bool showProgress{false};
  /// The forms of the report to build: for a million moves each is a large document.
  bool text{true};
  bool json{true};
  /// With json: the document is written as it is formed (Report::writeJson) instead of built
  /// whole (Report::json): for a million moves it would take more memory than the audit.
  bool streamJson{false};
};

/// The audit of a program file: a table of its moves (reached, time, path, events) and the
/// list of events; status kExitEvents when there are events. Throws InputError for a program
/// file the reader rejects or a samples file that cannot be written, and the library's
/// exceptions for a program it cannot audit.
Report runAudit(const AuditRequest& request);

struct Program;

/// What `zorrob view` is asked for: a page of an arm alone, or of a program audited on its arm.
struct ViewRequest {
  /// The arm instead of the default one, or instead of the program's own.
  std::optional<Arm> arm{};
  /// The program file; the page shows the arm alone without one.
  std::optional<std::string> programPath{};
  /// The sampling step (mm) instead of the program's own.
  std::optional<double> stepMm{};
  /// Where the page goes.
  std::string outputPath{};
};

/// Writes the page of the arm alone or of the program with its audit (every sample kept) to
/// `request.outputPath`; reports what it holds and its size. Throws InputError for a program
/// file the reader rejects or a page that cannot be written, and the library's exceptions for a
/// program it cannot audit.
Report runView(const ViewRequest& request);

/// Writes the page of `program` and its audit `report` to `path` and returns it. Throws
/// InputError "page file 'PATH' cannot be written".
std::string writeProgramPage(const std::string& path, const Program& program,
                             const AuditReport& report);
/// The audit of `program`. Throws InputError "program file 'PATH': " followed by the library's
/// message (which names the move and the field) for inputs the audit rejects.
AuditReport auditProgram(const Program& program);
/// Sets the sampling step of --step when given. Throws UsageError past
/// AuditOptions::kMaxStepMm.
void applyStep(AuditOptions& options, const std::optional<double>& stepMm);

/// The audit of a program already read (request.programPath unused): the same report.
Report runAudit(Program program, const AuditRequest& request);

/// The tour of `arm`: its summary, the home target, the forward kinematics of a few joint
/// vectors, the inverse kinematics of the first of them (every solution, the one of its
/// configuration, the one nearest to a seed) and a circular move with its zones and
/// orientations in each mode.
Report runTour(const Arm& arm);

/// What a command's runner gets from the options every command shares.
struct CommandContext {
  /// Loads the arm the command line names (--arm, --base, --tip), or the default arm.
  std::function<Arm()> loadArm{};
  /// Whether --arm, --base or --tip was given.
  bool armGiven{false};
  /// Whether --json was given.
  bool json{false};
};

/// One command of the tool: it registers its help and its own options once and hands back its
/// runner; the tool adds --arm (when the command uses an arm) and --json to every command.
struct CommandHook {
  CLI::App* command{nullptr};
  bool usesArm{false};
  std::function<Report(const CommandContext& context)> run{};
};

/// Registers every command of the tool on `app`, in the order of the help (command_table.cpp).
std::vector<CommandHook> AddCommands(CLI::App& app);

/// `zorrob reach`: the reach map over a box, written to .npy or .npz (reach_command.cpp).
CommandHook AddReachCommand(CLI::App& app);

/// The tour's reach map: a slice of the default orientations (50 directions, 4 turns) at
/// z = 800 mm over x and y from -1500 to 1500 mm by 250, its summary and a picture of the index.
Report runReachSlice(const Arm& arm);

/// `zorrob place`: base poses ranked for a program file (place_command.cpp).
CommandHook AddPlaceCommand(CLI::App& app);

}  // namespace zor::rob::cli
