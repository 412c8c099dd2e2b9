#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"
#include "support/system.h"

namespace {

std::set<std::string> Matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::set<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
    found.insert((*it)[1]);
  }
  return found;
}

TEST(Exports, AreWhatTheHeaderDeclares) {
  const std::set<std::string> declared =
      Matches(test::ReadBytes(MPG_HEADER), R"(\nMPG_API [\w *]*?(\w+)\()");
  EXPECT_EQ(test::ExportedNames(MPG_LIBRARY), declared);
  EXPECT_EQ(declared.size(), 22u);
}

TEST(ErrorText, IsTheLibrarysOwnForItsOwnCodes) {
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_AUDIO_CODEC_NOT_FOUND), "Audio codec not found");
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_VIDEO_CODEC_NOT_FOUND), "Video codec not found");
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_AUDIO_STREAM_NOT_FOUND), "Audio stream not found");
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_VIDEO_STREAM_NOT_FOUND), "Video stream not found");
}

TEST(ErrorText, IsFfmpegsInOneSharedBufferForEveryOtherCode) {
  const char* const text = MPG_GetErrorText(-2);
  EXPECT_STREQ(text, "No such file or directory");
  EXPECT_EQ(MPG_GetErrorText(MPG_ERR_INVALID_PARAMETER), text);
  EXPECT_STREQ(text, "Error number -1073741819 occurred");
}

TEST(NullArguments, GiveAnAnswer) {
  MergeDecision decision{};
  MergeDecisionPrefix prefix{};
  MediaInfo info{};
  char text[8] = "before";
  EXPECT_EQ(MPG_MergeOP(nullptr, "a", &prefix), MPG_ERR_INVALID_PARAMETER);
  EXPECT_EQ(MPG_MergeOP2("v", nullptr, &decision), MPG_ERR_INVALID_PARAMETER);
  EXPECT_EQ(MPG_MergeOP2("v", "a", nullptr), MPG_ERR_INVALID_PARAMETER);
  EXPECT_EQ(MPG_MergeAV("v", "a", nullptr, nullptr, 0), MPG_ERR_INVALID_PARAMETER);
  EXPECT_EQ(MP3_Convert(nullptr, "a.mp3", 0, nullptr, 0), MPG_ERR_INVALID_PARAMETER);
  EXPECT_EQ(MP3_Convert("a.m4a", nullptr, 0, nullptr, 0), MPG_ERR_INVALID_PARAMETER);
  EXPECT_EQ(MPG_IsThisGoodFile(nullptr), 0u);
  EXPECT_EQ(MPG_GetMediaInfo(nullptr, &info), 0);
  EXPECT_EQ(MPG_GetMediaInfo("v", nullptr), 0);
  EXPECT_EQ(MPG_GetAudioDuration(nullptr), 0);
  MPG_GetDefExtension("v", nullptr, 8);
  MPG_GetDefExtension(nullptr, text, 0);
  EXPECT_STREQ(text, "before");
  MPG_GetDefExtension(nullptr, text, sizeof text);
  EXPECT_STREQ(text, "");
}

TEST(Exports, LetNothingOutThatACallbackThrows) {
  const test::ScratchFolder folder;
  const ProgressCallback callback = [](const ProgressInfo*) -> std::uint8_t { throw 1; };
  EXPECT_EQ(MPG_MergeAV(test::H264Video().c_str(), test::AacAudio().c_str(),
                        (folder / "a.mp4").c_str(), callback, 0),
            -1313558101);  // AVERROR_UNKNOWN
}

TEST(Decisions, FollowTheFilesAndLeaveTheRecordAloneWhereThereIsNone) {
  const std::string h264 = test::H264Video(), vp9 = test::Vp9Video(), aac = test::AacAudio();
  const std::string opus = test::OpusAudio();
  struct Case {
    std::string video, audio;
    std::int32_t code;
    MergeDecisionPrefix older, newer;
  };
  constexpr MergeDecisionPrefix kBefore = {47, 11};
  const Case cases[] = {
      {h264, opus, 0, {1, 0}, {0, 0}},
      {vp9, aac, 0, {0, 1}, {0, 1}},
      {vp9, opus, 0, {0, 2}, {0, 3}},
      {h264, "missing", MPG_ERR_AUDIO_CODEC_NOT_FOUND, kBefore, kBefore},
      {"missing", aac, MPG_ERR_VIDEO_CODEC_NOT_FOUND, kBefore, kBefore},
      {"missing", "missing", MPG_ERR_AUDIO_CODEC_NOT_FOUND, kBefore, kBefore},
  };
  for (const Case& c : cases) {
    MergeDecisionPrefix older = kBefore;
    MergeDecision newer = {47, 11, "before", {}};
    EXPECT_EQ(MPG_MergeOP(c.video.c_str(), c.audio.c_str(), &older), c.code);
    EXPECT_EQ(MPG_MergeOP2(c.video.c_str(), c.audio.c_str(), &newer), c.code);
    EXPECT_TRUE(older.mode == c.older.mode && older.container == c.older.container) << c.audio;
    EXPECT_TRUE(newer.mode == c.newer.mode && newer.container == c.newer.container) << c.audio;
    EXPECT_EQ(std::string(newer.extension) == "before", c.code != 0);
  }
}

TEST(DefaultExtension, OfAFormatIsItsFirst) {
  const char* const expected[] = {"3gp", "aac", "avi", "mp3", "mp4", "mpg", "ts", "webm", "wmv"};
  for (OutputFormatId id = 0; id < std::size(expected); ++id) {
    EXPECT_STREQ(MPG_GetDefExt(id), expected[id]);
  }
  EXPECT_STREQ(MPG_GetDefExt(9), "mp4");
  EXPECT_STREQ(MPG_GetDefExt(0xFFFFFFFF), "mp4");
}

TEST(DefaultExtension, OfAFileFollowsItsOwnStreamsAndFitsTheBuffer) {
  const std::string both = test::MakeMedia(
      "both.webm", "-i " + test::Vp9Video() + " -i " + test::OpusAudio() + " -c copy");
  struct Case {
    std::string path;
    int size;
    const char* expected;
  };
  const Case cases[] = {
      {both, 5, "webm"}, {both, 4, ""}, {test::H264Video(), 8, ""}, {"missing", 8, ""}};
  for (const Case& c : cases) {
    char text[8] = "before";
    MPG_GetDefExtension(c.path.c_str(), text, c.size);
    EXPECT_STREQ(text, c.expected) << c.path;
  }
}

}  // namespace
