#include "core/progress.h"

#include <algorithm>
#include <atomic>
#include <limits>

namespace mpg {
namespace {

// Hosts should set it only between operations; atomic so that one which doesn't sees an old or a
// new value, nothing else.
std::atomic<std::int32_t> percent100{100};

}  // namespace

std::int32_t Percent100() noexcept {
  return percent100.load(std::memory_order_relaxed);
}

void SetPercent100(std::int32_t value) noexcept {
  percent100.store(value, std::memory_order_relaxed);
}

std::int64_t PercentOf(std::int64_t position, std::int64_t total) noexcept {
  __extension__ using Wide = __int128;
  using Limits = std::numeric_limits<std::int64_t>;
  const Wide quotient = Wide{Percent100()} * position / total;
  return static_cast<std::int64_t>(std::clamp(quotient, Wide{Limits::min()}, Wide{Limits::max()}));
}

Answer Progress::ReportRise(std::int64_t percent) {
  if (!IsRise(percent)) return Answer::kGoOn;
  return Report(static_cast<std::int32_t>(percent));
}

Answer Progress::ReportRiseClamped(std::int64_t percent) {
  if (!IsRise(percent)) return Answer::kGoOn;
  return Report(std::min(static_cast<std::int32_t>(percent), Percent100()));
}

Answer Progress::Report(std::int32_t percent) {
  last_ = percent;
  if (!callback_) return Answer::kGoOn;
  const ProgressInfo info{.percent = percent, .context = context_, .reserved = 0};
  return callback_(&info) != 0 ? Answer::kGoOn : Answer::kStop;
}

}  // namespace mpg
