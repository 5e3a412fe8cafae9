// The circle of a circular move: TPCircle with its queries, zones and orientation modes, and
// numpy batches of samples.

#include <pybind11/iostream.h>

#include <optional>
#include <string>

#include "bindings.hpp"
#include "zor/rob/circle.hpp"

namespace zor::rob::python {

namespace {

using V3 = Vec3Template<double>;
using O = OrientTemplate<double>;

constexpr const char* kFractionsDoc =
    "t: an (N,) array of arc fractions (any real dtype and layout is converted to float64; "
    "anything else raises ValueError). Runs without the GIL.";

template <class Sample>
py::array_t<double> sampleVectors(const TPCircle& circle, const py::handle& fractions,
                                  Sample sample) {
  const auto in = valuesOf(fractions, "t");
  const py::ssize_t n = in.shape(0);
  py::array_t<double> out = newArray({n, 3});
  const double* t = in.data();
  double* p = out.mutable_data();
  // A private copy: another Python thread may assign to the circle's fields meanwhile.
  const TPCircle arc = circle;
  {
    py::gil_scoped_release release;
    for (py::ssize_t k = 0; k < n; ++k, p += 3) {
      const V3 v = sample(arc, t[k]);
      p[0] = v.x;
      p[1] = v.y;
      p[2] = v.z;
    }
  }
  return out;
}

CircleOriMode oriMode(const std::string& mode) {
  if (const std::optional<CircleOriMode> found = FindCircleOriMode(mode))
    return *found;
  throw py::value_error("mode: expected 'cirpoint', 'path' or 'object', got '" + mode + "'");
}

py::array_t<double> sampleOrientations(const TPCircle& circle, const std::string& mode,
                                       const py::handle& fractions, const O& start, const O& cir,
                                       const O& end) {
  const CircleOriMode query = oriMode(mode);
  const auto in = valuesOf(fractions, "t");
  const py::ssize_t n = in.shape(0);
  py::array_t<double> out = newArray({n, 4});
  const double* t = in.data();
  double* q = out.mutable_data();
  const TPCircle arc = circle;
  {
    py::gil_scoped_release release;
    for (py::ssize_t k = 0; k < n; ++k, q += 4) {
      const O o = arc.getOri(t[k], query, start, cir, end);
      q[0] = o.q1;
      q[1] = o.q2;
      q[2] = o.q3;
      q[3] = o.q4;
    }
  }
  return out;
}

}  // namespace

void bindCircle(py::module_& m) {
  py::class_<TPCircle> circle(m, "TPCircle",
                              "The arc of a circular move from A through B to C. Fractions t "
                              "map linearly onto the angle t·arcRad from A and are not "
                              "clamped. Raises CircleError for points that make no circle.");
  circle
      .def(py::init<const V3&, const V3&, const V3&>(), py::arg("start"), py::arg("via"),
           py::arg("end"))
      .def(py::init<const Pos&, const Pos&, const Pos&>(), py::arg("start"), py::arg("via"),
           py::arg("end"))
      .def(py::init<const Posf&, const Posf&, const Posf&>(), py::arg("start"), py::arg("via"),
           py::arg("end"))
      .def_readwrite("A", &TPCircle::A, "Start point.")
      .def_readwrite("B", &TPCircle::B, "Circle (via) point.")
      .def_readwrite("C", &TPCircle::C, "End point.")
      .def_readwrite("N", &TPCircle::N, "Unit normal of the arc plane.")
      .def_readwrite("r", &TPCircle::r, "Radius.")
      .def_readwrite("R", &TPCircle::R, "Centre.")
      .def_readwrite("arcRad", &TPCircle::arcRad, "Arc angle from A through B to C, radians.")
      .def_readwrite("arcLen", &TPCircle::arcLen, "Arc length.")
      .def_readwrite("RA", &TPCircle::RA, "Radius vector A - R.")
      .def_readwrite("RY", &TPCircle::RY, "N × RA.")
      .def_readwrite("cirPointFraction", &TPCircle::cirPointFraction,
                     "Fraction of the arc at which B lies.")
      .def("get_point", &TPCircle::getPoint, py::arg("t"), "The point at fraction t.")
      .def("get_tangent", &TPCircle::getTangent, py::arg("t"),
           "The unit direction of travel at fraction t.")
      .def("get_angle_from_start", &TPCircle::getAngleFromStart, py::arg("p"),
           "The angle in [0, 2π] from A to the direction of p about N.")
      .def("point_on_arc", &TPCircle::pointOnArc, py::arg("p"),
           "True when p lies within 1e-6 of the radius and on the arc from A to C.")
      .def("get_cir_point_angle", &TPCircle::getCirPointAngle, "The angle from A to B about N.")
      .def("intersect_arcs", &TPCircle::intersectArcs, py::arg("other"),
           "The 0, 1 or 2 points on both circles, as a list.")
      .def("get_sub_arc_to_point", &TPCircle::getSubArcToPoint, py::arg("p"),
           "The part of the arc from A to p, or None.")
      .def("get_sub_arc_from_point", &TPCircle::getSubArcFromPoint, py::arg("p"),
           "The part of the arc from p to C, or None.")
      .def("dump", &TPCircle::dump,
           py::call_guard<py::scoped_ostream_redirect, py::scoped_estream_redirect>(),
           "Writes the members to sys.stdout, one per line.")
      .def("get_start_zone_point", &TPCircle::getStartZonePoint, py::arg("d"),
           "The point at arc length d after A.")
      .def("get_end_zone_point", &TPCircle::getEndZonePoint, py::arg("d"),
           "The point at arc length d before C.")
      .def("get_start_zone_velocity", &TPCircle::getStartZoneVelocity, py::arg("d"),
           "The direction of travel at arc length d after A.")
      .def("get_end_zone_velocity", &TPCircle::getEndZoneVelocity, py::arg("d"),
           "The direction of travel at arc length d before C.")
      .def("get_ori_in_cir_point_ori_mode", &TPCircle::getOriInCirPointOriMode, py::arg("t"),
           py::arg("ori_start"), py::arg("ori_cir"), py::arg("ori_end"),
           "The orientation at fraction t in circle-point mode.")
      .def("get_cir_point_rate_jump", &TPCircle::getCirPointRateJump, py::arg("ori_start"),
           py::arg("ori_cir"), py::arg("ori_end"),
           "How far circle-point mode's rate of turn changes at the circle point (radians per "
           "unit of fraction); 0 when the three orientations are one.")
      .def("get_ori_in_path_frame", &TPCircle::getOriInPathFrame, py::arg("t"),
           py::arg("ori_start"), py::arg("ori_cir"), py::arg("ori_end"),
           "The orientation at fraction t in path-frame mode.")
      .def("get_ori_in_object_frame", &TPCircle::getOriInObjectFrame, py::arg("t"),
           py::arg("ori_start"), py::arg("ori_cir"), py::arg("ori_end"),
           "The orientation at fraction t in object-frame mode.")
      .def("long_slerp", &TPCircle::longSlerp, py::arg("q0"), py::arg("q1"), py::arg("t"),
           "The interpolation from q0 to q1 the long way round.")
      .def(
          "get_points",
          [](const TPCircle& c, const py::handle& t) {
            return sampleVectors(c, t, [](const TPCircle& a, double f) { return a.getPoint(f); });
          },
          py::arg("t"),
          (std::string("Batch of get_point: an (N, 3) array. ") + kFractionsDoc).c_str())
      .def(
          "get_tangents",
          [](const TPCircle& c, const py::handle& t) {
            return sampleVectors(c, t, [](const TPCircle& a, double f) { return a.getTangent(f); });
          },
          py::arg("t"),
          (std::string("Batch of get_tangent: an (N, 3) array. ") + kFractionsDoc).c_str())
      .def("get_orientations", &sampleOrientations, py::arg("mode"), py::arg("t"),
           py::arg("ori_start"), py::arg("ori_cir"), py::arg("ori_end"),
           (std::string("Batch of the orientation queries: mode 'cirpoint' "
                        "(get_ori_in_cir_point_ori_mode), 'path' (get_ori_in_path_frame) or "
                        "'object' (get_ori_in_object_frame); an (N, 4) array q1..q4. ") +
            kFractionsDoc)
               .c_str());
  circle.def("__repr__", [](const TPCircle& c) {
    std::ostringstream out;
    out << "<zorrob.TPCircle centre {" << c.R.x << ", " << c.R.y << ", " << c.R.z << "}, radius "
        << c.r << ", arc " << c.arcRad << " rad>";
    return out.str();
  });
}

}  // namespace zor::rob::python
