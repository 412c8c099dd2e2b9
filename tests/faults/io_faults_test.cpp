// The n-th call to the system fails, or all from there on: no operation claims what isn't so.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <string>

#include "faults/operations.h"
#include "faults/trial.h"
#include "platform/faults.h"

namespace {

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

TEST(IoFaults, NeverMakeAFalsePromise) {
  for (const test::Operation& operation : test::Operations()) {
    test::Trial trial(operation);
    const auto run = [&](int first, const Fault& fault) {
      trial.Prepare();
      const Faults faults(first, fault);
      return trial.Run();
    };
    EXPECT_TRUE(run(0, {}).isSuccess);
    const int calls = plan.calls;
    ASSERT_GT(calls, 0);
    for (const Fault& fault : kFaults) {
      for (const int first : test::Places(calls)) {
        SCOPED_TRACE(std::string(operation.name) + ", call " + std::to_string(first) + ": " +
                     fault.name);
        const test::Outcome outcome = run(first, fault);
        trial.Check(outcome, {.isHarmless = fault.isHarmless,
                              .lasts = fault.lasts,
                              .preventsRemoval = plan.hitRemoval});
      }
    }
    EXPECT_TRUE(run(0, {}).isSuccess) << "afterwards";
  }
}

}  // namespace
