#include "ik/search_residuals.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace zor::rob::detail {

namespace {

/// Smallest sine between axes 1 and 2 and between axes 5 and 6.
constexpr double kMinAxisSine = kMinAxis12Sine;

}  // namespace

PoseTerms termsOf(const SearchArm& arm, const Mat3& r, const Vec3& p) {
  PoseTerms t;
  const Vec3& k1 = arm.axes[0];
  t.rm = r.timesTranspose(arm.homeRotation);
  const Vec3 u = p + t.rm * (arm.wristPoint - arm.flangeOrigin) - arm.shoulderPoint;
  const double along1 = k1.dot(u);
  t.along1 = arm.axis12Cosine * along1;
  t.a1 = arm.axes[1].dot(u) - t.along1;
  t.b1 = u.dot(arm.axis12Normal);
  t.inverseRho1 = 1.0 / std::sqrt(t.a1 * t.a1 + t.b1 * t.b1);
  // Rot(k1, −θ) v = k1 (k1·v) + (v − k1 (k1·v)) c − (k1 × v) s.
  const Vec3 uAlong = k1 * along1;
  t.t0 = inPlane(arm, uAlong + arm.shoulderPoint - arm.axis2Point);
  t.tc = inPlane(arm, u - uAlong);
  t.ts = inPlane(arm, u.cross(k1));
  const Vec3 v6 = t.rm * arm.axes[5];
  t.w0 = k1 * k1.dot(v6);
  t.wc = v6 - t.w0;
  t.ws = v6.cross(k1);
  t.w2 = arm.axes[1].dot(t.w0);
  t.w2c = arm.axes[1].dot(t.wc);
  t.w2s = arm.axes[1].dot(t.ws);
  return t;
}

namespace {

/// The directions β ± γ of A cos θ + B sin θ = c, where (A, B) = ρ (cos β, sin β) and
/// cos γ = c / ρ = `ratio`, into `out` (both the same at the end of the reach, where |ratio| is
/// within kReachTolerance of 1, as for solveCosSin); `inverseSquare` is 1 / ρ². \returns false
/// beyond the reach.
bool solveOffset(double a, double b, double c, double ratio, double inverseSquare,
                 std::array<CosSin, 2>& out) {
  if (!(std::abs(ratio) <= 1.0 + kReachTolerance))
    return false;
  if (std::abs(ratio) >= 1.0 - kReachTolerance) {
    const double sign = ratio > 0.0 ? 1.0 : -1.0;
    const double inverse = std::sqrt(inverseSquare);
    out[0] = {sign * a * inverse, sign * b * inverse};
    out[1] = out[0];
    return true;
  }
  // (a c ∓ b h, b c ± a h) / ρ² with h = ρ sin γ = √(ρ² − c²).
  const double h = std::sqrt(1.0 / inverseSquare - c * c);
  out[0] = {(a * c - b * h) * inverseSquare, (b * c + a * h) * inverseSquare};
  out[1] = {(a * c + b * h) * inverseSquare, (b * c - a * h) * inverseSquare};
  return true;
}

/// Joint 1's directions at sample `g` into `d`; \returns false where there are none.
bool joint1At(const PoseTerms& t, const SearchSample& g, std::array<CosSin, 2>& d) {
  const double c = g.along2 - t.along1;
  return solveOffset(t.a1, t.b1, c, c * t.inverseRho1, t.inverseRho1 * t.inverseRho1, d);
}

/// The elbows of joint-1 direction `d1` at sample `g` into `elbow` and the state's target and
/// w; \returns false where there are none.
bool elbowsAt(const SearchArm& arm, const PoseTerms& t, const SearchSample& g, const CosSin& d1,
              BranchState& s, std::array<CosSin, 2>& elbow) {
  s.joint1 = d1;
  s.target = {t.t0[0] + t.tc[0] * d1.c + t.ts[0] * d1.s, t.t0[1] + t.tc[1] * d1.c + t.ts[1] * d1.s};
  s.w = t.w0 + t.wc * d1.c + t.ws * d1.s;
  const double targetSquared = s.target[0] * s.target[0] + s.target[1] * s.target[1];
  s.inverseTargetSquared = 1.0 / targetSquared;
  const double c = 0.5 * (targetSquared - arm.upperSquared - g.foreSquared);
  const double ratio = c * g.inverseLinkProduct;
  s.elbowBeyond = ratio * ratio - 1.0;
  return solveOffset(g.linkCosine, g.linkSine, c, ratio,
                     g.inverseLinkProduct * g.inverseLinkProduct, elbow);
}

/// The residual of elbow `psi` with `s`'s joint 1, target and w, into `s.f`; \returns the
/// direction (not of unit length) of joints 2 + 3 about k2.
CosSin residualAt(const SearchArm& arm, const PoseTerms& t, const SearchSample& g,
                  const CosSin& psi, BranchState& s) {
  s.elbow = psi;
  const std::array<double, 2>& f = g.fore;
  s.reach = {arm.upperArm[0] + f[0] * psi.c - f[1] * psi.s,
             arm.upperArm[1] + f[1] * psi.c + f[0] * psi.s};
  // Joint 2 turns the reach onto the target: its direction is (reach·target, reach × target)
  // divided by |reach| |target|, and |reach| = |target| there.
  const std::array<double, 2>& x = s.target;
  const double c2 = s.reach[0] * x[0] + s.reach[1] * x[1];
  const double s2 = s.reach[0] * x[1] - s.reach[1] * x[0];
  const double scale = s.inverseTargetSquared;
  const CosSin dir23{(c2 * psi.c - s2 * psi.s) * scale, (s2 * psi.c + c2 * psi.s) * scale};
  // k5'·Rot(k2, −θ23) w = c (k5'·w − (k5'·k2)(k2·w)) − s (k5' × k2)·w + (k5'·k2)(k2·w).
  const double along = (t.w2 + t.w2c * s.joint1.c + t.w2s * s.joint1.s) * g.axis5Along2;
  s.f = dir23.c * (g.axis5.dot(s.w) - along) - dir23.s * g.axis5Cross2.dot(s.w) + along -
        arm.wristCosine;
  return dir23;
}

}  // namespace

void residualsAt(const SearchArm& arm, const PoseTerms& t, const SearchSample& g, Residuals& out) {
  out.valid = {};
  const double ratio1 = (g.along2 - t.along1) * t.inverseRho1;
  out.beyond = {ratio1 * ratio1 - 1.0, ratio1 * ratio1 - 1.0};
  std::array<CosSin, 2> joint1{};
  out.joint1 = joint1At(t, g, joint1);
  if (!out.joint1)
    return;
  BranchState s;
  for (std::size_t i1 = 0; i1 < 2; ++i1) {
    std::array<CosSin, 2> elbow{};
    const bool exists = elbowsAt(arm, t, g, joint1[i1], s, elbow);
    out.beyond[i1] = std::max(out.beyond[i1], s.elbowBeyond);
    if (!exists)
      continue;
    out.valid[i1] = true;
    for (std::size_t i3 = 0; i3 < 2; ++i3) {
      residualAt(arm, t, g, elbow[i3], s);
      out.f[2 * i3 + i1] = s.f;
    }
  }
}

/// Branch `b` at sample `g` into `s`, its joint-2-and-3 direction into `dir23`; \returns false
/// where it does not exist.
bool branchAt(const SearchArm& arm, const PoseTerms& t, const SearchSample& g, std::size_t b,
              BranchState& s, CosSin& dir23) {
  std::array<CosSin, 2> joint1{};
  std::array<CosSin, 2> elbow{};
  if (!joint1At(t, g, joint1) || !elbowsAt(arm, t, g, joint1[b % 2], s, elbow))
    return false;
  dir23 = residualAt(arm, t, g, elbow[b / 2], s);
  return true;
}

std::size_t joint1Ends(const SearchArm& arm, const PoseTerms& t, std::array<double, 4>& out) {
  // k2·(C' − q1) = A0 + Ac cos θ4 + As sin θ4 meets along1 ± ρ1.
  const std::array<double, 3>& h = arm.along2Terms;
  const double amplitude = std::sqrt(h[1] * h[1] + h[2] * h[2]);
  std::size_t n = 0;
  if (!(amplitude > 0.0) || !std::isfinite(t.inverseRho1))
    return n;
  for (const double side : {-1.0, 1.0}) {
    std::array<CosSin, 2> d{};
    CosSin unused;
    const std::size_t count =
        solveCosSin(h[1], h[2], t.along1 + side / t.inverseRho1 - h[0], amplitude, d, unused);
    for (std::size_t k = 0; k < count; ++k) {
      const double theta = std::atan2(d[k].s, d[k].c);
      out[n++] = theta < kPi ? theta : -kPi;
    }
  }
  std::sort(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(n));
  return n;
}

SearchSample searchSampleAt(const SearchArm& arm, double theta4) {
  SearchSample g;
  const Vec3& k2 = arm.axes[1];
  const Vec3& k4 = arm.axes[3];
  g.theta = theta4;
  g.dir4 = {std::cos(theta4), std::sin(theta4)};
  const Vec3 c = arm.axis4Point + rotate(k4, g.dir4, arm.wristPoint - arm.axis4Point);
  g.along2 = k2.dot(c - arm.shoulderPoint);
  g.fore = inPlane(arm, c - arm.axis3Point);
  g.foreSquared = g.fore[0] * g.fore[0] + g.fore[1] * g.fore[1];
  const std::array<double, 2>& u = arm.upperArm;
  g.linkCosine = u[0] * g.fore[0] + u[1] * g.fore[1];
  g.linkSine = u[1] * g.fore[0] - u[0] * g.fore[1];
  g.inverseLinkProduct = 1.0 / std::sqrt(arm.upperSquared * g.foreSquared);
  g.axis5 = rotate(k4, g.dir4, arm.axes[4]);
  g.axis5Along2 = g.axis5.dot(k2);
  g.axis5Cross2 = g.axis5.cross(k2);
  return g;
}

SearchArm MakeSearchArm(const RobotConfig& robot) {
  SearchArm arm;
  const std::array<Vec3, 6> q = setArmAxes(robot, arm);
  const std::array<Vec3, 6>& k = arm.axes;
  const Vec3 n56 = k[4].cross(k[5]);
  if (!(arm.axis2Sine >= kMinAxisSine) || !(n56.norm() >= kMinAxisSine) ||
      !(k[1].cross(k[2]).norm() <= kAxisAngleTolerance))
    return arm;
  const Vec3 meet = nearestPointToAxis(q[4], k[4], q[5], k[5]);
  if (!(distanceToAxis(meet, q[5], k[5]) <= kAxesMeetTolerance))
    return arm;
  const Vec3 upper = normalPart(q[2] - q[1], k[1]);
  if (!(upper.norm() >= kMinLinkLength))
    return arm;
  const Rotation& mr = robot.flangeHome.rotation;
  arm.homeRotation = rotationMatrix(mr.w, mr.x, mr.y, mr.z);
  arm.flangeOrigin = robot.flangeHome.translation;
  arm.shoulderPoint = q[0];
  arm.axis2Point = q[1];
  arm.axis3Point = q[2];
  arm.axis4Point = q[3];
  arm.wristPoint = meet;
  arm.axis12Cosine = k[0].dot(k[1]);
  arm.planeX = upper.normalized();
  arm.planeY = k[1].cross(arm.planeX);
  arm.upperArm = inPlane(arm, upper);
  arm.upperSquared = arm.upperArm[0] * arm.upperArm[0] + arm.upperArm[1] * arm.upperArm[1];
  arm.axis3Sign = k[1].dot(k[2]) > 0.0 ? 1.0 : -1.0;
  arm.wristCosine = k[4].dot(k[5]);
  // k2·(C' − q1) with C' = q4 + Rot(k4, θ4) v: A0 + Ac cos θ4 + As sin θ4.
  const Vec3 v = meet - q[3];
  const double along4 = k[1].dot(k[3]) * k[3].dot(v);
  arm.along2Terms = {k[1].dot(q[3] - q[0]) + along4, k[1].dot(v) - along4, k[1].dot(k[3].cross(v))};
  constexpr double step = 2.0 * kPi / static_cast<double>(kSearchSamples);
  for (std::size_t i = 0; i < kSearchSamples; ++i)
    arm.samples[i] = searchSampleAt(arm, -kPi + step * static_cast<double>(i));
  arm.solvable = true;
  return arm;
}

}  // namespace zor::rob::detail
