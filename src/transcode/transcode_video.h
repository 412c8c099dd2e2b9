// The video side of transcoding: copied, or decoded and encoded.
#pragma once

#include <optional>

#include "media/codec.h"
#include "media/tick_guard.h"
#include "transcode/stream_progress.h"
#include "transcode/video_encoder.h"
#include "transcode/video_reencode.h"

namespace mpg {

/// The input's first video stream that isn't cover art, where FFmpeg knows its codec and can do
/// with it what the parameters ask for, else null: the audio goes alone then. Throws Error where
/// the codec number is out of range.
AVStream* FindUsableVideo(const Input& input, const TranscodeParams& params);

class TranscodeVideo {
 public:
  /// Adds the output stream, before the header, for the stream that FindUsableVideo found. Throws
  /// Error.
  TranscodeVideo(Output& output, const Input& input, AVStream& source,
                 const TranscodeParams& params, StreamProgress& progress);

  const AVStream& Source() const { return *stream_.source; }

  /// Behind the header. `origin`: the time that becomes 0, in the source's time base.
  void Start(std::int64_t origin) { origin_ = origin; }

  /// Reports how far it is, and copies a packet of the input or writes what becomes of it. Throws
  /// Error.
  void Take(AVPacket& packet);
  /// Of the last packet taken, from the origin on, in the source's time base.
  std::int64_t Time() const { return time_; }

  /// Behind the last packet: the frames that the decoder still holds.
  void DrainDecoder();
  /// What the encoder still holds, until the host stops it.
  void DrainEncoder();

 private:
  bool MayBeDropped(const AVPacket& packet) const;
  void Copy(AVPacket& packet);
  void Decode(const AVPacket* packet);

  Output& output_;
  StreamProgress& progress_;
  std::int64_t origin_ = 0;
  std::int64_t time_ = 0;
  CopiedStream stream_;
  CodecPtr decoder_;  // null: the frames are copied
  CodecPtr encoder_;
  std::optional<VideoEncoder> videoEncoder_;
  FramePtr frame_ = MakeFrame();
  FrameClock clock_;
  TickGuard guard_;
  std::int64_t lastPts_ = AV_NOPTS_VALUE;
};

}  // namespace mpg
