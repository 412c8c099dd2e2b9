#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "remux/segments.h"
#include "support/host.h"
#include "support/media.h"
#include "support/probe.h"

namespace {

namespace fs = std::filesystem;
using test::Cut;
using test::Ffmpeg;
using test::Film;
using test::Merge;
using test::Paths;

constexpr double kPicture = 1.0 / 25;
constexpr double kSoundFrame = 1024.0 / 48000;

Paths Continuous(const test::ScratchFolder& folder, const std::string& pictureOptions = "-bf 0") {
  return Cut(folder, Film(pictureOptions));
}

Paths Restarting(const test::ScratchFolder& folder) {
  return Cut(folder, Film(), "-f segment -segment_time 2 -reset_timestamps 1");
}

Paths RestartingMp4(const test::ScratchFolder& folder) {
  return Cut(folder, Film(), "-f segment -segment_time 2 -reset_timestamps 1", "mp4");
}

// Every segment begins a fixed time after the one before.
Paths Spaced(const test::ScratchFolder& folder, double seconds) {
  Paths paths;
  double start = 0;
  for (const std::string& segment : Restarting(folder)) {
    paths.push_back(segment + ".spaced.ts");
    Ffmpeg("-i " + segment + " -c copy -muxdelay 0 -output_ts_offset " + std::to_string(start) +
           " " + paths.back());
    start += seconds;
  }
  return paths;
}

Paths Jumping(const test::ScratchFolder& folder) {
  return Spaced(folder, 10);
}

Paths Overlapping(const test::ScratchFolder& folder) {
  return Spaced(folder, 1.5);
}

Paths HlsTransport(const test::ScratchFolder& folder) {
  Ffmpeg("-i " + Film("-bf 2") + " -c copy -f hls -hls_time 2 -hls_list_size 0 " +
         (folder / "h.m3u8"));
  Paths paths;
  for (int i = 0; i < 3; ++i) paths.push_back(folder / ("h" + std::to_string(i) + ".ts"));
  return paths;
}

// As a download manager stores them: each behind the initialisation that all share.
Paths HlsFragments(const test::ScratchFolder& folder) {
  Ffmpeg("-i " + Film("-bf 2") +
         " -c copy -f hls -hls_time 2 -hls_list_size 0 -hls_segment_type fmp4 " +
         (folder / "h.m3u8"));
  Paths paths;
  for (int i = 0; i < 3; ++i) {
    const std::string fragment = folder / ("h" + std::to_string(i) + ".m4s");
    paths.push_back(fragment + ".mp4");
    test::WriteBytes(paths.back(),
                     test::ReadBytes(folder / "init.mp4") + test::ReadBytes(fragment));
  }
  return paths;
}

// A segment's packets as that container holds them: MP4 has no start codes and no ADTS headers.
std::string InContainerOf(const std::string& segment, const std::string& output) {
  const std::string extension = fs::path(output).extension().string();
  if (fs::path(segment).extension() == extension) return segment;
  Ffmpeg("-i " + segment + " -c copy " + segment + extension);
  return segment + extension;
}

struct LastSegment {
  double start;  // seconds after the first packet of all
  double drift;  // of that from what lies before it
};

// Checks a stream of the output against its segments.
LastSegment ExpectJoined(const Paths& segments, const std::string& output,
                         const std::string& stream, double packetLength) {
  std::vector<std::string> expected;
  std::size_t before = 0;
  for (const std::string& segment : segments) {
    before = expected.size();
    std::ranges::copy(test::ReadPayloads(InContainerOf(segment, output), stream),
                      std::back_inserter(expected));
  }
  const std::vector<test::Packet> packets = test::ReadPackets(output, stream);
  std::vector<std::string> payloads;
  for (const test::Packet& packet : packets) payloads.push_back(packet.hash);
  EXPECT_EQ(payloads, expected);
  EXPECT_EQ(std::ranges::adjacent_find(packets, std::ranges::greater_equal{}, &test::Packet::dts),
            packets.end());
  const double start = *packets.at(before).pts - *packets.front().pts;
  return {start, start - static_cast<double>(before) * packetLength};
}

struct SegmentSet {
  const char* name;
  Paths (*make)(const test::ScratchFolder&);
  const char* output;
  bool closeGaps;
  double lastStart;  // seconds after the first

  friend std::ostream& operator<<(std::ostream& out, const SegmentSet& set) {
    return out << set.name;
  }
};

class RealSegments : public testing::TestWithParam<SegmentSet> {};

TEST_P(RealSegments, ArePlayedOneAfterTheOther) {
  const test::ScratchFolder folder;
  const Paths segments = GetParam().make(folder);
  ASSERT_EQ(segments.size(), 3u);
  const std::string output = folder / GetParam().output;
  ASSERT_EQ(Merge(segments, output, {.closeGaps = GetParam().closeGaps}), 0);
  EXPECT_EQ(test::DecodingErrors(output), "");
  const LastSegment video = ExpectJoined(segments, output, "v:0", kPicture);
  const LastSegment audio = ExpectJoined(segments, output, "a:0", kSoundFrame);
  EXPECT_NEAR(video.start, GetParam().lastStart, 0.05);
  EXPECT_NEAR(audio.drift, video.drift, 0.05);
}

const SegmentSet kSets[] = {
    {"Continuous", [](const auto& folder) { return Continuous(folder); }, "a.ts", false, 4},
    {"BPictures", [](const auto& folder) { return Continuous(folder, "-bf 2"); }, "a.mp4", false,
     4},
    {"HlsTransport", HlsTransport, "a.ts", false, 4},
    {"HlsFragments", HlsFragments, "a.mp4", false, 4},
    {"FragmentsToTransport", HlsFragments, "a.ts", false, 4},
    {"Restarting", Restarting, "a.mp4", false, 4},
    {"RestartingClosed", Restarting, "a.mp4", true, 4},
    {"RestartingMp4", RestartingMp4, "a.mp4", false, 4},
    {"Jumping", Jumping, "a.mp4", false, 20},
    {"JumpingClosed", Jumping, "a.ts", true, 4},
    {"Overlapping", Overlapping, "a.mp4", false, 4},
    {"OverlappingClosed", Overlapping, "a.ts", true, 4},
};

INSTANTIATE_TEST_SUITE_P(SegmentJoin, RealSegments, testing::ValuesIn(kSets),
                         [](const auto& set) { return std::string(set.param.name); });

}  // namespace
