#include <gtest/gtest.h>

#include <string>

#include "remux/segment_join.h"
#include "remux/segments.h"
#include "support/host.h"
#include "support/media.h"

namespace {

using test::Paths;
using test::ScratchFolder;

struct Set {
  const char* name;
  const char* video;
  const char* audio = "-c:a aac";
  const char* extension = "ts";
  const char* cut = "";
};

Paths MakeSet(const ScratchFolder& folder, const Set& set) {
  const std::string film = folder / "film.mkv";
  test::Ffmpeg("-f lavfi -i testsrc2=s=160x120:r=25 -f lavfi -i sine=r=48000 -ac 2 -t 8 -g 50 " +
               std::string(set.video) + " " + set.audio + " " + film);
  return test::Cut(folder, film, std::string("-f segment -segment_time 2 ") + set.cut,
                   set.extension);
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

int Join(const Paths& segments, const std::string& output, bool closeGaps,
         mpg::Analysis analysis) try {
  mpg::JoinSegments({segments, closeGaps, false, analysis}, output.c_str(), {nullptr, 0});
  return 0;
} catch (const mpg::Error& error) {
  return error.Code();
}

void ExpectSame(const ScratchFolder& folder, const Paths& segments) {
  for (const bool closeGaps : {false, true}) {
    for (const char* extension : {".mp4", ".ts"}) {
      const std::string whole = folder / (std::string("whole") + extension);
      const std::string known = folder / (std::string("known") + extension);
      ASSERT_EQ(Join(segments, known, closeGaps, mpg::Analysis::kAsKnown),
                Join(segments, whole, closeGaps, mpg::Analysis::kWhole));
      EXPECT_TRUE(test::ReadBytes(known) == test::ReadBytes(whole)) << extension << closeGaps;
    }
  }
}

TEST(SegmentAnalysis, JoinsTheSameFileAsFromWholeAnalyses) {
  constexpr const char* kUnannounced =
      "-bsf:v filter_units=remove_types=6 -x264-params bframes=3:b-pyramid=normal:nal-hrd=none";
  const Set kSets[] = {
      {"no B pictures", "-c:v libx264 -bf 0"},
      {"one B picture", "-c:v libx264 -bf 1", "-c:a libmp3lame"},
      {"B pyramid", "-c:v libx264 -bf 3 -x264-params b-pyramid=normal", "-c:a ac3"},
      {"open groups", "-c:v libx264 -bf 3 -x264-params open-gop=1"},
      {"interlaced", "-c:v libx264 -flags +ilme+ildct -bf 2"},
      {"without supplements", kUnannounced},
      {"restarting", "-c:v libx264 -bf 2", "-c:a aac", "ts", "-reset_timestamps 1"},
      {"HEVC", "-c:v libx265 -x265-params log-level=none", "-c:a aac"},
      {"MPEG-2", "-c:v mpeg2video -bf 2", "-c:a mp2"},
      {"MP4", "-c:v libx264 -bf 3", "-c:a aac", "mp4"},
      {"fragmented MP4", "-c:v libx264 -bf 3", "-c:a aac", "mp4",
       "-segment_format_options movflags=frag_keyframe+empty_moov"},
  };
  for (const Set& set : kSets) {
    SCOPED_TRACE(set.name);
    const ScratchFolder folder;
    const Paths good = MakeSet(folder, set);
    ASSERT_GE(good.size(), 4u);
    ExpectSame(folder, good);
    Paths mixed = {good[0], good[2], good[1], folder / "missing.ts"};
    for (const std::size_t n : {7919u, 1999u, 400u}) mixed.push_back(Damaged(good[1], n));
    mixed.push_back(good[3]);
    ExpectSame(folder, mixed);
    mixed.pop_back();
    ExpectSame(folder, mixed);
  }
}

TEST(SegmentAnalysis, NoticesSegmentsOfAnotherKind) {
  const ScratchFolder folder;
  const Paths good = MakeSet(folder, {"", "-c:v libx264 -bf 2"});
  for (const std::string& variant : Variants(folder, good[1])) {
    // A change within a segment.
    const std::string both = variant + ".both.ts";
    test::WriteBytes(both, test::ReadBytes(good[1]) + test::ReadBytes(variant));
    ExpectSame(folder, {good[0], variant, good[2], both, good[3], good[1]});
  }
}

}  // namespace
