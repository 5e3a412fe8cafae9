// zorrob tables: the predefined speeds and zones.
#include <string>
#include <vector>

#include "commands.hpp"
#include "tables.hpp"

namespace zor::rob::cli {

Report runTables(TableKind kind) {
  using Align = Table::Align;
  Report report;
  auto& json = report.json;
  json["command"] = "tables";
  auto rows = nlohmann::ordered_json::array();
  if (kind == TableKind::Speeds) {
    json["table"] = "speeds";
    Table table({Align::Left, Align::Right, Align::Right, Align::Right, Align::Right});
    table.addRow({"name", "vTcp", "vOri", "vLeax", "vReax"});
    for (const NamedSpeed& s : predefinedSpeeds()) {
      const SpeedData& v = *s.speed;
      table.addRow({std::string(s.name), ShortestText(v.vTcp), ShortestText(v.vOri),
                    ShortestText(v.vLeax), ShortestText(v.vReax)});
      rows.push_back({{"name", s.name},
                      {"vTcp", v.vTcp},
                      {"vOri", v.vOri},
                      {"vLeax", v.vLeax},
                      {"vReax", v.vReax}});
    }
    json["speeds"] = std::move(rows);
    report.text = "predefined speeds: vTcp and vLeax in mm/s, vOri and vReax in degrees/s\n" +
                  table.render("  ");
  } else {
    json["table"] = "zones";
    Table table({Align::Left, Align::Left, Align::Right, Align::Right, Align::Right, Align::Right,
                 Align::Right, Align::Right, Align::Right});
    table.addRow({"name", "finep", "pzoneTcp", "pzoneOri", "pzoneEax", "zoneOri", "zoneLeax",
                  "zoneReax", "cntValue"});
    for (const NamedZone& z : predefinedZones()) {
      const ZoneData& v = *z.zone;
      table.addRow({std::string(z.name), v.finep ? "true" : "false", ShortestText(v.pzoneTcp),
                    ShortestText(v.pzoneOri), ShortestText(v.pzoneEax), ShortestText(v.zoneOri),
                    ShortestText(v.zoneLeax), ShortestText(v.zoneReax),
                    std::to_string(v.cntValue)});
      rows.push_back({{"name", z.name},
                      {"finep", v.finep},
                      {"pzoneTcp", v.pzoneTcp},
                      {"pzoneOri", v.pzoneOri},
                      {"pzoneEax", v.pzoneEax},
                      {"zoneOri", v.zoneOri},
                      {"zoneLeax", v.zoneLeax},
                      {"zoneReax", v.zoneReax},
                      {"cntValue", v.cntValue}});
    }
    json["zones"] = std::move(rows);
    report.text =
        "predefined zones: pzone* and zoneLeax in mm, zoneOri and zoneReax in degrees,\n"
        "cntValue the percentage of a CNT zone (-1 for zones given by distances)\n" +
        table.render("  ");
  }
  return report;
}

}  // namespace zor::rob::cli
