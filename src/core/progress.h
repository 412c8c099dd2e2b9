// Progress reports to the host and its wish to stop.
#pragma once

#include <cstdint>

#include "mpg/mpg.h"

namespace mpg {

/// The number that stands for a finished operation. Process-wide, 100 when the library is loaded,
/// read afresh for every report.
std::int32_t Percent100() noexcept;
void SetPercent100(std::int32_t value) noexcept;

/// percent100 x position / total, cut off toward zero; position and total in one unit. Exact for
/// any arguments; a quotient beyond 32 bits is held at their limits. total must not be 0.
std::int32_t PercentOf(std::int64_t position, std::int64_t total) noexcept;

/// What the host wants after a report.
enum class Answer { kGoOn, kStop };

/// The reports of one call. Remembers the last value; without a callback every answer is kGoOn.
class Progress {
 public:
  Progress(ProgressCallback callback, std::uint64_t context) noexcept
      : callback_(callback), context_(context) {}

  /// True for a percent greater than the last one reported (0 at first).
  bool IsRise(std::int32_t percent) const noexcept { return percent > last_; }

  /// Reports a percent only when it is a rise.
  Answer ReportRise(std::int32_t percent);

  /// The same, but what is reported and remembered never exceeds percent100: a percent beyond it
  /// is reported as percent100, again each time.
  Answer ReportRiseClamped(std::int32_t percent);

  /// Repeats the last value every 20 calls, for what takes time where no percent rises; not on a
  /// scale of 0, on which only ends are reported.
  Answer AskAgain();

  /// Reports unconditionally.
  Answer Report(std::int32_t percent);

  /// The last report of an operation: percent100. The host's answer has no meaning any more.
  void ReportEnd() { Report(Percent100()); }

 private:
  ProgressCallback callback_;
  std::uint64_t context_;
  std::int32_t last_ = 0;
  int asked_ = 0;
};

}  // namespace mpg
