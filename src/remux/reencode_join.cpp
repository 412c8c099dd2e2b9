#include "remux/reencode_join.h"

#include <utility>

#include "media/output.h"
#include "media/stream_copy.h"
#include "media/stream_finder.h"
#include "media/stream_span.h"
#include "media/timestamps.h"
#include "remux/timestamp_maker.h"
#include "transcode/audio_pipeline.h"

namespace mpg {
namespace {

constexpr std::int64_t kFallbackBitRate = 128000;

class ReencodeJoin {
 public:
  ReencodeJoin(JoinWork work, Progress progress)
      : progress_(progress),
        videoInput_(std::move(work.video)),
        fileSize_(videoInput_.FileSize() + work.audio.FileSize()),
        output_(MuxerByName(work.muxerName), work.outputPath, OnFailure::kKeepPartialFile),
        video_(AddCopiedVideoStream(output_, RequireVideoStream(videoInput_),
                                    {.known = VideoCopy::Known::kToDecode})),
        audio_(OpenAudioReencode(output_, std::move(work.audio), AV_CODEC_ID_AAC)) {
    const std::int64_t bitRate = audio_.input.BitRate();
    audio_.encoder->bit_rate = bitRate != 0 ? bitRate : kFallbackBitRate;
    OpenAudioEncoder(audio_, output_);
    videoInput_.SelectStreams(*video_.source);
  }

  void Run() {
    AudioPipeline pipeline(audio_, output_);
    output_.CreateFile();
    output_.ExpectSize(fileSize_);
    output_.WriteHeader();
    End end = End::kNotYet;
    bool hasAudio = true;
    while (end == End::kNotYet) {
      if (IsVideoNext(pipeline.Timing())) {
        end = CopyVideoPacket();
      } else if (hasAudio) {
        hasAudio = pipeline.ProducePiece();
      } else {
        end = End::kOfAudio;
      }
    }
    FinishFile(end);
  }

 private:
  enum class End { kNotYet, kOfVideo, kOfAudio, kStop, kVideoFailure };

  bool IsVideoNext(const StreamTimingRecord& timing) const {
    return av_compare_ts(videoPts_, video_.source->time_base, timing.lastPacketPts,
                         audio_.target->time_base) <= 0;
  }

  End CopyVideoPacket() {
    const int read = videoInput_.Read(*packet_);
    if (read == AVERROR_EOF) {
      progress_.ReportEnd();
      return End::kOfVideo;
    }
    if (read < 0) return FailOnVideo(read);
    // A packet of several MPEG-4 frames tells when it is decoded alone.
    if (!IsKnown(packet_->pts)) packet_->pts = packet_->dts;
    if (!IsKnown(packet_->pts)) timeStampMaker_.Stamp(*packet_, *video_.source);
    videoPts_ = packet_->pts;
    if (Report() == Answer::kStop) return End::kStop;

    MovePacket(*packet_, *video_.source, *video_.target);
    GiveDuration(*packet_, *video_.source, *video_.target);
    const int written = output_.Write(*packet_);
    return written < 0 ? FailOnVideo(written) : End::kNotYet;
  }

  Answer Report() {
    const std::int64_t total = LengthOf(*video_.source, videoInput_);
    if (total == 0) return Answer::kGoOn;
    return progress_.ReportRise(PercentOf(FromStart(videoPts_, *video_.source), total));
  }

  End FailOnVideo(int code) {
    videoError_ = code;
    return End::kVideoFailure;
  }

  // A video that broke off leaves a playable file. Its own code counts, not what follows from it.
  void FinishFile(End end) try {
    output_.Finish();
    Check(videoError_);
    Check(videoInput_.FileError());
    Check(audio_.input.FileError());
    if (end != End::kStop && !output_.HasPackets()) throw Error(AVERROR_INVALIDDATA);
  } catch (const Error&) {
    Check(videoError_);
    throw;
  }

  Progress progress_;
  Input videoInput_;
  const std::int64_t fileSize_;
  Output output_;
  CopiedStream video_;
  AudioReencode audio_;
  TimeStampMaker timeStampMaker_;
  PacketPtr packet_ = MakePacket();
  std::int64_t videoPts_ = 0;  // of the last packet read, in its input's time base
  int videoError_ = 0;
};

}  // namespace

void JoinByReencoding(JoinWork work, Progress progress) {
  ReencodeJoin(std::move(work), progress).Run();
}

}  // namespace mpg
