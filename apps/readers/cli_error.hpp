#pragma once

#include <stdexcept>

// Errors of the zorrob tool. Each becomes one line on standard error and an exit status; nothing
// is written to standard output once one is thrown, because every command builds its whole
// output before printing it.
namespace zor::rob::cli {

/// Exit status for a command line the tool cannot run: wrong argument counts, text that is not a
/// finite number, unknown commands, options, zone or table names.
inline constexpr int kExitUsage = 2;
/// Exit status for inputs that are well formed on the command line but rejected by the
/// computation or the arm loader: unreadable or malformed arm files, three points that make no
/// circle.
inline constexpr int kExitRejected = 1;
/// Exit status of an audit that ran and found events (scripts gate on it).
inline constexpr int kExitEvents = 3;

/// A command line the tool cannot run (exit status 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// An input rejected by the computation or the arm loader (exit status 1).
struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace zor::rob::cli
