#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"
#include "support/pictures.h"
#include "support/probe.h"
#include "transcode/host_call.h"

namespace {

namespace fs = std::filesystem;
using test::Transcode;

constexpr const char* kTone = "-f lavfi -i sine=frequency=440:sample_rate=48000 -t 4 ";
constexpr const char* kH264 = "-c:v libx264 -qp 4 -g 30 -bf 2 ";

std::string Film(const std::string& extension) {
  return test::NumberedVideo("film." + extension, std::string(kTone) + kH264 + "-c:a aac");
}

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

// A transport stream names its streams twice, once in its programs.
std::string CodecOf(const std::string& path, const std::string& stream) {
  const std::string names = test::Probe(path, "stream=codec_name", stream);
  return names.substr(0, names.find('\n'));
}

TEST(Transcode, FillsEveryContainerFromEveryOther) {
  struct Case {
    std::string input;
    TranscodeParams params;
    const char* container;
    const char *audioCodec, *frameCodec;
  };
  const TranscodeParams avi{.formatId = MPG_FORMAT_AVI}, mp4{.formatId = MPG_FORMAT_MP4},
      ts{.formatId = MPG_FORMAT_TS};
  const std::string mpeg4 = test::NumberedVideo(
      "film.avi", std::string(kTone) + "-c:v mpeg4 -q:v 2 -bf 2 -c:a libmp3lame");
  const std::string webm = test::NumberedVideo(
      "film.webm",
      std::string(kTone) + "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -c:a libopus");
  const Case cases[] = {
      {Film("ts"), mp4, "mov,mp4,m4a,3gp,3g2,mj2", "aac", "h264"},
      {Film("flv"), ts, "mpegts", "aac", "h264"},
      {Film("mkv"), avi, "avi", "aac", "h264"},
      {CrowdedFilm(), mp4, "mov,mp4,m4a,3gp,3g2,mj2", "opus", "h264"},
      {mpeg4, {.formatId = MPG_FORMAT_MPEG}, "mpeg", "mp3", "mpeg4"},
      {webm, {.formatId = MPG_FORMAT_WEBM}, "matroska,webm", "opus", "vp9"},
      {Film("mp4"),
       {.formatId = MPG_FORMAT_3GP, .targetAudioCodec = 3, .targetVideoCodec = 4},
       "mov,mp4,m4a,3gp,3g2,mj2",
       "amr_nb",
       "h263"},
      {Film("ts"),
       {.formatId = MPG_FORMAT_AVI, .targetAudioCodec = 1, .targetVideoCodec = 1},
       "avi",
       "mp3",
       "mpeg4"},
      {Film("flv"),
       {.formatId = MPG_FORMAT_MPEG, .targetAudioCodec = 1, .targetVideoCodec = 6},
       "mpeg",
       "mp3",
       "mpeg4"},
      {mpeg4,
       {.formatId = MPG_FORMAT_MP4, .targetAudioCodec = 2, .targetVideoCodec = 5},
       "mov,mp4,m4a,3gp,3g2,mj2",
       "aac",
       "h264"},
      {CrowdedFilm(),
       {.formatId = MPG_FORMAT_TS, .targetAudioCodec = 2, .videoReencode = 1},
       "mpegts",
       "aac",
       "h264"},
      {webm,
       {.formatId = MPG_FORMAT_WEBM, .targetAudioBitRate = 64000, .videoReencode = 1},
       "matroska,webm",
       "opus",
       "vp9"},
      {Film("mp4"), {.formatId = MPG_FORMAT_MP3, .targetAudioCodec = 1}, "mp3", "mp3", ""},
  };
  const test::ScratchFolder folder;
  for (const Case& c : cases) {
    const std::string output = folder / "out";
    SCOPED_TRACE(c.input + " as " + c.container);
    ASSERT_EQ(Transcode(c.input, output, c.params), 0);
    EXPECT_EQ(test::Probe(output, "format=format_name"), c.container);
    // Several of these small frames share a packet there, and only its first has a time.
    const bool isProgramStream = std::string(c.container) == "mpeg";
    EXPECT_TRUE(isProgramStream || test::DecodingErrors(output).empty());
    const bool hasFrames = c.params.formatId != static_cast<int>(MPG_FORMAT_MP3);
    EXPECT_EQ(CodecOf(output, "0"), c.audioCodec);
    if (!hasFrames) continue;
    EXPECT_EQ(CodecOf(output, "1"), c.frameCodec);
    EXPECT_EQ(test::ReadPackets(output, "1").size(), 100u);
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

TEST(Transcode, KeepsEveryFrameInItsPlace) {
  std::vector<int> all(100);
  for (int i = 0; i < 100; ++i) all[static_cast<std::size_t>(i)] = i;
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  for (const TranscodeParams& params :
       {TranscodeParams{.formatId = MPG_FORMAT_MP4},
        TranscodeParams{.formatId = MPG_FORMAT_MP4, .videoReencode = 1},
        TranscodeParams{.formatId = MPG_FORMAT_AVI},
        TranscodeParams{.formatId = MPG_FORMAT_MP4, .targetVideoCodec = 6, .targetHeight = 96}}) {
    ASSERT_EQ(Transcode(Film("ts"), output, params), 0);
    EXPECT_EQ(test::PictureOrder(output), all) << params.formatId << params.videoReencode;
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

// Encoders whose rate control counts frames must not take the ticks of a fine time base for them.
TEST(Transcode, GivesFramesTheirTimesAndBits) {
  const std::string uneven =
      test::MakeMedia("uneven.mp4",
                      "-f lavfi -i \"testsrc2=size=320x240:rate=25:duration=4,noise=alls=12:allf=t,"
                      "select=mod(n\\,3)\" " +
                          std::string(kTone) +
                          "-fps_mode vfr -c:v libx264 -preset ultrafast -bf 2 -b:v 3M -c:a aac");
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  const std::string trimmed = folder / "trimmed.mp4";
  for (const int codec : {5, 6}) {
    constexpr std::int32_t kBitRate = 1024000;
    ASSERT_EQ(Transcode(uneven, output,
                        {.formatId = MPG_FORMAT_MP4,
                         .targetVideoCodec = codec,
                         .targetVideoBitRate = kBitRate}),
              0);
    ASSERT_EQ(MPG_SaveTrimmedVideo(output.c_str(), trimmed.c_str(), 0, 4), 0);
    const std::vector<double> times = test::FrameTimes(uneven);
    for (const std::string& path : {output, trimmed}) {
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
TEST(Transcode, GivesMpeg4ItsOwnTimeBaseAndAQuarterOfTheBitsOfAFinerOne) {
  const test::ScratchFolder folder;
  for (const std::string extension : {"ts", "mp4"}) {
    const std::string film = test::MakeMedia(
        "noise." + extension,
        "-f lavfi -i testsrc2=size=320x240:rate=25:duration=4,noise=alls=40:allf=t -f lavfi -i "
        "sine=d=4 -c:v libx264 -preset ultrafast -b:v 3M -c:a aac");
    const TranscodeParams params{.formatId = MPG_FORMAT_MP4, .targetVideoCodec = 6};
    ASSERT_EQ(Transcode(film, folder / "out", params), 0);
    const bool isFiner = extension == "ts";
    EXPECT_EQ(test::Probe(folder / "out", "stream=time_base", "v:0"),
              isFiner ? "1/30000" : "1/12800");
    const double bitRate = std::stod(test::Probe(folder / "out", "stream=bit_rate", "v:0"));
    EXPECT_NEAR(bitRate, isFiner ? 1400000 : 3800000, 300000);
  }
}

TEST(Transcode, WritesTagsAndSizesAsAsked) {
  struct Case {
    TranscodeParams params;
    const char* expected;
  };
  const Case cases[] = {
      {{.formatId = MPG_FORMAT_AVI, .targetVideoCodec = 1}, "XVID\n64\n48"},
      {{.formatId = MPG_FORMAT_AVI, .targetVideoCodec = 2}, "DX50\n64\n48"},
      {{.formatId = MPG_FORMAT_AVI, .targetVideoCodec = 3, .targetHeight = 24}, "DIVX\n32\n24"},
      {{.formatId = MPG_FORMAT_AVI, .targetVideoCodec = 6, .targetWidth = 128}, "FMP4\n128\n96"},
      {{.formatId = MPG_FORMAT_MP4, .targetVideoCodec = 6, .targetWidth = 1, .scalePercent = 50},
       "mp4v\n32\n24"},
      {{.formatId = MPG_FORMAT_MP4, .targetVideoCodec = 5, .scalePercent = 50}, "avc1\n64\n48"},
      {{.formatId = MPG_FORMAT_MP4, .targetWidth = 16, .targetHeight = 16, .scalePercent = 100},
       "avc1\n16\n16"},
  };
  const test::ScratchFolder folder;
  for (const Case& c : cases) {
    ASSERT_EQ(Transcode(Film("mp4"), folder / "out", c.params), 0);
    EXPECT_EQ(test::Probe(folder / "out", "stream=codec_tag_string,width,height", "v:0"),
              c.expected);
  }
}

TEST(Transcode, EncodesAudioAsAskedOrAsNearAsTheEncoderComes) {
  const auto tone = [](const char* name, const char* options) {
    return test::MakeMedia(name, std::string("-f lavfi -i sine=duration=1 ") + options);
  };
  const TranscodeParams mp3{.formatId = MPG_FORMAT_MP3, .targetAudioCodec = 1};
  const TranscodeParams aac{.formatId = MPG_FORMAT_MP4, .targetAudioCodec = 2};
  struct Case {
    std::string input;
    TranscodeParams params;
    const char* expected;
  };
  const Case cases[] = {
      // The decoder's sample format is one that the encoder doesn't take.
      {test::NumberedVideo("layer2.ts", std::string(kTone) + "-ac 2 " + kH264 + "-c:a mp2"),
       {.formatId = MPG_FORMAT_MP4,
        .targetAudioCodec = 2,
        .targetAudioBitRate = 50000,
        .targetSampleRate = 20000,
        .targetChannels = 1},
       "aac\nLC\n22050\n1"},
      // Profiles are the source's own.
      {tone("main.m4a", "-c:a aac -profile:a aac_main"),
       {.formatId = MPG_FORMAT_MP4, .targetAudioBitRate = 64000},
       "aac\nLC\n44100\n1"},
      {tone("5.1.ac3", "-ac 6 -c:a ac3"), mp3, "mp3\nunknown\n44100\n2"},
      {tone("5.1.ac3", "-ac 6 -c:a ac3"), aac, "aac\nLC\n44100\n6"},
      {tone("a.wav", "-ar 64000"), mp3, "mp3\nunknown\n48000\n1"},
      {tone("a.wav", "-ar 37800 -ac 8"), mp3, "mp3\nunknown\n44100\n2"},
      {tone("a.wav", "-ar 192000 -ac 2"), mp3, "mp3\nunknown\n48000\n2"},
      {tone("a.wav", "-ar 192000 -ac 2"), aac, "aac\nLC\n96000\n2"},
  };
  const test::ScratchFolder folder;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input + " as " + c.expected);
    ASSERT_EQ(Transcode(c.input, folder / "out", c.params), 0);
    EXPECT_EQ(test::Probe(folder / "out", "stream=codec_name,profile,sample_rate,channels", "a:0"),
              c.expected);
    EXPECT_EQ(test::DecodingErrors(folder / "out"), "");
  }
}

TEST(Transcode, TakesAudioAloneWhereThereIsNoVideo) {
  const std::string song = test::MakeMedia(
      "song.m4a", "-i " + test::AacAudio() +
                      " -f lavfi -i testsrc=s=64x64:d=0.04 -map 0 -map 1 -c:a copy -c:v png "
                      "-disposition:v:0 attached_pic");
  const test::ScratchFolder folder;
  const std::string output = folder / "a.mp4";
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

TEST(Transcode, AnswersBadArgumentsWithACodeAndDeletesTheOutput) {
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  const std::string film = folder / "film.mp4";
  fs::copy_file(Film("mp4"), film);
  struct Case {
    std::string input, output;
    TranscodeParams params;
    int code;
  };
  constexpr int kExit = -0x54495845;
  const TranscodeParams mp4{.formatId = MPG_FORMAT_MP4};
  const Case cases[] = {
      {"", output, mp4, MPG_ERR_INVALID_PARAMETER},
      {film, "", mp4, MPG_ERR_INVALID_PARAMETER},
      {film, film, mp4, MPG_ERR_INVALID_PARAMETER},
      {film, folder / "no folder/out.mp4", mp4, -ENOENT},
      {film, output, {.formatId = 9}, kExit},
      {film, output, {.formatId = -1}, kExit},
      {film, output, {.formatId = MPG_FORMAT_AAC}, kExit},
      {film, output, {.formatId = MPG_FORMAT_WMV}, kExit},
      {film, output, {.formatId = 4, .targetAudioCodec = 5}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = 4, .targetAudioCodec = -1}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = 4, .targetVideoCodec = 7}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = 4, .targetVideoCodec = -1}, MPG_ERR_INVALID_PARAMETER},
      {film, output, {.formatId = MPG_FORMAT_WEBM}, -EINVAL},  // neither stream fits
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Transcode(c.input, c.output, c.params), c.code) << c.input << c.params.formatId;
    EXPECT_FALSE(fs::exists(output));
  }
  EXPECT_EQ(test::ReadBytes(film), test::ReadBytes(Film("mp4")));
}

TEST(Transcode, FailsWhereAKnownVideoCannotBeEncoded) {
  const test::ScratchFolder folder;
  for (const TranscodeParams& params :
       {TranscodeParams{.formatId = MPG_FORMAT_MP4, .targetWidth = -5, .targetHeight = 10},
        TranscodeParams{.formatId = MPG_FORMAT_MP4, .targetHeight = 2147483647}}) {
    EXPECT_EQ(Transcode(Film("mp4"), folder / "out.mp4", params), -EINVAL);
    EXPECT_FALSE(fs::exists(folder / "out.mp4"));
  }
}

}  // namespace
