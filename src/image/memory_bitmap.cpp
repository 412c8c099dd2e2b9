#include "image/memory_bitmap.h"

#include <algorithm>
#include <cstdlib>

#include "core/error.h"
#include "image/bmp_layout.h"

namespace mpg {
namespace {

constexpr std::uint32_t kColourEntryBytes = 4;
constexpr std::uint32_t kRowsOffset = kBmpHeaderBytes + kColourEntryBytes;

}  // namespace

std::uint8_t* BuildMemoryBitmap(const RgbView& image, std::uint32_t& size) {
  const std::uint32_t pixelBytes = PixelBytes(image, kRowsOffset);
  if (pixelBytes == 0) throw Error(kInvalidArgument);
  auto* const block =
      static_cast<std::uint8_t*>(CheckAllocated(std::malloc(pixelBytes + kRowsOffset)));
  const auto header = MakeBmpHeader(image.width, image.height, pixelBytes);
  std::uint8_t* const colourEntry = std::copy(header.begin(), header.end(), block);
  std::fill_n(colourEntry, kColourEntryBytes, std::uint8_t{0});
  CopyAsBlueGreenRed(image.pixels, pixelBytes / 3, block + kRowsOffset);
  size = pixelBytes + kRowsOffset;
  return block;
}

}  // namespace mpg
