#include "zor/rob/moves.hpp"

#include <cstdint>
#include <istream>
#include <ostream>
#include <sstream>
#include <string>

// Implementation notes: the predefined zones are mutable statics. Their definitions below are
// constant-initialised to the all-zero "unwritten" state, and one initialisation routine,
// run while the library is loaded, writes the whole table. Default-constructed zones (and so
// the move records) never read these statics: ZoneData() carries the values of `fine` itself,
// whatever the order in which libraries initialise.

namespace zor::rob {

ZoneData ZoneData::fine{Unwritten{}};
ZoneData ZoneData::z0{Unwritten{}};
ZoneData ZoneData::z1{Unwritten{}};
ZoneData ZoneData::z5{Unwritten{}};
ZoneData ZoneData::z10{Unwritten{}};
ZoneData ZoneData::z15{Unwritten{}};
ZoneData ZoneData::z20{Unwritten{}};
ZoneData ZoneData::z30{Unwritten{}};
ZoneData ZoneData::z40{Unwritten{}};
ZoneData ZoneData::z50{Unwritten{}};
ZoneData ZoneData::z60{Unwritten{}};
ZoneData ZoneData::z80{Unwritten{}};
ZoneData ZoneData::z100{Unwritten{}};
ZoneData ZoneData::z150{Unwritten{}};
ZoneData ZoneData::z200{Unwritten{}};
ZoneData ZoneData::FINE{Unwritten{}};
ZoneData ZoneData::CNT0{Unwritten{}};
ZoneData ZoneData::CNT1{Unwritten{}};
ZoneData ZoneData::CNT5{Unwritten{}};
ZoneData ZoneData::CNT10{Unwritten{}};
ZoneData ZoneData::CNT15{Unwritten{}};
ZoneData ZoneData::CNT20{Unwritten{}};
ZoneData ZoneData::CNT30{Unwritten{}};
ZoneData ZoneData::CNT40{Unwritten{}};
ZoneData ZoneData::CNT50{Unwritten{}};
ZoneData ZoneData::CNT60{Unwritten{}};
ZoneData ZoneData::CNT80{Unwritten{}};
ZoneData ZoneData::CNT100{Unwritten{}};

namespace {

// The percentage that marks a zone given by distances rather than as a CNT zone.
constexpr std::int32_t kDistanceZone = -1;

// A zone given by distances: `tcp` mm for the TCP path, `path` mm for reorientation and the
// external axes, `degrees` for the reorientation and the rotating external axes.
constexpr ZoneData distanceZone(double tcp, double path, double degrees) {
  return {false, tcp, path, path, degrees, path, degrees, kDistanceZone};
}

// A CNT zone of `percent` percent: no distances, only the percentage.
constexpr ZoneData cntZone(std::int32_t percent) {
  return {false, 0, 0, 0, 0, 0, 0, percent};
}

// The load-time initialisation: writes every predefined zone once.
void writePredefinedZones() {
  ZoneData::fine = {true, 0, 0, 0, 0, 0, 0, kDistanceZone};
  ZoneData::z0 = distanceZone(0.3, 0.3, 0.03);
  ZoneData::z1 = distanceZone(1, 1, 0.1);
  ZoneData::z5 = distanceZone(5, 8, 0.8);
  ZoneData::z10 = distanceZone(10, 15, 1.5);
  ZoneData::z15 = distanceZone(15, 23, 2.3);
  ZoneData::z20 = distanceZone(20, 30, 3);
  ZoneData::z30 = distanceZone(30, 45, 4.5);
  ZoneData::z40 = distanceZone(40, 60, 6);
  ZoneData::z50 = distanceZone(50, 75, 7.5);
  ZoneData::z60 = distanceZone(60, 90, 9);
  ZoneData::z80 = distanceZone(80, 120, 12);
  ZoneData::z100 = distanceZone(100, 150, 15);
  ZoneData::z150 = distanceZone(150, 225, 23);
  ZoneData::z200 = distanceZone(200, 300, 30);
  // The CNT stop point differs from `fine` only in its percentage.
  ZoneData::FINE = {true, 0, 0, 0, 0, 0, 0, 0};
  ZoneData::CNT0 = cntZone(0);
  ZoneData::CNT1 = cntZone(1);
  ZoneData::CNT5 = cntZone(5);
  ZoneData::CNT10 = cntZone(10);
  ZoneData::CNT15 = cntZone(15);
  ZoneData::CNT20 = cntZone(20);
  ZoneData::CNT30 = cntZone(30);
  ZoneData::CNT40 = cntZone(40);
  ZoneData::CNT50 = cntZone(50);
  ZoneData::CNT60 = cntZone(60);
  ZoneData::CNT80 = cntZone(80);
  ZoneData::CNT100 = cntZone(100);
}

// Runs writePredefinedZones() during the dynamic initialisation of this library, i.e. when it
// is loaded, before any host code.
const struct PredefinedZonesWriter {
  PredefinedZonesWriter() { writePredefinedZones(); }
} kPredefinedZonesWriter;

}  // namespace

// ---- Text forms ----------------------------------------------------------------------------

std::string SpeedData::toString() const {
  std::ostringstream os;
  os << '{' << vTcp << ", " << vOri << ", " << vLeax << ", " << vReax << '}';
  return os.str();
}

const char* MoveTypeName(MoveType type) {
  switch (type) {
    case MoveType::MoveL:
      return "MoveL";
    case MoveType::MoveC:
      return "MoveC";
    case MoveType::MoveJ:
      return "MoveJ";
    case MoveType::MoveAbsJ:
      break;
  }
  return "MoveAbsJ";
}

std::ostream& operator<<(std::ostream& os, const SpeedData& s) {
  return os << s.vTcp << ' ' << s.vOri << ' ' << s.vLeax << ' ' << s.vReax;
}

std::istream& operator>>(std::istream& is, SpeedData& s) {
  return is >> s.vTcp >> s.vOri >> s.vLeax >> s.vReax;
}

std::ostream& operator<<(std::ostream& os, const ZoneData& z) {
  return os << z.finep << ' ' << z.pzoneTcp << ' ' << z.pzoneOri << ' ' << z.pzoneEax << ' '
            << z.zoneOri << ' ' << z.zoneLeax << ' ' << z.zoneReax;
}

std::istream& operator>>(std::istream& is, ZoneData& z) {
  return is >> z.finep >> z.pzoneTcp >> z.pzoneOri >> z.pzoneEax >> z.zoneOri >> z.zoneLeax >>
         z.zoneReax;
}

}  // namespace zor::rob
