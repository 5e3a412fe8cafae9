#include "progress_line.hpp"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace zor::rob::cli {

namespace {

constexpr double kDefaultThresholdSeconds = 1.0;

/// ZORROB_PROGRESS_AFTER when it is a non-negative number, the default otherwise.
double thresholdSeconds() {
  const char* text = std::getenv("ZORROB_PROGRESS_AFTER");
  if (text == nullptr || *text == '\0')
    return kDefaultThresholdSeconds;
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  return *end == '\0' && std::isfinite(value) && value >= 0.0 ? value : kDefaultThresholdSeconds;
}

}  // namespace

ProgressLine::ProgressLine(std::string label)
    : label_(std::move(label)),
      terminal_(isatty(STDERR_FILENO) == 1),
      start_(std::chrono::steady_clock::now()),
      threshold_(thresholdSeconds()) {}

ProgressLine::~ProgressLine() {
  // Leaves the finished line standing and the cursor on a fresh line.
  if (shown_ >= 0)
    std::fputc('\n', stderr);
}

ProgressCallback ProgressLine::callback() {
  return [this](double fraction) {
    show(fraction);
    return true;
  };
}

void ProgressLine::show(double fraction) {
  if (!terminal_ || std::chrono::steady_clock::now() - start_ < threshold_)
    return;
  const int percent = static_cast<int>(std::floor(fraction * 100.0));
  if (percent == shown_)
    return;
  shown_ = percent;
  std::fprintf(stderr, "\r%s %3d%%", label_.c_str(), percent);
  std::fflush(stderr);
}

}  // namespace zor::rob::cli
