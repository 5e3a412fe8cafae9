// zorrob circle: the geometry, samples, zones and orientations of a circular move, checked
// against an independent construction (the circumcentre formula and rotations about the
// normal with Eigen).
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "support/test_support.hpp"
#include "tool_runner.hpp"

namespace zor::rob::test {
namespace {

using nlohmann::json;
constexpr double kPi = std::numbers::pi;

Eigen::Vector3d Vec(const json& a) {
  return {a[0].get<double>(), a[1].get<double>(), a[2].get<double>()};
}

std::vector<std::string> PointArgs(const std::string& option, const Eigen::Vector3d& p) {
  return {option, Shortest(p.x()), Shortest(p.y()), Shortest(p.z())};
}

/// The arc from a through b to c, built independently of the tool.
struct ReferenceArc {
  Eigen::Vector3d a, b, c, centre, normal;
  double radius{0}, angle{0}, viaFraction{0};

  ReferenceArc(const Eigen::Vector3d& a_, const Eigen::Vector3d& b_, const Eigen::Vector3d& c_)
      : a(a_), b(b_), c(c_) {
    // Circumcentre: c + ((|u|² v - |v|² u) × (u × v)) / (2 |u × v|²) with u = a - c, v = b - c.
    const Eigen::Vector3d u = a - c, v = b - c;
    const Eigen::Vector3d uv = u.cross(v);
    centre = c + (u.squaredNorm() * v - v.squaredNorm() * u).cross(uv) / (2 * uv.squaredNorm());
    radius = (a - centre).norm();
    // Travelling a -> b -> c turns counter-clockwise about this normal.
    normal = (b - a).cross(c - b).normalized();
    angle = angleTo(c);
    viaFraction = angleTo(b) / angle;
  }

  /// The counter-clockwise angle about the normal from a to p, in [0, 2π).
  double angleTo(const Eigen::Vector3d& p) const {
    const Eigen::Vector3d ra = a - centre, rp = p - centre;
    const double t = std::atan2(normal.dot(ra.cross(rp)), ra.dot(rp));
    return t < 0 ? t + 2 * kPi : t;
  }

  Eigen::Vector3d turned(const Eigen::Vector3d& p, double theta) const {
    return centre + Eigen::AngleAxisd(theta, normal) * (p - centre);
  }
  Eigen::Vector3d point(double t) const { return turned(a, t * angle); }
  Eigen::Vector3d direction(const Eigen::Vector3d& p) const {
    return normal.cross(p - centre).normalized();
  }
};

TEST(ZorrobCircle, HalfCircleThroughThreePoints) {
  // A = (0, 0, 0), B = (100, 100, 0), C = (200, 0, 0): centre (100, 0, 0), radius 100, half a
  // turn clockwise seen from +z (normal -z), B half-way.
  const ToolResult r = RunTool(
      {"circle", "--start", "0", "0", "0", "--via", "100", "100", "0", "--end", "200", "0", "0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(FieldValue(r.out, "start (A)"), "{0, 0, 0}");
  EXPECT_EQ(FieldValue(r.out, "via (B)"), "{100, 100, 0}");
  EXPECT_EQ(FieldValue(r.out, "end (C)"), "{200, 0, 0}");
  EXPECT_EQ(FieldValue(r.out, "centre"), "(100.0000, 0.0000, 0.0000)");
  EXPECT_EQ(FieldValue(r.out, "radius"), "100.0000 mm");
  EXPECT_EQ(FieldValue(r.out, "normal"), "(0.000000, 0.000000, -1.000000)");
  EXPECT_EQ(FieldValue(r.out, "arc angle"), "3.141593 rad (180.0000 deg)");
  EXPECT_EQ(FieldValue(r.out, "arc length"), "314.1593 mm");
  EXPECT_EQ(FieldValue(r.out, "via fraction"), "0.500000");
  EXPECT_EQ(FieldValue(r.out, "zone"), "");
  // Five samples by default: a quarter of the half turn is 45 degrees from A about the centre.
  const double s = 100 * std::sqrt(0.5);
  const std::vector<std::vector<double>> expected{
      {0, 0, 0, 0, 0, 1, 0},
      {0.25, 100 - s, s, 0, std::sqrt(0.5), std::sqrt(0.5), 0},
      {0.5, 100, 100, 0, 1, 0, 0},
      {0.75, 100 + s, s, 0, std::sqrt(0.5), -std::sqrt(0.5), 0},
      {1, 200, 0, 0, 0, -1, 0}};
  const std::vector<std::string> lines = Lines(r.out);
  std::size_t header = 0;
  while (header < lines.size() &&
         Words(lines[header]) != std::vector<std::string>{"t", "x", "y", "z", "tangent", "x",
                                                          "tangent", "y", "tangent", "z"})
    ++header;
  ASSERT_LT(header + expected.size(), lines.size() + 1);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const std::vector<std::string> cells = Words(lines[header + 1 + i]);
    ASSERT_EQ(cells.size(), 7u) << lines[header + 1 + i];
    for (std::size_t k = 0; k < 7; ++k)
      EXPECT_NEAR(std::stod(cells[k]), expected[i][k], k < 4 ? 5e-5 : 5e-7)
          << lines[header + 1 + i];
  }
  EXPECT_EQ(lines.size(), header + 1 + expected.size());
}

TEST(ZorrobCircle, ViaPointOnTheLongSideGivesTheMajorArc) {
  // On the unit circle (scaled to 100): A at 0°, B at 180°, C at 270° counter-clockwise.
  const json j = RunToolJson({"circle", "--start", "100", "0", "0", "--via", "-100", "0", "0",
                              "--end", "0", "-100", "0", "--json"});
  EXPECT_NEAR(j["arcRad"].get<double>(), 1.5 * kPi, 1e-12);
  EXPECT_NEAR(j["arcDeg"].get<double>(), 270.0, 1e-9);
  EXPECT_NEAR(j["arcLen"].get<double>(), 150 * kPi, 1e-9);
  EXPECT_NEAR(j["cirPointFraction"].get<double>(), 2.0 / 3.0, 1e-12);
  EXPECT_LT((Vec(j["normal"]) - Eigen::Vector3d(0, 0, 1)).norm(), 1e-12);
}

TEST(ZorrobCircle, ArcsInSpaceMatchAnIndependentConstruction) {
  Random random;
  for (int n = 0; n < 6; ++n) {
    const Eigen::Vector3d centre{random.uniform(-500, 500), random.uniform(-500, 500),
                                 random.uniform(0, 800)};
    const Eigen::Vector3d normal =
        Eigen::Vector3d{random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)}
            .normalized();
    const Eigen::Vector3d along = normal.unitOrthogonal() * random.uniform(100, 400);
    const double span = random.uniform(0.5, 6.0);
    const auto on = [&](double theta) -> Eigen::Vector3d {
      return centre + Eigen::AngleAxisd(theta, normal) * along;
    };
    const ReferenceArc arc(on(0), on(span * random.uniform(0.2, 0.8)), on(span));
    std::vector<std::string> args{"circle"};
    for (const auto& p :
         {PointArgs("--start", arc.a), PointArgs("--via", arc.b), PointArgs("--end", arc.c)})
      args.insert(args.end(), p.begin(), p.end());
    args.insert(args.end(), {"--samples", "7", "--zone", "z10", "--json"});
    std::string line;
    for (const std::string& a : args)
      line += a + " ";
    SCOPED_TRACE(line);
    const json j = RunToolJson(args);
    // The tool's angles come from arc cosines, which lose about 1e-8 rad near a half turn.
    EXPECT_LT((Vec(j["centre"]) - arc.centre).norm(), 1e-7);
    EXPECT_NEAR(j["radius"].get<double>(), arc.radius, 1e-7);
    EXPECT_LT((Vec(j["normal"]) - arc.normal).norm(), 1e-9);
    EXPECT_NEAR(j["arcRad"].get<double>(), arc.angle, 1e-7);
    EXPECT_NEAR(j["arcLen"].get<double>(), arc.angle * arc.radius, 1e-4);
    EXPECT_NEAR(j["cirPointFraction"].get<double>(), arc.viaFraction, 1e-7);
    ASSERT_EQ(j["samples"].size(), 7u);
    for (std::size_t i = 0; i < 7; ++i) {
      const json& sample = j["samples"][i];
      const double t = static_cast<double>(i) / 6.0;
      EXPECT_NEAR(sample["t"].get<double>(), t, 1e-15);
      const Eigen::Vector3d p = arc.point(t);
      EXPECT_LT((Vec(sample["point"]) - p).norm(), 1e-4);
      EXPECT_LT((Vec(sample["tangent"]) - arc.direction(p)).norm(), 1e-7);
      EXPECT_FALSE(sample.contains("orientation"));
    }
    // The zone z10 starts and ends 10 mm along the arc from both ends.
    const json& zone = j["zone"];
    EXPECT_EQ(zone["name"], "z10");
    EXPECT_EQ(zone["distance"], 10.0);
    const Eigen::Vector3d entry = arc.turned(arc.a, 10 / arc.radius);
    const Eigen::Vector3d exit = arc.turned(arc.c, -10 / arc.radius);
    EXPECT_LT((Vec(zone["entry"]["point"]) - entry).norm(), 1e-4);
    EXPECT_LT((Vec(zone["entry"]["direction"]) - arc.direction(entry)).norm(), 1e-7);
    EXPECT_LT((Vec(zone["exit"]["point"]) - exit).norm(), 1e-4);
    EXPECT_LT((Vec(zone["exit"]["direction"]) - arc.direction(exit)).norm(), 1e-7);
    EXPECT_EQ(zone["overlap"], 20 > arc.angle * arc.radius);
  }
}

TEST(ZorrobCircle, ZoneTextAndOverlappingZones) {
  // Radius 100, half circle: the z50 zone ends 0.5 rad along the arc from A.
  ToolResult r = RunTool({"circle", "--start", "0", "0", "0", "--via", "100", "100", "0", "--end",
                          "200", "0", "0", "--zone", "z50"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "zone"), "z50 (pzoneTcp 50 mm)");
  // Turning A clockwise about (100, 0, 0) by 0.5 rad; the direction of travel is the tangent.
  const double c = std::cos(0.5), s = std::sin(0.5);
  char expected[200];
  std::snprintf(expected, sizeof expected, "(%.4f, %.4f, 0.0000)  direction (%.6f, %.6f, 0.000000)",
                100 - 100 * c, 100 * s, s, c);
  EXPECT_EQ(FieldValue(r.out, "entry"), expected);
  std::snprintf(expected, sizeof expected, "(%.4f, %.4f, 0.0000)  direction (%.6f, %.6f, 0.000000)",
                100 + 100 * c, 100 * s, s, -c);
  EXPECT_EQ(FieldValue(r.out, "exit"), expected);
  // z200 reaches beyond the middle of an arc 314 mm long.
  r = RunTool({"circle", "--start", "0", "0", "0", "--via", "100", "100", "0", "--end", "200", "0",
               "0", "--zone", "z200"});
  EXPECT_EQ(FieldValue(r.out, "zone"),
            "z200 (pzoneTcp 200 mm, longer than half the arc: the zones overlap)");
  // A stop point has no zone: entry and exit are A and C.
  const json j = RunToolJson({"circle", "--start", "0", "0", "0", "--via", "100", "100", "0",
                              "--end", "200", "0", "0", "--zone", "fine", "--json"});
  EXPECT_EQ(j["zone"]["distance"], 0.0);
  EXPECT_LT(Vec(j["zone"]["entry"]["point"]).norm(), 1e-12);
  EXPECT_LT((Vec(j["zone"]["exit"]["point"]) - Eigen::Vector3d(200, 0, 0)).norm(), 1e-12);
  EXPECT_LT((Vec(j["zone"]["entry"]["direction"]) - Eigen::Vector3d(0, 1, 0)).norm(), 1e-12);
  EXPECT_LT((Vec(j["zone"]["exit"]["direction"]) - Eigen::Vector3d(0, -1, 0)).norm(), 1e-12);
  EXPECT_EQ(j["zone"]["overlap"], false);
}

std::vector<std::string> HalfCircle(std::vector<std::string> more) {
  std::vector<std::string> args{"circle", "--start", "0",     "0",   "0", "--via", "100",
                                "100",    "0",       "--end", "200", "0", "0"};
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

Eigen::Quaterniond Quat(const json& q) {
  return {q[0].get<double>(), q[1].get<double>(), q[2].get<double>(), q[3].get<double>()};
}

/// The same rotation: the quaternions agree up to sign.
bool SameRotation(const Eigen::Quaterniond& a, const Eigen::Quaterniond& b) {
  return std::abs(std::abs(a.dot(b)) - 1.0) < 1e-12 && std::abs(a.norm() - 1) < 1e-12;
}

Eigen::Quaterniond AboutZ(double deg) {
  return Eigen::Quaterniond(Eigen::AngleAxisd(deg * kPi / 180, Eigen::Vector3d::UnitZ()));
}

std::vector<std::string> QuatArgs(const Eigen::Quaterniond& q) {
  return {Shortest(q.w()), Shortest(q.x()), Shortest(q.y()), Shortest(q.z())};
}

json Orientations(const std::string& mode, const Eigen::Quaterniond& start,
                  const Eigen::Quaterniond& via, const Eigen::Quaterniond& end, int samples) {
  std::vector<std::string> more{"--ori-mode", mode, "--ori"};
  for (const auto& q : {start, via, end})
    for (const std::string& s : QuatArgs(q))
      more.push_back(s);
  more.insert(more.end(), {"--samples", std::to_string(samples), "--json"});
  const json j = RunToolJson(HalfCircle(more));
  json out = json::array();
  for (const json& sample : j["samples"])
    out.push_back(sample["orientation"][mode]);
  return out;
}

TEST(ZorrobCircle, ObjectFrameModeTakesTheWayTheCirclePointOrientationLiesOn) {
  // Start and end a quarter turn apart about z; half-way the short way is 45°, the long way
  // -135°.
  json o = Orientations("object", AboutZ(0), AboutZ(45), AboutZ(90), 3);
  EXPECT_TRUE(SameRotation(Quat(o[1]), AboutZ(45))) << o[1];
  o = Orientations("object", AboutZ(0), AboutZ(-135), AboutZ(90), 3);
  EXPECT_TRUE(SameRotation(Quat(o[1]), AboutZ(-135))) << o[1];
  EXPECT_TRUE(SameRotation(Quat(o[2]), AboutZ(90))) << o[2];
}

TEST(ZorrobCircle, PathFrameModeKeepsTheOrientationRelativeToThePath) {
  // The end orientation is the start turned with the path (half a turn about the normal -z):
  // relative to the path nothing changes, so at fraction t the tool has turned t·180° about -z.
  const Eigen::Quaterniond start = AboutZ(30);
  const json o = Orientations("path", start, AboutZ(-90) * start, AboutZ(-180) * start, 5);
  ASSERT_EQ(o.size(), 5u);
  for (std::size_t i = 0; i < 5; ++i) {
    const double t = static_cast<double>(i) / 4;
    EXPECT_TRUE(SameRotation(Quat(o[i]), AboutZ(-180 * t) * start)) << i << " " << o[i];
  }
}

TEST(ZorrobCircle, CirclePointModePassesThroughTheGivenOrientationsNormalised) {
  // Inputs are normalised first: (2, 0, 0, 0) is the identity, (0, 0, 0, 3) half a turn
  // about z. At t = 0, the circle point (0.5) and 1 the given orientations come back.
  const std::vector<std::string> args =
      HalfCircle({"--ori-mode", "cirpoint", "--ori", "2", "0", "0", "0", "0", "0", "0", "3", "0",
                  "0", "1", "0", "--samples", "3", "--json"});
  const json j = RunToolJson(args);
  EXPECT_EQ(j["orientations"]["start"], json::array({1.0, 0.0, 0.0, 0.0}));
  EXPECT_EQ(j["orientations"]["via"], json::array({0.0, 0.0, 0.0, 1.0}));
  EXPECT_EQ(j["samples"][0]["orientation"]["cirpoint"], json::array({1.0, 0.0, 0.0, 0.0}));
  EXPECT_EQ(j["samples"][1]["orientation"]["cirpoint"], json::array({0.0, 0.0, 0.0, 1.0}));
  EXPECT_EQ(j["samples"][2]["orientation"]["cirpoint"], json::array({0.0, 0.0, 1.0, 0.0}));
  EXPECT_EQ(j["samples"][1]["orientation"].size(), 1u);
  // The text shows the normalised inputs and a table of the mode.
  const ToolResult r =
      RunTool(HalfCircle({"--ori-mode", "cirpoint", "--ori", "2", "0", "0", "0", "0", "0", "0", "3",
                          "0", "0", "1", "0", "--samples", "3"}));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(FieldValue(r.out, "orientations"), "start (1.000000, 0.000000, 0.000000, 0.000000)");
  EXPECT_NE(r.out.find("orientation in circle-point mode\n"), std::string::npos);
  EXPECT_NE(r.out.find("  0.5000  0.000000  0.000000  0.000000  1.000000\n"), std::string::npos)
      << r.out;
}

TEST(ZorrobCircle, EqualOrientationsStayPutInEveryMode) {
  const Eigen::Quaterniond q(0.5, 0.5, 0.5, 0.5);
  for (const std::string mode : {"cirpoint", "path", "object"}) {
    for (const json& o : Orientations(mode, q, q, q, 4))
      EXPECT_TRUE(SameRotation(Quat(o), q)) << mode << " " << o;
  }
}

struct BadCircle {
  std::vector<std::string> more;
  int status;
  std::string message;
};

TEST(ZorrobCircle, BadInputsGiveOneLineAndNoOutput) {
  const std::vector<BadCircle> cases{
      {{"--zone", "z55"},
       2,
       "unknown zone 'z55' (one of fine, z0 ... z200, FINE, CNT0 ... CNT100; see zorrob tables "
       "zones)"},
      {{"--zone", "Fine"},
       2,
       "unknown zone 'Fine' (one of fine, z0 ... z200, FINE, CNT0 ... CNT100; see zorrob tables "
       "zones)"},
      {{"--ori-mode", "path"},
       2,
       "--ori-mode and --ori go together: the mode and the start, circle-point and end "
       "orientations"},
      {{"--ori", "1", "0", "0", "0", "1", "0", "0", "0", "1", "0", "0", "0"},
       2,
       "--ori-mode and --ori go together: the mode and the start, circle-point and end "
       "orientations"},
      {{"--ori-mode", "fixed", "--ori", "1", "0", "0", "0", "1", "0", "0", "0", "1", "0", "0", "0"},
       2,
       "unknown orientation mode 'fixed' (one of cirpoint, path, object)"},
      {{"--ori-mode", "path", "--ori", "1", "0", "0", "0", "1", "0", "0", "0", "1", "0", "0"},
       2,
       "expected 12 numbers after --ori (start, circle-point and end quaternions, q1 first), "
       "got 11"},
      {{"--ori-mode", "path", "--ori", "1", "0", "0", "0", "1", "0", "x", "0", "1", "0", "0", "0"},
       2,
       "--ori circle-point q3 is not a number: 'x'"},
      {{"--ori-mode", "object", "--ori", "1", "0", "0", "0", "0", "0", "0", "0", "1", "0", "0",
        "0"},
       1,
       "circle-point orientation: normalize quaternion of 0 magnitude"},
      {{"--samples", "1"}, 2, "--samples must be a whole number from 2 to 10000, got '1'"},
      {{"--samples", "10001"}, 2, "--samples must be a whole number from 2 to 10000, got '10001'"},
      {{"--samples", "five"}, 2, "--samples is not a whole number from 2 to 10000: 'five'"},
      {{"--samples", ""}, 2, "--samples is not a whole number from 2 to 10000: ''"},
      {{"--zone", ""},
       2,
       "unknown zone '' (one of fine, z0 ... z200, FINE, CNT0 ... CNT100; see zorrob tables "
       "zones)"},
      {{"--arm", "x.json"}, 2, "unexpected arguments: --arm x.json"},
      {{"--bogus"}, 2, "unexpected argument: --bogus"},
  };
  for (const BadCircle& bad : cases) {
    const ToolResult r = RunTool(HalfCircle(bad.more));
    SCOPED_TRACE(bad.message);
    EXPECT_EQ(r.status, bad.status);
    EXPECT_FALSE(r.signalled);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "zorrob circle: " + bad.message + "\n");
  }
}

TEST(ZorrobCircle, PointsThatMakeNoCircleAreRejectedWithTheLibrarysMessage) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{"--start", "0", "0", "0", "--via", "1", "1", "0", "--end", "2", "2", "0"},
       "The points are collinear"},
      {{"--start", "0", "0", "0", "--via", "0", "0", "1e-7", "--end", "2", "2", "0"},
       "The points coincide"},
      {{"--start", "5", "5", "5", "--via", "1", "2", "3", "--end", "5", "5", "5"},
       "The points coincide"},
      {{"--start", "0", "0", "0", "--via", "1e100", "0", "0", "--end", "0", "1e100", "0"},
       "The points' coordinates must be finite and at most 1e75 in magnitude"},
  };
  for (const auto& [points, message] : cases) {
    std::vector<std::string> args{"circle"};
    args.insert(args.end(), points.begin(), points.end());
    const ToolResult r = RunTool(args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "zorrob circle: " + message + "\n");
  }
  const ToolResult r =
      RunTool({"circle", "--start", "0", "0", "--via", "1", "1", "0", "--end", "2", "0", "0"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "zorrob circle: expected 3 numbers after --start (X Y Z), got 2\n");
  const ToolResult missing = RunTool({"circle", "--start", "0", "0", "0", "--via", "1", "1", "0"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(missing.err, "zorrob circle: --end is required\n");
}

}  // namespace
}  // namespace zor::rob::test
