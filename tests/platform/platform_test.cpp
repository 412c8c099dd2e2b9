#include "platform/platform.h"

#include <fstream>

#include "support/kit.h"
#include "support/system.h"

namespace mpg::platform {
namespace {

namespace fs = std::filesystem;

TEST(Files, AreAnythingButFoldersAndAreRemovedButForDevices) {
  const test::ScratchFolder folder;
  test::WriteBytes(folder / "target", "1");
  test::MakeLink(folder / "target", folder / "link");
  fs::create_directory(folder / "sub");
  struct Case {
    const char* name;
    bool isFile, stays;
  };
  // The target outlives its link.
  for (const Case& c : {Case{"link", true, false}, Case{"target", true, false},
                        Case{"sub", false, true}, Case{"missing", false, false}}) {
    const std::string path = folder / c.name;
    EXPECT_EQ(IsFile(path.c_str()), c.isFile) << c.name;
    RemoveFile(path.c_str());
    EXPECT_EQ(fs::exists(fs::symlink_status(path)), c.stays) << c.name;
  }
  const std::string device = test::NullDevice();
  EXPECT_TRUE(IsFile(device.c_str()));
  RemoveFile(device.c_str());
  EXPECT_TRUE(std::ofstream(device).is_open());
  EXPECT_FALSE(fs::is_regular_file(device)) << "made anew";
}

}  // namespace
}  // namespace mpg::platform
