// Frames on their way through an encoder into an output.
#pragma once

#include <functional>
#include <queue>

#include "media/handles.h"
#include "media/output.h"
#include "transcode/frame_converter.h"

namespace mpg {

/// Encodes frames and writes what comes out.
class VideoEncoder {
 public:
  /// The encoder is open, `target` its stream; `source` tells how frames are turned. All must
  /// outlive this, like the output.
  VideoEncoder(AVCodecContext& encoder, Output& output, const AVStream& source,
               const AVStream& target);

  /// A frame of the encoder's size and format, or of another: it is converted then. Its time stamp
  /// counts in `timeBase`; one that doesn't rise in the output's is passed over. Throws Error.
  void Encode(AVFrame& frame, AVRational timeBase);

  /// Writes everything that the encoder holds back, as long as `goOn`, which is asked before each
  /// packet, wants it. Throws Error.
  void Drain(const std::function<bool()>& goOn = [] { return true; });

 private:
  void Send(const AVFrame& frame);
  bool Receive();
  void Write();
  void PutTimeOfFrame();

  AVCodecContext& encoder_;
  Output& output_;
  const AVStream& target_;
  FrameConverter converter_;
  PacketPtr packet_ = MakePacket();
  // In the output's time base: of the frames that wait in an encoder that counts them, of the
  // last frame taken, and of the last packet that got a frame's time.
  std::queue<std::int64_t> times_;
  std::int64_t lastPts_ = AV_NOPTS_VALUE;
  std::int64_t lastTime_ = AV_NOPTS_VALUE;
  // Of the last frame taken, in the encoder's time base.
  std::int64_t lastClock_ = AV_NOPTS_VALUE;
};

}  // namespace mpg
