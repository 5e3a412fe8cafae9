// The closed-form timing of a synchronised joint move: a trapezoid (or triangle) of path speed
// along the straight line in joint space, from rest to rest.

#include <cmath>
#include <limits>

#include "audit/timing.hpp"

namespace zor::rob::audit {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

}  // namespace

JointMoveProfile ProfileOfJointMove(const std::array<double, 6>& travel,
                                    const TimingLimits& limits) {
  JointMoveProfile p;
  p.travel = travel;
  p.speed = kInf;
  p.acceleration = kInf;
  for (std::size_t j = 0; j < 6; ++j) {
    const double d = std::abs(travel[j]);
    if (d == 0.0)
      continue;
    if (limits.jointSpeed[j] / d < p.speed) {
      p.speed = limits.jointSpeed[j] / d;
      p.speedJoint = static_cast<int>(j) + 1;
    }
    if (limits.jointAcceleration[j] / d < p.acceleration) {
      p.acceleration = limits.jointAcceleration[j] / d;
      p.accelerationJoint = static_cast<int>(j) + 1;
    }
  }
  if (p.speedJoint == 0) {
    p.speed = p.acceleration = 0.0;
    return p;
  }
  // A trapezoid when the top speed is reached within the move, else a triangle.
  if (p.speed * p.speed / p.acceleration <= 1.0) {
    p.peakSpeed = p.speed;
    p.duration = 1.0 / p.speed + p.speed / p.acceleration;
  } else {
    p.peakSpeed = std::sqrt(p.acceleration);
    p.duration = 2.0 / p.peakSpeed;
  }
  return p;
}

namespace {

/// The fraction at which a joint move's acceleration ends (and, mirrored, its braking begins).
double rampFraction(const JointMoveProfile& p) {
  return p.peakSpeed * p.peakSpeed / (2.0 * p.acceleration);
}

}  // namespace

double JointMoveProfile::timeAt(double f) const {
  if (duration == 0.0)
    return 0.0;
  const double ramp = rampFraction(*this);
  if (f <= ramp)
    return std::sqrt(2.0 * f / acceleration);
  if (f <= 1.0 - ramp)
    return peakSpeed / acceleration + (f - ramp) / peakSpeed;
  return duration - std::sqrt(2.0 * std::max(0.0, 1.0 - f) / acceleration);
}

double JointMoveProfile::speedAt(double f) const {
  if (duration == 0.0)
    return 0.0;
  const double ramp = rampFraction(*this);
  if (f <= ramp)
    return std::sqrt(2.0 * f * acceleration);
  if (f <= 1.0 - ramp)
    return peakSpeed;
  return std::sqrt(2.0 * std::max(0.0, 1.0 - f) * acceleration);
}

double JointMoveProfile::accelerationAt(double f) const {
  if (duration == 0.0)
    return 0.0;
  const double ramp = rampFraction(*this);
  if (f < ramp)
    return acceleration;
  if (f < 1.0 - ramp)
    return 0.0;
  return -acceleration;
}

TimingLimit JointMoveProfile::limitAt(double f) const {
  if (duration == 0.0)
    return TimingLimit::none;
  return accelerationAt(f) == 0.0 ? TimingLimit::jointSpeed : TimingLimit::jointAcceleration;
}

int JointMoveProfile::limitJointAt(double f) const {
  if (duration == 0.0)
    return 0;
  return accelerationAt(f) == 0.0 ? speedJoint : accelerationJoint;
}

}  // namespace zor::rob::audit
