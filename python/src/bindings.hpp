#pragma once

// Shared pieces of the zorrob Python module: one binding function per family of the library,
// the text-form helpers every record uses and the conversion of numpy input for the batches.

// Every file of the module sees the same type casters (std containers, Eigen matrices), so
// that a type converts the same way wherever it is bound.
#include <pybind11/eigen.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>
#include <utility>

#include "zor/rob/screw.hpp"
#include "zor/rob/text.hpp"

namespace zor::rob::python {

namespace py = pybind11;

void bindGeometry(py::module_& m);
void bindScrew(py::module_& m);
void bindJoints(py::module_& m);
void bindTargets(py::module_& m);
void bindRobot(py::module_& m);
void bindCircle(py::module_& m);
void bindInverseKinematics(py::module_& m);
void bindAudit(py::module_& m);
void bindArmImport(py::module_& m);
void bindView(py::module_& m);
void bindReach(py::module_& m);

/// Gives a bound class its __str__, the brace form `text(value)`, and a __repr__ that names the
/// type: "<zorrob.Name brace form>".
template <class Class, class Text>
void addTextForms(Class& cls, std::string name, Text text) {
  using Value = typename Class::type;
  cls.def(
      "__str__", [text](const Value& v) { return text(v); }, "The brace form.");
  cls.def(
      "__repr__",
      [text, name = std::move(name)](const Value& v) {
        return "<zorrob." + name + " " + text(v) + ">";
      },
      "The type's name and the brace form.");
}

/// Gives a bound class == and != by the C++ comparison `equal`, and makes it unhashable (its
/// fields are mutable).
template <class Class, class Equal>
void addEquality(Class& cls, Equal equal) {
  using Value = typename Class::type;
  cls.def(
      "__eq__", [equal](const Value& a, const Value& b) { return equal(a, b); }, py::is_operator());
  cls.def(
      "__ne__", [equal](const Value& a, const Value& b) { return !equal(a, b); },
      py::is_operator());
  cls.attr("__hash__") = py::none();
}

/// Gives a bound class == and != by its own operator==.
template <class Class>
void addEquality(Class& cls) {
  using Value = typename Class::type;
  addEquality(cls, [](const Value& a, const Value& b) { return a == b; });
}

/// Gives a bound class the library's stream forms: to_stream_string() (operator<< into a fresh
/// stream) and the static from_stream_string(text) (operator>>; ValueError when the extraction
/// fails).
template <class Class>
void addStreamForms(Class& cls, const std::string& name) {
  using Value = typename Class::type;
  cls.def("to_stream_string", &StreamText<Value>,
          "The stream form: what the library's stream insertion writes.");
  cls.def_static(
      "from_stream_string",
      [name](const std::string& text) {
        std::istringstream in(text);
        Value value{};
        in >> value;
        if (in.fail())
          throw py::value_error("cannot read a " + name + " from '" + text + "'");
        return value;
      },
      py::arg("text"), "Reads the stream form back; ValueError when it does not read.");
}

/// A C-contiguous float64 array of shape (N, columns) made from `input`: any array-like of real
/// numbers (bool, integer or floating dtypes, any strides) is converted; anything else raises
/// ValueError naming `what` and the expected shape.
py::array_t<double, py::array::c_style> rowsOf(const py::handle& input, py::ssize_t columns,
                                               const char* what);

/// A C-contiguous float64 array of shape (N,) made from `input` the same way.
py::array_t<double, py::array::c_style> valuesOf(const py::handle& input, const char* what);

/// \returns a new float64 array of the given shape (C order), uninitialised.
py::array_t<double> newArray(std::initializer_list<py::ssize_t> shape);

/// Writes the 36 entries of `jacobian`'s matrix to `out` row by row (C order). Needs no GIL.
void copyJacobianRows(const GeometricJacobian& jacobian, double* out);

/// \returns a new (6, 6) float64 array (C order) holding `jacobian`'s matrix.
py::array_t<double> jacobianArray(const GeometricJacobian& jacobian);

}  // namespace zor::rob::python
