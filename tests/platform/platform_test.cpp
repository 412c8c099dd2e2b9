#include "platform/platform.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/text.h"
#include "support/host.h"
#include "support/media.h"

namespace mpg::platform {
namespace {

namespace fs = std::filesystem;

TEST(IsSameFile, SeesThroughLinksAndSpellings) {
  const test::ScratchFolder folder;
  const std::string file = folder / "a";
  test::WriteBytes(file, "1");
  test::WriteBytes(folder / "twin", "1");
  fs::create_symlink(file, folder / "symbolic");
  fs::create_hard_link(file, folder / "hard");
  fs::create_directory(folder / "sub");

  for (const char* name : {"a", "symbolic", "hard", "sub/../a", ".//a"}) {
    EXPECT_TRUE(IsSameFile(file.c_str(), (folder / name).c_str())) << name;
  }
  for (const char* name : {"twin", "missing", "sub"}) {
    EXPECT_FALSE(IsSameFile(file.c_str(), (folder / name).c_str())) << name;
  }
}

TEST(RemoveFile, DeletesFilesAndLinksAndNothingElse) {
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "file", "1");
  test::WriteBytes(folder / "target", "1");
  fs::create_symlink(folder / "target", folder / "link");
  fs::create_directory(folder / "sub");

  for (const char* name : {"file", "link", "sub", "missing"}) RemoveFile((folder / name).c_str());
  RemoveFile("/dev/null");

  EXPECT_FALSE(fs::exists(folder / "file"));
  EXPECT_FALSE(fs::is_symlink(folder / "link"));
  EXPECT_TRUE(fs::exists(folder / "target"));
  EXPECT_TRUE(fs::exists(folder / "sub"));
  EXPECT_TRUE(fs::exists("/dev/null"));
}

TEST(ReserveSpace, NeverChangesWhatAFileHolds) {
  const test::ScratchFolder folder;
  const std::string file = folder / "a";
  test::WriteBytes(file, "content");
  ReserveSpace(file.c_str(), 1 << 20);
  EXPECT_EQ(test::ReadBytes(file), "content");
  ReleaseSpareSpace(file.c_str());
  EXPECT_EQ(test::ReadBytes(file), "content");
  EXPECT_FALSE(ReserveSpace((folder / "missing").c_str(), 1));
}

TEST(CopyText, CutsOffOrLeavesOut) {
  char field[5];
  CopyText(field, "webm");
  EXPECT_STREQ(field, "webm");
  CopyText(field, "matroska");
  EXPECT_STREQ(field, "matr");
  CopyWholeText(field, "webm");
  EXPECT_STREQ(field, "webm");
  CopyWholeText(field, "webms");
  EXPECT_STREQ(field, "");
}

}  // namespace
}  // namespace mpg::platform
