#include "media/seek.h"

#include "media/timestamps.h"

namespace mpg {
namespace {

int Seek(const Input& input, AVCodecContext& decoder, int stream, std::int64_t timeStamp,
         int flags) {
  const int result = av_seek_frame(input.Context(), stream, timeStamp, flags | AVSEEK_FLAG_FRAME);
  avcodec_flush_buffers(&decoder);
  return result;
}

// Some containers are sought by time alone. True when what comes next can be decoded.
bool IsAtKeyPicture(Input& input, int stream) {
  const PacketPtr packet = MakePacket();
  while (input.Read(*packet) == 0) {
    if (packet->stream_index == stream) return (packet->flags & AV_PKT_FLAG_KEY) != 0;
  }
  return false;
}

}  // namespace

std::int64_t TimeStampAt(const AVStream& stream, std::uint32_t second) {
  const std::int64_t ticks =
      av_rescale_rnd(second, stream.time_base.den, stream.time_base.num, AV_ROUND_ZERO);
  return IsKnown(stream.start_time) ? ticks + stream.start_time : ticks;
}

int SeekVideoToSecond(Input& input, AVCodecContext& decoder, const AVStream& stream,
                      std::uint32_t second) {
  constexpr int kAttempts = 60;
  int result = -1;
  for (int attempt = 0; attempt < kAttempts; ++attempt, --second) {
    const std::int64_t timeStamp = TimeStampAt(stream, second);
    const auto seek = [&](int flags) {
      return Seek(input, decoder, stream.index, timeStamp, flags);
    };
    // The first seek only asks whether the time can be reached at all.
    result = seek(AVSEEK_FLAG_ANY);
    if (result >= 0) result = seek(AVSEEK_FLAG_BACKWARD);
    if (result >= 0) {
      const bool isUsable = IsAtKeyPicture(input, stream.index);
      result = seek(AVSEEK_FLAG_BACKWARD);
      if (isUsable) return result;
    }
    if (second == 0) return result >= 0 ? result : -1;
  }
  return result;
}

}  // namespace mpg
