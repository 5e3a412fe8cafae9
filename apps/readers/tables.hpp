#pragma once

#include <span>
#include <string_view>

#include "zor/rob/moves.hpp"

// The library's predefined speeds and zones by name.
namespace zor::rob::cli {

struct NamedSpeed {
  std::string_view name;
  const SpeedData* speed;
};

struct NamedZone {
  std::string_view name;
  const ZoneData* zone;
};

/// \returns v5 to v7000 in increasing speed.
std::span<const NamedSpeed> predefinedSpeeds();

/// \returns fine, z0 to z200, FINE and CNT0 to CNT100, in that order.
std::span<const NamedZone> predefinedZones();

/// \returns the predefined zone called `name` (case-sensitive: "fine" and "FINE" differ), or
/// nullptr.
const ZoneData* findZone(std::string_view name);

}  // namespace zor::rob::cli
