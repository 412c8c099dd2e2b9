#pragma once

#include <cstdint>

#include "image/rgb_image.h"

// Writers of still pictures. Paths are narrow (on Windows in the ANSI code page); an existing file
// is replaced. True is success. No writer deletes what it left behind when it failed. PPM and BMP
// refuse a picture without pixels, of a negative side or of more bytes than 32 bits count, and open
// no file for it.
namespace mpg {

// Binary PPM. Fails when the file can't be opened or doesn't take all pixels.
bool WritePpmImage(const char* path, const RgbImage& image);

// Uncompressed 24-bit BMP, top row first, rows unpadded. Fails only when the file can't be opened:
// a full device goes unnoticed.
bool WriteBmpImage(const char* path, const RgbImage& image);

// Baseline JPEG of quality 0 to 100; more than 100 acts as 90. Sides count modulo 65536. Fails when
// the file can't be opened, and leaves an empty one when there are no pixels or a side is not above
// 0; a write that fails leaves a short file and is not reported. Not for two threads at once: the
// process has one output stream.
bool WriteJpegImage(const char* path, const RgbImage& image, std::uint32_t quality);

// Hands one byte to the open JPEG file. After the first byte that can't be written, the rest of the
// picture is dropped.
void JpegByteSink(std::uint8_t byte);

}  // namespace mpg
