// What the join of a list does with entries, outputs and hosts of every kind.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "mpg/mpg.h"
#include "remux/segments.h"
#include "support/host.h"
#include "support/media.h"
#include "support/probe.h"

namespace {

namespace fs = std::filesystem;
using test::Cut;
using test::Ffmpeg;
using test::Film;
using test::Merge;
using test::Paths;
using Reports = std::vector<std::int32_t>;

constexpr std::size_t kFramesPerSegment = 50;

std::size_t Frames(const std::string& path) {
  return test::ReadPayloads(path, "v:0").size();
}

std::vector<bool> Existing(const Paths& paths) {
  std::vector<bool> existing;
  for (const std::string& path : paths) existing.push_back(fs::exists(path));
  return existing;
}

TEST(SegmentList, ExtensionChoosesTheContainer) {
  constexpr const char* kMp4 = "mov,mp4,m4a,3gp,3g2,mj2";
  constexpr std::pair<const char*, const char*> kCases[] = {
      {"a.ts", "mpegts"},   {"a.m4t", "mpegts"}, {"a.m2t", "mpegts"}, {"a.M2Ts", "mpegts"},
      {"a.mts", "mpegts"},  {"a.mkv", kMp4},     {"ts", kMp4},        {"folder.ts/a", kMp4},
      {"back.ts\\a", kMp4}, {"a.ts.", kMp4}};
  const test::ScratchFolder folder;
  const Paths segments = Cut(folder, Film());
  fs::create_directory(folder / "folder.ts");
  fs::create_directory(folder / "back.ts");
  for (const auto& [output, container] : kCases) {
    ASSERT_EQ(Merge({segments[0]}, folder / output), 0) << output;
    EXPECT_EQ(test::Probe(folder / output, "format=format_name"), container) << output;
  }
}

TEST(SegmentList, NothingToJoinIsNoFailure) {
  const test::ScratchFolder folder;
  const char* const none[] = {nullptr};
  const char* const one[] = {"a.ts", nullptr};
  test::ProgressLog log;
  EXPECT_EQ(Merge({}, folder / "a.mp4", {.log = &log}), 0);
  EXPECT_FALSE(fs::exists(folder / "a.mp4"));
  EXPECT_EQ(MPG_Merge(none, nullptr, 1, 1, nullptr, 0), 0);
  EXPECT_EQ(MPG_Merge(one, nullptr, 1, 1, nullptr, 0), 0);
  EXPECT_EQ(MPG_Merge(nullptr, "a.mp4", 1, 1, nullptr, 0), MPG_ERR_INVALID_PARAMETER);
  EXPECT_TRUE(log.Reports().empty());
}

TEST(SegmentList, FirstEntryDecidesWhichKindsAreJoined) {
  const test::ScratchFolder folder;
  const Paths whole = Cut(folder, Film());
  const std::string silent = folder / "silent.ts";
  const std::string blind = folder / "blind.ts";
  Ffmpeg("-i " + whole[0] + " -an -c copy " + silent);
  Ffmpeg("-i " + whole[0] + " -vn -c copy " + blind);
  ASSERT_EQ(Merge({silent, whole[1]}, folder / "v.mp4"), 0);
  EXPECT_EQ(test::Probe(folder / "v.mp4", "stream=codec_type"), "video");
  EXPECT_EQ(Frames(folder / "v.mp4"), 2 * kFramesPerSegment);
  ASSERT_EQ(Merge({blind, whole[1]}, folder / "a.mp4"), 0);
  EXPECT_EQ(test::Probe(folder / "a.mp4", "stream=codec_type"), "audio");
  Ffmpeg("-i " + whole[0] + " -map 0:a -map 0:v -c copy " + (folder / "swapped.ts"));
  ASSERT_EQ(Merge({folder / "swapped.ts"}, folder / "a.mp4"), 0);
  EXPECT_EQ(test::Probe(folder / "a.mp4", "stream=codec_type"), "video\naudio");
}

TEST(SegmentList, ReportsOncePerEntryEvenForSkippedOnes) {
  struct Case {
    std::int32_t scale;
    Reports expected;
  };
  const test::ScratchFolder folder;
  const Paths cut = Cut(folder, Film());
  const Paths segments = {cut[0], folder / "missing.ts", cut[2]};
  for (const Case& c :
       {Case{100, {33, 66, 100}}, Case{1, {0, 0, 1}}, Case{0, {0, 0, 0}},
        Case{2147483647, {715827882, 1431655764, 2147483647}}, Case{-100, {-100}}}) {
    const test::Percent100Is scale(c.scale);
    test::ProgressLog log;
    EXPECT_EQ(Merge(segments, folder / "a.mp4", {.log = &log}), 0);
    EXPECT_EQ(log.Reports(), c.expected) << c.scale;
  }
}

TEST(SegmentList, StoppedJoinIsAFileOfTheEntriesSoFar) {
  for (const int stopAt : {1, 2, 3}) {
    const test::ScratchFolder folder;
    const Paths segments = Cut(folder, Film());
    test::ProgressLog log(stopAt);
    ASSERT_EQ(Merge(segments, folder / "a.mp4", {.deleteSegments = true, .log = &log}), 0);
    EXPECT_EQ(Frames(folder / "a.mp4"), static_cast<std::size_t>(stopAt) * kFramesPerSegment);
    EXPECT_EQ(test::DecodingErrors(folder / "a.mp4"), "");
    EXPECT_EQ(Existing(segments), (std::vector<bool>{false, stopAt < 2, stopAt < 3}));
  }
}

TEST(SegmentList, DeletesWhatWasCopiedOnlyAtTheEnd) {
  const test::ScratchFolder folder;
  Paths segments = Cut(folder, Film());
  fs::create_directory(folder / "folder");
  segments.insert(segments.begin() + 1, folder / "folder");
  segments.insert(segments.begin() + 2, folder / "missing.ts");
  const std::vector<bool> before = {true, true, false, true, true};
  test::ProgressLog log;
  log.onReport = [&](std::int32_t) { EXPECT_EQ(Existing(segments), before); };
  ASSERT_EQ(Merge(segments, folder / "a.mp4", {.deleteSegments = true, .log = &log}), 0);
  EXPECT_EQ(Existing(segments), (std::vector<bool>{false, true, false, false, false}));
  EXPECT_EQ(Frames(folder / "a.mp4"), 3 * kFramesPerSegment);
}

TEST(SegmentList, PassesBrokenEntriesAsLongAsAGoodOneFollowsOrNoneDoes) {
  struct Case {
    const char* name;
    // Numbers of good segments; -1 rubbish, -2 subtitles, -3 missing, -4 frames without times.
    std::vector<int> entries;
    int expected;
    std::size_t frames;
  };
  constexpr int kInvalidData = -1094995529;
  const Case cases[] = {
      {"first", {-1, 0, 1}, MPG_ERR_VIDEO_STREAM_NOT_FOUND, 0},
      {"first missing", {-3, 0, 1}, MPG_ERR_VIDEO_STREAM_NOT_FOUND, 0},
      {"middle", {0, -1, 1}, 0, 2 * kFramesPerSegment},
      {"last", {0, 1, -1}, 0, 2 * kFramesPerSegment},
      {"last but a missing one", {0, -1, -3}, kInvalidData, 0},
      {"middle, without frames and audio", {0, -2, 1}, MPG_ERR_VIDEO_STREAM_NOT_FOUND, 0},
      {"last, without frames and audio", {0, 1, -2}, 0, 2 * kFramesPerSegment},
      {"without times", {0, -4, 1}, 0, 2 * kFramesPerSegment},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchFolder folder;
    const Paths good = Cut(folder, Film());
    const Paths special = {folder / "rubbish.ts", folder / "s.srt", folder / "missing.ts",
                           folder / "raw.h264"};
    Ffmpeg("-i " + good[2] + " -c:v copy " + special[3]);
    test::WriteBytes(special[0], std::string(5000, 'a'));
    test::WriteBytes(special[1], "1\n00:00:00,000 --> 00:00:01,000\nhello\n");
    Paths segments;
    for (const int entry : c.entries) {
      segments.push_back(entry >= 0 ? good[static_cast<std::size_t>(entry)]
                                    : special[static_cast<std::size_t>(-entry - 1)]);
    }
    const std::vector<bool> before = Existing(segments);
    const std::string output = folder / "a.mp4";
    EXPECT_EQ(Merge(segments, output, {.deleteSegments = true}), c.expected);
    EXPECT_EQ(fs::exists(output), c.expected == 0);
    for (std::size_t i = 0; i < 3; ++i) {
      const bool isCopied = c.expected == 0 && c.entries[i] >= 0;
      EXPECT_EQ(fs::exists(segments[i]), before[i] && !isCopied) << i;
    }
    if (c.expected == 0) {
      EXPECT_EQ(Frames(output), c.frames);
      EXPECT_EQ(test::DecodingErrors(output), "");
    }
  }
}

TEST(SegmentList, FragmentsAreReadBehindTheLastInitialisation) {
  const test::ScratchFolder folder;
  Ffmpeg("-i " + Film() + " -c copy -f hls -hls_segment_type fmp4 -hls_list_size 0 " +
         (folder / "h.m3u8"));
  const Paths segments = {folder / "init.mp4", folder / "h0.m4s", folder / "h1.m4s"};
  constexpr int kInvalidData = -1094995529;
  ASSERT_EQ(Merge({segments[0]}, folder / "a.mp4", {.deleteSegments = true}), kInvalidData);
  EXPECT_FALSE(fs::exists(folder / "a.mp4"));
  ASSERT_EQ(Merge({segments[1], segments[2]}, folder / "a.mp4", {.deleteSegments = true}),
            MPG_ERR_VIDEO_STREAM_NOT_FOUND);
  EXPECT_EQ(Existing(segments), std::vector<bool>(3, true));
  ASSERT_EQ(Merge(segments, folder / "a.mp4", {.deleteSegments = true}), 0);
  EXPECT_EQ(Existing(segments), std::vector<bool>(3, false));
  EXPECT_GT(Frames(folder / "a.mp4"), kFramesPerSegment);
}

TEST(SegmentList, ReadsOnBehindBrokenDataInASegment) {
  const test::ScratchFolder folder;
  const std::string whole = test::InFragments(test::AacAudio(4));
  const std::string broken = test::InBrokenFragments(folder / "broken.mp4", test::AacAudio(4));
  ASSERT_EQ(Merge({whole, broken, whole}, folder / "a.mp4"), 0);
  // The third second's 47 frames are lost.
  EXPECT_EQ(test::ReadPayloads(folder / "a.mp4", "a:0").size(),
            3 * test::ReadPayloads(whole, "a:0").size() - 47);
}

TEST(SegmentList, TakesSegmentsOfAnotherSizeOrCodecWithoutFailing) {
  const test::ScratchFolder folder;
  const std::string first = Cut(folder, Film())[0];
  const std::string larger = folder / "larger.ts";
  const std::string other = folder / "other.ts";
  Ffmpeg("-i " + first + " -s 320x240 -c:v libx264 -bf 0 -c:a copy " + larger);
  Ffmpeg("-i " + first + " -c:v mpeg2video -c:a mp2 " + other);
  for (const char* name : {"a.mp4", "a.ts"}) {
    ASSERT_EQ(Merge({first, larger}, folder / name), 0);
    EXPECT_EQ(test::DecodingErrors(folder / name), "");
    EXPECT_TRUE(test::Probe(folder / name, "stream=width,height", "v:0").starts_with("160\n120"));
    EXPECT_EQ(Frames(folder / name), 2 * kFramesPerSegment);
    ASSERT_EQ(Merge({first, other, first}, folder / name), 0);
    EXPECT_GT(Frames(folder / name), 2 * kFramesPerSegment);
  }
}

TEST(SegmentList, RefusesAnOutputThatIsAMissingEntry) {
  const test::ScratchFolder folder;
  const Paths cut = Cut(folder, Film());
  const Paths segments = {cut[0], folder / "out.mp4", cut[1]};
  EXPECT_EQ(Merge(segments, folder / "out.mp4", {.deleteSegments = true}),
            MPG_ERR_INVALID_PARAMETER);
  EXPECT_EQ(Existing(segments), (std::vector<bool>{true, false, true}));
}

}  // namespace
