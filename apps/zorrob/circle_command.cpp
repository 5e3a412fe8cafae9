// zorrob circle: the circle through three points, its samples, zones and orientations.
#include <array>
#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli_error.hpp"
#include "commands.hpp"
#include "output.hpp"
#include "tables.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/circle.hpp"
#include "zor/rob/rotation.hpp"

namespace zor::rob::cli {

namespace {

/// \returns how the text output names `mode`.
std::string_view description(CircleOriMode mode) {
  switch (mode) {
    case CircleOriMode::pathFrame:
      return "path-frame mode";
    case CircleOriMode::objectFrame:
      return "object-frame mode";
    case CircleOriMode::cirPoint:
      break;
  }
  return "circle-point mode";
}

/// The three programmed orientations normalised, each named in the error of a zero quaternion.
std::array<Orient, 3> normalizedOrientations(const std::array<Orient, 3>& given) {
  constexpr std::array<std::string_view, 3> kNames{"start", "circle-point", "end"};
  std::array<Orient, 3> out{};
  for (std::size_t i = 0; i < given.size(); ++i) {
    const Orient& o = given[i];
    try {
      out[i] = Rotation::FromOrient(o).toOrient();
    } catch (const std::exception& e) {
      throw InputError(std::string(kNames[i]) + " orientation: " + e.what());
    }
  }
  return out;
}

/// Adds the entry and exit of `zone` on `circle` to the report: the points and directions where
/// the blended corners leave and join the arc, and whether the two zones overlap.
void addZone(TPCircle& circle, const ZoneData& zone, const std::string& name,
             nlohmann::ordered_json& json, Fields& fields) {
  const double d = zone.pzoneTcp;
  const Vec3 entry = circle.getStartZonePoint(d);
  const Vec3 entryDir = circle.getStartZoneVelocity(d);
  const Vec3 exit = circle.getEndZonePoint(d);
  const Vec3 exitDir = circle.getEndZoneVelocity(d);
  const bool overlap = 2.0 * d > circle.arcLen;
  json["zone"] = {
      {"name", name},
      {"distance", d},
      {"entry", {{"point", toJson(entry)}, {"direction", toJson(entryDir)}}},
      {"exit", {{"point", toJson(exit)}, {"direction", toJson(exitDir)}}},
      {"overlap", overlap},
  };
  fields.add("zone", name + " (pzoneTcp " + ShortestText(d) + " mm" +
                         (overlap ? ", longer than half the arc: the zones overlap)" : ")"));
  fields.add("  entry", fixedTriple(entry, kLengthDecimals) + "  direction " +
                            fixedTriple(entryDir, kUnitDecimals));
  fields.add("  exit", fixedTriple(exit, kLengthDecimals) + "  direction " +
                           fixedTriple(exitDir, kUnitDecimals));
}

}  // namespace

Report runCircle(const CircleRequest& request) {
  const ZoneData* zone = nullptr;
  if (request.zoneName) {
    zone = findZone(*request.zoneName);
    if (zone == nullptr)
      throw UsageError("unknown zone '" + *request.zoneName +
                       "' (one of fine, z0 ... z200, FINE, CNT0 ... CNT100; see zorrob tables "
                       "zones)");
  }
  const std::vector<CircleOriMode>& modes = request.oriModes;
  const std::array<Orient, 3> ori =
      modes.empty() ? request.ori : normalizedOrientations(request.ori);
  const int samples = request.samples;

  TPCircle circle(request.start, request.via, request.end);

  Report report;
  auto& json = report.json;
  json["command"] = "circle";
  json["start"] = toJson(request.start);
  json["via"] = toJson(request.via);
  json["end"] = toJson(request.end);
  json["centre"] = toJson(circle.R);
  json["radius"] = circle.r;
  json["normal"] = toJson(circle.N);
  json["arcRad"] = circle.arcRad;
  json["arcDeg"] = RadToDeg(circle.arcRad);
  json["arcLen"] = circle.arcLen;
  json["cirPointFraction"] = circle.cirPointFraction;

  Fields fields;
  fields.add("start (A)", TripleText(request.start.x, request.start.y, request.start.z));
  fields.add("via (B)", TripleText(request.via.x, request.via.y, request.via.z));
  fields.add("end (C)", TripleText(request.end.x, request.end.y, request.end.z));
  fields.add("centre", fixedTriple(circle.R, kLengthDecimals));
  fields.add("radius", fixed(circle.r, kLengthDecimals) + " mm");
  fields.add("normal", fixedTriple(circle.N, kUnitDecimals));
  fields.add("arc angle", fixed(circle.arcRad, kUnitDecimals) + " rad (" +
                              fixed(RadToDeg(circle.arcRad), kDegreeDecimals) + " deg)");
  fields.add("arc length", fixed(circle.arcLen, kLengthDecimals) + " mm");
  fields.add("via fraction", fixed(circle.cirPointFraction, kUnitDecimals));

  if (zone != nullptr)
    addZone(circle, *zone, *request.zoneName, json, fields);
  report.text = fields.render();

  std::vector<double> fractions;
  for (int i = 0; i < samples; ++i)
    fractions.push_back(static_cast<double>(i) / (samples - 1));

  using Align = Table::Align;
  Table points(std::vector<Align>(7, Align::Right));
  points.addRow({"t", "x", "y", "z", "tangent x", "tangent y", "tangent z"});
  auto samplesJson = nlohmann::ordered_json::array();
  for (const double t : fractions) {
    const Vec3 p = circle.getPoint(t);
    const Vec3 tangent = circle.getTangent(t);
    points.addRow({fixed(t, kSampleFractionDecimals), fixed(p.x, kLengthDecimals),
                   fixed(p.y, kLengthDecimals), fixed(p.z, kLengthDecimals),
                   fixed(tangent.x, kUnitDecimals), fixed(tangent.y, kUnitDecimals),
                   fixed(tangent.z, kUnitDecimals)});
    nlohmann::ordered_json sample{{"t", t}, {"point", toJson(p)}, {"tangent", toJson(tangent)}};
    if (!modes.empty()) {
      auto& orientations = sample["orientation"];
      for (const CircleOriMode mode : modes)
        orientations[std::string(CircleOriModeName(mode))] =
            toJson(circle.getOri(t, mode, ori[0], ori[1], ori[2]));
    }
    samplesJson.push_back(std::move(sample));
  }
  json["samples"] = std::move(samplesJson);
  report.text += "\nsamples (t = fraction of the arc; points in mm)\n" + points.render("  ");

  if (!modes.empty()) {
    json["orientations"] = {
        {"start", toJson(ori[0])}, {"via", toJson(ori[1])}, {"end", toJson(ori[2])}};
    report.text += "\norientations  start " + fixedOrient(ori[0], kUnitDecimals) + "\n" +
                   "              via   " + fixedOrient(ori[1], kUnitDecimals) + "\n" +
                   "              end   " + fixedOrient(ori[2], kUnitDecimals) + "\n";
  }
  for (const CircleOriMode mode : modes) {
    Table table(std::vector<Align>(5, Align::Right));
    table.addRow({"t", "q1", "q2", "q3", "q4"});
    for (const double t : fractions) {
      const Orient o = circle.getOri(t, mode, ori[0], ori[1], ori[2]);
      table.addRow({fixed(t, kSampleFractionDecimals), fixed(o.q1, kUnitDecimals),
                    fixed(o.q2, kUnitDecimals), fixed(o.q3, kUnitDecimals),
                    fixed(o.q4, kUnitDecimals)});
    }
    report.text += "\norientation in " + std::string(description(mode)) + "\n" + table.render("  ");
  }
  return report;
}

}  // namespace zor::rob::cli
