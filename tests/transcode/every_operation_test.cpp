// What holds of every operation that decodes, edits or rewrites one file: the inputs that it takes,
// the streams that it chooses, and how a host stops it.
#include <algorithm>
#include <array>
#include <cerrno>

#include "support/kit.h"
#include "transcode/operations.h"

namespace {

using EveryOperation = test::InFolder;

namespace fs = std::filesystem;

TEST_F(EveryOperation, AnswersWhatItCannotWorkWithByACodeAndNoFile) {
  const std::string aac = test::ReadBytes(test::AacAudio());
  test::WriteBytes(folder / "cut.m4a", aac.substr(0, aac.size() / 2));
  fs::copy_file(test::Film("mp4"), folder / "film.unheard");
  struct Case {
    std::string input;
    std::array<int, 6> codes;
    const char* streams = "audio\nvideo";  // of the copy
  };
  const auto all = [](int code) { return std::array{code, code, code, code, code, code}; };
  const auto edits = [](int code) { return std::array{0, 0, 0, code, code, code}; };
  const std::string pcm = test::MakeMedia("pcm.mov", "-f lavfi -i sine=d=2 -c:a pcm_s16be");
  const Case cases[] = {
      {test::Film("mp4"), all(0)},
      {test::H264Video(), all(MPG_ERR_AUDIO_STREAM_NOT_FOUND)},
      {test::AacAudio(), edits(MPG_ERR_VIDEO_STREAM_NOT_FOUND), "audio"},
      {folder / "missing.mp4", all(-ENOENT)},
      {folder / "cut.m4a", all(test::kInvalidData)},
      // No muxer of that name.
      {folder / "film.unheard", edits(test::kExit)},
      {test::Undecodable(folder / "mpeg-h.mp4"), all(test::kUnknown)},
      // What FFmpeg decodes, but doesn't encode.
      {test::Retagged(folder / "mace.mov", pcm, "twos", "MAC3"),
       {0, test::kUnknown, 0, test::kUnknown, test::kUnknown, test::kUnknown}},
      {test::OnlyDecodable(folder / "yuv.avi"), edits(test::kUnknown), "audio"},
  };
  for (const Case& c : cases) {
    const bool exists = fs::exists(c.input);
    const std::string before = exists ? test::ReadBytes(c.input) : "";
    for (std::size_t i = 0; i < c.codes.size(); ++i) {
      SCOPED_TRACE(c.input + ": " + test::kRewritings[i].name);
      test::ProgressLog log;
      EXPECT_EQ(test::kRewritings[i].run(c.input, output, log), c.codes[i]);
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
TEST_F(EveryOperation, TakesOneAudioOfSeveral) {
  const std::string streams =
      "-f lavfi -i sine=f=300:d=2 -f lavfi -i sine=f=700:d=2 -f lavfi -i testsrc2=s=64x64:d=2 "
      "-map 0 -map 2 -map 1 -c:v mpeg4 -c:a aac ";
  struct Case {
    const char *name, *bitRates;
    int frequency;
  };
  for (const Case& c : {Case{"two.mp4", "-b:a:0 96k -b:a:1 48k", 300},
                        Case{"two.mp4", "-b:a:0 48k -b:a:1 96k", 700},
                        Case{"two.mkv", "-b:a:0 96k -b:a:1 48k", 700}}) {
    const std::string input = test::MakeMedia(c.name, streams + c.bitRates);
    for (const test::Rewriting& operation : test::kRewritings) {
      SCOPED_TRACE(std::string(operation.name) + c.bitRates);
      test::ProgressLog log;
      ASSERT_EQ(operation.run(input, output, log), 0);
      const test::Audio audio(output);
      EXPECT_NEAR(audio.Amplitude(0, c.frequency), 0.125, 0.01);
      EXPECT_LT(audio.Amplitude(0, 1000 - c.frequency), 0.001);
    }
  }
}

TEST_F(EveryOperation, StopsWithAPlayableFileWhenTheHostSaysSo) {
  const std::string film = test::Film("mp4", "-bf 0"), mpeg4 = test::Film("avi", "-bf 0");
  struct Case {
    test::Rewriting operation;
    std::string film;
    bool reportsEnd = false;
  };
  const Case cases[] = {{test::kRewritings[test::kMp3], film, true},
                        {test::kRewritings[test::kCopy], film},
                        {test::kRewritings[test::kReencode], film},
                        {test::kRewritings[test::kShift], film, true},
                        {test::kJoinWithItself, film},
                        {test::kJoinWithItself, mpeg4}};
  for (const Case& c : cases) {
    const std::string name = c.operation.name;
    const std::string stream = name == "mp3" ? "a:0" : "v:0";
    std::size_t before = 0;
    for (const std::size_t stopAt : {10u, 20u, 35u}) {
      SCOPED_TRACE(name + " at report " + std::to_string(stopAt) + " of " + c.film);
      test::ProgressLog log(static_cast<int>(stopAt));
      ASSERT_EQ(c.operation.run(c.film, output, log), 0);
      ASSERT_EQ(log.Reports().size(), stopAt + (c.reportsEnd ? 1 : 0));
      EXPECT_EQ(log.Reports().back() == 100, c.reportsEnd);
      EXPECT_EQ(test::DecodingErrors(output), "");
      std::vector<std::string> payloads = test::ReadPayloads(c.film, "v:0");
      payloads.resize(stopAt);
      // The frame that was reported last isn't written.
      EXPECT_TRUE(name != "join" || test::ReadPayloads(output, stream) == payloads);
      const std::size_t packets = test::ReadPackets(output, stream).size();
      EXPECT_GT(packets, before + 4);
      before = packets;
    }
  }
}

TEST_F(EveryOperation, TellsOnlyTheEndWhereNoLengthIsKnown) {
  const std::string live =
      test::MakeMedia("live.mkv", "-i " + test::Film("mp4") + " -c copy -f matroska -live 1");
  for (const test::Rewriting& operation : test::kRewritings) {
    if (!operation.hasProgress) continue;
    test::ProgressLog log;
    ASSERT_EQ(operation.run(live, output, log), 0);
    EXPECT_EQ(log.Reports(), std::vector<std::int32_t>{100}) << operation.name;
  }
}

TEST_F(EveryOperation, CountsProgressFromTheStartWhereverTheLengthStands) {
  const std::string late =
      test::MakeMedia("late.ts", "-i " + test::Film("mkv") + " -c copy -output_ts_offset 1000");
  for (const std::string& film : {test::Film("flv"), test::Film("mkv"), late}) {
    for (const test::Rewriting& operation : test::kRewritings) {
      if (!operation.hasProgress) continue;
      SCOPED_TRACE(film + operation.name);
      test::ProgressLog log;
      ASSERT_EQ(operation.run(film, output, log), 0);
      EXPECT_GT(log.Reports().size(), 35u);
      EXPECT_LE(std::ranges::max(log.Reports()), 102);
    }
  }
}

// Audio that goes on for a minute behind the last frame.
TEST_F(EveryOperation, AsksTheHostDuringTheRestOfTheAudio) {
  const std::string film = test::MakeMedia(
      "rest.mp4", "-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i sine=d=60 -c:v mpeg4 -c:a aac");
  const auto duration = [&] { return std::stod(test::Probe(output, "stream=duration", "a:0")); };
  for (const test::Rewriting& operation : test::kRewritings) {
    SCOPED_TRACE(operation.name);
    test::ProgressLog log(30), toTheEnd;
    ASSERT_EQ(operation.run(film, output, log), 0);
    EXPECT_TRUE(!operation.hasProgress || duration() < 50);
    ASSERT_EQ(operation.run(film, output, toTheEnd), 0);
    EXPECT_NEAR(duration(), 60, 0.1);
  }
}

}  // namespace
