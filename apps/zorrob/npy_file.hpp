#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Arrays written in numpy's own file formats: .npy (one array, format version 1.0) and .npz (a
// zip archive of .npy files, stored without compression). Data is written little-endian, the
// byte order of the processors the tool runs on, and declared so in each array's header.
namespace zor::rob::cli {

/// One array: its name in an .npz archive, its numpy type ("<u4", "<f8", "|u1"), its shape and
/// its bytes in C order.
struct NpyArray {
  std::string name{};
  std::string descr{};
  std::vector<std::size_t> shape{};
  std::string bytes{};
};

/// \returns `values` as an array of `descr` with the given name and shape.
NpyArray MakeNpyArray(std::string name, const std::vector<std::uint32_t>& values,
                      std::vector<std::size_t> shape);
NpyArray MakeNpyArray(std::string name, const std::vector<double>& values,
                      std::vector<std::size_t> shape);
NpyArray MakeNpyArray(std::string name, const std::vector<std::uint8_t>& values,
                      std::vector<std::size_t> shape);

/// \returns the .npy file of `array`: the magic string, version 1.0, the header dictionary
/// padded with spaces to a multiple of 64 bytes, then the data.
std::string NpyBytes(const NpyArray& array);

/// \returns the .npz archive of the arrays, each stored as "<name>.npy". Throws InputError
/// "an array of more than 4 GiB does not fit in the archive" for what the zip format cannot
/// hold without its 64-bit extension.
std::string NpzBytes(const std::vector<NpyArray>& arrays);

}  // namespace zor::rob::cli
