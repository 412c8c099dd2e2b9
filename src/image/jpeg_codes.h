#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "image/jpeg_tables.h"

// The codes of the scan, made at compile time so that a value costs two look-ups: its kind, then
// the code of that kind.
namespace mpg::jpeg {

// A value's magnitude category (0 for 0, 11 for 1024 and more), plus kNegative below 0.
inline constexpr unsigned kNegative = 16;
inline constexpr unsigned kKinds = 32;

// The kind of every value that a block can hold or differ by. 8-bit samples keep AC values within
// +-1020 and DC differences within +-2040, so no rounding error can lead out of the table.
class CodewordTable {
 public:
  static constexpr int kLimit = 2047;

  constexpr CodewordTable() {
    std::uint8_t category = 1;
    int mask = 1;
    for (int value = 1; value <= kLimit; ++value) {
      if (value > mask) {
        ++category;
        mask = mask * 2 + 1;
      }
      kinds_[kLimit + value] = category;
      kinds_[kLimit - value] = category + kNegative;
    }
  }

  constexpr std::size_t Kind(std::ptrdiff_t value) const {
    assert(value >= -kLimit && value <= kLimit);
    return (kinds_ + kLimit)[value];
  }

 private:
  std::uint8_t kinds_[2 * kLimit + 1] = {};
};

inline constexpr CodewordTable kCodewords;

// Code and value bits in one: adding the value to codes[run * kKinds + kind] gives the Huffman code
// followed by the value's bits, lengths[...] bits altogether. That works because the bits of a
// negative value are the value plus 2^category - 1, a constant of its kind. Length 0 marks symbols
// that the table has no code for.
template <unsigned kRuns>
struct ValueCodes {
  std::array<std::uint32_t, kRuns * kKinds> codes{};
  std::array<std::uint8_t, kRuns * kKinds> lengths{};
};
using DcCodes = ValueCodes<1>;
using AcCodes = ValueCodes<16>;

// Indices in AcCodes of the two symbols that carry no value.
inline constexpr std::size_t kEndOfBlock = 0;
inline constexpr std::size_t kSixteenZeros = 15 * kKinds;

template <unsigned kRuns, std::size_t kSymbols>
constexpr ValueCodes<kRuns> MakeValueCodes(const HuffmanSpec<kSymbols>& spec) {
  ValueCodes<kRuns> table;
  std::uint32_t code = 0;
  std::size_t next = 0;
  for (unsigned length = 1; length <= 16; ++length, code *= 2) {
    for (int i = 0; i < spec.bits[length - 1]; ++i, ++code) {
      const unsigned symbol = spec.symbols[next++];
      const unsigned category = symbol % 16;
      const std::size_t positive = symbol / 16 * kKinds + category;
      const std::size_t negative = positive + kNegative;
      table.codes[positive] = code << category;
      table.codes[negative] = (code << category) + (1u << category) - 1;
      table.lengths[positive] = static_cast<std::uint8_t>(length + category);
      table.lengths[negative] = table.lengths[positive];
    }
  }
  return table;
}

inline constexpr DcCodes kDcLuminanceCodes = MakeValueCodes<1>(kDcLuminanceSpec);
inline constexpr AcCodes kAcLuminanceCodes = MakeValueCodes<16>(kAcLuminanceSpec);
inline constexpr DcCodes kDcChrominanceCodes = MakeValueCodes<1>(kDcChrominanceSpec);
inline constexpr AcCodes kAcChrominanceCodes = MakeValueCodes<16>(kAcChrominanceSpec);

}  // namespace mpg::jpeg
