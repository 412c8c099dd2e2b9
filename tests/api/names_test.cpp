// A path is the name of one file, whatever it looks like and whatever the file holds.
#include <cerrno>

#include "support/kit.h"

namespace {

namespace fs = std::filesystem;

// A scratch folder as the current one, so that a name can begin with anything.
class InScratchFolder {
 public:
  InScratchFolder() : previous_(fs::current_path()) { fs::current_path(folder_ / ""); }
  ~InScratchFolder() { fs::current_path(previous_); }

 private:
  test::ScratchFolder folder_;
  fs::path previous_;
};

std::string ShortFilm() {
  return test::MakeMedia("film.mp4",
                         "-i " + test::H264Video() + " -i " + test::AacAudio() + " -c copy");
}

TEST(Names, AreLiteralForInputsAndOutputs) {
  const std::string film = ShortFilm();
  const InScratchFolder scratch;
  std::vector<std::string> names = {"-", "-y.mp4", "100%.mp4", "x%03d.mp4"};
#if !defined(_WIN32)
  for (const char* name :
       {"[a]?*{b}.mp4", "Star: Part.mp4", "file:in.mp4", "pipe:0", "concat:a|b",
        "subfile,,start,0,end,9,,:x.mp4", "data:,x", "a\nb.mp4", "\xff\xfe.mp4"}) {
    names.push_back(name);
  }
#endif
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const char* const path = name.c_str();
    ASSERT_EQ(MPG_IsThisGoodFile(path), 0u);
    ASSERT_EQ(MP3_Convert(path, "audio", 0, nullptr, 0), -ENOENT);

    ASSERT_EQ(MPG_MergeAV(film.c_str(), film.c_str(), path, nullptr, 0), 0);
    const std::string content = test::ReadBytes("./" + name);
    EXPECT_FALSE(content.empty());
    EXPECT_EQ(MPG_IsThisGoodFile(path), 1u);
    EXPECT_EQ(MPG_MergeAV(path, film.c_str(), "joined.mp4", nullptr, 0), 0);
    EXPECT_EQ(MPG_GetImage(MPG_IMAGE_JPEG, path, ("p" + name).c_str(), 0, 90), 1u);
    EXPECT_EQ(MPG_ShiftAudio(film.c_str(), ("s" + name).c_str(), 99, nullptr, 0), 0);
    EXPECT_TRUE(fs::exists("p" + name) && fs::exists("s" + name));
    EXPECT_EQ(test::ReadBytes("./" + name), content);
    const char* const segments[] = {path, nullptr};
    EXPECT_EQ(MPG_Merge(segments, "merged.mp4", 1, 0, nullptr, 0), 0);
    EXPECT_FALSE(fs::exists(name));
  }
}

TEST(Names, OfPatternsReadAndWriteThatFileAlone) {
  const std::string picture = test::MakeMedia("picture.jpg", "-f lavfi -i testsrc2 -frames:v 1");
  const InScratchFolder scratch;
  for (const char* name : {"x000.jpg", "x001.jpg"}) fs::copy_file(picture, name);
  EXPECT_EQ(MPG_IsThisGoodFile("x%03d.jpg"), 0u);
  test::WriteBytes("x%03d.jpg", test::ReadBytes(picture));
  EXPECT_EQ(MPG_IsThisGoodFile("x%03d.jpg"), 1u);

  for (const char* name : {"film.m3u8", "film.mpd", "film%03d.jpg", "film.png"}) {
    fs::copy_file(ShortFilm(), name);
    for (const int result : {MPG_Crop(name, "out"), MPG_ShiftAudio(name, "out", 9, nullptr, 0),
                             MPG_SaveTrimmedVideo(name, "out", 0, 1)}) {
      EXPECT_EQ(result, test::kExit) << name;
    }
    EXPECT_FALSE(fs::exists("out")) << name;
  }
}

TEST(Names, InAFileAreNotFollowed) {
  const std::string film = ShortFilm();
  const std::string segment = test::MakeMedia("film.ts", "-i " + film + " -c copy");
  const InScratchFolder scratch;
  fs::copy_file(segment, "seg.ts");
  fs::copy_file(segment, "download.sub");
  fs::copy_file(film, "other.mp4");
  const std::string playlist =
      "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\nseg.ts\n#EXT-X-ENDLIST\n";
  const std::string dash =
      "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
      "mediaPresentationDuration=\"PT2S\" profiles=\"urn:mpeg:dash:profile:isoff-main:2011\">"
      "<Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"1\" bandwidth=\"1\">"
      "<BaseURL>other.mp4</BaseURL></Representation></AdaptationSet></Period></MPD>";
  const std::string contents[] = {
      playlist, dash, "ffconcat version 1.0\nfile other.mp4\n",
      "# VobSub index file, v7\nid: en, index: 0\ntimestamp: 00:00:00:000, filepos: 000000000\n",
      "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video 5004 RTP/AVP 96\n"
      "a=rtpmap:96 H264/90000\n"};
  for (const std::string& content : contents) {
    SCOPED_TRACE(content.substr(0, 40));
    for (const char* name : {"download.mp4", "download.idx", "list.m3u8"}) {
      test::WriteBytes(name, content);
      EXPECT_EQ(MPG_IsThisGoodFile(name), 0u) << name;
      EXPECT_EQ(MPG_MergeAV(film.c_str(), name, "joined", nullptr, 0),
                MPG_ERR_AUDIO_CODEC_NOT_FOUND)
          << name;
      EXPECT_LT(MP3_Convert(name, "audio", 0, nullptr, 0), 0) << name;
    }
  }
}

}  // namespace
