#include "zor/rob/circle.hpp"

#include <algorithm>
#include <cmath>
#include <iostream>

#include "detail/messages.hpp"
#include "zor/rob/angles.hpp"

// Implementation notes
//
// The centre is found from barycentric weights of the three points, which only needs the
// squared side lengths; the radius is the mean of the three distances to that centre, so the
// three points need not lie exactly at one distance. Angles along the arc are measured from
// RA about N by acos of the normalised dot product, with the side of the cross product deciding
// between θ and 2π - θ. The two angle queries clamp differently on purpose (see their
// comments).

namespace zor::rob {

namespace {

constexpr double kTwoPi = 2.0 * kPi;

/// Two points closer than this coincide; also the tolerance of the on-arc test (in length and
/// in radians) and of the end tests of the sub-arc operations.
constexpr double kPointTolerance = 1e-6;
/// Squared sine below which two directions count as parallel (sine 0.01).
constexpr double kCollinearSquaredSine = 0.0001;
/// Normals whose dot product is at least this in magnitude belong to parallel planes.
constexpr double kParallelNormals = 0.999999;
/// The largest coordinate the circle takes. The circumcentre's weights hold fourth powers of
/// the side lengths, which stay finite for sides up to about 1e77, and the queries square the
/// radius.
constexpr double kMaxCoordinate = 1e75;

bool withinRange(const Vec3& p) {
  // Written so that NaN fails the test too.
  return std::abs(p.x) <= kMaxCoordinate && std::abs(p.y) <= kMaxCoordinate &&
         std::abs(p.z) <= kMaxCoordinate;
}

/// The one thrower of TPCircleFail.
[[noreturn, gnu::cold]] void fail(const char* message) {
  throw TPCircleFail(message);
}

}  // namespace

TPCircleFail::~TPCircleFail() = default;

TPCircle::TPCircle(const Vec3& start, const Vec3& via, const Vec3& end) : A(start), B(via), C(end) {
  if (!withinRange(A) || !withinRange(B) || !withinRange(C))
    fail(detail::msg::kPointsOutOfRange);
  const double c2 = (A - B).squaredNorm();
  const double b2 = (A - C).squaredNorm();
  const double a2 = (B - C).squaredNorm();
  if (std::sqrt(c2) < kPointTolerance || std::sqrt(b2) < kPointTolerance ||
      std::sqrt(a2) < kPointTolerance) {
    fail(detail::msg::kPointsCoincide);
  }

  // The first test bounds the angle at A, the second the angle at B.
  const Vec3 u = (B - A).normalized();
  const Vec3 w = (C - A).normalized();
  if (u.cross(w).squaredNorm() < kCollinearSquaredSine)
    fail(detail::msg::kPointsCollinear);
  const Vec3 v = (C - B).normalized();
  if (u.cross(v).squaredNorm() < kCollinearSquaredSine)
    fail(detail::msg::kPointsCollinear);

  // Barycentric coordinates of the circumcentre; den is 16 times the squared triangle area.
  const double den = 2 * a2 * b2 + 2 * a2 * c2 + 2 * b2 * c2 - a2 * a2 - b2 * b2 - c2 * c2;
  const double wA = a2 * (b2 + c2 - a2) / den;
  const double wB = b2 * (c2 + a2 - b2) / den;
  const double wC = c2 * (a2 + b2 - c2) / den;
  R = A * wA + B * wB + C * wC;
  r = ((R - B).norm() + (R - A).norm() + (R - C).norm()) / 3.0;

  RA = A - R;
  const double x = (C - R).dot(A - R) / (r * r);
  // With an exact centre the collinearity tests keep the cosine below about 1 - 2e-4 (the sine
  // at B is |AC| / 2r); it reaches 1 only when the centre formula has cancelled to rounding
  // noise (one side many orders of magnitude shorter than the others) and the centre lies so
  // far away that A - R and C - R round to the same vector.
  if (x >= 1.0)
    fail(detail::msg::kAAndCSame);
  double alpha = x <= -1.0 ? kPi : std::acos(x);
  // An acute inscribed angle at B means B lies on the longer of the two arcs from A to C.
  if ((C - B).dot(B - A) < 0.0)
    alpha = kTwoPi - alpha;
  arcRad = alpha;
  arcLen = r * alpha;

  N = (B - A).cross(C - B).normalized();
  RY = N.cross(RA);
  cirPointFraction = getCirPointAngle() / arcRad;
}

TPCircle::TPCircle(const Pos& start, const Pos& via, const Pos& end)
    : TPCircle(start.toVec3(), via.toVec3(), end.toVec3()) {}

TPCircle::TPCircle(const PosTemplate<float>& start, const PosTemplate<float>& via,
                   const PosTemplate<float>& end)
    : TPCircle(Vec3{start.x, start.y, start.z}, Vec3{via.x, via.y, via.z},
               Vec3{end.x, end.y, end.z}) {}

double TPCircle::getCirPointAngle() {
  const Vec3 rb = B - R;
  const double x = RA.dot(rb) / (r * r);
  // The ends return directly; getAngleFromStart lets them through the side test instead.
  if (x >= 1.0)
    return 0.0;
  if (x <= -1.0)
    return kPi;
  const double theta = std::acos(x);
  return RA.cross(rb).dot(N) < 0.0 ? kTwoPi - theta : theta;
}

double TPCircle::getAngleFromStart(const Vec3& p) const {
  const Vec3 rp = p - R;
  const double x = std::clamp(RA.dot(rp) / (r * r), -1.0, 1.0);
  const double theta = std::acos(x);
  return RA.cross(rp).dot(N) < 0.0 ? kTwoPi - theta : theta;
}

bool TPCircle::pointOnArc(const Vec3& p) const {
  if (std::abs((p - R).norm() - r) > kPointTolerance)
    return false;
  const double theta = getAngleFromStart(p);
  return theta >= -kPointTolerance && theta <= arcRad + kPointTolerance;
}

std::vector<Vec3> TPCircle::intersectArcs(const TPCircle& other) const {
  std::vector<Vec3> points;
  const Vec3 n2 = other.N.normalized();
  if (std::abs(n2.dot(N)) < kParallelNormals)
    return points;

  const Vec3 centres = other.R - R;
  const double d = centres.norm();
  if (d < kPointTolerance || d > r + other.r)
    return points;

  const Vec3 u = centres / d;
  const Vec3 w = N.cross(u).normalized();
  // a: distance from R along the line of centres to the chord through the common points;
  // h: half the chord. A negative h² (one circle inside the other) collapses to the point on
  // the line of centres, which the on-arc tests then reject.
  const double a = (d * d + r * r - other.r * other.r) / (2 * d);
  const double h2 = r * r - a * a;
  const double h = h2 >= 0.0 ? std::sqrt(h2) : 0.0;

  const Vec3 p1 = R + u * a + w * h;
  if (pointOnArc(p1) && other.pointOnArc(p1))
    points.push_back(p1);
  if (h > kPointTolerance) {
    const Vec3 p2 = R + u * a - w * h;
    if (pointOnArc(p2) && other.pointOnArc(p2))
      points.push_back(p2);
  }
  return points;
}

std::optional<TPCircle> TPCircle::getSubArcToPoint(const Vec3& p) const {
  if (!pointOnArc(p) || (p - A).norm() < kPointTolerance)
    return std::nullopt;
  if ((p - C).norm() < kPointTolerance)
    return *this;
  const Vec3 middle = pointAtAngle(getAngleFromStart(p) * 0.5);
  return TPCircle(A, middle, p);
}

std::optional<TPCircle> TPCircle::getSubArcFromPoint(const Vec3& p) const {
  if (!pointOnArc(p) || (p - C).norm() < kPointTolerance)
    return std::nullopt;
  if ((p - A).norm() < kPointTolerance)
    return *this;
  const double theta = getAngleFromStart(p);
  const Vec3 middle = pointAtAngle(theta + (arcRad - theta) * 0.5);
  return TPCircle(p, middle, C);
}

void TPCircle::dump() const {
  const auto line = [](const char* label, const Vec3& v) {
    std::cout << label << v.x << ' ' << v.y << ' ' << v.z << '\n';
  };
  line("A : ", A);
  line("B : ", B);
  line("C : ", C);
  line("N : ", N);
  line("R : ", R);
  std::cout << "r : " << r << '\n';
  std::cout << "arcRad : " << arcRad << '\n';
  std::cout << "arcLen : " << arcLen << '\n';
  line("RA : ", RA);
  line("RY : ", RY);
}

}  // namespace zor::rob
