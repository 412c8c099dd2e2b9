// Frames of one file with the audio of another, copied or re-encoded.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "remux/segments.h"
#include "support/audio.h"
#include "support/host.h"
#include "support/media.h"
#include "support/pictures.h"
#include "support/probe.h"

namespace {

namespace fs = std::filesystem;

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

// 25 frames a second. With Opus and MP3 the audio is re-encoded.
std::string Mpeg4(double seconds = 2, const std::string& name = "mpeg4.mp4",
                  const std::string& options = "") {
  return test::MakeMedia(name, "-f lavfi -i testsrc2=size=320x240:rate=25 -t " +
                                   std::to_string(seconds) + " -c:v mpeg4 " + options);
}

// MPEG-4 doesn't tell its size in a transport stream.
std::string Mpeg2() {
  return test::MakeMedia("mpeg2.ts",
                         "-f lavfi -i testsrc2=size=320x240:rate=25 -t 2 -c:v mpeg2video");
}

std::string Hevc() {
  return test::MakeMedia("hevc.mp4",
                         "-f lavfi -i testsrc2=size=322x242:rate=25 -t 2 -c:v libx265 -preset "
                         "ultrafast -x265-params log-level=0:bframes=3");
}

std::string Remuxed(const std::string& input, const std::string& name,
                    const std::string& options = "") {
  return test::MakeMedia(name, "-i " + input + " -c copy " + options);
}

struct Pair {
  std::string video, audio;
};

// One to copy, one to re-encode, both of 50 frames.
std::vector<Pair> BothWays() {
  return {{H264(), test::AacAudio()}, {Mpeg4(), test::OpusAudio(4)}};
}

TEST(CopyJoin, CopiesEveryPacketBitForBitToTheEndOfTheLongerInput) {
  struct Case {
    const char* name;
    std::string video, audio;
    const char* container;
    double duration = 2;
  };
  constexpr const char* kMp4 = "mov,mp4,m4a,3gp,3g2,mj2";
  const Case cases[] = {
      {"longer frames", test::H264Video(4), test::AacAudio(1), kMp4, 4},
      {"longer audio", test::H264Video(1), test::AacAudio(4), kMp4, 4},
      {"no decoding times at first", test::H264Video(2, "mkv"), test::AacAudio(), kMp4},
      {"FLV", test::H264Video(2, "flv"), test::AacAudio(2, "mka"), kMp4},
      {"no presentation times but B-frames'", Mpeg4(3, "b.avi", "-bf 2"), test::AacAudio(), kMp4,
       3},
      {"VP9, Opus", test::Vp9Video(1), test::OpusAudio(4), "matroska,webm", 4},
      {"VP9, AAC", test::Vp9Video(), test::AacAudio(), "avi"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchFolder folder;
    const std::string output = folder / "joined.out";
    ASSERT_EQ(Join(c.video, c.audio, output), 0);
    EXPECT_EQ(test::Probe(output, "format=format_name"), c.container);
    EXPECT_EQ(test::Probe(output, "stream=codec_type"), "video\naudio");
    EXPECT_NEAR(std::stod(test::Probe(output, "format=duration")), c.duration, 0.1);
    EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(c.video, "v:0"));
    EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(c.audio, "a:0"));
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST(CopyJoin, TurnsStartCodesIntoLengths) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  const std::string transport = Remuxed(test::H264Video(), "h264.ts");
  ASSERT_EQ(Join(transport, test::AacAudio(2, "aac"), output), 0);
  EXPECT_EQ(test::ReadPayloads(output, "v:0").size(), 50u);
  EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(test::AacAudio(), "a:0"));
  EXPECT_EQ(test::DecodingErrors(output), "");
}

TEST(CopyJoin, TakesOneStreamOfEachFileAlone) {
  // Subtitles first, so that neither chosen stream is stream 0; another video and audio behind.
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "s.srt", "1\n00:00:00,000 --> 00:00:01,000\nhello\n");
  const std::string crowd = folder / "crowd.mkv";
  test::Ffmpeg("-i " + (folder / "s.srt") + " -i " + H264() + " -i " + test::Vp9Video() + " -i " +
               test::AacAudio() + " -i " + test::OpusAudio() +
               " -map 0 -map 1 -map 2 -map 3 -map 4 -c copy " + crowd);
  const std::string output = folder / "joined.mp4";
  ASSERT_EQ(Join(crowd, crowd, output), 0);
  EXPECT_EQ(test::Probe(output, "stream=codec_name"), "h264\naac");
  EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(H264(), "v:0"));
  EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(test::AacAudio(), "a:0"));
}

TEST(CopyJoin, KeepsRotationAndPixelShape) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  const std::string rotated =
      test::MakeMedia("rotated.mp4", "-i " + test::H264Video(2, "mp4", "-vf setsar=4/3") +
                                         " -c copy -metadata:s:v:0 rotate=90");
  ASSERT_EQ(Join(rotated, test::AacAudio(), output), 0);
  EXPECT_EQ(test::Probe(output, "stream_side_data=rotation", "v:0"), "90");
  EXPECT_EQ(test::Probe(output, "stream=sample_aspect_ratio", "v:0"), "4:3");
}

TEST(ReencodeJoin, CopiesTheVideoAndMakesTheAudioAac) {
  struct Case {
    const char* name;
    std::string video, audio;
  };
  const Case cases[] = {
      {"HEVC with B-frames", Hevc(), test::OpusAudio()},
      {"Matroska", Remuxed(Hevc(), "hevc.mkv"), test::OpusAudio()},
      {"MPEG-4 with B-frames", Mpeg4(2, "b.mp4", "-bf 2"), test::OpusAudio()},
      {"VP9", test::Vp9Video(), Remuxed(test::OpusAudio(), "o.mp3", "-c:a libmp3lame")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchFolder folder;
    const std::string output = folder / "joined.avi";
    ASSERT_EQ(Join(c.video, c.audio, output), 0);
    EXPECT_EQ(test::Probe(output, "format=format_name"), "mov,mp4,m4a,3gp,3g2,mj2");
    EXPECT_EQ(test::Probe(output, "stream=codec_type"), "video\naudio");
    EXPECT_EQ(test::Probe(output, "stream=codec_name", "a:0"), "aac");
    EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(c.video, "v:0"));
    const std::vector<double> times = test::FrameTimes(output);
    ASSERT_EQ(times.size(), 50u);
    for (std::size_t i = 0; i < 50; ++i) {
      ASSERT_NEAR(times[i] - times[0], static_cast<double>(i) * 0.04, 0.001);
    }
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST(ReencodeJoin, EndsWhereTheShorterInputEnds) {
  const test::ScratchFolder folder;
  struct Case {
    std::string video, audio;
    double expected;
  };
  for (const Case& c :
       {Case{Mpeg4(4), test::OpusAudio(1.5), 1.5}, Case{Mpeg4(1.2), test::OpusAudio(4), 1.2}}) {
    const std::string output = folder / "joined.mp4";
    ASSERT_EQ(Join(c.video, c.audio, output), 0);
    EXPECT_NEAR(std::stod(test::Probe(output, "stream=duration", "v:0")), c.expected, 0.08);
    EXPECT_NEAR(test::Audio(output).Length(), c.expected, 0.05);
  }
}

TEST(ReencodeJoin, InterleavesByTime) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  ASSERT_EQ(Join(Mpeg4(4), test::OpusAudio(4), output), 0);
  std::vector<std::int64_t> places[2];
  for (const int stream : {0, 1}) {
    std::istringstream lines(test::Probe(output, "packet=pos", std::to_string(stream)));
    for (std::int64_t place = 0; lines >> place;) places[stream].push_back(place);
  }
  ASSERT_EQ(places[0].size(), 100u);
  // A frame lies 1.875 audio frames behind the one before it.
  for (std::size_t frame = 1; frame + 1 < places[0].size(); ++frame) {
    const auto before = std::ranges::lower_bound(places[1], places[0][frame]) - places[1].begin();
    EXPECT_NEAR(static_cast<double>(before), static_cast<double>(frame) * 1.875, 4);
  }
}

TEST(ReencodeJoin, TakesTheBitRateOfTheAudioFile) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  const std::string audio = test::MakeMedia(
      "noise.mp3",
      "-f lavfi -i anoisesrc=c=pink:a=0.5:r=44100:d=4 -ac 2 -c:a libmp3lame -b:a 192k");
  ASSERT_EQ(Join(Mpeg4(4), audio, output), 0);
  EXPECT_NEAR(std::stod(test::Probe(output, "stream=bit_rate", "a:0")), 192000, 10000);
}

TEST(AvJoin, MakesTimeStampsForARawStream) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
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

TEST(AvJoin, ReportsFromTheVideoAndItsEnd) {
  struct Case {
    const char* name;
    std::string video, audio;
    std::int32_t percent100;
    Reports expected;
  };
  const Case cases[] = {
      {"copied", H264(), test::AacAudio(8), 10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
      {"re-encoded", Mpeg4(), test::OpusAudio(4), 10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
      {"audio ends first", Mpeg4(), test::OpusAudio(1.3), 10, {1, 2, 3, 4, 5, 6}},
      {"copied without scale", H264(), test::AacAudio(), 0, {0}},
      {"re-encoded without scale", Mpeg4(), test::OpusAudio(4), 0, {0}},
      {"copied on a negative scale", H264(), test::AacAudio(), -3, {-3}},
      {"re-encoded on a negative scale", Mpeg4(), test::OpusAudio(4), -3, {-3}},
      {"copied, the audio's length",
       Remuxed(H264(), "live.mkv", "-live 1"),
       test::AacAudio(4),
       10,
       {1, 2, 3, 4, 10}},
      {"unknown length", Remuxed(Hevc(), "live.mkv", "-live 1"), test::OpusAudio(4), 100, {100}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchFolder folder;
    const test::Percent100Is scale(c.percent100);
    test::ProgressLog log;
    ASSERT_EQ(Join(c.video, c.audio, folder / "a.mp4", &log), 0);
    EXPECT_EQ(log.Reports(), c.expected);
  }
}

// Every time stamp lies behind the two seconds that the file lasts.
std::string Late(const std::string& video) {
  return Remuxed(video, "late.ts", "-muxdelay 0 -output_ts_offset 2");
}

TEST(AvJoin, CountsFromTheStartOfTheVideo) {
  const test::ScratchFolder folder;
  Reports rising;
  for (std::int32_t percent = 2; percent <= 100; percent += 2) rising.push_back(percent);
  for (const auto& [video, audio] :
       {std::pair{Late(H264()), test::AacAudio()}, std::pair{Late(Mpeg2()), test::OpusAudio(6)}}) {
    test::ProgressLog log;
    ASSERT_EQ(Join(video, audio, folder / "a.mp4", &log), 0);
    EXPECT_EQ(log.Reports(), rising);
  }
}

TEST(AvJoin, StopsWithAPlayableFileWhenTheHostSaysSo) {
  const test::ScratchFolder folder;
  const std::string output = folder / "a.mp4";
  for (const auto& [video, audio] : BothWays()) {
    const std::vector<std::string> whole = test::ReadPayloads(video, "v:0");
    for (const int stopAt : {1, 25, 49, 50}) {
      test::ProgressLog log(stopAt);
      ASSERT_EQ(Join(video, audio, output, &log), 0);
      EXPECT_EQ(log.Reports().size(), static_cast<std::size_t>(stopAt));
      // The first frame is at 0 %, and the one that was reported last isn't written.
      const std::vector<std::string> packets = test::ReadPayloads(output, "v:0");
      ASSERT_EQ(packets.size(), static_cast<std::size_t>(stopAt));
      EXPECT_TRUE(std::equal(packets.begin(), packets.end(), whole.begin()));
      EXPECT_EQ(test::DecodingErrors(output), "");
    }
  }
}

// A transport stream of a video of two seconds twice, the second time starting that many frames
// before the first time ends.
std::string SteppingBack(const test::ScratchFolder& folder, const std::string& video, int frames) {
  const auto shifted = [&](double offset) {
    return test::ReadBytes(
        Remuxed(video, "part.ts", "-muxdelay 0 -output_ts_offset " + std::to_string(offset)));
  };
  test::WriteBytes(folder / "back.ts", shifted(2) + shifted(4 - frames * 0.04));
  return folder / "back.ts";
}

TEST(CopyJoin, Tolerates25PacketsThatTheMuxerRefuses) {
  const test::ScratchFolder folder;
  EXPECT_EQ(Join(SteppingBack(folder, H264(), 25), test::AacAudio(), folder / "a.mp4"), 0);
  EXPECT_EQ(test::ReadPayloads(folder / "a.mp4", "v:0").size(), 100u - 25u);
  EXPECT_EQ(Join(SteppingBack(folder, H264(), 26), test::AacAudio(), folder / "b.mp4"), -EINVAL);
  EXPECT_TRUE(fs::exists(folder / "b.mp4"));
}

constexpr int kInvalidData = -1094995529;

TEST(CopyJoin, FailsWithTheCodeOfABrokenAudioFileAfterCopyingTheVideo) {
  const test::ScratchFolder folder;
  const std::string audio = test::InBrokenFragments(folder / "broken.m4a", test::AacAudio(4));
  EXPECT_EQ(Join(H264(), audio, folder / "a.mp4"), kInvalidData);
  EXPECT_GT(fs::file_size(folder / "a.mp4"), fs::file_size(H264()) * 9 / 10);
}

TEST(ReencodeJoin, FinishesTheFileOfABrokenVideoAndTellsItsCode) {
  const test::ScratchFolder folder;
  const std::string output = folder / "a.mp4";
  const std::string broken = test::InBrokenFragments(folder / "broken.mp4", Mpeg4(4));
  EXPECT_EQ(Join(broken, test::OpusAudio(6), output), kInvalidData);
  EXPECT_GE(test::ReadPayloads(output, "v:0").size(), 40u);
  EXPECT_EQ(test::DecodingErrors(output), "");

  EXPECT_EQ(Join(SteppingBack(folder, Mpeg2(), 75), test::OpusAudio(6), output), -EINVAL);
  EXPECT_EQ(test::ReadPayloads(output, "v:0").size(), 50u);
  EXPECT_EQ(test::DecodingErrors(output), "");
}

TEST(ReencodeJoin, FailsWithTheCodeOfABrokenAudioPacket) {
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "damaged.mp4",
                   test::BreakAc3Frames(test::ReadBytes(test::Ac3Audio()), 40, 1));
  EXPECT_EQ(Join(Mpeg4(4), folder / "damaged.mp4", folder / "a.mp4"), kInvalidData);
  EXPECT_TRUE(fs::exists(folder / "a.mp4"));
}

TEST(AvJoin, AnswersBadInputWithACode) {
  const test::ScratchFolder folder;
  const std::string video = H264();
  const std::string audio = test::AacAudio();
  const std::string whole = test::ReadBytes(video);
  test::WriteBytes(folder / "empty.mp4", "");
  test::WriteBytes(folder / "cut.mp4", whole.substr(0, whole.size() / 2));
  std::string unknown = test::ReadBytes(test::Ac3Audio());
  unknown.replace(unknown.rfind("ac-3"), 4, "mhm1");  // MPEG-H, which FFmpeg can't decode
  test::WriteBytes(folder / "unknown.mp4", unknown);
  constexpr int kUnknown = -1313558101;  // AVERROR_UNKNOWN
  const std::string flac = test::MakeMedia("flac.flac", "-f lavfi -i sine=duration=1 -c:a flac");
  const std::string vp8 =
      test::MakeMedia("vp8.webm", "-f lavfi -i testsrc2=s=64x64:d=1 -c:v libvpx -cpu-used 8");
  const std::string mp3 = test::MakeMedia("a.mp3", "-f lavfi -i sine=duration=1 -c:a libmp3lame");
  const std::string output = folder / "out.mp4";

  struct Case {
    std::string video, audio;
    int expected;
    bool leavesFile = false;
  };
  const Case cases[] = {
      {folder / "missing.mp4", audio, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {folder / "missing.mp4", folder / "missing.mp4", MPG_ERR_AUDIO_CODEC_NOT_FOUND},
      {video, folder / "empty.mp4", MPG_ERR_AUDIO_CODEC_NOT_FOUND},
      {folder / "cut.mp4", audio, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {folder / "", audio, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {audio, audio, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {video, video, MPG_ERR_AUDIO_CODEC_NOT_FOUND},
      {Mpeg4(), folder / "unknown.mp4", kUnknown},
      {Mpeg4(), flac, -EINVAL},   // no 16-bit samples for AAC
      {vp8, mp3, -EINVAL, true},  // no VP8 in MP4
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Join(c.video, c.audio, output), c.expected) << c.video << " " << c.audio;
    EXPECT_EQ(fs::exists(output), c.leavesFile);
  }
  EXPECT_EQ(test::ReadBytes(video), whole);
}

}  // namespace
