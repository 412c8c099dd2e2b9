// The video of a file that frames are taken from.
#pragma once

#include "media/codec.h"
#include "media/input.h"

namespace mpg {

/// The first video stream of a file that isn't cover art, or else the cover art, with its decoder.
class VideoSource {
 public:
  /// Throws Error when there is no video, or FFmpeg can't both decode and encode it.
  explicit VideoSource(const char* path);

  Input& File() { return input_; }
  const AVStream& Stream() const { return stream_; }
  /// Cover art is one frame, read at the start, that belongs to no time.
  bool IsCover() const;
  AVCodecContext& Decoder() const { return *decoder_; }

  /// 0, or a negative code at the end of the input or when it can't be read.
  int Read(AVPacket& packet) { return input_.Read(packet); }

 private:
  Input input_;
  const AVStream& stream_;
  CodecPtr decoder_;
};

enum class Decoded { kFrame, kNothing, kError };

/// One packet in (null: there are no more), at most one frame out.
Decoded Decode(AVCodecContext& decoder, const AVPacket* packet, AVFrame& frame);

}  // namespace mpg
