#include "platform/platform.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

#include "platform/text.h"
#include "support/host.h"
#include "support/media.h"
#include "support/system.h"

namespace mpg::platform {
namespace {

namespace fs = std::filesystem;

TEST(IsSameFile, SeesThroughLinksAndSpellings) {
  const test::ScratchFolder folder;
  const std::string file = folder / "a";
  test::WriteBytes(file, "1");
  test::WriteBytes(folder / "twin", "1");
  test::MakeLink(file, folder / "symbolic");
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
  test::MakeLink(folder / "target", folder / "link");
  fs::create_directory(folder / "sub");

  for (const char* name : {"file", "link", "sub", "missing"}) RemoveFile((folder / name).c_str());
  RemoveFile(test::NullDevice().c_str());

  EXPECT_FALSE(fs::exists(folder / "file"));
  EXPECT_FALSE(fs::is_symlink(folder / "link"));
  EXPECT_TRUE(fs::exists(folder / "target"));
  EXPECT_TRUE(fs::exists(folder / "sub"));
  EXPECT_TRUE(std::ofstream(test::NullDevice()).is_open());
}

TEST(IsFile, IsAnythingThatExistsButNoDirectory) {
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "file", "");
  fs::create_directory(folder / "sub");
  test::MakeLink(folder / "file", folder / "link");
  test::WriteBytes(folder / "nowhere", "");
  test::MakeLink(folder / "nowhere", folder / "dangling");
  fs::remove(folder / "nowhere");
  for (const char* name : {"file", "link"}) EXPECT_TRUE(IsFile((folder / name).c_str())) << name;
  EXPECT_TRUE(IsFile(test::NullDevice().c_str()));
  for (const char* name : {"sub", "missing", ""}) {
    EXPECT_FALSE(IsFile((folder / name).c_str())) << name;
  }
  const bool isHardLink = fs::exists(folder / "dangling");
  EXPECT_EQ(IsFile((folder / "dangling").c_str()), isHardLink);
}

std::span<const std::uint8_t> Bytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(ReadFileAt, ReadsAllOfAPieceOrFails) {
  const test::ScratchFolder folder;
  const std::string file = folder / "a";
  test::WriteBytes(file, "0123456789");
  std::array<std::uint8_t, 4> buffer{};
  EXPECT_EQ(ReadFileAt(file.c_str(), 6, buffer), 0);
  EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "6789");
  EXPECT_EQ(ReadFileAt(file.c_str(), 7, buffer), -EIO);
  EXPECT_EQ(ReadFileAt(file.c_str(), 1000, buffer), -EIO);
  EXPECT_EQ(ReadFileAt((folder / "missing").c_str(), 0, buffer), -ENOENT);
  EXPECT_LT(ReadFileAt((folder / "").c_str(), 0, buffer), 0);
}

TEST(OverwriteStart, NeverCreatesNorCutsAFile) {
  const test::ScratchFolder folder;
  const std::string file = folder / "a";
  test::WriteBytes(file, "0123456789");
  EXPECT_EQ(OverwriteStart(file.c_str(), Bytes("abc")), 0);
  EXPECT_EQ(test::ReadBytes(file), "abc3456789");
  EXPECT_EQ(OverwriteStart((folder / "missing").c_str(), Bytes("abc")), -ENOENT);
  EXPECT_FALSE(fs::exists(folder / "missing"));
  if (!test::FileSizeLimit::IsPossible()) GTEST_SKIP() << "file sizes can't be limited here";
  const test::FileSizeLimit limit(2);
  EXPECT_EQ(OverwriteStart(file.c_str(), Bytes("xyz")), -EIO);
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
