#include "support/kit.h"
#include "support/places.h"
#include "support/system.h"

namespace {

TEST(LoadedLibrary, WorksEachTimeItIsLoadedAnewAndLeavesNothing) {
  const std::string video = test::H264Video();
  const std::string audio = test::AacAudio();
  const test::ScratchFolder folder;
  for (int round = 0; round < 5; ++round) {
    ASSERT_FALSE(test::LoadedLibrary::IsInProcess(test::kLibraryFile)) << round;
    const test::LoadedLibrary library(test::kLibraryFile);
    const std::string joined = folder / (std::to_string(round) + ".mp4");
    ASSERT_EQ(library.Find<decltype(MPG_MergeAV)>("MPG_MergeAV")(video.c_str(), audio.c_str(),
                                                                 joined.c_str(), nullptr, 0),
              0);
    EXPECT_EQ(test::ReadPayloads(joined, "v:0"), test::ReadPayloads(video, "v:0"));
    const std::string picture = folder / (std::to_string(round) + ".jpg");
    ASSERT_EQ(library.Find<decltype(MPG_GetImageJPG)>("MPG_GetImageJPG")(video.c_str(),
                                                                         picture.c_str(), 1, 0),
              1);
    EXPECT_GT(std::filesystem::file_size(picture), 1000u);
  }
  EXPECT_FALSE(test::LoadedLibrary::IsInProcess(test::kLibraryFile));
}

}  // namespace
