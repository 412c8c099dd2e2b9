#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "image/jpeg_encoder.h"

namespace mpg::jpeg {

// Where the next bits go. A plain value, so that a block can be coded with a copy in registers.
struct BitCursor {
  std::uint8_t* next;
  std::uint64_t bits = 0;  // the low `count` bits are pending; those above are garbage
  unsigned count = 0;

  // Appends `code`, less than 2^length. Not more than 64 bits may be pending.
  void Append(std::uint64_t code, unsigned length) {
    bits = bits << length | code;
    count += length;
  }

  // Stores the whole bytes among the pending bits and keeps up to 7 bits. Overwrites 8 bytes at
  // `next`, however few count: that costs less than a branch on their number.
  void Flush() {
    std::uint64_t word = bits << ((64 - count) % 64);
    if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
    std::memcpy(next, &word, sizeof word);
    next += count / 8;
    count %= 8;
  }
};

// Carries the bits of the scan to the sink, first bit highest, with a 00 byte after every FF byte.
// Collects some bytes first, because calls between the bits of a block would empty its registers.
class BitWriter {
 public:
  // More than one area of three blocks can come to: 64 values of at most 26 bits each.
  static constexpr std::size_t kAreaBytes = 1024;

  explicit BitWriter(ByteSink sink) : sink_(sink) {}
  BitWriter(const BitWriter&) = delete;
  BitWriter& operator=(const BitWriter&) = delete;

  BitCursor& Cursor() { return cursor_; }

  // Makes room for one more area; the cursor must have been flushed.
  void MakeRoom() {
    if (cursor_.next > bytes_ + sizeof bytes_ - kAreaBytes) SendBytes();
  }

  // Fills the last byte with 1-bits and sends everything.
  void Finish() {
    cursor_.Append(0x7f, 7);
    cursor_.Flush();
    SendBytes();
  }

 private:
  void SendBytes() {
    std::uint8_t stuffed[2 * sizeof bytes_];
    std::uint8_t* to = stuffed;
    const std::uint8_t* byte = bytes_;
    const auto stuff = [&] {
      *to++ = *byte;
      if (*byte++ == 0xff) *to++ = 0;
    };
    while (cursor_.next - byte >= 8) {
      if (HasMarkerByte(byte)) {
        for (int i = 0; i < 8; ++i) stuff();
      } else {
        std::memcpy(to, byte, 8);
        byte += 8;
        to += 8;
      }
    }
    while (byte != cursor_.next) stuff();
    sink_({stuffed, static_cast<std::size_t>(to - stuffed)});
    cursor_.next = bytes_;
  }

  // Whether one of eight bytes is FF. Inverted, that is a byte of 0: the only one to borrow from
  // its top bit while that bit is 0.
  static bool HasMarkerByte(const std::uint8_t* bytes) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return ((~word - kOnes) & word & (kOnes << 7)) != 0;
  }

  ByteSink sink_;
  std::uint8_t bytes_[4 * kAreaBytes] = {};
  BitCursor cursor_{bytes_};
};

}  // namespace mpg::jpeg
