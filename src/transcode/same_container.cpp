#include "transcode/same_container.h"

#include "media/analysis.h"
#include "media/stream_finder.h"
#include "media/timestamps.h"

namespace mpg {
namespace {

AudioReencode AddAudio(Output& output, const char* inputPath) {
  output.CreateFile();
  return OpenAudioReencode(output, OpenInput(inputPath), AV_CODEC_ID_NONE);
}

CopiedStream AddVideo(Output& output, AVStream& source, VideoUse use) {
  return use == VideoUse::kCopied ? AddCopiedVideoStream(output, source, {.keepsTimeBase = true})
                                  : AddReencodedVideoStream(output, source);
}

}  // namespace

SameContainerCopy::SameContainerCopy(const char* inputPath, const char* outputPath, VideoUse use)
    : output_(MuxerForFile(inputPath), outputPath, OnFailure::kDeleteFile),
      audio_(AddAudio(output_, inputPath)),
      video_(AddVideo(output_, RequireVideoStream(audio_.input), use)) {
  audio_.input.SelectStreams({audio_.source->index, video_.source->index});
}

void SameContainerCopy::ReadPackets(const std::function<bool(AVPacket&)>& take) {
  const PacketPtr packet = MakePacket();
  int result = 0;
  bool isEmpty = true;
  for (; (result = File().Read(*packet)) == 0; isEmpty = false) {
    clock_.Follow(*packet, IsAudio(*packet) ? *audio_.source : *video_.source);
    if (!take(*packet)) return;
  }
  Check(File().FileError());
  if (result == AVERROR_EOF && isEmpty) throw Error(AVERROR_INVALIDDATA);
  if (result != AVERROR_EOF) Check(result);
}

void SameContainerCopy::EndVideo() {
  hasVideoEnded_ = true;
  File().SelectStreams(*audio_.source);
}

void SameContainerCopy::Write(AVPacket& packet, std::int64_t delay, AVRational base) {
  const bool isAudio = IsAudio(packet);
  const AVStream& source = isAudio ? *audio_.source : *video_.source;
  const AVStream& target = isAudio ? *audio_.target : *video_.target;
  MovePacket(packet, source, target);
  // A tick of audio in AVI is a whole frame.
  const bool isCoarse = av_q2d(target.time_base) > 0.001;
  const AVRounding rounding = isCoarse ? AV_ROUND_NEAR_INF : AV_ROUND_ZERO;
  DelayPacket(packet, av_rescale_q_rnd(delay, base, target.time_base, rounding));
  (isAudio ? audioGuard_ : videoGuard_).Place(packet);
  if (!isAudio) GiveDuration(packet, source, target);
  static_cast<void>(output_.Write(packet));
  WriteFailures ignored(WriteFailures::kUnlimited);
  if (hasVideoEnded_) output_.FlushQueue(ignored);
}

void SameContainerCopy::Finish() {
  Check(audio_.input.FileError());
  WriteFailures ignored(WriteFailures::kUnlimited);
  output_.Finish(ignored);
}

}  // namespace mpg
