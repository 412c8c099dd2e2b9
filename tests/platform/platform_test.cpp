#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/file.h"
#include "support/host.h"
#include "support/media.h"
#include "support/system.h"

namespace mpg::platform {
namespace {

namespace fs = std::filesystem;

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
  for (const char* name : {"file", "link"}) EXPECT_TRUE(IsFile((folder / name).c_str())) << name;
  EXPECT_TRUE(IsFile(test::NullDevice().c_str()));
  for (const char* name : {"sub", "missing", ""}) {
    EXPECT_FALSE(IsFile((folder / name).c_str())) << name;
  }
}

TEST(File, TellsOfAFullDevice) {
  const std::string device = test::FullDevice();
  if (device.empty()) GTEST_SKIP() << "no full device";
  const std::uint8_t bytes[3] = {};
  File file;
  ASSERT_EQ(file.Open(device, Access::kCreate), 0);
  EXPECT_EQ(file.Write(bytes), -ENOSPC);
}

}  // namespace
}  // namespace mpg::platform
