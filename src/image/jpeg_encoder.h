#pragma once

#include <cstdint>
#include <span>

namespace mpg {

// Takes the file's next bytes, in file order, on the encoder's thread. `context` is the caller's.
struct ByteSink {
  void (*take)(void* context, std::span<const std::uint8_t> bytes);
  void* context;

  void operator()(std::span<const std::uint8_t> bytes) const { take(context, bytes); }
};

// Encodes a picture as a baseline JFIF file: Y, Cb and Cr without subsampling, the standard's
// typical Huffman tables, one scan, no restarts.
//
// `pixels` are packed red, green, blue bytes, rows from top to bottom, width * 3 bytes a row.
// `quality` runs from 1 (smallest file) to 100 (best); values outside act as the nearest limit.
//
// False, with no byte sent, when `pixels` is null or a side is 0. True otherwise: the sink has no
// way to report that it lost a byte. Allocates nothing and keeps nothing between calls, so calls
// may run at once. The file depends on the input alone, bit for bit, not on the machine.
bool JpegEncoder(ByteSink sink, const std::uint8_t* pixels, std::uint16_t width,
                 std::uint16_t height, std::uint8_t quality);

}  // namespace mpg
