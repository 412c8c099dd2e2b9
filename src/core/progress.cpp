#include "core/progress.h"

#include <algorithm>
#include <atomic>

namespace mpg {
namespace {

// Hosts should set it only between operations; atomic so that one which doesn't sees an old or a
// new value, nothing else.
std::atomic<std::int32_t> percent100{100};

std::uint64_t Magnitude(std::int64_t value) {
  const auto bits = static_cast<std::uint64_t>(value);
  return value < 0 ? 0 - bits : bits;
}

// scale x part / total for a part below the total, whose product may exceed 64 bits: bit by bit,
// like long division on paper.
std::uint64_t ShareOf(std::uint64_t scale, std::uint64_t part, std::uint64_t total) {
  std::uint64_t quotient = 0;
  std::uint64_t rest = 0;
  const auto add = [&](std::uint64_t summand) {
    const bool isFull = summand >= total - rest;
    rest = isFull ? summand - (total - rest) : rest + summand;
    if (isFull) ++quotient;
  };
  for (int bit = 31; bit >= 0; --bit) {
    quotient *= 2;
    add(rest);
    if ((scale >> bit & 1) != 0) add(part);
  }
  return quotient;
}

}  // namespace

std::int32_t Percent100() noexcept {
  return percent100.load(std::memory_order_relaxed);
}

void SetPercent100(std::int32_t value) noexcept {
  percent100.store(value, std::memory_order_relaxed);
}

std::int32_t PercentOf(std::int64_t position, std::int64_t total) noexcept {
  const std::int32_t scale = Percent100();
  const bool isNegative = ((scale < 0) != (position < 0)) != (total < 0);
  const std::uint64_t limit = isNegative ? std::uint64_t{1} << 31 : (std::uint64_t{1} << 31) - 1;
  const std::uint64_t whole = Magnitude(position) / Magnitude(total);
  const std::uint64_t rest = Magnitude(position) % Magnitude(total);
  std::uint64_t quotient = ShareOf(Magnitude(scale), rest, Magnitude(total));
  if (scale != 0) quotient += Magnitude(scale) * std::min(whole, limit);
  const auto percent = static_cast<std::int64_t>(std::min(quotient, limit));
  return static_cast<std::int32_t>(isNegative ? -percent : percent);
}

Answer Progress::ReportRise(std::int32_t percent) {
  return IsRise(percent) ? Report(percent) : Answer::kGoOn;
}

Answer Progress::ReportRiseClamped(std::int32_t percent) {
  return IsRise(percent) ? Report(std::min(percent, Percent100())) : Answer::kGoOn;
}

Answer Progress::AskAgain() {
  constexpr int kCallsWithoutReport = 20;
  if (Percent100() == 0) return Answer::kGoOn;
  return ++asked_ % kCallsWithoutReport == 0 ? Report(last_) : Answer::kGoOn;
}

Answer Progress::Report(std::int32_t percent) {
  last_ = percent;
  if (!callback_) return Answer::kGoOn;
  const ProgressInfo info{.percent = percent, .context = context_, .reserved = 0};
  return callback_(&info) != 0 ? Answer::kGoOn : Answer::kStop;
}

}  // namespace mpg
