#include "probe/merge_decision.h"

#include <gtest/gtest.h>

#include <string>

namespace mpg {
namespace {

constexpr AVCodecID kH264 = AV_CODEC_ID_H264, kHevc = AV_CODEC_ID_HEVC, kVp8 = AV_CODEC_ID_VP8,
                    kVp9 = AV_CODEC_ID_VP9, kAv1 = AV_CODEC_ID_AV1, kAac = AV_CODEC_ID_AAC,
                    kOpus = AV_CODEC_ID_OPUS, kVorbis = AV_CODEC_ID_VORBIS, kMp3 = AV_CODEC_ID_MP3;

std::string Describe(const MergeDecision& d) {
  return (d.mode == 0 ? "copy " : "encode ") + std::string(MuxerName(d.container)) + " " +
         d.extension + " " + d.altExtension;
}

TEST(DecideMerge, FollowsTheFirstRuleThatMatches) {
  struct Case {
    AVCodecID audio, video;
    const char* expected;
  };
  constexpr Case kCases[] = {
      {kOpus, kH264, "copy mp4 mp4 mp4"},   {kOpus, kVp9, "copy webm webm mkv"},
      {kOpus, kAv1, "copy webm webm mkv"},  {kOpus, kHevc, "encode mp4 mp4 mp4"},
      {kVorbis, kH264, "copy mp4 mp4 mp4"}, {kVorbis, kVp8, "copy webm webm mkv"},
      {kVorbis, kHevc, "copy mp4 mp4 mp4"}, {kAac, kH264, "copy mp4 mp4 mp4"},
      {kAac, kVp8, "copy avi avi avi"},     {kAac, kAv1, "copy avi avi avi"},
      {kAac, kHevc, "copy mp4 mp4 mp4"},    {kMp3, kH264, "copy mp4 mp4 mp4"},
      {kMp3, kVp9, "encode mp4 mp4 mp4"},   {kMp3, kHevc, "encode mp4 mp4 mp4"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(Describe(DecideMerge(c.audio, c.video)), c.expected)
        << avcodec_get_name(c.audio) << " with " << avcodec_get_name(c.video);
  }
}

TEST(DecideMerge, KnowsOlderRulesToo) {
  struct Case {
    AVCodecID audio, video;
    std::uint32_t mode, container;
  };
  constexpr Case kCases[] = {
      {kAac, kVp9, 0, 1},     {kAac, kAv1, 0, 0},  {kAac, kH264, 0, 0}, {kVorbis, kVp8, 0, 0},
      {kVorbis, kHevc, 0, 0}, {kOpus, kVp8, 0, 2}, {kOpus, kAv1, 1, 0}, {kOpus, kH264, 1, 0},
      {kMp3, kH264, 1, 0},    {kMp3, kVp9, 1, 0},
  };
  for (const Case& c : kCases) {
    const MergeDecisionPrefix decision = DecideMergeByOlderRules(c.audio, c.video);
    EXPECT_TRUE(decision.mode == c.mode && decision.container == c.container)
        << avcodec_get_name(c.audio) << " with " << avcodec_get_name(c.video);
  }
}

}  // namespace
}  // namespace mpg
