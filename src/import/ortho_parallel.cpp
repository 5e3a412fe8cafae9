// Ortho-parallel parameter sets: the geometry of the seven lengths, moved to the controller's zero
// and with the controller's joint directions.
#include <cmath>
#include <cstddef>
#include <string>

#include "detail/builders.hpp"
#include "detail/messages.hpp"
#include "detail/throwers.hpp"
#include "import/library_form.hpp"

namespace zor::rob {

namespace {

void checkParameters(const OrthoParallelParameters& p) {
  const OrthoParallelGeometry& g = p.lengths;
  const std::array<std::pair<const char*, double>, 7> lengths{{{"a1", g.a1},
                                                               {"a2", g.a2},
                                                               {"b", g.b},
                                                               {"c1", g.c1},
                                                               {"c2", g.c2},
                                                               {"c3", g.c3},
                                                               {"c4", g.c4}}};
  for (const auto& [name, value] : lengths)
    if (!std::isfinite(value))
      detail::throwInvalidArgument(std::string(detail::msg::kOrthoParallel) + "'" + name + "'" +
                                   detail::msg::kMustBeFinite);
  for (std::size_t i = 0; i < 6; ++i) {
    if (!std::isfinite(p.offsets[i]))
      detail::throwInvalidArgument(detail::msg::kOffsetOfJoint + std::to_string(i + 1) +
                                   detail::msg::kMustBeFinite);
    if (p.signs[i] != 1 && p.signs[i] != -1)
      detail::throwInvalidArgument(detail::msg::kSignOfJoint + std::to_string(i + 1) +
                                   detail::msg::kSignValues);
  }
}

}  // namespace

ImportedArm ArmFromOrthoParallel(const OrthoParallelParameters& parameters,
                                 const ArmLimits& limits) {
  checkParameters(parameters);
  // The geometry alone, at the lengths' own zero: the arm in the library form is checked.
  const RobotConfig geometry =
      detail::BuildOrthoParallelArm(parameters.lengths, limits.jointMin, limits.jointMax,
                                    RobJoint(0.0, 0.0, 0.0, 0.0, 0.0, 0.0), 0);
  const std::array<double, 6>& o = parameters.offsets;
  const RobJoint zero(o[0], o[1], o[2], o[3], o[4], o[5]);
  detail::ArmAtZero arm;
  for (std::size_t i = 0; i < 6; ++i) {
    // The motion of the joints before joint i at the controller's zero carries its axis; its
    // own motion leaves the axis where it is.
    const Transform before = geometry.getLinkPose(zero, static_cast<unsigned int>(i));
    arm.axes[i] =
        before.transform(geometry.jointAxes[i]) * static_cast<double>(parameters.signs[i]);
    arm.points[i] = before.transform(geometry.jointPoints[i]);
  }
  arm.flange = geometry.getWristPoseInBase(zero);
  return detail::ToLibraryForm(arm, limits);
}

}  // namespace zor::rob
