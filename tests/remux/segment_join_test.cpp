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

Paths Continuous(const test::ScratchFolder& folder) {
  return Cut(folder, Film());
}

Paths WithBFrames(const test::ScratchFolder& folder) {
  return Cut(folder, Film("-bf 2"));
}

Paths Restarting(const test::ScratchFolder& folder) {
  return Cut(folder, Film("-bf 2"), "-f segment -segment_time 2 -reset_timestamps 1");
}

Paths RestartingMp4(const test::ScratchFolder& folder) {
  return Cut(folder, Film("-bf 3 -x264opts b-pyramid=normal"),
             "-f segment -segment_time 2 -reset_timestamps 1", "mp4");
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

// The clock of transport streams has 33 bits.
Paths Wrapping(const test::ScratchFolder& folder) {
  Paths paths;
  for (const std::string& segment : WithBFrames(folder)) {
    paths.push_back(segment + ".wrapping.ts");
    Ffmpeg("-copyts -i " + segment + " -c copy -muxdelay 0 -muxpreload 0 -output_ts_offset " +
           std::to_string(static_cast<double>(1ll << 33) / 90000 - 5) + " " + paths.back());
  }
  return paths;
}

// Broadcast multiplexers send the audio half a second ahead of the frames.
Paths Broadcast(const test::ScratchFolder& folder) {
  const test::ScratchFolder sounds("sounds");
  const std::string copied =
      " -c copy -copyts -muxdelay 0 -muxpreload 0 -f segment -segment_format mpegts "
      "-segment_format_options mpegts_copyts=1 -segment_times ";
  Ffmpeg("-i " + Film("-bf 2") + " -an" + copied + "2,4 " + (folder / "v%d.ts") + " -vn" + copied +
         "1.5,3.5 " + (sounds / "%d.ts"));
  Paths paths;
  for (const char* name : {"0.ts", "1.ts", "2.ts"}) {
    paths.push_back(folder / name);
    Ffmpeg("-copyts -i " + (folder / (std::string("v") + name)) + " -i " + (sounds / name) +
           " -c copy -mpegts_copyts 1 -muxdelay 0 -muxpreload 0 " + paths.back());
  }
  return paths;
}

// Times jump back inside a segment.
Paths Concatenated(const test::ScratchFolder& folder) {
  const Paths parts = Restarting(folder);
  test::WriteBytes(folder / "two.ts", test::ReadBytes(parts[0]) + test::ReadBytes(parts[1]));
  return {folder / "two.ts", parts[2]};
}

// As many sites serve them: one initialisation, then fragments alone.
Paths BareFragments(const test::ScratchFolder& folder) {
  Ffmpeg("-i " + Film("-bf 2") +
         " -c copy -f hls -hls_time 2 -hls_list_size 0 -hls_segment_type fmp4 " +
         (folder / "h.m3u8"));
  return {folder / "init.mp4", folder / "h0.m4s", folder / "h1.m4s", folder / "h2.m4s"};
}

// As a download manager stores them: each behind the initialisation that all share.
Paths HlsFragments(const test::ScratchFolder& folder) {
  Paths paths = BareFragments(folder);
  const std::string initialisation = test::ReadBytes(paths.front());
  paths.erase(paths.begin());
  for (std::string& path : paths) {
    const std::string fragment = test::ReadBytes(path);
    path += ".mp4";
    test::WriteBytes(path, initialisation + fragment);
  }
  return paths;
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

void AppendPayloads(const std::vector<test::Packet>& packets, std::vector<std::string>& payloads) {
  std::ranges::transform(packets, std::back_inserter(payloads), &test::Packet::hash);
}

struct LastSegment {
  double start;  // seconds after the first packet of all
  double drift;  // of that from what lies before it
};

// Checks that a stream of the output is its segments' packets, in the order of reading and of
// showing.
LastSegment ExpectJoined(const Paths& segments, const std::string& output,
                         const std::string& stream, double packetLength, bool hasHoles) {
  using Packets = std::vector<test::Packet>;
  std::vector<std::string> expected[2];  // as they are read, as they are shown
  std::vector<std::string> joined[2];
  const auto append = [](Packets packets, std::vector<std::string>(&payloads)[2]) {
    AppendPayloads(packets, payloads[0]);
    std::ranges::stable_sort(packets, {}, &test::Packet::pts);
    AppendPayloads(packets, payloads[1]);
    return packets;
  };
  std::size_t before = 0;
  for (const std::string& segment : segments) {
    before = expected[0].size();
    append(test::ReadPackets(InContainerOf(segment, output), stream), expected);
  }
  Packets packets = test::ReadPackets(output, stream);
  EXPECT_EQ(std::ranges::adjacent_find(packets, std::ranges::greater_equal{}, &test::Packet::dts),
            packets.end());
  const auto lastSegment = packets.at(before);
  packets = append(packets, joined);
  EXPECT_TRUE(joined[0] == expected[0]) << stream;
  EXPECT_TRUE(joined[1] == expected[1]) << stream;
  const double start = *lastSegment.pts - *packets.front().pts;
  for (std::size_t i = 1; !hasHoles && i < packets.size(); ++i) {
    EXPECT_NEAR(*packets[i].pts - *packets[i - 1].pts, packetLength, 0.0011) << stream << " " << i;
  }
  return {start, start - static_cast<double>(before) * packetLength};
}

struct SegmentSet {
  const char* name;
  Paths (*make)(const test::ScratchFolder&);
  const char* output;
  bool closeGaps;
  double lastStart;  // seconds after the first
  bool hasHoles = false;
};

void ExpectOneAfterTheOther(const SegmentSet& set) {
  const test::ScratchFolder folder;
  const Paths segments = set.make(folder);
  ASSERT_GE(segments.size(), 2u);
  const std::string output = folder / set.output;
  ASSERT_EQ(Merge(segments, output, {.closeGaps = set.closeGaps}), 0);
  EXPECT_EQ(test::DecodingErrors(output), "");
  const LastSegment video = ExpectJoined(segments, output, "v:0", kFrame, set.hasHoles);
  const LastSegment audio = ExpectJoined(segments, output, "a:0", kAudioFrame, set.hasHoles);
  EXPECT_NEAR(video.start, set.lastStart, 0.05);
  EXPECT_NEAR(audio.drift, video.drift, 0.05);
}

TEST(SegmentJoin, PlaysRealSegmentsOneAfterTheOther) {
  const SegmentSet kSets[] = {
      {"continuous", Continuous, "a.ts", false, 4},
      {"B-frames", WithBFrames, "a.mp4", false, 4},
      {"B-frames, closed", WithBFrames, "a.ts", true, 4},
      {"fragments", BareFragments, "a.mp4", false, 4},
      {"initialised fragments", HlsFragments, "a.ts", false, 4},
      {"restarting", Restarting, "a.mp4", false, 4},
      {"restarting, closed", Restarting, "a.ts", true, 4},
      {"restarting MP4", RestartingMp4, "a.mp4", false, 4},
      {"jumping", Jumping, "a.mp4", false, 20, true},
      {"jumping, closed", Jumping, "a.ts", true, 4, true},
      {"overlapping", Overlapping, "a.mp4", false, 4},
      {"clock that wraps", Wrapping, "a.mp4", false, 4},
      {"audio that ends early", Broadcast, "a.ts", false, 4},
      {"audio that ends early, closed", Broadcast, "a.mp4", true, 4},
      {"recordings in one file", Concatenated, "a.mp4", false, 4},
  };
  for (const SegmentSet& set : kSets) {
    SCOPED_TRACE(set.name);
    ExpectOneAfterTheOther(set);
  }
}

}  // namespace
