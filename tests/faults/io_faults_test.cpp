// The n-th call to the system fails, or all from there on: no operation claims what isn't so.
// MPG_SWEEP=whole in the environment tries every n; by default some of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "faults/operations.h"
#include "platform/faults.h"
#include "support/host.h"
#include "support/media.h"
#include "support/probe.h"
#include "support/system.h"

namespace {

namespace fs = std::filesystem;
using mpg::platform::SystemCall;

struct Fault {
  const char* name;
  int error;  // 0: a short count
  bool lasts;
  /// Behind it everything goes on as if nothing had been.
  bool isHarmless;
};

constexpr Fault kFaults[] = {
    {"EIO once", EIO, false, false},       {"EIO from there on", EIO, true, false},
    {"ENOSPC once", ENOSPC, false, false}, {"EACCES from there on", EACCES, true, false},
    {"EINTR once", EINTR, false, true},    {"short counts from there on", 0, true, true},
};

struct {
  std::atomic<int> calls = 0;
  std::atomic<int> first = 0;  // counted from 1; 0 for none
  Fault fault = {};
  std::atomic<bool> hitRemoval = false;
} plan;

int Plan(SystemCall call, std::size_t& bytes) noexcept {
  const int number = ++plan.calls;
  const bool isHit =
      plan.first != 0 && (plan.fault.lasts ? number >= plan.first : number == plan.first);
  if (!isHit) return 0;
  if (call == SystemCall::kRemove) plan.hitRemoval = true;
  if (plan.fault.error != 0) {
    // Only calls that move bytes or open are interrupted.
    const bool canBe =
        call == SystemCall::kRead || call == SystemCall::kWrite || call == SystemCall::kOpen;
    return plan.fault.error != EINTR || canBe ? plan.fault.error : 0;
  }
  if (bytes > 1) bytes = std::max<std::size_t>(1, bytes / 3);
  return 0;
}

class Faults {
 public:
  Faults(int first, const Fault& fault) {
    plan.calls = 0;
    plan.first = first;
    plan.fault = fault;
    plan.hitRemoval = false;
    mpg::platform::faultPlan = Plan;
  }
  ~Faults() { mpg::platform::faultPlan = nullptr; }
};

std::vector<std::string> Contents(const std::vector<std::string>& paths) {
  std::vector<std::string> contents;
  for (const std::string& path : paths) {
    contents.push_back(fs::exists(path) ? test::ReadBytes(path) : "");
  }
  return contents;
}

class Bench {
 public:
  explicit Bench(const test::Operation& operation)
      : operation_(operation),
        output_(*operation.extension != 0 ? folder_ / (std::string("out.") + operation.extension)
                                          : "") {
    for (const std::string& medium : operation.inputs) {
      const std::string name =
          std::to_string(inputs_.size()) + fs::path(medium).extension().string();
      inputs_.push_back(folder_ / name);
    }
  }

  // Runs on fresh copies.
  test::Outcome Run(int first, const Fault& fault) {
    for (const auto& entry : fs::directory_iterator(folder_ / "")) fs::remove(entry);
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
      fs::copy_file(operation_.inputs[i], inputs_[i]);
    }
    before_ = Contents(inputs_);
    const Faults faults(first, fault);
    return operation_.run(inputs_, output_);
  }

  // Without a fault. The number of calls.
  int Learn() {
    outcome_ = Run(0, {});
    EXPECT_TRUE(outcome_.isSuccess) << outcome_.answer;
    after_ = Contents(inputs_);
    if (!output_.empty()) good_ = test::ReadBytes(output_);
    descriptors_ = test::OpenFiles();
    return plan.calls;
  }

  void Check(int first, const Fault& fault) {
    SCOPED_TRACE(std::string(operation_.name) + ", call " + std::to_string(first) + ": " +
                 fault.name);
    const test::Outcome outcome = Run(first, fault);
    EXPECT_EQ(test::OpenFiles(), descriptors_);
    EXPECT_TRUE(outcome.isSuccess || !fault.isHarmless) << outcome.answer;
    if (outcome.isSuccess) {
      CheckSuccess(outcome);
    } else {
      CheckFailure();
    }
    for (const auto& entry : fs::directory_iterator(folder_ / "")) {
      const std::string path = entry.path().generic_string();
      const bool isKnown = path == output_ || std::ranges::count(inputs_, path) != 0;
      EXPECT_TRUE(isKnown || plan.hitRemoval) << path << " is left";
    }
  }

 private:
  void CheckSuccess(const test::Outcome& outcome) {
    EXPECT_TRUE(outcome.answer == outcome_.answer) << "another answer";
    if (!output_.empty()) {
      ASSERT_TRUE(fs::exists(output_));
      if (test::ReadBytes(output_) != good_) CheckPayloads();
    }
    if (!operation_.deletesInputs) {
      EXPECT_TRUE(Contents(inputs_) == after_) << "the inputs are not as they should be";
    }
  }

  // Not the same bytes, since something couldn't be asked; then at least all that should be in it.
  // A list's last entry may fail: it is left where it was, and the others are in the output.
  void CheckPayloads() {
    const std::string reference = folder_ / (std::string("good.") + operation_.extension);
    const bool lastFailed = operation_.deletesInputs && fs::exists(inputs_.back());
    if (lastFailed) {
      std::vector<std::string> others;
      for (std::size_t i = 0; i + 1 < inputs_.size(); ++i) {
        EXPECT_FALSE(fs::exists(inputs_[i])) << "copied and not deleted";
        fs::copy_file(operation_.inputs[i], others.emplace_back(inputs_[i] + ".copy.ts"));
      }
      EXPECT_TRUE(operation_.run(others, reference).isSuccess);
    } else {
      test::WriteBytes(reference, good_);
    }
    for (const char* stream : {"v:0", "a:0"}) {
      std::vector<std::string> payloads = test::ReadPayloads(output_, stream);
      const std::vector<std::string> expected = test::ReadPayloads(reference, stream);
      if (lastFailed && payloads.size() > expected.size()) payloads.resize(expected.size());
      EXPECT_TRUE(payloads == expected) << "less than there was, in " << stream;
    }
    fs::remove(reference);
  }

  void CheckFailure() {
    if (operation_.fate == test::Fate::kRestored) {
      // The one exception is stated: a second failure while the first is made good.
      EXPECT_TRUE(plan.fault.lasts || Contents(inputs_) == before_);
    } else {
      EXPECT_TRUE(Contents(inputs_) == before_) << "an input was touched";
    }
    if (operation_.fate == test::Fate::kDeleted && !plan.hitRemoval) {
      EXPECT_FALSE(fs::exists(output_));
    }
  }

  const test::Operation& operation_;
  test::ScratchFolder folder_{};
  std::vector<std::string> inputs_ = {};
  std::string output_;
  std::vector<std::string> before_ = {};
  std::vector<std::string> after_ = {};
  std::string good_ = {};
  test::Outcome outcome_ = {};
  int descriptors_ = 0;
};

TEST(IoFaults, NeverMakeAFalsePromise) {
  const char* const sweep = std::getenv("MPG_SWEEP");
  const bool isWhole = sweep != nullptr && std::string(sweep) == "whole";
  for (const test::Operation& operation : test::Operations()) {
    Bench bench(operation);
    const int calls = bench.Learn();
    ASSERT_GT(calls, 0);
    // Both ends of a call are where most happens; each operation takes other places between.
    const int step = isWhole ? 1 : std::max(1, calls / 6);
    for (const Fault& fault : kFaults) {
      for (int first = 1; first <= calls; first += step) bench.Check(first, fault);
      for (int first = std::max(1, calls - 3); !isWhole && first <= calls; ++first) {
        bench.Check(first, fault);
      }
    }
    bench.Learn();
  }
}

}  // namespace
