#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/audio.h"
#include "support/host.h"
#include "support/media.h"
#include "support/probe.h"
#include "support/process.h"
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

TEST(Mp3Convert, ReportsRisesAndEveryTwentiethPass) {
  struct Case {
    std::string input;
    std::int32_t percent100;
    std::vector<std::int32_t> expected;
  };
  const std::string film = test::MakeMedia(
      "film.mp4", "-i " + test::H264Video(4) + " -i " + test::AacAudio() + " -c copy");
  // 48 kHz: a pass of 1152 samples is 24 ms, and the encoder holds back one.
  const Case cases[] = {
      {test::AacAudio(), 10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
      {test::AacAudio(4), 5, {0, 1, 1, 2, 2, 3, 3, 4, 4, 5}},
      {test::AacAudio(), 0, {0, 0, 0, 0, 0}},
      {test::AacAudio(), -7, {-1, -3, -4, -6, -7}},
      // The file's duration counts, in whole seconds.
      {film, 10, {1, 2, 3, 4, 10}},
      {test::AacAudio(1.5), 4, {1, 2, 3, 4, 5, 4}},
      {test::AacAudio(0.9), 100, {100}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input + " to " + std::to_string(c.percent100));
    const test::ScratchFolder folder;
    const test::Percent100Is scale(c.percent100);
    test::ProgressLog log;
    ASSERT_EQ(Convert(c.input, folder / "a.mp3", log), 0);
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
    EXPECT_NEAR(test::Audio(folder / "a.mp3").Length(), 4 - 19 * 2 * 0.032, 0.06);
    const int result = convert(Damaged(folder, 20), folder / "b.mp3");
    EXPECT_STREQ(MPG_GetErrorText(result), "Invalid data found when processing input");
    EXPECT_EQ(fs::exists(folder / "b.mp3"), keepsPartialFile);
    fs::remove(folder / "b.mp3");
  }
}

// LAME takes 16-bit samples channel by channel, and so does mono.
TEST(Mp3Convert, RefusesSampleFormatsThatTheEncoderDoesNotTake) {
  const test::ScratchFolder folder;
  EXPECT_EQ(Convert(Flac("6"), folder / "a.mp3"), -EINVAL);
  EXPECT_FALSE(fs::exists(folder / "a.mp3"));
  EXPECT_EQ(Convert(Flac("2"), folder / "a.mp3"), 0);
}

}  // namespace
