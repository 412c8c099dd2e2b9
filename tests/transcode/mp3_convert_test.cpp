#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"
#include "support/probe.h"
#include "support/process.h"
#include "support/sound.h"
#include "transcode/host_call.h"

namespace {

namespace fs = std::filesystem;

int Convert(const std::string& input, const std::string& output, int bitRate = 0) {
  return MP3_Convert(input.c_str(), output.c_str(), bitRate, nullptr, 0);
}

int Convert(const std::string& input, const std::string& output, test::ProgressLog& log) {
  return MP3_Convert(input.c_str(), output.c_str(), 0, test::ProgressLog::Callback, log.Context());
}

std::string Format(const std::string& path) {
  return test::Probe(path, "stream=codec_name,sample_rate,channels,bit_rate");
}

std::string Flac(const std::string& channels) {
  return test::MakeMedia("flac.flac", "-f lavfi -i sine=duration=1 -ac " + channels + " -c:a flac");
}

TEST(Mp3Convert, SettlesRatesAndChannelsByInputAndRequest) {
  const std::string tone = "-f lavfi -i sine=duration=2:sample_rate=96000 ";
  struct Case {
    std::string input;
    int request;
    std::string expected;
  };
  const Case cases[] = {
      {test::MakeMedia("a.mp3", tone + "-ac 2 -ar 44100 -c:a libmp3lame -b:a 192k"), 0,
       "mp3\n44100\n1\n192000"},
      {test::MakeMedia("a.ac3", tone + "-ac 6 -ar 48000 -c:a ac3 -b:a 448k"), 0,
       "mp3\n48000\n2\n128000"},
      {test::MakeMedia("a.wv", tone + "-ac 1 -ar 96000 -c:a wavpack"), 40000,
       "mp3\n48000\n1\n48000"},
      {test::MakeMedia("a.wv", tone + "-ac 2 -ar 22000 -c:a wavpack"), 64000,
       "mp3\n22050\n1\n64000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input);
    const test::ScratchFolder folder;
    const std::string output = folder / "a.out";
    ASSERT_EQ(Convert(c.input, output, c.request), 0);
    EXPECT_EQ(Format(output), c.expected);
    EXPECT_EQ(test::Probe(output, "format=format_name"), "mp3");
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST(Mp3Convert, TakesTheAudioStreamWithTheHighestBitRate) {
  // In the second file no stream tells its bit rate, and the last one is taken.
  const std::string tones =
      "-f lavfi -i sine=f=300:d=2:r=44100 -f lavfi -i sine=f=700:d=2:r=44100 -f lavfi -i "
      "testsrc2=s=64x64:d=2 -map 0 -map 2 -map 1 -c:v mpeg4 ";
  struct Case {
    std::string name, options;
    double loud;
  };
  for (const Case& c : {Case{"a.mp4", "-c:a aac -b:a:0 96k -b:a:1 48k", 300},
                        Case{"a.mp4", "-c:a aac -b:a:0 48k -b:a:1 96k", 700},
                        Case{"a.mkv", "-c:a aac -b:a:0 96k -b:a:1 48k", 700}}) {
    SCOPED_TRACE(c.name + c.options);
    const test::ScratchFolder folder;
    ASSERT_EQ(Convert(test::MakeMedia(c.name, tones + c.options), folder / "a.mp3"), 0);
    const test::Sound sound(folder / "a.mp3");
    EXPECT_NEAR(sound.Amplitude(0, c.loud), 0.125, 0.01);
    EXPECT_LT(sound.Amplitude(0, 1000 - c.loud), 0.001);
  }
}

TEST(Mp3Convert, ReportsRisesAndEveryTwentiethPass) {
  struct Case {
    double seconds;
    std::int32_t percent100;
    std::vector<std::int32_t> expected;
  };
  // 48 kHz: a pass of 1152 samples is 24 ms, and the encoder holds back one.
  const Case cases[] = {
      {2, 10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
      {4, 5, {0, 1, 1, 2, 2, 3, 3, 4, 4, 5}},
      {2, 0, {0, 0, 0, 0, 0}},
      {2, -7, {-1, -3, -4, -6, -7}},
      // The duration counts in whole seconds.
      {1.5, 4, {1, 2, 3, 4, 5, 4}},
      {0.9, 100, {100}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.seconds) + " s to " + std::to_string(c.percent100));
    const test::ScratchFolder folder;
    const test::Percent100Is scale(c.percent100);
    test::ProgressLog log;
    ASSERT_EQ(Convert(test::AacAudio(c.seconds), folder / "a.mp3", log), 0);
    EXPECT_EQ(log.Reports(), c.expected);
  }
}

TEST(Mp3Convert, FollowsAScaleThatChangesToItsLimits) {
  const test::ScratchFolder folder;
  const test::Percent100Is scale(2147483647);
  test::ProgressLog log;
  log.onReport = [](std::int32_t) { MPG_SetPercent100(0x80000000u); };
  EXPECT_EQ(Convert(test::AacAudio(), folder / "a.mp3", log), 0);
  EXPECT_GT(log.Reports().front(), 0);
  EXPECT_EQ(log.Reports().back(), -2147483647 - 1);
}

TEST(Mp3Convert, StopsWithAPlayableFileWhenTheHostSaysSo) {
  const test::ScratchFolder folder;
  const std::string output = folder / "a.mp3";
  test::ProgressLog whole;
  ASSERT_EQ(Convert(test::AacAudio(8), output, whole), 0);
  const int reports = static_cast<int>(whole.Reports().size());
  double lengthBefore = 0;
  for (const int stopAt : {1, reports / 2, reports - 1}) {
    test::ProgressLog log(stopAt);
    ASSERT_EQ(Convert(test::AacAudio(8), output, log), 0);
    EXPECT_EQ(log.Reports().size(), static_cast<std::size_t>(stopAt) + 1);
    EXPECT_EQ(log.Reports().back(), 100);
    EXPECT_EQ(test::DecodingErrors(output), "");
    const double length = test::Sound(output).Length();
    EXPECT_GT(length, lengthBefore);
    EXPECT_NEAR(length, 8.0 * stopAt / reports, 0.15);
    lengthBefore = length;
  }
  // Nothing is left to stop.
  test::ProgressLog last(reports);
  ASSERT_EQ(Convert(test::AacAudio(8), output, last), 0);
  EXPECT_NEAR(test::Sound(output).Length(), 8, 0.03);
}

std::string Damaged(const test::ScratchFolder& folder, int count) {
  const std::string path = folder / "damaged.mp4";
  test::WriteBytes(path, test::BreakAc3Frames(test::ReadBytes(test::Ac3Audio()), 30, count));
  return path;
}

TEST(Mp3Convert, Tolerates19BrokenPacketsAsTranscodingDoes) {
  using Operation = int (*)(const std::string&, const std::string&);
  const std::pair<Operation, bool> operations[] = {
      {[](auto& in, auto& out) { return Convert(in, out); }, true},
      {[](auto& in, auto& out) {
         return test::Transcode(in, out, {.formatId = MPG_FORMAT_MP3, .targetAudioCodec = 1});
       },
       false}};
  const test::ScratchFolder folder;
  for (const auto& [convert, keepsPartialFile] : operations) {
    EXPECT_EQ(convert(Damaged(folder, 19), folder / "a.mp3"), 0);
    EXPECT_NEAR(test::Sound(folder / "a.mp3").Length(), 4 - 19 * 2 * 0.032, 0.06);
    const int result = convert(Damaged(folder, 20), folder / "b.mp3");
    EXPECT_STREQ(MPG_GetErrorText(result), "Invalid data found when processing input");
    EXPECT_EQ(fs::exists(folder / "b.mp3"), keepsPartialFile);
    fs::remove(folder / "b.mp3");
  }
}

TEST(Mp3Convert, AnswersBadInputWithACodeAndNoFile) {
  const test::ScratchFolder folder;
  const std::string bytes = test::ReadBytes(test::AacAudio());
  test::WriteBytes(folder / "empty.m4a", "");
  test::WriteBytes(folder / "cut.m4a", bytes.substr(0, bytes.size() / 2));
  std::string unknown = test::ReadBytes(test::Ac3Audio());
  unknown.replace(unknown.rfind("ac-3"), 4, "mhm1");  // MPEG-H, which FFmpeg can't decode
  test::WriteBytes(folder / "unknown.mp4", unknown);
  constexpr int kUnknown = -1313558101;      // AVERROR_UNKNOWN
  constexpr int kInvalidData = -1094995529;  // AVERROR_INVALIDDATA

  struct Case {
    std::string input;
    int expected;
  };
  const Case cases[] = {
      {test::H264Video(), MPG_ERR_AUDIO_STREAM_NOT_FOUND},
      {folder / "missing.m4a", -ENOENT},
      {folder / "empty.m4a", kInvalidData},
      {folder / "cut.m4a", kInvalidData},
      {folder / "unknown.mp4", kUnknown},
      // LAME takes 16-bit samples channel by channel, and so does mono.
      {Flac("6"), -EINVAL},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Convert(c.input, folder / "a.mp3"), c.expected) << c.input;
    EXPECT_FALSE(fs::exists(folder / "a.mp3")) << c.input;
  }
  EXPECT_EQ(Convert(Flac("2"), folder / "a.mp3"), 0);
}

}  // namespace
