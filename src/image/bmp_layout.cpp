#include "image/bmp_layout.h"

#include <limits>

#include "core/error.h"

namespace mpg {
namespace {

// Fills a header from front to back, numbers with the low byte first.
class HeaderFiller {
 public:
  explicit HeaderFiller(std::uint8_t* to) : to_(to) {}

  void Put16(std::uint16_t number) { Put(number, 2); }
  void Put32(std::uint32_t number) { Put(number, 4); }

 private:
  void Put(std::uint32_t number, int bytes) {
    for (; bytes > 0; --bytes, number >>= 8) *to_++ = static_cast<std::uint8_t>(number & 0xff);
  }

  std::uint8_t* to_;
};

}  // namespace

std::uint32_t PixelBytes(const RgbView& image, std::uint32_t headerBytes) {
  const bool canBe = image.pixels != nullptr && image.width >= 0 && image.height >= 0;
  if (!canBe) throw Error(kInvalidArgument);
  const std::uint64_t pixels =
      static_cast<std::uint64_t>(image.width) * static_cast<std::uint64_t>(image.height);
  const std::uint32_t most = std::numeric_limits<std::uint32_t>::max() - headerBytes;
  if (pixels > most / 3) throw Error(kInvalidArgument);
  return static_cast<std::uint32_t>(pixels * 3);
}

std::array<std::uint8_t, kBmpHeaderBytes> MakeBmpHeader(int width, int height,
                                                        std::uint32_t pixelBytes) {
  std::array<std::uint8_t, kBmpHeaderBytes> header;
  HeaderFiller filler(header.data());
  filler.Put16(0x4d42);  // "BM"
  filler.Put32(pixelBytes + kBmpHeaderBytes);
  filler.Put16(0);
  filler.Put16(0);
  filler.Put32(kBmpHeaderBytes);  // where the pixels begin
  filler.Put32(40);               // size of the information header, from here on
  filler.Put32(static_cast<std::uint32_t>(width));
  filler.Put32(0 - static_cast<std::uint32_t>(height));  // negative: top row first
  filler.Put16(1);                                       // planes
  filler.Put16(24);                                      // bits a pixel
  filler.Put32(0);                                       // uncompressed
  filler.Put32(pixelBytes);
  filler.Put32(0);  // resolutions
  filler.Put32(0);
  filler.Put32(0);  // colours used and important
  filler.Put32(0);
  return header;
}

void CopyAsBlueGreenRed(const std::uint8_t* from, std::size_t pixels, std::uint8_t* to) {
  for (std::size_t i = 0; i < pixels; ++i, from += 3, to += 3) {
    to[0] = from[2];
    to[1] = from[1];
    to[2] = from[0];
  }
}

}  // namespace mpg
