// Shows an operation's progress and lets Ctrl-C stop it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "commands.h"
#include "mpg/mpg.h"

namespace host {

/// From now on Ctrl-C makes running operations stop at their next report instead of killing the
/// program, so that what they wrote is finished properly.
void StopOnInterrupt();
bool IsInterrupted();

/// A live bar on a terminal, else a plain line at every tenth. Pass Callback and Context to the
/// operation; the bar must outlive it.
class ProgressBar {
 public:
  explicit ProgressBar(std::string title);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  static std::uint8_t Callback(const ProgressInfo* progress);
  std::uint64_t Context() const { return reinterpret_cast<std::uintptr_t>(this); }

  /// True when Ctrl-C stopped the operation.
  bool WasStopped() const { return stopped_; }

 private:
  void Show(int percent);

  std::string title_;
  bool isTerminal_;
  int shown_ = -1;
  bool stopped_ = false;
};

/// Runs an operation that reports to a bar, and says what became of its output. Ends the program
/// when the operation failed or was stopped.
void RunWithProgress(const std::string& title, const Files& files,
                     const std::function<std::int32_t(const ProgressBar&)>& operation);

}  // namespace host
