#include "detail/vector_builds.hpp"

#include <cstdlib>
#include <string_view>

namespace zor::rob::detail {

VectorBuildCap VectorBuildCapOf(const char* text) {
  if (text == nullptr)
    return VectorBuildCap::widest;
  const std::string_view name(text);
  if (name == "baseline")
    return VectorBuildCap::baseline;
  if (name == "avx2")
    return VectorBuildCap::avx2;
  return VectorBuildCap::widest;
}

VectorBuildCap ProcessVectorBuildCap() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): read once, before any thread of ours runs a query.
  static const VectorBuildCap cap = VectorBuildCapOf(std::getenv("ZORROB_SIMD"));
  return cap;
}

}  // namespace zor::rob::detail
