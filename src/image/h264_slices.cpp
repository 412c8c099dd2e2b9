#include "image/h264_slices.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>

namespace mpg {
namespace {

using Bytes = std::span<const std::uint8_t>;

// Units are either preceded by their length, in as many bytes as the stream's header says, or by a
// start code; 0 for those.
std::size_t LengthBytes(const AVCodecParameters& parameters) {
  constexpr int kHeaderBytes = 7;
  if (parameters.extradata_size < kHeaderBytes || parameters.extradata[0] != 1) return 0;
  return std::size_t{parameters.extradata[4]} % 4 + 1;
}

// Takes the next unit, where possible with its end, off the data; empty when there is none.
Bytes TakeUnit(Bytes& data, std::size_t lengthBytes) {
  if (lengthBytes == 0) {
    constexpr std::uint8_t kStartCode[] = {0, 0, 1};
    const auto found =
        std::search(data.begin(), data.end(), std::begin(kStartCode), std::end(kStartCode));
    data = found == data.end() ? Bytes() : Bytes(found + std::ssize(kStartCode), data.end());
    return data;
  }
  if (data.size() <= lengthBytes) return {};
  std::size_t length = 0;
  for (const std::uint8_t byte : data.first(lengthBytes)) length = length << 8 | byte;
  data = data.subspan(lengthBytes);
  const Bytes unit = data.first(std::min(length, data.size()));
  data = data.subspan(unit.size());
  return unit;
}

// The type in a slice's header, its second number; both are Exp-Golomb codes of small numbers,
// which the first 8 bytes hold.
std::optional<unsigned> SliceType(Bytes unit) {
  constexpr unsigned kSlice = 1;
  constexpr unsigned kKeySlice = 5;
  const unsigned kind = unit[0] & 31U;
  if (kind != kSlice && kind != kKeySlice) return std::nullopt;
  std::uint64_t bits = 0;
  for (std::size_t i = 1; i <= 8; ++i) bits = bits << 8 | (i < unit.size() ? unit[i] : 0U);
  const int firstMacroblock = 2 * std::countl_zero(bits) + 1;
  if (firstMacroblock > 40) return std::nullopt;
  bits <<= firstMacroblock;
  const int zeros = std::countl_zero(bits);
  return zeros > 3 ? 0U : static_cast<unsigned>((bits >> (63 - 2 * zeros)) - 1) % 5;
}

}  // namespace

bool HasOnlyIntraSlices(const AVCodecParameters& parameters, const AVPacket& packet) {
  constexpr unsigned kIntra = 2;
  const std::size_t lengthBytes = LengthBytes(parameters);
  Bytes data(packet.data, static_cast<std::size_t>(packet.size));
  bool hasSlices = false;
  for (;;) {
    const Bytes unit = TakeUnit(data, lengthBytes);
    if (unit.empty()) return hasSlices;
    if (const auto type = SliceType(unit)) {
      if (*type != kIntra) return false;
      hasSlices = true;
    }
  }
}

}  // namespace mpg
