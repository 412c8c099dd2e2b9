#include "transcode/transcode.h"

#include <optional>

#include "media/continuous_clock.h"
#include "media/stream_span.h"
#include "media/timestamps.h"
#include "probe/output_formats.h"
#include "transcode/transcode_pictures.h"
#include "transcode/transcode_sound.h"

namespace mpg {
namespace {

const AVOutputFormat& FindMuxer(const std::string& inputPath, const std::string& outputPath,
                                std::int32_t formatId) {
  if (inputPath.empty() || outputPath.empty()) throw Error(MPG_ERR_INVALID_PARAMETER);
  RequireOtherFile(outputPath.c_str(), inputPath.c_str());
  const OutputFormat* const format = FindOutputFormat(static_cast<OutputFormatId>(formatId));
  if (format == nullptr) throw Error(AVERROR_EXIT);
  return MuxerByName(format->muxer);
}

// Containers of sound hold pictures as cover art at best.
bool HoldsVideo(const AVOutputFormat& muxer) {
  return muxer.video_codec != AV_CODEC_ID_NONE && muxer.video_codec != AV_CODEC_ID_PNG;
}

class Transcode {
 public:
  Transcode(const std::string& inputPath, const std::string& outputPath,
            const TranscodeParams& params, Progress progress)
      : progress_(progress),
        output_(FindMuxer(inputPath, outputPath, params.formatId), outputPath.c_str(),
                OnFailure::kDeleteFile),
        sound_(inputPath, params, CreatedFile()) {
    SetUpPictures(inputPath, params);
  }

  void Run() {
    output_.WriteHeader();
    Start();
    while (!stopped_ && TranscodeNext()) {
    }
    if (!stopped_) FinishStreams();
    if (pictures_) pictures_->DrainEncoder([this] { return stopped_ || GoesOn(); });
    if (!stopped_) progress_.ReportEnd();
    Check(sound_.File().FileError());
    Check(Packets().FileError());
    if (!stopped_ && !output_.HasPackets()) throw Error(AVERROR_INVALIDDATA);
    output_.Finish();
  }

 private:
  Output& CreatedFile() {
    output_.CreateFile();
    return output_;
  }

  void SetUpPictures(const std::string& inputPath, const TranscodeParams& params) {
    if (!HoldsVideo(*output_.Context()->oformat)) return;
    // The pipeline reads the sound by itself; packets that are copied come from one input.
    if (!sound_.IsCopied()) videoInput_.emplace(inputPath.c_str());
    if (FindUsableVideo(Packets(), params) == nullptr) return;
    pictures_.emplace(output_, Packets(), params);
  }

  // The start of the pictures is the origin of both, so that they stay together.
  void Start() {
    const AVStream& leading = Leading();
    origin_ = StartOf(leading);
    total_ = LengthOf(leading, Packets());
    Packets().ReadOnly({leading.index, sound_.Source().index});
    sound_.Start(origin_, leading.time_base, pictures_ ? &leading : nullptr);
  }

  // Of the two streams the one by which the call reports how far it is.
  const AVStream& Leading() const { return pictures_ ? pictures_->Source() : sound_.Source(); }
  Input& Packets() { return videoInput_ ? *videoInput_ : sound_.File(); }

  // False at the end of the input.
  bool TranscodeNext() {
    if (!sound_.IsCopied() && (!pictures_ || IsSoundBehind())) return ProduceSound();
    const int result = Packets().Read(*packet_);
    if (result == AVERROR_EOF) return false;
    Check(Packets().FileError());
    Check(result);
    const bool isPicture = pictures_ && packet_->stream_index == Leading().index;
    clock_.Follow(*packet_, isPicture ? Leading() : sound_.Source());
    if ((isPicture || !pictures_) && !ReportPacket()) return false;
    if (isPicture) {
      TakePicture();
    } else if (sound_.IsCopied()) {
      CopySound();
    }
    return !stopped_;
  }

  bool IsSoundBehind() const {
    return !sound_.HasEnded() && sound_.IsBehind(videoTime_, Leading().time_base);
  }

  // False when nothing is left to do.
  bool ProduceSound() {
    const bool goesOn = sound_.Produce();
    if (pictures_) return true;
    Report(sound_.MadeLength());
    return goesOn;
  }

  void CopySound() {
    // Much sound and no picture: what follows the last one rises no more.
    constexpr int kBesidePictures = 100;  // packets
    if (pictures_ && ++soundInARow_ > kBesidePictures && !GoesOn()) {
      stopped_ = true;
      return;
    }
    sound_.Copy(*packet_);
  }

  void TakePicture() {
    soundInARow_ = 0;
    const std::int64_t time = IsKnown(packet_->pts) ? packet_->pts : packet_->dts;
    if (IsKnown(time)) videoTime_ = time - origin_;
    pictures_->Take(*packet_, origin_);
  }

  // What the decoder still holds, and the sound behind the last picture.
  void FinishStreams() {
    if (pictures_) pictures_->DrainDecoder();
    while (!stopped_ && !sound_.IsCopied() && !sound_.HasEnded()) {
      sound_.Produce();
      stopped_ = !GoesOn();
    }
  }

  // From the first packet on. False when the host wants to stop.
  bool ReportPacket() {
    if (!IsKnown(packet_->pts)) return true;
    if (!progressBase_) progressBase_ = packet_->pts;
    Report(packet_->pts - *progressBase_);
    return !stopped_;
  }

  void Report(std::int64_t position) {
    if (total_ == 0) return;
    stopped_ = progress_.ReportRise(PercentOf(position, total_)) == Answer::kStop;
  }

  // Where no percent rises any more.
  bool GoesOn() { return progress_.AskAgain() == Answer::kGoOn; }

  Progress progress_;
  Output output_;
  TranscodeSound sound_;
  std::optional<Input> videoInput_;
  std::optional<TranscodePictures> pictures_;  // none: the sound goes alone
  ContinuousClock clock_;
  PacketPtr packet_ = MakePacket();
  std::optional<std::int64_t> progressBase_;
  // In the leading stream's time base.
  std::int64_t origin_ = 0;
  std::int64_t total_ = 0;      // 0: not known
  std::int64_t videoTime_ = 0;  // of the last packet read, from the origin
  int soundInARow_ = 0;
  bool stopped_ = false;
};

}  // namespace

void TranscodeFile(const std::string& inputPath, const std::string& outputPath,
                   TranscodeParams params, Progress progress) {
  if (params.scalePercent >= Percent100()) params.scalePercent = 0;
  Transcode(inputPath, outputPath, params, progress).Run();
}

}  // namespace mpg
