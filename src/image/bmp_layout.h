#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "image/rgb_view.h"

// What the BMP file and the memory bitmap have in common.
namespace mpg {

inline constexpr std::size_t kBmpHeaderBytes = 54;

// Bytes of the picture's pixels. Throws Error(EINVAL) for a picture without pixels or of a negative
// side, and when the bytes and `headerBytes` together would not fit in 32 bits.
std::uint32_t PixelBytes(const RgbView& image, std::uint32_t headerBytes);

// File header and information header of an uncompressed 24-bit bitmap, top row first, whose pixels
// follow at once.
std::array<std::uint8_t, kBmpHeaderBytes> MakeBmpHeader(int width, int height,
                                                        std::uint32_t pixelBytes);

// Copies `pixels` pixels of red, green, blue as blue, green, red.
void CopyAsBlueGreenRed(const std::uint8_t* from, std::size_t pixels, std::uint8_t* to);

}  // namespace mpg
