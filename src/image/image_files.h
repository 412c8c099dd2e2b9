#pragma once

#include <cstdint>

#include "image/rgb_view.h"

// Writers of still pictures, as files of names as in mpg.h. An existing file is replaced. They
// throw Error unless the file is complete and closed. No writer deletes what it left behind when it
// failed, and none opens a file for a picture that it refuses with EINVAL: without pixels, of a
// side that isn't above 0, or of more bytes or longer sides than the format can say.
namespace mpg {

// Binary PPM. Takes pictures without pixels, too.
void WritePpmImage(const char* path, const RgbView& image);

// Uncompressed 24-bit BMP, top row first, rows unpadded. Takes pictures without pixels, too.
void WriteBmpImage(const char* path, const RgbView& image);

// Baseline JPEG of quality 0 to 100; more than 100 acts as 90.
void WriteJpegImage(const char* path, const RgbView& image, std::uint32_t quality);

}  // namespace mpg
