#include "zor/rob/conf_data.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <istream>
#include <limits>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

// ConfData::FromRobJoint needs the arm model; it is defined with it, under src/robot/.

namespace zor::rob {

namespace {

// Quadrants and configuration numbers closer than these count as adjacent.
constexpr int kAdjacentQuadrantBound = 3;
constexpr int kAdjacentCfxBound = 2;

// Writes cf1, cf4, cf6, cfx with `separator` between them.
void writeFields(std::ostream& os, const ConfData& c, std::string_view separator) {
  os << c.cf1 << separator << c.cf4 << separator << c.cf6 << separator << c.cfx;
}

std::string enclosed(const ConfData& c, char open, char close) {
  std::ostringstream os;
  os << open;
  writeFields(os, c, ", ");
  os << close;
  return os.str();
}

// Quadrant names of the Ostrel syntax for -8..7; every other value is named as quadrant 0.
constexpr int kFirstNamedQuadrant = -8;
constexpr std::array<std::string_view, 16> kQuadrantNames = {
    "quadrant::n8", "quadrant::n7", "quadrant::n6", "quadrant::n5", "quadrant::n4", "quadrant::n3",
    "quadrant::n2", "quadrant::n1", "quadrant::p0", "quadrant::p1", "quadrant::p2", "quadrant::p3",
    "quadrant::p4", "quadrant::p5", "quadrant::p6", "quadrant::p7"};

std::string_view quadrantName(std::int32_t n) {
  const std::int64_t index = std::int64_t{n} - kFirstNamedQuadrant;
  if (index < 0 || index >= std::int64_t{kQuadrantNames.size()}) {
    return kQuadrantNames[-kFirstNamedQuadrant];
  }
  return kQuadrantNames[static_cast<std::size_t>(index)];
}

// KRL status bits of each configuration number, with the closing quote. The entry of
// configuration 3 lacks the closing quote on purpose; hosts compare this text verbatim.
constexpr std::array<std::string_view, 8> kKrlStatusBits = {"010'", "011'", "000'", "001",
                                                            "110'", "111'", "100'", "101'"};

// |a - b| without overflow: the fields may hold any 32-bit value.
std::int64_t distance(std::int32_t a, std::int32_t b) {
  return std::abs(std::int64_t{a} - std::int64_t{b});
}

}  // namespace

bool AreCriticalEqualQuad(int a, int b) {
  if (a == b) {
    return true;
  }
  const auto nearZero = [](int q) { return q == 0 || q == -1; };
  return nearZero(a) && nearZero(b);
}

int ConfData::getQuadrant(unsigned int joint) const {
  switch (joint) {
    case 1:
      return cf1;
    case 4:
      return cf4;
    case 6:
      return cf6;
    default:
      return 0;
  }
}

bool ConfData::isAdjacent(const ConfData& other) const {
  return distance(cf1, other.cf1) < kAdjacentQuadrantBound &&
         distance(cf4, other.cf4) < kAdjacentQuadrantBound &&
         distance(cf6, other.cf6) < kAdjacentQuadrantBound &&
         distance(cfx, other.cfx) < kAdjacentCfxBound;
}

int ConfData::diff146(const ConfData& other) const {
  // Saturates where the sum of three extreme distances would not fit an int.
  const std::int64_t sum =
      distance(cf1, other.cf1) + distance(cf4, other.cf4) + distance(cf6, other.cf6);
  return static_cast<int>(std::min<std::int64_t>(sum, std::numeric_limits<int>::max()));
}

bool ConfData::isCriticalEqualSingle(const ConfData& other, unsigned int joint) const {
  return AreCriticalEqualQuad(getQuadrant(joint), other.getQuadrant(joint));
}

namespace {

// A joint standing at zero may have been given quadrant 0 or -1; such joints compare leniently,
// the others exactly. All three joints are tested, in the order 1, 4, 6.
template <class Joints>
bool criticalEqual(const ConfData& self, const Joints& joints, const ConfData& other) {
  bool pass = true;
  for (const unsigned int joint : {1U, 4U, 6U}) {
    const bool jointPasses = joints.isCritical(joint)
                                 ? self.isCriticalEqualSingle(other, joint)
                                 : self.getQuadrant(joint) == other.getQuadrant(joint);
    pass = pass && jointPasses;
  }
  return pass && self.cfx == other.cfx;
}

}  // namespace

bool ConfData::isCriticalEqual(const RobJoint& joints, const ConfData& other) const {
  return criticalEqual(*this, joints, other);
}

bool ConfData::isCriticalEqual(const RobJointA& joints, const ConfData& other) const {
  return criticalEqual(*this, joints, other);
}

std::string ConfData::toString() const {
  return enclosed(*this, '{', '}');
}

std::string ConfData::toUIString() const {
  return enclosed(*this, '[', ']');
}

std::string ConfData::toOstrelString() const {
  std::string out = "{";
  out += quadrantName(cf1);
  out += ", ";
  out += quadrantName(cf4);
  out += ", ";
  out += quadrantName(cf6);
  out += ", ";
  out += quadrantName(cfx);
  out += '}';
  return out;
}

std::string ConfData::toKrlString() const {
  std::string out = "S 'B";
  const auto index = static_cast<std::uint32_t>(cfx);
  if (index < kKrlStatusBits.size()) {
    out += kKrlStatusBits[index];
  }
  return out;
}

std::ostream& operator<<(std::ostream& os, const ConfData& c) {
  writeFields(os, c, " ");
  return os;
}

std::istream& operator>>(std::istream& is, ConfData& c) {
  return is >> c.cf1 >> c.cf4 >> c.cf6 >> c.cfx;
}

}  // namespace zor::rob
