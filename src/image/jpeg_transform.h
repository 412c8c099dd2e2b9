#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "image/jpeg_tables.h"

namespace mpg::jpeg {

// Where a block keeps the value of each zig-zag position: the left half of its rows first, then the
// right half, as the vectors of four produce them.
constexpr std::array<std::uint8_t, kBlockSize> MakeValueOrder() {
  std::array<std::uint8_t, kBlockSize> order{};
  for (std::size_t i = 0; i < kBlockSize; ++i) {
    const int row = kZigZag[i] / 8;
    const int column = kZigZag[i] % 8;
    order[i] = static_cast<std::uint8_t>(column / 4 * 32 + row * 4 + column % 4);
  }
  return order;
}
inline constexpr std::array<std::uint8_t, kBlockSize> kValueOrder = MakeValueOrder();

// What each coefficient is multiplied by to quantize it, natural order. Undoes the scale of the
// transform as well.
struct Reciprocals {
  float values[kBlockSize];
};

struct QuantizedBlock {
  std::int16_t values[kBlockSize];  // in kValueOrder
  std::uint64_t nonZero;            // bit i: the value at zig-zag position i is not 0
};

struct QuantizedArea {
  QuantizedBlock y;
  QuantizedBlock cb;
  QuantizedBlock cr;
};

// Converts, transforms and quantizes an area of 8 x 8 pixels: packed red, green, blue bytes, whose
// rows begin `rowBytes` apart. Reads no byte outside the area. All three blocks come out before any
// is coded, so that the processor can overlap their arithmetic: coding breaks its stride with
// branches that no one can foresee.
using AreaTransform = void (*)(const std::uint8_t* pixels, std::size_t rowBytes,
                               const Reciprocals& luminance, const Reciprocals& chrominance,
                               QuantizedArea& area);

// Runs on every machine.
void TransformArea(const std::uint8_t* pixels, std::size_t rowBytes, const Reciprocals& luminance,
                   const Reciprocals& chrominance, QuantizedArea& area);

// The same, bit for bit, on processors with AVX2. Only in builds that define MPG_JPEG_AVX2.
void TransformAreaAvx2(const std::uint8_t* pixels, std::size_t rowBytes,
                       const Reciprocals& luminance, const Reciprocals& chrominance,
                       QuantizedArea& area);

// The one to use on this processor.
AreaTransform FastestAreaTransform();

}  // namespace mpg::jpeg
