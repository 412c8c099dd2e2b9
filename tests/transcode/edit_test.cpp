// Trimming, cropping and shifting: three workers on one set-up.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"
#include "support/pictures.h"
#include "support/probe.h"

namespace {

namespace fs = std::filesystem;

// Numbered frames with B-frames, a key frame every 30, and a tone of the same length.
std::string Film(const std::string& extension) {
  std::string codecs = "-c:v libx264 -qp 4 -g 30 -sc_threshold 0 -bf 2 -c:a aac";
  if (extension == "avi") codecs = "-c:v mpeg4 -q:v 1 -g 30 -bf 2 -c:a libmp3lame";
  if (extension == "webm") {
    codecs = "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -crf 10 -b:v 0 -g 30 -c:a libopus";
  }
  return test::NumberedVideo("film." + extension,
                             "-f lavfi -i sine=frequency=440:sample_rate=48000 -t 4 " + codecs);
}

const char* const kContainers[] = {"mp4", "mkv", "ts", "flv", "avi", "webm"};

std::vector<int> Range(int first, int last) {
  std::vector<int> numbers(static_cast<std::size_t>(last - first + 1));
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

struct Track {
  Track(const std::string& path, const std::string& stream) {
    for (const test::Packet& packet : test::ReadPackets(path, stream)) {
      if (packet.pts) start = std::min(start, *packet.pts);
      payloads.push_back(packet.hash);
    }
  }
  double start = 1e9;  // seconds
  std::vector<std::string> payloads;
};

TEST(Trim, KeepsTheFramesFromStartToEndIncluded) {
  struct Window {
    std::uint32_t start, end;
    int first, last;
  };
  const test::ScratchFolder folder;
  for (const char* extension : kContainers) {
    const std::string output = folder / (std::string("out.") + extension);
    for (const Window& window :
         {Window{0, 99, 0, 99}, Window{1, 2, 25, 50}, Window{3, 3, 75, 75}}) {
      SCOPED_TRACE(std::string(extension) + " from " + std::to_string(window.start));
      ASSERT_EQ(
          MPG_SaveTrimmedVideo(Film(extension).c_str(), output.c_str(), window.start, window.end),
          0);
      EXPECT_EQ(test::PictureOrder(output), Range(window.first, window.last));
      EXPECT_EQ(test::DecodingErrors(output), "");
    }
  }
}

TEST(Trim, MovesFramesAndAudioByTheSameTime) {
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  ASSERT_EQ(MPG_SaveTrimmedVideo(Film("mp4").c_str(), output.c_str(), 2, 3), 0);
  EXPECT_NEAR(Track(output, "v:0").start, 0, 0.001);
  // From the key frame at 1.2 s on: 0.8 s ahead of the start, give or take some packets.
  EXPECT_NEAR(Track(output, "a:0").start, -0.8, 0.1);
  const std::vector<std::string> whole = test::ReadPayloads(Film("mp4"), "a:0");
  const std::vector<std::string> kept = test::ReadPayloads(output, "a:0");
  EXPECT_TRUE(std::equal(kept.rbegin(), kept.rend(), whole.rbegin()));
}

TEST(Trim, LeavesNoFramesForAWindowWithoutAny) {
  const test::ScratchFolder folder;
  for (const auto& [start, end] : {std::pair{3u, 2u}, std::pair{50u, 60u}}) {
    const std::string output = folder / "out.mp4";
    EXPECT_EQ(MPG_SaveTrimmedVideo(Film("mp4").c_str(), output.c_str(), start, end), 0);
    EXPECT_EQ(test::ReadPackets(output, "v:0").size(), 0u) << start;
  }
}

TEST(Trim, EndsAtTheTwentySeventhBrokenPacket) {
  const std::string film = test::ReadBytes(
      test::NumberedVideo("film.avi", "-f lavfi -i sine -t 4 -c:v mjpeg -q:v 2 -c:a libmp3lame"));
  const test::ScratchFolder folder;
  for (const auto& [count, kept] : {std::pair{26, 74u}, std::pair{27, 19u}}) {
    std::string damaged = film;
    std::size_t chunk = damaged.find("movi");
    for (int i = 0; i < 20 + count; ++i) {
      chunk = damaged.find("00dc", chunk + 4);
      if (i >= 20) std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(chunk) + 8, 250, '\0');
    }
    test::WriteBytes(folder / "in.avi", damaged);
    ASSERT_EQ(MPG_SaveTrimmedVideo((folder / "in.avi").c_str(), (folder / "out.avi").c_str(), 0, 9),
              0);
    EXPECT_EQ(test::PictureOrder(folder / "out.avi").size(), kept);
  }
}

TEST(Crop, CopiesEveryPacketOfADecodableVideo) {
  const test::ScratchFolder folder;
  for (const char* extension : kContainers) {
    const std::string output = folder / (std::string("out.") + extension);
    ASSERT_EQ(MPG_Crop(Film(extension).c_str(), output.c_str()), 0) << extension;
    EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(Film(extension), "v:0"));
    EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(Film(extension), "a:0"));
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST(Crop, EndsAtAPacketThatDoesNotDecode) {
  const test::ScratchFolder folder;
  const std::string film = test::ReadBytes(Film("mp4"));
  std::istringstream lines(test::Probe(Film("mp4"), "packet=pos", "v:0"));
  const std::vector<std::size_t> positions{std::istream_iterator<std::size_t>(lines), {}};
  for (const std::size_t start : {positions.at(50), positions.back()}) {
    // The length of a unit that can't be.
    std::string broken = film;
    broken.replace(start, 4, 4, '\xEE');
    test::WriteBytes(folder / "broken.mp4", broken);
    EXPECT_LT(MPG_Crop((folder / "broken.mp4").c_str(), (folder / "out.mp4").c_str()), 0) << start;
    EXPECT_FALSE(fs::exists(folder / "out.mp4"));
  }
}

TEST(ShiftAudio, MovesTheAudioAndNothingElse) {
  const test::ScratchFolder folder;
  for (const char* extension : {"mp4", "mkv", "ts", "flv"}) {
    const std::string output = folder / (std::string("out.") + extension);
    const Track filmFrames(Film(extension), "v:0");
    const Track filmAudio(Film(extension), "a:0");
    for (const int milliseconds : {250, 1, 0, -1, -250}) {
      SCOPED_TRACE(std::string(extension) + " by " + std::to_string(milliseconds));
      ASSERT_EQ(MPG_ShiftAudio(Film(extension).c_str(), output.c_str(), milliseconds, nullptr, 0),
                0);
      const Track frames(output, "v:0");
      const Track audio(output, "a:0");
      EXPECT_NEAR(audio.start - frames.start - (filmAudio.start - filmFrames.start),
                  milliseconds / 1000.0, 0.0011);
      EXPECT_EQ(frames.payloads, filmFrames.payloads);
      EXPECT_EQ(audio.payloads, filmAudio.payloads);
    }
  }
}

}  // namespace
