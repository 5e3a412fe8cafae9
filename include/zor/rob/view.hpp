#pragma once

// The view: one self-contained HTML page that shows an arm in a browser (three.js, inlined),
// the targets of a program, the path its audit followed coloured by what the audit found,
// playback along the audited samples, charts of the six joints and the table of events. The
// page loads nothing from the network; it computes the arm's pose from the samples' joints with
// the arm's own product of exponentials.
//
// Test interface of the page, for browser drivers: once the first frame is drawn, <body> carries
// data-ready="true" and window.zorrob holds
//   ready            true
//   sampleCount      the number of audited samples shown
//   events           [{kind, move, on, corner, joint, startArcLength, endArcLength, sample}]
//   goToSample(i)    puts the arm at sample i (clamped to the samples)
//   goToEvent(k)     puts the arm at the start of event k: its start joints where the audit set
//                    them, else the first sample inside it
//   joints()         the six joint values shown (degrees)
//   flangePosition() the flange position shown, [x, y, z] in mm, base frame
//   tcpPosition()    the tool centre point shown, [x, y, z] in mm, base frame

#include <span>
#include <string>
#include <vector>

#include "zor/rob/audit.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob {

/// The names a program gives one move's items; shown as text in labels and tables. An empty
/// name is left out.
struct ZORROB_API MoveLabels {
  /// The move's target.
  std::string target{};
  /// The circle point of a circular move.
  std::string circlePoint{};
  std::string tool{};
  std::string workObject{};
};

/// What the page shows besides the arm.
struct ZORROB_API ViewOptions {
  /// The page's title and heading.
  std::string title{"zorrob"};
  /// The tool whose centre point is shown when there is no program.
  ToolData tool{};
  /// The joints (degrees) the arm is shown at when there are no samples; the home joints when
  /// unset.
  RobJoint joints{};
  /// One entry per move of the program, or none.
  std::vector<MoveLabels> labels{};
};

/// \returns the page of `robot` alone, at `options.joints` with `options.tool`.
ZORROB_API std::string ViewPage(const RobotConfig& robot, const ViewOptions& options = {});

/// \returns the page of `robot` running `moves` as `report` audited them: the targets, the
/// events and, when the report kept its samples (AuditOptions::keepSamples), the path and the
/// playback. Targets and samples are placed in the base frame through their move's work object
/// (WObjData::getPose), which assumes a fixed work object and a robot-held tool. Throws
/// std::invalid_argument "the report does not belong to the program" when the report has another
/// number of moves than `moves`, and "labels must be given for every move or none" when
/// `options.labels` is neither empty nor one per move. Errors of the frames (WObjData::getPose)
/// pass through.
ZORROB_API std::string ViewPage(const RobotConfig& robot, std::span<const ProgramMove> moves,
                                const AuditReport& report, const ViewOptions& options = {});

}  // namespace zor::rob
