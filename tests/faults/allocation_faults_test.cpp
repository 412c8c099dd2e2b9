// The n-th allocation fails, or all from there on. Each in a process of its own: FFmpeg crashes now
// and then when memory runs out, which is told and not counted as a fault of the library's.
#include <dlfcn.h>
#include <execinfo.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <string_view>

#include "faults/operations.h"
#include "faults/trial.h"

namespace {

constexpr int kForeignCrash = 77;
constexpr int kHang = 78;
constexpr unsigned kSecondsForOne = 60;

using FailAllocations = void (*)(long first, bool lasts);
using CountAllocations = long (*)();

template <class Function>
Function FindPreloaded(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

bool IsSystemLibrary(std::string_view file) {
  for (const char* name : {"libc.so", "libpthread", "ld-linux", "libfailing_malloc"}) {
    if (file.find(name) != std::string_view::npos) return true;
  }
  return false;
}

// Whose code was running: past the system's own, the first frame that isn't a handler's. FFmpeg
// also calls functions that it couldn't set up: nothing can be unwound from there.
void OnCrash(int signal) {
  constexpr int kHandlersFrames = 3;
  std::array<void*, 64> frames{};
  const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
  if (count <= kHandlersFrames) _exit(kForeignCrash);
  for (int i = 2; i < count; ++i) {
    Dl_info info{};
    if (dladdr(frames[static_cast<std::size_t>(i)], &info) == 0 || info.dli_fname == nullptr) {
      continue;
    }
    if (IsSystemLibrary(info.dli_fname)) continue;
    const bool isForeign = std::strstr(info.dli_fname, ".so") != nullptr &&
                           std::strstr(info.dli_fname, "libstdc++") == nullptr;
    if (isForeign) _exit(kForeignCrash);
    break;
  }
  std::signal(signal, SIG_DFL);
  raise(signal);
}

void OnAlarm(int /*signal*/) {
  _exit(kHang);
}

// The exit status of a process that runs `work` and fails where an expectation does.
template <class Work>
int InProcess(Work work) {
  const auto* const result = testing::UnitTest::GetInstance()->current_test_info()->result();
  const int before = result->total_part_count();
  const pid_t child = fork();
  if (child == 0) {
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE}) std::signal(signal, OnCrash);
    std::signal(SIGALRM, OnAlarm);
    alarm(kSecondsForOne);
    try {
      work();
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
    std::fflush(stdout);
    _exit(result->total_part_count() == before ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(AllocationFaults, NeverMakeAFalsePromise) {
  const auto fail = FindPreloaded<FailAllocations>("FailAllocations");
  const auto count = FindPreloaded<CountAllocations>("CountAllocations");
  if (fail == nullptr || count == nullptr) GTEST_SKIP() << "libfailing_malloc isn't preloaded";
  std::array<void*, 1> frame{};
  backtrace(frame.data(), 1);  // loads what it needs, which allocates

  std::map<std::string, int> foreignCrashes;
  for (const test::Operation& operation : test::Operations()) {
    test::Trial trial(operation);
    trial.Prepare();
    fail(0, false);
    EXPECT_TRUE(trial.Run().isSuccess);
    const long allocations = count();
    for (const bool lasts : {false, true}) {
      for (const int first : test::Places(static_cast<int>(allocations))) {
        SCOPED_TRACE(std::string(operation.name) + ", allocation " + std::to_string(first) +
                     " of " + std::to_string(allocations) + (lasts ? " and all behind it" : ""));
        trial.Prepare();
        const int status = InProcess([&] {
          fail(first, lasts);
          test::Outcome outcome;
          try {
            outcome = trial.Run();
          } catch (const std::bad_alloc&) {
            // The host's own, behind or before the call.
            _exit(0);
          }
          fail(0, false);
          trial.Check(outcome, {.lasts = lasts, .takesMemory = true});
        });
        if (status == kForeignCrash) {
          ++foreignCrashes[operation.name];
        } else {
          EXPECT_EQ(status, 0);
        }
      }
    }
  }
  for (const auto& [name, crashes] : foreignCrashes) {
    std::printf("%d crashes inside FFmpeg or its libraries: %s\n", crashes, name.c_str());
  }
}

}  // namespace
