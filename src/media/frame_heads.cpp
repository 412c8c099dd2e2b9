#include "media/frame_heads.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "media/bit_reader.h"

namespace mpg {
namespace {

using Bytes = FrameHeads::Bytes;
using Kind = FrameHeads::Kind;

// Where the next start code 0 0 1 begins; the end where there is none.
std::size_t FindStartCode(Bytes bytes) {
  constexpr std::size_t kZeros = 2;
  for (std::size_t i = kZeros; i < bytes.size(); ++i) {
    const void* const one = std::memchr(&bytes[i], 1, bytes.size() - i);
    if (one == nullptr) break;
    i = static_cast<std::size_t>(static_cast<const std::uint8_t*>(one) - bytes.data());
    if (bytes[i - 1] == 0 && bytes[i - 2] == 0) return i - kZeros;
  }
  return bytes.size();
}

// Takes the units of a byte stream off its front, without their start codes.
class Units {
 public:
  explicit Units(Bytes stream) : rest_(BehindStartCode(stream, FindStartCode(stream))) {}

  /// All that is left, beginning with the next unit. Empty at the end.
  Bytes Rest() const { return rest_; }

  Bytes Next() {
    const std::size_t end = FindStartCode(rest_);
    Bytes unit = rest_.first(end);
    rest_ = BehindStartCode(rest_, end);
    // Zeros in front of the next start code are no part of the unit.
    while (!unit.empty() && unit.back() == 0) unit = unit.first(unit.size() - 1);
    return unit;
  }

 private:
  static Bytes BehindStartCode(Bytes bytes, std::size_t position) {
    constexpr std::size_t kStartCode = 3;
    return position == bytes.size() ? Bytes() : bytes.subspan(position + kStartCode);
  }

  Bytes rest_;
};

// The numbers that matter stand in the first few bytes of a unit.
BitReader BeginningOf(Bytes unit) {
  constexpr std::size_t kEnough = 32;
  return BitReader(unit.first(std::min(unit.size(), kEnough)));
}

Kind KindOf(bool isB) {
  return isB ? Kind::kB : Kind::kOther;
}

Kind H264Kind(Bytes slice, std::span<const Bytes> /*sets*/) {
  constexpr unsigned kWhole = 1;
  constexpr unsigned kKey = 5;
  BitReader bits = BeginningOf(slice);
  bits.Bits(3);
  const unsigned type = bits.Bits(5);
  // The others are parts of slices.
  if (type != kWhole && type != kKey) return Kind::kUnclear;
  bits.Skip(1);
  constexpr unsigned kSliceTypes = 5;
  constexpr unsigned kB = 1;
  return KindOf(bits.Unsigned() % kSliceTypes == kB);
}

constexpr int kHevcHeader = 16;

// How many bits the picture parameter sets put before the type of a slice.
std::optional<int> ExtraBits(std::span<const Bytes> sets) {
  constexpr unsigned kPictureSet = 34;
  std::optional<int> extra;
  for (const Bytes set : sets) {
    BitReader bits = BeginningOf(set);
    const unsigned header = bits.Bits(kHevcHeader);
    if (header >> 9 != kPictureSet) continue;
    bits.Skip(2);
    bits.Bits(2);
    const int own = static_cast<int>(bits.Bits(3));
    if (extra && *extra != own) return std::nullopt;
    extra = own;
  }
  return extra;
}

Kind HevcKind(Bytes slice, std::span<const Bytes> sets) {
  constexpr unsigned kFirstRandomAccess = 16;
  constexpr unsigned kLastRandomAccess = 23;
  constexpr unsigned kLayerBits = 0x1F8;
  BitReader bits = BeginningOf(slice);
  const unsigned header = bits.Bits(kHevcHeader);
  const bool isFirst = bits.Flag();
  const std::optional<int> extra = ExtraBits(sets);
  if ((header & kLayerBits) != 0 || !isFirst || !extra) return Kind::kUnclear;
  const unsigned type = header >> 9;
  if (type >= kFirstRandomAccess && type <= kLastRandomAccess) bits.Flag();
  bits.Skip(1);
  bits.Bits(*extra);
  constexpr unsigned kB = 0;
  return KindOf(bits.Unsigned() == kB);
}

// The frame's header, of type 0, tells.
Kind Mpeg2Kind(Bytes frame, std::span<const Bytes> /*sets*/) {
  constexpr std::size_t kHeader = 3;
  if (frame.size() < kHeader || frame[0] != 0) return Kind::kUnclear;
  constexpr int kB = 3;
  return KindOf((frame[2] >> 3 & 7) == kB);
}

}  // namespace

struct FrameHeads::Syntax {
  AVCodecID codecId;
  // A unit's type in its first byte.
  int shift;
  int mask;
  std::array<int, 3> sets;  // types of the parameter sets, sequence's first
  int lastSlice;            // slices have the types from 0 on
  Kind (*kindOf)(Bytes slice, std::span<const Bytes> sets);

  int TypeOf(Bytes unit) const { return unit.front() >> shift & mask; }
  bool IsSlice(Bytes unit) const { return TypeOf(unit) <= lastSlice; }
  bool IsSet(Bytes unit) const { return std::ranges::count(sets, TypeOf(unit)) > 0; }

  // Those in front of the first slice.
  std::vector<Bytes> FindSets(Bytes stream) const {
    std::vector<Bytes> found;
    Units units(stream);
    while (!units.Rest().empty() && !IsSlice(units.Rest())) {
      const bool isSet = IsSet(units.Rest());
      const Bytes unit = units.Next();
      if (isSet) found.push_back(unit);
    }
    return found;
  }
};

namespace {

constexpr FrameHeads::Syntax kSyntaxes[] = {
    {AV_CODEC_ID_H264, 0, 0x1F, {7, 8, 8}, 5, H264Kind},
    {AV_CODEC_ID_HEVC, 1, 0x3F, {33, 32, 34}, 31, HevcKind},
    {AV_CODEC_ID_MPEG2VIDEO, 0, 0xFF, {0xB3, 0xB5, 0xB5}, 0xAF, Mpeg2Kind},
};

const FrameHeads::Syntax* FindSyntax(AVCodecID codecId) {
  const auto* const found = std::ranges::find(kSyntaxes, codecId, &FrameHeads::Syntax::codecId);
  return found == std::end(kSyntaxes) ? nullptr : found;
}

bool AreEqual(Bytes one, Bytes other) {
  return std::ranges::equal(one, other);
}

}  // namespace

bool FrameHeads::Exist(AVCodecID codecId) {
  return FindSyntax(codecId) != nullptr;
}

FrameHeads::FrameHeads(AVCodecID codecId, Bytes parameterSets)
    : syntax_(FindSyntax(codecId)), sets_(syntax_->FindSets(parameterSets)) {}

FrameHeads::Kind FrameHeads::Read(Bytes frame) const {
  Units units(frame);
  while (!units.Rest().empty() && !syntax_->IsSlice(units.Rest())) {
    const bool isSet = syntax_->IsSet(units.Rest());
    const Bytes unit = units.Next();
    const bool isOwn =
        std::ranges::any_of(sets_, [unit](Bytes set) { return AreEqual(set, unit); });
    if (isSet && !isOwn) return Kind::kUnclear;
  }
  return units.Rest().empty() ? Kind::kUnclear : syntax_->kindOf(units.Rest(), sets_);
}

bool FrameHeads::HasAllSets(Bytes frame) const {
  return !sets_.empty() && std::ranges::equal(syntax_->FindSets(frame), sets_, AreEqual);
}

FrameHeads::Bytes FrameHeads::OnlySequence() const {
  const auto isSequence = [this](Bytes set) { return syntax_->TypeOf(set) == syntax_->sets[0]; };
  const auto found = std::ranges::find_if(sets_, isSequence);
  return std::ranges::count_if(sets_, isSequence) == 1 ? *found : Bytes();
}

}  // namespace mpg
