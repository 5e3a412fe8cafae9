// The geometry kernel: vectors, positions, directions, orientation records, rotations, poses,
// lines and triangles, each in double (Vec3, Pose, ...) and in float (Vec3f, Posef, ...).

#include <pybind11/operators.h>

#include <string>

#include "bindings.hpp"
#include "zor/rob/line.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/rotation.hpp"
#include "zor/rob/text.hpp"
#include "zor/rob/triangle.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob::python {

namespace {

// "{x, y, z}" in shortest round-trip form in the vector's own precision: the way the library
// writes positions in its poses.
template <class V>
std::string tripleText(const V& v) {
  return TripleText<decltype(v.x)>(v.x, v.y, v.z);
}

// "{q1, q2, q3, q4}" with 6 significant digits: the way the library writes orientation records.
template <std::floating_point T>
std::string orientText(const OrientTemplate<T>& o) {
  return QuaternionText(o.q1, o.q2, o.q3, o.q4);
}

template <std::floating_point T>
std::string poseText(const PoseTemplate<T>& p) {
  if constexpr (std::same_as<T, double>)
    return p.toString();
  else
    return "{" + tripleText(p.pos) + ", " + orientText(p.orient) + "}";
}

// Iteration over the components, so that tuple(v) and numpy.array(list(v)) work.
template <class Class, class... Getters>
void addIteration(Class& cls, Getters... getters) {
  using Value = typename Class::type;
  cls.def(
      "__iter__", [getters...](const Value& v) { return py::iter(py::make_tuple(getters(v)...)); },
      "Iterates over the components in field order.");
}

/// The directions and the orientation records of precision T.
template <std::floating_point T>
void bindDirectionsAndOrientations(py::module_& m, const std::string& suffix) {
  using Vec = Vec3Template<T>;
  using D = DirTemplate<T>;
  using O = OrientTemplate<T>;

  py::class_<D> dir(m, ("Dir" + suffix).c_str(),
                    "A unit direction. Built from three numbers it keeps them as given; built "
                    "from a vector it is normalised.");
  dir.def(py::init<>(), "The X axis.")
      .def(py::init<T, T, T>(), py::arg("x"), py::arg("y"), py::arg("z"),
           "The components as given, without normalisation.")
      .def(py::init<const Vec&>(), py::arg("v"),
           "The vector normalised; OverflowError '0-length vector cannot be normalized.' when "
           "its length is at most 1e-7.")
      .def_readwrite("x", &D::x)
      .def_readwrite("y", &D::y)
      .def_readwrite("z", &D::z)
      .def("to_vec3", &D::toVec3, "The vector with the same components.");
  addEquality(dir);
  addIteration(
      dir, [](const D& d) { return d.x; }, [](const D& d) { return d.y; },
      [](const D& d) { return d.z; });
  addTextForms(dir, "Dir" + suffix, tripleText<D>);

  py::class_<O> orient(m, ("Orient" + suffix).c_str(),
                       "A stored orientation quaternion, scalar first (q1 = w, q2 = x, q3 = y, "
                       "q4 = z). A record that may hold any four numbers; normalised only when "
                       "it becomes a Rotation.");
  orient.def(py::init<>(), "The identity (1, 0, 0, 0).")
      .def(py::init([](T q1, T q2, T q3, T q4) {
             return O{q1, q2, q3, q4};
           }),
           py::arg("q1"), py::arg("q2"), py::arg("q3"), py::arg("q4"),
           "The record (q1, q2, q3, q4).")
      .def_readwrite("q1", &O::q1)
      .def_readwrite("q2", &O::q2)
      .def_readwrite("q3", &O::q3)
      .def_readwrite("q4", &O::q4);
  addEquality(orient);
  addIteration(
      orient, [](const O& o) { return o.q1; }, [](const O& o) { return o.q2; },
      [](const O& o) { return o.q3; }, [](const O& o) { return o.q4; });
  addTextForms(orient, "Orient" + suffix, orientText<T>);
}

template <std::floating_point T>
void bindVectors(py::module_& m, const std::string& suffix) {
  using Vec = Vec3Template<T>;
  using P = PosTemplate<T>;

  py::class_<Vec> vec(m, ("Vec3" + suffix).c_str(),
                      "A free 3D vector: rotated by a rotation, never translated.");
  vec.def(py::init<>(), "The zero vector.")
      .def(py::init([](T x, T y, T z) {
             return Vec{x, y, z};
           }),
           py::arg("x"), py::arg("y"), py::arg("z"), "The vector (x, y, z).")
      .def_readwrite("x", &Vec::x)
      .def_readwrite("y", &Vec::y)
      .def_readwrite("z", &Vec::z)
      .def(py::self + py::self)
      .def(py::self - py::self)
      .def(-py::self)
      .def(py::self * T())
      .def(T() * py::self)
      .def(py::self / T())
      .def("dot", &Vec::dot, py::arg("other"), "x·x' + y·y' + z·z'.")
      .def("cross", &Vec::cross, py::arg("other"), "This × other.")
      .def("squared_norm", &Vec::squaredNorm, "x² + y² + z².")
      .def("norm", &Vec::norm, "The Euclidean length.")
      .def("normalized", &Vec::normalized,
           "This vector scaled to unit length; OverflowError '0-length vector cannot be "
           "normalized.' when its length is at most 1e-7.")
      .def("to_pos", &Vec::toPos, "The point with the same coordinates.");
  addEquality(vec);
  addIteration(
      vec, [](const Vec& v) { return v.x; }, [](const Vec& v) { return v.y; },
      [](const Vec& v) { return v.z; });
  addTextForms(vec, "Vec3" + suffix, tripleText<Vec>);

  py::class_<P> pos(m, ("Pos" + suffix).c_str(),
                    "A point in a Cartesian frame: rotated and translated by a pose.");
  pos.def(py::init<>(), "The origin.")
      .def(py::init([](T x, T y, T z) {
             return P{x, y, z};
           }),
           py::arg("x"), py::arg("y"), py::arg("z"), "The point (x, y, z).")
      .def_readwrite("x", &P::x)
      .def_readwrite("y", &P::y)
      .def_readwrite("z", &P::z)
      .def(
          "__sub__", [](const P& a, const P& b) { return a - b; }, py::is_operator(),
          "The displacement (a Vec3) from the other point to this one.")
      .def(
          "__sub__", [](const P& a, const Vec& v) { return a - v; }, py::is_operator(),
          "This point moved back by the vector.")
      .def(
          "__add__", [](const P& a, const Vec& v) { return a + v; }, py::is_operator(),
          "This point moved by the vector.")
      .def(
          "__add__", [](const P& a, const P& b) { return a + b; }, py::is_operator(),
          "The coordinate-wise sum of two points.")
      .def("to_vec3", &P::toVec3, "The vector with the same coordinates.");
  addEquality(pos);
  addIteration(
      pos, [](const P& p) { return p.x; }, [](const P& p) { return p.y; },
      [](const P& p) { return p.z; });
  addTextForms(pos, "Pos" + suffix, tripleText<P>);

  bindDirectionsAndOrientations<T>(m, suffix);
}

template <std::floating_point T>
void bindRotation(py::module_& m, const std::string& suffix) {
  using R = RotationTemplate<T>;
  using Vec = Vec3Template<T>;
  using P = PosTemplate<T>;
  using D = DirTemplate<T>;

  py::class_<R> rot(m, ("Rotation" + suffix).c_str(),
                    "A rotation as a unit quaternion, stored x, y, z, w. The constructor takes "
                    "the scalar part first: Rotation(w, x, y, z). a * b rotates first by b, "
                    "then by a; q and -q are different values.");
  rot.def(py::init<>(), "The identity.")
      .def(py::init<T, T, T, T>(), py::arg("w"), py::arg("x"), py::arg("y"), py::arg("z"),
           "The quaternion (w, x, y, z), scalar first, normalised: ValueError 'normalize "
           "quaternion of 0 magnitude' when |q|² < 1e-6.")
      .def(py::init<T, const Vec&>(), py::arg("angle"), py::arg("axis"),
           "Rotation of angle radians about the axis vector, normalised first (OverflowError "
           "for a length at most 1e-7).")
      .def(py::init<T, const D&>(), py::arg("angle"), py::arg("axis"),
           "Rotation of angle radians about the unit direction, taken as it is.")
      .def(py::init<T, T, T>(), py::arg("rx"), py::arg("ry"), py::arg("rz"),
           "From Euler angles in radians: Rz(rz)·Ry(ry)·Rx(rx).")
      .def_readwrite("x", &R::x)
      .def_readwrite("y", &R::y)
      .def_readwrite("z", &R::z)
      .def_readwrite("w", &R::w)
      .def_static("identity", &R::Identity, "The identity rotation.")
      .def_static("from_axes", &R::FromAxes, py::arg("x_axis"), py::arg("y_axis"),
                  py::arg("z_axis"), "The rotation whose matrix has the directions as columns.")
      .def_static("from_2_dirs", &R::From2Dirs, py::arg("from_dir"), py::arg("to_dir"),
                  "The smallest rotation turning one unit direction into the other.")
      .def_static("from_2_vectors", &R::From2Vectors, py::arg("from_vec"), py::arg("to_vec"),
                  "The smallest rotation turning one vector into the other.")
      .def_static("raw", py::overload_cast<T, T, T, T>(&R::raw), py::arg("x"), py::arg("y"),
                  py::arg("z"), py::arg("w"),
                  "The quaternion with the components stored as given (x, y, z, w order), "
                  "without normalisation.")
      .def_static("raw", py::overload_cast<const OrientTemplate<T>&>(&R::raw), py::arg("o"),
                  "The quaternion of an orientation record (q1 = w first), without "
                  "normalisation.")
      .def("normalize", &R::normalize,
           "Normalises in place: ValueError 'normalize quaternion of 0 magnitude' when "
           "|q|² < 1e-6; a quaternion within 1e-6 of unit length is left alone.")
      .def("dot", &R::dot, py::arg("other"), "The four-component dot product.")
      .def("inverse", &R::inverse, "The conjugate divided by the squared norm.")
      .def("hamilton", &R::hamilton, py::arg("other"),
           "The Hamilton product this·other without normalisation.")
      .def(
          "__mul__", [](const R& a, const R& b) { return a * b; }, py::is_operator(),
          "The product a·b (b applied first), normalised.")
      .def(
          "__mul__", [](const R& a, const Vec& v) { return a * v; }, py::is_operator(),
          "The vector rotated.")
      .def(
          "__mul__", [](const R& a, const P& p) { return a * p; }, py::is_operator(),
          "The point rotated about the origin.")
      .def(
          "__mul__", [](const R& a, const D& d) { return a * d; }, py::is_operator(),
          "The direction rotated and normalised again.")
      .def("rotate_vector", &R::rotateVector, py::arg("v"), "The vector rotated.")
      .def("rotate_dir", &R::rotateDir, py::arg("d"), "The direction rotated, normalised.")
      .def("to_orient", &R::toOrient,
           "A normalised copy as the record (w, x, y, z); ValueError for a zero quaternion.")
      .def("to_euler", &R::toEuler, "Euler angles (rx, ry, rz) in radians as a vector.")
      .def("to_euler_degree", &R::toEulerDegree, "Euler angles in degrees as a vector.")
      .def("is_identity", &R::isIdentity,
           "True when every component lies strictly within 0.001 of the identity's.")
      .def("is_approx", &R::isApprox, py::arg("other"),
           "Relative comparison of the four components (the sign matters).")
      .def(
          "log",
          [](const R& r) {
            const Eigen::AngleAxis<double> aa = r.log();
            return py::make_tuple(Vec3Template<double>{aa.axis().x(), aa.axis().y(), aa.axis().z()},
                                  aa.angle());
          },
          "The unit axis (a double-precision Vec3) and the angle in [0, π] radians.")
      .def("to_string", &R::toString, "'{w, x, y, z}' with 6 significant digits.")
      .def_static("angular_distance", &R::AngularDistance, py::arg("a"), py::arg("b"),
                  "The smallest angle in [0, π] radians between two orientation records.")
      .def_static("slerp", &R::Slerp, py::arg("from_orient"), py::arg("to_orient"), py::arg("t"),
                  "Spherical linear interpolation along the shorter way; t not clamped.")
      .def_readonly_static("kZeroSquaredNorm", &R::kZeroSquaredNorm)
      .def_readonly_static("kUnitSquaredNormTolerance", &R::kUnitSquaredNormTolerance)
      .def_readonly_static("kIdentityTolerance", &R::kIdentityTolerance);
  // No operator== in the library: two rotations are equal when all four stored components are.
  addEquality(rot, [](const R& a, const R& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z && a.w == b.w;
  });
  addTextForms(rot, "Rotation" + suffix, [](const R& r) { return r.toString(); });
}

template <std::floating_point T>
void bindShapes(py::module_& m, const std::string& suffix) {
  using Pz = PoseTemplate<T>;
  using P = PosTemplate<T>;
  using O = OrientTemplate<T>;
  using L = LineTemplate<T>;
  using Tri = TriangleTemplate<T>;

  py::class_<Pz> pose(m, ("Pose" + suffix).c_str(),
                      "A frame: a position and a stored orientation record. Applied to a point "
                      "p it gives R(orient)·p + pos; in a * b the right pose is expressed in the "
                      "left one's frame.");
  pose.def(py::init<>(), "The identity pose.")
      .def(py::init<const P&, const O&>(), py::arg("pos"), py::arg("orient"))
      .def_readwrite("pos", &Pz::pos)
      .def_readwrite("orient", &Pz::orient)
      .def("rotation", &Pz::rotation, "The rotation of the orientation record (normalised).")
      .def(
          "__mul__", [](const Pz& a, const P& p) { return a * p; }, py::is_operator(),
          "The point mapped through this pose.")
      .def(
          "__mul__", [](const Pz& a, const Pz& b) { return a * b; }, py::is_operator(),
          "This pose followed by the other.");
  if constexpr (std::same_as<T, double>)
    pose.def("to_string", &Pz::toString,
             "'{{x, y, z}, {q1, q2, q3, q4}}': position in shortest round-trip form, "
             "orientation with 6 significant digits.");
  addEquality(pose);
  addTextForms(pose, "Pose" + suffix, poseText<T>);

  py::class_<L> line(m, ("Line" + suffix).c_str(),
                     "A straight segment from start to end; the default is the unit segment "
                     "along X.");
  line.def(py::init<>())
      .def(py::init([](const P& start, const P& end) {
             return L{start, end};
           }),
           py::arg("start"), py::arg("end"))
      .def_readwrite("start", &L::start)
      .def_readwrite("end", &L::end)
      .def("get_direction", &L::getDirection,
           "The unit direction; OverflowError for a segment at most 1e-7 long.")
      .def("get_length", &L::getLength, "The length; 0 for coincident points.")
      .def("is_empty", &L::isEmpty, "True when the ends differ by at most 1e-7 on each axis.")
      .def("transformed", &L::transformed, py::arg("pose"), "Both ends mapped through the pose.")
      .def_readonly_static("kEmptyTolerance", &L::kEmptyTolerance);
  addEquality(line);
  addTextForms(line, "Line" + suffix, [](const L& l) {
    return "{" + tripleText(l.start) + ", " + tripleText(l.end) + "}";
  });

  py::class_<Tri> tri(m, ("Triangle" + suffix).c_str(),
                      "Three corners in order; the default lies in the Y-Z plane.");
  tri.def(py::init<>())
      .def(py::init([](const P& a, const P& b, const P& c) {
             return Tri{a, b, c};
           }),
           py::arg("p1"), py::arg("p2"), py::arg("p3"))
      .def_readwrite("p1", &Tri::p1)
      .def_readwrite("p2", &Tri::p2)
      .def_readwrite("p3", &Tri::p3)
      .def("get_centroid", &Tri::getCentroid, "The mean of the three corners.")
      .def("transformed", &Tri::transformed, py::arg("pose"),
           "Every corner mapped through the pose.");
  addEquality(tri);
  addTextForms(tri, "Triangle" + suffix, [](const Tri& t) {
    return "{" + tripleText(t.p1) + ", " + tripleText(t.p2) + ", " + tripleText(t.p3) + "}";
  });
}

}  // namespace

void bindGeometry(py::module_& m) {
  bindVectors<double>(m, "");
  bindVectors<float>(m, "f");
  bindRotation<double>(m, "");
  bindRotation<float>(m, "f");
  bindShapes<double>(m, "");
  bindShapes<float>(m, "f");
}

}  // namespace zor::rob::python
