// Time stamps of real files through the operations: what was seen and heard together stays so.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/audio.h"
#include "support/host.h"
#include "support/media.h"
#include "support/pictures.h"
#include "support/probe.h"
#include "transcode/host_call.h"

namespace {

using Operation = std::function<int(const std::string& in, const std::string& out)>;

constexpr const char* kH264 = "-c:v libx264 -qp 4 -g 30 -bf 2 ";

// A click begins with each frame that is numbered 10, 35, 60 or 85.
std::string ClickingFilm(const std::string& extension, const std::string& options = "") {
  return test::NumberedVideo("clicks." + extension,
                             std::string("-f lavfi -i \"aevalsrc=0.6*lt(mod(t+0.6\\,1)\\,0.001):"
                                         "s=48000:d=4\" ") +
                                 kH264 + "-c:a aac " + options);
}

// The same with audio that comes later by some seconds, or earlier.
std::string UnevenFilm(const std::string& extension, const std::string& seconds) {
  const std::string film = ClickingFilm("mkv");
  return test::MakeMedia("uneven." + extension, "-i " + film + " -itsoffset " + seconds + " -i " +
                                                    film + " -map 0:v -map 1:a -c copy");
}

Operation TranscodeWith(const TranscodeParams& params) {
  return [params](auto& in, auto& out) { return test::Transcode(in, out, params); };
}

std::vector<int> Numbers(int times) {
  std::vector<int> numbers;
  for (int i = 0; i < 100 * times; ++i) numbers.push_back(i % 100);
  return numbers;
}

// Every frame in its turn, and each click as much behind its frame as expected.
void ExpectTogether(const std::string& path, int times, double delay) {
  const std::vector<int> numbers = test::PictureOrder(path);
  EXPECT_EQ(numbers, Numbers(times));
  const std::vector<double> shown = test::FrameTimes(path);
  ASSERT_EQ(numbers.size(), shown.size());
  std::vector<double> flashes;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] % 25 == 10) flashes.push_back(shown[i]);
  }
  const std::vector<double> clicks = test::Audio(path).Clicks(0);
  ASSERT_EQ(flashes.size(), clicks.size());
  for (std::size_t i = 0; i < clicks.size(); ++i) EXPECT_NEAR(clicks[i], flashes[i] + delay, 0.04);
}

TEST(Timing, TranscodingKeepsFramesAndAudioTogether) {
  struct Film {
    std::string path;
    double delay;
  };
  const Film films[] = {{ClickingFilm("mkv"), 0},
                        {ClickingFilm("ts"), 0},
                        {ClickingFilm("mp4", "-movflags frag_keyframe+empty_moov"), 0},
                        {UnevenFilm("mp4", "0.5"), 0.5},
                        {UnevenFilm("ts", "-0.3"), -0.3}};
  const test::ScratchFolder folder;
  for (const Film& film : films) {
    for (const TranscodeParams& params :
         {TranscodeParams{.formatId = MPG_FORMAT_MP4},
          TranscodeParams{.formatId = MPG_FORMAT_TS, .targetAudioCodec = 2},
          TranscodeParams{
              .formatId = MPG_FORMAT_MP4, .targetHeight = 96, .targetVideoBitRate = 1000000},
          TranscodeParams{.formatId = MPG_FORMAT_AVI, .targetAudioCodec = 1, .targetVideoCodec = 1},
          TranscodeParams{
              .formatId = MPG_FORMAT_TS, .targetAudioCodec = 1, .targetVideoBitRate = 1000000}}) {
      SCOPED_TRACE(film.path + " to " +
                   MPG_GetDefExt(static_cast<OutputFormatId>(params.formatId)));
      // AVI can't begin with a pause.
      if (params.formatId == MPG_FORMAT_AVI && film.delay > 0) continue;
      ASSERT_EQ(test::Transcode(film.path, folder / "out", params), 0);
      ExpectTogether(folder / "out", 1, film.delay);
    }
  }
}

TEST(Timing, AClockThatIsSetBackGoesOn) {
  const test::ScratchFolder folder;
  const std::string film = folder / "twice.ts";
  const std::string once = test::ReadBytes(ClickingFilm("ts"));
  test::WriteBytes(film, once + once);
  const std::pair<const char*, Operation> operations[] = {
      {"shift",
       [](auto& in, auto& out) { return MPG_ShiftAudio(in.c_str(), out.c_str(), 0, nullptr, 0); }},
      {"crop", [](auto& in, auto& out) { return MPG_Crop(in.c_str(), out.c_str()); }},
      {"trim",
       [](auto& in, auto& out) { return MPG_SaveTrimmedVideo(in.c_str(), out.c_str(), 0, 99); }},
      {"copy", TranscodeWith({.formatId = MPG_FORMAT_MP4})},
      {"audio", TranscodeWith({.formatId = MPG_FORMAT_TS, .targetAudioCodec = 1})},
      {"both",
       TranscodeWith({.formatId = MPG_FORMAT_MP4, .targetAudioCodec = 2, .videoReencode = 1})},
  };
  for (const auto& [name, operation] : operations) {
    SCOPED_TRACE(name);
    ASSERT_EQ(operation(film, folder / "out"), 0);
    ExpectTogether(folder / "out", 2, 0);
  }
}

// Pairs of frames that fall on one tick of AVI, and pauses behind them.
std::string Pairs(const std::string& name, const std::string& codecs) {
  return test::NumberedVideo(
      name,
      "-f lavfi -i sine=sample_rate=48000 -t 4 -vf "
      "\"format=yuv420p,settb=1/1000,setpts=(floor(N/2)*"
      "2+mod(N\\,2)*0.2)/25/TB\" -fps_mode passthrough -enc_time_base 1:1000 " +
          codecs);
}

TEST(Timing, FramesOnATickThatIsTakenGetTheNext) {
  const std::string film = Pairs("pairs.mp4", "-c:v mpeg4 -q:v 2 -g 30 -c:a libmp3lame");
  const test::ScratchFolder folder;
  ASSERT_EQ(test::Transcode(film, folder / "out", {.formatId = MPG_FORMAT_AVI}), 0);
  EXPECT_EQ(test::ReadPayloads(folder / "out", "v:0"), test::ReadPayloads(film, "v:0"));
}

// Where frames of uneven length tell none.
TEST(Timing, TheLastFrameIsShown) {
  const std::string film = Pairs("uneven.mp4", std::string(kH264) + "-c:a aac");
  const test::ScratchFolder folder;
  const Operation operations[] = {
      TranscodeWith({.formatId = MPG_FORMAT_MP4}),
      [](auto& in, auto& out) { return MPG_Crop(in.c_str(), out.c_str()); },
      [](auto& in, auto& out) {
        return MPG_MergeAV(in.c_str(), in.c_str(), out.c_str(), nullptr, 0);
      }};
  for (const Operation& operation : operations) {
    ASSERT_EQ(operation(film, folder / "out"), 0);
    EXPECT_EQ(test::PictureOrder(folder / "out"), Numbers(1));
  }
}

TEST(Timing, TrimmedFramesStandBesideTheirAudio) {
  const std::string film = test::MakeMedia(
      "long.mkv", "-f lavfi -i testsrc=s=64x48:r=25 -f lavfi -i sine -t 30 -c:v mpeg4 -c:a aac");
  const test::ScratchFolder folder;
  ASSERT_EQ(MPG_SaveTrimmedVideo(film.c_str(), (folder / "out").c_str(), 0, 1), 0);
  // Of the packets in the order of the file: the last that belongs to the frames.
  std::string streams = test::Probe(folder / "out", "packet=stream_index");
  std::erase(streams, '\n');
  EXPECT_LT(streams.rfind('1'), 100u);
}

// The last frames come out of a decoder's threads after an error.
TEST(Timing, DecodersAreEmptiedBehindADamagedPacket) {
  const std::string film = test::MakeMedia(
      "damaged.mkv", "-i " +
                         test::NumberedVideo("vp8.mkv",
                                             "-f lavfi -i sine -t 4 -c:v libx264 -g 1 "
                                             "-c:a aac") +
                         " -c copy -bsf:v \"noise=amount=not(n-98)\"");
  const test::ScratchFolder folder;
  ASSERT_EQ(MPG_SaveTrimmedVideo(film.c_str(), (folder / "out.mkv").c_str(), 0, 9), 0);
  const std::vector<int> numbers = test::PictureOrder(folder / "out.mkv");
  ASSERT_FALSE(numbers.empty());
  EXPECT_EQ(numbers.back(), 99);
}

// A table of key frames that names another frame than the only one.
TEST(Timing, TrimsAStreamWithoutAKeyPacket) {
  std::string film = test::ReadBytes(test::NumberedVideo(
      "keyless.mov", "-f lavfi -i sine -t 4 -c:v mpeg4 -q:v 2 -g 300 -c:a aac"));
  film[film.find("stss") + 15] = 101;
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "in.mov", film);
  ASSERT_EQ(MPG_SaveTrimmedVideo((folder / "in.mov").c_str(), (folder / "out.mov").c_str(), 1, 2),
            0);
  const std::vector<int> numbers = test::PictureOrder(folder / "out.mov");
  ASSERT_EQ(numbers.size(), 26u);
  EXPECT_EQ(numbers.front(), 25);
}

TEST(Timing, AudioDecodersAreEmptied) {
  const std::string wma = test::MakeMedia("tone.wma", "-f lavfi -i sine -t 2 -c:a wmav2");
  const test::ScratchFolder folder;
  ASSERT_EQ(MP3_Convert(wma.c_str(), (folder / "out.mp3").c_str(), 0, nullptr, 0), 0);
  EXPECT_GT(test::Audio(folder / "out.mp3").Length(), 1.99);
}

TEST(Timing, HevcGetsTheTagOfItsParameterSets) {
  const std::string film = test::NumberedVideo(
      "hevc.mkv",
      "-f lavfi -i sine -t 4 -c:v libx265 -x265-params log-level=none -preset ultrafast -c:a aac");
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  const char* const entry = "stream=codec_tag_string";
  ASSERT_EQ(test::Transcode(film, output, {.formatId = MPG_FORMAT_MP4}), 0);
  EXPECT_EQ(test::Probe(output, entry, "v:0"), "hvc1");
  ASSERT_EQ(MPG_MergeAV(film.c_str(), film.c_str(), output.c_str(), nullptr, 0), 0);
  EXPECT_EQ(test::Probe(output, entry, "v:0"), "hvc1");
  ASSERT_EQ(
      test::Transcode(output, folder / "out", {.formatId = MPG_FORMAT_MP4, .videoReencode = 1}), 0);
  EXPECT_EQ(test::Probe(folder / "out", entry, "v:0"), "hvc1");
  EXPECT_EQ(test::DecodingErrors(folder / "out"), "");
}

TEST(Timing, ProgressCountsFromTheStartWhereverTheLengthStands) {
  const auto reports = [](const std::string& film, bool isShift) {
    const test::ScratchFolder folder;
    test::ProgressLog log;
    const int result =
        isShift ? MPG_ShiftAudio(film.c_str(), (folder / "out").c_str(), 0,
                                 test::ProgressLog::Callback, log.Context())
                : test::Transcode(film, folder / "out", {.formatId = MPG_FORMAT_TS}, &log);
    EXPECT_EQ(result, 0);
    return log.Reports();
  };
  const std::string late =
      test::MakeMedia("late.ts", "-i " + ClickingFilm("mkv") + " -c copy -output_ts_offset 1000");
  for (const std::string& film : {ClickingFilm("flv"), ClickingFilm("mkv"), late}) {
    for (const bool isShift : {true, false}) {
      const std::vector<std::int32_t> percents = reports(film, isShift);
      EXPECT_GT(percents.size(), 50u) << film;
      EXPECT_LE(*std::ranges::max_element(percents), 102) << film;
    }
  }
}

// Audio that goes on for a minute behind the last frame.
TEST(Timing, TheRestOfTheAudioAsksTheHost) {
  const std::string film = test::MakeMedia(
      "rest.mp4", "-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i sine=d=60 -c:v mpeg4 -c:a aac");
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  for (const int codec : {-1, 0, 1}) {
    test::ProgressLog log(30);
    const bool isShift = codec < 0;
    ASSERT_EQ(isShift
                  ? MPG_ShiftAudio(film.c_str(), output.c_str(), 0, test::ProgressLog::Callback,
                                   log.Context())
                  : test::Transcode(film, output,
                                    {.formatId = MPG_FORMAT_MP4, .targetAudioCodec = codec}, &log),
              0);
    EXPECT_LT(std::stod(test::Probe(output, "stream=duration", "a:0")), 50) << codec;
  }
  ASSERT_EQ(test::Transcode(film, output, {.formatId = MPG_FORMAT_MP4, .targetAudioCodec = 1}), 0);
  EXPECT_NEAR(std::stod(test::Probe(output, "stream=duration", "a:0")), 60, 0.1);
}

TEST(Timing, NothingIsNoSuccess) {
  constexpr int kInvalidData = -0x41444E49;
  const test::ScratchFolder folder;
  const std::string fragments =
      test::ReadBytes(ClickingFilm("mp4", "-movflags frag_keyframe+empty_moov"));
  test::WriteBytes(folder / "empty.mp4", fragments.substr(0, fragments.find("moof") - 4));
  const std::string empty = folder / "empty.mp4";
  const std::string output = folder / "out";
  EXPECT_EQ(MP3_Convert(empty.c_str(), output.c_str(), 0, nullptr, 0), kInvalidData);
  EXPECT_EQ(MPG_MergeAV(empty.c_str(), empty.c_str(), output.c_str(), nullptr, 0), kInvalidData);
  EXPECT_EQ(test::Transcode(empty, output, {.formatId = MPG_FORMAT_MP4}), kInvalidData);
  EXPECT_FALSE(std::filesystem::exists(output));
}

}  // namespace
