#pragma once

#include <string>

#include "zor/rob/reach.hpp"

// A progress bar on standard error for the long commands. It is drawn only when standard error
// is a terminal: a pipe or a file gets nothing, so logs stay clean.
namespace zor::rob::cli {

/// \returns a progress callback that redraws "<label> [#####.....]  42%" in place on a terminal
/// and never cancels, or an empty callback when standard error is not a terminal. The bar ends
/// its line when it reaches 100%.
ProgressCallback TerminalProgressBar(const std::string& label);

}  // namespace zor::rob::cli
