#pragma once

#include <cstdint>

#include "image/rgb_view.h"

namespace mpg {

// Packs a picture into one block for the host: a BMP file header and information header, one empty
// colour entry of 4 bytes, then the rows, top row first, unpadded, blue, green, red. The file
// header speaks of a BMP file all the same: it says 54 where the rows begin at 58, and a size 4
// bytes less than the block's.
//
// The block comes from std::malloc and belongs to the caller, who releases it with the same
// runtime's free. Throws Error, with `size` untouched: EINVAL when a side is 0 or negative, there
// are no pixels or the block would not fit in 32 bits, ENOMEM.
std::uint8_t* BuildMemoryBitmap(const RgbView& image, std::uint32_t& size);

}  // namespace mpg
