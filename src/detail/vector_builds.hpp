#pragma once

// Which vector builds the run-time dispatch may choose. The closed form and the batches are
// compiled for the baseline instruction set and for wider vectors, and each call runs the widest
// build the processor has. The builds round differently in the last bits, so results differ
// between processors; the environment variable ZORROB_SIMD caps the choice for the whole process:
// "baseline" runs the baseline builds everywhere (the results of a processor without AVX2), "avx2"
// allows AVX2 but nothing wider. Unset, or any other value, allows every build.

namespace zor::rob::detail {

enum class VectorBuildCap { baseline, avx2, widest };

/// \returns the cap named by `text` (the value of ZORROB_SIMD, or null when it is unset).
VectorBuildCap VectorBuildCapOf(const char* text);

/// \returns the cap of this process, read from ZORROB_SIMD once.
VectorBuildCap ProcessVectorBuildCap();

}  // namespace zor::rob::detail
