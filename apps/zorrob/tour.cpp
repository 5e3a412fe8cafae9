// zorrob without a command: a short tour of what the library computes for one arm.
#include <cstddef>
#include <string>
#include <vector>

#include "commands.hpp"
#include "program_file.hpp"
#include "tour_cell.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob::cli {

namespace {

std::string heading(const std::string& title) {
  return "\n== " + title + " ==\n";
}

/// Indents every line of `text` by two spaces.
std::string indented(const std::string& text) {
  std::string out;
  bool lineStart = true;
  for (const char ch : text) {
    if (lineStart && ch != '\n')
      out += "  ";
    out += ch;
    lineStart = ch == '\n';
  }
  return out;
}

/// The joint vectors of the tour after the home position: an ordinary pose with the wrist
/// flipped, the stretched elbow of this arm and a pose beyond the joint-2 limit of the default
/// arm.
std::vector<RobJoint> tourJoints(const Arm& arm) {
  const double stretched = RadToDeg(-arm.config.elbowOffset);
  return {RobJoint(30, -20, 45, 60, -45, 90), RobJoint(0, 20, stretched, 0, 30, 0),
          RobJoint(-45, 160, -30, 0, 60, 0)};
}

/// A circular move in front of the default arm: a horizontal half circle of radius 300 mm about
/// (700, 0, 500). The tool points down at the start, has turned 45 degrees about the base z axis
/// at the via point and ends turned 90 degrees about z and tilted 30 degrees about base x, so
/// that the three orientation modes give different orientations along the arc.
CircleRequest tourCircle() {
  CircleRequest c;
  c.start = {700, -300, 500};
  c.via = {1000, 0, 500};
  c.end = {700, 300, 500};
  c.samples = 5;
  c.zoneName = "z50";
  c.oriModes = {CircleOriMode::cirPoint, CircleOriMode::pathFrame, CircleOriMode::objectFrame};
  c.ori = {
      Orient{0, 0, 1, 0}, Orient{0, -0.3826834323650898, 0.9238795325112867, 0},
      Orient{0.1830127018922193, -0.6830127018922193, 0.6830127018922194, 0.18301270189221933}};
  return c;
}

}  // namespace

Report runTour(const Arm& arm) {
  Report report;
  auto& json = report.json;
  json["command"] = "tour";

  const Report summary = armSummary(arm);
  json["arm"] = summary.json;
  report.text = "zorrob: a short tour of the arm '" + Printable(arm.name) +
                "'. Lengths in mm, joint values in degrees.\n" + heading("The arm") +
                indented(summary.text);

  const Report home = runFk(arm, arm.config.getHomeJoint(), SingularityTolerances{});
  json["home"] = home.json;
  report.text += heading("The home target") + indented(home.text);

  auto fks = nlohmann::ordered_json::array();
  report.text += heading("Forward kinematics");
  bool first = true;
  for (const RobJoint& joints : tourJoints(arm)) {
    const Report fk = runFk(arm, joints, SingularityTolerances{});
    report.text += (first ? "" : "\n") + indented(fk.text);
    first = false;
    fks.push_back(fk.json);
  }
  json["fk"] = std::move(fks);

  // The inverse kinematics of the first of those targets: every solution, the one of its own
  // configuration, and the one nearest to joints a few degrees off.
  const RobJoint ikJoints = tourJoints(arm).front();
  const RobTarget ikTarget = arm.config.getRobTarget(ikJoints);
  IkRequest all;
  all.flangePose = ikTarget.pose;
  IkRequest inConf = all;
  inConf.conf = ikTarget.robConf;
  IkRequest nearest = all;
  RobJoint seed = ikJoints;
  for (std::size_t i = 0; i < 6; ++i)
    seed.values[i] += i % 2 == 0 ? 5.0 : -5.0;
  nearest.seed = seed;
  auto iks = nlohmann::ordered_json::array();
  report.text += heading("Inverse kinematics of the first target");
  first = true;
  for (const IkRequest& request : {all, inConf, nearest}) {
    const Report ik = runIk(arm, request);
    report.text += (first ? "" : "\n") + indented(ik.text);
    first = false;
    iks.push_back(ik.json);
  }
  json["ik"] = std::move(iks);

  const Report circle = runCircle(tourCircle());
  json["circle"] = circle.json;
  report.text += heading("A circular move through three points, zone z50") + indented(circle.text);

  const Report reach = runReachSlice(arm);
  json["reach"] = reach.json;
  report.text += heading("A reach map of 200 tool orientations in a slice at z = 800 mm") +
                 indented(reach.text);

  // The audit of the example cell, with the audit command's own tables. Its events make the
  // audit command exit with 3; the tour itself succeeds.
  const Report audit =
      runAudit(ProgramFromText(kTourCellText, kTourCellSource,
                               [](const std::string& path) { return loadArm(path); }),
               AuditRequest{});
  json["audit"] = audit.json;
  report.text +=
      heading(std::string("An audit of the program ") + kTourCellSource) + indented(audit.text);
  return report;
}

}  // namespace zor::rob::cli
