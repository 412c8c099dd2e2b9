// The audio side of transcoding: copied, or through the audio pipeline.
#pragma once

#include <optional>
#include <string>

#include "media/tick_guard.h"
#include "mpg/mpg.h"
#include "transcode/audio_pipeline.h"
#include "transcode/stream_progress.h"

namespace mpg {

/// True when any field asks for other audio than the input's.
bool AsksForAudio(const TranscodeParams& params);

/// Reports the progress where it goes alone.
class TranscodeAudio {
 public:
  /// Opens the input and adds the output stream, before the header. Throws Error:
  /// MPG_ERR_INVALID_PARAMETER for a codec number out of range, else as OpenAudioReencode.
  TranscodeAudio(const std::string& inputPath, const TranscodeParams& params, Output& output,
                 StreamProgress& progress);

  /// Else it is made step by step with Produce, from an input of its own.
  bool IsCopied() const { return isCopied_; }
  Input& File() { return audio_.input; }
  const AVStream& Source() const { return *audio_.source; }

  /// Behind the header. `origin`: the time that becomes 0, in `base`. `video` (or null): the stream
  /// of the same file with which the audio stays together.
  void Start(std::int64_t origin, AVRational base, const AVStream* video);

  /// Writes a packet of the input; without times it is passed over. Throws Error.
  void Copy(AVPacket& packet);

  /// True while more is to be made and what was made ends ahead of a time.
  bool IsBehind(std::int64_t time, AVRational base) const;
  /// Makes the next piece; false when it was the last. Throws Error.
  bool Produce();
  /// Makes all that is left behind the video's end, unless the host stops it.
  void ProduceRest();

 private:
  AudioReencode audio_;
  Output& output_;
  StreamProgress& progress_;
  const bool isCopied_;
  std::optional<AudioPipeline> pipeline_;
  TickGuard guard_;
  std::int64_t origin_ = 0;  // in the source's time base
  bool isAlone_ = true;
  bool hasEnded_ = false;
};

}  // namespace mpg
