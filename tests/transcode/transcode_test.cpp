#include <algorithm>
#include <cerrno>

#include "support/encoders.h"
#include "support/kit.h"
#include "transcode/operations.h"

namespace {

using Transcoding = test::InFolder;

namespace fs = std::filesystem;
using test::Film;
using test::Transcode;

constexpr std::int32_t kMp4 = MPG_FORMAT_MP4;

// With further streams, which no output may hold: audio, frames and subtitles.
std::string CrowdedFilm() {
  const std::string frames =
      test::MakeMedia("s.mkv", "-f lavfi -i color=size=16x16:duration=1 -c:v ffv1");
  // One subtitle of the SubRip format.
  const std::string words =
      "-f srt -i \"data:text/plain;base64,MQowMDowMDowMCw1MDAgLS0+IDAwOjAwOjAyLDAwMAp3b3Jkcwo=\"";
  return test::MakeMedia("crowded.mkv", "-i " + Film("mp4") + " -i " + test::OpusAudio(4) + " -i " +
                                            frames + " " + words +
                                            " -map 0 -map 1:a -map 2:v -map 3:s -c copy");
}

TranscodeParams Codecs(std::int32_t audio, std::int32_t video) {
  return {.targetAudioCodec = audio, .targetVideoCodec = video};
}

TEST_F(Transcoding, FillsEveryContainerFromEveryOther) {
  constexpr const char* kIso = "mov,mp4,m4a,3gp,3g2,mj2";
  struct Case {
    std::string input;
    OutputFormatId format;
    TranscodeParams params;
    std::string container, codecs;
  };
  const Case cases[] = {
      {Film("ts"), MPG_FORMAT_MP4, {}, kIso, "aac h264"},
      {Film("flv"), MPG_FORMAT_TS, {}, "mpegts", "aac h264"},
      {Film("mkv"), MPG_FORMAT_AVI, {}, "avi", "aac h264"},
      {CrowdedFilm(), MPG_FORMAT_MP4, {}, kIso, "opus h264"},
      {Film("avi"), MPG_FORMAT_MPEG, {}, "mpeg", "mp3 mpeg4"},
      {Film("webm"), MPG_FORMAT_WEBM, {}, "matroska,webm", "opus vp9"},
      {Film("mp4", "-ac 2"), MPG_FORMAT_3GP, Codecs(3, 4), kIso, "amr_nb h263"},
      {Film("ts"), MPG_FORMAT_AVI, Codecs(1, 1), "avi", "mp3 mpeg4"},
      {Film("flv"), MPG_FORMAT_MPEG, Codecs(1, 6), "mpeg", "mp3 mpeg4"},
      {Film("avi"), MPG_FORMAT_MP4, Codecs(2, 5), kIso, "aac h264"},
      {CrowdedFilm(), MPG_FORMAT_TS, Codecs(2, 5), "mpegts", "aac h264"},
      {Film("webm"),
       MPG_FORMAT_WEBM,
       {.targetAudioBitRate = 64000, .videoReencode = 1},
       "matroska,webm",
       "opus vp9"},
      {Film("mp4"), MPG_FORMAT_MP3, Codecs(1, 0), "mp3", "mp3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input + " as " + c.container);
    TranscodeParams params = c.params;
    params.formatId = static_cast<std::int32_t>(c.format);
    ASSERT_EQ(Transcode(c.input, output, params), 0);
    EXPECT_EQ(test::Probe(output, "format=format_name"), c.container);
    std::string codecs = test::Probe(output, "stream=codec_name");
    std::ranges::replace(codecs, '\n', ' ');
    EXPECT_EQ(codecs, c.codecs);
    // Several of these small frames share a packet there, and only its first has a time.
    EXPECT_TRUE(c.container == "mpeg" || test::DecodingErrors(output).empty());
    if (c.container == "mp3") continue;
    EXPECT_EQ(test::PictureOrder(output), test::Numbers(0, 99));
    EXPECT_EQ(test::Probe(output, "stream=index", "2"), "");
    const std::vector<test::Packet> audio = test::ReadPackets(output, "0");
    const std::vector<test::Packet> frames = test::ReadPackets(output, "1");
    ASSERT_FALSE(audio.empty());
    // AVI tells no presentation times of frames that others overtake.
    if (!frames.front().pts) continue;
    EXPECT_NEAR(*frames.front().pts, *audio.front().pts, 0.0901);
    EXPECT_NEAR(*audio.back().pts - *audio.front().pts, 4, 0.1);
  }
}

// Encoders whose rate control counts frames must not take the ticks of a fine time base for them.
TEST_F(Transcoding, GivesFramesTheirTimesAndBits) {
  const std::string uneven = test::MakeMedia(
      "uneven.mp4",
      "-f lavfi -i "
      "\"testsrc2=size=320x240:rate=25:duration=4,noise=alls=12:allf=t,select=mod(n\\,3)"
      "\" -f lavfi -i sine=d=4 -fps_mode vfr -c:v libx264 -preset ultrafast -bf 2 -b:v 3M -c:a "
      "aac");
  const std::string coded = folder / "coded.mp4";
  const std::string trimmed = folder / "trimmed.mp4";
  for (const int codec : {5, 6}) {
    constexpr std::int32_t kBitRate = 1024000;
    ASSERT_EQ(Transcode(uneven, coded,
                        {.formatId = MPG_FORMAT_MP4,
                         .targetVideoCodec = codec,
                         .targetVideoBitRate = kBitRate}),
              0);
    ASSERT_EQ(MPG_SaveTrimmedVideo(coded.c_str(), trimmed.c_str(), 0, 4), 0);
    const std::vector<double> times = test::FrameTimes(uneven);
    for (const std::string& path : {coded, trimmed}) {
      const std::vector<double> written = test::FrameTimes(path);
      ASSERT_EQ(written.size(), times.size());
      for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(written[i], times[i], 0.001);
      // Four seconds are too few for the encoders to come close.
      const double bitRate = std::stod(test::Probe(path, "stream=bit_rate", "v:0"));
      EXPECT_TRUE(bitRate > 0.8 * kBitRate && bitRate < 2 * kBitRate)
          << path << ' ' << codec << ' ' << bitRate;
    }
  }
}

// MPEG-4 counts time in 16 bits; a bit rate that was meant for a better codec is cut down with it.
TEST_F(Transcoding, GivesMpeg4ItsOwnTimeBaseAndAQuarterOfTheBitsOfAFinerOne) {
  for (const std::string extension : {"ts", "mp4"}) {
    const std::string film = test::MakeMedia(
        "noise." + extension,
        "-f lavfi -i testsrc2=size=320x240:rate=25:duration=4,noise=alls=40:allf=t -f lavfi -i "
        "sine=d=4 -c:v libx264 -preset ultrafast -b:v 3M -c:a aac");
    const TranscodeParams params{.formatId = MPG_FORMAT_MP4, .targetVideoCodec = 6};
    ASSERT_EQ(Transcode(film, output, params), 0);
    const bool isFiner = extension == "ts";
    EXPECT_EQ(test::Probe(output, "stream=time_base", "v:0"), isFiner ? "1/30000" : "1/12800");
    const double bitRate = std::stod(test::Probe(output, "stream=bit_rate", "v:0"));
    EXPECT_NEAR(bitRate, isFiner ? 1400000 : 3800000, 300000);
  }
}

TEST_F(Transcoding, TagsHevcByItsParameterSets) {
  if (!test::HasEncoder("libx265")) GTEST_SKIP() << "no encoder of HEVC";
  const std::string film =
      Film("mkv", "-c:v libx265 -x265-params log-level=none -preset ultrafast");
  for (const int isReencoded : {0, 1}) {
    ASSERT_EQ(Transcode(film, output, {.formatId = MPG_FORMAT_MP4, .videoReencode = isReencoded}),
              0);
    EXPECT_EQ(test::Probe(output, "stream=codec_tag_string", "v:0"), "hvc1");
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST_F(Transcoding, EncodesAudioAsAskedOrAsNearAsTheEncoderComes) {
  const TranscodeParams mp3{.formatId = MPG_FORMAT_MP3, .targetAudioCodec = 1};
  const TranscodeParams aac{.formatId = kMp4, .targetAudioCodec = 2};
  TranscodeParams all = aac;
  all.targetAudioBitRate = 50000;
  all.targetSampleRate = 20000;
  all.targetChannels = 1;
  struct Case {
    const char *name, *options;
    TranscodeParams params;
    const char* expected;
  };
  const Case cases[] = {
      // The decoder's sample format is one that the encoder doesn't take.
      {"layer2.ts", "-ac 2 -c:a mp2", all, "aac\nLC\n22050\n1"},
      // Profiles are the source's own.
      {"main.m4a",
       "-c:a aac -profile:a aac_main",
       {.formatId = kMp4, .targetAudioBitRate = 64000},
       "aac\nLC\n44100\n1"},
      {"5.1.ac3", "-ac 6 -c:a ac3", mp3, "mp3\nunknown\n44100\n2"},
      {"5.1.ac3", "-ac 6 -c:a ac3", aac, "aac\nLC\n44100\n6"},
      {"a.wav", "-ar 64000", mp3, "mp3\nunknown\n48000\n1"},
      {"a.wav", "-ar 37800 -ac 8", mp3, "mp3\nunknown\n44100\n2"},
      {"a.wav", "-ar 192000 -ac 2", mp3, "mp3\nunknown\n48000\n2"},
      {"a.wav", "-ar 192000 -ac 2", aac, "aac\nLC\n96000\n2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.options) + " as " + c.expected);
    const std::string input =
        test::MakeMedia(c.name, std::string("-f lavfi -i sine=duration=1 ") + c.options);
    ASSERT_EQ(Transcode(input, output, c.params), 0);
    EXPECT_EQ(test::Probe(output, "stream=codec_name,profile,sample_rate,channels", "a:0")
                  .substr(0, std::string(c.expected).size()),
              c.expected);
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST_F(Transcoding, TakesAudioAloneWhereThereIsNoVideo) {
  const std::string song = test::MakeMedia(
      "song.m4a", "-i " + test::AacAudio() +
                      " -f lavfi -i testsrc=s=64x64:d=0.04 -map 0 -map 1 -c:a copy -c:v png "
                      "-disposition:v:0 attached_pic");
  for (const std::string& input : {test::AacAudio(), song}) {
    for (const int videoCodec : {0, 5}) {
      SCOPED_TRACE(input);
      test::ProgressLog log;
      ASSERT_EQ(Transcode(input, output,
                          {.formatId = MPG_FORMAT_MP4, .targetVideoCodec = videoCodec}, &log),
                0);
      EXPECT_EQ(test::Probe(output, "stream=codec_type"), "audio");
      EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(test::AacAudio(), "a:0"));
      EXPECT_GT(log.Reports().size(), 50u);
      EXPECT_EQ(log.Reports().back(), 100);
    }
  }
}

TEST_F(Transcoding, AnswersBadArgumentsWithACodeAndDeletesTheOutput) {
  const std::string film = Film("mp4");
  struct Case {
    std::string input, output;
    TranscodeParams params;
    int code;
  };
  const TranscodeParams mp4{.formatId = MPG_FORMAT_MP4};
  const Case cases[] = {
      {"", output, mp4, MPG_ERR_INVALID_PARAMETER},
      {film, "", mp4, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = 9}, test::kExit},
      {film, output, {.formatId = -1}, test::kExit},
      {film, output, {.formatId = MPG_FORMAT_AAC}, test::kExit},
      {film, output, {.formatId = MPG_FORMAT_WMV}, test::kExit},
      {film, output, {.formatId = 4, .targetAudioCodec = 5}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = 4, .targetAudioCodec = -1}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = 4, .targetVideoCodec = 7}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = 4, .targetVideoCodec = -1}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = MPG_FORMAT_WEBM}, -EINVAL},  // neither stream fits
      {film, output, {.formatId = 4, .targetWidth = -5, .targetHeight = 10}, -EINVAL},
      {film, output, {.formatId = 4, .targetHeight = 2147483647}, -EINVAL},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Transcode(c.input, c.output, c.params), c.code) << c.input << c.params.formatId;
    EXPECT_FALSE(fs::exists(output));
  }
}

}  // namespace
