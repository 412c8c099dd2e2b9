#include "remux/timestamp_maker.h"

#include "media/ffmpeg_versions.h"

namespace mpg {
namespace {

constexpr double kMicroseconds = 1'000'000;
constexpr std::int64_t kFallbackFrame = 40'000;  // 25 frames a second

// Length of a frame in microseconds, cut off.
std::int64_t FrameDuration(const AVPacket& packet, const AVStream& stream) {
  const AVRational rate = RealFrameRate(stream);
  if (rate.num > 0 && rate.den > 0) {
    return static_cast<std::int64_t>(kMicroseconds / (static_cast<double>(rate.num) / rate.den));
  }
  const AVCodecParameters& parameters = *stream.codecpar;
  if (parameters.frame_size > 0 && parameters.sample_rate > 0) {
    return static_cast<std::int64_t>(kMicroseconds * parameters.frame_size /
                                     parameters.sample_rate);
  }
  if (packet.duration > 0) {
    return av_rescale_q(packet.duration, stream.time_base, AV_TIME_BASE_Q);
  }
  return kFallbackFrame;
}

}  // namespace

void TimeStampMaker::Stamp(AVPacket& packet, const AVStream& stream) {
  const std::int64_t frame = FrameDuration(packet, stream);
  const double tick =
      static_cast<double>(stream.time_base.num) / stream.time_base.den * kMicroseconds;
  packet.pts = static_cast<std::int64_t>(static_cast<double>(stamped_ * frame) / tick);
  packet.dts = packet.pts;
  packet.duration = static_cast<std::int64_t>(static_cast<double>(frame) / tick);
  ++stamped_;
}

}  // namespace mpg
