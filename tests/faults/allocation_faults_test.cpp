// The library's n-th allocation fails, or all from there on. FFmpeg's own are not among them: short
// of memory it crashes now and then.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "faults/operations.h"
#include "faults/trial.h"

namespace {

struct {
  std::atomic<int> calls = 0;
  std::atomic<int> first = 0;  // counted from 1; 0 for none
  std::atomic<bool> lasts = false;
} plan;

void Plan(int first, bool lasts) {
  plan.first = 0;
  plan.calls = 0;
  plan.lasts = lasts;
  plan.first = first;
}

bool Fails() {
  const int number = ++plan.calls;
  return plan.first != 0 && (plan.lasts ? number >= plan.first : number == plan.first);
}

TEST(AllocationFaults, NeverMakeAFalsePromise) {
  for (const test::Operation& operation : test::Operations()) {
    test::Trial trial(operation);
    trial.Prepare();
    Plan(0, false);
    EXPECT_TRUE(trial.Run().isSuccess);
    const int allocations = plan.calls;
    for (const bool lasts : {false, true}) {
      for (const int first : test::Places(allocations)) {
        SCOPED_TRACE(std::string(operation.name) + ", allocation " + std::to_string(first) +
                     (lasts ? " and all behind it" : ""));
        trial.Prepare();
        test::Outcome outcome;
        try {
          Plan(first, lasts);
          outcome = trial.Run();
          Plan(0, false);
        } catch (const std::bad_alloc&) {
          Plan(0, false);
          continue;  // the host's own, behind or before the call
        }
        trial.Check(outcome, {.lasts = lasts, .takesMemory = true});
      }
    }
  }
}

}  // namespace

void* operator new(std::size_t size) {
  void* const block = Fails() ? nullptr : std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}
