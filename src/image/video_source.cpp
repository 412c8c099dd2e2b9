#include "image/video_source.h"

#include "media/analysis.h"
#include "media/stream_finder.h"

namespace mpg {
namespace {

// The first video that moves, else cover art.
const AVStream& FindVideo(const Input& input) {
  const AVStream* stream = FindMovingVideo(input.Context());
  if (stream == nullptr) stream = &RequireVideoStream(input);
  if (avcodec_find_encoder(stream->codecpar->codec_id) == nullptr) throw Error(AVERROR_UNKNOWN);
  return *stream;
}

}  // namespace

VideoSource::VideoSource(const char* path) : input_(OpenInput(path)), stream_(FindVideo(input_)) {
  input_.SelectStreams(stream_);
  decoder_ = OpenDecoder(*stream_.codecpar);
  if (decoder_->width == 0 || decoder_->height == 0) throw Error(AVERROR_UNKNOWN);
}

bool VideoSource::IsCover() const {
  return IsCoverArt(stream_);
}

Decoded Decode(AVCodecContext& decoder, const AVPacket* packet, AVFrame& frame) {
  const int sent = RequireMemory(avcodec_send_packet(&decoder, packet));
  if (sent < 0 && sent != AVERROR_EOF) return Decoded::kError;
  const int received = RequireMemory(avcodec_receive_frame(&decoder, &frame));
  if (received >= 0) return Decoded::kFrame;
  return received == AVERROR(EAGAIN) ? Decoded::kNothing : Decoded::kError;
}

}  // namespace mpg
