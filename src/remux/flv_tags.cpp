#include "remux/flv_tags.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace mpg {
namespace {

constexpr std::int64_t kFileHeaderSize = 9;
constexpr std::int64_t kTagHeaderSize = 11;
constexpr std::int64_t kBackLinkSize = 4;  // behind each tag stands how long it was

enum : std::uint8_t { kAudioTag = 8, kVideoTag = 9, kScriptTag = 18 };

std::uint32_t BigEndian(std::span<const std::uint8_t> bytes) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

// The beginning of a tag.
struct Tag {
  std::array<std::uint8_t, kTagHeaderSize + 2> bytes;

  std::uint8_t Type() const { return bytes[0]; }
  /// With its header.
  std::int64_t Size() const { return kTagHeaderSize + BigEndian(std::span(bytes).subspan(1, 3)); }
  // The first two bytes of what it holds.
  std::uint8_t Codec() const { return bytes[kTagHeaderSize]; }
  bool IsSetUp() const { return bytes[kTagHeaderSize + 1] == 0; }
};

bool IsMedia(const Tag& tag) {
  return tag.Type() == kAudioTag || tag.Type() == kVideoTag;
}

bool IsDecoderSetUp(const Tag& tag) {
  constexpr int kAac = 10;
  constexpr int kAvc = 7;
  if (tag.Size() < std::ssize(tag.bytes) || !tag.IsSetUp()) return false;
  return (tag.Type() == kAudioTag && tag.Codec() >> 4 == kAac) ||
         (tag.Type() == kVideoTag && (tag.Codec() & 0x0F) == kAvc);
}

// Position of the first tag.
std::optional<std::int64_t> SkipFileHeader(platform::File& file) {
  std::array<std::uint8_t, kFileHeaderSize> header;
  if (file.ReadAt(0, header) < 0) return std::nullopt;
  constexpr std::string_view kSignature = "FLV";
  const std::int64_t size = BigEndian(std::span(header).last<4>());
  if (!std::equal(kSignature.begin(), kSignature.end(), header.begin()) || size < kFileHeaderSize) {
    return std::nullopt;
  }
  return size + kBackLinkSize;
}

bool IsBackLinkRight(platform::File& file, std::int64_t position, std::int64_t tagSize) {
  std::array<std::uint8_t, kBackLinkSize> link;
  return file.ReadAt(position, link) == 0 && BigEndian(link) == tagSize;
}

}  // namespace

std::optional<std::int64_t> FindFlvMediaStart(platform::File& file) {
  constexpr std::int64_t kFurthest = 1 << 24;  // one tag's limit
  std::optional<std::int64_t> position = SkipFileHeader(file);
  while (position && *position < kFurthest) {
    Tag tag;
    if (file.ReadAt(*position, tag.bytes) < 0) return std::nullopt;
    const bool isSetUp = tag.Type() == kScriptTag || IsDecoderSetUp(tag);
    if (!isSetUp) return IsMedia(tag) ? position : std::nullopt;
    *position += tag.Size();
    if (!IsBackLinkRight(file, *position, tag.Size())) return std::nullopt;
    *position += kBackLinkSize;
  }
  return std::nullopt;
}

}  // namespace mpg
