#include "transcode/transcode.h"

#include <optional>

#include "media/analysis.h"
#include "media/continuous_clock.h"
#include "probe/output_formats.h"
#include "transcode/transcode_audio.h"
#include "transcode/transcode_video.h"

namespace mpg {
namespace {

const AVOutputFormat& FindMuxer(const std::string& inputPath, const std::string& outputPath,
                                std::int32_t formatId) {
  if (inputPath.empty() || outputPath.empty()) throw Error(MPG_ERR_INVALID_PARAMETER);
  const OutputFormat* const format = FindOutputFormat(static_cast<OutputFormatId>(formatId));
  if (format == nullptr) throw Error(AVERROR_EXIT);
  return MuxerByName(format->muxer);
}

// Audio containers hold video as cover art at best.
bool HoldsVideo(const AVOutputFormat& muxer) {
  return muxer.video_codec != AV_CODEC_ID_NONE && muxer.video_codec != AV_CODEC_ID_PNG;
}

// The two sides side by side: whichever is behind goes next.
class Transcode {
 public:
  Transcode(const std::string& inputPath, const std::string& outputPath,
            const TranscodeParams& params, Progress progress)
      : progress_(progress),
        output_(FindMuxer(inputPath, outputPath, params.formatId), outputPath.c_str(),
                OnFailure::kDeleteFile),
        audio_(inputPath, params, CreatedFile(), progress_) {
    if (!HoldsVideo(*output_.Context()->oformat)) return;
    // The pipeline reads the audio by itself; packets that are copied come from one input.
    if (!audio_.IsCopied()) videoInput_ = OpenInput(inputPath.c_str());
    AVStream* const source = FindUsableVideo(Packets(), params);
    if (source != nullptr) video_.emplace(output_, Packets(), *source, params, progress_);
  }

  void Run() {
    output_.WriteHeader();
    Start();
    while (!progress_.IsStopped() && TakeStep()) {
    }
    FinishStreams();
    if (!progress_.IsStopped()) progress_.ReportEnd();
    Check(audio_.File().FileError());
    Check(Packets().FileError());
    if (!progress_.IsStopped() && !output_.HasPackets()) throw Error(AVERROR_INVALIDDATA);
    output_.Finish();
  }

 private:
  Output& CreatedFile() {
    output_.CreateFile();
    return output_;
  }

  // The video's start is the origin of both, so that they stay together.
  void Start() {
    const AVStream& leading = video_ ? video_->Source() : audio_.Source();
    progress_.Follow(leading, Packets());
    Packets().SelectStreams({leading.index, audio_.Source().index});
    audio_.Start(StartOf(leading), leading.time_base, video_ ? &leading : nullptr);
    if (video_) video_->Start(StartOf(leading));
  }

  Input& Packets() { return videoInput_ ? *videoInput_ : audio_.File(); }

  // False when nothing is left to do.
  bool TakeStep() {
    if (audio_.IsCopied()) return TakePacket();
    if (!video_) return audio_.Produce();
    if (!audio_.IsBehind(video_->Time(), video_->Source().time_base)) return TakePacket();
    audio_.Produce();
    return true;
  }

  bool TakePacket() {
    const int result = Packets().Read(*packet_);
    if (result == AVERROR_EOF) return false;
    Check(Packets().FileError());
    Check(result);
    const bool isVideo = video_ && packet_->stream_index == video_->Source().index;
    clock_.Follow(*packet_, isVideo ? video_->Source() : audio_.Source());
    if (isVideo) {
      video_->Take(*packet_);
    } else if (audio_.IsCopied()) {
      audio_.Copy(*packet_);
    }
    return true;
  }

  void FinishStreams() {
    if (video_ && !progress_.IsStopped()) video_->DrainDecoder();
    audio_.ProduceRest();
    if (video_) video_->DrainEncoder();
  }

  StreamProgress progress_;
  Output output_;
  TranscodeAudio audio_;
  std::optional<Input> videoInput_;
  std::optional<TranscodeVideo> video_;  // none: the audio goes alone
  ContinuousClock clock_;
  PacketPtr packet_ = MakePacket();
};

}  // namespace

void TranscodeFile(const std::string& inputPath, const std::string& outputPath,
                   TranscodeParams params, Progress progress) {
  if (params.scalePercent >= Percent100()) params.scalePercent = 0;
  Transcode(inputPath, outputPath, params, progress).Run();
}

}  // namespace mpg
