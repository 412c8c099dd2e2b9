#include "media/h264_sequence.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace mpg {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int kSequence = 7;
constexpr int kLastSlice = 5;

int TypeOf(Bytes unit) {
  constexpr int kTypeBits = 0x1F;
  return unit.front() & kTypeBits;
}

// Takes the units of a byte stream off its front, without their start codes.
class Units {
 public:
  explicit Units(Bytes stream) : rest_(BehindStartCode(stream)) {}

  /// Empty at the end.
  Bytes Next() {
    const auto end = FindStartCode(rest_);
    Bytes unit(rest_.begin(), end);
    rest_ = BehindStartCode(rest_);
    // Zeros in front of the next start code are no part of the unit.
    while (!unit.empty() && unit.back() == 0) unit = unit.first(unit.size() - 1);
    return unit;
  }

  /// The type of what Next returns; -1 at the end.
  int NextType() const { return rest_.empty() ? -1 : TypeOf(rest_); }

 private:
  static constexpr std::uint8_t kStartCode[] = {0, 0, 1};

  static Bytes::iterator FindStartCode(Bytes bytes) {
    return std::search(bytes.begin(), bytes.end(), std::begin(kStartCode), std::end(kStartCode));
  }
  static Bytes BehindStartCode(Bytes bytes) {
    const auto found = FindStartCode(bytes);
    return found == bytes.end() ? Bytes() : Bytes(found + 3, bytes.end());
  }

  Bytes rest_;
};

// Reads a unit's bits without the bytes that keep start codes out of it. Behind the end are zeros.
class BitReader {
 public:
  explicit BitReader(Bytes unit) {
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

std::span<const std::uint8_t> FindOnlySequence(std::span<const std::uint8_t> stream) {
  Bytes sequence;
  Units units(stream);
  while (units.NextType() >= 0) {
    const int type = units.NextType();
    const Bytes unit = units.Next();
    if (type != kSequence) continue;
    if (!sequence.empty()) return {};
    sequence = unit;
  }
  return sequence;
}

bool KeepsSequence(std::span<const std::uint8_t> packet, std::span<const std::uint8_t> sequence) {
  Units units(packet);
  for (int type = units.NextType(); type > kLastSlice || type == 0; type = units.NextType()) {
    if (!std::ranges::equal(units.Next(), sequence) && type == kSequence) return false;
  }
  return true;
}

std::optional<int> AnnouncedDelay(std::span<const std::uint8_t> sequence) {
  BitReader bits(sequence);
  SkipToUsability(bits);
  if (!bits.Flag()) return std::nullopt;
  SkipToTiming(bits);
  if (!bits.Flag()) return std::nullopt;
  const bool hasRate = bits.Bits(32) > 0 && bits.Bits(32) > 0;
  bits.Flag();
  const bool hasModel = bits.Flag();
  if (hasModel) SkipBufferModel(bits);
  const bool hasOtherModel = bits.Flag();
  if (hasOtherModel) SkipBufferModel(bits);
  if (hasModel || hasOtherModel) bits.Flag();
  bits.Flag();
  if (!hasRate || !bits.Flag()) return std::nullopt;
  bits.Flag();
  bits.Skip(4);
  const unsigned delay = bits.Unsigned();
  constexpr unsigned kMost = 16;
  if (bits.IsBehindEnd() || delay > kMost) return std::nullopt;
  return static_cast<int>(delay);
}

}  // namespace mpg
