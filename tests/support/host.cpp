#include "support/host.h"

#include <algorithm>

#include "support/system.h"

namespace test {
ScratchFolder::ScratchFolder(const std::string& name) {
  // A parametrised test's name holds slashes.
  std::string test = testing::UnitTest::GetInstance()->current_test_info()->name() + name;
  std::ranges::replace(test, '/', '-');
  path_ =
      std::filesystem::temp_directory_path() / ("mpg-" + std::to_string(ProcessId()) + "-" + test);
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

ScratchFolder::~ScratchFolder() {
  std::filesystem::remove_all(path_);
}

std::uint8_t ProgressLog::Callback(const ProgressInfo* progress) {
  auto& log = *reinterpret_cast<ProgressLog*>(static_cast<std::uintptr_t>(progress->context));
  EXPECT_EQ(progress->reserved, 0u);
  log.reports_.push_back(progress->percent);
  if (log.onReport) log.onReport(progress->percent);
  return static_cast<int>(log.reports_.size()) == log.stopAt_ ? 0 : 1;
}

}  // namespace test
