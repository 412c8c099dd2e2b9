// The n-th call to the system fails, or the library's n-th allocation, or all from there on: no
// operation claims what isn't so. FFmpeg's own allocations are not among them: short of memory it
// crashes now and then.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "faults/operations.h"
#include "faults/trial.h"
#include "platform/faults.h"

namespace {

using mpg::platform::SystemCall;

enum Kind { kCall, kAllocation };

struct Fault {
  const char* name;
  Kind kind;
  int error;  // of a call; 0: a short count
  bool lasts;
  /// Behind it everything goes on as if nothing had been.
  bool isHarmless = false;
};

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
std::optional<test::Outcome> Run(test::Trial& trial, int first, const Fault& fault) {
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
  constexpr int kSpread = 6;
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
  for (const test::Operation& operation : test::Operations()) {
    test::Trial trial(operation);
    EXPECT_TRUE(Run(trial, 0, {})->isSuccess);
    const int count = plan.counts[faults.front().kind];
    ASSERT_GT(count, 0);
    for (const Fault& fault : faults) {
      for (const int first : Places(count)) {
        SCOPED_TRACE(std::string(operation.name) + ", at " + std::to_string(first) + ": " +
                     fault.name);
        const std::optional<test::Outcome> outcome = Run(trial, first, fault);
        if (!outcome) continue;
        trial.Check(*outcome, {.isHarmless = fault.isHarmless,
                               .lasts = fault.lasts,
                               .preventsRemoval = plan.hitRemoval,
                               .takesMemory = fault.kind == kAllocation});
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
