#include "progress_bar.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <utility>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace host {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterrupt(int) {
  interrupted = 1;
}

bool IsTerminal(std::FILE* stream) {
#if defined(_WIN32)
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

}  // namespace

void StopOnInterrupt() {
  std::signal(SIGINT, OnInterrupt);
}

bool IsInterrupted() {
  return interrupted != 0;
}

ProgressBar::ProgressBar(std::string title)
    : title_(std::move(title)), isTerminal_(IsTerminal(stdout)) {}

ProgressBar::~ProgressBar() {
  if (isTerminal_ && shown_ >= 0) std::printf("\n");
}

std::uint8_t ProgressBar::Callback(const ProgressInfo* progress) {
  auto& bar = *reinterpret_cast<ProgressBar*>(static_cast<std::uintptr_t>(progress->context));
  bar.Show(std::clamp(static_cast<int>(progress->percent), 0, 100));
  if (interrupted == 0) return 1;
  bar.stopped_ = true;
  return 0;
}

void ProgressBar::Show(int percent) {
  constexpr int kWidth = 40;
  if (isTerminal_) {
    if (percent == shown_) return;
    const std::string done(static_cast<std::size_t>(percent * kWidth / 100), '#');
    std::printf("\r%s [%-*s] %3d %%", title_.c_str(), kWidth, done.c_str(), percent);
    std::fflush(stdout);
    shown_ = percent;
  } else if (percent / 10 != shown_ / 10 || shown_ < 0) {
    std::printf("%s: %d %%\n", title_.c_str(), percent);
    shown_ = percent;
  }
}

void RunWithProgress(const std::string& title, const Files& files,
                     const std::function<std::int32_t(const ProgressBar&)>& operation) {
  bool stopped = false;
  {
    const ProgressBar bar(title);
    RequireSuccess(title.c_str(), operation(bar), files);
    stopped = bar.WasStopped();
  }
  std::printf("%s %s\n", stopped ? "stopped; so far in" : "wrote", files.output.c_str());
  if (stopped) Exit(kFailedOrStopped);
}

}  // namespace host
