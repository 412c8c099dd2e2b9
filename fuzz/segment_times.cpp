#include <cstring>
#include <limits>

#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "media/handles.h"
#include "remux/segment_timing.h"

namespace mpg::fuzz {
namespace {

// Reads numbers off the input; 0 behind its end.
class Numbers {
 public:
  explicit Numbers(Input input) : input_(input) {}

  bool AreLeft() const { return !input_.empty(); }

  template <class Number>
  Number Next() {
    Number number{};
    const std::size_t size = std::min(sizeof number, input_.size());
    std::memcpy(&number, input_.data(), size);
    input_ = input_.subspan(size);
    return number;
  }

 private:
  Input input_;
};

// Ordinary times most often, any number now and then.
std::int64_t NextTime(Numbers& numbers) {
  switch (numbers.Next<std::uint8_t>() % 8) {
    case 0:
      return numbers.Next<std::int64_t>();
    case 1:
      return AV_NOPTS_VALUE;
    default:
      return numbers.Next<std::int16_t>();
  }
}

class Stream {
 public:
  void Require(const AVPacket& packet) {
    constexpr std::int64_t kLimit = std::numeric_limits<std::int64_t>::max();
    fuzz::Require(packet.pts >= packet.dts, "shown no earlier than decoded");
    const bool rises = packet.dts > last_ || packet.dts == kLimit;
    fuzz::Require(isFirst_ || rises, "decoding times rise");
    last_ = packet.dts;
    isFirst_ = false;
  }

 private:
  std::int64_t last_ = 0;
  bool isFirst_ = true;
};

}  // namespace

void SegmentTimes(Input input) {
  Numbers numbers(input);
  const bool closeGaps = numbers.Next<std::uint8_t>() % 2 != 0;
  SegmentTimeline timeline(closeGaps, {1, 90000}, {1, 48000});
  Stream streams[2];
  const PacketPtr packet = MakePacket();
  const auto readTimes = [&] {
    packet->pts = NextTime(numbers);
    packet->dts = NextTime(numbers);
    packet->duration = numbers.Next<std::int16_t>();
    if (packet->pts == AV_NOPTS_VALUE) packet->pts = 0;
  };
  while (numbers.AreLeft()) {
    const auto step = numbers.Next<std::uint8_t>();
    if (step % 8 == 0) {
      std::optional<SegmentTimeline::Start> starts[2];
      for (int i = 0; i < 2; ++i) {
        readTimes();
        if ((step >> (3 + i)) % 2 == 0) starts[i] = SegmentTimeline::StartOf(*packet);
      }
      timeline.BeginSegment(starts[0], starts[1]);
    } else {
      readTimes();
      const auto kind = step % 2 == 0 ? SegmentTimeline::kVideo : SegmentTimeline::kAudio;
      timeline.Place(kind, *packet);
      streams[kind].Require(*packet);
    }
  }
}

}  // namespace mpg::fuzz
