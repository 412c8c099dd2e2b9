// What a host brings along: folders, a progress callback.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "mpg/mpg.h"

namespace test {

/// What FFmpeg calls AVERROR_INVALIDDATA, AVERROR_EXIT and AVERROR_UNKNOWN.
inline constexpr int kInvalidData = -0x41444E49, kExit = -0x54495845, kUnknown = -0x4E4B4E55;

/// An empty folder, removed with its content at the end. A test that has several names them.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& name = "");
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).generic_string(); }

 private:
  std::filesystem::path path_;
};

/// A test with a folder of its own, and a path in it for an output.
struct InFolder : testing::Test {
  const ScratchFolder folder;
  const std::string output = folder / "out";
};

/// Records every report. Pass Callback and Context to the operation.
class ProgressLog {
 public:
  /// Asks the operation to stop at the n-th report (the first is 1); never when 0.
  explicit ProgressLog(int stopAt = 0) : stopAt_(stopAt) {}

  static std::uint8_t Callback(const ProgressInfo* progress);
  std::uint64_t Context() const { return reinterpret_cast<std::uintptr_t>(this); }

  const std::vector<std::int32_t>& Reports() const { return reports_; }

  /// Runs at every report, after it was recorded.
  std::function<void(std::int32_t)> onReport = {};

 private:
  int stopAt_;
  std::vector<std::int32_t> reports_;
};

/// Sets percent100 for one test.
class Percent100Is {
 public:
  explicit Percent100Is(std::int32_t value) {
    MPG_SetPercent100(static_cast<std::uint32_t>(value));
  }
  ~Percent100Is() { MPG_SetPercent100(100); }
};

}  // namespace test
