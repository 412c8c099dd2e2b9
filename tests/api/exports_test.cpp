#include <algorithm>
#include <set>

#include "support/kit.h"
#include "support/places.h"
#include "support/system.h"

namespace {

TEST(Exports, AreWhatTheHeaderDeclares) {
  const std::string header = test::ReadBytes(test::kHeaderFile);
  std::set<std::string> declared;
  for (std::size_t at = 0; (at = header.find("\nMPG_API ", at)) != std::string::npos;) {
    at = header.find('(', at);
    const std::size_t name = header.find_last_of(" *", at) + 1;
    declared.insert(header.substr(name, at - name));
  }
  EXPECT_EQ(test::ExportedNames(test::kLibraryFile), declared);
  EXPECT_EQ(declared.size(), 22u);
}

TEST(ErrorText, IsTheLibrarysOwnElseFfmpegsInOneSharedBuffer) {
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_AUDIO_CODEC_NOT_FOUND), "Audio codec not found");
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_VIDEO_CODEC_NOT_FOUND), "Video codec not found");
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_AUDIO_STREAM_NOT_FOUND), "Audio stream not found");
  EXPECT_STREQ(MPG_GetErrorText(MPG_ERR_VIDEO_STREAM_NOT_FOUND), "Video stream not found");
  const char* const text = MPG_GetErrorText(-2);
  EXPECT_STREQ(text, "No such file or directory");
  EXPECT_EQ(MPG_GetErrorText(MPG_ERR_INVALID_PARAMETER), text);
  EXPECT_STREQ(text, "Error number -1073741819 occurred");
}

TEST(NullArguments, GiveAnAnswer) {
  const std::string path = test::AacAudio();
  const char* const file = path.c_str();
  // A text that is longer than its room.
  const HostString tooLong{.characters = {.pointer = file}, .length = 17, .capacity = 16};
  const HostString none{};
  const TranscodeParams params{};
  MergeDecision decision{};
  MediaInfo info{};
  std::uint32_t size = 4711;
  for (const std::int32_t result :
       {MPG_MergeOP(file, file, nullptr), MPG_MergeOP2(nullptr, file, &decision),
        MPG_MergeOP2(file, nullptr, &decision), MPG_MergeOP2(file, file, nullptr),
        MPG_MergeAV(nullptr, file, "a", nullptr, 0), MPG_MergeAV(file, file, nullptr, nullptr, 0),
        MPG_Merge(nullptr, "a", 0, 0, nullptr, 0), FLV_FixDuration(nullptr),
        MP3_Convert(file, nullptr, 0, nullptr, 0), MPG_Crop(nullptr, "a"),
        MPG_SaveTrimmedVideo(nullptr, "a", 0, 1), MPG_ShiftAudio(nullptr, "a", 0, nullptr, 0),
        MPG_Transcode(nullptr, &none, &params, nullptr, 0),
        MPG_Transcode(&none, &none, nullptr, nullptr, 0),
        MPG_Transcode(&tooLong, &none, &params, nullptr, 0)}) {
    EXPECT_EQ(result, MPG_ERR_INVALID_PARAMETER);
  }
  EXPECT_EQ(MPG_IsThisGoodFile(nullptr), 0u);
  EXPECT_EQ(MPG_GetMediaInfo(nullptr, &info) + MPG_GetMediaInfo(file, nullptr), 0);
  EXPECT_EQ(MPG_GetAudioDuration(nullptr), 0);
  EXPECT_EQ(MPG_GetImageP(0, nullptr, "a", 0, 0, 0) + MPG_GetImageJPG(file, nullptr, 0, 0), 0);
  EXPECT_EQ(MPG_GetImageBMP(file, 0, nullptr, 0), nullptr);
  EXPECT_EQ(MPG_GetImageBMP(nullptr, 0, &size, 0), nullptr);
  EXPECT_EQ(size, 0u);
}

TEST(Exports, LetNothingOutThatACallbackThrows) {
  const test::ScratchFolder folder;
  const ProgressCallback callback = [](const ProgressInfo*) -> std::uint8_t { throw 1; };
  EXPECT_EQ(MPG_MergeAV(test::H264Video().c_str(), test::AacAudio().c_str(),
                        (folder / "a.mp4").c_str(), callback, 0),
            test::kUnknown);
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
}

TEST(DefaultExtension, OfAFileFollowsItsOwnStreamsAndFitsTheBuffer) {
  const std::string both = test::MakeMedia(
      "both.webm", "-i " + test::Vp9Video() + " -i " + test::OpusAudio() + " -c copy");
  struct Case {
    const char* path;
    int size;
    const char* expected;
  };
  const std::string video = test::H264Video();
  for (const Case& c :
       {Case{both.c_str(), 5, "webm"}, Case{both.c_str(), 4, ""}, Case{video.c_str(), 8, ""},
        Case{"missing", 8, ""}, Case{nullptr, 8, ""}, Case{both.c_str(), 0, "before"}}) {
    char text[8] = "before";
    MPG_GetDefExtension(c.path, text, c.size);
    EXPECT_STREQ(text, c.expected);
  }
  MPG_GetDefExtension(video.c_str(), nullptr, 8);
}

}  // namespace
