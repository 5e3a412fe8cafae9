#include "zor/rob/joints.hpp"

#include <cmath>
#include <istream>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "detail/messages.hpp"
#include "detail/throwers.hpp"

// Implementation notes: RobJoint and RobJointA are two records with the same six-value layout.
// Everything they share (1-based access, the marker and zero tests, the text forms and the
// extraction) is written once below over the bare array of six values, with the owning record's
// tolerance passed in; the members are one-line forwards.

namespace zor::rob {

double RobJoint::tolerance = 0.001;
double RobJointA::tolerance = 0.001;

namespace {

using Six = std::array<double, 6>;

constexpr unsigned int kJointCount = 6;

// A half turn in degrees: regulate() wraps joints into [-kHalfTurn, kHalfTurn].
constexpr double kHalfTurn = 180.0;
constexpr double kFullTurn = 360.0;

bool inRange(unsigned int i) {
  return i >= 1 && i <= kJointCount;
}

double jointValue(const Six& v, unsigned int i) {
  return inRange(i) ? v[i - 1] : 0.0;
}

void setJoint(Six& v, unsigned int i, double value) {
  if (inRange(i)) {
    v[i - 1] = value;
  }
}

bool anyJointSet(const Six& v, double tolerance) {
  for (const double x : v) {
    if (std::abs(x - kUnsetRobJoint) > tolerance) {
      return true;
    }
  }
  return false;
}

bool jointAtZero(const Six& v, unsigned int i, double tolerance) {
  return std::abs(jointValue(v, i)) <= tolerance;
}

// Writes the six values with the stream's own double insertion, `separator` between them.
void writeSix(std::ostream& os, const Six& v, std::string_view separator) {
  os << v[0];
  for (std::size_t k = 1; k < v.size(); ++k) {
    os << separator << v[k];
  }
}

// "{a, b, c, d, e, f}" in a fresh stream: general notation, 6 significant digits.
std::string braceString(const Six& v) {
  std::ostringstream os;
  os << '{';
  writeSix(os, v, ", ");
  os << '}';
  return os.str();
}

// "[a, ..., f]" in fixed notation with `decimals` decimals.
std::string bracketString(const Six& v, int decimals) {
  std::ostringstream os;
  os.setf(std::ios_base::fixed, std::ios_base::floatfield);
  os.precision(decimals);
  os << '[';
  writeSix(os, v, ", ");
  os << ']';
  return os.str();
}

// Six double extractions in order. After a failure the stream's sentry refuses the remaining
// extractions, so the fields after the failing one keep their old values.
std::istream& readSix(std::istream& is, Six& v) {
  for (double& x : v) {
    is >> x;
  }
  return is;
}

// \returns whether `c` couples joints 2 and 3. Throws for a value outside the enumeration.
bool couplesJoints23(KinematicConfig c) {
  switch (c) {
    case KinematicConfig::Direct:
      return false;
    case KinematicConfig::Coupled23:
      return true;
  }
  detail::throwLogicError(detail::msg::kKinematicConfig);
}

// "{" robot joints ", " external axes "}", the robot joints already in their brace form.
std::string targetString(const std::string& robJoint, const ExtJoint& e) {
  return '{' + robJoint + ", " + braceString(e.values) + '}';
}

// Wraps a joint value into [-180, 180] as repeated subtraction (above 180) or addition (below
// -180) of a full turn would: 180 and -180 stay as they are, 190 becomes -170, -181 becomes 179.
// Below 2^56 each such step is exact, so one exact fmod gives the same result without the
// loop; far above, the steps would stop changing the value and never end, and an infinite
// value has no wrapped equivalent, so it is left as it is. NaN passes unchanged.
double wrapIntoHalfTurns(double v) {
  if (std::isinf(v)) {
    return v;
  }
  if (v > kHalfTurn) {
    v = std::fmod(v, kFullTurn);  // [0, 360)
    return v > kHalfTurn ? v - kFullTurn : v;
  }
  if (v < -kHalfTurn) {
    v = std::fmod(v, kFullTurn);  // (-360, 0]
    return v < -kHalfTurn ? v + kFullTurn : v;
  }
  return v;
}

}  // namespace

// ---- RobJoint ------------------------------------------------------------------------------

double RobJoint::getJointValue(unsigned int i) const {
  return jointValue(values, i);
}

void RobJoint::setJointValue(unsigned int i, double v) {
  setJoint(values, i, v);
}

bool RobJoint::isValid() const {
  return anyJointSet(values, tolerance);
}

bool RobJoint::isCritical(unsigned int i) const {
  return jointAtZero(values, i, tolerance);
}

void RobJoint::regulate() {
  for (double& v : values) {
    v = wrapIntoHalfTurns(v);
  }
}

double RobJoint::diff(const RobJoint& other) {
  double sum = 0.0;
  for (std::size_t k = 0; k < values.size(); ++k) {
    sum += std::abs(values[k] - other.values[k]);
  }
  return sum;
}

RobJoint RobJoint::Intermediate(const RobJoint& a, const RobJoint& b, double t) {
  RobJoint r;
  for (std::size_t k = 0; k < r.values.size(); ++k) {
    r.values[k] = (1.0 - t) * a.values[k] + t * b.values[k];
  }
  return r;
}

RobJointA RobJoint::toRobJointA(KinematicConfig c) const {
  RobJointA a;
  a.values = values;
  if (couplesJoints23(c)) {
    a.values[2] = values[1] + values[2];
  }
  return a;
}

RobJointA RobJoint::toRobJointA() const {
  return toRobJointA(KinematicConfig::Direct);
}

std::string RobJoint::toString() const {
  return braceString(values);
}

std::string RobJoint::toUIString(int decimals) const {
  return bracketString(values, decimals);
}

std::ostream& operator<<(std::ostream& os, const RobJoint& r) {
  writeSix(os, r.values, " ");
  return os;
}

std::istream& operator>>(std::istream& is, RobJoint& r) {
  return readSix(is, r.values);
}

// ---- RobJointA -----------------------------------------------------------------------------

double RobJointA::getJointValue(unsigned int i) const {
  return jointValue(values, i);
}

void RobJointA::setJointValue(unsigned int i, double v) {
  setJoint(values, i, v);
}

bool RobJointA::isValid() const {
  return anyJointSet(values, tolerance);
}

bool RobJointA::isCritical(unsigned int i) const {
  return jointAtZero(values, i, tolerance);
}

RobJoint RobJointA::toRobJoint(KinematicConfig c) const {
  RobJoint r;
  r.values = values;
  if (couplesJoints23(c)) {
    r.values[2] = values[2] - values[1];
  }
  return r;
}

RobJoint RobJointA::toRobJoint() const {
  return toRobJoint(KinematicConfig::Direct);
}

std::string RobJointA::toString() const {
  return braceString(values);
}

std::string RobJointA::toUIString(int decimals) const {
  return bracketString(values, decimals);
}

std::ostream& operator<<(std::ostream& os, const RobJointA& r) {
  writeSix(os, r.values, " ");
  return os;
}

std::istream& operator>>(std::istream& is, RobJointA& r) {
  return readSix(is, r.values);
}

// ---- ExtJoint ------------------------------------------------------------------------------

double& ExtJoint::operator[](unsigned int i) {
  if (!inRange(i)) {
    detail::throwLogicError(detail::msg::kInvalidIndex);
  }
  return values[i - 1];
}

double ExtJoint::operator[](unsigned int i) const {
  if (!inRange(i)) {
    detail::throwLogicError((detail::msg::kInvalidExtJointIndex + std::to_string(i)).c_str());
  }
  return values[i - 1];
}

double ExtJoint::getJointValue(unsigned int i) const {
  return (*this)[i];
}

void ExtJoint::setJointValue(unsigned int i, double v) {
  (*this)[i] = v;
}

// The marker is compared exactly: 9E9 is representable and only ever copied, never computed.
bool ExtJoint::isValid(unsigned int i) const {
  return (*this)[i] != kUnsetExtJoint;
}

bool ExtJoint::valid() const {
  for (const double x : values) {
    if (x != kUnsetExtJoint) {
      return true;
    }
  }
  return false;
}

ExtJoint ExtJoint::operator*(double f) const {
  ExtJoint r;
  for (std::size_t k = 0; k < values.size(); ++k) {
    if (values[k] != kUnsetExtJoint) {
      r.values[k] = values[k] * f;
    }
  }
  return r;
}

ExtJoint ExtJoint::operator+(const ExtJoint& o) const {
  ExtJoint r;
  for (std::size_t k = 0; k < values.size(); ++k) {
    if (values[k] != kUnsetExtJoint && o.values[k] != kUnsetExtJoint) {
      r.values[k] = values[k] + o.values[k];
    }
  }
  return r;
}

std::string ExtJoint::toString() const {
  return braceString(values);
}

std::ostream& operator<<(std::ostream& os, const ExtJoint& e) {
  writeSix(os, e.values, " ");
  return os;
}

std::istream& operator>>(std::istream& is, ExtJoint& e) {
  return readSix(is, e.values);
}

// ---- JointTarget, JointTargetA -------------------------------------------------------------

JointTargetA JointTarget::toJointTargetA() const {
  return {robJoint.toRobJointA(), extJoint};
}

std::string JointTarget::toString() const {
  return targetString(robJoint.toString(), extJoint);
}

std::ostream& operator<<(std::ostream& os, const JointTarget& t) {
  return os << t.robJoint << ' ' << t.extJoint;
}

std::istream& operator>>(std::istream& is, JointTarget& t) {
  return is >> t.robJoint >> t.extJoint;
}

JointTarget JointTargetA::toJointTarget() const {
  return {robJoint.toRobJoint(), extJoint};
}

std::string JointTargetA::toString() const {
  return targetString(robJoint.toString(), extJoint);
}

std::ostream& operator<<(std::ostream& os, const JointTargetA& t) {
  return os << t.robJoint << ' ' << t.extJoint;
}

std::istream& operator>>(std::istream& is, JointTargetA& t) {
  return is >> t.robJoint >> t.extJoint;
}

}  // namespace zor::rob
