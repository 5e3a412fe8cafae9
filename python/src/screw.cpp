// The screw layer: twists, screw axes, wrenches, rigid transforms, six-vectors, joint speeds,
// Jacobians and spatial inertia.

#include <pybind11/operators.h>

#include <string>

#include "bindings.hpp"
#include "zor/rob/screw.hpp"
#include "zor/rob/text.hpp"

namespace zor::rob::python {

namespace {

using V3 = Vec3Template<double>;
using P3 = PosTemplate<double>;

// "{a0, a1, a2, a3, a4, a5}" in shortest round-trip form.
template <class Six>
std::string sixText(const Six& s) {
  std::string out = "{";
  for (int i = 0; i < 6; ++i) {
    if (i > 0)
      out += ", ";
    AppendShortestText(out, s[i]);
  }
  return out + "}";
}

// The library does not range-check its six-vector indices; Python gets an IndexError (which
// also ends iteration) instead of a wrong component.
int checkedIndex(py::ssize_t i, py::ssize_t size) {
  if (i < 0)
    i += size;
  if (i < 0 || i >= size)
    throw py::index_error("index out of range 0.." + std::to_string(size - 1));
  return static_cast<int>(i);
}

// __getitem__, __setitem__ and __len__ for a record of six numbers addressed 0..5.
template <class Class>
void addSixIndexing(Class& cls) {
  using Value = typename Class::type;
  cls.def(
         "__getitem__", [](const Value& s, py::ssize_t i) { return s[checkedIndex(i, 6)]; },
         py::arg("i"), "Component i (0..5, negative counts from the end).")
      .def(
          "__setitem__",
          [](Value& s, py::ssize_t i, double value) { s[checkedIndex(i, 6)] = value; },
          py::arg("i"), py::arg("value"), "Sets component i (0..5).")
      .def("__len__", [](const Value&) { return 6; });
}

// The forms every record of six numbers has: indexing, == and !=, and the brace text form.
template <class Class>
void addSixForms(Class& cls, const std::string& name) {
  addSixIndexing(cls);
  addEquality(cls);
  addTextForms(cls, name, sixText<typename Class::type>);
}

/// Joint rates, Jacobians, spatial inertias and the skew-symmetric matrix.
void bindJacobians(py::module_& m) {
  py::class_<Vector6> vector6(m, "Vector6", "Six numbers, e.g. joint rates for a Jacobian.");
  vector6.def(py::init<>())
      .def(py::init<double, double, double, double, double, double>(), py::arg("v0"), py::arg("v1"),
           py::arg("v2"), py::arg("v3"), py::arg("v4"), py::arg("v5"))
      .def_readwrite("values", &Vector6::values, "The six numbers (a copy as a list).");
  addSixForms(vector6, "Vector6");

  py::class_<JointSpeed> speed(m, "JointSpeed", "The speeds of joints 1 to 6 at indices 0 to 5.");
  speed.def(py::init<>())
      .def(py::init([](const std::array<double, 6>& values) { return JointSpeed{values}; }),
           py::arg("values"))
      .def_readwrite("values", &JointSpeed::values, "The six speeds (a copy as a list).")
      .def("set_zero", &JointSpeed::setZero, "Sets all six speeds to 0.")
      .def(
          "set_speed",
          [](JointSpeed& s, py::ssize_t i, double value) { s.setSpeed(checkedIndex(i, 6), value); },
          py::arg("i"), py::arg("value"), "Sets the speed of joint i + 1 (i = 0..5).");
  addSixForms(speed, "JointSpeed");

  py::class_<GeometricJacobian> jacobian(m, "GeometricJacobian",
                                         "A 6x6 Jacobian: column i is the screw axis of joint "
                                         "i + 1, angular rows first.");
  jacobian.def(py::init<>())
      .def_property(
          "matrix", &jacobianArray,
          [](GeometricJacobian& j, const Eigen::Matrix<double, 6, 6>& value) { j.matrix = value; },
          "The 6x6 matrix as a numpy array (a copy).")
      .def(
          "__getitem__",
          [](const GeometricJacobian& j, std::pair<py::ssize_t, py::ssize_t> rc) {
            return j(checkedIndex(rc.first, 6), checkedIndex(rc.second, 6));
          },
          py::arg("row_col"), "Element (row, col).")
      .def(
          "__setitem__",
          [](GeometricJacobian& j, std::pair<py::ssize_t, py::ssize_t> rc, double value) {
            j(checkedIndex(rc.first, 6), checkedIndex(rc.second, 6)) = value;
          },
          py::arg("row_col"), py::arg("value"), "Sets element (row, col).")
      .def(
          "set_col",
          [](GeometricJacobian& j, py::ssize_t i, const ScrewAxis& s) {
            j.setCol(checkedIndex(i, 6), s);
          },
          py::arg("i"), py::arg("s"), "Sets column i to the screw axis.")
      .def(
          "__mul__", [](const GeometricJacobian& j, const Vector6& q) { return j * q; },
          py::is_operator(), "The matrix times the joint rates, as a Twist.")
      .def("__array__", &jacobianArray, "The matrix as a numpy array.");
  addEquality(jacobian, [](const GeometricJacobian& a, const GeometricJacobian& b) {
    return a.matrix == b.matrix;
  });
  addTextForms(jacobian, "GeometricJacobian", [](const GeometricJacobian& j) {
    std::string out = "{";
    for (int c = 0; c < 6; ++c) {
      if (c > 0)
        out += ", ";
      ScrewAxis col;
      for (int r = 0; r < 6; ++r)
        col[r] = j.matrix(r, c);
      out += sixText(col);
    }
    return out + "}";
  });

  py::class_<SpacialInertia> inertia(m, "SpacialInertia",
                                     "The spatial inertia of a rigid body: a 3x3 rotational "
                                     "inertia and the mass.");
  inertia.def(py::init<>())
      .def_property(
          "inertia", [](const SpacialInertia& s) { return Eigen::Matrix3d(s.inertia); },
          [](SpacialInertia& s, const Eigen::Matrix3d& value) { s.inertia = value; },
          "The 3x3 rotational inertia as a numpy array (a copy).")
      .def_readwrite("mass", &SpacialInertia::mass)
      .def("set", &SpacialInertia::set, py::arg("ixx"), py::arg("iyy"), py::arg("izz"),
           py::arg("m"), "Sets a diagonal rotational inertia and the mass.")
      .def("matrix", &SpacialInertia::matrix, "The 6x6 block matrix [[inertia, 0], [0, m I]].");
  addEquality(inertia, [](const SpacialInertia& a, const SpacialInertia& b) {
    return a.inertia == b.inertia && a.mass == b.mass;
  });
  addTextForms(inertia, "SpacialInertia", [](const SpacialInertia& s) {
    std::string out = "{";
    for (int r = 0; r < 3; ++r) {
      out += r > 0 ? ", " : "";
      out += TripleText(s.inertia(r, 0), s.inertia(r, 1), s.inertia(r, 2));
    }
    return out + ", " + ShortestText(s.mass) + "}";
  });

  m.def("vector3_to_skew_symmetric", &Vector3ToSkewSymmetric, py::arg("w"),
        "The 3x3 skew-symmetric matrix [w] with [w] x = w × x, as a numpy array.");
}

}  // namespace

void bindScrew(py::module_& m) {
  py::class_<Twist> twist(m, "Twist",
                          "A spatial velocity (w, v): angular velocity, then the linear velocity "
                          "of the point at the frame origin.");
  twist.def(py::init<>())
      .def(py::init<double, double, double, double, double, double>(), py::arg("wx"), py::arg("wy"),
           py::arg("wz"), py::arg("vx"), py::arg("vy"), py::arg("vz"))
      .def(py::init<const V3&, const V3&>(), py::arg("angular"), py::arg("linear"))
      .def_readwrite("w", &Twist::w)
      .def_readwrite("v", &Twist::v)
      .def("adjoint", &Twist::adjoint, py::arg("s"),
           "The Lie bracket of this twist with the screw axis s.");
  addSixForms(twist, "Twist");

  py::class_<ScrewAxis> screw(m, "ScrewAxis",
                              "The unit screw axis (w, v) of a revolute joint: w the axis "
                              "direction, v = -(w × q) for a point q on the axis.");
  screw.def(py::init<>())
      .def(py::init<double, double, double, double, double, double>(), py::arg("wx"), py::arg("wy"),
           py::arg("wz"), py::arg("qx"), py::arg("qy"), py::arg("qz"),
           "The screw of the axis with direction (wx, wy, wz) through (qx, qy, qz).")
      .def(py::init<const V3&, const P3&>(), py::arg("axis"), py::arg("point"))
      .def_readwrite("w", &ScrewAxis::w)
      .def_readwrite("v", &ScrewAxis::v)
      .def("T", &ScrewAxis::T, py::arg("theta"),
           "The transform of turning the joint by theta radians; OverflowError when |w| <= "
           "1e-7.");
  addSixForms(screw, "ScrewAxis");

  py::class_<Wrench> wrench(m, "Wrench", "A wrench (m, f): moment, then force.");
  wrench.def(py::init<>())
      .def(py::init<double, double, double, double, double, double>(), py::arg("mx"), py::arg("my"),
           py::arg("mz"), py::arg("fx"), py::arg("fy"), py::arg("fz"))
      .def(py::init<const V3&, const V3&>(), py::arg("moment"), py::arg("force"))
      .def_readwrite("m", &Wrench::m)
      .def_readwrite("f", &Wrench::f);
  addSixForms(wrench, "Wrench");

  py::class_<Transform> transform(m, "Transform",
                                  "A rigid transform: a unit quaternion and a translation, "
                                  "mapping p to R p + t; in a * b, b is applied first.");
  transform.def(py::init<>())
      .def(py::init<const Rotation&, const V3&>(), py::arg("rotation"), py::arg("translation"))
      .def_readwrite("rotation", &Transform::rotation)
      .def_readwrite("translation", &Transform::translation)
      .def("inverse", &Transform::inverse, "The inverse transform.")
      .def(
          "__mul__", [](const Transform& a, const Transform& b) { return a * b; },
          py::is_operator(), "This transform after the other, quaternion normalised.")
      .def(
          "__imul__", [](Transform& a, const Transform& b) -> Transform& { return a *= b; },
          py::is_operator(), "Multiplies on the right keeping the raw Hamilton product.")
      .def(
          "transform", [](const Transform& t, const P3& p) { return t.transform(p); }, py::arg("p"),
          "The point mapped: R p + t.")
      .def(
          "transform", [](const Transform& t, const V3& v) { return t.transform(v); }, py::arg("v"),
          "The free vector mapped: R v.")
      .def(
          "adjoint", [](Transform t, const Twist& tw) { return t.adjoint(tw); }, py::arg("twist"),
          "The twist moved into the reference frame.")
      .def(
          "adjoint", [](Transform t, const ScrewAxis& s) { return t.adjoint(s); }, py::arg("screw"),
          "The screw axis moved into the reference frame.")
      .def(
          "adjoint_t", [](Transform t, const Wrench& w) { return t.adjointT(w); },
          py::arg("wrench"), "The transposed adjoint times the wrench.")
      .def("log", &Transform::log, "The exponential coordinates as a Twist (angular first).")
      .def_readonly_static("kPureTranslationAngle", &Transform::kPureTranslationAngle);
  // No operator== in the library: equal when the stored rotation and translation are.
  addEquality(transform, [](const Transform& a, const Transform& b) {
    const auto& p = a.rotation;
    const auto& q = b.rotation;
    return p.x == q.x && p.y == q.y && p.z == q.z && p.w == q.w && a.translation == b.translation;
  });
  addTextForms(transform, "Transform", [](const Transform& t) {
    return "{" + t.rotation.toString() + ", " +
           TripleText(t.translation.x, t.translation.y, t.translation.z) + "}";
  });

  bindJacobians(m);
}

}  // namespace zor::rob::python
