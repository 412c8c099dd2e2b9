#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"
#include "support/probe.h"
#include "support/sound.h"
#include "support/system.h"

namespace {

namespace fs = std::filesystem;

int Join(const std::string& video, const std::string& audio, const std::string& output) {
  return MPG_MergeAV(video.c_str(), audio.c_str(), output.c_str(), nullptr, 0);
}

int Join(const std::string& video, const std::string& audio, const std::string& output,
         test::ProgressLog& log) {
  return MPG_MergeAV(video.c_str(), audio.c_str(), output.c_str(), test::ProgressLog::Callback,
                     log.Context());
}

// 25 pictures a second, all of them copied by the join; with Opus and MP3 the audio is re-encoded.
std::string Video(double seconds = 2, const std::string& name = "mpeg4.mp4",
                  const std::string& options = "") {
  return test::MakeMedia(name, "-f lavfi -i testsrc2=size=320x240:rate=25 -t " +
                                   std::to_string(seconds) + " -c:v mpeg4 " + options);
}

std::string Hevc() {
  return test::MakeMedia("hevc.mp4",
                         "-f lavfi -i testsrc2=size=322x242:rate=25 -t 2 -c:v libx265 -preset "
                         "ultrafast -x265-params log-level=0:bframes=3");
}

std::string TransportStream(const std::string& name, int startSecond) {
  return test::MakeMedia(
      name,
      "-f lavfi -i testsrc2=size=320x240:rate=25 -t 2 -c:v mpeg2video -muxdelay 0 "
      "-output_ts_offset " +
          std::to_string(startSecond));
}

std::string Remuxed(const std::string& input, const std::string& name,
                    const std::string& options = "") {
  return test::MakeMedia(name, "-i " + input + " -c copy " + options);
}

// In the order they are shown.
std::vector<double> Times(const std::string& path) {
  std::vector<double> times;
  for (const test::Packet& packet : test::ReadPackets(path, "v:0")) {
    times.push_back(packet.pts.value());
  }
  std::ranges::sort(times);
  return times;
}

TEST(ReencodeJoin, CopiesTheVideoAndMakesTheAudioAac) {
  struct Case {
    const char* name;
    std::string video, audio;
  };
  const Case cases[] = {
      {"HEVC with B pictures", Hevc(), test::OpusAudio()},
      {"Matroska", Remuxed(Hevc(), "hevc.mkv"), test::OpusAudio()},
      {"MPEG-4 with B pictures", Video(2, "b.mp4", "-bf 2"), test::OpusAudio()},
      {"MPEG-4 in AVI", Video(2, "b.avi", "-bf 2"), test::OpusAudio()},
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
    const std::vector<std::string> written = test::ReadPayloads(output, "v:0");
    const std::vector<std::string> read = test::ReadPayloads(c.video, "v:0");
    EXPECT_EQ(written, read);
    const std::vector<double> times = Times(output);
    for (std::size_t i = 0; i < times.size(); ++i) {
      // AVI puts the pictures behind their decoding.
      ASSERT_NEAR(times[i] - times[0], static_cast<double>(i) * 0.04, 0.001);
    }
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
}

TEST(ReencodeJoin, TakesRawVideoWithoutTimeStamps) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  ASSERT_EQ(Join(Remuxed(Video(), "raw.m4v"), test::OpusAudio(4), output), 0);
  const std::vector<double> times = Times(output);
  ASSERT_EQ(times.size(), 50u);
  for (std::size_t i = 0; i < times.size(); ++i) {
    EXPECT_NEAR(times[i], static_cast<double>(i) * 0.04, 0.001);
  }
}

TEST(ReencodeJoin, EndsWhereTheShorterInputEnds) {
  const test::ScratchFolder folder;
  struct Case {
    std::string video, audio;
    double expected;
  };
  for (const Case& c :
       {Case{Video(4), test::OpusAudio(1.5), 1.5}, Case{Video(1.2), test::OpusAudio(4), 1.2}}) {
    const std::string output = folder / "joined.mp4";
    ASSERT_EQ(Join(c.video, c.audio, output), 0);
    EXPECT_NEAR(std::stod(test::Probe(output, "stream=duration", "v:0")), c.expected, 0.08);
    EXPECT_NEAR(test::Sound(output).Length(), c.expected, 0.05);
  }
}

TEST(ReencodeJoin, InterleavesByTime) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  ASSERT_EQ(Join(Video(4), test::OpusAudio(4), output), 0);
  std::vector<std::int64_t> places[2];
  for (const int stream : {0, 1}) {
    std::istringstream lines(test::Probe(output, "packet=pos", std::to_string(stream)));
    for (std::int64_t place = 0; lines >> place;) places[stream].push_back(place);
  }
  ASSERT_EQ(places[0].size(), 100u);
  // A picture lies 1.875 audio frames behind the one before it.
  for (std::size_t picture = 1; picture + 1 < places[0].size(); ++picture) {
    const auto before = std::ranges::lower_bound(places[1], places[0][picture]) - places[1].begin();
    EXPECT_NEAR(static_cast<double>(before), static_cast<double>(picture) * 1.875, 4);
  }
}

TEST(ReencodeJoin, DecodesTheStreamThatItReads) {
  // The louder bit rate is the second audio stream's, behind a video of its own.
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  const std::string audio = test::MakeMedia(
      "two.mp4",
      "-f lavfi -i testsrc2=s=64x64:d=2 -f lavfi -i sine=f=300:r=44100:d=2 -f lavfi -i "
      "sine=f=700:r=48000:d=2 -map 0 -map 1 -map 2 -c:v mpeg4 -c:a ac3 -b:a:0 64k -b:a:1 192k");
  ASSERT_EQ(Join(Video(), audio, output), 0);
  EXPECT_EQ(test::Probe(output, "stream=codec_name,sample_rate"), "mpeg4\naac\n48000");
  const test::Sound sound(output);
  EXPECT_NEAR(sound.Amplitude(0, 700), 0.125, 0.01);
  EXPECT_LT(sound.Amplitude(0, 300), 0.001);
}

TEST(ReencodeJoin, TakesTheBitRateOfTheAudioFile) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  const std::string audio = test::MakeMedia(
      "noise.mp3",
      "-f lavfi -i anoisesrc=c=pink:a=0.5:r=44100:d=4 -ac 2 -c:a libmp3lame -b:a 192k");
  ASSERT_EQ(Join(Video(4), audio, output), 0);
  EXPECT_NEAR(std::stod(test::Probe(output, "stream=bit_rate", "a:0")), 192000, 10000);
}

TEST(ReencodeJoin, ReportsFromTheVideoAndItsEnd) {
  struct Case {
    const char* name;
    std::string video;
    double audioSeconds;
    std::int32_t percent100;
    std::vector<std::int32_t> expected;
  };
  const Case cases[] = {
      {"whole", Video(), 4, 10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
      {"audio ends first", Video(), 1.3, 10, {1, 2, 3, 4, 5, 6}},
      {"no scale", Video(), 4, 0, {0}},
      {"negative scale", Video(), 4, -3, {-3}},
      {"unknown length", Remuxed(Hevc(), "live.mkv", "-live 1"), 4, 100, {100}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchFolder folder;
    const test::Percent100Is scale(c.percent100);
    test::ProgressLog log;
    ASSERT_EQ(Join(c.video, test::OpusAudio(c.audioSeconds), folder / "a.mp4", log), 0);
    EXPECT_EQ(log.Reports(), c.expected);
  }
}

TEST(ReencodeJoin, ReportsMoreThanTheScaleBehindTheTotal) {
  const test::ScratchFolder folder;
  // 2 s long but from 2 s on.
  const std::string late = TransportStream("late.ts", 2);
  test::ProgressLog log;
  ASSERT_EQ(Join(late, test::OpusAudio(6), folder / "a.mp4", log), 0);
  ASSERT_EQ(log.Reports().size(), 51u);
  EXPECT_EQ(log.Reports()[0], 100);
  EXPECT_EQ(log.Reports()[49], 198);
  EXPECT_EQ(log.Reports()[50], 100);
}

TEST(ReencodeJoin, StopsWithAPlayableFileWhenTheHostSaysSo) {
  const test::ScratchFolder folder;
  const std::string output = folder / "a.mp4";
  const std::vector<std::string> whole = test::ReadPayloads(Video(), "v:0");
  for (const int stopAt : {1, 25, 49}) {
    test::ProgressLog log(stopAt);
    ASSERT_EQ(Join(Video(), test::OpusAudio(4), output, log), 0);
    EXPECT_EQ(log.Reports().size(), static_cast<std::size_t>(stopAt));
    // The first picture is at 0 %, and the one that was reported last isn't written.
    const std::vector<std::string> packets = test::ReadPayloads(output, "v:0");
    ASSERT_EQ(packets.size(), static_cast<std::size_t>(stopAt));
    EXPECT_TRUE(std::equal(packets.begin(), packets.end(), whole.begin()));
    EXPECT_EQ(test::DecodingErrors(output), "");
  }
  test::ProgressLog last(50);
  ASSERT_EQ(Join(Video(), test::OpusAudio(4), output, last), 0);
  EXPECT_EQ(test::ReadPayloads(output, "v:0"), whole);
}

TEST(ReencodeJoin, FinishesTheFileOfABrokenVideoAndTellsItsCode) {
  const test::ScratchFolder folder;
  const std::string output = folder / "a.mp4";
  // The third fragment speaks of a track that doesn't exist.
  std::string video = test::ReadBytes(
      Remuxed(Video(4), "fragments.mp4",
              "-movflags +empty_moov+default_base_moof+global_sidx -frag_duration 1000000"));
  std::size_t header = 0;
  for (int fragment = 0; fragment < 3; ++fragment) header = video.find("tfhd", header + 1);
  ASSERT_NE(header, std::string::npos);
  video[header + 11] = 99;
  test::WriteBytes(folder / "broken.mp4", video);
  const int broken = Join(folder / "broken.mp4", test::OpusAudio(6), output);
  EXPECT_STREQ(MPG_GetErrorText(broken), "Invalid data found when processing input");
  EXPECT_GE(test::ReadPayloads(output, "v:0").size(), 40u);
  EXPECT_EQ(test::DecodingErrors(output), "");

  // Time stamps that step back: the muxer refuses the first packet behind the step.
  test::WriteBytes(folder / "back.ts", test::ReadBytes(TransportStream("first.ts", 2)) +
                                           test::ReadBytes(TransportStream("second.ts", 1)));
  EXPECT_EQ(Join(folder / "back.ts", test::OpusAudio(6), output), -EINVAL);
  EXPECT_EQ(test::ReadPayloads(output, "v:0").size(), 50u);
  EXPECT_EQ(test::DecodingErrors(output), "");
}

TEST(ReencodeJoin, FailsWithTheCodeOfABrokenAudioPacket) {
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "damaged.mp4",
                   test::BreakAc3Frames(test::ReadBytes(test::Ac3Audio()), 40, 1));
  const int result = Join(Video(4), folder / "damaged.mp4", folder / "a.mp4");
  EXPECT_STREQ(MPG_GetErrorText(result), "Invalid data found when processing input");
  EXPECT_TRUE(fs::exists(folder / "a.mp4"));
}

TEST(ReencodeJoin, TellsOfAFullDiskAndKeepsWhatFitted) {
  const test::ScratchFolder folder;
  Video();
  test::OpusAudio();
  if (const std::string device = test::FullDevice(); !device.empty()) {
    EXPECT_EQ(Join(Video(), test::OpusAudio(), device), -ENOSPC);
  }
  if (!test::FileSizeLimit::IsPossible()) GTEST_SKIP() << "file sizes can't be limited here";
  for (const std::int64_t room : {0, 20, 5000, 60000}) {
    const test::FileSizeLimit limit(room);
    EXPECT_EQ(Join(Video(), test::OpusAudio(), folder / "a.mp4"), -EFBIG) << room;
    EXPECT_EQ(fs::file_size(folder / "a.mp4"), static_cast<std::uintmax_t>(room));
  }
}

TEST(ReencodeJoin, AnswersBadInputWithACode) {
  const test::ScratchFolder folder;
  std::string bytes = test::ReadBytes(test::Ac3Audio());
  bytes.replace(bytes.rfind("ac-3"), 4, "mhm1");  // MPEG-H, which FFmpeg can't decode
  test::WriteBytes(folder / "unknown.mp4", bytes);
  constexpr int kUnknown = -1313558101;  // AVERROR_UNKNOWN
  const std::string flac = test::MakeMedia("flac.flac", "-f lavfi -i sine=duration=1 -c:a flac");
  const std::string vp8 =
      test::MakeMedia("vp8.webm", "-f lavfi -i testsrc2=s=64x64:d=1 -c:v libvpx -cpu-used 8");
  const std::string mp3 = test::MakeMedia("a.mp3", "-f lavfi -i sine=duration=1 -c:a libmp3lame");

  struct Case {
    std::string video, audio;
    int expected;
    bool leavesFile;
  };
  for (const Case& c : {Case{Video(), folder / "unknown.mp4", kUnknown, false},
                        Case{Video(), flac, -EINVAL, false},  // no 16-bit samples for AAC
                        Case{vp8, mp3, -EINVAL, true}}) {     // no VP8 in MP4
    const std::string output = folder / "a.mp4";
    EXPECT_EQ(Join(c.video, c.audio, output), c.expected) << c.audio;
    EXPECT_EQ(fs::exists(output), c.leavesFile);
  }
  EXPECT_EQ(Join(Video(), mp3, folder / "no folder/a.mp4"), -ENOENT);
}

}  // namespace
