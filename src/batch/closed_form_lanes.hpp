#pragma once

// The closed form of several poses at once, one pose per vector lane: two in the baseline build,
// four in the AVX2 build. The scalar closed form runs the two joint-1 branches of one pose side by
// side in two lanes; this one runs each branch of several poses side by side. Each lane repeats,
// operation for operation, what solveClosedForm does for its pose in the same build, so that the
// branches come out bit for bit the same. (In the AVX2 build the compiler fuses products into FMAs
// as it chooses; where it chose otherwise in the lanes than in the scalar closed form, the lanes
// fuse explicitly, and the tests compare both builds with the scalar closed form on every arm
// shape to keep it so.)
//
// The lanes take the common cases: two joint-1 branches with two elbow branches each or none, or
// no joint-1 branch, none on a singularity, all terms finite. A pose outside them (stretched or
// folded elbow, on the edge of the reach, singular, not finite) is solved again by the scalar
// closed form of the same build, so every pose gets exactly the branches of the scalar call.
//
// A pose waits mostly on its chain of roots and divisions from joint 1 to the wrist; several poses
// in the lanes wait on it once, and joint 1 and the elbow, scalar in solveClosedForm, run in
// vectors too.

#include <cstddef>
#include <span>

#include "batch/closed_form_queries.hpp"
#include "ik/closed_form.hpp"

namespace zor::rob::detail {

/// The builds of the closed form, chosen at run time: the processor's baseline instruction set
/// (two poses per call of the lanes), and AVX2 with FMA (four).
enum class ClosedFormBuild { baseline, avx2 };

/// \returns the build the processor runs: avx2 where processorHasAvx2().
ClosedFormBuild processorClosedFormBuild();

/// Solves every pose of `targets` (rotation and position; the labelling members are not used)
/// into `out` (as many), in degrees, the branches of each bit for bit those that
/// solveClosedFormBaseline or solveClosedFormAvx2 (by `build`) give for it, converted as
/// ClosedFormQueries::solve converts them. `build` avx2 only where processorHasAvx2().
/// \returns how many poses the lanes solved (the others went through the scalar closed form).
std::size_t solveClosedFormLanes(const ClosedFormArm& arm, const FreeJoints& free,
                                 std::span<const QueryPose> targets, std::span<PoseBranches> out,
                                 ClosedFormBuild build);

}  // namespace zor::rob::detail
