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

constexpr double kFrame = 1.0 / 25;
constexpr double kAudioFrame = 1024.0 / 48000;

using Folder = test::ScratchFolder;
constexpr const char* kRestarting = "-f segment -segment_time 2 -reset_timestamps 1";

const auto kWithBFrames = [](const Folder& folder) { return Cut(folder, Film("-bf 2")); };
const auto kRestart = [](const Folder& folder) { return Cut(folder, Film("-bf 2"), kRestarting); };
const auto kRestartMp4 = [](const Folder& folder) {
  return Cut(folder, Film("-bf 3 -x264opts b-pyramid=normal"), kRestarting, "mp4");
};

// Every segment begins ten seconds after the one before.
Paths Jumping(const Folder& folder) {
  Paths paths;
  for (const std::string& segment : kRestart(folder)) {
    const std::string start = std::to_string(10 * paths.size());
    paths.push_back(segment + ".jumping.ts");
    Ffmpeg("-i " + segment + " -c copy -muxdelay 0 -output_ts_offset " + start + " " +
           paths.back());
  }
  return paths;
}

// The clock of transport streams has 33 bits.
Paths Wrapping(const Folder& folder) {
  Paths paths;
  for (const std::string& segment : kWithBFrames(folder)) {
    paths.push_back(segment + ".wrapping.ts");
    Ffmpeg("-copyts -i " + segment + " -c copy -muxdelay 0 -muxpreload 0 -output_ts_offset " +
           std::to_string(static_cast<double>(1ll << 33) / 90000 - 5) + " " + paths.back());
  }
  return paths;
}

// Times jump back inside a segment.
Paths Concatenated(const Folder& folder) {
  const Paths parts = kRestart(folder);
  test::WriteBytes(folder / "two.ts", test::ReadBytes(parts[0]) + test::ReadBytes(parts[1]));
  return {folder / "two.ts", parts[2]};
}

// As many sites serve them: one initialisation, then fragments alone.
Paths BareFragments(const Folder& folder) {
  Ffmpeg("-i " + Film("-bf 2") +
         " -c copy -f hls -hls_time 2 -hls_list_size 0 -hls_segment_type fmp4 " +
         (folder / "h.m3u8"));
  return {folder / "init.mp4", folder / "h0.m4s", folder / "h1.m4s", folder / "h2.m4s"};
}

// A segment's packets as that container holds them: MP4 has no start codes and no ADTS headers.
std::string InContainerOf(const std::string& segment, const std::string& output) {
  const std::string extension = fs::path(output).extension().string();
  if (fs::path(segment).extension() == extension) return segment;
  if (fs::path(segment).extension() == ".m4s") {
    const fs::path initialisation = fs::path(segment).replace_filename("init.mp4");
    test::WriteBytes(segment + ".mp4",
                     test::ReadBytes(initialisation.string()) + test::ReadBytes(segment));
    return segment + ".mp4";
  }
  Ffmpeg("-i " + segment + " -c copy " + segment + extension);
  return segment + extension;
}

using Packets = std::vector<test::Packet>;

void AppendPayloads(Packets packets, bool asShown, std::vector<std::string>& payloads) {
  if (asShown) std::ranges::stable_sort(packets, {}, &test::Packet::pts);
  std::ranges::transform(packets, std::back_inserter(payloads), &test::Packet::hash);
}

struct LastSegment {
  double start;  // seconds after the first packet of all
  double shift;  // of its times
};

// Checks that a stream of the output is its segments' packets, in the order of reading and of
// showing.
LastSegment ExpectJoined(const Paths& segments, const std::string& output,
                         const std::string& stream, double packetLength, bool hasHoles) {
  std::vector<Packets> parts;
  for (const std::string& segment : segments) {
    parts.push_back(test::ReadPackets(InContainerOf(segment, output), stream));
  }
  Packets packets = test::ReadPackets(output, stream);
  EXPECT_EQ(std::ranges::adjacent_find(packets, std::ranges::greater_equal{}, &test::Packet::dts),
            packets.end());
  for (const bool asShown : {false, true}) {
    std::vector<std::string> expected, joined;
    for (const Packets& part : parts) AppendPayloads(part, asShown, expected);
    AppendPayloads(packets, asShown, joined);
    EXPECT_TRUE(joined == expected) << stream << asShown;
  }
  const double start = *packets.at(packets.size() - parts.back().size()).pts;
  const LastSegment last = {start - *packets.front().pts, start - *parts.back().front().pts};
  std::ranges::stable_sort(packets, {}, &test::Packet::pts);
  for (std::size_t i = 1; !hasHoles && i < packets.size(); ++i) {
    EXPECT_NEAR(*packets[i].pts - *packets[i - 1].pts, packetLength, 0.0011) << stream << " " << i;
  }
  return last;
}

struct SegmentSet {
  const char* name;
  Paths (*make)(const Folder&);
  const char* output;
  bool closeGaps;
  double lastStart;  // seconds after the first
  bool hasHoles = false;
};

TEST(SegmentJoin, PlaysRealSegmentsOneAfterTheOther) {
  const SegmentSet kSets[] = {
      {"B-frames", kWithBFrames, "a.mp4", false, 4},
      {"B-frames, closed", kWithBFrames, "a.ts", true, 4},
      {"fragments", BareFragments, "a.mp4", false, 4},
      {"restarting", kRestart, "a.mp4", false, 4},
      {"restarting, closed", kRestart, "a.ts", true, 4},
      {"restarting MP4", kRestartMp4, "a.mp4", false, 4},
      {"jumping", Jumping, "a.mp4", false, 20, true},
      {"jumping, closed", Jumping, "a.ts", true, 4, true},
      {"clock that wraps", Wrapping, "a.mp4", false, 4},
      {"recordings in one file", Concatenated, "a.mp4", false, 4},
  };
  for (const SegmentSet& set : kSets) {
    SCOPED_TRACE(set.name);
    const Folder folder;
    const Paths segments = set.make(folder);
    ASSERT_GE(segments.size(), 2u);
    const std::string output = folder / set.output;
    ASSERT_EQ(Merge(segments, output, {.closeGaps = set.closeGaps}), 0);
    EXPECT_EQ(test::DecodingErrors(output), "");
    const LastSegment video = ExpectJoined(segments, output, "v:0", kFrame, set.hasHoles);
    const LastSegment audio = ExpectJoined(segments, output, "a:0", kAudioFrame, set.hasHoles);
    EXPECT_NEAR(video.start, set.lastStart, 0.05);
    EXPECT_NEAR(audio.shift, video.shift, 0.05);
  }
}

}  // namespace
