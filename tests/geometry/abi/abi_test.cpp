// The public types must look the same to a host compiled with AVX2 and FMA as to the library,
// which is built without: same sizes, alignments and traits, and values that cross the
// boundary arrive intact.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>

#include "probe.hpp"
#include "support/near.hpp"
#include "support/test_support.hpp"

namespace zor::rob::abi {
namespace {

bool CpuRunsAvxCode() {
#if defined(ZORROB_ABI_AVX) && (defined(__x86_64__) || defined(__i386__))
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
  return false;
#endif
}

TEST(Abi, TypeLayoutDoesNotDependOnVectorFlags) {
  std::size_t hostCount = 0;
  std::size_t avxCount = 0;
  const TypeLayout* host = hostLayouts(hostCount);
  const TypeLayout* avx = avxLayouts(avxCount);
  ASSERT_EQ(hostCount, avxCount);
  ASSERT_GT(hostCount, 0u);
  for (std::size_t i = 0; i < hostCount; ++i) {
    SCOPED_TRACE(host[i].name);
    EXPECT_EQ(std::string(host[i].name), std::string(avx[i].name));
    EXPECT_EQ(host[i].size, avx[i].size);
    EXPECT_EQ(host[i].align, avx[i].align);
    EXPECT_EQ(host[i].standardLayout, avx[i].standardLayout);
    EXPECT_EQ(host[i].triviallyCopyable, avx[i].triviallyCopyable);
  }
}

TEST(Abi, GeometryTypesArePackedScalars) {
  std::size_t count = 0;
  const TypeLayout* host = hostLayouts(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string name = host[i].name;
    if (name == "zor::rob::Rotation" || name == "zor::rob::Orient") {
      EXPECT_EQ(host[i].size, 4 * sizeof(double)) << name;
      EXPECT_EQ(host[i].align, alignof(double)) << name;
    } else if (name == "zor::rob::Rotationf" || name == "zor::rob::Orientf") {
      EXPECT_EQ(host[i].size, 4 * sizeof(float)) << name;
      EXPECT_EQ(host[i].align, alignof(float)) << name;
    } else if (name == "zor::rob::Pose") {
      EXPECT_EQ(host[i].size, 7 * sizeof(double));
    }
  }
}

TEST(Abi, LibraryCallsFromAVectorisedUnitAgree) {
  if (!CpuRunsAvxCode())
    GTEST_SKIP() << "this machine cannot run AVX2/FMA code";
  const RoundTrip host = hostRoundTrip();
  const RoundTrip avx = avxRoundTrip();
  // The library computes both: the results must be bit for bit the same.
  test::expectSameComponents(host.fromAxes, avx.fromAxes);
  test::expectSameComponents(host.fromVectors, avx.fromVectors);
  EXPECT_EQ(host.slerped, avx.slerped);
  EXPECT_EQ(host.distance, avx.distance);
  EXPECT_EQ(host.euler, avx.euler);
  EXPECT_EQ(host.moved, avx.moved);
  EXPECT_EQ(host.movedf, avx.movedf);
  EXPECT_EQ(host.direction, avx.direction);
  EXPECT_EQ(host.approx, avx.approx);
  const Eigen::AngleAxis<double> hostLogResult = hostLog();
  const Eigen::AngleAxis<double> avxLogResult = avxLog();
  EXPECT_EQ(hostLogResult.angle(), avxLogResult.angle());
  EXPECT_EQ(hostLogResult.axis(), avxLogResult.axis());

  // And they are the right values: X → Y → Z → X is 120° about (1, 1, 1).
  EXPECT_NEAR(avx.fromAxes.w, 0.5, 1e-15);
  EXPECT_NEAR(avx.fromAxes.x, 0.5, 1e-15);
  EXPECT_NEAR(avx.fromVectors.z, std::sqrt(0.5), 1e-6);
  EXPECT_NEAR(avx.slerped.q4, std::sqrt(0.5), 1e-15);
  EXPECT_NEAR(avx.distance, 3.141592653589793, 1e-15);
  EXPECT_NEAR(avx.moved.start.y, 1.0, 1e-15);
  EXPECT_NEAR(avx.movedf.p3.z, 4.0f, 1e-6f);
  EXPECT_TRUE(avx.approx);
  EXPECT_NEAR(avxLogResult.angle(), 3.141592653589793 / 2, 1e-6);
  EXPECT_NEAR(avxLogResult.axis().z(), -1.0, 1e-15);
}

}  // namespace
}  // namespace zor::rob::abi
