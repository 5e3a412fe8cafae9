// The timing of a path fed point by point and held in windows: each window's nodes computed
// again from where it starts, for the backward pass and again for the forward pass, when the
// path is longer than one window.

#include <algorithm>
#include <utility>
#include <vector>

#include "audit/timing.hpp"

namespace zor::rob::audit {

namespace {

/// Points made nodes at a time: their copies stay in the fastest cache.
constexpr std::size_t kChunk = 256;

}  // namespace

PathTimer::PathTimer(const TimingLimits& limits, std::size_t windowNodes, Points points)
    : limits_(limits),
      windowNodes_(std::max<std::size_t>(windowNodes, 2)),
      pointsOf_(std::move(points)) {}

bool PathTimer::addNearWindowEnd() {
  const std::size_t index = points_++;
  if (windows_.empty()) {
    windows_.push_back({});
    return true;
  }
  build(index);
  const NodeBuilder before = builder_;
  chunk_.clear();
  pointsOf_(index, index + 1, chunk_);
  const bool begins = builder_.add(chunk_.front(), last_.nodes);
  const bool opens = begins && builder_.nodes - 1 - windows_.back().firstNode >= windowNodes_;
  if (opens) {
    // The window before is dropped but for the two nodes before this one.
    Window w{before, {}, builder_.nodes - 1, index, 0.0};
    const std::size_t m = last_.nodes.size();
    w.before = {last_.nodes[m - 3], last_.nodes[m - 2]};
    last_.nodes.erase(last_.nodes.begin(), last_.nodes.end() - 3);
    last_.first = w.firstNode - 2;
    last_.nodeOf.clear();
    windows_.push_back(w);
  }
  last_.nodeOf.push_back(builder_.nodes - 1);
  return opens;
}

namespace {

/// Makes room for `more` elements, growing geometrically: build() is called point by point near
/// a window's end.
template <typename T>
void reserveMore(std::vector<T>& v, std::size_t more) {
  if (v.size() + more > v.capacity())
    v.reserve(std::max(v.size() + more, 2 * v.capacity()));
}

}  // namespace

void PathTimer::build(std::size_t end) {
  // One more node than points: finishWhole() may add a middle node.
  reserveMore(last_.nodes, end - builder_.points + 1);
  reserveMore(last_.nodeOf, end - builder_.points);
  while (builder_.points < end) {
    chunk_.clear();
    pointsOf_(builder_.points, std::min(end, builder_.points + kChunk), chunk_);
    for (const TimingPoint& p : chunk_) {
      builder_.add(p, last_.nodes);
      last_.nodeOf.push_back(builder_.nodes - 1);
    }
  }
}

std::size_t PathTimer::endNode(std::size_t w) const {
  return w + 1 < windows_.size() ? windows_[w + 1].firstNode : builder_.nodes;
}

std::size_t PathTimer::endPoint(std::size_t w) const {
  return w + 1 < windows_.size() ? windows_[w + 1].firstPoint : builder_.points;
}

PathTimer::Span PathTimer::replayWindow(std::size_t w, const Replay& replay) const {
  const Window& window = windows_[w];
  Span s;
  if (w > 0) {
    s.nodes = {window.before[0], window.before[1]};
    s.first = window.firstNode - 2;
  }
  // Up to the node after the window's end, complete: the derivatives there need it.
  const std::size_t stop = endNode(w) + 2;
  const std::size_t points = endPoint(w);
  NodeBuilder builder = window.start;
  replay(w, [&](const TimingPoint& p) {
    const std::size_t index = builder.points;
    if (builder.add(p, s.nodes) && builder.nodes - 1 == stop) {
      s.nodes.pop_back();
      return false;
    }
    if (index < points)
      s.nodeOf.push_back(builder.nodes - 1);
    return true;
  });
  PrepareNodes(s.nodes, s.first, builder_.nodes, limits_);
  return s;
}

void PathTimer::finishWhole(const Emit& emit) {
  std::vector<TimingNode>& nodes = last_.nodes;
  std::vector<std::size_t>& nodeOf = last_.nodeOf;
  if (nodes.size() < 2) {
    for (std::size_t i = 0; i < nodeOf.size(); ++i)
      emit(i, PointTiming{});
    return;
  }
  if (nodes.size() == 2) {
    // One step cannot both start and end at rest: its middle is added.
    TimingNode m = nodes[1];
    for (std::size_t c = 0; c < kTimingChannels; ++c)
      m.value[c] = 0.5 * (nodes[0].value[c] + nodes[1].value[c]);
    m.sigma = 0.5 * nodes[1].sigma;
    nodes.insert(nodes.begin() + 1, m);
    for (std::size_t& k : nodeOf)
      k = k == 1 ? 2 : k;
  }
  const std::size_t n = nodes.size();
  PrepareNodes(nodes, 0, n, limits_);
  const std::vector<double> hi = ControllableBounds(nodes, 0, 0, n - 1, 0.0, limits_);
  TimingCarry carry;
  std::size_t i = 0;
  TimeNodes(nodes, 0, 0, n, n, hi, limits_, carry, [&](std::size_t k, const PointTiming& t) {
    for (; i < nodeOf.size() && nodeOf[i] == k; ++i)
      emit(i, t);
  });
}

bool PathTimer::finish(const Replay& replay, const Emit& emit, const GoOn& goOn) {
  build(points_);
  if (windows_.size() == 1) {
    finishWhole(emit);
  } else if (!windows_.empty()) {
    const std::size_t n = builder_.nodes;
    const std::size_t lastWindow = windows_.size() - 1;
    PrepareNodes(last_.nodes, last_.first, n, limits_);
    // Backward: the controllable bound at each window's start, from the last window to the first.
    const std::vector<double> lastHi = ControllableBounds(
        last_.nodes, last_.first, windows_[lastWindow].firstNode, n - 1, 0.0, limits_);
    windows_[lastWindow].hiStart = lastHi[0];
    for (std::size_t w = lastWindow; w-- > 0;) {
      if (!goOn(static_cast<double>(lastWindow - 1 - w) / static_cast<double>(lastWindow))) {
        clear();
        return false;
      }
      const Span s = replayWindow(w, replay);
      windows_[w].hiStart = ControllableBounds(s.nodes, s.first, windows_[w].firstNode, endNode(w),
                                               windows_[w + 1].hiStart, limits_)[0];
    }
    // Forward, window by window, the bounds inside each computed again from its end.
    TimingCarry carry;
    for (std::size_t w = 0; w <= lastWindow; ++w) {
      const Span replayed = w < lastWindow ? replayWindow(w, replay) : Span{};
      const Span& s = w < lastWindow ? replayed : last_;
      const std::size_t from = windows_[w].firstNode;
      const std::vector<double> hi = w < lastWindow
                                         ? ControllableBounds(s.nodes, s.first, from, endNode(w),
                                                              windows_[w + 1].hiStart, limits_)
                                         : lastHi;
      // The window's points in order, each with the timing of its node.
      const std::size_t firstPoint = windows_[w].firstPoint;
      std::size_t i = firstPoint;
      TimeNodes(s.nodes, s.first, from, endNode(w), n, hi, limits_, carry,
                [&](std::size_t k, const PointTiming& t) {
                  for (; i < endPoint(w) && s.nodeOf[i - firstPoint] == k; ++i)
                    emit(i, t);
                });
    }
  }
  clear();
  return true;
}

void PathTimer::clear() {
  // The buffers keep their room for the next path: most paths are alike in length.
  points_ = 0;
  builder_ = {};
  windows_.clear();
  last_.nodes.clear();
  last_.nodeOf.clear();
  last_.first = 0;
}

}  // namespace zor::rob::audit
