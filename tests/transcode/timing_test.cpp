// Time stamps of real files through the operations: what was seen and heard together stays so.
#include <algorithm>

#include "support/kit.h"
#include "transcode/operations.h"

namespace {

using Timing = test::InFolder;

// The film with audio that comes later by some seconds, or earlier.
std::string UnevenFilm(const std::string& extension, const std::string& seconds) {
  const std::string film = test::Film("mkv");
  return test::MakeMedia("uneven." + extension, "-i " + film + " -itsoffset " + seconds + " -i " +
                                                    film + " -map 0:v -map 1:a -c copy");
}

// Every frame in its turn, and each click as much behind its frame as expected.
void ExpectTogether(const std::string& path, int times, double delay) {
  const std::vector<int> numbers = test::PictureOrder(path);
  std::vector<int> expected;
  for (int i = 0; i < 100 * times; ++i) expected.push_back(i % 100);
  EXPECT_EQ(numbers, expected);
  const std::vector<double> shown = test::FrameTimes(path);
  ASSERT_EQ(numbers.size(), shown.size());
  std::vector<double> flashes;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] % 25 == 10) flashes.push_back(shown[i]);
  }
  const std::vector<double> clicks = test::Audio(path).Clicks(0);
  ASSERT_EQ(flashes.size(), clicks.size());
  for (std::size_t i = 0; i < clicks.size(); ++i) EXPECT_NEAR(clicks[i], flashes[i] + delay, 0.04);
}

TEST_F(Timing, TranscodingKeepsFramesAndAudioTogether) {
  struct Film {
    std::string path;
    double delay;
  };
  const Film films[] = {{test::Film("mkv"), 0},
                        {test::Film("ts"), 0},
                        {test::Film("mp4", "-movflags frag_keyframe+empty_moov"), 0},
                        {UnevenFilm("mp4", "0.5"), 0.5},
                        {UnevenFilm("ts", "-0.3"), -0.3}};
  for (const Film& film : films) {
    for (const TranscodeParams& params :
         {TranscodeParams{.formatId = MPG_FORMAT_MP4},
          TranscodeParams{.formatId = MPG_FORMAT_TS, .targetAudioCodec = 2},
          TranscodeParams{
              .formatId = MPG_FORMAT_MP4, .targetHeight = 96, .targetVideoBitRate = 1000000},
          TranscodeParams{.formatId = MPG_FORMAT_AVI, .targetAudioCodec = 1, .targetVideoCodec = 1},
          TranscodeParams{
              .formatId = MPG_FORMAT_TS, .targetAudioCodec = 1, .targetVideoBitRate = 1000000}}) {
      SCOPED_TRACE(film.path + " to " +
                   MPG_GetDefExt(static_cast<OutputFormatId>(params.formatId)));
      // AVI can't begin with a pause.
      if (params.formatId == MPG_FORMAT_AVI && film.delay > 0) continue;
      ASSERT_EQ(test::Transcode(film.path, output, params), 0);
      ExpectTogether(output, 1, film.delay);
    }
  }
}

TEST_F(Timing, AClockThatIsSetBackGoesOn) {
  const std::string film = folder / "twice.ts";
  const std::string once = test::ReadBytes(test::Film("ts"));
  test::WriteBytes(film, once + once);
  for (const test::Rewriting& operation : test::kRewritings) {
    if (std::string(operation.name) == "mp3") continue;
    SCOPED_TRACE(operation.name);
    test::ProgressLog log;
    ASSERT_EQ(operation.run(film, output, log), 0);
    ExpectTogether(output, 2, 0);
  }
  const TranscodeParams audioAlone{.formatId = MPG_FORMAT_TS, .targetAudioCodec = 1};
  ASSERT_EQ(test::Transcode(film, output, audioAlone), 0);
  ExpectTogether(output, 2, 0);
}

// Pairs of frames that fall on one tick of AVI, and pauses behind them.
std::string Pairs(const std::string& codecs) {
  return test::Film("mp4",
                    "-vf \"format=yuv420p,settb=1/1000,setpts=(floor(N/2)*2+mod(N\\,2)*0.2)"
                    "/25/TB\" -fps_mode passthrough -enc_time_base 1:1000 " +
                        codecs);
}

TEST_F(Timing, FramesOnATickThatIsTakenGetTheNext) {
  const std::string film = Pairs("-c:v mpeg4 -q:v 2 -bf 0");
  ASSERT_EQ(test::Transcode(film, output, {.formatId = MPG_FORMAT_AVI}), 0);
  EXPECT_EQ(test::ReadPayloads(output, "v:0"), test::ReadPayloads(film, "v:0"));
}

// As screen recordings have them: frames come only where something moves.
TEST_F(Timing, FramesThatAreMissingDoNotMoveTheOthersInAvi) {
  for (const char* extension : {"mp4", "ts"}) {
    const std::string film =
        test::Film(extension, "-bf 0 -muxdelay 0 -vf \"select=lt(mod(n\\,25)\\,5)\" -fps_mode vfr");
    const std::vector<test::Packet> packets = test::ReadPackets(film, "v:0");
    for (const int codec : {0, 1}) {
      SCOPED_TRACE(std::string(extension) + std::to_string(codec));
      ASSERT_EQ(
          test::Transcode(film, output, {.formatId = MPG_FORMAT_AVI, .targetVideoCodec = codec}),
          0);
      EXPECT_EQ(test::PictureOrder(output), test::PictureOrder(film));
      const std::vector<test::Packet> written = test::ReadPackets(output, "v:0");
      ASSERT_EQ(written.size(), packets.size());
      for (std::size_t i = 0; i < written.size(); ++i) {
        EXPECT_NEAR(*written[i].dts - *written[0].dts, *packets[i].pts - *packets[0].pts, 0.001);
      }
    }
  }
}

// Where frames of uneven length tell none.
TEST_F(Timing, TheLastFrameIsShown) {
  const std::string film = Pairs("");
  for (const test::Rewriting& operation :
       {test::kRewritings[test::kCopy], test::kRewritings[test::kCrop], test::kJoinWithItself}) {
    test::ProgressLog log;
    ASSERT_EQ(operation.run(film, output, log), 0);
    EXPECT_EQ(test::PictureOrder(output), test::Numbers(0, 99)) << operation.name;
  }
}

TEST_F(Timing, NothingIsNoSuccess) {
  const std::string fragments =
      test::ReadBytes(test::Film("mp4", "-movflags frag_keyframe+empty_moov"));
  test::WriteBytes(folder / "empty.mp4", fragments.substr(0, fragments.find("moof") - 4));
  const std::string empty = folder / "empty.mp4";
  for (const test::Rewriting& operation :
       {test::kRewritings[test::kMp3], test::kJoinWithItself, test::kRewritings[test::kCopy],
        test::kRewritings[test::kCrop], test::kRewritings[test::kShift]}) {
    test::ProgressLog log;
    EXPECT_EQ(operation.run(empty, output, log), test::kInvalidData) << operation.name;
  }
  EXPECT_FALSE(std::filesystem::exists(output));
}

}  // namespace
