// Denavit-Hartenberg tables: the link frames composed at the zero of the joint values, joint
// offsets included.
#include <cmath>
#include <cstddef>
#include <string>

#include "detail/messages.hpp"
#include "detail/throwers.hpp"
#include "import/library_form.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob {

namespace {

Transform rotZ(double degrees) {
  return {Rotation(DegToRad(degrees), Vec3{0.0, 0.0, 1.0}), {}};
}

Transform rotX(double degrees) {
  return {Rotation(DegToRad(degrees), Vec3{1.0, 0.0, 0.0}), {}};
}

Transform along(double x, double z) {
  return {Rotation::Identity(), {x, 0.0, z}};
}

void checkRow(const DhRow& row, std::size_t i) {
  const auto check = [&](double value, const char* name) {
    if (!std::isfinite(value))
      detail::throwInvalidArgument(std::string(detail::msg::kDhRow) + std::to_string(i + 1) +
                                   ": '" + name + "'" + detail::msg::kMustBeFinite);
  };
  check(row.a, "a");
  check(row.alpha, "alpha");
  check(row.d, "d");
  check(row.thetaOffset, "thetaOffset");
}

}  // namespace

ImportedArm ArmFromDh(const DhTable& table, const ArmLimits& limits) {
  detail::ArmAtZero arm;
  Transform frame;  // frame i − 1, then frame i
  for (std::size_t i = 0; i < 6; ++i) {
    const DhRow& row = table.rows[i];
    checkRow(row, i);
    if (table.convention == DhConvention::modified)
      frame = frame * rotX(row.alpha) * along(row.a, 0.0);
    // The joint turns about z of the frame reached so far.
    arm.axes[i] = frame.transform(Vec3{0.0, 0.0, 1.0});
    arm.points[i] = frame.translation.toPos();
    frame = frame * rotZ(row.thetaOffset) * along(0.0, row.d);
    if (table.convention == DhConvention::classic)
      frame = frame * along(row.a, 0.0) * rotX(row.alpha);
  }
  arm.flange = frame;
  return detail::ToLibraryForm(arm, limits);
}

}  // namespace zor::rob
