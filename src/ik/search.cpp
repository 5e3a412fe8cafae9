#include "ik/search.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "zor/rob/angles.hpp"

namespace zor::rob::detail {

namespace {

/// Smallest sine between axes 1 and 2 and between axes 5 and 6.
constexpr double kMinAxisSine = kMinAxis12Sine;
/// Most steps of each polish (regula falsi, bisection of an edge, golden section): each at least
/// halves (or shrinks by 0.618) an interval of one sample step, far below the accuracy of a
/// double after 60.
constexpr int kPolishSteps = 60;
/// A local minimum of a residual's magnitude below this is a root where the residual touches
/// zero; damped least squares then decides whether a solution lies there.
constexpr double kTouchingResidual = 1e-6;
/// A root's bracket (radians) is polished until it is this narrow.
constexpr double kRootWidth = 1e-15;
/// Samples between an edge of a branch and the sample next to it.
constexpr std::size_t kEdgeSamples = 16;
/// Polished solutions whose joints all agree within this (degrees, modulo a turn) are one.
constexpr double kSameSolution = 1e-7;

/// The terms of the target that do not depend on joint 4.
struct PoseTerms {
  Mat3 rm{};  ///< R R_Mᵀ.
  Vec3 u{};   ///< Wt − q1.
  double along1{0.0};
  double a1{0.0};
  double b1{0.0};
  double rho1{0.0};
  Vec3 v6{};  ///< R R_Mᵀ k6.
};

/// The four branches (2 · elbow + shoulder) at one value of joint 4: the residual, whether the
/// branch exists, and its joints (radians) when asked for.
struct Sample {
  std::array<double, 4> f{};
  std::array<bool, 4> valid{};
  std::array<std::array<double, 6>, 4> joints{};
};

PoseTerms termsOf(const SearchArm& arm, const Mat3& r, const Vec3& p) {
  PoseTerms t;
  t.rm = r.timesTranspose(arm.homeRotation);
  t.u = p + t.rm * (arm.wristPoint - arm.flangeOrigin) - arm.shoulderPoint;
  t.along1 = arm.axes[0].dot(t.u);
  t.a1 = arm.axes[1].dot(t.u) - arm.axis12Cosine * t.along1;
  t.b1 = t.u.dot(arm.axis12Normal);
  t.rho1 = std::sqrt(t.a1 * t.a1 + t.b1 * t.b1);
  t.v6 = t.rm * arm.axes[5];
  return t;
}

/// The branches at joint 4 = `theta4` into `s`, their joints too when `WithJoints`.
///
/// Kept out of the callers' optimisation (noipa): GCC 12 at -O3, inlining or cloning it, lost
/// the residuals on some poses (they came out 0); Clang, and GCC at -O2, keep them.
template <bool WithJoints>
[[gnu::noipa]] void evaluate(const SearchArm& arm, const PoseTerms& t, double theta4, Sample& s) {
  s.valid = {};
  const Vec3& k1 = arm.axes[0];
  const Vec3& k2 = arm.axes[1];
  const Vec3& k4 = arm.axes[3];
  const Vec3& k5 = arm.axes[4];
  const CosSin dir4{std::cos(theta4), std::sin(theta4)};
  const Vec3 c = arm.axis4Point + rotate(k4, dir4, arm.wristPoint - arm.axis4Point);
  // Joint 1 brings C' to the target's component along k2.
  std::array<CosSin, 2> joint1{};
  CosSin unused;
  const double c1 = k2.dot(c - arm.shoulderPoint) - arm.axis12Cosine * t.along1;
  const std::size_t n1 = solveCosSin(t.a1, t.b1, c1, t.rho1, joint1, unused);
  if (n1 == 0)
    return;
  joint1[1] = joint1[n1 - 1];
  const Vec3 fore = normalPart(c - arm.axis3Point, k2);
  const Vec3 foreNormal = k2.cross(fore);
  const double foreLength = fore.norm();
  const double upperLength = arm.upperArm.norm();
  for (std::size_t i1 = 0; i1 < 2; ++i1) {
    const Vec3 back = rotateBack(k1, joint1[i1], t.u) + arm.shoulderPoint - arm.axis2Point;
    const Vec3 target = normalPart(back, k2);
    std::array<CosSin, 2> elbow{};
    const std::size_t n3 = solveCosSin(
        arm.upperArm.dot(fore), arm.upperArm.dot(foreNormal),
        0.5 * (target.squaredNorm() - upperLength * upperLength - foreLength * foreLength),
        upperLength * foreLength, elbow, unused);
    if (n3 == 0)
      continue;
    elbow[1] = elbow[n3 - 1];
    for (std::size_t i3 = 0; i3 < 2; ++i3) {
      const CosSin& psi = elbow[i3];
      const Vec3 reach = arm.upperArm + fore * psi.c + foreNormal * psi.s;
      const CosSin dir2 = CosSin{reach.dot(target), k2.dot(reach.cross(target))}.normalized();
      const CosSin dir23{dir2.c * psi.c - dir2.s * psi.s, dir2.s * psi.c + dir2.c * psi.s};
      // Rw k6 = R4ᵀ R23ᵀ R1ᵀ R R_Mᵀ k6.
      const Vec3 w6 = rotateBack(k4, dir4, rotateBack(k2, dir23, rotateBack(k1, joint1[i1], t.v6)));
      const std::size_t b = 2 * i3 + i1;
      s.f[b] = k5.dot(w6) - arm.wristCosine;
      s.valid[b] = true;
      if constexpr (WithJoints) {
        // Rwᵀ k5 = R_M Rᵀ R1 R23 R4 k5.
        const Vec3 w5 =
            t.rm.transposeTimes(rotate(k1, joint1[i1], rotate(k2, dir23, rotate(k4, dir4, k5))));
        s.joints[b] = {std::atan2(joint1[i1].s, joint1[i1].c),   std::atan2(dir2.s, dir2.c),
                       arm.axis3Sign * std::atan2(psi.s, psi.c), theta4,
                       turnAbout(k5, arm.axes[5], w6),           turnAbout(arm.axes[5], w5, k5)};
      }
    }
  }
}

/// The search of one pose.
class Search {
 public:
  Search(const RobotConfig& robot, const SearchArm& arm, const Mat3& r, const Vec3& p,
         NumericalSolutions& out)
      : robot_(robot), arm_(arm), r_(r), p_(p), terms_(termsOf(arm, r, p)), out_(out) {}

  void run() {
    constexpr double step = 2.0 * kPi / static_cast<double>(kSearchSamples);
    Sample s;
    for (std::size_t i = 0; i < kSearchSamples; ++i) {
      theta_[i] = -kPi + step * static_cast<double>(i);
      evaluate<false>(arm_, terms_, theta_[i], s);
      samples_[i] = {s.f, s.valid};
    }
    for (std::size_t b = 0; b < 4; ++b)
      for (std::size_t i = 0; i < kSearchSamples; ++i)
        searchInterval(b, i, step);
  }

 private:
  /// The residuals of the four branches at one sample, and which exist.
  struct Residuals {
    std::array<double, 4> f{};
    std::array<bool, 4> valid{};
  };

  const Residuals& at(std::size_t i) const { return samples_[i % kSearchSamples]; }

  /// Looks for roots of branch `b` from sample `i` to the next.
  void searchInterval(std::size_t b, std::size_t i, double step) {
    const Residuals& s0 = at(i);
    const Residuals& s1 = at(i + 1);
    const double lo = theta_[i];
    if (s0.valid[b] != s1.valid[b]) {
      searchToEdge(b, s0.valid[b] ? lo : lo + step, s0.valid[b] ? lo + step : lo,
                   s0.valid[b] ? s0.f[b] : s1.f[b]);
      return;
    }
    if (!s0.valid[b])
      return;
    if (s0.f[b] == 0.0 || std::signbit(s0.f[b]) != std::signbit(s1.f[b])) {
      solveBracket(b, lo, lo + step, s0.f[b], s1.f[b]);
      return;
    }
    // A local minimum of |f| at the next sample: the residual may touch zero near it.
    const Residuals& s2 = at(i + 2);
    if (!s2.valid[b] || std::signbit(s2.f[b]) != std::signbit(s1.f[b]) ||
        std::abs(s1.f[b]) > std::abs(s0.f[b]) || std::abs(s1.f[b]) > std::abs(s2.f[b]))
      return;
    minimize(b, lo, lo + 2.0 * step);
  }

  double residual(std::size_t b, double theta4, bool& valid) {
    Sample s;
    evaluate<false>(arm_, terms_, theta4, s);
    valid = s.valid[b];
    return s.f[b];
  }

  /// The root of branch `b` between `lo` and `hi`, where its residual changes sign (`fLo` and
  /// `fHi`), by the Illinois variant of regula falsi: superlinear, and it never leaves the
  /// bracket.
  void solveBracket(std::size_t b, double lo, double hi, double fLo, double fHi) {
    int side = 0;
    for (int k = 0; k < kPolishSteps && fLo != 0.0 && fHi != 0.0 && std::abs(hi - lo) > kRootWidth;
         ++k) {
      const double x = (lo * fHi - hi * fLo) / (fHi - fLo);
      bool valid = false;
      const double f = residual(b, x, valid);
      if (!valid)
        return;
      if (std::signbit(f) == std::signbit(fLo)) {
        lo = x;
        fLo = f;
        if (side < 0)
          fHi *= 0.5;
        side = -1;
      } else {
        hi = x;
        fHi = f;
        if (side > 0)
          fLo *= 0.5;
        side = 1;
      }
    }
    accept(b, std::abs(fLo) <= std::abs(fHi) ? lo : hi);
  }

  /// Where branch `b` exists at `inside` (residual `fInside`) but not at `outside`: finds the
  /// edge between, where it meets another branch, and a root between `inside` and the edge.
  void searchToEdge(std::size_t b, double inside, double outside, double fInside) {
    double edge = inside;
    double fEdge = fInside;
    for (int k = 0; k < kPolishSteps && std::abs(outside - edge) > kRootWidth; ++k) {
      const double mid = 0.5 * (edge + outside);
      bool valid = false;
      const double f = residual(b, mid, valid);
      if (valid) {
        edge = mid;
        fEdge = f;
      } else {
        outside = mid;
      }
    }
    // Near the edge the branch moves as the square root of the distance to it: sampled anew,
    // evenly in that root, so that roots crowded against the edge come apart.
    std::array<double, kEdgeSamples + 1> theta{};
    std::array<double, kEdgeSamples + 1> f{};
    for (std::size_t k = 0; k <= kEdgeSamples; ++k) {
      const double x = static_cast<double>(k) / static_cast<double>(kEdgeSamples);
      theta[k] = edge + (inside - edge) * x * x;
      bool valid = true;
      f[k] = k == 0 ? fEdge : k == kEdgeSamples ? fInside : residual(b, theta[k], valid);
      if (!valid)
        return;
    }
    for (std::size_t k = 0; k < kEdgeSamples; ++k) {
      if (f[k] == 0.0 || std::signbit(f[k]) != std::signbit(f[k + 1]))
        solveBracket(b, theta[k], theta[k + 1], f[k], f[k + 1]);
      else if (k + 2 <= kEdgeSamples && std::signbit(f[k + 2]) == std::signbit(f[k + 1]) &&
               std::abs(f[k + 1]) <= std::abs(f[k]) && std::abs(f[k + 1]) <= std::abs(f[k + 2]))
        minimize(b, theta[k], theta[k + 2]);
    }
    if (std::abs(fEdge) < kTouchingResidual)
      accept(b, edge);
  }

  void minimize(std::size_t b, double lo, double hi) {
    constexpr double golden = 0.6180339887498949;
    double x1 = hi - golden * (hi - lo);
    double x2 = lo + golden * (hi - lo);
    bool valid1 = false;
    bool valid2 = false;
    double f1 = std::abs(residual(b, x1, valid1));
    double f2 = std::abs(residual(b, x2, valid2));
    for (int k = 0; k < kPolishSteps; ++k) {
      if (!valid1 || !valid2)
        return;
      if (f1 < f2) {
        hi = x2;
        x2 = x1;
        f2 = f1;
        x1 = hi - golden * (hi - lo);
        f1 = std::abs(residual(b, x1, valid1));
      } else {
        lo = x1;
        x1 = x2;
        f1 = f2;
        x2 = lo + golden * (hi - lo);
        f2 = std::abs(residual(b, x2, valid2));
      }
    }
    if (std::min(f1, f2) < kTouchingResidual)
      accept(b, f1 < f2 ? x1 : x2);
  }

  /// Completes branch `b` at joint 4 = `theta4`, polishes it and adds it.
  void accept(std::size_t b, double theta4) {
    if (out_.count == out_.solutions.size())
      return;
    Sample s;
    evaluate<true>(arm_, terms_, theta4, s);
    if (!s.valid[b])
      return;
    std::array<double, 6> joints{};
    for (std::size_t i = 0; i < 6; ++i)
      joints[i] = RadToDeg(s.joints[b][i]);
    if (!solveNumerically(robot_, r_, p_, joints)) {
      return;
    }
    // A root reached from both sides of a sample, or two branches that meet: the same solution.
    for (std::size_t k = 0; k < out_.count; ++k) {
      double d = 0.0;
      for (std::size_t i = 0; i < 6; ++i)
        d = std::max(d, std::abs(std::remainder(joints[i] - out_.solutions[k][i], 360.0)));
      if (d < kSameSolution)
        return;
    }
    out_.solutions[out_.count++] = joints;
  }

  const RobotConfig& robot_;
  const SearchArm& arm_;
  const Mat3& r_;
  const Vec3& p_;
  const PoseTerms terms_;
  NumericalSolutions& out_;
  std::array<double, kSearchSamples> theta_{};
  std::array<Residuals, kSearchSamples> samples_{};
};

}  // namespace

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
  arm.upperArm = normalPart(q[2] - q[1], k[1]);
  if (!(arm.upperArm.norm() >= kMinLinkLength))
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
  arm.axis3Sign = k[1].dot(k[2]) > 0.0 ? 1.0 : -1.0;
  arm.wristCosine = k[4].dot(k[5]);
  arm.solvable = true;
  return arm;
}

void solveBySearch(const RobotConfig& robot, const SearchArm& arm, const Mat3& r, const Vec3& p,
                   NumericalSolutions& out) {
  out.count = 0;
  Search(robot, arm, r, p, out).run();
}

}  // namespace zor::rob::detail
