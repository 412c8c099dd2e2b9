#include "remux/mp4_initialisation.h"

#include <array>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/file.h"

namespace mpg {
namespace {

constexpr std::int64_t kHeaderSize = 8;

struct Box {
  std::array<char, 4> type;
  std::int64_t start;
  std::int64_t size;

  bool Is(std::string_view name) const { return std::string_view(type.data(), 4) == name; }
};

std::uint64_t BigEndian(const std::uint8_t* bytes, int count) {
  std::uint64_t number = 0;
  for (int i = 0; i < count; ++i) number = number << 8 | bytes[i];
  return number;
}

// None at the end, or where no box can be. Boxes that reach to the file's end count as none: what
// is looked for lies in front of media.
std::optional<Box> ReadBox(platform::File& file, std::int64_t start) {
  std::array<std::uint8_t, 16> header{};
  if (file.ReadAt(start, {header.data(), kHeaderSize}) < 0) return std::nullopt;
  std::uint64_t size = BigEndian(header.data(), 4);
  if (size == 1) {
    if (file.ReadAt(start, header) < 0) return std::nullopt;
    size = BigEndian(header.data() + kHeaderSize, 8);
  }
  constexpr std::uint64_t kLargest = std::uint64_t{1} << 62;
  if (size < kHeaderSize || size > kLargest) return std::nullopt;
  Box box{.type = {}, .start = start, .size = static_cast<std::int64_t>(size)};
  std::memcpy(box.type.data(), header.data() + 4, box.type.size());
  return box;
}

// The first box of one of two types, among the first of a file.
std::optional<Box> FindFirst(platform::File& file, std::string_view one, std::string_view other) {
  constexpr int kMostBoxes = 100;
  std::int64_t start = 0;
  for (int i = 0; i < kMostBoxes; ++i) {
    const std::optional<Box> box = ReadBox(file, start);
    if (!box || box->Is(one) || box->Is(other)) return box;
    start += box->size;
  }
  return std::nullopt;
}

bool OpenToRead(platform::File& file, const char* path) {
  return file.Open(path, platform::Access::kRead) == 0;
}

}  // namespace

std::vector<std::uint8_t> ReadInitialisation(const char* path) {
  constexpr std::int64_t kLargest = 16 << 20;
  platform::File file;
  if (!OpenToRead(file, path)) return {};
  const std::optional<Box> moov = FindFirst(file, "moov", "mdat");
  if (!moov || !moov->Is("moov") || moov->start + moov->size > kLargest) return {};
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(moov->start + moov->size));
  if (file.ReadAt(0, bytes) < 0) return {};
  return bytes;
}

bool LacksInitialisation(const char* path) {
  platform::File file;
  if (!OpenToRead(file, path)) return false;
  const std::optional<Box> box = FindFirst(file, "moov", "moof");
  return box && box->Is("moof");
}

}  // namespace mpg
