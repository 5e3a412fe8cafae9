#include "detail/parallel.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "detail/messages.hpp"
#include "detail/throwers.hpp"
#include "zor/rob/progress.hpp"
#include "zor/rob/reach.hpp"

namespace zor::rob::detail {

unsigned ResolveThreadCount(unsigned threads) {
  if (threads > kMaxReachThreads)
    throwInvalidArgument(msg::kThreadCount);
  if (threads == 0)
    return std::max(1U, std::thread::hardware_concurrency());
  return threads;
}

void CheckQueryCount(std::size_t items, std::size_t perItem, bool allowLarge, const char* start,
                     const char* end) {
  if (perItem != 0 && items > static_cast<std::size_t>(-1) / perItem)
    throwInvalidArgument(std::string(start) + "more than 18446744073709551615" + end);
  const std::size_t queries = items * perItem;
  if (queries > kMaxReachQueries && !allowLarge)
    throwInvalidArgument(std::string(start) + std::to_string(queries) + end);
}

bool RunBlocks(std::size_t total, std::size_t block, unsigned threads,
               const std::function<bool(double)>& progress,
               const std::function<void(std::size_t, std::size_t, unsigned)>& work) {
  const std::size_t blocks = (total + block - 1) / block;
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> done{0};
  std::atomic<bool> stop{false};
  std::exception_ptr error;
  std::mutex errorMutex;
  Progress tracker(progress, total);

  // Takes blocks until none is left or the run stops.
  const auto runWorker = [&](unsigned worker, bool reports) {
    for (;;) {
      if (stop.load(std::memory_order_relaxed))
        return;
      const std::size_t b = next.fetch_add(1, std::memory_order_relaxed);
      if (b >= blocks)
        return;
      const std::size_t first = b * block;
      const std::size_t last = std::min(total, first + block);
      try {
        work(first, last, worker);
        const std::size_t now = done.fetch_add(last - first) + (last - first);
        if (reports && progress && !progress(static_cast<double>(now) / static_cast<double>(total)))
          stop = true;
      } catch (...) {
        const std::scoped_lock lock(errorMutex);
        if (!error)
          error = std::current_exception();
        stop = true;
        return;
      }
    }
  };

  {
    std::vector<std::jthread> others;
    const auto extra =
        static_cast<unsigned>(std::min<std::size_t>(threads, std::max<std::size_t>(blocks, 1))) - 1;
    others.reserve(extra);
    for (unsigned w = 1; w <= extra; ++w)
      others.emplace_back(runWorker, w, false);
    runWorker(0, true);
  }  // the other threads join here
  if (error)
    std::rethrow_exception(error);
  const bool cancelled = stop.load() && done.load() < total;
  if (!cancelled)
    tracker.finish();
  return !cancelled;
}

}  // namespace zor::rob::detail
