#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"

namespace {

TEST(MediaInfo, DescribesAFileWithVideoAndAudio) {
  const std::string path = test::MakeMedia(
      "both.mp4",
      "-f lavfi -i testsrc2=size=642x362:rate=30000/1001:duration=3.9 "
      "-f lavfi -i sine=sample_rate=44100:duration=2.95 -ac 2 -c:v libx264 -bf 2 -c:a aac");
  MediaInfo info;
  std::memset(&info, 0xFF, sizeof info);
  ASSERT_EQ(MPG_GetMediaInfo(path.c_str(), &info), 1);
  EXPECT_EQ(info.duration, 3);
  EXPECT_EQ(info.bitRate, 0);  // an MP4 header tells none
  EXPECT_EQ(info.videoStreams, 1u);
  EXPECT_EQ(info.width, 642);
  EXPECT_EQ(info.height, 362);
  EXPECT_NEAR(info.frameRate, 29.97, 0.001);
  EXPECT_EQ(info.videoDuration, 3);
  EXPECT_GT(info.videoBitRate, 10000);
  EXPECT_STREQ(info.videoCodec, "H264");
  EXPECT_STREQ(info.videoSampleFormat, "");
  EXPECT_EQ(info.audioStreams, 1u);
  EXPECT_EQ(info.channels, 2);
  EXPECT_EQ(info.sampleRate, 44100);
  EXPECT_EQ(info.audioDuration, 2);  // 2.95 s, cut off
  EXPECT_STREQ(info.audioCodec, "AAC");
  EXPECT_STREQ(info.sampleFormat, "FLTP");
  EXPECT_EQ(MPG_GetAudioDuration(path.c_str()), 2);
}

TEST(MediaInfo, LeavesZeroWhatAFileDoesNotHave) {
  MediaInfo info;
  ASSERT_EQ(MPG_GetMediaInfo(test::H264Video().c_str(), &info), 1);
  EXPECT_EQ(info.videoStreams, 1u);
  EXPECT_EQ(info.audioStreams + static_cast<unsigned>(info.sampleRate + info.channels), 0u);
  EXPECT_STREQ(info.audioCodec, "");

  const std::string wav = test::MakeMedia("pcm.wav", "-f lavfi -i sine=duration=2 -c:a pcm_s16le");
  ASSERT_EQ(MPG_GetMediaInfo(wav.c_str(), &info), 1);
  EXPECT_EQ(info.videoStreams, 0u);
  EXPECT_EQ(info.width, 0);
  EXPECT_STREQ(info.audioCodec, "PCM_S16LE");
  EXPECT_STREQ(info.sampleFormat, "S16");
}

TEST(MediaInfo, KnowsNoLengthAndNoRateWhereTheFileTellsNone) {
  const std::string raw = test::MakeMedia("raw.h264", "-i " + test::H264Video() + " -c copy");
  MediaInfo info;
  ASSERT_EQ(MPG_GetMediaInfo(raw.c_str(), &info), 1);
  EXPECT_EQ(info.duration, 0);
  EXPECT_EQ(info.videoDuration, 0);
  EXPECT_EQ(MPG_GetAudioDuration(raw.c_str()), 0);
  // The audio's own length is unknown in Matroska; the file's stands for it.
  EXPECT_EQ(MPG_GetAudioDuration(test::AacAudio(2, "mka").c_str()), 2);
}

// The first one's codec is unknown, and so is its sample rate.
TEST(MediaInfo, CountsStreamsAndDescribesTheFirstUsableAudio) {
  const test::ScratchFolder folder;
  const std::string video = test::H264Video(), mono = test::Ac3Audio(), stereo = test::AacAudio();
  std::string file =
      test::ReadBytes(test::MakeMedia("two.mkv", "-i " + video + " -i " + mono + " -i " + stereo +
                                                     " -map 0 -map 0 -map 1 -map 2 -c copy"));
  const std::size_t codec = file.find("A_AC3");
  file.replace(codec, 5, "A_XX3");
  file.replace(file.find("\xB5\x88", codec) + 2, 8, 8, '\0');
  test::WriteBytes(folder / "two.mkv", file);
  MediaInfo info;
  ASSERT_EQ(MPG_GetMediaInfo((folder / "two.mkv").c_str(), &info), 1);
  EXPECT_EQ(info.videoStreams, 2u);
  EXPECT_EQ(info.audioStreams, 2u);
  EXPECT_EQ(info.channels, 2);
  EXPECT_STREQ(info.audioCodec, "AAC");
}

TEST(MediaInfo, TellsNoChannelsWithoutADecoder) {
  const test::ScratchFolder folder;
  std::string unknown = test::ReadBytes(test::Ac3Audio());
  unknown.replace(unknown.rfind("ac-3"), 4, "mhm1");  // MPEG-H
  test::WriteBytes(folder / "unknown.mp4", unknown);
  MediaInfo info;
  ASSERT_EQ(MPG_GetMediaInfo((folder / "unknown.mp4").c_str(), &info), 1);
  EXPECT_EQ(info.channels, 0);
  EXPECT_EQ(info.sampleRate, 48000);
  EXPECT_STREQ(info.sampleFormat, "");
}

TEST(MediaInfo, TellsTheSizeOfTheFramesWhateverTheContainerSays) {
  const std::string cropped = test::MakeMedia(
      "cropped.mp4",
      "-i " + test::H264Video() + " -c copy -bsf:v h264_metadata=crop_right=16:crop_bottom=8");
  MediaInfo info;
  ASSERT_EQ(MPG_GetMediaInfo(cropped.c_str(), &info), 1);
  EXPECT_EQ(info.width, 304);
  EXPECT_EQ(info.height, 232);
}

TEST(MediaInfo, TurnsDownWhatIsNotMedia) {
  const test::ScratchFolder folder;
  const std::string whole = test::ReadBytes(test::H264Video());
  test::WriteBytes(folder / "empty.mp4", "");
  test::WriteBytes(folder / "text.mp4", std::string(5000, 'a') + "\nno media at all\n");
  test::WriteBytes(folder / "cut.mp4", whole.substr(0, whole.size() / 2));  // its index is lost
  for (const std::string& path : {folder / "empty.mp4", folder / "text.mp4", folder / "cut.mp4",
                                  folder / "", folder / "missing.mp4"}) {
    MediaInfo info, zero;
    std::memset(&info, 0xFF, sizeof info);
    std::memset(&zero, 0, sizeof zero);
    EXPECT_EQ(MPG_IsThisGoodFile(path.c_str()), 0u) << path;
    EXPECT_EQ(MPG_GetMediaInfo(path.c_str(), &info), 0) << path;
    EXPECT_EQ(std::memcmp(&info, &zero, sizeof info), 0) << path;
    EXPECT_EQ(MPG_GetAudioDuration(path.c_str()), 0) << path;
  }
  EXPECT_EQ(MPG_IsThisGoodFile(test::H264Video().c_str()), 1u);
}

}  // namespace
