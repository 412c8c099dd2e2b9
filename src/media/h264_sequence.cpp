#include "media/h264_sequence.h"

#include <algorithm>

#include "media/bit_reader.h"

namespace mpg {
namespace {

void SkipScalingList(BitReader& bits, int size) {
  int last = 8;
  int next = 8;
  for (int i = 0; i < size; ++i) {
    if (next != 0) next = (last + bits.Signed()) & 0xFF;
    if (next != 0) last = next;
  }
}

void SkipChroma(BitReader& bits) {
  constexpr unsigned kFullChroma = 3;
  const unsigned chroma = bits.Unsigned();
  if (chroma == kFullChroma) bits.Flag();
  bits.Skip(2);  // depths
  bits.Flag();
  if (!bits.Flag()) return;
  const int lists = chroma == kFullChroma ? 12 : 8;
  for (int i = 0; i < lists; ++i) {
    if (bits.Flag()) SkipScalingList(bits, i < 6 ? 16 : 64);
  }
}

void SkipPictureOrder(BitReader& bits) {
  const unsigned type = bits.Unsigned();
  if (type == 0) bits.Skip(1);
  if (type != 1) return;
  bits.Flag();
  bits.Skip(2);
  const unsigned cycle = bits.Unsigned();
  constexpr unsigned kLongest = 255;
  bits.Skip(static_cast<int>(std::min(cycle, kLongest)));
}

void SkipBufferModel(BitReader& bits) {
  constexpr unsigned kMost = 32;
  const unsigned count = std::min(bits.Unsigned() + 1, kMost);
  bits.Bits(8);
  for (unsigned i = 0; i < count; ++i) {
    bits.Skip(2);
    bits.Flag();
  }
  bits.Bits(20);
}

// Up to the flag that says whether more is announced.
void SkipToUsability(BitReader& bits) {
  constexpr unsigned kHighProfiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128};
  bits.Bits(8);
  const unsigned profile = bits.Bits(8);
  bits.Bits(16);
  bits.Skip(1);
  if (std::ranges::count(kHighProfiles, profile) > 0) SkipChroma(bits);
  bits.Skip(1);
  SkipPictureOrder(bits);
  bits.Skip(1);
  bits.Flag();
  bits.Skip(2);                   // size
  if (!bits.Flag()) bits.Flag();  // fields
  bits.Flag();
  if (bits.Flag()) bits.Skip(4);  // cropping
}

void SkipToTiming(BitReader& bits) {
  constexpr unsigned kExtendedShape = 255;
  if (bits.Flag() && bits.Bits(8) == kExtendedShape) bits.Bits(32);
  if (bits.Flag()) bits.Flag();
  if (bits.Flag()) {
    bits.Bits(4);
    if (bits.Flag()) bits.Bits(24);
  }
  if (bits.Flag()) bits.Skip(2);
}

}  // namespace

std::optional<int> AnnouncedDelay(std::span<const std::uint8_t> sequence) {
  BitReader bits(sequence);
  SkipToUsability(bits);
  if (!bits.Flag()) return std::nullopt;
  SkipToTiming(bits);
  if (bits.Flag()) {
    bits.Bits(32);
    bits.Bits(32);
    bits.Flag();
  }
  const bool hasModel = bits.Flag();
  if (hasModel) SkipBufferModel(bits);
  const bool hasOtherModel = bits.Flag();
  if (hasOtherModel) SkipBufferModel(bits);
  if (hasModel || hasOtherModel) bits.Flag();
  bits.Flag();
  if (!bits.Flag()) return std::nullopt;
  bits.Flag();
  bits.Skip(4);
  const unsigned delay = bits.Unsigned();
  constexpr unsigned kMost = 16;
  if (bits.IsBehindEnd() || delay > kMost) return std::nullopt;
  return static_cast<int>(delay);
}

}  // namespace mpg
