// What trimming, cropping and shifting have in common: a new file of the container that the input's
// name suggests, with the input's audio as its first stream and the input's video as its second.
#pragma once

#include <functional>

#include "media/continuous_clock.h"
#include "media/stream_copy.h"
#include "media/tick_guard.h"
#include "transcode/audio_reencode.h"

namespace mpg {

/// What becomes of the video: a re-encoded stream is described by its encoder.
enum class VideoUse { kCopied, kReencoded };

class SameContainerCopy {
 public:
  /// Creates the output, deleted unless Finish succeeds. Throws Error.
  SameContainerCopy(const char* inputPath, const char* outputPath,
                    VideoUse use = VideoUse::kCopied);

  /// The video and the audio in the order of the file; both streams come from this one input.
  Input& File() { return audio_.input; }
  const CopiedStream& Video() const { return video_; }
  Output& Target() { return output_; }

  bool IsAudio(const AVPacket& packet) const { return packet.stream_index == audio_.source->index; }

  void WriteHeader() { output_.WriteHeader(); }

  /// Reads the file from where it stands to its end and hands on each packet, until `take` says
  /// that it wants no more. Throws Error where the file can't be read or holds no packet, or what
  /// `take` throws.
  void ReadPackets(const std::function<bool(AVPacket&)>& take);

  /// From now on only the audio is read. What still comes of the frames doesn't wait for it.
  void EndVideo();

  /// Moves a packet's time stamps into its output stream, later by a time that counts in `base`,
  /// and writes it. What the muxer refuses is lost; bytes that don't reach the disk show in Finish.
  void Write(AVPacket& packet, std::int64_t delay = 0, AVRational base = {1, 1});

  /// Throws Error where the input could not be read to its end, or the output not be written.
  void Finish();

 private:
  Output output_;
  AudioReencode audio_;
  CopiedStream video_;
  ContinuousClock clock_;
  TickGuard audioGuard_;
  TickGuard videoGuard_;
  bool hasVideoEnded_ = false;
};

}  // namespace mpg
