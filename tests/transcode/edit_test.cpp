// Trimming, cropping and shifting: three workers on one set-up.
#include <algorithm>
#include <iterator>
#include <sstream>

#include "support/kit.h"
#include "transcode/operations.h"

namespace {

using Trim = test::InFolder;
using Crop = test::InFolder;
using ShiftAudio = test::InFolder;

namespace fs = std::filesystem;
using test::Film;

const char* const kContainers[] = {"mp4", "mkv", "ts", "flv", "avi", "webm"};

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

// The numbers of the frames that a trim leaves.
std::vector<int> Trimmed(const std::string& film, const std::string& output, std::uint32_t start,
                         std::uint32_t end) {
  EXPECT_EQ(MPG_SaveTrimmedVideo(film.c_str(), output.c_str(), start, end), 0);
  return test::PictureOrder(output);
}

TEST_F(Trim, KeepsTheFramesFromStartToEndIncluded) {
  for (const std::string extension : kContainers) {
    const std::string film = Film(extension);
    EXPECT_EQ(Trimmed(film, output, 0, 99), test::Numbers(0, 99)) << extension;
    EXPECT_EQ(Trimmed(film, output, 3, 3), test::Numbers(75, 75)) << extension;
    EXPECT_EQ(Trimmed(film, output, 1, 2), test::Numbers(25, 50)) << extension;
    EXPECT_EQ(test::DecodingErrors(output), "");
    // Where the window holds none.
    EXPECT_EQ(Trimmed(film, output, 3, 2), std::vector<int>{}) << extension;
    EXPECT_EQ(Trimmed(film, output, 50, 60), std::vector<int>{}) << extension;
  }
}

TEST_F(Trim, MovesFramesAndAudioByTheSameTime) {
  const std::string film = Film("mp4");
  EXPECT_EQ(Trimmed(film, output, 2, 3), test::Numbers(50, 75));
  EXPECT_NEAR(Track(output, "v:0").start, 0, 0.001);
  const Track whole(film, "a:0"), kept(output, "a:0");
  // From the key frame at 1.2 s on: 0.8 s ahead of the start, give or take some packets.
  EXPECT_NEAR(kept.start, -0.8, 0.1);
  EXPECT_TRUE(std::equal(kept.payloads.rbegin(), kept.payloads.rend(), whole.payloads.rbegin()));
}

TEST_F(Trim, WritesFramesBesideTheirAudio) {
  const std::string film = test::MakeMedia(
      "long.mkv", "-f lavfi -i testsrc=s=64x48:r=25 -f lavfi -i sine -t 30 -c:v mpeg4 -c:a aac");
  Trimmed(film, output, 0, 1);
  // Of the packets in the order of the file: the last that belongs to the frames.
  std::string streams = test::Probe(output, "packet=stream_index");
  std::erase(streams, '\n');
  EXPECT_LT(streams.rfind('1'), 100u);
}

TEST_F(Trim, EndsAtTheTwentySeventhBrokenPacket) {
  const std::string film = Film("avi", "-c:v mjpeg -q:v 2 -bf 0");
  for (const auto& [count, kept] : {std::pair{26, 74u}, std::pair{27, 19u}}) {
    const std::string damaged = test::DamagedFrames(folder / "in.avi", film, 20, count);
    EXPECT_EQ(Trimmed(damaged, output, 0, 9).size(), kept);
  }
  // The last frames come out of a decoder's threads after an error.
  const std::string lastBut = Film("mkv", "-g 1 -bsf:v \"noise=amount=not(n-98)\"");
  EXPECT_EQ(Trimmed(lastBut, output, 0, 9).back(), 99);
}

// A table of key frames that names another frame than the only one.
TEST_F(Trim, TakesAStreamWithoutAKeyPacket) {
  std::string film = test::ReadBytes(Film("mov", "-c:v mpeg4 -q:v 2 -bf 0 -g 300"));
  film[film.find("stss") + 15] = 101;
  test::WriteBytes(folder / "in.mov", film);
  EXPECT_EQ(Trimmed(folder / "in.mov", output, 1, 2), test::Numbers(25, 50));
}

TEST_F(Crop, CopiesEveryPacketOfADecodableVideo) {
  for (const char* extension : kContainers) {
    ASSERT_EQ(MPG_Crop(Film(extension).c_str(), output.c_str()), 0) << extension;
    EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(Film(extension), "v:0"));
    EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(Film(extension), "a:0"));
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST_F(Crop, EndsAtAPacketThatDoesNotDecode) {
  const std::string film = test::ReadBytes(Film("mp4"));
  std::istringstream lines(test::Probe(Film("mp4"), "packet=pos", "v:0"));
  const std::vector<std::size_t> positions{std::istream_iterator<std::size_t>(lines), {}};
  for (const std::size_t start : {positions.at(50), positions.back()}) {
    // The length of a unit that can't be.
    std::string broken = film;
    broken.replace(start, 4, 4, '\xEE');
    test::WriteBytes(folder / "broken.mp4", broken);
    EXPECT_LT(MPG_Crop((folder / "broken.mp4").c_str(), (output).c_str()), 0) << start;
    EXPECT_FALSE(fs::exists(output));
  }
}

TEST_F(ShiftAudio, MovesTheAudioAndNothingElse) {
  for (const char* extension : {"mp4", "mkv", "ts", "flv"}) {
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
