// What holds of every operation that decodes, edits or rewrites one file: the inputs that it takes,
// the streams that it chooses, and how a host stops it.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/audio.h"
#include "support/host.h"
#include "support/media.h"
#include "support/pictures.h"
#include "support/probe.h"
#include "transcode/host_call.h"

namespace {

namespace fs = std::filesystem;

constexpr int kExit = -0x54495845;         // AVERROR_EXIT
constexpr int kInvalidData = -0x41444E49;  // AVERROR_INVALIDDATA
constexpr int kUnknown = -0x4E4B4E55;      // AVERROR_UNKNOWN

struct Operation {
  const char* name;
  int (*run)(const std::string& in, const std::string& out, test::ProgressLog& log);
};

template <int audioCodec, int videoCodec>
int Transcode(const std::string& in, const std::string& out, test::ProgressLog& log) {
  return test::Transcode(
      in, out,
      {.formatId = MPG_FORMAT_MP4, .targetAudioCodec = audioCodec, .targetVideoCodec = videoCodec},
      &log);
}

const Operation kOperations[] = {
    {"mp3",
     [](auto& in, auto& out, auto& log) {
       return MP3_Convert(in.c_str(), out.c_str(), 0, test::ProgressLog::Callback, log.Context());
     }},
    {"copy", Transcode<0, 0>},
    {"re-encode", Transcode<2, 6>},
    {"trim", [](auto& in, auto& out,
                auto&) { return MPG_SaveTrimmedVideo(in.c_str(), out.c_str(), 0, 9); }},
    {"crop", [](auto& in, auto& out, auto&) { return MPG_Crop(in.c_str(), out.c_str()); }},
    {"shift",
     [](auto& in, auto& out, auto& log) {
       return MPG_ShiftAudio(in.c_str(), out.c_str(), 0, test::ProgressLog::Callback,
                             log.Context());
     }},
};

std::string Film() {
  return test::NumberedVideo("film.mp4",
                             "-f lavfi -i sine=frequency=440:sample_rate=48000 -t 4 -c:v libx264 "
                             "-qp 4 -g 30 -bf 2 -c:a aac");
}

// A copy in which a codec's tag is exchanged, everywhere.
std::string Retagged(const std::string& path, const std::string& input, const std::string& from,
                     const std::string& to) {
  std::string content = test::ReadBytes(input);
  for (std::size_t at = 0; (at = content.find(from, at)) != std::string::npos; at += to.size()) {
    content.replace(at, to.size(), to);
  }
  test::WriteBytes(path, content);
  return path;
}

TEST(EveryOperation, AnswersWhatItCannotWorkWithByACodeAndNoFile) {
  const test::ScratchFolder folder;
  const std::string aac = test::ReadBytes(test::AacAudio());
  test::WriteBytes(folder / "empty.mp4", "");
  test::WriteBytes(folder / "text.mp4", std::string(5000, 'a') + "\n");
  test::WriteBytes(folder / "cut.m4a", aac.substr(0, aac.size() / 2));
  fs::copy_file(Film(), folder / "film.unheard");
  struct Case {
    std::string input;
    std::array<int, 6> codes;
    const char* streams = "audio\nvideo";  // of the copy
  };
  const auto all = [](int code) { return std::array{code, code, code, code, code, code}; };
  const auto edits = [](int code) { return std::array{0, 0, 0, code, code, code}; };
  const std::string pcm = test::MakeMedia("pcm.mov", "-f lavfi -i sine=d=2 -c:a pcm_s16be");
  const std::string avi = test::MakeMedia(
      "mpeg4.avi", "-f lavfi -i testsrc=s=64x48:d=1 -f lavfi -i sine=d=1 -c:v mpeg4");
  const Case cases[] = {
      {Film(), all(0)},
      {test::H264Video(), all(MPG_ERR_AUDIO_STREAM_NOT_FOUND)},
      {test::AacAudio(), edits(MPG_ERR_VIDEO_STREAM_NOT_FOUND), "audio"},
      {folder / "missing.mp4", all(-ENOENT)},
      {folder / "empty.mp4", all(kInvalidData)},
      {folder / "text.mp4", all(kInvalidData)},
      {folder / "cut.m4a", all(kInvalidData)},
      // No muxer of that name.
      {folder / "film.unheard", edits(kExit)},
      // MPEG-H, which FFmpeg can't decode; then what it decodes, but doesn't encode (of which the
      // frames are none in truth).
      {Retagged(folder / "mpeg-h.mp4", test::Ac3Audio(), "ac-3", "mhm1"), all(kUnknown)},
      {Retagged(folder / "mace.mov", pcm, "twos", "MAC3"),
       {0, kUnknown, 0, kUnknown, kUnknown, kUnknown}},
      {Retagged(folder / "vp6.avi", avi, "FMP4", "VP62"),
       {0, 0, kInvalidData, kUnknown, kUnknown, kUnknown},
       "audio"},
  };
  const std::string output = folder / "out.mp4";
  for (const Case& c : cases) {
    const bool exists = fs::exists(c.input);
    const std::string before = exists ? test::ReadBytes(c.input) : "";
    for (std::size_t i = 0; i < c.codes.size(); ++i) {
      SCOPED_TRACE(c.input + ": " + kOperations[i].name);
      test::ProgressLog log;
      EXPECT_EQ(kOperations[i].run(c.input, output, log), c.codes[i]);
      EXPECT_EQ(fs::exists(output), c.codes[i] == 0);
      if (i == 1 && fs::exists(output)) {
        EXPECT_EQ(test::Probe(output, "stream=codec_type"), c.streams);
      }
      fs::remove(output);
    }
    EXPECT_EQ(exists ? test::ReadBytes(c.input) : "", before) << c.input;
  }
}

// The audio of the highest bit rate; where no stream tells one, the last.
TEST(EveryOperation, TakesOneAudioOfSeveral) {
  const std::string streams =
      "-f lavfi -i sine=f=300:d=2 -f lavfi -i sine=f=700:d=2 -f lavfi -i testsrc2=s=64x64:d=2 "
      "-map 0 -map 2 -map 1 -c:v mpeg4 -c:a aac ";
  struct Case {
    const char *name, *bitRates;
    int frequency;
  };
  const test::ScratchFolder folder;
  for (const Case& c : {Case{"two.mp4", "-b:a:0 96k -b:a:1 48k", 300},
                        Case{"two.mp4", "-b:a:0 48k -b:a:1 96k", 700},
                        Case{"two.mkv", "-b:a:0 96k -b:a:1 48k", 700}}) {
    const std::string input = test::MakeMedia(c.name, streams + c.bitRates);
    for (const Operation& operation : kOperations) {
      SCOPED_TRACE(std::string(operation.name) + c.bitRates);
      test::ProgressLog log;
      ASSERT_EQ(operation.run(input, folder / "out", log), 0);
      const test::Audio audio(folder / "out");
      EXPECT_NEAR(audio.Amplitude(0, c.frequency), 0.125, 0.01);
      EXPECT_LT(audio.Amplitude(0, 1000 - c.frequency), 0.001);
    }
  }
}

TEST(EveryOperation, StopsWithAPlayableFileWhenTheHostSaysSo) {
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  for (const Operation& operation : kOperations) {
    const std::string name = operation.name;
    if (name == "trim" || name == "crop") continue;
    const bool reportsEnd = name == "mp3" || name == "shift";
    const std::string stream = name == "mp3" ? "a:0" : "v:0";
    std::size_t before = 0;
    for (const std::size_t stopAt : {10u, 30u, 60u}) {
      SCOPED_TRACE(name + " at report " + std::to_string(stopAt));
      test::ProgressLog log(static_cast<int>(stopAt));
      ASSERT_EQ(operation.run(Film(), output, log), 0);
      ASSERT_EQ(log.Reports().size(), stopAt + (reportsEnd ? 1 : 0));
      EXPECT_EQ(log.Reports().back() == 100, reportsEnd);
      EXPECT_EQ(test::DecodingErrors(output), "");
      const std::size_t packets = test::ReadPackets(output, stream).size();
      EXPECT_GT(packets, before + 4);
      before = packets;
    }
  }
}

TEST(EveryOperation, TellsOnlyTheEndWhereNoLengthIsKnown) {
  const std::string live =
      test::MakeMedia("live.mkv", "-i " + Film() + " -c copy -f matroska -live 1");
  const test::ScratchFolder folder;
  for (const Operation& operation : kOperations) {
    const std::string name = operation.name;
    if (name == "trim" || name == "crop") continue;
    test::ProgressLog log;
    ASSERT_EQ(operation.run(live, folder / "out.mp4", log), 0);
    EXPECT_EQ(log.Reports(), std::vector<std::int32_t>{100}) << name;
  }
}

}  // namespace
