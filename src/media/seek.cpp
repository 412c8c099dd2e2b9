#include "media/seek.h"

#include <optional>

#include "media/timestamps.h"

namespace mpg {
namespace {

int Seek(Input& input, AVCodecContext& decoder, const AVStream& stream, std::int64_t timeStamp,
         int flags) {
  const int result = input.Seek(stream, timeStamp, flags | AVSEEK_FLAG_FRAME);
  avcodec_flush_buffers(&decoder);
  return result;
}

enum class Landing {
  kAtKey,    // a key frame follows that isn't later than the time wanted
  kBetween,  // none does
  kAtStart   // none does, and nothing lies further ahead
};

// Where a seek led: some containers are sought by time alone.
Landing LandingOf(Input& input, const AVStream& stream, std::int64_t wanted) {
  const PacketPtr packet = MakePacket();
  std::optional<std::int64_t> first;
  while (input.Read(*packet) == 0) {
    if (packet->stream_index != stream.index) continue;
    const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    const std::int64_t time = isKey || !IsKnown(packet->dts) ? packet->pts : packet->dts;
    if (isKey && (!IsKnown(time) || time <= wanted)) return Landing::kAtKey;
    if (!first) first = time;
    if (isKey || !IsKnown(time) || time > wanted) break;
  }
  const bool isAtStart = first && IsKnown(*first) && *first <= TimeStampAt(stream, 0);
  return isAtStart ? Landing::kAtStart : Landing::kBetween;
}

// For streams in which no packet counts as a key frame: the decoder finds out where it can begin.
// Transport and program streams are read from their first byte on.
int SeekToStart(Input& input, AVCodecContext& decoder, const AVStream& stream) {
  const bool hasBytes = (input.Context()->iformat->flags & AVFMT_TS_DISCONT) != 0;
  if (hasBytes && Seek(input, decoder, stream, 0, AVSEEK_FLAG_BYTE) >= 0) return 0;
  return Seek(input, decoder, stream, TimeStampAt(stream, 0),
              AVSEEK_FLAG_ANY | AVSEEK_FLAG_BACKWARD);
}

}  // namespace

std::int64_t TimeStampAt(const AVStream& stream, std::uint32_t second) {
  const std::int64_t ticks =
      av_rescale_rnd(second, stream.time_base.den, stream.time_base.num, AV_ROUND_ZERO);
  return IsKnown(stream.start_time) ? av_sat_add64(ticks, stream.start_time) : ticks;
}

int SeekVideoToSecond(Input& input, AVCodecContext& decoder, const AVStream& stream,
                      std::uint32_t second) {
  constexpr std::uint32_t kEarlierSeconds = 59;
  const auto seek = [&](std::int64_t timeStamp, int flags) {
    return Seek(input, decoder, stream, timeStamp, flags);
  };
  const std::int64_t wanted = TimeStampAt(stream, second);
  const std::uint32_t earliest = second > kEarlierSeconds ? second - kEarlierSeconds : 0;
  int result = -1;
  auto landing = Landing::kBetween;
  for (std::int64_t at = second; at >= earliest && landing != Landing::kAtStart; --at) {
    const std::int64_t timeStamp = TimeStampAt(stream, static_cast<std::uint32_t>(at));
    // The first seek only asks whether the time can be reached at all.
    result = seek(timeStamp, AVSEEK_FLAG_ANY);
    if (result >= 0) result = seek(timeStamp, AVSEEK_FLAG_BACKWARD);
    if (result < 0) continue;
    landing = LandingOf(input, stream, wanted);
    result = seek(timeStamp, AVSEEK_FLAG_BACKWARD);
    if (landing == Landing::kAtKey) {
      input.SkipToKeyFrame(stream);
      return result;
    }
  }
  const bool isAtStart = earliest == 0 || landing == Landing::kAtStart;
  if (isAtStart && result >= 0) {
    // Decoding starts ahead of the first frame's time.
    const std::int64_t secondOfTicks = av_rescale(1, stream.time_base.den, stream.time_base.num);
    const std::int64_t ahead = TimeStampAt(stream, 0) - secondOfTicks;
    seek(ahead, AVSEEK_FLAG_BACKWARD);
    landing = LandingOf(input, stream, wanted);
    result = seek(ahead, AVSEEK_FLAG_BACKWARD);
    if (landing == Landing::kAtKey) return result;
  }
  const int start = SeekToStart(input, decoder, stream);
  if (start >= 0) return start;
  return earliest == 0 ? -1 : result;
}

}  // namespace mpg
