#include <algorithm>
#include <iterator>

#include "remux/segments.h"
#include "support/kit.h"

namespace {

namespace fs = std::filesystem;
using test::Cut;
using test::Ffmpeg;
using test::FilmToCut;
using test::Merge;
using test::Paths;
using Folder = test::ScratchFolder;

constexpr double kFrame = 1.0 / 25;
constexpr double kAudioFrame = 1024.0 / 48000;

constexpr const char* kRestarting = "-f segment -segment_time 2 -reset_timestamps 1";

const auto kWithBFrames = [](const Folder& folder) { return Cut(folder, FilmToCut("-bf 2")); };
const auto kRestart = [](const Folder& folder) {
  return Cut(folder, FilmToCut("-bf 2"), kRestarting);
};
const auto kRestartMp4 = [](const Folder& folder) {
  return Cut(folder, FilmToCut("-bf 3 -x264opts b-pyramid=normal"), kRestarting, "mp4");
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
  Ffmpeg("-i " + FilmToCut("-bf 2") +
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

// What the join of a list does with entries, outputs and hosts of every kind.

constexpr std::size_t kFramesPerSegment = 50;

std::size_t Frames(const std::string& path) {
  return test::ReadPayloads(path, "v:0").size();
}

std::vector<bool> Existing(const Paths& paths) {
  std::vector<bool> existing;
  for (const std::string& path : paths) existing.push_back(fs::exists(path));
  return existing;
}

TEST(SegmentList, NothingToJoinIsNoFailure) {
  const Folder folder;
  const char* const none[] = {nullptr};
  const char* const one[] = {"a.ts", nullptr};
  test::ProgressLog log;
  EXPECT_EQ(Merge({}, folder / "a.mp4", {.log = &log}), 0);
  EXPECT_FALSE(fs::exists(folder / "a.mp4"));
  EXPECT_EQ(MPG_Merge(none, nullptr, 1, 1, nullptr, 0), 0);
  EXPECT_EQ(MPG_Merge(one, nullptr, 1, 1, nullptr, 0), 0);
  EXPECT_EQ(MPG_Merge(nullptr, "a.mp4", 1, 1, nullptr, 0), MPG_ERR_INVALID_PARAMETER);
  EXPECT_TRUE(log.Reports().empty());
}

TEST(SegmentList, FirstEntryDecidesWhichKindsAreJoinedAndVideoComesFirst) {
  const Folder folder;
  const Paths whole = Cut(folder, FilmToCut());
  struct Case {
    const char *options, *streams;
    std::size_t frames;
  };
  for (const Case& c : {Case{"-an", "video", 100}, Case{"-vn", "audio", 0},
                        Case{"-map 0:a -map 0:v", "video\naudio", 100}}) {
    Ffmpeg("-i " + whole[0] + " " + c.options + " -c copy " + (folder / "first.ts"));
    ASSERT_EQ(Merge({folder / "first.ts", whole[1]}, folder / "a.mp4"), 0);
    EXPECT_EQ(test::Probe(folder / "a.mp4", "stream=codec_type"), c.streams);
    EXPECT_EQ(Frames(folder / "a.mp4"), c.frames) << c.options;
  }
  // A stream of a codec that FFmpeg doesn't encode is left out.
  ASSERT_EQ(Merge({test::OnlyDecodable(folder / "yuv.avi")}, folder / "a.mp4"), 0);
  EXPECT_EQ(test::Probe(folder / "a.mp4", "stream=codec_type"), "audio");
}

TEST(SegmentList, ReportsOncePerEntryEvenForSkippedOnes) {
  struct Case {
    std::int32_t scale;
    std::vector<std::int32_t> expected;
  };
  const Folder folder;
  const Paths cut = Cut(folder, FilmToCut());
  const Paths segments = {cut[0], folder / "missing.ts", cut[2]};
  for (const Case& c : {Case{100, {33, 66, 100}}, Case{1, {0, 0, 1}}, Case{-100, {-100}}}) {
    const test::Percent100Is scale(c.scale);
    test::ProgressLog log;
    EXPECT_EQ(Merge(segments, folder / "a.mp4", {.log = &log}), 0);
    EXPECT_EQ(log.Reports(), c.expected) << c.scale;
  }
}

TEST(SegmentList, StoppedJoinIsAFileOfTheEntriesSoFar) {
  for (const int stopAt : {1, 2, 3}) {
    const Folder folder;
    const Paths segments = Cut(folder, FilmToCut());
    test::ProgressLog log(stopAt);
    ASSERT_EQ(Merge(segments, folder / "a.mp4", {.deleteSegments = true, .log = &log}), 0);
    EXPECT_EQ(Frames(folder / "a.mp4"), static_cast<std::size_t>(stopAt) * kFramesPerSegment);
    EXPECT_EQ(test::DecodingErrors(folder / "a.mp4"), "");
    EXPECT_EQ(Existing(segments), (std::vector<bool>{false, stopAt < 2, stopAt < 3}));
  }
}

TEST(SegmentList, PassesBrokenEntriesAsLongAsAGoodOneFollowsOrNoneDoes) {
  const Folder media("media");
  Cut(media, FilmToCut());
  Ffmpeg("-i " + FilmToCut() + " -c copy -f hls -hls_segment_type fmp4 -hls_list_size 0 " +
         (media / "h.m3u8"));
  Ffmpeg("-i " + (media / "2.ts") + " -c:v copy " + (media / "raw.h264"));
  test::WriteBytes(media / "rubbish.ts", std::string(5000, 'a'));
  test::WriteBytes(media / "s.srt", "1\n00:00:00,000 --> 00:00:01,000\nhello\n");
  struct Case {
    const char* name;
    std::vector<std::string> entries;
    int expected;
  };
  const Case cases[] = {
      {"first", {"rubbish.ts", "0.ts", "1.ts"}, MPG_ERR_VIDEO_STREAM_NOT_FOUND},
      {"first missing", {"missing.ts", "0.ts", "1.ts"}, MPG_ERR_VIDEO_STREAM_NOT_FOUND},
      {"missing", {"0.ts", "missing.ts", "1.ts"}, 0},
      {"a folder", {"0.ts", "folder", "1.ts"}, 0},
      {"middle", {"0.ts", "rubbish.ts", "1.ts"}, 0},
      {"last", {"0.ts", "1.ts", "rubbish.ts"}, 0},
      {"last but a missing one", {"0.ts", "rubbish.ts", "missing.ts"}, test::kInvalidData},
      {"without frames and audio", {"0.ts", "s.srt", "1.ts"}, MPG_ERR_VIDEO_STREAM_NOT_FOUND},
      {"the same at the end", {"0.ts", "1.ts", "s.srt"}, 0},
      {"without times", {"0.ts", "raw.h264", "1.ts"}, 0},
      {"the output itself", {"0.ts", "a.mp4", "1.ts"}, MPG_ERR_INVALID_PARAMETER},
      // Fragments are read behind an initialisation in the list.
      {"initialisation alone", {"init.mp4"}, test::kInvalidData},
      {"no initialisation", {"h0.m4s", "h1.m4s"}, MPG_ERR_VIDEO_STREAM_NOT_FOUND},
      {"fragments", {"init.mp4", "h0.m4s", "h1.m4s"}, 0},
  };
  const std::string kNeverCopied = "rubbish.ts missing.ts folder s.srt raw.h264";
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Folder folder;
    for (const auto& file : fs::directory_iterator(media / "")) {
      fs::copy_file(file, folder / file.path().filename().string());
    }
    fs::create_directory(folder / "folder");
    Paths segments;
    for (const std::string& entry : c.entries) segments.push_back(folder / entry);
    const std::vector<bool> before = Existing(segments);
    const std::string output = folder / "a.mp4";
    test::ProgressLog log;
    log.onReport = [&](std::int32_t) { EXPECT_EQ(Existing(segments), before); };
    EXPECT_EQ(Merge(segments, output, {.deleteSegments = true, .log = &log}), c.expected);
    EXPECT_EQ(fs::exists(output), c.expected == 0);
    for (std::size_t i = 0; i < segments.size(); ++i) {
      const bool isCopied = c.expected == 0 && kNeverCopied.find(c.entries[i]) == std::string::npos;
      EXPECT_EQ(fs::exists(segments[i]), before[i] && !isCopied) << i;
    }
    if (c.expected != 0) continue;
    EXPECT_EQ(Frames(output), 2 * kFramesPerSegment);
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST(SegmentList, ReadsOnBehindBrokenDataOnceElevenPacketsOfAKindCame) {
  const Folder folder;
  struct Case {
    std::string input;
    const char* stream;
    int healthy;  // packets before the broken one
    std::size_t copied;
  };
  // Opening a file reads more than ten of its frames.
  for (const Case& c :
       {Case{test::AacAudio(), "a:0", 10, 10}, Case{test::AacAudio(), "a:0", 11, 94},
        Case{test::H264Video(), "v:0", 40, 49}}) {
    // A fragment for each packet, of which one speaks of a track that doesn't exist.
    const std::string whole = test::MakeMedia(
        "single.mp4", "-i " + c.input +
                          " -c copy -movflags "
                          "frag_every_frame+empty_moov+default_base_moof+global_sidx");
    std::string content = test::ReadBytes(whole);
    std::size_t header = 0;
    for (int i = 0; i <= c.healthy; ++i) header = content.find("tfhd", header + 1);
    content.at(header + 11) = 99;
    test::WriteBytes(folder / "broken.mp4", content);
    ASSERT_EQ(Merge({whole, folder / "broken.mp4", whole}, folder / "a.mp4"), 0);
    EXPECT_EQ(test::ReadPayloads(folder / "a.mp4", c.stream).size(),
              2 * test::ReadPayloads(whole, c.stream).size() + c.copied)
        << c.stream << " " << c.healthy;
  }
}

TEST(SegmentList, TakesSegmentsOfAnotherSizeOrCodecWithoutFailing) {
  const Folder folder;
  const std::string first = Cut(folder, FilmToCut())[0];
  Ffmpeg("-i " + first + " -s 320x240 -c:v libx264 -bf 0 -c:a copy " + (folder / "larger.ts"));
  Ffmpeg("-i " + first + " -c:v mpeg2video -c:a mp2 " + (folder / "other.ts"));
  for (const std::string& output : {folder / "a.mp4", folder / "a.ts"}) {
    ASSERT_EQ(Merge({first, folder / "larger.ts"}, output), 0);
    EXPECT_EQ(test::DecodingErrors(output), "");
    EXPECT_TRUE(test::Probe(output, "stream=width,height", "v:0").starts_with("160\n120"));
    EXPECT_EQ(Frames(output), 2 * kFramesPerSegment);
    ASSERT_EQ(Merge({first, folder / "other.ts", first}, output), 0);
    EXPECT_GT(Frames(output), 2 * kFramesPerSegment);
  }
}

}  // namespace
