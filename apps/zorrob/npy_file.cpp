#include "npy_file.hpp"

#include <array>
#include <cstring>
#include <limits>

#include "cli_error.hpp"

namespace zor::rob::cli {

namespace {

/// Header blocks of an .npy file align the data to this many bytes.
constexpr std::size_t kNpyAlignment = 64;

template <typename T>
NpyArray makeArray(std::string name, std::string descr, const std::vector<T>& values,
                   std::vector<std::size_t> shape) {
  NpyArray array{std::move(name), std::move(descr), std::move(shape), {}};
  array.bytes.resize(values.size() * sizeof(T));
  if (!values.empty())
    std::memcpy(array.bytes.data(), values.data(), array.bytes.size());
  return array;
}

void appendLittle(std::string& out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i)
    out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

/// The CRC-32 of zip archives (polynomial 0xEDB88320, reflected).
std::uint32_t crc32(const std::string& data) {
  static const std::array<std::uint32_t, 256> table = [] {
    std::array<std::uint32_t, 256> t{};
    for (std::uint32_t n = 0; n < 256; ++n) {
      std::uint32_t c = n;
      for (int k = 0; k < 8; ++k)
        c = (c & 1U) != 0 ? 0xEDB88320U ^ (c >> 1) : c >> 1;
      t[n] = c;
    }
    return t;
  }();
  std::uint32_t c = 0xFFFFFFFFU;
  for (const char ch : data)
    c = table[(c ^ static_cast<unsigned char>(ch)) & 0xFFU] ^ (c >> 8);
  return c ^ 0xFFFFFFFFU;
}

/// The fields a zip local header and its central directory entry share: version needed (2.0),
/// flags, method (stored), time and date (1980-01-01 00:00), CRC, sizes and the name's length.
void appendEntryFields(std::string& out, std::uint32_t crc, std::size_t size,
                       std::size_t nameLength) {
  appendLittle(out, 20, 2);
  appendLittle(out, 0, 2);
  appendLittle(out, 0, 2);
  appendLittle(out, 0, 2);
  appendLittle(out, 0x21, 2);
  appendLittle(out, crc, 4);
  appendLittle(out, size, 4);
  appendLittle(out, size, 4);
  appendLittle(out, nameLength, 2);
  appendLittle(out, 0, 2);  // no extra field
}

}  // namespace

NpyArray MakeNpyArray(std::string name, const std::vector<std::uint32_t>& values,
                      std::vector<std::size_t> shape) {
  return makeArray(std::move(name), "<u4", values, std::move(shape));
}

NpyArray MakeNpyArray(std::string name, const std::vector<double>& values,
                      std::vector<std::size_t> shape) {
  return makeArray(std::move(name), "<f8", values, std::move(shape));
}

NpyArray MakeNpyArray(std::string name, const std::vector<std::uint8_t>& values,
                      std::vector<std::size_t> shape) {
  return makeArray(std::move(name), "|u1", values, std::move(shape));
}

std::string NpyBytes(const NpyArray& array) {
  std::string shape = "(";
  for (const std::size_t n : array.shape)
    shape += std::to_string(n) + ", ";
  if (array.shape.size() > 1)
    shape.resize(shape.size() - 2);  // a one-element tuple keeps its comma
  else if (array.shape.size() == 1)
    shape.resize(shape.size() - 1);
  shape += ")";
  std::string header =
      "{'descr': '" + array.descr + "', 'fortran_order': False, 'shape': " + shape + ", }";
  // Magic (6), version (2) and header length (2) come first; the header ends with a newline.
  const std::size_t unpadded = 10 + header.size() + 1;
  header.append((kNpyAlignment - unpadded % kNpyAlignment) % kNpyAlignment, ' ');
  header.push_back('\n');
  std::string out("\x93NUMPY\x01\x00", 8);
  appendLittle(out, header.size(), 2);
  out += header;
  out += array.bytes;
  return out;
}

std::string NpzBytes(const std::vector<NpyArray>& arrays) {
  constexpr std::size_t kZipLimit = std::numeric_limits<std::uint32_t>::max();
  std::string out;
  std::string directory;
  for (const NpyArray& array : arrays) {
    const std::string file = NpyBytes(array);
    const std::string name = array.name + ".npy";
    if (file.size() >= kZipLimit || out.size() >= kZipLimit)
      throw InputError("an array of more than 4 GiB does not fit in the archive");
    const std::uint32_t crc = crc32(file);
    const std::size_t offset = out.size();
    appendLittle(out, 0x04034b50, 4);
    appendEntryFields(out, crc, file.size(), name.size());
    out += name;
    out += file;
    appendLittle(directory, 0x02014b50, 4);
    appendLittle(directory, 20, 2);  // made by version 2.0
    appendEntryFields(directory, crc, file.size(), name.size());
    appendLittle(directory, 0, 2);  // comment length
    appendLittle(directory, 0, 2);  // disk number
    appendLittle(directory, 0, 2);  // internal attributes
    appendLittle(directory, 0, 4);  // external attributes
    appendLittle(directory, offset, 4);
    directory += name;
  }
  if (out.size() + directory.size() >= kZipLimit)
    throw InputError("an array of more than 4 GiB does not fit in the archive");
  const std::size_t directoryOffset = out.size();
  out += directory;
  appendLittle(out, 0x06054b50, 4);
  appendLittle(out, 0, 2);
  appendLittle(out, 0, 2);
  appendLittle(out, arrays.size(), 2);
  appendLittle(out, arrays.size(), 2);
  appendLittle(out, directory.size(), 4);
  appendLittle(out, directoryOffset, 4);
  appendLittle(out, 0, 2);
  return out;
}

}  // namespace zor::rob::cli
