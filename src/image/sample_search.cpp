#include "image/sample_search.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <queue>
#include <utility>
#include <vector>

#include "media/seek.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

constexpr std::size_t kStride = 20;

// The presentation times of packets from a key frame on, in file order.
using Times = std::vector<std::int64_t>;

void SeekTo(VideoSource& source, std::uint32_t second) {
  Check(SeekVideoToSecond(source.File(), source.Decoder(), source.Stream(), second));
}

// Gives the decoder packets up to the one that brings the first frame out. The times of those;
// nothing unless the decoder holds back as many as it says and begins with the first packet.
std::optional<Times> DecodeFirst(VideoSource& source, AVPacket& packet, AVFrame& frame) {
  AVCodecContext& decoder = source.Decoder();
  Times times;
  for (;;) {
    if (source.Read(packet) < 0 || !IsKnown(packet.pts)) return std::nullopt;
    times.push_back(packet.pts);
    const Decoded decoded = Decode(decoder, &packet, frame);
    if (decoded == Decoded::kError) return std::nullopt;
    if (decoded == Decoded::kNothing) continue;
    const bool holdsBackAsSaid = std::cmp_equal(times.size(), decoder.has_b_frames + 1);
    return holdsBackAsSaid && frame.pts == times.front() ? std::optional(times) : std::nullopt;
  }
}

// Adds the times of packets up to the one with which the first sample at or behind `target` comes
// out, or the last. How many frames are out by then; 0 when reading fails.
std::size_t ReadToDecider(VideoSource& source, AVPacket& packet, std::int64_t target,
                          Times& times) {
  const std::size_t heldBack = times.size() - 1;
  for (;;) {
    const std::size_t shown = times.size() - heldBack;  // the last one with the last packet
    const bool isSample = (shown - 1) % kStride == 0;
    if (isSample && times.back() >= target) return shown;
    const int result = source.Read(packet);
    if (result == AVERROR_EOF) return shown;
    if (result < 0 || !IsKnown(packet.pts) || (packet.flags & AV_PKT_FLAG_CORRUPT) != 0) return 0;
    times.push_back(packet.pts);
  }
}

// Whether the frames come out in the order of their times, one with each packet: the times are
// distinct, none is ahead of the key frame's, and none waits for more packets than are held back.
bool ComeOutInOrder(const Times& times, const Times& sorted, std::size_t heldBack) {
  if (times.front() != sorted.front()) return false;
  if (std::ranges::adjacent_find(sorted) != sorted.end()) return false;
  // What the decoder would hold, least time first.
  std::priority_queue<std::int64_t, Times, std::greater<>> held;
  std::size_t shown = 0;
  for (const std::int64_t time : times) {
    held.push(time);
    if (held.size() <= heldBack) continue;
    if (held.top() != sorted[shown++]) return false;
    held.pop();
  }
  return true;
}

// Decodes again from the key frame, up to the frame of a time. Null when it doesn't come out.
FramePtr DecodeTo(VideoSource& source, AVPacket& packet, const Times& times, std::int64_t wanted) {
  AVCodecContext& decoder = source.Decoder();
  // What HEVC's decoder takes for unreferenced may be so only among frames of one layer.
  const bool canLeaveOut = decoder.codec_id == AV_CODEC_ID_H264;
  FramePtr frame = MakeFrame();
  for (const std::int64_t time : times) {
    if (source.Read(packet) < 0 || packet.pts != time) return nullptr;
    decoder.skip_frame = canLeaveOut && time != wanted ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    const Decoded decoded = Decode(decoder, &packet, *frame);
    if (decoded == Decoded::kError) return nullptr;
    if (decoded == Decoded::kFrame && frame->pts == wanted) return frame;
    if (time == wanted) break;
  }
  const AVPacket* const noMore = nullptr;
  while (Decode(decoder, noMore, *frame) == Decoded::kFrame) {
    if (frame->pts == wanted) return frame;
  }
  return nullptr;
}

// Which frame of those that come out is wanted.
std::size_t WantedNumber(std::size_t shown, bool isReached, Side side) {
  const std::size_t last = (shown - 1) / kStride * kStride;
  return isReached && side == Side::kBefore && last > 0 ? last - kStride : last;
}

FramePtr TryLookAhead(VideoSource& source, std::uint32_t second, Side side) {
  const std::int64_t target = TimeStampAt(source.Stream(), second);
  const PacketPtr packet = MakePacket();
  FramePtr first = MakeFrame();
  SeekTo(source, second);
  std::optional<Times> times = DecodeFirst(source, *packet, *first);
  if (!times) return nullptr;
  const std::size_t heldBack = times->size() - 1;
  const std::size_t shown = ReadToDecider(source, *packet, target, *times);
  if (shown == 0) return nullptr;
  Times sorted = *times;
  std::ranges::sort(sorted);
  if (!ComeOutInOrder(*times, sorted, heldBack)) return nullptr;

  const bool isReached = (shown - 1) % kStride == 0 && times->back() >= target;
  const std::size_t wanted = WantedNumber(shown, isReached, side);
  if (wanted == 0) return first;
  SeekTo(source, second);
  return DecodeTo(source, *packet, *times, sorted[wanted]);
}

}  // namespace

FramePtr LookAheadForSample(VideoSource& source, std::uint32_t second, Side side) {
  // Of these decoders it is known when frames come out.
  const AVCodecID codec = source.Decoder().codec_id;
  if (source.IsCover() || (codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_HEVC)) return nullptr;
  FramePtr frame = TryLookAhead(source, second, side);
  source.Decoder().skip_frame = AVDISCARD_DEFAULT;
  return frame;
}

FramePtr DecodeToSample(VideoSource& source, std::uint32_t second, Side side) {
  constexpr int kToleratedErrors = 26;
  std::int64_t target = std::numeric_limits<std::int64_t>::min();
  if (!source.IsCover()) {
    SeekTo(source, second);
    target = TimeStampAt(source.Stream(), second);
  }
  FramePtr before;
  const PacketPtr packet = MakePacket();
  FramePtr frame = MakeFrame();
  int errors = 0;
  std::size_t frames = 0;
  for (;;) {
    const int result = source.Read(*packet);
    if (result == AVERROR_EOF && before != nullptr) return before;
    Check(result);
    const Decoded decoded = Decode(source.Decoder(), packet.get(), *frame);
    if (decoded == Decoded::kError && ++errors > kToleratedErrors) throw Error(AVERROR_UNKNOWN);
    if (decoded != Decoded::kFrame || frames++ % kStride != 0) continue;
    // An unknown time stamp is smaller than any other.
    if (packet->pts >= target) {
      return side == Side::kBefore && before != nullptr ? std::move(before) : std::move(frame);
    }
    before = std::exchange(frame, MakeFrame());
  }
}

FramePtr FindSample(VideoSource& source, std::uint32_t second, Side side) {
  FramePtr sample = LookAheadForSample(source, second, side);
  if (sample == nullptr) sample = DecodeToSample(source, second, side);
  Check(source.File().FileError());
  return sample;
}

}  // namespace mpg
