// Compiled once per side; ZORROB_ABI_SIDE (host or avx) names the functions.
//
// Only constant-initialised aggregates and out-of-line library functions are used here, so the
// code compiled with AVX is the probe's own functions (called only when the CPU supports them)
// and the trivial static initialisers of the Eigen headers.

#include <type_traits>

#include "abi_types.hpp"
#include "probe.hpp"

#define ZORROB_ABI_CAT2(a, b) a##b
#define ZORROB_ABI_CAT(a, b) ZORROB_ABI_CAT2(a, b)
#define ZORROB_ABI_FN(name) ZORROB_ABI_CAT(ZORROB_ABI_SIDE, name)

#define ZORROB_ABI_ASSERT(type, value)                                                     \
  static_assert(                                                                           \
      !(value) || (std::is_standard_layout_v<type> && std::is_trivially_copyable_v<type>), \
      #type " must be a standard-layout, trivially copyable value type");
ZORROB_ABI_TYPES(ZORROB_ABI_ASSERT)

namespace zor::rob::abi {

namespace {

#define ZORROB_ABI_ENTRY(type, value)                                   \
  {#type, sizeof(type), alignof(type), std::is_standard_layout_v<type>, \
   std::is_trivially_copyable_v<type>},
constexpr TypeLayout kLayouts[] = {ZORROB_ABI_TYPES(ZORROB_ABI_ENTRY)};

constexpr Dir kXAxis{0, 1, 0};
constexpr Dir kYAxis{0, 0, 1};
constexpr Dir kZAxis{1, 0, 0};
constexpr Vec3f kFrom{1, 0, 0};
constexpr Vec3f kTo{0, 2, 0};
constexpr Orient kIdentity{1, 0, 0, 0};
constexpr Orient kHalfTurnZ{0, 0, 0, 1};
constexpr Rotationf kEulerSource = Rotationf::raw(0.1f, 0.2f, 0.3f, 0.9f);
constexpr Rotationf kLogSource = Rotationf::raw(0, 0, 0.70710677f, -0.70710677f);
constexpr Pose kPose{Pos{10, 0, 0}, Orient{0.7071067811865476, 0, 0, 0.7071067811865476}};
constexpr Posef kPosef{Posf{0, 0, 5}, Orientf{0, 1, 0, 0}};
constexpr Line kLine{{1, 0, 0}, {0, 2, 0}};
constexpr Trianglef kTriangle{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

}  // namespace

const TypeLayout* ZORROB_ABI_FN(Layouts)(std::size_t& count) {
  count = std::extent_v<decltype(kLayouts)>;
  return kLayouts;
}

RoundTrip ZORROB_ABI_FN(RoundTrip)() {
  return {Rotation::FromAxes(kXAxis, kYAxis, kZAxis),
          Rotationf::From2Vectors(kFrom, kTo),
          Rotation::Slerp(kIdentity, kHalfTurnZ, 0.5),
          Rotation::AngularDistance(kIdentity, kHalfTurnZ),
          kEulerSource.toEuler(),
          kLine.transformed(kPose),
          kTriangle.transformed(kPosef),
          kLine.getDirection(),
          Rotation::FromAxes(kXAxis, kYAxis, kZAxis)
              .isApprox(Rotation::FromAxes(kXAxis, kYAxis, kZAxis))};
}

Eigen::AngleAxis<double> ZORROB_ABI_FN(Log)() {
  return kLogSource.log();
}

}  // namespace zor::rob::abi
