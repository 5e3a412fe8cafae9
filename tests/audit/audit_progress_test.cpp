// The audit's progress: the callback sees the fraction of moves audited, in order, ending at 1;
// a cancel returns the moves audited so far in a report marked partial.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include "zor/rob/audit.hpp"

namespace zor::rob {
namespace {

/// `count` joint moves of the default arm, joint 1 to 10, 20, 30, ... degrees: each reached,
/// none with an event.
std::vector<ProgramMove> JointMoves(std::size_t count) {
  std::vector<ProgramMove> moves;
  for (std::size_t k = 0; k < count; ++k) {
    MoveAbsJ m;
    m.toJointPos = JointTarget(RobJoint(10.0 * static_cast<double>(k + 1), 0, 0, 0, 30, 0));
    m.speed = SpeedData::v500;
    moves.push_back(m);
  }
  return moves;
}

AuditReport AuditWith(std::size_t count, ProgressCallback progress) {
  AuditOptions options;
  options.progress = std::move(progress);
  return AuditProgram(DefaultArm(), RobJoint(0, 0, 0, 0, 30, 0), JointMoves(count), options);
}

TEST(AuditProgress, FractionsOfTheMovesInOrderEndingAtOne) {
  std::vector<double> seen;
  const AuditReport r = AuditWith(4, [&](double f) {
    seen.push_back(f);
    return true;
  });
  EXPECT_EQ(seen, (std::vector<double>{0.0, 0.25, 0.5, 0.75, 1.0}));
  EXPECT_FALSE(r.partial);
  EXPECT_EQ(r.moves.size(), 4u);
  EXPECT_TRUE(r.clean());
}

TEST(AuditProgress, EmptyProgramEndsAtOne) {
  std::vector<double> seen;
  const AuditReport r = AuditWith(0, [&](double f) {
    seen.push_back(f);
    return true;
  });
  EXPECT_EQ(seen, (std::vector<double>{1.0}));
  EXPECT_FALSE(r.partial);
}

TEST(AuditProgress, CancelReturnsTheMovesAuditedSoFarMarkedPartial) {
  std::vector<double> seen;
  const AuditReport r = AuditWith(4, [&](double f) {
    seen.push_back(f);
    return f < 0.5;
  });
  EXPECT_EQ(seen, (std::vector<double>{0.0, 0.25, 0.5}));
  EXPECT_TRUE(r.partial);
  ASSERT_EQ(r.moves.size(), 2u);
  const AuditReport whole = AuditWith(4, {});
  EXPECT_FALSE(whole.partial);
  // The two audited moves are those of the whole audit, and so is their time.
  for (std::size_t k = 0; k < 2; ++k) {
    EXPECT_EQ(r.moves[k].endJoints, whole.moves[k].endJoints);
    EXPECT_EQ(r.moves[k].duration, whole.moves[k].duration);
  }
  EXPECT_EQ(r.duration, whole.moves[0].duration + whole.moves[1].duration);
}

TEST(AuditProgress, CancelAtTheStartAuditsNothing) {
  const AuditReport r = AuditWith(3, [](double) { return false; });
  EXPECT_TRUE(r.partial);
  EXPECT_TRUE(r.moves.empty());
  EXPECT_EQ(r.duration, 0.0);
}

TEST(AuditProgress, CancelAtTheEndIsNoCancel) {
  const AuditReport r = AuditWith(2, [](double f) { return f < 1.0; });
  EXPECT_FALSE(r.partial);
  EXPECT_EQ(r.moves.size(), 2u);
}

TEST(AuditProgress, ExceptionOfTheCallbackLeavesTheAudit) {
  EXPECT_THROW(AuditWith(2, [](double) -> bool { throw std::runtime_error("stop"); }),
               std::runtime_error);
}

/// A joint move to the line's start, then one line of 100 mm sampled every 5 µm: 20 000 samples
/// in one move, timed in ten windows of 2048.
AuditReport AuditLongLine(ProgressCallback progress, bool keepSamples = false) {
  const Orient forward{std::sqrt(0.5), 0.0, std::sqrt(0.5), 0.0};
  MoveJ to;
  to.toPoint = RobTarget(Pose(Pos(890, 0, 840), forward));
  to.toPoint.robConf = ConfData(0, 0, 0, 1);
  to.speed = SpeedData::v500;
  MoveL line;
  line.toPoint = RobTarget(Pose(Pos(890, 0, 940), forward));
  line.toPoint.robConf = ConfData(0, 0, 0, 1);
  line.speed = SpeedData::v500;
  AuditOptions options;
  options.stepMm = 5e-3;
  options.timingWindow = 2048;
  options.keepSamples = keepSamples;
  options.progress = std::move(progress);
  return AuditProgram(DefaultArm(), RobJoint(0, 0, 0, 0, 30, 0), std::vector<ProgramMove>{to, line},
                      options);
}

TEST(AuditProgress, LongMoveReportsFractionsWithinIt) {
  std::vector<double> seen;
  const AuditReport r = AuditLongLine([&](double f) {
    seen.push_back(f);
    return true;
  });
  EXPECT_FALSE(r.partial);
  ASSERT_EQ(r.moves.size(), 2u);
  // The line's steps run from 0.5 to 1: its sampling up to 0.75, one call per 4096 samples at
  // most (the count runs on from the joint move's samples, hence one more), then its timing in
  // ten windows, one call before each of the nine read again (the first may fall within the
  // smallest step of the sampling's last call, and is then left out).
  std::size_t sampling = 0;
  std::size_t timing = 0;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    if (i > 0) {
      EXPECT_GT(seen[i], seen[i - 1]) << i;
    }
    if (seen[i] > 0.5 && seen[i] < 0.75)
      ++sampling;
    if (seen[i] >= 0.75 && seen[i] < 1.0)
      ++timing;
  }
  EXPECT_GE(sampling, 20'000u / 4096u);
  EXPECT_LE(sampling, 20'000u / 4096u + 1);
  EXPECT_GE(timing, 8u);
  EXPECT_LE(timing, 9u);
  EXPECT_EQ(seen.back(), 1.0);
}

TEST(AuditProgress, CancelInsideAMoveDropsThatMove) {
  std::vector<double> seen;
  const AuditReport r = AuditLongLine(
      [&](double f) {
        seen.push_back(f);
        return f < 0.6;
      },
      true);
  EXPECT_TRUE(r.partial);
  // The callback was asked inside the line (past 0.5, its start) and said stop there.
  ASSERT_FALSE(seen.empty());
  EXPECT_GE(seen.back(), 0.6);
  EXPECT_LT(seen.back(), 1.0);
  // Only the joint move before the line is kept, as the whole audit has it, and its samples.
  ASSERT_EQ(r.moves.size(), 1u);
  const AuditReport whole = AuditLongLine({}, true);
  EXPECT_EQ(r.moves[0].endJoints, whole.moves[0].endJoints);
  EXPECT_EQ(r.moves[0].duration, whole.moves[0].duration);
  EXPECT_EQ(r.duration, whole.moves[0].duration);
  ASSERT_FALSE(r.samples.empty());
  for (const AuditSample& s : r.samples)
    ASSERT_EQ(s.moveIndex, 0u);
  std::size_t firstMove = 0;
  while (whole.samples[firstMove].moveIndex == 0)
    ++firstMove;
  EXPECT_EQ(r.samples.size(), firstMove);
  EXPECT_EQ(r.samples.back().time, whole.samples[firstMove - 1].time);
}

TEST(AuditProgress, CancelWhileALongPathIsTimedDropsItsMoves) {
  // The line's 20 000 samples are timed in ten windows; the second half of its steps (from 0.75)
  // is the timing, asked before each window read again.
  std::vector<double> seen;
  const AuditReport r = AuditLongLine(
      [&](double f) {
        seen.push_back(f);
        return f < 0.75;
      },
      true);
  EXPECT_TRUE(r.partial);
  ASSERT_FALSE(seen.empty());
  EXPECT_GE(seen.back(), 0.75);
  EXPECT_LT(seen.back(), 1.0);
  // The joint move before the line stays, timed; none of the line is.
  ASSERT_EQ(r.moves.size(), 1u);
  EXPECT_GT(r.duration, 0.0);
  EXPECT_EQ(r.duration, r.moves[0].duration);
  for (const AuditSample& s : r.samples)
    ASSERT_EQ(s.moveIndex, 0u);
}

TEST(AuditProgress, CancelInsideALongMoveAmongThousands) {
#ifdef ZORROB_SANITIZED_BUILD
  GTEST_SKIP() << "a million samples: run in the Release build";
#endif
  // A line of 10^6 samples, then joint 6 to and fro by a degree 2500 times: the line's steps
  // are far under Progress::kStep of the whole, so only the quiet checks ask inside it.
  const Orient forward{std::sqrt(0.5), 0.0, std::sqrt(0.5), 0.0};
  MoveJ to;
  to.toPoint = RobTarget(Pose(Pos(890, 0, 840), forward));
  to.toPoint.robConf = ConfData(0, 0, 0, 1);
  to.speed = SpeedData::v500;
  MoveL line;
  line.toPoint = RobTarget(Pose(Pos(890, 0, 940), forward));
  line.toPoint.robConf = ConfData(0, 0, 0, 1);
  line.speed = SpeedData::v500;
  std::vector<ProgramMove> moves{to, line};
  for (std::size_t k = 0; k < 2500; ++k) {
    MoveAbsJ m;
    m.toJointPos = JointTarget(RobJoint(0, 0, 0, 0, 30, k % 2 == 0 ? 1.0 : 0.0));
    m.speed = SpeedData::v500;
    moves.push_back(m);
  }
  std::vector<double> seen;
  AuditOptions options;
  options.stepMm = 1e-4;
  options.progress = [&](double f) {
    seen.push_back(f);
    return f == 0.0;
  };
  const AuditReport r = AuditProgram(DefaultArm(), RobJoint(0, 0, 0, 0, 30, 0), moves, options);
  EXPECT_TRUE(r.partial);
  // The second call came from inside the line, and the cancel dropped it.
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_GT(seen[1], 1.0 / 2502.0);
  EXPECT_LT(seen[1], 2.0 / 2502.0);
  EXPECT_EQ(r.moves.size(), 1u);
}

}  // namespace
}  // namespace zor::rob
