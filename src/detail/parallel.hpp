#pragma once

// Work split into blocks of an index range and run on several threads. Each block's results go
// to places that only it writes, so the results do not depend on the thread count or on which
// thread took which block.

#include <cstddef>
#include <functional>

namespace zor::rob::detail {

/// Throws std::invalid_argument "thread count must be at most 256" above the cap; \returns the
/// count to run on (one per processor for 0).
unsigned ResolveThreadCount(unsigned threads);

/// Throws std::invalid_argument `start` + the count + `end` when `items` × `perItem` queries
/// exceed kMaxReachQueries and `allowLarge` is false (or exceed what a count can hold).
void CheckQueryCount(std::size_t items, std::size_t perItem, bool allowLarge, const char* start,
                     const char* end);

/// Runs `work(first, last, worker)` over the blocks [first, last) of `block` items that cover
/// [0, total), on `threads` threads: the calling thread (worker 0) and threads − 1 others.
/// `progress`, when set, is driven through a Progress on the calling thread after each of its
/// blocks, with the share done, and finished at the end; when it cancels no further block
/// starts. \returns
/// false when cancelled. The first exception thrown by `work` or `progress` stops the run and
/// is rethrown.
bool RunBlocks(std::size_t total, std::size_t block, unsigned threads,
               const std::function<bool(double)>& progress,
               const std::function<void(std::size_t, std::size_t, unsigned)>& work);

}  // namespace zor::rob::detail
