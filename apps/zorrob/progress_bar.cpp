#include "progress_bar.hpp"

#include <unistd.h>

#include <cstdio>
#include <memory>

namespace zor::rob::cli {

namespace {

constexpr int kBarWidth = 30;

}  // namespace

ProgressCallback TerminalProgressBar(const std::string& label) {
  if (isatty(STDERR_FILENO) == 0)
    return {};
  // The callback is copied into the calls: the last percentage drawn is shared.
  auto drawn = std::make_shared<int>(-1);
  return [label, drawn](double fraction) {
    const int percent = static_cast<int>(fraction * 100.0);
    if (percent == *drawn)
      return true;
    *drawn = percent;
    const int filled = percent * kBarWidth / 100;
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.append(static_cast<std::size_t>(kBarWidth - filled), '.');
    std::fprintf(stderr, "\r%s [%s] %3d%%%s", label.c_str(), bar.c_str(), percent,
                 percent == 100 ? "\n" : "");
    std::fflush(stderr);
    return true;
  };
}

}  // namespace zor::rob::cli
