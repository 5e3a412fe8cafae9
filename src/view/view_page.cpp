// The view page: the arm, the program's targets and the audit's samples and events gathered as
// one JSON document, placed in a page with three.js and the page's own script (page.js), which
// draws everything from that document.

#include <bit>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "view/page_data.hpp"
#include "view/view_scripts.hpp"
#include "zor/rob/text.hpp"
#include "zor/rob/view.hpp"

namespace zor::rob {

namespace {

using view::appendJsonNumber;
using view::appendJsonNumbers;
using view::appendJsonString;

/// What the path is coloured by, in rising priority: a sample in several events takes the
/// highest. The page holds the names and colours in the same order.
enum class PathCategory : char {
  clean = '0',
  speedReduced = '1',
  singularity = '2',
  configuration = '3',
  jointLimit = '4',
  unreachable = '5',
};

/// The category of an event kind. Every kind is named, so that a new kind cannot compile
/// without its colour.
PathCategory categoryOf(AuditEventKind kind) {
  switch (kind) {
    case AuditEventKind::unreachableTarget:
    case AuditEventKind::noSolutionInConfiguration:
    case AuditEventKind::unreachablePathPoint:
    case AuditEventKind::noCircle:
      return PathCategory::unreachable;
    case AuditEventKind::configurationChange:
    case AuditEventKind::configurationMismatch:
    case AuditEventKind::jointJump:
      return PathCategory::configuration;
    case AuditEventKind::wristSingularity:
    case AuditEventKind::elbowSingularity:
    case AuditEventKind::shoulderSingularity:
      return PathCategory::singularity;
    case AuditEventKind::jointLimit:
      return PathCategory::jointLimit;
    case AuditEventKind::speedReduced:
      return PathCategory::speedReduced;
    case AuditEventKind::zoneShrunk:
      break;
  }
  return PathCategory::clean;
}

bool jointsSet(const RobJoint& joints) {
  for (const double v : joints.values)
    if (!std::isfinite(v) || std::abs(v) >= kUnsetRobJoint)
      return false;
  return true;
}

void appendKey(std::string& out, const char* key) {
  out += '"';
  out += key;
  out += "\":";
}

void appendPose(std::string& out, const Pose& p) {
  const double values[] = {p.pos.x,     p.pos.y,     p.pos.z,    p.orient.q1,
                           p.orient.q2, p.orient.q3, p.orient.q4};
  appendJsonNumbers(out, values);
}

void appendVec(std::string& out, const Vec3& v) {
  const double values[] = {v.x, v.y, v.z};
  appendJsonNumbers(out, values);
}

/// The arm as the page's kinematics needs it: the screw axes, the flange at home, the joint
/// axes and points (for drawing) and the limits.
void appendArm(std::string& out, const RobotConfig& robot) {
  out += "{\"screws\":[";
  for (std::size_t i = 0; i < 6; ++i) {
    const ScrewAxis& s = robot.spaceScrewAxes[i];
    const double values[] = {s.w.x, s.w.y, s.w.z, s.v.x, s.v.y, s.v.z};
    out += i == 0 ? "" : ",";
    appendJsonNumbers(out, values);
  }
  out += "],\"points\":[";
  for (std::size_t i = 0; i < 6; ++i) {
    out += i == 0 ? "" : ",";
    appendVec(out, robot.jointPoints[i].toVec3());
  }
  const Rotation& r = robot.flangeHome.rotation;
  const Vec3& t = robot.flangeHome.translation;
  const double home[] = {t.x, t.y, t.z, r.w, r.x, r.y, r.z};
  out += "],\"flangeHome\":";
  appendJsonNumbers(out, home);
  out += ",\"min\":";
  appendJsonNumbers(out, std::span(robot.jointMin).first(6));
  out += ",\"max\":";
  appendJsonNumbers(out, std::span(robot.jointMax).first(6));
  out += '}';
}

const MoveRecord& recordOf(const ProgramMove& move) {
  return std::visit([](const auto& m) -> const MoveRecord& { return m; }, move);
}

/// One labelled frame of the scene: a programmed target in the base frame.
void appendTarget(std::string& out, std::size_t move, const char* role, const std::string& name,
                  MoveType type, const Pose& pose, const ConfData& conf) {
  out += out.back() == '[' ? "{" : ",{";
  appendKey(out, "move");
  out += std::to_string(move);
  out += ",\"role\":\"";
  out += role;
  out += "\",\"name\":";
  appendJsonString(out, name);
  out += ",\"type\":\"";
  out += MoveTypeName(type);
  out += "\",\"conf\":[" + std::to_string(conf.cf1) + ',' + std::to_string(conf.cf4) + ',' +
         std::to_string(conf.cf6) + ',' + std::to_string(conf.cfx) + "],\"pose\":";
  appendPose(out, pose);
  out += '}';
}

void appendTargets(std::string& out, const RobotConfig& robot, std::span<const ProgramMove> moves,
                   std::span<const MoveLabels> labels) {
  out += '[';
  for (std::size_t i = 0; i < moves.size(); ++i) {
    const MoveRecord& m = recordOf(moves[i]);
    const MoveLabels none{};
    const MoveLabels& names = labels.empty() ? none : labels[i];
    if (const auto* absJ = std::get_if<MoveAbsJ>(&moves[i])) {
      const RobJoint& joints = absJ->toJointPos.robJoint;
      if (!jointsSet(joints))
        continue;
      const Pose flange = robot.getRobTarget(joints).pose;
      appendTarget(out, i, "to", names.target, m.moveType, flange * m.tool.tframe,
                   ConfData::FromRobJoint(joints, robot));
      continue;
    }
    const Pose object = m.wobj.getPose();
    appendTarget(out, i, "to", names.target, m.moveType, object * m.toPoint.pose,
                 m.toPoint.robConf);
    if (const auto* circle = std::get_if<MoveC>(&moves[i]))
      appendTarget(out, i, "via", names.circlePoint, m.moveType, object * circle->cirPoint.pose,
                   circle->cirPoint.robConf);
  }
  out += ']';
}

void appendMoves(std::string& out, std::span<const ProgramMove> moves,
                 std::span<const MoveLabels> labels, const AuditReport& report) {
  out += '[';
  for (std::size_t i = 0; i < moves.size(); ++i) {
    const MoveRecord& m = recordOf(moves[i]);
    out += i == 0 ? "{" : ",{";
    out += "\"type\":\"";
    out += MoveTypeName(m.moveType);
    out += "\",\"tool\":";
    appendJsonString(out, labels.empty() ? std::string() : labels[i].tool);
    out += ",\"wobj\":";
    appendJsonString(out, labels.empty() ? std::string() : labels[i].workObject);
    out += ",\"tframe\":";
    appendPose(out, m.tool.tframe);
    out += ",\"reached\":";
    out += report.moves[i].reached ? "true" : "false";
    out += '}';
  }
  out += ']';
}

bool inEvent(const AuditSample& s, const AuditEvent& e) {
  constexpr double kSlack = 1e-9;
  return s.moveIndex == e.moveIndex && s.corner == e.corner &&
         s.arcLength >= e.startArcLength - kSlack && s.arcLength <= e.endArcLength + kSlack;
}

/// The first and last sample inside each event, or the move's first sample for an event no
/// sample falls in (at a target), or −1 without samples of its move.
struct SampleRange {
  long first{-1};
  long last{-1};
};

std::vector<SampleRange> eventRanges(const AuditReport& report,
                                     const std::vector<const AuditEvent*>& events) {
  std::vector<SampleRange> ranges(events.size());
  for (std::size_t k = 0; k < events.size(); ++k) {
    const AuditEvent& e = *events[k];
    SampleRange& r = ranges[k];
    long moveFirst = -1;
    long moveLast = -1;
    for (std::size_t i = 0; i < report.samples.size(); ++i) {
      const AuditSample& s = report.samples[i];
      const auto index = static_cast<long>(i);
      if (s.moveIndex == e.moveIndex && !s.corner) {
        moveFirst = moveFirst < 0 ? index : moveFirst;
        moveLast = index;
      }
      if (inEvent(s, e)) {
        r.first = r.first < 0 ? index : r.first;
        r.last = index;
      }
    }
    if (r.first < 0) {  // at the target: the move's last sample, else its first
      const bool atTarget = std::string_view(e.place()) == "target";
      r.first = r.last = atTarget ? moveLast : moveFirst;
    }
  }
  return ranges;
}

void appendEvents(std::string& out, const std::vector<const AuditEvent*>& events,
                  const std::vector<SampleRange>& ranges) {
  out += '[';
  for (std::size_t k = 0; k < events.size(); ++k) {
    const AuditEvent& e = *events[k];
    out += k == 0 ? "{" : ",{";
    out += "\"kind\":";
    appendJsonString(out, StreamText(e.kind));
    out += ",\"category\":";
    out += static_cast<char>(categoryOf(e.kind));
    out += ",\"move\":" + std::to_string(e.moveIndex) + ",\"on\":\"" + e.place() +
           "\",\"corner\":" + (e.corner ? "true" : "false") +
           ",\"joint\":" + std::to_string(e.joint) + ",\"startFraction\":";
    appendJsonNumber(out, e.startFraction);
    out += ",\"endFraction\":";
    appendJsonNumber(out, e.endFraction);
    out += ",\"startArcLength\":";
    appendJsonNumber(out, e.startArcLength);
    out += ",\"endArcLength\":";
    appendJsonNumber(out, e.endArcLength);
    out += ",\"startJoints\":";
    if (jointsSet(e.startJoints))
      appendJsonNumbers(out, e.startJoints.values);
    else
      out += "null";
    out += ",\"sample\":" + std::to_string(ranges[k].first) +
           ",\"lastSample\":" + std::to_string(ranges[k].last) + '}';
  }
  out += ']';
}

template <typename T>
void appendLittleEndian(std::vector<unsigned char>& bytes, T value) {
  for (std::size_t b = 0; b < sizeof value; ++b)
    bytes.push_back(static_cast<unsigned char>((value >> (8 * b)) & 0xFFu));
}

/// The samples as compact arrays: joints and times (seconds from the program's start) as
/// little-endian doubles (the page's kinematics needs the joints exact), the tool centre point in
/// the base frame as floats (drawing), the path category of each sample as one digit, and the first
/// sample of each move.
void appendSamples(std::string& out, std::span<const ProgramMove> moves, const AuditReport& report,
                   const std::vector<const AuditEvent*>& events) {
  std::vector<unsigned char> joints;
  std::vector<unsigned char> times;
  std::vector<unsigned char> tcp;
  std::string categories;
  joints.reserve(report.samples.size() * 48);
  tcp.reserve(report.samples.size() * 12);
  std::vector<Pose> objects;
  for (const ProgramMove& m : moves)
    objects.push_back(recordOf(m).wobj.getPose());
  std::string moveStarts = "[";
  std::size_t lastMove = report.samples.empty() ? 0 : report.samples.front().moveIndex + 1;
  for (std::size_t i = 0; i < report.samples.size(); ++i) {
    const AuditSample& s = report.samples[i];
    for (const double v : s.joints.values)
      appendLittleEndian(joints, std::bit_cast<std::uint64_t>(v));
    appendLittleEndian(times, std::bit_cast<std::uint64_t>(s.time));
    const Pos p = s.moveIndex < objects.size() ? objects[s.moveIndex] * s.tcp.pos : s.tcp.pos;
    for (const double v : {p.x, p.y, p.z})
      appendLittleEndian(tcp, std::bit_cast<std::uint32_t>(static_cast<float>(v)));
    PathCategory category = s.reachable ? PathCategory::clean : PathCategory::unreachable;
    if (s.singularity != SingularityType::none && category < PathCategory::singularity)
      category = PathCategory::singularity;
    for (const AuditEvent* e : events)
      if (inEvent(s, *e) && categoryOf(e->kind) > category)
        category = categoryOf(e->kind);
    categories += static_cast<char>(category);
    if (s.moveIndex != lastMove) {
      moveStarts += (moveStarts.size() > 1 ? ",[" : "[") + std::to_string(s.moveIndex) + ',' +
                    std::to_string(i) + ']';
      lastMove = s.moveIndex;
    }
  }
  out += "{\"count\":" + std::to_string(report.samples.size()) + ",\"joints\":\"";
  view::appendBase64(out, joints);
  out += "\",\"time\":\"";
  view::appendBase64(out, times);
  out += "\",\"tcp\":\"";
  view::appendBase64(out, tcp);
  out += "\",\"categories\":\"" + categories + "\",\"moveStarts\":" + moveStarts + "]}";
}

std::string page(const std::string& title, const std::string& data) {
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "script-src 'unsafe-inline'; style-src 'unsafe-inline'; img-src data: blob:\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>";
  view::appendHtmlText(out, title);
  out += "</title>\n<style>\n";
  out += view::pageStyle();
  out += "</style>\n</head>\n<body>\n<script type=\"application/json\" id=\"zorrob-data\">";
  out += data;
  out += "</script>\n<script>\n";
  out += view::threeScript();
  out += "\n</script>\n<script>\n";
  out += view::orbitControlsScript();
  out += "\n</script>\n<script>\n";
  out += view::pageScript();
  out += "</script>\n</body>\n</html>\n";
  return out;
}

std::string document(const RobotConfig& robot, const ViewOptions& options,
                     std::span<const ProgramMove> moves, const AuditReport* report) {
  std::string data = "{\"title\":";
  appendJsonString(data, options.title);
  data += ",\"arm\":";
  appendArm(data, robot);
  data += ",\"joints\":";
  appendJsonNumbers(data,
                    jointsSet(options.joints) ? options.joints.values : robot.homeJoint.values);
  data += ",\"tframe\":";
  appendPose(data, options.tool.tframe);
  if (report != nullptr) {
    std::vector<const AuditEvent*> events;
    for (const MoveAudit& m : report->moves)
      for (const AuditEvent& e : m.events)
        events.push_back(&e);
    data += ",\"moves\":";
    appendMoves(data, moves, options.labels, *report);
    data += ",\"targets\":";
    appendTargets(data, robot, moves, options.labels);
    data += ",\"events\":";
    appendEvents(data, events, eventRanges(*report, events));
    data += ",\"samples\":";
    appendSamples(data, moves, *report, events);
  }
  data += '}';
  return page(options.title, data);
}

}  // namespace

std::string ViewPage(const RobotConfig& robot, const ViewOptions& options) {
  return document(robot, options, {}, nullptr);
}

std::string ViewPage(const RobotConfig& robot, std::span<const ProgramMove> moves,
                     const AuditReport& report, const ViewOptions& options) {
  if (report.moves.size() != moves.size())
    throw std::invalid_argument("the report does not belong to the program");
  if (!options.labels.empty() && options.labels.size() != moves.size())
    throw std::invalid_argument("labels must be given for every move or none");
  return document(robot, options, moves, &report);
}

}  // namespace zor::rob
