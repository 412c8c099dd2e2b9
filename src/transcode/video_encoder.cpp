#include "transcode/video_encoder.h"

#include <algorithm>

#include "media/ffmpeg_versions.h"
#include "media/stream_copy.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

// The rate control of FFmpeg's own encoders takes each tick of the time base for a picture: with a
// finer clock a picture would get next to nothing. The wrapped libraries ask for the frame rate.
bool CountsPictures(const AVCodec& codec) {
  return codec.wrapper_name == nullptr;
}

AVRational TimeOfOnePicture(const AVStream& source) {
  constexpr std::int64_t kMpeg4Limit = 65535;
  const AVRational rate = FrameRate(source);
  AVRational time{};
  av_reduce(&time.num, &time.den, rate.den, rate.num, kMpeg4Limit);
  return time;
}

AVPixelFormat PixelFormatFor(const AVCodec& codec, AVPixelFormat wanted) {
  const std::span<const AVPixelFormat> formats = PixelFormats(codec);
  if (formats.empty() || std::ranges::count(formats, wanted) > 0) return wanted;
  // FFmpeg's list ends with an entry of no format.
  return avcodec_find_best_pix_fmt_of_list(formats.data(), wanted, 0, nullptr);
}

}  // namespace

CodecPtr MakeVideoEncoder(const VideoEncoderRequest& request) {
  CodecPtr encoder = MakeEncoder(request.codecId);
  const AVCodecParameters& parameters = *request.source.codecpar;
  const AVCodecContext& decoder = request.decoder;
  encoder->width = decoder.width;
  encoder->height = decoder.height;
  encoder->pix_fmt = PixelFormatFor(*encoder->codec, decoder.pix_fmt);
  encoder->sample_aspect_ratio = request.source.sample_aspect_ratio.num != 0
                                     ? request.source.sample_aspect_ratio
                                     : decoder.sample_aspect_ratio;
  encoder->color_range = parameters.color_range;
  encoder->color_primaries = parameters.color_primaries;
  encoder->color_trc = parameters.color_trc;
  encoder->colorspace = parameters.color_space;
  encoder->chroma_sample_location = parameters.chroma_location;
  encoder->bit_rate = parameters.bit_rate > 0 ? parameters.bit_rate : request.fileBitRate;
  encoder->gop_size = decoder.gop_size;
  encoder->framerate = FrameRate(request.source);
  encoder->time_base = CountsPictures(*encoder->codec)
                           ? TimeOfOnePicture(request.source)
                           : PictureTimeBase(request.muxer, request.source);
  encoder->thread_count = 0;
  return encoder;
}

void DescribeVideoEncoder(const AVCodecContext& encoder, AVRational timeBase, AVStream& target) {
  DescribeEncoder(encoder, target);
  target.time_base = timeBase;
  target.avg_frame_rate = encoder.framerate;
  target.sample_aspect_ratio = encoder.sample_aspect_ratio;
}

VideoEncoder::VideoEncoder(AVCodecContext& encoder, Output& output, const AVStream& target)
    : encoder_(encoder), output_(output), target_(target) {}

void VideoEncoder::Encode(AVFrame& picture, AVRational timeBase) {
  const std::int64_t pts = RescaleTime(picture.pts, timeBase, target_.time_base);
  // A coarser time base has no place for every picture.
  if (IsKnown(lastPts_) && pts <= lastPts_) return;
  lastPts_ = pts;
  std::int64_t clock = RescaleTime(picture.pts, timeBase, encoder_.time_base);
  if (IsKnown(lastClock_)) clock = std::max(clock, lastClock_ + 1);
  lastClock_ = clock;
  if (CountsPictures(*encoder_.codec)) times_.push(pts);
  AVFrame& ready = Scaled(picture);
  ready.pts = clock;
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

AVFrame& VideoEncoder::Scaled(const AVFrame& picture) {
  const bool fits = picture.width == encoder_.width && picture.height == encoder_.height &&
                    picture.format == encoder_.pix_fmt;
  if (fits) return const_cast<AVFrame&>(picture);
  scaler_.reset(sws_getCachedContext(
      scaler_.release(), picture.width, picture.height, static_cast<AVPixelFormat>(picture.format),
      encoder_.width, encoder_.height, encoder_.pix_fmt, SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (scaler_ == nullptr) throw Error(AVERROR_UNKNOWN);
  // A new buffer each time: the encoder may still look at the last one.
  scaled_ = MakeFrame();
  scaled_->format = encoder_.pix_fmt;
  scaled_->width = encoder_.width;
  scaled_->height = encoder_.height;
  Check(av_frame_copy_props(scaled_.get(), &picture));
  Check(sws_scale_frame(scaler_.get(), scaled_.get(), &picture));
  return *scaled_;
}

void VideoEncoder::Send(const AVFrame& picture) {
  Check(avcodec_send_frame(&encoder_, &picture));
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
  if (!times_.empty()) PutTimeOfPicture();
  packet_->pos = -1;
  packet_->stream_index = target_.index;
  Check(output_.Write(*packet_));
}

void VideoEncoder::PutTimeOfPicture() {
  const std::int64_t time = times_.front();
  times_.pop();
  // MPEG-1 and MPEG-2 streams are decoded one picture ahead of what is shown.
  const bool isAhead = packet_->dts < packet_->pts;
  const std::int64_t before = IsKnown(lastTime_) ? lastTime_ : time - packet_->duration;
  packet_->pts = time;
  packet_->dts = isAhead ? before : time;
  lastTime_ = time;
}

}  // namespace mpg
