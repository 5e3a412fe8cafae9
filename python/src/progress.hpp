#pragma once

// Long work from Python: the computations run without the GIL, and between their chunks take it
// back to call the user's progress callable and to check for signals, so that Ctrl-C raises
// KeyboardInterrupt within a fraction of a second instead of when the whole batch is done.

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "bindings.hpp"
#include "zor/rob/progress.hpp"

namespace zor::rob::python {

/// A ProgressCallback for work run without the GIL. Each call takes the GIL, runs the pending
/// signal handlers (Ctrl-C raises KeyboardInterrupt there) and then calls `callable`, when it is
/// not None, with the fraction done; only a returned False cancels (a tqdm bar's update()
/// returns None and goes on). The first Python error cancels the work and is kept:
/// raiseIfFailed() raises it again once the work has returned.
struct PythonProgress {
  py::object callable;
  std::optional<py::error_already_set> error{};

  ProgressCallback callback() {
    return [this](double fraction) {
      const py::gil_scoped_acquire gil;
      try {
        if (PyErr_CheckSignals() != 0)
          throw py::error_already_set();
        if (callable.is_none())
          return true;
        const py::object result = callable(fraction);
        return !(py::isinstance<py::bool_>(result) && !result.cast<bool>());
      } catch (py::error_already_set& e) {
        error = std::move(e);
        return false;
      }
    };
  }
  void raiseIfFailed() {
    if (error)
      throw std::move(*error);
  }
};

/// Rows of a batch between two checks of the progress and the signals: short enough that even
/// slow rows (an inverse kinematics with wide limits) reach a check within a fraction of a second.
inline constexpr py::ssize_t kChunkRows = 256;

/// Runs `body(begin, end)` over the rows 0 .. n in chunks of kChunkRows without the GIL,
/// reporting the rows done to `progress` between chunks (see PythonProgress). Raises the Python
/// error that stopped it (KeyboardInterrupt on Ctrl-C). \returns false when the callable
/// cancelled: only the rows before the returned count were run.
template <class Body>
py::ssize_t runInChunks(py::ssize_t n, PythonProgress& progress, Body body) {
  Progress p(progress.callback(), static_cast<std::size_t>(n));
  py::ssize_t done = 0;
  {
    const py::gil_scoped_release release;
    while (done < n && p.advance(static_cast<std::size_t>(done))) {
      const py::ssize_t end = std::min(n, done + kChunkRows);
      body(done, end);
      done = end;
    }
    if (done == n)
      p.finish();
  }
  progress.raiseIfFailed();
  return done;
}

}  // namespace zor::rob::python
