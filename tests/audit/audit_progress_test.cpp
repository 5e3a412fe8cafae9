// The audit's progress: the callback sees the fraction of moves audited, in order, ending at 1;
// a cancel returns the moves audited so far in a report marked partial.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace zor::rob
