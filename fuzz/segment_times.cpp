#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "media/handles.h"
#include "remux/segment_timing.h"

namespace mpg::fuzz {
namespace {

// Takes a number off the input; 0 behind its end.
template <class Number>
Number Next(Input& input) {
  Number number{};
  const std::size_t size = std::min(sizeof number, input.size());
  std::memcpy(&number, input.data(), size);
  input = input.subspan(size);
  return number;
}

// Ordinary times most often, any number now and then.
std::int64_t NextTime(Input& input) {
  switch (Next<std::uint8_t>(input) % 8) {
    case 0:
      return Next<std::int64_t>(input);
    case 1:
      return AV_NOPTS_VALUE;
    default:
      return Next<std::int16_t>(input);
  }
}

void ReadTimes(Input& input, AVPacket& packet) {
  packet.pts = NextTime(input);
  packet.dts = NextTime(input);
  packet.duration = Next<std::int16_t>(input);
  if (packet.pts == AV_NOPTS_VALUE) packet.pts = 0;
}

}  // namespace

void SegmentTimes(Input input) {
  constexpr std::int64_t kLimit = std::numeric_limits<std::int64_t>::max();
  SegmentTimeline timeline(Next<std::uint8_t>(input) % 2 != 0, {1, 90000}, {1, 48000});
  std::optional<std::int64_t> last[2];
  const PacketPtr packet = MakePacket();
  while (!input.empty()) {
    const auto step = Next<std::uint8_t>(input);
    if (step % 8 == 0) {
      std::optional<SegmentTimeline::Start> starts[2];
      for (int i = 0; i < 2; ++i) {
        ReadTimes(input, *packet);
        if ((step >> (3 + i)) % 2 == 0) starts[i] = SegmentTimeline::StartOf(*packet);
      }
      timeline.BeginSegment(starts[0], starts[1]);
      continue;
    }
    ReadTimes(input, *packet);
    const auto kind = step % 2 == 0 ? SegmentTimeline::kVideo : SegmentTimeline::kAudio;
    timeline.Place(kind, *packet);
    Require(packet->pts >= packet->dts, "shown no earlier than decoded");
    Require(!last[kind] || packet->dts > *last[kind] || packet->dts == kLimit,
            "decoding times rise");
    last[kind] = packet->dts;
  }
}

}  // namespace mpg::fuzz
