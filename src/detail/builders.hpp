#pragma once

// The ortho-parallel builder without the arm model's check, for the importer's intermediate
// geometry, which need not hold the checked limits. The public MakeOrthoParallelArm is this
// followed by CheckArmModel.

#include <array>
#include <cstdint>

#include "zor/rob/robot_config.hpp"

namespace zor::rob::detail {

/// MakeOrthoParallelArm without CheckArmModel.
RobotConfig BuildOrthoParallelArm(const OrthoParallelGeometry& g,
                                  const std::array<double, 7>& jointMin,
                                  const std::array<double, 7>& jointMax, const RobJoint& homeJoint,
                                  std::int32_t jointCoupling);

}  // namespace zor::rob::detail
