#include "support/host.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace test {
namespace {

void SetFileSizeLimit(rlim_t bytes) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace

ScratchFolder::ScratchFolder(const std::string& name) {
  // A parametrised test's name holds slashes.
  std::string test = testing::UnitTest::GetInstance()->current_test_info()->name() + name;
  std::ranges::replace(test, '/', '-');
  path_ = std::filesystem::temp_directory_path() / ("mpg-" + std::to_string(getpid()) + "-" + test);
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

Unprivileged::Unprivileged() {
  constexpr uid_t kNobody = 65534;
  const uid_t user = getuid() == 0 ? kNobody : getuid();
  EXPECT_EQ(seteuid(user), 0);
}

Unprivileged::~Unprivileged() {
  EXPECT_EQ(seteuid(getuid()), 0);
}

FileSizeLimit::FileSizeLimit(std::int64_t bytes) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  previous_ = limit.rlim_cur;
  // Otherwise the first write too far ends the process.
  std::signal(SIGXFSZ, SIG_IGN);
  SetFileSizeLimit(static_cast<rlim_t>(bytes));
}

FileSizeLimit::~FileSizeLimit() {
  SetFileSizeLimit(previous_);
}

}  // namespace test
