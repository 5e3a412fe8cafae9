#include "tables.hpp"

#include <array>

namespace zor::rob::cli {

std::span<const NamedSpeed> predefinedSpeeds() {
  static constexpr std::array speeds{
      NamedSpeed{"v5", &SpeedData::v5},       NamedSpeed{"v10", &SpeedData::v10},
      NamedSpeed{"v20", &SpeedData::v20},     NamedSpeed{"v30", &SpeedData::v30},
      NamedSpeed{"v40", &SpeedData::v40},     NamedSpeed{"v50", &SpeedData::v50},
      NamedSpeed{"v60", &SpeedData::v60},     NamedSpeed{"v80", &SpeedData::v80},
      NamedSpeed{"v100", &SpeedData::v100},   NamedSpeed{"v150", &SpeedData::v150},
      NamedSpeed{"v200", &SpeedData::v200},   NamedSpeed{"v300", &SpeedData::v300},
      NamedSpeed{"v400", &SpeedData::v400},   NamedSpeed{"v500", &SpeedData::v500},
      NamedSpeed{"v600", &SpeedData::v600},   NamedSpeed{"v800", &SpeedData::v800},
      NamedSpeed{"v1000", &SpeedData::v1000}, NamedSpeed{"v1500", &SpeedData::v1500},
      NamedSpeed{"v2000", &SpeedData::v2000}, NamedSpeed{"v2500", &SpeedData::v2500},
      NamedSpeed{"v3000", &SpeedData::v3000}, NamedSpeed{"v4000", &SpeedData::v4000},
      NamedSpeed{"v5000", &SpeedData::v5000}, NamedSpeed{"v6000", &SpeedData::v6000},
      NamedSpeed{"v7000", &SpeedData::v7000},
  };
  return speeds;
}

std::span<const NamedZone> predefinedZones() {
  static const std::array zones{
      NamedZone{"fine", &ZoneData::fine},   NamedZone{"z0", &ZoneData::z0},
      NamedZone{"z1", &ZoneData::z1},       NamedZone{"z5", &ZoneData::z5},
      NamedZone{"z10", &ZoneData::z10},     NamedZone{"z15", &ZoneData::z15},
      NamedZone{"z20", &ZoneData::z20},     NamedZone{"z30", &ZoneData::z30},
      NamedZone{"z40", &ZoneData::z40},     NamedZone{"z50", &ZoneData::z50},
      NamedZone{"z60", &ZoneData::z60},     NamedZone{"z80", &ZoneData::z80},
      NamedZone{"z100", &ZoneData::z100},   NamedZone{"z150", &ZoneData::z150},
      NamedZone{"z200", &ZoneData::z200},   NamedZone{"FINE", &ZoneData::FINE},
      NamedZone{"CNT0", &ZoneData::CNT0},   NamedZone{"CNT1", &ZoneData::CNT1},
      NamedZone{"CNT5", &ZoneData::CNT5},   NamedZone{"CNT10", &ZoneData::CNT10},
      NamedZone{"CNT15", &ZoneData::CNT15}, NamedZone{"CNT20", &ZoneData::CNT20},
      NamedZone{"CNT30", &ZoneData::CNT30}, NamedZone{"CNT40", &ZoneData::CNT40},
      NamedZone{"CNT50", &ZoneData::CNT50}, NamedZone{"CNT60", &ZoneData::CNT60},
      NamedZone{"CNT80", &ZoneData::CNT80}, NamedZone{"CNT100", &ZoneData::CNT100},
  };
  return zones;
}

const ZoneData* findZone(std::string_view name) {
  for (const NamedZone& z : predefinedZones())
    if (z.name == name)
      return z.zone;
  return nullptr;
}

}  // namespace zor::rob::cli
