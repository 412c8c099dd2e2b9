// Frames of one file with the audio of another, copied or re-encoded.
#include <algorithm>
#include <cerrno>

#include "remux/segments.h"
#include "support/kit.h"

namespace {

namespace fs = std::filesystem;

using AvJoin = test::InFolder;
using CopyJoin = test::InFolder;
using ReencodeJoin = test::InFolder;

int Join(const std::string& video, const std::string& audio, const std::string& output,
         test::ProgressLog* log = nullptr) {
  return MPG_MergeAV(video.c_str(), audio.c_str(), output.c_str(),
                     log == nullptr ? nullptr : test::ProgressLog::Callback,
                     log == nullptr ? 0 : log->Context());
}

// 50 frames in the order they are shown. With AAC everything is copied.
std::string H264() {
  return test::H264Video(2, "mp4", "-bf 0");
}

std::string Made(const std::string& name, double seconds, const std::string& codec) {
  return test::MakeMedia(name, "-f lavfi -i testsrc2=size=320x240:rate=25 -t " +
                                   std::to_string(seconds) + " -c:v " + codec);
}

// 25 frames a second. With Opus and MP3 the audio is re-encoded.
std::string Mpeg4(double seconds = 2, const std::string& name = "mpeg4.mp4",
                  const std::string& options = "") {
  return Made(name, seconds, "mpeg4 " + options);
}

// MPEG-4 doesn't tell its size in a transport stream.
std::string Mpeg2() {
  return Made("mpeg2.ts", 2, "mpeg2video");
}

std::string Hevc() {
  return Made("hevc.mp4", 2, "libx265 -preset ultrafast -x265-params log-level=0:bframes=3");
}

std::string Remuxed(const std::string& input, const std::string& name,
                    const std::string& options = "") {
  return test::MakeMedia(name, "-i " + input + " -c copy " + options);
}

std::string Unindexed(const std::string& input, const std::string& name) {
  return Remuxed(input, name, "-f matroska -live 1");
}

struct Pair {
  std::string video, audio;
};

TEST_F(AvJoin, CopiesTheVideoAndCopiesOrReencodesTheAudio) {
  constexpr const char* kMp4 = "mov,mp4,m4a,3gp,3g2,mj2";
  struct Case {
    const char* name;
    std::string video, audio;
    double videoLength, audioLength;
    bool isReencoded = false;
    const char* container = kMp4;
  };
  const Case cases[] = {
      // To the end of the longer one.
      {"longer frames", test::H264Video(4), test::AacAudio(1), 4, 1},
      {"longer audio", test::H264Video(1), test::AacAudio(4), 1, 4},
      {"no decoding times at first", test::H264Video(2, "mkv"), test::AacAudio(), 2, 2},
      {"FLV", test::H264Video(2, "flv"), test::AacAudio(2, "mka"), 2, 2},
      {"times of B-frames alone", Mpeg4(3, "b.avi", "-bf 2"), test::AacAudio(), 3, 2},
      {"VP9, Opus", test::Vp9Video(1), test::OpusAudio(4), 1, 4, false, "matroska,webm"},
      {"VP9, AAC", test::Vp9Video(), test::AacAudio(), 2, 2, false, "avi"},
      // To the end of the shorter one.
      {"re-encoded, longer frames", Mpeg4(4), test::OpusAudio(1.5), 1.5, 1.5, true},
      {"re-encoded, longer audio", Mpeg4(1.2), test::OpusAudio(4), 1.2, 1.2, true},
      {"HEVC with B-frames", Hevc(), test::OpusAudio(), 2, 2, true},
      {"Matroska", Remuxed(Hevc(), "hevc.mkv"), test::OpusAudio(), 2, 2, true},
      {"MPEG-4 with B-frames", Mpeg4(2, "b.mp4", "-bf 2"), test::OpusAudio(), 2, 2, true},
      {"VP9", test::Vp9Video(), Remuxed(test::OpusAudio(), "o.mp3", "-c:a libmp3lame"), 2, 2, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(Join(c.video, c.audio, output), 0);
    EXPECT_EQ(test::Probe(output, "format=format_name"), c.container);
    EXPECT_EQ(test::Probe(output, "stream=codec_type"), "video\naudio");
    std::vector<std::string> frames = test::ReadPayloads(c.video, "v:0");
    if (c.isReencoded) {
      EXPECT_EQ(test::Probe(output, "stream=codec_name", "a:0"), "aac");
      EXPECT_NEAR(test::Audio(output).Length(), c.audioLength, 0.05);
      const std::vector<double> times = test::FrameTimes(output);
      EXPECT_NEAR(static_cast<double>(times.size()), c.videoLength * 25, 2);
      frames.resize(times.size());
      for (std::size_t i = 0; i < times.size(); ++i) {
        ASSERT_NEAR(times[i] - times[0], static_cast<double>(i) * 0.04, 0.001);
      }
    } else {
      EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(c.audio, "a:0"));
      EXPECT_NEAR(std::stod(test::Probe(output, "format=duration")),
                  std::max(c.videoLength, c.audioLength), 0.1);
    }
    EXPECT_EQ(test::ReadPayloads(output, "v:0"), frames);
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST_F(CopyJoin, TakesOneStreamOfEachFileAlone) {
  // Subtitles first, so that neither chosen stream is stream 0; another video and audio behind.
  test::WriteBytes(folder / "s.srt", "1\n00:00:00,000 --> 00:00:01,000\nhello\n");
  const std::string crowd = folder / "crowd.mkv";
  test::Ffmpeg("-i " + (folder / "s.srt") + " -i " + H264() + " -i " + test::Vp9Video() + " -i " +
               test::AacAudio() + " -i " + test::OpusAudio() +
               " -map 0 -map 1 -map 2 -map 3 -map 4 -c copy " + crowd);
  ASSERT_EQ(Join(crowd, crowd, output), 0);
  EXPECT_EQ(test::Probe(output, "stream=codec_name"), "h264\naac");
  EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(H264(), "v:0"));
  EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(test::AacAudio(), "a:0"));
}

TEST_F(CopyJoin, KeepsRotationAndPixelShape) {
  const std::string rotated = Remuxed(test::H264Video(2, "mp4", "-vf setsar=4/3"), "rotated.mp4",
                                      "-metadata:s:v:0 rotate=90");
  ASSERT_EQ(Join(rotated, test::AacAudio(), output), 0);
  EXPECT_EQ(test::Probe(output, "stream=rotation", "v:0"), "90");
  EXPECT_EQ(test::Probe(output, "stream=sample_aspect_ratio", "v:0"), "4:3");
}

TEST_F(ReencodeJoin, TakesTheBitRateOfTheAudioFile) {
  const std::string noise = "-f lavfi -i anoisesrc=c=pink:a=0.5:r=44100:d=4 -ac 2 ";
  const std::string known = test::MakeMedia("noise.mp3", noise + "-c:a libmp3lame -b:a 192k");
  const std::string unknown =
      test::MakeMedia("noise.mka", noise + "-ar 48000 -c:a libopus -f matroska -live 1");
  for (const auto& [audio, expected] : {std::pair{known, 192000}, std::pair{unknown, 128000}}) {
    ASSERT_EQ(Join(Mpeg4(4), audio, output), 0);
    EXPECT_NEAR(std::stod(test::Probe(output, "stream=bit_rate", "a:0")), expected, 10000);
  }
}

TEST_F(AvJoin, MakesTimeStampsForARawStream) {
  for (const auto& [video, audio] : {Pair{Remuxed(H264(), "raw.h264"), test::AacAudio()},
                                     Pair{Remuxed(Mpeg4(), "raw.m4v"), test::OpusAudio(4)}}) {
    ASSERT_EQ(Join(video, audio, output), 0);
    const std::vector<test::Packet> packets = test::ReadPackets(output, "v:0");
    ASSERT_EQ(packets.size(), 50u);
    for (std::size_t i = 0; i < packets.size(); ++i) {
      EXPECT_NEAR(*packets[i].pts, static_cast<double>(i) * 0.04, 0.001);
      EXPECT_EQ(packets[i].dts, packets[i].pts);
    }
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

using Reports = std::vector<std::int32_t>;

// Every time stamp lies behind the two seconds that the file lasts.
std::string Late(const std::string& video) {
  return Remuxed(video, "late.ts", "-muxdelay 0 -output_ts_offset 2");
}

TEST_F(AvJoin, ReportsFromTheVideoAndItsEnd) {
  struct Case {
    const char* name;
    std::string video, audio;
    std::int32_t percent100;
    Reports expected;
  };
  const Reports everyTenth = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  const Reports everySecondTenth = {1, 2, 3, 4, 10};
  const Case cases[] = {
      {"copied", H264(), test::AacAudio(8), 10, everyTenth},
      {"re-encoded", Mpeg4(), test::OpusAudio(4), 10, everyTenth},
      {"from the start of the video", Late(H264()), test::AacAudio(), 10, everyTenth},
      {"re-encoded, from the start", Late(Mpeg2()), test::OpusAudio(6), 10, everyTenth},
      {"audio ends first", Mpeg4(), test::OpusAudio(1.3), 10, {1, 2, 3, 4, 5, 6}},
      {"copied without scale", H264(), test::AacAudio(), 0, {0}},
      {"re-encoded without scale", Mpeg4(), test::OpusAudio(4), 0, {0}},
      {"copied on a negative scale", H264(), test::AacAudio(), -3, {-3}},
      // Where the video stream's length isn't known its file's counts, then the audio's, then that
      // of the audio's file.
      {"file", test::H264Video(2, "mkv", "-bf 0"), test::AacAudio(8), 10, everyTenth},
      {"audio", Unindexed(H264(), "live.mkv"), test::AacAudio(4), 10, everySecondTenth},
      {"audio file", Unindexed(H264(), "live.mkv"), test::AacAudio(4, "mka"), 10, everySecondTenth},
      {"none", Unindexed(H264(), "live.mkv"), Unindexed(test::AacAudio(), "live.mka"), 10, {}},
      {"re-encoded, none", Unindexed(Hevc(), "live.mkv"), test::OpusAudio(4), 100, {100}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::Percent100Is scale(c.percent100);
    test::ProgressLog log;
    ASSERT_EQ(Join(c.video, c.audio, output, &log), 0);
    EXPECT_EQ(log.Reports(), c.expected);
  }
}

// A transport stream of a video of two seconds twice, the second time starting that many frames
// before the first time ends.
std::string SteppingBack(const test::ScratchFolder& folder, const std::string& video, int frames) {
  const auto shifted = [&](double offset) {
    return test::ReadBytes(
        Remuxed(video, "part.ts", "-muxdelay 0 -output_ts_offset " + std::to_string(offset)));
  };
  const std::string path = folder / ("back" + std::to_string(frames) + ".ts");
  test::WriteBytes(path, shifted(2) + shifted(4 - frames * 0.04));
  return path;
}

TEST_F(AvJoin, FailsWithACodeAndKeepsWhatItWrote) {
  test::WriteBytes(folder / "damaged.mp4",
                   test::BreakAc3Frames(test::ReadBytes(test::Ac3Audio()), 40, 1));
  const std::string brokenVideo = test::InBrokenFragments(folder / "broken.mp4", Mpeg4(4));
  const std::string brokenAudio = test::InBrokenFragments(folder / "broken.m4a", test::AacAudio(4));
  const std::string undecodable = test::Undecodable(folder / "mpeg-h.mp4");
  const std::string vp8 =
      test::MakeMedia("vp8.webm", "-f lavfi -i testsrc2=s=64x64:d=1 -c:v libvpx -cpu-used 8");
  constexpr int kNoFile = -1, kNoTrailer = 0;
  struct Case {
    const char* name;
    std::string video, audio;
    int code, frames;
    std::uintmax_t size = 0;  // at least, in bytes
  };
  const Case cases[] = {
      {"no video", test::AacAudio(), test::AacAudio(), MPG_ERR_VIDEO_CODEC_NOT_FOUND, kNoFile},
      {"no audio", H264(), H264(), MPG_ERR_AUDIO_CODEC_NOT_FOUND, kNoFile},
      {"no decoder", Mpeg4(), undecodable, test::kUnknown, kNoFile},
      {"no encoder", H264(), undecodable, test::kUnknown, kNoFile},
      {"no 16-bit samples for AAC", Mpeg4(),
       test::MakeMedia("flac.flac", "-f lavfi -i sine=duration=1 -c:a flac"), -EINVAL, kNoFile},
      {"no VP8 in MP4", vp8,
       test::MakeMedia("a.mp3", "-f lavfi -i sine=duration=1 -c:a libmp3lame"), -EINVAL,
       kNoTrailer},
      {"25 packets refused", SteppingBack(folder, H264(), 25), test::AacAudio(), 0, 75},
      {"26", SteppingBack(folder, H264(), 26), test::AacAudio(), -EINVAL, kNoTrailer, 30000},
      {"broken audio file", H264(), brokenAudio, test::kInvalidData, kNoTrailer, 30000},
      {"broken packet", Mpeg4(4), folder / "damaged.mp4", test::kInvalidData, kNoTrailer, 30000},
      {"broken video to re-encode for", brokenVideo, test::OpusAudio(6), test::kInvalidData, 50},
      {"one packet refused", SteppingBack(folder, Mpeg2(), 75), test::OpusAudio(6), -EINVAL, 50},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Join(c.video, c.audio, output), c.code);
    ASSERT_EQ(fs::exists(output), c.frames != kNoFile);
    if (c.frames == kNoFile) continue;
    EXPECT_GE(fs::file_size(output), c.size);
    EXPECT_EQ(test::ReadPayloads(output, "v:0").size(), static_cast<std::size_t>(c.frames));
    EXPECT_EQ(test::DecodingErrors(output).empty(), c.frames != kNoTrailer);
    fs::remove(output);
  }
}

}  // namespace
