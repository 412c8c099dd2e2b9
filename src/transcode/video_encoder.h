// Pictures on their way through an encoder into an output.
#pragma once

#include <functional>
#include <queue>

#include "media/codec.h"
#include "media/output.h"

namespace mpg {

/// What a video encoder is made for.
struct VideoEncoderRequest {
  const AVStream& source;
  const AVCodecContext& decoder;  // of the source, open
  AVCodecID codecId;
  const AVOutputFormat& muxer;
  std::int64_t fileBitRate;  // of the input, where the stream tells none
};

/// An encoder, not yet open, that keeps the source's size, shape, bit rate, GOP size and, where it
/// can, pixel format. Its time base is the source's, or one picture where its rate control counts
/// those. Throws Error(AVERROR_UNKNOWN) when FFmpeg has no such encoder.
CodecPtr MakeVideoEncoder(const VideoEncoderRequest& request);

/// Describes an output stream by its open encoder, and asks the muxer for a time base. Throws Error
/// with FFmpeg's code.
void DescribeVideoEncoder(const AVCodecContext& encoder, AVRational timeBase, AVStream& target);

/// Encodes pictures and writes what comes out.
class VideoEncoder {
 public:
  /// The encoder is open, `target` its stream. Both must outlive this, like the output.
  VideoEncoder(AVCodecContext& encoder, Output& output, const AVStream& target);

  /// A picture of the encoder's size and format, or of another: it is scaled then. Its time stamp
  /// counts in `timeBase`; one that doesn't rise in the output's is passed over. Throws Error.
  void Encode(AVFrame& picture, AVRational timeBase);

  /// Writes everything that the encoder holds back, as long as `goOn`, which is asked before each
  /// packet, wants it. Throws Error.
  void Drain(const std::function<bool()>& goOn = [] { return true; });

 private:
  void Send(const AVFrame& picture);
  bool Receive();
  void Write();
  void PutTimeOfPicture();
  AVFrame& Scaled(const AVFrame& picture);

  AVCodecContext& encoder_;
  Output& output_;
  const AVStream& target_;
  ScalerPtr scaler_;
  FramePtr scaled_;
  PacketPtr packet_ = MakePacket();
  // In the output's time base: of the pictures that wait in an encoder that counts them, of the
  // last picture taken, and of the last packet that got a picture's time.
  std::queue<std::int64_t> times_;
  std::int64_t lastPts_ = AV_NOPTS_VALUE;
  std::int64_t lastTime_ = AV_NOPTS_VALUE;
  // Of the last picture taken, in the encoder's time base.
  std::int64_t lastClock_ = AV_NOPTS_VALUE;
};

}  // namespace mpg
