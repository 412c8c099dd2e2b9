#include "probe/merge_decision.h"

#include <gtest/gtest.h>

#include <string>

namespace mpg {
namespace {

constexpr AVCodecID kH264 = AV_CODEC_ID_H264, kHevc = AV_CODEC_ID_HEVC, kVp8 = AV_CODEC_ID_VP8,
                    kVp9 = AV_CODEC_ID_VP9, kAv1 = AV_CODEC_ID_AV1, kAac = AV_CODEC_ID_AAC,
                    kOpus = AV_CODEC_ID_OPUS, kVorbis = AV_CODEC_ID_VORBIS, kMp3 = AV_CODEC_ID_MP3;

std::string Describe(std::uint32_t mode, std::uint32_t container) {
  return (mode == 0 ? "copy " : "encode ") + std::to_string(container);
}

TEST(DecideMerge, FollowsTheFirstRuleThatMatches) {
  struct Case {
    AVCodecID audio, video;
    const char *expected, *muxer, *extensions, *byOlderRules;
  };
  constexpr Case kCases[] = {
      {kOpus, kH264, "copy 0", "mp4", "mp4 mp4", "encode 0"},
      {kOpus, kVp8, "copy 3", "webm", "webm mkv", "copy 2"},
      {kOpus, kVp9, "copy 3", "webm", "webm mkv", "copy 2"},
      {kOpus, kAv1, "copy 3", "webm", "webm mkv", "encode 0"},
      {kOpus, kHevc, "encode 0", "mp4", "mp4 mp4", "encode 0"},
      {kVorbis, kH264, "copy 0", "mp4", "mp4 mp4", "copy 0"},
      {kVorbis, kVp8, "copy 3", "webm", "webm mkv", "copy 0"},
      {kVorbis, kHevc, "copy 0", "mp4", "mp4 mp4", "copy 0"},
      {kAac, kH264, "copy 0", "mp4", "mp4 mp4", "copy 0"},
      {kAac, kVp8, "copy 1", "avi", "avi avi", "copy 1"},
      {kAac, kAv1, "copy 1", "avi", "avi avi", "copy 0"},
      {kAac, kHevc, "copy 0", "mp4", "mp4 mp4", "copy 0"},
      {kMp3, kH264, "copy 0", "mp4", "mp4 mp4", "encode 0"},
      {kMp3, kVp9, "encode 0", "mp4", "mp4 mp4", "encode 0"},
      {kMp3, kHevc, "encode 0", "mp4", "mp4 mp4", "encode 0"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(std::string(avcodec_get_name(c.audio)) + " with " + avcodec_get_name(c.video));
    const MergeDecision decision = DecideMerge(c.audio, c.video);
    EXPECT_EQ(Describe(decision.mode, decision.container), c.expected);
    EXPECT_STREQ(MuxerName(decision.container), c.muxer);
    EXPECT_EQ(std::string(decision.extension) + " " + decision.altExtension, c.extensions);
    const MergeDecisionPrefix older = DecideMergeByOlderRules(c.audio, c.video);
    EXPECT_EQ(Describe(older.mode, older.container), c.byOlderRules);
  }
  EXPECT_STREQ(MuxerName(2), "webm");
}

}  // namespace
}  // namespace mpg
