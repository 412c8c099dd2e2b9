#include "image/memory_bitmap.h"

#include <algorithm>
#include <cstdlib>

#include "image/bmp_layout.h"

namespace mpg {
namespace {

constexpr std::uint32_t kColourEntryBytes = 4;
constexpr std::uint32_t kRowsOffset = kBmpHeaderBytes + kColourEntryBytes;

}  // namespace

std::uint8_t* BuildMemoryBitmap(const RgbView& image, std::uint32_t& size) {
  const auto pixelBytes = PixelBytes(image, kRowsOffset);
  if (!pixelBytes || *pixelBytes == 0) return nullptr;
  auto* const block = static_cast<std::uint8_t*>(std::malloc(*pixelBytes + kRowsOffset));
  if (block == nullptr) return nullptr;
  const auto header = MakeBmpHeader(image.width, image.height, *pixelBytes);
  std::uint8_t* const colourEntry = std::copy(header.begin(), header.end(), block);
  std::fill_n(colourEntry, kColourEntryBytes, std::uint8_t{0});
  CopyAsBlueGreenRed(image.pixels, *pixelBytes / 3, block + kRowsOffset);
  size = *pixelBytes + kRowsOffset;
  return block;
}

}  // namespace mpg
