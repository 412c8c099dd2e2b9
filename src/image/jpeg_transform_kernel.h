#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "image/jpeg_lanes.h"
#include "image/jpeg_transform.h"

// The block transform for vectors of any width. Sums are formed in single precision, in the order
// written: what includes this must be compiled without contraction to fused multiply-adds, or
// machines that have them give other files.
namespace mpg::jpeg {

// Eight lines of eight values: line i is the vectors from lanes[i * kLineVectors] on.
template <typename Lanes>
struct LaneBlock {
  static constexpr std::size_t kLineVectors = 8 / Lanes::kCount;
  typename Lanes::Float lanes[8 * kLineVectors];
};

// The zig-zag positions, as bits, of the non-zero ones among eight values: [values 8i to 8i + 7 of
// a block][bits of the non-zero ones].
struct ZigZagBits {
  std::uint64_t positions[8][256];
};

constexpr ZigZagBits MakeZigZagBits() {
  ZigZagBits table{};
  for (std::size_t position = 0; position < kBlockSize; ++position) {
    const std::size_t group = kValueOrder[position] / 8u;
    const unsigned bit = kValueOrder[position] % 8u;
    for (std::size_t nonZero = 0; nonZero < 256; ++nonZero) {
      if (nonZero >> bit & 1) table.positions[group][nonZero] |= std::uint64_t{1} << position;
    }
  }
  return table;
}

inline constexpr ZigZagBits kZigZagBits = MakeZigZagBits();

// Transposes the 8 rows of 24 bytes: pair i holds columns 2i and 2i + 1 of 8 bytes each, that is,
// one colour of one pixel down the rows. So the colours fall apart without a shuffle of their own,
// and the columns are where the transform of the rows wants them.
MPG_LANES_INLINE void LoadColumnPairs(const std::uint8_t* pixels, std::size_t rowBytes,
                                      Byte16 (&pairs)[12]) {
  Byte16 eights[3][4];  // [columns 8i to 8i + 7][k]: rows k and k + 4 in turn
#pragma GCC unroll 4
  for (std::size_t k = 0; k < 4; ++k) {
    const std::uint8_t* upper = pixels + k * rowBytes;
    const std::uint8_t* lower = upper + 4 * rowBytes;
    eights[0][k] = InterleaveLow(LoadBytes(upper), LoadBytes(lower));
    eights[1][k] = InterleaveHigh(LoadBytes(upper), LoadBytes(lower));
    eights[2][k] = InterleaveHigh(LoadBytes(upper + 8), LoadBytes(lower + 8));
  }
#pragma GCC unroll 3
  for (std::size_t i = 0; i < 3; ++i) {
    const Byte16 evenLow = InterleaveLow(eights[i][0], eights[i][2]);
    const Byte16 evenHigh = InterleaveHigh(eights[i][0], eights[i][2]);
    const Byte16 oddLow = InterleaveLow(eights[i][1], eights[i][3]);
    const Byte16 oddHigh = InterleaveHigh(eights[i][1], eights[i][3]);
    pairs[4 * i] = InterleaveLow(evenLow, oddLow);
    pairs[4 * i + 1] = InterleaveHigh(evenLow, oddLow);
    pairs[4 * i + 2] = InterleaveLow(evenHigh, oddHigh);
    pairs[4 * i + 3] = InterleaveHigh(evenHigh, oddHigh);
  }
}

// Line x of each block is the column x of the area. Only Y is shifted around 0: the differences of
// colour already are.
template <typename Lanes>
MPG_LANES_INLINE void ConvertColours(const Byte16 (&pairs)[12], LaneBlock<Lanes>& y,
                                     LaneBlock<Lanes>& cb, LaneBlock<Lanes>& cr) {
  using Float = typename Lanes::Float;
  constexpr std::size_t kLine = LaneBlock<Lanes>::kLineVectors;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < 4; ++i) {  // two pixels, six columns, three pairs at a time
    Float colours[6 * kLine];            // red, green, blue of the first pixel, then of the second
#pragma GCC unroll 3
    for (std::size_t k = 0; k < 3; ++k) Lanes::Widen(pairs[3 * i + k], colours + 2 * kLine * k);
#pragma GCC unroll 4
    for (std::size_t k = 0; k < 2 * kLine; ++k) {
      const std::size_t at = k / kLine * 3 * kLine + k % kLine;
      const Float r = colours[at], g = colours[at + kLine], b = colours[at + 2 * kLine];
      const std::size_t to = 2 * kLine * i + k;
      y.lanes[to] = r * 0.299f + g * 0.587f + b * 0.114f - 128.0f;
      cb.lanes[to] = r * -0.16874f - g * 0.33126f + b * 0.5f;
      cr.lanes[to] = r * 0.5f - g * 0.41869f - b * 0.08131f;
    }
  }
}

// The scaled transform of Arai, Agui and Nakajima in place: one series of eight values in each
// lane.
template <typename Float>
MPG_LANES_INLINE void ForwardDct8(Float (&x)[8]) {
  const Float t0 = x[0] + x[7], t7 = x[0] - x[7], t1 = x[1] + x[6], t6 = x[1] - x[6];
  const Float t2 = x[2] + x[5], t5 = x[2] - x[5], t3 = x[3] + x[4], t4 = x[3] - x[4];

  const Float p = t0 + t3, q = t0 - t3, u = t1 + t2, w = t1 - t2;
  const Float z1 = (w + q) * 0.70710677f;
  x[0] = p + u;
  x[4] = p - u;
  x[2] = q + z1;
  x[6] = q - z1;

  const Float s = t4 + t5, m = t5 + t6, k = t6 + t7;
  const Float z5 = (s - k) * 0.38268343f;
  const Float z2 = s * 0.5411961f + z5;
  const Float z4 = k * 1.306563f + z5;
  const Float z3 = m * 0.70710677f;
  const Float z11 = t7 + z3, z13 = t7 - z3;
  x[5] = z13 + z2;
  x[3] = z13 - z2;
  x[1] = z11 + z4;
  x[7] = z11 - z4;
}

// Transforms as many rows of the area as a vector has lanes, the first of them row
// part * Lanes::kCount. The area's columns are the lines of `columns`; its rows become those of
// `rows`.
template <typename Lanes>
MPG_LANES_INLINE void TransformRows(const LaneBlock<Lanes>& columns, std::size_t part,
                                    LaneBlock<Lanes>& rows) {
  constexpr std::size_t kLine = LaneBlock<Lanes>::kLineVectors;
  typename Lanes::Float x[8];
#pragma GCC unroll 8
  for (std::size_t i = 0; i < 8; ++i) x[i] = columns.lanes[i * kLine + part];
  ForwardDct8(x);
  Lanes::Transpose(x);
#pragma GCC unroll 8
  for (std::size_t i = 0; i < 8; ++i) {
    const std::size_t row = part * Lanes::kCount + i % Lanes::kCount;
    rows.lanes[row * kLine + i / Lanes::kCount] = x[i];
  }
}

// Transforms as many columns and quantizes them. Gives their share of the block's nonZero.
template <typename Lanes>
MPG_LANES_INLINE std::uint64_t TransformColumns(const LaneBlock<Lanes>& rows, std::size_t part,
                                                const Reciprocals& reciprocals,
                                                QuantizedBlock& quantized) {
  constexpr std::size_t kLine = LaneBlock<Lanes>::kLineVectors;
  typename Lanes::Float x[8];
#pragma GCC unroll 8
  for (std::size_t i = 0; i < 8; ++i) x[i] = rows.lanes[i * kLine + part];
  ForwardDct8(x);
  std::uint64_t positions = 0;
#pragma GCC unroll 2
  for (std::size_t i = 0; i < 2; ++i) {
    typename Lanes::Int rounded[4];
#pragma GCC unroll 4
    for (std::size_t k = 0; k < 4; ++k) {
      const std::size_t row = 4 * i + k;
      typename Lanes::Float factors;
      std::memcpy(&factors, reciprocals.values + 8 * row + part * Lanes::kCount, sizeof factors);
      rounded[k] = Round<typename Lanes::Int>(x[row] * factors);
    }
    const std::size_t group = 4 * part + 2 * i;
    std::uint32_t nonZero = Lanes::Store(rounded, quantized.values + 8 * group);
#pragma GCC unroll 2
    for (std::size_t half = 0; half < Lanes::kCount / 4; ++half, nonZero >>= 16) {
      const auto& bits = kZigZagBits.positions;
      positions |= bits[group + 4 * half][nonZero & 0xff];
      positions |= bits[group + 4 * half + 1][nonZero >> 8 & 0xff];
    }
  }
  return positions;
}

// `columns` holds the area's columns as its lines.
template <typename Lanes>
void TransformBlock(const LaneBlock<Lanes>& columns, const Reciprocals& reciprocals,
                    QuantizedBlock& quantized) {
  constexpr std::size_t kParts = LaneBlock<Lanes>::kLineVectors;
  LaneBlock<Lanes> rows;
#pragma GCC unroll 2
  for (std::size_t part = 0; part < kParts; ++part) TransformRows<Lanes>(columns, part, rows);
  std::uint64_t nonZero = 0;
#pragma GCC unroll 2
  for (std::size_t part = 0; part < kParts; ++part) {
    nonZero |= TransformColumns<Lanes>(rows, part, reciprocals, quantized);
  }
  quantized.nonZero = nonZero;
}

template <typename Lanes>
MPG_LANES_INLINE void TransformAreaWith(const std::uint8_t* pixels, std::size_t rowBytes,
                                        const Reciprocals& luminance,
                                        const Reciprocals& chrominance, QuantizedArea& area) {
  Byte16 pairs[12];
  LoadColumnPairs(pixels, rowBytes, pairs);
  LaneBlock<Lanes> y, cb, cr;
  ConvertColours<Lanes>(pairs, y, cb, cr);
  TransformBlock<Lanes>(y, luminance, area.y);
  TransformBlock<Lanes>(cb, chrominance, area.cb);
  TransformBlock<Lanes>(cr, chrominance, area.cr);
}

}  // namespace mpg::jpeg
