#include "probe/merge_decision.h"

#include <string_view>

#include "core/text.h"

namespace mpg {
namespace {

void RequireCodecs(AVCodecID audio, AVCodecID video) {
  if (audio == AV_CODEC_ID_NONE) throw Error(MPG_ERR_AUDIO_CODEC_NOT_FOUND);
  if (video == AV_CODEC_ID_NONE) throw Error(MPG_ERR_VIDEO_CODEC_NOT_FOUND);
}

bool IsVp8OrVp9(AVCodecID video) {
  return video == AV_CODEC_ID_VP8 || video == AV_CODEC_ID_VP9;
}

MergeDecision Decision(std::uint32_t mode, std::uint32_t container, std::string_view extension,
                       std::string_view altExtension) {
  MergeDecision decision{.mode = mode, .container = container, .extension = {}, .altExtension = {}};
  CopyText(decision.extension, extension);
  CopyText(decision.altExtension, altExtension);
  return decision;
}

}  // namespace

MergeDecision DecideMerge(AVCodecID audio, AVCodecID video) {
  RequireCodecs(audio, video);
  const bool isAac = audio == AV_CODEC_ID_AAC;
  const bool isVorbis = audio == AV_CODEC_ID_VORBIS;
  const bool isWebVideo = IsVp8OrVp9(video) || video == AV_CODEC_ID_AV1;
  if (isWebVideo && (isVorbis || audio == AV_CODEC_ID_OPUS)) {
    return Decision(MPG_MERGE_COPY, MPG_CONTAINER_WEBM_OR_MATROSKA, "webm", "mkv");
  }
  if (isWebVideo && isAac) return Decision(MPG_MERGE_COPY, MPG_CONTAINER_AVI, "avi", "avi");
  const bool canCopy = video == AV_CODEC_ID_H264 || isAac || isVorbis;
  return Decision(canCopy ? MPG_MERGE_COPY : MPG_MERGE_REENCODE_AUDIO, MPG_CONTAINER_MP4, "mp4",
                  "mp4");
}

MergeDecisionPrefix DecideMergeByOlderRules(AVCodecID audio, AVCodecID video) {
  RequireCodecs(audio, video);
  const bool isVp8OrVp9 = IsVp8OrVp9(video);
  if (audio == AV_CODEC_ID_AAC) {
    return {MPG_MERGE_COPY, isVp8OrVp9 ? MPG_CONTAINER_AVI : MPG_CONTAINER_MP4};
  }
  if (audio == AV_CODEC_ID_VORBIS) return {MPG_MERGE_COPY, MPG_CONTAINER_MP4};
  if (audio == AV_CODEC_ID_OPUS && isVp8OrVp9) return {MPG_MERGE_COPY, MPG_CONTAINER_WEBM};
  return {MPG_MERGE_REENCODE_AUDIO, MPG_CONTAINER_MP4};
}

const char* MuxerName(std::uint32_t container) {
  switch (container) {
    case MPG_CONTAINER_AVI:
      return "avi";
    case MPG_CONTAINER_WEBM:
    case MPG_CONTAINER_WEBM_OR_MATROSKA:
      return "webm";
    default:
      return "mp4";
  }
}

}  // namespace mpg
