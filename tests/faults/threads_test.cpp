// Eight threads, mixed calls on different files: nothing is shared but what the header says.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "faults/operations.h"
#include "support/host.h"

namespace {

TEST(Threads, CallsOnDifferentFilesDoNotMeet) {
  constexpr std::size_t kThreads = 8;
  const std::vector<test::Operation>& operations = test::Operations();
  const test::ScratchFolder folder;
  const auto run = [&](std::size_t thread) {
    // Each begins with another operation, so that every two of them meet.
    for (std::size_t i = 0; i < operations.size(); ++i) {
      const test::Operation& operation = operations[(i + thread * 3) % operations.size()];
      const std::string prefix = folder / (std::to_string(thread) + "-" + std::to_string(i) + "-");
      const test::Outcome outcome =
          operation.run(test::CopyInputs(operation, prefix), prefix + "out." + operation.extension);
      EXPECT_TRUE(outcome.isSuccess) << operation.name << " " << outcome.answer;
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) threads.emplace_back(run, thread);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
