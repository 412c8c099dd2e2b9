#include "faults/trial.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "support/media.h"
#include "support/probe.h"
#include "support/system.h"

namespace test {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Contents(const std::vector<std::string>& paths) {
  std::vector<std::string> contents;
  for (const std::string& path : paths) {
    contents.push_back(fs::exists(path) ? ReadBytes(path) : "");
  }
  return contents;
}

}  // namespace

Trial::Trial(const Operation& operation)
    : operation_(operation),
      output_(*operation.extension != 0 ? folder_ / (std::string("out.") + operation.extension)
                                        : "") {
  Prepare();
  outcome_ = Run();
  EXPECT_TRUE(outcome_.isSuccess) << operation.name << " " << outcome_.answer;
  after_ = Contents(inputs_);
  if (!output_.empty()) good_ = ReadBytes(output_);
  openFiles_ = OpenFiles();
}

void Trial::Prepare() {
  for (const auto& entry : fs::directory_iterator(folder_ / "")) fs::remove(entry);
  inputs_ = CopyInputs(operation_, folder_ / "");
  before_ = Contents(inputs_);
}

void Trial::Spoil(std::size_t input, const char* content) {
  fs::remove(inputs_[input]);
  if (content != nullptr) WriteBytes(inputs_[input], content);
  before_ = Contents(inputs_);
}

void Trial::Check(const Outcome& outcome, const FaultNature& fault) {
  EXPECT_EQ(OpenFiles(), openFiles_);
  EXPECT_TRUE(outcome.isSuccess || !fault.isHarmless) << outcome.answer;
  if (outcome.isSuccess) {
    CheckSuccess(outcome, fault);
  } else {
    CheckFailure(fault);
  }
  for (const auto& entry : fs::directory_iterator(folder_ / "")) {
    const std::string path = entry.path().generic_string();
    const bool isKnown = path == output_ || std::ranges::count(inputs_, path) != 0;
    EXPECT_TRUE(isKnown || fault.preventsRemoval) << path << " is left";
  }
}

void Trial::CheckSuccess(const Outcome& outcome, const FaultNature& fault) {
  EXPECT_TRUE(fault.takesMemory || outcome.answer == outcome_.answer) << "another answer";
  if (!output_.empty()) {
    ASSERT_TRUE(fs::exists(output_));
    // FFmpeg's demuxers and trailers pass over allocations that fail.
    if (!fault.takesMemory && ReadBytes(output_) != good_) CheckPayloads();
  }
  if (!operation_.deletesInputs) {
    EXPECT_TRUE(Contents(inputs_) == after_) << "the inputs are not as they should be";
  }
}

// Not the same bytes, since something couldn't be asked; then at least all that should be in it.
// A list's last entry may fail: it is left where it was, and the others are in the output.
void Trial::CheckPayloads() {
  const std::string reference = folder_ / (std::string("good.") + operation_.extension);
  const bool lastFailed = operation_.deletesInputs && fs::exists(inputs_.back());
  std::vector<std::string> others;
  if (lastFailed) {
    for (std::size_t i = 0; i + 1 < inputs_.size(); ++i) {
      EXPECT_FALSE(fs::exists(inputs_[i])) << "copied and not deleted";
      fs::copy_file(operation_.inputs[i], others.emplace_back(inputs_[i] + ".copy.ts"));
    }
    EXPECT_TRUE(operation_.run(others, reference).isSuccess);
  } else {
    WriteBytes(reference, good_);
  }
  for (const char* stream : {"v:0", "a:0"}) {
    std::vector<std::string> payloads = ReadPayloads(output_, stream);
    const std::vector<std::string> expected = ReadPayloads(reference, stream);
    if (lastFailed && payloads.size() > expected.size()) payloads.resize(expected.size());
    EXPECT_TRUE(payloads == expected) << "less than there was, in " << stream;
  }
  fs::remove(reference);
}

void Trial::CheckFailure(const FaultNature& fault) {
  // Of a file that is changed in place the one exception is stated: a second failure.
  const bool mayBeTorn = operation_.fate == Fate::kRestored && fault.lasts;
  EXPECT_TRUE(mayBeTorn || Contents(inputs_) == before_) << "an input was touched";
  if (operation_.fate == Fate::kDeleted && !fault.preventsRemoval) {
    EXPECT_FALSE(fs::exists(output_));
  }
}

}  // namespace test
