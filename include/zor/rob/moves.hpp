#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/targets.hpp"

namespace zor::rob {

/// How fast a move goes. The default is all zero: a move needs its speed set before it means
/// anything.
struct ZORROB_API SpeedData {
  double vTcp{0};   ///< Speed of the tool centre point, mm/s.
  double vOri{0};   ///< Reorientation speed of the tool, degrees/s.
  double vLeax{0};  ///< Speed of linear external axes, mm/s.
  double vReax{0};  ///< Speed of rotating external axes, degrees/s.

  constexpr SpeedData() = default;
  constexpr SpeedData(double tcp, double ori, double leax, double reax)
      : vTcp(tcp), vOri(ori), vLeax(leax), vReax(reax) {}

  /// The predefined speeds: each vN is (N, 500, 5000, 1000).
  static const SpeedData v5, v10, v20, v30, v40, v50, v60, v80, v100, v150, v200, v300, v400, v500,
      v600, v800, v1000, v1500, v2000, v2500, v3000, v4000, v5000, v6000, v7000;

  /// \returns "{vTcp, vOri, vLeax, vReax}" (general notation, 6 significant digits), e.g.
  /// "{1000, 500, 5000, 1000}".
  std::string toString() const;

  constexpr bool operator==(const SpeedData&) const = default;

 private:
  // The predefined speed of `tcp` mm/s: reorientation 500 degrees/s, linear external axes
  // 5000 mm/s, rotating external axes 1000 degrees/s.
  static constexpr SpeedData predefined(double tcp) { return {tcp, 500, 5000, 1000}; }
};

inline constexpr SpeedData SpeedData::v5 = predefined(5);
inline constexpr SpeedData SpeedData::v10 = predefined(10);
inline constexpr SpeedData SpeedData::v20 = predefined(20);
inline constexpr SpeedData SpeedData::v30 = predefined(30);
inline constexpr SpeedData SpeedData::v40 = predefined(40);
inline constexpr SpeedData SpeedData::v50 = predefined(50);
inline constexpr SpeedData SpeedData::v60 = predefined(60);
inline constexpr SpeedData SpeedData::v80 = predefined(80);
inline constexpr SpeedData SpeedData::v100 = predefined(100);
inline constexpr SpeedData SpeedData::v150 = predefined(150);
inline constexpr SpeedData SpeedData::v200 = predefined(200);
inline constexpr SpeedData SpeedData::v300 = predefined(300);
inline constexpr SpeedData SpeedData::v400 = predefined(400);
inline constexpr SpeedData SpeedData::v500 = predefined(500);
inline constexpr SpeedData SpeedData::v600 = predefined(600);
inline constexpr SpeedData SpeedData::v800 = predefined(800);
inline constexpr SpeedData SpeedData::v1000 = predefined(1000);
inline constexpr SpeedData SpeedData::v1500 = predefined(1500);
inline constexpr SpeedData SpeedData::v2000 = predefined(2000);
inline constexpr SpeedData SpeedData::v2500 = predefined(2500);
inline constexpr SpeedData SpeedData::v3000 = predefined(3000);
inline constexpr SpeedData SpeedData::v4000 = predefined(4000);
inline constexpr SpeedData SpeedData::v5000 = predefined(5000);
inline constexpr SpeedData SpeedData::v6000 = predefined(6000);
inline constexpr SpeedData SpeedData::v7000 = predefined(7000);

/// How a move is blended into the next one. The default holds the values of `fine` (a stop
/// point, all sizes 0, `cntValue` -1); it writes them itself and does not read `fine`.
struct ZORROB_API ZoneData {
  bool finep{true};           ///< True for a stop point: the move ends exactly at its target.
  double pzoneTcp{0};         ///< Zone radius of the tool centre point path, mm.
  double pzoneOri{0};         ///< Radius on the TCP path within which reorientation blends, mm.
  double pzoneEax{0};         ///< Radius on the TCP path for external axes, mm.
  double zoneOri{0};          ///< Zone size of the tool reorientation, degrees.
  double zoneLeax{0};         ///< Zone size of linear external axes, mm.
  double zoneReax{0};         ///< Zone size of rotating external axes, degrees.
  std::int32_t cntValue{-1};  ///< Percentage of a CNT zone; -1 for zones given by distances.

  constexpr ZoneData() = default;
  constexpr ZoneData(bool stop, double tcp, double ori, double eax, double degrees, double leax,
                     double reax, std::int32_t cnt)
      : finep(stop),
        pzoneTcp(tcp),
        pzoneOri(ori),
        pzoneEax(eax),
        zoneOri(degrees),
        zoneLeax(leax),
        zoneReax(reax),
        cntValue(cnt) {}

  /// The predefined zones. They are ordinary mutable statics, written once while the library is
  /// loaded; until then (for code running at load time in another library) they read as all
  /// zero. A host that assigns to them serialises those writes.
  static ZoneData fine, z0, z1, z5, z10, z15, z20, z30, z40, z50, z60, z80, z100, z150, z200;
  static ZoneData FINE, CNT0, CNT1, CNT5, CNT10, CNT15, CNT20, CNT30, CNT40, CNT50, CNT60, CNT80,
      CNT100;

  constexpr bool operator==(const ZoneData&) const = default;

 private:
  struct Unwritten {};
  // The all-zero state of a predefined zone before the load-time initialisation writes it.
  constexpr explicit ZoneData(Unwritten)
      : finep(false),
        pzoneTcp(0),
        pzoneOri(0),
        pzoneEax(0),
        zoneOri(0),
        zoneLeax(0),
        zoneReax(0),
        cntValue(0) {}
};

/// Writes vTcp vOri vLeax vReax separated by single spaces, with the stream's own state.
ZORROB_API std::ostream& operator<<(std::ostream& os, const SpeedData& s);
/// Reads four doubles in member order; failure only in the stream state.
ZORROB_API std::istream& operator>>(std::istream& is, SpeedData& s);
/// Writes finep with the stream's bool insertion ("1"/"0" unless std::boolalpha is set), then a
/// space and each of the six sizes; `cntValue` is not written.
ZORROB_API std::ostream& operator<<(std::ostream& os, const ZoneData& z);
/// Reads finep as a bool (following the stream's boolalpha flag), then the six sizes;
/// `cntValue` is left unchanged. Failure only in the stream state.
ZORROB_API std::istream& operator>>(std::istream& is, ZoneData& z);

/// The kind of a move instruction.
enum class MoveType : std::int32_t {
  MoveL = 0,    ///< Linear move of the tool centre point.
  MoveC = 1,    ///< Circular move.
  MoveJ = 2,    ///< Joint move to a Cartesian target.
  MoveAbsJ = 3  ///< Joint move to a joint target.
};

/// \returns the instruction's name: "MoveL", "MoveC", "MoveJ" or "MoveAbsJ" (also for a value
/// outside the enumeration).
ZORROB_API const char* MoveTypeName(MoveType type);

/// The members every move instruction starts with. No operation of the library reads these
/// records: they carry an instruction for the host. The defaults are an unset target (identity
/// pose, external axes unused, joints 1E9), tag 0, speed zero (to be set by the host), the stop
/// point `fine`, the default tool and the default work object.
struct ZORROB_API MoveRecord {
  MoveType moveType;
  RobTarget toPoint{};
  RobJoint robJoint{};
  std::int32_t tag{0};
  SpeedData speed{};
  ZoneData zone{};
  ToolData tool{};
  WObjData wobj{};

 protected:
  explicit MoveRecord(MoveType type) : moveType(type) {}
};

/// A linear move to `toPoint`.
struct ZORROB_API MoveL : MoveRecord {
  MoveL() : MoveRecord(MoveType::MoveL) {}
};

/// A circular move through `cirPoint` and `toPoint`.
struct ZORROB_API MoveC : MoveRecord {
  RobTarget cirPoint{};

  MoveC() : MoveRecord(MoveType::MoveC) {}
};

/// A joint move to the Cartesian target `toPoint`.
struct ZORROB_API MoveJ : MoveRecord {
  MoveJ() : MoveRecord(MoveType::MoveJ) {}
};

/// A joint move to the joint target `toJointPos` (by default joints 1E9, external axes 9E9).
struct ZORROB_API MoveAbsJ : MoveRecord {
  JointTarget toJointPos{};

  MoveAbsJ() : MoveRecord(MoveType::MoveAbsJ) {}
};

}  // namespace zor::rob
