// Inputs that are read no further than they must be, and yield the same.
#include <sstream>
#include <string_view>
#include <utility>

#include "remux/segment_join.h"
#include "remux/segments.h"
#include "support/kit.h"

namespace {

using mpg::Analysis;
using test::Paths;
using test::ScratchFolder;

struct Set {
  const char* name;
  const char* video;
  const char* audio = "-c:a aac";
  int asKnown = 3;  // of four segments the first is always examined
  const char* cut = "";
};

Paths MakeSet(const ScratchFolder& folder, const Set& set) {
  const std::string film = test::MakeMedia(
      "eight-seconds.mkv",
      "-f lavfi -i testsrc2=s=160x120:r=25 -f lavfi -i sine=r=48000 -ac 2 -t 8 -g 50 -preset "
      "veryfast " +
          std::string(set.video) + " " + set.audio);
  return test::Cut(folder, film, std::string("-f segment -segment_time 2 ") + set.cut);
}

// A file with every n-th byte changed, behind its first tables.
std::string Damaged(const std::string& path, std::size_t n) {
  std::string bytes = test::ReadBytes(path);
  for (std::size_t i = 2000; i < bytes.size(); i += n) bytes[i] = static_cast<char>(~bytes[i]);
  test::WriteBytes(path + ".damaged.ts", bytes);
  return path + ".damaged.ts";
}

// With parameter sets, size, rate and codecs of its own.
Paths Variants(const ScratchFolder& folder, const std::string& segment) {
  Paths variants;
  for (const char* options :
       {"-s 320x240 -c:v libx264 -c:a copy", "-c:v libx264 -bf 3 -c:a aac -ar 44100",
        "-c:v mpeg2video -c:a mp2", "-c:v libx264 -c:a ac3 -ac 1", "-an -c:v copy", "-vn -c:a copy",
        "-c copy -bsf:v h264_metadata=tick_rate=60", "-map 0:v -map 0:a -map 0:a -c copy"}) {
    variants.push_back(folder / ("variant" + std::to_string(variants.size()) + ".ts"));
    test::Ffmpeg("-i " + segment + " " + options + " " + variants.back());
  }
  return variants;
}

template <class... Values>
std::string Line(const Values&... values) {
  std::ostringstream text;
  ((text << values << ' '), ...);
  return text.str() + '\n';
}

std::string Packets(mpg::Input& input) {
  std::string text;
  const mpg::PacketPtr packet = mpg::MakePacket();
  while (input.Read(*packet) == 0) {
    const std::string_view data(reinterpret_cast<const char*>(packet->data),
                                static_cast<std::size_t>(packet->size));
    text += Line(packet->stream_index, packet->pts, packet->dts, packet->duration, packet->flags,
                 packet->pos, std::hash<std::string_view>()(data));
  }
  return text;
}

// All that a join takes from an input.
std::string ContentOf(mpg::Input& input) {
  std::string text;
  for (const AVStream* const stream : input.Streams()) {
    const AVCodecParameters& it = *stream->codecpar;
    text += Line(it.codec_id, it.format, it.width, it.height, it.sample_rate);
  }
  return text + Packets(input);
}

// How many of the segments weren't examined.
int CompareContents(const Paths& segments) {
  mpg::AlikeFiles files;
  int unexamined = 0;
  for (const std::string& segment : segments) {
    SCOPED_TRACE(segment);
    mpg::Input whole = mpg::OpenInput(segment.c_str());
    mpg::Input known = files.Open(segment.c_str(), Analysis::kAsKnown);
    EXPECT_EQ(ContentOf(known), ContentOf(whole));
    if (known.Examined() == Analysis::kAsKnown) ++unexamined;
  }
  return unexamined;
}

int Join(const Paths& segments, const std::string& output, bool closeGaps, Analysis analysis) try {
  mpg::JoinSegments({segments, closeGaps, false, analysis}, output.c_str(), {nullptr, 0});
  return 0;
} catch (const mpg::Error& error) {
  return error.Code();
}

void ExpectSameJoins(const ScratchFolder& folder, const Paths& segments) {
  for (const bool isGapless : {false, true}) {
    const std::string extension = isGapless ? ".ts" : ".mp4";
    const std::string whole = folder / ("whole" + extension);
    const std::string known = folder / ("known" + extension);
    ASSERT_EQ(Join(segments, known, isGapless, Analysis::kAsKnown),
              Join(segments, whole, isGapless, Analysis::kWhole));
    EXPECT_TRUE(test::ReadBytes(known) == test::ReadBytes(whole)) << extension;
  }
}

TEST(SegmentAnalysis, JoinsTheSameFileAsFromWholeAnalyses) {
  constexpr const char* kRepeatedSets = "-bsf:v h264_mp4toannexb,dump_extra=freq=keyframe";
  const Set kSets[] = {
      {"no B frames", "-c:v libx264 -bf 0"},
      {"one B frame", "-c:v libx264 -bf 1", "-c:a libmp3lame"},
      {"B pyramid", "-c:v libx264 -bf 3 -x264-params b-pyramid=normal", "-c:a ac3"},
      // Its first segment begins with its parameter sets twice.
      {"open groups", "-c:v libx264 -bf 3 -x264-params open-gop=1", "-an", 2, kRepeatedSets},
      {"interlaced", "-c:v libx264 -flags:v +ilme+ildct -bf 2"},
      {"restarting", "-c:v libx264 -bf 2", "-c:a aac", 3, "-reset_timestamps 1"},
      // x264 doesn't announce that there are none, and whether such frames have decoding times of
      // their own can't be told.
      {"no B frames, unannounced", "-c:v libx264 -g 1 -pix_fmt yuv420p10", "-c:a aac", 0},
      {"wrapping clock", "-c:v libx264 -bf 2", "-c:a aac", 3, "-output_ts_offset 95439"},
      {"HEVC", "-c:v libx265 -x265-params log-level=none", "-c:a aac"},
      {"HEVC, no B frames", "-c:v libx265 -x265-params log-level=none:bframes=0", "-c:a eac3"},
      {"MPEG-2", "-c:v mpeg2video -bf 2", "-c:a mp2"},
      {"audio", "-vn"},
  };
  for (const Set& set : kSets) {
    SCOPED_TRACE(set.name);
    const ScratchFolder folder;
    const Paths good = MakeSet(folder, set);
    ASSERT_GE(good.size(), 4u);
    EXPECT_EQ(CompareContents({good[0], good[1], good[2], good[3]}), set.asKnown);
    Paths mixed = {good[0], good[2], good[1]};
    for (const std::size_t n : {7919u, 1999u, 400u}) mixed.push_back(Damaged(good[1], n));
    CompareContents(mixed);
    mixed.insert(mixed.end(), {good[3], good[1], folder / "missing.ts"});
    ExpectSameJoins(folder, mixed);
  }
}

TEST(SegmentAnalysis, NoticesSegmentsOfAnotherKind) {
  const ScratchFolder folder;
  const Paths good = MakeSet(folder, {"", "-c:v libx264 -bf 2"});
  for (const std::string& variant : Variants(folder, good[1])) {
    // A change within a segment.
    const std::string both = variant + ".both.ts";
    test::WriteBytes(both, test::ReadBytes(good[1]) + test::ReadBytes(variant));
    CompareContents({good[0], variant, good[2], both, good[3]});
    ExpectSameJoins(folder, {good[0], variant, good[2], both, good[3], good[1]});
  }
}

std::string Parameters(const mpg::Input& input) {
  std::string text = Line(input.Duration(), input.BitRate());
  for (const AVStream* const stream : input.Streams()) {
    const AVCodecParameters& it = *stream->codecpar;
    text +=
        Line(it.codec_id, it.codec_tag, it.profile, it.level, it.width, it.height, it.sample_rate,
             it.ch_layout.nb_channels, it.format, it.color_range, it.color_primaries, it.color_trc,
             it.color_space, it.chroma_location, it.field_order, it.video_delay,
             it.bits_per_raw_sample, it.bits_per_coded_sample, av_q2d(it.sample_aspect_ratio),
             av_q2d(stream->sample_aspect_ratio), it.frame_size, it.bit_rate, it.extradata_size,
             av_q2d(stream->time_base), av_q2d(stream->r_frame_rate),
             av_q2d(stream->avg_frame_rate), stream->start_time, stream->duration);
  }
  return text;
}

TEST(SegmentMuxerName, FollowsTheExtension) {
  for (const char* path : {"a.ts", "a.m4t", "a.m2t", "a.M2Ts", "a.mts", "a.mp4.TS"}) {
    EXPECT_STREQ(mpg::SegmentMuxerName(path), "mpegts") << path;
  }
  for (const char* path : {"a.mkv", "ts", "folder.ts/a", "back.ts\\a", "a.ts.", "a.tsx"}) {
    EXPECT_STREQ(mpg::SegmentMuxerName(path), "mp4") << path;
  }
}

TEST(Analysis, TellsTheSameWithoutDecoding) {
  const std::string film =
      "-f lavfi -i testsrc2=s=320x240:r=25 -f lavfi -i sine=r=48000 -t 4 -c:a aac -preset veryfast "
      "-c:v ";
  const struct {
    const char* name;
    const char* options;
    bool isShort = true;
  } kFiles[] = {
      {"b.mp4", "libx264 -bf 2"},
      {"pyramid.mov", "libx264 -bf 5 -g 12 -x264-params b-pyramid=normal"},
      {"fields.mp4", "libx264 -flags:v +ilme+ildct"},
      {"plain.mp4", "libx264 -bf 0 -movflags faststart -video_track_timescale 1000"},
      {"shape.mp4", "libx264 -vf setsar=4/3 -color_primaries bt709 -color_trc bt709"},
      {"fragments.mp4", "libx264 -bf 3 -movflags frag_keyframe+empty_moov"},
      {"pieces.mp4", "libx264 -movflags frag_keyframe+empty_moov+default_base_moof+delay_moov"},
      {"cropped.mp4",
       "libx264 -bsf:v h264_metadata=crop_right=16:crop_bottom=8:sample_aspect_ratio=4/3"},
      {"one.mp4", "libx264 -frames:v 1"},
      {"inside.mp4", "libx264 -bsf:v dump_extra", false},
      {"hevc.mp4", "libx265 -x265-params log-level=none -tag:v hvc1"},
      {"mpeg4.mp4", "mpeg4 -bf 2"},
      {"film.mkv", "libx264 -bf 2", false},
      {"film.ts", "libx264 -bf 2", false},
      {"film.flv", "libx264 -bf 2", false},
  };
  for (const auto& file : kFiles) {
    SCOPED_TRACE(file.name);
    const std::string path = test::MakeMedia(file.name, film + file.options);
    mpg::Input whole = mpg::OpenInput(path.c_str());
    mpg::Input other = mpg::OpenInput(path.c_str(), Analysis::kWithoutDecoding);
    EXPECT_EQ(Parameters(other), Parameters(whole));
    EXPECT_EQ(Packets(other), Packets(whole));
    EXPECT_EQ(other.Examined() == Analysis::kWithoutDecoding, file.isShort);
  }
}

// Frames whose time can't be told until the end must not make it read all the audio behind them.
TEST(Input, LooksAFewFramesAhead) {
  const std::string path = test::MakeMedia(
      "short.avi",
      "-f lavfi -i testsrc2=size=64x48:duration=1 -f lavfi -i sine=sample_rate=48000:duration=120 "
      "-c:v mpeg4 -bf 2 -c:a pcm_s16le");
  mpg::Input input = mpg::OpenInput(path.c_str());
  const mpg::PacketPtr packet = mpg::MakePacket();
  int frames = 0;
  std::int64_t last = AV_NOPTS_VALUE;
  while (input.Read(*packet) == 0) {
    constexpr std::int64_t kFarthest = std::int64_t{3} << 20;  // bytes
    ASSERT_LT(avio_tell(input.Context()->pb) - packet->pos, kFarthest);
    if (packet->stream_index != 0) continue;
    ++frames;
    EXPECT_NE(packet->pts, AV_NOPTS_VALUE);
    EXPECT_LE(packet->dts, packet->pts);
    EXPECT_LT(std::exchange(last, packet->dts), packet->dts);
  }
  EXPECT_EQ(frames, 25);
}

}  // namespace
