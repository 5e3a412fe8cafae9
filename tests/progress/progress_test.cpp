#include "zor/rob/progress.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <vector>

namespace zor::rob {
namespace {

/// A callback that records every fraction and cancels once it has seen `cancelAt`.
struct Recorder {
  std::vector<double> seen{};
  double cancelAt{2.0};

  ProgressCallback callback() {
    return [this](double f) {
      seen.push_back(f);
      return f < cancelAt;
    };
  }
};

TEST(Progress, ReportsZeroThenEachStepThenOne) {
  Recorder r;
  Progress p(r.callback(), 4);
  for (std::size_t k = 0; k < 4; ++k)
    EXPECT_TRUE(p.advance(k));
  p.finish();
  EXPECT_EQ(r.seen, (std::vector<double>{0.0, 0.25, 0.5, 0.75, 1.0}));
  EXPECT_FALSE(p.cancelled());
}

TEST(Progress, CallsAtMostOncePerStepOfTheFraction) {
  Recorder r;
  constexpr std::size_t kTotal = 100000;
  Progress p(r.callback(), kTotal);
  for (std::size_t k = 0; k <= kTotal; ++k)
    p.advance(k);
  p.finish();
  // 0, then a call as soon as the fraction has grown by kStep (each step adds 1e-5), then 1.
  ASSERT_LE(r.seen.size(), 1001u);
  EXPECT_EQ(r.seen.front(), 0.0);
  EXPECT_EQ(r.seen.back(), 1.0);
  for (std::size_t i = 1; i + 1 < r.seen.size(); ++i) {
    const double gap = r.seen[i] - r.seen[i - 1];
    EXPECT_GE(r.seen[i], r.seen[i - 1] + Progress::kStep) << i;
    EXPECT_LE(gap, Progress::kStep + 1.0 / kTotal + 1e-12) << i;
  }
  EXPECT_LE(1.0 - r.seen[r.seen.size() - 2], Progress::kStep + 1.0 / kTotal + 1e-12);
}

TEST(Progress, CallsAfterQuietChecksEvenWhenTheFractionCreeps) {
  // A million steps: checks of one step each grow the fraction by 1e-6, far under kStep, yet the
  // callback must hear of them every kQuietChecks checks.
  Recorder r;
  Progress p(r.callback(), 1000000);
  for (std::size_t k = 0; k <= Progress::kQuietChecks; ++k)
    p.advance(k);
  // The first check reports 0; the callback is called again on the 128th check after it.
  EXPECT_EQ(r.seen, (std::vector<double>{0.0, 128e-6}));
  // Checks that report the same step again are quiet checks too, and may cancel.
  r.cancelAt = 0.0;
  for (std::size_t n = 0; n + 1 < Progress::kQuietChecks; ++n)
    EXPECT_TRUE(p.advance(128));
  EXPECT_EQ(r.seen.size(), 2u);
  EXPECT_FALSE(p.advance(128));
  EXPECT_EQ(r.seen, (std::vector<double>{0.0, 128e-6, 128e-6}));
  EXPECT_TRUE(p.cancelled());
}

TEST(Progress, AQuietCallNeverShowsTheFractionFalling) {
  Recorder r;
  Progress p(r.callback(), 1000);
  p.advance(500);
  for (std::size_t n = 0; n < Progress::kQuietChecks; ++n)
    p.advance(100);
  EXPECT_EQ(r.seen, (std::vector<double>{0.5, 0.5}));
}

TEST(Progress, DoneBeyondTheTotalCountsAsTheTotalAndLeavesOneToFinish) {
  Recorder r;
  Progress p(r.callback(), 2);
  p.advance(0);
  p.advance(5);
  p.advance(2);
  EXPECT_EQ(r.seen, (std::vector<double>{0.0}));
  p.finish();
  p.finish();
  EXPECT_EQ(r.seen, (std::vector<double>{0.0, 1.0}));
}

TEST(Progress, WorkOfNoStepsReportsZeroAndOne) {
  Recorder r;
  Progress p(r.callback(), 0);
  EXPECT_TRUE(p.advance(0));
  p.finish();
  EXPECT_EQ(r.seen, (std::vector<double>{0.0, 1.0}));
}

TEST(Progress, CancelStopsTheReportsAndIsRemembered) {
  Recorder r;
  r.cancelAt = 0.5;
  Progress p(r.callback(), 4);
  EXPECT_TRUE(p.advance(0));
  EXPECT_TRUE(p.advance(1));
  EXPECT_FALSE(p.advance(2));
  EXPECT_TRUE(p.cancelled());
  EXPECT_FALSE(p.advance(3));
  p.finish();
  EXPECT_EQ(r.seen, (std::vector<double>{0.0, 0.25, 0.5}));
}

TEST(Progress, WithoutACallbackGoesOn) {
  Progress p({}, 3);
  EXPECT_TRUE(p.advance(0));
  EXPECT_TRUE(p.advance(3));
  p.finish();
  EXPECT_FALSE(p.cancelled());
}

TEST(Progress, ExceptionsOfTheCallbackReachTheCaller) {
  Progress p([](double) -> bool { throw std::runtime_error("stop"); }, 3);
  EXPECT_THROW(p.advance(0), std::runtime_error);
}

}  // namespace
}  // namespace zor::rob
