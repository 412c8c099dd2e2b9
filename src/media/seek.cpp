#include "media/seek.h"

#include <optional>
#include <utility>

#include "media/timestamps.h"

namespace mpg {
namespace {

enum class Landing {
  kAtKey,    // a key frame follows that isn't later than the time wanted
  kBetween,  // none does
  kAtStart   // none does, and nothing lies further ahead
};

class VideoSeek {
 public:
  VideoSeek(Input& input, AVCodecContext& decoder, const AVStream& stream, std::int64_t wanted)
      : input_(input), decoder_(decoder), stream_(stream), wanted_(wanted) {}

  struct Attempt {
    int result = -1;
    Landing landing = Landing::kBetween;
  };

  Attempt ToSecond(std::uint32_t second) {
    const std::int64_t timeStamp = TimeStampAt(stream_, second);
    // This only asks whether the time can be reached at all.
    const int result = Seek(timeStamp, AVSEEK_FLAG_ANY);
    return result < 0 ? Attempt{result} : To(timeStamp);
  }

  // Decoding starts ahead of the first frame's time.
  Attempt AheadOfStart() {
    const std::int64_t second = av_rescale(1, stream_.time_base.den, stream_.time_base.num);
    return To(TimeStampAt(stream_, 0) - second);
  }

  // For streams in which no packet counts as a key frame: the decoder finds out where it can begin.
  // Transport and program streams are read from their first byte on.
  int ToStart() {
    const bool hasBytes = (input_.Context()->iformat->flags & AVFMT_TS_DISCONT) != 0;
    if (hasBytes && Seek(0, AVSEEK_FLAG_BYTE) >= 0) return 0;
    return Seek(TimeStampAt(stream_, 0), AVSEEK_FLAG_ANY | AVSEEK_FLAG_BACKWARD);
  }

  // Passes over the stream's packets in front of its next key frame, where others may lie.
  void SkipToKeyFrame() {
    for (bool isFound = false; !isFound;) {
      PacketPtr packet = MakePacket();
      if (input_.ReadAhead(*packet) < 0) return;
      const bool isOfStream = packet->stream_index == stream_.index;
      isFound = isOfStream && (packet->flags & AV_PKT_FLAG_KEY) != 0;
      if (isFound || !isOfStream) input_.PutBack(std::move(packet));
    }
  }

 private:
  int Seek(std::int64_t timeStamp, int flags) {
    const int result = input_.Seek(stream_, timeStamp, flags | AVSEEK_FLAG_FRAME);
    avcodec_flush_buffers(&decoder_);
    return result;
  }

  Attempt To(std::int64_t timeStamp) {
    const int result = Seek(timeStamp, AVSEEK_FLAG_BACKWARD);
    if (result < 0) return {result};
    const Landing landing = FindLanding();
    return {Seek(timeStamp, AVSEEK_FLAG_BACKWARD), landing};
  }

  // Some containers are sought by time alone.
  Landing FindLanding() {
    const PacketPtr packet = MakePacket();
    std::optional<std::int64_t> first;
    while (input_.Read(*packet) == 0) {
      if (packet->stream_index != stream_.index) continue;
      const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
      const std::int64_t time = isKey || !IsKnown(packet->dts) ? packet->pts : packet->dts;
      if (isKey && (!IsKnown(time) || time <= wanted_)) return Landing::kAtKey;
      if (!first) first = time;
      if (isKey || !IsKnown(time) || time > wanted_) break;
    }
    const bool isAtStart = first && IsKnown(*first) && *first <= TimeStampAt(stream_, 0);
    return isAtStart ? Landing::kAtStart : Landing::kBetween;
  }

  Input& input_;
  AVCodecContext& decoder_;
  const AVStream& stream_;
  const std::int64_t wanted_;
};

}  // namespace

std::int64_t TimeStampAt(const AVStream& stream, std::uint32_t second) {
  const std::int64_t ticks =
      av_rescale_rnd(second, stream.time_base.den, stream.time_base.num, AV_ROUND_ZERO);
  return IsKnown(stream.start_time) ? av_sat_add64(ticks, stream.start_time) : ticks;
}

int SeekVideoToSecond(Input& input, AVCodecContext& decoder, const AVStream& stream,
                      std::uint32_t second) {
  constexpr std::uint32_t kEarlierSeconds = 59;
  const std::uint32_t earliest = second > kEarlierSeconds ? second - kEarlierSeconds : 0;
  VideoSeek seek(input, decoder, stream, TimeStampAt(stream, second));
  VideoSeek::Attempt attempt;
  std::uint32_t at = second;
  do {
    attempt = seek.ToSecond(at);
    if (attempt.landing == Landing::kAtKey) {
      seek.SkipToKeyFrame();
      return attempt.result;
    }
  } while (attempt.landing != Landing::kAtStart && at-- > earliest);

  const bool isAtStart = earliest == 0 || attempt.landing == Landing::kAtStart;
  if (isAtStart && attempt.result >= 0) {
    attempt = seek.AheadOfStart();
    if (attempt.landing == Landing::kAtKey) return attempt.result;
  }
  const int start = seek.ToStart();
  if (start >= 0) return start;
  return earliest == 0 ? -1 : attempt.result;
}

}  // namespace mpg
