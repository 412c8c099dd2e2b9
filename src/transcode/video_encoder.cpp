#include "transcode/video_encoder.h"

#include <algorithm>

#include "media/ffmpeg_versions.h"
#include "media/timestamps.h"
#include "transcode/video_encoder_setup.h"

namespace mpg {
VideoEncoder::VideoEncoder(AVCodecContext& encoder, Output& output, const AVStream& source,
                           const AVStream& target)
    : encoder_(encoder),
      output_(output),
      target_(target),
      converter_(encoder, OrientationToApply(source, *output.Context()->oformat)) {}

void VideoEncoder::Encode(AVFrame& frame, AVRational timeBase) {
  const std::int64_t pts = RescaleTime(frame.pts, timeBase, target_.time_base);
  // A coarser time base has no place for every frame.
  if (IsKnown(lastPts_) && pts <= lastPts_) return;
  lastPts_ = pts;
  std::int64_t clock = RescaleTime(frame.pts, timeBase, encoder_.time_base);
  if (IsKnown(lastClock_)) clock = std::max(clock, lastClock_ + 1);
  lastClock_ = clock;
  if (CountsFrames(*encoder_.codec)) times_.push(pts);
  AVFrame& ready = converter_.Convert(frame);
  ready.pts = clock;
  // Frames that aren't interlaced don't tell, and the encoder would change its order for them.
  const bool codesFields = (encoder_.flags & AV_CODEC_FLAG_INTERLACED_DCT) != 0;
  if (codesFields && !IsInterlaced(ready)) {
    SetTopFieldFirst(ready, IsTopFieldFirst(encoder_.field_order));
  }
  // The encoder chooses for itself.
  ready.pict_type = AV_PICTURE_TYPE_NONE;
  Send(ready);
}

void VideoEncoder::Drain(const std::function<bool()>& goOn) {
  const int result = avcodec_send_frame(&encoder_, nullptr);
  if (result != AVERROR_EOF) Check(result);
  while (goOn() && Receive()) {
  }
}

void VideoEncoder::Send(const AVFrame& frame) {
  Check(avcodec_send_frame(&encoder_, &frame));
  while (Receive()) {
  }
}

bool VideoEncoder::Receive() {
  const int result = avcodec_receive_packet(&encoder_, packet_.get());
  if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return false;
  Check(result);
  Write();
  return true;
}

void VideoEncoder::Write() {
  if (packet_->duration == 0) {
    packet_->duration = av_rescale_q(1, av_inv_q(encoder_.framerate), encoder_.time_base);
  }
  RescalePacket(*packet_, encoder_.time_base, target_.time_base);
  if (!times_.empty()) PutTimeOfFrame();
  packet_->pos = -1;
  packet_->stream_index = target_.index;
  Check(output_.Write(*packet_));
}

void VideoEncoder::PutTimeOfFrame() {
  const std::int64_t time = times_.front();
  times_.pop();
  // MPEG-1 and MPEG-2 streams are decoded one frame ahead of what is shown.
  const bool isAhead = packet_->dts < packet_->pts;
  const std::int64_t before = IsKnown(lastTime_) ? lastTime_ : time - packet_->duration;
  packet_->pts = time;
  packet_->dts = isAhead ? before : time;
  lastTime_ = time;
}

}  // namespace mpg
