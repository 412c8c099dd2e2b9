#include "remux/flv_tags.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/platform.h"

namespace mpg {
namespace {

constexpr std::uint32_t kPreviousSize = 4;  // bytes of the number behind the header and each tag
constexpr std::uint32_t kTagHeader = 11;

enum TagType : std::uint8_t { kAudio = 8, kVideo = 9, kScript = 18 };

std::uint32_t BigEndian(const std::uint8_t* bytes, int count) {
  std::uint32_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

struct Tag {
  std::uint8_t type;
  std::uint32_t size;           // of its content
  std::uint8_t firstBytes[2];   // of its content, 0 where it has none
};

std::optional<Tag> ReadTag(const char* path, std::uint64_t position) {
  std::array<std::uint8_t, kTagHeader + 2> bytes;
  if (platform::ReadFileAt(path, position, bytes) < 0) return std::nullopt;
  const std::uint32_t size = BigEndian(&bytes[1], 3);
  std::uint32_t
}

}  // namespace
}  // namespace mpg
