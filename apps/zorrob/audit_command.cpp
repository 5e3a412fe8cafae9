// zorrob audit: follows a program file through its arm and reports what would stop it.
#include <cstddef>
#include <fstream>
#include <string>
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

/// Every sample with its timing, for plotting the speed profile.
Json timedSamplesJson(const AuditReport& report) {
  Json out = Json::array();
  for (const AuditSample& s : report.samples)
    out.push_back({{"move", s.moveIndex},
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
                   {"limitJoint", s.limitJoint}});
  return out;
}

std::string percent(double share) {
  return fixed(100.0 * share, kShareDecimals);
}

/// One CSV line per sample, numbers in shortest round-trip form.
std::string samplesCsv(const AuditReport& report) {
  std::string out =
      "move,corner,fraction,arc_mm,x,y,z,q1,q2,q3,q4,j1,j2,j3,j4,j5,j6,cf1,cf4,cf6,cfx,"
      "singularity,reachable\n";
  for (const AuditSample& s : report.samples) {
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
    for (std::size_t i = 0; i < cells.size(); ++i) {
      out += cells[i];
      out += i + 1 < cells.size() ? ',' : '\n';
    }
  }
  return out;
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  if (!(file << content) || !file.flush())
    throw InputError("samples file '" + path + "' cannot be written");
}

}  // namespace

Report runAudit(const AuditRequest& request) {
  return runAudit(LoadProgram(request.programPath), request);
}

Report runAudit(Program program, const AuditRequest& request) {
  if (request.stepMm)
    program.options.stepMm = *request.stepMm;
  program.options.keepSamples =
      request.samplesPath.has_value() || request.jsonSamples || request.htmlPath.has_value();
  AuditReport report;
  {
    ProgressLine line("audit");
    if (request.showProgress)
      program.options.progress = line.callback();
    report = AuditProgram(program.arm.config, program.start, program.moves, program.options);
  }
  if (request.samplesPath)
    writeFile(*request.samplesPath, samplesCsv(report));
  if (request.htmlPath)
    writeProgramPage(*request.htmlPath, program, report);

  Report out;
  out.status = report.clean() ? 0 : kExitEvents;
  Fields head;
  head.add("program", program.source);
  head.add("arm", program.arm.name + " (" + program.arm.source + ")");
  head.add("moves", std::to_string(report.moves.size()));
  head.add("cycle time", fixed(report.duration, kLengthDecimals) + " s");
  head.add("events", report.clean() ? "none" : std::to_string(report.eventCount()));
  out.text = head.render();

  Table moves({Align::Right, Align::Left, Align::Left, Align::Right, Align::Right, Align::Right,
               Align::Right, Align::Right, Align::Right});
  moves.addRow({"#", "move", "reached", "time (s)", "speed (%)", "length (mm)", "turn (deg)",
                "zone (mm)", "events"});
  Json movesJson = Json::array();
  Json eventsJson = Json::array();
  Table events(
      {Align::Right, Align::Left, Align::Left, Align::Left, Align::Left, Align::Left, Align::Left});
  events.addRow({"move", "event", "on", "fraction", "arc length (mm)", "joint", "speed (%)"});
  for (std::size_t i = 0; i < report.moves.size(); ++i) {
    const MoveAudit& m = report.moves[i];
    moves.addRow({std::to_string(i), MoveTypeName(m.type), m.reached ? "yes" : "no",
                  fixed(m.duration, kLengthDecimals), percent(m.lowestSpeedShare),
                  fixed(m.pathLength, kLengthDecimals), fixed(m.orientationChange, kLengthDecimals),
                  fixed(m.zoneDistance, kLengthDecimals), std::to_string(m.events.size())});
    movesJson.push_back(moveJson(i, m));
    for (const AuditEvent& e : m.events) {
      events.addRow({std::to_string(i), StreamText(e.kind), e.place(),
                     range(e.startFraction, e.endFraction, kUnitDecimals),
                     range(e.startArcLength, e.endArcLength, kLengthDecimals),
                     e.joint == 0 ? "-" : std::to_string(e.joint),
                     e.kind == AuditEventKind::speedReduced ? percent(e.speedShare) : "-"});
      eventsJson.push_back(eventJson(e));
    }
  }
  out.text += "\n" + moves.render("  ");
  if (!report.clean())
    out.text += "\nevents\n" + events.render("  ");

  out.json = {{"program", program.source},
              {"arm", {{"name", program.arm.name}, {"source", program.arm.source}}},
              {"duration", report.duration},
              {"clean", report.clean()},
              {"moves", std::move(movesJson)},
              {"events", std::move(eventsJson)}};
  if (request.jsonSamples)
    out.json["samples"] = timedSamplesJson(report);
  return out;
}

}  // namespace zor::rob::cli
