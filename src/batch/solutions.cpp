// AllJointSolutions: every inverse-kinematics solution of many poses into flat lists.
//
// On an arm of the spherical-wrist closed form each pose takes the steps of
// findAllJointSolutions (the pose's matrix and labelling wrist centre, the closed form, every
// turn of every branch inside the limits with its label, the order of the list) with what the
// steps share made once per batch: the arm's closed-form description, its limit windows, the free
// joints and the per-thread arm cache's check. The poses go in groups: their closed forms several
// at a time in the vector lanes (closed_form_lanes.hpp, bit for bit the scalar closed form of the
// same build), their labelling directions two at a time, then pose by pose the turns, labels and
// order of the list, in a fixed list where every branch takes the direct turns (the usual case),
// through the scalar call's own steps otherwise. The solutions go straight into the flat lists.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "batch/closed_form_lanes.hpp"
#include "batch/closed_form_queries.hpp"
#include "detail/parallel.hpp"
#include "zor/rob/angles.hpp"
#include "zor/rob/batch.hpp"
#include "zor/rob/inverse_kinematics.hpp"

namespace zor::rob {

namespace {

using detail::ClosedFormQueries;

/// Poses per block of the work split over threads.
constexpr std::size_t kPosesPerBlock = 1024;
/// Poses whose branches are solved together, in the lanes, before their turns are listed.
constexpr std::size_t kPosesPerGroup = 16;
/// A squared orientation record at least this long is not refused (the rule's bound is 1e-6).
constexpr double kSurelyNonZero = 1e-5;
/// Lists of a pose up to this long are sorted by insertion, as findAllJointSolutions sorts them.
constexpr std::size_t kShortList = 64;

/// The pose as the solvers take it (findAllJointSolutions' own steps), without its labelling
/// members.
detail::QueryPose queryPoseOf(const Pose& pose) {
  const Orient& o = pose.orient;
  // The rotation's rule throws for a record whose squared length is below 1e-6; only records
  // near that (or not finite) need the rule itself.
  if (!(o.q1 * o.q1 + o.q2 * o.q2 + o.q3 * o.q3 + o.q4 * o.q4 >= kSurelyNonZero))
    (void)Rotation(o.q1, o.q2, o.q3, o.q4);
  detail::QueryPose t;
  t.rotation = detail::rotationMatrix(o.q1, o.q2, o.q3, o.q4);
  t.position = pose.pos.toVec3();
  return t;
}

/// Sorts the solutions [first, end) of `out` as findAllJointSolutions sorts its list.
void sortSolutions(JointSolutionsBatch& out, std::size_t first) {
  std::vector<RobJoint>& joints = out.joints;
  std::vector<ConfData>& confs = out.confs;
  const std::size_t n = joints.size() - first;
  if (n <= kShortList) {
    for (std::size_t i = first + 1; i < joints.size(); ++i)
      for (std::size_t m = i;
           m > first && detail::solutionPrecedes(joints[m], confs[m], joints[m - 1], confs[m - 1]);
           --m) {
        std::swap(joints[m], joints[m - 1]);
        std::swap(confs[m], confs[m - 1]);
      }
    return;
  }
  std::vector<std::size_t> order(n);
  for (std::size_t i = 0; i < n; ++i)
    order[i] = first + i;
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return detail::solutionPrecedes(joints[a], confs[a], joints[b], confs[b]);
  });
  std::vector<RobJoint> sortedJoints(n);
  std::vector<ConfData> sortedConfs(n);
  for (std::size_t i = 0; i < n; ++i) {
    sortedJoints[i] = joints[order[i]];
    sortedConfs[i] = confs[order[i]];
  }
  std::copy(sortedJoints.begin(), sortedJoints.end(), joints.begin() + static_cast<long>(first));
  std::copy(sortedConfs.begin(), sortedConfs.end(), confs.begin() + static_cast<long>(first));
}

/// The solutions of one pose whose branches all take forEachTurn's direct path: at most two
/// per branch.
struct DirectList {
  std::array<RobJoint, 16> joints;
  std::array<ConfData, 16> confs;
  std::array<std::uint8_t, 16> order;
  std::array<bool, 16> turned6;  ///< Differs from the previous in joint 6 alone.
  std::size_t count{0};
};

/// Lists the solutions of `branches` inside the limits into `list`, labelled and in the order
/// of findAllJointSolutions, when every branch takes forEachTurn's direct path (each value near
/// the middle of its window, at most one joint with one more turn inside) or has no solution;
/// \returns false, `list` unspecified, otherwise. The same solutions as forEachTurn gives, in
/// another order before the sort: the sort leaves only identical solutions in either order.
bool listDirect(const ClosedFormQueries& q, const detail::QueryPose& target,
                const detail::PoseBranches& branches, DirectList& list) {
  const RobotConfig& robot = *q.robot;
  const detail::JointWindows& windows = q.windows;
  // The count in a register: in the list, each solution would wait on the store of the last.
  std::size_t count = 0;
  // Adds `branch` with joint `turned` (if any) set to `value` when the coupled limit allows it;
  // \returns whether it did. Written in place: a solution changed in a copy and then copied would
  // wait on a stalled store.
  const auto add = [&](const std::array<double, 6>& branch, std::size_t turned, double value,
                       bool afterTurn6) {
    std::array<double, 6>& j = list.joints[count].values;
    j = branch;
    if (turned < 6)
      j[turned] = value;
    if (windows.coupled &&
        !(robot.isJointAllowed(1, j[1], j[2]) && robot.isJointAllowed(2, j[2], j[1])))
      return false;
    list.turned6[count++] = afterTurn6;
    return true;
  };
  for (std::size_t b = 0; b < branches.count; ++b) {
    const std::array<double, 6>& branch = branches.joints[b];
    const detail::TurnTests tests = detail::turnTestsOf(windows, branch);
    if ((~(tests.near | tests.below | tests.above) & detail::kAllJoints) != 0)
      continue;
    const unsigned turning = tests.below | tests.above;
    if (tests.near != detail::kAllJoints || (tests.below & tests.above) != 0 ||
        (turning & (turning - 1)) != 0)
      return false;
    if (turning == 0) {
      add(branch, detail::kNewBranch, 0.0, false);
      continue;
    }
    const auto i = static_cast<std::size_t>(std::countr_zero(turning));
    const double up = static_cast<double>((tests.above >> i) & 1U);
    const double other = branch[i] + detail::kTurn * (2.0 * up - 1.0);
    const bool first = add(branch, i, std::min(branch[i], other), false);
    add(branch, i, std::max(branch[i], other), first && i == 5);
  }
  list.count = count;
  for (std::size_t k = 0; k < count; ++k) {
    // A solution that differs from the previous in joint 6 alone differs in its quadrant alone.
    list.confs[k] = list.turned6[k]
                        ? detail::labelOfTurned6(robot, target, list.joints[k], list.confs[k - 1])
                        : detail::labelOf(robot, target, list.joints[k]);
    // Insertion sort of the indices, as findAllJointSolutions sorts its short lists.
    std::size_t m = k;
    for (; m > 0 &&
           detail::solutionPrecedes(list.joints[k], list.confs[k], list.joints[list.order[m - 1]],
                                    list.confs[list.order[m - 1]]);
         --m)
      list.order[m] = list.order[m - 1];
    list.order[m] = static_cast<std::uint8_t>(k);
  }
  return true;
}

/// Appends the solutions of the branches `branches` of `target` to `out`, through `list` where
/// they are few; \returns the status.
IkStatus appendSolutions(const ClosedFormQueries& q, const detail::QueryPose& target,
                         const detail::PoseBranches& branches, DirectList& list,
                         JointSolutionsBatch& out) {
  const RobotConfig& robot = *q.robot;
  if (branches.count == 0)
    return IkStatus::outOfReach;
  if (q.windows.empty)
    return IkStatus::outsideJointLimits;
  if (listDirect(q, target, branches, list)) {
    for (std::size_t k = 0; k < list.count; ++k) {
      out.joints.push_back(list.joints[list.order[k]]);
      out.confs.push_back(list.confs[list.order[k]]);
    }
    return list.count == 0 ? IkStatus::outsideJointLimits : IkStatus::found;
  }
  std::array<detail::TurnTests, 8> tests;
  std::array<bool, 8> few{};
  for (std::size_t b = 0; b < branches.count; ++b) {
    tests[b] = detail::turnTestsOf(q.windows, branches.joints[b]);
    few[b] = detail::fewTurns(q.windows, branches.joints[b], tests[b]);
  }
  q.checkCap(branches, few);
  const std::size_t first = out.joints.size();
  const auto add = [&](const RobJoint& j, const ConfData& conf) {
    out.joints.push_back(j);
    out.confs.push_back(conf);
  };
  ConfData label;
  for (std::size_t b = 0; b < branches.count; ++b) {
    if (few[b])
      detail::forEachTurn(robot, q.windows, branches.joints[b], tests[b],
                          [&](const RobJoint& j, std::size_t turned) {
                            label = turned == 5 ? detail::labelOfTurned6(robot, target, j, label)
                                                : detail::labelOf(robot, target, j);
                            add(j, label);
                          });
    else
      detail::forEachWideTurn(
          detail::branchTurnsOf(robot, q.windows, branches.joints[b]),
          [&](const RobJoint& j) { add(j, detail::labelOf(robot, target, j)); });
  }
  sortSolutions(out, first);
  return out.joints.size() == first ? IkStatus::outsideJointLimits : IkStatus::found;
}

/// Solves the poses [first, first + poses.size()) of an arm of the closed form into `out`,
/// kPosesPerGroup at a time: their branches in the lanes, then their turns, labels and order
/// pose by pose. Throws the error of the first pose that fails, its index in `failed`.
void solveClosedFormRange(const ClosedFormQueries& q, std::span<const Pose> poses,
                          std::size_t first, JointSolutionsBatch& out, std::size_t& failed) {
  const detail::ClosedFormBuild build = detail::processorClosedFormBuild();
  std::array<detail::QueryPose, kPosesPerGroup> targets;
  std::array<detail::PoseBranches, kPosesPerGroup> branches;
  // Made once: value-initialising its arrays for each pose cost as much as the list saves.
  DirectList list;
  for (std::size_t g = 0; g < poses.size(); g += kPosesPerGroup) {
    const std::size_t n = std::min(kPosesPerGroup, poses.size() - g);
    // The poses before one whose record is refused are listed before its error is thrown.
    std::size_t valid = 0;
    std::exception_ptr error;
    for (; valid < n; ++valid) {
      try {
        targets[valid] = queryPoseOf(poses[g + valid]);
      } catch (...) {
        error = std::current_exception();
        break;
      }
    }
    q.setLabellings(std::span(targets).first(valid));
    detail::solveClosedFormLanes(q.arm, q.free, std::span(targets).first(valid),
                                 std::span(branches).first(valid), build);
    for (std::size_t i = 0; i < valid; ++i) {
      failed = first + g + i;
      out.statuses.push_back(appendSolutions(q, targets[i], branches[i], list, out));
      out.offsets.push_back(out.joints.size());
    }
    if (error) {
      failed = first + g + valid;
      std::rethrow_exception(error);
    }
  }
}

/// Rethrows the error in flight with "pose <index>: " before its message, its type kept.
[[noreturn]] void rethrowForPose(std::size_t index) {
  const std::string prefix = "pose " + std::to_string(index) + ": ";
  try {
    throw;
  } catch (const std::length_error& e) {
    throw std::length_error(prefix + e.what());
  } catch (const std::invalid_argument& e) {
    throw std::invalid_argument(prefix + e.what());
  } catch (const std::logic_error& e) {
    throw std::logic_error(prefix + e.what());
  } catch (const std::exception& e) {
    throw std::runtime_error(prefix + e.what());
  }
}

/// Solves poses [first, first + poses.size()) into `out` (cleared first); \returns the index
/// of the first pose that failed, its error in `error`.
std::optional<std::size_t> solveRange(const RobotConfig& robot,
                                      const std::optional<ClosedFormQueries>& queries,
                                      std::span<const Pose> poses, std::size_t first,
                                      JointSolutionsBatch& out, std::exception_ptr& error) {
  out.joints.clear();
  out.confs.clear();
  out.offsets.assign(1, 0);
  out.statuses.clear();
  out.joints.reserve(8 * poses.size());
  out.confs.reserve(8 * poses.size());
  out.statuses.reserve(poses.size());
  out.offsets.reserve(poses.size() + 1);
  if (queries) {
    std::size_t failed = first;
    try {
      solveClosedFormRange(*queries, poses, first, out, failed);
    } catch (...) {
      error = std::current_exception();
      return failed;
    }
    return std::nullopt;
  }
  TargetConfiguration list;
  for (std::size_t i = 0; i < poses.size(); ++i) {
    try {
      out.statuses.push_back(robot.findAllJointSolutions(poses[i], nullptr, list));
      out.joints.insert(out.joints.end(), list.joints.begin(), list.joints.end());
      out.confs.insert(out.confs.end(), list.confs.begin(), list.confs.end());
    } catch (...) {
      error = std::current_exception();
      return first + i;
    }
    out.offsets.push_back(out.joints.size());
  }
  return std::nullopt;
}

}  // namespace

void AllJointSolutions(const RobotConfig& robot, std::span<const Pose> flangePoses,
                       JointSolutionsBatch& solutions, unsigned threads) {
  const unsigned count = detail::ResolveThreadCount(threads);
  const std::optional<ClosedFormQueries> queries = ClosedFormQueries::For(robot);
  std::exception_ptr error;
  if (count == 1 || flangePoses.size() <= kPosesPerBlock) {
    if (const auto failed = solveRange(robot, queries, flangePoses, 0, solutions, error)) {
      try {
        std::rethrow_exception(error);
      } catch (...) {
        rethrowForPose(*failed);
      }
    }
    return;
  }
  // Each block into its own lists, joined in order.
  const std::size_t blocks = (flangePoses.size() + kPosesPerBlock - 1) / kPosesPerBlock;
  std::vector<JointSolutionsBatch> parts(blocks);
  std::vector<std::optional<std::size_t>> failures(blocks);
  std::vector<std::exception_ptr> errors(blocks);
  detail::RunBlocks(flangePoses.size(), kPosesPerBlock, count, {},
                    [&](std::size_t first, std::size_t last, unsigned) {
                      const std::size_t k = first / kPosesPerBlock;
                      failures[k] =
                          solveRange(robot, queries, flangePoses.subspan(first, last - first),
                                     first, parts[k], errors[k]);
                    });
  for (std::size_t k = 0; k < blocks; ++k)
    if (failures[k]) {
      try {
        std::rethrow_exception(errors[k]);
      } catch (...) {
        rethrowForPose(*failures[k]);
      }
    }
  solutions = std::move(parts[0]);
  for (std::size_t k = 1; k < blocks; ++k) {
    const std::size_t base = solutions.joints.size();
    const JointSolutionsBatch& part = parts[k];
    solutions.joints.insert(solutions.joints.end(), part.joints.begin(), part.joints.end());
    solutions.confs.insert(solutions.confs.end(), part.confs.begin(), part.confs.end());
    solutions.statuses.insert(solutions.statuses.end(), part.statuses.begin(), part.statuses.end());
    for (std::size_t i = 1; i < part.offsets.size(); ++i)
      solutions.offsets.push_back(base + part.offsets[i]);
  }
}

}  // namespace zor::rob
