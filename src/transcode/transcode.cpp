#include "transcode/transcode.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "media/stream_finder.h"
#include "media/timestamps.h"
#include "probe/output_formats.h"
#include "transcode/audio_pipeline.h"
#include "transcode/audio_rates.h"
#include "transcode/video_reencode.h"

namespace mpg {
namespace {

// TranscodeParams::targetAudioCodec.
constexpr AVCodecID kAudioTargets[] = {AV_CODEC_ID_NONE, AV_CODEC_ID_MP3, AV_CODEC_ID_AAC,
                                       AV_CODEC_ID_AMR_NB, AV_CODEC_ID_AMR_WB};

AVCodecID AudioCodec(std::int32_t number) {
  if (number < 0 || number >= std::ssize(kAudioTargets)) throw Error(MPG_ERR_INVALID_PARAMETER);
  return kAudioTargets[number];
}

bool AsksForAudio(const TranscodeParams& params) {
  return params.targetAudioCodec != 0 || params.targetAudioBitRate != 0 ||
         params.targetChannels != 0 || params.targetSampleRate != 0;
}

const AVOutputFormat& FindMuxer(const std::string& inputPath, const std::string& outputPath,
                                std::int32_t formatId) {
  if (inputPath.empty() || outputPath.empty()) throw Error(MPG_ERR_INVALID_PARAMETER);
  RequireOtherFile(outputPath.c_str(), inputPath.c_str());
  const OutputFormat* const format = FindOutputFormat(static_cast<OutputFormatId>(formatId));
  if (format == nullptr) throw Error(AVERROR_EXIT);
  return MuxerByName(format->muxer);
}

// The sample format nearest to the decoder's that the encoder takes.
void FitSampleFormat(AVCodecContext& encoder) {
  const AVSampleFormat* const formats = encoder.codec->sample_fmts;
  if (formats == nullptr) return;
  AVSampleFormat chosen = formats[0];
  for (const AVSampleFormat* format = formats; *format != AV_SAMPLE_FMT_NONE; ++format) {
    if (*format == encoder.sample_fmt) return;
    if (av_get_packed_sample_fmt(*format) == av_get_packed_sample_fmt(encoder.sample_fmt)) {
      chosen = *format;
    }
  }
  encoder.sample_fmt = chosen;
}

void ApplyAudioSettings(const TranscodeParams& params, AudioReencode& audio) {
  AVCodecContext& encoder = *audio.encoder;
  if (params.targetChannels == 1 || params.targetChannels == 2) {
    av_channel_layout_default(&encoder.ch_layout, params.targetChannels);
  }
  if (params.targetAudioBitRate != 0) {
    encoder.bit_rate = SnapAudioBitRate(params.targetAudioBitRate);
  }
  if (params.targetSampleRate != 0) {
    encoder.sample_rate = SnapAudioSampleRate(params.targetSampleRate);
  }
  const bool isMp3 = encoder.codec_id == AV_CODEC_ID_MP3;
  if (isMp3 || encoder.codec_id == AV_CODEC_ID_AC3) encoder.block_align = 0;
  FitSampleFormat(encoder);
  HeedAmr(encoder, *audio.target);
}

// Containers of sound hold pictures as cover art at best.
bool HoldsVideo(const AVOutputFormat& muxer) {
  return muxer.video_codec != AV_CODEC_ID_NONE && muxer.video_codec != AV_CODEC_ID_PNG;
}

std::int64_t StartOf(const AVStream& stream) {
  return IsKnown(stream.start_time) ? stream.start_time : 0;
}

class Transcode {
 public:
  Transcode(const std::string& inputPath, const std::string& outputPath,
            const TranscodeParams& params, Progress progress)
      : params_(params),
        progress_(progress),
        output_(FindMuxer(inputPath, outputPath, params.formatId), outputPath.c_str(),
                OnFailure::kDeleteFile),
        audio_(SetUpAudio(inputPath)) {
    SetUpVideo(inputPath);
  }

  void Run() {
    output_.WriteHeader();
    StartPipelines();
    while (!stopped_ && TranscodeNext()) {
    }
    if (!stopped_) FinishStreams();
    if (pictures_) pictures_->Drain();
    if (!stopped_) progress_.ReportEnd();
    Check(audio_.input.FileError());
    Check(Packets().FileError());
    output_.Finish();
  }

 private:
  AudioReencode SetUpAudio(const std::string& inputPath) {
    output_.CreateFile();
    AudioReencode audio =
        OpenAudioReencode(output_, Input(inputPath.c_str()), AudioCodec(params_.targetAudioCodec));
    if (AsksForAudio(params_)) {
      ApplyAudioSettings(params_, audio);
      OpenAudioEncoder(audio, output_);
    } else {
      audio.target->time_base = audio.source->time_base;
    }
    return audio;
  }

  // Without a video stream, or one that can be set up, the sound goes alone.
  void SetUpVideo(const std::string& inputPath) {
    if (!HoldsVideo(*output_.Context()->oformat)) return;
    // The pipeline reads the sound by itself; packets that are copied come from one input.
    if (AsksForAudio(params_)) videoInput_.emplace(inputPath.c_str());
    try {
      if (AsksForVideo(params_)) {
        VideoReencode video = OpenVideoReencode(output_, Packets(), params_);
        video_ = video.stream;
        decoder_ = std::move(video.decoder);
        encoder_ = std::move(video.encoder);
      } else {
        video_ = AddVideoStreamFromFile(output_, Packets());
      }
    } catch (const Error& error) {
      if (error.Code() == MPG_ERR_INVALID_PARAMETER) throw;
    }
  }

  void StartPipelines() {
    if (video_) {
      Packets().ReadOnly({video_->source->index, audio_.source->index});
    } else {
      Packets().ReadOnly(*audio_.source);
    }
    if (AsksForAudio(params_)) {
      if (videoInput_ && video_) videoInput_->ReadOnly(*video_->source);
      sound_.emplace(audio_, output_, 0, StartOf(*audio_.source));
    }
    if (encoder_ != nullptr) pictures_.emplace(*encoder_, output_, *video_->target);
  }

  Input& Packets() { return videoInput_ ? *videoInput_ : audio_.input; }

  // False at the end of the input.
  bool TranscodeNext() {
    if (sound_ && (!video_ || IsSoundBehind())) return ProduceSound();
    const int result = Packets().Read(*packet_);
    if (result == AVERROR_EOF) return false;
    Check(result);
    if (!IsKnown(packet_->pts)) return true;
    if (video_ && packet_->stream_index == video_->source->index) {
      TakePicture();
    } else {
      CopySound();
    }
    return true;
  }

  bool IsSoundBehind() const {
    return !soundEnded_ && av_compare_ts(sound_->Timing().lastPacketPts, audio_.target->time_base,
                                         videoTime_, video_->source->time_base) < 0;
  }

  // False when nothing is left to do.
  bool ProduceSound() {
    soundEnded_ = !sound_->ProducePiece();
    if (video_) return true;
    const AVStream& source = *audio_.source;
    if (IsKnown(source.duration) && source.duration != 0) {
      Report(av_rescale_q(sound_->Timing().durationSum, audio_.target->time_base, source.time_base),
             source.duration);
    }
    return !soundEnded_;
  }

  void CopySound() {
    if (!video_ && !ReportPacket(*audio_.source)) return;
    DelayPacket(*packet_, -StartOf(*audio_.source));
    MovePacket(*packet_, *audio_.source, *audio_.target);
    Check(output_.Write(*packet_));
  }

  void TakePicture() {
    const AVStream& source = *video_->source;
    if (!ReportPacket(source)) return;
    DelayPacket(*packet_, -StartOf(source));
    videoTime_ = packet_->pts;
    if (encoder_ != nullptr) {
      Decode(packet_.get());
    } else {
      CopyPicture();
    }
  }

  // A coarser time base has no place for every picture; those that come out of turn on purpose are
  // known by their decoding times.
  void CopyPicture() {
    MovePacket(*packet_, *video_->source, *video_->target);
    const bool isRepeat = IsKnown(lastVideoPts_) && packet_->pts <= lastVideoPts_ &&
                          IsKnown(packet_->dts) && packet_->dts <= lastVideoDts_;
    if (isRepeat) return;
    lastVideoPts_ = packet_->pts;
    if (IsKnown(packet_->dts)) lastVideoDts_ = packet_->dts;
    Check(output_.Write(*packet_));
  }

  void Decode(const AVPacket* packet) {
    Check(DecodePacket(*decoder_, packet, *picture_, [this] {
      picture_->pts = picture_->best_effort_timestamp;
      if (IsKnown(picture_->pts)) pictures_->Encode(*picture_, video_->source->time_base);
    }));
  }

  // What the decoder still holds, and the sound behind the last picture.
  void FinishStreams() {
    if (decoder_ != nullptr) Decode(nullptr);
    while (sound_ && !soundEnded_) soundEnded_ = !sound_->ProducePiece();
  }

  // From the first packet on. False when the host wants to stop.
  bool ReportPacket(const AVStream& source) {
    if (!IsKnown(source.duration) || source.duration == 0) return true;
    if (!progressBase_) progressBase_ = packet_->pts;
    Report(packet_->pts - *progressBase_, source.duration);
    return !stopped_;
  }

  void Report(std::int64_t position, std::int64_t total) {
    stopped_ = progress_.ReportRise(PercentOf(position, total)) == Answer::kStop;
  }

  const TranscodeParams params_;
  Progress progress_;
  Output output_;
  AudioReencode audio_;
  std::optional<Input> videoInput_;
  std::optional<CopiedStream> video_;
  CodecPtr decoder_;  // null: the pictures are copied
  CodecPtr encoder_;
  std::optional<AudioPipeline> sound_;  // none: the sound is copied
  std::optional<VideoEncoder> pictures_;
  PacketPtr packet_ = MakePacket();
  FramePtr picture_ = MakeFrame();
  std::optional<std::int64_t> progressBase_;
  std::int64_t videoTime_ = 0;  // of the last packet read, from the stream's start
  std::int64_t lastVideoPts_ = AV_NOPTS_VALUE;
  std::int64_t lastVideoDts_ = AV_NOPTS_VALUE;
  bool soundEnded_ = false;
  bool stopped_ = false;
};

}  // namespace

void TranscodeFile(const std::string& inputPath, const std::string& outputPath,
                   TranscodeParams params, Progress progress) {
  if (params.scalePercent >= Percent100()) params.scalePercent = 0;
  Transcode(inputPath, outputPath, params, progress).Run();
}

}  // namespace mpg
