// zorrob audit: follows a program file through its arm and reports what would stop it.
#include <cstddef>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "cli_error.hpp"
#include "commands.hpp"
#include "program_file.hpp"
#include "progress_line.hpp"
#include "zor/rob/audit.hpp"

namespace zor::rob::cli {

namespace {

using Json = nlohmann::ordered_json;
using Align = Table::Align;

/// Shares of the programmed speed are printed in percent with this many decimals.
constexpr int kShareDecimals = 1;

std::string range(double from, double to, int decimals) {
  return from == to ? fixed(from, decimals) : fixed(from, decimals) + " .. " + fixed(to, decimals);
}

Json eventJson(const AuditEvent& e) {
  return {{"move", e.moveIndex},
          {"kind", StreamText(e.kind)},
          {"on", e.place()},
          {"startFraction", e.startFraction},
          {"endFraction", e.endFraction},
          {"startArcLength", e.startArcLength},
          {"endArcLength", e.endArcLength},
          {"startJoints", e.startJoints.values},
          {"endJoints", e.endJoints.values},
          {"joint", e.joint},
          {"speedShare", e.speedShare}};
}

Json moveJson(std::size_t index, const MoveAudit& m) {
  return {{"index", index},
          {"type", MoveTypeName(m.type)},
          {"reached", m.reached},
          {"duration", m.duration},
          {"lowestSpeedShare", m.lowestSpeedShare},
          {"pathLength", m.pathLength},
          {"orientationChange", m.orientationChange},
          {"zoneDistance", m.zoneDistance},
          {"endJoints", m.endJoints.values},
          {"endConf", {m.endConf.cf1, m.endConf.cf4, m.endConf.cf6, m.endConf.cfx}},
          {"events", m.events.size()}};
}

/// A sample with its timing, for plotting the speed profile.
Json timedSampleJson(const AuditSample& s) {
  return {{"move", s.moveIndex},
          {"corner", s.corner},
          {"fraction", s.fraction},
          {"arcLength", s.arcLength},
          {"time", s.time},
          {"tcpSpeed", s.tcpSpeed},
          {"speedShare", s.speedShare},
          {"allowedShare", s.allowedShare},
          {"joints", s.joints.values},
          {"jointSpeeds", s.jointSpeeds},
          {"jointAccelerations", s.jointAccelerations},
          {"limit", StreamText(s.limit)},
          {"limitJoint", s.limitJoint}};
}

std::string percent(double share) {
  return fixed(100.0 * share, kShareDecimals);
}

constexpr const char* kSamplesHeader =
    "move,corner,fraction,arc_mm,x,y,z,q1,q2,q3,q4,j1,j2,j3,j4,j5,j6,cf1,cf4,cf6,cfx,"
    "singularity,reachable\n";

/// The CSV line of a sample, numbers in shortest round-trip form.
std::string sampleLine(const AuditSample& s) {
  std::vector<std::string> cells{std::to_string(s.moveIndex), s.corner ? "1" : "0"};
  for (const double v : {s.fraction, s.arcLength, s.tcp.pos.x, s.tcp.pos.y, s.tcp.pos.z,
                         s.tcp.orient.q1, s.tcp.orient.q2, s.tcp.orient.q3, s.tcp.orient.q4})
    cells.push_back(ShortestText(v));
  for (const double v : s.joints.values)
    cells.push_back(ShortestText(v));
  for (const int c : {s.conf.cf1, s.conf.cf4, s.conf.cf6, s.conf.cfx})
    cells.push_back(std::to_string(c));
  cells.push_back(StreamText(s.singularity));
  cells.push_back(s.reachable ? "1" : "0");
  std::string out;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    out += cells[i];
    out += i + 1 < cells.size() ? ',' : '\n';
  }
  return out;
}

/// The samples file, written as the audit hands the samples over, so that none is held.
class SamplesFile {
 public:
  explicit SamplesFile(std::string path) : path_(std::move(path)), file_(path_, std::ios::binary) {
    file_ << kSamplesHeader;
    check();
  }
  void write(const AuditSample& s) {
    file_ << sampleLine(s);
    check();
  }
  void close() {
    file_.flush();
    check();
  }

 private:
  void check() const {
    if (!file_)
      throw InputError("samples file '" + path_ + "' cannot be written");
  }

  std::string path_;
  std::ofstream file_;
};

/// The report as text: the head, the table of moves and, when there are any, the events.
std::string reportText(const Program& program, const AuditReport& report) {
  Fields head;
  head.add("program", program.source);
  head.add("arm", program.arm.name + " (" + program.arm.source + ")");
  head.add("moves", std::to_string(report.moves.size()));
  head.add("cycle time", fixed(report.duration, kLengthDecimals) + " s");
  head.add("events", report.clean() ? "none" : std::to_string(report.eventCount()));
  std::string text = head.render();

  Table moves({Align::Right, Align::Left, Align::Left, Align::Right, Align::Right, Align::Right,
               Align::Right, Align::Right, Align::Right});
  moves.addRow({"#", "move", "reached", "time (s)", "speed (%)", "length (mm)", "turn (deg)",
                "zone (mm)", "events"});
  Table events(
      {Align::Right, Align::Left, Align::Left, Align::Left, Align::Left, Align::Left, Align::Left});
  events.addRow({"move", "event", "on", "fraction", "arc length (mm)", "joint", "speed (%)"});
  for (std::size_t i = 0; i < report.moves.size(); ++i) {
    const MoveAudit& m = report.moves[i];
    moves.addRow({std::to_string(i), MoveTypeName(m.type), m.reached ? "yes" : "no",
                  fixed(m.duration, kLengthDecimals), percent(m.lowestSpeedShare),
                  fixed(m.pathLength, kLengthDecimals), fixed(m.orientationChange, kLengthDecimals),
                  fixed(m.zoneDistance, kLengthDecimals), std::to_string(m.events.size())});
    for (const AuditEvent& e : m.events)
      events.addRow({std::to_string(i), StreamText(e.kind), e.place(),
                     range(e.startFraction, e.endFraction, kUnitDecimals),
                     range(e.startArcLength, e.endArcLength, kLengthDecimals),
                     e.joint == 0 ? "-" : std::to_string(e.joint),
                     e.kind == AuditEventKind::speedReduced ? percent(e.speedShare) : "-"});
  }
  text += "\n" + moves.render("  ");
  if (!report.clean())
    text += "\nevents\n" + events.render("  ");
  return text;
}

/// Builds a JSON object whole, member by member as JsonObjectWriter writes one.
struct JsonObjectBuilder {
  Json json = Json::object();

  void member(const std::string& key, const Json& value) { json[key] = value; }
  void arrayMember(const std::string& key, std::size_t count,
                   const std::function<Json(std::size_t)>& element) {
    Json array = Json::array();
    for (std::size_t i = 0; i < count; ++i)
      array.push_back(element(i));
    json[key] = std::move(array);
  }
  void finish() {}
};

/// The report as one JSON document, member by member into `doc` (a JsonObjectBuilder or a
/// JsonObjectWriter), with every timed sample when `samples` is set.
void reportJson(auto& doc, const Program& program, const AuditReport& report, bool samples) {
  doc.member("program", program.source);
  doc.member("arm", {{"name", program.arm.name}, {"source", program.arm.source}});
  doc.member("duration", report.duration);
  doc.member("clean", report.clean());
  doc.arrayMember("moves", report.moves.size(),
                  [&](std::size_t i) { return moveJson(i, report.moves[i]); });
  // The events of all moves in order: the move and its event at each position.
  std::vector<std::pair<std::size_t, std::size_t>> events;
  for (std::size_t i = 0; i < report.moves.size(); ++i)
    for (std::size_t k = 0; k < report.moves[i].events.size(); ++k)
      events.emplace_back(i, k);
  doc.arrayMember("events", events.size(), [&](std::size_t i) {
    return eventJson(report.moves[events[i].first].events[events[i].second]);
  });
  if (samples)
    doc.arrayMember("samples", report.samples.size(),
                    [&](std::size_t i) { return timedSampleJson(report.samples[i]); });
  doc.finish();
}

}  // namespace

void applyStep(AuditOptions& options, const std::optional<double>& stepMm) {
  if (!stepMm)
    return;
  if (*stepMm > AuditOptions::kMaxStepMm)
    throw UsageError("--step must be at most 10 (mm): coarser steps cannot locate events, got '" +
                     ShortestText(*stepMm) + "'");
  options.stepMm = *stepMm;
}

AuditReport auditProgram(const Program& program) {
  try {
    return AuditProgram(program.arm.config, program.start, program.moves, program.options);
  } catch (const std::invalid_argument& e) {
    // The library names the move and the field; the file goes in front, as the reader does it.
    throw InputError("program file '" + program.source + "': " + e.what());
  }
}

Report runAudit(const AuditRequest& request) {
  return runAudit(LoadProgram(request.programPath), request);
}

Report runAudit(Program program, const AuditRequest& request) {
  applyStep(program.options, request.stepMm);
  // Targets are of the described flange, as `fk` prints it.
  for (ProgramMove& move : program.moves)
    std::visit(
        [&](auto& m) {
          if constexpr (requires { m.wobj; })
            useDescribedFlange(program.arm, m.tool, m.wobj);
        },
        move);
  program.options.keepSamples =
      request.samplesPath.has_value() || request.jsonSamples || request.htmlPath.has_value();
  // The samples stream to their file; they are held only for the JSON report or the page.
  std::optional<SamplesFile> samples;
  std::vector<AuditSample> held;
  const bool hold = request.jsonSamples || request.htmlPath.has_value();
  if (request.samplesPath) {
    samples.emplace(*request.samplesPath);
    program.options.sampleSink = [&samples, &held, hold](const AuditSample& s) {
      samples->write(s);
      if (hold)
        held.push_back(s);
    };
  }
  AuditReport report;
  {
    ProgressLine line("audit");
    if (request.showProgress)
      program.options.progress = line.callback();
    report = auditProgram(program);
  }
  if (samples) {
    samples->close();
    report.samples = std::move(held);
  }
  if (request.htmlPath)
    writeProgramPage(*request.htmlPath, program, report);
  // Past the audit and the page the moves are not needed: for a million moves they take as much
  // memory as the report's text, which is formed next.
  program.moves = std::vector<ProgramMove>();
  program.labels = std::vector<MoveLabels>();

  Report out;
  out.status = report.clean() ? 0 : kExitEvents;
  // Only the forms asked for: for a million moves each is a large document.
  if (request.text)
    out.text = reportText(program, report);
  if (request.json && request.streamJson) {
    // Written once the report is complete, each move's part formed as it is written.
    auto kept = std::make_shared<const std::pair<Program, AuditReport>>(std::move(program),
                                                                        std::move(report));
    out.writeJson = [kept, samples = request.jsonSamples](std::ostream& stream) {
      JsonObjectWriter doc(stream);
      reportJson(doc, kept->first, kept->second, samples);
    };
  } else if (request.json) {
    JsonObjectBuilder doc;
    reportJson(doc, program, report, request.jsonSamples);
    out.json = std::move(doc.json);
  }
  return out;
}

}  // namespace zor::rob::cli
