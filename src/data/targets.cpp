#include "zor/rob/targets.hpp"

#include <istream>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

#include "zor/rob/text.hpp"

namespace zor::rob {

namespace {

// Two tool frame positions are the same when their squared distance (mm²) is below this.
constexpr double kSameToolPositionSquared = 1e-5;

const char* boolWord(bool b) {
  return b ? "true" : "false";
}

// The seven numbers of a pose, x y z q1 q2 q3 q4, with the stream's own double insertion.
void writePose(std::ostream& os, const Pose& p) {
  os << p.pos.x << ' ' << p.pos.y << ' ' << p.pos.z << ' ' << p.orient.q1 << ' ' << p.orient.q2
     << ' ' << p.orient.q3 << ' ' << p.orient.q4;
}

std::istream& readPose(std::istream& is, Pose& p) {
  return is >> p.pos.x >> p.pos.y >> p.pos.z >> p.orient.q1 >> p.orient.q2 >> p.orient.q3 >>
         p.orient.q4;
}

// The target's brace form: the pose's "{{x, y, z}, {q1, q2, q3, q4}" continued, inside the
// same braces, by the configuration text `conf` and the external axes.
std::string targetString(const RobTarget& t, const std::string& conf) {
  std::string text = t.pose.toString();
  text.pop_back();  // reopen the pose's closing brace
  text += ", ";
  text += conf;
  text += ", ";
  text += t.extJoint.toString();
  text += '}';
  return text;
}

}  // namespace

// ---- LoadData ------------------------------------------------------------------------------

std::string LoadData::toString() const {
  // One fresh stream in its default state (general notation, 6 significant digits) for the
  // mass, the inertia axes and the inertias; the centre of gravity keeps full precision.
  std::ostringstream os;
  os << '{' << mass << ", " << TripleText(cog.x, cog.y, cog.z) << ", "
     << QuaternionText(aom.q1, aom.q2, aom.q3, aom.q4) << ", " << ix << ", " << iy << ", " << iz
     << '}';
  return os.str();
}

std::ostream& operator<<(std::ostream& os, const LoadData& l) {
  return os << l.mass << ' ' << l.cog.x << ' ' << l.cog.y << ' ' << l.cog.z << ' ' << l.aom.q1
            << ' ' << l.aom.q2 << ' ' << l.aom.q3 << ' ' << l.aom.q4 << ' ' << l.ix << ' ' << l.iy
            << ' ' << l.iz;
}

std::istream& operator>>(std::istream& is, LoadData& l) {
  return is >> l.mass >> l.cog.x >> l.cog.y >> l.cog.z >> l.aom.q1 >> l.aom.q2 >> l.aom.q3 >>
         l.aom.q4 >> l.ix >> l.iy >> l.iz;
}

// ---- RobTarget -----------------------------------------------------------------------------

std::string RobTarget::toString() const {
  return targetString(*this, robConf.toString());
}

std::string RobTarget::toUIString() const {
  return toString();
}

std::string RobTarget::toOstrelString() const {
  return targetString(*this, robConf.toOstrelString());
}

std::ostream& operator<<(std::ostream& os, const RobTarget& t) {
  writePose(os, t.pose);
  return os << ' ' << t.robConf << ' ' << t.extJoint;
}

std::istream& operator>>(std::istream& is, RobTarget& t) {
  return readPose(is, t.pose) >> t.robConf >> t.extJoint;
}

// ---- ToolData ------------------------------------------------------------------------------

bool ToolData::operator==(const ToolData& o) const {
  const Vec3 d = tframe.pos - o.tframe.pos;
  if (!(d.x * d.x + d.y * d.y + d.z * d.z < kSameToolPositionSquared)) {
    return false;
  }
  if (!tframe.rotation().isApprox(o.tframe.rotation())) {
    return false;
  }
  return robhold == o.robhold;
}

std::string ToolData::toString() const {
  return std::string("{") + boolWord(robhold) + ", " + tframe.toString() + ", " + tload.toString() +
         '}';
}

std::ostream& operator<<(std::ostream& os, const ToolData& t) {
  os << std::boolalpha << t.robhold << ' ';
  writePose(os, t.tframe);
  return os << ' ' << t.tload;
}

std::istream& operator>>(std::istream& is, ToolData& t) {
  is >> std::boolalpha >> t.robhold;
  return readPose(is, t.tframe) >> t.tload;
}

// ---- WObjData ------------------------------------------------------------------------------

WObjData::WObjData(bool heldByRobot, bool programmed, std::string unit, Pose user, Pose object)
    : robhold(heldByRobot),
      ufprog(programmed),
      ufmec(std::move(unit)),
      uframe(user),
      oframe(object) {}

Pose WObjData::getPose() const {
  return uframe * oframe;
}

std::string WObjData::toString() const {
  return std::string("{") + boolWord(robhold) + ", " + boolWord(ufprog) + ", \"" + ufmec + "\", " +
         uframe.toString() + ", " + oframe.toString() + '}';
}

std::ostream& operator<<(std::ostream& os, const WObjData& w) {
  os << std::boolalpha << w.robhold << ' ' << w.ufprog << ' ';
  // The unit name is part of the form only for a user frame moved by a mechanical unit.
  if (!w.ufprog) {
    os << w.ufmec << ' ';
  }
  writePose(os, w.uframe);
  os << ' ';
  writePose(os, w.oframe);
  return os;
}

std::istream& operator>>(std::istream& is, WObjData& w) {
  is >> std::boolalpha >> w.robhold >> w.ufprog;
  if (is && !w.ufprog) {
    is >> w.ufmec;
  }
  return readPose(readPose(is, w.uframe), w.oframe);
}

}  // namespace zor::rob
