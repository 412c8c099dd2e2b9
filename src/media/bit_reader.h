// The bits of an H.264 or HEVC unit.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace mpg {

/// Reads a unit's bits without the bytes that keep start codes out of it. Behind the end are zeros.
class BitReader {
 public:
  explicit BitReader(std::span<const std::uint8_t> unit) {
    constexpr std::uint8_t kEscape = 3;
    int zeros = 0;
    for (const std::uint8_t byte : unit) {
      const bool isEscape = zeros >= 2 && byte == kEscape;
      zeros = byte == 0 ? zeros + 1 : 0;
      if (!isEscape) bytes_.push_back(byte);
    }
  }

  bool IsBehindEnd() const { return position_ > bytes_.size() * 8; }

  unsigned Bits(int count) {
    unsigned value = 0;
    for (int i = 0; i < count; ++i, ++position_) {
      const std::size_t byte = position_ / 8;
      const unsigned bits = byte < bytes_.size() ? bytes_[byte] : 0u;
      value = value << 1 | (bits >> (7 - position_ % 8) & 1u);
    }
    return value;
  }
  bool Flag() { return Bits(1) != 0; }

  /// Exp-Golomb codes.
  unsigned Unsigned() {
    int zeros = 0;
    while (!IsBehindEnd() && zeros < 31 && !Flag()) ++zeros;
    return (1u << zeros) - 1 + Bits(zeros);
  }
  int Signed() {
    const unsigned code = Unsigned();
    const int magnitude = static_cast<int>((code + 1) / 2);
    return code % 2 == 1 ? magnitude : -magnitude;
  }
  void Skip(int numbers) {
    for (int i = 0; i < numbers; ++i) Unsigned();
  }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

}  // namespace mpg
