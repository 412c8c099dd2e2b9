#include "probe/merge_decision.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "core/text.h"

namespace mpg {
namespace {

// Codecs as the rules see them, one bit each, so that a rule can name several.
using CodecSet = unsigned;
constexpr CodecSet kAac = 1, kOpus = 2, kVorbis = 4, kOtherAudio = 8, kAnyAudio = 15;
constexpr CodecSet kH264 = 1, kVp8OrVp9 = 2, kAv1 = 4, kOtherVideo = 8, kAnyVideo = 15;

constexpr CodecSet AudioSet(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_AAC:
      return kAac;
    case AV_CODEC_ID_OPUS:
      return kOpus;
    case AV_CODEC_ID_VORBIS:
      return kVorbis;
    default:
      return kOtherAudio;
  }
}

constexpr CodecSet VideoSet(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_H264:
      return kH264;
    case AV_CODEC_ID_VP8:
    case AV_CODEC_ID_VP9:
      return kVp8OrVp9;
    case AV_CODEC_ID_AV1:
      return kAv1;
    default:
      return kOtherVideo;
  }
}

struct Rule {
  CodecSet audio;
  CodecSet video;
  std::uint32_t mode;
  std::uint32_t container;
  std::string_view extension;
  std::string_view altExtension;
};

// The first rule that matches decides.
constexpr std::array<Rule, 6> kRules{{
    {kOpus | kVorbis, kVp8OrVp9 | kAv1, MPG_MERGE_COPY, MPG_CONTAINER_WEBM_OR_MATROSKA, "webm",
     "mkv"},
    {kAnyAudio, kH264, MPG_MERGE_COPY, MPG_CONTAINER_MP4, "mp4", "mp4"},
    {kAac, kVp8OrVp9 | kAv1, MPG_MERGE_COPY, MPG_CONTAINER_AVI, "avi", "avi"},
    {kAac, kAnyVideo, MPG_MERGE_COPY, MPG_CONTAINER_MP4, "mp4", "mp4"},
    {kVorbis, kAnyVideo, MPG_MERGE_COPY, MPG_CONTAINER_MP4, "mp4", "mp4"},
    {kAnyAudio, kAnyVideo, MPG_MERGE_REENCODE_AUDIO, MPG_CONTAINER_MP4, "mp4", "mp4"},
}};

constexpr std::array<Rule, 5> kOlderRules{{
    {kAac, kVp8OrVp9, MPG_MERGE_COPY, MPG_CONTAINER_AVI, {}, {}},
    {kAac, kAnyVideo, MPG_MERGE_COPY, MPG_CONTAINER_MP4, {}, {}},
    {kVorbis, kAnyVideo, MPG_MERGE_COPY, MPG_CONTAINER_MP4, {}, {}},
    {kOpus, kVp8OrVp9, MPG_MERGE_COPY, MPG_CONTAINER_WEBM, {}, {}},
    {kAnyAudio, kAnyVideo, MPG_MERGE_REENCODE_AUDIO, MPG_CONTAINER_MP4, {}, {}},
}};

template <std::size_t kCount>
const Rule& FirstMatch(const std::array<Rule, kCount>& rules, AVCodecID audio, AVCodecID video) {
  if (audio == AV_CODEC_ID_NONE) throw Error(MPG_ERR_AUDIO_CODEC_NOT_FOUND);
  if (video == AV_CODEC_ID_NONE) throw Error(MPG_ERR_VIDEO_CODEC_NOT_FOUND);
  // The last rule takes every pair.
  return *std::ranges::find_if(rules, [&](const Rule& rule) {
    return (rule.audio & AudioSet(audio)) != 0 && (rule.video & VideoSet(video)) != 0;
  });
}

}  // namespace

MergeDecision DecideMerge(AVCodecID audio, AVCodecID video) {
  const Rule& rule = FirstMatch(kRules, audio, video);
  MergeDecision decision{rule.mode, rule.container, {}, {}};
  CopyText(decision.extension, rule.extension);
  CopyText(decision.altExtension, rule.altExtension);
  return decision;
}

MergeDecisionPrefix DecideMergeByOlderRules(AVCodecID audio, AVCodecID video) {
  const Rule& rule = FirstMatch(kOlderRules, audio, video);
  return {.mode = rule.mode, .container = rule.container};
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
