#include "remux/copy_join.h"

#include <utility>

#include "media/output.h"
#include "media/stream_copy.h"
#include "media/stream_finder.h"
#include "media/stream_span.h"
#include "media/timestamps.h"
#include "remux/join_guard.h"
#include "remux/timestamp_maker.h"

namespace mpg {
namespace {

// Total of the progress reports in the video stream's time base: the first length that is known of
// video stream, video file, audio stream, audio file.
std::int64_t ProgressTotal(const JoinWork& work, const AVStream& video, const AVStream& audio) {
  if (IsKnown(video.duration)) return video.duration;
  if (IsKnown(work.video.Duration())) {
    return av_rescale_q(work.video.Duration(), AV_TIME_BASE_Q, video.time_base);
  }
  if (IsKnown(audio.duration)) {
    return av_rescale_q(audio.duration, audio.time_base, video.time_base);
  }
  if (IsKnown(work.audio.Duration())) {
    return av_rescale_q(work.audio.Duration(), AV_TIME_BASE_Q, video.time_base);
  }
  return 0;
}

// One of the two streams on its way into the output.
struct Track {
  Input& input;
  const AVStream& source;
  const AVStream& target;
  JoinGuard guard;
  bool finished = false;
};

class CopyJoin {
 public:
  CopyJoin(JoinWork work, Progress progress)
      : work_(std::move(work)),
        progress_(progress),
        output_(MuxerByName(work_.muxerName), work_.outputPath, OnFailure::kKeepPartialFile),
        video_(MakeTrack(work_.video,
                         AddCopiedVideoStream(output_, RequireVideoStream(work_.video)),
                         Kind::kVideo)),
        audio_(MakeTrack(work_.audio, AddCopiedAudioStream(output_, work_.audio), Kind::kAudio)),
        total_(ProgressTotal(work_, video_.source, audio_.source)) {}

  void Run() {
    output_.CreateFile();
    output_.ExpectSize(work_.video.StreamSize(video_.source) +
                       work_.audio.StreamSize(audio_.source));
    // Some codecs count as experimental in some containers.
    output_.Context()->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    output_.WriteHeader();
    while (!stopped_ && !(video_.finished && audio_.finished)) {
      if (IsVideoNext()) {
        CopyVideoPacket();
      } else {
        CopyAudioPacket();
      }
    }
    Check(audioReadError_);
    output_.Finish(writeFailures_);
    // The file ends there, but not on purpose.
    Check(work_.video.FileError());
    Check(work_.audio.FileError());
    if (!stopped_ && !output_.HasPackets()) throw Error(AVERROR_INVALIDDATA);
  }

 private:
  using Kind = JoinGuard::Kind;

  static Track MakeTrack(Input& input, CopiedStream stream, Kind kind) {
    input.SelectStreams(*stream.source);
    return {.input = input,
            .source = *stream.source,
            .target = *stream.target,
            .guard = JoinGuard(kind)};
  }

  bool IsVideoNext() const {
    if (audio_.finished) return true;
    if (video_.finished) return false;
    return av_compare_ts(video_.guard.LastPts(), video_.target.time_base, audio_.guard.LastPts(),
                         audio_.target.time_base) <= 0;
  }

  void CopyVideoPacket() {
    if (video_.input.Read(*packet_) < 0) {
      // Whatever ended the video, the audio goes on.
      if (total_ != 0 && videoWasRead_) progress_.ReportEnd();
      Finish(video_);
      return;
    }
    videoWasRead_ = true;
    MakeMissingTimeStamps(video_);
    if (total_ != 0 && progress_.ReportRiseClamped(PercentOf(FromStart(packet_->pts, video_.source),
                                                             total_)) == Answer::kStop) {
      stopped_ = true;
      return;
    }
    RescaleAndWrite(video_);
  }

  void CopyAudioPacket() {
    const int result = audio_.input.Read(*packet_);
    if (result < 0) {
      if (result != AVERROR_EOF) audioReadError_ = result;
      Finish(audio_);
      return;
    }
    MakeMissingTimeStamps(audio_);
    RescaleAndWrite(audio_);
  }

  void Finish(Track& track) {
    track.finished = true;
    output_.FlushQueue(writeFailures_);
  }

  void MakeMissingTimeStamps(const Track& track) {
    if (!IsKnown(packet_->pts)) timeStampMaker_.Stamp(*packet_, track.source);
  }

  void RescaleAndWrite(Track& track) {
    MovePacket(*packet_, track.source, track.target);
    const JoinGuard::Verdict verdict = track.guard.Repair(*packet_);
    if (verdict == JoinGuard::Verdict::kDrop) return;

    if (&track == &video_) GiveDuration(*packet_, track.source, track.target);
    const int result = output_.Write(*packet_);
    if (verdict == JoinGuard::Verdict::kWrite) writeFailures_.Count(result);
    // Nothing is left to interleave with once one input has ended.
    if (video_.finished || audio_.finished) output_.FlushQueue(writeFailures_);
  }

  JoinWork work_;
  Progress progress_;
  Output output_;
  Track video_;
  Track audio_;
  const std::int64_t total_;  // 0: nothing to report
  TimeStampMaker timeStampMaker_;
  PacketPtr packet_ = MakePacket();
  bool videoWasRead_ = false;
  bool stopped_ = false;
  int audioReadError_ = 0;
  WriteFailures writeFailures_{WriteFailures::kOfAJoin};
};

}  // namespace

void JoinByCopy(JoinWork work, Progress progress) {
  CopyJoin(std::move(work), progress).Run();
}

}  // namespace mpg
