// Outputs and inputs that can't be, given to everything that the library does.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "faults/operations.h"
#include "faults/trial.h"
#include "mpg/mpg.h"
#include "support/media.h"
#include "support/system.h"

namespace {

namespace fs = std::filesystem;

// Functions that tell a code tell this one.
void ExpectFailure(const test::Outcome& outcome, int code) {
  EXPECT_FALSE(outcome.isSuccess);
  EXPECT_TRUE(outcome.answer.empty() || outcome.answer == std::to_string(code)) << outcome.answer;
}

TEST(Outputs, AreInAFolderAndNeverAnInputByAnyName) {
  for (const test::Operation& operation : test::Operations()) {
    if (*operation.extension == 0) continue;
    test::Trial trial(operation);
    const std::vector<std::string> inputs = trial.Inputs();
    const std::string folder = fs::path(inputs.front()).parent_path().generic_string() + "/";
    for (const std::string& input : inputs) {
      const std::string hard = input + ".hard", symbolic = input + ".symbolic";
      const std::string detour = folder + "./" + fs::path(input).filename().string();
      for (const std::string& name : {input, detour, hard, symbolic}) {
        SCOPED_TRACE(std::string(operation.name) + " to " + name);
        trial.Prepare();
        const std::string before = test::ReadBytes(input);
        fs::create_hard_link(input, hard);
        test::MakeLink(input, symbolic);
        ExpectFailure(trial.RunInto(name), MPG_ERR_INVALID_PARAMETER);
        EXPECT_TRUE(test::ReadBytes(input) == before);
      }
    }
    SCOPED_TRACE(operation.name);
    ExpectFailure(trial.RunInto(folder + "no folder/out." + operation.extension), -ENOENT);
    ExpectFailure(trial.RunInto(folder), test::DirectoryError());
    EXPECT_FALSE(trial.RunInto("").isSuccess);
    EXPECT_TRUE(fs::exists(inputs.front()));
  }
}

TEST(Inputs, ThatAreNoMediaAreAnsweredByACodeAndNoFile) {
  constexpr int kInvalidData = -1094995529;
  for (const test::Operation& operation : test::Operations()) {
    if (operation.deletesInputs) continue;  // a list passes some
    test::Trial trial(operation);
    for (std::size_t input = 0; input < operation.inputs.size(); ++input) {
      for (const char* content : {"", "no media", static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(std::string(operation.name) + ": " + (content ? content : "missing"));
        trial.Prepare();
        trial.Spoil(input, content);
        const test::Outcome outcome = trial.Run();
        const int code = content == nullptr ? -ENOENT : kInvalidData;
        const int joinsCode =
            input == 0 ? MPG_ERR_VIDEO_CODEC_NOT_FOUND : MPG_ERR_AUDIO_CODEC_NOT_FOUND;
        ExpectFailure(outcome, operation.inputs.size() == 2 ? joinsCode : code);
        trial.Check(outcome, {});
        EXPECT_FALSE(fs::exists(trial.Output()));
      }
    }
  }
}

}  // namespace
