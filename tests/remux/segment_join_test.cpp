#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
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

Paths Continuous(const test::ScratchFolder& folder) {
  return Cut(folder, Film());
}

Paths WithBPictures(const test::ScratchFolder& folder) {
  return Cut(folder, Film("-bf 2"));
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
};

void ExpectOneAfterTheOther(const SegmentSet& set) {
  const test::ScratchFolder folder;
  const Paths segments = set.make(folder);
  ASSERT_EQ(segments.size(), 3u);
  const std::string output = folder / set.output;
  ASSERT_EQ(Merge(segments, output, {.closeGaps = set.closeGaps}), 0);
  EXPECT_EQ(test::DecodingErrors(output), "");
  const LastSegment video = ExpectJoined(segments, output, "v:0", kPicture);
  const LastSegment audio = ExpectJoined(segments, output, "a:0", kSoundFrame);
  EXPECT_NEAR(video.start, set.lastStart, 0.05);
  EXPECT_NEAR(audio.drift, video.drift, 0.05);
}

TEST(SegmentJoin, PlaysRealSegmentsOneAfterTheOther) {
  constexpr SegmentSet kSets[] = {
      {"continuous", Continuous, "a.ts", false, 4},
      {"B pictures", WithBPictures, "a.mp4", false, 4},
      {"HLS fragments", HlsFragments, "a.mp4", false, 4},
      {"HLS fragments to transport", HlsFragments, "a.ts", false, 4},
      {"restarting", Restarting, "a.mp4", false, 4},
      {"restarting, closed", Restarting, "a.mp4", true, 4},
      {"restarting MP4", RestartingMp4, "a.mp4", false, 4},
      {"jumping", Jumping, "a.mp4", false, 20},
      {"jumping, closed", Jumping, "a.ts", true, 4},
      {"overlapping", Overlapping, "a.mp4", false, 4},
      {"overlapping, closed", Overlapping, "a.ts", true, 4},
  };
  for (const SegmentSet& set : kSets) {
    SCOPED_TRACE(set.name);
    ExpectOneAfterTheOther(set);
  }
}

}  // namespace
