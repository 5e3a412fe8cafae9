#pragma once

#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

// The arm the tool computes with: the embedded default arm, one read from a JSON arm file or
// one read from a URDF file.
//
// An arm file is one JSON object in one of three forms. All carry the limits, home joints and
// coupling flag; unknown keys are rejected so that a misspelt key cannot pass unnoticed.
//
//   ortho-parallel form: the seven lengths in mm, and optionally the controller's joint offsets
//   (degrees) and signs (1 or -1): geometry joint i = signs[i] * controller joint i + offsets[i]
//     {"name": "...", "ortho-parallel": {"a1": 150, "a2": -110, "b": 0, "c1": 450, "c2": 600,
//      "c3": 640, "c4": 100, "offsets": [0, 0, 0, 0, 0, 0], "signs": [1, 1, 1, 1, 1, 1]},
//      "limits": ..., "home": ..., "coupling": false}
//
//   Denavit-Hartenberg form: six rows [a, alpha, d, thetaOffset] (mm and degrees), "classic" or
//   "modified" (each row holds the previous link's a and alpha)
//     {"name": "...", "dh": {"convention": "classic", "rows": [[0, -90, 290, 0], ... six ...]},
//      "limits": ..., "home": ..., "coupling": false}
//
//   general form: each joint's unit axis and a point on it (base frame, home position, mm),
//   the flange pose at home (position in mm, unit quaternion q1..q4 with q1 the scalar part)
//   and the elbow offset in radians
//     {"name": "...", "joints": [{"axis": [0, 0, 1], "point": [0, 0, 0]}, ... six ...],
//      "flangeHome": {"position": [x, y, z], "orientation": [q1, q2, q3, q4]},
//      "elbowOffsetRad": 1.74, "limits": ..., "home": ..., "coupling": false}
//
//   limits in degrees, "sumMin"/"sumMax" bound joint 2 + joint 3 (applied when coupling is on):
//     {"min": [6 numbers], "max": [6 numbers], "sumMin": -170, "sumMax": 170}
//   home: six joint values in degrees; coupling: true or false.
//
// A file whose name ends in ".urdf" is a URDF robot description instead: the chain from a base
// link to a tip link, with its limits; home joints zero, coupling off.
namespace zor::rob::cli {

struct Arm {
  /// The name given in the file ("default" for the embedded arm).
  std::string name{};
  /// Where the arm came from: "embedded" or the file's path.
  std::string source{};
  /// The seven lengths of an arm in the ortho-parallel form; nothing for the other forms.
  std::optional<OrthoParallelGeometry> lengths{};
  /// The controller's joint offsets (degrees) and signs of the ortho-parallel form.
  std::array<double, 6> offsets{};
  std::array<int, 6> signs{1, 1, 1, 1, 1, 1};
  /// The table of an arm in the Denavit-Hartenberg form.
  std::optional<DhTable> dh{};
  /// The chain of an arm read from a URDF file.
  std::optional<UrdfChainEnds> urdf{};
  /// The described flange in the model's flange frame: the identity unless the import moved the
  /// model's flange to the wrist centre (see zor/rob/arm_import.hpp).
  Transform userFlange{};
  /// The model, ready for use (screw axes in the flange frame and the wrist flag computed).
  RobotConfig config{};
};

/// \returns the library's embedded default arm.
Arm defaultArm();

/// \returns the arm described by the JSON document `doc`, naming `source` as its origin.
/// Throws InputError with a message naming the offending key for a document that is not an
/// object, a missing, unknown or mistyped key, a non-finite number, a joint axis that is not a
/// unit vector or a flange orientation that is not a unit quaternion (both within 1e-6), a sign
/// other than 1 or -1, an unknown DH convention; and with the library's message for an
/// ortho-parallel or DH arm the library cannot hold, and for an arm of any form that breaks an
/// assumption of the model (CheckArmModel: the axes, the wrist, the elbow offset, the flange,
/// the size, the limits and the home joints).
Arm armFromJson(const nlohmann::json& doc, const std::string& source);

/// \returns the arm of the JSON file at `path`. Throws InputError as readInputFile (a regular
/// file of at most kArmFileCap bytes) and parseJsonDocument (valid JSON, no key twice), and as
/// armFromJson.
Arm loadArm(const std::string& path);

/// \returns whether `path` names a URDF file (its name ends in ".urdf").
bool isUrdfPath(const std::string& path);

/// \returns the arm of the chain from link `base` to link `tip` of the URDF file at `path`;
/// an empty name stands for the description's root, or its only leaf six moving joints below.
/// Throws InputError "arm file 'PATH': " followed by the reader's message.
Arm loadUrdfArm(const std::string& path, const std::string& base, const std::string& tip);

/// \returns whether the model's flange is not the described one.
bool flangeMoved(const Arm& arm);

/// \returns the model flange's pose that puts the described flange at `described`: the tool's
/// poses are of the flange the arm file describes, the one `fk` prints.
Pose modelFlangePose(const Arm& arm, const Pose& described);

/// Makes `tool` and `wobj`, given against the described flange, act on the model's: the frame
/// the flange carries (the tool, or a work object the robot holds) is prefixed by the described
/// flange in the model's.
void useDescribedFlange(const Arm& arm, ToolData& tool, WObjData& wobj);

/// \returns the seven lengths as the ortho-parallel form of an arm file holds them:
/// {"a1": …, "a2": …, "b": …, "c1": …, "c2": …, "c3": …, "c4": …} (mm).
nlohmann::ordered_json lengthsToJson(const OrthoParallelGeometry& g);

/// \returns the document that describes `arm` in the form it came in: the ortho-parallel or
/// Denavit-Hartenberg form when it came in one, the general form otherwise (a URDF arm's model,
/// with the model's flange). armFromJson reads it back to the same model.
nlohmann::ordered_json armToJson(const Arm& arm);

}  // namespace zor::rob::cli
