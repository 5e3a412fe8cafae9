#include "zor/rob/circle.hpp"

// Zone entry and exit on the arc. The point operations turn the arc length into an angle by the
// radius; the direction operations turn it into a fraction by the arc length. On a valid circle
// both give the same point for the same distance.

namespace zor::rob {

namespace {}  // namespace

Vec3 TPCircle::getStartZonePoint(double d) {
  return pointAtAngle(d / r);
}

Vec3 TPCircle::getEndZonePoint(double d) {
  return pointAtAngle(arcRad - d / r);
}

Vec3 TPCircle::getStartZoneVelocity(double d) {
  const Vec3 q = getPoint(d / arcLen);
  return N.cross(q - R).normalized();
}

Vec3 TPCircle::getEndZoneVelocity(double d) {
  const Vec3 q = getPoint(1.0 - d / arcLen);
  return N.cross(q - R).normalized();
}

}  // namespace zor::rob
