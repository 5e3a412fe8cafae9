#pragma once

#include <chrono>
#include <string>

#include "zor/rob/progress.hpp"

namespace zor::rob::cli {

/// The progress of long work as one line on standard error ("audit  42%"), rewritten in place.
/// Shown only when standard error is a terminal and the work has run for longer than the
/// threshold: ZORROB_PROGRESS_AFTER seconds from the environment (a non-negative number; 0
/// shows it at once), 1 second otherwise. Nothing is written into a pipe or a file, so scripts
/// and --json output stay clean.
class ProgressLine {
 public:
  explicit ProgressLine(std::string label);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// The callback to hand to the work; it never cancels. The line must outlive the work.
  ProgressCallback callback();

 private:
  void show(double fraction);

  std::string label_;
  bool terminal_{false};
  std::chrono::steady_clock::time_point start_{};
  std::chrono::duration<double> threshold_{1.0};
  /// The percentage on the line; -1 while nothing is shown.
  int shown_{-1};
};

}  // namespace zor::rob::cli
