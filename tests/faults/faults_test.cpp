// Every operation while something fails: the n-th call to the system, the library's n-th
// allocation, or all from there on; its inputs; its output. No operation claims what isn't so.
// FFmpeg's own allocations don't fail: short of memory it crashes now and then.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <span>
#include <string_view>

#include "faults/operations.h"
#include "platform/faults.h"
#include "support/kit.h"
#include "support/system.h"

namespace {

namespace fs = std::filesystem;
using test::Fate;
using test::Operation;
using test::Outcome;

std::vector<std::string> Contents(const std::vector<std::string>& paths) {
  std::vector<std::string> contents;
  for (const std::string& path : paths) {
    contents.push_back(fs::exists(path) ? test::ReadBytes(path) : "");
  }
  return contents;
}

enum Kind { kCall, kAllocation };

struct Fault {
  const char* name;
  Kind kind;
  int error;   // of a call; 0: a short count
  bool lasts;  // what makes the first failure good may fail, too
  /// Behind it everything goes on as if nothing had been.
  bool isHarmless = false;
};

// One operation on fresh copies of its inputs, and what holds afterwards whatever failed.
class Trial {
 public:
  // Runs the operation once without a fault, to learn what success looks like.
  explicit Trial(const Operation& operation) : operation_(operation) {
    if (*operation.extension != 0) output_ = folder_ / (std::string("out.") + operation.extension);
    Prepare();
    outcome_ = Run();
    EXPECT_TRUE(outcome_.isSuccess) << operation.name << " " << outcome_.answer;
    after_ = Contents(inputs_);
    if (!output_.empty()) good_ = test::ReadBytes(output_);
    openFiles_ = test::OpenFiles();
  }

  // Puts the inputs in place as they were, and nothing else.
  void Prepare() {
    for (const auto& entry : fs::directory_iterator(folder_ / "")) fs::remove(entry);
    inputs_ = test::CopyInputs(operation_, folder_ / "");
    before_ = Contents(inputs_);
  }

  // Gives an input another content, or takes it away.
  void Spoil(std::size_t input, const char* content) {
    fs::remove(inputs_[input]);
    if (content != nullptr) test::WriteBytes(inputs_[input], content);
    before_ = Contents(inputs_);
  }

  Outcome Run() const { return RunInto(output_); }
  Outcome RunInto(const std::string& output) const { return operation_.run(inputs_, output); }

  const std::vector<std::string>& Inputs() const { return inputs_; }
  const std::string& Output() const { return output_; }

  // Expects that a success is one, that a failure leaves the inputs alone and the output as
  // promised, and that nothing else is left: files, open files.
  void Check(const Outcome& outcome, const Fault& fault = {}, bool preventsRemoval = false) {
    EXPECT_EQ(test::OpenFiles(), openFiles_);
    EXPECT_TRUE(outcome.isSuccess || !fault.isHarmless) << outcome.answer;
    if (outcome.isSuccess) {
      CheckSuccess(outcome, fault);
    } else {
      CheckFailure(fault, preventsRemoval);
    }
    for (const auto& entry : fs::directory_iterator(folder_ / "")) {
      const std::string path = entry.path().generic_string();
      const bool isKnown = path == output_ || std::ranges::count(inputs_, path) != 0;
      EXPECT_TRUE(isKnown || preventsRemoval) << path << " is left";
    }
  }

 private:
  void CheckSuccess(const Outcome& outcome, const Fault& fault) {
    // FFmpeg's demuxers and trailers pass over allocations that fail: it may find out less about a
    // file and say nothing.
    const bool takesMemory = fault.kind == kAllocation;
    EXPECT_TRUE(takesMemory || outcome.answer == outcome_.answer) << "another answer";
    if (!output_.empty()) {
      ASSERT_TRUE(fs::exists(output_));
      if (!takesMemory && test::ReadBytes(output_) != good_) CheckPayloads();
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
    std::vector<std::string> others;
    if (lastFailed) {
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

  void CheckFailure(const Fault& fault, bool preventsRemoval) {
    // Of a file that is changed in place the one exception is stated: a second failure.
    const bool mayBeTorn = operation_.fate == Fate::kRestored && fault.lasts;
    EXPECT_TRUE(mayBeTorn || Contents(inputs_) == before_) << "an input was touched";
    if (operation_.fate == Fate::kDeleted && !preventsRemoval) {
      EXPECT_FALSE(fs::exists(output_));
    }
  }

  const Operation& operation_;
  test::ScratchFolder folder_;
  std::vector<std::string> inputs_ = {};
  std::string output_ = {};
  std::vector<std::string> before_ = {};  // the inputs' contents
  std::vector<std::string> after_ = {};
  std::string good_ = {};  // the output's content
  Outcome outcome_ = {};
  int openFiles_ = 0;
};

using mpg::platform::SystemCall;

constexpr Fault kSystem[] = {
    {"EIO once", kCall, EIO, false},           {"EIO from there on", kCall, EIO, true},
    {"ENOSPC once", kCall, ENOSPC, false},     {"EACCES from there on", kCall, EACCES, true},
    {"EINTR once", kCall, EINTR, false, true}, {"short counts from there on", kCall, 0, true, true},
};

constexpr Fault kMemory[] = {
    {"no memory once", kAllocation, ENOMEM, false},
    {"no memory from there on", kAllocation, ENOMEM, true},
};

struct {
  std::atomic<int> counts[2] = {};
  std::atomic<int> first = 0;  // counted from 1; 0 for none
  Fault fault = {};
  std::atomic<bool> hitRemoval = false;
} plan;

bool IsHit(Kind kind) noexcept {
  const int number = ++plan.counts[kind];
  if (plan.first == 0 || kind != plan.fault.kind) return false;
  return plan.fault.lasts ? number >= plan.first : number == plan.first;
}

int FailCall(SystemCall call, std::size_t& bytes) noexcept {
  if (!IsHit(kCall)) return 0;
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

class Armed {
 public:
  Armed(int first, const Fault& fault) {
    plan.counts[kCall] = plan.counts[kAllocation] = 0;
    plan.fault = fault;
    plan.hitRemoval = false;
    mpg::platform::faultPlan = FailCall;
    plan.first = first;
  }
  ~Armed() {
    plan.first = 0;
    mpg::platform::faultPlan = nullptr;
  }
};

// Nothing where memory ran out for the host itself, before or behind the call.
std::optional<Outcome> Run(Trial& trial, int first, const Fault& fault) {
  trial.Prepare();
  try {
    const Armed armed(first, fault);
    return trial.Run();
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

// At which of so many calls to let one fail: some from all over and the last ones, where files are
// finished. All with MPG_SWEEP=whole in the environment.
std::vector<int> Places(int calls) {
  constexpr int kSpread = 4;
  constexpr int kLast = 4;
  const char* const sweep = std::getenv("MPG_SWEEP");
  const bool isWhole = sweep != nullptr && std::string_view(sweep) == "whole";
  const int step = isWhole ? 1 : std::max(1, calls / kSpread);
  std::vector<int> places;
  for (int place = 1; place <= calls; ++place) {
    if ((place - 1) % step == 0 || place > calls - kLast) places.push_back(place);
  }
  return places;
}

void Sweep(std::span<const Fault> faults) {
  for (const Operation& operation : test::Operations()) {
    Trial trial(operation);
    EXPECT_TRUE(Run(trial, 0, {})->isSuccess);
    const int count = plan.counts[faults.front().kind];
    ASSERT_GT(count, 0);
    for (const Fault& fault : faults) {
      for (const int first : Places(count)) {
        SCOPED_TRACE(std::string(operation.name) + ", at " + std::to_string(first) + ": " +
                     fault.name);
        const std::optional<Outcome> outcome = Run(trial, first, fault);
        if (!outcome) continue;
        trial.Check(*outcome, fault, plan.hitRemoval);
      }
    }
    EXPECT_TRUE(Run(trial, 0, {})->isSuccess) << "afterwards";
  }
}

TEST(IoFaults, NeverMakeAFalsePromise) {
  Sweep(kSystem);
}

TEST(AllocationFaults, NeverMakeAFalsePromise) {
  Sweep(kMemory);
}

// Functions that tell a code tell this one.
void ExpectFailure(const Outcome& outcome, int code) {
  EXPECT_FALSE(outcome.isSuccess);
  EXPECT_TRUE(outcome.answer.empty() || outcome.answer == std::to_string(code)) << outcome.answer;
}

TEST(Outputs, AreInAFolderAndNeverAnInputByAnyName) {
  for (const Operation& operation : test::Operations()) {
    if (*operation.extension == 0) continue;
    Trial trial(operation);
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
  for (const Operation& operation : test::Operations()) {
    if (operation.deletesInputs) continue;  // a list passes some
    Trial trial(operation);
    for (std::size_t input = 0; input < operation.inputs.size(); ++input) {
      for (const char* content : {"", "no media", static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(std::string(operation.name) + ": " + (content ? content : "missing"));
        trial.Prepare();
        trial.Spoil(input, content);
        const Outcome outcome = trial.Run();
        const int code = content == nullptr ? -ENOENT : test::kInvalidData;
        const int joinsCode =
            input == 0 ? MPG_ERR_VIDEO_CODEC_NOT_FOUND : MPG_ERR_AUDIO_CODEC_NOT_FOUND;
        ExpectFailure(outcome, operation.inputs.size() == 2 ? joinsCode : code);
        trial.Check(outcome);
        EXPECT_FALSE(fs::exists(trial.Output()));
      }
    }
  }
}

}  // namespace

void* operator new(std::size_t size) {
  void* const block = IsHit(kAllocation) ? nullptr : std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}
