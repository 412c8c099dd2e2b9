// AVI says in which order pictures are decoded, not when they are shown. Whatever is made of it,
// the pictures keep their order and their distance to the audio.
#include <algorithm>
#include <cstdlib>
#include <utility>

#include "remux/segments.h"
#include "support/encoders.h"
#include "support/kit.h"
#include "transcode/operations.h"

namespace {

using Avi = test::InFolder;

constexpr double kPicture = 0.04;  // seconds

// Numbered pictures with a key picture every 30, and a click a second.
std::string NumberedFilm(const std::string& extension, const std::string& options) {
  return test::NumberedVideo("film." + extension,
                             "-f lavfi -i \"aevalsrc=0.6*lt(mod(t+0.6\\,1)\\,0.001):s=48000:d=4\" "
                             "-c:a libmp3lame -g 30 -avoid_negative_ts disabled " +
                                 options);
}

constexpr const char* kMpeg4 = "-c:v mpeg4 -q:v 1 ";

struct AviSource {
  const char* codec;
  const char* bPictures;
  bool hasHalfTicks;  // two ticks a picture, as ffmpeg copies H.264 into AVI
  std::string Avi() const {
    const std::string options = std::string(codec) + bPictures;
    return hasHalfTicks
               ? test::MakeMedia("half.avi", "-i " + NumberedFilm("mp4", options) + " -c copy")
               : NumberedFilm("avi", options);
  }
};

const AviSource kAviSources[] = {
    {test::kCrispH264, "-bf 0", false},
    {test::kCrispH264, "-bf 3", false},
    {kMpeg4, "-bf 2", false},
    {test::kCrispH264, "-bf 3", true},
    {kMpeg4, "-bf 2", true},
};

// When pictures are shown, in order. AVI's are at the times at which pictures are decoded.
std::vector<double> ShownTimes(const std::string& path) {
  const bool isAvi = test::Probe(path, "format=format_name") == "avi";
  std::vector<double> times;
  for (const test::Packet& packet : test::ReadPackets(path, "v:0")) {
    times.push_back((isAvi ? packet.dts : packet.pts).value_or(-1));
  }
  std::ranges::sort(times);
  return times;
}

struct Operation {
  test::Rewriting rewriting;
  const char* extension;
  double start = 0, end = 99;  // seconds that are left
};

const Operation kOperations[] = {
    {test::kJoinWithItself, "mp4"},
    {{"segment join", [](auto& in, auto& out, auto&) { return test::Merge({in}, out); }}, "mp4"},
    {test::kRewritings[test::kCrop], "avi"},
    {test::kRewritings[test::kShift], "avi"},
    {test::kRewritings[test::kCopy], "mp4"},
    {test::kRewritings[test::kReencode], "mp4"},
    {{"trim", [](auto& in, auto& out,
                 auto&) { return MPG_SaveTrimmedVideo(in.c_str(), out.c_str(), 0, 2); }},
     "avi",
     0,
     2},
    {{"trim between key pictures",
      [](auto& in, auto& out, auto&) {
        return MPG_SaveTrimmedVideo(in.c_str(), out.c_str(), 2, 9);
      }},
     "avi",
     2},
};

TEST_F(Avi, KeepsPicturesInOrderAndInStepWithTheAudio) {
  for (const AviSource& source : kAviSources) {
    const std::string avi = source.Avi();
    const std::vector<double> shown = ShownTimes(avi);
    ASSERT_EQ(shown.size(), 100u);
    const double sourceClick = test::Audio(avi).Clicks(0).back();
    for (const Operation& operation : kOperations) {
      SCOPED_TRACE(std::string(operation.rewriting.name) + ": " + source.codec + source.bPictures +
                   (source.hasHalfTicks ? " in half ticks" : ""));
      const std::string result = output + "." + operation.extension;
      test::ProgressLog log;
      ASSERT_EQ(operation.rewriting.run(avi, result, log), 0);
      std::vector<int> left;
      for (int i = 0; i < 100; ++i) {
        const double time = shown[static_cast<std::size_t>(i)];
        if (time >= operation.start && time <= operation.end) left.push_back(i);
      }
      EXPECT_EQ(test::PictureOrder(result), left);
      const std::vector<double> times = ShownTimes(result);
      ASSERT_EQ(times.size(), left.size());
      const double click = test::Audio(result).Clicks(0).back();
      double farthest = 0;
      for (std::size_t i = 0; i < left.size(); ++i) {
        const double before = sourceClick - shown[static_cast<std::size_t>(left[i])];
        farthest = std::max(farthest, std::abs(click - times[i] - before));
      }
      EXPECT_LT(farthest, kPicture / 2);
    }
  }
}

// Some packets hold two frames, which makes others empty.
TEST_F(Avi, KeepsPackedFrames) {
  if (!test::HasEncoder("libxvid")) GTEST_SKIP() << "no encoder of packed frames";
  const std::string avi = NumberedFilm("avi", "-c:v libxvid -q:v 1 -bf 2");
  const std::vector<int> shown = test::PictureOrder(avi);
  const std::vector<double> expected = test::FrameTimes(avi);
  for (const Operation& operation : kOperations) {
    if (operation.start > 0 || operation.end < 4) continue;
    const std::string result = output + "." + operation.extension;
    test::ProgressLog log;
    ASSERT_EQ(operation.rewriting.run(avi, result, log), 0) << operation.rewriting.name;
    EXPECT_EQ(test::PictureOrder(result), shown) << operation.rewriting.name;
    const std::vector<double> times = test::FrameTimes(result);
    EXPECT_NEAR(times.at(50) - times[1], expected[50] - expected[1], 0.001)
        << operation.rewriting.name;
  }
}

// As some programs write it: a header that counts bytes, not frames.
std::string CountBytes(std::string avi) {
  const std::size_t header = avi.find("auds");
  const auto put = [&](std::size_t at, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) avi.at(header + at++) = static_cast<char>(value >> 8 * i);
  };
  put(20, 1, 4);           // scale
  put(24, 128000 / 8, 4);  // rate
  put(44, 1, 4);           // size of a sample
  put(76, 1, 2);           // the format's block
  return avi;
}

// By how much the last click comes behind the last picture.
double Delay(const std::string& path) {
  return test::Audio(path).Clicks(0).back() - ShownTimes(path).back();
}

TEST_F(Avi, ShiftsAndReencodesAudioOfEveryKind) {
  const std::string input = folder / "in.avi";
  const TranscodeParams aac{.formatId = MPG_FORMAT_AVI, .targetAudioCodec = 2};
  const std::string mp3 = "libmp3lame -b:a 128k";
  for (const auto& [audio, countsBytes] : {std::pair{mp3, false},
                                           {mp3, true},
                                           {"ac3", false},
                                           {"pcm_s16le", false},
                                           {"pcm_u8", false}}) {
    const std::string film = test::ReadBytes(NumberedFilm("avi", "-c:a " + audio + " " + kMpeg4));
    test::WriteBytes(input, countsBytes ? CountBytes(film) : film);
    const double delay = Delay(input);
    const std::vector<std::string> packets = test::ReadPayloads(input, "a:0");
    for (const int milliseconds : {500, -500}) {
      SCOPED_TRACE(audio + (countsBytes ? " in bytes " : " ") + std::to_string(milliseconds));
      ASSERT_EQ(MPG_ShiftAudio(input.c_str(), output.c_str(), milliseconds, nullptr, 0), 0);
      EXPECT_NEAR(Delay(output) - delay, milliseconds / 1000.0, kPicture / 2 + 0.001);
      const std::vector<std::string> kept = test::ReadPayloads(output, "a:0");
      ASSERT_GE(kept.size(), packets.size());
      EXPECT_TRUE(std::equal(packets.rbegin(), packets.rend(), kept.rbegin()));
      EXPECT_EQ(test::DecodingErrors(output), "");
    }
    ASSERT_EQ(test::Transcode(input, output, aac), 0) << audio;
    EXPECT_EQ(test::DecodingErrors(output), "") << audio;
    EXPECT_NEAR(Delay(output), delay, kPicture / 2) << audio;
  }
}

}  // namespace
