#include "media/stream_copy.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "media/ffmpeg_versions.h"
#include "media/stream_finder.h"
#include "mpg/mpg.h"

namespace mpg {
namespace {

// The codec itself isn't used; it shows that FFmpeg knows the stream's kind.
AVStream* AddTwin(Output& output, const AVStream& source, const AVCodec* codec) {
  if (codec == nullptr) throw Error(AVERROR_UNKNOWN);
  AVStream* const target = output.AddStream(codec);
  Check(avcodec_parameters_copy(target->codecpar, source.codecpar));
  // Tags differ between containers; the muxer knows its own.
  target->codecpar->codec_tag = 0;
  return target;
}

bool IsAvi(const AVOutputFormat& muxer) {
  return std::string_view(muxer.name) == "avi";
}

// Of AVI: frames a second where all are there. The average is less where some are missing, as in
// screen recordings, and the others would find no tick at their time.
AVRational TickRate(const AVStream& source) {
  constexpr double kHighest = 60, kSlightly = 0.01, kFields = 2;
  const AVRational average = FrameRate(source), ticks = source.r_frame_rate;
  if (ticks.num <= 0 || ticks.den <= 0 || av_q2d(ticks) > kHighest) return average;
  const double share = av_q2d(ticks) / av_q2d(average);
  const bool isEven = share < 1 + kSlightly || std::abs(share - kFields) < kSlightly;
  return isEven ? average : ticks;
}

}  // namespace

void CopyPresentation(const AVStream& source, AVStream& target) {
  const AVRational shape = source.sample_aspect_ratio.num != 0
                               ? source.sample_aspect_ratio
                               : source.codecpar->sample_aspect_ratio;
  target.sample_aspect_ratio = shape;
  target.codecpar->sample_aspect_ratio = shape;
  for (const AVPacketSideData& entry : SideData(source)) AddSideData(target, entry);
}

AVRational FrameRate(const AVStream& source) {
  constexpr AVRational kFallback{25, 1};
  constexpr double kImplausible = 1000;
  // AVI's ticks may be half frames, which it announces as its frames.
  const double ticks = av_q2d(source.avg_frame_rate), frames = av_q2d(source.r_frame_rate);
  const bool countsHalves = frames > 0 && ticks / frames > 1.5;
  if (countsHalves && frames < kImplausible) return source.r_frame_rate;
  for (const AVRational rate : {source.avg_frame_rate, source.r_frame_rate}) {
    if (rate.num > 0 && rate.den > 0 && av_q2d(rate) < kImplausible) return rate;
  }
  return kFallback;
}

void GiveDuration(AVPacket& packet, const AVStream& source, const AVStream& target) {
  if (packet.duration > 0) return;
  const std::int64_t frame = av_rescale_q(1, av_inv_q(FrameRate(source)), target.time_base);
  packet.duration = std::max<std::int64_t>(frame, 1);
}

AVRational VideoTimeBase(const AVOutputFormat& muxer, const AVStream& source) {
  return IsAvi(muxer) ? av_inv_q(TickRate(source)) : source.time_base;
}

CopiedStream AddCopiedVideoStream(Output& output, AVStream& source, VideoCopy copy) {
  const auto findCodec =
      copy.known == VideoCopy::Known::kToEncode ? avcodec_find_encoder : avcodec_find_decoder;
  AVStream* const target = AddTwin(output, source, findCodec(source.codecpar->codec_id));
  CopyPresentation(source, *target);
  const AVOutputFormat& muxer = *output.Context()->oformat;
  if (copy.keepsTimeBase || IsAvi(muxer)) target->time_base = VideoTimeBase(muxer, source);
  return {&source, target};
}

CopiedStream AddReencodedVideoStream(Output& output, AVStream& source) {
  const AVCodec* const codec = avcodec_find_encoder(source.codecpar->codec_id);
  if (codec == nullptr) throw Error(AVERROR_UNKNOWN);
  return {&source, output.AddStream(codec)};
}

CopiedStream AddCopiedAudioStream(Output& output, const Input& input) {
  const int index = FindCopiableAudioStream(input.Context());
  if (index < 0) throw Error(MPG_ERR_AUDIO_STREAM_NOT_FOUND);
  AVStream* const source = input.Streams()[static_cast<std::size_t>(index)];
  AVStream* const target =
      AddTwin(output, *source, avcodec_find_encoder(source->codecpar->codec_id));
  target->duration = source->duration;
  target->time_base = source->time_base;
  target->sample_aspect_ratio = source->codecpar->sample_aspect_ratio;
  return {source, target};
}

}  // namespace mpg
