// What becomes of files when an operation can't write its output.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "mpg/mpg.h"
#include "support/host.h"
#include "support/media.h"
#include "support/system.h"

namespace {

namespace fs = std::filesystem;

struct Operation {
  const char* name;
  std::string input;
  std::function<int(const char* in, const char* out)> run;
  bool keepsPartialFile;
};

std::vector<Operation> Operations() {
  static const std::string video = test::H264Video();
  static const std::string audio = test::AacAudio();
  static const std::string opus = test::OpusAudio(4);
  const std::string film = test::MakeMedia("film.mp4", "-i " + video + " -i " + audio + " -c copy");
  const std::string mpeg4 =
      test::MakeMedia("mpeg4.mp4", "-f lavfi -i testsrc2=size=320x240:rate=25 -t 2 -c:v mpeg4");
  const auto merge = [](const char* in, const char* out) {
    const char* const segments[] = {video.c_str(), in, nullptr};
    return MPG_Merge(segments, out, 0, 0, nullptr, 0);
  };
  return {
      {"copied pictures", video,
       [](auto in, auto out) { return MPG_MergeAV(in, audio.c_str(), out, nullptr, 0); }, true},
      {"copied sound", audio,
       [](auto in, auto out) { return MPG_MergeAV(video.c_str(), in, out, nullptr, 0); }, true},
      {"re-encoded sound", mpeg4,
       [](auto in, auto out) { return MPG_MergeAV(in, opus.c_str(), out, nullptr, 0); }, true},
      {"conversion", audio, [](auto in, auto out) { return MP3_Convert(in, out, 0, nullptr, 0); },
       true},
      {"segments", video, merge, false},
      {"trim", film, [](auto in, auto out) { return MPG_SaveTrimmedVideo(in, out, 0, 2); }, false},
      {"crop", film, [](auto in, auto out) { return MPG_Crop(in, out); }, false},
      {"shift", film, [](auto in, auto out) { return MPG_ShiftAudio(in, out, 99, nullptr, 0); },
       false},
  };
}

TEST(Outputs, AreNeverTheInputByAnyName) {
  for (const Operation& operation : Operations()) {
    const test::ScratchFolder folder;
    const std::string input = folder / "in.mp4";
    fs::copy_file(operation.input, input);
    test::MakeLink(input, folder / "symbolic.mp4");
    fs::create_hard_link(input, folder / "hard.mp4");
    for (const char* name : {"in.mp4", "./in.mp4", "symbolic.mp4", "hard.mp4"}) {
      EXPECT_EQ(operation.run(input.c_str(), (folder / name).c_str()), MPG_ERR_INVALID_PARAMETER)
          << operation.name << " to " << name;
    }
    EXPECT_EQ(test::ReadBytes(input), test::ReadBytes(operation.input)) << operation.name;
  }
}

TEST(Outputs, OnAFullDiskAreWhatFittedOrNothing) {
  const std::vector<Operation> operations = Operations();  // made before the disk is full
  const test::ScratchFolder folder;
  const std::string output = folder / "out.mp4";
  const std::string device = test::FullDevice();
  for (const Operation& operation : operations) {
    SCOPED_TRACE(operation.name);
    if (!device.empty() && (operation.keepsPartialFile || test::FileSizeLimit::IsPossible())) {
      EXPECT_EQ(operation.run(operation.input.c_str(), device.c_str()), -ENOSPC);
      EXPECT_EQ(test::FullDevice(), device) << "it was deleted";
    }
    if (!test::FileSizeLimit::IsPossible()) continue;
    for (const std::int64_t room : {0, 20, 5000, 14000}) {
      const test::FileSizeLimit limit(room);
      EXPECT_EQ(operation.run(operation.input.c_str(), output.c_str()), -EFBIG) << room;
      ASSERT_EQ(fs::exists(output), operation.keepsPartialFile) << room;
      if (!operation.keepsPartialFile) continue;
      EXPECT_EQ(fs::file_size(output), static_cast<std::uintmax_t>(room));
      fs::remove(output);
    }
  }
}

TEST(Outputs, NeedAFolderAndAName) {
  const test::ScratchFolder folder;
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    const auto write = [&](const std::string& output) {
      return operation.run(operation.input.c_str(), output.c_str());
    };
    EXPECT_EQ(write(folder / "no folder/out.mp4"), -ENOENT);
    EXPECT_EQ(write(folder / ""), test::DirectoryError());
    EXPECT_EQ(write(""), -ENOENT);
  }
}

}  // namespace
