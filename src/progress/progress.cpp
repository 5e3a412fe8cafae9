#include "zor/rob/progress.hpp"

#include <algorithm>
#include <utility>

namespace zor::rob {

Progress::Progress(ProgressCallback callback, std::size_t total)
    : callback_(std::move(callback)), total_(total) {}

bool Progress::advance(std::size_t done) {
  if (!callback_ || cancelled_)
    return !cancelled_;
  // Work of no steps is all done at once: it reports 0 here and 1 in finish().
  const double fraction =
      total_ == 0 ? 0.0 : static_cast<double>(std::min(done, total_)) / static_cast<double>(total_);
  // 1 is left for finish(): the last call says the work is complete.
  const bool due = fraction >= reported_ + kStep || ++quietChecks_ >= kQuietChecks;
  // A caller may report less done than before; the callback never sees the fraction fall.
  if (reported_ < 0.0 || (due && fraction < 1.0))
    report(std::max(fraction, reported_));
  return !cancelled_;
}

void Progress::finish() {
  if (callback_ && !cancelled_ && reported_ < 1.0)
    report(1.0);
}

void Progress::report(double fraction) {
  reported_ = fraction;
  quietChecks_ = 0;
  if (!callback_(fraction))
    cancelled_ = true;
}

}  // namespace zor::rob
