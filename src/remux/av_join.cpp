#include "remux/av_join.h"

#include <optional>
#include <utility>

#include "media/analysis.h"
#include "media/stream_finder.h"
#include "probe/merge_decision.h"
#include "remux/copy_join.h"
#include "remux/reencode_join.h"

namespace mpg {
namespace {

std::optional<Input> TryOpen(const char* path) try {
  return OpenInput(path, Analysis::kWithoutDecoding);
} catch (const Error&) {
  return std::nullopt;
}

AVCodecID CodecOf(const std::optional<Input>& input, AVMediaType type) {
  return input ? ProbeCodecId(*input, type) : AV_CODEC_ID_NONE;
}

}  // namespace

void JoinVideoAndAudio(const char* videoPath, const char* audioPath, const char* outputPath,
                       Progress progress) {
  // Reading the stream information is most of a small join's time: the decision and the join share
  // one opening of each file.
  std::optional<Input> audio = TryOpen(audioPath);
  const AVCodecID audioCodec = CodecOf(audio, AVMEDIA_TYPE_AUDIO);
  std::optional<Input> video = TryOpen(videoPath);
  const AVCodecID videoCodec = CodecOf(video, AVMEDIA_TYPE_VIDEO);
  const MergeDecision decision = DecideMerge(audioCodec, videoCodec);
  const auto join = decision.mode == MPG_MERGE_COPY ? JoinByCopy : JoinByReencoding;
  join({.video = *std::move(video),
        .audio = *std::move(audio),
        .outputPath = outputPath,
        .muxerName = MuxerName(decision.container)},
       progress);
}

}  // namespace mpg
