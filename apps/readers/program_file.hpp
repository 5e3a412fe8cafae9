#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "arm_file.hpp"
#include "zor/rob/audit.hpp"
#include "zor/rob/view.hpp"

// The program file of `zorrob audit`: one JSON object, written by hand or by scripts.
//
//   {
//     "arm": "arms/small.json",             optional: an arm file (relative to the program
//                                           file) or an arm document inline; the embedded
//                                           default arm when absent
//     "start": [0, 0, 0, 0, 30, 0],         the start joints, degrees
//     "tools": {"gun": {"robhold": true, "position": [0, 0, 150],
//                       "orientation": [1, 0, 0, 0]}},           optional, named tools
//     "workObjects": {"table": {"robhold": false,
//                               "user": {"position": [800, 0, 0], "orientation": [1, 0, 0, 0]},
//                               "object": {"position": [0, 0, 0], "orientation": [1, 0, 0, 0]}}},
//     "options": {"stepMm": 1, "stepDeg": 1, "jumpDeg": 10, "wristMarginDeg": 1,
//                 "elbowMarginDeg": 1, "shoulderMarginMm": 10, "circleOriMode": "cirpoint",
//                 "maxJointSpeedDeg": [150, 150, 150, 300, 300, 450],
//                 "maxJointAccelerationDeg": [600, 600, 600, 1200, 1200, 1800],
//                 "maxTcpAcceleration": 5000},          optional, each key too
//     "moves": [
//       {"type": "MoveAbsJ", "joints": [0, 0, 0, 0, 30, 0], "speed": "v1000", "zone": "fine"},
//       {"type": "MoveJ", "to": TARGET, "speed": "v1000", "zone": "z10",
//        "tool": "gun", "wobj": "table"},
//       {"type": "MoveL", "to": TARGET, "speed": {"tcp": 250, "ori": 90}, "zone": {"tcp": 5}},
//       {"type": "MoveC", "via": TARGET, "to": TARGET, "speed": "v200", "zone": "fine"}
//     ]
//   }
//
// A TARGET is {"name": "...", "position": [x, y, z], "orientation": [q1, q2, q3, q4], "conf":
// [cf1, cf4, cf6, cfx]}: an optional name (any text, shown by `zorrob view`), mm, a unit
// quaternion with q1 the scalar part (within 1e-3 of unit length, normalised on reading), and
// whole numbers; "conf" may be left out for the circle point of a MoveC only.
// Speeds and zones are predefined names (v5 ... v7000; fine, z0 ... z200, FINE, CNT0 ...
// CNT100) or values: a speed {"tcp": mm/s, "ori": deg/s} with optional "leax" (mm/s, default
// 5000) and "reax" (deg/s, default 1000); a zone {"tcp": mm} with optional "ori", "eax" (mm),
// "oriDeg" (deg), "leax" (mm) and "reax" (deg), all 0 by default: a zone given by value is never
// a stop point. "tool" and "wobj" name entries of "tools" and "workObjects"; left out, a move
// uses the default robot-held tool and the default fixed work object. Unknown keys are errors.
namespace zor::rob::cli {

/// A program read from a file, ready for the audit.
struct Program {
  /// The file it came from, as named on the command line.
  std::string source{};
  Arm arm{};
  RobJoint start{};
  std::vector<ProgramMove> moves{};
  /// The names of each move's target, circle point, tool and work object, as written.
  std::vector<MoveLabels> labels{};
  AuditOptions options{};
};

/// Loads the arm file that a program names (given as written in the program).
using ArmLoader = std::function<Arm(const std::string& path)>;

/// \returns the program of the JSON text `text` read from the file `source`. Arm files named
/// in it are loaded through `loadArmFile`. Throws InputError with one line naming the file, the
/// move (index from 0) where there is one and the field, for text that is not JSON (or repeats a
/// key), a document that is not an object, a missing, unknown or mistyped field, an array of the
/// wrong length, a non-finite number, an unknown speed, zone, tool, work object or orientation mode
/// name, and an empty program; nothing after the first error is read.
Program ProgramFromText(std::string_view text, const std::string& source,
                        const ArmLoader& loadArmFile);

/// \returns the program of the file at `path`, with arm files found relative to its directory.
/// Throws InputError as readInputFile (a regular file of at most kProgramFileCap bytes), and as
/// ProgramFromText.
Program LoadProgram(const std::string& path);

}  // namespace zor::rob::cli
