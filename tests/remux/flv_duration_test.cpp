#include <algorithm>
#include <cstring>

#include "remux/segments.h"
#include "support/kit.h"
#include "support/system.h"

namespace {

namespace fs = std::filesystem;

// 7.3 seconds with both kinds of stream.
std::string FlvFilm() {
  return test::MakeMedia("film.flv",
                         "-f lavfi -i testsrc2=size=160x120:rate=25 -f lavfi -i "
                         "sine=frequency=440:sample_rate=44100 -t 7.3 -c:v libx264 -preset "
                         "veryfast -bf 2 -c:a aac");
}

std::string Remux(const std::string& name, const std::string& options) {
  return test::MakeMedia(name, "-i " + FlvFilm() + " -c copy " + options);
}

// As a recorder leaves it that couldn't come back to the header: a duration of 0.
std::string Live(const std::string& path, const std::string& options = "") {
  test::Ffmpeg("-i " + FlvFilm() + " -c copy " + options + " " + path);
  std::string content = test::ReadBytes(path);
  for (const std::string name : {"duration", "filesize"}) {
    // A number of 8 bytes follows, behind its type.
    const std::size_t place = content.find(name);
    if (place != std::string::npos) content.replace(place + name.size() + 1, 8, 8, '\0');
  }
  test::WriteBytes(path, content);
  return path;
}

int Fix(const std::string& path) {
  return FLV_FixDuration(path.c_str());
}

// The number that the script tag gives, as a player that reads nothing else sees it.
double DurationInHeader(const std::string& path) {
  const std::string content = test::ReadBytes(path);
  const std::size_t entry = content.find(std::string("duration") + '\0');
  if (entry == std::string::npos) return -1;
  std::string bytes = content.substr(entry + 9, 8);
  std::ranges::reverse(bytes);
  double number = 0;
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

TEST(FlvDuration, IsSetAndEverythingElseKept) {
  const test::ScratchFolder folder;
  // Too much for a command line on Windows.
  std::string tags = ";FFMETADATA1\n";
  for (const char* name : {"a=", "b=", "c="}) tags += name + std::string(30000, 'x') + '\n';
  test::WriteBytes(folder / "tags", tags);
  const std::string longScript = "-i " + (folder / "tags") + " -map_metadata 1";
  struct Source {
    const char* name;
    std::string path;
    const char* streams = "audio\nvideo";
    std::ptrdiff_t headerLimit = 2000;  // bytes that its header surely doesn't exceed
  };
  const Source sources[] = {
      {"live", Live(folder / "live.flv")},
      {"key frame index", Remux("index.flv", "-flvflags add_keyframe_index")},
      {"no duration in the script",
       Remux("no_duration.flv",
             "-flvflags no_duration_filesize -metadata title=" + std::string(60, 'a'))},
      {"audio alone", Live(folder / "audio.flv", "-vn"), "audio"},
      {"long script", Live(folder / "long.flv", longScript), "audio\nvideo", 91000},
  };
  for (const Source& source : sources) {
    SCOPED_TRACE(source.name);
    const std::string path = folder / "a.flv";
    const std::string before = test::ReadBytes(source.path);
    test::WriteBytes(path, before);
    const auto audio = test::ReadPackets(path, "a:0");
    const auto frames = test::ReadPackets(path, "v:0");
    ASSERT_FALSE(audio.empty());
    const double length = *audio.back().pts;

    ASSERT_EQ(Fix(path), 0);

    EXPECT_NEAR(DurationInHeader(path), length, 1);
    EXPECT_NEAR(std::stod(test::Probe(path, "format=duration")), length, 1);
    EXPECT_EQ(test::Probe(path, "stream=codec_type"), source.streams);
    EXPECT_EQ(test::ReadPackets(path, "a:0"), audio);
    EXPECT_EQ(test::ReadPackets(path, "v:0"), frames);
    EXPECT_EQ(test::DecodingErrors(path), "");
    // The first media packet's payload and all behind it.
    const std::string after = test::ReadBytes(path);
    ASSERT_EQ(after.size(), before.size());
    const auto lastChange = std::mismatch(before.rbegin(), before.rend(), after.rbegin()).first;
    EXPECT_LT(before.rend() - lastChange, source.headerLimit);
  }
}

constexpr std::size_t kScriptStart = 13;

// Bytes that the film's script tag holds.
std::size_t ScriptLength(const std::string& film) {
  return static_cast<unsigned char>(film[kScriptStart + 2]) * 256u +
         static_cast<unsigned char>(film[kScriptStart + 3]);
}

std::string BigEndian(std::size_t number, int bytes) {
  std::string text;
  while (bytes > 0) text += static_cast<char>(number >> (8 * --bytes) & 0xFF);
  return text;
}

// The film behind another script tag: a duration of 0 and a text that brings it to the length.
std::string WithScript(const std::string& film, std::size_t length) {
  using namespace std::string_literals;
  const std::string text(length - 46, 't');
  const std::string script = "\x02\0\x0aonMetaData\x08\0\0\0\x02"s +
                             "\0\x08"
                             "duration"s +
                             std::string(9, '\0') + "\0\x01t\x02"s + BigEndian(text.size(), 2) +
                             text + "\0\0\x09"s;
  EXPECT_EQ(script.size(), length);
  return film.substr(0, kScriptStart) + "\x12" + BigEndian(length, 3) + std::string(7, '\0') +
         script + BigEndian(length + 11, 4) +
         film.substr(kScriptStart + 11 + ScriptLength(film) + 4);
}

TEST(FlvDuration, MeetsEveryLengthThatTheMuxerCanFill) {
  // The muxer's least is 248 bytes, its own name's entry has 25, one of padding 6 or more.
  struct Case {
    std::size_t from, to;
    int expected;
  };
  const test::ScratchFolder folder;
  const std::string film = test::ReadBytes(Live(folder / "live.flv"));
  const std::string path = folder / "a.flv";
  for (const Case& c : {Case{240, 247, test::kInvalidData}, Case{248, 248, 0},
                        Case{249, 253, test::kInvalidData}, Case{254, 290, 0}}) {
    for (std::size_t length = c.from; length <= c.to; ++length) {
      const std::string before = WithScript(film, length);
      test::WriteBytes(path, before);
      ASSERT_EQ(Fix(path), c.expected) << length;
      const std::string after = test::ReadBytes(path);
      EXPECT_EQ(after.size(), before.size());
      EXPECT_EQ(DurationInHeader(path), c.expected == 0 ? 7 : 0);
      EXPECT_EQ(ScriptLength(after), length);
    }
  }
}

TEST(FlvDuration, LeavesAloneWhatItCannotRepair) {
  const test::ScratchFolder folder;
  const std::string film = test::ReadBytes(Live(folder / "live.flv"));
  struct Case {
    const char* name;
    std::string content;
    int expected;
  };
  const Case cases[] = {
      {"MP4", test::ReadBytes(Remux("film.mp4", "")), test::kInvalidData},
      {"silent", test::ReadBytes(Remux("silent.flv", "-an")), MPG_ERR_AUDIO_STREAM_NOT_FOUND},
      // No last tag to read a duration from, and 0 in the header: nothing to write.
      {"cut", film.substr(0, film.size() / 2), 0},
  };
  const std::string path = folder / "a.flv";
  for (const Case& c : cases) {
    test::WriteBytes(path, c.content);
    EXPECT_EQ(Fix(path), c.expected) << c.name;
    EXPECT_EQ(test::ReadBytes(path), c.content) << c.name;
  }
}

TEST(FlvDuration, TakesTheTemporaryNameAndNothingBehindIt) {
  const test::ScratchFolder folder;
  const std::string path = Live(folder / "live.flv");
  const std::string before = test::ReadBytes(path);
  // Where it can't be nothing changes.
  fs::create_directory(path + ".tmp");
  EXPECT_STREQ(MPG_GetErrorText(Fix(path)), "Immediate exit requested");
  EXPECT_EQ(test::ReadBytes(path), before);
  fs::remove(path + ".tmp");
  test::WriteBytes(folder / "precious", "content");
  test::MakeLink(folder / "precious", path + ".tmp");
  EXPECT_EQ(Fix(path), 0);
  EXPECT_EQ(test::ReadBytes(folder / "precious"), "content");
  EXPECT_FALSE(fs::is_symlink(path + ".tmp") || fs::exists(path + ".tmp"));
}

}  // namespace
