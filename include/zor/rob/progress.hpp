#pragma once

// Progress of long work: a computation that runs for seconds or minutes (the program audit, the
// reach maps) tells its caller how far it has come, and the caller can stop it. One mechanism
// for all of them: the caller hands a ProgressCallback in, the computation drives a Progress.

#include <cstddef>
#include <functional>

#include "zor/rob/export.hpp"

namespace zor::rob {

/// Called by long work with the fraction done, in [0, 1]. Returns true to go on, false to
/// cancel: the work then stops at its next check and returns what it did so far, marked as
/// partial. An exception thrown by the callback leaves the work and reaches its caller.
using ProgressCallback = std::function<bool(double fraction)>;

/// Drives a ProgressCallback through work of `total` steps. The callback sees 0 at the first
/// check, then fractions in non-decreasing order, and 1 when finish() is reached without a
/// cancel. A fraction is passed on once it has grown by kStep since the last call (so a million
/// steps evenly checked make at most about a thousand calls), or after kQuietChecks checks
/// without a call: work whose fraction creeps (one long move among thousands) still lets its
/// caller cancel, or see a signal, every few tenths of a second. Without a callback every call is
/// a no-op that goes on.
class ZORROB_API Progress {
 public:
  /// The smallest fraction between two calls of the callback, besides the last.
  static constexpr double kStep = 1e-3;
  /// The most checks (calls of advance) in a row that do not call the callback.
  static constexpr std::size_t kQuietChecks = 128;

  Progress(ProgressCallback callback, std::size_t total);

  /// Reports that `done` of the steps are done (clamped to the total). \returns false once the
  /// callback has asked to cancel.
  bool advance(std::size_t done);
  /// Reports the work complete (fraction 1) unless it was cancelled.
  void finish();
  /// \returns true when the callback has asked to cancel.
  bool cancelled() const { return cancelled_; }

 private:
  void report(double fraction);

  ProgressCallback callback_{};
  std::size_t total_{0};
  /// The last fraction reported; negative before the first.
  double reported_{-1.0};
  /// Checks since the callback was last called.
  std::size_t quietChecks_{0};
  bool cancelled_{false};
};

}  // namespace zor::rob
