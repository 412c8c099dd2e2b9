#include <cerrno>

#include "support/kit.h"
#include "transcode/operations.h"

namespace {

using Mp3Convert = test::InFolder;

namespace fs = std::filesystem;

int Convert(const std::string& input, const std::string& output, int bitRate = 0) {
  return MP3_Convert(input.c_str(), output.c_str(), bitRate, nullptr, 0);
}

std::vector<std::int32_t> ReportsOf(const std::string& input, test::ProgressLog& log) {
  const test::ScratchFolder folder;
  EXPECT_EQ(test::kRewritings[0].run(input, folder / "a.mp3", log), 0);
  return log.Reports();
}

TEST_F(Mp3Convert, SettlesRatesAndChannelsByInputAndRequest) {
  const auto tone = [](const std::string& name, const std::string& options) {
    return test::MakeMedia(name, "-f lavfi -i sine=duration=2:sample_rate=96000 " + options);
  };
  struct Case {
    std::string input;
    int request;
    const char* expected;
  };
  const Case cases[] = {
      {tone("a.mp3", "-ac 2 -ar 44100 -c:a libmp3lame -b:a 192k"), 0, "mp3\n44100\n1\n192000\nmp3"},
      {tone("a.ac3", "-ac 6 -ar 48000 -c:a ac3 -b:a 448k"), 0, "mp3\n48000\n2\n128000\nmp3"},
      {tone("a.wv", "-ac 1 -ar 96000 -c:a wavpack"), 40000, "mp3\n48000\n1\n48000\nmp3"},
      {tone("a.wv", "-ac 2 -ar 22000 -c:a wavpack"), 64000, "mp3\n22050\n1\n64000\nmp3"},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(Convert(c.input, output, c.request), 0);
    EXPECT_EQ(test::Probe(output, "stream=codec_name,sample_rate,channels,bit_rate") + "\n" +
                  test::Probe(output, "format=format_name"),
              c.expected);
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST_F(Mp3Convert, ReportsRisesAndEveryTwentiethPass) {
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
    const test::Percent100Is scale(c.percent100);
    test::ProgressLog log;
    EXPECT_EQ(ReportsOf(c.input, log), c.expected);
  }
}

TEST_F(Mp3Convert, Tolerates19BrokenPacketsAsTranscodingDoes) {
  const std::string input = folder / "in.mp4";
  const std::string audio = test::ReadBytes(test::Ac3Audio());
  for (const bool isTranscode : {false, true}) {
    const auto convert = [&](int damaged) {
      test::WriteBytes(input, test::BreakAc3Frames(audio, 30, damaged));
      const TranscodeParams mp3{.formatId = MPG_FORMAT_MP3, .targetAudioCodec = 1};
      return isTranscode ? test::Transcode(input, output, mp3) : Convert(input, output);
    };
    EXPECT_EQ(convert(19), 0);
    EXPECT_NEAR(test::Audio(output).Length(), 4 - 19 * 2 * 0.032, 0.06);
    EXPECT_STREQ(MPG_GetErrorText(convert(20)), "Invalid data found when processing input");
    EXPECT_EQ(fs::exists(output), !isTranscode);
  }
}

TEST_F(Mp3Convert, EmptiesTheDecoder) {
  const std::string wma = test::MakeMedia("tone.wma", "-f lavfi -i sine -t 2 -c:a wmav2");
  ASSERT_EQ(Convert(wma, output), 0);
  EXPECT_GT(test::Audio(output).Length(), 1.99);
}

// LAME takes 16-bit samples channel by channel, and so does mono.
TEST_F(Mp3Convert, RefusesSampleFormatsThatTheEncoderDoesNotTake) {
  const auto flac = [](const std::string& channels) {
    return test::MakeMedia("a.flac", "-f lavfi -i sine=duration=1 -ac " + channels);
  };
  EXPECT_EQ(Convert(flac("6"), output), -EINVAL);
  EXPECT_FALSE(fs::exists(output));
  EXPECT_EQ(Convert(flac("2"), output), 0);
}

}  // namespace
