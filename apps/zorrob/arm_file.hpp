#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "zor/rob/robot_config.hpp"

// The arm the tool computes with: the embedded default arm or one read from a JSON file.
//
// An arm file is one JSON object in one of two forms. Both carry the limits, home joints and
// coupling flag; unknown keys are rejected so that a misspelt key cannot pass unnoticed.
//
//   ortho-parallel form: the seven lengths in mm
//     {"name": "...", "orthoParallel": {"a1": 150, "a2": -110, "b": 0, "c1": 450, "c2": 600,
//      "c3": 640, "c4": 100}, "limits": ..., "home": ..., "coupling": false}
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
namespace zor::rob::cli {

struct Arm {
  /// The name given in the file ("default" for the embedded arm).
  std::string name{};
  /// Where the arm came from: "embedded" or the file's path.
  std::string source{};
  /// The seven lengths of an arm in the ortho-parallel form; nothing for the general form.
  std::optional<OrthoParallelGeometry> lengths{};
  /// The model, ready for use (screw axes in the flange frame and the wrist flag computed).
  RobotConfig config{};
};

/// \returns the library's embedded default arm.
Arm defaultArm();

/// \returns the arm described by the JSON document `doc`, naming `source` as its origin.
/// Throws InputError with a message naming the offending key for a document that is not an
/// object, a missing, unknown or mistyped key, a non-finite number, a joint axis that is not a
/// unit vector or a flange orientation that is not a unit quaternion (both within 1e-6).
Arm armFromJson(const nlohmann::json& doc, const std::string& source);

/// \returns the arm of the JSON file at `path`. Throws InputError for a file that cannot be
/// read or is not valid JSON (with the parser's message), and as armFromJson.
Arm loadArm(const std::string& path);

/// \returns the document that describes `arm` in the form it came in: the ortho-parallel form
/// when it has lengths, the general form otherwise. armFromJson reads it back to the same arm.
nlohmann::ordered_json armToJson(const Arm& arm);

}  // namespace zor::rob::cli
