// Pictures against those that decoding every packet gives.
#include "image/poster_search.h"
#include "image/sample_search.h"

#include "image/test_pictures.h"
#include "support/encoders.h"
#include "support/kit.h"

namespace mpg {
namespace {

Bytes PixelsOf(RgbConverter& converter) {
  const RgbView image = converter.Image();
  return {image.pixels, image.pixels + std::size_t{3} * static_cast<std::size_t>(image.width) *
                                           static_cast<std::size_t>(image.height)};
}

RgbConverter ConverterOf(const VideoSource& source) {
  return {source.Decoder().width, source.Decoder().height, 0};
}

// Nothing where there is none.
Bytes Poster(void (PosterSearch::*find)(), const std::string& path, int position) try {
  VideoSource source(path.c_str());
  RgbConverter converter = ConverterOf(source);
  (PosterSearch(source, converter, position).*find)();
  return PixelsOf(converter);
} catch (const Error&) {
  return {};
}

// A sample's pixels, the code of a failure in a byte, or nothing where there is no sample.
Bytes SampleOf(FramePtr (*search)(VideoSource&, std::uint32_t, Side), VideoSource& source,
               std::uint32_t second, Side side) {
  try {
    const FramePtr sample = search(source, second, side);
    if (sample == nullptr) return {};
    RgbConverter converter = ConverterOf(source);
    converter.Convert(*sample);
    return PixelsOf(converter);
  } catch (const Error& error) {
    return {static_cast<std::uint8_t>(error.Code())};
  }
}

// 320 x 240 pictures, 25 a second: `first` seconds of one kind, then testsrc2.
std::string CutAfter(const std::string& kind, double first, double then) {
  return "-f lavfi -i " + kind + "size=320x240:rate=25:duration=" + std::to_string(first) +
         " -f lavfi -i testsrc2=size=320x240:rate=25:duration=" + std::to_string(then) +
         " -filter_complex concat ";
}

struct Video {
  std::string name, options;
};

// Kinds of streams that are decoded in ways of their own.
std::vector<std::string> Corpus() {
  const std::string calm = CutAfter("testsrc=", 4, 3);
  const std::string black = CutAfter("color=black:", 0.6, 4);
  const std::string h264 = "-c:v libx264 -preset veryfast ";
  const std::string hevc = "-c:v libx265 -preset ultrafast -x265-params log-level=0:";
  std::vector<std::string> paths;
  for (const Video& v : {
           Video{"cut.mp4", CutAfter("testsrc=", 10.8, 11) + h264},
           Video{"far.mp4", CutAfter("testsrc=", 6, 7) + h264 + "-g 290 -sc_threshold 0"},
           Video{"black.mp4", black + h264},
           Video{"black-hevc.mp4", black + hevc + "keyint=50"},
           Video{"slices.mp4", calm + h264 + "-g 40 -x264-params slices=4:scenecut=0"},
           Video{"open.mp4", calm + h264 + "-g 30 -bf 3 -x264-params open-gop=1"},
           Video{"pyramid.mkv", calm + h264 + "-g 60 -bf 5 -x264-params b-pyramid=normal"},
           Video{"refresh.ts", calm + h264 + "-x264-params intra-refresh=1:keyint=30"},
           Video{"hevc.mp4", calm + hevc + "keyint=45:bframes=4"},
           Video{"hevc-open.ts", calm + hevc + "keyint=30:open-gop=1:bframes=3"},
           Video{"fields.ts", calm + h264 + "-g 40 -flags:v +ilme+ildct"},
           Video{"late.ts", calm + h264 + "-g 50 -output_ts_offset 40000"},
           Video{"film.flv", calm + h264 + "-g 50 -bf 2"},
           Video{"film.mkv", calm + "-c:v mpeg4 -bf 2 -g 20"},
           Video{"film.webm", calm + "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 50"},
       }) {
    const bool isHevc = v.options.find("libx265") != std::string::npos;
    if (isHevc && !test::HasEncoder("libx265")) continue;
    paths.push_back(test::MakeMedia(v.name, v.options));
  }
  return paths;
}

TEST(PosterSearch, FindsWhatDecodingEverythingFinds) {
  for (const std::string& path : Corpus()) {
    for (int position = 3; position < 100; position += 7) {
      EXPECT_EQ(Poster(&PosterSearch::Find, path, position),
                Poster(&PosterSearch::FindPlainly, path, position))
          << path << " " << position;
    }
  }
}

TEST(PosterSearch, CountsPacketsThatTellNoTimeByTheFrameRateElseBy25) {
  const std::string film = test::NumberedVideo(
      "50.avi", "-vf settb=1/50,setpts=N -r 50 -c:v libx264 -qp 4 -sc_threshold 0 -bf 2 -g 10");
  for (const auto& [rate, picture] : {std::pair{50, 60}, {0, 30}}) {
    VideoSource source(film.c_str());
    AVStream& stream = *source.File().Context()->streams[0];
    stream.r_frame_rate = {rate, 1};
    // What the library doesn't know has only the times that AVI tells.
    stream.codecpar->codec_id = AV_CODEC_ID_NONE;
    RgbConverter converter = ConverterOf(source);
    PosterSearch(source, converter, 60).Find();
    EXPECT_EQ(test::PictureNumber(converter.Image().pixels), picture) << rate;
  }
}

TEST(SampleSearch, LooksAheadToWhatDecodingEverythingFinds) {
  int lookedAhead = 0;
  for (const std::string& path : Corpus()) {
    for (std::uint32_t second = 0; second < 9; ++second) {
      for (const Side side : {Side::kBefore, Side::kBehind}) {
        VideoSource source(path.c_str());
        const Bytes sample = SampleOf(LookAheadForSample, source, second, side);
        if (sample.empty()) continue;
        ++lookedAhead;
        // Another source: from 7.1 on FFmpeg's HEVC decoder isn't empty after such an end.
        VideoSource plain(path.c_str());
        EXPECT_EQ(sample, SampleOf(DecodeToSample, plain, second, side)) << path << " " << second;
      }
    }
  }
  EXPECT_GT(lookedAhead, 150) << "of 252";
}

}  // namespace
}  // namespace mpg
