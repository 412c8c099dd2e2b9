#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"
#include "support/probe.h"
#include "support/process.h"
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

// 50 pictures in the order they are shown.
std::string EvenVideo() {
  return test::H264Video(2, "mp4", "-bf 0");
}

// The first file's whole content in another container.
std::string Remuxed(const std::string& input, const std::string& name) {
  return test::MakeMedia(name, "-i " + input + " -c copy");
}

std::string Mpeg4WithBPictures(const std::string& name) {
  return test::MakeMedia(name,
                         "-f lavfi -i testsrc2=size=320x240:rate=25:duration=3 -c:v mpeg4 -bf 2");
}

TEST(CopyJoin, CopiesEveryPacketBitForBit) {
  struct Case {
    const char* name;
    std::string video, audio;
    const char* container;
  };
  const Case cases[] = {
      {"H.264, AAC", test::H264Video(), test::AacAudio(), "mov,mp4,m4a,3gp,3g2,mj2"},
      {"no decoding times at first", test::H264Video(2, "mkv"), test::AacAudio(),
       "mov,mp4,m4a,3gp,3g2,mj2"},
      {"FLV", test::H264Video(2, "flv"), test::AacAudio(2, "mka"), "mov,mp4,m4a,3gp,3g2,mj2"},
      {"no presentation times but B pictures'", Mpeg4WithBPictures("mpeg4.avi"), test::AacAudio(),
       "mov,mp4,m4a,3gp,3g2,mj2"},
      {"VP9, Opus", test::Vp9Video(), test::OpusAudio(), "matroska,webm"},
      {"VP9, AAC", test::Vp9Video(), test::AacAudio(), "avi"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const test::ScratchFolder folder;
    const std::string output = folder / "joined.out";
    ASSERT_EQ(Join(c.video, c.audio, output), 0);
    EXPECT_EQ(test::Probe(output, "format=format_name"), c.container);
    EXPECT_EQ(test::Probe(output, "stream=codec_type"), "video\naudio");
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

TEST(CopyJoin, MakesTimeStampsForARawStream) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  const std::string raw = Remuxed(EvenVideo(), "raw.h264");
  ASSERT_EQ(Join(raw, test::AacAudio(), output), 0);
  const std::vector<test::Packet> packets = test::ReadPackets(output, "v:0");
  ASSERT_EQ(packets.size(), 50u);
  for (std::size_t i = 0; i < packets.size(); ++i) {
    EXPECT_NEAR(*packets[i].pts, static_cast<double>(i) * 0.04, 1e-4);
    EXPECT_EQ(packets[i].dts, packets[i].pts);
  }
  EXPECT_EQ(test::DecodingErrors(output), "");
}

TEST(CopyJoin, LastsAsLongAsTheLongerInput) {
  const test::ScratchFolder folder;
  struct Case {
    std::string video, audio;
  };
  for (const Case& c :
       {Case{test::H264Video(4), test::AacAudio(1)}, Case{test::H264Video(1), test::AacAudio(4)},
        Case{test::Vp9Video(1), test::OpusAudio(4)}}) {
    const std::string output = folder / "joined.out";
    ASSERT_EQ(Join(c.video, c.audio, output), 0);
    EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(c.video, "v:0"));
    EXPECT_EQ(test::ReadPayloads(output, "a:0"), test::ReadPayloads(c.audio, "a:0"));
    EXPECT_NEAR(std::stod(test::Probe(output, "format=duration")), 4, 0.05);
  }
}

TEST(CopyJoin, TakesOneStreamOfEachFileAlone) {
  // Subtitles first, so that neither chosen stream is stream 0; another video and audio behind.
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "s.srt", "1\n00:00:00,000 --> 00:00:01,000\nhello\n");
  const std::string crowd = folder / "crowd.mkv";
  const std::string made = "ffmpeg -v error -i " + (folder / "s.srt") + " -i " + test::H264Video() +
                           " -i " + test::Vp9Video() + " -i " + test::AacAudio() + " -i " +
                           test::OpusAudio() + " -map 0 -map 1 -map 2 -map 3 -map 4 -c copy " +
                           crowd;
  ASSERT_EQ(test::RunProgram(made).status, 0);
  const std::string output = folder / "joined.mp4";
  ASSERT_EQ(Join(crowd, crowd, output), 0);
  EXPECT_EQ(test::Probe(output, "stream=codec_name"), "h264\naac");
  EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(test::H264Video(), "v:0"));
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

TEST(CopyJoin, ReportsFromTheVideoUpTo100) {
  const test::ScratchFolder folder;
  test::ProgressLog log;
  ASSERT_EQ(Join(EvenVideo(), test::AacAudio(8), folder / "a.mp4", log), 0);
  std::vector<std::int32_t> expected;
  for (std::int32_t percent = 2; percent <= 100; percent += 2) expected.push_back(percent);
  EXPECT_EQ(log.Reports(), expected);
}

TEST(CopyJoin, ReportsTheEndForEveryPacketBehindTheTotal) {
  const test::ScratchFolder folder;
  // 2 s long but from 20 s on: every time stamp lies beyond the duration.
  const std::string late =
      test::MakeMedia("late.ts", "-i " + EvenVideo() + " -c copy -output_ts_offset 20");
  test::ProgressLog log;
  ASSERT_EQ(Join(late, test::AacAudio(), folder / "a.mp4", log), 0);
  EXPECT_EQ(log.Reports(), std::vector<std::int32_t>(50 + 1, 100));
}

TEST(CopyJoin, FollowsTheScaleWhateverItIsAndWheneverItChanges) {
  struct Case {
    std::int32_t atFirst, afterOneReport;
    std::int32_t last;
  };
  const test::ScratchFolder folder;
  for (const Case& c : {Case{1000, 1000, 1000}, Case{0, 0, 0}, Case{-5, -5, -5},
                        Case{2147483647, -2147483647 - 1, -2147483647 - 1}, Case{100, 7, 7}}) {
    const test::Percent100Is scale(c.atFirst);
    test::ProgressLog log;
    log.onReport = [&](std::int32_t) {
      MPG_SetPercent100(static_cast<std::uint32_t>(c.afterOneReport));
    };
    EXPECT_EQ(Join(test::H264Video(), test::AacAudio(), folder / "a.mp4", log), 0);
    EXPECT_EQ(log.Reports().back(), c.last);
  }
}

TEST(CopyJoin, StopsWithAPlayableFileWhenTheHostSaysSo) {
  const test::ScratchFolder folder;
  const std::string output = folder / "joined.mp4";
  const std::vector<std::string> whole = test::ReadPayloads(EvenVideo(), "v:0");
  std::size_t packetsBefore = 0;
  for (const int stopAt : {1, 20, 50}) {
    test::ProgressLog log(stopAt);
    ASSERT_EQ(Join(EvenVideo(), test::AacAudio(), output, log), 0);
    EXPECT_EQ(log.Reports().size(), static_cast<std::size_t>(stopAt));
    const std::vector<std::string> packets = test::ReadPayloads(output, "v:0");
    EXPECT_GT(packets.size(), packetsBefore);
    EXPECT_TRUE(std::equal(packets.begin(), packets.end(), whole.begin()));
    EXPECT_EQ(test::DecodingErrors(output), "");
    packetsBefore = packets.size();
  }
  EXPECT_EQ(packetsBefore, whole.size());
}

// A transport stream whose second half starts `pictures` pictures before the first half ends.
std::string SteppingBack(const test::ScratchFolder& folder, int pictures) {
  const std::string half = EvenVideo();
  const auto shifted = [&](const std::string& name, double offset) {
    return test::ReadBytes(test::MakeMedia(
        name, "-i " + half + " -c copy -muxdelay 0 -output_ts_offset " + std::to_string(offset)));
  };
  const std::string path = folder / ("back" + std::to_string(pictures) + ".ts");
  test::WriteBytes(path, shifted("0.ts", 10) + shifted("1.ts", 12 - pictures * 0.04));
  return path;
}

TEST(CopyJoin, Tolerates25PacketsThatTheMuxerRefuses) {
  const test::ScratchFolder folder;
  // The first picture behind the step repeats no time stamp but lies before the last one.
  EXPECT_EQ(Join(SteppingBack(folder, 20), test::AacAudio(), folder / "a.mp4"), 0);
  EXPECT_EQ(test::ReadPayloads(folder / "a.mp4", "v:0").size(), 100u - 20u);
  EXPECT_EQ(Join(SteppingBack(folder, 40), test::AacAudio(), folder / "b.mp4"), -EINVAL);
  EXPECT_TRUE(fs::exists(folder / "b.mp4"));
}

TEST(CopyJoin, FailsWithTheCodeOfABrokenAudioFileAfterCopyingTheVideo) {
  // The third fragment speaks of a track that doesn't exist.
  std::string audio = test::ReadBytes(test::MakeMedia(
      "fragments.m4a",
      "-i " + test::AacAudio(4) +
          " -c copy -movflags +empty_moov+default_base_moof+global_sidx -frag_duration 1000000"));
  std::size_t header = 0;
  for (int fragment = 0; fragment < 3; ++fragment) header = audio.find("tfhd", header + 1);
  ASSERT_NE(header, std::string::npos);
  audio[header + 11] = 99;
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "broken.m4a", audio);
  const int result = Join(test::H264Video(), folder / "broken.m4a", folder / "a.mp4");
  EXPECT_STREQ(MPG_GetErrorText(result), "Invalid data found when processing input");
  EXPECT_GT(fs::file_size(folder / "a.mp4"), fs::file_size(test::H264Video()) * 9 / 10);
}

TEST(CopyJoin, TellsOfAFullDiskAndKeepsWhatFitted) {
  const test::ScratchFolder folder;
  test::H264Video();
  test::AacAudio();
  if (const std::string device = test::FullDevice(); !device.empty()) {
    EXPECT_EQ(Join(test::H264Video(), test::AacAudio(), device), -ENOSPC);
  }
  if (!test::FileSizeLimit::IsPossible()) GTEST_SKIP() << "file sizes can't be limited here";
  for (const std::int64_t room : {0, 20, 5000, 60000}) {
    const test::FileSizeLimit limit(room);
    EXPECT_EQ(Join(test::H264Video(), test::AacAudio(), folder / "a.mp4"), -EFBIG) << room;
    EXPECT_EQ(fs::file_size(folder / "a.mp4"), static_cast<std::uintmax_t>(room));
  }
}

TEST(CopyJoin, RefusesToWriteOverAnInput) {
  const test::ScratchFolder folder;
  const std::string video = folder / "v.mp4";
  const std::string audio = folder / "a.m4a";
  fs::copy_file(test::H264Video(), video);
  fs::copy_file(test::AacAudio(), audio);
  test::MakeLink(video, folder / "symbolic.mp4");
  fs::create_hard_link(audio, folder / "hard.mp4");
  for (const std::string& output :
       {video, audio, folder / "symbolic.mp4", folder / "hard.mp4", folder / "./v.mp4"}) {
    EXPECT_EQ(Join(video, audio, output), MPG_ERR_INVALID_PARAMETER) << output;
  }
  EXPECT_EQ(test::ReadBytes(video), test::ReadBytes(test::H264Video()));
  EXPECT_EQ(test::ReadBytes(audio), test::ReadBytes(test::AacAudio()));
}

TEST(CopyJoin, AnswersBadInputWithACodeAndTouchesNothing) {
  const test::ScratchFolder folder;
  const std::string video = test::H264Video();
  const std::string audio = test::AacAudio();
  const std::string whole = test::ReadBytes(video);
  test::WriteBytes(folder / "empty.mp4", "");
  test::WriteBytes(folder / "text.mp4", std::string(5000, 'a') + "\n");
  test::WriteBytes(folder / "cut.mp4", whole.substr(0, whole.size() / 2));
  const std::string missing = folder / "missing.mp4";
  const std::string output = folder / "out.mp4";

  struct Case {
    std::string video, audio, output;
    int expected;
  };
  const std::vector<Case> cases = {
      {missing, audio, output, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {missing, missing, output, MPG_ERR_AUDIO_CODEC_NOT_FOUND},
      {video, folder / "empty.mp4", output, MPG_ERR_AUDIO_CODEC_NOT_FOUND},
      {folder / "text.mp4", audio, output, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {folder / "cut.mp4", audio, output, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {folder / "", audio, output, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {audio, audio, output, MPG_ERR_VIDEO_CODEC_NOT_FOUND},
      {video, video, output, MPG_ERR_AUDIO_CODEC_NOT_FOUND},
      {video, audio, folder / "no folder/out.mp4", -ENOENT},
      {video, audio, folder / "", test::DirectoryError()},
      {video, audio, "", test::NoNameError()},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Join(c.video, c.audio, c.output), c.expected) << c.video << " " << c.output;
    EXPECT_FALSE(fs::exists(output));
  }
  EXPECT_EQ(test::ReadBytes(video), whole);
}

}  // namespace
