#include "media/output.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "media/input.h"
#include "media/stream_copy.h"
#include "media/timestamps.h"
#include "support/host.h"
#include "support/media.h"

namespace mpg {
namespace {

// How far an output gets before its operation leaves it.
enum class Stage { kNothing, kCreated, kHeader, kPackets, kFinished };

void WriteUntil(Stage stage, const std::string& path, OnFailure onFailure) {
  Input input(test::AacAudio().c_str());
  Output output(MuxerByName("mp4"), path.c_str(), onFailure);
  const CopiedStream stream = AddCopiedAudioStream(output, input);
  if (stage == Stage::kNothing) return;
  output.CreateFile();
  output.ExpectSize(1 << 20);
  if (stage == Stage::kCreated) return;
  output.WriteHeader();
  if (stage == Stage::kHeader) return;
  const PacketPtr packet = MakePacket();
  while (input.Read(*packet) == 0) {
    MovePacket(*packet, *stream.source, *stream.target);
    Check(output.Write(*packet));
  }
  if (stage == Stage::kPackets) return;
  output.Finish();
}

constexpr Stage kAllStages[] = {Stage::kNothing, Stage::kCreated, Stage::kHeader, Stage::kPackets,
                                Stage::kFinished};

TEST(Output, KeepsOrDeletesAnUnfinishedFileAsAsked) {
  const test::ScratchFolder folder;
  for (const Stage stage : kAllStages) {
    const std::string number = std::to_string(static_cast<int>(stage));
    WriteUntil(stage, folder / ("kept" + number), OnFailure::kKeepPartialFile);
    EXPECT_EQ(std::filesystem::exists(folder / ("kept" + number)), stage != Stage::kNothing);
    WriteUntil(stage, folder / ("deleted" + number), OnFailure::kDeleteFile);
    EXPECT_EQ(std::filesystem::exists(folder / ("deleted" + number)), stage == Stage::kFinished);
  }
}

TEST(Output, TellsWhenTheTrailerDoesNotReachTheDisk) {
  const test::ScratchFolder folder;
  test::AacAudio();  // made before the disk is full
  if (!test::FileSizeLimit::IsPossible()) GTEST_SKIP() << "file sizes can't be limited here";
  const test::FileSizeLimit limit(1000);
  EXPECT_THROW(WriteUntil(Stage::kFinished, folder / "a", OnFailure::kKeepPartialFile), Error);
  EXPECT_EQ(std::filesystem::file_size(folder / "a"), 1000u);
  EXPECT_THROW(WriteUntil(Stage::kFinished, folder / "b", OnFailure::kDeleteFile), Error);
  EXPECT_FALSE(std::filesystem::exists(folder / "b"));
}

}  // namespace
}  // namespace mpg
