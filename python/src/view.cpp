// The view page: zorrob.view (python/zorrob/view.py) writes it through view_page.

#include <optional>
#include <string>
#include <vector>

#include "bindings.hpp"
#include "zor/rob/view.hpp"

namespace zor::rob::python {

namespace {

std::string viewPage(const RobotConfig& robot, const std::optional<std::vector<ProgramMove>>& moves,
                     const std::optional<AuditReport>& report, const ViewOptions& options) {
  if (moves.has_value() != report.has_value())
    throw py::value_error("a program and its audit report go together");
  py::gil_scoped_release release;
  return moves ? ViewPage(robot, *moves, *report, options) : ViewPage(robot, options);
}

}  // namespace

void bindView(py::module_& m) {
  py::class_<MoveLabels>(m, "MoveLabels",
                         "The names a program gives one move's target, circle point, tool and "
                         "work object, shown as text on the view page.")
      .def(py::init<>())
      .def(py::init([](std::string target, std::string circlePoint, std::string tool,
                       std::string workObject) {
             return MoveLabels{std::move(target), std::move(circlePoint), std::move(tool),
                               std::move(workObject)};
           }),
           py::arg("target") = "", py::arg("circle_point") = "", py::arg("tool") = "",
           py::arg("work_object") = "")
      .def_readwrite("target", &MoveLabels::target)
      .def_readwrite("circle_point", &MoveLabels::circlePoint)
      .def_readwrite("tool", &MoveLabels::tool)
      .def_readwrite("work_object", &MoveLabels::workObject);

  py::class_<ViewOptions>(m, "ViewOptions", "What the view page shows besides the arm.")
      .def(py::init<>())
      .def_readwrite("title", &ViewOptions::title)
      .def_readwrite("tool", &ViewOptions::tool)
      .def_readwrite("joints", &ViewOptions::joints)
      .def_readwrite("labels", &ViewOptions::labels, "One MoveLabels per move, or none.");

  m.def("view_page", &viewPage, py::arg("robot"), py::arg("moves") = py::none(),
        py::arg("report") = py::none(), py::arg("options") = ViewOptions{},
        "The self-contained HTML page of the arm, or of the program (a list of moves) as its "
        "AuditReport found it. ValueError for a program without its report or a report of "
        "another program. Runs without the GIL.");
}

}  // namespace zor::rob::python
