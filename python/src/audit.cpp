// The program audit: its options, events, samples and report, and AuditProgram, which runs
// without the GIL.

#include <array>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "bindings.hpp"
#include "progress.hpp"
#include "zor/rob/audit.hpp"

namespace zor::rob::python {

namespace {

std::string eventText(const AuditEvent& e) {
  std::ostringstream out;
  out << e.kind << ", move " << e.moveIndex << (e.corner ? " (corner)" : "") << ", fraction "
      << e.startFraction << ".." << e.endFraction;
  if (e.joint != 0)
    out << ", joint " << e.joint;
  return out.str();
}

// The joints of every kept sample as an (N, 6) array, for plotting and analysis.
py::array_t<double> sampleJoints(const AuditReport& report) {
  const auto n = static_cast<py::ssize_t>(report.samples.size());
  py::array_t<double> out = newArray({n, 6});
  double* j = out.mutable_data();
  for (const AuditSample& s : report.samples)
    for (const double value : s.joints.values)
      *j++ = value;
  return out;
}

/// One column of the kept samples as a 1-D array.
template <typename Get>
py::array_t<double> sampleColumn(const AuditReport& report, Get get) {
  py::array_t<double> out = newArray({static_cast<py::ssize_t>(report.samples.size())});
  double* v = out.mutable_data();
  for (const AuditSample& s : report.samples)
    *v++ = get(s);
  return out;
}

/// Six values per kept sample as an (N, 6) array.
py::array_t<double> sampleRows(const AuditReport& report,
                               std::array<double, 6> AuditSample::*field) {
  py::array_t<double> out = newArray({static_cast<py::ssize_t>(report.samples.size()), 6});
  double* v = out.mutable_data();
  for (const AuditSample& s : report.samples)
    for (const double value : s.*field)
      *v++ = value;
  return out;
}

// The timed samples as numpy arrays, one entry per quantity.
py::dict sampleTiming(const AuditReport& report) {
  py::dict d;
  d["time"] = sampleColumn(report, [](const AuditSample& s) { return s.time; });
  d["tcp_speed"] = sampleColumn(report, [](const AuditSample& s) { return s.tcpSpeed; });
  d["speed_share"] = sampleColumn(report, [](const AuditSample& s) { return s.speedShare; });
  d["allowed_share"] = sampleColumn(report, [](const AuditSample& s) { return s.allowedShare; });
  d["move"] =
      sampleColumn(report, [](const AuditSample& s) { return static_cast<double>(s.moveIndex); });
  d["limit"] =
      sampleColumn(report, [](const AuditSample& s) { return static_cast<double>(s.limit); });
  d["limit_joint"] =
      sampleColumn(report, [](const AuditSample& s) { return static_cast<double>(s.limitJoint); });
  d["joint_speeds"] = sampleRows(report, &AuditSample::jointSpeeds);
  d["joint_accelerations"] = sampleRows(report, &AuditSample::jointAccelerations);
  return d;
}

AuditReport auditProgram(const RobotConfig& robot, const RobJoint& start,
                         const std::vector<ProgramMove>& moves, AuditOptions options,
                         const py::object& progress) {
  // The callback checks for signals even without a callable, so Ctrl-C stops the audit.
  PythonProgress checks{progress};
  options.progress = checks.callback();
  AuditReport report;
  {
    const py::gil_scoped_release release;
    report = AuditProgram(robot, start, moves, options);
  }
  checks.raiseIfFailed();
  return report;
}

}  // namespace

namespace {

// The enumerations and the options.
void bindAuditTypes(py::module_& m) {
  py::enum_<CircleOriMode>(m, "CircleOriMode",
                           "How the tool orientation is interpolated along a circular move.")
      .value("cirPoint", CircleOriMode::cirPoint)
      .value("pathFrame", CircleOriMode::pathFrame)
      .value("objectFrame", CircleOriMode::objectFrame);

  py::enum_<AuditEventKind>(m, "AuditEventKind", "What can stop a program.")
      .value("unreachableTarget", AuditEventKind::unreachableTarget)
      .value("noSolutionInConfiguration", AuditEventKind::noSolutionInConfiguration)
      .value("unreachablePathPoint", AuditEventKind::unreachablePathPoint)
      .value("configurationChange", AuditEventKind::configurationChange)
      .value("configurationMismatch", AuditEventKind::configurationMismatch)
      .value("wristSingularity", AuditEventKind::wristSingularity)
      .value("elbowSingularity", AuditEventKind::elbowSingularity)
      .value("shoulderSingularity", AuditEventKind::shoulderSingularity)
      .value("jointLimit", AuditEventKind::jointLimit)
      .value("jointJump", AuditEventKind::jointJump)
      .value("noCircle", AuditEventKind::noCircle)
      .value("zoneShrunk", AuditEventKind::zoneShrunk)
      .value("speedReduced", AuditEventKind::speedReduced)
      .def("to_string", &StreamText<AuditEventKind>,
           "The library's text, e.g. 'wrist singularity'.");

  py::enum_<TimingLimit>(m, "TimingLimit", "The limit that decides the timing at a sample.")
      .value("none", TimingLimit::none)
      .value("tcpSpeed", TimingLimit::tcpSpeed)
      .value("orientationSpeed", TimingLimit::orientationSpeed)
      .value("jointSpeed", TimingLimit::jointSpeed)
      .value("jointAcceleration", TimingLimit::jointAcceleration)
      .value("tcpAcceleration", TimingLimit::tcpAcceleration)
      .def("to_string", &StreamText<TimingLimit>, "The library's text, e.g. 'joint speed'.");

  py::class_<AuditOptions>(m, "AuditOptions", "What the audit checks and how finely.")
      .def(py::init<>())
      .def_readonly_static("kMaxStepMm", &AuditOptions::kMaxStepMm,
                           "The coarsest stepMm allowed (mm).")
      .def_readonly_static("kMaxStepDeg", &AuditOptions::kMaxStepDeg,
                           "The coarsest stepDeg allowed (degrees).")
      .def_readwrite("stepMm", &AuditOptions::stepMm)
      .def_readwrite("stepDeg", &AuditOptions::stepDeg)
      .def_readwrite("jumpDeg", &AuditOptions::jumpDeg)
      .def_readwrite("wristMarginDeg", &AuditOptions::wristMarginDeg)
      .def_readwrite("elbowMarginDeg", &AuditOptions::elbowMarginDeg)
      .def_readwrite("shoulderMarginMm", &AuditOptions::shoulderMarginMm)
      .def_readwrite("circleOriMode", &AuditOptions::circleOriMode)
      .def_readwrite("maxJointSpeedDeg", &AuditOptions::maxJointSpeedDeg)
      .def_readwrite("maxJointAccelerationDeg", &AuditOptions::maxJointAccelerationDeg)
      .def_readwrite("maxTcpAcceleration", &AuditOptions::maxTcpAcceleration)
      .def_readwrite("keepSamples", &AuditOptions::keepSamples)
      .def_readonly_static("kMinTimingWindow", &AuditOptions::kMinTimingWindow,
                           "The smallest timing_window allowed (samples).")
      .def_property(
          "timing_window", [](const AuditOptions& o) { return o.timingWindow; },
          [](AuditOptions& o, const py::int_& window) {
            // Checked here, with the library's message, so that a negative value is refused
            // alike instead of failing the conversion to an unsigned size.
            constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();
            if (py::int_(AuditOptions::kMinTimingWindow) > window)
              throw py::value_error("'options.timingWindow' must be at least 16");
            if (window > py::int_(kLargest))
              throw py::value_error("'options.timingWindow' must be at most " +
                                    std::to_string(kLargest));
            o.timingWindow = window.cast<std::size_t>();
          },
          "The samples (about) that the timing of a path between two stop points holds at a "
          "time; longer paths are timed in windows of this many, each sampled again twice. The "
          "report does not depend on it. At least MIN_TIMING_WINDOW (ValueError otherwise).");
}

/// The records of an audit: its events, samples and moves.
void bindAuditRecords(py::module_& m) {
  py::class_<AuditEvent> event(m, "AuditEvent",
                               "One event of a move, placed by path fractions and arc lengths "
                               "(mm) from the move's start.");
  event.def(py::init<>())
      .def_readwrite("kind", &AuditEvent::kind)
      .def_readwrite("moveIndex", &AuditEvent::moveIndex)
      .def_readwrite("corner", &AuditEvent::corner)
      .def_readwrite("startFraction", &AuditEvent::startFraction)
      .def_readwrite("endFraction", &AuditEvent::endFraction)
      .def_readwrite("startArcLength", &AuditEvent::startArcLength)
      .def_readwrite("endArcLength", &AuditEvent::endArcLength)
      .def_readwrite("startJoints", &AuditEvent::startJoints)
      .def_readwrite("endJoints", &AuditEvent::endJoints)
      .def_readwrite("joint", &AuditEvent::joint)
      .def_readwrite("speedShare", &AuditEvent::speedShare);
  addTextForms(event, "AuditEvent", eventText);

  py::class_<AuditSample>(m, "AuditSample", "One sample of the audited path.")
      .def(py::init<>())
      .def_readwrite("moveIndex", &AuditSample::moveIndex)
      .def_readwrite("corner", &AuditSample::corner)
      .def_readwrite("fraction", &AuditSample::fraction)
      .def_readwrite("arcLength", &AuditSample::arcLength)
      .def_readwrite("tcp", &AuditSample::tcp)
      .def_readwrite("joints", &AuditSample::joints)
      .def_readwrite("conf", &AuditSample::conf)
      .def_readwrite("singularity", &AuditSample::singularity)
      .def_readwrite("reachable", &AuditSample::reachable)
      .def_readwrite("time", &AuditSample::time)
      .def_readwrite("tcpSpeed", &AuditSample::tcpSpeed)
      .def_readwrite("speedShare", &AuditSample::speedShare)
      .def_readwrite("allowedShare", &AuditSample::allowedShare)
      .def_readwrite("jointSpeeds", &AuditSample::jointSpeeds)
      .def_readwrite("jointAccelerations", &AuditSample::jointAccelerations)
      .def_readwrite("limit", &AuditSample::limit)
      .def_readwrite("limitJoint", &AuditSample::limitJoint);

  py::class_<MoveAudit>(m, "MoveAudit", "The audit of one move.")
      .def(py::init<>())
      .def_readwrite("type", &MoveAudit::type)
      .def_readwrite("reached", &MoveAudit::reached)
      .def_readwrite("endJoints", &MoveAudit::endJoints)
      .def_readwrite("endConf", &MoveAudit::endConf)
      .def_readwrite("pathLength", &MoveAudit::pathLength)
      .def_readwrite("orientationChange", &MoveAudit::orientationChange)
      .def_readwrite("duration", &MoveAudit::duration)
      .def_readwrite("lowestSpeedShare", &MoveAudit::lowestSpeedShare)
      .def_readwrite("zoneDistance", &MoveAudit::zoneDistance)
      .def_readwrite("events", &MoveAudit::events, "The move's events (a copy as a list).");
}

}  // namespace

void bindAudit(py::module_& m) {
  bindAuditTypes(m);
  bindAuditRecords(m);

  py::class_<AuditReport> report(m, "AuditReport", "The audit of a program.");
  report.def(py::init<>())
      .def_readwrite("moves", &AuditReport::moves, "The audits of the moves (a copy as a list).")
      .def_readwrite("samples", &AuditReport::samples,
                     "Every sample when AuditOptions.keepSamples is set (a copy as a list).")
      .def_readwrite("duration", &AuditReport::duration, "The cycle time, seconds.")
      .def_readwrite("partial", &AuditReport::partial,
                     "True when the progress callable cancelled the audit: moves holds the moves "
                     "audited before that.")
      .def("event_count", &AuditReport::eventCount, "The number of events over all moves.")
      .def("clean", &AuditReport::clean, "True when no move has an event.")
      .def(
          "events",
          [](const AuditReport& r) {
            std::vector<AuditEvent> all;
            for (const MoveAudit& move : r.moves)
              all.insert(all.end(), move.events.begin(), move.events.end());
            return all;
          },
          "Every event of every move, in program order.")
      .def("sample_joints", &sampleJoints,
           "The joints of every kept sample as an (N, 6) numpy array (degrees).")
      .def("sample_timing", &sampleTiming,
           "The timing of every kept sample as numpy arrays in a dict: time (s), tcp_speed "
           "(mm/s), speed_share and allowed_share (of the programmed speed), move (index), "
           "limit (a TimingLimit value) and limit_joint (1 to 6, 0 for the tool), each of "
           "length N, and joint_speeds (degrees/s) and joint_accelerations (degrees/s²), "
           "each (N, 6).");
  report.def("__repr__", [](const AuditReport& r) {
    std::ostringstream out;
    out << "<zorrob.AuditReport " << (r.partial ? "partial, " : "") << r.moves.size() << " moves, "
        << r.eventCount() << " events, " << r.duration << " s>";
    return out.str();
  });

  m.def("audit_program", &auditProgram, py::arg("robot"), py::arg("start"), py::arg("moves"),
        py::arg("options") = AuditOptions{}, py::arg("progress") = py::none(),
        "Audits a program (a list of MoveJ, MoveL, MoveC and MoveAbsJ) run on the arm from "
        "the start joints; returns an AuditReport. Its inputs are checked first, as the tool "
        "checks them: ValueError naming the field, e.g. \"move 1: 'zone.tcp' must not be "
        "negative\" (see AuditProgram in zor/rob/audit.hpp). Runs without the GIL. progress: a "
        "callable given the fraction of the moves audited (0 first, in order, 1 last; fractions "
        "inside a long move too), called with the GIL; returning False cancels the audit, which "
        "returns the moves audited so far with partial set; an exception it raises leaves the "
        "audit, and so does Ctrl-C (KeyboardInterrupt), both checked before each move and inside "
        "long moves. With tqdm: bar = tqdm(total=1.0); progress=lambda f: bar.update(f - bar.n).");
}

}  // namespace zor::rob::python
