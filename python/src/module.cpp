// The extension module zorrob._zorrob. The package zorrob re-exports everything defined here.

#include <exception>
#include <stdexcept>

#include "bindings.hpp"
#include "zor/rob/circle.hpp"

namespace {

namespace py = pybind11;

// Raised for three points that make no circle; set when the module is initialised.
PyObject* circleError = nullptr;

// The library's exceptions as Python ones, with the library's messages. Order matters: the
// derived types (out_of_range is a logic_error) are caught before their bases, and everything
// this translator does not name falls through to pybind11's own mapping (overflow_error to
// OverflowError, runtime_error to RuntimeError).
void translateLibraryErrors(std::exception_ptr error) {
  try {
    if (error)
      std::rethrow_exception(error);
  } catch (const zor::rob::TPCircleFail& e) {
    PyErr_SetString(circleError, e.what());
  } catch (const std::out_of_range& e) {
    PyErr_SetString(PyExc_IndexError, e.what());
  } catch (const std::logic_error& e) {
    PyErr_SetString(PyExc_ValueError, e.what());
  }
}

}  // namespace

PYBIND11_MODULE(_zorrob, m) {
  m.doc() =
      "Motion programming and planning for six-axis serial robot arms: geometry, screw motion, "
      "the robot's records and their text forms, the arm model with forward kinematics and "
      "Jacobians, the inverse kinematics, the circle of a circular move, the program audit and the "
      "arm importers. "
      "Lengths in mm, joint values in degrees.";

  static py::exception<zor::rob::TPCircleFail> circleErrorType(m, "CircleError",
                                                               PyExc_RuntimeError);
  circleErrorType.doc() =
      "Three points that define no circle. The message is one of 'The points coincide', 'The "
      "points are collinear' and 'A and C is the same point'.";
  circleError = circleErrorType.ptr();
  py::register_exception_translator(translateLibraryErrors);

  zor::rob::python::bindGeometry(m);
  zor::rob::python::bindScrew(m);
  zor::rob::python::bindJoints(m);
  zor::rob::python::bindTargets(m);
  zor::rob::python::bindRobot(m);
  zor::rob::python::bindCircle(m);
  zor::rob::python::bindInverseKinematics(m);
  zor::rob::python::bindAudit(m);
  zor::rob::python::bindArmImport(m);
  zor::rob::python::bindView(m);
  zor::rob::python::bindReach(m);
}
