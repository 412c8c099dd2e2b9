#include "media/seek.h"

#include "media/timestamps.h"

namespace mpg {
namespace {

int Seek(Input& input, AVCodecContext& decoder, const AVStream& stream, std::int64_t timeStamp,
         int flags) {
  const int result = input.Seek(stream, timeStamp, flags | AVSEEK_FLAG_FRAME);
  avcodec_flush_buffers(&decoder);
  return result;
}

// Some containers are sought by time alone. True when a key picture follows that isn't later than
// the time wanted.
bool KeyPictureFollows(Input& input, const AVStream& stream, std::int64_t wanted) {
  const PacketPtr packet = MakePacket();
  while (input.Read(*packet) == 0) {
    if (packet->stream_index != stream.index) continue;
    const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    const std::int64_t time = isKey || !IsKnown(packet->dts) ? packet->pts : packet->dts;
    if (isKey || !IsKnown(time) || time > wanted)
      return isKey && (!IsKnown(time) || time <= wanted);
  }
  return false;
}

// For streams in which no packet counts as a key picture: the decoder finds out where it can begin.
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
  constexpr int kAttempts = 60;
  const auto seek = [&](std::int64_t timeStamp, int flags) {
    return Seek(input, decoder, stream, timeStamp, flags);
  };
  const std::int64_t wanted = TimeStampAt(stream, second);
  int result = -1;
  for (int attempt = 0; attempt < kAttempts; ++attempt, --second) {
    const std::int64_t timeStamp = TimeStampAt(stream, second);
    // The first seek only asks whether the time can be reached at all.
    result = seek(timeStamp, AVSEEK_FLAG_ANY);
    if (result >= 0) result = seek(timeStamp, AVSEEK_FLAG_BACKWARD);
    if (result >= 0) {
      const bool isUsable = KeyPictureFollows(input, stream, wanted);
      result = seek(timeStamp, AVSEEK_FLAG_BACKWARD);
      if (isUsable) {
        input.SkipToKeyPicture(stream);
        return result;
      }
    }
    if (second == 0) break;
  }
  if (second == 0 && result >= 0) {
    // Decoding starts ahead of the first picture's time.
    const std::int64_t secondOfTicks = av_rescale(1, stream.time_base.den, stream.time_base.num);
    const std::int64_t ahead = TimeStampAt(stream, 0) - secondOfTicks;
    seek(ahead, AVSEEK_FLAG_BACKWARD);
    const bool isUsable = KeyPictureFollows(input, stream, wanted);
    result = seek(ahead, AVSEEK_FLAG_BACKWARD);
    if (isUsable) return result;
  }
  const int start = SeekToStart(input, decoder, stream);
  if (start >= 0) return start;
  return second == 0 ? -1 : result;
}

}  // namespace mpg
