// Paths as hosts on Windows write them.
#include <windows.h>

#include <array>

#include "support/kit.h"

namespace {

namespace fs = std::filesystem;

// The host's own spelling of a path. "" when the code page lacks a character.
std::string Spelled(const fs::path& path, UINT codePage) {
  std::array<char, 1024> text{};
  BOOL lossy = FALSE;
  WideCharToMultiByte(codePage, 0, path.c_str(), -1, text.data(), static_cast<int>(text.size()),
                      nullptr, codePage == CP_UTF8 ? nullptr : &lossy);
  return lossy ? "" : text.data();
}

// Every kind of access to a folder's files: FFmpeg's, the library's own, the C runtime's.
void ExpectAllWorkIn(const fs::path& folder, const std::string& spelled) {
  SCOPED_TRACE(spelled);
  fs::copy_file(test::H264Video(), folder / "v.mp4");
  fs::copy_file(test::AacAudio(), folder / "a.m4a");
  const std::string video = spelled + "v.mp4", joined = spelled + "joined.mp4";
  const std::string merged = spelled + "merged.mp4", failed = spelled + "failed.mp4";
  ASSERT_EQ(MPG_MergeAV(video.c_str(), (spelled + "a.m4a").c_str(), joined.c_str(), nullptr, 0), 0);
  EXPECT_EQ(MPG_MergeAV(video.c_str(), joined.c_str(), video.c_str(), nullptr, 0),
            MPG_ERR_INVALID_PARAMETER);
  for (const ImageFormat format : {MPG_IMAGE_BMP, MPG_IMAGE_JPEG}) {
    const std::string name = "picture" + std::to_string(format);
    EXPECT_EQ(MPG_GetImage(format, video.c_str(), (spelled + name).c_str(), 0, 90), 1u);
    EXPECT_TRUE(fs::exists(folder / name));
  }
  // What fails is deleted: there is no audio to be moved.
  fs::copy_file(test::H264Video(), folder / "failed.mp4");
  EXPECT_NE(MPG_ShiftAudio(video.c_str(), failed.c_str(), 100, nullptr, 0), 0);
  EXPECT_FALSE(fs::exists(folder / "failed.mp4"));
  const char* const segments[] = {joined.c_str(), nullptr};
  EXPECT_EQ(MPG_Merge(segments, merged.c_str(), 1, 0, nullptr, 0), 0);
  EXPECT_FALSE(fs::exists(folder / "joined.mp4"));
  EXPECT_TRUE(fs::exists(folder / "merged.mp4"));
}

TEST(WindowsPaths, AreReadAsUtf8OrInTheCodePage) {
  // The code page of most machines lacks all but the first.
  const wchar_t* const names[] = {L"caf\u00e9 \u00fc", L"\u043a\u0438\u043d\u043e", L"\u6620\u753b",
                                  L"\u0641\u064a\u0644\u0645 \U0001f3ac"};
  for (const wchar_t* const name : names) {
    for (const UINT codePage : {UINT{CP_ACP}, UINT{CP_UTF8}}) {
      const test::ScratchFolder scratch;
      const fs::path folder = fs::path(scratch / "") / name;
      const std::string spelled = Spelled(folder, codePage);
      if (spelled.empty()) continue;
      fs::create_directories(folder);
      ExpectAllWorkIn(folder, spelled + "\\");
    }
  }
}

TEST(WindowsPaths, TakeEverySlashAndPrefix) {
  for (const char* prefix : {"", R"(\\?\)", R"(\\.\)"}) {
    for (const char slash : {'/', '\\'}) {
      const test::ScratchFolder scratch;
      std::string spelled = fs::absolute(scratch / "").string();
      for (char& letter : spelled) {
        if (letter == '/' || letter == '\\') letter = *prefix != 0 ? '\\' : slash;
      }
      ExpectAllWorkIn(scratch / "", prefix + spelled);
    }
  }
}

TEST(WindowsPaths, AreAsLongAsTheSystemAllows) {
  for (const std::size_t length : {240u, 320u}) {
    const test::ScratchFolder scratch;
    const fs::path top = LR"(\\?\)" + fs::absolute(scratch / "").make_preferred().wstring();
    fs::path folder = top;
    while (folder.native().size() < length) folder /= std::wstring(60, L'x');
    fs::create_directories(folder);
    // As a host writes it, without the prefix.
    ExpectAllWorkIn(folder, folder.string().substr(4) + "\\");
    // Long paths can't be removed with their files by the C++ library; short ones can.
    const std::size_t shortest = top.native().size();
    for (int depth = 0; folder.native().size() > shortest; folder = folder.parent_path(), ++depth) {
      fs::rename(folder, top / std::to_wstring(depth));
    }
  }
}

}  // namespace
