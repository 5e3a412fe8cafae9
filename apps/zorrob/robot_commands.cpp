// zorrob fk, ik, jacobian and arm: what the library computes from an arm model.
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli_error.hpp"
#include "commands.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/inverse_kinematics.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::cli {

namespace {

using Json = nlohmann::ordered_json;
using Align = Table::Align;

std::string armLabel(const Arm& arm) {
  return arm.name + " (" + arm.source + ")";
}

Json armReference(const Arm& arm) {
  return {{"name", arm.name}, {"source", arm.source}};
}

Json jointsJson(const RobJoint& joints) {
  return joints.values;
}

/// "v1, v2, ..." in the shortest round-trip form.
template <typename T, std::size_t N>
std::string list(const std::array<T, N>& values) {
  std::string out;
  for (std::size_t i = 0; i < N; ++i)
    out += (i == 0 ? "" : ", ") + ShortestText(static_cast<double>(values[i]));
  return out;
}

std::string range(double min, double max) {
  return ShortestText(min) + " .. " + ShortestText(max);
}

Json screwJson(const ScrewAxis& s) {
  return {s.w.x, s.w.y, s.w.z, s.v.x, s.v.y, s.v.z};
}

/// The table of six screw axes, one row per joint.
std::string screwTable(const std::array<ScrewAxis, 6>& axes) {
  Table table(std::vector<Align>(7, Align::Right));
  table.addRow({"joint", "wx", "wy", "wz", "vx", "vy", "vz"});
  for (std::size_t i = 0; i < 6; ++i) {
    std::vector<std::string> row{std::to_string(i + 1)};
    for (int k = 0; k < 6; ++k)
      row.push_back(fixed(axes[i][k], kUnitDecimals));
    table.addRow(std::move(row));
  }
  return table.render("  ");
}

struct LimitVerdict {
  std::array<bool, 6> joints{};
  /// Only with coupled limits: whether joint 2 + joint 3 lies within its limits.
  std::optional<bool> sum{};
  bool allowed{true};
  std::string text{};
};

LimitVerdict checkLimits(const RobotConfig& c, const RobJoint& joints) {
  const auto& v = joints.values;
  LimitVerdict verdict;
  std::vector<std::string> outside;
  for (std::size_t i = 0; i < 6; ++i) {
    verdict.joints[i] = c.isJointAllowedIn(joints, i);
    if (!verdict.joints[i] && !(c.jointMin[i] - RobotConfig::kJointLimitTolerance < v[i] &&
                                v[i] < c.jointMax[i] + RobotConfig::kJointLimitTolerance)) {
      outside.push_back("joint " + std::to_string(i + 1) + " = " + ShortestText(v[i]) + " not in " +
                        range(c.jointMin[i], c.jointMax[i]));
    }
  }
  if (c.jointCoupling == 1) {
    const double sum = v[1] + v[2];
    verdict.sum = c.isJointAllowed(6, sum, 0.0);
    if (!*verdict.sum)
      outside.push_back("joint 2 + joint 3 = " + ShortestText(sum) + " not in " +
                        range(c.jointMin[6], c.jointMax[6]));
  }
  for (const bool ok : verdict.joints)
    verdict.allowed = verdict.allowed && ok;
  if (verdict.allowed) {
    verdict.text = "within limits";
  } else {
    verdict.text = "outside limits:";
    for (std::size_t i = 0; i < outside.size(); ++i)
      verdict.text += (i == 0 ? " " : "; ") + outside[i];
  }
  return verdict;
}

}  // namespace

Report armSummary(const Arm& arm) {
  const RobotConfig& c = arm.config;
  Report report;
  Json& json = report.json;
  json["name"] = arm.name;
  json["source"] = arm.source;
  Fields fields;
  fields.add("arm", armLabel(arm));
  if (arm.lengths) {
    const OrthoParallelGeometry& g = *arm.lengths;
    json["kind"] = "ortho-parallel";
    json["lengths"] = lengthsToJson(g);
    json["offsets"] = arm.offsets;
    json["signs"] = arm.signs;
    fields.add("geometry", "ortho-parallel, a1 " + ShortestText(g.a1) + ", a2 " +
                               ShortestText(g.a2) + ", b " + ShortestText(g.b) + ", c1 " +
                               ShortestText(g.c1) + ", c2 " + ShortestText(g.c2) + ", c3 " +
                               ShortestText(g.c3) + ", c4 " + ShortestText(g.c4) + " (mm)");
    fields.add("joint convention", "geometry joint = sign * joint + offset; offsets " +
                                       list(arm.offsets) + " deg, signs " + list(arm.signs));
  } else if (arm.dh) {
    const bool classic = arm.dh->convention == DhConvention::classic;
    json["kind"] = "dh";
    json["convention"] = classic ? "classic" : "modified";
    fields.add("geometry", std::string("Denavit-Hartenberg, ") +
                               (classic ? "classic" : "modified") +
                               " convention, rows a alpha d thetaOffset (mm, deg)");
    for (std::size_t i = 0; i < 6; ++i) {
      const DhRow& r = arm.dh->rows[i];
      fields.add("  row " + std::to_string(i + 1),
                 list(std::array<double, 4>{r.a, r.alpha, r.d, r.thetaOffset}));
    }
  } else if (arm.urdf) {
    json["kind"] = "urdf";
    json["base"] = arm.urdf->base;
    json["tip"] = arm.urdf->tip;
    fields.add("geometry",
               "URDF chain from link '" + arm.urdf->base + "' to link '" + arm.urdf->tip + "'");
  } else {
    json["kind"] = "general";
    fields.add("geometry", "general (joint axes and points given)");
  }
  json["flangeMoved"] = flangeMoved(arm);
  if (flangeMoved(arm)) {
    const Pose described = arm.userFlange.toPose();
    json["userFlange"] = {{"position", toJson(described.pos)},
                          {"orientation", toJson(described.orient)}};
    fields.add("flange", "moved to the wrist centre; the described flange is " +
                             described.toString() + " in it");
  }
  json["sphericalWrist"] = c.sphericalWrist;
  json["wcpZOffset"] = c.getWcpZOffset();
  fields.add("wrist", c.sphericalWrist ? "spherical, centre " + ShortestText(c.getWcpZOffset()) +
                                             " mm behind the flange"
                                       : "not spherical (the axes of joints 4 to 6 do not meet "
                                         "in one point)");
  json["ikMethod"] = StreamText(c.ikMethod());
  fields.add("inverse kinematics", StreamText(c.ikMethod()));
  json["elbowOffset"] = c.elbowOffset;
  fields.add("elbow", "stretched at joint 3 = " + fixed(RadToDeg(-c.elbowOffset), kDegreeDecimals) +
                          " deg (elbow offset " + fixed(c.elbowOffset, kUnitDecimals) + " rad)");
  json["coupling"] = c.jointCoupling == 1;
  fields.add("coupling", c.jointCoupling == 1
                             ? std::string("on, joint 2 + joint 3 within ") +
                                   range(c.jointMin[6], c.jointMax[6])
                             : std::string("off, the joint 2 + joint 3 limits do not apply"));
  const Pose flange = c.flangeHome.toPose();
  json["flangeHome"] = {{"position", toJson(flange.pos)}, {"orientation", toJson(flange.orient)}};
  fields.add("flange home", flange.toString());
  const RobTarget home = c.getHomeTarget();
  json["homeTarget"] = home.toString();
  fields.add("home target", home.toString());

  Table limits({Align::Left, Align::Right, Align::Right, Align::Right});
  limits.addRow({"joint", "min", "max", "home"});
  auto limitsJson = Json::array();
  for (std::size_t i = 0; i < 6; ++i) {
    limits.addRow({std::to_string(i + 1), ShortestText(c.jointMin[i]), ShortestText(c.jointMax[i]),
                   ShortestText(c.homeJoint.values[i])});
    limitsJson.push_back({{"min", c.jointMin[i]}, {"max", c.jointMax[i]}});
  }
  limits.addRow({"2 + 3", ShortestText(c.jointMin[6]), ShortestText(c.jointMax[6])});
  json["limits"] = {
      {"joints", std::move(limitsJson)}, {"sumMin", c.jointMin[6]}, {"sumMax", c.jointMax[6]}};
  json["homeJoint"] = jointsJson(c.homeJoint);
  report.text = fields.render() + "limits (degrees)\n" + limits.render("  ");
  return report;
}

Report runArm(const Arm& arm) {
  const RobotConfig& c = arm.config;
  Report report;
  const Report summary = armSummary(arm);
  report.json["command"] = "arm";
  report.json["arm"] = summary.json;
  report.json["description"] = armToJson(arm);

  Json model;
  auto screws = [](const std::array<ScrewAxis, 6>& axes) {
    auto out = Json::array();
    for (const ScrewAxis& s : axes)
      out.push_back(screwJson(s));
    return out;
  };
  model["spaceScrewAxes"] = screws(c.spaceScrewAxes);
  model["bodyScrewAxes"] = screws(c.bodyScrewAxes);
  model["jointMax"] = c.jointMax;
  model["jointMin"] = c.jointMin;
  model["homeJoint"] = jointsJson(c.homeJoint);
  auto points = Json::array();
  auto axes = Json::array();
  for (std::size_t i = 0; i < 6; ++i) {
    points.push_back(toJson(c.jointPoints[i]));
    axes.push_back(toJson(c.jointAxes[i]));
  }
  model["jointPoints"] = std::move(points);
  const auto& r = c.flangeHome.rotation;
  model["flangeHome"] = {{"rotation", {r.w, r.x, r.y, r.z}},
                         {"translation", toJson(c.flangeHome.translation)}};
  model["jointAxes"] = std::move(axes);
  model["elbowOffset"] = c.elbowOffset;
  model["jointCoupling"] = c.jointCoupling;
  model["sphericalWrist"] = c.sphericalWrist;
  report.json["model"] = std::move(model);

  Table joints(std::vector<Align>(7, Align::Right));
  joints.addRow({"joint", "axis x", "axis y", "axis z", "point x", "point y", "point z"});
  for (std::size_t i = 0; i < 6; ++i) {
    const Vec3& a = c.jointAxes[i];
    const Pos& p = c.jointPoints[i];
    joints.addRow({std::to_string(i + 1), fixed(a.x, kUnitDecimals), fixed(a.y, kUnitDecimals),
                   fixed(a.z, kUnitDecimals), fixed(p.x, kLengthDecimals),
                   fixed(p.y, kLengthDecimals), fixed(p.z, kLengthDecimals)});
  }
  report.text = summary.text + "\njoint axes and points (base frame, home position, mm)\n" +
                joints.render("  ") + "\nscrew axes in the base frame (angular part first)\n" +
                screwTable(c.spaceScrewAxes) +
                "\nscrew axes in the flange frame (angular part first)\n" +
                screwTable(c.bodyScrewAxes);
  return report;
}

Report runFk(const Arm& arm, const RobJoint& joints, const SingularityTolerances& tolerances) {
  RobotConfig config = arm.config;  // the singularity test is not declared const
  const RobTarget target = config.getRobTarget(joints);
  const Pos wcp = config.tcpToWcp(target.pose);
  const SingularityType singularity =
      config.isConfSingular(joints, target.pose, tolerances.joint, tolerances.wcp);
  const LimitVerdict limits = checkLimits(config, joints);
  const ConfData& conf = target.robConf;

  Report report;
  Json& json = report.json;
  json["command"] = "fk";
  json["arm"] = armReference(arm);
  json["joints"] = jointsJson(joints);
  json["target"] = {
      {"position", toJson(target.pose.pos)},
      {"orientation", toJson(target.pose.orient)},
      {"conf", {conf.cf1, conf.cf4, conf.cf6, conf.cfx}},
      {"extJoint", target.extJoint.values},
      {"text",
       {{"brace", target.toString()},
        {"ostrel", target.toOstrelString()},
        {"stream", StreamText(target)}}},
  };
  json["conf"] = {
      {"cf1", conf.cf1},
      {"cf4", conf.cf4},
      {"cf6", conf.cf6},
      {"cfx", conf.cfx},
      {"text",
       {{"brace", conf.toString()},
        {"ui", conf.toUIString()},
        {"ostrel", conf.toOstrelString()},
        {"krl", conf.toKrlString()},
        {"stream", StreamText(conf)}}},
  };
  if (flangeMoved(arm)) {
    const Pose described = (config.getWristPoseInBase(joints) * arm.userFlange).toPose();
    json["describedFlange"] = {{"position", toJson(described.pos)},
                               {"orientation", toJson(described.orient)}};
  }
  json["wristCentre"] = toJson(wcp);
  json["singularity"] = StreamText(singularity);
  json["singularityTolerances"] = {{"joint", tolerances.joint}, {"wcp", tolerances.wcp}};
  Json limitsJson{{"allowed", limits.allowed}, {"joints", limits.joints}};
  if (limits.sum)
    limitsJson["sum"] = *limits.sum;
  json["limits"] = std::move(limitsJson);

  Fields fields;
  fields.add("arm", armLabel(arm));
  fields.add("joints", joints.toString() + " deg");
  fields.add("target", target.toString());
  fields.add("  Ostrel", target.toOstrelString());
  fields.add("  stream", StreamText(target));
  fields.add("configuration", conf.toString());
  fields.add("  UI", conf.toUIString());
  fields.add("  Ostrel", conf.toOstrelString());
  fields.add("  KRL", conf.toKrlString());
  fields.add("  stream", StreamText(conf));
  if (flangeMoved(arm))
    fields.add("described flange",
               (config.getWristPoseInBase(joints) * arm.userFlange).toPose().toString());
  fields.add("wrist centre", fixedTriple(wcp.toVec3(), kLengthDecimals) + " mm");
  fields.add("singularity", StreamText(singularity));
  fields.add("limits", limits.text);
  report.text = fields.render();
  return report;
}

namespace {

/// Decimals of joint values in the ik tables.
constexpr int kJointDecimals = 4;

/// One solution of `zorrob ik`: its joints, configuration, singularity class and limit verdict.
struct IkRow {
  Json json{};
  std::vector<std::string> cells{};
};

IkRow ikRow(RobotConfig& config, const Pose& pose, const RobJoint& joints, const ConfData& conf) {
  const SingularityTolerances tolerances;
  const SingularityType singularity =
      config.isConfSingular(joints, pose, tolerances.joint, tolerances.wcp);
  const LimitVerdict limits = checkLimits(config, joints);
  IkRow row;
  row.json = {
      {"joints", jointsJson(joints)},
      {"conf",
       {{"cf1", conf.cf1},
        {"cf4", conf.cf4},
        {"cf6", conf.cf6},
        {"cfx", conf.cfx},
        {"text", {{"brace", conf.toString()}, {"krl", conf.toKrlString()}}}}},
      {"singularity", StreamText(singularity)},
      {"limits", {{"allowed", limits.allowed}}},
  };
  for (const double v : joints.values)
    row.cells.push_back(fixed(v, kJointDecimals));
  row.cells.push_back(conf.toString());
  row.cells.push_back(conf.toKrlString());
  row.cells.push_back(StreamText(singularity));
  row.cells.push_back(limits.text);
  return row;
}

}  // namespace

Report runIk(const Arm& arm, const IkRequest& request) {
  RobotConfig config = arm.config;  // the singularity test is not declared const
  const Pose& described = request.flangePose;
  const Pose pose = modelFlangePose(arm, described);
  Report report;
  Json& json = report.json;
  json["command"] = "ik";
  json["arm"] = armReference(arm);
  json["flangePose"] = {{"position", toJson(described.pos)},
                        {"orientation", toJson(described.orient)}};
  Fields fields;
  fields.add("arm", armLabel(arm));
  fields.add("flange pose", described.toString());
  json["method"] = StreamText(config.ikMethod());
  fields.add("method", StreamText(config.ikMethod()));

  TargetConfiguration solutions;
  IkStatus status = IkStatus::found;
  if (request.conf) {
    RobTarget target(pose);
    target.robConf = *request.conf;
    const JointSolution s = config.findJointSolution(target);
    status = s.status;
    if (s.found())
      solutions.add(s.joints, s.conf);
    json["request"] = "configuration";
    json["conf"] = {request.conf->cf1, request.conf->cf4, request.conf->cf6, request.conf->cfx};
    fields.add("request", "the solution in the configuration " + request.conf->toString() + " " +
                              request.conf->toKrlString());
  } else if (request.seed) {
    const JointSolution s = config.findNearestJointSolution(pose, *request.seed);
    status = s.status;
    if (s.found())
      solutions.add(s.joints, s.conf);
    json["request"] = "nearest";
    json["seed"] = jointsJson(*request.seed);
    fields.add("request", "the solution nearest to " + request.seed->toString() +
                              " deg (largest joint difference)");
  } else {
    status = config.findAllJointSolutions(pose, nullptr, solutions);
    json["request"] = "all";
    fields.add("request", "every solution inside the joint limits");
  }
  if (status != IkStatus::found)
    throw InputError("no joint solution: " + StreamText(status));

  json["status"] = StreamText(status);
  auto rows = Json::array();
  Table table({Align::Right, Align::Right, Align::Right, Align::Right, Align::Right, Align::Right,
               Align::Right, Align::Left, Align::Left, Align::Left, Align::Left});
  table.addRow(
      {"#", "J1", "J2", "J3", "J4", "J5", "J6", "configuration", "KRL", "singularity", "limits"});
  for (std::size_t i = 0; i < solutions.size(); ++i) {
    IkRow row = ikRow(config, pose, solutions.joints[i], solutions.confs[i]);
    row.cells.insert(row.cells.begin(), std::to_string(i + 1));
    table.addRow(std::move(row.cells));
    rows.push_back(std::move(row.json));
  }
  json["solutions"] = std::move(rows);
  fields.add("solutions", std::to_string(solutions.size()));
  report.text = fields.render() + "joints in degrees\n" + table.render("  ");
  return report;
}

Report runJacobian(const Arm& arm, const RobJoint& joints, bool body) {
  const RobotConfig& c = arm.config;
  const GeometricJacobian jac = body ? c.getBodyJacobian(joints) : c.getSpaceJacobian(joints);
  static constexpr std::array<const char*, 6> kRows{"wx", "wy", "wz", "vx", "vy", "vz"};

  Report report;
  Json& json = report.json;
  json["command"] = "jacobian";
  json["arm"] = armReference(arm);
  json["joints"] = jointsJson(joints);
  json["frame"] = body ? "body" : "space";
  json["rows"] = kRows;
  auto matrix = Json::array();
  Table table(std::vector<Align>(7, Align::Right));
  table.addRow({"", "joint 1", "joint 2", "joint 3", "joint 4", "joint 5", "joint 6"});
  for (int r = 0; r < 6; ++r) {
    auto row = Json::array();
    std::vector<std::string> cells{kRows[static_cast<std::size_t>(r)]};
    for (int col = 0; col < 6; ++col) {
      row.push_back(jac(r, col));
      cells.push_back(fixed(jac(r, col), kUnitDecimals));
    }
    matrix.push_back(std::move(row));
    table.addRow(std::move(cells));
  }
  json["matrix"] = std::move(matrix);

  Fields fields;
  fields.add("arm", armLabel(arm));
  fields.add("joints", joints.toString() + " deg");
  report.text =
      fields.render() + (body ? "body" : "space") +
      " Jacobian: column i is the screw axis of joint i in the " + (body ? "flange" : "base") +
      " frame;\nrows wx wy wz angular (unitless), vx vy vz linear (mm)\n" + table.render("  ");
  return report;
}

}  // namespace zor::rob::cli
