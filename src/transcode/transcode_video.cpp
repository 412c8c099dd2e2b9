#include "transcode/transcode_video.h"

#include <utility>

#include "media/codec.h"
#include "media/stream_finder.h"
#include "media/timestamps.h"

namespace mpg {

AVStream* FindUsableVideo(const Input& input, const TranscodeParams& params) {
  AVStream* const source = FindMovingVideo(input.Context());
  const AVCodecID codecId = source == nullptr ? AV_CODEC_ID_NONE : source->codecpar->codec_id;
  const AVCodecID wanted = VideoCodec(params, codecId);
  const bool isKnown = !AsksForVideo(params) || avcodec_find_decoder(codecId) != nullptr;
  return source != nullptr && isKnown && avcodec_find_encoder(wanted) != nullptr ? source : nullptr;
}

TranscodeVideo::TranscodeVideo(Output& output, const Input& input, AVStream& source,
                               const TranscodeParams& params, StreamProgress& progress)
    : output_(output), progress_(progress) {
  if (!AsksForVideo(params)) {
    stream_ = AddCopiedVideoStream(output, source, {.keepsTimeBase = true});
    return;
  }
  VideoReencode video = OpenVideoReencode(output, input, source, params);
  stream_ = video.stream;
  decoder_ = std::move(video.decoder);
  encoder_ = std::move(video.encoder);
  videoEncoder_.emplace(*encoder_, output, *stream_.source, *stream_.target);
}

void TranscodeVideo::Take(AVPacket& packet) {
  if (IsKnown(packet.pts) && !progress_.ReportTime(packet.pts)) return;
  DelayPacket(packet, -origin_);
  const std::int64_t time = IsKnown(packet.pts) ? packet.pts : packet.dts;
  if (IsKnown(time)) time_ = time;
  if (videoEncoder_) {
    Decode(&packet);
  } else {
    if (!IsKnown(packet.pts)) packet.pts = packet.dts;
    if (IsKnown(packet.pts)) Copy(packet);
  }
}

// A frame that others refer to takes them along.
bool TranscodeVideo::MayBeDropped(const AVPacket& packet) const {
  const auto rate = [](AVRational timeBase) { return timeBase.den / timeBase.num; };
  const bool isFiner = rate(stream_.source->time_base) > rate(stream_.target->time_base);
  const bool isRepeat = IsKnown(lastPts_) && packet.pts <= lastPts_ && guard_.IsTaken(packet);
  return isFiner && isRepeat && (packet.flags & AV_PKT_FLAG_DISPOSABLE) != 0;
}

void TranscodeVideo::Copy(AVPacket& packet) {
  MovePacket(packet, *stream_.source, *stream_.target);
  if (MayBeDropped(packet)) return;
  guard_.Place(packet);
  GiveDuration(packet, *stream_.source, *stream_.target);
  lastPts_ = packet.pts;
  Check(output_.Write(packet));
}

void TranscodeVideo::Decode(const AVPacket* packet) {
  Check(DecodePacket(*decoder_, packet, *frame_, [this] {
    frame_->pts = clock_.TimeOf(*frame_);
    if (IsKnown(frame_->pts)) videoEncoder_->Encode(*frame_, stream_.source->time_base);
  }));
}

void TranscodeVideo::DrainDecoder() {
  if (videoEncoder_) Decode(nullptr);
}

void TranscodeVideo::DrainEncoder() {
  if (videoEncoder_)
    videoEncoder_->Drain([this] { return progress_.IsStopped() || progress_.AskAgain(); });
}

}  // namespace mpg
