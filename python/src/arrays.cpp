#include <string>

#include "bindings.hpp"

namespace zor::rob::python {

namespace {

using Rows = py::array_t<double, py::array::c_style>;
using Converted = py::array_t<double, py::array::c_style | py::array::forcecast>;

// numpy's dtype kinds that convert to float64 without losing meaning: bool, signed and unsigned
// integers, floating point. Complex, object, string and datetime arrays are refused.
bool isRealKind(char kind) {
  return kind == 'b' || kind == 'i' || kind == 'u' || kind == 'f';
}

std::string shapeText(const py::array& a) {
  std::string out = "(";
  for (py::ssize_t k = 0; k < a.ndim(); ++k) {
    if (k > 0)
      out += ", ";
    out += std::to_string(a.shape(k));
  }
  if (a.ndim() == 1)
    out += ",";
  return out + ")";
}

[[noreturn]] void throwExpected(const char* what, const std::string& expected,
                                const std::string& got) {
  throw py::value_error(std::string(what) + ": expected " + expected + ", got " + got);
}

// The input as a float64 C-order array of any shape, or ValueError.
Converted realArray(const py::handle& input, const char* what, const std::string& expected) {
  py::array any = py::array::ensure(input);
  if (!any)
    throwExpected(what, expected, "an object numpy cannot turn into an array");
  if (!isRealKind(any.dtype().kind()))
    throwExpected(what, expected, "dtype " + py::str(any.dtype()).cast<std::string>());
  Converted converted = Converted::ensure(any);
  if (!converted)
    throwExpected(what, expected, "an array that does not convert to float64");
  return converted;
}

}  // namespace

Rows rowsOf(const py::handle& input, py::ssize_t columns, const char* what) {
  const std::string expected =
      "an (N, " + std::to_string(columns) + ") array of real numbers (float64)";
  Converted a = realArray(input, what, expected);
  if (a.ndim() != 2 || a.shape(1) != columns)
    throwExpected(what, expected, "shape " + shapeText(a));
  return a;
}

Rows valuesOf(const py::handle& input, const char* what) {
  const std::string expected = "an (N,) array of real numbers (float64)";
  Converted a = realArray(input, what, expected);
  if (a.ndim() != 1)
    throwExpected(what, expected, "shape " + shapeText(a));
  return a;
}

py::array_t<double> newArray(std::initializer_list<py::ssize_t> shape) {
  return py::array_t<double>(std::vector<py::ssize_t>(shape));
}

void copyJacobianRows(const GeometricJacobian& jacobian, double* out) {
  for (int r = 0; r < 6; ++r)
    for (int c = 0; c < 6; ++c)
      *out++ = jacobian.matrix(r, c);
}

py::array_t<double> jacobianArray(const GeometricJacobian& jacobian) {
  py::array_t<double> out = newArray({6, 6});
  copyJacobianRows(jacobian, out.mutable_data());
  return out;
}

}  // namespace zor::rob::python
